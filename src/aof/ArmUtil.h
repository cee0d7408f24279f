// ArmUtil: the records of ARM chunk files as this reader holds them, and the
// small helpers every AOF unit shares: reading the chunk file header, and
// turning file words into host order.
//
// A chunk file starts with a 12-byte header (identifier, maximum number of
// chunks, number of chunks) and a table of 16-byte chunk entries (8 bytes of
// name, file offset, size).  The identifier 0xC3CBC6C5, written in the
// writer's byte order, tells the order of every 32-bit number in the file:
// bytes C3 CB C6 C5 make a big-endian file, C5 C6 CB C3 a little-endian one.
//
// Records are read as bytes and taken apart with memcpy into host integers;
// `swap` is true when the file's order differs from the host's.
#pragma once

#include "support/endian.h"

#include <cstdint>
#include <cstring>

class InputFile;

constexpr uint32_t chunkFileIdentifier = 0xC3CBC6C5;
constexpr uint32_t chunkFileHeaderSize = 12;
constexpr uint32_t chunkEntrySize = 16;

struct ChunkFileHeader {
    uint32_t identifier;
    uint32_t maxChunks; // read, never used
    uint32_t numChunks;
};

struct ChunkEntry {
    char identifier[8]; // not NUL-terminated
    uint32_t offset;    // from the start of the file; 0 for a chunk that is absent
    uint32_t size;
};

// The object header at the start of "OBJ_HEAD".
constexpr uint32_t aofObjectFileType = 0xC5E2D080;
constexpr uint32_t aofObjHeaderSize = 24;
struct AOFObjHeader {
    uint32_t objectFileType;
    uint32_t version;
    uint32_t areaCount;
    uint32_t symbolCount; // not used: the size of "OBJ_SYMT" counts
    uint32_t entryArea;   // not used
    uint32_t entryOffset; // not used
};

// One area header of the table behind AOFObjHeader.
constexpr uint32_t aofAreaHeaderSize = 20;
struct AofAreaHeader {
    uint32_t name;       // offset into the string table
    uint32_t attributes; // low byte: alignment as a power of two; flags above
    uint32_t size;
    uint32_t relocationCount;
    uint32_t baseAddress;
};

// Area attribute bits.
constexpr uint32_t aofAreaCode = 0x200;
constexpr uint32_t aofAreaZeroInit = 0x1000;
constexpr uint32_t aofAreaReadOnly = 0x2000;
constexpr uint32_t aofAreaReentrant = 0x20000;
// Areas without this bit flip the APCS bits (0x60) of the ELF flags image.
constexpr uint32_t aofAreaKeepsFlags = 0x80000;

// One record of "OBJ_SYMT".
constexpr uint32_t aofSymbolSize = 16;
struct AofSymbolRecord {
    uint32_t name; // offset into the string table
    uint32_t attributes;
    uint32_t value;
    uint32_t areaName; // offset into the string table of the defining area's name
};

// Symbol attribute bits.
constexpr uint32_t aofSymbolDefined = 0x01;
constexpr uint32_t aofSymbolGlobal = 0x02;
constexpr uint32_t aofSymbolAbsolute = 0x04;
constexpr uint32_t aofSymbolWeak = 0x10;
constexpr uint32_t aofSymbolCommon = 0x40;

// One relocation record, directly behind its area's bytes.
constexpr uint32_t aofRelocationSize = 8;
struct AofRelocation {
    uint32_t offset; // of the field in the area
    uint32_t flags;  // SID (bits 0-23), FT (24-25), R (26), A (27), B (28)
};

// The 32-bit word at `bytes`, in host order.
inline uint32_t armWord(const uint8_t *bytes, bool swap) {
    uint32_t value;
    std::memcpy(&value, bytes, sizeof value);
    return swap ? byteSwap32(value) : value;
}

// Reads the 12-byte header at offset 0; false when the seek or the read set
// failBit.  `swap` comes back true when the file's order is not the host's,
// and the header's words are then in host order already.
bool readChunkFileHeader(InputFile &file, ChunkFileHeader &header, bool &swap);

// The chunk entry in the 16 bytes at `bytes`, in host order.
ChunkEntry chunkEntryFrom(const uint8_t *bytes, bool swap);

// The byte swaps of each record kind: all three words of a chunk file header,
// the last two of a chunk entry (its name is bytes), the four of a symbol.
void swapChunkFileHeader(ChunkFileHeader &header);
void swapChunkEntry(ChunkEntry &entry);
void swapSymbolRecord(AofSymbolRecord &record);
