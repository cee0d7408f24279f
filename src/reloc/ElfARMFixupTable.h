// ElfARMFixupTable: the fixup table of ARM files (machine 0x28).
//
// The relocation numbers of ARM have a gap, so the table is split: types 0
// to 89 hold the 32-bit ARM instruction fields, the 16-bit Thumb fields, the
// forms that reach data through the static base register (SB) and the forms
// of position-independent and DLL code; types 0x81 to 0x88 hold eight fields
// of a further instruction set with scattered immediates.  A type in neither
// range has no row.  Every row exists for both byte orders; the two sets
// differ only in the order in which their routines read and write bytes.
//
// What a link asks of the output file (the static base B = sdaBase, the data
// segment, the two region bounds and the table of offset cells) comes from
// the entry's outputElfFile; without one, every base is 0 and every table
// is missing.
#pragma once

#include "reloc/ElfFixupTable.h"

#include <cstdint>

struct RelocationOptions;

class ElfARMFixupTable : public ElfSplitFixupTable {
public:
    explicit ElfARMFixupTable(bool bigEndian);

    // With the flag set, all data counts as reachable straight from the
    // static base.  False at the start; set by takeTargetOptions and never
    // cleared by the tool.
    static bool sbDirect;

    // Called when a relocation table of an ARM file is made, with the options
    // of the link's target: no options, a set sixth byte or a clear
    // `dynamicOutput` byte switch sbDirect on.
    static void takeTargetOptions(const RelocationOptions *targetOptions);

    // The 12-bit rotated-immediate encoding of an ARM data-processing
    // instruction: (rotation << 8) | byte, for the first rotation that fits,
    // or -1 when the number has none.
    static int32_t encodeImmediate(uint32_t x);
};

// The ARM table of one byte order.  Each is made once and shared by every
// relocation section of that order: the rows are static and immutable, and
// the table holds nothing else.
ElfFixupTable &elfARMFixupTable(bool bigEndian);

// The bytes that the routine of `row` reaches from the place when that is
// not one word: 8 for ADRL (two instructions), 2 for the Thumb halves; 0
// for any other row.
uint32_t armFieldWidth(const FixupRow &row);
