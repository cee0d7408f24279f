// ElfReltabSectionFromInput: a relocation section read from an ELF file,
// which is at the same time the section, the iterator over its records and
// the RelocationDescriptor of the record that the walk stands on.
//
// The records stay in one block as read, in host order.  The descriptor
// answers from the current record and the processor's fixup table: the
// record's type picks the row that gives the type's name, its kind, whether
// it is relative to the place, and the routine that patches the bytes.  What
// a link changes about an entry (a new target, a new addend) goes to three
// arrays with one cell per record, made at the first change.
//
// The two record forms (SHT_REL, SHT_RELA) are the final classes of
// reloc/elfreloc.h; they read the records and repair what the format cannot
// say (MIPS HI16 addends, ARM PIC32 pairs, MIPS16 jumps).
#pragma once

#include "reloc/Args.h"
#include "reloc/ElfFixupTable.h"
#include "reloc/ElfReltabSection.h"

#include <cstdint>
#include <memory>

class ElfSymtabSection;

// Section and RelocationDescriptor both have an `index`: a section's place in
// an output table, and an entry's place in its table.  This class gives the
// descriptor's its own name, currentIndex, so that a table answers both.
class ElfReltabDescriptor : public RelocationDescriptor {
public:
    uint32_t index() final;
    virtual uint32_t currentIndex() = 0;
};

class ElfReltabSectionFromInput : public ElfReltabSection, public ElfReltabDescriptor {
public:
    // `fixups` is the machine's table, shared by every table of the run.
    // The target (sh_info) must exist: the reader checked it.
    ElfReltabSectionFromInput(const char *name, const Elf32_Shdr &header, ElfObjectFile &file,
                              ElfFixupTable &fixups, ErrorContext &errorContext);
    ~ElfReltabSectionFromInput() override;

    // RelocationsIterator
    uint32_t count() override;

    // ElfReltabSection, in its order.
    void setOptions(const RelocationOptions &options) override;
    void setArgs(Args *args) override;
    void eachEntry(RelocationVisitor visitor) override;
    void setErrorContext(ErrorContext &errorContext) override;
    void suppressRunTimeCheck() override;
    void preprocessReferences(ObjectFile &outputFile, const RelocationOptions &options) override;
    void preprocessSpecialReference(RelocationDescriptor &entry, ObjectFile &outputFile,
                                    const RelocationOptions &options) override;
    uint32_t currentIndex() override;
    bool isPcRelative() override;
    Symbol *targetSymbol() override;
    Section *targetSection() override;
    bool apply(uint8_t *place) override;
    Section *dataSection() override;
    void eachElfRecord(ElfRecordVisitor visitor) override;
    bool hasExplicitAddend() override = 0;
    bool applies() override;
    bool needsDynamicEntry(Symbol *symbol, Args &args) override;
    int32_t compactClass() override;
    Symbol *baseSymbol() override;
    void resetTarget(Section *section, int32_t addend) override;
    void resetTarget(Symbol *symbol, int32_t addend) override;
    bool neededAtRunTime(Args &args) override;
    bool replaceWithPltRef() override;
    bool replaceWithCall() override;
    ReferenceKind referenceKind() override;
    uint32_t type() override;
    void setType(uint32_t type) override;
    bool nextEntryIs(uint32_t type, uint32_t &value) override;
    const char *typeName() override;
    ErrorContext *errorContext() override;
    uint32_t dataOffset() override;
    int32_t addend() override = 0;

    // RelocationDescriptor, beyond the operations above.
    Section *section() override;
    uint32_t elfRecordCount() override;
    uint32_t elfType() override;
    Section *reltabSection() override;
    PltTable *pltTable() override;
    GotTable *gotTable() override;
    ElfObjectFile *outputElfFile() override;

    // mappedSymbol; when it gives none and `checkDiscard` is set, a record
    // whose symbol lies in an allocated section that is no COMDAT section
    // is a fault of the link (botch).
    Symbol *mappedSymbolChecked(int32_t &offset, bool checkDiscard);
    // The next record has `type`; `symbol` receives the root of its target
    // symbol, or null.  The current entry stays.
    bool nextTargetIs(uint32_t type, Symbol *&symbol);
    // Takes a table made for this file alone; it serves until the end.
    void keepFixupTable(std::unique_ptr<ElfFixupTable> table);
    ElfFixupTable &fixupTable() { return *fixups; }
    // The fixup row of the current type, or null.
    const FixupRow *row();
    uint32_t recordOffset(uint32_t index) const {
        return relRecords ? relRecords[index].r_offset : relaRecords[index].r_offset;
    }
    uint32_t recordInfo(uint32_t index) const {
        return relRecords ? relRecords[index].r_info : relaRecords[index].r_info;
    }

protected:
    ElfFixupTable *fixups;
    std::unique_ptr<ElfFixupTable> ownedFixups; // null for a shared table
    uint32_t recordCount = 0;
    Section *target;
    uint32_t targetSize;
    uint32_t current = 0;
    ElfSymtabSection *symbolTable = nullptr;
    RelocationOptions options;
    Args *args = nullptr;
    bool skipRunTimeCheck = false;
    uint32_t targetOffset = 0; // offsetInCombinedSection of the target
    uint32_t pltType = 0;
    bool isArm;
    ElfObjectFile *outputFile = nullptr;
    // One cell per record, made at the first change of an entry.
    std::unique_ptr<Section *[]> sectionOverrides;
    std::unique_ptr<Symbol *[]> symbolOverrides;
    std::unique_ptr<int32_t[]> addendOverrides;
    ErrorContext *errors;
    bool outputHasNoAddends;
    uint16_t machine;
    // The raw records in host order: one of the two, by the section's type.
    std::unique_ptr<Elf32_Rel[]> relRecords;
    std::unique_ptr<Elf32_Rela[]> relaRecords;

    uint32_t &infoAt(uint32_t index) {
        return relRecords ? relRecords[index].r_info : relaRecords[index].r_info;
    }
    // The addend cells, made zeroed at first need.
    int32_t *addendCells();
    bool targetWasReset(uint32_t index) const;
    ElfSymtabSection &findSymbolTable();
    Args &linkArgs(const char *operation);
    // On ARM, interworking calls to a target that is no Thumb (or ARM)
    // function become plain calls.
    void checkInterworking();
};
