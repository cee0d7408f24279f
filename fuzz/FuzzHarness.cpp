#include "FuzzHarness.h"

#include "support/botch.h"
#include "support/error.h"
#include "support/osprintf.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

bool verbose = false;

// Takes the place of exit(1) after a fatal report.
[[noreturn]] void throwFatalExit(int status) {
    throw FatalExit{status};
}

// The stops that the relocation tables make on files whose own tables do not
// fit together: a damaged file reaches them while it is read, and the program
// ends with "Fatal error --- ... Aborting..." and status 3, as it should.  Any
// other botch is a fault of the program, and stays a crash to the fuzzer.
const char *const designedBotches[] = {
    "%O:Fixup %d and %d have bad r_offsets (%x %x)",
    "Can't read data for section %s",
    "Section %s doesn't have target section in %s",
    "ElfReltabSectionFromInput::each() bad symtab",
    "In file %O: Relocation section %s references a non-data section %s",
};

[[noreturn]] void throwDesignedBotch(const char *format) {
    for (const char *designed : designedBotches)
        if (strcmp(format, designed) == 0) throw FatalExit{3};
    abort();
}

} // namespace

void setUpFuzzing() {
    verbose = getenv("TNM_FUZZ_VERBOSE") != nullptr;
    setFatalExitHook(throwFatalExit);
    setBotchHook(throwDesignedBotch);
    // The listing writes with printf; nobody reads it while fuzzing.
    if (!verbose && !freopen("/dev/null", "w", stdout)) abort();
}

bool fuzzVerbose() {
    return verbose;
}

void DiscardSink::write(const char *, int32_t length) {
    if (length > 0) bytes += uint32_t(length);
}

FuzzErrors::FuzzErrors() : engine("\n|\t") {
    if (verbose)
        out = std::make_unique<StreamFormatOut>(std::cerr, engine);
    else
        out = std::make_unique<FormatOut>(sink, engine);
    counter = std::make_unique<ErrorCounter>(*out, "tnm");
}

FuzzErrors::~FuzzErrors() = default;

FuzzInput::FuzzInput() {
    // An anonymous file in memory, reopened through /proc as any path is.
    descriptor = memfd_create("tnm-fuzz-input", 0);
    std::string path;
    if (descriptor >= 0) {
        path = "/proc/self/fd/" + std::to_string(descriptor);
    } else {
        char pattern[] = "/tmp/tnm-fuzz-XXXXXX";
        descriptor = mkstemp(pattern);
        if (descriptor < 0) abort();
        unlink(pattern);
        path = "/proc/self/fd/" + std::to_string(descriptor);
    }
    fileName = std::make_unique<FileName>(path.c_str());
}

FuzzInput::~FuzzInput() {
    if (descriptor >= 0) close(descriptor);
}

void FuzzInput::store(const uint8_t *data, size_t size) {
    if (ftruncate(descriptor, 0) != 0) abort();
    size_t done = 0;
    while (done < size) {
        ssize_t n = pwrite(descriptor, data + done, size - done, off_t(done));
        if (n <= 0) abort();
        done += size_t(n);
    }
}
