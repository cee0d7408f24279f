#include "coff/CoffSection.h"

#include "coff/CoffObjectFile.h"
#include "coff/CoffRelocationsIterator.h"
#include "coff/CoffUtil.h"
#include "input/InputFile.h"
#include "support/error.h"

#include <cstring>

CoffSection::CoffSection(CoffObjectFile &owner, const CoffSectionHeader &header)
    : header(header), owner(&owner) {}

CoffSection::~CoffSection() = default;

const char *CoffSection::headerName() {
    const char *field = header.s_name;
    if (field[0] == '/' && field[1] >= '0' && field[1] <= '9') {
        uint32_t offset = 0;
        for (int i = 1; i < 8 && field[i] >= '0' && field[i] <= '9'; ++i)
            offset = offset * 10 + uint32_t(field[i] - '0');
        // An offset that the string table does not reach has no text: the
        // section is then called by its field as it stands ("/1234").
        if (const char *text = owner->stringAt(offset)) return text;
    }
    if (field[7] == '\0') return field;
    if (fullName[0] == '\0') {
        std::memcpy(fullName, field, 8);
        fullName[8] = '\0';
    }
    return fullName;
}

const char *CoffSection::name() {
    if (!sectionName) sectionName = headerName();
    return sectionName;
}
uint32_t CoffSection::size() {
    return header.s_size;
}

uint32_t CoffSection::alignment() {
    if (isAbsolute()) {
        // Only the address tells: its low bits, as far as they make a
        // power of two.
        switch (header.s_vaddr % 8) {
        case 0:
            return 8;
        case 1:
        case 2:
        case 4:
            return header.s_vaddr % 8;
        default:
            return 1;
        }
    }
    int32_t bytes = int32_t(header.s_size);
    if (bytes > 7 && !isExecutable()) return 8;
    if (bytes > 3) return 4; // as far as an executable section goes
    if (bytes > 1) return 2;
    return 1;
}

ObjectFile *CoffSection::objectFile() {
    return owner;
}
bool CoffSection::isAllocated() {
    return (header.s_flags & (coffSectionText | coffSectionData | coffSectionBss)) != 0;
}
bool CoffSection::isLoadable() {
    return (header.s_flags & coffSectionNotLoaded) == 0;
}
bool CoffSection::isNote() {
    return false;
}
bool CoffSection::isContentSection() {
    return true;
}
bool CoffSection::isAbsolute() {
    return (header.s_flags & coffSectionAbsolute) != 0;
}
void CoffSection::setAbsolute(bool absolute) {
    if (absolute)
        header.s_flags |= coffSectionAbsolute;
    else
        header.s_flags &= ~coffSectionAbsolute;
}
bool CoffSection::isExecutable() {
    return (header.s_flags & coffSectionText) != 0 && (header.s_flags & 0x8000) == 0;
}
bool CoffSection::isWritable() {
    return (header.s_flags & (coffSectionData | coffSectionBss)) != 0;
}
bool CoffSection::isBss() {
    return (header.s_flags & coffSectionBss) != 0;
}
CoffSectionHeader *CoffSection::coffHeader() {
    return &header;
}
uint32_t CoffSection::address() {
    return header.s_vaddr;
}
void CoffSection::setAddress(uint32_t address) {
    header.s_paddr = address;
    header.s_vaddr = address;
}
uint32_t CoffSection::fileOffset() {
    return header.s_scnptr;
}
void CoffSection::setFileOffset(uint32_t offset) {
    header.s_scnptr = isBss() ? 0 : offset;
}
void CoffSection::eachMember(SectionVisitor visitor) {
    owner->eachSection(visitor);
}

SectionType CoffSection::sectionType() {
    uint32_t flags = header.s_flags;
    if ((flags & coffSectionLiteral) == coffSectionLiteral) return SectionType::lit;
    if (flags & coffSectionText) return SectionType::text;
    if (flags & coffSectionData) return SectionType::data;
    if (flags & coffSectionBss) return SectionType::bss;
    if (flags & coffSectionInfo) return SectionType::info;
    if (flags & coffSectionAbsolute) return SectionType::abs;
    return SectionType::null;
}

