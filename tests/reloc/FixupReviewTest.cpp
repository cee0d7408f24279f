// Fixup cases found in review: the fields that reach beyond one word (the
// ARM ADRL pair, the VideoCore 48-bit and 80-bit instructions) are refused
// at the end of a section instead of being written past it, while a field
// of one half may end a section; sums at the ends of the address space wrap
// rather than overflow (a sanitizer build stops on a signed overflow).
#include "ElfReltabTestSupport.h"

#include "elf/ElfRecords.h"
#include "reloc/Args.h"
#include "reloc/ElfARMFixupTable.h"
#include "reloc/ElfMIPSFixupTable.h"
#include "reloc/ElfPPCFixupTable.h"
#include "reloc/ElfVCFixupTable.h"

#include <gtest/gtest.h>

namespace {

class NoOptions : public OptionHandler {
public:
    void handleOption(const char *, Args &, ErrorContext &) override {}
};

Args &reviewArgs() {
    static NoOptions handler;
    static Args args("tnm", handler);
    return args;
}

// A 32-byte .text mapped into a combined section, with its .rela.text made
// over the fixup table under test; the symbol 1 is "main" at .text+8.
struct WideLink {
    ReltabReports errors;
    LoadedElf elf;
    NamedFile output{"out"};
    TestSection combined{&output, "C", 0x1000};
    TestSymbol combinedSymbol{&output, "C$", &combined, 0};
    std::unique_ptr<ElfReltabSectionFromInput> table;

    WideLink(const std::vector<Elf32_Rela> &records, ElfFixupTable &fixups) {
        ElfBuilder b(LittleEndian);
        b.machine(0x76)
            .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(32))
            .symbol("main", 8, 8, STB_GLOBAL, STT_FUNC, ".text")
            .relocations(".rela.text", SHT_RELA, ".text", records);
        elf = loadElf(b.build(), errors);
        combined.symbol = &combinedSymbol;
        ElfSection *text = elf.section(".text");
        text->mapIntoCombinedSection(&combined, 0x100);
        text->setAddress(0x1100);
        table = elf.remake(".rela.text", fixups, errors);
        table->setArgs(&reviewArgs());
    }
};

struct WideCase {
    const char *what;
    ElfFixupTable &fixups;
    uint32_t type;
    uint32_t lastFit; // the highest offset at which the whole field lies in .text
};

TEST(FixupReview, WideFieldsStayInsideTheirSection) {
    const WideCase cases[] = {
        {"ARM ADRL, two words", elfARMFixupTable(false), 10, 24},
        {"ARM ADRL, big endian", elfARMFixupTable(true), 10, 24},
        {"VC B_S27, six bytes", elfVCFixupTable(), 19, 26},
        {"VC GPREL_W_S27, six bytes", elfVCFixupTable(), 15, 26},
        {"VC DIFF_H_S27, six bytes", elfVCFixupTable(), 42, 26},
        {"VC SECTOFF_B_S27, six bytes", elfVCFixupTable(), 29, 26},
        {"VC VLD80, six bytes", elfVCFixupTable(), 53, 26},
        {"VC VST48, six bytes", elfVCFixupTable(), 57, 26},
        {"VC VST80, ten bytes", elfVCFixupTable(), 61, 22},
        {"VC VST80_GPREL, ten bytes", elfVCFixupTable(), 63, 22},
        // Fields of one half may end a section.
        {"ARM REL11, a Thumb half", elfARMFixupTable(false), 33, 30},
        {"ARM IMM8, big endian", elfARMFixupTable(true), 41, 30},
        {"ARM R_ARM_16_SDAREG", elfARMFixupTable(false), 49, 30},
        {"PowerPC ADDR16_LO", elfPPCFixupTable(true), 4, 30},
        {"PowerPC ADDR16_HA, little endian", elfPPCFixupTable(false), 6, 30},
        {"VC B_S16", elfVCFixupTable(), 46, 30},
        {"VC GPREL_H_S16", elfVCFixupTable(), 5, 30},
        {"VC GPREL_S16", elfVCFixupTable(), 45, 30},
    };
    for (const WideCase &c : cases) {
        // One entry where the field just fits, one a byte further on.
        WideLink link({rela(c.lastFit, 1, c.type, 0), rela(c.lastFit + 1, 1, c.type, 0)}, c.fixups);
        // The section's 32 bytes, then 16 that must stay as they are.
        uint8_t data[48];
        memset(data, 0xA5, sizeof data);
        std::vector<bool> applied;
        link.table->each([&](RelocationDescriptor &entry) {
            applied.push_back(entry.apply(data + entry.dataOffset()));
            return true;
        });
        ASSERT_EQ(applied.size(), 2u) << c.what;
        EXPECT_FALSE(applied[1]) << c.what;
        for (uint32_t i = 32; i < sizeof data; ++i)
            EXPECT_EQ(data[i], 0xA5) << c.what << ": byte " << i;
        char badOffset[40];
        snprintf(badOffset, sizeof badOffset, "bad offset (=0x%x)", c.lastFit + 1);
        ASSERT_FALSE(link.errors.reports.empty()) << c.what;
        const std::string &last = link.errors.reports.back();
        EXPECT_EQ(last.substr(last.size() - strlen(badOffset)), badOffset) << c.what;
        // The field that just fits is patched, whatever its routine answers.
        char fits[40];
        snprintf(fits, sizeof fits, "bad offset (=0x%x)", c.lastFit);
        for (const std::string &report : link.errors.reports)
            EXPECT_EQ(report.find(fits), std::string::npos) << c.what << ": " << report;
    }
}

