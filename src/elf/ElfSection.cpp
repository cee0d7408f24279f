#include "elf/ElfSection.h"

#include "elf/ElfObjectFile.h"
#include "support/botch.h"

ElfSection::ElfSection(const char *name, const Elf32_Shdr &header, ElfObjectFile *objectFile)
    : sectionName(name), file(objectFile), header(header) {}

ElfSection::~ElfSection() = default;

const char *ElfSection::name() {
    return sectionName;
}
void ElfSection::setSectionSymbol(Symbol *) {}
Symbol *ElfSection::sectionSymbol() {
    return nullptr;
}
void ElfSection::setIndex(uint32_t index) {
    outputIndex = index;
}
uint32_t ElfSection::index() {
    return outputIndex;
}
uint32_t ElfSection::size() {
    return header.sh_size;
}

uint32_t ElfSection::fileSize() {
    if ((file && file->isSharedObject()) || header.sh_type == SHT_NOBITS) return 0;
    return size();
}

const char *ElfSection::sectionClass() {
    return nullptr;
}
const char *ElfSection::namedGroup() {
    return nullptr;
}
uint32_t ElfSection::namedGroupOffset() {
    return 0;
}
void ElfSection::setSectionGroup(SectionGroup *) {}
void ElfSection::setGroupOffset(uint32_t) {}
uint32_t ElfSection::groupOffset() {
    return 0;
}
uint32_t ElfSection::alignment() {
    return header.sh_addralign;
}
ObjectFile *ElfSection::objectFile() {
    return file;
}

bool ElfSection::isAllocated() {
    if (file && file->isSharedObject()) return false;
    return (header.sh_flags & SHF_ALLOC) != 0;
}

bool ElfSection::isLoadable() {
    return true;
}
bool ElfSection::isNote() {
    return header.sh_type == SHT_NOTE;
}
bool ElfSection::isContentSection() {
    return true;
}
bool ElfSection::isAbsolute() {
    return false;
}
bool ElfSection::isExecutable() {
    return (header.sh_flags & SHF_EXECINSTR) != 0;
}
bool ElfSection::isWritable() {
    return (header.sh_flags & SHF_WRITE) != 0;
}
bool ElfSection::isBss() {
    return header.sh_type == SHT_NOBITS;
}
Elf32_Shdr *ElfSection::elfHeader() {
    return &header;
}
uint32_t ElfSection::address() {
    return header.sh_addr;
}
void ElfSection::setAddress(uint32_t address) {
    header.sh_addr = address;
}
uint32_t ElfSection::loadAddress() {
    return header.sh_addr;
}
void ElfSection::setLoadAddress(uint32_t address) {
    header.sh_addr = address;
}
uint32_t ElfSection::inputAddress() {
    return 0;
}
RelocationsIterator *ElfSection::relocations() {
    return nullptr;
}
RelocationsIterator *ElfSection::outputRelocations() {
    return relocations();
}
uint32_t ElfSection::fileOffset() {
    return header.sh_offset;
}
void ElfSection::setFileOffset(uint32_t offset) {
    header.sh_offset = offset;
}
ElfSection *ElfSection::asElfSection() {
    return this;
}
bool ElfSection::isComdat() {
    return header.sh_type == SHT_COMDAT;
}

void ElfSection::discard() {
    RelocatableSection::discard();
    header.sh_flags = 0;
}

uint32_t ElfSection::comdatSelection() {
    if (header.sh_flags & SHF_ORDERED) return 0;
    switch (header.sh_info) {
    case 1:
        return 1;
    case 3:
        return 2;
    default:
        return 0;
    }
}

Section *ElfSection::boundSection() {
    uint32_t type = header.sh_type;
    if ((type == SHT_PROGBITS || type == SHT_COMDAT || type == SHT_NOTE) && header.sh_link != 0 &&
        file) {
        ElfSection *partner = file->sectionAt(header.sh_link);
        if (partner) {
            uint32_t partnerType = partner->header.sh_type;
            if (partnerType == SHT_PROGBITS || partnerType == SHT_NOTE ||
                partnerType == SHT_NOBITS || partnerType == SHT_COMDAT)
                return partner;
        }
    }
    return this;
}

bool ElfSection::attributeA() {
    return false;
}
bool ElfSection::attributeB() {
    return true;
}
bool ElfSection::attributeC() {
    return (header.sh_flags & 0x01000000) != 0;
}
bool ElfSection::attributeD() {
    return (header.sh_flags & 0x02000000) != 0;
}
bool ElfSection::attributeE() {
    return true;
}
void ElfSection::remapContents() {}
void ElfSection::setOutputSection(Section *) {}
bool ElfSection::attributeF() {
    return false;
}
void ElfSection::setAttributeF(bool) {}
bool ElfSection::adjustSize() {
    return false;
}

void ElfSection::addRelocations(ElfSection &table) {
    botch("In file %O: Relocation section %s references a non-data section %s", fileName(),
          table.name(), sectionName);
}

bool ElfSection::isValid() {
    return true;
}
ElfSymtabSection *ElfSection::asSymtab() {
    return nullptr;
}
ElfStrtabSection *ElfSection::asStrtab() {
    return nullptr;
}
ElfReltabSection *ElfSection::asReltab() {
    return nullptr;
}
ElfOutputSection *ElfSection::asElfOutputSection() {
    return nullptr;
}
ElfImportSectionFromInput *ElfSection::asImportSection() {
    return nullptr;
}

void ElfSection::setDynIndex(uint32_t index) {
    botch("ElfSection::setDynIndex(%d) [\"%s\"]", index, sectionName);
}

uint32_t ElfSection::dynIndex() {
    return 0;
}
Section *ElfSection::associatedDynReltab() {
    return nullptr;
}

void ElfSection::setAssociatedDynReltab(Section *) {
    botch("ElfSection::setAssociatedDynReltab() [\"%s\"]", sectionName);
}

bool ElfSection::reservedPredicate() {
    return false;
}

void ElfSection::setObjectFile(ElfObjectFile *newFile) {
    if (file == nullptr)
        file = newFile;
    else if (file != newFile)
        botch("Attempting to alter objfile of section");
}
