// The base algorithms of a relocation entry: mapped targets and their
// reports, values by reference kind, display, the report format, the rules
// of a link's output, and the delegate of a combined section's entries.
#include "reloc/RelocationDescriptor.h"

#include "RelocTestKit.h"

#include "reloc/Args.h"
#include "support/sprintf.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const char *const header = "E: In a.o, section .text at 0x24,\n|\t(relocation record #2 of type ";

class NoOptions : public OptionHandler {
public:
    void handleOption(const char *, Args &, ErrorContext &) override {}
};

class Entry : public ::testing::Test {
protected:
    NamedFile file{"a.o"};
    TestSection text{&file, ".text", 0x1000};
    TestSection data{&file, ".data", 0x2000};
    TestSymbol foo{&file, "foo", &data, 0x10}; // address 0x2010
    Reports reports;
    TestEntry entry;

    void SetUp() override {
        entry.sectionOf = &text;
        entry.entryIndex = 2;
        entry.offset = 0x24;
        entry.errors = &reports;
    }

    std::string shown(RelocationDescriptor &e) {
        char buffer[200];
        StringFormatOut out(buffer, sizeof buffer);
        e.display(out);
        return buffer;
    }
    std::vector<std::string> take() { return std::exchange(reports.reports, {}); }
};

TEST_F(Entry, WithoutTargetIsItsAddendAndShowsOnlyOffsetAndAddend) {
    struct {
        int32_t addend;
        const char *display;
    } rows[] = {{0, "@0x24:\n"}, {-4, "@0x24:-4\n"}, {4, "@0x24:+4\n"}};
    for (const auto &row : rows) {
        entry.addendOf = row.addend;
        EXPECT_EQ(entry.value(), uint32_t(row.addend));
        EXPECT_EQ(entry.valueWithoutAddend(), 0u);
        EXPECT_EQ(shown(entry), row.display);
    }
    EXPECT_EQ(entry.place(), 0x1024u);
    EXPECT_TRUE(take().empty());
}

TEST_F(Entry, DisplaysTheRootOfItsSymbolOrItsSection) {
    TestSymbol alias(&file, "alias");
    alias.link = &foo;
    foo.position = 3;
    entry.symbol = &alias;
    entry.addendOf = 8;
    EXPECT_EQ(shown(entry), "@0x24: foo[#3]+8\n");
    entry.symbol = nullptr;
    entry.target = &data;
    EXPECT_EQ(shown(entry), "@0x24: .data+8\n");
}

TEST_F(Entry, NamesItsTypeByTheElfRecord) {
    EXPECT_STREQ(entry.typeName(), "???");
    entry.type = 5;
    EXPECT_STREQ(entry.typeName(), "<5>");
    EXPECT_EQ(entry.elfType(), 5u);
    entry.type = 255;
    EXPECT_STREQ(entry.typeName(), "<255>");
}

TEST_F(Entry, MapsTargetsThroughCombinedSections) {
    TestSection out(&file, ".data.out", 0x5000);
    TestSymbol outSymbol(&file, ".data.out", &out);
    out.symbol = &outSymbol;
    data.combined = &out;
    data.offsetInCombined = 0x100;
    data.at = 0x5100;
    entry.symbol = &foo;
    entry.addendOf = 4;

    int32_t offset = -1;
    EXPECT_EQ(entry.mappedSymbol(offset), &outSymbol);
    EXPECT_EQ(offset, 0x114);
    EXPECT_EQ(entry.mappedSection(offset), &out);
    EXPECT_EQ(offset, 0x114);
    EXPECT_EQ(entry.unmappedSection(offset), &data);
    EXPECT_EQ(offset, 0x14);
    EXPECT_EQ(entry.value(), 0x5114u);

    entry.symbol = nullptr;
    entry.target = &data;
    EXPECT_EQ(entry.mappedSymbol(offset), &outSymbol);
    EXPECT_EQ(offset, 0x104);
    EXPECT_EQ(entry.mappedSection(offset), &out);
    EXPECT_EQ(offset, 0x104);
    EXPECT_EQ(entry.unmappedSection(offset), &data);
    EXPECT_EQ(offset, 4);
    EXPECT_TRUE(take().empty());
}