// Runs the row of `type` on the little-endian word `field` and gives the
// word written.
uint32_t runWord(ElfFixupTable &table, uint32_t type, RelocationDescriptor &entry, uint32_t field,
                 uint32_t value = 0, uint32_t address = 0) {
    uint8_t bytes[4];
    reloc::write32Le(bytes, field);
    const FixupRow *row = table.lookup(type);
    if (row->tableFixup)
        row->tableFixup(table, entry, bytes, value, address);
    else
        row->fixup(entry, bytes, value, address);
    return reloc::read32Le(bytes);
}

struct StaticBaseCase {
    const char *what;
    uint32_t type;
    uint32_t targetAddress;
    int32_t addend;
    uint32_t field;
    uint32_t written;
};

// The part below the rounded-up high part of a distance from the static base
// (B = 0 here): a distance just below 0x80000000 rounds up past the top of
// the signed numbers, and a relative row adds any addend to what is left.
TEST(FixupReview, StaticBaseRowsWrapAtTheEndsOfTheAddressSpace) {
    const StaticBaseCase cases[] = {
        // E = 0x7FFFF001, R = 0x80000000: U = -0xFFF, stored as 0xFFF, down.
        {"SBOFF", 16, 0x7FFFF001, 0, 0xE5900000, 0xE5100FFF},
        // The same U: its bits 4 to 11 (0xFF0, rotation 14) and SUB.
        {"SBOFFHI", 17, 0x7FFFF001, 0, 0xE2800000, 0xE2400EFF},
        // E = 0x7FF, R = 0x1000: U = -0x801 plus the lowest addend wraps to
        // 0x7FFFF7FF, whose low four bits stay with ADD.
        {"SBSEGLO", 23, 0x7FF, INT32_MIN, 0xE2800000, 0xE280000F},
    };
    FakeObjectFile object("a.o");
    FixupOutput output;
    for (const StaticBaseCase &c : cases) {
        ElfARMFixupTable::sbDirect = true;
        LinkSection target(object, ".data", c.targetAddress);
        ReportingEntry entry;
        entry.target = &target;
        entry.addendOf = c.addend;
        entry.output = &output;
        EXPECT_EQ(runWord(elfARMFixupTable(false), c.type, entry, c.field), c.written) << c.what;
        EXPECT_TRUE(entry.reports.reports.empty()) << c.what;
    }
    ElfARMFixupTable::sbDirect = false;
}

// GPREL16 of a local target adds the file's own gp: a gp near the top of the
// signed numbers makes the sum wrap, which is reported as out of range and
// written by its low half.
TEST(FixupReview, GpRelativeSumWrapsAndIsReported) {
    auto info = std::make_unique<Elf32_RegInfo>();
    info->ri_gp_value = INT32_MAX;
    ElfMIPSFixupTable table(false, std::move(info), 0);
    FakeObjectFile object("a.o");
    LinkSection text(object, ".text", 0x400000);
    ReportingEntry entry;
    entry.sectionOf = &text;
    entry.entryIndex = 3;
    entry.offset = 0x40;
    EXPECT_EQ(runWord(table, 7, entry, 0x27BC0000, 0x10), 0x27BC000Fu);
    const std::string message = "GP ref out of range: _SDA_BASE_ = 0x0; target = 0x10 (addend=0x0)";
    ASSERT_EQ(entry.reports.reports.size(), 1u);
    const std::string &report = entry.reports.reports[0];
    EXPECT_EQ(report.substr(report.size() - message.size()), message);
}

