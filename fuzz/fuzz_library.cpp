// Fuzz target: one arbitrary library.  Inputs that do not begin with the
// "!<arch>\n" magic get it put in front, so every input reaches the archive
// readers.  The library is opened with Archive::open and walked through every
// operation a listing or a linker uses: the members in order, each looked up
// by name, opened and read, handed out in chunks; the symbol table, each
// entry's member looked up by offset; then the walks of eachArchiveFile and
// eachArchiveObject, with every object listed under two option sets of
// FuzzLayouts.h, one with -C and one without, chosen by the input.
#include "FuzzHarness.h"
#include "FuzzLayouts.h"

#include "archive/Archive.h"
#include "input/EachArchiveObject.h"
#include "object/ObjectFile.h"
#include "tool/nm_listing.h"

#include <cstring>
#include <vector>

namespace {

FuzzInput *input;
std::vector<uint8_t> *withMagic;

const char archiveMagic[] = "!<arch>\n";
constexpr size_t archiveMagicLength = sizeof archiveMagic - 1;

void readWhole(InputFile &member) {
    uint8_t block[512];
    while (member.readCount(block, sizeof block) == sizeof block) {
    }
}

void walkLibrary(ErrorContext &errors) {
    InputFile file(input->name(), errors);
    if (file.status & (InputFile::eofBit | InputFile::failBit | InputFile::badBit)) return;
    std::unique_ptr<Archive> archive = Archive::open(file, &errors);
    if (!archive) return;
    (void)archive->archiveKind();
    (void)archive->fileName().displayName();

    archive->eachMember([&](const ArchiveMember &member) {
        if (member.name) (void)archive->memberNamed(member.name);
        if (std::unique_ptr<InputFile> opened = archive->openMember(member, &errors))
            readWhole(*opened);
        uint32_t delivered = 0;
        archive->eachMemberChunk(
            [&](const uint8_t *bytes, uint32_t length) {
                // Touch the first and last byte so a bad chunk shows.
                if (length) delivered += bytes[0] + bytes[length - 1];
                return true;
            },
            member);
        (void)delivered;
        return true;
    });
    archive->eachSymbol([&](const ArchiveSymbol &symbol) {
        if (symbol.name) (void)strlen(symbol.name);
        (void)archive->memberAtOffset(symbol.offset);
        return true;
    });

    eachArchiveFile([&](std::unique_ptr<InputFile> member) { readWhole(*member); }, file, errors,
                    *archive);
    eachArchiveObject(
        [&](std::unique_ptr<ObjectFile> object) {
            for (const NmOptions &layout : fuzzLayoutPair()) {
                nmOptions = layout;
                displayObject(*object, errors);
            }
        },
        file, errors, *archive);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    setUpFuzzing();
    input = new FuzzInput;
    withMagic = new std::vector<uint8_t>;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    chooseFuzzLayouts(data, size);
    if (size >= archiveMagicLength && memcmp(data, archiveMagic, archiveMagicLength) == 0) {
        input->store(data, size);
    } else {
        withMagic->assign(archiveMagic, archiveMagic + archiveMagicLength);
        withMagic->insert(withMagic->end(), data, data + size);
        input->store(withMagic->data(), withMagic->size());
    }
    FuzzErrors errors;
    runGuarded([&] { walkLibrary(errors.context()); });
    fflush(stdout);
    return 0;
}
