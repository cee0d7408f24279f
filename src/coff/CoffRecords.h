// CoffRecords: the records of a COFF object file, as the readers hold them in
// memory, and the numbers that give their fields meaning.
//
// A COFF file, System V or NT, has one byte order throughout:
//
//   offset 0     file header, 20 bytes: magic, section count, time stamp,
//                symbol table offset, entry count, optional header size, flags
//   offset 20    optional header (an executable's: 28 bytes are read)
//   then         section headers, 40 bytes each
//   anywhere     section data, relocations (10 bytes each), line numbers
//                (6 bytes each), wherever the section headers point
//   symptr       symbol table, 18-byte entries; each symbol is followed by
//                `numaux` auxiliary entries of 18 bytes
//   behind it    string table: a 4-byte length that counts itself, then
//                NUL-terminated names; offsets count from the length word
//
// The file header, optional header and section header have no holes, so a
// block read from the file is copied into the record whole and then turned
// into host order field by field.  Symbol, relocation and line number
// entries are widened in memory (18 to 20, 10 to 12, 6 to 8 bytes) so that
// arrays of them index directly; the added bytes stand at the end.
#pragma once

#include <cstddef>
#include <cstdint>

struct CoffFileHeader {
    uint16_t f_magic;  // processor and flavour
    uint16_t f_nscns;  // number of sections
    uint32_t f_timdat; // time stamp
    uint32_t f_symptr; // file offset of the symbol table
    uint32_t f_nsyms;  // symbol table entries, auxiliary entries included
    uint16_t f_opthdr; // size of the optional header
    uint16_t f_flags;  // coffRelocationsStripped, coffExecutable
};
static_assert(sizeof(CoffFileHeader) == 20);

struct CoffOptionalHeader {
    uint16_t magic;
    uint16_t vstamp;     // version stamp
    uint32_t tsize;      // text size
    uint32_t dsize;      // data size
    uint32_t bsize;      // bss size
    uint32_t entry;      // entry point
    uint32_t text_start; // address of the text
    uint32_t data_start; // address of the data
};
static_assert(sizeof(CoffOptionalHeader) == 28);

struct CoffSectionHeader {
    char s_name[8];     // NUL-terminated unless all 8 bytes are used; or "/123"
    uint32_t s_paddr;   // physical address
    uint32_t s_vaddr;   // virtual address
    uint32_t s_size;    // size in memory
    uint32_t s_scnptr;  // file offset of the raw data
    uint32_t s_relptr;  // file offset of the relocations
    uint32_t s_lnnoptr; // file offset of the line numbers
    uint16_t s_nreloc;  // number of relocations
    uint16_t s_nlnno;   // number of line numbers
    uint32_t s_flags;   // coffSection... bits
};
static_assert(sizeof(CoffSectionHeader) == 40);

// A symbol table entry, or an auxiliary entry in the same slot.  The first
// 18 bytes are the file's entry; the last 2 are free.  A name of up to 8
// characters stands in `name`; a longer one has zero in bytes 0 to 3 and a
// reference in bytes 4 to 7 (a string table offset in the file, a reference
// the object file resolves after reading).
struct syment {
    char name[8];
    uint32_t value;
    int16_t scnum; // section number; 0 none, -1 absolute, -2 debug
    uint16_t type; // bits 4 and 5: the derived type
    uint8_t sclass;
    uint8_t numaux; // auxiliary entries behind this one
    uint8_t unused[2];
};
static_assert(sizeof(syment) == 20 && offsetof(syment, numaux) == 17);

// A relocation entry in memory (10 bytes in the file).
struct CoffRelocation {
    uint32_t address; // the place; after reading, an offset into the section
    uint32_t symndx;  // symbol table index
    uint16_t type;
    uint16_t unused;
};
static_assert(sizeof(CoffRelocation) == 12);

// A line number entry in memory (6 bytes in the file).  With line 0 the
// word is the symbol index of a function, otherwise an address (after
// reading, an offset into the section).
struct CoffLineNumber {
    uint32_t word;
    uint16_t line;
    uint16_t unused;
};
static_assert(sizeof(CoffLineNumber) == 8);

constexpr uint32_t coffFileHeaderSize = 20;
constexpr uint32_t coffOptionalHeaderSize = 28;
constexpr uint32_t coffSectionHeaderSize = 40;
constexpr uint32_t coffSymbolSize = 18;
constexpr uint32_t coffRelocationSize = 10;
constexpr uint32_t coffLineNumberSize = 6;

// File header flags.
constexpr uint16_t coffRelocationsStripped = 0x0001;
constexpr uint16_t coffExecutable = 0x0002;

// Section header flags.
constexpr uint32_t coffSectionNotLoaded = 0x0002;
constexpr uint32_t coffSectionText = 0x0020;
constexpr uint32_t coffSectionData = 0x0040;
constexpr uint32_t coffSectionBss = 0x0080;
constexpr uint32_t coffSectionInfo = 0x0200;
constexpr uint32_t coffSectionComdat = 0x1000; // i386 (magic 0x14C) only
constexpr uint32_t coffSectionAbsolute = 0x4000;
constexpr uint32_t coffSectionLiteral = 0x8020; // text and literal together

// Storage classes.
constexpr uint8_t coffClassAutomatic = 1;
constexpr uint8_t coffClassExternal = 2;
constexpr uint8_t coffClassStatic = 3;
constexpr uint8_t coffClassRegister = 4;
constexpr uint8_t coffClassExternalDef = 5;
constexpr uint8_t coffClassLabel = 6;
constexpr uint8_t coffClassArgument = 9;
constexpr uint8_t coffClassRegisterParam = 17;
constexpr uint8_t coffClassBlock = 0x64;
constexpr uint8_t coffClassFunction = 0x65;
constexpr uint8_t coffClassEndOfStruct = 0x66;
constexpr uint8_t coffClassFile = 0x67;

// Special section numbers.
constexpr int16_t coffUndefinedSection = 0;
constexpr int16_t coffAbsoluteSection = -1;
constexpr int16_t coffDebugSection = -2;

// The derived type in bits 4 and 5 of `type`: 2 is a function.
constexpr bool isCoffFunctionType(uint16_t type) {
    return ((type >> 4) & 3) == 2;
}

// Magic numbers named in the reader.
constexpr uint16_t coffMagicI386 = 0x14C;
