// The System V library: its symbol table, its long-name table, member names,
// and each message of the two tables with what stays usable behind it.
#include "ArchiveFixture.h"

#include "archive/ElfArchive.h"

namespace {

// The data of a hand-made "/" member: count, offsets, then the names.
Bytes rawTable(uint32_t count, std::vector<uint32_t> offsets, std::string_view names) {
    offsets.insert(offsets.begin(), count);
    Bytes data;
    for (uint32_t value : offsets)
        for (int shift = 24; shift >= 0; shift -= 8)
            data.push_back(uint8_t(value >> shift));
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
    const char *owners[] = {"main.o", "helpers_with_a_long_name.o", "helpers_with_a_long_name.o",
                            "z.o"};
    auto table = symbols();
    ASSERT_EQ(table.size(), 4u);
    EXPECT_EQ(table[1], (std::pair<std::string, uint32_t>{"helper", builder.headerOffset(1)}));
    for (size_t i = 0; i < table.size(); ++i) {
        const ArchiveMember *member = archive->memberAtOffset(table[i].second);
        ASSERT_NE(member, nullptr) << i;
        EXPECT_STREQ(member->name, owners[i]);
    }
    EXPECT_EQ(memberNames(), (Names{"main.o", "helpers_with_a_long_name.o", "z.o"}));
    EXPECT_EQ(messages(), "");

    // The last name may lack its NUL: it ends with the table.
    open(ArchiveBuilder().symbolTable({{"a", 0}, {"unended", 0}}).noFinalSymbolNul().build());
    ASSERT_EQ(symbols().size(), 2u);
    EXPECT_EQ(symbols()[1].first, "unended");
}

// Each message of the tables, with the members and the symbol count that
// stay usable behind it.  "" expects no words.
TEST_F(ArchiveFixture, EachTableDamageReportsAndLeavesAUsableArchive) {
    const Names justA = {"a.o"};
    const std::string
        corrupt = "Archive @ has a corrupt symbol table;\n|\tentry count is garbage: 0x",
        cutTable = "Archive @ has a truncated symbol table\n|\t(EOF encountered while reading ",
        cutNames = "Archive @ has a truncated string table\n|\t(EOF encountered while reading ";
    auto withF = [] { return std::move(ArchiveBuilder().symbolTable({{"f", 0}})); };
    const struct {
        Bytes bytes;
        std::string expected;
        Names members;
        size_t symbolCount;
    } cases[] = {
        {ArchiveBuilder().member("a.o", "1").member("b.o", "2").build(),
         "W:Archive @ lacks a symbol table.", Names{"a.o", "b.o"}, 0},
        {text("!<arch>\n"), "W:Archive @ lacks a symbol table.", {}, 0},
        {ArchiveBuilder().symbolTable({}).member("a.o", "a").build(), "", justA, 0},
        {withF().sizeField("8000001").member("a.o", "a").build(),
         "Archive @ has a garbage symbol table size: 8000001",
         {},
         0},
        // Exactly the limit passes that test and fails later, on the names.
        {withF().sizeField("8000000").member("a.o", "a").build(),
         cutNames + "7999992 byte string table).",
         {},
         0},
        {withF().symbolCount(3).member("a.o", "a").build(), corrupt + "3.", justA, 0},
        // A table of its count word and offsets alone: the count is garbage.
        {ArchiveBuilder().rawMember("/", rawTable(2, {0}, "")).member("a.o", "").build(),
         corrupt + "2.", justA, 0},
        // Four times this count wraps at 32 bits to something small.
        {withF().symbolCount(0x40000001).member("a.o", "a").build(), corrupt + "40000001.", justA,
         0},
        {ArchiveBuilder().symbolTable({{"f", 0}, {"g", 0}, {"h", 0}}).truncateTo(78).build(),
         cutTable + "3 entries).",
         {},
         0},
        // The file ends in the count word: the two bytes missing stay 0, so
        // the count 0x00000001 reads as 0 - no table, and nothing to say.
        {withF().truncateTo(70).build(), "", {}, 0},
        {ArchiveBuilder().symbolTable({{"alpha", 0}}).truncateTo(78).build(),
         cutNames + "6 byte string table).",
         {},
         0},
        {withF().longNameTable().sizeField("500").member("a_long_member_name.o", "").build(),
         "Archive @ has a truncated string table",
         {},
         1},
        {ArchiveBuilder()
             .rawMember("/", rawTable(3, {88, 88, 88}, std::string_view("x\0y\0", 4)))
             .member("a.o", "a")
             .build(),
         "Archive @ has a corrupted symbol table after entry 2", justA, 2},
        {ArchiveBuilder().rawMember("/", rawTable(1, {8}, "")).member("a.o", "a").build(),
         "Archive @ has a corrupted symbol table after entry 0", justA, 0},
        // A first member "//" counts as a symbol table; "long" is its count.
        {ArchiveBuilder().rawMember("//", text("long_name.o/\n")).member("a.o", "").build(),
         corrupt + "6c6f6e67.", justA, 0},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        const auto &c = cases[i];
        log.str("");
        errors.errorCount = errors.warningCount = 0;
        ASSERT_NE(open(c.bytes), nullptr);
        EXPECT_EQ(memberNames(), c.members);
        EXPECT_EQ(symbols().size(), c.symbolCount);
        EXPECT_EQ(messages(), c.expected.empty() ? "" : line(c.expected));
        bool warning = c.expected.rfind("W:", 0) == 0;
        EXPECT_EQ(errors.errorCount, c.expected.empty() || warning ? 0 : 1);
        EXPECT_EQ(errors.warningCount, warning ? 1 : 0);
    }
}

TEST_F(ArchiveFixture, LongNameTableIsLookedForInSecondOrThirdPlaceOnly) {
    Bytes table = text("first_long_name.o/\nsecond_long_name.o/\n");
    auto layout = [&](std::vector<const char *> before) {
        ArchiveBuilder builder;
        builder.symbolTable({});
        for (const char *name : before)
            builder.rawMember(name, Bytes(2, 'z'));
        return builder.rawMember("//", table).rawMember("/0", {1}).rawMember("/19", {2}).build();
    };
    for (const Bytes &bytes : {layout({}), layout({"/"})}) {
        open(bytes);
        EXPECT_EQ(memberNames(), (Names{"first_long_name.o", "second_long_name.o"}));
    }
    // Fourth, or behind an ordinary second member: "/0" is its header text.
    for (const Bytes &bytes : {layout({"/", "/X"}), layout({"a.o/"})}) {
        open(bytes);
        Names names = memberNames();
        ASSERT_GE(names.size(), 2u);
        EXPECT_EQ(names[names.size() - 2].substr(0, 17), "/0              0");
        EXPECT_EQ(names[names.size() - 2].size(), 60u);
    }
    EXPECT_EQ(messages(), "");
}

TEST_F(ArchiveFixture, LongNamesEndAtSlashOrNulOrTheTablesEnd) {
    open(ArchiveBuilder()
             .symbolTable({})
             .rawMember("//", text(std::string_view("slash_ended_name.o/\nnul_ended.o\0tail", 36)))
             .rawMember("/0", {1})
             .rawMember("/20", {2})
             .rawMember("/32", {3})
             .rawMember("/35", {4})  // the table's last byte
             .rawMember("/36", {5})  // its size: beyond
             .rawMember("/999", {6}) // far beyond
             .build());
    Names names = memberNames();
    ASSERT_EQ(names.size(), 6u);
    EXPECT_EQ(Names(names.begin(), names.begin() + 4),
              (Names{"slash_ended_name.o", "nul_ended.o", "tail", "l"}));
    EXPECT_EQ(names[4].substr(0, 4), "/36 ");
    EXPECT_EQ(names[5].substr(0, 5), "/999 ");
    EXPECT_EQ(messages(), "");
}

TEST_F(ArchiveFixture, ARecordCanBeMadeTwiceFromOneLongName) {
    ArchiveBuilder builder;
    builder.symbolTable({}).member("a_name_longer_than_fifteen.o", "x");
    Bytes bytes = builder.build();
    ElfArchive elf(write(bytes), &errors);
    archive_header::Text header = {};
    memcpy(header, bytes.data() + builder.headerOffset(0), 60);
    for (uint32_t offset : {1000u, 2000u}) {
        const ArchiveMember *member = elf.memberFromHeader(header, offset);
        EXPECT_STREQ(member->name, "a_name_longer_than_fifteen.o");
        EXPECT_EQ(member->offset, offset);
        EXPECT_EQ(member->size, 1u);
    }
}

TEST_F(ArchiveFixture, ShortNamesEndAtTheirSlash) {
    ArchiveBuilder builder;
    builder.symbolTable({}).member("a.o", "1");
    for (const char *field : {"plain.o", "dir/name.o", "sixteen_bytes_ab", "x/"})
        builder.rawMember(field, {2});
    open(builder.build());
    EXPECT_EQ(memberNames(), (Names{"a.o", "???", "dir", "???", "x"}));
}

} // namespace
