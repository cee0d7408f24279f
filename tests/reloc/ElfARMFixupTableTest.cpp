// The ARM fixup table: its rows and the gaps of the split table, the
// rotated immediates, each routine on both byte orders at the limits of its
// range, the Thumb mark, the weak fallback, the static-base forms with and
// without direct reach, the region forms and the texts of the reports.
#include "reloc/ElfARMFixupTable.h"

#include "RelocTestKit.h"

#include "object/SectionGroup.h"
#include "reloc/Args.h"

#include <gtest/gtest.h>

namespace {

using Kind = ReferenceKind;
const ReferenceKind direct = ReferenceKind::direct, machine = ReferenceKind::machineSpecific,
                    invalid = ReferenceKind::invalid, sec = ReferenceKind::sectionRelative;

TEST(ElfARMFixupTable, RowsOfBothOrdersByNameKindAndFlag) {
    for (bool big : {true, false}) {
        ElfFixupTable &table = elfARMFixupTable(big);
        const std::vector<ExpectedRow> rows = {{0, "NONE", direct, 0},
                                               {1, "ADDR32", direct, 0},
                                               {2, "REL24", direct, 1},
                                               {11, "SHIFT_IMM", direct, 0},
                                               {12, "RELATIVE", invalid, 0},
                                               {16, "SBOFF", machine, 0},
                                               {26, "SECTOFF", sec, 0},
                                               {28, "NADDR16", direct, 0},
                                               {29, "", invalid, 0},
                                               {31, "", invalid, 0},
                                               {32, "REL8", direct, 1},
                                               {45, "IMM7_ALN", direct, 1},
                                               {46, "R_ARM_16_SDAHI", machine, 0},
                                               {49, "R_ARM_16_SDAREG", machine, 0},
                                               {50, "", invalid, 0},
                                               {63, "", invalid, 0},
                                               {64, "R_ARM_REL24_BL", direct, 1},
                                               {67, "R_ARM_PIC32", direct, 1},
                                               {68, "", invalid, 0},
                                               {79, "", invalid, 0},
                                               {80, "R_ARM_DLL", machine, 0},
                                               {84, "R_ARM_16_PICREG", machine, 0},
                                               {85, "R_ARM_PICDISP", machine, 1},
                                               {88, "R_ARM_16_RODISP", machine, 1},
                                               {89, "REL24_I", direct, 1},
                                               {0x81, "REL23", direct, 1},
                                               {0x82, "ADDR23", direct, 0},
                                               {0x88, "RI_IM19_L16", direct, 0}};
        expectRows(table, rows);
        // The gaps of the split table have no row at all.
        for (uint32_t type : {90u, 0x80u, 0x89u, 0xFFu, 0xFFFFFFFFu})
            EXPECT_EQ(table.lookup(type), nullptr) << type;
    }
    EXPECT_NE(&elfARMFixupTable(true), &elfARMFixupTable(false));
    EXPECT_EQ(&elfARMFixupTable(true), &elfARMFixupTable(true));
}

TEST(ElfARMFixupTable, EncodeImmediateTakesTheFirstRotationThatFits) {
    const struct {
        uint32_t x;
        int32_t encoded;
    } cases[] = {
        {0, 0},           {0xFF, 0xFF},        {0x100, 0xC01},      {0x3FC, 0xFFF},
        {0x101, -1},      {0xFF000000, 0x4FF}, {0xF000000F, 0x2FF}, {0x3000, 0xA03},
        {0xFFFFFFFF, -1}, {0x80000000, 0x102},
    };
    for (const auto &c : cases)
        EXPECT_EQ(ElfARMFixupTable::encodeImmediate(c.x), c.encoded) << std::hex << c.x;
}

// ---- Routines that read nothing but the field, V and P -----------------

struct FieldCase {
    const char *what;
    uint32_t type;
    uint32_t width;
    uint32_t field;
    uint32_t value;
    uint32_t address;
    uint32_t written;
    bool fits;
};

const FieldCase fieldCases[] = {
    {"ADDR32 overwrites", 1, 4, 0x11111111, 0x8000, 0, 0x8000, true},
    {"ADDR8", 3, 1, 0x11, 0xFF, 0, 0xFF, true},
    {"ADDR16 in the file's order", 4, 2, 0x1111, 0x1234, 0, 0x1234, true},
    {"ADDR16 beyond", 4, 2, 0x1111, 0x10000, 0, 0, false},
    {"REL24 backwards", 2, 4, 0xEB000000, 0x1000, 0x2000, 0xEBFFFBFE, true},
    {"REL24 farthest", 2, 4, 0xEA000000, 0x4000004, 0, 0xEAFFFFFF, true},
    {"REL24 beyond", 2, 4, 0xEA000000, 0x4000008, 0, 0xEA000000, false},
    {"REL24 farthest behind", 2, 4, 0xEA000000, 0x8, 0x4000000, 0xEA000000, true},
    {"REL24 beyond behind", 2, 4, 0xEA000000, 0x8, 0x4000004, 0xEAFFFFFF, false},
    {"REL24 BLX half-word", 2, 4, 0xFA000000, 0x10A, 0, 0xFB000040, true},
    {"REL24_I as REL24", 89, 4, 0xEB000000, 0x1000, 0x2000, 0xEBFFFBFE, true},
    {"REL24_BL is BLX", 64, 4, 0xEB123456, 0x102, 0, 0xFB00003E, true},
    {"SDT_OFFSET negative", 5, 4, 0xE5900000, uint32_t(-4), 0, 0xE5100004, true},
    {"SDT_OFFSET largest", 5, 4, 0xE5100000, 0xFFF, 0, 0xE5900FFF, true},
    {"SDT_OFFSET beyond", 5, 4, 0xE5900000, 0x1000, 0, 0xE5900000, false},
    {"CDT_OFFSET largest", 6, 4, 0xED9000FF, 0xF, 0, 0xED90000F, true},
    {"CDT_OFFSET beyond", 6, 4, 0xED900000, uint32_t(-0x10), 0, 0xED100010, false},
    {"SDT_PCREL_OFFSET", 7, 4, 0xE59F0000, 0x100, 0x100, 0xE51F0008, true},
    {"CDT_PCREL_OFFSET", 8, 4, 0xED1F0000, 0x117, 0x100, 0xED9F000F, true},
    {"ADR forwards", 9, 4, 0xE28F0000, 0x400, 0x100, 0xE28F0FBE, true},
    {"ADR backwards is SUB", 9, 4, 0xE28F0000, 0x100, 0x200, 0xE24F0F42, true},
    {"ADR unencodable", 9, 4, 0xE28F0000, 0x109, 0, 0xE28F0FFF, false},
    {"SHIFT_IMM", 11, 4, 0xE3A00123, 0x3FC, 0, 0xE3A00FFF, true},
    {"SHIFT_IMM negative", 11, 4, 0xE3A00000, uint32_t(-0x100), 0, 0xE3A00C01, true},
    {"SHIFT_IMM unencodable", 11, 4, 0xE3A00000, 0x101, 0, 0xE3A00FFF, false},
    {"RELATIVE leaves it", 12, 4, 0x12345678, 0x1000, 0, 0x12345678, true},
    {"HSDT_OFFSET", 24, 4, 0xE1D00FBF, 0xAB, 0, 0xE1D00ABB, true},
    {"HSDT_OFFSET negative", 24, 4, 0xE1D000B0, uint32_t(-0xFF), 0, 0xE1500FBF, true},
    {"HSDT_OFFSET beyond", 24, 4, 0xE1D000B0, 0x100, 0, 0xE1D000B0, false},
    {"HSDT_PCREL_OFFSET", 25, 4, 0xE1DF00B0, 0x110, 0x100, 0xE1DF00B8, true},
    {"SECTOFF", 26, 4, 0, 0x1234, 0, 0x1234, true},
    {"REL8 farthest", 32, 2, 0xD000, 0x1102, 0x1000, 0xD07F, true},
    {"REL8 beyond", 32, 2, 0xD0FF, 0x1104, 0x1000, 0xD080, false},
    {"REL8 behind", 32, 2, 0xD000, 0xF04, 0x1000, 0xD080, true},
    {"REL11 farthest", 33, 2, 0xE000, 0x1802, 0x1000, 0xE3FF, true},
    {"REL11 beyond", 33, 2, 0xE000, 0x1804, 0x1000, 0xE400, false},
    {"REL11 behind", 33, 2, 0xE000, 0x804, 0x1000, 0xE400, true},
    {"REL_HI farthest", 34, 2, 0xF000, 0x401002, 0x1000, 0xF3FF, true},
    {"REL_HI beyond", 34, 2, 0xF000, 0x401004, 0x1000, 0xF400, false},
    {"REL_HI farthest behind", 34, 2, 0xF7FF, uint32_t(-0x3FEFFC), 0x1000, 0xF400, true},
    {"REL_LO BL", 35, 2, 0xF800, 0x1802, 0x1002, 0xFBFF, true},
    {"REL_LO BL keeps bit 1 clear", 35, 2, 0xF800, 0x2000, 0x1004, 0xFFFD, true},
    {"REL_LO BLX takes bit 1", 35, 2, 0xE800, 0x2000, 0x1004, 0xEFFE, true},
    {"REL_LO beyond", 35, 2, 0xF800, 0x401004, 0x1002, 0xF800, false},
    {"REL_HI_BL takes bit 1", 65, 2, 0xF000, 0x101000, 0x1002, 0xF0FF, true},
    {"REL_LO_BL is BLX", 66, 2, 0xF800, 0x2000, 0x1004, 0xEFFE, true},
    {"REL_LO_BL beyond", 66, 2, 0xF800, 0x401006, 0x1004, 0xE800, false},
    {"SDT8 keeps the register", 36, 2, 0x4F12, 0x3FC, 0, 0x4FFF, true},
    {"SDT8 beyond", 36, 2, 0x4F00, 0x400, 0, 0x4F00, false},
    {"SDT8_REL", 37, 2, 0x4800, 0x124, 0x100, 0x4808, true},
    {"SDT5", 38, 2, 0x6800, 0x7C, 0, 0x6FC0, true},
    {"SDT5 beyond", 38, 2, 0x6FC0, 0x80, 0, 0x6800, false},
    {"SDT5 negative passes", 38, 2, 0x6800, uint32_t(-4), 0, 0x6FC0, true},
    {"SDTB5", 39, 2, 0x7800, 0x1F, 0, 0x7FC0, true},
    {"SDTH5", 40, 2, 0x8800, 0x3E, 0, 0x8FC0, true},
    {"SDTH5 beyond", 40, 2, 0x8800, 0x40, 0, 0x8800, false},
    {"IMM8 or-ed in", 41, 2, 0x2005, 0xF0, 0, 0x20F5, true},
    {"IMM8 beyond", 41, 2, 0x2005, 0x100, 0, 0x2005, false},
    {"IMM5", 42, 2, 0x0000, 0x20, 0, 0x0000, false},
    {"IMM3", 43, 2, 0x1C00, 7, 0, 0x1DC0, true},
    {"IMM3 beyond", 43, 2, 0x1C00, 8, 0, 0x1C00, false},
    {"IMM8_ALN", 44, 2, 0xA000, 0x3FC, 0, 0xA0FF, true},
    {"IMM8_ALN beyond", 44, 2, 0xA000, 0x400, 0, 0xA000, false},
    {"IMM7_ALN clears bit 7", 45, 2, 0xB080, 0x1FC, 0, 0xB07F, true},
    {"IMM7_ALN beyond", 45, 2, 0xB000, 0x200, 0, 0xB000, false},
    {"REL23", 0x81, 4, 0xFFFFFFFF, 0x1000, 0, 0xFF800400, true},
    {"REL23 behind", 0x81, 4, 0, 0, 0x2000000, 0x00000000, true},
    {"REL23 beyond", 0x81, 4, 0xFFFFFFFF, 0x2000000, 0, 0xFF800000, false},
    {"ADDR23", 0x82, 4, 0, 0x7FFFFF, 0, 0x7FFFFF, true},
    {"ADDR23 beyond", 0x82, 4, 0, 0x800000, 0, 0, false},
    {"RI_IM9", 0x83, 4, 0xFFFFFFFF, 0x7FFFF, 0, 0xFFFFFFFF, true},
    {"RI_IM9 pieces", 0x83, 4, 0, 0x7FFFF, 0, 0x0F0F83FF, true},
    {"RI_IM9 beyond", 0x83, 4, 0, 0x80000, 0, 0, false},
    {"RRRM9_IM9", 0x84, 4, 0, 0x1FF, 0, 0x7801F, true},
    {"RRRM9_IM9 beyond", 0x84, 4, 0, 0x200, 0, 0, false},
    {"REAI_IM8", 0x85, 4, 0, 0xFF, 0, 0x3801F, true},
    {"REAI_IM8 beyond", 0x85, 4, 0, 0x100, 0, 0, false},
    {"RRRM5_IM5", 0x86, 4, 0xFFFFFFE0, 0x1F, 0, 0xFFFFFFFF, true},
    {"RRRM5_IM5 beyond", 0x86, 4, 0xFFFFFFFF, 0x20, 0, 0xFFFFFFE0, false},
    {"RI_IM19_H19", 0x87, 4, 0, 0xFFFFE000, 0, 0x0F0F83FF, true},
    {"RI_IM19_H19 keeps", 0x87, 4, 0xFFFFFFFF, 0, 0, 0xF0F04C00, true},
    {"RI_IM19_L16", 0x88, 4, 0, 0xFFFF, 0, 0x010F83FF, true},
};

struct ArmLink {
    FakeObjectFile object{"a.o"};
    LinkSection text{object, ".text", 0x8000};
    ReportingEntry entry;

