// The PowerPC fixup table: its three ranges and the gaps between them, the
// instruction-field routines in both byte orders at their limits, and the
// small-data model - the choice among the three areas, the base register,
// the tables of cells, section starts and every report.
#include "reloc/ElfPPCFixupTable.h"

#include "RelocTestKit.h"

#include "object/SectionGroup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const ReferenceKind direct = ReferenceKind::direct;
const ReferenceKind byFixup = ReferenceKind::machineSpecific;
const ReferenceKind got = ReferenceKind::gotReference, invalid = ReferenceKind::invalid,
                    plt = ReferenceKind::pltReference, sec = ReferenceKind::sectionRelative;

TEST(ElfPPCFixupTable, RowsOfBothOrdersShareNamesKindsAndFlags) {
    for (bool bigEndian : {true, false}) {
        ElfFixupTable &table = elfPPCFixupTable(bigEndian);
        const std::vector<ExpectedRow> rows = {{0, "NONE", direct, 0},
                                               {1, "ADDR32", direct, 0},
                                               {6, "ADDR16_HA", direct, 0},
                                               {10, "REL24", direct, 1},
                                               {13, "REL14_BRNTAKEN", direct, 1},
                                               {16, "GOT17_HI", got, 0},
                                               {18, "PLT24", plt, 1},
                                               {19, "NONE", direct, 0},
                                               {21, "JMPSLOT", invalid, 0},
                                               {26, "REL32", direct, 1},
                                               {28, "PLTREL32", plt, 1},
                                               {32, "SDAREL16", byFixup, 0},
                                               {33, "SECTOFF", sec, 0},
                                               {37, "ADDR30", direct, 1},
                                               {0x65, "NADDR32", direct, 0},
                                               {0x6D, "SDA21", byFixup, 0},
                                               {0x6F, "RELSEC16", sec, 0},
                                               {0x74, "RELSDA", byFixup, 0},
                                               {0xB4, "R_PPC_DIAB_SDA21_LO", byFixup, 0},
                                               {0xB9, "R_PPC_DIAB_RELSDA_HA", byFixup, 0}};
        expectRows(table, rows);
        // Beyond each range and in the gaps there is no row at all.
        for (uint32_t gap : {38u, 0x64u, 0x75u, 0xB3u, 0xBAu, 0xFFu})
            EXPECT_EQ(table.lookup(gap), nullptr) << gap;
    }
    EXPECT_EQ(&elfPPCFixupTable(true), &elfPPCFixupTable(true)); // one table per order
    EXPECT_NE(&elfPPCFixupTable(true), &elfPPCFixupTable(false));
    EXPECT_EQ(elfPPCFixupTable(true).lookup(1)->fixup, reloc::set32Be);
    EXPECT_EQ(elfPPCFixupTable(false).lookup(1)->fixup, reloc::set32Le);
    EXPECT_EQ(elfPPCFixupTable(false).lookup(0x65)->fixup, reloc::subtractValue32Le);
    EXPECT_EQ(elfPPCFixupTable(true).lookup(2)->fixup, reloc::ppcAddr24Be);
    EXPECT_EQ(elfPPCFixupTable(false).lookup(37)->fixup, reloc::ppcRel30Le);
}

struct FieldCase {
    const char *what;
    uint32_t type;
    uint32_t width;
    uint32_t field;
    uint32_t value;
    uint32_t address;
    int32_t addend;
    uint32_t writtenBig;
    uint32_t writtenLittle;
    bool fits;
};

