// Reading AOF files: the chunk table, the string and symbol tables, the
// object header with its areas and where each area's bytes and relocations
// lie, the flags worked out from the areas, and every message of a damaged
// file, each in both byte orders.
#include "AofTestSupport.h"

#include "input/FileIdentity.h"
#include "kit/RelocationChecks.h"

#include <functional>

namespace {

// A small sound file: a code area with two relocations, a zero-initialised
// area that takes no room, and a data area behind it.
AofBuilder sample(AofBuilder::Order order) {
    AofBuilder aof(order);
    aof.area("C$$code", AofBuilder::code | AofBuilder::readOnly | 2,
             {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}, {{4, 0x0A000001}, {0, 0x03000002}},
             0x8000);
    aof.zeroArea("C$$zidata", 2, 0x100);
    aof.area("C$$data", 2, {0xAA, 0xBB, 0xCC, 0xDD}, {{0, 0x02000000}});
    aof.symbol("main", 0x03, 0, "C$$code");
    aof.symbol("counter", 0x01, 4, "C$$zidata");
    aof.symbol("printf", 0x02, 0);
    return aof;
}

// Each area as "name size=N bytes=.. relocs=offset:flags,..", each symbol
// as "name attributes value", one line each, with the object header first.
std::string tablesOf(ArmObjectFileInput &object) {
    const AOFObjHeader &h = object.objectHeader();
    std::string text = formatText("type=%x version=%u areas=%u symbols=%u\n", h.objectFileType,
                                  h.version, h.areaCount, h.symbolCount);
    for (uint32_t i = 0; ArmInputSection *area = object.areaAt(i); ++i) {
        text += formatText("%s size=%u bytes=", area->name(), area->size());
        for (uint32_t b = 0; b < area->dataSize(); ++b)
            text += formatText("%02x", area->data()[b]);
        text += " relocs=";
        for (uint32_t r = 0; r < area->relocationRecordCount(); ++r)
            text += formatText("%x:%08x,", area->relocationRecords()[r].offset,
                               area->relocationRecords()[r].flags);
        text += "\n";
    }
    for (uint32_t i = 0; ArmSymbol *symbol = object.symbolAt(i); ++i)
        text +=
            formatText("%s %x %x\n", symbol->name(), symbol->record().attributes, symbol->value());
    return text;
}

TEST_F(AofTest, SoundFileInEitherByteOrder) {
    // The zero-initialised area takes no room, so the data area's bytes
    // stand right behind the code area's bytes and its two relocations.
    const std::string expected = "type=c5e2d080 version=310 areas=3 symbols=3\n"
                                 "C$$code size=8 bytes=0102030405060708 "
                                 "relocs=4:0a000001,0:03000002,\n"
                                 "C$$zidata size=256 bytes= relocs=\n"
                                 "C$$data size=4 bytes=aabbccdd relocs=0:02000000,\n"
                                 "main 3 0\n"
                                 "counter 1 4\n"
                                 "printf 2 0\n";
    for (auto order : bothOrders) {
        AofBuilder aof = sample(order);
        LoadedAof loaded = load(aof.build());
        ASSERT_TRUE(loaded.object) << errors.lines;
        FileIdentity id;
        FileIdentity::identify(id, *loaded.file, false);
        EXPECT_EQ(id.kind, armFormat) << order;
        EXPECT_FALSE(id.isArchive) << order;
        ArmObjectFileInput &object = *loaded.object;
        EXPECT_EQ(tablesOf(object), expected) << order;
        EXPECT_EQ(errors.lines, "");
        EXPECT_EQ(object.isLittleEndian(), order == AofBuilder::littleEndian);
        EXPECT_EQ(object.sectionCount(), 3u);
        EXPECT_EQ(object.symbolCount(), 3u);
        EXPECT_EQ(object.areaAt(1)->data(), nullptr);

        // Lookups by offset and their bounds.
        EXPECT_EQ(object.areaAt(3), nullptr);
        EXPECT_EQ(object.symbolAt(3), nullptr);
        EXPECT_STREQ(object.stringAt(aof.string("counter") + 3), "nter");
        EXPECT_EQ(object.reservedArmOperation(), 0u);
        EXPECT_EQ(object.areaWithNameOffset(aof.string("C$$data")), object.areaAt(2));
        EXPECT_EQ(object.areaWithNameOffset(aof.string("main")), nullptr);
    }
}

TEST_F(AofTest, StringTableBounds) {
    for (auto order : bothOrders) {
        AofBuilder aof(order);
        aof.symbol("last", 0x03, 0);
        const uint32_t size = aof.string("last") + 5;
        LoadedAof loaded = load(aof.build());
        ASSERT_TRUE(loaded.object);
        EXPECT_STREQ(loaded.object->stringAt(size - 1), "");
        EXPECT_EQ(loaded.object->stringAt(size), nullptr);
        EXPECT_EQ(loaded.object->stringAt(0xFFFFFFFF), nullptr);

        // A table whose last name lacks its NUL still gives a terminated text.
        AofBuilder open(order);
        open.symbol("last", 0x03, 0);
        open.unterminatedStrings();
        LoadedAof cut = load(open.build());
        ASSERT_TRUE(cut.object);
        EXPECT_STREQ(cut.object->symbolAt(0)->name(), "last");
        EXPECT_EQ(cut.object->stringAt(size - 1), nullptr);

        // A table of size zero gives no names at all.
        AofBuilder empty(order);
        empty.area("C$$code", AofBuilder::code, {1, 2, 3, 4});
        empty.symbol("main", 0x03, 0, "C$$code");
        empty.chunkSize("OBJ_STRT", 0);
        LoadedAof none = load(empty.build());
        ASSERT_TRUE(none.object);
        EXPECT_EQ(errors.lines, "");
        EXPECT_EQ(none.object->stringAt(0), nullptr);
        EXPECT_EQ(none.object->symbolAt(0)->name(), nullptr);
        EXPECT_EQ(none.object->areaAt(0)->name(), nullptr);
    }
}

// Different areas leave the ELF flags image and the reentrant flag as these
// rows say.
TEST_F(AofTest, FlagsWorkedOutFromTheAreas) {
    struct Row {
        std::vector<uint32_t> attributes;
        uint32_t flags;
        bool reentrant;
    } rows[] = {
        {{}, 0x40, false},
        {{0}, 0x20, false},
        {{0, 0}, 0x40, false},
        {{0, 0, 0}, 0x20, false},
        {{AofBuilder::keepsFlags}, 0x40, false},
        {{AofBuilder::keepsFlags, 0}, 0x20, false},
        {{AofBuilder::reentrant | AofBuilder::keepsFlags}, 0x40, true},
        {{0, AofBuilder::reentrant}, 0x40, true},
    };
    for (auto order : bothOrders) {
        for (const Row &row : rows) {
            AofBuilder aof(order);
            for (uint32_t attributes : row.attributes)
                aof.area("A" + std::to_string(attributes), attributes, {0, 0, 0, 0});
            LoadedAof loaded = load(aof.build());
            ASSERT_TRUE(loaded.object);
            ArmObjectFileInput &object = *loaded.object;
            EXPECT_EQ(object.elfFlags(), row.flags) << row.attributes.size();
            EXPECT_EQ(object.isReentrant(), row.reentrant) << row.attributes.size();
            const Elf32_Ehdr &image = *object.elfHeader();
            EXPECT_TRUE(image.e_machine == 0x28 && image.e_type == 0 && image.e_entry == 0 &&
                        image.e_ident[0] == 0);
        }
    }
}

// Files that lack chunks, or have chunks of odd sizes, that are still sound.
TEST_F(AofTest, MissingAndOddChunks) {
    struct Row {
        const char *what;
        std::function<void(AofBuilder &)> change;
        uint32_t symbols;
        uint32_t areas;
        std::string reports;
    } rows[] = {
        {"no symbol table", [](AofBuilder &a) { a.without("OBJ_SYMT"); }, 0, 1, ""},
        {"no object header", [](AofBuilder &a) { a.without("OBJ_HEAD"); }, 2, 0, ""},
        {"no area chunk, an empty area",
         [](AofBuilder &a) {
             a.without("OBJ_AREA");
             a.areaField(0, AofBuilder::areaSize, 0);
         },
         2, 1, ""},
        {"symbol table of a size not a multiple of 16", [](AofBuilder &a) { a.symbolPadding(15); },
         2, 1, ""},
        {"object header of 4 extra bytes", [](AofBuilder &a) { a.headPadding(4); }, 2, 1, ""},
        {"object header of 16 extra bytes", [](AofBuilder &a) { a.headPadding(16); }, 2, 1, ""},
        {"a sixth kind of chunk",
         [](AofBuilder &a) {
             a.extraChunk("OBJ_XTRAMORE", {1, 2, 3, 4});
         },
         2, 1, "warning: AOF area 'OBJ_XTRA' ignored.\n\n"},
        {"two unknown chunks",
         [](AofBuilder &a) {
             a.extraChunk("LIB_DATA", {});
             a.extraChunk("X", {});
         },
         2, 1, "warning: AOF area 'LIB_DATA' ignored.\n\nwarning: AOF area 'X' ignored.\n\n"},
    };
    for (auto order : bothOrders) {
        for (const Row &row : rows) {
            AofBuilder aof(order);
            aof.area("C$$code", AofBuilder::code, {1, 2, 3, 4});
            aof.symbol("main", 0x03, 0, "C$$code");
            aof.symbol("exit", 0x02, 0);
            row.change(aof);
            std::string reports = reportsOf(aof.build());
            LoadedAof loaded = load(aof.build());
            ASSERT_TRUE(loaded.object) << row.what << ": " << errors.lines;
            EXPECT_EQ(reports, row.reports) << row.what;
            EXPECT_EQ(loaded.object->symbolCount(), row.symbols) << row.what;
            EXPECT_EQ(loaded.object->sectionCount(), row.areas) << row.what;
        }
    }
}

// Every message of a damaged file, from the first read to the relocations
// of an area.
TEST_F(AofTest, DamagedFiles) {
    const uint32_t far = 0x7FFFFFF0;
    auto fileOf = [](AofBuilder::Order order, std::function<void(AofBuilder &)> change) {
        AofBuilder aof(order);
        aof.area("C$$codeLong", AofBuilder::code, {1, 2, 3, 4, 5, 6, 7, 8}, {{0, 0x0A000000}});
        aof.area("C$$data", 0, {1, 2, 3, 4});
        aof.symbol("main", 0x03, 0, "C$$codeLong");
        change(aof);
        return aof.build();
    };
    const std::string unreadable = "fatal: File test.o appears unreadable or badly truncated\n";
    const std::string symbols = "fatal: file test.o: can't read symbol table.\n";
    const std::string header = "fatal: file test.o: can't read AOFObjHeader table.\n";
    const std::string bogus = "fatal: bogus AOFObjHeader.\n\n";
    const std::string data = "fatal: Can't read data of area C$$codeL in file test.o\n";
    const std::string relocs = "fatal: Can't read reloc table of section C$$codeL in file test.o\n";
    struct Row {
        const char *what;
        std::function<void(AofBuilder &)> change;
        std::string reports;
    } rows[] = {
        {"chunk table beyond the file", [](AofBuilder &a) { a.chunkCount(40); }, unreadable},
        {"huge chunk count", [](AofBuilder &a) { a.chunkCount(0xFFFFFFFF); }, unreadable},
        {"string table beyond the file", [&](AofBuilder &a) { a.chunkOffset("OBJ_STRT", far); },
         "fatal: In file test.o: string table appears to be truncated (size=29).\n"},
        {"string table running past the end",
         [](AofBuilder &a) { a.chunkSize("OBJ_STRT", 0x7FFFFFFF); },
         "fatal: In file test.o: string table appears to be truncated (size=2147483647).\n"},
        {"symbol table beyond the file", [&](AofBuilder &a) { a.chunkOffset("OBJ_SYMT", far); },
         symbols},
        {"symbol table running past the end",
         [](AofBuilder &a) { a.chunkSize("OBJ_SYMT", 0xFFFFFFF0); }, symbols},
        {"object header of 27 bytes", [](AofBuilder &a) { a.chunkSize("OBJ_HEAD", 27); },
         "fatal: incorrect AOFObjHeader size.\n\n"},
        {"object header beyond the file", [&](AofBuilder &a) { a.chunkOffset("OBJ_HEAD", far); },
         header},
        {"object header running past the end",
         [](AofBuilder &a) { a.chunkSize("OBJ_HEAD", 0xFFFFFFF0); }, header},
        {"wrong object file type", [](AofBuilder &a) { a.objectType(0xC5E2D081); }, bogus},
        {"object header too small for its fields",
         [](AofBuilder &a) { a.chunkSize("OBJ_HEAD", 20); }, bogus},
        {"empty object header", [](AofBuilder &a) { a.chunkSize("OBJ_HEAD", 0); }, bogus},
        {"one area too many", [](AofBuilder &a) { a.areaCount(3); },
         "fatal: bogus AOF area count\n\n"},
        {"one area too few", [](AofBuilder &a) { a.areaCount(1); },
         "fatal: bogus AOF area count\n\n"},
        {"area contents beyond the file", [&](AofBuilder &a) { a.chunkOffset("OBJ_AREA", far); },
         data},
        {"area larger than the file",
         [](AofBuilder &a) { a.areaField(0, AofBuilder::areaSize, 0xFFFFFFF0); }, data},
        {"second area pushed past the end",
         [](AofBuilder &a) {
             // The first area's bytes reach to the end of the file.
             const uint32_t rest = uint32_t(a.build().size()) - a.offsetOf("OBJ_AREA");
             a.areaField(0, AofBuilder::areaSize, rest);
             a.areaField(0, AofBuilder::areaRelocationCount, 0);
         },
         "fatal: Can't read data of area C$$data in file test.o\n"},
        {"relocations beyond the file",
         [](AofBuilder &a) { a.areaField(0, AofBuilder::areaRelocationCount, 0x20000000); },
         relocs},
        {"area without a name",
         [](AofBuilder &a) {
             a.areaField(0, AofBuilder::areaName, 0x999);
             a.areaField(0, AofBuilder::areaSize, 0x10000);
         },
         "fatal: Can't read data of area (null) in file test.o\n"},
    };
    for (auto order : bothOrders) {
        for (const Row &row : rows)
            EXPECT_EQ(reportsOf(fileOf(order, row.change)), row.reports)
                << row.what << " (order " << order << ")";
    }
}

TEST_F(AofTest, ShortFilesAreUnreadable) {
    const std::string unreadable = "fatal: File test.o appears unreadable or badly truncated\n";
    std::vector<uint8_t> whole = AofBuilder(AofBuilder::bigEndian).build();
    for (uint32_t length : {0u, 4u, 11u}) {
        std::vector<uint8_t> cut(whole.begin(), whole.begin() + length);
        EXPECT_EQ(reportsOf(cut), unreadable) << length;
    }
    // Twelve bytes that say there are no chunks make an empty object file.
    std::vector<uint8_t> header(whole.begin(), whole.begin() + 12);
    header[11] = 0;
    LoadedAof loaded = load(header);
    ASSERT_TRUE(loaded.object) << errors.lines;
    EXPECT_EQ(loaded.object->symbolCount(), 0u);
    EXPECT_EQ(loaded.object->sectionCount(), 0u);
}

} // namespace
