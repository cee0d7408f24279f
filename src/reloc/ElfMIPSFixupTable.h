// ElfMIPSFixupTable: the fixup table of MIPS files (machine 8).
//
// Besides the plain 32-bit instructions it patches the 16-bit instruction
// set of the same processors (MIPS16), whose functions carry `other` 0xF0 on
// their symbols, and the extended form of a 16-bit instruction: an EXTEND
// unit (top five bits 11110) in front of the instruction, which holds a
// 16-bit immediate in three pieces - bits 0 to 4 in the instruction, 5 to 10
// and 11 to 15 in the EXTEND unit.  Seen as one word with the first unit as
// its high half:
//
//     11110 imm[10:5] imm[15:11] | op ... imm[4:0]
//     31 27 26     21 20      16 | 15         4  0
//
// In a little-endian file the first unit is the low half of the word as
// read, so the routines swap the halves before they look.
//
// The table has 38 rows in two sets, for files of either byte order, with
// the same names, kinds and flags.  Two rows (GPREL16, GPREL32) need the
// file's own global pointer value `gp` and so are table fixups.
#pragma once

#include "reloc/ElfFixupTable.h"

#include <cstdint>
#include <memory>

struct Elf32_RegInfo;

class ElfMIPSFixupTable : public ElfFixupTable {
public:
    // The table of a file: `registerInformation` is the file's .reginfo
    // record (null if it has none), which the table takes and frees once it
    // has its global pointer value; `flags` is the file's e_flags.
    ElfMIPSFixupTable(bool bigEndian, std::unique_ptr<Elf32_RegInfo> registerInformation,
                      uint32_t flags);

    // Types below 0x80 by index; from 0x80 on, by the number that a row of
    // that range carries in front of its name.
    const FixupRow *lookup(uint32_t type) override;

    // The global pointer value that the file was assembled with (the sixth
    // word of its .reginfo record); 0 if it has none.
    uint32_t gp = 0;
    // The file holds position-independent code (e_flags has PIC or CPIC).
    // Nothing here reads it; it is kept for the linking side.
    bool picCode = false;
};

// The MIPS table of one byte order with no .reginfo record (gp 0) and no
// flags.  Each is made once and shared by every relocation section of that
// order: the rows are static and immutable.  A file whose relocations use
// its own gp (GPREL16 and GPREL32 against local symbols) needs a table of
// its own, made with the constructor above.
ElfFixupTable &elfMIPSFixupTable(bool bigEndian);
