// The two relocation table classes of ELF, one per record form, and the
// function that the ELF reader calls to make one.
//
// A SHT_REL record (8 bytes: r_offset, r_info) keeps the addend in the bytes
// at the place; a SHT_RELA record (12 bytes) holds it in r_addend.  Each
// class reads its records in its constructor and then repairs what the file
// format cannot say:
//   - MIPS, SHT_REL: a R_MIPS_HI16 record holds only the high half of its
//     addend; the low half stands at the place of the R_MIPS_LO16 record
//     that follows it for the same symbol.  The whole addend of the pair is
//     worked out once and kept for the HI16 entry.
//   - ARM, SHT_RELA: a R_ARM_ABS32 record followed at the same place by one
//     of types 0x55/0x56 is a position-independent word, R_ARM_PIC32 (0x43).
//   - MIPS, SHT_RELA: a R_MIPS_26 whose instruction is a MIPS16 jump
//     (halfword 0x18xx or 0x1Cxx with a zero low byte) is type 13.
#pragma once

#include "reloc/ElfReltabSectionFromInput.h"

#include <cstdint>
#include <memory>

class Elf32Extractor;

class ElfRelSection : public ElfReltabSectionFromInput {
public:
    ElfRelSection(const char *name, Elf32Extractor &input, const Elf32_Shdr &header,
                  ElfObjectFile &file, ElfFixupTable &fixups, ErrorContext &errorContext);
    ~ElfRelSection() override;

    bool hasExplicitAddend() override;
    // The addend found for the entry (a MIPS HI16 pair, a reset target);
    // otherwise 0, as the addend stands in the section's bytes.
    int32_t addend() override;

private:
    void pairMipsHi16(ErrorContext &errorContext);
};

class ElfRelaSection : public ElfReltabSectionFromInput {
public:
    ElfRelaSection(const char *name, Elf32Extractor &input, const Elf32_Shdr &header,
                   ElfObjectFile &file, ElfFixupTable &fixups, ErrorContext &errorContext);
    ~ElfRelaSection() override;

    bool hasExplicitAddend() override;
    // The records hold their addends.
    virtual bool hasAddendField();
    // r_addend, or the addend given with a new target.
    int32_t addend() override;

private:
    void markArmPic32();
    void markMips16Jumps();
};

// The fixup table of a machine for files of the given byte order: one
// shared table per machine and order serves every relocation section of the
// run.  A machine without a table of its own gets a table of one row, "???",
// of kind invalid.
ElfFixupTable &elfFixupTableFor(uint16_t machine, bool bigEndian);

// Makes the table of a SHT_REL (9) or SHT_RELA (4) section of `file`, whose
// sh_info names an existing section.  Null when the section has no records.
// `targetOptions` are the relocation options that the reader was given (null
// from the loader).
std::unique_ptr<ElfReltabSection> makeElfReltabSection(const char *name, Elf32Extractor &input,
                                                       uint16_t machine, const Elf32_Shdr &header,
                                                       ElfObjectFile &file,
                                                       ErrorContext &errorContext,
                                                       const RelocationOptions *targetOptions);
