// ElfArchive: the System V / GNU form of the "!<arch>\n" container, as made by
// the ar of ELF toolchains.
//
// Two system members, both named with a leading "/", carry what the 16-byte
// name fields cannot:
//
//  - "/", the first member, is the symbol table.  All its numbers are
//    big-endian on every host, whatever the byte order of the objects:
//        4 bytes       entry count n
//        4 bytes * n   file offset of the header of each defining member
//        rest          n NUL-terminated names, in entry order
//  - "//" is the long-name table: names, each ended by "/" (or a NUL), one
//    after another.  A member whose name does not fit is called "/123" in its
//    header, 123 being the name's offset in that table.
//
// An ordinary member's name field holds the name ended by "/" and padded with
// blanks ("main.o/         ").  The table is looked for in second place, and
// in third when the second member is another "/"-named system member.
#pragma once

#include "archive/UnixArchive.h"

class ElfArchive : public UnixArchive {
public:
    // Reads the long-name table and the symbol table; damage to either is
    // reported to `errors` and leaves an archive whose members can be walked.
    ElfArchive(InputFile &libraryFile, ErrorContext *errors);

    uint8_t archiveKind() const override { return elfArchiveKind; }
    void eachSymbol(SymbolVisitor visitor) override;
    ArchiveMember *memberFromHeader(const char *header, uint32_t dataPosition) override;
    ~ElfArchive() override;

private:
    void readLongNames();
    void readSymbolTable();

    // Offsets of the defining members' headers, in host order.
    std::vector<uint32_t> symbolOffsets;
    // File position just behind the last offset.
    uint32_t symbolOffsetsEnd = 0;
    // The names of the symbol table, with one NUL more behind the block so
    // that a last name without its own NUL still ends inside.
    std::unique_ptr<char[]> symbolNames;
    uint32_t symbolNamesSize = 0;
    // The long-name table, with the same extra NUL.  Names are cut in place:
    // each name's "/" becomes a NUL when a record is made for it.
    std::unique_ptr<char[]> longNames;
    uint32_t longNamesSize = 0;
};