TEST_F(Entry, ReportsWhatDidNotGetMapped) {
    TestSymbol undefinedSymbol(&file, "ext");
    undefinedSymbol.undefined = true;
    TestSymbol absoluteSymbol(&file, "abs", nullptr, 0x40);
    TestSymbol sectionSymbol(&file, ".data", &data);
    int32_t offset;

    entry.symbol = &undefinedSymbol;
    EXPECT_EQ(entry.mappedSymbol(offset), &undefinedSymbol);
    entry.symbol = &absoluteSymbol;
    EXPECT_EQ(entry.mappedSymbol(offset), &absoluteSymbol);
    entry.symbol = &foo;
    EXPECT_EQ(entry.mappedSymbol(offset), &foo);
    data.comdat = true;
    EXPECT_EQ(entry.mappedSymbol(offset), &foo);
    text.allocated = false; // a reference from a section that is not kept
    EXPECT_EQ(entry.mappedSymbol(offset), &foo);
    text.allocated = true;

    entry.symbol = nullptr;
    entry.target = &data;
    EXPECT_EQ(entry.mappedSymbol(offset), nullptr);
    data.comdat = false;
    EXPECT_EQ(entry.mappedSymbol(offset), nullptr);
    data.symbol = &sectionSymbol;
    EXPECT_EQ(entry.mappedSymbol(offset), &sectionSymbol);
    sectionSymbol.special = true;
    EXPECT_EQ(entry.mappedSymbol(offset), &sectionSymbol);

    EXPECT_EQ(take(), (std::vector<std::string>{
                          "E: Symbol \"ext\" (of a.o) didn't get mapped!",
                          "E: Reference to unmapped section\n|\t\".data\" (of a.o)",
                          "E: Reference to symbol foo in discarded\n|\tCOMDAT section \".data\" "
                          "(of a.o)",
                          "E: Reference to discarded COMDAT section\n|\t\".data\" (of a.o)",
                          "E: Reference to unmapped section\n|\t\".data\" (of a.o)",
                          "E: Reference to unmapped section\n|\t\".data\" (of a.o)",
                      }));
}

TEST_F(Entry, ValuesOfPlainAndSectionRelativeKinds) {
    TestSymbol shared(&file, "shared");
    shared.undefined = true; // no link address
    struct {
        ReferenceKind kind;
        Symbol *symbol;
        Section *section;
        int32_t addend;
        uint32_t value;
    } rows[] = {
        {ReferenceKind::direct, &foo, nullptr, 4, 0x2014},
        {ReferenceKind::smallData, &foo, nullptr, -4, 0x200C},
        {ReferenceKind::direct, &shared, nullptr, 4, 4},
        {ReferenceKind::direct, nullptr, &data, 8, 0x2008},
        {ReferenceKind::direct, nullptr, nullptr, 8, 0x63}, // the entry's own addend
        {ReferenceKind::sectionRelative, &foo, nullptr, 4, 0x14},
        {ReferenceKind::sectionRelative, &shared, nullptr, 4, 4},
        {ReferenceKind::machineSpecific, &foo, nullptr, 4, 0},
        {ReferenceKind::pltReference, &foo, nullptr, 4, 0x2014}, // local: no table needed
    };
    entry.addendOf = 0x63;
    for (const auto &row : rows) {
        entry.kind = row.kind;
        EXPECT_EQ(entry.valueOf(row.symbol, row.section, row.addend), row.value)
            << int(row.kind) << " " << row.addend;
    }
    EXPECT_TRUE(take().empty());
}

TEST_F(Entry, ValuesThroughTheLinkageTable) {
    TestPlt plt;
    foo.global = true;
    entry.kind = ReferenceKind::pltReference;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 0), 0x2010u); // no table: the plain rule
    entry.plt = &plt;
    plt.entry = 0x20;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 0), 0x9020u);
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 4), 0x9020u);
    plt.entry = -1;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 0), 0x8FFFu);
    foo.resolvedLocally = true;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 0), 0x2010u);
    EXPECT_EQ(plt.calls, (std::vector<std::string>{"entryOf foo", "entryOf foo", "entryOf foo"}));

    std::string h = std::string(header) + "?\?\?) refs section \"?\?\?\":\n|\t";
    EXPECT_EQ(take(), (std::vector<std::string>{
                          h + "unable to access .plt table",
                          h + "PLT relative ref has non-zero addend",
                          h + "PLT reference isn't in PLT! Call technical support",
                      }));
}

