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

void eachArchiveFile(FunctionRef<void(std::unique_ptr<InputFile>)> visitor, InputFile &archiveFile,
                     ErrorContext &errors, Archive &archive) {
    archive.eachMember([&](const ArchiveMember &member) {
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
            eachArchiveFile(visitor, *file, errors, *nested);
        return true;
    });
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
