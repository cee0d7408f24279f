// The fixup table of the ARC processors (machines 0x2D and 0x5D): what each
// R_ARC_ relocation type is called and how it patches an instruction.
//
// ARC code holds its fields in three shapes.  Data words and long immediates
// are plain 32-bit words of the file's byte order, except that the "_ME"
// types see a word as two 16-bit halves with the high half first (the way the
// processor fetches a long immediate from the instruction stream: a
// little-endian word 0x12345678 is stored 34 12 78 56).  Compact branches and
// small-data loads and stores scatter an offset over the bits of one or two
// halfwords, which are always read and written half by half, high half first.
// Small-data offsets are distances from the small-data base _SDA_BASE_ (B),
// which the output file knows; section offsets are distances from the start
// of the target's section.  Both byte orders have a table with the same
// names, kinds and flags; they differ only in how they reach the bytes.
#pragma once

#include "reloc/ElfFixupTable.h"

#include <cstdint>

// The table of ARC files of the given byte order.  One table object per
// byte order is made on first use and serves every relocation section of the
// run: the rows are static and never change.
ElfFixupTable &elfARCFixupTable(bool bigEndian);

// The small-data load and store types.  The small-data remapper sorts the
// sections of .sdata by these numbers and by the reach that the table gives
// them (byte, half-word and word access), so they must keep their values.
namespace arc {
constexpr uint32_t sdaLdst = 0x13;  // byte access, offset -0x100 to 0xFF
constexpr uint32_t sdaLdst1 = 0x14; // half-word access, -0x200 to 0x1FE
constexpr uint32_t sdaLdst2 = 0x15; // word access, -0x400 to 0x3FC
constexpr uint32_t sda16Ld = 0x16;  // byte access in a 16-bit instruction
constexpr uint32_t sda16Ld1 = 0x17; // half-word access in a 16-bit instruction
constexpr uint32_t sda16Ld2 = 0x18; // word access in a 16-bit instruction
} // namespace arc
