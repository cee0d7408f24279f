// Pieces for the relocation tests: a context that keeps each report as text,
// sections and symbols whose every answer is a field, an entry that keeps
// the base class's algorithms, offset and linkage tables that record what
// was asked of them, and a table of such entries.  For the fixup routines:
// an entry that reports into its own context, an output ELF file whose bases,
// regions and tables a test sets, a section of a link, cell tables and a
// .got, and the bytes of a field in either order.
#pragma once

#include "input/FileName.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"
#include "support/ErrFormat.h"
#include "support/error.h"

#include "elf/ElfObjectFile.h"
#include "elf/ElfRecords.h"
#include "kit/FakeObjectFile.h"
#include "reloc/ElfFixupTable.h"

#include "FakeDescriptor.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

// Keeps each report as "W: text" or "E: text"; "%C" is "\n|\t".
class Reports : public ErrorContext {
public:
    std::vector<std::string> reports;
    ErrFormat engine{"\n|\t"};

    void vfatal(const char *format, va_list args) override;
    void verror(const char *format, va_list args) override;
    void vwarning(const char *format, va_list args) override;
    PrintfFormat &formatter() override { return engine; }
    std::string render(const char *format, va_list args);

    // A fixup's own text of each report, behind the entry's place and target
    // ("...refs symbol \"x\":\n|\t"), with the severity kept in front.
    std::vector<std::string> texts() const;
};

// An object file that only has a name.
class NamedFile : public ObjectFile {
public:
    explicit NamedFile(const char *name)
        : ObjectFile(FileName::keep(std::make_unique<FileName>(name))) {}
    ObjectFormatKind formatKind() override;
    bool isCompatibleWith(ObjectFile &) override { return true; }
    void eachSection(SectionVisitor) override {}
    uint32_t symbolCount() override { return 0; }
    void eachSymbol(SymbolVisitor) override {}
    void eachGlobalSymbol(SymbolVisitor) override {}
    void each(SymbolVisitor) override {}
    uint32_t count() override { return 0; }
    bool isLittleEndian() override { return true; }
    bool isSharedObject() override { return shared; }
    GotTable *gotTable() override { return got; }
    PltTable *pltTable() override { return plt; }
    bool shared = false;
    GotTable *got = nullptr;
    PltTable *plt = nullptr;
};

class TestSection : public Section {
public:
    TestSection(ObjectFile *file, const char *name, uint32_t address = 0)
        : file(file), sectionName(name), at(address) {}
    ObjectFile *file;
    std::string sectionName;
    uint32_t at;
    bool allocated = true;
    bool comdat = false;
    Section *combined = nullptr;
    uint32_t offsetInCombined = 0;
    Symbol *symbol = nullptr;
    RelocationsIterator *table = nullptr;

    uint32_t bytes = 0;

    const char *name() override { return sectionName.c_str(); }
    uint32_t size() override { return bytes; }
    ObjectFile *objectFile() override { return file; }
    bool isAllocated() override { return allocated; }
    bool isExecutable() override { return false; }
    bool isWritable() override { return false; }
    bool isBss() override { return false; }
    void eachRawDataChunk(RawDataChunkVisitor) override {}
    RelocationsIterator *relocations() override { return table; }
    uint32_t address() override { return at; }
    Section *combinedSection() override { return combined; }
    uint32_t offsetInCombinedSection() override { return offsetInCombined; }
    Symbol *sectionSymbol() override { return symbol; }
    bool isComdat() override { return comdat; }
};

class TestSymbol : public Symbol {
public:
    TestSymbol(ObjectFile *file, const char *name, Section *in = nullptr, uint32_t value = 0)
        : file(file), symbolName(name), in(in), symbolValue(value) {}
    ObjectFile *file;
    std::string symbolName;
    Section *in;
    uint32_t symbolValue;
    uint32_t position = 0;
    bool global = false;
    bool undefined = false;
    bool special = false;
    bool resolvedLocally = false;
    bool exportable = true;

