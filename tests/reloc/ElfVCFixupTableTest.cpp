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
    const char *before; // bytes in hex
    uint32_t value;     // V
    uint32_t address;   // P
    const char *after;
    bool fits;
    const char *report = nullptr;
};

// The bytes written in `hex`, then zeros up to `size`.
Bytes hexBytes(const char *hex, size_t size = 10) {
    Bytes bytes;
    for (; hex[0] && hex[1]; hex += 2)
        bytes.push_back(uint8_t(std::stoul(std::string(hex, 2), nullptr, 16)));
    if (bytes.size() < size) bytes.resize(size, 0);
    return bytes;
}

const Patch patches[] = {
    // "8": byte 0 takes N.
    {"8 high", 3, "55", 0xFF, 0, "FF", true},
    {"8 above", 3, "55", 0x100, 0, "00", false},
    {"8 low", 3, "55", uint32_t(-0x80), 0, "80", true},
    {"32", 1, "", 0x12345678, 0, "78563412", true},

    // vcByteS16, vcHalfS16, vcWordS16.
    {"B_S16 high", 46, "", 0x7FFF, 0, "FF7F", true},
    {"B_S16 above", 46, "", 0x8000, 0, "0080", false},
    {"B_S16 low", 46, "", uint32_t(-0x8000), 0, "0080", true},
    {"H_S16 keeps bit 0", 47, "01", 0x1234, 0, "3512", true},
    {"H_S16 odd", 47, "01", 0x1235, 0, "3512", true,
     "E: Odd displacement on ldh/ldsh/sth instruction."},
    {"H_S16 above", 47, "", 0x8000, 0, "0080", false},
    {"W_S16 keeps bits 0 and 1", 48, "03", 0x1234, 0, "3712", true},
    {"W_S16 misaligned", 48, "03", 0x1237, 0, "3712", true,
     "E: Displacement on ld/st not word-aligned."},
    {"W_S16 below", 48, "", uint32_t(-0x8004), 0, "FC7F", false},

    // vcS27.
    {"S27 high", 12, "000000FF", 0x3FFFFFF, 0, "FFFFFFFB", true},
    {"S27 above", 12, "000000FF", 0x4000000, 0, "000000FC", false},
    {"S27 low", 12, "000000FF", uint32_t(-0x4000000), 0, "000000FC", true},

    // vcByteS27, vcHalfS27, vcWordS27 around the opcode's bits.
    {"B_S27", 19, "FFAAFF0000FF", 0x1234565, 0, "BFAA674523F9", true},
    {"B_S27 high", 19, "00AA030000F8", 0x3FFFFFF, 0, "60AAFFFFFFFB", true},
    {"B_S27 above", 19, "FFAAFF0000FF", 0x4000000, 0, "9FAA030000FC", false},
    {"H_S27", 20, "FFAAFF0000FF", 0x1234564, 0, "BFAA674523F9", true},
    {"H_S27 odd", 20, "FFAAFF0000FF", 0x1234565, 0, "BFAA674523F9", true,
     "E: Displacement on ldh/ldsh/sth is odd."},
    {"W_S27 misaligned", 21, "FFAAFF0000FF", 0x1234567, 0, "FFAA674523F9", true,
     "E: Displacement on ld/st is not word-aligned."},
    {"W_S27 low", 21, "", uint32_t(-0x4000000), 0, "000000000004", true},

    // vcVld48: the unsigned form (bits 3 to 5 of byte 2 set) takes no
    // negative number.
    {"VLD48 high", 49, "00AA0003BBCC", 0x1FFF0, 0, "7FAA00FFBBCC", true},
    {"VLD48 above", 49, "00AA0003", 0x20000, 0, "80AA0003", false},
    {"VLD48 low", 49, "00AA0003", uint32_t(-0x20000), 0, "80AA0003", true},
    {"VLD48 unsigned negative", 49, "00AA3803", uint32_t(-0x20000), 0, "80AA3803", false},
    {"VLD48 unsigned high", 49, "00AA3803", 0x1FFF0, 0, "7FAA38FF", true},
    {"VLD48 misaligned", 49, "", 0x18, 0, "00000004", true,
     "E: Address being referenced from 48-bit vector load instruction is not 16-byte aligned."},

    // vcVld80 holds the low four bits as well.
    {"VLD80 high", 53, "00AA3803FFFF", 0xFFFFFFF, 0, "FFAA38FFFEF7", true},
    {"VLD80 above", 53, "00AA3803FFFF", 0x10000000, 0, "00AA38030008", false},
    {"VLD80 low", 53, "00AA3803FFFF", uint32_t(-0x10000000), 0, "00AA38030008", true},
    {"VLD80 any address", 53, "", 0x12345, 0, "480000D00050", true},

    // vcVst48: the unsigned form is chosen by byte 4.
    {"VST48", 57, "FFAAFF0000FF", 0x12340, 0, "FBAA5F1A00FB", true},
    {"VST48 negative", 57, "FFAAFF0000FF", uint32_t(-0x10), 0, "FFAAFFFF00FF", true},
    {"VST48 unsigned negative", 57, "FFAAFF0038FF", uint32_t(-0x10), 0, "FFAAFFFF38FF", false},
    {"VST48 above", 57, "", 0x20000, 0, "000080000000", false},
    {"VST48 misaligned", 57, "FFAAFF0000FF", 0x8, 0, "FAAA1F0000FB", true,
     "E: Address being referenced from 48-bit vst instruction is not 16-byte aligned."},

    // vcVst80.
    {"VST80 high", 61, "FFAAFF0000FF66FFFFFF", 0xFFFFFFF, 0, "FFAAFFFF00FF66F7FF01", true},
    {"VST80 above", 61, "FFAAFF0000FF66FFFFFF", 0x10000000, 0, "FAAA1F0000FB660B0000", false},
    {"VST80 bit 26", 61, "FFAAFF0000FF66FFFFFF", 0x4000000, 0, "FAAA1F0000FB66030001", true},
    {"VST80 any address", 61, "FFAAFF0000FF66FFFFFF", 0x5, 0, "FAAA1F0000FB66530000", true},

    // Numbers relative to the place.
    {"PCREL_B_S16", 7, "", 0x1100, 0x1002, "0001", true},
    {"PCREL_H_S16 odd", 8, "", 0x1101, 0x1002, "0001", true,
     "E: Odd displacement on ldh/ldsh/sth instruction."},
    {"PCREL_W_S16 from the word", 9, "", 0x1100, 0x1007, "FC00", true},
    {"PCREL_S27 from the place less 2", 11, "", 0x2000, 0x1002, "00100000", true},
    {"PCREL_B_S27", 16, "", 0x2000, 0x1000, "00000010", true},
    {"PCREL_W_S27 from the word", 18, "", 0x2000, 0x1003, "00000010", true},

    // Numbers relative to the global pointer.
    {"GPREL_B_S16", 4, "", gp + 0x10, 0, "1000", true},
    {"GPREL_B_S16 below", 4, "", gp - 0x1000, 0, "00F0", true},
    {"GPREL_S27", 10, "", gp + 0x123456, 0, "56341200", true},
    {"GPREL_B_S27", 13, "", gp + 4, 0, "00000400", true},
    {"GPREL_32", 44, "", gp - 1, 0, "FFFFFFFF", true},
    {"VLD48_GPREL", 51, "", gp + 0x100, 0, "00000040", true},

    // Section offsets use the plain writers.
    {"SECTOFF_W_S16", 27, "03", 0x1234, 0, "3712", true},
    {"VST48_SECTOFF", 60, "", 0x12340, 0, "0100401A0000", true},
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
    Bytes bytes = hexBytes(p.before);
    EXPECT_EQ(elfVCFixupTable().lookup(p.type)->fixup(entry, bytes.data(), p.value, p.address),
              p.fits);
    EXPECT_EQ(bytes, hexBytes(p.after));
    EXPECT_EQ(entry.reports.texts(), p.report ? Texts{p.report} : Texts{});
}

