// The small fixup tables of SPARC, the Intel 386, PJ and machine 0x9999:
// their rows, and what each routine writes and answers at its limits.
#include "reloc/ElfOtherFixupTables.h"
#include "reloc/ElfPPCFixupTable.h"

#include "RelocTestKit.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

const ReferenceKind direct = ReferenceKind::direct;

// The rows of `table` end at `count`.
void expectCount(ElfFixupTable &table, uint32_t count) {
    EXPECT_NE(table.lookup(count - 1), &unknownFixupRow) << count;
    EXPECT_EQ(table.lookup(count), &unknownFixupRow) << count;
}

TEST(ElfOtherFixupTables, RowsNamesKindsAndFlags) {
    const ReferenceKind got = ReferenceKind::gotReference;
    const ReferenceKind plt = ReferenceKind::pltReference;
    const ReferenceKind invalid = ReferenceKind::invalid;
    expectCount(elfSPARCFixupTable(), 25);
    const std::vector<ExpectedRow> sparc = {
        {0, "NONE", direct, 0},    {1, "_8", direct, 0},      {6, "DISP32", direct, 0},
        {7, "WDISP30", direct, 1}, {8, "WDISP22", direct, 1}, {11, "_13", direct, 0},
        {13, "GOT10", got, 0},     {15, "GOT22", got, 0},     {17, "PC22", direct, 1},
        {18, "WPLT30", plt, 1},    {19, "COPY", invalid, 0},  {24, "NUM", invalid, 0}};
    expectRows(elfSPARCFixupTable(), sparc);
    expectCount(elfI386FixupTable(), 13);
    const ReferenceKind gotOff = ReferenceKind::gotRelative, gotPc = ReferenceKind::gotPcRelative,
                        sec = ReferenceKind::sectionRelative;
    const std::vector<ExpectedRow> i386 = {
        {1, "32", direct, 0},    {2, "PC32", direct, 1},     {3, "GOT32", got, 0},
        {4, "PLT32", plt, 1},    {6, "GLOBDAT", invalid, 0}, {9, "GOTOFF", gotOff, 0},
        {10, "GOTPC", gotPc, 1}, {11, "NEG32", direct, 0},   {12, "SECTOFF", sec, 0}};
    expectRows(elfI386FixupTable(), i386);
    // PJ and machine 0x9999 share their names in both orders, and no row is
    // relative although two take the place off.
    std::vector<ExpectedRow> pj = {{0, "NONE", direct, 0},   {1, "PCREL16", direct, 0},
                                   {5, "ADDR24", direct, 0}, {10, "NADDR32", direct, 0},
                                   {11, "CON1", direct, 0},  {14, "HI", direct, 0}};
    for (bool bigEndian : {true, false}) {
        for (ElfFixupTable *table : {&elfPJCFixupTable(bigEndian), &elfNMFixupTable(bigEndian)}) {
            expectRows(*table, pj);
            expectCount(*table, 15);
        }
    }
}

TEST(ElfOtherFixupTables, OneSharedTableForEachMachineAndOrder) {
    EXPECT_EQ(&elfSPARCFixupTable(), &elfSPARCFixupTable());
    EXPECT_EQ(&elfI386FixupTable(), &elfI386FixupTable());
    EXPECT_EQ(&elfPJCFixupTable(true), &elfPJCFixupTable(true));
    EXPECT_NE(&elfPJCFixupTable(true), &elfPJCFixupTable(false));
    EXPECT_EQ(&elfNMFixupTable(false), &elfNMFixupTable(false));
    EXPECT_NE(&elfNMFixupTable(true), &elfNMFixupTable(false));
}

// Rows that run a generic routine run the one of their table's order.
TEST(ElfOtherFixupTables, GenericRoutinesOfTheTablesOrder) {
    struct {
        ElfFixupTable &table;
        uint32_t type;
        FixupRoutine routine;
    } expected[] = {
        {elfSPARCFixupTable(), 2, reloc::set16Be},
        {elfSPARCFixupTable(), 6, reloc::add32Be},
        {elfSPARCFixupTable(), 4, reloc::add8},
        {elfI386FixupTable(), 2, reloc::addPc32Le},
        {elfI386FixupTable(), 9, reloc::add32Le},
        {elfI386FixupTable(), 11, reloc::subtract32Le},
        {elfI386FixupTable(), 3, reloc::set32Le},
        {elfPJCFixupTable(true), 4, reloc::add16Be},
        {elfPJCFixupTable(true), 8, reloc::negate16Be},
        {elfPJCFixupTable(true), 9, reloc::negate24Be},
        {elfPJCFixupTable(true), 5, reloc::ppcAddr24Be},
    };
    for (const auto &e : expected)
        EXPECT_EQ(e.table.lookup(e.type)->fixup, e.routine) << e.type;
}

