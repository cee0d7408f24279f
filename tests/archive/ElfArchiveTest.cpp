// The System V library: its symbol table, its long-name table, member names,
// and every way the two tables can be damaged.

#include "ArchiveFixture.h"

#include "archive/ElfArchive.h"

namespace {

using Bytes = ArchiveBuilder::Bytes;

// The data of a hand-made "/" member: count, offsets, then names as given.
Bytes rawTable(uint32_t count, std::vector<uint32_t> offsets, std::string_view names) {
    Bytes data;
    auto put = [&](uint32_t value) {
        for (int shift = 24; shift >= 0; shift -= 8)
            data.push_back(uint8_t(value >> shift));
    };
    put(count);
    for (uint32_t offset : offsets)
        put(offset);
    data.insert(data.end(), names.begin(), names.end());
    return data;
}

TEST_F(ArchiveFixture, SymbolTableLeadsToTheDefiningMembers) {
    ArchiveBuilder builder;
    builder.symbolTable({{"main", 0}, {"helper", 1}, {"other", 1}, {"last", 2}})
        .member("main.o", pattern(11))
        .member("helpers_with_a_long_name.o", pattern(20))
        .member("z.o", pattern(3));
    open(builder.build());
    ASSERT_EQ(archive->archiveKind(), elfArchiveKind);
    std::vector<SymbolEntry> expected = {{"main", builder.headerOffset(0)},
                                         {"helper", builder.headerOffset(1)},
                                         {"other", builder.headerOffset(1)},
                                         {"last", builder.headerOffset(2)}};
    ASSERT_EQ(symbols(), expected);
    const char *owners[] = {"main.o", "helpers_with_a_long_name.o", "helpers_with_a_long_name.o",
                            "z.o"};
    for (size_t i = 0; i < expected.size(); ++i) {
        const ArchiveMember *member = archive->memberAtOffset(expected[i].offset);
        ASSERT_NE(member, nullptr) << i;
        EXPECT_STREQ(member->name, owners[i]);
    }
    EXPECT_EQ(memberNames(),
              (std::vector<std::string>{"main.o", "helpers_with_a_long_name.o", "z.o"}));
    EXPECT_EQ(messages(), "");
}

TEST_F(ArchiveFixture, LastSymbolNameWithoutNulEndsWithTheTable) {
    open(ArchiveBuilder()
             .symbolTable({{"first", 0}, {"unterminated", 0}})
             .noFinalSymbolNul()
             .member("a.o", "aaaa")
             .build());
    std::vector<SymbolEntry> all = symbols();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[1].name, "unterminated");
    EXPECT_EQ(messages(), "");
}

TEST_F(ArchiveFixture, EmptySymbolTableIsNoTableAndNoMessage) {
    open(ArchiveBuilder().symbolTable({}).member("a.o", "a").build());
    EXPECT_TRUE(symbols().empty());
    EXPECT_EQ(memberNames(), std::vector<std::string>{"a.o"});
    EXPECT_EQ(messages(), "");
}

// One row per message of the symbol and string tables: the file, the message
// ("W:" in front for a warning), and what is left usable afterwards.
struct TableDamage {
    const char *what;
    Bytes bytes;
    std::string expected; // "@" stands for the library's path
    std::vector<std::string> members;
    size_t symbolCount;
};

void PrintTo(const TableDamage &c, std::ostream *out) {
    *out << c.what;
}

class TableDamageTest : public ArchiveFixture, public ::testing::WithParamInterface<TableDamage> {};

TEST_P(TableDamageTest, ReportsAndLeavesAUsableArchive) {
    const TableDamage &c = GetParam();
    ASSERT_NE(open(c.bytes), nullptr);
    EXPECT_EQ(memberNames(), c.members);
    EXPECT_EQ(symbols().size(), c.symbolCount);
    bool warningOnly = c.expected.rfind("W:", 0) == 0;
    std::string expected = warningOnly ? warningLine(c.expected.substr(2)) : errorLine(c.expected);
    EXPECT_EQ(messages(), expected);
    EXPECT_EQ(errors.errorCount, warningOnly ? 0 : 1);
    EXPECT_EQ(errors.warningCount, warningOnly ? 1 : 0);
}

const std::vector<std::string> justA = {"a.o"};

