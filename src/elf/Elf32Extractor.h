// Elf32Extractor: gives out the sections of an ELF file as arrays of records
// in host byte order.  It stands on an Elf32Reader and the file's section
// header table.
//
// Every `read...` operation returns fresh memory that the caller owns, or
// null when the section is of the wrong type or its bytes cannot be read; the
// reader's `status` then says why.  Array lengths follow from sh_size divided
// by the record size, so a rest of fewer bytes than a record is ignored.
#pragma once

#include "elf/Elf32Reader.h"
#include "elf/ElfRecords.h"
#include "elf/ElfVersion.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

// A view on a SHT_HASH section: the bucket and chain words in host order.
struct ElfHashTable {
    uint32_t nbucket = 0;
    uint32_t nchain = 0;
    const uint32_t *buckets = nullptr; // two words into the section
    const uint32_t *chains = nullptr;  // behind the buckets
    std::unique_ptr<uint32_t[]> data;  // the section's words
};

class Elf32Extractor {
public:
    Elf32Reader &reader;
    Elf32_Ehdr header;
    const Elf32_Shdr *sections = nullptr; // the section header table
    bool ownsSections = false;

    // Reads the section table through the reader and owns it.
    explicit Elf32Extractor(Elf32Reader &reader);
    // Uses a table that the caller read and keeps owning.
    Elf32Extractor(Elf32Reader &reader, const Elf32_Shdr *table);
    ~Elf32Extractor();
    Elf32Extractor(const Elf32Extractor &) = delete;
    Elf32Extractor &operator=(const Elf32Extractor &) = delete;

    uint32_t findSectionOfType(uint32_t type) const;
    // An index beyond the table gives the header of index 0.
    const Elf32_Shdr &sectionHeader(uint32_t index) const;
    uint32_t indexOfHeader(const Elf32_Shdr *header) const;
    // The dynamic symbol table when there is one, else the static one.
    uint32_t symbolTableIndex() const;
    std::unique_ptr<Elf32_Sym[]> readSymbols(const Elf32_Shdr &header);
    std::unique_ptr<Elf32_Sym[]> symbols();
    std::unique_ptr<ElfStringBlock> readStrings(const Elf32_Shdr &header);
    std::unique_ptr<ElfStringBlock> sectionNames();
    std::unique_ptr<ElfStringBlock> symbolNames();
    std::unique_ptr<Elf32_Rela[]> readRela(const Elf32_Shdr &header);
    std::unique_ptr<Elf32_Rel[]> readRel(const Elf32_Shdr &header);
    std::unique_ptr<Elf32_Dyn[]> readDynamic(const Elf32_Shdr &header);
    std::unique_ptr<uint16_t[]> readHalves(const Elf32_Shdr &header);
    std::unique_ptr<uint16_t[]> readVersionSymbols(uint32_t &count);
    std::unique_ptr<ElfHashTable> readHash(const Elf32_Shdr &header);
    std::unique_ptr<char[]> soname();
    std::unique_ptr<std::vector<VerDef>> readVersionDefinitions(const Elf32_Shdr &header);
    std::unique_ptr<std::vector<VerDef>> versionDefinitions(uint32_t &count);
    std::unique_ptr<std::vector<VerNeed>> readVersionRequirements(const Elf32_Shdr &header);
    std::unique_ptr<Elf32_RegInfo> registerInformation();
    std::unique_ptr<Elf32_RegInfo> readRegisterInformation(const Elf32_Shdr &header);

private:
    std::unique_ptr<Elf32_Shdr[]> ownedSections;
    // The .reginfo record, read at the first request: every relocation
    // section of a MIPS file asks for it.
    bool registersRead = false;
    std::optional<Elf32_RegInfo> registers;
    template <typename T> std::unique_ptr<T[]> readArray(const Elf32_Shdr &header);
    std::unique_ptr<ElfStringBlock> linkedStrings(const Elf32_Shdr &header);
};
