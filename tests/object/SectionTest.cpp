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
    std::string names;
    for (uint32_t type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 255})
        names += std::string(sectionTypeName(type)) + " ";
    EXPECT_EQ(names, "<null> abs bss data lit text info note ? ? ");
}

// A section that takes its combined name from another section.
class BoundTestSection : public TestSection {
public:
    using TestSection::TestSection;
    Section *boundSection() override { return boundTo ? boundTo : this; }
    Section *boundTo = nullptr;
};

TEST_F(SectionTest, CombinedSectionName) {
    const char *cases[][2] = {
        {".text", ".text"},
        {".text$foo", ".text"},
        {".text%foo", ".text"},
        {".data$a%b", ".data$a"},
        {".rdata%x$y", ".rdata"},
        {"$x", ""},
        {"%", ""},
        {"", ""},
    };
    for (auto &c : cases) {
        TestSection section(&file, c[0]);
        EXPECT_STREQ(section.combinedSectionName(), c[1]) << c[0];
        // The second answer comes from the cache and says the same.
        EXPECT_STREQ(section.combinedSectionName(), c[1]) << c[0];
    }
    // A name without a cut is the section's own text, not a copy.
    TestSection plain(&file, ".bss");
    EXPECT_EQ(plain.combinedSectionName(), plain.name());

    // Bound to itself (the default) it takes its own name, else the other's.
    BoundTestSection follower(&file, ".text$f");
    TestSection leader(&file, ".data%x");
    EXPECT_STREQ(follower.combinedSectionName(), ".text");
    follower.boundTo = &leader;
    EXPECT_STREQ(follower.combinedSectionName(), ".data");
    EXPECT_EQ(leader.boundSection(), &leader);

    // A chain of ten bindings is followed; the eleventh is one too many,
    // and so is a circle.
    std::vector<std::unique_ptr<BoundTestSection>> chain;
    for (int i = 0; i <= 11; ++i) {
        chain.push_back(std::make_unique<BoundTestSection>(&file, i ? ".link" : ".end%x"));
        if (i) chain[i]->boundTo = chain[i - 1].get();
    }
    EXPECT_STREQ(chain[10]->combinedSectionName(), ".end");
    EXPECT_EXIT(chain[11]->combinedSectionName(), testing::ExitedWithCode(3),
                "Fatal error --- a.o: sections \\.link and \\.end%x are mutually bound");
    BoundTestSection a(&file, ".a"), b(&file, ".b");
    a.boundTo = &b;
    b.boundTo = &a;
    EXPECT_EXIT(a.combinedSectionName(), testing::ExitedWithCode(3),
                "Fatal error --- a.o: sections .* and .* are mutually bound to each other\\.");
}

TEST_F(SectionTest, MappingIntoACombinedSection) {
    TestSection &section = file.addSection(".text", 0x10);
    TestCombinedSection combined(".text", 0x1000), other(".data", 0x2000);
    EXPECT_EQ(section.combinedSection(), nullptr);
    EXPECT_EQ(section.address(), 0u);
    EXPECT_FALSE(section.hasAddress()); // unmapped: address 0
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
    EXPECT_TRUE(section.hasAddress());
    EXPECT_EQ(section.outermostSection(), &combined);
    combined.output = &other;
    EXPECT_EQ(section.outputSection(), &other);
    SectionGroup *group = reinterpret_cast<SectionGroup *>(&other); // any distinct pointer
    combined.group = group;
    EXPECT_EQ(section.sectionGroup(), group);

    // The same place again is no error; another offset or section is.
    section.mapIntoCombinedSection(&combined, 0x40);
    EXPECT_EQ(section.address(), 0x1040u);
    EXPECT_EXIT(section.mapIntoCombinedSection(&combined, 0x80), testing::ExitedWithCode(3),
                "Fatal error --- \\.text@a\\.o mapIntoCombinedSection\\(\\.text,0x128\\) already "
                "mapped into \\.text at 0x40!");
    EXPECT_EXIT(section.mapIntoCombinedSection(&other, 0x40), testing::ExitedWithCode(3),
                "already mapped into \\.text at 0x40!");

    // An address of all ones is none; an absolute section always has one.
    TestCombinedSection top(".text", 0xFFFFFFF0);
    TestSection atTop(&file, ".top"), absolute(&file, ".abs");
    atTop.mapIntoCombinedSection(&top, 0xF);
    absolute.absolute = true;
    EXPECT_FALSE(atTop.hasAddress());
    EXPECT_TRUE(absolute.hasAddress());
}

TEST_F(SectionTest, FileSizeMembersAndDiscarding) {
    TestSection data(&file, ".data", 0x30), bss(&file, ".bss", 0x30);
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
    TestCombinedSection combined(".text", 0), empty(".empty", 0);
    EXPECT_TRUE(table.isDiscarded());
    EXPECT_FALSE(combined.isDiscarded());

    // A plain section is its own first and last member.
    EXPECT_EQ(bss.firstMember(), &bss);
    EXPECT_EQ(bss.lastMember(), &bss);
    for (Section *member : std::initializer_list<Section *>{&bss, &data, &table})
        combined.appendSection(member);
    EXPECT_EQ(combined.firstMember(), &bss);
    EXPECT_EQ(combined.lastMember(), &table);
    EXPECT_EQ(empty.firstMember(), nullptr);
}

