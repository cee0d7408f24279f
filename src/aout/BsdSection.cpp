#include "aout/BsdSection.h"

#include "aout/BsdObjectFile.h"
#include "aout/BsdRelocations.h"
#include "input/InputFile.h"
#include "support/botch.h"
#include "support/error.h"

namespace {

// The bytes of every empty section and of every bss chunk; never written.
uint8_t emptyBlock[1];

const char *const sectionNames[] = {".text", ".data", ".bss"};

} // namespace

BsdSection::BsdSection(BsdObjectFile *owner, BsdSectionId id, uint32_t size)
    : sectionSize(size), owner(owner), sectionId(id) {}

BsdSection::~BsdSection() = default;

const char *BsdSection::name() {
    return sectionNames[sectionId];
}
uint32_t BsdSection::index() {
    return sectionId;
}
uint32_t BsdSection::size() {
    return sectionSize;
}
uint32_t BsdSection::fileSize() {
    return sectionId == bsdBssId ? 0 : sectionSize;
}

uint32_t BsdSection::alignment() {
    if (sectionSize < 2) return 1;
    if (sectionSize == 2) return 2;
    if (sectionSize < 8) return 4;
    return 8;
}

ObjectFile *BsdSection::objectFile() {
    return owner;
}
bool BsdSection::isAllocated() {
    return true;
}
bool BsdSection::isLoadable() {
    return true;
}
bool BsdSection::isNote() {
    return false;
}
bool BsdSection::isContentSection() {
    return true;
}
bool BsdSection::isAbsolute() {
    return false;
}
bool BsdSection::isExecutable() {
    return sectionId == bsdTextId;
}
bool BsdSection::isWritable() {
    return !isExecutable();
}
bool BsdSection::isBss() {
    return sectionId == bsdBssId;
}
uint32_t BsdSection::address() {
    return sectionAddress;
}
void BsdSection::setAddress(uint32_t address) {
    sectionAddress = address;
}
uint32_t BsdSection::inputAddress() {
    return 0;
}
uint32_t BsdSection::fileOffset() {
    return 0;
}
BsdSection *BsdSection::asBsdSection() {
    return this;
}

BsdSectionFromInput::BsdSectionFromInput(InputFile &file, BsdObjectFile *owner, BsdSectionId id,
                                         bool swapped, ErrorContext &errorContext)
    : BsdSection(owner, id, 0), bytes(emptyBlock) {
    const BsdExecHeader &h = *owner->bsdHeader();
    // Offsets are 32-bit sums, as the format's own arithmetic makes them: a
    // sum that wraps lands somewhere in the file, and the checks below judge
    // what stands there.
    uint32_t textOffset = bsdTextOffset(h);
    uint32_t offset, size, relocationOffset, relocationSize;
    char letter;
    const char *word;
    switch (id) {
    case bsdTextId:
        offset = textOffset;
        size = h.text;
        relocationOffset = textOffset + h.text + h.data;
        relocationSize = h.trsize;
        letter = 't';
        word = "text";
        break;
    case bsdDataId:
        offset = textOffset + h.text;
        size = h.data;
        relocationOffset = textOffset + h.text + h.data + h.trsize;
        relocationSize = h.drsize;
        letter = 'd';
        word = "data";
        break;
    default:
        botch("In %O: section_id is bad(=%d)!", &file.fileName, id);
    }
    if (relocationSize % bsdRelocationSize != 0)
        errorContext.fatal("File %O: value of a_%crsize isn't multiple of %d!", &file.fileName,
                           letter, bsdRelocationSize);

    // Only a seek beyond the end sets failBit.  A section whose bytes then
    // run past the end of the file would be a block as large as the header
    // claims with nothing defined in its tail; it is refused with the same
    // words, so that no header can make the reader allocate more than the
    // file holds.
    file.seek(offset);
    uint32_t end = file.bytesInFile();
    if ((file.status & InputFile::failBit) || offset > end || size > end - offset)
        errorContext.fatal("File %O: %s section appears truncated.", &file.fileName, word);
    if (size != 0) {
        ownedBytes = std::make_unique<uint8_t[]>(size);
        bytes = ownedBytes.get();
        file.read(bytes, size);
    }
    sectionSize = size;

    if (relocationSize != 0)
        table = std::make_unique<BsdRelocationsFromInput>(owner, this, file, relocationOffset,
                                                          relocationSize, swapped, errorContext);
}

BsdSectionFromInput::~BsdSectionFromInput() = default;

void BsdSectionFromInput::eachRawDataChunk(RawDataChunkVisitor visitor) {
    visitor(0, sectionSize, bytes, relocations());
}

RelocationsIterator *BsdSectionFromInput::relocations() {
    return table.get();
}

BsdBssSection::BsdBssSection(BsdObjectFile *owner, uint32_t size)
    : BsdSection(owner, bsdBssId, size) {}

BsdBssSection::~BsdBssSection() = default;

void BsdBssSection::eachRawDataChunk(RawDataChunkVisitor visitor) {
    visitor(0, 0, emptyBlock, nullptr);
}

RelocationsIterator *BsdBssSection::relocations() {
    return nullptr;
}
