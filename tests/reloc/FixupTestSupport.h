// Helpers of the processor fixup tests: an entry whose reports are kept as
// text, an output ELF file that answers the bases a fixup asks for, and a
// section with an address, a group and a combined section.
#pragma once

#include "FakeDescriptor.h"

#include "elf/ElfObjectFile.h"
#include "input/FileName.h"
#include "kit/FakeObjectFile.h"
#include "support/ErrFormat.h"
#include "support/error.h"
#include "support/sprintf.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Keeps each report as "W: text", "E: text" or "F: text" (after which the
// front end of a fatal report ends the process, as in a run).
class KeptReports : public ErrorContext {
public:
    std::vector<std::string> reports;

    void vfatal(const char *format, va_list args) override { keep("F: ", format, args); }
    void verror(const char *format, va_list args) override { keep("E: ", format, args); }
    void vwarning(const char *format, va_list args) override { keep("W: ", format, args); }
    PrintfFormat &formatter() override { return engine(); }

    // The fixup's own text of each report: what follows the entry's place
    // and target ("...refs symbol \"x\":\n|\t").
    std::vector<std::string> texts() const {
        std::vector<std::string> result;
        for (const std::string &report : reports) {
            size_t end = report.find("\":\n|\t");
            result.push_back(end == std::string::npos ? report : report.substr(end + 5));
        }
        return result;
    }

private:
    static ErrFormat &engine() {
        static ErrFormat format("\n|\t");
        return format;
    }
    void keep(const char *prefix, const char *format, va_list args) {
        char buffer[1024] = "";
        {
            // The text reaches the buffer when the stream is done.
            StringFormatOut out(buffer, sizeof buffer, false, engine());
            out.vprint(format, args);
        }
        reports.push_back(prefix + std::string(buffer));
    }
};

// An entry of a relocation section of "ppc.o" that reports into `reports`
// and names its type `typeText`.
class ReportingEntry : public FakeDescriptor {
public:
    KeptReports reports;
    const char *typeText = "T";

    ReportingEntry() { errors = &reports; }
    const char *typeName() override { return typeText; }
};

// An output file of a link: the bases and tables that fixups ask for.
class FixupOutput : public ElfObjectFile {
public:
    uint32_t sda = 0;
    uint32_t sda2 = 0;
    Symbol *baseSymbols[3] = {nullptr, nullptr, nullptr};
    OffsetTable *table = nullptr;
    OffsetTable *table2 = nullptr;

    FixupOutput() : ElfObjectFile(FileName::keep(std::make_unique<FileName>("out.elf"))) {}

    uint32_t sdaBase() override { return sda; }
    OffsetTable *offsetTable() override { return table; }
    Symbol *sda0BaseSymbol() override { return baseSymbols[0]; }
    Symbol *sdaBaseSymbol() override { return baseSymbols[1]; }
    Symbol *sda2BaseSymbol() override { return baseSymbols[2]; }
    uint32_t sda2Base() override { return sda2; }
    OffsetTable *sda2OffsetTable() override { return table2; }
};

// A section of a link: an address, a group, and optionally the combined
// section it was mapped into (which carries a section symbol).
class PlacedSection : public FakeSection {
public:
    uint32_t start = 0;
    SectionGroup *group = nullptr;
    PlacedSection *combined = nullptr;
    uint32_t combinedOffset = 0;
    Symbol *symbolOfSection = nullptr;

    PlacedSection(FakeObjectFile &owner, const char *name) : FakeSection(owner, name) {}

    uint32_t address() override { return start; }
    SectionGroup *sectionGroup() override { return group; }
    Section *combinedSection() override { return combined; }
    uint32_t offsetInCombinedSection() override { return combinedOffset; }
    Symbol *sectionSymbol() override { return symbolOfSection; }
};

// An offset table that answers one cell for everything and remembers how it
// was asked.
class OneCellTable : public OffsetTable {
public:
    uint32_t tableBase = 0;
    int32_t cell = -1;
    std::string asked; // "symbol <name>+<offset>" or "section <name>+<offset>"

    uint32_t base() override { return tableBase; }
    int32_t entryForSymbol(Symbol *symbol, int32_t offset) override {
        asked = "symbol " + std::string(symbol->name()) + "+" + std::to_string(offset);
        return cell;
    }
    int32_t entryForSection(Section *section, int32_t offset) override {
        asked = "section " + std::string(section->name()) + "+" + std::to_string(offset);
        return cell;
    }
};

// The bytes of a field of `width` bytes holding `value` in either order,
// with two guard bytes behind.
inline std::vector<uint8_t> fieldBytes(uint32_t value, uint32_t width, bool bigEndian) {
    std::vector<uint8_t> bytes(width + 2, 0xEE);
    for (uint32_t i = 0; i < width; ++i)
        bytes[i] = uint8_t(value >> (8 * (bigEndian ? width - 1 - i : i)));
    return bytes;
}
