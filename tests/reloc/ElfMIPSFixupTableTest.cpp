// The MIPS fixup table: rows and lookups, the table of a file (gp and PIC
// flag), each routine on both byte orders at its limits - plain and
// extended MIPS16 immediates, jumps of both instruction sets, the MIPS16
// mark, the global pointer and .got forms - and the texts of the reports.
#include "reloc/ElfMIPSFixupTable.h"

#include "RelocTestKit.h"

#include <gtest/gtest.h>

namespace {

using Kind = ReferenceKind;
const ReferenceKind direct = ReferenceKind::direct, got = ReferenceKind::gotReference,
                    machine = ReferenceKind::machineSpecific, sec = ReferenceKind::sectionRelative;

uint32_t swapHalves(uint32_t word) {
    return word << 16 | word >> 16;
}

TEST(ElfMIPSFixupTable, RowsOfBothOrdersAndLookupsBeyondThem) {
    for (bool big : {true, false}) {
        ElfFixupTable &table = elfMIPSFixupTable(big);
        const std::vector<ExpectedRow> rows = {
            {0, "NONE", direct, 0},       {2, "32", direct, 0},        {4, "26", direct, 0},
            {7, "GPREL16", direct, 0},    {9, "GOT16", got, 0},        {10, "PC16", direct, 1},
            {12, "GPREL32", direct, 0},   {13, "26", direct, 0},       {14, "14", direct, 0},
            {20, "GOT_PAGE", machine, 0}, {21, "GOT_OFST", direct, 0}, {31, "CALL_LO16", got, 0},
            {32, "SCN_DISP", sec, 0},     {37, "JALR", direct, 0}};
        expectRows(table, rows);
        // The gp-relative rows reach the table's gp.
        for (uint32_t type : {7u, 12u})
            EXPECT_EQ(table.lookup(type)->fixup, nullptr) << type;
        for (uint32_t type : {38u, 0x7Fu, 0x80u, 0xFFu, 0xFFFFFFFFu})
            EXPECT_EQ(table.lookup(type), &unknownFixupRow) << type;
        uint32_t visited = 0;
        table.each([&](uint32_t type, const FixupRow &) {
            EXPECT_EQ(type, ++visited);
            return true;
        });
        EXPECT_EQ(visited, 37u);
    }
}

TEST(ElfMIPSFixupTable, TableOfAFileTakesGpAndPicFlag) {
    const struct {
        bool hasRecord;
        int32_t gpValue;
        uint32_t flags;
        uint32_t gp;
        bool pic;
    } cases[] = {
        {false, 0, 0, 0, false},          {true, 0x10008000, 0, 0x10008000, false},
        {true, -16, 2, 0xFFFFFFF0, true}, {false, 0, 4, 0, true},
        {false, 0, 0x70000001, 0, false},
    };
    for (const auto &c : cases) {
        std::unique_ptr<Elf32_RegInfo> record;
        if (c.hasRecord) {
            record = std::make_unique<Elf32_RegInfo>();
            record->ri_gp_value = c.gpValue;
        }
        ElfMIPSFixupTable table(true, std::move(record), c.flags);
        EXPECT_EQ(table.gp, c.gp);
        EXPECT_EQ(table.picCode, c.pic);
    }
    EXPECT_EQ(static_cast<ElfMIPSFixupTable &>(elfMIPSFixupTable(false)).gp, 0u);
    EXPECT_EQ(&elfMIPSFixupTable(true), &elfMIPSFixupTable(true));
}

// ---- Routines of the field, V and P ----------------------------------------

struct FieldCase {
    const char *what;
    uint32_t type;
    uint32_t field; // the word; with `units`, first 16-bit unit high
    bool units;     // a pair of 16-bit units: swapped halves in a little-endian file
    uint32_t value;
    uint32_t address;
    uint32_t written;
    bool fits;
};

const FieldCase fieldCases[] = {
    {"HI16 rounds up", 5, 0x3C010000, false, 0x18000, 0, 0x3C010002, true},
    {"HI16 below", 5, 0x3C01FFFF, false, 0x17FFF, 0, 0x3C010001, true},
    {"HI16 wraps", 5, 0x3C010000, false, 0xFFFF8000, 0, 0x3C010000, true},
    {"LO16 adds the field", 6, 0x24210010, false, 0x12345, 0, 0x24212355, true},
    {"LO16 negative field", 6, 0x2421FFF0, false, 0x8, 0, 0x2421FFF8, true},
    {"LITERAL", 8, 0x12345678, false, 0x100, 0, 0x12345678, true},
    {"PC16", 10, 0x10000000, false, 0x1010, 0x1000, 0x10000003, true},
    {"PC16 field in words", 10, 0x10000001, false, 0x1010, 0x1000, 0x10000004, true},
    {"PC16 farthest", 10, 0x10000000, false, 0x21000, 0x1000, 0x10007FFF, true},
    {"PC16 beyond", 10, 0x10000000, false, 0x21004, 0x1000, 0x10000000, false},
    {"PC16 farthest behind", 10, 0x10000000, false, uint32_t(0x1004 - 0x20000), 0x1000, 0x10008000,
     true},
    {"J", 4, 0x08000000, false, 0x400100, 0x400000, 0x08100040, true},
    {"JAL adds the field", 4, 0x0C000010, false, 0x400100, 0x400000, 0x0C100050, true},
    {"JAL other region", 4, 0x0C000000, false, 0x10000000, 0x0FFFFFFC, 0x0C000000, false},
    {"26 of type 13", 13, 0x0C000000, false, 0x400100, 0x400000, 0x0C100040, true},
    {"MIPS16 JAL", 4, 0x18000000, true, 0x3F00100, 0x400000, 0x1B870040, true},
    {"MIPS16 JALX keeps bit 26", 4, 0x1C00FFFF, true, 0x400100, 0x400000, 0x1E000040, true},
    {"SCN_DISP", 32, 0x24210000, false, 0x7FFF, 0, 0x24217FFF, true},
    {"SCN_DISP behind", 32, 0x24210000, false, uint32_t(-0x8000), 0, 0x24218000, true},
    {"SCN_DISP beyond", 32, 0x24210000, false, 0x8000, 0, 0x24210000, false},
    {"SCN_DISP extended", 32, 0xF0004C00, true, 0x1234, 0, 0xF2224C14, true},
    {"SCN_DISP extended all", 32, 0xF0004C00, true, uint32_t(-1), 0, 0xF7FF4C1F, true},
    {"14 unsupported", 14, 0x11111111, false, 0, 0, 0x11111111, false},
    {"JALR unsupported", 37, 0x11111111, false, 0, 0, 0x11111111, false},
};

struct MipsLink {
    FakeObjectFile object{"a.o"};
    LinkSection text{object, ".text", 0x400000};
    ReportingEntry entry;

