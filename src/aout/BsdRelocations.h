// BsdRelocations: the relocation table of one section (text or data) of a
// SPARC a.out file, which is a RelocationsIterator and the
// RelocationDescriptor of its current record in one object.
//
// The records stand behind the data section: first those of the text, then
// those of the data, 12 bytes each, big-endian as SPARC writes them:
//
//   0  4  r_address  offset of the field in the section
//   4  3  r_index    symbol table index, or for a local record a section
//                    code as in an nlist type: 4 text, 6 data, 8 bss
//   7  1  bit 7 r_extern (the record refers to a symbol), bits 0-4 r_type
//   8  4  r_addend
//
// The reader keeps them in the memory form of BsdRelocation (BsdRecords.h).
// In a local record the addend of the file counts from the start of the
// text, as if the sections of the unlinked image followed each other from
// address 0; it is made relative to its own section at reading.
//
// r_type chooses one of 24 rows (BsdFixupRow): a name, a ReferenceKind, a
// pc-relative flag and the routine that patches the field, always in
// big-endian order.  Only rows of kind direct are patched; the others are
// reported as not supported.
#pragma once

#include "aout/BsdRecords.h"
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"
#include "reloc/reloc.h"

#include <cstdint>
#include <memory>

class BsdObjectFile;
class BsdSection;
class ErrorContext;
class InputFile;

struct BsdFixupRow {
    FixupRoutine fixup;
    const char *name;
    ReferenceKind kind;
    uint8_t pcRelative; // 1 if the value is relative to the place
};

// The 24 rows of SPARC a.out relocation types 0 to 23; types 24 to 31 have
// none.  The rows are static and shared by every table.
constexpr uint32_t bsdFixupRowCount = 24;
extern const BsdFixupRow bsdFixupRows[bsdFixupRowCount];

// The routines of the SPARC instruction fields.  Each reads the big-endian
// word W at `place`, writes all four bytes back and answers whether the
// value fitted.
namespace sparcfixup {
// Bits 0-29 take (V - P) >> 2; bits 30 and 31 stay.  Never fails.
bool wdisp30(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address);
// Bits 0-21 take (V - P) >> 2 (sign kept); fits from -0x200000 to 0x3FFFFF.
bool wdisp22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address);
// Bits 0-21 take V >> 10.
bool hi22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address);
// Bits 0-21 take the low 22 bits of V.
bool low22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address);
// Bits 0-12 take the low 13 bits of V; fits when V, unsigned, is below 0x2000.
bool low13(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address);
// Bits 0-9 take the low 10 bits of V.
bool low10(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address);
// low10 and hi22 of V - P.
bool pc10(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address);
bool pc22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address);
} // namespace sparcfixup

class BsdRelocations : public RelocationsIterator, public RelocationDescriptor {
public:
    BsdRelocations(BsdObjectFile *objectFile, BsdSection *section);
    ~BsdRelocations() override;

    // RelocationsIterator
    void setErrorContext(ErrorContext &errorContext) override;
    // Sets each record current in turn and hands the visitor this object.
    void each(RelocationVisitor visitor) override;

    // The operations of the current record.  Each of the first four ends in
    // botch unless a record is current (inside a visit of `each`).
    uint32_t dataOffset() override;
    Symbol *targetSymbol() override;
    Section *targetSection() override;
    int32_t addend() override;
    // The number of records.
    virtual uint32_t recordCount();
    virtual BsdObjectFile *objectFile();
    bool isPcRelative() override;
    void eachElfRecord(ElfRecordVisitor visitor) override;
    void eachBsdRecord(BsdRecordVisitor visitor) override;
    bool apply(uint8_t *place) override;
    uint32_t index() override;
    // The row's name; "%u?" for a type without a row.
    const char *typeName() override;

    // The rest of RelocationDescriptor.
    Section *section() override;
    uint32_t elfRecordCount() override;
    int32_t compactClass() override;
    bool ignoresSpecialTargets() override;
    ReferenceKind referenceKind() override;
    Section *reltabSection() override;
    bool shouldEmit() override;
    bool hasExplicitAddend() override;
    bool nextEntryIs(uint32_t type, uint32_t &value) override;
    ErrorContext *errorContext() override;
    PltTable *pltTable() override;
    GotTable *gotTable() override;

protected:
    // Takes `count` records in memory form, not owned; `sectionSize` is the
    // size of the section they patch.
    void setRecords(const BsdRelocation *records, uint32_t count, uint32_t sectionSize);

private:
    BsdObjectFile *owner;
    BsdSection *patched;
    const BsdFixupRow *rows = bsdFixupRows;
    uint32_t rowCount = bsdFixupRowCount;
    uint32_t sectionSize = 0;
    int32_t total = 0;
    int32_t current = -1;
    ErrorContext *errors = nullptr;
    const BsdRelocation *records = nullptr;

    // The current record; botch naming `operation` when none is current.
    const BsdRelocation &currentRecord(const char *operation);
    // The current record, or null.
    const BsdRelocation *currentOrNull();
    // The row of the current record's type, or null.
    const BsdFixupRow *currentRow();
};

// The table as read from the file: it reads and owns the records.
class BsdRelocationsFromInput : public BsdRelocations {
public:
    // Reads `size` bytes of records (a multiple of 12) at `offset` of `file`;
    // `swapped` is the byte order flag of the exec header.  A table that the
    // file cannot hold is fatal.
    BsdRelocationsFromInput(BsdObjectFile *objectFile, BsdSection *section, InputFile &file,
                            uint32_t offset, uint32_t size, bool swapped,
                            ErrorContext &errorContext);
    ~BsdRelocationsFromInput() override;

private:
    std::unique_ptr<BsdRelocation[]> ownedRecords;
};
