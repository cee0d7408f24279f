// The "!<arch>\n" container: header fields, the walk over the headers, the
// member list and the lookup by header offset, with damaged headers.

#include "ArchiveFixture.h"

#include "archive/UnixArchive.h"

#include <iostream>

namespace {

using Bytes = ArchiveBuilder::Bytes;

struct NumberCase {
    const char *text;
    uint32_t at;
    uint32_t base;
    int32_t value;
    bool sawDigit;
};

TEST(HeaderNumber, ReadsTheTextTheClassicWay) {
    const NumberCase cases[] = {
        {"1234      ", 0, 10, 1234, true},
        {"   42", 0, 10, 42, true},
        {"\t\n 7", 0, 10, 7, true},
        {"-5", 0, 10, -5, true},
        {"+8", 0, 10, 8, true},
        {"12ab", 0, 10, 12, true},
        {"0x10", 0, 10, 0, true},
        {"", 0, 10, 0, false},
        {"    ", 0, 10, 0, false},
        {"-", 0, 10, 0, false},
        {"abc", 0, 10, 0, false},
        {"100644  ", 0, 8, 0100644, true},
        {"7789", 0, 8, 077, true},
        {"8", 0, 8, 0, false},
        // A blank field reads on into the next one.
        {"          "
         "33",
         0, 10, 33, true},
        {"xx99", 2, 10, 99, true},
        // 32 bits wide: 2^32 + 1 wraps to 1.
        {"4294967297", 0, 10, 1, true},
        {"2147483648", 0, 10, INT32_MIN, true},
    };
    for (const NumberCase &c : cases) {
        bool sawDigit = !c.sawDigit;
        EXPECT_EQ(archive_header::number(c.text, c.at, c.base, &sawDigit), c.value) << c.text;
        EXPECT_EQ(sawDigit, c.sawDigit) << c.text;
    }
}

TEST_F(ArchiveFixture, MemberRecordsCarryTheHeaderFields) {
    ArchiveBuilder builder;
    builder.member("a.o", "abc")
        .dateField("1700000000")
        .uidField("501")
        .gidField("20")
        .modeField("100755")
        .member("b.o", "defg")
        .modeField("644");
    open(builder.build());
    std::vector<const ArchiveMember *> records;
    archive->eachMember([&](const ArchiveMember &member) {
        records.push_back(&member);
        return true;
    });
    ASSERT_EQ(records.size(), 2u);
    EXPECT_STREQ(records[0]->name, "a.o");
    EXPECT_EQ(records[0]->date, 1700000000);
    EXPECT_EQ(records[0]->uid, 501);
    EXPECT_EQ(records[0]->gid, 20);
    EXPECT_EQ(records[0]->mode, 0100755u);
    EXPECT_EQ(records[0]->size, 3u);
    EXPECT_EQ(records[0]->offset, builder.dataOffset(0));
    EXPECT_EQ(records[0]->offset, 8u + 60u);
    EXPECT_STREQ(records[1]->name, "b.o");
    EXPECT_EQ(records[1]->mode, 0644u);
    EXPECT_EQ(records[1]->size, 4u);
    // 3 data bytes and a pad byte behind the first member.
    EXPECT_EQ(records[1]->offset, 8u + 60 + 4 + 60);

    // The list is made once: a second walk hands out the same records.
    std::vector<const ArchiveMember *> again;
    archive->eachMember([&](const ArchiveMember &member) {
        again.push_back(&member);
        return true;
    });
    EXPECT_EQ(again, records);
}

TEST_F(ArchiveFixture, PadBytesAreSkippedWhateverTheyHold) {
    open(ArchiveBuilder()
             .member("one.o", "1")
             .padByte('X')
             .member("three.o", "333")
             .padByte(0)
             .member("two.o", "22")
             .build());
    EXPECT_EQ(memberNames(), (std::vector<std::string>{"one.o", "three.o", "two.o"}));
}

TEST_F(ArchiveFixture, OddMemberAtTheEndWithoutPadEndsTheWalkQuietly) {
    ArchiveBuilder builder;
    builder.symbolTable({{"f", 1}}).member("a.o", "aa").member("b.o", "bbb").noPad();
    open(builder.build());
    EXPECT_EQ(memberNames(), (std::vector<std::string>{"a.o", "b.o"}));
    EXPECT_EQ(symbols(), (std::vector<SymbolEntry>{{"f", builder.headerOffset(1)}}));
    EXPECT_EQ(messages(), "");
    // The walk stopped short of the end without a seek that fails for good.
    EXPECT_EQ(file->status & (InputFile::failBit | InputFile::badBit), 0u);
}

TEST_F(ArchiveFixture, SystemMembersAreSkippedLongNameMembersAreNot) {
    open(ArchiveBuilder()
             .symbolTable({})
             .rawMember("/", Bytes(4, 0))
             .rawMember("/SYM64/", Bytes(8, 0))
             .rawMember("//", ArchiveBuilder::bytes("x/\n"))
             .member("kept.o", "k")
             .rawMember("/7", ArchiveBuilder::bytes("long"))
             .build());
    std::vector<std::string> names = memberNames();
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0], "kept.o");
    // "/7" is an ordinary member; with no long-name table in second or
    // third place, its name is the header's own text.
    EXPECT_EQ(names[1].substr(0, 16), "/7              ");
}