TEST_F(Entry, ValuesThroughTheOffsetTable) {
    TestGot got;
    got.biasOf = 4;
    entry.symbol = &foo;
    entry.addendOf = 2;
    entry.kind = ReferenceKind::gotReference;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 2), 0u);
    entry.got = &got;
    got.sectionEntry = 12; // a local symbol goes by its section and offset
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 2), 8u);
    foo.global = true;
    got.symbolEntry = 8;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 2), 4u);
    got.symbolEntry = -1; // a global without an entry falls back on the section's
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 2), 8u);
    got.sectionEntry = -1;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 2), uint32_t(-5));
    EXPECT_EQ(got.calls,
              (std::vector<std::string>{"entryOf .data 18", "entryOf foo 2", "entryOf foo 2",
                                        "entryOf .data 18", "entryOf foo 2", "entryOf .data 18"}));

    entry.kind = ReferenceKind::gotRelative;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 2), 0x2012u - 0x8004u);
    entry.kind = ReferenceKind::gotPcRelative;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 0x99), 0x7FFEu); // address + addend() - bias
    entry.got = nullptr;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 2), 0x2012u);
    entry.kind = ReferenceKind::gotRelative;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 2), 0x2012u);

    std::string h = std::string(header) + "?\?\?) refs symbol \"foo\":\n|\t";
    EXPECT_EQ(take(), (std::vector<std::string>{
                          h + "unable to access .got table",
                          h + "GOT ref isn't in GOT! Call technical support.",
                          h + "unable to access .got section",
                          h + "unable to access .got section",
                      }));
}

TEST_F(Entry, InvalidKindIsReportedWithItsPlace) {
    entry.kind = ReferenceKind::invalid;
    entry.type = 5;
    EXPECT_EQ(entry.valueOf(&foo, nullptr, 4), 0u);
    EXPECT_EQ(take(), (std::vector<std::string>{"E: In a.o: inappropriate relocation entry "
                                                "\n|\tat position 2 in section .text "
                                                "(elftype=5)"}));
}

TEST_F(Entry, ReportsCarryThePlaceAndTheCallersText) {
    entry.type = 9;
    entry.symbol = &foo;
    entry.error("bad %s%Cvalue %d", "thing", 7);
    entry.symbol = nullptr;
    entry.target = &data;
    entry.warning("careful");
    entry.target = nullptr;
    entry.error("%s", std::string(600, 'x').c_str()); // cut at 500 characters
    std::vector<std::string> got = take();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0], std::string(header) + "<9>) refs symbol \"foo\":\n|\tbad thing\n|\tvalue 7");
    EXPECT_EQ(got[1], "W: In a.o, section .text at 0x24,\n|\t(relocation record #2 of type "
                      "<9>) refs section \".data\":\n|\tcareful");
    EXPECT_EQ(got[2],
              std::string(header) + "<9>) refs section \"???\":\n|\t" + std::string(499, 'x'));
    EXPECT_EQ(reports.errorCount, 2);
    EXPECT_EQ(reports.warningCount, 1);
}

TEST_F(Entry, WithoutAContextAReportEndsTheRun) {
    entry.errors = nullptr;
    EXPECT_DEATH(entry.warning("late %d", 3),
                 "Fatal error --- In a.o, section .text at 0x24,\n\\|\t\\(relocation record #2 "
                 "of type \\?\\?\\?\\) refs section \"\\?\\?\\?\":\n\\|\tlate 3\nAborting");
    EXPECT_DEATH(entry.resetTarget(&data, 0), "RelocationDescriptor::resetTarget not implemented!");
    EXPECT_DEATH(entry.resetTarget(&foo, 0),
                 "RelocationDescriptor::resetTarget\\(symbol\\) not implemented!");
}

