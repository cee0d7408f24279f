// The BSD library: the "__.SYMDEF" table and each of its messages, member
// names cut from the blank-padded field, and damaged files read without a
// crash.
#include "ArchiveFixture.h"

#include "archive/BsdArchive.h"
#include "kit/BsdArchiveBuilder.h"

#include <iostream>

namespace {

using SymbolRows = std::vector<std::pair<std::string, uint32_t>>;

class BsdArchiveTest : public ArchiveFixture {
protected:
    BsdArchive &openBsd(const Bytes &bytes, bool withErrors = true) {
        log.str("");
        errors.errorCount = errors.warningCount = 0;
        archive = std::make_unique<BsdArchive>(write(bytes), withErrors ? &errors : nullptr);
        return static_cast<BsdArchive &>(*archive);
    }
};

// main.o and helper.o, with three symbols: the table member's data is
// 4 + 3 * 8 + 4 + 18 = 50 bytes (68 to 118), main.o's header is at 118 and
// its 11 bytes end at 189, padded to 190, where helper.o's header stands.
BsdArchiveBuilder threeSymbols() {
    BsdArchiveBuilder builder;
    builder.symbol("main", 0)
        .symbol("helper", 1)
        .symbol("other", 1)
        .member("main.o", pattern(11))
        .dateField("1600000000")
        .modeField("100755")
        .member("helper.o", pattern(4));
    return builder;
}

TEST_F(BsdArchiveTest, SymbolTableLeadsToTheDefiningMembers) {
    BsdArchiveBuilder builder = threeSymbols();
    ASSERT_EQ(builder.headerOffset(0), 118u);
    ASSERT_EQ(builder.headerOffset(1), 190u);
    BsdArchive &bsd = openBsd(builder.build());
    EXPECT_EQ(bsd.archiveKind(), 2);
    EXPECT_EQ(symbols(), (SymbolRows{{"main", 118}, {"helper", 190}, {"other", 190}}));

    // The table member is an ordinary member to the walk: its name has no
    // leading "/".
    Names rows;
    archive->eachMember([&](const ArchiveMember &m) {
        char row[100];
        snprintf(row, sizeof row, "%s %u %u %d %o", m.name, m.offset, m.size, m.date, m.mode);
        rows.push_back(row);
        return true;
    });
    EXPECT_EQ(rows, (Names{"__.SYMDEF 68 50 0 644", "main.o 178 11 1600000000 100755",
                           "helper.o 250 4 0 644"}));

    // The table's offsets are those of the headers, as memberAtOffset takes.
    const ArchiveMember *main = archive->memberAtOffset(118);
    ASSERT_NE(main, nullptr);
    EXPECT_STREQ(main->name, "main.o");
    ASSERT_NE(archive->memberAtOffset(190), nullptr);
    EXPECT_STREQ(archive->memberAtOffset(190)->name, "helper.o");
    EXPECT_EQ(archive->memberNamed("main.o"), main);
    EXPECT_EQ(messages(), "");
    EXPECT_EQ(archive->memberAtOffset(178), nullptr);
    EXPECT_EQ(messages(), line("Symbol table of archive @ appears corrupted.\n|\tA symbol "
                               "references non-existent member at offset 0xb2"));
}

TEST_F(BsdArchiveTest, NamesAreTheFieldWithoutItsPaddingBlanks) {
    const std::pair<std::string, std::string> cases[] = {
        {"a.o", "a.o"},
        {"sixteen_chars.ab", "sixteen_chars.ab"},
        {"name with blank ", "name with blank"},
        {"  lead", "  lead"},
        {"", " "},                    // sixteen blanks: the first is never cut
        {"dir/file.o", "dir/file.o"}, // no "/" handling
        {std::string("x \0yz", 5), "x"},
        {std::string("\0abc", 4), ""},
    };
    BsdArchiveBuilder builder;
    for (const auto &[field, name] : cases)
        builder.member(field, text("data"));
    openBsd(builder.build());
    Names expected = {"__.SYMDEF"};
    for (const auto &[field, name] : cases)
        expected.push_back(name);
    EXPECT_EQ(memberNames(), expected);
    EXPECT_EQ(messages(), "");
}

// Each message of the table, with the symbols that stay usable behind it;
// the members stay walkable whatever the table holds.  "" expects no words.
TEST_F(BsdArchiveTest, EachTableDamageReportsAndLeavesTheMembers) {
    const std::string noTable = "Archive @ lacks a symbol table. Run \"ranlib\".",
                      cutTable = "Archive @ has a truncated symbol table",
                      cutNames = "Archive @ has a truncated string table",
                      garbage = "Archive @ has a garbage string table size: ";
    auto one = [] {
        BsdArchiveBuilder builder;
        builder.symbol("f", 0).symbol("gee", 0).member("a.o", text("aa"));
        return builder;
    };
    const struct {
        Bytes bytes;
        std::string expected;
        size_t symbolCount;
        bool membersIntact = true; // the headers can be walked
    } cases[] = {
        {one().build(), "", 2},
        {BsdArchiveBuilder().member("a.o", text("a")).build(), "", 0},
        // Nine characters and anything but seven blanks pass the choice of
        // class and fail here.
        {one().tableNameField("__.SYMDEF SORTED").build(), noTable, 0},
        {one().tableNameField("__.SYMDEF/").build(), noTable, 0},
        {one().tableNameField("__.SYMDEF      X").build(), noTable, 0},
        {one().tableSize(800).build(), cutTable, 0},
        // A negative size asks for a block no file can hold.
        {one().tableSize(0xFFFFFFF8).build(), cutTable, 0},
        {one().tableSize(0x80000000).build(), cutTable, 0},
        // The file ends inside the size word, or inside the entries.
        {one().truncateTo(70).build(), cutTable, 0, false},
        {one().truncateTo(80).build(), cutTable, 0, false},
        {one().stringsSize(1000).build(), garbage + "1000", 0},
        {one().stringsSize(0xFFFFFFFF).build(), garbage + "4294967295", 0},
        // Data of 4 + 16 + 4 + 6 = 30 bytes: entries and strings alone make
        // 22, and the size words are not counted.
        {one().tableSizeField("22").build(), "", 2, false},
        {one().tableSizeField("21").build(), garbage + "6", 0, false},
        {one().tableSizeField("-1").build(), garbage + "6", 0, false},
        // The member's header is whole, its strings are not.
        {one().truncateTo(68 + 26).build(), cutNames, 0, false},
        {one().nameOffset(1, 6).build(), "Archive @ has a corrupted symbol table after entry 1", 1},
        {one().nameOffset(0, 0xFFFFFFFF).build(),
         "Archive @ has a corrupted symbol table after entry 0", 0},
        // Odd bytes of the size are left to the strings size behind the
        // whole entries.
        {one().tableSize(16 + 7).build(), "", 2},
        {one().tableSize(0).stringsSize(0).build(), "", 0},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        const auto &c = cases[i];
        openBsd(c.bytes);
        EXPECT_EQ(symbols().size(), c.symbolCount);
        EXPECT_EQ(messages(), c.expected.empty() ? "" : line(c.expected));
        EXPECT_EQ(errors.errorCount, c.expected.empty() ? 0 : 1);
        EXPECT_EQ(errors.warningCount, 0);
        if (c.membersIntact) {
            EXPECT_EQ(memberNames().back(), "a.o");
        }

        // Without a context the same file says nothing.
        openBsd(c.bytes, false);
        symbols();
        EXPECT_EQ(messages(), "");
    }
}

TEST_F(BsdArchiveTest, NamesReadToTheEndOfTheStrings) {
    openBsd(BsdArchiveBuilder()
                .symbol("first", 0)
                .symbol("unended", 0)
                .member("a.o", text("a"))
                .noFinalNul()
                .build());
    EXPECT_EQ(symbols(), (SymbolRows{{"first", 106}, {"unended", 106}}));
    // Two entries may share a name, or start inside another's.
    openBsd(BsdArchiveBuilder()
                .symbol("shared", 0)
                .symbol("x", 0)
                .nameOffset(1, 0)
                .symbol("y", 0)
                .nameOffset(2, 3)
                .member("a.o", text("a"))
                .build());
    EXPECT_EQ(symbols(), (SymbolRows{{"shared", 112}, {"shared", 112}, {"red", 112}}));
    EXPECT_EQ(messages(), "");
}

TEST_F(BsdArchiveTest, WalksEndEarlyWhenTheVisitorSaysSo) {
    openBsd(threeSymbols().build());
    int seen = 0;
    archive->eachSymbol([&](const ArchiveSymbol &) { return ++seen < 2; });
    EXPECT_EQ(seen, 2);
    seen = 0;
    archive->eachMember([&](const ArchiveMember &) { return ++seen < 1; });
    EXPECT_EQ(seen, 1);
}

// Every cut of a library, and every byte of its table set to 0xFF in turn:
// read without a context, they neither crash nor read astray (the sanitizer
// build watches the reads).
TEST_F(BsdArchiveTest, DamagedFilesNeverCrash) {
    const Bytes whole = threeSymbols().build();
    size_t walked = 0;
    auto readAll = [&](const Bytes &bytes) {
        openBsd(bytes, false);
        for (const auto &[name, offset] : symbols())
            if (const ArchiveMember *member = archive->memberAtOffset(offset))
                walked += strlen(member->name) > 0;
        walked += memberNames().size();
    };
    for (size_t size = 0; size <= whole.size(); ++size)
        readAll(Bytes(whole.begin(), whole.begin() + long(size)));
    for (size_t at = 8; at < 118; ++at) {
        Bytes damaged = whole;
        damaged[at] = 0xFF;
        readAll(damaged);
    }
    EXPECT_EQ(messages(), "");
    EXPECT_GT(walked, 0u);
}

TEST(BsdArchiveDeathTest, CorruptHeaderIsFatalInTheWalk) {
    Bytes bytes = BsdArchiveBuilder()
                      .member("a.o", text("aa"))
                      .member("b.o", text("b"))
                      .terminator("X\n")
                      .build();
    ScratchDir dir;
    std::string path = dir.write("lib.a", bytes);
    auto walk = [&] {
        ErrFormat engine;
        StreamFormatOut out(std::cerr, engine);
        ErrorCounter errors(out, "tnm");
        InputFile file(path.c_str(), nullptr);
        BsdArchive archive(file, &errors);
        archive.eachMember([](const ArchiveMember &) { return true; });
        exit(0);
    };
    // The table member holds its two size words (68 to 76), a.o's header
    // stands at 76 and b.o's at 138.
    EXPECT_EXIT(walk(), ::testing::ExitedWithCode(1),
                ::testing::StrEq("[tnm] Fatal Error: Corrupted archive header at offset 0x8a in " +
                                 path + "\n"));
}

} // namespace