    ArmLink() {
        entry.sectionOf = &text;
        entry.entryIndex = 3;
        entry.offset = 0x40;
        entry.target = &text;
    }
};

TEST(ElfARMFixupTable, FieldRoutinesInBothOrders) {
    for (bool big : {true, false}) {
        for (const FieldCase &c : fieldCases) {
            SCOPED_TRACE(std::string(c.what) + (big ? " (big)" : " (little)"));
            ArmLink link;
            uint32_t written;
            bool fits = runRow(elfARMFixupTable(big), c.type, link.entry, c.width, c.field, c.value,
                               c.address, big, written);
            EXPECT_EQ(written, c.written) << std::hex << written;
            EXPECT_EQ(fits, c.fits);
            EXPECT_TRUE(link.entry.reports.reports.empty());
        }
    }
}

TEST(ElfARMFixupTable, AdrlSplitsTheDistanceOverTwoInstructions) {
    const struct {
        uint32_t value;
        uint32_t first, second;
    } cases[] = {
        {0x1234 + 0x108, 0xE28F0034, 0xE2800C12},           // E = 0x1234
        {uint32_t(0x108 - 0x1234), 0xE24F0034, 0xE2400C12}, // E = -0x1234: both SUB
        {0x12345 + 0x108, 0xE28F0045, 0xE2800C23},          // bits above 15 are lost
    };
    for (bool big : {true, false}) {
        for (const auto &c : cases) {
            ArmLink link;
            std::vector<uint8_t> bytes = orderedBytes(0xE28F0000, 4, big);
            std::vector<uint8_t> second = orderedBytes(0xE2800000, 4, big);
            bytes.resize(4);
            bytes.insert(bytes.end(), second.begin(), second.end());
            const FixupRow *row = elfARMFixupTable(big).lookup(10);
            EXPECT_TRUE(row->fixup(link.entry, bytes.data(), c.value, 0x100));
            std::vector<uint8_t> tail(bytes.begin() + 4, bytes.end());
            EXPECT_EQ(orderedValue(bytes, 4, big), c.first) << std::hex << c.value;
            EXPECT_EQ(orderedValue(tail, 4, big), c.second) << std::hex << c.value;
            EXPECT_EQ(tail[4], 0xEE);
        }
    }
}

// ---- The Thumb mark and the weak fallback ------------------------------

TEST(ElfARMFixupTable, WordMarksThumbTargetsAndNeedsATarget) {
    for (bool big : {true, false}) {
        const struct {
            uint8_t info;
            uint32_t written;
        } marks[] = {{0x1D, 0x9001}, {0x0F, 0x9001}, {0x12, 0x9000}, {0x1E, 0x9000}};
        for (const auto &m : marks) {
            for (uint32_t type : {1u, 26u, 67u}) {
                ArmLink link;
                RecordSymbol f(link.object, "f", m.info);
                f.global().in(link.text);
                link.entry.target = nullptr;
                link.entry.symbol = &f;
                uint32_t written;
                EXPECT_TRUE(
                    runRow(elfARMFixupTable(big), type, link.entry, 4, 0, 0x9000, 0, big, written));
                EXPECT_EQ(written, m.written) << int(m.info) << " type " << type;
            }
        }
        // Neither symbol nor section: reported, and the word stays.
        ArmLink link;
        link.entry.target = nullptr;
        uint32_t written;
        EXPECT_TRUE(
            runRow(elfARMFixupTable(big), 1, link.entry, 4, 0xCAFE, 0x9000, 0, big, written));
        EXPECT_EQ(written, 0xCAFEu);
        ASSERT_EQ(link.entry.reports.reports.size(), 1u);
        EXPECT_EQ(link.entry.reports.reports[0],
                  errorOfEntry3("section \"???\"", "In a.o: relocation at 0x40 in section "
                                                   ".text\n|\t\t references no symbol."));
    }
}

TEST(ElfARMFixupTable, WeakFallbackLandsOnTheNextInstruction) {
    const struct {
        uint32_t type;
        uint32_t width;
        uint32_t field;
        uint32_t written;
    } cases[] = {
        {2, 4, 0xEB000000, 0xEBFFFFFF},  // E = -4
        {89, 4, 0xEB000000, 0xEBFFFFFF}, //
        {64, 4, 0xEB000000, 0xFAFFFFFF}, // bit 1 of -4 is clear
        {33, 2, 0xE000, 0xE7FF},         // (P + 2 - P - 4) >> 1 = -1
        {34, 2, 0xF7FF, 0xF000},         // U = 0
        {35, 2, 0xFFFF, 0xF800},         //
        {66, 2, 0xF800, 0xE800},         //
        {32, 2, 0xD000, 0xD0FE},         // REL8 has no fallback: V - P - 4 = -0x1004
    };
    for (bool big : {true, false}) {
        for (const auto &c : cases) {
            ArmLink link;
            FakeSymbol &weak = link.object.symbol("w").weak().undefined();
            link.entry.target = nullptr;
            link.entry.symbol = &weak;
            uint32_t written;
            runRow(elfARMFixupTable(big), c.type, link.entry, c.width, c.field, 0, 0x1000, big,
                   written);
            EXPECT_EQ(written, c.written) << "type " << c.type << std::hex << " " << written;
            EXPECT_TRUE(link.entry.reports.reports.empty());
        }
    }
}

// ---- The static base -----------------------------------------------------

// A link whose static base is at 0x10000; the target "d" lies at 0x12345 in
// ".data", which is or is not in the data segment.
struct StaticBaseLink : ArmLink {
    FixupOutput output;
    CellTable cells;
    SectionGroup segment{0, nullptr, 0x12000};
    LinkSection data{object, ".data", 0x12000};
    FakeSymbol &d = object.symbol("d");

