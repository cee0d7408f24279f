// Row lookup and the walk over the rows of a processor's fixup table.
#include "reloc/ElfFixupTable.h"

ElfFixupTable::~ElfFixupTable() = default;

const FixupRow *ElfFixupTable::lookup(uint32_t type) {
    return type < count ? &rows[type] : &unknownFixupRow;
}

void ElfFixupTable::each(FixupRowVisitor visitor) {
    // Type 0 is the "none" type of every processor and is not shown.
    for (uint32_t type = 1; type < count; ++type)
        if (!visitor(type, rows[type])) return;
}

ElfSplitFixupTable::ElfSplitFixupTable(Range first, Range second, Range third)
    : ElfFixupTable(first.rows, first.count), ranges{first, second, third} {}

const FixupRow *ElfSplitFixupTable::lookup(uint32_t type) {
    for (const Range &range : ranges)
        if (type - range.first < range.count) return &range.rows[type - range.first];
    return nullptr;
}

void ElfSplitFixupTable::each(FixupRowVisitor visitor) {
    for (const Range &range : ranges)
        for (uint32_t i = 0; i < range.count; ++i)
            if (!visitor(range.first + i, range.rows[i])) return;
}
