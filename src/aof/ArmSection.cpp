#include "aof/ArmSection.h"

#include "aof/ArmObjectFileInput.h"
#include "aof/ArmRelocations.h"
#include "input/InputFile.h"
#include "support/error.h"

ArmSection::ArmSection(ArmObjectFileInput *owner, const AofAreaHeader &header)
    : header(header), owner(owner) {}

ArmSection::~ArmSection() = default;

const char *ArmSection::name() {
    return owner->stringAt(header.name);
}

// An area joins the combined section of its whole name: in AOF a "$" is part
// of the name itself ("C$$code"), not the start of a suffix to cut.
const char *ArmSection::combinedSectionName() {
    return owner->stringAt(header.name);
}

uint32_t ArmSection::size() {
    return header.size;
}

uint32_t ArmSection::fileSize() {
    return header.size;
}

uint32_t ArmSection::alignment() {
    return 1u << (header.attributes & 31);
}

ObjectFile *ArmSection::objectFile() {
    return owner;
}

bool ArmSection::isAllocated() {
    return true;
}

bool ArmSection::isLoadable() {
    return true;
}

bool ArmSection::isNote() {
    return false;
}

bool ArmSection::isContentSection() {
    return true;
}

bool ArmSection::isAbsolute() {
    return false;
}

bool ArmSection::isExecutable() {
    return (header.attributes & aofAreaCode) != 0;
}

bool ArmSection::isWritable() {
    return (header.attributes & aofAreaReadOnly) == 0;
}

bool ArmSection::isBss() {
    return (header.attributes & aofAreaZeroInit) != 0;
}

uint32_t ArmSection::address() {
    return areaAddress;
}

void ArmSection::setAddress(uint32_t address) {
    areaAddress = address;
}

uint32_t ArmSection::inputAddress() {
    return 0;
}

SectionType ArmSection::sectionType() {
    if (header.attributes & aofAreaCode) return SectionType::text;
    if (header.attributes & aofAreaZeroInit) return SectionType::bss;
    return SectionType::data;
}

ArmSection *ArmSection::asArmSection() {
    return this;
}

ArmInputSection::ArmInputSection(ArmObjectFileInput *owner, InputFile &file, bool swap,
                                 ErrorContext &errorContext, const AofAreaHeader &header,
                                 uint32_t position)
    : ArmSection(owner, header), baseAddress(header.baseAddress) {
    if (header.attributes & aofAreaZeroInit) return;

    // The area's bytes, then its relocations, must lie inside the file.  A
    // read that would run past its end is reported like a failed seek rather
    // than left to give bytes that are not there: nothing sound can be made
    // of such an area, and the check keeps a damaged size from asking for a
    // huge block.
    const uint32_t length = file.bytesInFile();
    file.seek(position);
    if (position > length || header.size > length - position)
        errorContext.fatal("Can't read data of area %.8s in file %O", name(), &file.fileName);
    if (header.size != 0) {
        bytes = std::make_unique<uint8_t[]>(header.size);
        file.read(bytes.get(), header.size);
    }
    if (file.status & InputFile::failBit)
        errorContext.fatal("Can't read data of area %.8s in file %O", name(), &file.fileName);
    bytesSize = header.size;

    if (header.relocationCount == 0) return;
    if (header.relocationCount > (length - position - header.size) / aofRelocationSize)
        errorContext.fatal("Can't read reloc table of section %.8s in file %O", name(),
                           &file.fileName);
    const uint32_t tableSize = header.relocationCount * aofRelocationSize;
    auto raw = std::make_unique<uint8_t[]>(tableSize);
    file.read(raw.get(), tableSize);
    if (file.status & InputFile::failBit)
        errorContext.fatal("Can't read reloc table of section %.8s in file %O", name(),
                           &file.fileName);
    records = std::make_unique<AofRelocation[]>(header.relocationCount);
    for (uint32_t i = 0; i < header.relocationCount; ++i) {
        records[i].offset = armWord(raw.get() + i * aofRelocationSize, swap);
        records[i].flags = armWord(raw.get() + i * aofRelocationSize + 4, swap);
    }
    recordCount = header.relocationCount;
}

ArmInputSection::~ArmInputSection() = default;

uint32_t ArmInputSection::inputAddress() {
    return baseAddress;
}

void ArmInputSection::eachRawDataChunk(RawDataChunkVisitor visitor) {
    visitor(0, bytesSize, bytes.get(), relocations());
}

RelocationsIterator *ArmInputSection::relocations() {
    // Every area has a table, also one without records.
    if (!table) table = std::make_unique<ArmRelocations>(owner, this, records.get(), recordCount);
    return table.get();
}