    explicit StaticBaseLink(bool inSegment) {
        output.sda = 0x10000;
        output.cells = &cells;
        cells.tableBase = 0x30000;
        cells.cell = 0x10;
        output.data = &segment;
        data.group = inSegment ? &segment : nullptr;
        d.local().at(0x345).in(data);
        entry.output = &output;
        entry.target = nullptr;
        entry.symbol = &d;
        ElfARMFixupTable::sbDirect = false;
    }
    ~StaticBaseLink() { ElfARMFixupTable::sbDirect = false; }

    uint32_t run(uint32_t type, uint32_t field, bool big, uint32_t width = 4) {
        uint32_t written;
        EXPECT_TRUE(runRow(elfARMFixupTable(big), type, entry, width, field, 0, 0, big, written));
        return written;
    }
};

TEST(ElfARMFixupTable, StaticBaseFormsReachingDirectly) {
    for (bool big : {true, false}) {
        for (bool bySwitch : {false, true}) {
            StaticBaseLink link(!bySwitch);
            ElfARMFixupTable::sbDirect = bySwitch;
            link.entry.addendOf = 8;
            // SBOFF, SBSEG: E = 0x2345, R = 0x3000, U = -0xCBB + 8.
            EXPECT_EQ(link.run(16, 0xE59B0FFF, big), 0xE51B0CB3u);
            EXPECT_EQ(link.run(21, 0xE59B0000, big), 0xE51B0CB3u);
            // SBHI: E = 0x234D, R = 0x3000 as ADD.
            EXPECT_EQ(link.run(19, 0xE28B0000, big), 0xE28B0A03u);
            // SBOFFHI, SBOFFLO: U = 0x234D - 0x3000 = -0xCB3, as SUB.
            EXPECT_EQ(link.run(17, 0xE28B0000, big), 0xE24B0ECBu);
            EXPECT_EQ(link.run(18, 0xE28B0000, big), 0xE24B0003u);
            // SBSEGHI, SBSEGLO: U = 0x2345 - 0x3000 + 8 = -0xCB3.
            EXPECT_EQ(link.run(22, 0xE28B0000, big), 0xE24B0ECBu);
            EXPECT_EQ(link.run(23, 0xE28B0000, big), 0xE24B0003u);
            // SDA: the load offset 0x234D does not fit 12 bits.
            uint32_t written;
            EXPECT_FALSE(
                runRow(elfARMFixupTable(big), 20, link.entry, 4, 0xE59B0000, 0, 0, big, written));
            EXPECT_EQ(written, 0xE59B034Du);
            link.entry.addendOf = -0x2000;
            EXPECT_TRUE(
                runRow(elfARMFixupTable(big), 20, link.entry, 4, 0xE59B0000, 0, 0, big, written));
            EXPECT_EQ(written, 0xE59B0345u);
            EXPECT_TRUE(link.cells.asked.empty());
        }
    }
}

TEST(ElfARMFixupTable, StaticBaseHighBelowTheBaseAndOutOfReach) {
    for (bool big : {true, false}) {
        StaticBaseLink link(true);
        link.output.sda = 0x20000; // E = -0xDCBB, R = -0xD000
        EXPECT_EQ(link.run(19, 0xE28B0000, big), 0xE24B0A0Du);
        EXPECT_TRUE(link.entry.reports.reports.empty());
        link.output.sda = 0x12345 - 0x111000; // R = 0x111000: no rotation fits
        EXPECT_EQ(link.run(19, 0xE28B0000, big), 0xE28B0FFFu);
        ASSERT_EQ(link.entry.reports.reports.size(), 1u);
        EXPECT_EQ(link.entry.reports.reports[0],
                  errorOfEntry3("symbol \"d\"", "Target is out of range"));
    }
}

TEST(ElfARMFixupTable, StaticBaseFormsThroughTheOffsetTable) {
    for (bool big : {true, false}) {
        StaticBaseLink link(false);
        link.entry.addendOf = 8;
        // SBOFF: the addend alone, upwards; the cell is looked up by section.
        EXPECT_EQ(link.run(16, 0xE59B0FFF, big), 0xE59B0008u);
        EXPECT_EQ(link.cells.asked, "section .data+837");
        // SBHI: a load of the cell at 0x30010 - 0x10000.
        EXPECT_EQ(link.run(19, 0xE28B0FFF, big), 0xE59B0010u);
        EXPECT_EQ(link.cells.asked, "section .data+845");
        link.output.sda = 0x40000; // the cell lies 0xFFF0 below the base
        EXPECT_EQ(link.run(19, 0xE28B0000, big), 0xE51B0FF0u);
        // SBOFFHI and SBSEGLO out of reach are no-operations.
        EXPECT_EQ(link.run(17, 0xE28B0000, big), 0xE1A00000u);
        EXPECT_EQ(link.run(23, 0xE28B0000, big), 0xE1A00000u);
        EXPECT_TRUE(link.entry.reports.reports.empty());
        // A missing cell is reported.
        link.cells.cell = -1;
        link.run(16, 0, big);
        ASSERT_EQ(link.entry.reports.reports.size(), 1u);
        EXPECT_EQ(link.entry.reports.reports[0], errorOfEntry3("symbol \"d\"", "Target is bad"));
    }
}

TEST(ElfARMFixupTable, OffsetCellOfThumbGlobalAndRelativeTargets) {
    for (bool big : {true, false}) {
        StaticBaseLink link(false);
        link.output.sda = 0x30000;
        link.cells.cell = 0x1234;
        // R_ARM_16_SDAHI / SDALO: T = 0x1234 in two pieces.
        EXPECT_EQ(link.run(46, 0x4800, big, 2), 0x4824u);
        EXPECT_EQ(link.run(47, 0x4800, big, 2), 0x4B40u);
        // A Thumb target's cell is that of its address with bit 0 set.
        RecordSymbol t(link.object, "t", 0x0D);
        t.local().at(0x20).in(link.data);
        link.entry.symbol = &t;
        link.entry.addendOf = 4;
        link.run(46, 0x4800, big, 2);
        EXPECT_EQ(link.cells.asked, "section .data+37");
        // SBSEG asks relative: the addend is taken off again.
        link.run(21, 0, big);
        EXPECT_EQ(link.cells.asked, "section .data+33");
        // A global target is looked up by its (mapped) symbol.
        FakeSymbol &g = link.object.symbol("g").global().undefined();
        link.entry.symbol = &g;
        link.entry.addendOf = 0;
        link.run(46, 0x4800, big, 2);
        EXPECT_EQ(link.cells.asked, "symbol g+0");
        // No table: nothing to look in.
        link.output.cells = nullptr;
        link.entry.reports.reports.clear();
        link.entry.symbol = &link.d;
        link.run(47, 0x4800, big, 2);
        ASSERT_EQ(link.entry.reports.reports.size(), 1u);
        EXPECT_EQ(link.entry.reports.reports[0], errorOfEntry3("symbol \"d\"", "Target is bad"));
    }
}

TEST(ElfARMFixupTable, TargetOptionsSwitchDirectReachOn) {
    RelocationOptions options;
    const struct {
        const RelocationOptions *given;
        uint8_t dynamicOutput;
        uint8_t reservedExports;
        bool direct;
    } cases[] = {
        {nullptr, 0, 0, true},  {&options, 1, 0, false}, {&options, 0, 0, true},
        {&options, 1, 1, true}, {&options, 0, 1, true},
    };
    for (const auto &c : cases) {
        ElfARMFixupTable::sbDirect = false;
        options.dynamicOutput = c.dynamicOutput;
        options.reservedExports = c.reservedExports;
        ElfARMFixupTable::takeTargetOptions(c.given);
        EXPECT_EQ(ElfARMFixupTable::sbDirect, c.direct);
        // Nothing clears the switch once set.
        options.dynamicOutput = 1;
        options.reservedExports = 0;
        ElfARMFixupTable::takeTargetOptions(&options);
        EXPECT_EQ(ElfARMFixupTable::sbDirect, c.direct);
    }
    ElfARMFixupTable::sbDirect = false;
}

// ---- The two regions -----------------------------------------------------

// Regions split at 0x8000 and 0x40000; B at 0x1000.  "u" lies in the upper
// region (0x50100), "l" in the lower (0x9000).
struct RegionLink : ArmLink {
    FixupOutput output;
    LinkSection high{object, ".high", 0x50000};
    LinkSection low{object, ".low", 0x9000};
    RecordSymbol u{object, "u", 0x1D};
    RecordSymbol l{object, "l", 0x12};
    FakeSymbol &w = object.symbol("w").weak().undefined();

