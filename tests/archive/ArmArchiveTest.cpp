// The ARM chunk-file library: both byte orders, the chunk table, the
// directory and symbol entries as the file gives them (lengths that lie,
// indices that point nowhere, names too long), lasting records for the
// lookups, and damaged files read without a crash.
#include "ArchiveFixture.h"

#include "archive/ArmArchive.h"
#include "input/FileIdentity.h"
#include "kit/ChunkLibraryBuilder.h"

namespace {

using Entry = ChunkLibraryBuilder::Entry;
using SymbolRows = std::vector<std::pair<std::string, uint32_t>>;

// The bytes of `chars` and a NUL.
Bytes withNul(const std::string &chars) {
    Bytes data = text(chars);
    data.push_back(0);
    return data;
}

class ArmArchiveTest : public ArchiveFixture {
protected:
    ArmArchive &openArm(const Bytes &bytes) {
        archive = std::make_unique<ArmArchive>(write(bytes), &errors);
        return static_cast<ArmArchive &>(*archive);
    }
    // Each member as "name offset size".
    Names memberRows() {
        Names rows;
        archive->eachMember([&](const ArchiveMember &m) {
            rows.push_back(std::string(m.name) + " " + std::to_string(m.offset) + " " +
                           std::to_string(m.size));
            return true;
        });
        return rows;
    }
};

// Chunks: 0 "LIB_DIRY", 1 and 2 "LIB_DATA", 3 "OFL_SYMT".  The table ends
// at 12 + 4 * 16 = 76 and the directory's two 16-byte entries at 108, where
// a.o's 10 bytes start; padded to 12, they leave b.o's 7 bytes at 120.
ChunkLibraryBuilder twoMembers(bool bigEndian) {
    ChunkLibraryBuilder builder(bigEndian);
    builder.member("a.o", pattern(10))
        .member("b.o", pattern(7))
        .symbol("main", 0)
        .symbol("helper", 1)
        .symbol("util", 1);
    return builder;
}

TEST_F(ArmArchiveTest, ReadsEitherByteOrderOnAnyHost) {
    for (bool bigEndian : {false, true}) {
        SCOPED_TRACE(bigEndian);
        Bytes bytes = twoMembers(bigEndian).build();
        EXPECT_EQ(bytes[0], bigEndian ? 0xC3 : 0xC5);
        ArmArchive &arm = openArm(bytes);
        EXPECT_EQ(arm.archiveKind(), 4);
        EXPECT_EQ(memberRows(), (Names{"a.o 108 10", "b.o 120 7"}));
        // Symbol offsets are those of the members' data.
        EXPECT_EQ(symbols(), (SymbolRows{{"main", 108}, {"helper", 120}, {"util", 120}}));
        ASSERT_NE(arm.memberAtOffset(120), nullptr);
        EXPECT_STREQ(arm.memberAtOffset(120)->name, "b.o");
        EXPECT_EQ(arm.memberAtOffset(120 - 60), nullptr);

        // The file identifies as an ARM library.
        FileIdentity id;
        FileIdentity::identify(id, *file, true);
        EXPECT_EQ(id.kind, armFormat);
        EXPECT_TRUE(id.isArchive);
    }
    EXPECT_EQ(messages(), "");
}

TEST_F(ArmArchiveTest, LookupsGiveRecordsThatOutliveTheWalk) {
    openArm(twoMembers(false).build());
    const ArchiveMember *b = archive->memberNamed("b.o");
    ASSERT_NE(b, nullptr);
    memberRows(); // another walk, whose records come and go
    EXPECT_STREQ(b->name, "b.o");
    EXPECT_EQ(b->offset, 120u);
    EXPECT_EQ(b->size, 7u);
    EXPECT_EQ(archive->memberNamed("b.o"), b);
    EXPECT_EQ(archive->memberAtOffset(120), b);
    // Another lookup leaves the first record alone.
    const ArchiveMember *a = archive->memberNamed("a.o");
    ASSERT_NE(a, nullptr);
    EXPECT_NE(a, b);
    EXPECT_STREQ(a->name, "a.o");
    EXPECT_STREQ(b->name, "b.o");
    EXPECT_EQ(archive->memberNamed("b"), nullptr);
    EXPECT_EQ(archive->memberNamed("b.o2"), nullptr);
    EXPECT_EQ(archive->memberNamed(""), nullptr);

    // The record leads to the member's bytes.
    Bytes read;
    archive->eachMemberChunk(
        [&](const uint8_t *data, uint32_t count) {
            read.insert(read.end(), data, data + count);
            return true;
        },
        *b);
    EXPECT_EQ(read, pattern(7));
}

TEST_F(ArmArchiveTest, TheFirstAndLastDataChunksBoundTheWalk) {
    ChunkLibraryBuilder builder;
    builder.directory()
        .chunk("LIB_TIME", Bytes(8, 1))
        .chunk("LIB_VRSN", Bytes(4, 2))
        .chunk("")
        .chunk("OBJ_HEAD", Bytes(4, 3))
        .member("five.o", pattern(4))
        .member("six.o", pattern(5))
        .member("seven.o", pattern(6))
        .chunk("OFL_TIME", Bytes(8, 4))
        .symbol("in_seven", 2)
        // Entries of other kinds stay zero: a symbol there has offset 0, as
        // has one whose index lies beyond the table.
        .rawSymbolEntry(ChunkLibraryBuilder::entryFor(1, "timed"))
        .rawSymbolEntry(ChunkLibraryBuilder::entryFor(99, "far"));
    ASSERT_EQ(builder.memberChunk(0), 5u);
    openArm(builder.build());
    EXPECT_EQ(memberNames(), (Names{"five.o", "six.o", "seven.o"}));
    EXPECT_EQ(symbols(),
              (SymbolRows{{"in_seven", builder.dataOffset(2)}, {"timed", 0}, {"far", 0}}));
    EXPECT_EQ(archive->memberAtOffset(0), nullptr);

    // Chunks of another kind between the first and last "LIB_DATA" entry
    // are no members; a "LIB_DATA" chunk the directory does not name is.
    openArm(ChunkLibraryBuilder()
                .member("a.o", pattern(4))
                .chunk("LIB_TIME", Bytes(8, 1))
                .chunk("")
                .member("b.o", pattern(4))
                .unnamedMember(pattern(2))
                .build());
    EXPECT_EQ(memberNames(), (Names{"a.o", "b.o", "???"}));
    EXPECT_EQ(archive->memberAtOffset(0), nullptr);
    EXPECT_STREQ(archive->memberNamed("???")->name, "???");

    // No "LIB_DATA" chunk: no members.
    openArm(ChunkLibraryBuilder().chunk("LIB_TIME", Bytes(8, 1)).build());
    EXPECT_EQ(memberNames(), Names{});
    EXPECT_EQ(archive->memberAtOffset(0), nullptr);
    EXPECT_EQ(archive->memberNamed("???"), nullptr);
    EXPECT_EQ(messages(), "");
}

// The directory read entry by entry as the file has it, for two "LIB_DATA"
// chunks at indices 1 and 2 that only these entries name.
TEST_F(ArmArchiveTest, DirectoryEntriesAsTheFileGivesThem) {
    const std::string longName(256, 'n');
    Bytes tooLong(300, 'n');
    const struct {
        std::vector<Entry> entries;
        Names names;
    } cases[] = {
        {{ChunkLibraryBuilder::entryFor(1, "a.o"), ChunkLibraryBuilder::entryFor(2, "b.o")},
         {"a.o", "b.o"}},
        // An index beyond the table, or at a chunk of another kind (0 is the
        // directory), names nothing.
        {{ChunkLibraryBuilder::entryFor(7, "x"), ChunkLibraryBuilder::entryFor(2, "b.o")},
         {"???", "b.o"}},
        {{ChunkLibraryBuilder::entryFor(0, "dir")}, {"???", "???"}},
        {{ChunkLibraryBuilder::entryFor(1, "first"), ChunkLibraryBuilder::entryFor(1, "second")},
         {"second", "???"}},
        // Names end at 256 bytes; the rest of the data is stepped over.
        {{{1, 312, 300, tooLong}, ChunkLibraryBuilder::entryFor(2, "b.o")}, {longName, "b.o"}},
        // The buffer is cleared once per run: data without a NUL, shorter
        // than the name before, reads on into that name.
        {{ChunkLibraryBuilder::entryFor(1, "longname.o"), {2, 14, 2, text("ab")}},
         {"longname.o", "abngname.o"}},
        {{{1, 12, 0, {}}, ChunkLibraryBuilder::entryFor(2, "b.o")}, {"", "b.o"}},
        // Entry lengths end the loop: one that claims more ends it early,
        // however much it claims (the total does not wrap)...
        {{{1, 100, 4, withNul("a.o")}, ChunkLibraryBuilder::entryFor(2, "b.o")}, {"a.o", "???"}},
        {{ChunkLibraryBuilder::entryFor(1, "a.o"),
          {2, 0xFFFFFFF8, 4, withNul("b.o")},
          ChunkLibraryBuilder::entryFor(1, "again")},
         {"a.o", "b.o"}},
        // ...and ones of 0 read on through the file, which ends the loop.
        {{{1, 0, 4, withNul("a.o")}, {2, 0, 4, withNul("b.o")}}, {"a.o", "b.o"}},
        // An entry whose data runs past the end of the file.
        {{ChunkLibraryBuilder::entryFor(1, "a.o"), {2, 16, 0x7FFFFFF0, withNul("b.o")}},
         {"a.o", "b.o"}},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        ChunkLibraryBuilder builder;
        builder.unnamedMember(pattern(8)).unnamedMember(pattern(8));
        for (const Entry &entry : cases[i].entries)
            builder.rawDirectoryEntry(entry);
        openArm(builder.build());
        EXPECT_EQ(memberNames(), cases[i].names);
        EXPECT_EQ(file->status & (InputFile::failBit | InputFile::badBit), 0u);
    }
    EXPECT_EQ(messages(), "");
}

TEST_F(ArmArchiveTest, SymbolTableHoldsWhatItsChunkSizeAllows) {
    // Symbol entries of 16 bytes each whose entry lengths say 0.
    auto library = [](uint32_t chunkSize, int entries) {
        ChunkLibraryBuilder builder;
        builder.member("a.o", pattern(4));
        for (int i = 0; i < entries; ++i)
            builder.rawSymbolEntry({1, 0, 4, withNul("s" + std::to_string(i) + "x")});
        // Chunks: directory, a.o, symbols.
        return builder.chunkPlace(2, builder.chunkOffset(2), chunkSize).build();
    };
    const struct {
        uint32_t chunkSize;
        int entries;
        size_t symbolCount;
    } cases[] = {
        {16, 5, 2},                                // room for 16 / 16 + 1 entries
        {15, 5, 1},         {47, 5, 3}, {0, 5, 0}, // not read at all
        {1000, 2, 2},                              // the file ends first
        {0xFFFFFFFF, 3, 3},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.chunkSize);
        openArm(library(c.chunkSize, c.entries));
        auto table = symbols();
        ASSERT_EQ(table.size(), c.symbolCount);
        for (size_t i = 0; i < table.size(); ++i)
            EXPECT_EQ(table[i],
                      (std::pair<std::string, uint32_t>{"s" + std::to_string(i) + "x",
                                                        archive->memberNamed("a.o")->offset}));
    }
    // Entries that keep to their lengths are read to the chunk's end.
    ChunkLibraryBuilder builder;
    builder.member("a.o", pattern(4));
    for (int i = 0; i < 40; ++i)
        builder.symbol("symbol_" + std::to_string(i), 0);
    openArm(builder.build());
    EXPECT_EQ(symbols().size(), 40u);
    EXPECT_EQ(symbols().back().first, "symbol_39");
}

