// CombinedSection: mapping members, sizes and alignment, the stream of
// contents with its gaps filled by machine or pattern, addresses, remapping
// with and without a mapper, and the stored fields and flags.
#include "object/CombinedSection.h"
#include "LayoutTestKit.h"
#include "object/SectionGroup.h"
#include "reloc/RelocationsIterator.h"
#include "support/formout.h"
#include "support/toggles.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

// An object file whose machine, COFF machine and byte order are fields.
class MachineFile : public TestObjectFile {
public:
    using TestObjectFile::TestObjectFile;
    uint32_t machine() override { return machineNumber; }
    uint32_t coffMachine() override { return coffNumber; }
    bool isLittleEndian() override { return little; }

    uint32_t machineNumber = 0;
    uint32_t coffNumber = 0;
    bool little = true;
};

class CombinedSectionTest : public testing::Test {
protected:
    LayoutSection &section(const char *name, uint32_t size, uint32_t alignment = 1,
                           ObjectFile *owner = nullptr) {
        sections.push_back(
            std::make_unique<LayoutSection>(owner ? owner : &file, name, size, alignment));
        LayoutSection &made = *sections.back();
        made.contents.assign(size, static_cast<uint8_t>(sections.size()));
        return made;
    }

    // The chunks of the stream as "offset:hex bytes" words.
    static std::vector<std::string> chunks(Section &combined) {
        std::vector<std::string> out;
        combined.eachRawDataChunk(
            [&](uint32_t at, uint32_t size, uint8_t *bytes, RelocationsIterator *) {
                std::string text = std::to_string(at) + ":";
                for (uint32_t i = 0; i < size; ++i) {
                    char hex[3];
                    std::snprintf(hex, sizeof hex, "%02x", bytes[i]);
                    text += hex;
                }
                out.push_back(text);
                return true;
            });
        return out;
    }

    FileName name{"a.o"};
    MachineFile file{name};
    std::vector<std::unique_ptr<LayoutSection>> sections;
};

TEST_F(CombinedSectionTest, MappingSizesAndAlignment) {
    CombinedSection combined(".data", &file);
    EXPECT_EQ(combined.firstMember(), nullptr);
    EXPECT_EQ(combined.lastMember(), nullptr);
    LayoutSection &a = section("a", 6, 2);
    LayoutSection &b = section("b", 8, 8);
    LayoutSection &z = section("z", 0x10, 4);
    z.bss = true;
    combined.appendSection(&a);
    combined.appendSection(&b);
    combined.appendSection(&z);
    EXPECT_EQ(b.offsetInCombinedSection(), 8u);
    EXPECT_EQ(z.offsetInCombinedSection(), 0x10u);
    EXPECT_EQ(b.combinedSection(), &combined);
    EXPECT_EQ(combined.size(), 0x20u);
    // Once there are contents, the file image runs to the end of every
    // member, with or without contents of its own.
    EXPECT_EQ(combined.fileSize(), 0x20u);
    EXPECT_EQ(combined.alignment(), 8u);
    EXPECT_EQ(combined.memberCount(), 3u);
    EXPECT_EQ(SectionMembers(combined).count(), 3u);
    EXPECT_EQ(combined.firstMember(), &a);
    EXPECT_EQ(combined.lastMember(), &z);
    combined.setAlignment(1);
    EXPECT_EQ(combined.alignment(), 8u);
    combined.setAlignment(16);
    EXPECT_EQ(combined.alignment(), 16u);
    LayoutSection &c = section("c", 4, 4);
    combined.appendSection(&c);
    EXPECT_EQ(combined.fileSize(), 0x24u);
    LayoutSection &early = section("early", 4);
    EXPECT_EXIT(combined.mapInto(&early, 0x22), testing::ExitedWithCode(3),
                "CombinedSection::mapInto: botch in section mapping");
}

TEST_F(CombinedSectionTest, OnlyBssMembers) {
    CombinedSection combined(".bss", &file);
    LayoutSection &a = section("a", 8);
    LayoutSection &b = section("b", 8);
    a.bss = b.bss = true;
    combined.appendSection(&a);
    combined.appendSection(&b);
    EXPECT_EQ(combined.fileSize(), 0u);
    EXPECT_TRUE(combined.isBss());
    EXPECT_EQ(combined.size(), 0x10u);
    EXPECT_TRUE(chunks(combined).empty());
}

