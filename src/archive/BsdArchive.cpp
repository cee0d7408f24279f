#include "archive/BsdArchive.h"

#include "input/FileName.h"
#include "input/InputFile.h"
#include "support/error.h"

#include <cstring>

namespace {

// The name field of the table member: nine characters and seven blanks.
constexpr char symdefName[] = "__.SYMDEF       ";
static_assert(sizeof symdefName - 1 == archive_header::nameWidth);

// The table member's data starts behind the magic and its header.
constexpr uint32_t tablePosition = archive_header::magicSize + archive_header::size;
constexpr uint32_t entrySize = 8;

using archive_header::bigEndian32;

// The next 4 bytes of the file as a big-endian number.  A file that ends
// inside them leaves the missing bytes 0 (and eofBit set, for the caller's
// test after its next read).
uint32_t readWord(InputFile &file) {
    uint8_t bytes[4] = {};
    file.readCount(bytes, sizeof bytes);
    return bigEndian32(bytes);
}

bool readFailed(const InputFile &file) {
    return (file.status & (InputFile::failBit | InputFile::eofBit)) != 0;
}

} // namespace

BsdArchive::BsdArchive(InputFile &libraryFile, ErrorContext *errors)
    : UnixArchive(libraryFile, errors) {
    readSymbolTable();
}

BsdArchive::~BsdArchive() = default;

void BsdArchive::readSymbolTable() {
    archive_header::Text header = {};
    // A seek beyond the window would leave its bits on the library's file
    // for good; a file that short has no header to read anyway.
    if (archive_header::magicSize <= file.length && file.seek(archive_header::magicSize) != -1)
        file.readCount(header, archive_header::size);
    if (memcmp(header, symdefName, archive_header::nameWidth) != 0) {
        if (errors) errors->error("Archive %O lacks a symbol table. Run \"ranlib\".", shownName());
        return;
    }
    int32_t memberSize = archive_header::number(header, archive_header::sizeAt, 10);

    // The whole entries; a size that is no multiple of 8 leaves its odd bytes
    // to be read as the start of the strings size.  The read of the entries
    // is checked against the file before anything is allocated: a count the
    // file cannot hold would fail that read all the same.  That covers a
    // negative table size too, which is reported as a truncated table
    // rather than being handed to the allocator as a negative request that
    // would end the run.
    int32_t tableSize = int32_t(readWord(file));
    int64_t count = tableSize / int32_t(entrySize);
    uint64_t entriesPosition = tablePosition + 4;
    std::vector<uint8_t> raw;
    bool truncated =
        count < 0 || !archive_header::holds(file, entriesPosition, uint64_t(count) * entrySize);
    if (!truncated) {
        raw.resize(size_t(count) * entrySize);
        file.read(raw.data(), uint32_t(raw.size()));
        truncated = readFailed(file);
    }
    if (truncated) {
        if (errors) errors->error("Archive %O has a truncated symbol table", shownName());
        return;
    }

    // The two size words are not part of the sum: a member of exactly the
    // entries and the strings passes.  Taken wide, so that no strings size
    // can wrap round to a small sum.
    uint32_t stringsSize = readWord(file);
    if (int64_t(memberSize) < int64_t(stringsSize) + count * int64_t(entrySize)) {
        if (errors)
            errors->error("Archive %O has a garbage string table size: %u", shownName(),
                          unsigned(stringsSize));
        return;
    }

    uint64_t stringsPosition = entriesPosition + uint64_t(count) * entrySize + 4;
    std::unique_ptr<char[]> strings;
    truncated = !archive_header::holds(file, stringsPosition, stringsSize);
    if (!truncated) {
        strings = std::make_unique<char[]>(size_t(stringsSize) + 1);
        file.read(strings.get(), stringsSize);
        truncated = readFailed(file);
    }
    if (truncated) {
        if (errors) errors->error("Archive %O has a truncated string table", shownName());
        return;
    }

    symbolEntries.resize(size_t(count));
    for (size_t i = 0; i < symbolEntries.size(); ++i)
        symbolEntries[i] = {bigEndian32(raw.data() + i * entrySize),
                            bigEndian32(raw.data() + i * entrySize + 4)};
    symbolNames = std::move(strings);
    symbolNamesSize = stringsSize;
}

void BsdArchive::eachSymbol(SymbolVisitor visitor) {
    for (uint32_t entry = 0; entry < symbolEntries.size(); ++entry) {
        auto [nameOffset, memberOffset] = symbolEntries[entry];
        if (nameOffset >= symbolNamesSize) {
            // A name outside the strings: the table is damaged from here on.
            if (errors)
                errors->error("Archive %O has a corrupted symbol table after entry %d", shownName(),
                              int(entry));
            return;
        }
        // The block ends in an extra NUL, so the last name ends inside it.
        if (!visitor(ArchiveSymbol{symbolNames.get() + nameOffset, memberOffset})) return;
    }
}

ArchiveMember *BsdArchive::memberFromHeader(const char *header, uint32_t dataPosition) {
    // The name is the field's text, up to a NUL if it holds one, with the
    // padding blanks cut off behind it; the first character always stays,
    // so a field of 16 blanks names a member " ".
    uint32_t length = uint32_t(strnlen(header, archive_header::nameWidth));
    while (length > 1 && header[length - 1] == ' ')
        --length;

    ArchiveMember *member = newMember(header, dataPosition);
    member->name = keepName(header, length);
    return member;
}
