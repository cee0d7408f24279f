// The VideoCore fixup table: its rows, each field writer at the limits of
// its range, the ways of computing the number (pc-relative, gp-relative,
// differences), the rewrite of a null load, the branches, and the texts of
// the reports.
#include "reloc/ElfVCFixupTable.h"

#include "RelocTestKit.h"

#include "kit/FakeObjectFile.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr uint32_t gp = 0x8000; // the global pointer of the output

using Bytes = std::vector<uint8_t>;
using Texts = std::vector<std::string>;

// One patch at offset 0 of a section, so no null load is rewritten.  The
// bytes not given are zero; all ten are compared.
struct Patch {
    const char *what;
    uint32_t type;
    Bytes before;
    uint32_t value;   // V
    uint32_t address; // P
    Bytes after;
    bool fits;
    Texts texts = {};
};

Bytes tenBytes(Bytes bytes) {
    bytes.resize(10, 0);
    return bytes;
}

const Patch patches[] = {
    // "8": byte 0 takes N.
    {"8 high", 3, {0x55}, 0xFF, 0, {0xFF}, true},
    {"8 above", 3, {0x55}, 0x100, 0, {0x00}, false},
    {"8 low", 3, {0x55}, uint32_t(-0x80), 0, {0x80}, true},
    {"32", 1, {}, 0x12345678, 0, {0x78, 0x56, 0x34, 0x12}, true},

    // vcByteS16, vcHalfS16, vcWordS16.
    {"B_S16 high", 46, {}, 0x7FFF, 0, {0xFF, 0x7F}, true},
    {"B_S16 above", 46, {}, 0x8000, 0, {0x00, 0x80}, false},
    {"B_S16 low", 46, {}, uint32_t(-0x8000), 0, {0x00, 0x80}, true},
    {"H_S16 keeps bit 0", 47, {0x01}, 0x1234, 0, {0x35, 0x12}, true},
    {"H_S16 odd",
     47,
     {0x01},
     0x1235,
     0,
     {0x35, 0x12},
     true,
     {"E: Odd displacement on ldh/ldsh/sth instruction."}},
    {"H_S16 above", 47, {}, 0x8000, 0, {0x00, 0x80}, false},
    {"W_S16 keeps bits 0 and 1", 48, {0x03}, 0x1234, 0, {0x37, 0x12}, true},
    {"W_S16 misaligned",
     48,
     {0x03},
     0x1237,
     0,
     {0x37, 0x12},
     true,
     {"E: Displacement on ld/st not word-aligned."}},
    {"W_S16 below", 48, {}, uint32_t(-0x8004), 0, {0xFC, 0x7F}, false},

    // vcS27.
    {"S27 high", 12, {0, 0, 0, 0xFF}, 0x3FFFFFF, 0, {0xFF, 0xFF, 0xFF, 0xFB}, true},
    {"S27 above", 12, {0, 0, 0, 0xFF}, 0x4000000, 0, {0x00, 0x00, 0x00, 0xFC}, false},
    {"S27 low", 12, {0, 0, 0, 0xFF}, uint32_t(-0x4000000), 0, {0x00, 0x00, 0x00, 0xFC}, true},

    // vcByteS27, vcHalfS27, vcWordS27 around the opcode's bits.
    {"B_S27",
     19,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF},
     0x1234565,
     0,
     {0xBF, 0xAA, 0x67, 0x45, 0x23, 0xF9},
     true},
    {"B_S27 high",
     19,
     {0x00, 0xAA, 0x03, 0, 0, 0xF8},
     0x3FFFFFF,
     0,
     {0x60, 0xAA, 0xFF, 0xFF, 0xFF, 0xFB},
     true},
    {"B_S27 above",
     19,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF},
     0x4000000,
     0,
     {0x9F, 0xAA, 0x03, 0x00, 0x00, 0xFC},
     false},
    {"H_S27",
     20,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF},
     0x1234564,
     0,
     {0xBF, 0xAA, 0x67, 0x45, 0x23, 0xF9},
     true},
    {"H_S27 odd",
     20,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF},
     0x1234565,
     0,
     {0xBF, 0xAA, 0x67, 0x45, 0x23, 0xF9},
     true,
     {"E: Displacement on ldh/ldsh/sth is odd."}},
    {"W_S27 misaligned",
     21,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF},
     0x1234567,
     0,
     {0xFF, 0xAA, 0x67, 0x45, 0x23, 0xF9},
     true,
     {"E: Displacement on ld/st is not word-aligned."}},
    {"W_S27 low", 21, {}, uint32_t(-0x4000000), 0, {0, 0, 0, 0, 0, 0x04}, true},

    // vcVld48: the unsigned form (bits 3 to 5 of byte 2 set) takes no
    // negative number.
    {"VLD48 high",
     49,
     {0, 0xAA, 0, 0x03, 0xBB, 0xCC},
     0x1FFF0,
     0,
     {0x7F, 0xAA, 0x00, 0xFF, 0xBB, 0xCC},
     true},
    {"VLD48 above", 49, {0, 0xAA, 0, 0x03}, 0x20000, 0, {0x80, 0xAA, 0x00, 0x03}, false},
    {"VLD48 low", 49, {0, 0xAA, 0, 0x03}, uint32_t(-0x20000), 0, {0x80, 0xAA, 0x00, 0x03}, true},
    {"VLD48 unsigned negative",
     49,
     {0, 0xAA, 0x38, 0x03},
     uint32_t(-0x20000),
     0,
     {0x80, 0xAA, 0x38, 0x03},
     false},
    {"VLD48 unsigned high", 49, {0, 0xAA, 0x38, 0x03}, 0x1FFF0, 0, {0x7F, 0xAA, 0x38, 0xFF}, true},
    {"VLD48 misaligned",
     49,
     {},
     0x18,
     0,
     {0x00, 0x00, 0x00, 0x04},
     true,
     {"E: Address being referenced from 48-bit vector load instruction is not 16-byte "
      "aligned."}},

    // vcVld80 holds the low four bits as well.
    {"VLD80 high",
     53,
     {0, 0xAA, 0x38, 0x03, 0xFF, 0xFF},
     0xFFFFFFF,
     0,
     {0xFF, 0xAA, 0x38, 0xFF, 0xFE, 0xF7},
     true},
    {"VLD80 above",
     53,
     {0, 0xAA, 0x38, 0x03, 0xFF, 0xFF},
     0x10000000,
     0,
     {0x00, 0xAA, 0x38, 0x03, 0x00, 0x08},
     false},
    {"VLD80 low",
     53,
     {0, 0xAA, 0x38, 0x03, 0xFF, 0xFF},
     uint32_t(-0x10000000),
     0,
     {0x00, 0xAA, 0x38, 0x03, 0x00, 0x08},
     true},
    {"VLD80 any address", 53, {}, 0x12345, 0, {0x48, 0x00, 0x00, 0xD0, 0x00, 0x50}, true},

    // vcVst48: the unsigned form is chosen by byte 4.
    {"VST48",
     57,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF},
     0x12340,
     0,
     {0xFB, 0xAA, 0x5F, 0x1A, 0x00, 0xFB},
     true},
    {"VST48 negative",
     57,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF},
     uint32_t(-0x10),
     0,
     {0xFF, 0xAA, 0xFF, 0xFF, 0x00, 0xFF},
     true},
    {"VST48 unsigned negative",
     57,
     {0xFF, 0xAA, 0xFF, 0, 0x38, 0xFF},
     uint32_t(-0x10),
     0,
     {0xFF, 0xAA, 0xFF, 0xFF, 0x38, 0xFF},
     false},
    {"VST48 above", 57, {}, 0x20000, 0, {0x00, 0x00, 0x80, 0x00, 0x00, 0x00}, false},
    {"VST48 misaligned",
     57,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF},
     0x8,
     0,
     {0xFA, 0xAA, 0x1F, 0x00, 0x00, 0xFB},
     true,
     {"E: Address being referenced from 48-bit vst instruction is not 16-byte aligned."}},

    // vcVst80.
    {"VST80 high",
     61,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF, 0x66, 0xFF, 0xFF, 0xFF},
     0xFFFFFFF,
     0,
     {0xFF, 0xAA, 0xFF, 0xFF, 0x00, 0xFF, 0x66, 0xF7, 0xFF, 0x01},
     true},
    {"VST80 above",
     61,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF, 0x66, 0xFF, 0xFF, 0xFF},
     0x10000000,
     0,
     {0xFA, 0xAA, 0x1F, 0x00, 0x00, 0xFB, 0x66, 0x0B, 0x00, 0x00},
     false},
    {"VST80 bit 26",
     61,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF, 0x66, 0xFF, 0xFF, 0xFF},
     0x4000000,
     0,
     {0xFA, 0xAA, 0x1F, 0x00, 0x00, 0xFB, 0x66, 0x03, 0x00, 0x01},
     true},
    {"VST80 any address",
     61,
     {0xFF, 0xAA, 0xFF, 0, 0, 0xFF, 0x66, 0xFF, 0xFF, 0xFF},
     0x5,
     0,
     {0xFA, 0xAA, 0x1F, 0x00, 0x00, 0xFB, 0x66, 0x53, 0x00, 0x00},
     true},

    // Numbers relative to the place.
    {"PCREL_B_S16", 7, {}, 0x1100, 0x1002, {0x00, 0x01}, true},
    {"PCREL_H_S16 odd",
     8,
     {},
     0x1101,
     0x1002,
     {0x00, 0x01},
     true,
     {"E: Odd displacement on ldh/ldsh/sth instruction."}},
    {"PCREL_W_S16 from the word", 9, {}, 0x1100, 0x1007, {0xFC, 0x00}, true},
    {"PCREL_S27 from the place less 2", 11, {}, 0x2000, 0x1002, {0x00, 0x10, 0x00, 0x00}, true},
    {"PCREL_B_S27", 16, {}, 0x2000, 0x1000, {0x00, 0x00, 0x00, 0x10}, true},
    {"PCREL_W_S27 from the word", 18, {}, 0x2000, 0x1003, {0x00, 0x00, 0x00, 0x10}, true},

    // Numbers relative to the global pointer.
    {"GPREL_B_S16", 4, {}, gp + 0x10, 0, {0x10, 0x00}, true},
    {"GPREL_B_S16 below", 4, {}, gp - 0x1000, 0, {0x00, 0xF0}, true},
    {"GPREL_S27", 10, {}, gp + 0x123456, 0, {0x56, 0x34, 0x12, 0x00}, true},
    {"GPREL_B_S27", 13, {}, gp + 4, 0, {0x00, 0x00, 0x04, 0x00}, true},
    {"GPREL_32", 44, {}, gp - 1, 0, {0xFF, 0xFF, 0xFF, 0xFF}, true},
    {"VLD48_GPREL", 51, {}, gp + 0x100, 0, {0x00, 0x00, 0x00, 0x40}, true},

    // Section offsets use the plain writers.
    {"SECTOFF_W_S16", 27, {0x03}, 0x1234, 0, {0x37, 0x12}, true},
    {"VST48_SECTOFF", 60, {}, 0x12340, 0, {0x01, 0x00, 0x40, 0x1A, 0x00, 0x00}, true},
};

