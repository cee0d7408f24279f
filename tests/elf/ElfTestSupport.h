// Helpers of the ELF tests: an ErrorContext that keeps every report as text
// (and turns a fatal report into an exception, so a test can see it and the
// process goes on), and loading of a built image through a real InputFile.
#pragma once

#include "elf/ElfObjectFileFromInput.h"
#include "input/InputFile.h"
#include "support/error.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct FatalStop {
    std::string message;
};

class CapturingErrors : public ErrorContext {
public:
    // Each report as "W: text", "E: text" or "F: text".
    std::vector<std::string> reports;

    void vfatal(const char *format, va_list args) override;
    void verror(const char *format, va_list args) override;
    void vwarning(const char *format, va_list args) override;

private:
    std::string render(const char *format, va_list args);
};

// An InputFile on a temporary file holding `image`, shown as "test.o".
std::unique_ptr<InputFile> inputOf(const std::vector<uint8_t> &image,
                                   const char *shownAs = "test.o");

// Reads `image` as the loader would.  Null when reading gave the file up.
std::unique_ptr<ElfObjectFileFromInput> loadElf(const std::vector<uint8_t> &image,
                                                CapturingErrors &errors);
// The message of the fatal report that reading `image` ends with; empty when
// it does not end so.
std::string fatalOf(const std::vector<uint8_t> &image);
