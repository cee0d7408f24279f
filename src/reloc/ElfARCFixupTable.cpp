// The ARC fixup rows of both byte orders and the ARC patch routines.
#include "reloc/ElfARCFixupTable.h"

#include "elf/ElfObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"

#include <array>
#include <cstring>

namespace {

// ---------------------------------------------------------------------------
// Field accessors.  An ARC routine reaches its bytes only through one of
// these, so each routine is written once and bound to the accessor of its
// row.  The "middle" forms see a 32-bit field as two halves, high half first,
// each half in the file's byte order; their 16-bit forms are plain.

struct ArcFieldAccess {
    uint32_t (*get32)(const uint8_t *place);
    void (*set32)(uint8_t *place, uint32_t value);
    uint16_t (*get16)(const uint8_t *place);
    void (*set16)(uint8_t *place, uint16_t value);
};

uint32_t getMiddleLe(const uint8_t *place) {
    return uint32_t(reloc::read16Le(place)) << 16 | reloc::read16Le(place + 2);
}
void setMiddleLe(uint8_t *place, uint32_t value) {
    reloc::write16Le(place, uint16_t(value >> 16));
    reloc::write16Le(place + 2, uint16_t(value));
}
uint32_t getMiddleBe(const uint8_t *place) {
    return uint32_t(reloc::read16Be(place)) << 16 | reloc::read16Be(place + 2);
}
void setMiddleBe(uint8_t *place, uint32_t value) {
    reloc::write16Be(place, uint16_t(value >> 16));
    reloc::write16Be(place + 2, uint16_t(value));
}

constexpr ArcFieldAccess wordLe{reloc::read32Le, reloc::write32Le, reloc::read16Le,
                                reloc::write16Le};
constexpr ArcFieldAccess wordBe{reloc::read32Be, reloc::write32Be, reloc::read16Be,
                                reloc::write16Be};
constexpr ArcFieldAccess middleLe{getMiddleLe, setMiddleLe, reloc::read16Le, reloc::write16Le};
constexpr ArcFieldAccess middleBe{getMiddleBe, setMiddleBe, reloc::read16Be, reloc::write16Be};

using Access = const ArcFieldAccess &;

// The two halves of an instruction word that is always handled half by half,
// whatever the accessor's 32-bit form.
uint32_t getHalves(Access access, const uint8_t *place) {
    return uint32_t(access.get16(place)) << 16 | access.get16(place + 2);
}
void setHalves(Access access, uint8_t *place, uint32_t word) {
    access.set16(place, uint16_t(word >> 16));
    access.set16(place + 2, uint16_t(word));
}

// ---------------------------------------------------------------------------
// Arithmetic.  Offsets are signed 32-bit numbers; sums are formed unsigned so
// that they wrap, and taken as signed for shifts and range tests.

int32_t asSigned(uint32_t value) {
    return static_cast<int32_t>(value);
}

// The low `bits` bits of `value` as a signed number.
uint32_t signExtend(uint32_t value, int bits) {
    return uint32_t(asSigned(value << (32 - bits)) >> (32 - bits));
}

// `value` shifted right by `bits` is 0 or -1: it fits bits+1 signed bits.
bool fitsAbove(uint32_t value, int bits) {
    int32_t high = asSigned(value) >> bits;
    return high == 0 || high == -1;
}

bool inRange(uint32_t value, int32_t low, int32_t high) {
    return asSigned(value) >= low && asSigned(value) <= high;
}

// The small-data base B of the output file; 0 before a link has one.
uint32_t smallDataBase(RelocationDescriptor &entry) {
    ElfObjectFile *output = entry.outputElfFile();
    return output ? output->sdaBase() : 0;
}

// The name that a message gives the target: the symbol's, else the
// section's, else "???".
const char *targetName(RelocationDescriptor &entry) {
    if (Symbol *symbol = entry.targetSymbol())
        if (const char *name = symbol->name()) return name;
    if (Section *section = entry.targetSection())
        if (const char *name = section->name()) return name;
    return "???";
}

// ---------------------------------------------------------------------------
// The small-data report of an offset beyond the reach of its instruction.
// If the target lies outside the small-data sections the reference itself
// is wrong, and each such entry is reported.  Otherwise the small-data
// sections are too big for the base to reach them all: that is said once in
// a run, however many entries overflow.

bool smallDataSizeReported = false;

bool isSmallDataSection(const char *name) {
    if (!name) return false;
    return strncmp(name, ".sdata", 6) == 0 || strncmp(name, ".sbss", 5) == 0 ||
           strcmp(name, ".got") == 0;
}

void reportSmallData(RelocationDescriptor &entry, uint32_t base) {
    int32_t offset;
    Section *section = entry.mappedSection(offset);
    if (section && !isSmallDataSection(section->name())) {
        entry.error("Small-data reference to symbol \"%s\" is not in small-data area.",
                    targetName(entry));
        return;
    }
    if (smallDataSizeReported) return;
    entry.error("Size of .sdata+.sbss segments exceeds 512 byte limit. (_SDA_BASE_=0x%lx)", base);
    smallDataSizeReported = true;
}

// A small-data offset E of a load or store whose offset field counts units
// of 1 << scale bytes: checks alignment and reach (9 signed bits after the
// scaling), reports what is wrong, and gives the number to store.
uint32_t scaledSmallDataOffset(RelocationDescriptor &entry, uint32_t offset, int scale,
                               uint32_t base) {
    if (scale == 1 && (offset & 1) != 0)
        entry.error("Half-word aligned small-data reference to symbol \"%s\" is not half-word "
                    "aligned",
                    targetName(entry));
    if (scale == 2 && (offset & 3) != 0)
        entry.error("Word aligned small-data reference to symbol \"%s\" is not word aligned",
                    targetName(entry));
    if (!inRange(offset, -0x100 * (1 << scale), 0xFF << scale)) reportSmallData(entry, base);
    return uint32_t(asSigned(offset) >> scale);
}

// The 9-bit offset of a 32-bit load or store: its low eight bits at bits 16
// to 23 of the word, its bit 8 at bit 15.
void writeSplitOffset(Access access, uint8_t *place, uint32_t number) {
    uint32_t word = getHalves(access, place) & 0xFF007FFF;
    word |= (number & 0xFF) << 16 | ((number >> 8) & 1) << 15;
    setHalves(access, place, word);
}

// ---------------------------------------------------------------------------
// Workers.  Each has the arguments of a fixup routine behind the accessor;
// `bound` below makes a routine of a worker and an accessor.

bool addWord(Access access, RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    access.set32(place, access.get32(place) + value);
    return true;
}

// The difference of two symbols written as two entries at one place: this
// one adds D, the negated address of its target.
bool addNegatedWord(Access access, RelocationDescriptor &entry, uint8_t *place, uint32_t,
                    uint32_t) {
    access.set32(place, access.get32(place) + reloc::negatedDistance(entry));
    return true;
}

bool setWord(Access access, RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    access.set32(place, value);
    return true;
}

bool setSmallDataWord(Access access, RelocationDescriptor &entry, uint8_t *place, uint32_t value,
                      uint32_t) {
    access.set32(place, value - smallDataBase(entry));
    return true;
}

bool setAlignedWord(Access access, RelocationDescriptor &, uint8_t *place, uint32_t value,
                    uint32_t) {
    access.set32(place, value & ~3u);
    return true;
}

// A word address: the byte address divided by 4.
bool setWordAddress(Access access, RelocationDescriptor &entry, uint8_t *place, uint32_t value,
                    uint32_t) {
    if (!entry.hasExplicitAddend()) value += access.get32(place);
    access.set32(place, uint32_t(asSigned(value) >> 2));
    return true;
}

// Absolute branch: a word address in the low 24 bits; the addend in place is
// a byte count.
bool branch26(Access access, RelocationDescriptor &entry, uint8_t *place, uint32_t value,
              uint32_t) {
    uint32_t field = access.get32(place);
    if (!entry.hasExplicitAddend()) value += signExtend(field & 0xFFFFFF, 24);
    access.set32(place, (field & 0xFF000000) | ((value >> 2) & 0xFFFFFF));
    return inRange(value, -0x4000000, 0x3FFFFFF);
}

// Relative branch: a word displacement from the next instruction in bits 7
// to 26.
bool branch22(Access access, RelocationDescriptor &entry, uint8_t *place, uint32_t value,
              uint32_t address) {
    uint32_t field = access.get32(place);
    uint32_t distance = value - address - 4;
    if (!entry.hasExplicitAddend()) distance += uint32_t(asSigned(field << 5) >> 12);
    access.set32(place, (distance & 0x3FFFFC) << 5 | (field & 0xF800007F));
    return fitsAbove(distance, 23);
}

// The distance of a compact branch is counted from the word of the place.
// A misaligned target is reported and nothing is written; the answer is true
// so that no second report follows.
bool compactBranchAligned(RelocationDescriptor &entry, uint32_t distance, bool word) {
    if (word && (distance & 3) != 0) {
        entry.error("Word aligned branch to symbol \"%s\" is not word aligned", targetName(entry));
        return false;
    }
    if (!word && (distance & 1) != 0) {
        entry.error("Half-word aligned branch to symbol \"%s\" is not half-word aligned",
                    targetName(entry));
        return false;
    }
    return true;
}

// Compact branches of 21 and 25 bits (S21H, S21W, S25H, S25W): the distance
// in pieces at bits 17 (H) or 18 (W) to 26, 6 to 15 and, in the 25-bit forms,
// 0 to 3.  The W forms keep bit 17, which is then part of the opcode.
bool compactBranch(Access access, bool word, bool wide, RelocationDescriptor &entry, uint8_t *place,
                   uint32_t value, uint32_t address) {
    uint32_t distance = value - (address & ~3u);
    if (!compactBranchAligned(entry, distance, word)) return true;
    uint32_t kept = (wide ? 0xF8010030u : 0xF801003Fu) | (word ? 0x00020000u : 0u);
    uint32_t instruction = getHalves(access, place) & kept;
    instruction |= (distance & (word ? 0x7FCu : 0x7FEu)) << 16;
    instruction |= uint32_t(asSigned(distance) >> 5) & 0xFFC0;
    if (wide) instruction |= uint32_t(asSigned(distance) >> 21) & 0xF;
    setHalves(access, place, instruction);
    return fitsAbove(distance, wide ? 24 : 20);
}

// The 16-bit branch and link: a word displacement in the low 11 bits.
bool compactBranch13(Access access, RelocationDescriptor &entry, uint8_t *place, uint32_t value,
                     uint32_t address) {
    uint32_t distance = value - (address & ~3u);
    if (!compactBranchAligned(entry, distance, true)) return true;
    uint16_t field = access.get16(place);
    access.set16(place, uint16_t(((asSigned(distance) >> 2) & 0x7FF) | (field & 0xF800)));
    return fitsAbove(distance, 12);
}

// A signed 9-bit small-data offset in the low bits of a word.
bool smallData9(Access access, RelocationDescriptor &entry, uint8_t *place, uint32_t value,
                uint32_t) {
    uint32_t base = smallDataBase(entry);
    uint32_t field = access.get32(place);
    uint32_t offset = value - base;
    if (!entry.hasExplicitAddend()) offset += signExtend(field & 0x1FF, 9);
    access.set32(place, (offset & 0x1FF) | (field & 0xFFFFFE00));
    if (!inRange(offset, -0x100, 0xFF)) reportSmallData(entry, base);
    return true;
}

// The small-data offset of a 32-bit load or store (SDA_LDST, _LDST1, _LDST2).
bool smallDataSplit(Access access, int scale, RelocationDescriptor &entry, uint8_t *place,
                    uint32_t value, uint32_t) {
    uint32_t base = smallDataBase(entry);
    writeSplitOffset(access, place, scaledSmallDataOffset(entry, value - base, scale, base));
    return true;
}

// The small-data offset of a 16-bit load (SDA16_LD, _LD1, _LD2): nine bits
// at the bottom of the half.
bool smallDataHalf(Access access, int scale, RelocationDescriptor &entry, uint8_t *place,
                   uint32_t value, uint32_t) {
    uint32_t base = smallDataBase(entry);
    uint32_t number = scaledSmallDataOffset(entry, value - base, scale, base);
    access.set16(place, uint16_t((number & 0x1FF) | (access.get16(place) & 0xFE00)));
    return true;
}

// Section offsets in the low bits of a word: 8 bits unsigned, or 9 bits
// stored less 0x100.
bool sectionOffsetLow(Access access, bool nineBits, RelocationDescriptor &entry, uint8_t *place,
                      uint32_t value, uint32_t) {
    uint32_t field = access.get32(place);
    if (nineBits) {
        if (!inRange(value, 0, 0x1FF))
            entry.error("9-bit section relative reference to symbol \"%s\" is out of range.",
                        targetName(entry));
        access.set32(place, ((value - 0x100) & 0x1FF) | (field & 0xFFFFFE00));
    } else {
        if (!inRange(value, 0, 0xFF))
            entry.error("8-bit section relative reference to symbol \"%s\" is out of range.",
                        targetName(entry));
        access.set32(place, (value & 0xFF) | (field & 0xFFFFFE00));
    }
    return true;
}

// Section offsets in the split field of a 32-bit load or store, scaled by
// the access width.  The unsigned forms count from the start of the section
// and leave bit 15 clear; the signed ones count from 0x100 into it.
bool sectionOffsetSplit(Access access, bool isSigned, int scale, RelocationDescriptor &entry,
                        uint8_t *place, uint32_t value, uint32_t) {
    static const char *const alignmentTexts[2] = {
        "Scaled 8-bit section relative reference to symbol \"%s\" is not half-word aligned",
        "Scaled 9-bit section relative reference to symbol \"%s\" is not half-word aligned"};
    static const char *const rangeTexts[2][3] = {
        {"8-bit section relative reference to symbol \"%s\" is out of range 0-255.",
         "Scaled 8-bit section relative reference to \"%s\" is out of range 0-510.",
         "Scaled 8-bit section relative reference to \"%s\" is out of range 0-1020."},
        {"9-bit section relative reference to symbol \"%s\" is out of range -256-255.",
         "Scaled 9-bit section relative reference to \"%s\" is out of range -256-510.",
         "Scaled 9-bit section relative reference to \"%s\" is out of range -256-1020."}};

    uint32_t number = isSigned ? value - 0x100 : value;
    if ((number & ((1u << scale) - 1)) != 0)
        entry.error(alignmentTexts[isSigned], targetName(entry));
    if (!inRange(number, isSigned ? -0x100 : 0, 0xFF << scale))
        entry.error(rangeTexts[isSigned][scale], targetName(entry));
    uint32_t stored = uint32_t(asSigned(number) >> scale);
    if (!isSigned) stored &= 0xFF;
    writeSplitOffset(access, place, stored);
    return true;
}

// ---------------------------------------------------------------------------
// Binding a worker to its accessor (and its shape) gives a fixup routine.

template <auto worker, const ArcFieldAccess &access, auto... shape>
bool bound(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    return worker(access, shape..., entry, place, value, address);
}

// What differs between the two tables.
struct LittleEndian {
    static constexpr const ArcFieldAccess &word = wordLe;
    static constexpr const ArcFieldAccess &middle = middleLe;
    static constexpr FixupRoutine add16 = reloc::add16Le;
    static constexpr FixupRoutine set24 = reloc::set24Le;
    static constexpr FixupRoutine negate16 = reloc::negate16Le;
    static constexpr FixupRoutine negate24 = reloc::negate24Le;
};
struct BigEndian {
    static constexpr const ArcFieldAccess &word = wordBe;
    static constexpr const ArcFieldAccess &middle = middleBe;
    static constexpr FixupRoutine add16 = reloc::add16Be;
    static constexpr FixupRoutine set24 = reloc::set24Be;
    static constexpr FixupRoutine negate16 = reloc::negate16Be;
    static constexpr FixupRoutine negate24 = reloc::negate24Be;
};

constexpr ReferenceKind direct = ReferenceKind::direct;
constexpr ReferenceKind sda = ReferenceKind::smallData;
constexpr ReferenceKind sec = ReferenceKind::sectionRelative;

constexpr FixupRow row(FixupRoutine fixup, const char *name, ReferenceKind kind = direct,
                       uint8_t pcRelative = 0) {
    return FixupRow{fixup, name, kind, pcRelative, {0, 0}, nullptr};
}

constexpr uint32_t arcTypeCount = 41;

// The rows of one byte order.  Three names stand twice: the later types
// (32, 35, 38) are newer encodings of the same references.
template <typename Order> constexpr std::array<FixupRow, arcTypeCount> arcRows() {
    constexpr const ArcFieldAccess &w = Order::word;
    constexpr const ArcFieldAccess &m = Order::middle;
    return {{
        row(reloc::patchNothing, "NONE"),
        row(reloc::add8, "ADDR8"),
        row(Order::add16, "ADDR16"),
        row(Order::set24, "ADDR24"),
        row(bound<addWord, w>, "ARC_32"),
        row(bound<branch26, w>, "B26"),
        row(bound<branch22, w>, "REL_B22", direct, 1),
        row(bound<setWordAddress, w>, "H30"),
        row(reloc::negate8, "NADDR8"),
        row(Order::negate16, "NADDR16"),
        row(Order::negate24, "NADDR24"),
        row(bound<addNegatedWord, w>, "ARC_N32"),
        row(bound<smallData9, w>, "SDAREL9", sda),
        row(bound<setWord, w>, "SECTOFF", sec),
        row(bound<compactBranch, w, false, false>, "REL_S21H", direct, 1),
        row(bound<compactBranch, w, true, false>, "REL_S21W", direct, 1),
        row(bound<compactBranch, w, false, true>, "REL_S25H", direct, 1),
        row(bound<compactBranch, w, true, true>, "REL_S25W", direct, 1),
        row(bound<setSmallDataWord, w>, "SDA32", sda),
        row(bound<smallDataSplit, w, 0>, "SDA_LDST", sda),
        row(bound<smallDataSplit, w, 1>, "SDA_LDST1", sda),
        row(bound<smallDataSplit, w, 2>, "SDA_LDST2", sda),
        row(bound<smallDataHalf, w, 0>, "SDA16_LD", sda),
        row(bound<smallDataHalf, w, 1>, "SDA16_LD1", sda),
        row(bound<smallDataHalf, w, 2>, "SDA16_LD2", sda),
        row(bound<compactBranch13, w>, "REL_S13W", direct, 1),
        row(bound<setAlignedWord, w>, "ARCW"),
        row(bound<addWord, m>, "ADDR32_ME"),
        row(bound<addNegatedWord, m>, "NADDR32_ME"),
        row(bound<setWord, m>, "SECTOFF_ME", sec),
        row(bound<setSmallDataWord, m>, "SDA32_ME", sda),
        row(bound<setAlignedWord, m>, "ARCW_ME"),
        row(bound<setWordAddress, m>, "H30"),
        row(bound<sectionOffsetLow, w, false>, "SECTOFF_U8", sec),
        row(bound<sectionOffsetLow, w, true>, "SECTOFF_S9", sec),
        row(bound<sectionOffsetSplit, w, false, 0>, "SECTOFF_U8", sec),
        row(bound<sectionOffsetSplit, w, false, 1>, "SECTOFF_U8_1", sec),
        row(bound<sectionOffsetSplit, w, false, 2>, "SECTOFF_U8_2", sec),
        row(bound<sectionOffsetSplit, w, true, 0>, "SECTOFF_S9", sec),
        row(bound<sectionOffsetSplit, w, true, 1>, "SECTOFF_S9_1", sec),
        row(bound<sectionOffsetSplit, w, true, 2>, "SECTOFF_S9_2", sec),
    }};
}

constexpr std::array<FixupRow, arcTypeCount> littleEndianRows = arcRows<LittleEndian>();
constexpr std::array<FixupRow, arcTypeCount> bigEndianRows = arcRows<BigEndian>();

} // namespace

ElfFixupTable &elfARCFixupTable(bool bigEndian) {
    static ElfFixupTable littleEndianTable(littleEndianRows.data(), arcTypeCount);
    static ElfFixupTable bigEndianTable(bigEndianRows.data(), arcTypeCount);
    return bigEndian ? bigEndianTable : littleEndianTable;
}
