// CoffRelocationsIterator: the relocation table of one COFF section, an
// iterator over its entries and the descriptor of the current one in one
// object.
//
// A COFF relocation entry is 10 bytes in the file: the address of the place
// (4), the symbol table index of the target (4) and the type (2).  The
// section reader widens it to 12 bytes and makes the address an offset into
// the section.  There is no addend field: what the place refers to beyond
// the symbol stands in the section's bytes, so a fixup corrects the field by
// the difference between the target's new and old value.  A reference to a
// section is a reference to the section's own symbol (a static symbol with
// one auxiliary entry).
//
// The types mean what the rows of the file's magic say (coff/CoffFixupRow.h).
// One AM29K fixup takes two entries: an R_IHIHALF and the R_IHCONST behind
// it, whose symndx word holds the lower half of the constant.  The walk
// shows the pair as one entry.
//
// The entries belong to the section; the table only points to them.  The
// descriptor means something only inside a visit of `each`.
#pragma once

#include "coff/CoffFixupRow.h"
#include "coff/CoffRecords.h"
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"

#include <cstdint>

class Args;
class CoffInputSection;
class CoffObjectFile;
class ErrorContext;
class ObjectFile;
class Section;
class Symbol;

class CoffRelocationsIterator : public RelocationsIterator, public RelocationDescriptor {
public:
    // `entries` (not owned) are those of `section`; `args` is the link's
    // options record, null from the listing tool.
    CoffRelocationsIterator(CoffRelocation *entries, uint32_t count, CoffInputSection &section,
                            Args *args);
    ~CoffRelocationsIterator() override;

    // RelocationsIterator.  The preprocess operations keep the base's
    // answer: a COFF table reserves nothing in an output file.
    bool isCollection() override;
    void setErrorContext(ErrorContext &errorContext) override;
    // 2 and 3 change what apply computes for a relocatable output.
    void setFirstOption(uint8_t option) override;
    void setSecondOption(uint8_t option) override;
    // Every entry, companions included.
    uint32_t count() override;
    // Visits each entry but the companion of a two-entry fixup; an entry
    // whose place lies outside the section ends the run.
    void each(RelocationVisitor visitor) override;
    // Where the section's bytes start in an output; the COFF records add it
    // in place of the section's address.
    void setBaseOffset(uint32_t offset) override;

    // Added behind the iterator's operations, in this order.
    virtual ObjectFile *objectFile();

    // RelocationDescriptor, on the current entry.
    bool isPcRelative() override;
    // True: a target that the linker defines itself does not by that alone
    // make the entry needed in an output.
    bool ignoresSpecialTargets() override;
    Section *section() override;
    uint32_t dataOffset() override;
    // Null for a reference to a section's own symbol.
    Symbol *targetSymbol() override;
    // The section of a reference to a section's own symbol, else null.
    Section *targetSection() override;
    // Of a two-entry fixup, the constant in the companion's symndx word;
    // otherwise 0.
    int32_t addend() override;
    uint32_t elfRecordCount() override;
    void eachCoffRecord(CoffRecordVisitor visitor) override;
    void eachElfRecord(ElfRecordVisitor visitor) override;
    // Corrects the field by the target's move; answers true whatever it
    // reported.
    bool apply(uint8_t *place) override;
    ErrorContext *errorContext() override;
    // The row's name; "%u?" with the type for a type without a routine.
    const char *typeName() override;
    uint32_t index() override;

    // The symbol index in the output of the current entry's target, and in
    // `adjustment` how far its value moved.  The target's section must have
    // been mapped into a combined section that has a section symbol, unless
    // the target is a linker's special global symbol.
    uint32_t symIndexOf(int32_t &adjustment);

private:
    CoffRelocation *entries;
    uint32_t entryCount;
    CoffInputSection *inputSection;
    CoffObjectFile *owner;
    uint32_t current = 0;
    // The section header's virtual address and the section's size, read
    // anew at each walk: they follow Section::setAddress.
    uint32_t base;
    uint32_t sectionSize;
    uint32_t baseOffset = 0xFFFFFFFF; // none until set
    CoffFixupTable table;
    uint8_t firstOption = 0;
    bool executableFile;
    uint8_t secondOption = 0;
    ErrorContext *errors = nullptr;
    Args *args;

    // The row of the current entry's type; null when the type has none.
    const CoffFixupRow *row();
    const CoffFixupRow *rowOf(uint16_t type);
    // The entry behind the current one, null at the end of the table.
    const CoffRelocation *nextEntry();
    bool isNeededInOutput();
};
