#include "input/arc5sdata.h"

#include "elf/ElfOutputSection.h"
#include "input/FileIdentity.h"
#include "input/FileName.h"
#include "input/Processor.h"
#include "kit/OutputSectionKit.h"
#include "object/CombinedSection.h"
#include "support/formout.h"
#include "support/toggles.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

// The output file of a link: the sections and symbols that the test lists.
class LinkOutput : public ObjectFile {
public:
    explicit LinkOutput(const FileName &name) : ObjectFile(name) {}
    std::vector<Section *> sections;
    std::vector<Symbol *> symbols;

    void each(SymbolVisitor visitor) override { eachSymbol(visitor); }
    uint32_t count() override { return static_cast<uint32_t>(symbols.size()); }
    ObjectFormatKind formatKind() override { return elfFormat; }
    bool isCompatibleWith(ObjectFile &) override { return true; }
    void eachSection(SectionVisitor visitor) override {
        for (Section *s : sections)
            if (!visitor(*s)) return;
    }
    uint32_t symbolCount() override { return count(); }
    void eachSymbol(SymbolVisitor visitor) override {
        for (Symbol *s : symbols)
            if (!visitor(*s)) return;
    }
    bool isLittleEndian() override { return true; }
};

// The ARC small-data types by the access they make.
constexpr uint32_t byteLdst = 0x13, halfLdst = 0x14, wordLdst = 0x15;
constexpr uint32_t byteLd16 = 0x16, halfLd16 = 0x17, wordLd16 = 0x18;

class Arc5SdataTest : public testing::Test {
protected:
    FileName outName{"out"};
    FileName inName{"in.o"};
    ElfObjectFile elfOutput{outName};
    ElfObjectFile input{inName};
    LinkOutput output{outName};
    CombinedSection combined{".sdata", &elfOutput};
    MemberSection code{".text", &input, 0x100};
    RowTable table;
    std::vector<std::unique_ptr<MemberSection>> members;

    void SetUp() override {
        code.table = &table;
        output.sections.push_back(&code);
    }

    // A member of .sdata, appended in the order of the calls.
    MemberSection &member(const char *name, uint32_t size) {
        members.push_back(std::make_unique<MemberSection>(name, &input, size));
        combined.appendSection(members.back().get());
        return *members.back();
    }
    void reach(MemberSection &target, uint32_t type) { table.rows.push_back({type, &target}); }

    // Runs the remapping and answers the base; the layout is in `layout`.
    uint32_t remap() {
        ElfOutputSection sdata(&combined, &elfOutput);
        uint32_t base = 0xDEAD;
        remapSmallData(sdata, output, base);
        return base;
    }
    std::string layout() { return memberLayout(combined); }
};

TEST_F(Arc5SdataTest, SmallSectionsKeepTheirLayout) {
    struct Case {
        uint32_t size, base;
    } cases[] = {{0, 0}, {0xFF, 0}, {0x100, 0x100}, {0x200, 0x100}};
    for (const Case &c : cases) {
        CombinedSection small(".sdata", &elfOutput);
        MemberSection b("b", &input, c.size);
        MemberSection a("a", &input, 0);
        small.appendSection(&b);
        small.appendSection(&a);
        reach(a, byteLdst);
        ElfOutputSection sdata(&small, &elfOutput);
        uint32_t base = 0xDEAD;
        remapSmallData(sdata, output, base);
        EXPECT_EQ(base, c.base) << c.size;
        EXPECT_EQ(small.firstMember(), &b) << c.size;
        table.rows.clear();
    }
}

// One byte more than 0x200 is laid out anew: byte, half-word and word
// sections from the middle outwards, unreached sections behind.
TEST_F(Arc5SdataTest, GroupsByTheNarrowestAccess) {
    MemberSection &none = member("none", 0x10);
    MemberSection &word = member("word", 0x100);
    MemberSection &half = member("half", 0x80);
    MemberSection &both = member("both", 0x40);
    MemberSection &late = member("late", 0x31);
    reach(word, wordLdst);
    reach(half, wordLd16);
    reach(half, halfLd16);
    reach(both, wordLdst);
    reach(both, byteLd16);
    reach(late, byteLdst);
    reach(late, halfLdst);
    reach(late, wordLd16);
    // Types around the small-data ones, and targets outside .sdata, count
    // for nothing.
    reach(none, 0x12);
    reach(none, 0x19);
    reach(code, byteLdst);
    ASSERT_EQ(combined.size(), 0x201u);
    remap();
    EXPECT_EQ(layout(), "word@0 half@256 both@384 late@448 none@497 ");
}

