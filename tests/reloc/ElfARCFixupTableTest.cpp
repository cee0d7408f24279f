// The ARC fixup table: its rows in both byte orders, each routine patching
// the bytes of both orders at the limits of its range, the reports with
// their texts, and the once-only report of an overfull small-data area.
#include "reloc/ElfARCFixupTable.h"

#include "RelocTestKit.h"

#include "kit/FakeObjectFile.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr uint32_t base = 0x8000; // B, the small-data base of the output

// How a field lies in the bytes.
enum class Layout {
    half,   // 16 bits in the file's order
    triple, // 24 bits in the file's order
    word,   // 32 bits in the file's order
    halves, // 32 bits as two halves, high half first, each in the file's order
};

std::vector<uint8_t> bytesOf(uint32_t value, Layout layout, bool bigEndian) {
    auto put = [&](std::vector<uint8_t> &bytes, uint32_t v, uint32_t width) {
        for (uint32_t i = 0; i < width; ++i)
            bytes.push_back(uint8_t(v >> 8 * (bigEndian ? width - 1 - i : i)));
    };
    std::vector<uint8_t> bytes;
    switch (layout) {
    case Layout::half:
        put(bytes, value, 2);
        break;
    case Layout::triple:
        put(bytes, value, 3);
        break;
    case Layout::word:
        put(bytes, value, 4);
        break;
    case Layout::halves:
        put(bytes, value >> 16, 2);
        put(bytes, value & 0xFFFF, 2);
        break;
    }
    bytes.insert(bytes.end(), {0xEE, 0xEE}); // guard bytes behind the field
    return bytes;
}

// One patch.  The target is the symbol "sym" in section ".data", outside the
// small-data area, so that a small-data offset out of reach is reported for
// the entry itself.  The entry's addend is 4 and its value without addend
// 0x100, so D is -0xFC.
struct Patch {
    const char *what;
    uint32_t type;
    Layout layout;
    uint32_t field;   // F as it stands
    uint32_t value;   // V
    uint32_t address; // P
    bool rela;        // the record holds the addend
    uint32_t written;
    bool fits;
    std::vector<std::string> texts = {};
};

const Layout W = Layout::word, H2 = Layout::halves, H = Layout::half;
const bool rel = false, rela = true;

// The texts of the reports about the symbol "sym".
const std::string notInArea =
    "E: Small-data reference to symbol \"sym\" is not in small-data area.";
const std::string branchNotHalf =
    "E: Half-word aligned branch to symbol \"sym\" is not half-word aligned";
const std::string branchNotWord = "E: Word aligned branch to symbol \"sym\" is not word aligned";
const std::string sdaNotHalf =
    "E: Half-word aligned small-data reference to symbol \"sym\" is not half-word aligned";
const std::string sdaNotWord =
    "E: Word aligned small-data reference to symbol \"sym\" is not word aligned";
const std::string scaled8NotHalf =
    "E: Scaled 8-bit section relative reference to symbol \"sym\" is not half-word aligned";
const std::string scaled9NotHalf =
    "E: Scaled 9-bit section relative reference to symbol \"sym\" is not half-word aligned";
const std::string u8Range =
    "E: 8-bit section relative reference to symbol \"sym\" is out of range.";
const std::string s9Range =
    "E: 9-bit section relative reference to symbol \"sym\" is out of range.";
const std::string u8Split =
    "E: 8-bit section relative reference to symbol \"sym\" is out of range 0-255.";
const std::string s9Split =
    "E: 9-bit section relative reference to symbol \"sym\" is out of range -256-255.";
const std::string u8By2 =
    "E: Scaled 8-bit section relative reference to \"sym\" is out of range 0-510.";
const std::string u8By4 =
    "E: Scaled 8-bit section relative reference to \"sym\" is out of range 0-1020.";
const std::string s9By2 =
    "E: Scaled 9-bit section relative reference to \"sym\" is out of range -256-510.";
const std::string s9By4 =
    "E: Scaled 9-bit section relative reference to \"sym\" is out of range -256-1020.";

