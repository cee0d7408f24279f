// ArmArchive: the ARM library, a chunk file whose chunks are the library's
// directory, its symbol table and one chunk per member.
//
// A chunk file starts with a header and a table of chunk entries:
//
//     offset  width  field
//          0      4  identifier 0xC3CBC6C5, in the writer's byte order
//          4      4  maximum number of chunks (not used)
//          8      4  number of chunks
//         12  16 each chunk entries: 8 bytes of name, 4 of file offset,
//                    4 of size
//
// The identifier gives the byte order of every number in the file: the
// bytes C5 C6 CB C3 mean little-endian, C3 CB C6 C5 big-endian.  The chunks
// a library reader needs are
//
//     "LIB_DATA"  one member's bytes (usually an AOF object)
//     "LIB_DIRY"  the directory: the members' names
//     "OFL_SYMT"  the symbol table
//
// and all others are skipped.  Directory and symbol table are runs of
// entries of one form:
//
//     4 bytes     chunk index: in the directory, that of the member's
//                 "LIB_DATA" entry; in the symbol table, the defining
//                 member's
//     4 bytes     entry length, the step to the next entry
//     4 bytes     data length
//     data        starting with the NUL-terminated name
//
// The whole file is read at construction; the member walk then answers
// from the chunk table.  Symbol offsets are the positions of the members'
// data (not of a header, as in the "!<arch>\n" libraries).
#pragma once

#include "archive/Archive.h"
#include "support/heappool.h"

#include <vector>

class ArmArchive : public Archive {
public:
    // Reads the chunk table, the directory and the symbol table.  The
    // format is read as it stands and nothing is reported, so `errors` is
    // not used; it is taken like every archive's.
    ArmArchive(InputFile &libraryFile, ErrorContext *errors);

    uint8_t archiveKind() const override { return armArchiveKind; }
    // The member whose data starts at `offset`, or none (with no message).
    // The record belongs to the archive and lives as long as it does.
    const ArchiveMember *memberAtOffset(uint32_t offset) override;
    // Visits the "LIB_DATA" chunks in table order.  Each record is made for
    // the call and lives for that call only.
    void eachMember(MemberVisitor visitor) override;
    void eachSymbol(SymbolVisitor visitor) override;
    // Like memberAtOffset, a record that lives as long as the archive: the
    // records of eachMember are gone when the walk ends.
    const ArchiveMember *memberNamed(const char *name) override;
    ~ArmArchive() override;

    // Longest name a directory or symbol entry gives; the rest of a longer
    // entry's data is skipped.
    static constexpr uint32_t maxNameLength = 256;

private:
    struct Chunk {
        uint32_t offset = 0;
        uint32_t size = 0;
        const char *name = nullptr; // from the directory; none if not named
        bool isData = false;        // a "LIB_DATA" chunk
    };
    struct SymbolRecord {
        uint32_t chunkIndex;
        const char *name;
    };
    // Gets the chunk index and the name (its text and length) of each entry.
    using EntryVisitor = FunctionRef<bool(uint32_t chunkIndex, const char *name, uint32_t length)>;

    uint32_t word(const uint8_t *bytes) const;
    void readChunkTable();
    void readEntries(uint32_t offset, uint32_t size, EntryVisitor visitor);
    const char *memberName(const Chunk &chunk) const;
    // The lasting record of the "LIB_DATA" chunk at `index`, made once.
    const ArchiveMember *keptMember(uint32_t index);

    // The file's numbers must be swapped to be read on this host.
    bool swap = false;
    // One entry per chunk-table index; entries other than "LIB_DATA" stay
    // zero.
    std::vector<Chunk> chunks;
    // The symbol table in file order, and the most it may hold: the symbol
    // chunk's size / 16 + 1, an entry being at least 12 bytes of words and 4
    // of name.
    std::vector<SymbolRecord> symbols;
    uint32_t symbolCapacity = 0;
    uint32_t directoryOffset = 0;
    uint32_t directorySize = 0;
    uint32_t symbolTableOffset = 0;
    uint32_t symbolTableSize = 0;
    // The first and last "LIB_DATA" index; a library with none has no
    // members.
    bool hasData = false;
    uint32_t firstData = 0;
    uint32_t lastData = 0;
    // Names of members and symbols, and the lasting member records.
    HeapPool pool;
    // The lasting records by chunk index, made on demand.
    std::vector<ArchiveMember *> kept;
};
