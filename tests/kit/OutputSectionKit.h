// Pieces for the tests of the linking side's output sections: an ELF input
// section whose header the test writes field by field, and a relocation
// table whose entries are rows of type, target and value.
//
//     ElfObjectFile file(name);
//     MemberSection a(".sdata", &file, 0x40, 4);
//     RowTable table({{0x13, &a}});
//     code.table = &table;
#pragma once

#include "elf/ElfObjectFile.h"
#include "elf/ElfSection.h"
#include "object/Symbol.h"
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"

#include <cstdint>
#include <string>
#include <vector>

// An input section of an ELF file: size, alignment and type live in its
// header, which the test may change through `shdr`.
class MemberSection : public ElfSection {
public:
    MemberSection(const char *name, ElfObjectFile *file, uint32_t size, uint32_t alignment = 1,
                  uint32_t type = SHT_PROGBITS)
        : ElfSection(name, headerOf(size, alignment, type), file) {}

    Elf32_Shdr &shdr() { return header; }
    // The contents as one chunk, when the test gave any.
    void eachRawDataChunk(RawDataChunkVisitor visitor) override {
        if (!contents.empty())
            visitor(0, static_cast<uint32_t>(contents.size()), contents.data(), table);
    }
    RelocationsIterator *relocations() override { return table; }
    bool reservedPredicate() override { return reserved; }

    std::vector<uint8_t> contents;
    RelocationsIterator *table = nullptr;
    bool reserved = false;

private:
    static Elf32_Shdr headerOf(uint32_t size, uint32_t alignment, uint32_t type) {
        Elf32_Shdr header{};
        header.sh_size = size;
        header.sh_addralign = alignment;
        header.sh_type = type;
        header.sh_flags = SHF_ALLOC | SHF_WRITE;
        return header;
    }
};

// The members of a combined section as "name@offset " in mapping order.
inline std::string memberLayout(Section &combined) {
    std::string text;
    combined.eachMember([&](Section &s) {
        text += std::string(s.name()) + "@" + std::to_string(s.offsetInCombinedSection()) + " ";
        return true;
    });
    return text;
}

// A defined local symbol of a section, with a value and a size.
class PlacedSymbol : public Symbol {
public:
    PlacedSymbol(const char *name, Section *section, uint32_t value, uint32_t size = 0)
        : symbolName(name), where(section), at(value), bytes(size) {}

    const char *name() override { return symbolName; }
    ObjectFile *objectFile() override { return where ? where->objectFile() : nullptr; }
    uint32_t size() override { return bytes; }
    uint32_t value() override { return at; }
    bool isGlobal() override { return false; }
    bool isUndefined() override { return false; }
    bool isCommon() override { return false; }
    Section *section() override { return where; }

private:
    const char *symbolName;
    Section *where;
    uint32_t at;
    uint32_t bytes;
};

// A relocation table of rows, shown one at a time through the table itself
// as the real tables do.  `walks` counts the calls of `each`, `visited` the
// entries given to visitors.
class RowTable : public RelocationsIterator, public RelocationDescriptor {
public:
    struct Row {
        uint32_t type;
        Section *target = nullptr;
        Symbol *symbol = nullptr;
        uint32_t value = 0;
    };
    std::vector<Row> rows;
    uint32_t visited = 0;
    uint32_t walks = 0;

    explicit RowTable(std::vector<Row> rows = {}) : rows(std::move(rows)) {}

    void setErrorContext(ErrorContext &) override {}
    void each(RelocationVisitor visitor) override {
        ++walks;
        for (current = 0; current < rows.size(); ++current) {
            ++visited;
            if (!visitor(*this)) return;
        }
    }

    Section *section() override { return nullptr; }
    uint32_t index() override { return current; }
    uint32_t dataOffset() override { return 0; }
    Symbol *targetSymbol() override { return rows[current].symbol; }
    Section *targetSection() override { return rows[current].target; }
    uint32_t elfType() override { return rows[current].type; }
    bool isPcRelative() override { return false; }
    bool apply(uint8_t *) override { return true; }
    uint32_t value() override { return rows[current].value; }

private:
    uint32_t current = 0;
};
