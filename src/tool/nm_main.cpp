#include "tool/nm_main.h"

#include "archive/Archive.h"
#include "input/EachArchiveObject.h"
#include "input/FileIdentity.h"
#include "input/InputFile.h"
#include "input/ObjectFileLoader.h"
#include "object/ObjectFile.h"
#include "support/ErrFormat.h"
#include "support/errors.h"
#include "support/osprintf.h"
#include "tool/nm_listing.h"

#include <cstdio>
#include <iostream>
#include <unistd.h>

NmOptions nmOptions;

namespace {

// Standard output's buffer when it goes to a file or a pipe.  The C library
// takes the size given to setvbuf only together with a buffer of the
// caller's: with none it allocates its own of the file's block size.
constexpr size_t stdoutBufferSize = 64 * 1024;
char stdoutBuffer[stdoutBufferSize];

const char bannerText[] = "Tolvane Object File Symbol Display Utility v1.9\n"
                          "Copyright (c) 2026 Tolvane. All rights reserved.\n";

// The option lines go out as one block; puts adds one more new line behind
// the block's last, so the usage text ends in an empty line.
const char optionLines[] = "  -A  Append file name to each displayed symbol\n"
                           "  -C  Demangle C++ names\n"
                           "  -g  Display global symbols only\n"
                           "  -u  Display undefined symbols only\n"
                           "  -h  Suppress headers\n"
                           "  -n  Sort symbols by name\n"
                           "  -v  Sort symbols by value\n"
                           "  -d  Display symbol value in decimal\n"
                           "  -o  Display symbol value in octal\n"
                           "  -p  Produce easily parsable output\n"
                           "  -q  Don't display copyright message\n"
                           "  -x  Display symbol value in hex\n";

} // namespace

const char *toolNameOf(const char *argv0) {
    if (!argv0) return "";
    const char *name = argv0;
    for (const char *p = argv0; *p; ++p)
        if (*p == '/' || *p == '\\' || *p == ':') name = p + 1;
    return name;
}

bool readOptions(int argc, char **argv, NmOptions &options) {
    bool quiet = false;
    for (int i = 1; i < argc; ++i) {
        const char *arg = argv[i];
        if (arg[0] != '-') continue;
        for (const char *letter = arg + 1; *letter; ++letter) {
            switch (*letter) {
            case 'A':
                options.appendFileName = true;
                break;
            case 'C':
                options.demangleNames = true;
                break;
            case 'd':
                options.valueRadix = radixDecimal;
                break;
            case 'g':
                options.globalsOnly = true;
                break;
            case 'h':
                options.suppressHeaders = true;
                break;
            case 'n':
                options.sortByName = true;
                break;
            case 'o':
                options.valueRadix = radixOctal;
                break;
            case 'p':
                options.parsableOutput = true;
                break;
            case 'q':
                quiet = true;
                break;
            case 'u':
                options.undefinedOnly = true;
                options.suppressHeaders = true;
                break;
            case 'v':
                options.sortByValue = true;
                break;
            case 'x':
                options.valueRadix = radixHex;
                break;
            default:
                break; // unknown letters are ignored without a word
            }
        }
    }
    return quiet;
}

void printBanner() {
    fputs(bannerText, stdout);
}

void printUsage(const char *toolName) {
    printf("Usage: %s [-options] objects and archives\n", toolName);
    puts(optionLines);
}

void displayFile(const char *path, ErrorContext &errors) {
    // A failed open has already been reported by the constructor.
    InputFile file(path, &errors);
    if (file.status & (InputFile::eofBit | InputFile::failBit | InputFile::badBit)) {
        errors.error("failed reading %s", path);
        return;
    }
    FileIdentity identity;
    FileIdentity::identify(identity, file, false);
    if (identity.isArchive)
        displayArchive(path, file, errors);
    else
        displaySingleObject(path, file, errors);
}

void displaySingleObject(const char *path, InputFile &file, ErrorContext &errors) {
    ObjectFormatKind kind = unknownFormat;
    std::unique_ptr<ObjectFile> object = loadObjectFile(file, errors, kind);
    if (kind == 0) {
        // The loader has said "OMF format not yet handled" already.
        errors.error("%s: Unknown object file format", path);
        return;
    }
    // Without an object the loader or the reader has said why.
    if (object) displayObject(*object, errors);
}

void displayArchive(const char *, InputFile &file, ErrorContext &errors) {
    // An unrecognised library has been reported by Archive::open.
    std::unique_ptr<Archive> archive = Archive::open(file, &errors);
    if (!archive) return;
    eachArchiveObject([&](std::unique_ptr<ObjectFile> object) { displayObject(*object, errors); },
                      file, errors, *archive);
}

int nmMain(int argc, char **argv) {
    const char *toolName = toolNameOf(argc > 0 ? argv[0] : nullptr);
    if (argc < 2) {
        printBanner();
        printUsage(toolName);
        return 0;
    }

    // Diagnostics go unbuffered to standard error, the listing buffered to
    // standard output; nothing orders the two on a shared console.  So that
    // a diagnostic does not flush the listing, std::cerr is not tied to
    // std::cout, and when standard output is not a terminal it is fully
    // buffered in large blocks: a library of thousands of members then costs
    // a few hundred writes, not one or more per member.
    std::cerr.tie(nullptr);
    if (!isatty(STDOUT_FILENO)) setvbuf(stdout, stdoutBuffer, _IOFBF, stdoutBufferSize);
    ErrFormat errFormat("\n|\t");
    StreamFormatOut errorOut(std::cerr, errFormat);
    // Each diagnostic reaches standard error whole, in one write.
    errorOut.gatherWholeLines(true);
    ErrorCounter errors(errorOut, toolName);
    errors.warningsEnabled = true;

    bool quiet = readOptions(argc, argv, nmOptions);
    if (!quiet) printBanner();

    // Every argument that does not begin with "-" names a file, the empty
    // argument included.  Wildcards have been expanded by the shell on the
    // platforms this builds for; "@name" is a file name like any other.
    for (int i = 1; i < argc; ++i)
        if (argv[i][0] != '-') displayFile(argv[i], errors);

    fflush(stdout);
    return errors.errorCount != 0 ? 1 : 0;
}