const Patch patches[] = {
    // Rows of the generic routines take the forms of the table's byte order.
    {"ADDR16 over", 2, H, 0xFFF0, 0x10, 0, rel, 0x0000, false},
    {"NADDR24", 10, Layout::triple, 0x1000, 0, 0, rel, 0x0F04, true},

    // Whole words.
    {"ARC_32 adds", 4, W, 0x100, 0x12345600, 0, rela, 0x12345700, true},
    {"ARC_N32", 11, W, 0x1000, 0x5555, 0, rel, 0xF04, true},
    {"SECTOFF", 13, W, 0xFFFFFFFF, 0x1234, 0, rel, 0x1234, true},
    {"SDA32", 18, W, 0, base - 8, 0, rel, 0xFFFFFFF8, true},
    {"ARCW", 26, W, 0, 0x1007, 0, rel, 0x1004, true},
    {"H30 rel", 7, W, 0x10, 0x100, 0, rel, 0x44, true},
    {"H30 rela", 7, W, 0x10, 0x100, 0, rela, 0x40, true},
    {"H30 negative", 7, W, 0, uint32_t(-8), 0, rela, 0xFFFFFFFE, true},

    // The middle-endian words: halves high first.
    {"ADDR32_ME", 27, H2, 0, 0x12345678, 0, rel, 0x12345678, true},
    {"NADDR32_ME", 28, H2, 0x00011000, 0, 0, rel, 0x00010F04, true},
    {"SECTOFF_ME", 29, H2, 0xFFFFFFFF, 0x12345, 0, rel, 0x12345, true},
    {"SDA32_ME", 30, H2, 0, base + 0x10000, 0, rel, 0x10000, true},
    {"ARCW_ME", 31, H2, 0, 0x12345677, 0, rel, 0x12345674, true},
    {"H30_ME rel", 32, H2, 0x00010000, 0x100, 0, rel, 0x4040, true},

    // B26: a byte addend in place in the low 24 bits, the word address
    // stored.
    {"B26 rel", 5, W, 0xAB000010, 0x1000, 0, rel, 0xAB000404, true},
    {"B26 rela", 5, W, 0xAB000010, 0x1000, 0, rela, 0xAB000400, true},
    {"B26 negative addend", 5, W, 0xABFFFFFC, 0x1000, 0, rel, 0xAB0003FF, true},
    {"B26 high", 5, W, 0xAB000000, 0x3FFFFFF, 0, rela, 0xABFFFFFF, true},
    {"B26 above", 5, W, 0xAB000000, 0x4000000, 0, rela, 0xAB000000, false},
    {"B26 low", 5, W, 0xAB000000, uint32_t(-0x4000000), 0, rela, 0xAB000000, true},
    {"B26 below", 5, W, 0xAB000000, uint32_t(-0x4000004), 0, rela, 0xABFFFFFF, false},

    // REL_B22: E = V - P - 4.
    {"REL_B22 zero", 6, W, 0xFFFFFFFF, 0x1004, 0x1000, rela, 0xF800007F, true},
    {"REL_B22 high", 6, W, 0, 0x1004 + 0x7FFFFC, 0x1000, rela, 0x07FFFF80, true},
    {"REL_B22 above", 6, W, 0, 0x1004 + 0x800000, 0x1000, rela, 0, false},
    {"REL_B22 low", 6, W, 0, uint32_t(0x1004 - 0x800000), 0x1000, rela, 0, true},
    {"REL_B22 below", 6, W, 0, uint32_t(0x1004 - 0x800004), 0x1000, rela, 0x07FFFF80, false},
    // With the addend in place, bits 7 to 26 are added as they stand.
    {"REL_B22 rel", 6, W, 0x00000880, 0x1004 + 0x10, 0x1000, rel, 0x00000400, true},

    // Compact branches: E = V - (P with the low two bits clear).
    {"REL_S21H high", 14, H2, 0, 0x1000 + 0xFFFFE, 0x1002, rela, 0x07FE7FC0, true},
    {"REL_S21H kept", 14, H2, 0xFFFFFFFF, 0x1000, 0x1002, rela, 0xF801003F, true},
    {"REL_S21H above", 14, H2, 0, 0x1000 + 0x100000, 0x1002, rela, 0x00008000, false},
    {"REL_S21H low", 14, H2, 0, uint32_t(0x1000 - 0x100000), 0x1002, rela, 0x00008000, true},
    {"REL_S21W high", 15, H2, 0, 0x1000 + 0xFFFFC, 0x1003, rela, 0x07FC7FC0, true},
    {"REL_S21W kept", 15, H2, 0xFFFFFFFF, 0x1000, 0x1000, rela, 0xF803003F, true},
    {"REL_S21W below", 15, H2, 0, uint32_t(0x1000 - 0x100004), 0x1000, rela, 0x07FC7FC0, false},
    {"REL_S25H high", 16, H2, 0, 0x1000 + 0xFFFFFE, 0x1000, rela, 0x07FEFFC7, true},
    {"REL_S25H kept", 16, H2, 0xFFFFFFFF, 0x1000, 0x1000, rela, 0xF8010030, true},
    {"REL_S25H above", 16, H2, 0, 0x1000 + 0x1000000, 0x1000, rela, 0x00000008, false},
    {"REL_S25W low", 17, H2, 0, uint32_t(0x1000 - 0x1000000), 0x1000, rela, 0x00000008, true},
    {"REL_S25W kept", 17, H2, 0xFFFFFFFF, 0x1000, 0x1000, rela, 0xF8030030, true},
    {"REL_S25W below", 17, H2, 0, uint32_t(0x1000 - 0x1000004), 0x1000, rela, 0x07FCFFC7, false},
    {"REL_S13W high", 25, H, 0xFFFF, 0x1000 + 0xFFC, 0x1002, rela, 0xFBFF, true},
    {"REL_S13W above", 25, H, 0xFFFF, 0x1000 + 0x1000, 0x1002, rela, 0xFC00, false},
    {"REL_S13W low", 25, H, 0x0000, 0x1000 - 0x1000, 0x1002, rela, 0x0400, true},
    // A misaligned target is reported, nothing is written, and the answer
    // is true so that no "displacement too large" follows.
    {"REL_S21H odd", 14, H2, 0x12345678, 0x1001, 0x1000, rela, 0x12345678, true, {branchNotHalf}},
    {"REL_S21W half off",
     15,
     H2,
     0x12345678,
     0x1002,
     0x1000,
     rela,
     0x12345678,
     true,
     {branchNotWord}},
    {"REL_S25H odd", 16, H2, 0x12345678, 0x1003, 0x1000, rela, 0x12345678, true, {branchNotHalf}},
    {"REL_S25W half off",
     17,
     H2,
     0x12345678,
     0x1006,
     0x1000,
     rela,
     0x12345678,
     true,
     {branchNotWord}},
    {"REL_S13W half off", 25, H, 0x1234, 0x1002, 0x1000, rela, 0x1234, true, {branchNotWord}},

    // SDAREL9: E = V - B, plus the low 9 bits of F without explicit addends.
    {"SDAREL9 high", 12, W, 0xFFFFFFFF, base + 0xFF, 0, rela, 0xFFFFFEFF, true},
    {"SDAREL9 low", 12, W, 0, base - 0x100, 0, rela, 0x100, true},
    {"SDAREL9 rel", 12, W, 0x000001FF, base + 0x10, 0, rel, 0x0000000F, true},
    {"SDAREL9 above", 12, W, 0, base + 0x100, 0, rela, 0x100, true, {notInArea}},
    {"SDAREL9 below", 12, W, 0, base - 0x101, 0, rela, 0x0FF, true, {notInArea}},

    // Split small-data offsets: low 8 bits at 16 to 23, bit 8 at bit 15.
    {"SDA_LDST low", 19, H2, 0, base - 0x100, 0, rela, 0x00008000, true},
    {"SDA_LDST high", 19, H2, 0xFFFFFFFF, base + 0xFF, 0, rela, 0xFFFF7FFF, true},
    {"SDA_LDST above", 19, H2, 0, base + 0x100, 0, rela, 0x00008000, true, {notInArea}},
    {"SDA_LDST1 high", 20, H2, 0, base + 0x1FE, 0, rela, 0x00FF0000, true},
    {"SDA_LDST1 low", 20, H2, 0, base - 0x200, 0, rela, 0x00008000, true},
    {"SDA_LDST1 odd", 20, H2, 0, base + 0x11, 0, rela, 0x00080000, true, {sdaNotHalf}},
    {"SDA_LDST2 high", 21, H2, 0, base + 0x3FC, 0, rela, 0x00FF0000, true},
    {"SDA_LDST2 below", 21, H2, 0, base - 0x404, 0, rela, 0x00FF0000, true, {notInArea}},
    // Both faults are reported, alignment first.
    {"SDA_LDST2 both", 21, H2, 0, base + 0x402, 0, rela, 0x00008000, true, {sdaNotWord, notInArea}},

    // Nine-bit offsets in a half.
    {"SDA16_LD low", 22, H, 0xFFFF, base - 0x100, 0, rela, 0xFF00, true},
    {"SDA16_LD high", 22, H, 0x0000, base + 0xFF, 0, rela, 0x00FF, true},
    {"SDA16_LD1 high", 23, H, 0xFE00, base + 0x1FE, 0, rela, 0xFEFF, true},
    {"SDA16_LD1 odd", 23, H, 0, base + 3, 0, rela, 0x0001, true, {sdaNotHalf}},
    {"SDA16_LD2 low", 24, H, 0, base - 0x400, 0, rela, 0x0100, true},
    {"SDA16_LD2 above", 24, H, 0, base + 0x400, 0, rela, 0x0100, true, {notInArea}},
    {"SDA16_LD2 misaligned", 24, H, 0, base + 6, 0, rela, 0x0001, true, {sdaNotWord}},

    // Section offsets in the low bits of a word.
    {"SECTOFF_U8 low bits", 33, W, 0xFFFFFFFF, 0xFF, 0, rela, 0xFFFFFEFF, true},
    {"SECTOFF_U8 low bits over", 33, W, 0xFFFFFFFF, 0x100, 0, rela, 0xFFFFFE00, true, {u8Range}},
    {"SECTOFF_S9 low bits", 34, W, 0xFFFFFFFF, 0x1FF, 0, rela, 0xFFFFFEFF, true},
    {"SECTOFF_S9 low bits zero", 34, W, 0, 0, 0, rela, 0x100, true},
    {"SECTOFF_S9 low bits over", 34, W, 0, 0x200, 0, rela, 0x100, true, {s9Range}},
    {"SECTOFF_S9 low bits negative", 34, W, 0, uint32_t(-1), 0, rela, 0x0FF, true, {s9Range}},

    // Section offsets in the split field; the unsigned ones clear bit 15.
    {"SECTOFF_U8 split", 35, H2, 0xFFFFFFFF, 0xFF, 0, rela, 0xFFFF7FFF, true},
    {"SECTOFF_U8 split over", 35, H2, 0, 0x100, 0, rela, 0, true, {u8Split}},
    {"SECTOFF_U8_1", 36, H2, 0, 0x1FE, 0, rela, 0x00FF0000, true},
    {"SECTOFF_U8_1 both", 36, H2, 0, 0x1FF, 0, rela, 0x00FF0000, true, {scaled8NotHalf, u8By2}},
    {"SECTOFF_U8_2", 37, H2, 0, 0x3FC, 0, rela, 0x00FF0000, true},
    {"SECTOFF_U8_2 misaligned", 37, H2, 0, 0x3FA, 0, rela, 0x00FE0000, true, {scaled8NotHalf}},
    {"SECTOFF_U8_2 negative", 37, H2, 0, uint32_t(-4), 0, rela, 0x00FF0000, true, {u8By4}},
    {"SECTOFF_S9 split low", 38, H2, 0, 0, 0, rela, 0x00008000, true},
    {"SECTOFF_S9 split high", 38, H2, 0, 0x1FF, 0, rela, 0x00FF0000, true},
    {"SECTOFF_S9 split over", 38, H2, 0, 0x200, 0, rela, 0x00008000, true, {s9Split}},
    {"SECTOFF_S9_1", 39, H2, 0, 0x2FE, 0, rela, 0x00FF0000, true},
    {"SECTOFF_S9_1 odd", 39, H2, 0, 0x101, 0, rela, 0, true, {scaled9NotHalf}},
    {"SECTOFF_S9_1 over", 39, H2, 0, 0x300, 0, rela, 0x00008000, true, {s9By2}},
    {"SECTOFF_S9_2 low", 40, H2, 0, 0, 0, rela, 0x00C08000, true},
    {"SECTOFF_S9_2 high", 40, H2, 0, 0x4FC, 0, rela, 0x00FF0000, true},
    {"SECTOFF_S9_2 over", 40, H2, 0, 0x500, 0, rela, 0x00008000, true, {s9By4}},
    {"SECTOFF_S9_2 misaligned", 40, H2, 0, 0x102, 0, rela, 0, true, {scaled9NotHalf}},
};

