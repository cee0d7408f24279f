#include "archive/Archive.h"

#include "archive/ArmArchive.h"
#include "archive/BsdArchive.h"
#include "archive/ElfArchive.h"
#include "input/FileName.h"
#include "input/InputFile.h"
#include "support/errors.h"

#include <cstring>

namespace {

// True if the first `length` bytes of `data`, of which `available` were read,
// equal `text`.  A comparison that reaches past the bytes read fails.
bool startsWith(const uint8_t *data, uint32_t available, uint32_t at, const char *text) {
    uint32_t length = static_cast<uint32_t>(strlen(text));
    return at <= available && length <= available - at && memcmp(data + at, text, length) == 0;
}

// The InputFile that openMember hands out.  It carries the member's name
// object with it, so the caller's one release frees both; the name comes
// first among the bases because the InputFile part refers to it.
struct MemberNameHolder {
    ArchiveMemberName memberName;
    MemberNameHolder(const FileName &library, const ArchiveMember &member)
        : memberName(&library, member.name, member.offset, member.size) {}
};

class MemberInputFile : private MemberNameHolder, public InputFile {
public:
    MemberInputFile(InputFile &library, const ArchiveMember &member, ErrorContext &errors)
        : MemberNameHolder(library.fileName, member), InputFile(memberName, errors, library) {}
};

} // namespace

std::unique_ptr<Archive> Archive::open(InputFile &file, ErrorContext *errors) {
    uint8_t head[30] = {};
    uint32_t got = 0;
    if (file.seek(0) != -1) got = file.readCount(head, sizeof head);

    // A BSD library begins with the same eight bytes as the System V form,
    // so its longer test stands first.  Offset 12 is where the first chunk
    // identifier of a chunk file lies.
    if (startsWith(head, got, 0, "!<arch>\n__.SYMDEF"))
        return std::make_unique<BsdArchive>(file, errors);
    if (startsWith(head, got, 0, "!<arch>\n")) return std::make_unique<ElfArchive>(file, errors);
    if (startsWith(head, got, 12, "LIB_")) return std::make_unique<ArmArchive>(file, errors);
    if (errors)
        errors->error("%O isn't of a recognizable archive format.",
                      static_cast<const Printable *>(&file.fileName));
    return nullptr;
}

const ArchiveMember *Archive::memberNamed(const char *name) {
    const ArchiveMember *found = nullptr;
    eachMember([&](const ArchiveMember &member) {
        if (member.name[0] == name[0] && strcmp(member.name, name) == 0) {
            found = &member;
            return false;
        }
        return true;
    });
    return found;
}

std::unique_ptr<InputFile> Archive::openMember(const ArchiveMember &member, ErrorContext *errors) {
    // Opening a window on the library reports nothing; a context is needed
    // all the same.
    static NullErrorContext silent;
    auto memberFile = std::make_unique<MemberInputFile>(file, member, errors ? *errors : silent);
    if (memberFile->status & InputFile::failBit) return nullptr;
    return memberFile;
}

void Archive::eachMemberChunk(ChunkVisitor visitor, const ArchiveMember &member) {
    std::unique_ptr<InputFile> memberFile = openMember(member, nullptr);
    if (!memberFile) return;
    // Zeroed once: a short read past the end of the file leaves stale bytes
    // of the block, never unset ones.
    uint8_t chunk[0x1000] = {};
    for (uint32_t position = 0; position < member.size;) {
        uint32_t count =
            member.size - position < sizeof chunk ? member.size - position : uint32_t(sizeof chunk);
        // The visitor gets the count asked for, whatever the read delivered.
        memberFile->read(chunk, count);
        if (!visitor(chunk, count)) return;
        position += count;
    }
}

Archive::~Archive() = default;

const FileName &Archive::fileName() const {
    return file.fileName;
}

const Printable *Archive::shownName() const {
    return &file.fileName;
}
