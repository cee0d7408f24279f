// The operations every library offers: choosing the class by the first
// bytes, looking members up, opening them and reading them in chunks.

#include "ArchiveFixture.h"

#include "input/FileName.h"

#include <cstring>

namespace {

using Bytes = ArchiveBuilder::Bytes;

Bytes chunkFile(const char *firstChunk) {
    // A chunk-file header: identifier, maximum, count, then a chunk entry
    // whose identifier starts at offset 12.
    Bytes bytes = {0xC5, 0xC6, 0xCB, 0xC3, 1, 0, 0, 0, 1, 0, 0, 0};
    for (const char *p = firstChunk; *p; ++p)
        bytes.push_back(uint8_t(*p));
    bytes.resize(40, 0);
    return bytes;
}

struct OpenCase {
    const char *what;
    Bytes bytes;
    bool accepted;
};

class ArchiveOpenTest : public ArchiveFixture, public ::testing::WithParamInterface<OpenCase> {};

TEST_P(ArchiveOpenTest, ChoosesTheClassByTheFirstBytes) {
    const OpenCase &c = GetParam();
    Archive *opened = open(c.bytes);
    if (c.accepted) {
        ASSERT_NE(opened, nullptr);
        EXPECT_EQ(opened->archiveKind(), elfArchiveKind);
        EXPECT_STREQ(opened->fileName().displayName(), path.c_str());
    } else {
        EXPECT_EQ(opened, nullptr);
        EXPECT_EQ(messages(), errorLine("@ isn't of a recognizable archive format."));
        EXPECT_EQ(errors.errorCount, 1);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, ArchiveOpenTest,
    ::testing::Values(
        OpenCase{"SystemV", ArchiveBuilder().symbolTable({{"f", 0}}).member("a.o", "x").build(),
                 true},
        OpenCase{"NoSymbolTable", ArchiveBuilder().member("a.o", "xy").build(), true},
        // The BSD form shares the magic; it has no reader in this build.
        OpenCase{"BsdSymdef", ArchiveBuilder().rawMember("__.SYMDEF", Bytes(8, 0)).build(), false},
        OpenCase{"BsdPrefixOnly", ArchiveBuilder::bytes("!<arch>\n__.SYMDEFxxxxxxxxxxxxxx"), false},
        OpenCase{"ArmLibrary", chunkFile("LIB_DIRY"), false},
        OpenCase{"ArmObject", chunkFile("OBJ_HEAD"), false},
        OpenCase{"Text", ArchiveBuilder::bytes("just some words of text, long enough\n"), false},
        OpenCase{"MagicCutShort", ArchiveBuilder::bytes("!<arch"), false},
        OpenCase{"Empty", Bytes{}, false}),
    [](const auto &info) { return std::string(info.param.what); });

TEST_F(ArchiveFixture, UnrecognisedFileWithoutContextIsSilent) {
    EXPECT_EQ(open(ArchiveBuilder::bytes("not a library at all, no no no\n"), false), nullptr);
    EXPECT_EQ(messages(), "");
}

TEST_F(ArchiveFixture, BareMagicOfEightBytesIsAnArchive) {
    // Identification calls so short a file text; the class choice only asks
    // for the eight bytes.
    ASSERT_NE(open(ArchiveBuilder::bytes("!<arch>\n")), nullptr);
    EXPECT_TRUE(memberNames().empty());
}

TEST_F(ArchiveFixture, MemberNamedGivesTheFirstOfEqualNames) {
    open(ArchiveBuilder()
             .member("a.o", "1")
             .member("b.o", "22")
             .member("a.o", "333")
             .member("ab.o", "4444")
             .build());
    const ArchiveMember *first = archive->memberNamed("a.o");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->size, 1u);
    ASSERT_NE(archive->memberNamed("ab.o"), nullptr);
    EXPECT_EQ(archive->memberNamed("ab.o")->size, 4u);
    // Case matters, and a prefix is not the name.
    EXPECT_EQ(archive->memberNamed("A.o"), nullptr);
    EXPECT_EQ(archive->memberNamed("a"), nullptr);
    EXPECT_EQ(archive->memberNamed(""), nullptr);
    EXPECT_EQ(messages(), warningLine("Archive @ lacks a symbol table."));
}

TEST_F(ArchiveFixture, OpenMemberReadsTheMembersBytesUnderItsName) {
    Bytes body = pattern(37);
    open(ArchiveBuilder().member("first.o", "zz").member("second.o", body).build());
    const ArchiveMember *member = archive->memberNamed("second.o");
    ASSERT_NE(member, nullptr);
    std::unique_ptr<InputFile> memberFile = archive->openMember(*member, &errors);
    ASSERT_NE(memberFile, nullptr);
    EXPECT_EQ(std::string(memberFile->fileName.displayName()), path + "(second.o)");
    EXPECT_EQ(memberFile->length, 37u);
    Bytes got(40, 0);
    EXPECT_EQ(memberFile->readCount(got.data(), 40), 37u);
    got.resize(37);
    EXPECT_EQ(got, body);
}

TEST_F(ArchiveFixture, NestedLibraryShowsBothNames) {
    Bytes inner = ArchiveBuilder().member("x.o", "inner bytes").build();
    open(ArchiveBuilder().member("a.o", "outer").member("inner.a", inner).build());
    const ArchiveMember *member = archive->memberNamed("inner.a");
    ASSERT_NE(member, nullptr);
    std::unique_ptr<InputFile> innerFile = archive->openMember(*member, nullptr);
    ASSERT_NE(innerFile, nullptr);
    std::unique_ptr<Archive> nested = Archive::open(*innerFile, &errors);
    ASSERT_NE(nested, nullptr);
    const ArchiveMember *x = nested->memberNamed("x.o");
    ASSERT_NE(x, nullptr);
    std::unique_ptr<InputFile> xFile = nested->openMember(*x, nullptr);
    ASSERT_NE(xFile, nullptr);
    EXPECT_EQ(std::string(xFile->fileName.displayName()), path + "(inner.a)(x.o)");
    char text[12] = {};
    EXPECT_EQ(xFile->readCount(text, 11), 11u);
    EXPECT_STREQ(text, "inner bytes");
    EXPECT_EQ(messages(), warningLine("Archive @ lacks a symbol table.") +
                              warningLine("Archive @(inner.a) lacks a symbol table."));
}

struct ChunkCase {
    uint32_t size;
    std::vector<uint32_t> counts;
};

class MemberChunkTest : public ArchiveFixture, public ::testing::WithParamInterface<ChunkCase> {};

TEST_P(MemberChunkTest, ChunksOfAtMost0x1000) {
    const ChunkCase &c = GetParam();
    Bytes body = pattern(c.size);
    open(ArchiveBuilder().member("before.o", "b").member("m.o", body).member("z.o", "9").build());
    std::vector<uint32_t> counts;
    Bytes joined;
    archive->eachMemberChunk(
        [&](const uint8_t *data, uint32_t count) {
            counts.push_back(count);
            joined.insert(joined.end(), data, data + count);
            return true;
        },
        *archive->memberNamed("m.o"));
    EXPECT_EQ(counts, c.counts);
    EXPECT_EQ(joined, body);
}

INSTANTIATE_TEST_SUITE_P(Sizes, MemberChunkTest,
                         ::testing::Values(ChunkCase{0, {}}, ChunkCase{1, {1}},
                                           ChunkCase{0x1000, {0x1000}},
                                           ChunkCase{0x1001, {0x1000, 1}},
                                           ChunkCase{0x2345, {0x1000, 0x1000, 0x345}}));

TEST_F(ArchiveFixture, ChunksOfAMemberPastTheEndAreTheCountsAsked) {
    // The header claims more than the file holds: the counts follow the
    // claim, and the bytes the file has come first.
    open(ArchiveBuilder().member("m.o", pattern(10)).sizeField("5000").build());
    const ArchiveMember *member = archive->memberNamed("m.o");
    ASSERT_NE(member, nullptr);
    std::vector<uint32_t> counts;
    Bytes firstBytes;
    archive->eachMemberChunk(
        [&](const uint8_t *data, uint32_t count) {
            if (counts.empty()) firstBytes.assign(data, data + 10);
            counts.push_back(count);
            return true;
        },
        *member);
    EXPECT_EQ(counts, (std::vector<uint32_t>{0x1000, 5000 - 0x1000}));
    EXPECT_EQ(firstBytes, pattern(10));
}

TEST_F(ArchiveFixture, VisitorsEndWalksAndTheNextWalkStartsAfresh) {
    open(ArchiveBuilder()
             .symbolTable({{"f", 0}, {"g", 1}, {"h", 2}})
             .member("a.o", "1")
             .member("b.o", "2")
             .member("c.o", "3")
             .build());
    std::vector<std::string> seen;
    archive->eachMember([&](const ArchiveMember &member) {
        seen.push_back(member.name);
        return seen.size() < 2;
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"a.o", "b.o"}));
    EXPECT_EQ(memberNames(), (std::vector<std::string>{"a.o", "b.o", "c.o"}));

    std::vector<std::string> names;
    archive->eachSymbol([&](const ArchiveSymbol &symbol) {
        names.push_back(symbol.name);
        return false;
    });
    EXPECT_EQ(names, std::vector<std::string>{"f"});

    int chunks = 0;
    archive->eachMemberChunk(
        [&](const uint8_t *, uint32_t) {
            ++chunks;
            return false;
        },
        *archive->memberNamed("a.o"));
    EXPECT_EQ(chunks, 1);
    EXPECT_EQ(messages(), "");
}

} // namespace
