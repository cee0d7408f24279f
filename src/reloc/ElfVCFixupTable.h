// The fixup table of the VideoCore processor (machine 0x5F): what each
// R_VC_ relocation type is called and how it patches an instruction.
//
// VideoCore code is little endian and comes in 16-, 32-, 48- and 80-bit
// instructions.  An offset is written in pieces at fixed bytes of the
// instruction: a 16-bit displacement in two bytes (whose lowest bits may
// belong to the opcode when the access is of halves or words), a 27-bit one
// spread over up to six bytes, and the addresses of vector loads and stores
// scattered over bytes that the opcode shares.  The same few field writers
// serve numbers computed in several ways: the plain value, the distance from
// the place (PCREL), from the global pointer, which is the small-data base
// of the output (GPREL), from the start of the target's section (SECTOFF),
// and the difference of two symbols given as two entries at one place (DIFF,
// with its second entry of type SECOND).
#pragma once

#include "reloc/ElfFixupTable.h"

#include <cstdint>

// The one VideoCore table of the run, made on first use and shared by every
// relocation section: the rows are static and never change.
ElfFixupTable &elfVCFixupTable();

// The type of the second entry of a difference.
constexpr uint32_t vcSecondType = 0x21;

// The bytes that the routine of `row` reaches from the place when that is
// not one word: 6 or 10 for the 48-bit and 80-bit forms, 2 for the 16-bit
// displacements; 0 for any other row and for a row of another table.
uint32_t vcFieldWidth(const FixupRow &row);
