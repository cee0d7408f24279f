// The VideoCore fixup rows, the field writers of its instructions and the
// ways to compute the number that they write.
#include "reloc/ElfVCFixupTable.h"

#include "elf/ElfObjectFile.h"
#include "object/Symbol.h"

#include <array>

namespace {

int32_t asSigned(uint32_t value) {
    return static_cast<int32_t>(value);
}

// `value` shifted right by `bits` is 0 or -1: it fits bits+1 signed bits.
bool fitsAbove(uint32_t value, int bits) {
    int32_t high = asSigned(value) >> bits;
    return high == 0 || high == -1;
}

// A vector instruction whose three bits at 3 to 5 of `selector` are all set
// takes its address unsigned: then only numbers of 0 to 0x1FFFF fit.
bool fitsVector48(uint32_t number, uint8_t selector) {
    if ((selector & 0x38) == 0x38) return (asSigned(number) >> 17) == 0;
    return fitsAbove(number, 17);
}

// The global pointer: the small-data base of the output file, 0 before a
// link has one.
uint32_t globalPointer(RelocationDescriptor &entry) {
    ElfObjectFile *output = entry.outputElfFile();
    return output ? output->sdaBase() : 0;
}

// ---------------------------------------------------------------------------
// Field writers.  Each has the arguments of a fixup routine, takes the
// number N to write as its value, and answers whether N fitted.  Bytes are
// numbered from the place.  A misaligned displacement of a half or word
// access is reported and rounded down, since its low bits belong to the
// opcode.

// A 16-bit displacement of a byte access.
bool vcByteS16(RelocationDescriptor &, uint8_t *place, uint32_t number, uint32_t) {
    place[0] = uint8_t(number);
    place[1] = uint8_t(number >> 8);
    return fitsAbove(number, 15);
}

// A 16-bit displacement of a half-word access (ldh/ldsh/sth): bit 0 of the
// first byte is the opcode's.
bool vcHalfS16(RelocationDescriptor &entry, uint8_t *place, uint32_t number, uint32_t) {
    if ((number & 1) != 0) {
        entry.error("Odd displacement on ldh/ldsh/sth instruction.");
        number -= 1;
    }
    place[0] = uint8_t((place[0] & 1) | (number & 0xFF));
    place[1] = uint8_t(number >> 8);
    return fitsAbove(number, 15);
}

// A 16-bit displacement of a word access (ld/st): bits 0 and 1 of the first
// byte are the opcode's.
bool vcWordS16(RelocationDescriptor &entry, uint8_t *place, uint32_t number, uint32_t) {
    if ((number & 3) != 0) {
        entry.error("Displacement on ld/st not word-aligned.");
        number &= ~3u;
    }
    place[0] = uint8_t((place[0] & 3) | (number & 0xFF));
    place[1] = uint8_t(number >> 8);
    return fitsAbove(number, 15);
}

// A 27-bit number in the low bits of four bytes.
bool vcS27(RelocationDescriptor &, uint8_t *place, uint32_t number, uint32_t) {
    place[0] = uint8_t(number);
    place[1] = uint8_t(number >> 8);
    place[2] = uint8_t(number >> 16);
    place[3] = uint8_t((place[3] & 0xF8) | ((number >> 24) & 7));
    return fitsAbove(number, 26);
}

// Bits 2 to 26 of the 27-bit displacement of a 48-bit load or store: bits 2
// to 7 at the top of byte 2, then bytes 3 and 4, then three bits of byte 5.
void writeS27Pieces(uint8_t *place, uint32_t number) {
    place[2] = uint8_t((place[2] & 3) | (number & 0xFC));
    place[3] = uint8_t(number >> 8);
    place[4] = uint8_t(number >> 16);
    place[5] = uint8_t((place[5] & 0xF8) | ((number >> 24) & 7));
}

// Byte access: bits 0 and 1 of the displacement go to bits 5 and 6 of byte 0.
bool vcByteS27(RelocationDescriptor &, uint8_t *place, uint32_t number, uint32_t) {
    place[0] = uint8_t((place[0] & ~0x60) | ((number & 3) << 5));
    writeS27Pieces(place, number);
    return fitsAbove(number, 26);
}

// Half-word access: only bit 1 goes to byte 0, at bit 6.
bool vcHalfS27(RelocationDescriptor &entry, uint8_t *place, uint32_t number, uint32_t) {
    if ((number & 1) != 0) {
        entry.error("Displacement on ldh/ldsh/sth is odd.");
        number -= 1;
    }
    place[0] = uint8_t((place[0] & ~0x40) | ((number & 2) << 5));
    writeS27Pieces(place, number);
    return fitsAbove(number, 26);
}

// Word access: byte 0 holds nothing of the displacement.
bool vcWordS27(RelocationDescriptor &entry, uint8_t *place, uint32_t number, uint32_t) {
    if ((number & 3) != 0) {
        entry.error("Displacement on ld/st is not word-aligned.");
        number &= ~3u;
    }
    writeS27Pieces(place, number);
    return fitsAbove(number, 26);
}

// The address pieces that the 48-bit and 80-bit vector loads share: bits 10
// to 17 in byte 0, bits 4 to 9 at the top of byte 3.
void writeVectorLoadPieces(uint8_t *place, uint32_t number) {
    place[0] = uint8_t(number >> 10);
    place[3] = uint8_t((place[3] & 3) | (((number >> 4) & 0x3F) << 2));
}

// A 48-bit vector load, whose address must be a multiple of 16: its low four
// bits have no place in the instruction.
bool vcVld48(RelocationDescriptor &entry, uint8_t *place, uint32_t number, uint32_t) {
    if ((number & 0xF) != 0)
        entry.error("Address being referenced from 48-bit vector load instruction is not 16-byte "
                    "aligned.");
    writeVectorLoadPieces(place, number);
    return fitsVector48(number, place[2]);
}

// An 80-bit vector load: the pieces of the 48-bit form, bits 18 to 28 in
// bytes 4 and 5, and the low four bits at the top of byte 5, so any address
// can be had.
bool vcVld80(RelocationDescriptor &, uint8_t *place, uint32_t number, uint32_t) {
    writeVectorLoadPieces(place, number);
    place[4] = uint8_t(((number >> 18) & 0x7F) << 1);
    place[5] = uint8_t(((number >> 25) & 0xF) | (number & 0xF) << 4);
    return fitsAbove(number, 28);
}

// The address pieces that the 48-bit and 80-bit vector stores share: bits 4
// to 17, scattered over bytes 0, 2, 3 and 5 between bits of the opcode.
void writeVectorStorePieces(uint8_t *place, uint32_t number) {
    place[0] = uint8_t((place[0] & 0xFA) | ((number >> 13) & 1) | ((number >> 14) & 1) << 2);
    place[2] = uint8_t((place[2] & 0x1F) | ((number >> 15) & 7) << 5);
    place[3] = uint8_t(number >> 5);
    place[5] = uint8_t((place[5] & ~4) | ((number >> 4) & 1) << 2);
}

bool vcVst48(RelocationDescriptor &entry, uint8_t *place, uint32_t number, uint32_t) {
    if ((number & 0xF) != 0)
        entry.error("Address being referenced from 48-bit vst instruction is not 16-byte "
                    "aligned.");
    writeVectorStorePieces(place, number);
    return fitsVector48(number, place[4]);
}

// An 80-bit vector store: bits 18 to 28 and the low four bits in bytes 7 to
// 9, so any address can be had.
bool vcVst80(RelocationDescriptor &, uint8_t *place, uint32_t number, uint32_t) {
    writeVectorStorePieces(place, number);
    place[7] = uint8_t((place[7] & 3) | (number & 0xF) << 4 | ((number >> 27) & 3) << 2);
    place[8] = uint8_t(number >> 18);
    place[9] = uint8_t((number >> 26) & 1);
    return fitsAbove(number, 28);
}

// Branches count in halves from the place.  A distance out of range or odd
// is reported here, and the answer is true so that no second report comes.
// The 23-bit form has bits 1 to 7 in byte 0 and bits 8 to 23 in bytes 2 and
// 3; the 27-bit branch and link adds bits 24 to 27 in the low bits of byte 1.
bool branch(RelocationDescriptor &entry, uint8_t *place, uint32_t distance, bool call) {
    if (!fitsAbove(distance, call ? 26 : 23)) {
        entry.error(call ? "Displacement of bl is out of range."
                         : "Displacement of branch is out of range.");
    } else if ((distance & 1) != 0) {
        entry.error(call ? "Displacement of bl is odd." : "Displacement of branch is odd.");
        distance -= 1;
    }
    place[0] = uint8_t((place[0] & 0x80) | (distance & 0xFF) >> 1);
    if (call) place[1] = uint8_t((place[1] & 0xF0) | ((distance >> 24) & 0xF));
    place[2] = uint8_t(distance >> 8);
    place[3] = uint8_t(distance >> 16);
    return true;
}

bool branchS23H(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    return branch(entry, place, value - address, false);
}
bool branchS27H(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    return branch(entry, place, value - address, true);
}

// ---------------------------------------------------------------------------
// Ways to compute the number N from V and P.

enum class Form : uint8_t {
    plain,
    pcRel16,     // V less (P - 2)
    pcRelWord16, // V less (P - 2) with the two low bits clear
    pcRel27,     // V less P
    pcRelWord27, // V less P with the two low bits clear
    gpRel,       // V less the global pointer
    gpRelWeak,   // the same, after the check for an undefined weak target
    difference,  // V less the value of the SECOND entry that follows
};

uint32_t numberOf(Form form, RelocationDescriptor &entry, uint32_t value, uint32_t address) {
    switch (form) {
    case Form::plain:
        return value;
    case Form::pcRel16:
        return value - (address - 2);
    case Form::pcRelWord16:
        return value - ((address - 2) & ~3u);
    case Form::pcRel27:
        return value - address;
    case Form::pcRelWord27:
        return value - (address & ~3u);
    case Form::gpRelWeak:
        // An undefined weak symbol has the value 0, which is no address
        // that the global pointer can reach.
        if (value == 0)
            if (Symbol *symbol = entry.targetSymbol())
                if (symbol->binding() == SymbolBinding::weak)
                    entry.warning("%%gp-relative reference to undefined weak symbol detected.");
        return value - globalPointer(entry);
    case Form::gpRel:
        return value - globalPointer(entry);
    case Form::difference: {
        uint32_t second = 0;
        if (!entry.nextEntryIs(vcSecondType, second)) {
            entry.error("Object file error: second of 2-part fixup is missing.");
            second = 0;
        }
        return value - second;
    }
    }
    return value;
}

// A load through the global pointer (or the place) of a null address, found
// by the opcode bytes in front of the field, is turned into a load of the
// constant 0.  The bytes in front exist only when the field does not start
// the section: at offsets 0 and 1 nothing is rewritten.
enum class NullLoad : uint8_t { none, short16, long27 };

bool rewriteNullLoad(NullLoad form, RelocationDescriptor &entry, uint8_t *place) {
    if (form == NullLoad::none || entry.dataOffset() < 2) return false;
    uint8_t &opcode = place[-2];
    uint8_t &operand = place[-1];
    if (form == NullLoad::short16) {
        if ((opcode >> 4) != 0xC || operand != 0x2D) return false;
        opcode = uint8_t((opcode ^ 0xC0) | 0x60);
        operand = 0x2E;
        place[0] = place[1] = 0;
        return true;
    }
    if ((opcode >> 5) != 1 || operand != 0x2F) return false;
    opcode = uint8_t((opcode ^ 0x20) | 0x60);
    place[0] = place[1] = place[2] = place[3] = 0;
    return true;
}

template <Form form, FixupRoutine write, NullLoad nullLoad = NullLoad::none>
bool vc(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    if (value == 0 && rewriteNullLoad(nullLoad, entry, place)) return true;
    return write(entry, place, numberOf(form, entry, value, address), address);
}

// ---------------------------------------------------------------------------
// The rows.

constexpr ReferenceKind sec = ReferenceKind::sectionRelative;

constexpr FixupRow row(FixupRoutine fixup, const char *name,
                       ReferenceKind kind = ReferenceKind::direct, uint8_t pcRelative = 0) {
    return FixupRow{fixup, name, kind, pcRelative, {0, 0}, nullptr};
}

constexpr uint32_t vcTypeCount = 66;

using F = Form;

// Only the branches S23H and S27H are pc-relative for the table; the PCREL
// types take the place off themselves.  Types 24 to 32 are relative to the
// target's section, every other type is direct.
constexpr std::array<FixupRow, vcTypeCount> vcRows = {{
    row(reloc::patchNothing, "NONE"),
    row(reloc::set32Le, "32"),
    row(reloc::set16Le, "16"),
    row(reloc::set8, "8"),
    row(vc<F::gpRel, vcByteS16, NullLoad::short16>, "GPREL_B_S16"),
    row(vc<F::gpRelWeak, vcHalfS16>, "GPREL_H_S16"),
    row(vc<F::gpRelWeak, vcWordS16>, "GPREL_W_S16"),
    row(vc<F::pcRel16, vcByteS16>, "PCREL_B_S16"),
    row(vc<F::pcRel16, vcHalfS16>, "PCREL_H_S16"),
    row(vc<F::pcRelWord16, vcWordS16>, "PCREL_W_S16"),
    row(vc<F::gpRel, vcS27, NullLoad::long27>, "GPREL_S27"),
    row(vc<F::pcRel16, vcS27, NullLoad::long27>, "PCREL_S27"),
    row(vcS27, "S27"),
    row(vc<F::gpRel, vcByteS27>, "GPREL_B_S27"),
    row(vc<F::gpRelWeak, vcHalfS27>, "GPREL_H_S27"),
    row(vc<F::gpRelWeak, vcWordS27>, "GPREL_W_S27"),
    row(vc<F::pcRel27, vcByteS27>, "PCREL_B_S27"),
    row(vc<F::pcRel27, vcHalfS27>, "PCREL_H_S27"),
    row(vc<F::pcRelWord27, vcWordS27>, "PCREL_W_S27"),
    row(vcByteS27, "B_S27"),
    row(vcHalfS27, "H_S27"),
    row(vcWordS27, "W_S27"),
    row(branchS23H, "S23H", ReferenceKind::direct, 1),
    row(branchS27H, "S27H", ReferenceKind::direct, 1),
    row(reloc::set16Le, "SECTOFF_16", sec),
    row(vcByteS16, "SECTOFF_B_S16", sec),
    row(vcHalfS16, "SECTOFF_H_S16", sec),
    row(vcWordS16, "SECTOFF_W_S16", sec),
    row(vcS27, "SECTOFF_S27", sec),
    row(vcByteS27, "SECTOFF_B_S27", sec),
    row(vcHalfS27, "SECTOFF_H_S27", sec),
    row(vcWordS27, "SECTOFF_W_S27", sec),
    row(reloc::set32Le, "SECTOFF_32", sec),
    row(reloc::patchNothing, "SECOND"),
    row(vc<F::difference, reloc::set8>, "DIFF_8"),
    row(vc<F::difference, reloc::set16Le>, "DIFF_16"),
    row(vc<F::difference, reloc::set32Le>, "DIFF_32"),
    row(vc<F::difference, vcByteS16>, "DIFF_B_S16"),
    row(vc<F::difference, vcHalfS16>, "DIFF_H_S16"),
    row(vc<F::difference, vcWordS16>, "DIFF_W_S16"),
    row(vc<F::difference, vcS27>, "DIFF_S27"),
    row(vc<F::difference, vcByteS27>, "DIFF_B_S27"),
    row(vc<F::difference, vcHalfS27>, "DIFF_H_S27"),
    row(vc<F::difference, vcWordS27>, "DIFF_W_S27"),
    row(vc<F::gpRelWeak, reloc::set32Le>, "GPREL_32"),
    row(vc<F::gpRelWeak, reloc::set16Le>, "GPREL_S16"),
    row(vcByteS16, "B_S16"),
    row(vcHalfS16, "H_S16"),
    row(vcWordS16, "W_S16"),
    row(vcVld48, "VLD48"),
    row(vc<F::difference, vcVld48>, "VLD48_DIFF"),
    row(vc<F::gpRel, vcVld48>, "VLD48_GPREL"),
    row(vcVld48, "VLD48_SECTOFF"),
    row(vcVld80, "VLD80"),
    row(vc<F::difference, vcVld80>, "VLD80_DIFF"),
    row(vc<F::gpRel, vcVld80>, "VLD80_GPREL"),
    row(vcVld80, "VLD80_SECTOFF"),
    row(vcVst48, "VST48"),
    row(vc<F::difference, vcVst48>, "VST48_DIFF"),
    row(vc<F::gpRel, vcVst48>, "VST48_GPREL"),
    row(vcVst48, "VST48_SECTOFF"),
    row(vcVst80, "VST80"),
    row(vc<F::difference, vcVst80>, "VST80_DIFF"),
    row(vc<F::gpRel, vcVst80>, "VST80_GPREL"),
    row(vcVst80, "VST80_SECTOFF"),
    row(reloc::set32Le, "DISP_32"),
}};

} // namespace

uint32_t vcFieldWidth(const FixupRow &row) {
    // The 27-bit displacements of the 48-bit loads and stores reach byte 5,
    // as do the 48-bit vector forms and the 80-bit vector load; the 80-bit
    // vector store reaches byte 9.
    struct WideRows {
        uint32_t first, last, width;
    };
    // The 16-bit displacements, DIFF_16 and GPREL_S16 reach one half, so
    // that they may end a section.
    static const WideRows wide[] = {{13, 21, 6},  {29, 31, 6}, {41, 43, 6}, {53, 60, 6},
                                    {61, 64, 10}, {4, 9, 2},   {25, 27, 2}, {35, 35, 2},
                                    {37, 39, 2},  {45, 48, 2}};
    if (!row.fixup) return 0;
    for (const WideRows &rows : wide)
        for (uint32_t type = rows.first; type <= rows.last; ++type)
            if (row.fixup == vcRows[type].fixup) return rows.width;
    return 0;
}

ElfFixupTable &elfVCFixupTable() {
    static ElfFixupTable table(vcRows.data(), vcTypeCount);
    return table;
}
