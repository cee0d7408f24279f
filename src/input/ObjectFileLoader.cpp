#include "input/ObjectFileLoader.h"

#include "aof/ArmObjectFileInput.h"
#include "aout/BsdObjectFileInput.h"
#include "coff/CoffObjectFileInput.h"
#include "elf/ElfObjectFileFromInput.h"
#include "object/ObjectFile.h"
#include "support/error.h"

std::unique_ptr<ObjectFile> loadObjectFile(InputFile &file, ErrorContext &errors,
                                           ObjectFormatKind &kind) {
    kind = unknownFormat;
    FileIdentity id;
    FileIdentity::identify(id, file, false);
    // A library holds object files but is none; the caller takes the kind 0
    // for an unknown format.
    if (id.isArchive) return nullptr;
    kind = id.kind;
    switch (id.kind) {
    case elfFormat: {
        auto elf = std::make_unique<ElfObjectFileFromInput>(file, errors);
        // A reader that gave the file up has said why.
        if (!elf->isUsable()) return nullptr;
        return elf;
    }
    // The COFF, a.out and AOF readers end the run on damage: what they
    // return is always an object file.
    case coffFormat:
        return readCoffFile(file, errors, false);
    case ntFormat:
        return readCoffFile(file, errors, true);
    case bsdFormat:
        return readBsdFile(file, errors);
    case armFormat:
        return readArmFile(file, errors);
    default:
        // Kinds 0, 1, 7, 8 and 9 have no reader.  The marks above are where
        // the reader of each other kind takes over; until it is there, its
        // kind is reported like one without a reader.
        errors.error("File %s OMF format not yet handled", file.fileName.displayName());
        return nullptr;
    }
}
