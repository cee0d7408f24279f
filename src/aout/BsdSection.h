// The three sections of an a.out file, fixed by the format: text (id 0),
// data (id 1) and bss (id 2).  BsdSection answers what they share from an
// id, a size and an address that a link may set; BsdSectionFromInput is the
// text or the data section, read whole from the file with its relocation
// table (BsdRelocationsFromInput) when it has records; BsdBssSection is the
// bss section, which has no bytes in the file.
#pragma once

#include "aout/BsdRecords.h"
#include "object/Section.h"

#include <cstdint>
#include <memory>

class BsdObjectFile;
class BsdRelocationsFromInput;
class ErrorContext;
class InputFile;

class BsdSection : public RelocatableSection {
public:
    BsdSection(BsdObjectFile *owner, BsdSectionId id, uint32_t size);
    ~BsdSection() override;

    // ".text", ".data" or ".bss".
    const char *name() override;
    // The id.
    uint32_t index() override;
    uint32_t size() override;
    // 0 for bss.
    uint32_t fileSize() override;
    // 1 below 2 bytes, 2 for 2, 4 below 8, else 8.
    uint32_t alignment() override;
    ObjectFile *objectFile() override;
    bool isAllocated() override;
    bool isLoadable() override;
    bool isNote() override;
    bool isContentSection() override;
    bool isAbsolute() override;
    // The text section.
    bool isExecutable() override;
    // Data and bss.
    bool isWritable() override;
    bool isBss() override;
    // The address field: 0 until a link sets it.
    uint32_t address() override;
    void setAddress(uint32_t address) override;
    uint32_t inputAddress() override;
    uint32_t fileOffset() override;
    BsdSection *asBsdSection() override;

    BsdSectionId id() const { return sectionId; }

protected:
    uint32_t sectionAddress = 0;
    uint32_t sectionSize;
    BsdObjectFile *owner;
    BsdSectionId sectionId;
};

// The text or the data section with its bytes.
class BsdSectionFromInput : public BsdSection {
public:
    // Reads the section `id` (text or data) of `owner`'s file; `swapped` is
    // the byte order flag of the header.  Damage is fatal.
    BsdSectionFromInput(InputFile &file, BsdObjectFile *owner, BsdSectionId id, bool swapped,
                        ErrorContext &errorContext);
    ~BsdSectionFromInput() override;

    // One chunk: the whole section with its relocations.
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;
    // The table of the section's relocation records; null when its
    // relocation size is 0.
    RelocationsIterator *relocations() override;

    const uint8_t *contents() const { return bytes; }

private:
    // The section's bytes; a shared empty block for a section of size 0.
    uint8_t *bytes;
    std::unique_ptr<uint8_t[]> ownedBytes;
    std::unique_ptr<BsdRelocationsFromInput> table;
};

// The bss section: a size and nothing in the file.
class BsdBssSection : public BsdSection {
public:
    BsdBssSection(BsdObjectFile *owner, uint32_t size);
    ~BsdBssSection() override;

    // One empty chunk, although `size` is the bss size.
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;
    RelocationsIterator *relocations() override;
};