TEST_F(ArchiveFixture, MemberAtOffsetTakesTheHeaderOffset) {
    ArchiveBuilder builder;
    builder.symbolTable({{"f", 0}}).member("a.o", "aaaa").member("b.o", "bb").member("c.o", "c");
    open(builder.build());
    for (uint32_t i = 0; i < 3; ++i) {
        const ArchiveMember *member = archive->memberAtOffset(builder.headerOffset(i));
        ASSERT_NE(member, nullptr) << i;
        EXPECT_EQ(member->offset, builder.dataOffset(i));
    }
    // The data offset itself is no header offset.
    EXPECT_EQ(archive->memberAtOffset(builder.dataOffset(1)), nullptr);
    EXPECT_EQ(messages(), errorLine("Symbol table of archive @ appears corrupted.\n|\tA symbol "
                                    "references non-existent member at offset 0x" +
                                    hex(builder.dataOffset(1))));
    EXPECT_EQ(errors.errorCount, 1);
}

TEST_F(ArchiveFixture, SymbolPointingNowhereGivesNoMember) {
    open(ArchiveBuilder()
             .symbolTable({{"f", 0}, {"g", 0}})
             .symbolOffset(1, 0x1234)
             .member("a.o", "aaaa")
             .build());
    std::vector<SymbolEntry> all = symbols();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_NE(archive->memberAtOffset(all[0].offset), nullptr);
    EXPECT_EQ(archive->memberAtOffset(all[1].offset), nullptr);
    EXPECT_EQ(messages(), errorLine("Symbol table of archive @ appears corrupted.\n|\tA symbol "
                                    "references non-existent member at offset 0x1234"));
}

TEST_F(ArchiveFixture, HugeSizeEndsTheWalkAtThatMember) {
    open(ArchiveBuilder()
             .member("a.o", "a")
             .member("big.o", "bbbb")
             .sizeField("2147483647")
             .member("never.o", "n")
             .build());
    std::vector<std::string> names = memberNames();
    EXPECT_EQ(names, (std::vector<std::string>{"a.o", "big.o"}));
    EXPECT_EQ(archive->memberNamed("big.o")->size, 2147483647u);
}

