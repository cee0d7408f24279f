// The generic patch routines: the bytes that each writes in both orders and
// its answer at the limits of its range; the field accessors.
#include "reloc/reloc.h"

#include "RelocTestKit.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

struct Case {
    const char *name;
    FixupRoutine big;
    FixupRoutine little; // null for a routine of one byte
    uint32_t width;
    uint32_t field;   // F as it stands
    uint32_t value;   // V
    uint32_t address; // P
    uint32_t written;
    bool fits;
};

const Case cases[] = {
    {"add8 low", reloc::add8, nullptr, 1, 0x10, uint32_t(-0x80), 0, 0x90, true},
    {"add8 below", reloc::add8, nullptr, 1, 0x10, uint32_t(-0x81), 0, 0x8F, false},
    {"add8 high", reloc::add8, nullptr, 1, 0x01, 0xFF, 0, 0x00, true},
    {"add8 above", reloc::add8, nullptr, 1, 0x00, 0x100, 0, 0x00, false},
    {"set8", reloc::set8, nullptr, 1, 0x55, 0xFF, 0, 0xFF, true},
    {"set8 above", reloc::set8, nullptr, 1, 0x55, 0x100, 0, 0x00, false},
    {"addPc8", reloc::addPc8, nullptr, 1, 0x02, 0x1000, 0x1010, 0xF2, true},
    {"addPc8 below", reloc::addPc8, nullptr, 1, 0x00, 0x1000, 0x1081, 0x7F, false},
    {"add16 high", reloc::add16Be, reloc::add16Le, 2, 0xFFF0, 0x0F, 0, 0xFFFF, true},
    {"add16 above", reloc::add16Be, reloc::add16Le, 2, 0xFFF0, 0x10, 0, 0x0000, false},
    {"add16 low", reloc::add16Be, reloc::add16Le, 2, 0x0000, uint32_t(-0x8000), 0, 0x8000, true},
    {"add16 below", reloc::add16Be, reloc::add16Le, 2, 0x0000, uint32_t(-0x8001), 0, 0x7FFF, false},
    {"set16", reloc::set16Be, reloc::set16Le, 2, 0x1234, uint32_t(-0x8000), 0, 0x8000, true},
    {"set16 above", reloc::set16Be, reloc::set16Le, 2, 0x1234, 0x10000, 0, 0x0000, false},
    {"addPc16", reloc::addPc16Be, reloc::addPc16Le, 2, 0x0004, 0x2000, 0x1000, 0x1004, true},
    {"addPc16 below", reloc::addPc16Be, reloc::addPc16Le, 2, 0x0000, 0x0, 0x8001, 0x7FFF, false},
    {"set24", reloc::set24Be, reloc::set24Le, 3, 0xABCDEF, 0x12345678, 0, 0x345678, true},
    {"add32 wraps", reloc::add32Be, reloc::add32Le, 4, 0xFFFFFFF0, 0x20, 0, 0x10, true},
    {"set32", reloc::set32Be, reloc::set32Le, 4, 0x11111111, 0x89ABCDEF, 0, 0x89ABCDEF, true},
    {"subtract32", reloc::subtract32Be, reloc::subtract32Le, 4, 0x100, 0x101, 0, 0xFFFFFFFF, true},
    {"addPc32", reloc::addPc32Be, reloc::addPc32Le, 4, 0x4, 0x1000, 0x2000, 0xFFFFF004, true},
    {"setPc32", reloc::setPc32Be, reloc::setPc32Le, 4, 0x4, 0x3000, 0x1000, 0x2000, true},
};

class PatchRoutine : public ::testing::TestWithParam<Case> {};

TEST_P(PatchRoutine, WritesItsFieldAndAnswersByRange) {
    const Case &c = GetParam();
    for (bool bigEndian : {true, false}) {
        FixupRoutine routine = bigEndian || !c.little ? c.big : c.little;
        FakeDescriptor entry;
        std::vector<uint8_t> bytes = orderedBytes(c.field, c.width, bigEndian);
        EXPECT_EQ(routine(entry, bytes.data(), c.value, c.address), c.fits)
            << c.name << (bigEndian ? " big" : " little");
        EXPECT_EQ(bytes, orderedBytes(c.written, c.width, bigEndian))
            << c.name << (bigEndian ? " big" : " little");
    }
}

INSTANTIATE_TEST_SUITE_P(Generic, PatchRoutine, ::testing::ValuesIn(cases));

