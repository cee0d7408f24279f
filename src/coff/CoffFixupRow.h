// CoffFixupRow: what each COFF relocation type means, by magic - its name,
// its patch routine, whether it reads relative to the place, and whether the
// next entry of the table belongs to it - with the translation of the iX86
// types to ELF types, and the AM29K instruction-field routines.
//
// Three magics have rows: 0x14C (iX86, little-endian), 0x17A (AM29K,
// big-endian) and 0x17B (AM29K-L, little-endian).  Any other magic has none,
// and its entries are only read and listed.  A type is the index of its row.
//
// An AM29K instruction word keeps a 16-bit constant in two separate bytes,
// with an opcode byte beside them:
//
//   magic 0x17A (big-endian)     byte 0 opcode, byte 1 high, byte 3 low
//   magic 0x17B (little-endian)  byte 3 opcode, byte 2 high, byte 0 low
//
// A large value (one that needs more than the 16-bit field counting words)
// cannot be reached by a relative instruction; bit 0 of the opcode byte turns
// an instruction absolute.  R_IHIHALF sets the upper half of a 32-bit
// constant, whose lower half stands in the symndx word of the R_IHCONST entry
// behind it: the two are one fixup.
#pragma once

#include "reloc/reloc.h"

#include <cstdint>

struct CoffFixupRow {
    FixupRoutine fixup;
    const char *name; // null when the type has none
    // 0 for a plain type; +1 when the next entry belongs to this one; -1
    // for the entry that so belongs.
    int8_t companion;
    uint8_t pcRelative; // 1 when the value is relative to the place
    // 1 when the field of a non-executable file already counts from the
    // place.
    uint8_t fieldIsRelative;
};

// The rows of one magic.  The rows are static and immutable: every table of
// every file of that magic points to the same ones.
struct CoffFixupTable {
    const CoffFixupRow *rows = nullptr; // null when the magic has none
    uint32_t rowCount = 0;
    // The ELF type of each row, 0 meaning none; null when the magic's types
    // have no translation.
    const uint8_t *elfTypes = nullptr;
};

CoffFixupTable coffFixupTable(uint32_t magic);

// The AM29K routines of the instruction fields, in the big-endian layout of
// 0x17A (Be) and the little-endian one of 0x17B (Le).  All answer true; a
// value that does not fit gives the far-target error instead, once for each
// run of entries of one object file.
namespace am29k {

bool instructionRelativeBe(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool instructionRelativeLe(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool instructionAbsoluteBe(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool instructionAbsoluteLe(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
// The constant plus the value; carries out of it are lost.
bool lowHalfBe(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool lowHalfLe(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
// Bits 16 to 31 of the value; what stood in the field does not count.
bool highHalfBe(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool highHalfLe(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
// The low 8 bits of the value into byte 1, 2 or 3 of the word, the same
// byte in both magics; true when the value, unsigned, is below 0x100.
bool byte1(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool byte2(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool byte3(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);

} // namespace am29k
