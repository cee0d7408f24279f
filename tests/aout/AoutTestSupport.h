// Helpers of the a.out tests: reading a kit-made image through a real
// InputFile as the loader would, with an error context that keeps each
// report as a line and turns a fatal report into an exception (so that a
// test sees the message and the process goes on).
#pragma once

#include "aout/BsdObjectFileInput.h"
#include "input/InputFile.h"
#include "support/error.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct AoutFatal {
    std::string message;
};

class AoutReports : public ErrorContext {
public:
    // "warning: text", "error: text" or "fatal: text", one per report.
    std::vector<std::string> lines;

    void vfatal(const char *format, va_list args) override;
    void verror(const char *format, va_list args) override;
    void vwarning(const char *format, va_list args) override;

private:
    std::string keep(const char *severity, const char *format, va_list args);
};

// An InputFile on a scratch copy of `image`, named "test.o" in messages.
std::unique_ptr<InputFile> aoutInput(const std::vector<uint8_t> &image);

// The object file that readBsdFile makes of `image`.
std::unique_ptr<BsdObjectFileInput> readAout(const std::vector<uint8_t> &image,
                                             AoutReports &reports);

// The message of the fatal report that reading `image` ends with; "" when the
// file is read.
std::string aoutFatal(const std::vector<uint8_t> &image);
