// Helpers of the tests of processor fixup routines: an entry that carries a
// capturing ErrorContext, an output file with a small-data base, and the
// caller's text of each report that a routine made through the entry.
#pragma once

#include "FakeDescriptor.h"

#include "elf/ElfObjectFile.h"
#include "input/FileName.h"
#include "support/ErrFormat.h"
#include "support/error.h"
#include "support/sprintf.h"

#include <cstdint>
#include <string>
#include <vector>

namespace fixuptest {

// Keeps each report whole, as "E: text" or "W: text".
class MessageCapture : public ErrorContext {
public:
    std::vector<std::string> reports;

    void vfatal(const char *format, va_list args) override { keep("F: ", format, args); }
    void verror(const char *format, va_list args) override { keep("E: ", format, args); }
    void vwarning(const char *format, va_list args) override { keep("W: ", format, args); }

    // The routine's own text of each report, behind the descriptor's header
    // ("In file, section ... refs symbol "x":" and a continuation).
    std::vector<std::string> texts() const {
        std::vector<std::string> result;
        for (const std::string &report : reports) {
            size_t cut = report.rfind("\n|\t");
            result.push_back(report.substr(0, 3) +
                             (cut == std::string::npos ? report : report.substr(cut + 3)));
        }
        return result;
    }

private:
    void keep(const char *severity, const char *format, va_list args) {
        static ErrFormat engine("\n|\t");
        char buffer[1024];
        StringFormatOut out(buffer, sizeof buffer, true, engine);
        out.vprint(format, args);
        reports.push_back(severity + std::string(buffer));
    }
};

// An output file of a link whose small-data base is `base`.
class OutputWithBase : public ElfObjectFile {
public:
    explicit OutputWithBase(uint32_t base) : ElfObjectFile(outputName()), base(base) {}
    uint32_t sdaBase() override { return base; }

private:
    static const FileName &outputName() {
        static const FileName name("out.elf");
        return name;
    }
    uint32_t base;
};

// An entry that reports into `capture`, shows a fixed type name, and may
// have a next entry for nextEntryIs.
class TestEntry : public FakeDescriptor {
public:
    MessageCapture capture;
    bool hasNext = false;
    uint32_t nextType = 0;
    uint32_t nextValue = 0;

    TestEntry() { errors = &capture; }
    const char *typeName() override { return "TEST"; }
    bool nextEntryIs(uint32_t type, uint32_t &value) override {
        if (!hasNext || type != nextType) return false;
        value = nextValue;
        return true;
    }
};

} // namespace fixuptest
