// A section for the layout tests of groups and combined sections: its size,
// alignment, contents and machine are fields, and it keeps the address, load
// address, file offset and group offset that a layout gives it.
#pragma once

#include "ObjectTestKit.h"

#include <cstdint>
#include <vector>

class LayoutSection : public RelocatableSection {
public:
    LayoutSection(ObjectFile *file, const char *name, uint32_t size, uint32_t alignment = 1)
        : file(file), sectionName(name), bytes(size), align(alignment) {}

    const char *name() override { return sectionName.c_str(); }
    uint32_t size() override { return bytes; }
    uint32_t alignment() override { return align; }
    ObjectFile *objectFile() override { return file; }
    bool isAllocated() override { return true; }
    bool isExecutable() override { return executable; }
    bool isWritable() override { return writable; }
    bool isBss() override { return bss; }
    bool isAbsolute() override { return absolute; }
    bool adjustSize() override { return sizeChanges; }
    RelocationsIterator *relocations() override { return table; }
    RelocationsIterator *outputRelocations() override { return outputTable; }
    // Once mapped, the address comes from the combined section as usual.
    uint32_t address() override { return combined ? RelocatableSection::address() : at; }
    void setAddress(uint32_t value) override { at = value; }
    uint32_t loadAddress() override { return loadAt; }
    void setLoadAddress(uint32_t value) override { loadAt = value; }
    uint32_t fileOffset() override { return offsetInFile; }
    void setFileOffset(uint32_t value) override { offsetInFile = value; }
    SectionGroup *sectionGroup() override { return group; }
    void setGroupOffset(uint32_t value) override { groupOffsetGiven = value; }
    // The contents as chunks of `chunkSize` bytes (0: one chunk).
    void eachRawDataChunk(RawDataChunkVisitor visitor) override {
        uint32_t step = chunkSize ? chunkSize : static_cast<uint32_t>(contents.size());
        for (uint32_t at = 0; at < contents.size(); at += step) {
            uint32_t n = std::min<uint32_t>(step, static_cast<uint32_t>(contents.size()) - at);
            if (!visitor(at + chunkShift, n, contents.data() + at, nullptr)) return;
        }
    }

    ObjectFile *file;
    std::string sectionName;
    uint32_t bytes;
    uint32_t align;
    bool executable = false;
    bool writable = false;
    bool bss = false;
    bool absolute = false;
    bool sizeChanges = false;
    uint32_t at = 0;
    uint32_t loadAt = 0;
    uint32_t offsetInFile = 0;
    SectionGroup *group = nullptr;
    uint32_t groupOffsetGiven = 0xDEAD;
    std::vector<uint8_t> contents;
    uint32_t chunkSize = 0;
    // Added to every chunk's offset: a section that yields past its end.
    uint32_t chunkShift = 0;
    RelocationsIterator *table = nullptr;
    RelocationsIterator *outputTable = nullptr;
};
