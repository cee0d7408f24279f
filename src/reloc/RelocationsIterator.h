// RelocationsIterator: the way to the entries of one relocation table, and
// the iterators built on it: RelocationsIteratorWithTables (the base of the
// ELF and AOF tables, which reserves global offset table entries),
// RelocationsIteratorAcrossCollection (several tables as one) and
// RelocationsIteratorAcrossSections (the member sections of a combined
// section).  An iterator has no entries of its own: a table class derives
// from it and from RelocationDescriptor and shows each entry through itself.
#pragma once

#include "object/Section.h"
#include "reloc/RelocationDescriptor.h"
#include "support/array.h"

#include <cstdint>
#include <memory>

class Args;
class ErrorContext;
class FormatOut;
class ObjectFile;
class SectionCollection;
struct RelocationOptions;

class RelocationsIterator {
public:
    virtual ~RelocationsIterator();

    virtual bool isCollection();
    virtual void add(RelocationsIterator *iterator);
    virtual void setErrorContext(ErrorContext &errorContext) = 0;
    virtual void setFirstOption(uint8_t option);
    virtual void setSecondOption(uint8_t option);
    // The number of entries that `each` visits.
    virtual uint32_t count();
    // elfRecordCount summed over eachInOutput.
    virtual uint32_t outputRecordCount(Args &args);
    // Every entry in table order.
    virtual void each(RelocationVisitor visitor) = 0;
    virtual void eachInOutput(RelocationVisitor visitor, Args &args);
    virtual void eachAtRunTime(RelocationVisitor visitor, Args &args);
    virtual void display(FormatOut &out);
    virtual void setBaseOffset(uint32_t offset);
    virtual bool reservedQuery();
    virtual void preprocessReferences(ObjectFile &outputFile, const RelocationOptions &options);
    virtual void preprocessReference(RelocationDescriptor &entry, ObjectFile &outputFile,
                                     const RelocationOptions &options);
    virtual void preprocessSpecialReference(RelocationDescriptor &entry, ObjectFile &outputFile,
                                            const RelocationOptions &options);
    virtual void suppressRunTimeCheck();
};

class RelocationsIteratorWithTables : public RelocationsIterator {
public:
    void preprocessReferences(ObjectFile &outputFile, const RelocationOptions &options) override;
    void preprocessReference(RelocationDescriptor &entry, ObjectFile &outputFile,
                             const RelocationOptions &options) override;
    virtual GotTable *getGotTable();
    virtual PltTable *getPltTable();

protected:
    PltTable *pltTable = nullptr;
    GotTable *gotTable = nullptr;
};

class RelocationsIteratorAcrossCollection : public RelocationsIterator {
public:
    RelocationsIteratorAcrossCollection();
    ~RelocationsIteratorAcrossCollection() override;

    bool isCollection() override;
    void add(RelocationsIterator *iterator) override;
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
    void suppressRunTimeCheck() override;

private:
    dynarray<RelocationsIterator *> members; // owned; grows by two
};

class RelocationsIteratorAcrossSections : public RelocationsIterator {
public:
    // Takes ownership of `sections`.
    explicit RelocationsIteratorAcrossSections(SectionCollection *sections);
    ~RelocationsIteratorAcrossSections() override;

    void setErrorContext(ErrorContext &errorContext) override;
    uint32_t count() override;
    uint32_t outputRecordCount(Args &args) override;
    void each(RelocationVisitor visitor) override;
    void eachInOutput(RelocationVisitor visitor, Args &args) override;
    void eachAtRunTime(RelocationVisitor visitor, Args &args) override;
    void display(FormatOut &out) override;
    void setBaseOffset(uint32_t offset) override;
    void preprocessReferences(ObjectFile &outputFile, const RelocationOptions &options) override;

    virtual void eachMember(SectionVisitor visitor);
    // Section::relocations of the member; a combined section may replace it.
    virtual RelocationsIterator *memberIterator(Section &section);

protected:
    std::unique_ptr<SectionCollection> sections;
    uint32_t baseOffset = 0xFFFFFFFF;
    ErrorContext *errors = nullptr;
};