INSTANTIATE_TEST_SUITE_P(
    Rows, TableDamageTest,
    ::testing::Values(
        TableDamage{"NoSymbolTable",
                    ArchiveBuilder().member("first.o", "1").member("second.o", "22").build(),
                    "W:Archive @ lacks a symbol table.",
                    {"first.o", "second.o"},
                    0},
        TableDamage{"NothingBehindTheMagic",
                    ArchiveBuilder::bytes("!<arch>\n"),
                    "W:Archive @ lacks a symbol table.",
                    {},
                    0},
        TableDamage{"SizeOverTheLimit",
                    ArchiveBuilder()
                        .symbolTable({{"f", 0}})
                        .sizeField("8000001")
                        .member("a.o", "aa")
                        .build(),
                    "Archive @ has a garbage symbol table size: 8000001",
                    {},
                    0},
        // Exactly the limit passes that test and fails later, on the names.
        TableDamage{"SizeAtTheLimit",
                    ArchiveBuilder()
                        .symbolTable({{"f", 0}})
                        .sizeField("8000000")
                        .member("a.o", "aa")
                        .build(),
                    "Archive @ has a truncated string table\n|\t(EOF encountered while reading "
                    "7999992 byte string table).",
                    {},
                    0},
        TableDamage{
            "CountTooBig",
            ArchiveBuilder().symbolTable({{"f", 0}}).symbolCount(3).member("a.o", "a").build(),
            "Archive @ has a corrupt symbol table;\n|\tentry count is garbage: 0x3.", justA, 0},
        TableDamage{
            "SizeEqualToCountTimesFour",
            ArchiveBuilder().rawMember("/", rawTable(2, {0}, "")).member("a.o", "a").build(),
            "Archive @ has a corrupt symbol table;\n|\tentry count is garbage: 0x2.", justA, 0},
        // A count whose four-fold wraps at 32 bits to something small.
        TableDamage{"CountThatWraps",
                    ArchiveBuilder()
                        .symbolTable({{"f", 0}})
                        .symbolCount(0x40000001)
                        .member("a.o", "a")
                        .build(),
                    "Archive @ has a corrupt symbol table;\n|\tentry count is garbage: "
                    "0x40000001.",
                    justA, 0},
        TableDamage{"OffsetsCutShort",
                    ArchiveBuilder()
                        .symbolTable({{"f", 0}, {"g", 0}, {"h", 0}})
                        .member("a.o", "a")
                        .truncateTo(8 + 60 + 4 + 6)
                        .build(),
                    "Archive @ has a truncated symbol table\n|\t(EOF encountered while reading "
                    "3 entries).",
                    {},
                    0},
        TableDamage{"CountCutShort",
                    ArchiveBuilder().symbolTable({{"f", 0}}).truncateTo(8 + 60 + 2).build(),
                    "Archive @ has a truncated symbol table\n|\t(EOF encountered while reading "
                    "the entry count).",
                    {},
                    0},
        TableDamage{"NamesCutShort",
                    ArchiveBuilder()
                        .symbolTable({{"alpha", 0}})
                        .member("a.o", "a")
                        .truncateTo(8 + 60 + 8 + 2)
                        .build(),
                    "Archive @ has a truncated string table\n|\t(EOF encountered while reading "
                    "6 byte string table).",
                    {},
                    0},
        TableDamage{"LongNameTableCutShort",
                    ArchiveBuilder()
                        .symbolTable({{"f", 0}})
                        .longNameTable()
                        .sizeField("500")
                        .member("a_member_with_a_long_name.o", "a")
                        .build(),
                    "Archive @ has a truncated string table",
                    {},
                    1},
        TableDamage{
            "MoreEntriesThanNames",
            ArchiveBuilder()
                .rawMember("/", rawTable(3, {8 + 80, 8 + 80, 8 + 80}, std::string("x\0y\0", 4)))
                .member("a.o", "a")
                .build(),
            "Archive @ has a corrupted symbol table after entry 2", justA, 2},
        TableDamage{
            "NoNamesAtAll",
            ArchiveBuilder().rawMember("/", rawTable(1, {8}, "")).member("a.o", "a").build(),
            "Archive @ has a corrupted symbol table after entry 0", justA, 0},
        // A first member "//" counts as a symbol table; its text makes a
        // garbage count.
        TableDamage{"LongNameTableFirst",
                    ArchiveBuilder()
                        .rawMember("//", ArchiveBuilder::bytes("long_member_name.o/\n"))
                        .member("b.o", "b")
                        .build(),
                    "Archive @ has a corrupt symbol table;\n|\tentry count is garbage: "
                    "0x6c6f6e67.",
                    {"b.o"},
                    0}),
    [](const auto &info) { return std::string(info.param.what); });