    MipsLink() {
        entry.sectionOf = &text;
        entry.entryIndex = 3;
        entry.offset = 0x40;
    }

    uint32_t run(ElfFixupTable &table, uint32_t type, uint32_t units, bool isPair, uint32_t value,
                 uint32_t address, bool big, bool *fits = nullptr) {
        uint32_t field = isPair && !big ? swapHalves(units) : units;
        uint32_t written;
        bool answer = runRow(table, type, entry, 4, field, value, address, big, written);
        if (fits) *fits = answer;
        return isPair && !big ? swapHalves(written) : written;
    }
};

TEST(ElfMIPSFixupTable, FieldRoutinesInBothOrders) {
    for (bool big : {true, false}) {
        for (const FieldCase &c : fieldCases) {
            SCOPED_TRACE(std::string(c.what) + (big ? " (big)" : " (little)"));
            MipsLink link;
            bool fits;
            uint32_t written = link.run(elfMIPSFixupTable(big), c.type, c.field, c.units, c.value,
                                        c.address, big, &fits);
            EXPECT_EQ(written, c.written) << std::hex << written;
            EXPECT_EQ(fits, c.fits);
            EXPECT_TRUE(link.entry.reports.reports.empty());
        }
    }
}

TEST(ElfMIPSFixupTable, MisalignedTargetsAreReportedAndWritten) {
    for (bool big : {true, false}) {
        MipsLink link;
        EXPECT_EQ(link.run(elfMIPSFixupTable(big), 10, 0x10000000, false, 0x1012, 0x1000, big),
                  0x10000003u);
        EXPECT_EQ(link.run(elfMIPSFixupTable(big), 4, 0x0C000000, false, 0x400102, 0x400000, big),
                  0x0C100040u);
        ASSERT_EQ(link.entry.reports.reports.size(), 2u);
        EXPECT_EQ(link.entry.reports.reports[0],
                  errorOfEntry3("section \"???\"", "Target is not word aligned."));
        EXPECT_EQ(link.entry.reports.reports[1],
                  errorOfEntry3("section \"???\"", "Target address isn't word-aligned"));
    }
}

// ---- The MIPS16 mark -------------------------------------------------------

TEST(ElfMIPSFixupTable, MarkedTargetsChangeInstructionSet) {
    for (bool big : {true, false}) {
        for (bool onRoot : {false, true}) {
            MipsLink link;
            FakeSymbol &f = link.object.symbol("f").global().in(link.text);
            FakeSymbol &alias = link.object.symbol("alias").global().undefined();
            FakeSymbol &plain = link.object.symbol("plain").global().in(link.text);
            if (onRoot) {
                alias.link = &f;
                f.withOther(0xF0);
                link.entry.symbol = &alias;
            } else {
                f.withOther(0xF0);
                link.entry.symbol = &f;
            }
            ElfFixupTable &table = elfMIPSFixupTable(big);
            // JAL to MIPS16 code becomes JALX (op 0x1D).
            EXPECT_EQ(link.run(table, 4, 0x0C000000, false, 0x400100, 0x400000, big), 0x74100040u);
            // A MIPS16 JAL to MIPS16 code stays JAL.
            EXPECT_EQ(link.run(table, 4, 0x18000000, true, 0x400100, 0x400000, big), 0x1A000040u);
            // LO16 and GPREL32 take bit 0.
            EXPECT_EQ(link.run(table, 6, 0x24210000, false, 0x1000, 0, big), 0x24211001u);
            EXPECT_EQ(link.run(table, 12, 0, false, 0x1000, 0, big), 0x1001u);
            link.entry.symbol = &plain;
            EXPECT_EQ(link.run(table, 4, 0x0C000000, false, 0x400100, 0x400000, big), 0x0C100040u);
            // A MIPS16 JAL to 32-bit code becomes JALX (bit 26).
            EXPECT_EQ(link.run(table, 4, 0x18000000, true, 0x400100, 0x400000, big), 0x1E000040u);
            EXPECT_EQ(link.run(table, 6, 0x24210000, false, 0x1000, 0, big), 0x24211000u);
        }
    }
}

TEST(ElfMIPSFixupTable, WordAddsInBigAndStoresInLittleFiles) {
    for (bool big : {true, false}) { // "16" adds in the file's order
        MipsLink link;
        uint32_t written;
        EXPECT_TRUE(
            runRow(elfMIPSFixupTable(big), 1, link.entry, 2, 0x0110, 0xFEEF, 0, big, written));
        EXPECT_EQ(written, 0xFFFFu);
        EXPECT_FALSE(
            runRow(elfMIPSFixupTable(big), 1, link.entry, 2, 0x0110, 0xFEF0, 0, big, written));
    }
    for (uint32_t type : {2u, 3u}) {
        MipsLink link;
        FakeSymbol &f = link.object.symbol("f").withOther(0xF0).in(link.text);
        link.entry.symbol = &f;
        EXPECT_EQ(link.run(elfMIPSFixupTable(true), type, 0x100, false, 0x1000, 0, true), 0x1101u);
        EXPECT_EQ(link.run(elfMIPSFixupTable(false), type, 0x100, false, 0x1000, 0, false),
                  0x1001u);
    }
}

// ---- The global pointer ----------------------------------------------------

// B (the output's gp) is 0x8000; the file was assembled with gp 0x100.
struct GpLink : MipsLink {
    FixupOutput output;
    FakeSymbol &local = object.symbol("l").local().in(text);
    FakeSymbol &global = object.symbol("g").global().in(text);