// The routines that take D, the addend less the value without it, from the
// entry: the second of two entries that write the difference of two symbols.
TEST(NegatedRoutines, WriteTheNegatedDistance) {
    FakeDescriptor entry;
    entry.addendOf = 4;
    entry.valueWithoutAddendOf = 0x12348010; // D = 0xEDCB7FF4
    struct Negated {
        FixupRoutine big, little;
        uint32_t width, field, written;
        bool fits;
    } rows[] = {
        {reloc::negate8, nullptr, 1, 0x10, 0x04, true},
        {reloc::negate24Be, reloc::negate24Le, 3, 0x10, 0xCB8004, true},
        {reloc::setNegatedLow16Be, reloc::setNegatedLow16Le, 2, 0xAAAA, 0x7FF4, true},
        {reloc::setNegatedHigh16Be, reloc::setNegatedHigh16Le, 2, 0xAAAA, 0xEDCB, true},
        {reloc::setNegatedAdjusted16Be, reloc::setNegatedAdjusted16Le, 2, 0, 0xEDCB, true},
    };
    for (const Negated &row : rows)
        for (bool bigEndian : {true, false}) {
            std::vector<uint8_t> bytes = orderedBytes(row.field, row.width, bigEndian);
            FixupRoutine routine = bigEndian || !row.little ? row.big : row.little;
            EXPECT_EQ(routine(entry, bytes.data(), 0, 0), row.fits);
            EXPECT_EQ(bytes, orderedBytes(row.written, row.width, bigEndian)) << row.written;
        }

    // Bit 15 set: the adjusted high half takes one more.
    entry.valueWithoutAddendOf = uint32_t(-0x18000 + 4); // D = 0x00018000
    for (bool bigEndian : {true, false}) {
        std::vector<uint8_t> bytes = orderedBytes(0, 2, bigEndian);
        (bigEndian ? reloc::setNegatedAdjusted16Be
                   : reloc::setNegatedAdjusted16Le)(entry, bytes.data(), 0, 0);
        EXPECT_EQ(bytes, orderedBytes(0x0002, 2, bigEndian));
    }
}

TEST(NegatedRoutines, Negate16AnswersBySignedSum) {
    FakeDescriptor entry;
    struct {
        uint32_t field;
        int32_t distance;
        uint32_t written;
        bool fits;
    } rows[] = {
        {0x7000, 0x0FFF, 0x7FFF, true},
        {0x7000, 0x1000, 0x8000, false},
        {0x0000, -0x8000, 0x8000, true},
        {0x0000, -0x8001, 0x7FFF, false},
    };
    for (const auto &row : rows)
        for (bool bigEndian : {true, false}) {
            entry.addendOf = row.distance; // valueWithoutAddend stays 0
            std::vector<uint8_t> bytes = orderedBytes(row.field, 2, bigEndian);
            EXPECT_EQ(
                (bigEndian ? reloc::negate16Be : reloc::negate16Le)(entry, bytes.data(), 0, 0),
                row.fits)
                << row.distance;
            EXPECT_EQ(bytes, orderedBytes(row.written, 2, bigEndian));
        }
}

TEST(ValueRoutines, SubtractValue32TakesTheEntrysValueNotV) {
    FakeDescriptor entry;
    entry.valueOf_ = 0x30;
    for (bool bigEndian : {true, false}) {
        std::vector<uint8_t> bytes = orderedBytes(0x100, 4, bigEndian);
        EXPECT_TRUE((bigEndian ? reloc::subtractValue32Be
                               : reloc::subtractValue32Le)(entry, bytes.data(), 0x9999, 0));
        EXPECT_EQ(bytes, orderedBytes(0xD0, 4, bigEndian));
    }
}

TEST(ValueRoutines, NothingAndUnsupportedLeaveTheBytes) {
    FakeDescriptor entry;
    uint8_t bytes[4] = {1, 2, 3, 4};
    EXPECT_TRUE(reloc::patchNothing(entry, bytes, 0xFFFFFFFF, 0));
    EXPECT_FALSE(reloc::patchUnsupported(entry, bytes, 0, 0));
    EXPECT_EQ(memcmp(bytes, "\1\2\3\4", 4), 0);
    EXPECT_EQ(unknownFixupRow.fixup, &reloc::patchUnsupported);
    EXPECT_STREQ(unknownFixupRow.name, "???");
    EXPECT_EQ(unknownFixupRow.kind, ReferenceKind::invalid);
}

TEST(FieldAccess, ReadsAndWritesEachOrder) {
    uint8_t bytes[4] = {0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(reloc::read16Be(bytes), 0x1234);
    EXPECT_EQ(reloc::read16Le(bytes), 0x3412);
    EXPECT_EQ(reloc::read24Be(bytes), 0x123456u);
    EXPECT_EQ(reloc::read24Le(bytes), 0x563412u);
    EXPECT_EQ(reloc::read32Be(bytes), 0x12345678u);
    EXPECT_EQ(reloc::read32Le(bytes), 0x78563412u);

    uint8_t out[5] = {};
    reloc::write32Le(out, 0x78563412);
    EXPECT_EQ(memcmp(out, bytes, 4), 0);
    reloc::write24Be(out, 0xAABBCC);
    reloc::write16Le(out + 3, 0x0102);
    EXPECT_EQ(memcmp(out, "\xAA\xBB\xCC\x02\x01", 5), 0);
    reloc::write24Le(out, 0xAABBCC);
    reloc::write16Be(out + 2, 0x0102);
    EXPECT_EQ(memcmp(out, "\xCC\xBB\x01\x02", 4), 0);
    reloc::write32Be(out, 0x12345678);
    EXPECT_EQ(memcmp(out, bytes, 4), 0);
}

} // namespace
