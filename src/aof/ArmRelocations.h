// ArmRelocations: the relocation table of one AOF area, which is a
// RelocationsIterator and the RelocationDescriptor of its current record in
// one object.
//
// An area's relocation records stand right behind its bytes in "OBJ_AREA",
// 8 bytes each in the file's byte order (AofRelocation, ArmUtil.h):
//
//   0  4  offset of the field in the area
//   4  4  flags: bits 0-23 SID, a symbol index when A is set, otherwise an
//         area index; bits 24-25 FT, the field (2 a word, 3 an instruction,
//         anything else nothing to do); bit 26 R, relative to the place;
//         bit 27 A, the target is a symbol; bit 28 B, the value is based
//
// A record names no relocation type.  The table turns FT, R, B and A into a
// small code that serves as its ELF type and chooses what `apply` does:
// 1 sets a word, 0x45 and 0x46 add to one, 2 is an ARM branch (the ELF row
// "REL24"), 0x47 a based load or store offset, 0 does nothing.  The addends
// stand in the area's bytes, so every addend is 0.
//
// The records belong to the ArmInputSection, which makes the table on its
// first `relocations` call.  The listing never applies them; applying and
// writing them out stand ready for a link.
#pragma once

#include "aof/ArmUtil.h"
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"

#include <cstdint>

class ArmInputSection;
class ArmObjectFileInput;
class ElfObjectFile;
class ErrorContext;

// The bits of AofRelocation::flags.
constexpr uint32_t aofRelocationSidMask = 0xFFFFFF;
constexpr uint32_t aofRelocationFieldShift = 24; // FT, two bits
constexpr uint32_t aofRelocationRelative = 1u << 26;
constexpr uint32_t aofRelocationSymbol = 1u << 27;
constexpr uint32_t aofRelocationBased = 1u << 28;

// The codes that stand for the ELF type of a record.
constexpr uint32_t aofCodeNothing = 0;
constexpr uint32_t aofCodeSetWord = 1; // the ARM row "ADDR32"
constexpr uint32_t aofCodeBranch = 2;  // the ARM row "REL24"
constexpr uint32_t aofCodeAddSymbol = 0x45;
constexpr uint32_t aofCodeAddArea = 0x46;
constexpr uint32_t aofCodeBasedOffset = 0x47;

// The code of a record: the first rule that fits.
uint32_t aofRelocationCode(uint32_t flags);

class ArmRelocations : public RelocationsIteratorWithTables, public RelocationDescriptor {
public:
    // `records` (in host order) belong to `section` and outlive the table.
    ArmRelocations(ArmObjectFileInput *objectFile, ArmInputSection *section,
                   const AofRelocation *records, uint32_t count);
    ~ArmRelocations() override;

    // RelocationsIterator
    void setErrorContext(ErrorContext &errorContext) override;
    // Sets each record current in turn and hands the visitor this object.
    void each(RelocationVisitor visitor) override;
    // Keeps the output ELF file, whose small-data base code 0x47 needs; walks
    // no records.
    void preprocessReferences(ObjectFile &outputFile, const RelocationOptions &options) override;

    // The operations of the current record.  Each of the first four ends in
    // botch unless a record is current (inside a visit of `each`).
    uint32_t dataOffset() override;
    // A set: the symbol SID; otherwise null.
    Symbol *targetSymbol() override;
    // A clear: the area SID.
    Section *targetSection() override;
    // 0: the addends stand in the area's bytes.
    int32_t addend() override;
    uint32_t index() override;
    Section *section() override;
    // R set.
    bool isPcRelative() override;
    void eachElfRecord(ElfRecordVisitor visitor) override;
    // The code of the record.
    uint32_t elfType() override;
    bool apply(uint8_t *place) override;
    // Also true for a symbol of a reentrant file referred to from a file
    // that is not.
    bool needsDynamicEntry(Symbol *symbol, Args &args) override;
    ErrorContext *errorContext() override;
    // Null: the records have no type names.
    const char *typeName() override;

    ElfObjectFile *outputElfFile() override;

private:
    ElfObjectFile *outputFile = nullptr;
    ArmObjectFileInput *owner;
    ArmInputSection *area;
    uint32_t sectionSize;
    uint32_t total;
    int32_t current = -1;
    ErrorContext *errors = nullptr;
    const AofRelocation *records;

    // The current record; botch naming `operation` when none is current.
    const AofRelocation &currentRecord(const char *operation);
    // The current record, or null.
    const AofRelocation *currentOrNull();
};
