// Pieces of a link for the tests of the ARM and MIPS fixups: an entry whose
// reports are kept as text, an output file whose bases, regions and tables a
// test sets, sections with addresses and groups, symbols with a raw ELF
// record, a table of offset cells and a .got with page entries.
#pragma once

#include "FakeDescriptor.h"

#include "elf/ElfObjectFile.h"
#include "elf/ElfRecords.h"
#include "input/FileName.h"
#include "kit/FakeObjectFile.h"
#include "reloc/ElfFixupTable.h"
#include "support/ErrFormat.h"
#include "support/error.h"
#include "support/sprintf.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

// Each report as "E: text" or "W: text", with "%C" as "\n|\t".
class TextReports : public ErrorContext {
public:
    std::vector<std::string> all;

    void vfatal(const char *format, va_list args) override { add("F: ", format, args); }
    void verror(const char *format, va_list args) override { add("E: ", format, args); }
    void vwarning(const char *format, va_list args) override { add("W: ", format, args); }
    PrintfFormat &formatter() override {
        static ErrFormat engine("\n|\t");
        return engine;
    }

private:
    void add(const char *severity, const char *format, va_list args) {
        char buffer[1200];
        StringFormatOut out(buffer, sizeof buffer, false, formatter());
        out.vprint(format, args);
        all.push_back(severity + std::string(out.text(), out.length()));
    }
};

// An entry of section ".text" of "a.o" (entry #3 at 0x40, type "T").
class LinkEntry : public FakeDescriptor {
public:
    TextReports reports;

    LinkEntry() {
        errors = &reports;
        entryIndex = 3;
        offset = 0x40;
    }
    const char *typeName() override { return "T"; }

    // The whole report of an error that the fixup gave with `text`.
    std::string errorWith(const char *target, const std::string &text) const {
        return std::string("E: In a.o, section .text at 0x40,\n|\t(relocation record #3 of type T) "
                           "refs ") +
               target + ":\n|\t" + text;
    }
};

// A section at an address, in a group, mapped into `combined` (itself by
// default, so that references to it count as mapped).
class LinkSection : public FakeSection {
public:
    uint32_t start = 0;
    SectionGroup *group = nullptr;
    Section *combined = this;
    Symbol *symbolOfSection = nullptr;

    LinkSection(FakeObjectFile &owner, const char *name, uint32_t start)
        : FakeSection(owner, name), start(start) {}

    uint32_t address() override { return start; }
    SectionGroup *sectionGroup() override { return group; }
    Section *combinedSection() override { return combined; }
    Symbol *sectionSymbol() override { return symbolOfSection; }
};

// A symbol with a raw ELF record (whose st_info the ARM fixups read).
class RecordSymbol : public FakeSymbol {
public:
    Elf32_Sym record{};

    RecordSymbol(FakeObjectFile &owner, const char *name, uint8_t info) : FakeSymbol(owner, name) {
        record.st_info = info;
    }
    Elf32_Sym *elfSymbol() override { return &record; }
};

// The symbol that stands for a section.
class SectionSymbol : public FakeSymbol {
public:
    SectionSymbol(FakeObjectFile &owner, const char *name) : FakeSymbol(owner, name) {}
    bool isSectionSymbol() override { return true; }
};

// A table of offset cells that answers `cell` and notes what it was asked.
class CellTable : public OffsetTable {
public:
    uint32_t tableBase = 0;
    int32_t cell = -1;
    std::string asked;

    uint32_t base() override { return tableBase; }
    int32_t entryForSymbol(Symbol *symbol, int32_t at) override {
        asked = std::string("symbol ") + symbol->name() + "+" + std::to_string(at);
        return cell;
    }
    int32_t entryForSection(Section *section, int32_t at) override {
        asked = std::string("section ") + section->name() + "+" + std::to_string(at);
        return cell;
    }
};

// A .got at `start` whose entries a test lists by name and offset.
class ListedGot : public GotSectionTable {
public:
    uint32_t start = 0;
    std::map<std::string, int32_t> entries; // "name+offset" -> entry
    std::map<std::string, int32_t> pages;   // "section+offset/reach" -> entry

    void addSymbol(Symbol *, int32_t) override {}
    void addSection(Section *, uint32_t) override {}
    void addSection(Section *, uint32_t, uint32_t) override {}
    int32_t entryOf(Symbol *symbol, int32_t addend) override {
        return find(entries, std::string(symbol->name()) + "+" + std::to_string(addend));
    }
    int32_t entryOf(Section *section, uint32_t at) override {
        return find(entries, std::string(section->name()) + "+" + std::to_string(at));
    }
    uint32_t address() override { return start; }
    uint32_t bias() override { return 0; }
    void markUsed() override {}
    int32_t pageEntryOf(Section *section, uint32_t at, uint32_t reach) override {
        return find(pages, std::string(section->name()) + "+" + std::to_string(at) + "/" +
                               std::to_string(reach));
    }

private:
    static int32_t find(const std::map<std::string, int32_t> &in, const std::string &key) {
        auto found = in.find(key);
        return found == in.end() ? -1 : found->second;
    }
};

// The output file of a link, with what the fixups ask of it.
class LinkOutput : public ElfObjectFile {
public:
    uint32_t base = 0;
    SectionGroup *data = nullptr;
    uint32_t start = 0;
    uint32_t end = 0;
    OffsetTable *cells = nullptr;
    GotSectionTable *got = nullptr;

    LinkOutput() : ElfObjectFile(FileName::keep(std::make_unique<FileName>("out.elf"))) {}

    uint32_t sdaBase() override { return base; }
    SectionGroup *dataSegment() override { return data; }
    uint32_t regionStart() override { return start; }
    uint32_t regionEnd() override { return end; }
    OffsetTable *offsetTable() override { return cells; }
    GotSectionTable *gotSection() override { return got; }
};

// The bytes of a field of `width` bytes holding `value` in either order,
// with two guard bytes behind.
inline std::vector<uint8_t> orderedBytes(uint32_t value, uint32_t width, bool bigEndian) {
    std::vector<uint8_t> bytes(width + 2, 0xEE);
    for (uint32_t i = 0; i < width; ++i)
        bytes[i] = uint8_t(value >> (8 * (bigEndian ? width - 1 - i : i)));
    return bytes;
}
inline uint32_t orderedValue(const std::vector<uint8_t> &bytes, uint32_t width, bool bigEndian) {
    uint32_t value = 0;
    for (uint32_t i = 0; i < width; ++i)
        value |= uint32_t(bytes[i]) << (8 * (bigEndian ? width - 1 - i : i));
    return value;
}

// Runs the row of `type` on a field of `width` bytes holding `field`; the
// field afterwards goes to `written`.  The guard bytes must stay.
inline bool runRow(ElfFixupTable &table, uint32_t type, RelocationDescriptor &entry, uint32_t width,
                   uint32_t field, uint32_t value, uint32_t address, bool bigEndian,
                   uint32_t &written) {
    std::vector<uint8_t> bytes = orderedBytes(field, width, bigEndian);
    const FixupRow *row = table.lookup(type);
    bool fits = row->fixup ? row->fixup(entry, bytes.data(), value, address)
                           : row->tableFixup(table, entry, bytes.data(), value, address);
    written = orderedValue(bytes, width, bigEndian);
    if (bytes[width] != 0xEE || bytes[width + 1] != 0xEE) written = 0xDEADBEEF;
    return fits;
}
