// The small fixup tables: SPARC (machine 2), Intel 386 (machine 3), PJ
// (machine 0x63) and the table of machine 0x9999.  Each is a plain
// ElfFixupTable of static rows.
//
// SPARC instructions are big-endian words: a call holds a 30-bit word
// displacement below its two opcode bits, a branch a 22-bit one, "sethi" the
// high 22 bits of a number and the immediate forms a 13-bit or 10-bit low
// part.  The 386 patches plain little-endian words.  PJ patches bytes,
// halves and words of a big-endian file, and the 24-bit branch field of the
// PowerPC; its little-endian form supports no type.  Machine 0x9999 shares
// PJ's names and supports only the plain and negated 32-bit words.
#pragma once

#include "reloc/ElfFixupTable.h"

class ElfPJCFixupTable : public ElfFixupTable {
public:
    explicit ElfPJCFixupTable(bool bigEndian);
};

class ElfNMFixupTable : public ElfFixupTable {
public:
    explicit ElfNMFixupTable(bool bigEndian);
};

// Each returns a table made once and shared: the rows are static and
// immutable, so one object (per byte order, where there are two) serves
// every relocation section of the run.
ElfFixupTable &elfSPARCFixupTable();
ElfFixupTable &elfI386FixupTable();
ElfFixupTable &elfPJCFixupTable(bool bigEndian);
ElfFixupTable &elfNMFixupTable(bool bigEndian);
