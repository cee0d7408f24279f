// The rows of the COFF relocation types by magic, and the AM29K routines of
// the instruction fields applied in both byte orders, at the limits of their
// fields.

#include "coff/CoffFixupRow.h"
#include "CoffRelocationsTestSupport.h"
#include "coff/CoffObjectFile.h"
#include "kit/CoffBuilder.h"

#include <gtest/gtest.h>

namespace {

using namespace reloc;

TEST(CoffFixupRow, RowsByMagic) {
    struct Row {
        uint32_t magic, type;
        FixupRoutine fixup;
        const char *name;
        int companion, pcRelative, fieldIsRelative, elfType;
    };
    const Row rows[] = {
        {0x14C, 0, patchNothing, "R_ABS", 0, 0, 0, 0},
        {0x14C, 1, add16Le, "R_DIR16", 0, 0, 0, 0},
        {0x14C, 2, addPc16Le, "R_REL16", 0, 0, 0, 0},
        {0x14C, 5, patchUnsupported, nullptr, 0, 0, 0, 0},
        {0x14C, 6, add32Le, "R_DIR32", 0, 0, 0, 1},
        {0x14C, 16, add16Le, nullptr, 0, 0, 0, 0},
        {0x14C, 17, add32Le, "R_RELLONG", 0, 0, 0, 1},
        {0x14C, 18, addPc8, "R_PCRBYTE", 0, 1, 0, 0},
        {0x14C, 19, addPc16Le, "R_PCRWORD", 0, 1, 0, 0},
        {0x14C, 20, addPc32Le, "R_PCRLONG", 0, 1, 0, 2},
        {0x17A, 0, patchNothing, "R_ABS", 0, 0, 0, 0},
        {0x17A, 23, patchUnsupported, nullptr, 0, 0, 0, 0},
        {0x17A, 24, am29k::instructionRelativeBe, "R_IREL", 0, 1, 1, 0},
        {0x17A, 27, am29k::highHalfBe, "R_IHIHALF", 1, 0, 0, 0},
        {0x17A, 28, patchUnsupported, "R_IHCONST", -1, 0, 0, 0},
        {0x17A, 30, add16Be, "R_HWORD", 0, 0, 0, 0},
        {0x17A, 34, am29k::byte3, "R_IGLBLRB", 0, 0, 0, 0},
        {0x17B, 1, patchUnsupported, nullptr, 0, 0, 0, 0},
        {0x17B, 25, am29k::instructionAbsoluteLe, "R_IABS", 0, 0, 0, 0},
        {0x17B, 26, am29k::lowHalfLe, "R_ILOHALF", 0, 0, 0, 0},
        {0x17B, 29, add8, "R_BYTE", 0, 0, 0, 0},
        {0x17B, 31, add32Le, "R_WORD", 0, 0, 0, 0},
        {0x17B, 32, am29k::byte1, "R_IGLBLRC", 0, 0, 0, 0},
    };
    for (const Row &r : rows) {
        CoffFixupTable table = coffFixupTable(r.magic);
        ASSERT_LT(r.type, table.rowCount);
        const CoffFixupRow &row = table.rows[r.type];
        EXPECT_EQ(row.fixup, r.fixup) << r.magic << " " << r.type;
        EXPECT_STREQ(row.name ? row.name : "(none)", r.name ? r.name : "(none)") << r.type;
        EXPECT_EQ(row.companion, r.companion) << r.magic << " " << r.type;
        EXPECT_EQ(row.pcRelative, r.pcRelative) << r.magic << " " << r.type;
        EXPECT_EQ(row.fieldIsRelative, r.fieldIsRelative) << r.magic << " " << r.type;
        EXPECT_EQ(table.elfTypes ? table.elfTypes[r.type] : 0, r.elfType) << r.type;
    }
    EXPECT_EQ(coffFixupTable(0x14C).rowCount, 21u);
    EXPECT_EQ(coffFixupTable(0x17A).rowCount, 35u);
    EXPECT_EQ(coffFixupTable(0x17B).rowCount, 35u);
    EXPECT_EQ(coffFixupTable(0x17A).elfTypes, nullptr);
    for (uint32_t magic : {0x150u, 0x14Au, 0u}) {
        EXPECT_EQ(coffFixupTable(magic).rows, nullptr);
        EXPECT_EQ(coffFixupTable(magic).rowCount, 0u);
    }
}

// An AM29K instruction word: the opcode byte and the two bytes of the
// constant where each magic keeps them.
std::vector<uint8_t> instruction(ByteOrder order, uint8_t opcode, uint16_t constant) {
    uint8_t high = uint8_t(constant >> 8), low = uint8_t(constant);
    if (order == BigEndian) return {opcode, high, 0x5A, low};
    return {low, 0x5A, high, opcode};
}

struct Am29k {
    ByteOrder order;
    uint16_t magic;
};
const Am29k bothOrders[] = {{BigEndian, 0x17A}, {LittleEndian, 0x17B}};

// A text section holding `words` (4 bytes each), with one entry of `type`
// at each, all against the undefined symbol _g.
std::vector<uint8_t> am29kText(const Am29k &m, uint16_t type, std::vector<uint8_t> words,
                               uint16_t flags = 0) {
    CoffBuilder b(m.order, m.magic);
    b.flags(flags).section(".text", coffSectionText, words);
    for (uint32_t at = 0; at < words.size(); at += 4)
        b.relocation(at, 0, type);
    return b.symbol("_g", 0, 0, coffClassExternal).build();
}

std::vector<uint8_t> joined(std::vector<uint8_t> a, const std::vector<uint8_t> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(CoffFixupRow, RelativeInstructionsInRelocatableAndExecutableFiles) {
    for (const Am29k &m : bothOrders) {
        for (uint16_t flags : {uint16_t(0), coffExecutable}) {
            // _f at 0x10 of .text, which moves from 0 to 0x100; the field at
            // offset 4 holds 0x10 words.
            CoffTable t(CoffBuilder(m.order, m.magic)
                            .flags(flags)
                            .section(".text", coffSectionText,
                                     joined(bytes(4), instruction(m.order, 0x20, 0x10)))
                            .relocation(4, 0, 24)
                            .symbol("_f", 0x10, 1, coffClassExternal)
                            .build());
            t.section->setAddress(0x100);
            // Relocatable: (0x100 - 0x104 + 0x40) / 4.  Executable: the
            // place's input offset counts too, and the field stays.
            EXPECT_EQ(t.applied(0),
                      joined(bytes(4), instruction(m.order, 0x20, flags ? 0x10 : 0x0F)))
                << m.magic;
        }
    }
}

TEST(CoffFixupRow, RelativeInstructionsOutOfReach) {
    for (const Am29k &m : bothOrders) {
        // A primer file: the far-target error of the file before is said
        // once, so the files of this test must follow another one.
        CoffTable primer(am29kText(m, 24, instruction(m.order, 0x20, 0)));
        OutputSymbol far("_g", 0x100000, 1);
        primer.coff->symbolAt(0)->link = &far;
        primer.applied(0);

        // .text placed at 0x80000: a target at 0x100 is 0x7FF04 bytes
        // behind, beyond a relative reach; it is in an absolute one.
        CoffTable t(
            am29kText(m, 24, joined(instruction(m.order, 0x20, 0), instruction(m.order, 0x20, 0))));
        t.section->setAddress(0x80000);
        OutputSymbol near("_g", 0x100, 1);
        t.coff->symbolAt(0)->link = &near;
        EXPECT_EQ(t.applied(0),
                  joined(instruction(m.order, 0x21, 0x40), instruction(m.order, 0x20, 0)));
        EXPECT_TRUE(t.reports.lines.empty());

        // At 0x100000 it is beyond both: the field gets the absolute words
        // cut to 16 bits, and the file hears of it once.
        t.coff->symbolAt(0)->link = &far;
        EXPECT_EQ(t.applied(1),
                  joined(instruction(m.order, 0x20, 0), instruction(m.order, 0x20, 0)));
        t.applied(0);
        EXPECT_EQ(t.reports.lines,
                  std::vector<std::string>{
                      "E: In test.o, section .text at 0x4,\n|\t(relocation record #1 of type "
                      "R_IREL) refs symbol \"_g\":\n|\ttarget address is more than 128K bytes "
                      "away;\n|\tperhaps this module needs to be recompiled in large model?"});
        primer.reports.lines.clear();
        primer.applied(0);
        EXPECT_EQ(primer.reports.lines.size(), 1u) << m.magic;
    }
}

TEST(CoffFixupRow, AbsoluteInstructions) {
    for (const Am29k &m : bothOrders) {
        // The constant counts unsigned: 0x10 words and 0x8000 words.
        CoffTable t(am29kText(
            m, 25, joined(instruction(m.order, 0x40, 0x10), instruction(m.order, 0x40, 0x8000))));
        OutputSymbol target("_g", 0x100, 1);
        t.coff->symbolAt(0)->link = &target;
        // (0x100 + 0x40) / 4 fits: the instruction is made absolute.
        EXPECT_EQ(t.applied(0),
                  joined(instruction(m.order, 0x41, 0x50), instruction(m.order, 0x40, 0x8000)));
        // (0x100 + 0x20000) / 4 does not: the opcode stays, the far-target
        // error comes (unless this file had it last).
        EXPECT_EQ(t.applied(1),
                  joined(instruction(m.order, 0x40, 0x10), instruction(m.order, 0x40, 0x8040)));
    }
}

TEST(CoffFixupRow, HalvesOfAConstant) {
    for (const Am29k &m : bothOrders) {
        // The low half: carries out of the field are lost.
        CoffTable low(am29kText(m, 26, instruction(m.order, 0x03, 0xFFF0)));
        OutputSymbol target("_g", 0x10020, 1);
        low.coff->symbolAt(0)->link = &target;
        EXPECT_EQ(low.applied(0), instruction(m.order, 0x03, 0x0010));

        // The high half of the value with the companion's constant; the
        // field's old contents do not count.
        CoffBuilder b(m.order, m.magic);
        CoffTable pair(b.section(".text", coffSectionText, instruction(m.order, 0x03, 0xFFFF))
                           .relocation(0, 0, 27)
                           .relocation(0, 0x12345678, 28)
                           .symbol("_g", 0, 0, coffClassExternal)
                           .build());
        OutputSymbol moved("_g", 0x10000, 1);
        pair.coff->symbolAt(0)->link = &moved;
        EXPECT_EQ(pair.applied(0), instruction(m.order, 0x03, 0x1235));
        EXPECT_TRUE(pair.reports.lines.empty());
    }
}

TEST(CoffFixupRow, AHighHalfWithoutItsCompanion) {
    for (const Am29k &m : bothOrders) {
        // Followed by another type, whose symndx is added all the same; and
        // as the last entry, with nothing to add.
        CoffTable t(CoffBuilder(m.order, m.magic)
                        .section(".text", coffSectionText,
                                 joined(instruction(m.order, 0, 0), instruction(m.order, 0, 0)))
                        .relocation(0, 0, 27)
                        .relocation(4, 0x20000, 31)
                        .relocation(4, 0, 27)
                        .symbol("_g", 0, 0, coffClassExternal)
                        .build());
        OutputSymbol target("_g", 0x30000, 1);
        t.coff->symbolAt(0)->link = &target;
        EXPECT_EQ(t.applied(0), joined(instruction(m.order, 0, 5), instruction(m.order, 0, 0)));
        EXPECT_EQ(t.applied(1), joined(instruction(m.order, 0, 0), instruction(m.order, 0, 3)));
        EXPECT_EQ(t.reports.lines,
                  (std::vector<std::string>{
                      "E: In test.o, section .text at 0x0,\n|\t(relocation record #0 of type "
                      "R_IHIHALF) refs symbol \"_g\":\n|\t2-part fixup missing its companion "
                      "entry",
                      "E: In test.o, section .text at 0x4,\n|\t(relocation record #2 of type "
                      "R_IHIHALF) refs symbol \"_g\":\n|\t2-part fixup missing its companion "
                      "entry"}));
    }
}

TEST(CoffFixupRow, BytesOfAWordAndPlainFields) {
    for (const Am29k &m : bothOrders) {
        struct Row {
            uint16_t type;
            uint32_t value;
            std::vector<uint8_t> before, after;
            bool fits;
        };
        bool big = m.order == BigEndian;
        const Row rows[] = {
            {32, 0xFF, {1, 2, 3, 4}, {1, 0xFF, 3, 4}, true},    // R_IGLBLRC: byte 1
            {33, 0x7F, {1, 2, 3, 4}, {1, 2, 0x7F, 4}, true},    // R_IGLBLRA: byte 2
            {34, 0x100, {1, 2, 3, 4}, {1, 2, 3, 0}, false},     // R_IGLBLRB: byte 3
            {29, 0x7F, {0x80, 0, 0, 0}, {0xFF, 0, 0, 0}, true}, // R_BYTE
            {30,
             0x1234,
             {0, 1, 0, 0},
             big ? std::vector<uint8_t>{0x12, 0x35, 0, 0} : std::vector<uint8_t>{0x34, 0x13, 0, 0},
             true},
            {31,
             0x10000,
             {0, 0, 0, 1},
             big ? std::vector<uint8_t>{0, 1, 0, 1} : std::vector<uint8_t>{0, 0, 1, 1},
             true},
        };
        for (const Row &r : rows) {
            CoffTable t(am29kText(m, r.type, r.before));
            OutputSymbol target("_g", r.value, 1);
            t.coff->symbolAt(0)->link = &target;
            EXPECT_EQ(t.applied(0), r.after) << m.magic << " " << r.type;
            EXPECT_EQ(t.reports.lines.size(), r.fits ? 0u : 1u) << m.magic << " " << r.type;
        }
    }
}

} // namespace
