// The "!<arch>\n" container: header fields, the walk over the headers with its
// padding, the member list, the lookup by header offset, damaged headers.
#include "ArchiveFixture.h"

#include "archive/UnixArchive.h"

#include <iostream>

namespace {

TEST(HeaderNumber, ReadsTheTextTheClassicWay) {
    struct Case {
        const char *text;
        uint32_t base;
        int32_t value;
        bool sawDigit;
    };
    const Case cases[] = {
        {"1234      ", 10, 1234, true}, {"\t\n 7", 10, 7, true},
        {"-5", 10, -5, true},           {"+8", 10, 8, true},
        {"12ab", 10, 12, true},         {"0x10", 10, 0, true},
        {"    ", 10, 0, false},         {"-", 10, 0, false},
        {"abc", 10, 0, false},          {"100644  ", 8, 0100644, true},
        {"7789", 8, 077, true},         {"8", 8, 0, false},
        {"          33", 10, 33, true}, // a blank field reads on into the next
        {"4294967297", 10, 1, true},    {"2147483648", 10, INT32_MIN, true}, // 32 bits wide
    };
    for (const Case &c : cases) {
        bool sawDigit = !c.sawDigit;
        EXPECT_EQ(archive_header::number(c.text, 0, c.base, &sawDigit), c.value) << c.text;
        EXPECT_EQ(sawDigit, c.sawDigit) << c.text;
    }
    EXPECT_EQ(archive_header::number("xx99", 2, 10), 99);
}

TEST_F(ArchiveFixture, MembersCarryTheirHeaderFieldsAndSkipPadBytes) {
    ArchiveBuilder builder;
    builder.symbolTable({{"f", 3}})
        .member("a.o", "abc")
        .dateField("1700000000")
        .uidField("501")
        .gidField("20")
        .modeField("100755")
        .padByte('X')
        .member("b.o", "defg")
        .member("c.o", "h")
        .padByte(0)
        .member("d.o", "ijk")
        .noPad(); // the file ends right behind an odd member
    open(builder.build());
    std::vector<const ArchiveMember *> records;
    Names rows;
    archive->eachMember([&](const ArchiveMember &m) {
        records.push_back(&m);
        char row[100];
        snprintf(row, sizeof row, "%s %u %u %d %d %d %o", m.name, m.size, m.offset, m.date, m.uid,
                 m.gid, m.mode);
        rows.push_back(row);
        return true;
    });
    // The table's 10 bytes end at 78; each member's data lies 60 behind its
    // header, and an odd size is followed by a pad byte, whatever it holds.
    EXPECT_EQ(rows, (Names{"a.o 3 138 1700000000 501 20 100755", "b.o 4 202 0 0 0 644",
                           "c.o 1 266 0 0 0 644", "d.o 3 328 0 0 0 644"}));
    EXPECT_EQ(symbols(),
              (std::vector<std::pair<std::string, uint32_t>>{{"f", builder.headerOffset(3)}}));
    EXPECT_EQ(messages(), "");
    // The walk ended at the end without a failed seek, whose bits would stay.
    EXPECT_EQ(file->status & (InputFile::failBit | InputFile::badBit), 0u);
    // The list is made once: a second walk hands out the same records.
    EXPECT_EQ(archive->memberNamed("d.o"), records[3]);
}

TEST_F(ArchiveFixture, SystemMembersAreSkippedLongNamesAreNot) {
    open(ArchiveBuilder()
             .symbolTable({})
             .rawMember("/", Bytes(4, 0))
             .rawMember("/SYM64/", Bytes(8, 0))
             .rawMember("//", text("x/\n"))
             .member("kept.o", "k")
             .rawMember("/7", text("long"))
             .build());
    Names names = memberNames();
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0], "kept.o");
    // No long-name table in second or third place: the header's own text.
    EXPECT_EQ(names[1].substr(0, 17), "/7              0");
}

