// The rows and routines of the SPARC, Intel 386, PJ and machine 0x9999
// fixup tables.
#include "reloc/ElfOtherFixupTables.h"

#include "elf/ElfObjectFile.h"
#include "reloc/ElfPPCFixupTable.h"
#include "reloc/RelocationDescriptor.h"

using namespace reloc;

namespace {

constexpr FixupRow row(FixupRoutine fixup, const char *name, ReferenceKind kind,
                       uint8_t pcRelative = 0) {
    return FixupRow{fixup, name, kind, pcRelative, {0, 0}, nullptr};
}

constexpr ReferenceKind direct = ReferenceKind::direct;
constexpr ReferenceKind got = ReferenceKind::gotReference;
constexpr ReferenceKind plt = ReferenceKind::pltReference;
constexpr ReferenceKind invalid = ReferenceKind::invalid;

bool inRange(uint32_t value, int32_t low, int32_t high) {
    int32_t signedValue = static_cast<int32_t>(value);
    return signedValue >= low && signedValue <= high;
}

// ---- SPARC -----------------------------------------------------------------

// Replaces the bits of `mask` in the big-endian word at `place`.
void insertBits(uint8_t *place, uint32_t mask, uint32_t bits) {
    write32Be(place, (read32Be(place) & ~mask) | (bits & mask));
}

uint32_t wordDistance(uint32_t value, uint32_t address) {
    return static_cast<uint32_t>(static_cast<int32_t>(value - address) >> 2);
}

bool sparcWdisp30(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address) {
    insertBits(place, 0x3FFFFFFF, wordDistance(value, address));
    return true;
}
bool sparcWdisp22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address) {
    uint32_t number = wordDistance(value, address);
    insertBits(place, 0x3FFFFF, number);
    return inRange(number, -0x200000, 0x3FFFFF);
}
bool sparcHi22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    insertBits(place, 0x3FFFFF, value >> 10);
    return true;
}
bool sparcSet22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    insertBits(place, 0x3FFFFF, value);
    return true;
}
// The test is on the unsigned bits: a negative number does not fit.
bool sparcSet13(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    insertBits(place, 0x1FFF, value);
    return (value & 0x1FFF) == value;
}
bool sparcLo10(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    insertBits(place, 0x3FF, value);
    return true;
}
bool sparcPc10(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    return sparcLo10(entry, place, value - address, address);
}
bool sparcPc22(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    return sparcHi22(entry, place, value - address, address);
}

constexpr FixupRow sparcRows[25] = {
    row(patchNothing, "NONE", direct),
    row(set8, "_8", direct),
    row(set16Be, "_16", direct),
    row(set32Be, "_32", direct),
    row(add8, "DISP8", direct),
    row(add16Be, "DISP16", direct),
    row(add32Be, "DISP32", direct),
    row(sparcWdisp30, "WDISP30", direct, 1),
    row(sparcWdisp22, "WDISP22", direct, 1),
    row(sparcHi22, "HI22", direct),
    row(sparcSet22, "_22", direct),
    row(sparcSet13, "_13", direct),
    row(sparcLo10, "LO10", direct),
    row(sparcLo10, "GOT10", got),
    row(sparcSet13, "GOT13", got),
    row(sparcHi22, "GOT22", got),
    row(sparcPc10, "PC10", direct, 1),
    row(sparcPc22, "PC22", direct, 1),
    row(sparcWdisp30, "WPLT30", plt, 1),
    row(patchNothing, "COPY", invalid),
    row(patchNothing, "GLOB_DAT", invalid),
    row(patchNothing, "JMP_SLOT", invalid),
    row(patchNothing, "RELATIVE", invalid),
    row(patchNothing, "UA32", invalid),
    row(patchNothing, "NUM", invalid),
};

// ---- Intel 386 -------------------------------------------------------------

constexpr FixupRow i386Rows[13] = {
    row(patchNothing, "NONE", direct),
    row(add32Le, "32", direct),
    row(addPc32Le, "PC32", direct, 1),
    row(set32Le, "GOT32", got),
    row(addPc32Le, "PLT32", plt, 1),
    row(patchNothing, "COPY", invalid),
    row(patchNothing, "GLOBDAT", invalid),
    row(patchNothing, "JMP_SLOT", invalid),
    row(patchNothing, "RELATIVE", invalid),
    row(add32Le, "GOTOFF", ReferenceKind::gotRelative),
    row(addPc32Le, "GOTPC", ReferenceKind::gotPcRelative, 1),
    row(subtract32Le, "NEG32", direct),
    row(add32Le, "SECTOFF", ReferenceKind::sectionRelative),
};

// ---- PJ --------------------------------------------------------------------