TEST_F(ArchiveFixture, WalkWithoutContextUsesWhatItReadAndEnds) {
    // A header cut short at the end of the file, and a negative size: with
    // nobody to report to, neither may hang or read astray.
    const Bytes cases[] = {
        ArchiveBuilder().member("a.o", "aa").member("b.o", "bb").truncateTo(8 + 62 + 30).build(),
        ArchiveBuilder().member("a.o", "aa").member("b.o", "bb").sizeField("-62").build(),
        ArchiveBuilder().member("a.o", "aa").terminator("XX").build(),
    };
    const size_t visits[] = {2, 1, 1};
    for (size_t i = 0; i < std::size(cases); ++i) {
        write(cases[i]);
        size_t seen = 0;
        UnixArchive::eachMemberHeader(
            [&](const char *header, uint32_t) {
                EXPECT_EQ(header[60], '\0');
                return ++seen < 10;
            },
            *file, nullptr);
        EXPECT_EQ(seen, visits[i]) << i;
    }
}

// A damaged header is fatal in the first walk that reaches it.
struct DamageCase {
    const char *what;
    Bytes bytes;
    uint32_t offset; // of the damaged header
};

class CorruptHeaderTest : public ::testing::TestWithParam<DamageCase> {};

TEST_P(CorruptHeaderTest, IsFatalWithTheHeadersOffset) {
    const DamageCase &c = GetParam();
    ScratchDir dir;
    std::string path = dir.write("lib.a", c.bytes);
    std::string expected = "[tnm] Fatal Error: Corrupted archive header at offset 0x" +
                           hex(c.offset) + " in " + path + "\n";
    EXPECT_EXIT(
        {
            ErrFormat engine;
            StreamFormatOut out(std::cerr, engine);
            ErrorCounter errors(out, "tnm");
            InputFile file(path.c_str(), nullptr);
            std::unique_ptr<Archive> archive = Archive::open(file, &errors);
            if (archive) archive->eachMember([](const ArchiveMember &) { return true; });
            out.flush();
            exit(0);
        },
        ::testing::ExitedWithCode(1), ::testing::StrEq(expected));
    // Under the silent context the process ends all the same, without a word.
    EXPECT_EXIT(
        {
            NullErrorContext silent;
            InputFile file(path.c_str(), nullptr);
            std::unique_ptr<Archive> archive = Archive::open(file, &silent);
            if (archive) archive->eachMember([](const ArchiveMember &) { return true; });
            exit(0);
        },
        ::testing::ExitedWithCode(1), ::testing::StrEq(""));
}

INSTANTIATE_TEST_SUITE_P(
    Damage, CorruptHeaderTest,
    ::testing::Values(
        DamageCase{"WrongTerminator",
                   ArchiveBuilder().member("a.o", "aa").member("b.o", "b").terminator("`X").build(),
                   8 + 62},
        DamageCase{
            "TerminatorOfSymbolTable",
            ArchiveBuilder().symbolTable({{"f", 0}}).terminator("\n`").member("a", "").build(), 8},
        DamageCase{
            "EndsInsideAHeader",
            ArchiveBuilder().member("a.o", "aa").member("b.o", "b").truncateTo(8 + 62 + 59).build(),
            8 + 62},
        DamageCase{"EndsInsideTheFirstHeader", ArchiveBuilder::bytes("!<arch>\n/               0"),
                   8},
        DamageCase{
            "NegativeSize",
            ArchiveBuilder().member("a.o", "aa").member("b.o", "bb").sizeField("-62").build(),
            8 + 62},
        DamageCase{
            "NegativeSymbolTableSize",
            ArchiveBuilder().symbolTable({{"f", 0}}).sizeField("-3").member("a.o", "a").build(), 8},
        DamageCase{"NegativeLongNameTableSize",
                   ArchiveBuilder()
                       .symbolTable({})
                       .longNameTable()
                       .sizeField("-1")
                       .member("long_member_name_x.o", "a")
                       .build(),
                   8 + 64},
        // The walk for the long-name table reaches the third header already
        // at construction, when the second is a system member.
        DamageCase{"ThirdHeaderAtConstruction",
                   ArchiveBuilder()
                       .symbolTable({})
                       .rawMember("/", Bytes(2, 0))
                       .rawMember("//", Bytes(2, 0))
                       .terminator("  ")
                       .build(),
                   8 + 64 + 62}),
    [](const auto &info) { return std::string(info.param.what); });

} // namespace
