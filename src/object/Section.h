// Section: the format-neutral view of one section of an object file, and
// RelocatableSection, which adds what an input section needs to be mapped
// into a larger (combined) section when linking: the mapping itself,
// discarding, and binding of sections that must travel together.
//
// Every input section of every format derives from RelocatableSection; the
// combined sections of the linking side derive from Section directly.  The
// listing asks a section only for name, isExecutable and isBss; the display
// of an object file asks for display and relocations.  The rest serves a
// linker.
//
// An operation a class does not support ends the run through `botch`, with a
// text that names the operation.  No operation here is const.
#pragma once

#include "object/Collectable.h"
#include "support/FunctionRef.h"
#include "support/array.h"

#include <cstdint>
#include <memory>

class ArmSection;
class BsdSection;
class CoffSection;
class CombinedSection;
class ElfSection;
class ErrorContext;
class FileName;
class FormatOut;
class LinkOptions;
class ObjectFile;
class RelocatableSection;
class RelocationDescriptor;
class RelocationsIterator;
class Section;
class SectionGroup;
class Symbol;

// Raw headers of the formats, defined by their readers.
struct Elf32_Shdr;
struct CoffSectionHeader;

// The kinds of section, by what a program does with them.
enum class SectionType : uint8_t {
    null = 0, // no kind
    abs = 1,  // absolute
    bss = 2,  // writable, no contents in the file
    data = 3, // writable
    lit = 4,  // read-only data
    text = 5, // executable
    info = 6, // not allocated
    note = 7, // not allocated, a note
};

// "<null>", "abs", "bss", "data", "lit", "text", "info", "note"; "?" for a
// value of 8 or more.
const char *sectionTypeName(uint32_t type);

// The layout rule that the linker's layout side attaches to an output
// section.  The object model only stores it and asks it for one number.
class OutputSectionSpec {
public:
    virtual ~OutputSectionSpec();
    virtual uint32_t value() = 0;
};

// Visitors answer true to go on, false to end the walk.
using SectionVisitor = FunctionRef<bool(Section &)>;
// A chunk of a section's contents: its offset in the section, its size, its
// bytes, and the relocations that apply to it (or null).
using RawDataChunkVisitor =
    FunctionRef<bool(uint32_t offset, uint32_t size, uint8_t *bytes, RelocationsIterator *)>;
// A chunk of contents with its relocations applied.
using DataChunkVisitor = FunctionRef<bool(uint32_t offset, uint32_t size, uint8_t *bytes)>;
// One relocation entry; the descriptor is the table's current entry and is
// good for the length of the call only.
using RelocationVisitor = FunctionRef<bool(RelocationDescriptor &)>;

class Section : public Collectable {
public:
    Section() = default;
    Section(const Section &) = delete;
    Section &operator=(const Section &) = delete;
    ~Section() override;