// PJ's relative forms count from the byte after the place; they take the
// place off themselves, so their rows are not marked relative.
bool pjPcRel16(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address) {
    uint32_t sum = read16Be(place) + value - address + 1;
    write16Be(place, uint16_t(sum));
    return inRange(sum, -0x8000, 0xFFFF);
}
bool pjPcRel32(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address) {
    write32Be(place, read32Be(place) + value - address + 1);
    return true;
}

// A constant-pool index: the word distance of the target from the
// small-data base, which must fit eight bits.
uint32_t constantIndex(RelocationDescriptor &entry) {
    ElfObjectFile *output = entry.outputElfFile();
    return (entry.valueWithoutAddend() - (output ? output->sdaBase() : 0)) >> 2;
}
bool pjCon1(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    uint32_t number = constantIndex(entry);
    *place = uint8_t(number);
    return (number & 0x3FFFFF00) == 0;
}
bool pjCon2(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    uint32_t number = constantIndex(entry);
    write16Be(place, uint16_t(read16Be(place) + (number & 0xFF)));
    return (number & 0x3FFFFF00) == 0;
}
bool pjLow(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    int32_t low = static_cast<int16_t>(value & 0xFFFF);
    write16Be(place, uint16_t(read16Be(place) + static_cast<uint32_t>(low)));
    return true;
}
bool pjHigh(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    write16Be(place, uint16_t(((uint32_t(read16Be(place)) << 16) + value) >> 16));
    return true;
}

// PJ's names, which machine 0x9999 shares.
constexpr const char *pjNames[15] = {"NONE",    "PCREL16", "PCREL32", "ADDR8",   "ADDR16",
                                     "ADDR24",  "ADDR32",  "NADDR8",  "NADDR16", "NADDR24",
                                     "NADDR32", "CON1",    "CON2",    "LO",      "HI"};

constexpr FixupRow pjBigRows[15] = {
    row(patchNothing, pjNames[0], direct),
    row(pjPcRel16, pjNames[1], direct),
    row(pjPcRel32, pjNames[2], direct),
    row(add8, pjNames[3], direct),
    row(add16Be, pjNames[4], direct),
    row(ppcAddr24Be, pjNames[5], direct),
    row(add32Be, pjNames[6], direct),
    row(negate8, pjNames[7], direct),
    row(negate16Be, pjNames[8], direct),
    row(negate24Be, pjNames[9], direct),
    row(subtractValue32Be, pjNames[10], direct),
    row(pjCon1, pjNames[11], direct),
    row(pjCon2, pjNames[12], direct),
    row(pjLow, pjNames[13], direct),
    row(pjHigh, pjNames[14], direct),
};

// Little-endian PJ files and every type of machine 0x9999 but the plain and
// negated words are unsupported: each such entry is reported.
template <FixupRoutine add32, FixupRoutine subtract32> struct UnsupportedMostly {
    static constexpr FixupRow rows[15] = {
        row(patchNothing, pjNames[0], direct),
        row(patchUnsupported, pjNames[1], direct),
        row(patchUnsupported, pjNames[2], direct),
        row(patchUnsupported, pjNames[3], direct),
        row(patchUnsupported, pjNames[4], direct),
        row(patchUnsupported, pjNames[5], direct),
        row(add32, pjNames[6], direct),
        row(patchUnsupported, pjNames[7], direct),
        row(patchUnsupported, pjNames[8], direct),
        row(patchUnsupported, pjNames[9], direct),
        row(subtract32, pjNames[10], direct),
        row(patchUnsupported, pjNames[11], direct),
        row(patchUnsupported, pjNames[12], direct),
        row(patchUnsupported, pjNames[13], direct),
        row(patchUnsupported, pjNames[14], direct),
    };
};

using PjLittleRows = UnsupportedMostly<patchUnsupported, patchUnsupported>;
using NmBigRows = UnsupportedMostly<add32Be, subtractValue32Be>;
using NmLittleRows = UnsupportedMostly<add32Le, subtractValue32Le>;

} // namespace

ElfPJCFixupTable::ElfPJCFixupTable(bool bigEndian)
    : ElfFixupTable(bigEndian ? pjBigRows : PjLittleRows::rows, 15) {}

ElfNMFixupTable::ElfNMFixupTable(bool bigEndian)
    : ElfFixupTable(bigEndian ? NmBigRows::rows : NmLittleRows::rows, 15) {}

ElfFixupTable &elfSPARCFixupTable() {
    static ElfFixupTable table(sparcRows, 25);
    return table;
}

ElfFixupTable &elfI386FixupTable() {
    static ElfFixupTable table(i386Rows, 13);
    return table;
}

ElfFixupTable &elfPJCFixupTable(bool bigEndian) {
    static ElfPJCFixupTable big(true);
    static ElfPJCFixupTable little(false);
    return bigEndian ? big : little;
}

ElfFixupTable &elfNMFixupTable(bool bigEndian) {
    static ElfNMFixupTable big(true);
    static ElfNMFixupTable little(false);
    return bigEndian ? big : little;
}
