// ElfReltabSection: a relocation section of an ELF file (SHT_REL or
// SHT_RELA) as a section and a relocation iterator in one object.
//
// A relocation section is an array of records that patch one other section,
// the target, which the section's sh_info names; sh_link names the symbol
// table that the records' symbol numbers refer to.  Each record holds
//
//     r_offset   the place to patch, as an offset in the target
//     r_info     the symbol number in the high 24 bits, the type in the low 8
//     r_addend   (SHT_RELA only) the addend; a SHT_REL record leaves the
//                addend in the bytes at the place
//
// in the byte order of the file.  The meaning of a type depends on e_machine
// and is the business of the processor's fixup table.
//
// This class gives the operations that the ELF side asks of any relocation
// table; the table read from a file (ElfReltabSectionFromInput) is also the
// RelocationDescriptor of its current entry, so most of them are answered
// there.  ElfReltabReference lets a RelocationsIteratorAcrossCollection
// hold a table that the object file keeps owning.
#pragma once

#include "elf/ElfSection.h"
#include "reloc/RelocationsIterator.h"

#include <cstdint>

class Args;
struct RelocationOptions;

class ElfReltabSection : public ElfSection, public RelocationsIteratorWithTables {
public:
    ElfReltabSection(const char *name, const Elf32_Shdr &header, ElfObjectFile *objectFile);
    ~ElfReltabSection() override;

    // A relocation table describes the contents of another section and is
    // no contents of the program: eachSection passes it over, and it gives
    // no chunks.
    bool isContentSection() override;
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;

    // The iterator's walk is eachEntry.
    void each(RelocationVisitor visitor) override;

    // Added for relocation tables, in this order.
    virtual void setOptions(const RelocationOptions &options) = 0;
    virtual void setArgs(Args *args) = 0;
    virtual void eachEntry(RelocationVisitor visitor) = 0;
    virtual void reservedOperation();
    void setErrorContext(ErrorContext &errorContext) override = 0;
    void suppressRunTimeCheck() override = 0;
    void preprocessReferences(ObjectFile &outputFile,
                              const RelocationOptions &options) override = 0;
    void preprocessSpecialReference(RelocationDescriptor &entry, ObjectFile &outputFile,
                                    const RelocationOptions &options) override = 0;
    // The index of the entry that the table shows.
    virtual uint32_t currentIndex() = 0;
    virtual bool isPcRelative() = 0;
    virtual Symbol *targetSymbol() = 0;
    virtual Section *targetSection() = 0;
    virtual bool apply(uint8_t *place) = 0;
    // The section that the records patch.
    virtual Section *dataSection() = 0;
    virtual void eachElfRecord(ElfRecordVisitor visitor) = 0;
    virtual bool hasExplicitAddend() = 0;
    ElfReltabSection *asReltab() override;
    // The current entry changes the data in this pass.
    virtual bool applies() = 0;
    GotTable *getGotTable() override;
    PltTable *getPltTable() override;
    virtual bool needsDynamicEntry(Symbol *symbol, Args &args) = 0;
    virtual int32_t compactClass() = 0;
    // The symbol that the record's symbol number names, or null.
    virtual Symbol *baseSymbol() = 0;
    virtual void resetTarget(Section *section, int32_t addend) = 0;
    virtual void resetTarget(Symbol *symbol, int32_t addend) = 0;
    virtual bool neededAtRunTime(Args &args) = 0;
    virtual bool replaceWithPltRef() = 0;
    virtual bool replaceWithCall() = 0;
    virtual ReferenceKind referenceKind() = 0;
    // The relocation type of the current record (the low byte of r_info).
    virtual uint32_t type() = 0;
    virtual void setType(uint32_t type) = 0;
    virtual bool nextEntryIs(uint32_t type, uint32_t &value) = 0;
    virtual const char *typeName() = 0;
    virtual ErrorContext *errorContext() = 0;
    virtual uint32_t dataOffset() = 0;
    virtual int32_t addend() = 0;
};

// A table that a RelocationsIteratorAcrossCollection holds on behalf of a
// section with two or more relocation tables.  The collection owns its
// members, while the tables themselves belong to the object file's section
// vector; so the collection owns this stand-in, which forwards everything to
// the table and owns nothing.
class ElfReltabReference : public RelocationsIterator {
public:
    explicit ElfReltabReference(ElfReltabSection &table) : table(table) {}

    ElfReltabSection &referencedTable() { return table; }

    void setErrorContext(ErrorContext &errorContext) override;
    void setFirstOption(uint8_t option) override;
    void setSecondOption(uint8_t option) override;
    uint32_t count() override;
    uint32_t outputRecordCount(Args &args) override;
    void each(RelocationVisitor visitor) override;
    void eachInOutput(RelocationVisitor visitor, Args &args) override;
    void eachAtRunTime(RelocationVisitor visitor, Args &args) override;
    void display(FormatOut &out) override;
    void setBaseOffset(uint32_t offset) override;
    void preprocessReferences(ObjectFile &outputFile, const RelocationOptions &options) override;
    void preprocessReference(RelocationDescriptor &entry, ObjectFile &outputFile,
                             const RelocationOptions &options) override;
    void preprocessSpecialReference(RelocationDescriptor &entry, ObjectFile &outputFile,
                                    const RelocationOptions &options) override;
    void suppressRunTimeCheck() override;

private:
    ElfReltabSection &table;
};
