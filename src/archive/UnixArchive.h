// UnixArchive: the container that begins with "!<arch>\n".
//
// The file is the 8-byte magic, then member after member: a 60-byte text
// header, the member's `size` data bytes, and one pad byte when `size` is odd,
// so every header starts at an even offset.  The first header lies at 8.
//
//   offset width  field       conversion
//        0    16  name        the subclass's business (memberFromHeader)
//       16    12  date        decimal
//       28     6  owner       decimal
//       34     6  group       decimal
//       40     8  mode        octal
//       48    10  size        decimal
//       58     2  terminator  "`\n"
//
// The numbers are read straight off the header text the way the classic
// tools read them: white space skipped, an optional sign, then digits up to
// the first character that is not one, whatever the field's width (so a
// blank field reads on into the next).  Results wrap at 32 bits.
//
// This class owns the walk over the headers, the list of member records and
// the lookup of a member by the header offset a symbol table gives.  Names
// and symbol tables belong to the subclasses.
#pragma once

#include "archive/Archive.h"
#include "support/heappool.h"

#include <vector>

namespace archive_header {
constexpr uint32_t magicSize = 8;
constexpr uint32_t size = 60;
constexpr uint32_t nameWidth = 16;
constexpr uint32_t dateAt = 16;
constexpr uint32_t uidAt = 28;
constexpr uint32_t gidAt = 34;
constexpr uint32_t modeAt = 40;
constexpr uint32_t sizeAt = 48;
constexpr uint32_t terminatorAt = 58;

// A header as the walk hands it on: the 60 bytes with a NUL behind them, so
// that the number conversions and name scans always end inside the buffer.
using Text = char[size + 1];

// The number that starts at `text[at]`, in `base` (8 or 10).  `sawDigit`, if
// given, says whether any digit was there.
int32_t number(const char *text, uint32_t at, uint32_t base, bool *sawDigit = nullptr);

// A 32-bit number stored big-endian, as the symbol tables of both forms
// store theirs on every host.
uint32_t bigEndian32(const uint8_t *bytes);

// True if `count` bytes from `position` lie inside what the library file
// really holds (a library inside a library may claim more): checked before
// anything is allocated for a table.
bool holds(const InputFile &file, uint64_t position, uint64_t count);
} // namespace archive_header

class UnixArchive : public Archive {
public:
    using HeaderVisitor = FunctionRef<bool(const char *header, uint32_t dataPosition)>;

    const ArchiveMember *memberAtOffset(uint32_t offset) override;
    void eachMember(MemberVisitor visitor) override;

    // A new member record from a header (60 bytes and a NUL) and the file
    // position of the member's data.  The record and its name belong to the
    // archive (see `records`) and live as long as it does.
    virtual ArchiveMember *memberFromHeader(const char *header, uint32_t dataPosition) = 0;
    ~UnixArchive() override;

    // Walks the headers of the container in `file`, from offset 8, handing
    // each header and the position of its data to the visitor.  A damaged
    // header is fatal when `errors` is given; with no context the walk uses
    // what it read, and ends where it cannot go on.
    static void eachMemberHeader(HeaderVisitor visitor, InputFile &file, ErrorContext *errors);

protected:
    UnixArchive(InputFile &libraryFile, ErrorContext *errors)
        : Archive(libraryFile), errors(errors), records(4096, "ArchiveMember", 32768) {}

    // A record in `records` with the numbers of `header` (60 bytes and a NUL)
    // and `dataPosition` as its offset; memberFromHeader adds the name, which
    // is the business of each form.
    ArchiveMember *newMember(const char *header, uint32_t dataPosition);
    // A NUL-terminated copy of `length` bytes of `text` in `records`.
    const char *keepName(const char *text, uint32_t length);

    // Where later operations report; it outlives the archive.  May be absent.
    ErrorContext *errors;
    // The member records and the names that are not in one of the archive's
    // tables.  A library of 20,000 members holds 20,000 records for its whole
    // life; cut from one pool, each costs its 32 bytes and its name, with no
    // allocation of its own, and all go back at once with the archive.
    HeapPool records;
    // The ordinary members in file order, built by the first eachMember that
    // finds any.
    std::vector<ArchiveMember *> members;
};