// Runs the row of `type` on the 16-bit field `half` of either order and
// gives the half written.
uint16_t runHalf(ElfFixupTable &table, uint32_t type, RelocationDescriptor &entry, uint16_t half,
                 uint32_t value, uint32_t address, bool big) {
    uint8_t bytes[2];
    big ? reloc::write16Be(bytes, half) : reloc::write16Le(bytes, half);
    table.lookup(type)->fixup(entry, bytes, value, address);
    return big ? reloc::read16Be(bytes) : reloc::read16Le(bytes);
}

struct HalfCase {
    const char *what;
    uint32_t type;
    uint16_t half;
    uint32_t value;
    uint32_t address;
    uint16_t written;
};

// The exchanging halves of a Thumb long branch: the first carries bit 1 of
// its place into the target, the second stores the distance with bit 0
// clear.
TEST(FixupReview, ThumbExchangingHalves) {
    const HalfCase cases[] = {
        // V = 0x2004 or 2: U = (0x2006 - 0x1002 - 4) >> 1 = 0x800, whose bit
        // 11 is the first half's bit 0; without the or, U = 0x7FF.
        {"R_ARM_16_REL_HI_BL", 65, 0xF000, 0x2004, 0x1002, 0xF001},
        // Q = 0x1000, nothing or-ed: U = (0x2002 - 0x1000 - 4) >> 1 = 0x7FF,
        // stored as 0x7FE.
        {"R_ARM_16_REL_LO_BL", 66, 0xF800, 0x2002, 0x1002, 0xEFFE},
    };
    for (bool big : {false, true})
        for (const HalfCase &c : cases) {
            ReportingEntry entry;
            EXPECT_EQ(
                runHalf(elfARMFixupTable(big), c.type, entry, c.half, c.value, c.address, big),
                c.written)
                << c.what << (big ? " big" : " little");
        }
}

// SBHI through the offset table: a cell at the static base itself is a
// distance of 0, loaded upwards (0x59 in bits 20 to 27).
TEST(FixupReview, StaticBaseHighThroughTheTableAtDistanceZero) {
    FakeObjectFile object("a.o");
    LinkSection data(object, ".data", 0x4000);
    CellTable cells;
    cells.tableBase = 0x2000;
    cells.cell = 0;
    FixupOutput output(0x2000);
    output.cells = &cells;
    ElfARMFixupTable::sbDirect = false;
    ReportingEntry entry;
    entry.target = &data;
    entry.output = &output;
    EXPECT_EQ(runWord(elfARMFixupTable(false), 19, entry, 0xE5100000), 0xE5900000u);
    EXPECT_EQ(cells.asked, "section .data+0");
    EXPECT_TRUE(entry.reports.reports.empty());
}

// The upper region when the end lies below the start is the part below the
// start: an address at the start itself is in the lower one (ADD Rd, r9).
TEST(FixupReview, RegionStartBelongsToTheLowerRegionWhenTheEndLiesBelow) {
    FakeObjectFile object("a.o");
    FixupOutput output;
    output.start = 0x8000;
    output.end = 0x4000;
    const struct {
        uint32_t address;
        uint16_t written;
    } cases[] = {{0x8000, 0x444B}, {0x7FFF, 0x4453}, {0x3000, 0x4453}};
    for (const auto &c : cases) {
        LinkSection target(object, ".data", c.address);
        ReportingEntry entry;
        entry.target = &target;
        entry.output = &output;
        EXPECT_EQ(runHalf(elfARMFixupTable(false), 49, entry, 0x6B00, 0, 0, false), c.written)
            << std::hex << c.address;
    }
}

// The warning of a gp-relative reference to a weak symbol comes only for a
// V of 0, the value of an undefined one.
TEST(FixupReview, WeakGpWarningOnlyForAZeroValue) {
    FakeObjectFile object("a.o");
    FakeSymbol weak(object, "w");
    weak.weak().undefined();
    for (uint32_t value : {0u, 2u, 1u}) {
        ReportingEntry entry;
        entry.symbol = &weak;
        uint8_t bytes[2] = {0, 0};
        elfVCFixupTable().lookup(5)->fixup(entry, bytes, value, 0);
        bool warned = false;
        for (const std::string &report : entry.reports.reports)
            if (report.find("%gp-relative reference to undefined weak symbol detected.") !=
                std::string::npos)
                warned = true;
        EXPECT_EQ(warned, value == 0) << value;
    }
}

} // namespace