    virtual const char *name() = 0;
    virtual void setCombinedSectionName(const char *name);
    // The name of the combined section that this one joins, or null.
    virtual const char *combinedSectionName();
    virtual void setSectionSymbol(Symbol *symbol);
    virtual Symbol *sectionSymbol();
    virtual void setIndex(uint32_t index);
    // The position in an output table.
    virtual uint32_t index();
    // Size in memory.
    virtual uint32_t size() = 0;
    // Size in the file: 0 for a section without contents.
    virtual uint32_t fileSize();
    virtual const char *sectionClass();
    virtual void setClass(const char *sectionClass);
    virtual void setNamedGroup(const char *group);
    virtual void setNamedGroupOffset(uint32_t offset);
    virtual const char *namedGroup();
    virtual uint32_t namedGroupOffset();
    virtual void setSectionGroup(SectionGroup *group);
    virtual void setGroupOffset(uint32_t offset);
    virtual SectionGroup *sectionGroup();
    virtual uint32_t groupOffset();
    virtual uint32_t alignment();
    virtual void setAlignment(uint32_t alignment);
    virtual ObjectFile *objectFile() = 0;
    // Takes memory at run time.
    virtual bool isAllocated() = 0;
    virtual bool isLoadable();
    virtual bool isNote();
    // False for a table that only describes the file; an object file's
    // eachSection passes such sections over.
    virtual bool isContentSection();
    virtual bool isAbsolute();
    virtual void setAbsolute(bool absolute);
    virtual bool isExecutable() = 0;
    virtual bool isWritable() = 0;
    // No contents in the file.
    virtual bool isBss() = 0;
    virtual void mapIntoCombinedSection(Section *combined, uint32_t offset);
    virtual Elf32_Shdr *elfHeader();
    virtual CoffSectionHeader *coffHeader();
    virtual void *reservedPointer();
    virtual uint32_t address();
    virtual void setAddress(uint32_t address);
    virtual uint32_t loadAddress();
    virtual void setLoadAddress(uint32_t address);
    // Absolute, or an address that is neither 0 nor all ones.
    virtual bool hasAddress();
    // The address that the input file recorded for the section.
    virtual uint32_t inputAddress();
    // The contents with the relocations applied; each failure to relocate is
    // reported through errorContext unless the options silence it.
    virtual void eachDataChunk(DataChunkVisitor visitor, LinkOptions &options,
                               ErrorContext &errorContext, uint8_t flag);
    virtual void eachRawDataChunk(RawDataChunkVisitor visitor) = 0;
    // The section's relocation table, or null when it has none.
    virtual RelocationsIterator *relocations() = 0;
    virtual RelocationsIterator *outputRelocations();
    virtual void eachRelocation(RelocationVisitor visitor);
    virtual Section *combinedSection();
    virtual uint32_t offsetInCombinedSection();
    virtual uint32_t fileOffset();
    virtual void setFileOffset(uint32_t offset);
    // A plain section is its own only member.
    virtual void eachMember(SectionVisitor visitor);
    virtual void appendSection(Section *section);
    virtual Section *firstMember();
    virtual Section *lastMember();
    virtual SectionType sectionType();
    virtual CombinedSection *asCombinedSection();
    virtual CoffSection *asCoffSection();
    virtual ElfSection *asElfSection();
    virtual BsdSection *asBsdSection();
    virtual ArmSection *asArmSection();
    virtual OutputSectionSpec *outputSectionSpec();
    virtual void setOutputSectionSpec(OutputSectionSpec *rule);
    virtual uint32_t outputSectionSpecValue();
    virtual void displayHeader(FormatOut &out);
    virtual void displayContents(FormatOut &out);
    virtual void display(FormatOut &out);
    virtual uint32_t reservedQuery1();
    virtual uint32_t reservedQuery2();
    // The bound sections, then the target section of every relocation (for a
    // relocation against a symbol, the section of the resolved symbol).
    virtual void eachReferencedSection(SectionVisitor visitor);
    // The resolved target symbol of every relocation that has one.
    virtual void eachReferencedSymbol(FunctionRef<bool(Symbol &)> visitor);
    // Gives the relocation table, if any, the context and then both options.
    virtual void configureRelocations(uint8_t firstOption, uint8_t secondOption,
                                      ErrorContext &errorContext);
    virtual bool isComdat();
    virtual bool isDiscarded();
    virtual void discard();
    virtual uint32_t comdatSelection();
    // The section whose combined section this one joins: itself by default.
    virtual Section *boundSection();
    virtual bool attributeA();
    virtual bool attributeB();
    virtual bool attributeC();
    virtual bool attributeD();
    virtual bool attributeE();
    // The combined section, or this section when it is not mapped.
    virtual Section *outermostSection();
    virtual RelocatableSection *asRelocatableSection();
    virtual void eachBoundSection(SectionVisitor visitor);
    virtual bool addBoundSection(Section *section);
    virtual bool isBound();
    virtual void setBound(bool bound);
    virtual void remapContents();
    virtual Section *outputSection();
    virtual void setOutputSection(Section *section);
    virtual bool attributeF();
    virtual void setAttributeF(bool value);
    // True when the size changed and the group's layout must be done again.
    virtual bool adjustSize();

    // The name of the section's object file, for "%O" in messages.
    const FileName *fileName();
    // For every relocation against a symbol: the symbol resolved with commons
    // counting, when that is common or absolute.
    void eachReferencedCommonOrAbsoluteSymbol(FunctionRef<bool(Symbol &)> visitor);
};

// RelocatableSection: an input section, which a link maps into a combined
// section at an offset, may discard, and may bind to others.
class RelocatableSection : public Section {
public:
    RelocatableSection();
    ~RelocatableSection() override;

    // The combined section's name: that of the bound section if there is one;
    // otherwise the name cut at the first "%", or failing that at the first
    // "$" (".text$foo" and ".text%foo" both join ".text").
    const char *combinedSectionName() override;
    SectionGroup *sectionGroup() override;
    void mapIntoCombinedSection(Section *combined, uint32_t offset) override;
    uint32_t address() override;
    Section *combinedSection() override;
    uint32_t offsetInCombinedSection() override;
    bool isDiscarded() override;
    void discard() override;
    RelocatableSection *asRelocatableSection() override;
    void eachBoundSection(SectionVisitor visitor) override;
    bool addBoundSection(Section *section) override;
    bool isBound() override;
    void setBound(bool bound) override;

    // Back to unmapped: no combined section, offset 0.  A combined section
    // that maps its members anew unmaps them first.
    void unmap() {
        combined = nullptr;
        combinedOffset = 0;
    }

protected:
    Section *combined = nullptr;
    uint32_t combinedOffset = 0;
    bool discarded = false;
    bool bound = false;
    // The cut name, made at the first call that needs one.
    std::unique_ptr<char[]> combinedName;
    // Sections bound to this one, in order of binding; not owned.
    std::unique_ptr<dynarray<Section *>> boundSections;
};

// Binds section `boundName` of objectFile to section `name`, so that the
// former travels with the latter.  Errors are reported with `prefix` in
// front; a discarded first section discards the second.
void bindSections(const char *prefix, ObjectFile &objectFile, const char *name,
                  const char *boundName, ErrorContext &errorContext);
