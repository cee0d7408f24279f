// Helpers of the COFF relocation tests: a file read with its first section's
// relocation table, and the pieces of a small output that a linker would
// have made - a combined section with an address and a section symbol, and a
// symbol of the output that an input symbol resolves to.
#pragma once

#include "CoffTestSupport.h"
#include "coff/CoffRelocationsIterator.h"
#include "coff/CoffSection.h"
#include "object/Section.h"
#include "object/Symbol.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// A file and the relocation table of one of its sections.
struct CoffTable {
    Reports reports;
    LoadedCoff coff;
    CoffInputSection *section = nullptr;
    std::unique_ptr<CoffRelocationsIterator> table;

    explicit CoffTable(const std::vector<uint8_t> &image, uint32_t number = 1,
                       Args *args = nullptr);

    // One line per visit of `each`, made by `describe`.
    std::vector<std::string> walk(std::string (*describe)(RelocationDescriptor &));
    // The section's bytes with the entry that `each` shows as number `visit`
    // applied (the others left alone); reports go to `reports`.
    std::vector<uint8_t> applied(uint32_t visit);
    // The descriptor positioned on visit number `visit`, for the record
    // walks that a linker makes inside its own visit.
    void at(uint32_t visit);
};

// A symbol of the output: a name, a value, an index in the output's symbol
// table, and whether the linker defined it itself.
class OutputSymbol : public Symbol {
public:
    OutputSymbol(std::string name, uint32_t value, uint32_t index, bool special = false)
        : symbolName(std::move(name)), symbolValue(value), symbolIndex(index), special(special) {}

    const char *name() override { return symbolName.c_str(); }
    uint32_t index() override { return symbolIndex; }
    ObjectFile *objectFile() override { return nullptr; }
    uint32_t value() override { return symbolValue; }
    bool isGlobal() override { return true; }
    bool isUndefined() override { return false; }
    bool isCommon() override { return false; }
    bool isSpecial() override { return special; }
    Section *section() override { return nullptr; }

private:
    std::string symbolName;
    uint32_t symbolValue;
    uint32_t symbolIndex;
    bool special;
};

// A combined section of the output, with its address and section symbol.
class OutputSection : public Section {
public:
    OutputSection(std::string name, uint32_t address, Symbol *symbol)
        : sectionName(std::move(name)), at(address), symbol(symbol) {}

    const char *name() override { return sectionName.c_str(); }
    uint32_t size() override { return 0; }
    ObjectFile *objectFile() override { return nullptr; }
    bool isAllocated() override { return true; }
    bool isExecutable() override { return false; }
    bool isWritable() override { return true; }
    bool isBss() override { return false; }
    void eachRawDataChunk(RawDataChunkVisitor) override {}
    RelocationsIterator *relocations() override { return nullptr; }
    uint32_t address() override { return at; }
    Symbol *sectionSymbol() override { return symbol; }

private:
    std::string sectionName;
    uint32_t at;
    Symbol *symbol;
};

// `text` as a regular expression that matches only itself, for death tests.
std::string literally(const std::string &text);
// What botch writes for `message`.
std::string botchOf(const std::string &message);
