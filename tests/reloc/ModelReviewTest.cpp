// Cases of the descriptor and iterator rules that the other tests leave
// open: an entry that ignores special targets in a partial link, the .got
// section of a target reached through its resolution, and a local special
// symbol reserved by its section.
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"

#include "RelocTestKit.h"

#include "reloc/Args.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class NoOptions : public OptionHandler {
public:
    void handleOption(const char *, Args &, ErrorContext &) override {}
};

// An entry whose table says whether special targets are its own business.
class IgnoringEntry : public TestEntry {
public:
    bool ignores = false;
    bool ignoresSpecialTargets() override { return ignores; }
};

class ModelReview : public ::testing::Test {
protected:
    NamedFile file{"a.o"};
    TestSection text{&file, ".text", 0x1000};
    TestSection data{&file, ".data", 0x2000};
    Reports reports;
    NoOptions handler;
    Args args{"tld", handler};
};

TEST_F(ModelReview, SpecialTargetsAreCarriedUnlessTheEntryIgnoresThem) {
    // A pc-relative reference to a global special symbol in the entry's own
    // section: only the special target keeps it in the output.
    TestSymbol start(&file, "__start", &text, 0x10);
    start.global = true;
    start.special = true;
    IgnoringEntry entry;
    entry.sectionOf = &text;
    entry.symbol = &start;
    entry.pcRelative = true;
    entry.errors = &reports;
    EXPECT_TRUE(entry.neededInOutput(args));
    entry.ignores = true;
    EXPECT_FALSE(entry.neededInOutput(args));
}

TEST_F(ModelReview, GotEntryOfAReferenceFollowsItsResolution) {
    // An undefined reference resolved to a definition at 0x2010 in .data:
    // the .got entry is asked by the definition's section and offset.
    TestSymbol definition(&file, "foo", &data, 0x10);
    definition.global = true;
    TestSymbol reference(&file, "foo");
    reference.global = true;
    reference.undefined = true;
    reference.link = &definition;
    TestGot got;
    got.sectionEntry = 8;
    TestEntry entry;
    entry.sectionOf = &text;
    entry.symbol = &reference;
    entry.addendOf = 4;
    entry.errors = &reports;
    entry.kind = ReferenceKind::gotReference;
    entry.got = &got;
    int32_t offset = 0;
    EXPECT_EQ(entry.unmappedSection(offset), &data);
    EXPECT_EQ(offset, 0x14);
    EXPECT_EQ(entry.valueOf(&definition, nullptr, 4), 8u);
    EXPECT_TRUE(reports.reports.empty());
}

TEST_F(ModelReview, ALocalSpecialSymbolIsReservedByItsSection) {
    TestSymbol local(&file, "__local", &data, 0x8);
    local.special = true;
    TestTable table({{0x0, ReferenceKind::gotReference, &local, nullptr, 4}});
    TestGot got;
    file.got = &got;
    RelocationOptions options;
    table.preprocessReferences(file, options);
    EXPECT_EQ(got.calls, (std::vector<std::string>{"addSection .data 12"}));
}

} // namespace
