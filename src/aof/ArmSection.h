// ArmSection and ArmInputSection: an area of an AOF file as a Section.
//
// An area header (in the table behind AOFObjHeader in "OBJ_HEAD") gives the
// area's name as a string table offset, its attributes (low byte the
// alignment as a power of two; 0x200 code, 0x1000 zero-initialised, 0x2000
// read-only), its size, its number of relocations and its base address.  The
// areas' bytes stand one behind the other in "OBJ_AREA", each directly
// followed by its relocation records of 8 bytes; a zero-initialised area
// takes no room there.
//
// ArmSection answers from a host-order copy of the header.  ArmInputSection
// is the area as read from a file: it also holds the area's bytes and its
// relocation records.
#pragma once

#include "aof/ArmUtil.h"
#include "object/Section.h"

#include <cstdint>
#include <memory>

class ArmObjectFileInput;
class ArmRelocations;
class ErrorContext;
class InputFile;

class ArmSection : public RelocatableSection {
public:
    ArmSection(ArmObjectFileInput *owner, const AofAreaHeader &header);
    ~ArmSection() override;

    // Null when the name offset lies outside the string table.
    const char *name() override;
    const char *combinedSectionName() override;
    // The header's size, for a zero-initialised area too.
    uint32_t size() override;
    uint32_t fileSize() override;
    uint32_t alignment() override;
    ObjectFile *objectFile() override;
    bool isAllocated() override;
    bool isLoadable() override;
    bool isNote() override;
    bool isContentSection() override;
    bool isAbsolute() override;
    bool isExecutable() override;
    bool isWritable() override;
    bool isBss() override;
    uint32_t address() override;
    void setAddress(uint32_t address) override;
    uint32_t inputAddress() override;
    // Text with the code bit, a code area that is zero-initialised too;
    // otherwise bss or data.  The read-only bit plays no part.
    SectionType sectionType() override;
    ArmSection *asArmSection() override;

    const AofAreaHeader &areaHeader() const { return header; }

protected:
    AofAreaHeader header;
    ArmObjectFileInput *owner;
    uint32_t areaAddress = 0;
};

class ArmInputSection : public ArmSection {
public:
    // Reads the area's bytes at `position` in the file, and its relocation
    // records directly behind them.  A failed read is fatal.
    ArmInputSection(ArmObjectFileInput *owner, InputFile &file, bool swap,
                    ErrorContext &errorContext, const AofAreaHeader &header, uint32_t position);
    ~ArmInputSection() override;

    // The header's base address.
    uint32_t inputAddress() override;
    // One chunk: the whole area from offset 0 (no bytes for a
    // zero-initialised area), with its relocations.
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;
    RelocationsIterator *relocations() override;

    uint32_t dataSize() const { return bytesSize; }
    const uint8_t *data() const { return bytes.get(); }
    // The relocation records in host order; none for a zero-initialised area.
    uint32_t relocationRecordCount() const { return recordCount; }
    const AofRelocation *relocationRecords() const { return records.get(); }

private:
    std::unique_ptr<uint8_t[]> bytes;
    uint32_t bytesSize = 0;
    std::unique_ptr<AofRelocation[]> records;
    uint32_t recordCount = 0;
    uint32_t baseAddress;
    // Made by the first `relocations` call.
    std::unique_ptr<ArmRelocations> table;
};