    const char *name() override { return symbolName.c_str(); }
    uint32_t index() override { return position; }
    ObjectFile *objectFile() override { return file; }
    uint32_t value() override { return symbolValue; }
    bool isGlobal() override { return global; }
    bool isUndefined() override { return undefined; }
    bool isCommon() override { return false; }
    Section *section() override { return in; }
    bool isSpecial() override { return special; }
    bool isResolvedLocally() override { return resolvedLocally; }
    bool isExportable() override { return exportable; }
};

// Offset and linkage tables with fixed answers that record each call.
class TestGot : public GotSectionTable {
public:
    std::vector<std::string> calls;
    int32_t symbolEntry = -1;
    int32_t sectionEntry = -1;
    uint32_t at = 0x8000;
    uint32_t biasOf = 0;

    void addSymbol(Symbol *symbol, int32_t addend) override;
    void addSection(Section *section, uint32_t offset) override;
    void addSection(Section *section, uint32_t offset, uint32_t flags) override;
    int32_t entryOf(Symbol *symbol, int32_t addend) override;
    int32_t entryOf(Section *section, uint32_t offset) override;
    uint32_t address() override { return at; }
    uint32_t bias() override { return biasOf; }
    void markUsed() override { calls.push_back("markUsed"); }
    int32_t pageEntryOf(Section *, uint32_t, uint32_t) override { return -1; }
};

class TestPlt : public PltTable {
public:
    std::vector<std::string> calls;
    int32_t entry = -1;
    uint32_t at = 0x9000;

    void addSymbol(Symbol *symbol, int32_t addend) override;
    int32_t entryOf(Symbol *symbol) override;
    uint32_t address() override { return at; }
};

// A relocation table of TestEntry rows: the iterator shows each row through
// one moving descriptor, as the real tables do, and records what it was
// told.
class TestTable : public RelocationsIteratorWithTables, public RelocationDescriptor {
public:
    struct Row {
        uint32_t offset;
        ReferenceKind kind;
        Symbol *symbol;
        Section *target;
        int32_t addend;
        bool pcRelative = false;
    };
    std::vector<Row> rows;
    Section *patched = nullptr;
    ErrorContext *errors = nullptr;
    std::vector<uint32_t> baseOffsets;
    std::vector<std::string> special; // preprocessSpecialReference calls
    std::vector<std::string> told;    // options and the run-time check

    explicit TestTable(std::vector<Row> rows = {}) : rows(std::move(rows)) {}

    // Iterator.
    void setErrorContext(ErrorContext &errorContext) override { errors = &errorContext; }
    void each(RelocationVisitor visitor) override;
    void setBaseOffset(uint32_t offset) override { baseOffsets.push_back(offset); }
    void setFirstOption(uint8_t option) override {
        told.push_back("first " + std::to_string(option));
    }
    void setSecondOption(uint8_t option) override {
        told.push_back("second " + std::to_string(option));
    }
    void suppressRunTimeCheck() override { told.push_back("suppress"); }
    void preprocessSpecialReference(RelocationDescriptor &entry, ObjectFile &,
                                    const RelocationOptions &) override;

    // Descriptor of the current row.
    Section *section() override { return patched; }
    uint32_t index() override { return current; }
    uint32_t dataOffset() override { return rows[current].offset; }
    Symbol *targetSymbol() override { return rows[current].symbol; }
    Section *targetSection() override { return rows[current].target; }
    int32_t addend() override { return rows[current].addend; }
    bool isPcRelative() override { return rows[current].pcRelative; }
    bool apply(uint8_t *) override { return true; }
    ReferenceKind referenceKind() override { return rows[current].kind; }
    ErrorContext *errorContext() override { return errors; }

private:
    uint32_t current = 0;
};

// ---- Fixup routines -------------------------------------------------------

// An entry that reports into `reports` and names its type `typeText` (the
// base class's name when null); it may have a next entry for nextEntryIs.
class ReportingEntry : public FakeDescriptor {
public:
    Reports reports;
    const char *typeText = "T";
    bool hasNext = false;
    uint32_t nextType = 0;
    uint32_t nextValue = 0;

    ReportingEntry() { errors = &reports; }
    const char *typeName() override {
        return typeText ? typeText : RelocationDescriptor::typeName();
    }
    bool nextEntryIs(uint32_t type, uint32_t &value) override {
        if (!hasNext || type != nextType) return false;
        value = nextValue;
        return true;
    }
};

