// ElfSection: the section of an ELF file, a RelocatableSection that keeps a
// private copy of its section header (in host byte order) and answers nearly
// everything from it.  The readers' section classes, the string and symbol
// tables, the relocation tables and the import sections all derive from it.
//
// The copy is what the reader repaired: a rejected sh_link or sh_info reads
// as 0 here, and `discard` clears the flags of the copy, never the file.
#pragma once

#include "elf/ElfRecords.h"
#include "object/Section.h"

#include <cstdint>

class ElfImportSectionFromInput;
class ElfObjectFile;
class ElfOutputSection;
class ElfReltabSection;
class ElfStrtabSection;
class ElfSymtabSection;

class ElfSection : public RelocatableSection {
public:
    ElfSection(const char *name, const Elf32_Shdr &header, ElfObjectFile *objectFile);
    ~ElfSection() override;

    // Section
    const char *name() override;
    void setSectionSymbol(Symbol *symbol) override;
    Symbol *sectionSymbol() override;
    void setIndex(uint32_t index) override;
    uint32_t index() override;
    uint32_t size() override;
    // 0 for a section of a shared object and for SHT_NOBITS.
    uint32_t fileSize() override;
    const char *sectionClass() override;
    const char *namedGroup() override;
    uint32_t namedGroupOffset() override;
    void setSectionGroup(SectionGroup *group) override;
    void setGroupOffset(uint32_t offset) override;
    uint32_t groupOffset() override;
    uint32_t alignment() override;
    ObjectFile *objectFile() override;
    // Never for a section of a shared object; otherwise SHF_ALLOC.
    bool isAllocated() override;
    bool isLoadable() override;
    bool isNote() override;
    bool isContentSection() override;
    bool isAbsolute() override;
    bool isExecutable() override;
    bool isWritable() override;
    bool isBss() override;
    Elf32_Shdr *elfHeader() override;
    uint32_t address() override;
    void setAddress(uint32_t address) override;
    uint32_t loadAddress() override;
    void setLoadAddress(uint32_t address) override;
    uint32_t inputAddress() override;
    RelocationsIterator *relocations() override;
    RelocationsIterator *outputRelocations() override;
    uint32_t fileOffset() override;
    void setFileOffset(uint32_t offset) override;
    ElfSection *asElfSection() override;
    bool isComdat() override;
    // Marks the section discarded and takes all its flags away.
    void discard() override;
    uint32_t comdatSelection() override;
    // The section that sh_link names, when both are program sections.
    Section *boundSection() override;
    bool attributeA() override;
    bool attributeB() override;
    bool attributeC() override;
    bool attributeD() override;
    bool attributeE() override;
    void remapContents() override;
    void setOutputSection(Section *section) override;
    bool attributeF() override;
    void setAttributeF(bool value) override;
    bool adjustSize() override;

    // Added by ElfSection, in this order.
    // `table` is a relocation table section (its asReltab answers).
    virtual void addRelocations(ElfSection &table);
    virtual bool isValid();
    virtual ElfSymtabSection *asSymtab();
    virtual ElfStrtabSection *asStrtab();
    virtual ElfReltabSection *asReltab();
    virtual ElfOutputSection *asElfOutputSection();
    virtual ElfImportSectionFromInput *asImportSection();
    virtual void setDynIndex(uint32_t index);
    virtual uint32_t dynIndex();
    virtual Section *associatedDynReltab();
    virtual void setAssociatedDynReltab(Section *table);
    virtual bool reservedPredicate();

    // Stores the file when none is set; another file is a fault.
    void setObjectFile(ElfObjectFile *file);
    ElfObjectFile *elfObjectFile() { return file; }

protected:
    const char *sectionName; // not owned
    uint32_t outputIndex = 0;
    ElfObjectFile *file;
    Elf32_Shdr header;
};