TEST_F(CombinedSectionTest, GapsBetweenMembers) {
    struct Case {
        const char *what;
        uint32_t machine, coff;
        bool little, code;
        uint32_t gap;
        std::vector<std::string> expected;
    };
    // Members: 2 bytes of 01 at 0, then the gap, then 1 byte of 02.
    const Case cases[] = {
        {"x86 code", 3, 0, true, true, 6, {"0:0101", "2:90909090", "6:9090", "8:02"}},
        {"x86 data", 3, 0, true, false, 6, {"0:0101", "2:000000000000", "8:02"}},
        {"0x5F code, odd gap", 0x5F, 0, true, true, 3, {"0:0101", "2:000000", "5:02"}},
        {"0x5F code, even gap", 0x5F, 0, true, true, 4, {"0:0101", "2:733f", "4:733f", "6:02"}},
        {"0x5D code, little",
         0x5D,
         0,
         true,
         true,
         5,
         {"0:0101", "2:e078", "4:e078", "6:e0", "7:02"}},
        {"0x5D code, big", 0x5D, 0, false, true, 3, {"0:0101", "2:78e0", "4:78", "5:02"}},
        {"COFF 0x17A code", 0, 0x17A, true, true, 4, {"0:0101", "2:79400101", "6:02"}},
        {"COFF 0x17B code on 0x5D",
         0x5D,
         0x17B,
         false,
         true,
         20,
         {"0:0101", "2:79400101794001017940010179400101", "18:79400101", "22:02"}},
        {"COFF 0x17A code, gap not of words",
         0,
         0x17A,
         true,
         true,
         2,
         {"0:0101", "2:0000", "4:02"}},
        {"other machine code",
         40,
         0,
         true,
         true,
         18,
         {"0:0101", "2:00000000000000000000000000000000", "18:0000", "20:02"}},
    };
    for (const Case &c : cases) {
        file.machineNumber = c.machine;
        file.coffNumber = c.coff;
        file.little = c.little;
        CombinedSection combined(".text", &file);
        LayoutSection &first = section("first", 2);
        LayoutSection &second = section("second", 1);
        first.contents.assign(2, 1);
        second.contents.assign(1, 2);
        first.executable = second.executable = c.code;
        combined.mapInto(&first, 0);
        combined.mapInto(&second, 2 + c.gap);
        EXPECT_EQ(chunks(combined), c.expected) << c.what;
    }
}

TEST_F(CombinedSectionTest, CodeFillNeedsCodeOnBothSides) {
    file.machineNumber = 3;
    CombinedSection combined(".text", &file);
    LayoutSection &data = section("data", 1);
    LayoutSection &code = section("code", 1);
    code.executable = true;
    data.contents = {0xAA};
    code.contents = {0xBB};
    combined.mapInto(&data, 0);
    combined.mapInto(&code, 3);
    EXPECT_EQ(chunks(combined), (std::vector<std::string>{"0:aa", "1:0000", "3:bb"}));
    // A code member at the start fills by its own file's machine.
    CombinedSection leading(".text", &file);
    LayoutSection &late = section("late", 1);
    late.executable = true;
    late.contents = {0xCC};
    leading.mapInto(&late, 2);
    EXPECT_EQ(chunks(leading), (std::vector<std::string>{"0:9090", "2:cc"}));
}

TEST_F(CombinedSectionTest, BssMemberLeavesAGap) {
    CombinedSection combined(".data", &file);
    LayoutSection &a = section("a", 2);
    LayoutSection &hole = section("hole", 3);
    hole.bss = true;
    hole.contents.clear();
    LayoutSection &b = section("b", 1);
    a.contents.assign(2, 0x11);
    b.contents.assign(1, 0x22);
    combined.appendSection(&a);
    combined.appendSection(&hole);
    combined.appendSection(&b);
    EXPECT_EQ(chunks(combined), (std::vector<std::string>{"0:1111", "2:000000", "5:22"}));
}

TEST_F(CombinedSectionTest, FillPatterns) {
    struct Case {
        uint32_t value, width;
        bool little;
        const char *piece;
    };
    const Case cases[] = {
        {0x1FF, 1, true, "ffffffffffffffff"},       {0x1234, 2, true, "3412341234123412"},
        {0x1234, 2, false, "1234123412341234"},     {0x12345678, 4, true, "7856341278563412"},
        {0x12345678, 3, false, "1234567812345678"},
    };
    for (const Case &c : cases) {
        file.little = c.little;
        CombinedSection combined(".data", &file);
        combined.setFill(c.value, c.width);
        LayoutSection &a = section("a", 1);
        a.contents = {0xEE};
        combined.mapInto(&a, 0);
        LayoutSection &b = section("b", 1);
        b.contents = {0xDD};
        combined.mapInto(&b, 9);
        // Room behind the last member that the fill covers too.
        EXPECT_EQ(combined.reserve(10, 1), 10u);
        std::string piece = c.piece;
        EXPECT_EQ(chunks(combined),
                  (std::vector<std::string>{"0:ee", "1:" + piece, "9:dd", "10:" + piece,
                                            "18:" + piece.substr(0, 4)}))
            << c.value << "/" << c.width;
    }
    CombinedSection off(".data", &file);
    off.setFill(0xAB, 1);
    off.setFill(0xAB, 0);
    EXPECT_FALSE(off.hasFlag(CombinedSection::fillSet));
}

