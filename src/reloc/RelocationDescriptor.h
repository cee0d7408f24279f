// RelocationDescriptor: the format-neutral view of one relocation entry -
// where it patches, what it refers to, how its value is worked out and how it
// is written back - and ReferenceKind, GotTable, PltTable and
// DelegateRelocationDescriptor.
//
// Every table class (ELF, COFF, a.out, AOF) is a Section or an iterator and a
// RelocationDescriptor in one object: the table moves its one descriptor from
// entry to entry, so a visitor sees a descriptor for the length of one call
// and must not keep it.  A listing only shows entries; computing and applying
// values stands ready for linking.
#pragma once

#include "support/FunctionRef.h"

#include <cstdarg>
#include <cstdint>

class Args;
class ElfObjectFile;
class ErrorContext;
class FormatOut;
class ObjectFile;
class Section;
class Symbol;

struct CoffRelocation;
struct BsdRelocation;
struct Elf32_Rela;

// How the value of an entry is computed.
enum class ReferenceKind : uint8_t {
    direct = 0,          // symbol or section address plus addend
    pltReference = 1,    // address of the symbol's procedure linkage entry
    gotReference = 2,    // offset of the symbol's entry in the global offset table
    gotRelative = 3,     // distance from the global offset table's base
    gotPcRelative = 4,   // the global offset table's own address
    sectionRelative = 5, // distance from the start of the target's section
    machineSpecific = 6, // computed by the fixup itself; the descriptor gives 0
    invalid = 7,         // must not appear in an input file
    smallData = 8,       // like direct; the fixup applies the base
};

// The global offset table and procedure linkage table of an output file.
// The output side implements them; an input file has neither.
class GotTable {
public:
    virtual ~GotTable();
    virtual void addSymbol(Symbol *symbol, int32_t addend) = 0;
    // An entry for an address without a global symbol.
    virtual void addSection(Section *section, uint32_t offset) = 0;
    virtual void addSection(Section *section, uint32_t offset, uint32_t flags) = 0;
    // Byte offset of the entry, or -1.
    virtual int32_t entryOf(Symbol *symbol, int32_t addend) = 0;
    virtual int32_t entryOf(Section *section, uint32_t offset) = 0;
    virtual uint32_t address() = 0;
    // Offsets are stored less the bias; a reference adds it.
    virtual uint32_t bias() = 0;
    // Something refers to the table's base.
    virtual void markUsed() = 0;
};

// The MIPS .got section of an output file: a GotTable that also holds
// entries for pages.
class GotSectionTable : public GotTable {
public:
    // Offset of the entry for the page of the place, or -1.
    virtual int32_t pageEntryOf(Section *section, uint32_t offset, uint32_t reach) = 0;
};

// The ARM and PowerPC tables of 32-bit cells that an output file keeps.
class OffsetTable {
public:
    virtual ~OffsetTable();
    virtual uint32_t base() = 0;
    // The cell's offset, or -1.
    virtual int32_t entryForSymbol(Symbol *symbol, int32_t offset) = 0;
    virtual int32_t entryForSection(Section *section, int32_t offset) = 0;
};

class PltTable {
public:
    virtual ~PltTable();
    virtual void addSymbol(Symbol *symbol, int32_t addend) = 0;
    // Byte offset of the entry, or -1.
    virtual int32_t entryOf(Symbol *symbol) = 0;
    virtual uint32_t address() = 0;
};

// Visitors of the records that an entry writes in each output format.
using CoffRecordVisitor = FunctionRef<bool(const CoffRelocation &)>;
using ElfRecordVisitor = FunctionRef<bool(const Elf32_Rela &)>;
using BsdRecordVisitor = FunctionRef<bool(const BsdRelocation &)>;

class RelocationDescriptor {
public:
    virtual ~RelocationDescriptor();

