#include "input/EachArchiveObject.h"

#include "archive/Archive.h"
#include "input/FileIdentity.h"
#include "input/ObjectFileLoader.h"
#include "object/ObjectFile.h"
#include "support/error.h"

int libraryNesting(const FileName &name) {
    int depth = 0;
    for (const FileName *n = name.parent(); n; n = n->parent())
        ++depth;
    return depth;
}

namespace {

// The walk of one library and of the libraries inside it, with the number of
// member visits that the outermost library's size still allows.
//
// A "!<arch>\n" member lies inside its library and after the one before it,
// so nested libraries only ever cut the file into smaller pieces.  The
// chunks of an ARM library are placed by offsets, though, and may overlap or
// hold the whole library again: two members that are each the library itself
// make a walk of 2^64 members under the nesting limit.  Every member costs a
// header or a chunk entry of at least 16 bytes at each level it lies in, so
// a real library, even one nested several levels, is visited far fewer times
// than a quarter of its bytes; a walk that uses up that budget is reported
// once and ends.
struct LibraryWalk {
    FunctionRef<void(std::unique_ptr<InputFile>)> visitor;
    InputFile &outermost;
    ErrorContext &errors;
    uint64_t visitsLeft;
    bool stopped = false;

    bool walk(InputFile &archiveFile, Archive &archive);
};

bool LibraryWalk::walk(InputFile &archiveFile, Archive &archive) {
    archive.eachMember([&](const ArchiveMember &member) {
        if (visitsLeft == 0) {
            errors.error("Library %O holds more members than its size allows; the rest are "
                         "not read",
                         static_cast<const Printable *>(&outermost.fileName));
            stopped = true;
            return false;
        }
        --visitsLeft;
        // The name outlives the walk: the member's object file and every
        // message about it point at it.
        const FileName &name = FileName::keep(std::make_unique<ArchiveMemberName>(
            &archiveFile.fileName, member.name, member.offset, member.size));
        auto file = std::make_unique<InputFile>(name, errors, archiveFile);
        FileIdentity id;
        FileIdentity::identify(id, *file, false);
        if (!id.isArchive) {
            visitor(std::move(file));
            return true;
        }
        // A library inside the library: walked in place.  Its own file is
        // needed only while the nested archive reads; the member files it
        // hands out share the outermost descriptor and not this object.
        //
        // Real libraries nest a level or two.  Each level holds a buffer, an
        // archive and a stack frame, and names grow with the depth, so a
        // crafted file of nested headers could exhaust memory or the stack:
        // levels beyond `maxLibraryNesting` are reported and skipped.
        if (libraryNesting(name) > maxLibraryNesting) {
            errors.error("Library %O is nested more than %d deep; its members are not read",
                         static_cast<const Printable *>(&name), maxLibraryNesting);
            return true;
        }
        if (std::unique_ptr<Archive> nested = Archive::open(*file, &errors))
            return walk(*file, *nested);
        return true;
    });
    return !stopped;
}

} // namespace

uint64_t libraryVisitBudget(const InputFile &libraryFile) {
    return uint64_t(libraryFile.bytesInFile()) / 4 + 256;
}

void eachArchiveFile(FunctionRef<void(std::unique_ptr<InputFile>)> visitor, InputFile &archiveFile,
                     ErrorContext &errors, Archive &archive) {
    LibraryWalk walk{visitor, archiveFile, errors, libraryVisitBudget(archiveFile)};
    walk.walk(archiveFile, archive);
}

void eachArchiveObject(FunctionRef<void(std::unique_ptr<ObjectFile>)> visitor,
                       InputFile &archiveFile, ErrorContext &errors, Archive &archive) {
    eachArchiveFile(
        [&](std::unique_ptr<InputFile> file) {
            ObjectFormatKind kind;
            std::unique_ptr<ObjectFile> object = loadObjectFile(*file, errors, kind);
            if (kind == unknownFormat)
                errors.error("%s: Unknown object file format", archiveFile.fileName.displayName());
            else if (object)
                visitor(std::move(object));
        },
        archiveFile, errors, archive);
}
