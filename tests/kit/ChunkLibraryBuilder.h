// ChunkLibraryBuilder: writes ARM chunk-file libraries in memory for the
// tests, in either byte order, with handles to damage any field.
//
//   ChunkLibraryBuilder(bigEndian)
//       .member("a.o", objectBytes)     // a "LIB_DATA" chunk, named in "LIB_DIRY"
//       .symbol("main", 0)              // an "OFL_SYMT" entry for member 0
//       .build();
//
// Chunks stand in the table in the order of the calls: `member` adds a
// "LIB_DATA" chunk, `chunk` any other, and `directory` / `symbolTable`
// place "LIB_DIRY" / "OFL_SYMT".  A directory not placed goes first and a
// symbol table not placed last, the way ARM's librarian lays them out.
// Members are numbered from 0 in the order of `member` and `unnamedMember`.
//
// Directory and symbol entries are written in the form the librarian gives
// them: the name, a NUL and zero padding to a multiple of 4 as the data,
// and an entry length of 12 plus the data length.  `rawDirectoryEntry` and
// `rawSymbolEntry` add entries with any words and data, in order with the
// others.  The whole-file modifiers (`chunkCount`, `truncateTo`, ...) act on
// the finished bytes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class ChunkLibraryBuilder {
public:
    using Bytes = std::vector<uint8_t>;

    // One entry of the directory or the symbol table, as it is written.
    struct Entry {
        uint32_t chunkIndex;
        uint32_t entryLength;
        uint32_t dataLength;
        Bytes data;
    };
    // The standard entry for `name`, pointing at `chunkIndex`.
    static Entry entryFor(uint32_t chunkIndex, std::string_view name);

    explicit ChunkLibraryBuilder(bool bigEndian = false);

    // A "LIB_DATA" chunk with a directory entry naming it.
    ChunkLibraryBuilder &member(std::string name, Bytes data);
    ChunkLibraryBuilder &member(std::string name, std::string_view data);
    // A "LIB_DATA" chunk that no directory entry names.
    ChunkLibraryBuilder &unnamedMember(Bytes data);
    // A chunk of any other identifier (cut or padded with NULs to 8 bytes).
    ChunkLibraryBuilder &chunk(std::string identifier, Bytes data = {});
    // Places the "LIB_DIRY" / "OFL_SYMT" chunk here in the table.
    ChunkLibraryBuilder &directory();
    ChunkLibraryBuilder &symbolTable();
    // A symbol entry for member `member`.
    ChunkLibraryBuilder &symbol(std::string name, uint32_t member);
    ChunkLibraryBuilder &rawDirectoryEntry(Entry entry);
    ChunkLibraryBuilder &rawSymbolEntry(Entry entry);

    // The header's number of chunks, instead of the true one.
    ChunkLibraryBuilder &chunkCount(uint32_t count);
    // The first four bytes, instead of the identifier in the builder's order.
    ChunkLibraryBuilder &identifierBytes(Bytes four);
    // The offset and size written in the table entry at `index`, instead of
    // the chunk's own.
    ChunkLibraryBuilder &chunkPlace(uint32_t index, uint32_t offset, uint32_t size);
    // The finished file cut to `size` bytes.
    ChunkLibraryBuilder &truncateTo(size_t size);

    Bytes build() const;

    // Chunk-table index, and file offset of the data, of member `index`.
    uint32_t memberChunk(uint32_t index) const;
    uint32_t dataOffset(uint32_t index) const;
    // File offset of the data of the chunk at table index `index`.
    uint32_t chunkOffset(uint32_t index) const;

private:
    enum class Kind { data, directory, symbols, other };
    struct Chunk {
        Kind kind;
        std::string identifier;
        Bytes data;
    };
    // A directory or symbol entry: a raw one, or one for a member whose
    // chunk index is known only at layout.
    struct PendingEntry {
        std::optional<uint32_t> member;
        std::string name;
        Entry raw;
    };
    struct Layout {
        std::vector<Chunk> chunks;     // directory and symbols in place
        std::vector<uint32_t> offsets; // file offset of each chunk's data
        std::vector<uint32_t> members; // chunk index of each member
    };

    Layout layOut() const;
    Bytes entryBytes(const std::vector<PendingEntry> &entries,
                     const std::vector<uint32_t> &members) const;
    void put(Bytes &out, size_t at, uint32_t value) const;

    bool bigEndian;
    std::vector<Chunk> chunks;
    std::vector<PendingEntry> directoryEntries;
    std::vector<PendingEntry> symbolEntries;
    std::optional<uint32_t> countOverride;
    std::optional<Bytes> identifierOverride;
    std::map<uint32_t, std::pair<uint32_t, uint32_t>> placeOverrides;
    std::optional<size_t> truncation;
};