// What the entry gives the routines that ask it.
struct EntryState {
    int32_t addend = 0;
    uint32_t value = 0;
    uint32_t valueWithoutAddend = 0;
    uint32_t sdaBase = 0;
};

struct RoutineCase {
    const char *what;
    ElfFixupTable &(*table)();
    bool bigEndian;
    uint32_t type;
    uint32_t width;
    uint32_t field;
    uint32_t value;
    uint32_t address;
    uint32_t written;
    bool fits;
    EntryState entry;
};

ElfFixupTable &sparc() {
    return elfSPARCFixupTable();
}
ElfFixupTable &intel386() {
    return elfI386FixupTable();
}
ElfFixupTable &pjBig() {
    return elfPJCFixupTable(true);
}
ElfFixupTable &pjLittle() {
    return elfPJCFixupTable(false);
}
ElfFixupTable &nmBig() {
    return elfNMFixupTable(true);
}
ElfFixupTable &nmLittle() {
    return elfNMFixupTable(false);
}

// D = addend less value without it = 4 - 0x1000; the entry's value 0x1004.
const EntryState negated{4, 0x1004, 0x1000, 0};

const RoutineCase routineCases[] = {
    // SPARC, big endian.
    {"WDISP30 back", sparc, true, 7, 4, 0x40000000, 0x1000, 0x2000, 0x7FFFFC00, true, {}},
    {"WDISP30 keeps op", sparc, true, 7, 4, 0xC0000000, 0x2000, 0x1000, 0xC0000400, true, {}},
    {"WDISP22 top", sparc, true, 8, 4, 0x10800000, 0x1000FFC, 0x1000, 0x10BFFFFF, true, {}},
    {"WDISP22 above", sparc, true, 8, 4, 0x10800000, 0x1001000, 0x1000, 0x10800000, false, {}},
    {"WDISP22 bottom", sparc, true, 8, 4, 0x10800000, 0xFF801000, 0x1000, 0x10A00000, true, {}},
    {"WDISP22 below", sparc, true, 8, 4, 0x10800000, 0xFF800FFC, 0x1000, 0x109FFFFF, false, {}},
    {"HI22", sparc, true, 9, 4, 0x03000000, 0x12345678, 0, 0x03048D15, true, {}},
    {"_22", sparc, true, 10, 4, 0x03000000, 0xFFFFFFFF, 0, 0x033FFFFF, true, {}},
    {"_13 top", sparc, true, 11, 4, 0x82102000, 0x1FFF, 0, 0x82103FFF, true, {}},
    {"_13 above", sparc, true, 11, 4, 0x82102000, 0x2000, 0, 0x82102000, false, {}},
    {"GOT13 negative", sparc, true, 14, 4, 0x82102000, 0xFFFFFFFF, 0, 0x82103FFF, false, {}},
    {"LO10", sparc, true, 12, 4, 0x82106000, 0x12345678, 0, 0x82106278, true, {}},
    {"GOT10", sparc, true, 13, 4, 0x82106000, 0x12345678, 0, 0x82106278, true, {}},
    {"PC10", sparc, true, 16, 4, 0x82106000, 0x12345678, 0x78, 0x82106200, true, {}},
    {"PC22", sparc, true, 17, 4, 0x03000000, 0x12345678, 0x2345678, 0x03040000, true, {}},
    // Intel 386, little endian.  GOTPC: the table's address plus what the
    // field holds, less the place.
    {"GOTPC", intel386, false, 10, 4, 2, 0x8000, 0x1000, 0x7002, true, {}},
    // PJ, big endian.
    {"PCREL16", pjBig, true, 1, 2, 0x0001, 0x2000, 0x1000, 0x1002, true, {}},
    {"PCREL16 top", pjBig, true, 1, 2, 0, 0x10FFE, 0x1000, 0xFFFF, true, {}},
    {"PCREL16 above", pjBig, true, 1, 2, 0, 0x10FFF, 0x1000, 0x0000, false, {}},
    {"PCREL16 bottom", pjBig, true, 1, 2, 0, 0xFFFF8FFF, 0x1000, 0x8000, true, {}},
    {"PCREL16 below", pjBig, true, 1, 2, 0, 0xFFFF8FFE, 0x1000, 0x7FFF, false, {}},
    {"PCREL32", pjBig, true, 2, 4, 0x10, 0x2000, 0x1000, 0x1011, true, {}},
    {"ADDR24", pjBig, true, 5, 4, 0x48000001, 0x100, 0, 0x48000101, true, {}},
    {"ADDR24 too far", pjBig, true, 5, 4, 0x48000001, 0x2000000, 0, 0x48000001, false, {}},
    {"NADDR32", pjBig, true, 10, 4, 0x2000, 0, 0, 0xFFC, true, negated},
    {"CON1 top", pjBig, true, 11, 1, 0x00, 0, 0, 0xFF, true, {0, 0, 0x83FC, 0x8000}},
    {"CON1 above", pjBig, true, 11, 1, 0x00, 0, 0, 0x00, false, {0, 0, 0x8400, 0x8000}},
    {"CON1 unsigned", pjBig, true, 11, 1, 0x00, 0, 0, 0xFF, false, {0, 0, 0x7FFC, 0x8000}},
    {"CON2", pjBig, true, 12, 2, 0x1201, 0, 0, 0x1300, true, {0, 0, 0x83FC, 0x8000}},
    {"CON2 above", pjBig, true, 12, 2, 0x1201, 0, 0, 0x1201, false, {0, 0, 0x8400, 0x8000}},
    {"LO", pjBig, true, 13, 2, 0x0010, 0x1234FFFF, 0, 0x000F, true, {}},
    {"HI", pjBig, true, 14, 2, 0x0001, 0x00028000, 0, 0x0003, true, {}},
    // PJ, little endian: nothing but NONE is supported.
    {"NONE", pjLittle, false, 0, 4, 0x11223344, 0x10, 0, 0x11223344, true, {}},
    {"ADDR8", pjLittle, false, 3, 1, 0x01, 0x7F, 0, 0x01, false, {}},
    {"ADDR32", pjLittle, false, 6, 4, 0x1, 0x10, 0, 0x1, false, {}},
    {"NADDR32", pjLittle, false, 10, 4, 0x2000, 0, 0, 0x2000, false, negated},
    {"HI", pjLittle, false, 14, 2, 0x0001, 0x00028000, 0, 0x0001, false, {}},
    // Machine 0x9999: the plain and negated words in both orders.
    {"ADDR32", nmBig, true, 6, 4, 0x1, 0x10, 0, 0x11, true, {}},
    {"ADDR32", nmLittle, false, 6, 4, 0x1, 0x10, 0, 0x11, true, {}},
    {"NADDR32", nmBig, true, 10, 4, 0x2000, 0, 0, 0xFFC, true, negated},
    {"NADDR32", nmLittle, false, 10, 4, 0x2000, 0, 0, 0xFFC, true, negated},
    {"PCREL32", nmBig, true, 2, 4, 0x10, 0x2000, 0x1000, 0x10, false, {}},
    {"CON2", nmLittle, false, 12, 2, 0x1201, 0, 0, 0x1201, false, {}},
    {"NONE", nmLittle, false, 0, 4, 0x1, 0x10, 0, 0x1, true, {}},
};

