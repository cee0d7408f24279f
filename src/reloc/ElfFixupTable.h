// ElfFixupTable and ElfSplitFixupTable: what each ELF relocation type means
// for one processor and byte order - a plain array of static rows.  A table
// object only points at its rows, so one object per processor and byte order
// serves every relocation section.
#pragma once

#include "reloc/reloc.h"
#include "support/FunctionRef.h"

#include <cstdint>

using FixupRowVisitor = FunctionRef<bool(uint32_t type, const FixupRow &row)>;

class ElfFixupTable {
public:
    ElfFixupTable(const FixupRow *rows, uint32_t count) : rows(rows), count(count) {}
    virtual ~ElfFixupTable();

    // The row of the type; unknownFixupRow beyond the end.
    virtual const FixupRow *lookup(uint32_t type);
    // Types 1 to count-1 in order; row 0 is not visited.
    virtual void each(FixupRowVisitor visitor);

protected:
    const FixupRow *rows;
    uint32_t count;
};

// For a processor whose relocation numbers have gaps: three ranges, tried in
// order; a type in none of them has no row (null).
class ElfSplitFixupTable : public ElfFixupTable {
public:
    struct Range {
        uint32_t first;
        uint32_t count;
        const FixupRow *rows;
    };

    ElfSplitFixupTable(Range first, Range second, Range third);

    const FixupRow *lookup(uint32_t type) override;
    void each(FixupRowVisitor visitor) override;

private:
    Range ranges[3];
};