const FieldCase fieldCases[] = {
    {"ADDR24 top", 2, 4, 0x48000001, 0x1FFFFFC, 0, 0, 0x49FFFFFD, 0x49FFFFFD, true},
    {"ADDR24 too far", 2, 4, 0x48000001, 0x2000000, 0, 0, 0x48000001, 0x48000001, false},
    {"ADDR24 bottom", 2, 4, 0x48000001, 0xFE000000, 0, 0, 0x4A000001, 0x4A000001, true},
    {"REL24 back", 10, 4, 0x48000000, 0x1000, 0x2000, 0, 0x4BFFF000, 0x4BFFF000, true},
    {"REL24 absolute", 10, 4, 0x48000000, 0x100, 0x80000000, 0, 0x48000102, 0x48000102, true},
    {"REL24 nowhere", 10, 4, 0x48000000, 0x40000000, 0x80000000, 0, 0x48000000, 0x48000000, false},
    {"PLT24", 18, 4, 0x48000001, 0x2000, 0x1000, 0, 0x48001001, 0x48001001, true},
    {"ADDR14 top", 7, 4, 0x41820003, 0x7FFC, 0, 0, 0x41827FFF, 0x41827FFF, true},
    {"ADDR14 too far", 8, 4, 0x41820003, 0x8000, 0, 0, 0x41820003, 0x41820003, false},
    {"ADDR14 bottom", 9, 4, 0x41820003, 0xFFFF8000, 0, 0, 0x41828003, 0x41828003, true},
    {"REL14 back", 11, 4, 0x40820000, 0x1000, 0x1010, 0, 0x4082FFF0, 0x4082FFF0, true},
    {"REL14 too far", 12, 4, 0x40820000, 0x9000, 0x1000, 0, 0x40820000, 0x40820000, false},
    {"ADDR16 top", 3, 2, 0x1234, 0x7FFF, 0, 0, 0x7FFF, 0x7FFF, true},
    {"ADDR16 too big", 3, 2, 0x1234, 0x8000, 0, 0, 0x1234, 0x1234, false},
    {"ADDR16 bottom", 25, 2, 0x1234, 0xFFFF8000, 0, 0, 0x8000, 0x8000, true},
    {"ADDR16_LO", 4, 2, 0, 0x12345678, 0, 0, 0x5678, 0x5678, true},
    {"ADDR16_HI", 5, 2, 0, 0x12345678, 0, 0, 0x1234, 0x1234, true},
    {"ADDR16_HA up", 6, 2, 0, 0x18000, 0, 0, 2, 2, true},
    {"ADDR16_HA same", 17, 2, 0, 0x12347FFF, 0, 0, 0x1234, 0x1234, true},
    {"SECTOFF_HI", 35, 2, 0, 0x18000, 0, 0, 1, 1, true},
    {"ADDR30", 37, 4, 0xAAAAAAAB, 0x2000, 0x1000, 0, 0x00001003, 0x00001003, true},
    {"ADDR30 back", 37, 4, 0x1, 0x1000, 0x2000, 0, 0xFFFFF001, 0xFFFFF001, true},
    {"REL32", 26, 4, 0x11111111, 0x3000, 0x1000, 0, 0x2000, 0x2000, true},
    {"BIT_FLD", 0x73, 4, 0xFFFFFFFF, 0x5A, 0, 0x00040008, 0xF5AFFFFF, 0xFFFFF5AF, true},
    {"BIT_FLD whole word", 0x73, 4, 0, 0x12345678, 0, 0x00000020, 0x12345678, 0x12345678, true},
    {"BIT_FLD past the word", 0x73, 4, 0x11, 0x5A, 0, 0x00180009, 0x11, 0x11, false},
    {"MRKREF", 0x6E, 4, 0x11223344, 0x5A, 0, 0, 0x11223344, 0x11223344, true},
};

class PpcField : public ::testing::TestWithParam<FieldCase> {};