void PrintTo(const Patch &p, std::ostream *out) {
    *out << p.what;
}

class ArcPatch : public ::testing::TestWithParam<Patch> {};

TEST_P(ArcPatch, WritesBothOrdersAndReports) {
    const Patch &p = GetParam();
    for (bool bigEndian : {true, false}) {
        SCOPED_TRACE(bigEndian ? "big endian" : "little endian");
        FakeObjectFile object("a.o");
        FixupOutput output(base);
        ReportingEntry entry;
        entry.symbol = &object.symbol("sym").global().in(object.section(".data"));
        entry.output = &output;
        entry.explicitAddend = p.rela;
        entry.addendOf = 4;
        entry.valueWithoutAddendOf = 0x100;

        std::vector<uint8_t> bytes = bytesOf(p.field, p.layout, bigEndian);
        const FixupRow *row = elfARCFixupTable(bigEndian).lookup(p.type);
        EXPECT_EQ(row->fixup(entry, bytes.data(), p.value, p.address), p.fits);
        EXPECT_EQ(bytes, bytesOf(p.written, p.layout, bigEndian));
        EXPECT_EQ(entry.reports.texts(), p.texts);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ArcPatch, ::testing::ValuesIn(patches),
                         [](const auto &info) { return testNameOf(info.param.what); });

TEST(ArcFixupTable, RowsByType) {
    const ReferenceKind direct = ReferenceKind::direct, sda = ReferenceKind::smallData,
                        sec = ReferenceKind::sectionRelative;
    for (bool bigEndian : {true, false}) {
        ElfFixupTable &table = elfARCFixupTable(bigEndian);
        const std::vector<ExpectedRow> rows = {
            {0, "NONE", direct, 0},      {1, "ADDR8", direct, 0},     {4, "ARC_32", direct, 0},
            {5, "B26", direct, 0},       {6, "REL_B22", direct, 1},   {7, "H30", direct, 0},
            {11, "ARC_N32", direct, 0},  {12, "SDAREL9", sda, 0},     {13, "SECTOFF", sec, 0},
            {14, "REL_S21H", direct, 1}, {17, "REL_S25W", direct, 1}, {18, "SDA32", sda, 0},
            {19, "SDA_LDST", sda, 0},    {20, "SDA_LDST1", sda, 0},   {21, "SDA_LDST2", sda, 0},
            {22, "SDA16_LD", sda, 0},    {23, "SDA16_LD1", sda, 0},   {24, "SDA16_LD2", sda, 0},
            {25, "REL_S13W", direct, 1}, {26, "ARCW", direct, 0},     {27, "ADDR32_ME", direct, 0},
            {29, "SECTOFF_ME", sec, 0},  {30, "SDA32_ME", sda, 0},    {32, "H30", direct, 0},
            {33, "SECTOFF_U8", sec, 0},  {34, "SECTOFF_S9", sec, 0},  {35, "SECTOFF_U8", sec, 0},
            {38, "SECTOFF_S9", sec, 0},  {40, "SECTOFF_S9_2", sec, 0}};
        expectRows(table, rows);
        EXPECT_EQ(table.lookup(41), &unknownFixupRow);
    }
}

TEST(ArcFixupTable, BothOrdersShareNamesKindsAndFlagsButNotRoutines) {
    ElfFixupTable &big = elfARCFixupTable(true);
    ElfFixupTable &little = elfARCFixupTable(false);
    EXPECT_EQ(&big, &elfARCFixupTable(true)); // made once
    EXPECT_NE(&big, &little);
    uint32_t visited = 0;
    little.each([&](uint32_t type, const FixupRow &row) {
        const FixupRow *other = big.lookup(type);
        EXPECT_STREQ(row.name, other->name) << type;
        EXPECT_EQ(row.kind, other->kind) << type;
        EXPECT_EQ(row.pcRelative, other->pcRelative) << type;
        // Rows of one byte and those with nothing to write are shared.
        bool shared = type == 1 || type == 8;
        EXPECT_EQ(row.fixup == other->fixup, shared) << type;
        ++visited;
        return true;
    });
    EXPECT_EQ(visited, 40u);
}

// A small-data offset out of reach whose target lies in the small-data area
// means that the area is too big for its base: said once in a run.  A target
// outside the area is reported for each entry.  No other test reaches the
// once-only report, so its flag is clear here.
TEST(ArcFixupTable, SmallDataReports) {
    FakeObjectFile object("a.o");
    FixupOutput output(base);
    auto overflow = [&](const char *section) {
        ReportingEntry entry;
        entry.symbol = &object.symbol("far").global().in(object.section(section));
        entry.output = &output;
        entry.explicitAddend = true;
        uint8_t bytes[4] = {0, 0, 0, 0};
        EXPECT_TRUE(
            elfARCFixupTable(true).lookup(arc::sdaLdst2)->fixup(entry, bytes, base + 0x400, 0));
        EXPECT_EQ(bytes[1], 0x00); // the number 0x100 is written all the same
        EXPECT_EQ(bytes[2], 0x80);
        return entry.reports.texts();
    };
    using Texts = std::vector<std::string>;
    const Texts outside = {"E: Small-data reference to symbol \"far\" is not in small-data area."};
    EXPECT_EQ(overflow(".got.plt"), outside);
    EXPECT_EQ(overflow(".data"), outside);
    EXPECT_EQ(overflow(".sdata.far"),
              Texts{"E: Size of .sdata+.sbss segments exceeds 512 byte limit. "
                    "(_SDA_BASE_=0x8000)"});
    EXPECT_EQ(overflow(".sbss"), Texts{});
    EXPECT_EQ(overflow(".got"), Texts{});
    EXPECT_EQ(overflow(".data"), outside);
}

// Without a symbol the target's name is the section's, without either "???".
TEST(ArcFixupTable, TargetNamesInTexts) {
    FakeObjectFile object("a.o");
    for (bool withSection : {true, false}) {
        ReportingEntry entry;
        if (withSection) entry.target = &object.section(".text");
        uint8_t bytes[4] = {0, 0, 0, 0};
        elfARCFixupTable(false).lookup(15)->fixup(entry, bytes, 2, 0);
        EXPECT_EQ(entry.reports.texts(),
                  std::vector<std::string>{
                      withSection
                          ? "E: Word aligned branch to symbol \".text\" is not word aligned"
                          : "E: Word aligned branch to symbol \"???\" is not word aligned"});
    }
}

// Without an output file the base is 0.
TEST(ArcFixupTable, NoOutputMeansBaseZero) {
    FakeDescriptor entry;
    uint8_t bytes[4] = {0, 0, 0, 0};
    EXPECT_TRUE(elfARCFixupTable(true).lookup(18)->fixup(entry, bytes, 0x1234, 0));
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 4), (std::vector<uint8_t>{0, 0, 0x12, 0x34}));
}

} // namespace