    RegionLink() {
        output.sda = 0x1000;
        output.start = 0x8000;
        output.end = 0x40000;
        u.global().at(0x100).in(high);
        l.global().in(low);
        entry.output = &output;
        entry.target = nullptr;
    }

    uint32_t run(uint32_t type, Symbol &target, uint32_t width, uint32_t field, bool big) {
        entry.symbol = &target;
        uint32_t written;
        EXPECT_TRUE(runRow(elfARMFixupTable(big), type, entry, width, field, 0, 0, big, written));
        return written;
    }
};

TEST(ElfARMFixupTable, RegionForms) {
    for (bool big : {true, false}) {
        for (bool reversed : {false, true}) {
            RegionLink link;
            if (reversed) { // the upper region is then what lies below the start
                link.output.start = 0x40000;
                link.output.end = 0x8000;
                link.high.start = 0;      // u at 0x100
                link.low.start = 0x50000; // l at 0x50000
            }
            // R_ARM_16_SDADISP: the distance from the start of the target's
            // region (the end for the upper one), plus the word, marked.
            EXPECT_EQ(link.run(48, link.u, 4, 4, big), reversed ? 0xFFFF8105 : 0x10105u);
            EXPECT_EQ(link.run(48, link.l, 4, 4, big), reversed ? 0x10004u : 0x1004u);
            EXPECT_EQ(link.run(48, link.w, 4, 4, big), 0u);
            // R_ARM_16_SDAREG: ADD r3, r10 or ADD r3, r9.
            EXPECT_EQ(link.run(49, link.u, 2, 0x4B00, big), 0x4453u);
            EXPECT_EQ(link.run(49, link.l, 2, 0x4B00, big), 0x444Bu);
            EXPECT_EQ(link.run(49, link.w, 2, 0x4B00, big), 0u);
            // R_ARM_PICREG and its Thumb form.
            EXPECT_EQ(link.run(83, link.u, 4, 0xE28FFFFF, big), 0xE08FF00Fu);
            EXPECT_EQ(link.run(83, link.l, 4, 0xE28FFFFF, big), 0xE08FF009u);
            EXPECT_EQ(link.run(83, link.w, 4, 0xE08FFFFF, big), 0xE28FF000u);
            EXPECT_EQ(link.run(84, link.u, 2, 0x4D00, big), 0x447Du);
            EXPECT_EQ(link.run(84, link.l, 2, 0x4D00, big), 0x444Du);
            EXPECT_EQ(link.run(84, link.w, 2, 0x4D00, big), 0u);
        }
    }
}

TEST(ElfARMFixupTable, DisplacementForms) {
    const struct {
        uint32_t type;
        uint32_t word;
        uint32_t written;
    } cases[] = {
        {85, 0, 0},                               // nothing to change
        {85, 0x9000, 0x8000},                     // lower region: less B
        {85, 0x50000, 0xFFFFFEF0},                // upper: less (0x50100 + 4) less 0xC
        {86, 0x9000, 0x8000},                     //
        {86, 0x50000, 0xFFFFFEF6},                // less 6
        {87, 0x9000, uint32_t(0x9000 - 0x50110)}, // RODISP: no region test
        {87, 0, 0},                               //
        {88, 0x50000, 0xFFFFFEF6},                //
    };
    for (bool big : {true, false}) {
        for (const auto &c : cases) {
            RegionLink link;
            link.entry.addendOf = 4;
            EXPECT_EQ(link.run(c.type, link.u, 4, c.word, big), c.written) << c.type;
        }
    }
}

TEST(ElfARMFixupTable, DllForms) {
    for (bool big : {true, false}) {
        RegionLink link;
        link.low.start = 0x3FF; // l at 0x3FF
        EXPECT_EQ(link.run(80, link.l, 4, 0xE5100ABC, big), 0xE5900FFCu);
        link.low.start = 0x7FF; // bits 5 to 9 and 0 to 4
        EXPECT_EQ(link.run(81, link.l, 2, 0x6800, big), 0x6FC0u);
        EXPECT_EQ(link.run(82, link.l, 2, 0x6800, big), 0x6FC0u);
        link.low.start = 0x7E0;
        EXPECT_EQ(link.run(82, link.l, 2, 0x6800, big), 0x6800u);
        // The answer is on V, which a machine-specific entry gets as 0.
        uint32_t written;
        for (uint32_t type : {80u, 81u, 82u}) {
            EXPECT_TRUE(
                runRow(elfARMFixupTable(big), type, link.entry, 4, 0, 0x7F, 0, big, written));
            EXPECT_FALSE(
                runRow(elfARMFixupTable(big), type, link.entry, 4, 0, 0x80, 0, big, written));
            EXPECT_FALSE(runRow(elfARMFixupTable(big), type, link.entry, 4, 0, uint32_t(-1), 0, big,
                                written));
        }
    }
}

} // namespace
