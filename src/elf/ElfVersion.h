// The version records of shared objects, in memory.
//
// A shared object may name the versions it defines (a SHT_GNU_VERDEF
// section) and the versions it needs of other files (a version requirement
// section).  Both sections are chains of records: each record leads by an
// offset to a chain of auxiliary records holding names, and by another offset
// to the next record.  The names are offsets into the string table that the
// section's sh_link names.  The version symbol table (SHT_GNU_VERSYM) gives
// one 16-bit version index per symbol; its top bit marks a hidden version.
//
// VerDef is one version definition with all its names, VerNeed one needed
// file with its VerNeedAux entries.  Elf32Extractor fills them.
#pragma once

#include "elf/ElfRecords.h"
#include "support/FunctionRef.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class VerDef {
public:
    uint16_t version = 0;
    uint16_t flags = 0;
    uint16_t index = 0; // the number that the version symbol table uses
    uint32_t hash = 0;
    uint16_t count = 0;                   // number of names
    std::unique_ptr<std::string[]> names; // the version's own name first

    VerDef();
    VerDef(uint16_t version, uint16_t flags, uint16_t index, uint32_t hash, uint16_t count,
           std::unique_ptr<std::string[]> names);
    VerDef(const VerDef &other);
    VerDef &operator=(const VerDef &other);
    VerDef(VerDef &&) = default;
    VerDef &operator=(VerDef &&) = default;
    VerDef(const Elf32_Verdef &raw, std::unique_ptr<std::string[]> names);
    ~VerDef();

    bool hasName(const char *name) const;
    void eachName(FunctionRef<void(const char *)> visitor) const;
    // A raw record whose auxiliary chain would follow it directly.
    void toRaw(Elf32_Verdef &out) const;
};

struct VerNeedAux {
    std::string name;
    uint32_t hash = 0;
    uint16_t other = 0;
};

class VerNeed {
public:
    uint16_t version = 0;
    std::string file; // the needed file's name
    uint16_t count = 0;
    std::unique_ptr<VerNeedAux[]> auxiliaries;

    VerNeed();
    VerNeed(uint16_t version, const char *file, uint16_t count,
            std::unique_ptr<VerNeedAux[]> auxiliaries);
    VerNeed(VerNeed &&) = default;
    VerNeed &operator=(VerNeed &&) = default;
    ~VerNeed();

    const VerNeedAux *auxiliary(uint32_t index) const;
    void eachAuxiliary(FunctionRef<void(const VerNeedAux &)> visitor) const;
};
