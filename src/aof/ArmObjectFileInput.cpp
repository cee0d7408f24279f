#include "aof/ArmObjectFileInput.h"

#include "input/InputFile.h"
#include "support/error.h"

#include <algorithm>

namespace {

// The ELF flags that an AOF file starts from; each area without
// aofAreaKeepsFlags flips the bits of apcsFlagBits.
constexpr uint32_t initialElfFlags = 0x40;
constexpr uint32_t apcsFlagBits = 0x60;

// Does the chunk [offset, offset + size) lie inside the file?  The end is
// where the file's bytes really end: a library member may claim more.
bool chunkFits(const InputFile &file, uint32_t offset, uint32_t size) {
    uint32_t end = file.bytesInFile();
    return offset <= end && size <= end - offset;
}

} // namespace

std::unique_ptr<ArmObjectFileInput> readArmFile(InputFile &file, ErrorContext &errorContext) {
    ChunkFileHeader chunkHeader;
    bool swap = false;
    if (!readChunkFileHeader(file, chunkHeader, swap))
        errorContext.fatal("File %O appears unreadable or badly truncated", &file.fileName);
    return std::make_unique<ArmObjectFileInput>(file, errorContext, chunkHeader, swap);
}

ArmObjectFileInput::ArmObjectFileInput(InputFile &file, ErrorContext &errorContext,
                                       const ChunkFileHeader &chunkHeader, bool swap)
    : ArmObjectFile(file.fileName), littleEndian(hostIsLittleEndian != swap) {
    elfImage.e_machine = EM_ARM;
    elfImage.e_flags = initialElfFlags;
    readChunkEntries(file, errorContext, swap, chunkHeader.numChunks);
    if (stringChunk.offset != 0) readStrings(file, errorContext);
    if (symbolChunk.offset != 0) readSymbols(file, errorContext, swap);
    if (headChunk.offset != 0) readObjectHeader(file, errorContext, swap);
}

ArmObjectFileInput::~ArmObjectFileInput() = default;

void ArmObjectFileInput::readChunkEntries(InputFile &file, ErrorContext &errorContext, bool swap,
                                          uint32_t numChunks) {
    // A chunk table that runs past the end of the file is a truncated
    // header: reading on would only give entries made of nothing.  The test
    // also bounds the loop below by the file's size.
    uint32_t end = file.bytesInFile();
    if (numChunks > (end - std::min(end, chunkFileHeaderSize)) / chunkEntrySize)
        errorContext.fatal("File %O appears unreadable or badly truncated", &file.fileName);
    file.seek(chunkFileHeaderSize);
    for (uint32_t i = 0; i < numChunks; ++i) {
        uint8_t bytes[chunkEntrySize];
        file.read(bytes, sizeof bytes);
        ChunkEntry entry = chunkEntryFrom(bytes, swap);
        const char *id = entry.identifier;
        if (std::memcmp(id, "OBJ_HEAD", 8) == 0) {
            headChunk = entry;
        } else if (std::memcmp(id, "OBJ_AREA", 8) == 0) {
            areaChunk = entry;
        } else if (std::memcmp(id, "OBJ_SYMT", 8) == 0) {
            symbolChunk = entry;
        } else if (std::memcmp(id, "OBJ_STRT", 8) == 0) {
            stringChunk = entry;
        } else if (std::memcmp(id, "OBJ_IDFN", 8) == 0) {
            identChunk = entry;
        } else {
            char shown[sizeof entry.identifier + 1] = {};
            std::memcpy(shown, id, sizeof entry.identifier);
            errorContext.warning("AOF area '%s' ignored.\n", shown);
        }
    }
}

void ArmObjectFileInput::readStrings(InputFile &file, ErrorContext &errorContext) {
    // A table that reaches past the end of the file is reported like one
    // that cannot be reached at all; its size then never sizes a block.
    file.seek(stringChunk.offset);
    if (!chunkFits(file, stringChunk.offset, stringChunk.size) ||
        (file.status & InputFile::failBit))
        errorContext.fatal("In file %O: string table appears to be truncated (size=%d).",
                           &file.fileName, stringChunk.size);
    if (stringChunk.size == 0) return;
    strings = std::make_unique<char[]>(size_t(stringChunk.size) + 1);
    file.read(strings.get(), stringChunk.size);
    if (file.status & InputFile::failBit)
        errorContext.fatal("In file %O: string table appears to be truncated (size=%d).",
                           &file.fileName, stringChunk.size);
    strings[stringChunk.size] = '\0';
    stringTableSize = stringChunk.size;
}

void ArmObjectFileInput::readSymbols(InputFile &file, ErrorContext &errorContext, bool swap) {
    // Bytes behind the last whole record are not a symbol.
    const uint32_t total = symbolChunk.size / aofSymbolSize;
    file.seek(symbolChunk.offset);
    if (!chunkFits(file, symbolChunk.offset, total * aofSymbolSize) ||
        (file.status & InputFile::failBit))
        errorContext.fatal("file %O: can't read symbol table.", &file.fileName);
    if (total == 0) return;
    auto raw = std::make_unique<uint8_t[]>(size_t(total) * aofSymbolSize);
    file.read(raw.get(), total * aofSymbolSize);
    if (file.status & InputFile::failBit)
        errorContext.fatal("file %O: can't read symbol table.", &file.fileName);
    symbols = std::make_unique<ArmSymbol[]>(total);
    for (uint32_t i = 0; i < total; ++i) {
        const uint8_t *p = raw.get() + size_t(i) * aofSymbolSize;
        AofSymbolRecord record;
        std::memcpy(&record.name, p, 4);
        std::memcpy(&record.attributes, p + 4, 4);
        std::memcpy(&record.value, p + 8, 4);
        std::memcpy(&record.areaName, p + 12, 4);
        if (swap) swapSymbolRecord(record);
        symbols[i].place(this, record);
    }
    symbolTotal = total;
}

