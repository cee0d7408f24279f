#include "archive/ArmArchive.h"

#include "input/InputFile.h"
#include "support/endian.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr uint32_t headerSize = 12;
constexpr uint32_t chunkEntrySize = 16;
constexpr uint32_t entryWordsSize = 12;
// The identifier as a big-endian writer lays it down.
constexpr uint8_t bigEndianIdentifier[4] = {0xC3, 0xCB, 0xC6, 0xC5};

// A "LIB_DATA" chunk that no directory entry names.  Every record carries a
// text, so that the member's file has a name to show and memberNamed can
// compare; this is the text the "!<arch>\n" libraries give a name they
// cannot read.
constexpr const char *unnamedMember = "???";

} // namespace

ArmArchive::ArmArchive(InputFile &libraryFile, ErrorContext *)
    : Archive(libraryFile), pool(4096, "ArmArchive", 32768) {
    readChunkTable();

    // The directory names the "LIB_DATA" entries.  An entry whose index lies
    // beyond the chunk table, or at an entry of another kind, names no
    // member and is passed over.
    readEntries(directoryOffset, directorySize,
                [&](uint32_t index, const char *name, uint32_t length) {
                    if (index < chunks.size() && chunks[index].isData)
                        chunks[index].name = pool.duplicate(name, length);
                    return true;
                });

    // The symbol block holds what the chunk's size allows: an entry is at
    // least 16 bytes.  Entries beyond that (possible only when entry lengths
    // lie) are dropped; the loop ends once the block is full.  The records
    // are kept as the file gives them: one whose index is no "LIB_DATA"
    // entry, or lies beyond the table, has offset 0 and no member.
    symbolCapacity = symbolTableSize / 16 + 1;
    // Room made ahead for what the file can hold, whatever the size claims.
    symbols.reserve(std::min(symbolCapacity, file.bytesInFile() / 16 + 1));
    readEntries(symbolTableOffset, symbolTableSize,
                [&](uint32_t index, const char *name, uint32_t length) {
                    symbols.push_back(SymbolRecord{index, pool.duplicate(name, length)});
                    return symbols.size() < symbolCapacity;
                });
}

ArmArchive::~ArmArchive() = default;

uint32_t ArmArchive::word(const uint8_t *bytes) const {
    uint32_t value;
    memcpy(&value, bytes, sizeof value);
    return swap ? byteSwap32(value) : value;
}

void ArmArchive::readChunkTable() {
    uint8_t header[headerSize] = {};
    if (file.seek(0) != -1) file.readCount(header, headerSize);
    // Archive::open sends a file here on "LIB_" at offset 12 alone, so the
    // identifier may be neither form: anything but the big-endian bytes is
    // read as little-endian, the order of ARM's own tools.
    bool bigEndian = memcmp(header, bigEndianIdentifier, sizeof bigEndianIdentifier) == 0;
    swap = bigEndian == hostIsLittleEndian;

    // The table is cut to the entries the file holds, so that no count
    // drives an allocation the file cannot back.  An entry the file lacks
    // would read as zeros, which is an entry of no kind: the cut changes
    // nothing that can be seen.
    uint32_t count = word(header + 8);
    uint32_t end = file.bytesInFile();
    uint32_t room = end >= headerSize ? (end - headerSize) / chunkEntrySize : 0;
    if (count > room) count = room;
    chunks.resize(count);

    for (uint32_t index = 0; index < count; ++index) {
        uint8_t entry[chunkEntrySize] = {};
        file.readCount(entry, chunkEntrySize);
        uint32_t offset = word(entry + 8);
        uint32_t size = word(entry + 12);
        if (memcmp(entry, "LIB_DATA", 8) == 0) {
            chunks[index].offset = offset;
            chunks[index].size = size;
            chunks[index].isData = true;
            if (!hasData) firstData = index;
            hasData = true;
            lastData = index;
        } else if (memcmp(entry, "LIB_DIRY", 8) == 0) {
            directoryOffset = offset;
            directorySize = size;
        } else if (memcmp(entry, "OFL_SYMT", 8) == 0) {
            symbolTableOffset = offset;
            symbolTableSize = size;
        }
    }
}

