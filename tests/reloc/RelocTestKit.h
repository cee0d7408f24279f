// Pieces for the tests of relocation entries and iterators: a context that
// keeps each report as text, sections and symbols whose every answer is a
// field, an entry that keeps the base class's algorithms, offset and linkage
// tables that record what was asked of them, and a table of such entries.
#pragma once

#include "input/FileName.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"
#include "support/ErrFormat.h"
#include "support/error.h"

#include "elf/ElfRecords.h"

#include "FakeDescriptor.h"

#include <cstdint>
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

// An entry that keeps the base class's algorithms of value and place: only
// its raw fields are set by the test.
class TestEntry : public FakeDescriptor {
public:
    uint32_t type = 0; // the ELF type; 0 gives no ELF record

    uint32_t place() override { return RelocationDescriptor::place(); }
    uint32_t value() override { return RelocationDescriptor::value(); }
    uint32_t valueWithoutAddend() override { return RelocationDescriptor::valueWithoutAddend(); }
    void eachElfRecord(ElfRecordVisitor visitor) override;
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