    GpLink() {
        output.sda = 0x8000;
        entry.output = &output;
    }
    ElfMIPSFixupTable table(bool big) {
        auto record = std::make_unique<Elf32_RegInfo>();
        record->ri_gp_value = 0x100;
        return ElfMIPSFixupTable(big, std::move(record), 0);
    }
};

TEST(ElfMIPSFixupTable, GpRelativeAddsTheFilesGpForLocalTargets) {
    const struct {
        uint32_t type;
        bool global;
        uint32_t field;
        bool units;
        uint32_t value;
        uint32_t written;
    } cases[] = {
        {7, false, 0x8F820010, false, 0x8100, 0x8F820210}, // 0x100 + 0x10 + gp
        {7, true, 0x8F820010, false, 0x8100, 0x8F820110},  //
        {7, false, 0xF0009A40, true, 0x8100, 0xF2009A40},  // extended: field not added
        {7, true, 0xF7FF9A5F, true, 0x7FF0, 0xF7FF9A50},   // -0x10
        {7, false, 0xF4000000, true, 0x8100, 0xF4000200},  // not an extended form
        {12, false, 0xFFFFFFFF, false, 0x8100, 0x200},
        {12, true, 0xFFFFFFFF, false, 0x7F00, 0xFFFFFF00},
    };
    for (bool big : {true, false}) {
        for (const auto &c : cases) {
            // The last form's unit pair reads differently in a little-endian file.
            if (!big && c.field == 0xF4000000) continue;
            GpLink link;
            link.entry.symbol = c.global ? &link.global : &link.local;
            ElfMIPSFixupTable table = link.table(big);
            bool fits;
            EXPECT_EQ(link.run(table, c.type, c.field, c.units, c.value, 0, big, &fits), c.written)
                << c.type << std::hex << " " << c.field;
            EXPECT_TRUE(fits);
            EXPECT_TRUE(link.entry.reports.reports.empty());
        }
        // No target at all counts as local; the shared table has gp 0.
        GpLink link;
        ElfMIPSFixupTable table = link.table(big);
        EXPECT_EQ(link.run(table, 12, 0, false, 0x8100, 0, big), 0x200u);
        EXPECT_EQ(link.run(elfMIPSFixupTable(big), 12, 0, false, 0x8100, 0, big), 0x100u);
    }
}

TEST(ElfMIPSFixupTable, GpRelativeOutOfRangeIsReportedAndWritten) {
    for (bool big : {true, false}) {
        GpLink link;
        link.entry.symbol = &link.global;
        ElfMIPSFixupTable table = link.table(big);
        bool fits;
        EXPECT_EQ(link.run(table, 7, 0x8F82FFF0, false, 0x18000, 0, big, &fits), 0x8F82FFF0u);
        EXPECT_TRUE(fits);
        ASSERT_EQ(link.entry.reports.reports.size(), 1u);
        EXPECT_EQ(link.entry.reports.reports[0],
                  errorOfEntry3("symbol \"g\"", "GP ref out of range: _SDA_BASE_ = 0x8000; "
                                                "target = 0x18000 (addend=0xfffffff0)"));
    }
}

// ---- The .got ----------------------------------------------------------------

// B is 0x8000 and the .got lies at 0x7010: an entry e is at e - 0xFF0 from B.
// "l" lies 0x40 into ".data" at 0x12000; "abs" is an absolute global.
struct GotLink : GpLink {
    ListedGot got;
    LinkSection data{object, ".data", 0x12000};
    SectionSymbol dataSymbol{object, ".data"};
    FakeSymbol &inData = object.symbol("l").local().at(0x40).in(data);
    FakeSymbol &absolute = object.symbol("abs").global().absolute().at(0x1234);

