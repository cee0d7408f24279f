#include "archive/UnixArchive.h"

#include "input/FileName.h"
#include "input/InputFile.h"
#include "support/error.h"

#include <cstring>
#include <new>

int32_t archive_header::number(const char *text, uint32_t at, uint32_t base, bool *sawDigit) {
    const char *p = text + at;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r'))
        ++p;
    bool negative = false;
    if (*p == '+' || *p == '-') negative = *p++ == '-';
    uint32_t value = 0;
    bool any = false;
    for (; *p >= '0' && *p < char('0' + base); ++p, any = true)
        value = value * base + uint32_t(*p - '0');
    if (sawDigit) *sawDigit = any;
    return int32_t(negative ? 0u - value : value);
}

uint32_t archive_header::bigEndian32(const uint8_t *bytes) {
    return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 |
           uint32_t(bytes[3]);
}

bool archive_header::holds(const InputFile &file, uint64_t position, uint64_t count) {
    uint32_t end = file.bytesInFile();
    return position <= end && count <= end - position;
}

void UnixArchive::eachMemberHeader(HeaderVisitor visitor, InputFile &file, ErrorContext *errors) {
    uint32_t position = archive_header::magicSize;
    for (;;) {
        // A member that runs past the end leaves the walk beyond the window.
        // That is the end of the walk, found without a failing seek, whose
        // fail and bad bits would stay on the library's file for good.
        if (position > file.length || file.seek(position) == -1) return;
        archive_header::Text header = {};
        uint32_t got = file.readCount(header, archive_header::size);
        if (got == 0) return;
        int32_t size = archive_header::number(header, archive_header::sizeAt, 10);
        bool damaged = (file.status & InputFile::badBit) || got < archive_header::size ||
                       memcmp(header + archive_header::terminatorAt, "`\n", 2) != 0;
        // A negative size would send the walk backwards, round and round the
        // same headers: such a header is as damaged as one with a wrong
        // terminator, and without a context to report to the walk ends there.
        if ((damaged || size < 0) && errors)
            errors->fatal("Corrupted archive header at offset 0x%lx in %O",
                          static_cast<unsigned long>(position),
                          static_cast<const Printable *>(&file.fileName));
        if (size < 0) return;
        uint32_t dataPosition = position + archive_header::size;
        if (!visitor(header, dataPosition)) return;
        // Members start at even offsets: an odd size is followed by a pad
        // byte, whatever it holds.
        uint64_t next = uint64_t(dataPosition) + uint32_t(size) + (uint32_t(size) & 1);
        if (next > UINT32_MAX) return;
        position = uint32_t(next);
    }
}

void UnixArchive::eachMember(MemberVisitor visitor) {
    if (members.empty()) {
        members.reserve(30);
        eachMemberHeader(
            [&](const char *header, uint32_t dataPosition) {
                // "/" followed by anything but a digit names a system member
                // (symbol table, long-name table); "/123" is a long name.
                if (header[0] == '/' && !(header[1] >= '0' && header[1] <= '9')) return true;
                members.push_back(memberFromHeader(header, dataPosition));
                return true;
            },
            file, errors);
    }
    for (const ArchiveMember *member : members)
        if (!visitor(*member)) return;
}

ArchiveMember *UnixArchive::newMember(const char *header, uint32_t dataPosition) {
    ArchiveMember *member = new (records.allocate(sizeof(ArchiveMember))) ArchiveMember();
    member->date = archive_header::number(header, archive_header::dateAt, 10);
    member->uid = archive_header::number(header, archive_header::uidAt, 10);
    member->gid = archive_header::number(header, archive_header::gidAt, 10);
    member->mode = uint32_t(archive_header::number(header, archive_header::modeAt, 8));
    member->size = uint32_t(archive_header::number(header, archive_header::sizeAt, 10));
    member->offset = dataPosition;
    return member;
}

const char *UnixArchive::keepName(const char *text, uint32_t length) {
    return records.duplicate(text, length);
}

const ArchiveMember *UnixArchive::memberAtOffset(uint32_t offset) {
    // A symbol table gives the offset of the member's header; the records
    // hold the offset of the data behind it.
    uint32_t wanted = offset + archive_header::size;
    const ArchiveMember *found = nullptr;
    eachMember([&](const ArchiveMember &member) {
        if (member.offset != wanted) return true;
        found = &member;
        return false;
    });
    if (!found && errors)
        errors->error("Symbol table of archive %O appears corrupted.%CA symbol references "
                      "non-existent member at offset 0x%lx",
                      shownName(), static_cast<unsigned long>(offset));
    return found;
}

UnixArchive::~UnixArchive() = default;