TEST_P(PpcField, WritesItsFieldInBothOrders) {
    const FieldCase &c = GetParam();
    for (bool bigEndian : {true, false}) {
        ReportingEntry entry;
        entry.addendOf = c.addend;
        std::vector<uint8_t> bytes = orderedBytes(c.field, c.width, bigEndian);
        const FixupRow *row = elfPPCFixupTable(bigEndian).lookup(c.type);
        EXPECT_EQ(row->fixup(entry, bytes.data(), c.value, c.address), c.fits)
            << c.what << (bigEndian ? " big" : " little");
        EXPECT_EQ(bytes,
                  orderedBytes(bigEndian ? c.writtenBig : c.writtenLittle, c.width, bigEndian))
            << c.what << (bigEndian ? " big" : " little");
        EXPECT_TRUE(entry.reports.reports.empty()) << c.what;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, PpcField, ::testing::ValuesIn(fieldCases));

TEST(ElfPPCFixupTable, BranchOffAWordIsReportedAndWritten) {
    FakeObjectFile object("ppc.o");
    FakeSection &text = object.section(".text");
    for (bool bigEndian : {true, false}) {
        ReportingEntry entry;
        entry.sectionOf = &text;
        entry.offset = 0x10;
        entry.entryIndex = 3;
        entry.typeText = "ADDR24";
        std::vector<uint8_t> word = orderedBytes(0x48000000, 4, bigEndian);
        EXPECT_TRUE(elfPPCFixupTable(bigEndian).lookup(2)->fixup(entry, word.data(), 0x102, 0));
        EXPECT_EQ(word, orderedBytes(0x48000100, 4, bigEndian));
        // A relative branch reports the distance.
        EXPECT_TRUE(
            elfPPCFixupTable(bigEndian).lookup(10)->fixup(entry, word.data(), 0x1006, 0x1000));
        EXPECT_EQ(entry.reports.reports,
                  (std::vector<std::string>{
                      "E: In ppc.o, section .text at 0x10,\n|\t(relocation record #3 of type "
                      "ADDR24) refs section \"???\":\n|\tdisplacement of jump is not on a word "
                      "multiple: 0x102.",
                      "E: In ppc.o, section .text at 0x10,\n|\t(relocation record #3 of type "
                      "ADDR24) refs section \"???\":\n|\tdisplacement of jump is not on a word "
                      "multiple: 0x6."}));
    }
}

// A link with the three small-data areas: area 0 based at 0, area 1
// (_SDA_BASE_) at 0x8000, area 2 (_SDA2_BASE_) at 0x9000, each base symbol
// in a section of its own group; and sections outside every group.
class SmallData : public ::testing::Test {
protected:
    FakeObjectFile object{"ppc.o"};
    SectionGroup groups[3] = {{0, nullptr, SectionGroup::none},
                              {0, nullptr, SectionGroup::none},
                              {0, nullptr, SectionGroup::none}};
    LinkSection areaSections[3] = {
        {object, ".PCC.EMB.sdata0"}, {object, ".sdata"}, {object, ".sdata2"}};
    LinkSection loose{object, ".data"};
    LinkSection text{object, ".text"};
    FixupOutput output;
    ReportingEntry entry;

    void SetUp() override {
        ElfPPCFixupTable::forgetSmallDataAreas();
        const char *names[3] = {"0", "_SDA_BASE_", "_SDA2_BASE_"};
        for (int i = 0; i < 3; ++i) {
            areaSections[i].group = &groups[i];
            output.baseSymbols[i] = &object.symbol(names[i]).in(areaSections[i]);
        }
        output.sda = 0x8000;
        output.sda2 = 0x9000;
        entry.output = &output;
        entry.sectionOf = &text;
        entry.offset = 0x100;
    }
    void TearDown() override { ElfPPCFixupTable::forgetSmallDataAreas(); }

    // Points the entry at a new symbol at `address` in `section`.
    void target(LinkSection &section, uint32_t address) {
        entry.symbol = &object.symbol("x").in(section).at(address - section.start);
    }
    bool apply(bool bigEndian, uint32_t type, uint8_t *place) {
        return elfPPCFixupTable(bigEndian).lookup(type)->fixup(entry, place, 0, 0x1000);
    }
};

// "SDA21" in a big-endian file whose entry points at the instruction: the
// register byte is the second one, the displacement follows.
TEST_F(SmallData, AreasAreTriedInTheOrderOneTwoZero) {
    struct {
        LinkSection *section;
        uint32_t address;
        uint32_t reg;
        uint32_t displacement;
    } cases[] = {
        {&loose, 0x7000, 13, 0xF000},        // all three reach: area 1 first
        {&loose, 0x10000, 2, 0x7000},        // base 1 + 0x8000 is beyond area 1
        {&loose, 0x0, 13, 0x8000},           // base 1 - 0x8000 is within it
        {&loose, 0xFFFFFF00, 0, 0xFF00},     // only area 0 reaches
        {&areaSections[2], 0x9010, 2, 0x10}, // the target's own group first
        {&areaSections[0], 0x10, 0, 0x10},
    };
    for (const auto &c : cases) {
        target(*c.section, c.address);
        uint8_t insn[4] = {0x81, 0x60, 0x00, 0x00}; // lwz r11,0(r0)
        EXPECT_TRUE(apply(true, 0x6D, insn));
        EXPECT_EQ(insn[0], 0x81);
        EXPECT_EQ(insn[1], 0x60 | c.reg) << std::hex << c.address;
        EXPECT_EQ(insn[2] << 8 | insn[3], int(c.displacement)) << std::hex << c.address;
    }
    EXPECT_TRUE(entry.reports.reports.empty());
}

TEST_F(SmallData, Sda21PlacesRegisterAndDisplacementByOrderAndOffset) {
    target(areaSections[1], 0x8124);
    uint8_t big[6] = {0xEE, 0x81, 0xE0, 0x00, 0x00, 0xEE};
    entry.offset = 0x101; // points at the register byte itself
    EXPECT_TRUE(apply(true, 0x6D, big + 1));
    EXPECT_EQ(std::vector<uint8_t>(big, big + 6),
              (std::vector<uint8_t>{0xEE, 0x8D, 0x01, 0x24, 0x00, 0xEE}));

    // Little endian: displacement first, the register in the third byte,
    // whatever the offset.
    uint8_t little[5] = {0x00, 0x00, 0xE0, 0x81, 0xEE};
    EXPECT_TRUE(apply(false, 0x6D, little));
    EXPECT_EQ(std::vector<uint8_t>(little, little + 5),
              (std::vector<uint8_t>{0x24, 0x01, 0xED, 0x81, 0xEE}));
}

TEST_F(SmallData, FailedPicksAreReportedFourTimesAndWriteNothing) {
    // Out of reach of its own group's area: that area is named.
    target(areaSections[2], 0x11000);
    uint8_t insn[4] = {0x81, 0x60, 0x12, 0x34};
    EXPECT_TRUE(apply(true, 0x6D, insn));
    EXPECT_EQ(std::vector<uint8_t>(insn, insn + 4), (std::vector<uint8_t>{0x81, 0x60, 0x12, 0x34}));
    // Outside every group and every reach.
    target(loose, 0x40000);
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(apply(i % 2 == 0, 0x6D, insn));
    EXPECT_EQ(std::vector<uint8_t>(insn, insn + 4), (std::vector<uint8_t>{0x81, 0x60, 0x12, 0x34}));
    EXPECT_EQ(entry.reports.texts(),
              (std::vector<std::string>{"E: Small data offset too large;  relocation references "
                                        "0x11000 from base _SDA2_BASE_[0x9000].",
                                        "E: target symbol is not small-data relative.",
                                        "E: target symbol is not small-data relative.",
                                        "E: target symbol is not small-data relative."}));
}

// Once a wide group is seen, a reference is taken only by its own group:
// areas are no longer tried by reach, and every base symbol must lie in a
// section.
TEST_F(SmallData, AWideGroupOfAnAreaLeavesOnlyTheOwnGroup) {
    SectionGroup wide(1, nullptr, SectionGroup::none);
    areaSections[1].group = &wide;
    output.baseSymbols[0] = &object.symbol("0").absolute();
    uint8_t insn[4] = {0x81, 0x60, 0x00, 0x00};
    target(loose, 0x8010); // within reach of area 1, but not in its group
    EXPECT_TRUE(apply(true, 0x6D, insn));
    EXPECT_EQ(std::vector<uint8_t>(insn, insn + 4), (std::vector<uint8_t>{0x81, 0x60, 0, 0}));
    target(areaSections[1], 0x8010);
    EXPECT_TRUE(apply(true, 0x6D, insn));
    EXPECT_EQ(std::vector<uint8_t>(insn, insn + 4), (std::vector<uint8_t>{0x81, 0x6D, 0, 0x10}));
    EXPECT_EQ(entry.reports.texts(),
              (std::vector<std::string>{"E: Small data base symbol \"0\" is not section relative",
                                        "E: target symbol is not small-data relative."}));
}

TEST_F(SmallData, AWideGroupOfATargetIsRememberedForTheRun) {
    SectionGroup wide(1, nullptr, SectionGroup::none);
    LinkSection wideData(object, ".wide");
    wideData.group = &wide;
    uint8_t insn[4] = {0x81, 0x60, 0x00, 0x00};
    target(loose, 0x8010);
    EXPECT_TRUE(apply(true, 0x6D, insn)); // before: area 1 by reach
    target(wideData, 0x8020);
    EXPECT_TRUE(apply(true, 0x6D, insn));
    target(loose, 0x8030);
    EXPECT_TRUE(apply(true, 0x6D, insn)); // after: no area by reach any more
    EXPECT_EQ(std::vector<uint8_t>(insn, insn + 4), (std::vector<uint8_t>{0x81, 0x6D, 0, 0x10}));
    EXPECT_EQ(entry.reports.texts(),
              (std::vector<std::string>{"E: target symbol is not small-data relative.",
                                        "E: target symbol is not small-data relative."}));
}

TEST_F(SmallData, DiabRowsFindTheirFieldByTheOffset) {
    struct {
        uint32_t type;
        uint32_t offset;
        uint32_t at;     // where the field starts in the bytes below
        uint16_t field;  // what it holds afterwards
        uint8_t regByte; // the byte in front of it afterwards
    } cases[] = {
        {0xB4, 0x100, 3, 0x0010, 0x60}, // LO: no register
        {0xB5, 0x100, 3, 0x0001, 0x6D}, // HI of 0x18010 - 0x8000
        {0xB6, 0x101, 2, 0x0001, 0x6D},
        {0xB6, 0x102, 1, 0x0001, 0x6D},
        {0xB6, 0x103, 1, 0x0001, 0x6D},
        {0xB7, 0x100, 3, 0x0014, 0x60}, // RELSDA: from _SDA_BASE_, plus the addend
        {0xB8, 0x100, 3, 0x0001, 0x60},
        {0xB9, 0x100, 3, 0x0001, 0x60},
    };
    for (bool bigEndian : {true, false}) {
        for (const auto &c : cases) {
            target(areaSections[1], 0x18010);
            entry.addendOf = c.type >= 0xB7 ? 4 : 0;
            entry.offset = c.offset;
            std::vector<uint8_t> bytes(7, 0x60);
            EXPECT_TRUE(apply(bigEndian, c.type, bytes.data() + 1));
            std::vector<uint8_t> expected(7, 0x60);
            expected[c.at - 1] = c.regByte;
            expected[c.at] = uint8_t(bigEndian ? c.field >> 8 : c.field);
            expected[c.at + 1] = uint8_t(bigEndian ? c.field : c.field >> 8);
            EXPECT_EQ(bytes, expected) << std::hex << c.type << " at " << c.offset;
        }
    }
    EXPECT_TRUE(entry.reports.reports.empty());
}

TEST_F(SmallData, RelativeRowsUseTheirAreaAndReportWhatWillNotFit) {
    struct {
        uint32_t type;
        uint32_t address;
        int32_t addend;
        uint16_t written;
    } cases[] = {
        {32, 0x8010, 4, 0x0014},    // SDAREL16, area 1
        {0x74, 0x7000, 0, 0xF000},  // RELSDA, area 1
        {0x6C, 0x8FF0, 0, 0xFFF0},  // SDA2REL, area 2
        {0x6C, 0x10FFF, 0, 0x7FFF}, // the largest that fits
    };
    for (bool bigEndian : {true, false})
        for (const auto &c : cases) {
            target(loose, c.address);
            entry.addendOf = c.addend;
            std::vector<uint8_t> bytes = orderedBytes(0x1234, 2, bigEndian);
            EXPECT_TRUE(apply(bigEndian, c.type, bytes.data()));
            EXPECT_EQ(bytes, orderedBytes(c.written, 2, bigEndian)) << std::hex << c.type;
        }
    EXPECT_TRUE(entry.reports.reports.empty());

    target(loose, 0x20000);
    entry.addendOf = 0;
    std::vector<uint8_t> bytes = orderedBytes(0x1234, 2, true);
    EXPECT_TRUE(apply(true, 32, bytes.data()));
    target(loose, 0xFFF);
    EXPECT_TRUE(apply(true, 0x6C, bytes.data()));
    EXPECT_EQ(bytes, orderedBytes(0x1234, 2, true));
    EXPECT_EQ(entry.reports.texts(),
              (std::vector<std::string>{
                  "E: .sdata/.sbss is evidently too big.\n|\tOffset relative to _SDA_BASE_ is "
                  "0x18000 and won't fit in a\n|\tsigned 16-bit field.",
                  "E: .sdata2/.sbss2 is evidently too big.\n|\tOffset relative to _SDA2_BASE_ is "
                  "0xffff7fff and won't fit in a\n|\tsigned 16-bit field."}));
}

TEST_F(SmallData, TableRowsReachTheTargetThroughACell) {
    CellTable table1, table2;
    table1.tableBase = 0x8100;
    table1.cell = 0x20;
    table2.tableBase = 0x9200;
    table2.cell = 8;
    output.cells = &table1;
    output.cells2 = &table2;

    // A global symbol has a cell of its own.
    FakeSymbol &global = object.symbol("g").global().absolute().at(0x4444);
    entry.symbol = &global;
    std::vector<uint8_t> bytes = orderedBytes(0, 2, true);
    EXPECT_TRUE(apply(true, 0x6A, bytes.data()));
    EXPECT_EQ(bytes, orderedBytes(0x120, 2, true));
    EXPECT_EQ(table1.asked, "symbol g+0");

    // A section has a cell for each offset in its combined section.
    LinkSection combined(object, ".sdata2");
    combined.symbolOfSection = &object.symbol(".sdata2").sectionType();
    LinkSection member(object, ".sdata2.x");
    member.combined = &combined;
    member.combinedOffset = 0x40;
    entry.symbol = nullptr;
    entry.target = &member;
    entry.addendOf = 8;
    bytes = orderedBytes(0, 2, false);
    EXPECT_TRUE(apply(false, 0x6B, bytes.data()));
    EXPECT_EQ(bytes, orderedBytes(0x208, 2, false));
    EXPECT_EQ(table2.asked, "section .sdata2+72");
    EXPECT_TRUE(entry.reports.reports.empty());

    // No cell, and no table at all.
    table2.cell = -1;
    EXPECT_TRUE(apply(false, 0x6B, bytes.data()));
    output.cells = nullptr;
    EXPECT_TRUE(apply(true, 0x6A, bytes.data()));
    EXPECT_EQ(bytes, orderedBytes(0x208, 2, false));
    EXPECT_EQ(entry.reports.texts(),
              (std::vector<std::string>{"E: Target is bad", "E: Target is bad"}));
}

TEST_F(SmallData, SectionStartRowsWriteHalvesOfTheSectionAddress) {
    LinkSection combined(object, ".rodata");
    combined.start = 0x5000;
    LinkSection member(object, ".rodata.x");
    member.combined = &combined;
    LinkSection data(object, ".data");
    data.start = 0x12348000;

    struct {
        uint32_t type;
        bool bySymbol;
        int32_t addend;
        uint16_t written;
    } cases[] = {
        {0x70, true, 0, 0x8000},     {0x71, true, 0, 0x1234}, {0x72, true, 0, 0x1235},
        {0x70, false, 0x10, 0x5010}, {0x72, false, 0x10, 0},
    };
    for (bool bigEndian : {true, false})
        for (const auto &c : cases) {
            entry.symbol = c.bySymbol ? &object.symbol("d").in(data).at(0x44) : nullptr;
            entry.target = c.bySymbol ? nullptr : &member;
            entry.addendOf = c.addend;
            std::vector<uint8_t> bytes = orderedBytes(0xAAAA, 2, bigEndian);
            EXPECT_TRUE(apply(bigEndian, c.type, bytes.data()));
            EXPECT_EQ(bytes, orderedBytes(c.written, 2, bigEndian)) << std::hex << c.type;
        }

    entry.symbol = nullptr;
    entry.target = nullptr;
    std::vector<uint8_t> bytes = orderedBytes(0xAAAA, 2, true);
    EXPECT_TRUE(apply(true, 0x71, bytes.data()));
    EXPECT_EQ(bytes, orderedBytes(0xAAAA, 2, true));
    EXPECT_EQ(entry.reports.texts(),
              (std::vector<std::string>{"E: Not a valid section reference."}));
}

} // namespace
