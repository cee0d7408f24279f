// The pieces every fuzz target shares.
//
// The fatal seam: a damaged file makes a reader call ErrorContext::fatal,
// which in the tool ends the process with status 1.  Under the fuzzer the
// process must live on, so the harness installs a fatal exit hook that throws
// FatalExit; runGuarded catches it and hands control back to the fuzzer
// loop.  This is the only place where an exception is thrown: the program's
// own code never throws nor catches one, and its objects on the way up are
// destroyed by the unwinding as usual.
//
// The input file: the readers take their bytes from an InputFile, which opens
// a path.  FuzzInput keeps one anonymous in-memory file for the whole run,
// rewrites it with each input and opens it under a FileName of its own, so
// that no disk is touched and no name is kept per input.
//
// The diagnostics go through an ErrorCounter (so the messages are formatted
// as the tool formats them) into a sink that drops them; with TNM_FUZZ_VERBOSE
// set in the environment they go to standard error instead, and the listing
// to standard output, which helps when replaying one crashing input.
#pragma once

#include "input/FileName.h"
#include "input/InputFile.h"
#include "support/ErrFormat.h"
#include "support/errors.h"
#include "support/formout.h"

#include <cstddef>
#include <cstdint>
#include <memory>

// What the fatal exit hook throws.
struct FatalExit {
    int status;
};

// Installs the throwing fatal exit hook and sends standard output to
// /dev/null unless TNM_FUZZ_VERBOSE is set.  Called once, from
// LLVMFuzzerInitialize.
void setUpFuzzing();

// Whether TNM_FUZZ_VERBOSE was set at set-up.
bool fuzzVerbose();

// Runs `body`; a fatal report inside it returns here.  Answers false if the
// run ended in a fatal report.
template <typename Body> bool runGuarded(Body &&body) {
    try {
        body();
        return true;
    } catch (const FatalExit &) {
        return false;
    }
}

// A FormatSink that counts what it is given and keeps none of it.
class DiscardSink : public FormatSink {
public:
    void write(const char *text, int32_t length) override;
    uint32_t bytes = 0;
};

// The run's error context: an ErrorCounter on a discarding sink (or on
// standard error when verbose).
class FuzzErrors {
public:
    FuzzErrors();
    ~FuzzErrors();
    ErrorCounter &context() { return *counter; }

private:
    ErrFormat engine;
    DiscardSink sink;
    std::unique_ptr<FormatOut> out;
    std::unique_ptr<ErrorCounter> counter;
};

// The in-memory file that holds the current input.
class FuzzInput {
public:
    FuzzInput();
    ~FuzzInput();
    // Makes the file hold exactly `size` bytes of `data`.
    void store(const uint8_t *data, size_t size);
    // The file's name, for opening an InputFile on it.
    const FileName &name() const { return *fileName; }

private:
    int descriptor = -1;
    std::unique_ptr<FileName> fileName;
};