TEST_F(SectionTest, BoundSectionsInOrderOfBinding) {
    TestSection leader(&file, ".text"), a(&file, ".a"), b(&file, ".b");
    EXPECT_FALSE(a.isBound());
    EXPECT_TRUE(leader.addBoundSection(&a));
    EXPECT_TRUE(leader.addBoundSection(&b));
    EXPECT_EQ(answers({a.isBound(), b.isBound(), leader.isBound()}), "110");
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
    file.addSection(".text");
    TestSection &extra = file.addSection(".text.extra");
    TestSection &gone = file.addSection(".gone");
    TestSection &follower = file.addSection(".follower");
    Captured captured;
    bindSections("ld", file, ".text", ".text.extra", captured.errors);
    EXPECT_TRUE(extra.isBound());
    bindSections("ld", file, ".nothere", ".absent", captured.errors);
    // A discarded first section discards the second, silently.
    gone.discard();
    bindSections("ld", file, ".gone", ".follower", captured.errors);
    EXPECT_TRUE(follower.isDiscarded());
    // Binding to a discarded section is an error.
    bindSections("ld", file, ".text", ".gone", captured.errors);
    EXPECT_EQ(captured.text(), "[t] ld --\n|\tCan't find section .nothere in a.o\n\n"
                               "[t] ld --\n|\tCan't find section .absent in a.o\n\n"
                               "[t] ld --\n|\tcan't bind .text to .gone\n|\tbecause the "
                               "latter is a discarded COMDAT.\n");
    EXPECT_EQ(captured.errors.errorCount, 3);
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
    Captured captured;
    text.display(captured.out);
    odd.displayHeader(captured.out);
    EXPECT_EQ(captured.text(), "Section .text: size=0x24, type=text, address=0x8010\n"
                               "36 bytes of data should be displayed here\n"
                               "Section .odd: size=0x3, type=?, address=0x0\n");
}

TEST_F(SectionTest, BaseAnswers) {
    TestSection section(&file, ".text");
    Section &base = section;
    // The setters that a plain section ignores.
    base.setSectionSymbol(nullptr);
    base.setIndex(3);
    base.setSectionGroup(nullptr);
    base.setGroupOffset(4);
    base.setOutputSection(nullptr);
    base.setAttributeF(true);
    base.remapContents();
    // alignment, index, namedGroupOffset, groupOffset, fileOffset,
    // inputAddress, reservedQuery1, reservedQuery2, comdatSelection.
    EXPECT_EQ((std::vector<uint32_t>{base.alignment(), base.index(), base.namedGroupOffset(),
                                     base.groupOffset(), base.fileOffset(), base.inputAddress(),
                                     base.reservedQuery1(), base.reservedQuery2(),
                                     base.comdatSelection()}),
              (std::vector<uint32_t>{4, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ((std::vector<const void *>{
                  base.sectionSymbol(), base.sectionClass(), base.namedGroup(), base.elfHeader(),
                  base.coffHeader(), base.reservedPointer(), base.outputRelocations(),
                  base.asCombinedSection(), base.asCoffSection(), base.asElfSection(),
                  base.asBsdSection(), base.asArmSection()}),
              (std::vector<const void *>(12, nullptr)));
    EXPECT_EQ(base.asRelocatableSection(), &section);
    EXPECT_EQ(base.fileName(), &name);
    // isLoadable, isComdat, attributeA to attributeF.
    EXPECT_EQ(answers({base.isLoadable(), base.isComdat(), base.attributeA(), base.attributeB(),
                       base.attributeC(), base.attributeD(), base.attributeE(), base.attributeF()}),
              "10010010");

    TestCombinedSection combined(".c", 0);
    EXPECT_EQ(combined.asRelocatableSection(), nullptr);
    EXPECT_FALSE(combined.isBound());
    EXPECT_FALSE(combined.addBoundSection(&section));
    EXPECT_EQ(combined.combinedSectionName(), nullptr);

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
    Captured captured;
    std::vector<uint8_t> seen;
    section.eachDataChunk(
        [&](uint32_t offset, uint32_t size, uint8_t *bytes) {
            EXPECT_EQ(offset, 0u);
            seen.assign(bytes, bytes + size);
            return true;
        },
        options, captured.errors, 1);
    EXPECT_EQ(seen, section.contents);
    section.configureRelocations(1, 2, captured.errors); // no table: nothing to configure
    int visits = 0;
    section.eachRelocation([&](RelocationDescriptor &) { return ++visits, true; });
    section.eachReferencedSymbol([&](Symbol &) { return ++visits, true; });
    section.eachReferencedCommonOrAbsoluteSymbol([&](Symbol &) { return ++visits, true; });
    EXPECT_EQ(visits, 0);
    EXPECT_EQ(captured.text(), "");
}

TEST_F(SectionTest, UnsupportedOperationsBotch) {
    TestCombinedSection section(".text", 0);
    Section &base = section;
    TestSection plain(&file, ".p");
    const std::pair<const char *, std::function<void()>> cases[] = {
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
        {"Section::appendSection called!", [&] { plain.appendSection(&base); }},
        {"Section::outputSectionSpec -- needs defining in output section \"\\.text\"",
         [&] { base.outputSectionSpec(); }},
        {"Section::outputSectionSpec -- needs defining", [&] { base.outputSectionSpecValue(); }},
        {"Section::setOutputSectionSpec -- needs defining in output section\\?",
         [&] { base.setOutputSectionSpec(nullptr); }},
        {"Section::discard\\(\\) called for \\.text of <NULL>", [&] { base.discard(); }},
        {"Section::setBound\\(\\) called!", [&] { base.setBound(true); }},
    };
    for (auto &[message, call] : cases)
        EXPECT_EXIT(call(), testing::ExitedWithCode(3), std::string("Fatal error --- ") + message)
            << message;
}

} // namespace