void ArmObjectFileInput::readObjectHeader(InputFile &file, ErrorContext &errorContext, bool swap) {
    const uint32_t size = headChunk.size;
    if (size % 4 != 0) errorContext.fatal("incorrect AOFObjHeader size.\n");
    file.seek(headChunk.offset);
    if (!chunkFits(file, headChunk.offset, size) || (file.status & InputFile::failBit))
        errorContext.fatal("file %O: can't read AOFObjHeader table.", &file.fileName);
    auto raw = std::make_unique<uint8_t[]>(size + 1);
    file.read(raw.get(), size);
    if (file.status & InputFile::failBit)
        errorContext.fatal("file %O: can't read AOFObjHeader table.", &file.fileName);

    // A chunk too small to hold the object header has no header to speak
    // of; it is reported as a bogus one.
    if (size < aofObjHeaderSize) errorContext.fatal("bogus AOFObjHeader.\n");
    const uint8_t *p = raw.get();
    header.objectFileType = armWord(p, swap);
    header.version = armWord(p + 4, swap);
    header.areaCount = armWord(p + 8, swap);
    header.symbolCount = armWord(p + 12, swap);
    header.entryArea = armWord(p + 16, swap);
    header.entryOffset = armWord(p + 20, swap);
    if (header.objectFileType != aofObjectFileType) errorContext.fatal("bogus AOFObjHeader.\n");
    if ((size - aofObjHeaderSize) / aofAreaHeaderSize != header.areaCount)
        errorContext.fatal("bogus AOF area count\n");

    // The areas' contents follow each other in "OBJ_AREA" without gaps, each
    // directly followed by its relocations; a zero-initialised area takes
    // no room.
    areas.reserve(header.areaCount);
    uint32_t position = areaChunk.offset;
    uint32_t lastLength = 0;
    for (uint32_t i = 0; i < header.areaCount; ++i) {
        const uint8_t *h = p + aofObjHeaderSize + size_t(i) * aofAreaHeaderSize;
        AofAreaHeader area;
        area.name = armWord(h, swap);
        area.attributes = armWord(h + 4, swap);
        area.size = armWord(h + 8, swap);
        area.relocationCount = armWord(h + 12, swap);
        area.baseAddress = armWord(h + 16, swap);
        if (area.attributes & aofAreaReentrant) reentrant = true;
        if (!(area.attributes & aofAreaKeepsFlags)) elfImage.e_flags ^= apcsFlagBits;
        if (i != 0) position += lastLength;
        // The area's constructor has checked that its bytes and relocations
        // lie inside the file, so this length cannot wrap.
        areas.push_back(
            std::make_unique<ArmInputSection>(this, file, swap, errorContext, area, position));
        lastLength = (area.attributes & aofAreaZeroInit)
                         ? 0
                         : area.size + area.relocationCount * aofRelocationSize;
    }
}

void ArmObjectFileInput::each(SymbolVisitor visitor) {
    eachSymbol(visitor);
}

uint32_t ArmObjectFileInput::count() {
    return symbolTotal;
}

bool ArmObjectFileInput::isReentrant() {
    return reentrant;
}

void ArmObjectFileInput::eachSection(SectionVisitor visitor) {
    for (auto &area : areas)
        if (!visitor(*area)) return;
}

uint32_t ArmObjectFileInput::sectionCount() {
    return header.areaCount;
}

uint32_t ArmObjectFileInput::symbolCount() {
    return symbolTotal;
}

void ArmObjectFileInput::eachSymbol(SymbolVisitor visitor) {
    for (uint32_t i = 0; i < symbolTotal; ++i)
        if (!visitor(symbols[i])) return;
}

Elf32_Ehdr *ArmObjectFileInput::elfHeader() {
    return &elfImage;
}

bool ArmObjectFileInput::isLittleEndian() {
    return littleEndian;
}

ArmSymbol *ArmObjectFileInput::symbolAt(uint32_t index) {
    return index < symbolTotal ? &symbols[index] : nullptr;
}

const char *ArmObjectFileInput::stringAt(uint32_t offset) {
    return offset < stringTableSize ? strings.get() + offset : nullptr;
}

uint32_t ArmObjectFileInput::reservedArmOperation() {
    return 0;
}

ArmInputSection *ArmObjectFileInput::areaAt(uint32_t index) {
    return index < areas.size() ? areas[index].get() : nullptr;
}

ArmInputSection *ArmObjectFileInput::areaWithNameOffset(uint32_t offset) {
    for (auto &area : areas)
        if (area->areaHeader().name == offset) return area.get();
    return nullptr;
}
