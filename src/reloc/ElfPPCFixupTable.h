// ElfPPCFixupTable: the fixup table of the PowerPC processors (machines 0x11
// and 0x14).
//
// PowerPC relocation numbers come in three runs: 0 to 37, the processor's
// common list (ADDR32, REL24, the 16-bit LO/HI/HA halves, GOT and PLT forms);
// 0x65 to 0x74, the embedded list (negated addresses, the small-data forms,
// section starts, bit fields); and 0xB4 to 0xB9, an extension whose names
// begin with "R_PPC_DIAB_".  So the table is a split table of three ranges.
//
// Instruction fields: a branch holds a 24-bit word displacement in bits 2 to
// 25 (bit 1, AA, makes it absolute), a conditional branch a 14-bit one in
// bits 2 to 15, and a load or store a 16-bit displacement with its base
// register in the five low bits of the byte in front of it.
//
// The small-data model: three areas, each with a base symbol and a base
// register (area 0 ".PCC.EMB.sdata0/.PCC.EMB.sbss0" through r0 and the
// symbol "0", area 1 ".sdata/.sbss" through r13 and "_SDA_BASE_", area 2
// ".sdata2/.sbss2" through r2 and "_SDA2_BASE_").  A reference picks its
// area at link time, trying 1, 2, 0 in turn.  What the areas are - their
// section groups and bases - is taken from the output file of the link on
// first use and kept for the run.
#pragma once

#include "reloc/ElfFixupTable.h"

#include <cstdint>

class ElfPPCFixupTable : public ElfSplitFixupTable {
public:
    explicit ElfPPCFixupTable(bool bigEndian);

    // Forgets the small-data areas and the count of reported failures, so
    // that the next reference takes them anew from its output file: for a
    // second link in one process, and for tests.
    static void forgetSmallDataAreas();
};

// The table of one byte order.  The rows are static and immutable, so one
// table object per byte order, made on first use, serves every relocation
// section of the run.
ElfFixupTable &elfPPCFixupTable(bool bigEndian);

// The PowerPC instruction-field routines, in both byte orders; the PJ table
// borrows the 24-bit branch field.
namespace reloc {

#define TNM_PPC_FIXUP_BOTH_ORDERS(name)                                                            \
    bool name##Be(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);                          \
    bool name##Le(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
TNM_PPC_FIXUP_BOTH_ORDERS(ppcAddr24)
TNM_PPC_FIXUP_BOTH_ORDERS(ppcRel24)
TNM_PPC_FIXUP_BOTH_ORDERS(ppcAddr14)
TNM_PPC_FIXUP_BOTH_ORDERS(ppcRel14)
TNM_PPC_FIXUP_BOTH_ORDERS(ppcSet16)
TNM_PPC_FIXUP_BOTH_ORDERS(ppcLow16)
TNM_PPC_FIXUP_BOTH_ORDERS(ppcHigh16)
TNM_PPC_FIXUP_BOTH_ORDERS(ppcAdjusted16)
TNM_PPC_FIXUP_BOTH_ORDERS(ppcRel30)
TNM_PPC_FIXUP_BOTH_ORDERS(ppcBitField)
#undef TNM_PPC_FIXUP_BOTH_ORDERS

} // namespace reloc
