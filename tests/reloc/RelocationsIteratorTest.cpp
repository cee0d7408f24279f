// The walks over relocation tables: counts and filters of the base, the
// reservation of offset table entries, collections of tables, and the tables
// of a combined section's members shown with shifted offsets.
#include "reloc/RelocationsIterator.h"

#include "RelocTestKit.h"

#include "reloc/Args.h"
#include "support/sprintf.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Row = TestTable::Row;

class NoOptions : public OptionHandler {
public:
    void handleOption(const char *, Args &, ErrorContext &) override {}
};

class VectorSections : public SectionCollection {
public:
    std::vector<Section *> sections;
    void each(SectionVisitor visitor) override {
        for (Section *section : sections)
            if (!visitor(*section)) return;
    }
};

// The offsets that a walk shows, in order.
std::vector<uint32_t> offsetsOf(RelocationsIterator &table, size_t stopAfter = 100) {
    std::vector<uint32_t> offsets;
    table.each([&](RelocationDescriptor &entry) {
        offsets.push_back(entry.dataOffset());
        return offsets.size() < stopAfter;
    });
    return offsets;
}

std::string shown(RelocationsIterator &table) {
    char buffer[300];
    StringFormatOut out(buffer, sizeof buffer);
    table.display(out);
    return buffer;
}

class Tables : public ::testing::Test {
protected:
    NamedFile file{"a.o"};
    NamedFile output{"out"};
    TestSection text{&file, ".text", 0x1000};
    TestSection data{&file, ".data", 0x2000};
    TestSymbol foo{&file, "foo", &data, 0x10};
    TestSymbol ext{&file, "ext"};
    NoOptions handler;
    Args args{"tld", handler};
    RelocationOptions options;
    TestGot got;

    void SetUp() override {
        ext.global = true;
        ext.undefined = true;
        output.got = &got;
    }
};

TEST_F(Tables, CountsFiltersAndShowsTheEntries) {
    TestTable empty;
    EXPECT_EQ(empty.count(), 0u);
    EXPECT_EQ(empty.outputRecordCount(args), 0u);
    EXPECT_FALSE(empty.isCollection());
    EXPECT_FALSE(empty.reservedQuery());

    TestTable table({{0x4, ReferenceKind::direct, &ext, nullptr, 0},
                     {0x8, ReferenceKind::direct, nullptr, nullptr, 0, true}, // needed nowhere
                     {0xC, ReferenceKind::gotReference, &foo, nullptr, -2}});
    table.patched = &text;
    EXPECT_EQ(table.count(), 3u);
    EXPECT_EQ(offsetsOf(table, 2), (std::vector<uint32_t>{4, 8}));

    std::vector<uint32_t> inOutput, atRunTime;
    table.eachInOutput(
        [&](RelocationDescriptor &entry) {
            inOutput.push_back(entry.dataOffset());
            return true;
        },
        args);
    table.eachAtRunTime(
        [&](RelocationDescriptor &entry) {
            atRunTime.push_back(entry.dataOffset());
            return true;
        },
        args);
    EXPECT_EQ(inOutput, (std::vector<uint32_t>{4, 0xC}));
    EXPECT_EQ(atRunTime, (std::vector<uint32_t>{4}));
    EXPECT_EQ(table.outputRecordCount(args), 2u);
    EXPECT_EQ(shown(table), "@0x4: ext[#0]\n@0x8:\n@0xc: foo[#0]-2\n");
}

TEST_F(Tables, ReservesOffsetTableEntriesByKind) {
    TestSymbol start(&file, "__start");
    start.global = true;
    start.special = true;
    TestTable table({{0x0, ReferenceKind::direct, &ext, nullptr, 0},
                     {0x4, ReferenceKind::gotReference, &start, nullptr, 3},
                     {0x8, ReferenceKind::gotReference, &foo, nullptr, 2},
                     {0xC, ReferenceKind::gotReference, nullptr, &text, 8},
                     {0x10, ReferenceKind::gotRelative, &foo, nullptr, 0},
                     {0x14, ReferenceKind::gotPcRelative, nullptr, nullptr, 0},
                     {0x18, ReferenceKind::machineSpecific, &foo, nullptr, 0},
                     {0x1C, ReferenceKind::pltReference, &ext, nullptr, 0}});
    TestPlt plt;
    output.plt = &plt;
    table.preprocessReferences(output, options);
    EXPECT_EQ(got.calls, (std::vector<std::string>{"addSymbol __start 3", "addSection .data 18",
                                                   "addSection .text 8", "markUsed", "markUsed"}));
    EXPECT_EQ(table.special, (std::vector<std::string>{"24"}));
    EXPECT_TRUE(plt.calls.empty());
    EXPECT_EQ(table.getGotTable(), &got);
    EXPECT_EQ(table.getPltTable(), &plt);
}

TEST_F(Tables, NeedsNoTablesForDirectEntriesOrRelocatableOutput) {
    output.got = nullptr;
    TestTable direct({{0x0, ReferenceKind::direct, &ext, nullptr, 0},
                      {0x4, ReferenceKind::direct, &foo, nullptr, 0}});
    direct.preprocessReferences(output, options);
    EXPECT_EQ(direct.getGotTable(), nullptr);

    TestTable gotEntries({{0x0, ReferenceKind::gotReference, &foo, nullptr, 0},
                          {0x4, ReferenceKind::machineSpecific, &foo, nullptr, 0}});
    options.relocatableOutput = 1;
    gotEntries.preprocessReferences(output, options);
    EXPECT_TRUE(gotEntries.special.empty());
}

