// Edges of the linking side's object model that the other tests leave
// open: the file size that follows a reservation of 8 bytes, stored names
// with leading dots in the dotless table, the bound at which the summary
// lists the longest chain, and a shared reference met by a shared
// definition.
#include "object/CombinedSection.h"
#include "object/SymbolTable.h"

#include "LayoutTestKit.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <set>
#include <string>

namespace {

class ReferencedSymbol : public TestSymbol {
public:
    using TestSymbol::TestSymbol;
    bool isReferenced() override { return referenced; }
    void setReferenced() override { referenced = true; }
    bool referenced = false;
};

class ModelReview : public testing::Test {
protected:
    FileName aName{"a.o"}, sharedName{"x.so"};
    TestObjectFile a{aName}, shared{sharedName};
    Captured captured;

    void SetUp() override { shared.shared = true; }
};

TEST_F(ModelReview, FileSizeFollowsOnlyReservationsBelowEightBytes) {
    // The contents end at 4, not a multiple of 8: a reservation of 4 that
    // ends on a word carries the file size along, one of 8 does not.
    for (uint32_t bytes : {4u, 8u}) {
        CombinedSection combined(".data", &a);
        LayoutSection member(&a, "m", 4);
        combined.appendSection(&member);
        ASSERT_EQ(combined.fileSize(), 4u);
        EXPECT_EQ(combined.reserve(bytes, 4), 4u);
        EXPECT_EQ(combined.size(), 4 + bytes);
        EXPECT_EQ(combined.fileSize(), bytes < 8 ? 8u : 4u) << bytes;
    }
}

TEST_F(ModelReview, DotlessTableSkipsTheDotsOfStoredNames) {
    DotlessSymbolTable table(captured.errors);
    ReferencedSymbol dotted(&a, "..bar");
    dotted.global = true;
    table.enter(&dotted);
    EXPECT_EQ(table.find("bar"), &dotted);
    ReferencedSymbol plain(&a, "bar", 0, nullptr);
    plain.global = true;
    plain.undefined = true;
    table.enter(&plain);
    EXPECT_EQ(plain.link, &dotted);
}

TEST_F(ModelReview, SummaryListsTheLongestChainFromTwiceTheMean) {
    // Names in distinct buckets: with 256 of them the longest chain (1) is
    // twice the mean (2 * 256 / 512) and is listed; with 512 it is below.
    for (uint32_t wanted : {256u, 512u}) {
        std::deque<std::string> names;
        std::deque<TestSymbol> symbols;
        std::set<uint32_t> used;
        for (uint32_t i = 0; names.size() < wanted && i < 1000000; ++i) {
            std::string name = "s" + std::to_string(i);
            if (used.insert(SymbolTable::hashName(name.c_str())).second) names.push_back(name);
        }
        ASSERT_EQ(names.size(), wanted);
        Captured out;
        SymbolTable table(out.errors);
        for (const std::string &name : names) {
            symbols.emplace_back(&a, name.c_str());
            symbols.back().global = true;
            symbols.back().undefined = true;
            table.enter(&symbols.back());
        }
        table.printSummary(out.out);
        EXPECT_EQ(out.text().find("Names in longest hash bucket") != std::string::npos,
                  wanted == 256)
            << wanted;
    }
}

TEST_F(ModelReview, SharedReferenceTakenOverByASharedDefinitionGetsNoSlot) {
    SymbolTable table(captured.errors);
    ReferencedSymbol reference(&shared, "x");
    reference.global = true;
    reference.undefined = true;
    LayoutSection data(&shared, ".data", 8);
    ReferencedSymbol definition(&shared, "x", 0, &data);
    definition.global = true;
    table.enter(&reference);
    EXPECT_EQ(table.enter(&definition), &definition);
    EXPECT_EQ(reference.link, &definition);
    EXPECT_TRUE(definition.referenced);
    EXPECT_EQ(table.orderedCount(), 0u);
}

} // namespace
