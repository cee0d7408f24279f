// The two table sections of ELF: string tables and symbol tables.
//
// A string table (SHT_STRTAB) is a block of NUL-terminated names; a name is
// known by its byte offset in the block.  A symbol table (SHT_SYMTAB, or
// SHT_DYNSYM for the symbols a shared object exports and imports) is an array
// of 16-byte entries: name offset, value, size, info (binding in the high
// four bits, type in the low four), other, and the index of the defining
// section, or one of the reserved indices 0 (undefined), 0xFFF1 (absolute)
// and 0xFFF2 (common).  Entry 0 is always empty.  The locals come first; the
// table's sh_info is the index of the first global.  sh_link names the
// string table of the names.
//
// ARM files mark code and data with "mapping symbols" named "$a" (ARM code),
// "$t" (Thumb code) and "$d" (data); the reader uses them to find Thumb
// functions, whose type it rewrites to 13 or 15.
#pragma once

#include "elf/ElfSection.h"
#include "elf/ElfSymbol.h"
#include "object/Symbol.h"

#include <cstdint>
#include <memory>

class ElfObjectFile;
class Elf32Extractor;
class ErrorContext;
struct ElfStringBlock;

class ElfStrtabSection : public ElfSection {
public:
    using ElfSection::ElfSection;
    ~ElfStrtabSection() override;

    virtual const char *stringAt(uint32_t offset) = 0;
    ElfStrtabSection *asStrtab() override;
};

class ElfStrtabSectionFromFile : public ElfStrtabSection {
public:
    ElfStrtabSectionFromFile(const char *name, std::unique_ptr<ElfStringBlock> block,
                             const Elf32_Shdr &header, ElfObjectFile *objectFile);
    ~ElfStrtabSectionFromFile() override;

    // The string at `offset`; "???" for an offset beyond the table.
    const char *stringAt(uint32_t offset) override;
    bool isContentSection() override;
    bool isValid() override;
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;

private:
    std::unique_ptr<ElfStringBlock> block;
};

class ElfSymtabSection : public ElfSection, public SymbolCollection {
public:
    using ElfSection::ElfSection;
    ~ElfSymtabSection() override;

    ElfSymtabSection *asSymtab() override;
    // SymbolCollection: the symbols of eachSymbol.
    void each(SymbolVisitor visitor) override;

    // Added by ElfSymtabSection, in this order.
    virtual ElfSymbol *symbolAt(uint32_t index) = 0;
    virtual void setSymbol(uint32_t index, ElfSymbol *symbol);
    // sh_size / 16, entry 0 included.
    virtual uint32_t entryCount();
    virtual uint32_t liveSymbolCount();
    // sh_info: the index of the first global entry.
    virtual uint32_t firstGlobalIndex();
    virtual Elf32_Sym *rawSymbol(uint32_t index) = 0;
    virtual ElfStrtabSection *stringTable() = 0;
    // Every symbol from index 1 on, in table order, until the visitor says
    // stop.
    virtual void eachSymbol(SymbolVisitor visitor);
};

class ElfSymtabSectionFromFile : public ElfSymtabSection {
public:
    // Reads the table; failures are reported through errorContext and leave
    // an empty table.
    ElfSymtabSectionFromFile(const char *name, Elf32Extractor &extractor, const Elf32_Shdr &header,
                             ElfStrtabSection *strings, ElfObjectFile *objectFile,
                             ErrorContext &errorContext);
    ~ElfSymtabSectionFromFile() override;

    ElfSymbol *symbolAt(uint32_t index) override;
    uint32_t liveSymbolCount() override;
    Elf32_Sym *rawSymbol(uint32_t index) override;
    ElfStrtabSection *stringTable() override;
    bool isContentSection() override;
    bool isValid() override;
    // A symbol table is no content of the program: it gives no chunks.
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;

    // The version index of an entry (low 15 bits of the version symbol
    // table), 0 without such a table.
    uint32_t versionIndex(uint32_t index);

private:
    std::unique_ptr<Elf32_Sym[]> rawSymbols;
    std::unique_ptr<ElfSymbol[]> symbolStore; // one object per entry
    std::unique_ptr<ElfSymbol *[]> symbols;   // into symbolStore; null for none
    ElfStrtabSection *strings;                // not owned
    uint32_t count;
    uint32_t live = 0;
    std::unique_ptr<uint16_t[]> versions;
    uint32_t versionCount = 0;

    void markThumbFunctions();
};