// A relocation without a target section counts for its symbol's section.
TEST_F(Arc5SdataTest, TargetThroughTheSymbol) {
    MemberSection &a = member("a", 0x180);
    MemberSection &b = member("b", 0x100);
    PlacedSymbol inB("x", &b, 0);
    PlacedSymbol nowhere("y", nullptr, 0);
    table.rows.push_back({byteLdst, nullptr, &inB});
    table.rows.push_back({byteLdst, nullptr, &nowhere});
    table.rows.push_back({byteLdst, nullptr, nullptr});
    remap();
    EXPECT_EQ(layout(), "b@0 a@256 ");
    (void)a;
}

// A group splits at half of its size: the first sections by name, while
// they fit in that half, go to the high end; a lone section stays low.
TEST_F(Arc5SdataTest, SplittingAndTheBase) {
    MemberSection &w2 = member("w2", 0x300);
    MemberSection &w1 = member("w1", 0x100);
    MemberSection &h2 = member("h2", 0x80);
    MemberSection &h1 = member("h1", 0x80);
    MemberSection &b1 = member("b1", 0x40);
    member("n1", 0x10);
    for (MemberSection *w : {&w1, &w2})
        reach(*w, wordLdst);
    for (MemberSection *h : {&h1, &h2})
        reach(*h, halfLdst);
    reach(b1, byteLdst);
    // Hlo 0x300, Blo 0x380, Bhi 0x3BF, Hhi 0x43E, Whi 0x53C: the word check
    // raises to 0x140, the half-word check to 0x240, the byte check to 0x2C0.
    EXPECT_EQ(remap(), 0x2C0u);
    EXPECT_EQ(layout(), "w2@0 h2@768 b1@896 h1@960 w1@1088 n1@1344 ");
}

// Far ends pull the base up; the checks on the low boundaries would pull
// it back down, which the base never does.
TEST_F(Arc5SdataTest, TheBaseNeverGoesDown) {
    for (const char *name : {"wa", "wb"})
        reach(member(name, 0x100), wordLdst);
    for (const char *name : {"ha", "hb"})
        reach(member(name, 0x200), halfLdst);
    reach(member("b", 0x10), byteLdst);
    // Hlo 0x100, Blo 0x300, Bhi 0x30F, Hhi 0x50E, Whi 0x60C: the word check
    // raises to 0x210, the half-word check to 0x310, below which Hlo lies
    // too far.
    EXPECT_EQ(remap(), 0x310u);
    EXPECT_EQ(layout(), "wb@0 hb@256 b@768 ha@784 wa@1296 ");
}

TEST_F(Arc5SdataTest, TheBaseStopsAt0x400) {
    MemberSection &big = member("big", 0x900);
    member("tail", 0x10);
    reach(big, wordLdst);
    EXPECT_EQ(remap(), 0x400u);
    EXPECT_EQ(layout(), "big@0 tail@2304 ");
}

TEST_F(Arc5SdataTest, NothingReachedKeepsBaseZero) {
    member("b", 0x200);
    member("a", 0x10);
    EXPECT_EQ(remap(), 0u);
    EXPECT_EQ(layout(), "a@0 b@16 ");
}