    GotLink() {
        got.start = 0x7010;
        output.got = &got;
        data.symbolOfSection = &dataSymbol;
    }
    uint32_t run(uint32_t type, uint32_t field, uint32_t value, bool big, bool *fits = nullptr) {
        return MipsLink::run(elfMIPSFixupTable(big), type, field, false, value, 0, big, fits);
    }
};

TEST(ElfMIPSFixupTable, GotOffsetsFromTheGlobalPointer) {
    for (bool big : {true, false}) {
        GotLink link;
        bool fits;
        for (uint32_t type : {11u, 19u}) {
            EXPECT_EQ(link.run(type, 0x8F990000, 0x20, big), 0x8F99F030u);
            EXPECT_EQ(link.run(type, 0x8F990000, 0x8FEF, big, &fits), 0x8F997FFFu);
            EXPECT_TRUE(fits);
            EXPECT_EQ(link.run(type, 0x8F990000, 0x8FF0, big, &fits), 0x8F990000u);
            EXPECT_FALSE(fits);
        }
        // Extended: the distance goes into the pieces.
        EXPECT_EQ(link.MipsLink::run(elfMIPSFixupTable(big), 11, 0xF0009A40, true, 0x1010, 0, big),
                  0xF0209A40u);
        EXPECT_TRUE(link.entry.reports.reports.empty());
    }
}

TEST(ElfMIPSFixupTable, GotEntriesBySymbolBySectionAndByPage) {
    for (bool big : {true, false}) {
        GotLink link;
        link.got.entries["abs+4"] = 0x18;
        link.got.entries[".data+68"] = 0x1C;
        link.got.pages[".data+68/32768"] = 0x24;
        link.entry.addendOf = 4;
        link.entry.symbol = &link.absolute;
        EXPECT_EQ(link.run(9, 0x8F820000, 0, big), 0x8F82F028u);
        link.entry.symbol = &link.inData;
        EXPECT_EQ(link.run(9, 0x8F820000, 0, big), 0x8F82F02Cu);
        EXPECT_EQ(link.run(20, 0x8F820000, 0, big), 0x8F82F034u);
        EXPECT_TRUE(link.entry.reports.reports.empty());

        // Missing entries: reported, and the entry taken as -1.
        link.got.entries.clear();
        link.got.pages.clear();
        EXPECT_EQ(link.run(9, 0x8F820000, 0, big), 0x8F82F00Fu);
        EXPECT_EQ(link.run(20, 0x8F820000, 0, big), 0x8F82F00Fu);
        link.entry.symbol = &link.absolute;
        EXPECT_EQ(link.run(9, 0x8F820000, 0, big), 0x8F82F00Fu);
        std::vector<std::string> expected = {
            errorOfEntry3("symbol \"l\"", "Can't find .data@a.o+0x44 in .got table."),
            errorOfEntry3("symbol \"l\"", "Can't find .data@a.o+0x44 in .got table."),
            errorOfEntry3("symbol \"abs\"", "Can't find abs+0x4 in .got table."),
        };
        EXPECT_EQ(link.entry.reports.reports, expected);

        // GOT_PAGE without a target uses V as the entry.
        link.entry.reports.reports.clear();
        link.entry.symbol = nullptr;
        EXPECT_EQ(link.run(20, 0x8F820000, 0x30, big), 0x8F82F040u);
        ASSERT_EQ(link.entry.reports.reports.size(), 1u);
        EXPECT_EQ(link.entry.reports.reports[0],
                  errorOfEntry3("section \"???\"", "Can't locate section/offset for %got_page"));
    }
}

TEST(ElfMIPSFixupTable, PageOffsets) {
    for (bool big : {true, false}) {
        GotLink link;
        link.entry.symbol = &link.inData;
        link.entry.addendOf = 4;
        // Page 0x18000 of the section at 0x12000: 0x12044 lies 0x5FBC below.
        EXPECT_EQ(link.run(21, 0x8F820000, 0, big), 0x8F82A044u);
        EXPECT_TRUE(link.entry.reports.reports.empty());
        link.data.start = 0x10000;
        link.entry.addendOf = 0x9000;
        EXPECT_EQ(link.run(21, 0x8F820000, 0, big), 0x8F829040u);
        link.entry.symbol = nullptr;
        EXPECT_EQ(link.run(21, 0x8F820000, 0x1234, big), 0x8F821234u);
        std::vector<std::string> expected = {
            errorOfEntry3("symbol \"l\"", "Displacement out of range\n|\tsecadr=10000; "
                                          "off=9040; page address=10000; target "
                                          "address=19040; disp=9040"),
            errorOfEntry3("section \"???\"", "Can't locate section/offset for %got_ofst"),
        };
        EXPECT_EQ(link.entry.reports.reports, expected);
    }
}

} // namespace
