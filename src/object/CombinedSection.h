// CombinedSection: an output section made of member sections.  Each member is
// mapped in at an offset (`mapInto`), and the combined section knows the size
// and alignment that result, hands out the contents of all members as one
// stream with the gaps between them filled (with a fill pattern, with no-op
// instructions of the machine between code, or with zeros), answers the
// relocations of all members as one table, and can rebuild its member list in
// another order (`remapContents`).
//
// The members are not owned: they belong to their input files.  A combined
// section is not a RelocatableSection: it is never mapped into another one.
#pragma once

#include "object/Section.h"
#include "support/array.h"

#include <cstdint>
#include <memory>

class CombinedSection;
class ObjectFile;
class RelocationsIterator;

// The step that a mapper calls for each section, in the order it wants them:
// reserve room behind what is mapped already and map the section there.
class SectionAppender {
public:
    virtual ~SectionAppender();
    virtual void append(CombinedSection &combined, Section &section) = 0;
};

// The linker's layout side's way of ordering the members of a combined
// section anew.  It must leave every section that it appends in a valid
// mapping.
class SectionMapper {
public:
    virtual ~SectionMapper();
    virtual void map(SectionAppender &appender, void *context) = 0;
};

class CombinedSection : public Section {
public:
    // The flag bits of a combined section.
    enum Flag : uint32_t {
        allocated = 1u << 0,
        executable = 1u << 1,
        writable = 1u << 2,
        bss = 1u << 3,
        absolute = 1u << 4,
        loadable = 1u << 5,
        note = 1u << 6,
        noContents = 1u << 7,
        attributeAFlag = 1u << 8,
        attributeBFlag = 1u << 9,
        attributeEFlag = 1u << 10,
        hasMinimumSize = 1u << 11,
        addressSet = 1u << 12,
        loadAddressSet = 1u << 13,
        fillSet = 1u << 14,
        attributeFFlag = 1u << 15,
    };

    // `name` is copied; `objectFile` is the output file.
    CombinedSection(const char *name, ObjectFile *objectFile);
    ~CombinedSection() override;

    const char *name() override;
    const char *combinedSectionName() override;
    void setSectionSymbol(Symbol *symbol) override;
    Symbol *sectionSymbol() override;
    void setIndex(uint32_t index) override;
    uint32_t index() override;
    // The end of the last member, or the minimum size when that is set and
    // larger.
    uint32_t size() override;
    // The end of the last member with contents; 0 without contents.
    uint32_t fileSize() override;
    const char *sectionClass() override;
    void setClass(const char *sectionClass) override;
    void setNamedGroup(const char *group) override;
    const char *namedGroup() override;
    void setSectionGroup(SectionGroup *group) override;
    void setGroupOffset(uint32_t offset) override;
    SectionGroup *sectionGroup() override;
    uint32_t groupOffset() override;
    uint32_t alignment() override;
    // Raises the alignment; a smaller one changes nothing.
    void setAlignment(uint32_t alignment) override;
    ObjectFile *objectFile() override;
    bool isAllocated() override;
    bool isLoadable() override;
    bool isNote() override;
    bool isContentSection() override;
    bool isAbsolute() override;
    // A true flag also counts as an address given.
    void setAbsolute(bool absolute) override;
    bool isExecutable() override;
    bool isWritable() override;
    bool isBss() override;
    uint32_t address() override;
    // Moves every member along with the section.
    void setAddress(uint32_t address) override;
    uint32_t loadAddress() override;
    // Leaves the members where they are.
    void setLoadAddress(uint32_t address) override;
    bool hasAddress() override;
    // The members' contents in rising offsets, with the gaps filled.
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;
    // The members' relocations as one table, offsets counted in this section.
    RelocationsIterator *relocations() override;
    RelocationsIterator *outputRelocations() override;
    Section *combinedSection() override;
    uint32_t offsetInCombinedSection() override;
    uint32_t fileOffset() override;
    void setFileOffset(uint32_t offset) override;
    void eachMember(SectionVisitor visitor) override;
    // Maps the section behind the last member, at its alignment.
    void appendSection(Section *section) override;
    Section *firstMember() override;
    Section *lastMember() override;
    SectionType sectionType() override;
    CombinedSection *asCombinedSection() override;
    OutputSectionSpec *outputSectionSpec() override;
    void setOutputSectionSpec(OutputSectionSpec *rule) override;
    void configureRelocations(uint8_t firstOption, uint8_t secondOption,
                              ErrorContext &errorContext) override;
    bool isDiscarded() override;
    Section *boundSection() override;
    bool attributeA() override;
    bool attributeB() override;
    bool attributeE() override;
    // Maps the members anew, through the mapper when there is one.
    void remapContents() override;
    Section *outputSection() override;
    void setOutputSection(Section *section) override;
    bool attributeF() override;
    void setAttributeF(bool value) override;
    // adjustSize of every member; when any changed, the members are mapped
    // anew.
    bool adjustSize() override;

    // Puts a section at an offset.  A member may not begin before the end of
    // the one before it.
    virtual void mapInto(Section *section, uint32_t offset);
    virtual uint32_t memberCount();
    virtual uint32_t reservedQuery();

    // The pattern of gaps: `width` 1, 2 or 4 bytes of `value` repeated, in
    // the file's byte order; width 0 switches the pattern off.
    void setFill(uint32_t value, uint32_t width);
    // masks[0] bits to set, masks[1] bits to clear (applied first): 2
    // writable, 4 executable, 8 attribute A, 0x10 attribute B.
    void applyAttributeMasks(const uint32_t masks[2]);
    // The offset for a new member of `size` bytes at `alignment`; the
    // mapInto that follows sets the true end.
    uint32_t reserve(uint32_t size, uint32_t alignment);
    // Unmaps every member; the alignment stays.
    void clearMembers();

    // The layout side's settings; nothing in the object model sets them.
    void setFlag(Flag flag, bool on);
    bool hasFlag(Flag flag) const { return (flags & flag) != 0; }
    void setMinimumSize(uint32_t size) { minimumSize = size; }
    void setFixedType(SectionType type) { fixedType = type; }
    void setMapper(SectionMapper *sectionMapper) { mapper = sectionMapper; }

private:
    // Gives a gap of `length` bytes at `at` to the visitor in pieces;
    // answers false when the visitor ended the walk.
    bool fillGap(RawDataChunkVisitor visitor, uint32_t at, uint32_t length, Section &member,
                 Section *previous);
    void appendMapped(Section &section);
    friend class CombinedSectionAppender;

    dynarray<Section *> members; // in mapping order, not owned
    ObjectFile *file;
    std::unique_ptr<char[]> sectionName;
    uint32_t memoryEnd = 0;
    uint32_t contentsEnd = 0;
    uint32_t flags = loadable | attributeBFlag | attributeFFlag;
    uint32_t sectionAlignment = 1;
    uint32_t minimumSize = 0;
    uint32_t outputIndex = 0;
    uint32_t start = 0;
    uint32_t loadStart = 0;
    uint32_t offsetInFile = 0;
    const char *group = nullptr;
    SectionGroup *layoutGroup = nullptr;
    uint32_t offsetInGroup = 0;
    Symbol *symbol = nullptr;
    const char *classText = nullptr;
    std::unique_ptr<RelocationsIterator> relocationsView;
    std::unique_ptr<RelocationsIterator> outputRelocationsView;
    OutputSectionSpec *outputRule = nullptr;
    Section *output = nullptr;
    uint8_t fill[8] = {};
    SectionMapper *mapper = nullptr;
    SectionType fixedType = SectionType::null;
};
