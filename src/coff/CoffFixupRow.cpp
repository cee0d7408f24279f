#include "coff/CoffFixupRow.h"

#include "object/ObjectFile.h"
#include "object/Section.h"

#include <array>
#include <iterator>

namespace {

using namespace reloc;

// A type that has no routine and no name.
constexpr CoffFixupRow none{patchUnsupported, nullptr, 0, 0, 0};

// iX86, little-endian.  Type 16 is a 16-bit direct reference that has a
// routine and no name; 17 is the 32-bit direct reference of older compilers.
// Only the 32-bit references have an ELF counterpart.
const CoffFixupRow i386Rows[] = {
    {patchNothing, "R_ABS", 0, 0, 0},  // 0
    {add16Le, "R_DIR16", 0, 0, 0},     // 1
    {addPc16Le, "R_REL16", 0, 0, 0},   // 2
    none,                              // 3
    none,                              // 4
    none,                              // 5
    {add32Le, "R_DIR32", 0, 0, 0},     // 6
    none,                              // 7
    none,                              // 8
    none,                              // 9
    none,                              // 10
    none,                              // 11
    none,                              // 12
    none,                              // 13
    none,                              // 14
    none,                              // 15
    {add16Le, nullptr, 0, 0, 0},       // 16
    {add32Le, "R_RELLONG", 0, 0, 0},   // 17
    {addPc8, "R_PCRBYTE", 0, 1, 0},    // 18
    {addPc16Le, "R_PCRWORD", 0, 1, 0}, // 19
    {addPc32Le, "R_PCRLONG", 0, 1, 0}, // 20
};
// The ELF types of the rows, 0 for none: R_386_32 and R_386_PC32.
constexpr std::array<uint8_t, std::size(i386Rows)> i386ElfTypes = [] {
    std::array<uint8_t, std::size(i386Rows)> types{};
    types[6] = 1;  // R_DIR32
    types[17] = 1; // R_RELLONG
    types[20] = 2; // R_PCRLONG
    return types;
}();

// AM29K: types 1 to 23 are not used.  The two magics differ in the byte
// order of their routines only.
struct Am29kRoutines {
    FixupRoutine instructionRelative, instructionAbsolute, lowHalf, highHalf, add16, add32;
};

constexpr std::array<CoffFixupRow, 35> am29kRows(const Am29kRoutines &order) {
    std::array<CoffFixupRow, 35> rows{};
    for (CoffFixupRow &row : rows)
        row = none;
    rows[0] = {patchNothing, "R_ABS", 0, 0, 0};
    rows[24] = {order.instructionRelative, "R_IREL", 0, 1, 1};
    rows[25] = {order.instructionAbsolute, "R_IABS", 0, 0, 0};
    rows[26] = {order.lowHalf, "R_ILOHALF", 0, 0, 0};
    rows[27] = {order.highHalf, "R_IHIHALF", +1, 0, 0};
    rows[28] = {patchUnsupported, "R_IHCONST", -1, 0, 0};
    rows[29] = {add8, "R_BYTE", 0, 0, 0};
    rows[30] = {order.add16, "R_HWORD", 0, 0, 0};
    rows[31] = {order.add32, "R_WORD", 0, 0, 0};
    rows[32] = {am29k::byte1, "R_IGLBLRC", 0, 0, 0};
    rows[33] = {am29k::byte2, "R_IGLBLRA", 0, 0, 0};
    rows[34] = {am29k::byte3, "R_IGLBLRB", 0, 0, 0};
    return rows;
}

constexpr std::array<CoffFixupRow, 35> am29kBigRows =
    am29kRows({am29k::instructionRelativeBe, am29k::instructionAbsoluteBe, am29k::lowHalfBe,
               am29k::highHalfBe, add16Be, add32Be});
constexpr std::array<CoffFixupRow, 35> am29kLittleRows =
    am29kRows({am29k::instructionRelativeLe, am29k::instructionAbsoluteLe, am29k::lowHalfLe,
               am29k::highHalfLe, add16Le, add32Le});

// The far-target error comes once for each run of entries of one object
// file: the file it last came for is kept here.
ObjectFile *lastFarTargetFile = nullptr;

void farTarget(RelocationDescriptor &entry) {
    ObjectFile *file = entry.section()->objectFile();
    if (file == lastFarTargetFile) return;
    lastFarTargetFile = file;
    entry.error("target address is more than 128K bytes away;%C"
                "perhaps this module needs to be recompiled in large model?");
}

bool fitsSigned16(int32_t value) {
    return value >= -0x8000 && value <= 0x7FFF;
}

// Where the opcode byte and the two halves of the constant stand in the
// instruction word of each magic.
struct InstructionLayout {
    uint32_t opcode;
    uint32_t high;
    uint32_t low;
};
constexpr InstructionLayout bigEndianWord{0, 1, 3};
constexpr InstructionLayout littleEndianWord{3, 2, 0};

uint16_t constantOf(const uint8_t *place, const InstructionLayout &word) {
    return uint16_t(place[word.high] << 8 | place[word.low]);
}

void setConstant(uint8_t *place, const InstructionLayout &word, uint32_t value) {
    place[word.high] = uint8_t(value >> 8);
    place[word.low] = uint8_t(value);
}

// Words of the instruction's reach: a byte distance shifted right by 2, with
// the sign kept.
int32_t wordsOf(uint32_t bytes) {
    return int32_t(bytes) >> 2;
}

// An absolute instruction: bit 0 of the opcode byte set when the target's
// words fit the field; otherwise the far-target error.  The field gets the
// words cut to 16 bits either way.
bool setAbsolute(RelocationDescriptor &entry, uint8_t *place, const InstructionLayout &word,
                 int32_t words) {
    if (fitsSigned16(words))
        place[word.opcode] |= 1;
    else
        farTarget(entry);
    setConstant(place, word, uint32_t(words));
    return true;
}

// A relative instruction counts in words from the place, its constant
// signed.  A target beyond that reach makes the instruction absolute.
bool instructionRelative(RelocationDescriptor &entry, uint8_t *place, uint32_t value,
                         uint32_t address, const InstructionLayout &word) {
    uint32_t constant = uint32_t(int32_t(int16_t(constantOf(place, word))));
    int32_t relative = wordsOf(value - address + 4 * constant);
    if (fitsSigned16(relative)) {
        setConstant(place, word, uint32_t(relative));
        return true;
    }
    return setAbsolute(entry, place, word, wordsOf(value + 4 * constant));
}

// The constant of an absolute instruction counts unsigned.
bool instructionAbsolute(RelocationDescriptor &entry, uint8_t *place, uint32_t value,
                         const InstructionLayout &word) {
    uint32_t constant = constantOf(place, word);
    return setAbsolute(entry, place, word, wordsOf(value + 4 * constant));
}

bool lowHalf(uint8_t *place, uint32_t value, const InstructionLayout &word) {
    setConstant(place, word, constantOf(place, word) + value);
    return true;
}

bool highHalf(uint8_t *place, uint32_t value, const InstructionLayout &word) {
    setConstant(place, word, value >> 16);
    return true;
}

bool setByte(uint8_t *place, uint32_t at, uint32_t value) {
    place[at] = uint8_t(value);
    return value < 0x100;
}

} // namespace

