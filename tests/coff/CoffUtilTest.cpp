// The low-level COFF reading: the byte order told by the magic, the swap of
// auxiliary entries by their symbol's class, and the string table's length
// word in each of its meanings.

#include "coff/CoffUtil.h"
#include "CoffTestSupport.h"
#include "kit/CoffBuilder.h"
#include "support/endian.h"

#include <gtest/gtest.h>

namespace {

TEST(CoffUtil, HeaderByteOrderFromTheMagic) {
    const uint16_t magics[] = {0x14C, 0x150, 0x17A, 0x166, 0x7FF, 0x88};
    for (uint16_t magic : magics) {
        for (ByteOrder order : {LittleEndian, BigEndian}) {
            auto file = inputOf(CoffBuilder(order, magic)
                                    .flags(0x0203)
                                    .patchHeader([](CoffFileHeader &h) { h.f_timdat = 0x01020304; })
                                    .build());
            CoffFileHeader header{};
            bool swap = false;
            ASSERT_TRUE(CoffUtil::readCoffHeader(*file, header, swap));
            EXPECT_EQ(swap, (order == BigEndian) == hostIsLittleEndian) << magic;
            EXPECT_EQ(header.f_magic, magic);
            EXPECT_EQ(header.f_flags, 0x0203u);
            EXPECT_EQ(header.f_timdat, 0x01020304u);
            EXPECT_EQ(header.f_symptr, coffFileHeaderSize);
        }
    }
}

// One symbol of the class and type given, with one auxiliary entry whose
// 18 bytes are 0x01 0x02 ... 0x12 in the file; read back from a big-endian
// file, which a little-endian host swaps.
std::vector<uint8_t> auxiliaryAsRead(uint8_t sclass, uint16_t type) {
    std::vector<uint8_t> raw;
    for (uint8_t i = 1; i <= 18; ++i)
        raw.push_back(i);
    Reports reports;
    LoadedCoff coff =
        loadCoff(CoffBuilder(BigEndian).symbol("s", 0, 0, sclass, type).aux(raw).build(), reports);
    auto *slot = reinterpret_cast<const uint8_t *>(coff->auxent(1));
    return std::vector<uint8_t>(slot, slot + 18);
}

TEST(CoffUtil, AuxiliaryEntriesSwapByTheirSymbolsClass) {
    // The bytes of each layout as a little-endian host holds them.
    const std::vector<uint8_t> sectionLayout = {4,  3,  2,  1,  6,  5,  8,  7,  9,
                                                10, 11, 12, 13, 14, 15, 16, 17, 18};
    const std::vector<uint8_t> structEnd = {4,  3,  2, 1,  8,  7,  6,  5,  12,
                                            11, 10, 9, 16, 15, 14, 13, 18, 17};
    const std::vector<uint8_t> fileName = {1,  2,  3,  4,  5,  6,  7,  8,  9,
                                           10, 11, 12, 13, 14, 15, 16, 17, 18};
    const std::vector<uint8_t> other = {4, 3,  2,  1,  6,  5,  8,  7,  10,
                                        9, 12, 11, 14, 13, 16, 15, 17, 18};
    struct Row {
        uint8_t sclass;
        uint16_t type;
        const std::vector<uint8_t> &expected;
    };
    const Row rows[] = {
        {coffClassStatic, 0, sectionLayout}, {coffClassStatic, 0x20, other},
        {coffClassExternal, 0, other},       {coffClassEndOfStruct, 0, structEnd},
        {coffClassFile, 0, fileName},        {coffClassFunction, 0, other},
    };
    if (!hostIsLittleEndian) GTEST_SKIP() << "the expected bytes are those of a little-endian host";
    for (const Row &r : rows)
        EXPECT_EQ(auxiliaryAsRead(r.sclass, r.type), r.expected) << int(r.sclass) << " " << r.type;
}

TEST(CoffUtil, StringTableLengthWord) {
    struct Row {
        uint32_t length;
        uint32_t size;
        std::vector<std::string> reports;
    };
    const Row rows[] = {
        {0, 0, {}},
        {1, 1, {}},
        {3, 3, {}},
        {4, 4, {}},
        {1000000, 1000000, {}},
        {1000001,
         1000001,
         {"E: String table of test.o appears to have a garbage length (=1000001)"}},
        {0x2020201F,
         0x2020201F,
         {"E: String table of test.o appears to have a garbage length (=538976287)"}},
        {0x20202020, 0, {}},
        {0xFFFFFFFF, 0, {}},
    };
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        for (const Row &r : rows) {
            Reports reports;
            LoadedCoff coff = loadCoff(
                CoffBuilder(order).symbol("x", 0, 0, 2).stringTableLength(r.length).build(),
                reports);
            EXPECT_EQ(coff->stringTableSize(), r.size) << r.length;
            EXPECT_EQ(reports.lines, r.reports) << r.length;
            // The cleared length word reads as an empty text; nothing
            // beyond the table's size reads at all.
            if (r.size) {
                EXPECT_STREQ(coff->stringAt(0), "") << r.length;
            }
            EXPECT_EQ(coff->stringAt(r.size), nullptr) << r.length;
        }
    }
}

TEST(CoffUtil, SymbolsAloneLeaveTheFileBehindTheTable) {
    std::vector<uint8_t> image =
        CoffBuilder(BigEndian).symbol("a", 1, 0, 2).aux(7, {}).symbol("b", 2, 0, 2).build();
    auto file = inputOf(image);
    CoffFileHeader header{};
    bool swap = false;
    ASSERT_TRUE(CoffUtil::readCoffHeader(*file, header, swap));
    Reports reports;
    auto entries = CoffUtil::readCoffSymbols(*file, header, reports, swap);
    EXPECT_EQ(file->position, header.f_symptr + 3 * coffSymbolSize);
    EXPECT_EQ(entries[0].value, 1u);
    EXPECT_EQ(entries[0].numaux, 1u);
    EXPECT_EQ(CoffUtil::get32(&entries[1]), 7u);
    EXPECT_EQ(entries[2].value, 2u);
    EXPECT_STREQ(entries[2].name, "b");

    CoffStringTable strings;
    file->seek(0);
    CoffUtil::readCoffSymbolsAndStrings(*file, header, reports, swap, strings);
    EXPECT_EQ(strings.size, 4u);
    EXPECT_TRUE(reports.lines.empty());
}

} // namespace