CoffSection *CoffSection::asCoffSection() {
    return this;
}

namespace {

// The file holds `count` records of `size` bytes at `offset`.  A library
// member may claim more bytes than the library has: the end is the real one.
bool fileHolds(InputFile &file, uint32_t offset, uint32_t count, uint32_t size) {
    uint32_t end = file.bytesInFile();
    return offset <= end && count <= (end - offset) / size;
}

} // namespace

CoffInputSection::CoffInputSection(InputFile &file, bool swap, ErrorContext &errors,
                                   const CoffSectionHeader &raw, CoffObjectFile &owner, Args *args)
    : CoffSection(owner, raw), originalAddress(raw.s_vaddr), linkArgs(args) {
    bytesSize = fileSize();
    // A section whose data, relocations or line numbers do not fit in the
    // file is refused like one whose table lies beyond it: nothing is
    // allocated by a count that the file cannot back.
    if (raw.s_scnptr != 0 && bytesSize != 0) {
        file.seek(raw.s_scnptr);
        if ((file.status & InputFile::failBit) || !fileHolds(file, raw.s_scnptr, bytesSize, 1))
            errors.fatal("Can't read data of section %.8s in file %O", raw.s_name, &file.fileName);
        bytes = std::make_unique<uint8_t[]>(bytesSize);
        file.readCount(bytes.get(), bytesSize);
    }

    uint32_t relocations = raw.s_nreloc;
    if (relocations != 0) {
        file.seek(raw.s_relptr);
        if ((file.status & InputFile::failBit) ||
            !fileHolds(file, raw.s_relptr, relocations, coffRelocationSize))
            errors.fatal("Can't read reloc table of section %.8s in file %O", raw.s_name,
                         &file.fileName);
        relocationTable = std::make_unique<CoffRelocation[]>(relocations);
        for (uint32_t i = 0; i < relocations; ++i) {
            CoffRelocation &entry = relocationTable[i];
            file.readCount(&entry, coffRelocationSize);
            if (swap) CoffUtil::swapRelocation(entry);
            entry.address -= raw.s_vaddr;
        }
    }

    uint32_t lines = raw.s_nlnno;
    if (lines != 0 && raw.s_lnnoptr != 0) {
        // The bounds are checked before the seek: a seek beyond the file
        // would leave failBit set for good, and the next section's read
        // would take this error for a fatal one.
        if (!fileHolds(file, raw.s_lnnoptr, lines, coffLineNumberSize)) {
            errors.error("Can't read line table of section %.8s in file %O", raw.s_name,
                         &file.fileName);
        } else {
            file.seek(raw.s_lnnoptr);
            lineTable = std::make_unique<CoffLineNumber[]>(lines);
            lineCount = lines;
            for (uint32_t i = 0; i < lines; ++i) {
                CoffLineNumber &entry = lineTable[i];
                file.readCount(&entry, coffLineNumberSize);
                if (swap) CoffUtil::swapLineNumber(entry);
                if (entry.line != 0) entry.word -= originalAddress;
            }
        }
    }
}

CoffInputSection::~CoffInputSection() = default;

const char *CoffInputSection::combinedSectionName() {
    if (!nameInFile) nameInFile = name();
    return nameInFile;
}
uint32_t CoffInputSection::inputAddress() {
    return originalAddress;
}
void CoffInputSection::eachRawDataChunk(RawDataChunkVisitor visitor) {
    visitor(0, bytesSize, bytes.get(), relocations());
}
RelocationsIterator *CoffInputSection::relocations() {
    if (!relocationIterator)
        relocationIterator = std::make_unique<CoffRelocationsIterator>(
            relocationTable.get(), relocationCount(), *this, linkArgs);
    return relocationIterator.get();
}
bool CoffInputSection::isComdat() {
    return comdat;
}
void CoffInputSection::eachLineNumberTable(LineNumberVisitor visitor) {
    visitor(lineTable.get(), lineCount);
}
void CoffInputSection::setComdatName(const char *text) {
    combinedSectionName(); // keeps the name from the file
    comdat = true;
    sectionName = text;
}
