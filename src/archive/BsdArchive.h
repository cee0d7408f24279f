// BsdArchive: the BSD form of the "!<arch>\n" container, whose first member
// is a symbol table named "__.SYMDEF" that ranlib builds over the archive.
//
// The member headers are those of every "!<arch>\n" file (UnixArchive), but
// a name is simply what the 16-byte name field holds, padded with blanks:
// no "/" ends it and there is no long-name table.
//
// The "__.SYMDEF" member's data, every number big-endian on every host:
//
//     4 bytes        table size in bytes, signed
//     8 bytes each   entries: offset of the name in the strings, then the
//                    file offset of the defining member's header
//     4 bytes        strings size in bytes
//     strings size   the names, each ended by a NUL
//
// The table holds table size / 8 whole entries; a size that is no multiple
// of 8 leaves the strings size directly behind the last whole entry.
#pragma once

#include "archive/UnixArchive.h"

#include <utility>

class BsdArchive : public UnixArchive {
public:
    // Reads the "__.SYMDEF" table; a missing or damaged table is reported to
    // `errors` (when given) and leaves an archive whose members can be
    // walked, with no symbols.
    BsdArchive(InputFile &libraryFile, ErrorContext *errors);

    uint8_t archiveKind() const override { return bsdArchiveKind; }
    void eachSymbol(SymbolVisitor visitor) override;
    ArchiveMember *memberFromHeader(const char *header, uint32_t dataPosition) override;
    ~BsdArchive() override;

private:
    void readSymbolTable();

    // Each entry: the name's offset in `symbolNames` and the file offset of
    // the defining member's header, both in host order.
    std::vector<std::pair<uint32_t, uint32_t>> symbolEntries;
    // The strings, with one NUL more behind the block so that a last name
    // without its own NUL still ends inside.
    std::unique_ptr<char[]> symbolNames;
    uint32_t symbolNamesSize = 0;
};
