#include "input/Processor.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr uint32_t none = Processor::noMachine;

TEST(Processor, TheTable) {
    struct Row {
        Processor *entry;
        const char *name;
        uint32_t elf, coff, bsd;
        bool embedded;
    } rows[] = {
        {&Processor::sparc(), "SPARC", 2, none, 3, false},
        {&Processor::iX86(), "iX86", 3, 0x14C, none, false},
        {&Processor::i860(), "i860", 7, none, none, false},
        {&Processor::mc680x0(), "MC680X0", 4, 0x150, none, false},
        {&Processor::am29k(), "AM29K", none, 0x17A, none, true},
        {&Processor::am29kL(), "AM29K-L", none, 0x17B, none, true},
        {&Processor::arm(), "ARM", 0x28, none, none, false},
        {&Processor::ilMachine(), "IL-Machine", 0x9999, none, none, true},
        {&Processor::pjc(), "PJC", 0x63, none, none, false},
        {&Processor::powerPC(0x0B), "PowerPC", 0x0B, none, none, false},
        {&Processor::mips(), "MIPS", 8, none, none, false},
        {&Processor::powerPCEmbedded(0x11), "PowerPC", 0x11, none, none, true},
        {&Processor::arc(), "ARC", 0x2D, none, none, true},
        {&Processor::videoCore(), "VideoCore", 0x5F, none, none, true},
        {&Processor::arcA5(), "ARC-A5", 0x5D, none, none, true},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_STREQ(r.entry->name(), r.name);
        EXPECT_EQ(r.entry->elfMachine(), r.elf);
        EXPECT_EQ(r.entry->coffMachine(), r.coff);
        EXPECT_EQ(r.entry->bsdMachine(), r.bsd);
        EXPECT_EQ(r.entry->embeddedFlag(), r.embedded);
        EXPECT_STREQ(r.entry->smallDataBaseSymbol(), "_SDA_BASE_");
        EXPECT_STREQ(r.entry->smallData2BaseSymbol(), "_SDA2_BASE_");
    }
    // One object per target: every accessor call gives the same one.
    for (size_t i = 0; i < std::size(rows); ++i)
        for (size_t j = i + 1; j < std::size(rows); ++j)
            EXPECT_NE(rows[i].entry, rows[j].entry);
    EXPECT_EQ(&Processor::sparc(), &Processor::sparc());
}

TEST(Processor, PowerPCRemembersTheLastNumber) {
    Processor &plain = Processor::powerPC(0x0B);
    EXPECT_EQ(&Processor::powerPC(0x14), &plain);
    EXPECT_EQ(plain.elfMachine(), 0x14u);
    Processor &embedded = Processor::powerPCEmbedded(0x11);
    EXPECT_EQ(plain.elfMachine(), 0x14u); // the entries keep their own numbers
    EXPECT_EQ(embedded.elfMachine(), 0x11u);
    EXPECT_NE(&plain, &embedded);
    EXPECT_STREQ(plain.name(), embedded.name());
}

TEST(Processor, SmallDataBaseDefaults) {
    auto &a5 = static_cast<ArcA5Processor &>(Processor::arcA5());
    EXPECT_EQ(a5.smallDataBase, 0xFFFFFFFFu);
}

} // namespace
