// The records of a BSD-style a.out object file of the SPARC processor, in the
// form the reader keeps them: host byte order, one field per member.
//
// The file starts with a 32-byte exec header:
//
//   0  1  dynamic flag (top bit in a big-endian file) and 7 bits of tool version
//   1  1  machine: 3 is SPARC (0 old Sun-2, 1 and 2 the 68000 family)
//   2  2  magic: 0x107 (OMAGIC), 0x108 (NMAGIC) or 0x10B (ZMAGIC)
//   4  4  text size          8  4  data size        12  4  bss size
//  16  4  symbol table size 20  4  entry point      24  4  text relocation size
//  28  4  data relocation size
//
// From the text offset on follow text, data, text relocations, data
// relocations, the symbol table (12-byte nlist entries) and the string table
// (a 4-byte length that counts itself, then NUL-terminated names).  The text
// offset is 0x20 but for ZMAGIC files: those keep their header inside the
// first page of text (offset 0), or, for machine 0, a page of 0x800 bytes in
// front of it.
#pragma once

#include <cstdint>

// The exec header in host order.  In `flags` the dynamic bit is bit 0 and the
// tool version bits 1 to 7, whatever the file's byte order.
struct BsdExecHeader {
    uint8_t flags;
    uint8_t machine;
    uint16_t magic;
    uint32_t text;
    uint32_t data;
    uint32_t bss;
    uint32_t syms;
    uint32_t entry;
    uint32_t trsize;
    uint32_t drsize;
};

// One symbol table entry in host order.
struct BsdNlist {
    uint32_t strx; // offset of the name in the string table, length word included
    uint8_t type;
    uint8_t other;
    uint16_t desc;
    uint32_t value;
};

// One relocation record in memory form.  In the file the record is 12
// big-endian bytes: r_address, then three bytes of r_index (high byte first)
// and a byte holding r_extern in bit 7 and r_type in bits 0 to 4, then
// r_addend.  In memory the second word is rearranged: r_index in bits 0 to
// 23, r_extern in bit 24, r_type in bits 27 to 31.  r_index is a symbol table
// index when r_extern is set, otherwise a section code as in an nlist type
// (4 text, 6 data, 8 bss).
struct BsdRelocation {
    uint32_t r_address; // offset of the field in its section
    uint32_t r_info;
    int32_t r_addend;
};

constexpr uint32_t bsdRelocationIndexMask = 0xFFFFFF;
constexpr uint32_t bsdRelocationExtern = 1u << 24;
constexpr uint32_t bsdRelocationTypeShift = 27;

inline uint32_t bsdRelocationIndex(const BsdRelocation &r) {
    return r.r_info & bsdRelocationIndexMask;
}
inline bool bsdRelocationIsExtern(const BsdRelocation &r) {
    return (r.r_info & bsdRelocationExtern) != 0;
}
inline uint32_t bsdRelocationType(const BsdRelocation &r) {
    return r.r_info >> bsdRelocationTypeShift;
}

constexpr uint32_t bsdHeaderSize = 32;
constexpr uint32_t bsdNlistSize = 12;
constexpr uint32_t bsdRelocationSize = 12;

constexpr uint16_t bsdOmagic = 0x107;
constexpr uint16_t bsdNmagic = 0x108;
constexpr uint16_t bsdZmagic = 0x10B;
constexpr uint8_t bsdSparcMachine = 3;

// Bits of BsdExecHeader::flags.
constexpr uint8_t bsdDynamicFlag = 0x01;

// `type` of an nlist entry: bit 0 says external; the bits of 0x1E say where
// the symbol lives.  Debugging entries have bits above 0x1F as well.
constexpr uint8_t bsdExternal = 0x01;
constexpr uint8_t bsdTypeMask = 0x1E;
constexpr uint8_t bsdUndefined = 0x0;
constexpr uint8_t bsdAbsolute = 0x2;
constexpr uint8_t bsdText = 0x4;
constexpr uint8_t bsdData = 0x6;
constexpr uint8_t bsdBss = 0x8;

// Section ids of an a.out file, which are also the sections' indexes.
enum BsdSectionId : uint8_t { bsdTextId = 0, bsdDataId = 1, bsdBssId = 2 };

// Where the text starts in the file.
inline uint32_t bsdTextOffset(const BsdExecHeader &header) {
    if (header.magic != bsdZmagic) return bsdHeaderSize;
    return header.machine == 0 ? 0x800 : 0;
}
