// ElfObjectFileFromInput: the ObjectFile of an ELF file read from an
// InputFile, and ElfSectionFromFile, the section class of sections with
// contents.
//
// The constructor does all the reading.  It walks the section header table
// once: it checks every section name against the section name table, makes a
// section object for each program section, repairs or rejects wrong
// sh_link/sh_info references (with a warning), keeps linker directive text,
// and makes the chosen symbol table with its string table; last, each
// relocation section becomes a table (reloc/elfreloc.h) attached to the
// section it patches.  What is read depends on e_type: a relocatable file
// gets everything; an executable everything but relocations; a shared
// object only its symbol table, its strings and its version definitions,
// and no section objects at all.
//
// Damage that leaves nothing to read is fatal.  A program section whose
// contents cannot be read is an error that gives the whole file up: the
// section vector is then null, and the loader deletes the object.
#pragma once

#include "elf/ElfObjectFile.h"
#include "elf/ElfSection.h"
#include "elf/ElfVersion.h"

#include <cstdint>
#include <memory>
#include <vector>

class Elf32Extractor;
class Elf32Reader;
class ElfStrtabSection;
class ErrorContext;
class InputFile;
class RelocationsIteratorAcrossCollection;
struct RelocationOptions;

// The COMDAT sections a link has already taken, by name.
class ComdatTable {
public:
    virtual ~ComdatTable();
    virtual bool contains(const char *name) = 0;
    virtual void add(ElfSection &section, ErrorContext &errorContext) = 0;
};

class ElfObjectFileFromInput : public ElfObjectFile {
public:
    std::unique_ptr<char[]> soname; // DT_SONAME of a shared object
    std::unique_ptr<std::vector<std::unique_ptr<char[]>>> beforeDirectives;
    std::unique_ptr<std::vector<std::unique_ptr<char[]>>> directives;
    uint32_t versionDefinitionCount = 0;
    std::unique_ptr<std::vector<VerDef>> versionDefinitions; // by version index - 1

    // `relocationOptions` goes unlooked-at to the relocation tables; both it
    // and `comdats` are null from the loader.  A failed read leaves
    // `sections` null.
    ElfObjectFileFromInput(InputFile &file, ErrorContext &errorContext,
                           const RelocationOptions *relocationOptions = nullptr,
                           ComdatTable *comdats = nullptr);
    ~ElfObjectFileFromInput() override;

    // The soname when there is one, else the file's name.
    const char *name() override;
    void eachBeforeDirective(DirectiveVisitor visitor) override;
    void eachDirective(DirectiveVisitor visitor) override;
    // Symbols of discarded COMDAT sections become undefined first.
    void enterSymbols(SymbolTable &table) override;
    VerDef *versionDefinition(uint32_t index) override;
    bool hasComdat() override;
    void setSoname(const char *name) override;

    // False when the reading gave the file up.
    bool isUsable() const { return sections != nullptr; }

private:
    bool comdatSeen = false;

    // The state of one reading; lives only inside the constructor.
    struct Pass;
    void read(Pass &pass);
    void mainPass(Pass &pass);
    void readVersionDefinitions(Pass &pass);
    bool checkProgramLinks(Pass &pass, uint32_t index);
    ElfSection *makeComdat(Pass &pass, uint32_t index);
    void readDirective(Pass &pass, uint32_t index);
    void checkImports(Pass &pass, uint32_t index);
    ElfStrtabSection *makeStringTable(Pass &pass, uint32_t index);
    void makeSymbolTable(Pass &pass, uint32_t index);
    void relocationPass(Pass &pass);
};

// A section with contents, read whole at construction.
class ElfSectionFromFile : public ElfSection {
public:
    ElfSectionFromFile(const char *name, const Elf32_Shdr &header, ElfObjectFile *objectFile,
                       Elf32Reader &reader, ErrorContext &errorContext);
    ~ElfSectionFromFile() override;

    // Never for a section marked SHF_EXCLUDE.
    bool isAllocated() override;
    const char *combinedSectionName() override;
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;
    RelocationsIterator *relocations() override;
    bool isContentSection() override;
    // False when the contents could not be read.
    bool isValid() override;
    // The first table is the section's relocations; with a second, they
    // become a collection of all.  On ARM with "arch5" on, branch-with-link
    // relocations take the interworking types.
    void addRelocations(ElfSection &table) override;

    const uint8_t *contents() const { return bytes; }

private:
    // All of the section's bytes; a shared empty marker for a section of
    // file size 0; null when the read failed.
    uint8_t *bytes = nullptr;
    std::unique_ptr<uint8_t[]> ownedBytes;
    // The relocations: the one table, or the collection of several.
    RelocationsIterator *relocationTable = nullptr;
    // Not owned: the tables belong to the object file's section vector.
    ElfReltabSection *firstTable = nullptr;
    std::unique_ptr<std::vector<ElfReltabSection *>> laterTables;
    std::unique_ptr<RelocationsIteratorAcrossCollection> tableCollection;

    void markArch5Calls(ElfReltabSection &table);
};

// A COMDAT section that another file has already supplied: a header and a
// name, no contents, and discarded from the start.
class ElfDiscardedComdat : public ElfSection {
public:
    ElfDiscardedComdat(const char *name, const Elf32_Shdr &header, ElfObjectFile *objectFile);
    ~ElfDiscardedComdat() override;

    void eachRawDataChunk(RawDataChunkVisitor visitor) override;
    bool isDiscarded() override;
    void addRelocations(ElfSection &table) override;
};
