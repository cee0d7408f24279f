// The fixup rows and the library of generic patch routines that every
// processor's table uses.
//
// A fixup routine takes (descriptor, place, value, address): `place` points at
// the bytes to patch, `value` is V, the symbol plus addend or what the row's
// kind gives, and `address` is P, the run-time address of the place.  It
// writes first and answers afterwards: true if the value fitted.  Byte order
// lives in the routine, so every routine of two or more bytes exists in a
// big-endian (...Be) and a little-endian (...Le) form.  A routine gets no
// length: the table's apply checks that the field lies inside the section.
#pragma once

#include "reloc/RelocationDescriptor.h"

#include <cstdint>

class ElfFixupTable;

using FixupRoutine = bool (*)(RelocationDescriptor &entry, uint8_t *place, uint32_t value,
                              uint32_t address);
// For the few routines that need their table.
using TableFixupRoutine = bool (*)(ElfFixupTable &table, RelocationDescriptor &entry,
                                   uint8_t *place, uint32_t value, uint32_t address);

// One row for each relocation type of a processor.
struct FixupRow {
    FixupRoutine fixup; // null when tableFixup is given
    const char *name;   // without the processor's prefix; "" for an unused type
    ReferenceKind kind;
    uint8_t pcRelative;           // 1 if the value is relative to the place
    uint8_t reserved[2];          // 0 in every row
    TableFixupRoutine tableFixup; // null in all rows but two of MIPS
};

// The shared row of a type that has none: patchUnsupported, "???", invalid.
extern const FixupRow unknownFixupRow;

// F is the field as it stands (unsigned), V the value, P the address, and D
// the entry's addend less its valueWithoutAddend.  Ranges are signed; a
// routine that answers false has written its bytes all the same.
namespace reloc {

bool patchNothing(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool patchUnsupported(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);

bool add8(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool set8(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool addPc8(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
bool negate8(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);

#define TNM_FIXUP_BOTH_ORDERS(name)                                                                \
    bool name##Be(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);                          \
    bool name##Le(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t);
TNM_FIXUP_BOTH_ORDERS(add16)
TNM_FIXUP_BOTH_ORDERS(set16)
TNM_FIXUP_BOTH_ORDERS(addPc16)
TNM_FIXUP_BOTH_ORDERS(set24)
TNM_FIXUP_BOTH_ORDERS(add32)
TNM_FIXUP_BOTH_ORDERS(set32)
TNM_FIXUP_BOTH_ORDERS(subtract32)
TNM_FIXUP_BOTH_ORDERS(addPc32)
TNM_FIXUP_BOTH_ORDERS(setPc32)
TNM_FIXUP_BOTH_ORDERS(subtractValue32)
TNM_FIXUP_BOTH_ORDERS(negate16)
TNM_FIXUP_BOTH_ORDERS(negate24)
TNM_FIXUP_BOTH_ORDERS(setNegatedLow16)
TNM_FIXUP_BOTH_ORDERS(setNegatedHigh16)
TNM_FIXUP_BOTH_ORDERS(setNegatedAdjusted16)
#undef TNM_FIXUP_BOTH_ORDERS

// Field access in either order, for the processors' own routines.
uint16_t read16Be(const uint8_t *place);
uint16_t read16Le(const uint8_t *place);
uint32_t read24Be(const uint8_t *place);
uint32_t read24Le(const uint8_t *place);
uint32_t read32Be(const uint8_t *place);
uint32_t read32Le(const uint8_t *place);
void write16Be(uint8_t *place, uint16_t value);
void write16Le(uint8_t *place, uint16_t value);
void write24Be(uint8_t *place, uint32_t value);
void write24Le(uint8_t *place, uint32_t value);
void write32Be(uint8_t *place, uint32_t value);
void write32Le(uint8_t *place, uint32_t value);

// D of the table above.
uint32_t negatedDistance(RelocationDescriptor &entry);

} // namespace reloc
