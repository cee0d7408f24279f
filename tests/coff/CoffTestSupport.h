// Helpers of the COFF tests: an error context that keeps each report as a
// line of text (and turns a fatal report into an exception, so that the test
// sees it and goes on), and reading of a built image through a real
// InputFile, as the loader does it.
#pragma once

#include "coff/CoffObjectFileInput.h"
#include "input/InputFile.h"
#include "support/error.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct FatalStop {
    std::string message;
};

class Reports : public ErrorContext {
public:
    // Each report as "W: text", "E: text" or "F: text".
    std::vector<std::string> lines;

    void vfatal(const char *format, va_list args) override;
    void verror(const char *format, va_list args) override;
    void vwarning(const char *format, va_list args) override;
    // The engine of the reports, which continues a line with "\n|\t", as
    // the program's error counter does.
    PrintfFormat &formatter() override;
};

// An InputFile on a scratch file holding `image`, shown as "test.o".
std::unique_ptr<InputFile> inputOf(const std::vector<uint8_t> &image);

// The file read by readCoffFile; every report goes to `reports`.  The input
// file is kept beside the object, as the loader's caller keeps it.
struct LoadedCoff {
    std::unique_ptr<InputFile> file;
    std::unique_ptr<CoffObjectFileInput> object;
    CoffObjectFileInput *operator->() const { return object.get(); }
};
LoadedCoff loadCoff(const std::vector<uint8_t> &image, Reports &reports);

// The fatal message that reading `image` ends with; empty when there is none.
std::string fatalOf(const std::vector<uint8_t> &image);