TEST_F(Arc5SdataTest, Trace) {
    MemberSection &d = member(".sdata.d", 0x50);
    MemberSection &c = member(".sdata.c", 0x40);
    MemberSection &b = member(".sdata.b", 0x80);
    MemberSection &a = member(".sdata.a", 0x100);
    (void)d;
    reach(a, wordLdst);
    reach(b, halfLdst);
    reach(c, wordLdst);
    reach(c, byteLdst);
    PlacedSymbol high("byte", &c, 0x190, 1);
    PlacedSymbol low("low", &a, 0x10, 4);
    PlacedSymbol elsewhere("code", &code, 0x4);
    output.symbols = {&high, &elsewhere, &low};

    Toggle &trace = toggleTable().set("TRACE_SDATA", true);
    testing::internal::CaptureStdout();
    uint32_t base = remap();
    CombinedSection small(".sdata", &elfOutput);
    MemberSection s("s", &input, 0x20);
    small.appendSection(&s);
    ElfOutputSection smallOut(&small, &elfOutput);
    uint32_t smallBase = 1;
    remapSmallData(smallOut, output, smallBase);
    traceOut().flush();
    std::string out = testing::internal::GetCapturedStdout();
    trace.pop();

    EXPECT_EQ(base, 192u);
    EXPECT_EQ(smallBase, 0u);
    EXPECT_EQ(out, "[SDATA] .sdata of size 528 bytes\n"
                   "[SDATA] New mapping of .sdata:\n"
                   "[SDATA]    Word Addressed #1\n"
                   "[SDATA]\t.sdata.a from in.o\n"
                   "[SDATA]    HalfWord Addressed #1\n"
                   "[SDATA]\t.sdata.b from in.o\n"
                   "[SDATA]    Byte Addressed\n"
                   "[SDATA]\t.sdata.c from in.o\n"
                   "[SDATA]    HalfWord Addressed #2\n"
                   "[SDATA]    Word Addressed #2\n"
                   "[SDATA]    Neither Addressed\n"
                   "[SDATA]\t.sdata.d from in.o\n"
                   "[SDATA] Wlo=0, Hlo=256, Blo=384, Bhi=447,Hhi=446,Whi=444;  base=192\n"
                   "[SDATA] Final symbols offsets in .sdata:\n"
                   "\t@-176\tlow @in.o, size=4\n"
                   "\t@+208\tbyte @in.o, size=1\n"
                   "[SDATA] .sdata of size 32 bytes\n"
                   "[SDATA] No need to remap. Size is sufficiently small\n");
}

// The ARC-A5 entry runs the remapping on the output's .sdata and answers
// the base it chose from then on.
TEST_F(Arc5SdataTest, TheProcessorEntryStoresTheBase) {
    MemberSection &a = member("a", 0x900);
    member("b", 0x10);
    reach(a, wordLdst);
    ElfOutputSection sdata(&combined, &elfOutput);
    output.sections.push_back(&sdata);
    auto &a5 = static_cast<ArcA5Processor &>(Processor::arcA5());
    uint32_t before = a5.smallDataBase;
    a5.prepareSmallData(output);
    EXPECT_EQ(a5.smallDataBaseOffset(sdata), 0x400u);
    a5.smallDataBase = before;
}

// The base's exact rise from each far end: Whi 0x6FD raises to 0x304 (Whi
// less 0x3F9, low bits cleared), below which nothing else reaches; an Hhi
// exactly 0x200 above the base raises it to 4, which keeps Bhi 0x100 in
// reach.
TEST_F(Arc5SdataTest, TheBaseRisesByTheExactReach) {
    reach(member("wb", 0x400), wordLdst);
    reach(member("wa", 0x301), wordLdst);
    EXPECT_EQ(remap(), 0x304u);
    EXPECT_EQ(layout(), "wb@0 wa@1024 ");
}

TEST_F(Arc5SdataTest, AHalfWordExactlyOutOfReachRaisesTheBase) {
    reach(member("hb", 0x101), halfLdst);
    reach(member("ha", 0x101), halfLdst);
    member("n", 0x10);
    EXPECT_EQ(remap(), 4u);
    EXPECT_EQ(layout(), "hb@0 ha@257 n@514 ");
}

// Offsets of 2 GB and more wrap as 32-bit numbers do: a byte-addressed
// section of 0x80000002 bytes puts Bhi at 0x80000001, a negative offset
// that no check raises the base for, while the word section behind it puts
// Whi at 0x7FFFFFFE and raises the base to its cap.
TEST_F(Arc5SdataTest, OffsetsOfTwoGigabytesWrap) {
    reach(member("b", 0x80000002), byteLdst);
    reach(member("w", 0), wordLdst);
    EXPECT_EQ(remap(), 0x400u);
}

} // namespace
