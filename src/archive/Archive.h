// Archive: one library file seen as two sequences, the member records (each
// naming a stretch of the file) and the symbol records (each naming an
// exported symbol and the member that defines it).  The rest of the program
// never looks at a library's bytes: it opens a library with Archive::open,
// which picks the class from the first bytes, and walks it with eachMember.
//
// Three on-disk forms exist: the "!<arch>\n" container with "/" system
// members (ElfArchive), the same container with a "__.SYMDEF" first member
// (BsdArchive) and the ARM chunk-file library (ArmArchive).
#pragma once

#include "support/FunctionRef.h"

#include <cstdint>
#include <memory>

class ErrorContext;
class FileName;
class InputFile;
class Printable;

// One member of a library.  `name` is the name as the format's reader has
// cleaned it; it points into storage owned by the archive (one of its tables,
// or its pool of record names).  `offset` is the file position of the member's first data byte
// (not of its header) and `size` the length of its data.
struct ArchiveMember {
    const char *name = nullptr;
    int32_t date = 0;
    int32_t uid = 0;
    int32_t gid = 0;
    uint32_t mode = 0;
    uint32_t offset = 0;
    uint32_t size = 0;
};

// One entry of a library's symbol table.  `name` is owned by the archive;
// `offset` is what memberAtOffset of the same archive takes.
struct ArchiveSymbol {
    const char *name;
    uint32_t offset;
};

// Kinds given by Archive::archiveKind.
enum : uint8_t { elfArchiveKind = 1, bsdArchiveKind = 2, armArchiveKind = 4 };

class Archive {
public:
    // A visitor answers true to go on with the walk, false to end it there.
    using MemberVisitor = FunctionRef<bool(const ArchiveMember &)>;
    using SymbolVisitor = FunctionRef<bool(const ArchiveSymbol &)>;
    using ChunkVisitor = FunctionRef<bool(const uint8_t *, uint32_t)>;

    // Opens `file` as a library of whichever class its first bytes call for.
    // An unrecognised file is reported to `errors`, when given, and gives
    // none.  The archive reads through `file`, which must stay open for the
    // archive's life; the caller owns the result.
    static std::unique_ptr<Archive> open(InputFile &file, ErrorContext *errors);

    virtual uint8_t archiveKind() const = 0;
    // The member whose symbol-table offset is `offset`, or none.
    virtual const ArchiveMember *memberAtOffset(uint32_t offset) = 0;
    // Visits the members in file order.
    virtual void eachMember(MemberVisitor visitor) = 0;
    // Visits the symbol-table entries in table order.
    virtual void eachSymbol(SymbolVisitor visitor) = 0;
    // The first member called `name` (case-sensitive), or none.
    virtual const ArchiveMember *memberNamed(const char *name);
    // An InputFile on the member's bytes inside the library, or none when it
    // cannot be opened.  The returned file owns the member's name object.
    virtual std::unique_ptr<InputFile> openMember(const ArchiveMember &member,
                                                  ErrorContext *errors);
    // Hands the member's bytes to the visitor in blocks of at most 0x1000.
    virtual void eachMemberChunk(ChunkVisitor visitor, const ArchiveMember &member);

    virtual ~Archive();

    // The name of the library's file.
    const FileName &fileName() const;

protected:
    explicit Archive(InputFile &libraryFile) : file(libraryFile) {}

    // The library's name as "%O" takes it.
    const Printable *shownName() const;

    // The library's file: given to the archive, not owned by it.
    InputFile &file;
};
