// ElfSectionForOutput and ElfOutputSection: the ELF sections of a file that a
// link writes.
//
// ElfSectionForOutput is a section that the linker makes itself (a symbol
// table, a string table, a dynamic section): it starts from an empty header
// and keeps the group and layout fields that an output section needs.
//
// ElfOutputSection wraps another section that holds the real contents, as a
// rule a CombinedSection of input sections, and shows it with an ELF section
// header.  Most questions go straight to the wrapped section; the header
// follows it only when it is built (`buildHeader`) and at the few operations
// that change size, alignment or address, so it describes the wrapped
// section as of the last such point.
#pragma once

#include "elf/ElfSection.h"

#include <cstdint>

class ElfObjectFile;
class OutputSectionSpec;
class SectionGroup;

class ElfSectionForOutput : public ElfSection {
public:
    // The header starts all zero but for sh_addralign, which is 1.
    ElfSectionForOutput(const char *name, ElfObjectFile *file);
    ~ElfSectionForOutput() override;

    // Section
    void setNamedGroup(const char *group) override;
    void setNamedGroupOffset(uint32_t offset) override;
    const char *namedGroup() override;
    uint32_t namedGroupOffset() override;
    void setSectionGroup(SectionGroup *group) override;
    void setGroupOffset(uint32_t offset) override;
    SectionGroup *sectionGroup() override;
    uint32_t groupOffset() override;
    // The contents stay for the class that makes them.
    void eachRawDataChunk(RawDataChunkVisitor visitor) override = 0;
    OutputSectionSpec *outputSectionSpec() override;
    void setOutputSectionSpec(OutputSectionSpec *rule) override;
    Section *outputSection() override;

    // ElfSection
    void setDynIndex(uint32_t index) override;
    uint32_t dynIndex() override;
    Section *associatedDynReltab() override;
    void setAssociatedDynReltab(Section *table) override;

protected:
    uint32_t dynamicIndex = 0;
    Section *dynReltab = nullptr;    // not owned
    const char *groupName = nullptr; // not owned
    uint32_t groupNameOffset = 0;
    OutputSectionSpec *layoutRule = nullptr; // not owned
    SectionGroup *group = nullptr;           // not owned
    uint32_t offsetInGroup = 0;
};

class ElfOutputSection : public ElfSectionForOutput {
public:
    // Takes the wrapped section's name, makes itself its output section and
    // builds the header.  `wrapped` is not owned and must outlive this.
    ElfOutputSection(Section *wrapped, ElfObjectFile *file);
    ~ElfOutputSection() override;

    // Section
    void setSectionSymbol(Symbol *symbol) override;
    Symbol *sectionSymbol() override;
    void setIndex(uint32_t index) override;
    uint32_t index() override;
    uint32_t size() override;
    uint32_t fileSize() override;
    void setSectionGroup(SectionGroup *group) override;
    void setGroupOffset(uint32_t offset) override;
    SectionGroup *sectionGroup() override;
    uint32_t groupOffset() override;
    // Forwards; the header then takes the wrapped section's alignment.
    void setAlignment(uint32_t alignment) override;
    bool isAbsolute() override;
    void setAbsolute(bool absolute) override;
    // A section that became bss after the header was built turns to
    // SHT_NOBITS here, with its access flags worked out anew.
    Elf32_Shdr *elfHeader() override;
    uint32_t address() override;
    // Forwards; sh_addr then takes the wrapped section's load address.
    void setAddress(uint32_t address) override;
    uint32_t loadAddress() override;
    // Stores sh_addr and forwards.
    void setLoadAddress(uint32_t address) override;
    bool hasAddress() override;
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;
    RelocationsIterator *relocations() override;
    RelocationsIterator *outputRelocations() override;
    void eachMember(SectionVisitor visitor) override;
    void appendSection(Section *section) override;
    Section *firstMember() override;
    OutputSectionSpec *outputSectionSpec() override;
    void setOutputSectionSpec(OutputSectionSpec *rule) override;
    bool attributeA() override;
    bool attributeB() override;
    bool attributeE() override;
    // Remaps the wrapped section and rebuilds the header; a change of size
    // lays the section group out again.
    void remapContents() override;
    bool attributeF() override;
    void setAttributeF(bool value) override;
    // Forwards and refreshes sh_size; a true answer lays the section group
    // out again.
    bool adjustSize() override;

    // ElfSection
    ElfOutputSection *asElfOutputSection() override;
    // Asked of the ELF section behind the first member; false without one.
    bool reservedPredicate() override;

    // Fills the header from the wrapped section (and its first member).
    // sh_name, sh_link and sh_info keep their values.
    void buildHeader();
    // sh_size from the wrapped section: its file size for a combined section
    // with a minimum size that has contents, else its size.
    void refreshSize();
    // Takes every member out of the wrapped combined section.
    void unmapInputSections();
    // Maps the members of an ordered section anew in their final order: by
    // the address of the section that sh_info names, or else by the value of
    // the first relocation.
    void rewireOrderedSections();

    Section *wrappedSection() { return wrapped; }

private:
    Section *wrapped; // not owned
};
