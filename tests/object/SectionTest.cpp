// Section and RelocatableSection: section types, combined names, mapping,
// binding, discarding, display, and the botch of every base operation that a
// class does not support.
#include "ObjectTestKit.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>

namespace {

class SectionTest : public testing::Test {
protected:
    FileName name{"a.o"};
    TestObjectFile file{name};
};

TEST_F(SectionTest, SectionTypeFromTheAttributes) {
    struct Case {
        const char *what;
        bool allocated, note, bss, writable, executable;
        SectionType expected;
    };
    const Case cases[] = {
        {"unallocated", false, false, false, true, true, SectionType::info},
        {"unallocated note", false, true, false, false, false, SectionType::note},
        {"writable bss", true, false, true, true, false, SectionType::bss},
        {"writable", true, false, false, true, false, SectionType::data},
        {"writable and executable", true, false, false, true, true, SectionType::data},
        {"executable", true, false, false, false, true, SectionType::text},
        {"read-only", true, false, false, false, false, SectionType::lit},
        {"read-only bss", true, false, true, false, false, SectionType::lit},
        {"executable bss", true, false, true, false, true, SectionType::text},
        {"allocated note", true, true, false, false, false, SectionType::lit},
    };
    for (const Case &c : cases) {
        TestSection section(&file, ".s");
        section.allocated = c.allocated;
        section.note = c.note;
        section.bss = c.bss;
        section.writable = c.writable;
        section.executable = c.executable;
        EXPECT_EQ(section.sectionType(), c.expected) << c.what;
    }
}

TEST_F(SectionTest, SectionTypeNames) {
    const char *expected[] = {"<null>", "abs", "bss", "data", "lit", "text", "info", "note"};
    for (uint32_t i = 0; i < 8; ++i)
        EXPECT_STREQ(sectionTypeName(i), expected[i]);
    EXPECT_STREQ(sectionTypeName(8), "?");
    EXPECT_STREQ(sectionTypeName(255), "?");
}

TEST_F(SectionTest, CombinedSectionNameIsCutAtPercentOrDollar) {
    struct Case {
        const char *name;
        const char *expected;
    };
    const Case cases[] = {
        {".text", ".text"},
        {".text$foo", ".text"},
        {".text%foo", ".text"},
        {".data$a%b", ".data$a"},
        {".rdata%x$y", ".rdata"},
        {"$x", ""},
        {"%", ""},
        {"", ""},
    };
    for (const Case &c : cases) {
        TestSection section(&file, c.name);
        EXPECT_STREQ(section.combinedSectionName(), c.expected) << c.name;
        // The second answer comes from the cache and says the same.
        EXPECT_STREQ(section.combinedSectionName(), c.expected) << c.name;
    }
    // A name without a cut is the section's own text, not a copy.
    TestSection plain(&file, ".bss");
    EXPECT_EQ(plain.combinedSectionName(), plain.name());
}

// A section that takes its combined name from another section.
class BoundTestSection : public TestSection {
public:
    using TestSection::TestSection;
    Section *boundSection() override { return boundTo ? boundTo : this; }
    Section *boundTo = nullptr;
};

TEST_F(SectionTest, BoundSectionTakesTheOthersName) {
    BoundTestSection follower(&file, ".text$f");
    TestSection leader(&file, ".data%x");
    EXPECT_STREQ(follower.combinedSectionName(), ".text");
    follower.boundTo = &leader;
    EXPECT_STREQ(follower.combinedSectionName(), ".data");
    EXPECT_EQ(leader.boundSection(), &leader);
}

TEST_F(SectionTest, MutuallyBoundSectionsBotch) {
    BoundTestSection a(&file, ".a");
    BoundTestSection b(&file, ".b");
    a.boundTo = &b;
    b.boundTo = &a;
    EXPECT_EXIT(a.combinedSectionName(), testing::KilledBySignal(SIGABRT),
                "Fatal error --- a.o: sections .* and .* are mutually bound to each other\\.");
}

TEST_F(SectionTest, MappingIntoACombinedSection) {
    TestSection &section = file.addSection(".text", 0x10);
    TestCombinedSection combined(".text", 0x1000);
    TestCombinedSection other(".data", 0x2000);
    EXPECT_EQ(section.combinedSection(), nullptr);
    EXPECT_EQ(section.address(), 0u);
    EXPECT_EQ(section.outermostSection(), &section);
    EXPECT_EQ(section.outputSection(), nullptr);
    EXPECT_EQ(section.sectionGroup(), nullptr);

    section.discard();
    EXPECT_TRUE(section.isDiscarded());
    section.mapIntoCombinedSection(&combined, 0x40);
    EXPECT_FALSE(section.isDiscarded());
    EXPECT_EQ(section.combinedSection(), &combined);
    EXPECT_EQ(section.offsetInCombinedSection(), 0x40u);
    EXPECT_EQ(section.address(), 0x1040u);
    EXPECT_EQ(section.loadAddress(), 0x1040u);
    EXPECT_EQ(section.outermostSection(), &combined);
    combined.output = &other;
    EXPECT_EQ(section.outputSection(), &other);
    SectionGroup *group = reinterpret_cast<SectionGroup *>(&other); // any distinct pointer
    combined.group = group;
    EXPECT_EQ(section.sectionGroup(), group);

    // The same place again is no error.
    section.mapIntoCombinedSection(&combined, 0x40);
    EXPECT_EQ(section.address(), 0x1040u);
    EXPECT_EXIT(section.mapIntoCombinedSection(&combined, 0x80), testing::KilledBySignal(SIGABRT),
                "Fatal error --- \\.text@a\\.o mapIntoCombinedSection\\(\\.text,0x128\\) already "
                "mapped into \\.text at 0x40!");
    EXPECT_EXIT(section.mapIntoCombinedSection(&other, 0x40), testing::KilledBySignal(SIGABRT),
                "already mapped into \\.text at 0x40!");
}

TEST_F(SectionTest, HasAddress) {
    TestSection section(&file, ".text");
    EXPECT_FALSE(section.hasAddress()); // unmapped: address 0
    TestCombinedSection top(".text", 0xFFFFFFF0);
    section.mapIntoCombinedSection(&top, 0xF);
    EXPECT_FALSE(section.hasAddress()); // all ones
    TestSection mapped(&file, ".data");
    mapped.mapIntoCombinedSection(&top, 0);
    EXPECT_TRUE(mapped.hasAddress());
    TestSection absolute(&file, ".abs");
    absolute.absolute = true;
    EXPECT_TRUE(absolute.hasAddress());
}

TEST_F(SectionTest, FileSizeAndDiscarding) {
    TestSection data(&file, ".data", 0x30);
    TestSection bss(&file, ".bss", 0x30);
    bss.bss = true;
    EXPECT_EQ(data.fileSize(), 0x30u);
    EXPECT_EQ(bss.fileSize(), 0u);

    EXPECT_FALSE(data.isDiscarded());
    data.discard();
    EXPECT_TRUE(data.isDiscarded());

    // Of the base class: discarded when the section only describes the file.
    class TableSection : public TestCombinedSection {
    public:
        using TestCombinedSection::TestCombinedSection;
        bool isContentSection() override { return false; }
    } table(".strtab", 0);
    TestCombinedSection combined(".text", 0);
    EXPECT_TRUE(table.isDiscarded());
    EXPECT_FALSE(combined.isDiscarded());
}

TEST_F(SectionTest, PlainSectionIsItsOwnMember) {
    TestSection section(&file, ".text");
    EXPECT_EQ(section.firstMember(), &section);
    EXPECT_EQ(section.lastMember(), &section);
    TestCombinedSection combined(".text", 0);
    TestSection a(&file, "a"), b(&file, "b"), c(&file, "c");
    combined.appendSection(&a);
    combined.appendSection(&b);
    combined.appendSection(&c);
    EXPECT_EQ(combined.firstMember(), &a);
    EXPECT_EQ(combined.lastMember(), &c);
    TestCombinedSection empty(".empty", 0);
    EXPECT_EQ(empty.firstMember(), nullptr);
}

TEST_F(SectionTest, BoundSectionsInOrderOfBinding) {
    TestSection leader(&file, ".text");
    TestSection a(&file, ".a"), b(&file, ".b");
    EXPECT_FALSE(a.isBound());
    EXPECT_TRUE(leader.addBoundSection(&a));
    EXPECT_TRUE(leader.addBoundSection(&b));
    EXPECT_TRUE(a.isBound());
    EXPECT_TRUE(b.isBound());
    EXPECT_FALSE(leader.isBound());
    std::vector<Section *> seen;
    leader.eachBoundSection([&](Section &section) {
        seen.push_back(&section);
        return true;
    });
    EXPECT_EQ(seen, (std::vector<Section *>{&a, &b}));
    // Referenced sections start with the bound ones; a stop ends the walk.
    seen.clear();
    leader.eachReferencedSection([&](Section &section) {
        seen.push_back(&section);
        return false;
    });
    EXPECT_EQ(seen, (std::vector<Section *>{&a}));
}

TEST_F(SectionTest, BindSections) {
    TestSection &text = file.addSection(".text");
    TestSection &extra = file.addSection(".text.extra");
    CapturingErrorContext errors;
    bindSections("ld", file, ".text", ".text.extra", errors);
    EXPECT_TRUE(errors.reports.empty());
    EXPECT_TRUE(extra.isBound());

    bindSections("ld", file, ".nothere", ".gone", errors);
    EXPECT_EQ(errors.reports, (std::vector<std::string>{
                                  "error: ld --\n|\tCan't find section .nothere in a.o\n",
                                  "error: ld --\n|\tCan't find section .gone in a.o\n",
                              }));

    // A discarded first section discards the second.
    TestSection &gone = file.addSection(".gone");
    TestSection &follower = file.addSection(".follower");
    gone.discard();
    errors.reports.clear();
    bindSections("ld", file, ".gone", ".follower", errors);
    EXPECT_TRUE(follower.isDiscarded());
    EXPECT_TRUE(errors.reports.empty());

    // Binding to a discarded section is an error.
    bindSections("ld", file, ".text", ".gone", errors);
    EXPECT_EQ(errors.reports, (std::vector<std::string>{
                                  "error: ld --\n|\tcan't bind .text to .gone\n|\tbecause the "
                                  "latter is a discarded COMDAT.",
                              }));
    (void)text;
}

// A section whose type is beyond the table.
class OddSection : public TestSection {
public:
    using TestSection::TestSection;
    SectionType sectionType() override { return static_cast<SectionType>(9); }
};

TEST_F(SectionTest, Display) {
    TestSection text(&file, ".text", 0x24);
    text.executable = true;
    TestCombinedSection combined(".text", 0x8000);
    text.mapIntoCombinedSection(&combined, 0x10);
    OddSection odd(&file, ".odd", 3);
    CapturedOutput captured;
    text.display(captured.out());
    odd.displayHeader(captured.out());
    EXPECT_EQ(captured.text(), "Section .text: size=0x24, type=text, address=0x8010\n"
                               "36 bytes of data should be displayed here\n"
                               "Section .odd: size=0x3, type=?, address=0x0\n");
}

TEST_F(SectionTest, BaseAnswers) {
    TestSection section(&file, ".text");
    Section &base = section;
    EXPECT_EQ(base.alignment(), 4u);
    EXPECT_EQ(base.index(), 0u);
    EXPECT_EQ(base.sectionSymbol(), nullptr);
    EXPECT_EQ(base.sectionClass(), nullptr);
    EXPECT_EQ(base.namedGroup(), nullptr);
    EXPECT_EQ(base.namedGroupOffset(), 0u);
    EXPECT_EQ(base.groupOffset(), 0u);
    EXPECT_EQ(base.fileOffset(), 0u);
    EXPECT_EQ(base.inputAddress(), 0u);
    EXPECT_EQ(base.elfHeader(), nullptr);
    EXPECT_EQ(base.coffHeader(), nullptr);
    EXPECT_EQ(base.reservedPointer(), nullptr);
    EXPECT_EQ(base.reservedQuery1(), 0u);
    EXPECT_EQ(base.reservedQuery2(), 0u);
    EXPECT_EQ(base.comdatSelection(), 0u);
    EXPECT_EQ(base.outputRelocations(), nullptr);
    EXPECT_EQ(base.asCombinedSection(), nullptr);
    EXPECT_EQ(base.asCoffSection(), nullptr);
    EXPECT_EQ(base.asElfSection(), nullptr);
    EXPECT_EQ(base.asBsdSection(), nullptr);
    EXPECT_EQ(base.asArmSection(), nullptr);
    EXPECT_EQ(base.asRelocatableSection(), &section);
    EXPECT_EQ(base.fileName(), &name);
    EXPECT_TRUE(base.isLoadable());
    EXPECT_FALSE(base.isComdat());
    EXPECT_FALSE(base.attributeA());
    EXPECT_TRUE(base.attributeB());
    EXPECT_FALSE(base.attributeC());
    EXPECT_FALSE(base.attributeD());
    EXPECT_TRUE(base.attributeE());
    EXPECT_FALSE(base.attributeF());
    // The setters that a plain section ignores.
    base.setSectionSymbol(nullptr);
    base.setIndex(3);
    base.setSectionGroup(nullptr);
    base.setGroupOffset(4);
    base.setOutputSection(nullptr);
    base.setAttributeF(true);
    base.remapContents();
    EXPECT_EQ(base.index(), 0u);
    EXPECT_FALSE(base.attributeF());

    TestCombinedSection combined(".c", 0);
    EXPECT_EQ(combined.asRelocatableSection(), nullptr);
    EXPECT_FALSE(combined.isBound());
    EXPECT_FALSE(combined.addBoundSection(&section));
    EXPECT_EQ(combined.combinedSectionName(), nullptr);
    EXPECT_FALSE(combined.isDiscarded());
}

TEST_F(SectionTest, OutputSectionSpecValueAsksTheRule) {
    class Rule : public OutputSectionSpec {
    public:
        uint32_t value() override { return 42; }
    } rule;
    class OutputSection : public TestCombinedSection {
    public:
        using TestCombinedSection::TestCombinedSection;
        OutputSectionSpec *outputSectionSpec() override { return attached; }
        OutputSectionSpec *attached = nullptr;
    } output(".text", 0);
    EXPECT_EQ(output.outputSectionSpecValue(), 0u);
    output.attached = &rule;
    EXPECT_EQ(output.outputSectionSpecValue(), 42u);
}

TEST_F(SectionTest, DataChunksWithoutRelocationsPassThrough) {
    TestSection section(&file, ".data", 4);
    section.contents = {1, 2, 3, 4};
    TestLinkOptions options;
    CapturingErrorContext errors;
    std::vector<uint8_t> seen;
    section.eachDataChunk(
        [&](uint32_t offset, uint32_t size, uint8_t *bytes) {
            EXPECT_EQ(offset, 0u);
            seen.assign(bytes, bytes + size);
            return true;
        },
        options, errors, 1);
    EXPECT_EQ(seen, section.contents);
    EXPECT_TRUE(errors.reports.empty());
    section.configureRelocations(1, 2, errors); // no table: nothing to configure
    int visits = 0;
    section.eachRelocation([&](RelocationDescriptor &) { return ++visits, true; });
    section.eachReferencedSymbol([&](Symbol &) { return ++visits, true; });
    EXPECT_EQ(visits, 0);
}

TEST_F(SectionTest, UnsupportedOperationsBotch) {
    TestCombinedSection section(".text", 0);
    Section &base = section;
    struct Case {
        const char *message;
        std::function<void()> call;
    };
    const Case cases[] = {
        {"Section::setCombinedSectionName called for \\.text",
         [&] { base.setCombinedSectionName("x"); }},
        {"Section::setClass -- \"\\.text\"", [&] { base.setClass("CODE"); }},
        {"Section::setNamedGroup -- \"\\.text\"", [&] { base.setNamedGroup("g"); }},
        {"Section::setNamedGroupOffset -- \"\\.text\"", [&] { base.setNamedGroupOffset(1); }},
        {"Section::setAlignment", [&] { base.setAlignment(8); }},
        {"Section::setAbsolute", [&] { base.setAbsolute(true); }},
        {"Section::mapIntoCombinedSectionAt", [&] { base.mapIntoCombinedSection(&base, 0); }},
        {"Section::setAddress", [&] { base.setAddress(0); }},
        {"Section::setLoadAddress", [&] { base.setLoadAddress(0); }},
        {"Section::setFileOffset", [&] { base.setFileOffset(0); }},
        {"Section::appendSection called!",
         [&] {
             TestSection plain(&file, ".p");
             plain.appendSection(&base);
         }},
        {"Section::outputSectionSpec -- needs defining in output section \"\\.text\"",
         [&] { base.outputSectionSpec(); }},
        {"Section::outputSectionSpec -- needs defining", [&] { base.outputSectionSpecValue(); }},
        {"Section::setOutputSectionSpec -- needs defining in output section\\?",
         [&] { base.setOutputSectionSpec(nullptr); }},
        {"Section::discard\\(\\) called for \\.text of <NULL>", [&] { base.discard(); }},
        {"Section::setBound\\(\\) called!", [&] { base.setBound(true); }},
    };
    for (const Case &c : cases)
        EXPECT_EXIT(c.call(), testing::KilledBySignal(SIGABRT),
                    std::string("Fatal error --- ") + c.message)
            << c.message;
}

} // namespace