TEST_F(ArmArchiveTest, ChunkTableDamage) {
    const uint32_t beyond = 0x7FFFFF00;
    const struct {
        Bytes bytes;
        Names members;
        size_t symbolCount;
    } cases[] = {
        {twoMembers(false).chunkCount(1000).build(), {"a.o", "b.o"}, 3},
        {twoMembers(true).chunkCount(0xFFFFFFFF).build(), {"a.o", "b.o"}, 3},
        // The table cut after a.o: the directory's entry for b.o points
        // beyond it, and so does every symbol's of b.o.
        {twoMembers(false).chunkCount(2).build(), {"a.o"}, 0},
        {twoMembers(false).chunkCount(0).build(), {}, 0},
        {twoMembers(false).chunkPlace(0, beyond, 32).build(), {"???", "???"}, 3},
        {twoMembers(false).chunkPlace(3, beyond, 32).build(), {"a.o", "b.o"}, 0},
        {twoMembers(false).chunkPlace(0, 0, 0).build(), {"???", "???"}, 3},
        // A member whose data lies beyond the file is listed all the same:
        // its reader meets the end of the file.
        {twoMembers(false).chunkPlace(2, beyond, 7).build(), {"a.o", "b.o"}, 3},
        // The file ends inside the table: the entries it holds are read.
        {twoMembers(false).truncateTo(12 + 16 * 2 + 5).build(), {"???"}, 0},
        {twoMembers(false).truncateTo(5).build(), {}, 0},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        openArm(cases[i].bytes);
        EXPECT_EQ(memberNames(), cases[i].members);
        EXPECT_EQ(symbols().size(), cases[i].symbolCount);
        EXPECT_EQ(file->status & (InputFile::failBit | InputFile::badBit), 0u);
    }
    // An identifier of neither form is read as little-endian.
    openArm(twoMembers(false).identifierBytes({0, 0, 0, 0}).build());
    EXPECT_EQ(memberNames(), (Names{"a.o", "b.o"}));
    EXPECT_EQ(messages(), "");
}

// Every cut of a library and every byte of its header, table and directory
// set to 0xFF in turn, in both orders: the walks and lookups neither crash
// nor read astray (the sanitizer build watches the reads).
TEST_F(ArmArchiveTest, DamagedFilesNeverCrash) {
    size_t visits = 0;
    auto readAll = [&](const Bytes &bytes) {
        openArm(bytes);
        for (const std::string &name : memberNames())
            visits += archive->memberNamed(name.c_str()) != nullptr;
        for (const auto &[name, offset] : symbols())
            visits += archive->memberAtOffset(offset) != nullptr;
    };
    for (bool bigEndian : {false, true}) {
        const Bytes whole = twoMembers(bigEndian).build();
        for (size_t size = 0; size <= whole.size(); ++size)
            readAll(Bytes(whole.begin(), whole.begin() + long(size)));
        for (size_t at = 0; at < 108; ++at) {
            Bytes damaged = whole;
            damaged[at] = 0xFF;
            readAll(damaged);
        }
    }
    EXPECT_GT(visits, 0u);
    EXPECT_EQ(messages(), "");
}

} // namespace