    // The section whose contents the entry patches.
    virtual Section *section() = 0;
    // Position of the entry in its table.
    virtual uint32_t index() = 0;
    // "entry %d of section %s in file %O".
    virtual void describe(FormatOut &out);
    // Offset of the patched place in `section`.
    virtual uint32_t dataOffset() = 0;
    virtual Symbol *targetSymbol();
    virtual Section *targetSection();
    virtual int32_t addend();
    // How many ELF records the entry writes.
    virtual uint32_t elfRecordCount();
    virtual void eachCoffRecord(CoffRecordVisitor visitor);
    virtual void eachElfRecord(ElfRecordVisitor visitor);
    // The type byte of the ELF record that eachElfRecord gives.
    virtual uint32_t elfType();
    // Class of the entry in a compact table of run-time fixes; -1 when it
    // cannot be represented.
    virtual int32_t compactClass();
    virtual void eachBsdRecord(BsdRecordVisitor visitor);
    virtual bool isPcRelative() = 0;
    virtual bool ignoresSpecialTargets();
    virtual bool neededInOutput(Args &args);
    virtual bool neededAtRunTime(Args &args);
    // Patches the field at `place` (the chunk's bytes plus dataOffset); false
    // means that the table found a fault and reported it.
    virtual bool apply(uint8_t *place) = 0;
    // The address of the section plus dataOffset.
    virtual uint32_t place();
    virtual uint32_t value();
    virtual uint32_t valueWithoutAddend();
    virtual uint32_t valueOf(Symbol *symbol, Section *section, int32_t addend);
    virtual ReferenceKind referenceKind();
    virtual bool replaceWithPltRef();
    virtual bool replaceWithCall();
    // One line: offset, target and addend.
    virtual void display(FormatOut &out);
    virtual void error(const char *format, ...);
    virtual void warning(const char *format, ...);
    // "<%d>" with elfType, or "???".
    virtual const char *typeName();
    virtual Section *reltabSection();
    virtual bool shouldEmit();
    virtual bool bindsToSharedObject(Args &args);
    virtual bool needsDynamicEntry(Symbol *symbol, Args &args);
    virtual void resetTarget(Section *section, int32_t addend);
    virtual void resetTarget(Symbol *symbol, int32_t addend);
    // The records hold the addend; a fixup then ignores what stands in the
    // section.
    virtual bool hasExplicitAddend();
    // The next entry has this type; `value` receives its value.
    virtual bool nextEntryIs(uint32_t type, uint32_t &value);
    virtual ErrorContext *errorContext();
    virtual PltTable *pltTable();
    virtual GotTable *gotTable();
    // The output file of the link that the table was prepared for, which a
    // fixup asks for its bases (sdaBase and the like); null before
    // preprocessReferences and for tables that have none.
    virtual ElfObjectFile *outputElfFile();

    // What the entry means after sections were combined: a symbol (a
    // section's symbol for a plain section) and an offset that counts the
    // addend.  mappedSymbol reports what did not get mapped; the other two
    // are quiet.
    Symbol *mappedSymbol(int32_t &offset);
    Section *mappedSection(int32_t &offset);
    Section *unmappedSection(int32_t &offset);

    // The one report of error and warning, for subclasses that format their
    // own text first.
    void report(bool isError, const char *format, va_list args);

    // A message complete in itself (its own "%O" and "%C"), as an error to
    // errorContext, or through botch when there is none.
    void plainReport(const char *format, ...);

    // The warning that a record cannot be translated to `format` ("COFF",
    // "ELF", "BSD"), at most once in a run over all formats.  An entry
    // without an errorContext has nobody to warn and leaves the warning to
    // the next entry that has one.
    void warnUntranslatable(const char *format);

private:
    // mappedSymbol for a target symbol in a section.
    Symbol *mappedFromSection(Symbol &root, int32_t &offset);
};

// One entry of a member section shown as an entry of the combined section:
// the offset is shifted, the section may be replaced, and everything else is
// asked of the delegate.  Lives on the stack of the iterator.
class DelegateRelocationDescriptor : public RelocationDescriptor {
public:
    RelocationDescriptor *delegate = nullptr;
    uint32_t offsetDelta = 0;
    Section *sectionOverride = nullptr;

    Section *section() override;
    uint32_t index() override;
    void describe(FormatOut &out) override;
    uint32_t dataOffset() override;
    Symbol *targetSymbol() override;
    Section *targetSection() override;
    int32_t addend() override;
    uint32_t elfRecordCount() override;
    void eachCoffRecord(CoffRecordVisitor visitor) override;
    void eachElfRecord(ElfRecordVisitor visitor) override;
    uint32_t elfType() override;
    int32_t compactClass() override;
    void eachBsdRecord(BsdRecordVisitor visitor) override;
    bool isPcRelative() override;
    bool ignoresSpecialTargets() override;
    bool neededInOutput(Args &args) override;
    bool neededAtRunTime(Args &args) override;
    bool apply(uint8_t *place) override;
    uint32_t place() override;
    uint32_t value() override;
    uint32_t valueWithoutAddend() override;
    uint32_t valueOf(Symbol *symbol, Section *section, int32_t addend) override;
    ReferenceKind referenceKind() override;
    bool replaceWithPltRef() override;
    bool replaceWithCall() override;
    const char *typeName() override;
    Section *reltabSection() override;
    bool shouldEmit() override;
    bool needsDynamicEntry(Symbol *symbol, Args &args) override;
    void resetTarget(Section *section, int32_t addend) override;
    void resetTarget(Symbol *symbol, int32_t addend) override;
    bool hasExplicitAddend() override;
    bool nextEntryIs(uint32_t type, uint32_t &value) override;
    ErrorContext *errorContext() override;
    PltTable *pltTable() override;
    GotTable *gotTable() override;
    ElfObjectFile *outputElfFile() override;
};