INSTANTIATE_TEST_SUITE_P(Rows, VcPatch, ::testing::ValuesIn(patches),
                         [](const auto &info) { return testNameOf(info.param.what); });

TEST(VcFixupTable, RowsByType) {
    const ReferenceKind direct = ReferenceKind::direct, sec = ReferenceKind::sectionRelative;
    ElfFixupTable &table = elfVCFixupTable();
    const std::vector<ExpectedRow> rows = {{0, "NONE", direct, 0},
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
                                           {33, "SECOND", direct, 0},
                                           {34, "DIFF_8", direct, 0},
                                           {43, "DIFF_W_S27", direct, 0},
                                           {44, "GPREL_32", direct, 0},
                                           {45, "GPREL_S16", direct, 0},
                                           {52, "VLD48_SECTOFF", direct, 0},
                                           {56, "VLD80_SECTOFF", direct, 0},
                                           {58, "VST48_DIFF", direct, 0},
                                           {63, "VST80_GPREL", direct, 0},
                                           {65, "DISP_32", direct, 0}};
    expectRows(table, rows);
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
        const char *after;
        bool fits;
    };
    const Case cases[] = {
        {36, true, 0x180, "80000000", true},
        {36, false, 0x180, "80010000", true},
        {34, true, 0x180, "80", true},
        {34, true, 0x200, "00", false},
        {35, true, 0x1234, "3411", true},
        {37, true, uint32_t(0x100 - 0x8000), "0080", true},
        {40, true, 0x100 + 0x4000000, "00000004", false},
        {50, true, 0x110, "00000004", true},
        {62, false, 0x7, "0000000000000070", true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.type);
        ReportingEntry entry;
        entry.hasNext = c.hasSecond;
        entry.nextType = vcSecondType;
        entry.nextValue = 0x100;
        Bytes bytes = hexBytes("");
        EXPECT_EQ(elfVCFixupTable().lookup(c.type)->fixup(entry, bytes.data(), c.value, 0), c.fits);
        EXPECT_EQ(bytes, hexBytes(c.after));
        EXPECT_EQ(entry.reports.texts(),
                  c.hasSecond ? Texts{}
                              : Texts{"E: Object file error: second of 2-part fixup is missing."});
    }
    // A next entry of another type is no second part.
    ReportingEntry entry;
    entry.hasNext = true;
    entry.nextType = 1;
    Bytes bytes = hexBytes("");
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
        Bytes bytes = hexBytes("");
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
        uint32_t offset;    // of the field in its section
        const char *before; // from two bytes in front of the field
        uint32_t value;
        const char *after;
    };
    const Case cases[] = {
        {"16-bit", 4, 2, "C52D1234", 0, "652E0000"},
        {"16-bit other operand", 4, 2, "C52C1234", 0, "C52C0080"},
        {"16-bit other opcode", 4, 2, "B52D1234", 0, "B52D0080"},
        {"16-bit not null", 4, 2, "C52D1234", gp, "C52D0000"},
        {"16-bit at the start", 4, 1, "C52D1234", 0, "C52D0080"},
        {"27-bit", 10, 2, "3A2F11223344", 0, "7A2F00000000"},
        {"27-bit other opcode", 10, 2, "5A2F11223344", 0, "5A2F0080FF47"},
        {"27-bit pc-relative", 11, 8, "3A2F11223344", 0, "7A2F00000000"},
    };
    FixupOutput output(gp);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        ReportingEntry entry;
        entry.output = &output;
        entry.offset = c.offset;
        Bytes bytes = hexBytes(c.before, 0);
        EXPECT_TRUE(elfVCFixupTable().lookup(c.type)->fixup(entry, bytes.data() + 2, c.value, 0));
        EXPECT_EQ(bytes, hexBytes(c.after, 0));
        EXPECT_EQ(entry.reports.texts(), Texts{});
    }
}

// Branches report a distance out of range or odd themselves and answer true.
TEST(VcFixupTable, Branches) {
    struct Case {
        uint32_t type;
        int32_t distance;
        const char *after;
        Texts texts;
    };
    const Case cases[] = {
        {22, 0x7FFFFE, "FFAAFF7F", {}},
        {22, -0x800000, "80AA0080", {}},
        {22, 0x101, "80AA0100", {"E: Displacement of branch is odd."}},
        {22, 0x800001, "80AA0080", {"E: Displacement of branch is out of range."}},
        {23, 0x3FFFFFF, "FFA3FFFF", {"E: Displacement of bl is odd."}},
        {23, -0x4000000, "80AC0000", {}},
        {23, 0x4000000, "80A40000", {"E: Displacement of bl is out of range."}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.distance);
        ReportingEntry entry;
        Bytes bytes = hexBytes("80AA0000", 0);
        EXPECT_TRUE(elfVCFixupTable().lookup(c.type)->fixup(
            entry, bytes.data(), 0x10000 + uint32_t(c.distance), 0x10000));
        EXPECT_EQ(bytes, hexBytes(c.after, 0));
        EXPECT_EQ(entry.reports.texts(), c.texts);
    }
}

} // namespace