void PrintTo(const Patch &p, std::ostream *out) {
    *out << p.what;
}

class VcPatch : public ::testing::TestWithParam<Patch> {};

TEST_P(VcPatch, WritesItsFieldAndReports) {
    const Patch &p = GetParam();
    FakeObjectFile object("a.o");
    FixupOutput output(gp);
    ReportingEntry entry;
    entry.symbol = &object.symbol("sym").global().in(object.section(".data"));
    entry.output = &output;
    Bytes bytes = tenBytes(p.before);
    EXPECT_EQ(elfVCFixupTable().lookup(p.type)->fixup(entry, bytes.data(), p.value, p.address),
              p.fits);
    EXPECT_EQ(bytes, tenBytes(p.after));
    EXPECT_EQ(entry.reports.texts(), p.texts);
}

INSTANTIATE_TEST_SUITE_P(Rows, VcPatch, ::testing::ValuesIn(patches),
                         [](const ::testing::TestParamInfo<Patch> &info) {
                             std::string name = info.param.what;
                             for (char &c : name)
                                 if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

struct Expected {
    uint32_t type;
    const char *name;
    ReferenceKind kind;
    uint8_t pcRelative;
};

TEST(VcFixupTable, RowsByType) {
    const ReferenceKind direct = ReferenceKind::direct, sec = ReferenceKind::sectionRelative;
    const Expected rows[] = {
        {0, "NONE", direct, 0},
        {1, "32", direct, 0},
        {3, "8", direct, 0},
        {4, "GPREL_B_S16", direct, 0},
        {7, "PCREL_B_S16", direct, 0},
        {11, "PCREL_S27", direct, 0},
        {21, "W_S27", direct, 0},
        {22, "S23H", direct, 1},
        {23, "S27H", direct, 1},
        {24, "SECTOFF_16", sec, 0},
        {28, "SECTOFF_S27", sec, 0},
        {32, "SECTOFF_32", sec, 0},
        {vcSecondType, "SECOND", direct, 0},
        {34, "DIFF_8", direct, 0},
        {43, "DIFF_W_S27", direct, 0},
        {44, "GPREL_32", direct, 0},
        {45, "GPREL_S16", direct, 0},
        {52, "VLD48_SECTOFF", direct, 0},
        {56, "VLD80_SECTOFF", direct, 0},
        {58, "VST48_DIFF", direct, 0},
        {63, "VST80_GPREL", direct, 0},
        {65, "DISP_32", direct, 0},
    };
    ElfFixupTable &table = elfVCFixupTable();
    for (const Expected &e : rows) {
        const FixupRow *row = table.lookup(e.type);
        EXPECT_STREQ(row->name, e.name) << e.type;
        EXPECT_EQ(row->kind, e.kind) << e.type;
        EXPECT_EQ(row->pcRelative, e.pcRelative) << e.type;
        EXPECT_NE(row->fixup, nullptr) << e.type;
    }
    EXPECT_EQ(table.lookup(66), &unknownFixupRow);
    EXPECT_EQ(&table, &elfVCFixupTable()); // one table for the run

    // Only 24 to 32 are section-relative, only 22 and 23 pc-relative.
    uint32_t visited = 0;
    table.each([&](uint32_t type, const FixupRow &row) {
        EXPECT_EQ(row.kind == sec, type >= 24 && type <= 32) << type;
        EXPECT_EQ(row.pcRelative, type == 22 || type == 23 ? 1 : 0) << type;
        ++visited;
        return true;
    });
    EXPECT_EQ(visited, 65u);
}

// A difference takes off the value of the SECOND entry behind it.
TEST(VcFixupTable, Differences) {
    struct Case {
        uint32_t type;
        bool hasSecond;
        uint32_t value;
        Bytes after;
        bool fits;
    };
    const Case cases[] = {
        {36, true, 0x180, {0x80, 0x00, 0x00, 0x00}, true},
        {36, false, 0x180, {0x80, 0x01, 0x00, 0x00}, true},
        {34, true, 0x180, {0x80}, true},
        {34, true, 0x200, {0x00}, false},
        {35, true, 0x1234, {0x34, 0x11}, true},
        {37, true, uint32_t(0x100 - 0x8000), {0x00, 0x80}, true},
        {40, true, 0x100 + 0x4000000, {0x00, 0x00, 0x00, 0x04}, false},
        {50, true, 0x110, {0x00, 0x00, 0x00, 0x04}, true},
        {62, false, 0x7, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x70}, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.type);
        ReportingEntry entry;
        entry.hasNext = c.hasSecond;
        entry.nextType = vcSecondType;
        entry.nextValue = 0x100;
        Bytes bytes = tenBytes({});
        EXPECT_EQ(elfVCFixupTable().lookup(c.type)->fixup(entry, bytes.data(), c.value, 0), c.fits);
        EXPECT_EQ(bytes, tenBytes(c.after));
        EXPECT_EQ(entry.reports.texts(),
                  c.hasSecond ? Texts{}
                              : Texts{"E: Object file error: second of 2-part fixup is missing."});
    }
    // A next entry of another type is no second part.
    ReportingEntry entry;
    entry.hasNext = true;
    entry.nextType = 1;
    Bytes bytes = tenBytes({});
    elfVCFixupTable().lookup(36)->fixup(entry, bytes.data(), 0x180, 0);
    EXPECT_EQ(entry.reports.texts(),
              Texts{"E: Object file error: second of 2-part fixup is missing."});
}

// A gp-relative reference of the H or W family, or GPREL_S16 or GPREL_32,
// to an undefined weak symbol (value 0) is warned about; others are not.
TEST(VcFixupTable, GpRelativeToUndefinedWeak) {
    const uint32_t warned[] = {5, 6, 14, 15, 44, 45};
    const uint32_t quiet[] = {4, 10, 13, 51, 55, 59, 63};
    const Texts warning = {"W: %gp-relative reference to undefined weak symbol detected."};
    FakeObjectFile object("a.o");
    FakeSymbol &weak = object.symbol("w").weak().undefined();
    FakeSymbol &global = object.symbol("g").global().undefined();
    FixupOutput output(gp);
    auto patch = [&](uint32_t type, FakeSymbol &symbol, uint32_t value) {
        ReportingEntry entry;
        entry.symbol = &symbol;
        entry.output = &output;
        Bytes bytes = tenBytes({});
        elfVCFixupTable().lookup(type)->fixup(entry, bytes.data(), value, 0);
        return entry.reports.texts();
    };
    for (uint32_t type : warned) {
        EXPECT_EQ(patch(type, weak, 0), warning) << type;
        EXPECT_EQ(patch(type, global, 0), Texts{}) << type;
        EXPECT_EQ(patch(type, weak, gp), Texts{}) << type;
    }
    for (uint32_t type : quiet)
        EXPECT_EQ(patch(type, weak, 0), Texts{}) << type;
}

// A load of a null address through the global pointer becomes a load of
// the constant: the opcode bytes in front of the field are rewritten.
TEST(VcFixupTable, NullLoadRewrite) {
    struct Case {
        const char *what;
        uint32_t type;
        uint32_t offset; // of the field in its section
        Bytes before;    // from two bytes in front of the field
        uint32_t value;
        Bytes after;
    };
    const Case cases[] = {
        {"16-bit", 4, 2, {0xC5, 0x2D, 0x12, 0x34}, 0, {0x65, 0x2E, 0x00, 0x00}},
        {"16-bit other operand", 4, 2, {0xC5, 0x2C, 0x12, 0x34}, 0, {0xC5, 0x2C, 0x00, 0x80}},
        {"16-bit other opcode", 4, 2, {0xB5, 0x2D, 0x12, 0x34}, 0, {0xB5, 0x2D, 0x00, 0x80}},
        {"16-bit not null", 4, 2, {0xC5, 0x2D, 0x12, 0x34}, gp, {0xC5, 0x2D, 0x00, 0x00}},
        {"16-bit at the start", 4, 1, {0xC5, 0x2D, 0x12, 0x34}, 0, {0xC5, 0x2D, 0x00, 0x80}},
        {"27-bit",
         10,
         2,
         {0x3A, 0x2F, 0x11, 0x22, 0x33, 0x44},
         0,
         {0x7A, 0x2F, 0x00, 0x00, 0x00, 0x00}},
        {"27-bit other opcode",
         10,
         2,
         {0x5A, 0x2F, 0x11, 0x22, 0x33, 0x44},
         0,
         {0x5A, 0x2F, 0x00, 0x80, 0xFF, 0x47}},
        {"27-bit pc-relative",
         11,
         8,
         {0x3A, 0x2F, 0x11, 0x22, 0x33, 0x44},
         0,
         {0x7A, 0x2F, 0x00, 0x00, 0x00, 0x00}},
    };
    FixupOutput output(gp);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        ReportingEntry entry;
        entry.output = &output;
        entry.offset = c.offset;
        Bytes bytes = c.before;
        EXPECT_TRUE(elfVCFixupTable().lookup(c.type)->fixup(entry, bytes.data() + 2, c.value, 0));
        EXPECT_EQ(bytes, c.after);
        EXPECT_EQ(entry.reports.texts(), Texts{});
    }
}

