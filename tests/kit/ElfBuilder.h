// ElfBuilder: writes 32-bit ELF files in memory for the tests, in either byte
// order, with any sections and symbols.  A builder reads like a description
// of the file:
//
//     ElfBuilder(BigEndian)
//         .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(16))
//         .symbol("main", 0, 16, STB_GLOBAL, STT_FUNC, ".text")
//         .build();
//
// The file gets its sections in the order given (from index 1), then
// ".symtab" (or ".dynsym"), ".strtab" and ".shstrtab", then the section
// header table.  Every field can be overridden after layout, so that a
// damaged file is one more line:
//
//     .patchSection(".text", [](Elf32_Shdr &h) { h.sh_name = 0xFFFF; })
//     .patchHeader([](Elf32_Ehdr &h) { h.e_shoff = 0x7FFFFFF0; })
#pragma once

#include "elf/ElfRecords.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

enum ByteOrder { LittleEndian, BigEndian };

std::vector<uint8_t> bytes(uint32_t count, uint8_t fill = 0);
// 32-bit words laid out in the given byte order, for section contents.
std::vector<uint8_t> words(ByteOrder order, const std::vector<uint32_t> &values);

class ElfBuilder {
public:
    explicit ElfBuilder(ByteOrder order = LittleEndian);

    ElfBuilder &type(uint16_t eType);
    ElfBuilder &machine(uint16_t eMachine);
    ElfBuilder &flags(uint32_t eFlags);

    // A section with contents (none for SHT_NOBITS; `size` then gives sh_size).
    ElfBuilder &section(const std::string &name, uint32_t type, uint32_t flags = 0,
                        std::vector<uint8_t> contents = {}, uint32_t size = 0);
    // A relocation section of type SHT_REL (8-byte records, r_addend left
    // out) or SHT_RELA (12 bytes), written in the file's byte order, with
    // sh_entsize to match, sh_link the symbol table and sh_info `target`.
    ElfBuilder &relocations(const std::string &name, uint32_t type, const std::string &target,
                            const std::vector<Elf32_Rela> &records);
    // sh_link / sh_info of the last section, by index or by section name.
    ElfBuilder &link(uint32_t index);
    ElfBuilder &link(const std::string &name);
    ElfBuilder &info(uint32_t value);
    ElfBuilder &info(const std::string &name);

    // A symbol of the symbol table; the section by name or by index.
    ElfBuilder &symbol(const std::string &name, uint32_t value, uint32_t size, uint8_t binding,
                       uint8_t type, const std::string &section, uint8_t other = 0);
    ElfBuilder &symbol(const std::string &name, uint32_t value, uint32_t size, uint8_t binding,
                       uint8_t type, uint16_t shndx, uint8_t other = 0);
    // Makes the table a SHT_DYNSYM called ".dynsym".
    ElfBuilder &dynamicSymbols();
    // Leaves the symbol table out altogether.
    ElfBuilder &noSymbolTable();
    // A shared object's DT_SONAME, with the program headers that reach it.
    ElfBuilder &soname(const std::string &name);

    ElfBuilder &patchHeader(std::function<void(Elf32_Ehdr &)> patch);
    ElfBuilder &patchSection(const std::string &name, std::function<void(Elf32_Shdr &)> patch);
    ElfBuilder &patchSection(uint32_t index, std::function<void(Elf32_Shdr &)> patch);
    // Cuts the finished file to `length` bytes.
    ElfBuilder &truncate(uint32_t length);

    // The index the named section will have ("" gives 0).
    uint32_t indexOf(const std::string &name) const;
    std::vector<uint8_t> build() const;

private:
    struct SectionPlan {
        std::string name;
        Elf32_Shdr header{};
        std::vector<uint8_t> contents;
        std::string linkName, infoName;
    };
    struct SymbolPlan {
        std::string name;
        Elf32_Sym raw{};
        std::string section;
    };

    ByteOrder order;
    Elf32_Ehdr header{};
    std::vector<SectionPlan> sections;
    std::vector<SymbolPlan> symbols;
    bool dynamic = false;
    bool symbolTable = true;
    std::string sonameText;
    std::vector<std::function<void(Elf32_Ehdr &)>> headerPatches;
    std::vector<std::pair<std::string, std::function<void(Elf32_Shdr &)>>> namedPatches;
    std::vector<std::pair<uint32_t, std::function<void(Elf32_Shdr &)>>> indexPatches;
    uint32_t truncateTo = 0xFFFFFFFF;
};