TEST_F(CombinedSectionTest, ChunksOfMembers) {
    CombinedSection combined(".data", &file);
    LayoutSection &a = section("a", 6);
    a.chunkSize = 4;
    combined.mapInto(&a, 4);
    EXPECT_EQ(chunks(combined), (std::vector<std::string>{"0:00000000", "4:01010101", "8:0101"}));
    uint32_t visits = 0;
    combined.eachRawDataChunk(
        [&](uint32_t, uint32_t, uint8_t *, RelocationsIterator *) { return ++visits < 2; });
    EXPECT_EQ(visits, 2u);
    LayoutSection &past = section("past", 4);
    past.chunkShift = 2;
    CombinedSection other(".data", &file);
    other.mapInto(&past, 0);
    EXPECT_EXIT(chunks(other), testing::ExitedWithCode(3),
                "Section past of a.o: yielding offset 2, size 4, but actual size is 4!");
    // An empty chunk past the end is dropped.
    class EmptyChunk : public LayoutSection {
    public:
        using LayoutSection::LayoutSection;
        void eachRawDataChunk(RawDataChunkVisitor visitor) override {
            static uint8_t byte[2] = {7, 7};
            visitor(0, 2, byte, nullptr);
            visitor(9, 0, byte, nullptr);
        }
    } dropping(&file, "dropping", 2);
    CombinedSection third(".data", &file);
    third.mapInto(&dropping, 0);
    EXPECT_EQ(chunks(third), (std::vector<std::string>{"0:0707"}));
}

TEST_F(CombinedSectionTest, AddressesMoveMembers) {
    CombinedSection combined(".text", &file);
    LayoutSection &a = section("a", 4, 4);
    LayoutSection &b = section("b", 4, 4);
    combined.appendSection(&a);
    EXPECT_FALSE(combined.hasAddress());
    combined.setAddress(0x1000);
    combined.appendSection(&b);
    EXPECT_EQ(a.at, 0x1000u);
    EXPECT_EQ(b.at, 0x1004u); // mapped behind an address gets it at once
    EXPECT_EQ(b.address(), 0x1004u);
    EXPECT_TRUE(combined.hasAddress());
    EXPECT_EQ(combined.loadAddress(), 0x1000u);
    combined.setLoadAddress(0x8000);
    EXPECT_EQ(a.loadAt, 0u);
    combined.setAddress(0x2000);
    EXPECT_EQ(a.at, 0x2000u);
    EXPECT_EQ(b.at, 0x2004u);
    EXPECT_EQ(combined.loadAddress(), 0x8000u);
    CombinedSection abs("*ABS*", &file);
    abs.setAbsolute(true);
    EXPECT_TRUE(abs.isAbsolute());
    EXPECT_TRUE(abs.hasAddress());
}

TEST_F(CombinedSectionTest, ReserveAndClearMembers) {
    CombinedSection combined(".data", &file);
    LayoutSection &a = section("a", 5);
    combined.appendSection(&a);
    // Not rounded: the size grows from 5; the file size follows a small
    // reservation that ends on a word while it is not a multiple of 8.
    EXPECT_EQ(combined.reserve(3, 4), 8u);
    EXPECT_EQ(combined.size(), 8u);
    EXPECT_EQ(combined.fileSize(), 8u);
    EXPECT_EQ(combined.reserve(8, 4), 8u);
    EXPECT_EQ(combined.size(), 0x10u);
    EXPECT_EQ(combined.fileSize(), 8u);
    combined.setAlignment(8);
    combined.clearMembers();
    EXPECT_EQ(a.combinedSection(), nullptr);
    EXPECT_EQ(a.offsetInCombinedSection(), 0u);
    EXPECT_EQ(combined.memberCount(), 0u);
    EXPECT_EQ(combined.size(), 0u);
    EXPECT_EQ(combined.fileSize(), 0u);
    EXPECT_EQ(combined.alignment(), 8u);
}