// Branches report a distance out of range or odd themselves and answer true.
TEST(VcFixupTable, Branches) {
    struct Case {
        uint32_t type;
        int32_t distance;
        Bytes after;
        Texts texts;
    };
    const Case cases[] = {
        {22, 0x7FFFFE, {0xFF, 0xAA, 0xFF, 0x7F}, {}},
        {22, -0x800000, {0x80, 0xAA, 0x00, 0x80}, {}},
        {22, 0x101, {0x80, 0xAA, 0x01, 0x00}, {"E: Displacement of branch is odd."}},
        {22, 0x800001, {0x80, 0xAA, 0x00, 0x80}, {"E: Displacement of branch is out of range."}},
        {23, 0x3FFFFFF, {0xFF, 0xA3, 0xFF, 0xFF}, {"E: Displacement of bl is odd."}},
        {23, -0x4000000, {0x80, 0xAC, 0x00, 0x00}, {}},
        {23, 0x4000000, {0x80, 0xA4, 0x00, 0x00}, {"E: Displacement of bl is out of range."}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.distance);
        ReportingEntry entry;
        Bytes bytes = {0x80, 0xAA, 0x00, 0x00};
        EXPECT_TRUE(elfVCFixupTable().lookup(c.type)->fixup(
            entry, bytes.data(), 0x10000 + uint32_t(c.distance), 0x10000));
        EXPECT_EQ(bytes, c.after);
        EXPECT_EQ(entry.reports.texts(), c.texts);
    }
}

} // namespace
