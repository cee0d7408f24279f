// Bit fields inside a 32-bit word, as relocation fixups use them.  A field
// runs from bit `low` to bit `high`, both inclusive (0 <= low <= high <= 31).
#pragma once

#include <cstdint>

// Stores `value` into the field of `*word`, leaving the other bits, and
// gives 0; or leaves the word alone and gives 1 if the value does not fit.
// Unsigned, it fits if it is not above the field's mask; signed, if the
// bits above the mask are all 0 or all 1.
int setBits(uint32_t *word, int low, int high, int32_t value, bool isSigned);

// The field of `word`, sign-extended if `isSigned` and its top bit is set.
uint32_t getBits(uint32_t word, int low, int high, bool isSigned);