// A mapper that appends the members it knows in reverse order.
class ReverseMapper : public SectionMapper {
public:
    ReverseMapper(CombinedSection &combined, std::vector<Section *> order)
        : combined(combined), order(order) {}
    void map(SectionAppender &appender, void *context) override {
        EXPECT_EQ(context, nullptr);
        for (auto it = order.rbegin(); it != order.rend(); ++it)
            appender.append(combined, **it);
    }

    CombinedSection &combined;
    std::vector<Section *> order;
};

TEST_F(CombinedSectionTest, RemapContents) {
    Toggle &trace = toggleTable().set("MAP", true);
    testing::internal::CaptureStdout();
    CombinedSection empty(".empty", &file);
    empty.remapContents();

    CombinedSection combined(".data", &file);
    LayoutSection &a = section("a", 4, 4);
    LayoutSection &b = section("b", 2, 2);
    LayoutSection &c = section("c", 4, 4);
    b.writable = true;
    combined.appendSection(&a);
    combined.appendSection(&b);
    combined.appendSection(&c);
    combined.remapContents();
    EXPECT_EQ(c.offsetInCombinedSection(), 8u);
    EXPECT_TRUE(combined.isAllocated());
    EXPECT_TRUE(combined.isWritable());

    ReverseMapper mapper(combined, {&a, &b});
    combined.setMapper(&mapper);
    combined.remapContents();
    traceOut().flush();
    std::string out = testing::internal::GetCapturedStdout();
    trace.pop();
    EXPECT_EQ(b.offsetInCombinedSection(), 0u);
    EXPECT_EQ(a.offsetInCombinedSection(), 4u);
    EXPECT_EQ(c.offsetInCombinedSection(), 8u);
    EXPECT_EQ(combined.firstMember(), &b);
    EXPECT_EQ(out, "[MAP] remapContents of .data without mapper!\n"
                   "[MAP] section .data resized to 0xc!\n"
                   "[MAP] remapContents of .data with mapper!\n"
                   "[MAP] Appending b@a.o to .data at offset 0x0\n"
                   "[MAP] Appending a@a.o to .data at offset 0x4\n"
                   "[MAP] Appending c@a.o to .data at offset 0x8\n"
                   "[MAP] section .data resized to 0xc!\n");
}

TEST_F(CombinedSectionTest, AdjustSize) {
    CombinedSection combined(".text", &file);
    LayoutSection &a = section("a", 4, 4);
    LayoutSection &b = section("b", 4, 4);
    combined.appendSection(&a);
    combined.appendSection(&b);
    EXPECT_FALSE(combined.adjustSize());
    a.bytes = 8;
    a.sizeChanges = true;
    EXPECT_TRUE(combined.adjustSize());
    EXPECT_EQ(b.offsetInCombinedSection(), 8u);
    EXPECT_EQ(combined.size(), 12u);
}

TEST_F(CombinedSectionTest, FlagsAndAttributes) {
    CombinedSection combined(".data", &file);
    EXPECT_EQ(answers({combined.isAllocated(), combined.isExecutable(), combined.isWritable(),
                       combined.isAbsolute(), combined.isLoadable(), combined.isNote(),
                       combined.attributeA(), combined.attributeB(), combined.attributeE(),
                       combined.attributeF(), combined.isContentSection(), combined.isDiscarded()}),
              "000010010110");
    const uint32_t masks[2] = {2 | 8, 0x10 | 8};
    combined.applyAttributeMasks(masks);
    EXPECT_EQ(answers({combined.isWritable(), combined.isExecutable(), combined.attributeA(),
                       combined.attributeB()}),
              "1010");
    const uint32_t clear[2] = {0, 2 | 4};
    combined.setFlag(CombinedSection::executable, true);
    combined.applyAttributeMasks(clear);
    EXPECT_FALSE(combined.isWritable());
    EXPECT_FALSE(combined.isExecutable());
    combined.setAttributeF(false);
    EXPECT_FALSE(combined.attributeF());
    // No contents: writable and bss, with no file size and no relocations.
    LayoutSection &a = section("a", 4);
    combined.appendSection(&a);
    EXPECT_FALSE(combined.isBss());
    EXPECT_NE(combined.relocations(), nullptr);
    combined.setFlag(CombinedSection::noContents, true);
    EXPECT_EQ(answers({combined.isWritable(), combined.isBss()}), "11");
    EXPECT_EQ(combined.fileSize(), 0u);
    EXPECT_EQ(combined.relocations(), nullptr);
    Captured captured;
    combined.configureRelocations(1, 2, captured.errors);
    EXPECT_TRUE(combined.hasFlag(CombinedSection::noContents));
    // Size and type that the layout side fixes.
    combined.setMinimumSize(0x40);
    EXPECT_EQ(combined.size(), 4u);
    combined.setFlag(CombinedSection::hasMinimumSize, true);
    EXPECT_EQ(combined.size(), 0x40u);
    combined.setFlag(CombinedSection::allocated, true);
    EXPECT_EQ(combined.sectionType(), SectionType::bss);
    combined.setFixedType(SectionType::text);
    EXPECT_EQ(combined.sectionType(), SectionType::text);
}