TEST_F(ArchiveFixture, MemberAtOffsetTakesTheHeadersOffset) {
    ArchiveBuilder builder;
    builder.symbolTable({{"f", 0}, {"g", 0}})
        .symbolOffset(1, 0x1234)
        .member("a.o", "aaaa")
        .member("b.o", "bb")
        .member("c.o", "c");
    open(builder.build());
    for (uint32_t i = 0; i < 3; ++i) {
        ASSERT_NE(archive->memberAtOffset(builder.headerOffset(i)), nullptr) << i;
        EXPECT_EQ(archive->memberAtOffset(builder.headerOffset(i))->offset, builder.dataOffset(i));
    }
    EXPECT_EQ(messages(), "");
    auto table = symbols();
    EXPECT_NE(archive->memberAtOffset(table[0].second), nullptr);
    EXPECT_EQ(archive->memberAtOffset(table[1].second), nullptr);
    EXPECT_EQ(archive->memberAtOffset(builder.dataOffset(1)), nullptr);
    const std::string lost = "Symbol table of archive @ appears corrupted.\n|\tA symbol references "
                             "non-existent member at offset 0x";
    EXPECT_EQ(messages(), line(lost + "1234") + line(lost + hex(builder.dataOffset(1))));
    EXPECT_EQ(errors.errorCount, 2);
}

TEST_F(ArchiveFixture, WalkWithoutContextUsesWhatItReadAndEnds) {
    // Cut headers, negative and huge sizes: nobody to tell, and neither a
    // hang nor a read astray.
    const std::pair<Bytes, size_t> cases[] = {
        {ArchiveBuilder().member("a.o", "aa").member("b.o", "bb").truncateTo(100).build(), 2},
        {ArchiveBuilder().member("a.o", "aa").member("b.o", "bb").sizeField("-62").build(), 1},
        {ArchiveBuilder().member("a.o", "aa").terminator("XX").member("b.o", "b").build(), 2},
        {ArchiveBuilder().member("a.o", "a").sizeField("2147483647").member("b.o", "").build(), 1},
    };
    for (const auto &[bytes, visits] : cases) {
        write(bytes);
        size_t seen = 0;
        UnixArchive::eachMemberHeader(
            [&](const char *header, uint32_t) {
                EXPECT_EQ(header[60], '\0');
                return ++seen < 10;
            },
            *file, nullptr);
        EXPECT_EQ(seen, visits);
    }
}

// A damaged header is fatal in the first walk that reaches it, also under
// the silent context, which ends the process without a word.
TEST(ArchiveDeathTest, CorruptHeaderIsFatalWithItsOffset) {
    const std::pair<Bytes, uint32_t> cases[] = {
        {ArchiveBuilder().member("a.o", "aa").member("b", "b").terminator("`X").build(), 70},
        {ArchiveBuilder().symbolTable({}).terminator("\n`").member("a", "").build(), 8},
        {ArchiveBuilder().member("a.o", "aa").member("b.o", "b").truncateTo(129).build(), 70},
        {text("!<arch>\n/               0"), 8},
        {ArchiveBuilder().member("a.o", "aa").member("b.o", "b").sizeField("-62").build(), 70},
        {ArchiveBuilder().symbolTable({}).sizeField("-3").member("a.o", "a").build(), 8},
        {ArchiveBuilder().symbolTable({}).longNameTable().sizeField("-1").build(), 72},
        // At construction the search for the long-name table reaches the
        // third header when the second is a system member.
        {ArchiveBuilder()
             .symbolTable({})
             .rawMember("/", Bytes(2, 0))
             .rawMember("//", Bytes(2, 0))
             .terminator("  ")
             .build(),
         134},
    };
    ErrFormat engine;
    StreamFormatOut out(std::cerr, engine);
    ErrorCounter errors(out, "tnm");
    NullErrorContext silent;
    for (const auto &[bytes, offset] : cases) {
        ScratchDir dir;
        std::string path = dir.write("lib.a", bytes);
        auto walk = [&](ErrorContext &context) {
            InputFile file(path.c_str(), nullptr);
            if (std::unique_ptr<Archive> archive = Archive::open(file, &context))
                archive->eachMember([](const ArchiveMember &) { return true; });
            exit(0);
        };
        EXPECT_EXIT(walk(errors), ::testing::ExitedWithCode(1),
                    ::testing::StrEq("[tnm] Fatal Error: Corrupted archive header at offset 0x" +
                                     hex(offset) + " in " + path + "\n"));
        EXPECT_EXIT(walk(silent), ::testing::ExitedWithCode(1), ::testing::StrEq(""));
    }
}

} // namespace