TEST_F(Entry, WarnsOnceInARunOfRecordsItCannotTranslate) {
    // The warning is once per process: the steps run in a fresh process of
    // their own, so no other test can have spent it, and the child's status
    // says whether it saw the one warning that it should.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            entry.errors = nullptr;
            entry.eachCoffRecord([](const CoffRelocation &) { return true; }); // nobody to warn
            entry.errors = &reports;
            entry.eachBsdRecord([](const BsdRelocation &) { return true; });
            entry.eachCoffRecord([](const CoffRelocation &) { return true; });
            entry.eachElfRecord([](const Elf32_Rela &) { return true; });
            bool once = take() == std::vector<std::string>{
                                      "W: The linker does not have the necessary logic to "
                                      "translate\n|\tthis to a BSD format. Therefore, the "
                                      "resulting output file will\n|\thave corrupted relocation "
                                      "tables."};
            exit(once ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(Entry, BaseAnswersOfTheOptionalOperations) {
    EXPECT_EQ(entry.elfRecordCount(), 1u);
    EXPECT_EQ(entry.compactClass(), -1);
    EXPECT_FALSE(entry.ignoresSpecialTargets());
    EXPECT_FALSE(entry.replaceWithPltRef());
    EXPECT_FALSE(entry.replaceWithCall());
    EXPECT_TRUE(entry.shouldEmit());
    EXPECT_FALSE(entry.hasExplicitAddend());
    uint32_t value = 7;
    EXPECT_FALSE(entry.nextEntryIs(3, value));
    EXPECT_EQ(value, 7u);
    EXPECT_EQ(entry.reltabSection(), nullptr);
    EXPECT_EQ(entry.outputElfFile(), nullptr);
    char buffer[100];
    StringFormatOut out(buffer, sizeof buffer);
    entry.describe(out);
    EXPECT_STREQ(buffer, "entry 2 of section .text in file a.o");
}

class Output : public Entry {
protected:
    NoOptions handler;
    Args args{"tld", handler};
    TestSymbol ext{&file, "ext"};

    void SetUp() override {
        Entry::SetUp();
        ext.global = true;
        ext.undefined = true;
    }
};

TEST_F(Output, CarriesEntriesThatThePartialLinkCannotResolve) {
    struct {
        ReferenceKind kind;
        Symbol *symbol;
        Section *target;
        bool pcRelative;
        uint8_t resolveSectionRelative;
        bool needed;
    } rows[] = {
        {ReferenceKind::sectionRelative, nullptr, nullptr, false, 1, false},
        {ReferenceKind::sectionRelative, nullptr, nullptr, false, 0, true},
        {ReferenceKind::gotReference, nullptr, nullptr, true, 0, true},
        {ReferenceKind::direct, &ext, nullptr, true, 0, true},
        {ReferenceKind::direct, nullptr, nullptr, true, 0, false}, // no section: pc
        {ReferenceKind::direct, nullptr, nullptr, false, 0, true}, // no section: not pc
        {ReferenceKind::direct, nullptr, &data, true, 0, true},    // another section
        {ReferenceKind::direct, nullptr, &text, true, 0, false},   // its own section, pc
        {ReferenceKind::direct, nullptr, &text, false, 0, true},   // its own section
        {ReferenceKind::direct, &foo, nullptr, true, 0, true},     // foo is in .data
    };
    TestSymbol absolute(&file, "abs", nullptr, 0x40);
    for (const auto &row : rows) {
        entry.kind = row.kind;
        entry.symbol = row.symbol;
        entry.target = row.target;
        entry.pcRelative = row.pcRelative;
        args.relocationOptions.lastOption = row.resolveSectionRelative;
        EXPECT_EQ(entry.neededInOutput(args), row.needed)
            << int(row.kind) << (row.symbol ? row.symbol->name() : "")
            << (row.target ? row.target->name() : "") << row.pcRelative;
    }
    entry.kind = ReferenceKind::direct;
    entry.symbol = &absolute;
    EXPECT_FALSE(entry.neededInOutput(args));
    ext.undefined = false;
    ext.special = true;
    ext.in = &text;
    entry.symbol = &ext;
    EXPECT_TRUE(entry.neededInOutput(args));
    // A section combined into the entry's own output section is the same.
    TestSection out(&file, ".out");
    text.combined = &out;
    data.combined = &out;
    entry.symbol = &foo;
    EXPECT_FALSE(entry.neededInOutput(args));
}

TEST_F(Output, KeepsRunTimeEntriesOfDynamicOutput) {
    struct {
        ReferenceKind kind;
        Symbol *symbol;
        bool pcRelative;
        uint8_t positionIndependent;
        bool needed;
    } rows[] = {
        {ReferenceKind::direct, &foo, false, 1, true},
        {ReferenceKind::direct, &foo, true, 1, false},
        {ReferenceKind::smallData, &foo, false, 0, false},
        {ReferenceKind::direct, &ext, true, 0, true}, // binds to a shared object
        {ReferenceKind::pltReference, &ext, true, 0, false},
        {ReferenceKind::gotPcRelative, &ext, false, 0, true},
        {ReferenceKind::gotRelative, nullptr, false, 0, false},
        {ReferenceKind::gotRelative, &foo, false, 0, false},
        {ReferenceKind::sectionRelative, &ext, false, 0, true},
        {ReferenceKind::gotReference, &ext, false, 1, false},
    };
    for (const auto &row : rows) {
        entry.kind = row.kind;
        entry.symbol = row.symbol;
        entry.pcRelative = row.pcRelative;
        args.relocationOptions.referencesCheck = row.positionIndependent;
        EXPECT_EQ(entry.neededAtRunTime(args), row.needed)
            << int(row.kind) << (row.symbol ? row.symbol->name() : "") << row.pcRelative;
    }
    text.allocated = false;
    entry.kind = ReferenceKind::direct;
    entry.symbol = &ext;
    EXPECT_FALSE(entry.neededAtRunTime(args));
}

TEST_F(Output, BindsToASharedObjectByTheRootOfItsTarget) {
    EXPECT_FALSE(entry.bindsToSharedObject(args)); // no target
    entry.symbol = &foo;
    EXPECT_FALSE(entry.bindsToSharedObject(args)); // not global
    entry.symbol = &ext;
    EXPECT_TRUE(entry.bindsToSharedObject(args)); // no link address
    ext.resolvedLocally = true;
    EXPECT_FALSE(entry.bindsToSharedObject(args));

    foo.global = true;
    entry.symbol = &foo;
    args.relocationOptions.wantsDynamicEntries = 0;
    args.dynamicSymbols = true;
    EXPECT_FALSE(entry.bindsToSharedObject(args));
    args.relocationOptions.wantsDynamicEntries = 1;
    EXPECT_TRUE(entry.bindsToSharedObject(args)); // exported
    EXPECT_TRUE(entry.needsDynamicEntry(&foo, args));
    args.noExports = true;
    EXPECT_FALSE(entry.bindsToSharedObject(args));
    args.noExports = false;
    foo.exportable = false;
    EXPECT_FALSE(entry.bindsToSharedObject(args));
    EXPECT_FALSE(entry.needsDynamicEntry(&foo, args));
    foo.exportable = true;
    args.relocationOptions.wantsDynamicEntries = 0;
    EXPECT_FALSE(entry.needsDynamicEntry(&foo, args));
}

TEST_F(Entry, DelegateShowsAMemberEntryInTheCombinedSection) {
    TestSection combined(&file, ".text.all", 0x800);
    TestGot got;
    entry.symbol = &foo;
    entry.addendOf = 4;
    entry.type = 3;
    entry.got = &got;
    DelegateRelocationDescriptor delegate;
    delegate.delegate = &entry;
    delegate.offsetDelta = 0x100;

    EXPECT_EQ(delegate.dataOffset(), 0x124u);
    EXPECT_EQ(delegate.section(), &text);
    EXPECT_EQ(delegate.place(), 0x1024u); // asked of the member
    EXPECT_EQ(delegate.value(), 0x2014u);
    EXPECT_EQ(delegate.valueWithoutAddend(), 0x2010u);
    EXPECT_EQ(take().size(), 2u); // each value found .data unmapped
    EXPECT_EQ(delegate.addend(), 4);
    EXPECT_EQ(delegate.targetSymbol(), &foo);
    EXPECT_EQ(delegate.elfType(), 3u);
    EXPECT_STREQ(delegate.typeName(), "<3>");
    EXPECT_EQ(shown(delegate), "@0x124: foo[#0]+4\n");
    EXPECT_EQ(delegate.gotTable(), nullptr);
    EXPECT_EQ(delegate.pltTable(), nullptr);
    EXPECT_FALSE(delegate.hasExplicitAddend());
    EXPECT_TRUE(delegate.shouldEmit());
    EXPECT_EQ(delegate.errorContext(), &reports);

    delegate.sectionOverride = &combined;
    EXPECT_EQ(delegate.section(), &combined);
    delegate.error("too far");
    EXPECT_EQ(take(), (std::vector<std::string>{
                          "E: In a.o, section .text.all at 0x124,\n|\t(relocation record #2 of "
                          "type <3>) refs symbol \"foo\":\n|\ttoo far"}));
}

} // namespace