namespace am29k {

bool instructionRelativeBe(RelocationDescriptor &entry, uint8_t *place, uint32_t value,
                           uint32_t address) {
    return instructionRelative(entry, place, value, address, bigEndianWord);
}
bool instructionRelativeLe(RelocationDescriptor &entry, uint8_t *place, uint32_t value,
                           uint32_t address) {
    return instructionRelative(entry, place, value, address, littleEndianWord);
}
bool instructionAbsoluteBe(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t) {
    return instructionAbsolute(entry, place, value, bigEndianWord);
}
bool instructionAbsoluteLe(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t) {
    return instructionAbsolute(entry, place, value, littleEndianWord);
}
bool lowHalfBe(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    return lowHalf(place, value, bigEndianWord);
}
bool lowHalfLe(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    return lowHalf(place, value, littleEndianWord);
}
bool highHalfBe(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    return highHalf(place, value, bigEndianWord);
}
bool highHalfLe(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    return highHalf(place, value, littleEndianWord);
}
bool byte1(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    return setByte(place, 1, value);
}
bool byte2(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    return setByte(place, 2, value);
}
bool byte3(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    return setByte(place, 3, value);
}

} // namespace am29k

CoffFixupTable coffFixupTable(uint32_t magic) {
    switch (magic) {
    case 0x14C:
        return CoffFixupTable{i386Rows, uint32_t(std::size(i386Rows)), i386ElfTypes.data()};
    case 0x17A:
        return CoffFixupTable{am29kBigRows.data(), uint32_t(am29kBigRows.size()), nullptr};
    case 0x17B:
        return CoffFixupTable{am29kLittleRows.data(), uint32_t(am29kLittleRows.size()), nullptr};
    default:
        return CoffFixupTable{};
    }
}