// An entry that keeps the base class's algorithms of value, place and type
// name: only its raw fields are set by the test.
class TestEntry : public ReportingEntry {
public:
    TestEntry() { typeText = nullptr; }
    uint32_t type = 0; // the ELF type; 0 gives no ELF record

    uint32_t place() override { return RelocationDescriptor::place(); }
    uint32_t value() override { return RelocationDescriptor::value(); }
    uint32_t valueWithoutAddend() override { return RelocationDescriptor::valueWithoutAddend(); }
    void eachElfRecord(ElfRecordVisitor visitor) override;
};

// The whole report of an error with `text` about `target` ("symbol \"x\"")
// from entry #3 of type T at 0x40 in section .text of a.o.
std::string errorOfEntry3(const char *target, const std::string &text);

// The output file of a link: the bases, regions and tables fixups ask for.
class FixupOutput : public ElfObjectFile {
public:
    uint32_t sda = 0;
    uint32_t sda2 = 0;
    Symbol *baseSymbols[3] = {nullptr, nullptr, nullptr}; // _SDA0_, _SDA_, _SDA2_
    SectionGroup *data = nullptr;
    uint32_t start = 0;
    uint32_t end = 0;
    OffsetTable *cells = nullptr;
    OffsetTable *cells2 = nullptr;
    GotSectionTable *got = nullptr;

    explicit FixupOutput(uint32_t sda = 0)
        : ElfObjectFile(FileName::keep(std::make_unique<FileName>("out.elf"))), sda(sda) {}

    uint32_t sdaBase() override { return sda; }
    SectionGroup *dataSegment() override { return data; }
    uint32_t regionStart() override { return start; }
    uint32_t regionEnd() override { return end; }
    OffsetTable *offsetTable() override { return cells; }
    GotSectionTable *gotSection() override { return got; }
    Symbol *sda0BaseSymbol() override { return baseSymbols[0]; }
    Symbol *sdaBaseSymbol() override { return baseSymbols[1]; }
    Symbol *sda2BaseSymbol() override { return baseSymbols[2]; }
    uint32_t sda2Base() override { return sda2; }
    OffsetTable *sda2OffsetTable() override { return cells2; }
};

// A section of a link at an address, in a group, mapped into `combined`
// (itself by default, so that references to it count as mapped).
class LinkSection : public FakeSection {
public:
    uint32_t start = 0;
    SectionGroup *group = nullptr;
    Section *combined = this;
    uint32_t combinedOffset = 0;
    Symbol *symbolOfSection = nullptr;

    LinkSection(FakeObjectFile &owner, const char *name, uint32_t start = 0)
        : FakeSection(owner, name), start(start) {}

    uint32_t address() override { return start; }
    SectionGroup *sectionGroup() override { return group; }
    Section *combinedSection() override { return combined; }
    uint32_t offsetInCombinedSection() override { return combinedOffset; }
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

// A table of offset cells that answers `cell` for everything and notes what
// it was asked: "symbol <name>+<offset>" or "section <name>+<offset>".
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

// The bytes of a field of `width` bytes holding `value` in either order,
// with two guard bytes (0xEE) behind; and the value such bytes hold.
std::vector<uint8_t> orderedBytes(uint32_t value, uint32_t width, bool bigEndian);
uint32_t orderedValue(const std::vector<uint8_t> &bytes, uint32_t width, bool bigEndian);

// What a test expects of the row of `type` in a fixup table.
struct ExpectedRow {
    uint32_t type;
    const char *name;
    ReferenceKind kind;
    bool pcRelative;
};

// Checks name, kind and pc-relative flag of the row of each expected type,
// and that the row has a routine.
void expectRows(ElfFixupTable &table, const std::vector<ExpectedRow> &rows);

// A test name made of `what`: letters and digits kept, the rest '_'.
std::string testNameOf(const char *what);

// Runs the row of `type` on a field of `width` bytes holding `field`; the
// field afterwards goes to `written`, or 0xDEADBEEF if a guard byte changed.
bool runRow(ElfFixupTable &table, uint32_t type, RelocationDescriptor &entry, uint32_t width,
            uint32_t field, uint32_t value, uint32_t address, bool bigEndian, uint32_t &written);
