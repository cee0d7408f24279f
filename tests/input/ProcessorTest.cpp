#include "input/Processor.h"

#include "kit/FakeObjectFile.h"

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
    // The PowerPC entries answer with the number last stored, each its own.
    EXPECT_EQ(&Processor::powerPC(0x14), rows[9].entry);
    EXPECT_EQ(rows[9].entry->elfMachine(), 0x14u);
    EXPECT_EQ(rows[11].entry->elfMachine(), 0x11u);
}

// A small-data section of a chosen size.
class SizedSection : public FakeSection {
public:
    SizedSection(FakeObjectFile &owner, uint32_t bytes)
        : FakeSection(owner, ".sdata"), bytes(bytes) {}
    uint32_t size() override { return bytes; }

private:
    uint32_t bytes;
};

TEST(Processor, SmallDataBase) {
    FakeObjectFile object("a.o");
    auto &a5 = static_cast<ArcA5Processor &>(Processor::arcA5());
    EXPECT_EQ(a5.smallDataBase, 0xFFFFFFFFu); // not computed
    struct Case {
        uint32_t size, arc, others;
    } cases[] = {{0, 0, 0}, {0xFF, 0, 0}, {0x100, 0x100, 0}, {0x5000, 0x100, 0}};
    for (const Case &c : cases) {
        SizedSection sdata(object, c.size);
        EXPECT_EQ(Processor::arc().smallDataBaseOffset(sdata), c.arc) << c.size;
        EXPECT_EQ(a5.smallDataBaseOffset(sdata), c.arc) << c.size;
        EXPECT_EQ(Processor::powerPC(0x14).smallDataBaseOffset(sdata), c.others);
        EXPECT_EQ(Processor::sparc().smallDataBaseOffset(sdata), c.others);
    }
    // Once computed, ARC-A5's own base wins whatever the section's size.
    a5.smallDataBase = 0x1F4;
    SizedSection small(object, 0x10);
    EXPECT_EQ(a5.smallDataBaseOffset(small), 0x1F4u);
    EXPECT_EQ(Processor::arc().smallDataBaseOffset(small), 0u);
    a5.smallDataBase = 0xFFFFFFFF;
    // Without a ".sdata" section there is nothing to prepare.
    object.section(".text");
    a5.prepareSmallData(object);
    EXPECT_EQ(a5.smallDataBase, 0xFFFFFFFFu);
}

TEST(ProcessorDeathTest, SmallDataOfAnInputFileBreaksTheInvariant) {
    // Only ELF output sections may be called ".sdata" in an output file.
    FakeObjectFile object("a.o");
    object.section(".sdata");
    EXPECT_DEATH(Processor::arcA5().prepareSmallData(object),
                 "Processor.cpp: Line [0-9]+: assert\\(smallData != nullptr\\) failed.");
    // Other targets have nothing to prepare.
    Processor::arc().prepareSmallData(object);
    Processor::sparc().prepareSmallData(object);
}

} // namespace