TEST_F(ArchiveFixture, LongNameTableInSecondOrThirdPlace) {
    Bytes table = ArchiveBuilder::bytes("first_long_name.o/\nsecond_long_name.o/\n");
    const Bytes layouts[] = {
        ArchiveBuilder()
            .symbolTable({})
            .rawMember("//", table)
            .rawMember("/0", Bytes{1})
            .rawMember("/19", Bytes{2})
            .build(),
        ArchiveBuilder()
            .symbolTable({})
            .rawMember("/", Bytes(4, 0))
            .rawMember("//", table)
            .rawMember("/0", Bytes{1})
            .rawMember("/19", Bytes{2})
            .build(),
    };
    for (const Bytes &layout : layouts) {
        open(layout);
        EXPECT_EQ(memberNames(),
                  (std::vector<std::string>{"first_long_name.o", "second_long_name.o"}));
    }
    EXPECT_EQ(messages(), "");
}

TEST_F(ArchiveFixture, LongNameTableElsewhereIsNotLookedFor) {
    // In fourth place, or behind an ordinary second member, it is not the
    // table, and "/digits" names fall back to the header text.
    Bytes table = ArchiveBuilder::bytes("first_long_name.o/\n");
    const Bytes layouts[] = {
        ArchiveBuilder()
            .symbolTable({})
            .rawMember("/", Bytes(2, 0))
            .rawMember("/X", Bytes(2, 0))
            .rawMember("//", table)
            .rawMember("/0", Bytes{1})
            .build(),
        ArchiveBuilder()
            .symbolTable({})
            .member("a.o", "a")
            .rawMember("//", table)
            .rawMember("/0", Bytes{1})
            .build(),
    };
    for (const Bytes &layout : layouts) {
        open(layout);
        std::vector<std::string> names = memberNames();
        ASSERT_FALSE(names.empty());
        EXPECT_EQ(names.back().substr(0, 17), "/0              0");
        EXPECT_EQ(names.back().size(), 60u);
    }
}

TEST_F(ArchiveFixture, LongNamesEndAtSlashOrNulOrTheTablesEnd) {
    Bytes table =
        ArchiveBuilder::bytes(std::string_view("slash_ended_name.o/\nnul_ended_name.o\0tail", 41));
    ArchiveBuilder builder;
    builder.symbolTable({})
        .rawMember("//", table)
        .rawMember("/0", Bytes{1})
        .rawMember("/20", Bytes{2})
        .rawMember("/37", Bytes{3})
        .rawMember("/40", Bytes{4})   // the last byte of the table
        .rawMember("/41", Bytes{5})   // equal to the table's size
        .rawMember("/999", Bytes{6}); // far beyond it
    open(builder.build());
    std::vector<std::string> names = memberNames();
    ASSERT_EQ(names.size(), 6u);
    EXPECT_EQ(names[0], "slash_ended_name.o");
    EXPECT_EQ(names[1], "nul_ended_name.o");
    EXPECT_EQ(names[2], "tail");
    EXPECT_EQ(names[3], "l");
    EXPECT_EQ(names[4].substr(0, 4), "/41 ");
    EXPECT_EQ(names[5].substr(0, 5), "/999 ");
    EXPECT_EQ(messages(), "");
}

TEST_F(ArchiveFixture, AMemberRecordCanBeMadeTwiceFromOneLongName) {
    ArchiveBuilder builder;
    builder.symbolTable({}).member("a_name_longer_than_fifteen.o", "x");
    write(builder.build());
    ElfArchive elf(*file, &errors);
    Bytes bytes = builder.build();
    archive_header::Text header = {};
    memcpy(header, bytes.data() + builder.headerOffset(0), 60);
    std::unique_ptr<ArchiveMember> first = elf.memberFromHeader(header, 1000);
    std::unique_ptr<ArchiveMember> second = elf.memberFromHeader(header, 2000);
    EXPECT_STREQ(first->name, "a_name_longer_than_fifteen.o");
    EXPECT_STREQ(second->name, "a_name_longer_than_fifteen.o");
    EXPECT_EQ(first->offset, 1000u);
    EXPECT_EQ(second->offset, 2000u);
    EXPECT_EQ(second->size, 1u);
}

TEST_F(ArchiveFixture, ShortNamesEndAtTheirSlash) {
    open(ArchiveBuilder()
             .symbolTable({})
             .member("a.o", "1")
             .rawMember("plain.o", Bytes{2})    // blanks and no "/"
             .rawMember("dir/name.o", Bytes{3}) // cut at the first "/"
             .rawMember("sixteen_bytes_ab", Bytes{4})
             .rawMember("x/", Bytes{5})
             .build());
    EXPECT_EQ(memberNames(), (std::vector<std::string>{"a.o", "???", "dir", "???", "x"}));
}

} // namespace
