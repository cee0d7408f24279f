#include "archive/ElfArchive.h"

#include "input/FileName.h"
#include "input/InputFile.h"
#include "support/error.h"

#include <cstring>

namespace {

// Largest symbol-table member accepted; anything bigger is taken for garbage.
constexpr uint32_t symbolTableSizeLimit = 8000000;

using archive_header::bigEndian32;
using archive_header::holds;

bool readFailed(const InputFile &file) {
    return (file.status & (InputFile::badBit | InputFile::eofBit)) != 0;
}

} // namespace

ElfArchive::ElfArchive(InputFile &libraryFile, ErrorContext *errors)
    : UnixArchive(libraryFile, errors) {
    readLongNames();
    readSymbolTable();
}

ElfArchive::~ElfArchive() = default;

void ElfArchive::readLongNames() {
    // The table is the second member, or the third when the second is
    // another "/"-named system member.  This walk is the first over the
    // headers, so a damaged one among those it reaches is fatal already here.
    uint32_t seen = 0;
    archive_header::Text noted = {};
    uint32_t notedPosition = 0;
    bool found = false;
    eachMemberHeader(
        [&](const char *header, uint32_t dataPosition) {
            ++seen;
            if (seen == 1) return true;
            if (seen == 2 && header[0] != '/') return false;
            if (seen == 2 && header[1] != '/') return true;
            memcpy(noted, header, sizeof noted);
            notedPosition = dataPosition;
            found = true;
            return false;
        },
        file, errors);
    if (!found || noted[0] != '/' || noted[1] != '/') return;

    int32_t size = archive_header::number(noted, archive_header::sizeAt, 10);
    // A size that is negative or runs past the end of the file would fail
    // the read below all the same; it is caught before anything is allocated.
    bool truncated = size < 0 || !holds(file, notedPosition, uint32_t(size));
    if (!truncated) {
        longNames = std::make_unique<char[]>(uint32_t(size) + 1);
        file.seek(notedPosition);
        file.read(longNames.get(), uint32_t(size));
        truncated = readFailed(file);
    }
    if (truncated) {
        if (errors) errors->error("Archive %O has a truncated string table", shownName());
        longNames.reset();
        return;
    }
    longNamesSize = uint32_t(size);
}

void ElfArchive::readSymbolTable() {
    archive_header::Text header = {};
    if (file.seek(archive_header::magicSize) != -1) file.readCount(header, archive_header::size);
    // Any name that starts with "/" counts as the table here.
    if (header[0] != '/') {
        if (errors) errors->warning("Archive %O lacks a symbol table.", shownName());
        return;
    }
    // A negative size compares as a huge one and is refused with the rest.
    int32_t size = archive_header::number(header, archive_header::sizeAt, 10);
    if (uint32_t(size) > symbolTableSizeLimit) {
        if (errors)
            errors->error("Archive %O has a garbage symbol table size: %d", shownName(), int(size));
        return;
    }

    // A file that ends inside the count word leaves the missing bytes 0; the
    // checks below then judge the count as it stands (a count of 0 is no
    // table, with no message).
    uint8_t countBytes[4] = {};
    file.readCount(countBytes, sizeof countBytes);
    uint32_t count = bigEndian32(countBytes);
    // A table holds its count word besides the offsets, so a size of exactly
    // count * 4 is already too small.  The product is taken wide: a count that
    // wraps in 32 bits is as much garbage as one that is simply too big.
    uint64_t offsetsSize = uint64_t(count) * 4;
    if (uint32_t(size) <= offsetsSize) {
        if (errors)
            errors->error("Archive %O has a corrupt symbol table;%Centry count is garbage: 0x%lx.",
                          shownName(), static_cast<unsigned long>(count));
        return;
    }
    if (count == 0) return;

    uint32_t offsetsPosition = archive_header::magicSize + archive_header::size + 4;
    std::vector<uint8_t> raw;
    bool truncated = !holds(file, offsetsPosition, offsetsSize);
    if (!truncated) {
        raw.resize(size_t(offsetsSize));
        file.read(raw.data(), uint32_t(offsetsSize));
        truncated = readFailed(file);
    }
    if (truncated) {
        if (errors)
            errors->error("Archive %O has a truncated symbol table%C(EOF encountered while "
                          "reading %lu entries).",
                          shownName(), static_cast<unsigned long>(count));
        return;
    }

    // What is left of the member behind the count word and the offsets.
    uint64_t used = 4 + offsetsSize;
    uint32_t namesSize = uint32_t(size) > used ? uint32_t(uint32_t(size) - used) : 0;
    uint32_t namesPosition = offsetsPosition + uint32_t(offsetsSize);
    std::unique_ptr<char[]> names;
    truncated = !holds(file, namesPosition, namesSize);
    if (!truncated) {
        names = std::make_unique<char[]>(namesSize + 1);
        file.read(names.get(), namesSize);
        truncated = readFailed(file);
    }
    if (truncated) {
        if (errors)
            errors->error("Archive %O has a truncated string table%C(EOF encountered while "
                          "reading %lu byte string table).",
                          shownName(), static_cast<unsigned long>(namesSize));
        return;
    }

    symbolOffsets.resize(count);
    for (uint32_t i = 0; i < count; ++i)
        symbolOffsets[i] = bigEndian32(raw.data() + size_t(i) * 4);
    symbolOffsetsEnd = namesPosition;
    symbolNames = std::move(names);
    symbolNamesSize = namesSize;
}

void ElfArchive::eachSymbol(SymbolVisitor visitor) {
    const char *cursor = symbolNames.get();
    const char *end = cursor + symbolNamesSize;
    for (uint32_t entry = 0; entry < symbolOffsets.size(); ++entry) {
        if (cursor >= end) {
            // More entries than names: the table is damaged from here on.
            if (errors)
                errors->error("Archive %O has a corrupted symbol table after entry %d", shownName(),
                              int(entry));
            return;
        }
        if (!visitor(ArchiveSymbol{cursor, symbolOffsets[entry]})) return;
        // The block ends in an extra NUL, so the last name ends inside it.
        cursor += strlen(cursor) + 1;
    }
}

ArchiveMember *ElfArchive::memberFromHeader(const char *header, uint32_t dataPosition) {
    archive_header::Text copy;
    memcpy(copy, header, archive_header::size);
    copy[archive_header::size] = '\0';

    ArchiveMember *member = newMember(header, dataPosition);
    if (copy[0] == '/') {
        bool sawDigit = false;
        uint32_t at = uint32_t(archive_header::number(copy, 1, 10, &sawDigit));
        if (!sawDigit || at >= longNamesSize) {
            // No table to look in, or an offset beyond it: the name is the
            // header text itself, which ends with the header at the latest.
            member->name = keepName(copy, uint32_t(strlen(copy)));
        } else {
            // Cut the name at its "/" in place; the table's extra NUL ends a
            // last name that has neither "/" nor NUL.
            char *name = longNames.get() + at;
            char *end = name;
            while (*end != '\0' && *end != '/')
                ++end;
            *end = '\0';
            member->name = name;
        }
    } else {
        const void *slash = memchr(copy, '/', archive_header::nameWidth);
        if (slash)
            member->name = keepName(copy, uint32_t(static_cast<const char *>(slash) - copy));
        else
            member->name = "???";
    }
    return member;
}
