// Fuzz target: one arbitrary file, on the road that tnm gives a file named on
// its command line.  It is identified (shallow, as the tool does, and deep),
// then loaded as one object file or walked as a library member by member,
// and every object that comes out is listed under two option sets of
// FuzzLayouts.h, one with -C and one without, chosen by the input.
#include "FuzzHarness.h"
#include "FuzzLayouts.h"

#include "archive/Archive.h"
#include "input/EachArchiveObject.h"
#include "input/FileIdentity.h"
#include "input/ObjectFileLoader.h"
#include "object/ObjectFile.h"
#include "tool/nm_listing.h"

namespace {

FuzzInput *input;

void listEveryWay(ObjectFile &object, ErrorContext &errors) {
    for (const NmOptions &layout : fuzzLayoutPair()) {
        nmOptions = layout;
        displayObject(object, errors);
    }
}

void walkFile(ErrorContext &errors) {
    {
        // Deep identification reads further than the tool's shallow one:
        // the format's header, or a library's first members.
        InputFile probe(input->name(), errors);
        FileIdentity deep;
        FileIdentity::identify(deep, probe, true);
        (void)deep.kindName();
    }
    InputFile file(input->name(), errors);
    if (file.status & (InputFile::eofBit | InputFile::failBit | InputFile::badBit)) return;
    FileIdentity identity;
    FileIdentity::identify(identity, file, false);
    if (identity.isArchive) {
        std::unique_ptr<Archive> archive = Archive::open(file, &errors);
        if (!archive) return;
        eachArchiveObject(
            [&](std::unique_ptr<ObjectFile> object) { listEveryWay(*object, errors); }, file,
            errors, *archive);
        return;
    }
    ObjectFormatKind kind = unknownFormat;
    std::unique_ptr<ObjectFile> object = loadObjectFile(file, errors, kind);
    if (object) listEveryWay(*object, errors);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    setUpFuzzing();
    input = new FuzzInput;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    chooseFuzzLayouts(data, size);
    input->store(data, size);
    FuzzErrors errors;
    runGuarded([&] { walkFile(errors.context()); });
    fflush(stdout);
    return 0;
}