TEST_F(Tables, ReservationsThatCannotBeMadeEndTheRun) {
    output.got = nullptr;
    TestTable noGot({{0x0, ReferenceKind::gotPcRelative, nullptr, nullptr, 0}});
    EXPECT_DEATH(noGot.preprocessReferences(output, options),
                 "RelocationsIterator::preprocessReference -- .got is NULL!");
    output.got = &got;
    TestTable unmapped({{0x0, ReferenceKind::gotReference, &ext, nullptr, 0}});
    EXPECT_DEATH(unmapped.preprocessReferences(output, options), "GOT_REF: sym ext not in symtab");
    TestTable nothing({{0x0, ReferenceKind::gotReference, nullptr, nullptr, 0}});
    EXPECT_DEATH(nothing.preprocessReferences(output, options), "GOT_REF: bad reloc");
    EXPECT_DEATH(nothing.add(&noGot), "RelocationsIterator::add");
}

TEST_F(Tables, ACollectionWalksItsMembersInOrder) {
    RelocationsIteratorAcrossCollection none;
    EXPECT_TRUE(none.isCollection());
    EXPECT_EQ(none.count(), 0u);

    RelocationsIteratorAcrossCollection all;
    auto *first = new TestTable({{0x1, ReferenceKind::direct, nullptr, nullptr, 0, true},
                                 {0x2, ReferenceKind::gotRelative, nullptr, nullptr, 0}});
    auto *second = new TestTable();
    auto *third = new TestTable({{0x3, ReferenceKind::gotReference, &foo, nullptr, 0}});
    for (TestTable *table : std::vector<TestTable *>{first, second, third})
        all.add(table); // the collection owns them; past the first capacity of two
    EXPECT_EQ(all.count(), 3u);
    EXPECT_EQ(offsetsOf(all), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(offsetsOf(all, 1), (std::vector<uint32_t>{1}));
    EXPECT_EQ(all.outputRecordCount(args), 2u);
    EXPECT_EQ(shown(all), "@0x1:\n@0x2:\n@0x3: foo[#0]\n");

    Reports reports;
    all.setErrorContext(reports);
    all.setBaseOffset(0x40);
    EXPECT_EQ(third->errorContext(), &reports);
    EXPECT_EQ(first->baseOffsets, (std::vector<uint32_t>{0x40}));
    all.setFirstOption(2);
    all.setSecondOption(1);
    all.suppressRunTimeCheck();
    for (TestTable *table : {first, second, third})
        EXPECT_EQ(table->told, (std::vector<std::string>{"first 2", "second 1", "suppress"}));
    all.preprocessReferences(output, options);
    EXPECT_EQ(got.calls, (std::vector<std::string>{"markUsed", "addSection .data 16"}));
}

class Combined : public Tables {
protected:
    TestSection first{&file, ".text.a", 0x1000};
    TestSection empty{&file, ".text.b", 0x1010};
    TestSection last{&file, ".text.c", 0x1040};
    TestTable firstTable{{{0x0, ReferenceKind::direct, &foo, nullptr, 0},
                          {0x8, ReferenceKind::gotRelative, nullptr, nullptr, 4}}};
    TestTable lastTable{{{0x4, ReferenceKind::direct, &ext, nullptr, 0}}};
    std::unique_ptr<RelocationsIteratorAcrossSections> walk;

    void SetUp() override {
        Tables::SetUp();
        first.table = &firstTable;
        firstTable.patched = &first;
        last.table = &lastTable;
        lastTable.patched = &last;
        empty.offsetInCombined = 0x10;
        last.offsetInCombined = 0x40;
        auto sections = std::make_unique<VectorSections>();
        sections->sections = {&first, &empty, &last};
        walk = std::make_unique<RelocationsIteratorAcrossSections>(sections.release());
    }
};

TEST_F(Combined, ShowsMemberEntriesAtTheirOffsetInTheCombinedSection) {
    EXPECT_EQ(walk->count(), 3u);
    EXPECT_EQ(offsetsOf(*walk), (std::vector<uint32_t>{0x0, 0x8, 0x44}));
    EXPECT_EQ(offsetsOf(*walk, 2), (std::vector<uint32_t>{0x0, 0x8}));
    EXPECT_EQ(shown(*walk), "@0x0: foo[#0]\n@0x8:+4\n@0x44: ext[#0]\n");
    EXPECT_EQ(walk->outputRecordCount(args), 3u);

    std::vector<uint32_t> atRunTime;
    walk->eachAtRunTime(
        [&](RelocationDescriptor &entry) {
            atRunTime.push_back(entry.dataOffset());
            return true;
        },
        args);
    EXPECT_EQ(atRunTime, (std::vector<uint32_t>{0x44}));

    // The entry's own section stays the member's.
    walk->each([&](RelocationDescriptor &entry) {
        EXPECT_EQ(entry.section(), entry.dataOffset() < 0x40 ? &first : &last);
        return true;
    });
}

TEST_F(Combined, SetsUpEachMemberTableAsItGoes) {
    Reports reports;
    walk->count(); // before a base offset is set, none is passed on
    EXPECT_TRUE(firstTable.baseOffsets.empty());
    walk->setBaseOffset(0x1000);
    walk->setErrorContext(reports);
    EXPECT_EQ(firstTable.errorContext(), nullptr); // only stored until a walk
    walk->preprocessReferences(output, options);
    EXPECT_EQ(firstTable.baseOffsets, (std::vector<uint32_t>{0x1000}));
    EXPECT_EQ(lastTable.baseOffsets, (std::vector<uint32_t>{0x1040}));
    EXPECT_EQ(firstTable.errorContext(), &reports);
    EXPECT_EQ(lastTable.errorContext(), &reports);
    EXPECT_EQ(got.calls, (std::vector<std::string>{"markUsed"}));
    EXPECT_EQ(walk->memberIterator(empty), nullptr);
}

} // namespace
