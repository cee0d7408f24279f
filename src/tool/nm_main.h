// The symbol display tool's driver: the options of the run, the banner and the
// usage text, the two passes over the arguments, and the road of each named
// file to the listing (an object file goes to it whole, a library member by
// member).
//
// Options are single letters, alone or several behind one "-", anywhere among
// the file names.  All options are read before the first file is touched, so
// every option applies to every file.
#pragma once

#include <cstdint>

class ErrorContext;
class InputFile;

// How the value column is written.
enum ValueRadix : uint8_t { radixOctal = 0, radixDecimal = 1, radixHex = 2 };

// The run's options.  Set once by the first pass over the arguments and read
// by the listing.  Apart from the radix, an option only ever switches on.
struct NmOptions {
    bool appendFileName = false;   // -A
    bool demangleNames = false;    // -C
    bool globalsOnly = false;      // -g
    bool undefinedOnly = false;    // -u
    bool suppressHeaders = false;  // -h, -u
    bool sortByName = false;       // -n
    bool sortByValue = false;      // -v
    bool parsableOutput = false;   // -p
    uint8_t valueRadix = radixHex; // -o, -d, -x: the last one given wins
};

extern NmOptions nmOptions;

// The tool's name: everything behind the last "/", "\\" or ":" of the first
// program argument, in place.
const char *toolNameOf(const char *argv0);

// First pass over the arguments (argv[1] onward): every argument that begins
// with "-" is a run of option letters; unknown letters are ignored.  Fills
// `options` and answers whether -q was among them.
bool readOptions(int argc, char **argv, NmOptions &options);

// The two banner lines, and the usage text, on standard output.
void printBanner();
void printUsage(const char *toolName);

// The road of one file named on the command line.
void displayFile(const char *path, ErrorContext &errors);
void displaySingleObject(const char *path, InputFile &file, ErrorContext &errors);
void displayArchive(const char *path, InputFile &file, ErrorContext &errors);

// The whole run; answers the process's exit status.
int nmMain(int argc, char **argv);