void ArmArchive::readEntries(uint32_t offset, uint32_t size, EntryVisitor visitor) {
    if (size == 0) return;
    // A seek beyond the window would leave its bits on the library's file
    // for good: a chunk that lies beyond the end is simply not read.
    if (offset > file.length || file.seek(offset) == -1) return;

    // The name buffer is zeroed once for the whole run, not for each entry:
    // an entry whose data is shorter than the name before it and holds no
    // NUL reads on into that name's bytes, as the format's own tools read
    // it.  The byte behind the buffer is always a NUL.
    char buffer[maxNameLength + 1] = {};
    // The running total is wide: entry lengths cannot wrap it round.
    uint64_t total = 0;
    while (total < size) {
        // The loop moves through the file by the words and the data, and
        // ends by the entry lengths; a file that ends first ends it too, so
        // the loop ends whatever the lengths say.
        uint8_t words[entryWordsSize];
        if (file.readCount(words, entryWordsSize) < entryWordsSize) return;
        uint32_t chunkIndex = word(words);
        total += word(words + 4);
        uint32_t dataLength = word(words + 8);

        // A short read leaves the buffer's older bytes in place.  Data
        // beyond the longest name is skipped, so that the next entry is
        // still found directly behind the data.
        uint32_t taken = dataLength < maxNameLength ? dataLength : maxNameLength;
        file.readCount(buffer, taken);
        bool goOn = visitor(chunkIndex, buffer, uint32_t(strnlen(buffer, maxNameLength)));
        if (!goOn) return;
        if (dataLength > taken) {
            uint64_t next = uint64_t(file.position) + (dataLength - taken);
            if (next > file.bytesInFile()) return;
            file.seek(uint32_t(next));
        }
    }
}

const char *ArmArchive::memberName(const Chunk &chunk) const {
    return chunk.name ? chunk.name : unnamedMember;
}

void ArmArchive::eachMember(MemberVisitor visitor) {
    if (!hasData) return;
    for (uint32_t index = firstData; index <= lastData; ++index) {
        const Chunk &chunk = chunks[index];
        // Chunks of other kinds between the first and the last "LIB_DATA"
        // entry are no members: their entries are zero, and a record of
        // offset 0 would show the library's own header as a member.
        if (!chunk.isData) continue;
        ArchiveMember member;
        member.name = memberName(chunk);
        member.offset = chunk.offset;
        member.size = chunk.size;
        if (!visitor(member)) return;
    }
}

void ArmArchive::eachSymbol(SymbolVisitor visitor) {
    for (const SymbolRecord &symbol : symbols) {
        uint32_t offset = symbol.chunkIndex < chunks.size() ? chunks[symbol.chunkIndex].offset : 0;
        if (!visitor(ArchiveSymbol{symbol.name, offset})) return;
    }
}

const ArchiveMember *ArmArchive::keptMember(uint32_t index) {
    if (kept.empty()) kept.resize(chunks.size());
    if (!kept[index]) {
        ArchiveMember *member = new (pool.allocate(sizeof(ArchiveMember))) ArchiveMember();
        member->name = memberName(chunks[index]);
        member->offset = chunks[index].offset;
        member->size = chunks[index].size;
        kept[index] = member;
    }
    return kept[index];
}

const ArchiveMember *ArmArchive::memberAtOffset(uint32_t offset) {
    if (!hasData) return nullptr;
    for (uint32_t index = firstData; index <= lastData; ++index)
        if (chunks[index].isData && chunks[index].offset == offset) return keptMember(index);
    return nullptr;
}

const ArchiveMember *ArmArchive::memberNamed(const char *name) {
    // The walk of eachMember, by index, so that the match can be kept.
    if (!hasData) return nullptr;
    for (uint32_t index = firstData; index <= lastData; ++index) {
        if (!chunks[index].isData) continue;
        const char *candidate = memberName(chunks[index]);
        if (candidate[0] == name[0] && strcmp(candidate, name) == 0) return keptMember(index);
    }
    return nullptr;
}
