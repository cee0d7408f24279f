// Row lookup at the edges of plain and split tables, and the walks over
// their rows.
#include "reloc/ElfFixupTable.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

const FixupRow rowsA[] = {
    {reloc::patchNothing, "NONE", ReferenceKind::direct, 0, {0, 0}, nullptr},
    {reloc::set32Be, "ABS32", ReferenceKind::direct, 0, {0, 0}, nullptr},
    {reloc::addPc32Be, "REL32", ReferenceKind::direct, 1, {0, 0}, nullptr},
};
const FixupRow rowsB[] = {
    {reloc::set16Be, "B0", ReferenceKind::gotReference, 0, {0, 0}, nullptr},
    {reloc::set16Be, "B1", ReferenceKind::pltReference, 1, {0, 0}, nullptr},
};
const FixupRow rowsC[] = {
    {reloc::set8, "C0", ReferenceKind::smallData, 0, {0, 0}, nullptr},
};

using Visits = std::vector<std::pair<uint32_t, std::string>>;

Visits walk(ElfFixupTable &table, size_t stopAfter = 100) {
    Visits visits;
    table.each([&](uint32_t type, const FixupRow &row) {
        visits.emplace_back(type, row.name);
        return visits.size() < stopAfter;
    });
    return visits;
}

TEST(ElfFixupTable, LooksUpByIndexAndGivesTheUnknownRowBeyond) {
    ElfFixupTable table(rowsA, 3);
    EXPECT_EQ(table.lookup(0), &rowsA[0]);
    EXPECT_EQ(table.lookup(2), &rowsA[2]);
    EXPECT_EQ(table.lookup(3), &unknownFixupRow);
    EXPECT_EQ(table.lookup(0xFFFFFFFF), &unknownFixupRow);
}

TEST(ElfFixupTable, EachSkipsRowZeroAndStopsWhenAsked) {
    ElfFixupTable table(rowsA, 3);
    EXPECT_EQ(walk(table), (Visits{{1, "ABS32"}, {2, "REL32"}}));
    EXPECT_EQ(walk(table, 1), (Visits{{1, "ABS32"}}));
    ElfFixupTable empty(rowsA, 0);
    EXPECT_TRUE(walk(empty).empty());
}

TEST(ElfSplitFixupTable, TriesTheRangesInOrder) {
    ElfSplitFixupTable table({0, 3, rowsA}, {0x81, 2, rowsB}, {0xB4, 1, rowsC});
    struct {
        uint32_t type;
        const FixupRow *row;
    } expected[] = {
        {0, &rowsA[0]},    {2, &rowsA[2]},        {3, nullptr},    {0x80, nullptr},
        {0x81, &rowsB[0]}, {0x82, &rowsB[1]},     {0x83, nullptr}, {0xB4, &rowsC[0]},
        {0xB5, nullptr},   {0xFFFFFFFF, nullptr},
    };
    for (const auto &e : expected)
        EXPECT_EQ(table.lookup(e.type), e.row) << e.type;

    // An empty range holds nothing, even at its first type.
    ElfSplitFixupTable arm({0, 3, rowsA}, {0x81, 2, rowsB}, {0, 0, nullptr});
    EXPECT_EQ(arm.lookup(0), &rowsA[0]);
    EXPECT_EQ(arm.lookup(0xB4), nullptr);
}

TEST(ElfSplitFixupTable, EachGivesEveryRangeFromItsFirstType) {
    ElfSplitFixupTable table({0, 3, rowsA}, {0x81, 2, rowsB}, {0xB4, 1, rowsC});
    EXPECT_EQ(
        walk(table),
        (Visits{
            {0, "NONE"}, {1, "ABS32"}, {2, "REL32"}, {0x81, "B0"}, {0x82, "B1"}, {0xB4, "C0"}}));
    EXPECT_EQ(walk(table, 4).back(), (std::pair<uint32_t, std::string>{0x81, "B0"}));
}

} // namespace