TEST_F(CombinedSectionTest, IdentityAndRelocationViews) {
    std::string text = ".text";
    CombinedSection combined(text.c_str(), &file);
    text[1] = 'X';
    EXPECT_STREQ(combined.name(), ".text");
    EXPECT_EQ(combined.objectFile(), &file);
    EXPECT_EQ(combined.combinedSectionName(), nullptr);
    EXPECT_EQ(combined.combinedSection(), &combined);
    EXPECT_EQ(combined.asCombinedSection(), &combined);
    EXPECT_EQ(combined.boundSection(), &combined);
    EXPECT_EQ(combined.offsetInCombinedSection(), 0u);
    EXPECT_EQ(combined.reservedQuery(), 0u);
    // What the layout side stores comes back unchanged.
    TestSymbol symbol(&file, ".text");
    SectionGroup group(0, nullptr, SectionGroup::none);
    TestCombinedSection output("out", 0);
    combined.setIndex(7);
    combined.setSectionSymbol(&symbol);
    combined.setClass("CODE");
    combined.setNamedGroup("grp");
    combined.setSectionGroup(&group);
    combined.setGroupOffset(0x30);
    combined.setFileOffset(0x400);
    combined.setOutputSection(&output);
    combined.setOutputSectionSpec(nullptr);
    EXPECT_EQ(
        (std::vector<uint32_t>{combined.index(), combined.groupOffset(), combined.fileOffset()}),
        (std::vector<uint32_t>{7, 0x30, 0x400}));
    EXPECT_EQ(combined.sectionSymbol(), &symbol);
    EXPECT_STREQ(combined.sectionClass(), "CODE");
    EXPECT_STREQ(combined.namedGroup(), "grp");
    EXPECT_EQ(combined.sectionGroup(), &group);
    EXPECT_EQ(combined.outputSection(), &output);
    EXPECT_EQ(combined.outputSectionSpec(), nullptr);
    // Members without relocation tables: both views are made once and empty.
    LayoutSection &a = section("a", 4);
    combined.appendSection(&a);
    RelocationsIterator *view = combined.relocations();
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(combined.relocations(), view);
    EXPECT_EQ(view->count(), 0u);
    RelocationsIterator *outputView = combined.outputRelocations();
    ASSERT_NE(outputView, nullptr);
    EXPECT_NE(outputView, view);
    EXPECT_EQ(combined.outputRelocations(), outputView);
    EXPECT_EQ(outputView->count(), 0u);
}

// A relocation table of a given number of entries that only counts, and
// keeps the base offset and error context that it was given.
class CountingTable : public RelocationsIterator {
public:
    explicit CountingTable(uint32_t entries) : entries(entries) {}
    void setErrorContext(ErrorContext &context) override { errors = &context; }
    void each(RelocationVisitor) override {}
    uint32_t count() override { return entries; }
    void setBaseOffset(uint32_t offset) override { base = offset; }

    uint32_t entries;
    ErrorContext *errors = nullptr;
    uint32_t base = 0;
};

TEST_F(CombinedSectionTest, RelocationsOfTheMembers) {
    CombinedSection combined(".text", &file);
    LayoutSection &a = section("a", 8);
    LayoutSection &none = section("none", 4);
    LayoutSection &b = section("b", 4);
    CountingTable aTable(3), bTable(4), aOutput(1), bOutput(2);
    a.table = &aTable;
    b.table = &bTable;
    a.outputTable = &aOutput;
    b.outputTable = &bOutput;
    combined.appendSection(&a);
    combined.appendSection(&none);
    combined.appendSection(&b);
    Captured captured;
    combined.configureRelocations(0, 0, captured.errors);
    combined.relocations()->setBaseOffset(0x100);
    EXPECT_EQ(combined.relocations()->count(), 7u);
    EXPECT_EQ(aTable.errors, &captured.errors);
    EXPECT_EQ(bTable.base, 0x10Cu);
    // The output view asks each member for its output relocations.
    EXPECT_EQ(combined.outputRelocations()->count(), 3u);
    EXPECT_EQ(aOutput.errors, nullptr);
}

} // namespace