class OtherRoutine : public ::testing::TestWithParam<RoutineCase> {};

TEST_P(OtherRoutine, WritesItsFieldAndAnswersByRange) {
    const RoutineCase &c = GetParam();
    FixupOutput output;
    output.sda = c.entry.sdaBase;
    ReportingEntry entry;
    entry.output = &output;
    entry.addendOf = c.entry.addend;
    entry.valueOf_ = c.entry.value;
    entry.valueWithoutAddendOf = c.entry.valueWithoutAddend;
    std::vector<uint8_t> bytes = orderedBytes(c.field, c.width, c.bigEndian);
    const FixupRow *row = c.table().lookup(c.type);
    EXPECT_EQ(row->fixup(entry, bytes.data(), c.value, c.address), c.fits) << c.what;
    EXPECT_EQ(bytes, orderedBytes(c.written, c.width, c.bigEndian)) << c.what;
    EXPECT_TRUE(entry.reports.reports.empty()) << c.what;
}

INSTANTIATE_TEST_SUITE_P(Rows, OtherRoutine, ::testing::ValuesIn(routineCases));

// PJ's constant index without an output file counts from address 0.
TEST(ElfOtherFixupTables, ConstantIndexWithoutAnOutputFile) {
    ReportingEntry entry;
    entry.valueWithoutAddendOf = 0x3FC;
    uint8_t byte = 0;
    EXPECT_TRUE(elfPJCFixupTable(true).lookup(11)->fixup(entry, &byte, 0, 0));
    EXPECT_EQ(byte, 0xFF);
}

} // namespace
