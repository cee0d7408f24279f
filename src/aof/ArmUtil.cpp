#include "aof/ArmUtil.h"

#include "input/InputFile.h"
#include "support/endian.h"

bool readChunkFileHeader(InputFile &file, ChunkFileHeader &header, bool &swap) {
    uint8_t bytes[chunkFileHeaderSize] = {};
    file.seek(0);
    // A file too short to hold the header is as unreadable as one whose
    // seek failed: its words would be made of nothing.
    if (file.readCount(bytes, sizeof bytes) != sizeof bytes) return false;
    if (file.status & InputFile::failBit) return false;
    std::memcpy(&header.identifier, bytes, 4);
    std::memcpy(&header.maxChunks, bytes + 4, 4);
    std::memcpy(&header.numChunks, bytes + 8, 4);
    // Written in the writer's order, the identifier reads as itself when
    // that order is the host's, and reversed when it is not.
    swap = header.identifier != chunkFileIdentifier;
    if (swap) swapChunkFileHeader(header);
    return true;
}

ChunkEntry chunkEntryFrom(const uint8_t *bytes, bool swap) {
    ChunkEntry entry;
    std::memcpy(entry.identifier, bytes, sizeof entry.identifier);
    std::memcpy(&entry.offset, bytes + 8, 4);
    std::memcpy(&entry.size, bytes + 12, 4);
    if (swap) swapChunkEntry(entry);
    return entry;
}

void swapChunkFileHeader(ChunkFileHeader &header) {
    header.identifier = byteSwap32(header.identifier);
    header.maxChunks = byteSwap32(header.maxChunks);
    header.numChunks = byteSwap32(header.numChunks);
}

void swapChunkEntry(ChunkEntry &entry) {
    entry.offset = byteSwap32(entry.offset);
    entry.size = byteSwap32(entry.size);
}

void swapSymbolRecord(AofSymbolRecord &record) {
    record.name = byteSwap32(record.name);
    record.attributes = byteSwap32(record.attributes);
    record.value = byteSwap32(record.value);
    record.areaName = byteSwap32(record.areaName);
}
