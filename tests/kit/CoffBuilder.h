// CoffBuilder: writes COFF object files in memory for the tests, System V
// COFF or NT objects (the magic decides), in either byte order, with any
// sections, relocations, line numbers, symbols and auxiliary entries.  A
// builder reads like a description of the file:
//
//     CoffBuilder(BigEndian, 0x150)
//         .section(".text", coffSectionText, bytes(16)).address(0x100)
//         .symbol("main", 0x104, 1, coffClassExternal, 0x20)
//         .build();
//
// Layout: file header, optional header (when asked for), section headers,
// then each section's data, relocations and line numbers, then the symbol
// table and the string table (its length word counts itself).  Names longer
// than 8 characters go into the string table, a section's as "/offset".
// Every record can be changed after layout, so a damaged file is one more
// line:
//
//     .patchHeader([](CoffFileHeader &h) { h.f_symptr = 0x7FFFFFF0; })
//     .patchSection(1, [](CoffSectionHeader &h) { h.s_nreloc = 500; })
#pragma once

#include "coff/CoffRecords.h"
#include "kit/ElfBuilder.h" // ByteOrder, bytes()

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class CoffBuilder {
public:
    explicit CoffBuilder(ByteOrder order = LittleEndian, uint16_t magic = coffMagicI386);

    CoffBuilder &magic(uint16_t value);
    CoffBuilder &flags(uint16_t value);
    // An optional header of `size` bytes (28 are written, or fewer) holding
    // the entry point.
    CoffBuilder &optionalHeader(uint32_t entry, uint16_t size = coffOptionalHeaderSize);

    // A section with contents; a bss section gets `size` and no contents.
    CoffBuilder &section(const std::string &name, uint32_t flags, std::vector<uint8_t> data = {},
                         uint32_t size = 0);
    // Of the last section: both addresses, a relocation, a line number.
    CoffBuilder &address(uint32_t vaddr);
    CoffBuilder &relocation(uint32_t address, uint32_t symndx, uint16_t type);
    CoffBuilder &lineNumber(uint32_t word, uint16_t line);

    // A symbol entry.  `scnum` is the section number (0 none, -1 absolute).
    CoffBuilder &symbol(const std::string &name, uint32_t value, int16_t scnum, uint8_t sclass,
                        uint16_t type = 0);
    // The symbol of section `number` (1 upward) as compilers write it: its
    // name, its address, class static, and one auxiliary entry with the
    // section's size and its numbers of relocations and line numbers.
    // Relocations that refer to the section refer to it.
    CoffBuilder &sectionSymbol(int16_t number);
    // A symbol whose name is the string table offset given, not a text.
    CoffBuilder &symbolAtOffset(uint32_t offset, uint32_t value, int16_t scnum, uint8_t sclass,
                                uint16_t type = 0);
    // An auxiliary entry behind the last symbol (its numaux counts it): 18
    // bytes as they stand in the file.
    CoffBuilder &aux(std::vector<uint8_t> raw);
    // An auxiliary entry of one 32-bit word and then 16-bit words, written in
    // the file's byte order.
    CoffBuilder &aux(uint32_t word, std::vector<uint16_t> halves = {});
    // A text that goes into the string table, behind what is there; its
    // offset.  Long names of symbols and sections go in the same way when
    // they are given.
    uint32_t addString(const std::string &text);

    // The length word of the string table, in place of the true length.
    CoffBuilder &stringTableLength(uint32_t length);
    // No string table at all behind the symbols.
    CoffBuilder &noStringTable();
    // Bytes written behind everything else.
    CoffBuilder &trailer(std::vector<uint8_t> raw);

    CoffBuilder &patchHeader(std::function<void(CoffFileHeader &)> patch);
    CoffBuilder &patchSection(uint32_t number, std::function<void(CoffSectionHeader &)> patch);
    CoffBuilder &patchSymbol(uint32_t index, std::function<void(syment &)> patch);
    // Cuts the finished file to `length` bytes.
    CoffBuilder &truncate(uint32_t length);

    // File offsets as build() lays them out.
    uint32_t symbolTableOffset() const;
    uint32_t stringTableOffset() const;
    std::vector<uint8_t> build() const;

private:
    struct SectionPlan {
        std::string name;
        CoffSectionHeader header{};
        std::vector<uint8_t> data;
        std::vector<CoffRelocation> relocations;
        std::vector<CoffLineNumber> lines;
    };
    struct EntryPlan {
        syment entry{};           // a symbol, in host order
        std::vector<uint8_t> raw; // or an auxiliary entry, file order
    };

    ByteOrder order;
    CoffFileHeader header{};
    bool hasOptional = false;
    uint32_t entryPoint = 0;
    std::vector<SectionPlan> sections;
    std::vector<EntryPlan> entries;
    std::string strings; // the string table behind its length word
    bool withStrings = true;
    bool lengthGiven = false;
    uint32_t givenLength = 0;
    std::vector<uint8_t> trailing;
    std::vector<std::function<void(CoffFileHeader &)>> headerPatches;
    std::vector<std::pair<uint32_t, std::function<void(CoffSectionHeader &)>>> sectionPatches;
    std::vector<std::pair<uint32_t, std::function<void(syment &)>>> symbolPatches;
    uint32_t cutAt = 0xFFFFFFFF;

    int32_t lastSymbol() const;
};
