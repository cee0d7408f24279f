// What every library offers: the class chosen by the first bytes, members
// looked up by name, opened, and read in chunks; walks ended by the visitor.
#include "ArchiveFixture.h"

#include "input/FileName.h"

namespace {

Bytes chunkFile(const char *firstChunk) {
    // Identifier, maximum, count, then the first chunk's identifier at 12.
    Bytes bytes(40, 0);
    const uint8_t head[] = {0xC5, 0xC6, 0xCB, 0xC3, 1, 0, 0, 0, 1};
    std::copy(std::begin(head), std::end(head), bytes.begin());
    std::copy(firstChunk, firstChunk + 8, bytes.begin() + 12);
    return bytes;
}

TEST_F(ArchiveFixture, OpenChoosesTheClassByTheFirstBytes) {
    // The kind of archive each gives; 0 for none.
    const std::pair<Bytes, uint8_t> cases[] = {
        {ArchiveBuilder().symbolTable({{"f", 0}}).member("a.o", "x").build(), elfArchiveKind},
        {ArchiveBuilder().member("a.o", "xy").build(), elfArchiveKind},
        {text("!<arch>\n"), elfArchiveKind},
        // "__.SYMDEF" makes a BSD library whatever follows those 17 bytes.
        {ArchiveBuilder().rawMember("__.SYMDEF", Bytes(8, 0)).build(), bsdArchiveKind},
        {text("!<arch>\n__.SYMDEFxxxxxxxxxxxxxx"), bsdArchiveKind},
        {chunkFile("LIB_DIRY"), armArchiveKind},
        {chunkFile("OBJ_HEAD"), 0},
        {text("just some words of text, long enough\n"), 0},
        {text("!<arch"), 0},
        {Bytes{}, 0},
    };
    for (const auto &[bytes, kind] : cases) {
        bool accepted = kind != 0;
        log.str("");
        open(bytes, false); // no context: no words either way
        EXPECT_EQ(archive != nullptr, accepted) << messages();
        EXPECT_EQ(messages(), "");
        ASSERT_EQ(open(bytes) != nullptr, accepted);
        if (accepted) {
            EXPECT_EQ(archive->archiveKind(), kind);
            EXPECT_EQ(archive->fileName().displayName(), path);
        } else {
            EXPECT_EQ(messages(), line("@ isn't of a recognizable archive format."));
        }
    }
}

TEST_F(ArchiveFixture, MemberNamedGivesTheFirstOfEqualNames) {
    open(ArchiveBuilder().member("a.o", "1").member("b.o", "22").member("a.o", "333").build());
    ASSERT_NE(archive->memberNamed("a.o"), nullptr);
    EXPECT_EQ(archive->memberNamed("a.o")->size, 1u);
    EXPECT_EQ(archive->memberNamed("b.o")->size, 2u);
    for (const char *missing : {"A.o", "a", "a.o ", ""})
        EXPECT_EQ(archive->memberNamed(missing), nullptr) << missing;
    EXPECT_EQ(messages(), line("W:Archive @ lacks a symbol table."));
}

TEST_F(ArchiveFixture, OpenMemberGivesTheBytesUnderTheMembersName) {
    Bytes inner = ArchiveBuilder().member("x.o", pattern(11)).build();
    open(ArchiveBuilder().member("a.o", "outer").member("inner.a", inner).build());
    std::unique_ptr<InputFile> innerFile =
        archive->openMember(*archive->memberNamed("inner.a"), &errors);
    ASSERT_NE(innerFile, nullptr);
    EXPECT_EQ(innerFile->length, inner.size());
    std::unique_ptr<Archive> nested = Archive::open(*innerFile, &errors);
    ASSERT_NE(nested, nullptr);
    std::unique_ptr<InputFile> x = nested->openMember(*nested->memberNamed("x.o"), nullptr);
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->fileName.displayName(), path + "(inner.a)(x.o)");
    Bytes got(12, 0);
    EXPECT_EQ(x->readCount(got.data(), 12), 11u);
    got.resize(11);
    EXPECT_EQ(got, pattern(11));
    EXPECT_EQ(messages(), line("W:Archive @ lacks a symbol table.") +
                              line("W:Archive @(inner.a) lacks a symbol table."));
}

TEST_F(ArchiveFixture, MemberChunksAreAtMost0x1000) {
    struct Case {
        uint32_t size, claimed; // data written, size field (0: the same)
        std::vector<uint32_t> counts;
    };
    const Case cases[] = {{0, 0, {}},
                          {1, 0, {1}},
                          {0x1000, 0, {0x1000}},
                          {0x1001, 0, {0x1000, 1}},
                          {0x2345, 0, {0x1000, 0x1000, 0x345}},
                          // Past the end of the file the counts follow the header.
                          {10, 5000, {0x1000, 5000 - 0x1000}}};
    for (const Case &c : cases) {
        ArchiveBuilder builder;
        builder.member("before.o", "b").member("m.o", pattern(c.size));
        if (c.claimed) builder.sizeField(std::to_string(c.claimed));
        open(builder.build());
        std::vector<uint32_t> counts;
        Bytes joined;
        archive->eachMemberChunk(
            [&](const uint8_t *data, uint32_t count) {
                counts.push_back(count);
                joined.insert(joined.end(), data, data + count);
                return true;
            },
            *archive->memberNamed("m.o"));
        EXPECT_EQ(counts, c.counts) << c.size;
        joined.resize(c.size);
        EXPECT_EQ(joined, pattern(c.size));
    }
}

TEST_F(ArchiveFixture, VisitorsEndWalksAndTheNextWalkStartsAfresh) {
    open(ArchiveBuilder()
             .symbolTable({{"f", 0}, {"g", 1}})
             .member("a.o", "1")
             .member("b.o", "2")
             .member("c.o", "3")
             .build());
    Names seen;
    archive->eachMember([&](const ArchiveMember &member) {
        seen.push_back(member.name);
        return seen.size() < 2;
    });
    EXPECT_EQ(seen, (Names{"a.o", "b.o"}));
    EXPECT_EQ(memberNames(), (Names{"a.o", "b.o", "c.o"}));
    int calls = 0;
    archive->eachSymbol([&](const ArchiveSymbol &) { return ++calls < 0; });
    archive->eachMemberChunk([&](const uint8_t *, uint32_t) { return ++calls < 0; },
                             *archive->memberNamed("a.o"));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(symbols().size(), 2u);
    EXPECT_EQ(messages(), "");
}

} // namespace
