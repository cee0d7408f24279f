#include "input/Processor.h"

#include "kit/FakeObjectFile.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

// An entry's answers as one line: name ("*" if embedded), then its ELF, COFF
// and a.out numbers in hex ("-" for none).
std::string answers(const Processor &p) {
    std::ostringstream out;
    out << p.name() << (p.embeddedFlag() ? "*" : "") << std::hex;
    for (uint32_t number : {p.elfMachine(), p.coffMachine(), p.bsdMachine()})
        number == Processor::noMachine ? out << " -" : out << " " << number;
    return out.str();
}

TEST(Processor, TheTable) {
    Processor *entries[] = {
        &Processor::sparc(),       &Processor::iX86(),      &Processor::i860(),
        &Processor::mc680x0(),     &Processor::am29k(),     &Processor::am29kL(),
        &Processor::arm(),         &Processor::ilMachine(), &Processor::pjc(),
        &Processor::powerPC(0x0B), &Processor::mips(),      &Processor::powerPCEmbedded(0x11),
        &Processor::arc(),         &Processor::videoCore(), &Processor::arcA5(),
    };
    const char *expected[] = {
        "SPARC 2 - 3",    "iX86 3 14c -",      "i860 7 - -",     "MC680X0 4 150 -",
        "AM29K* - 17a -", "AM29K-L* - 17b -",  "ARM 28 - -",     "IL-Machine* 9999 - -",
        "PJC 63 - -",     "PowerPC b - -",     "MIPS 8 - -",     "PowerPC* 11 - -",
        "ARC* 2d - -",    "VideoCore* 5f - -", "ARC-A5* 5d - -",
    };
    for (size_t i = 0; i < std::size(entries); ++i) {
        EXPECT_EQ(answers(*entries[i]), expected[i]);
        EXPECT_STREQ(entries[i]->smallDataBaseSymbol(), "_SDA_BASE_");
        EXPECT_STREQ(entries[i]->smallData2BaseSymbol(), "_SDA2_BASE_");
        // One object per target.
        for (size_t j = i + 1; j < std::size(entries); ++j)
            EXPECT_NE(entries[i], entries[j]);
    }
    // The PowerPC entries answer with the number last stored, each its own:
    // the embedded entry's store above left the plain one at 0x0B.
    EXPECT_EQ(&Processor::powerPC(0x14), entries[9]);
    EXPECT_EQ(entries[9]->elfMachine(), 0x14u);
    EXPECT_EQ(entries[11]->elfMachine(), 0x11u);
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
