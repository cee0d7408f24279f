#include "elf/ElfOutputSection.h"

#include "elf/ElfObjectFile.h"
#include "object/CombinedSection.h"
#include "object/SectionGroup.h"
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"
#include "support/array.h"
#include "support/botch.h"
#include "support/quickSort.h"

#include <utility>

namespace {

Elf32_Shdr emptyHeader() {
    Elf32_Shdr header{};
    header.sh_addralign = 1;
    return header;
}

constexpr uint32_t accessFlags = SHF_WRITE | SHF_ALLOC | SHF_EXECINSTR;

// SHF_WRITE, SHF_ALLOC and SHF_EXECINSTR as the section's answers give them.
uint32_t accessFlagsOf(Section &section) {
    uint32_t flags = 0;
    if (section.isWritable()) flags |= SHF_WRITE;
    if (section.isAllocated()) flags |= SHF_ALLOC;
    if (section.isExecutable()) flags |= SHF_EXECINSTR;
    return flags;
}

// The value of a section's first relocation; 0 without relocations.
uint32_t orderKey(Section &section) {
    uint32_t key = 0;
    if (RelocationsIterator *table = section.relocations()) {
        table->each([&](RelocationDescriptor &entry) {
            key = entry.value();
            return false;
        });
    }
    return key;
}

// The address of the section that an ordered member's sh_info names, when
// the member has such a link and lives in an ELF file that holds that
// section.
bool linkedAddress(Section &member, uint32_t &address) {
    Elf32_Shdr *header = member.elfHeader();
    if (!header || header->sh_info == 0) return false;
    ObjectFile *file = member.objectFile();
    ElfObjectFile *elf = file ? file->asElfObjectFile() : nullptr;
    if (!elf) return false;
    ElfSection *linked = elf->sectionAt(header->sh_info);
    // A link to an empty slot orders the member as if it had none, by its
    // relocations: a damaged link should not put the member first.
    if (!linked) return false;
    address = linked->address();
    return true;
}

bool orderedBefore(Section &a, Section &b) {
    uint32_t first, second;
    if (linkedAddress(a, first) && linkedAddress(b, second)) return first < second;
    return orderKey(a) < orderKey(b);
}

} // namespace

// ElfSectionForOutput

ElfSectionForOutput::ElfSectionForOutput(const char *name, ElfObjectFile *file)
    : ElfSection(name, emptyHeader(), file) {}

ElfSectionForOutput::~ElfSectionForOutput() = default;

void ElfSectionForOutput::setNamedGroup(const char *name) {
    groupName = name;
}
void ElfSectionForOutput::setNamedGroupOffset(uint32_t offset) {
    groupNameOffset = offset;
}
const char *ElfSectionForOutput::namedGroup() {
    return groupName;
}
uint32_t ElfSectionForOutput::namedGroupOffset() {
    return groupNameOffset;
}
void ElfSectionForOutput::setSectionGroup(SectionGroup *sectionGroup) {
    group = sectionGroup;
}
void ElfSectionForOutput::setGroupOffset(uint32_t offset) {
    offsetInGroup = offset;
}
SectionGroup *ElfSectionForOutput::sectionGroup() {
    return group;
}
uint32_t ElfSectionForOutput::groupOffset() {
    return offsetInGroup;
}
OutputSectionSpec *ElfSectionForOutput::outputSectionSpec() {
    return layoutRule;
}
void ElfSectionForOutput::setOutputSectionSpec(OutputSectionSpec *rule) {
    layoutRule = rule;
}
Section *ElfSectionForOutput::outputSection() {
    return this;
}
void ElfSectionForOutput::setDynIndex(uint32_t index) {
    dynamicIndex = index;
}
uint32_t ElfSectionForOutput::dynIndex() {
    return dynamicIndex;
}
Section *ElfSectionForOutput::associatedDynReltab() {
    return dynReltab;
}
void ElfSectionForOutput::setAssociatedDynReltab(Section *table) {
    dynReltab = table;
}

// ElfOutputSection

ElfOutputSection::ElfOutputSection(Section *wrapped, ElfObjectFile *file)
    : ElfSectionForOutput(wrapped->name(), file), wrapped(wrapped) {
    wrapped->setOutputSection(this);
    buildHeader();
}

ElfOutputSection::~ElfOutputSection() = default;

void ElfOutputSection::setSectionSymbol(Symbol *symbol) {
    wrapped->setSectionSymbol(symbol);
}
Symbol *ElfOutputSection::sectionSymbol() {
    return wrapped->sectionSymbol();
}
void ElfOutputSection::setIndex(uint32_t index) {
    wrapped->setIndex(index);
}
uint32_t ElfOutputSection::index() {
    return wrapped->index();
}
uint32_t ElfOutputSection::size() {
    return wrapped->size();
}
uint32_t ElfOutputSection::fileSize() {
    return wrapped->fileSize();
}
void ElfOutputSection::setSectionGroup(SectionGroup *sectionGroup) {
    wrapped->setSectionGroup(sectionGroup);
}
void ElfOutputSection::setGroupOffset(uint32_t offset) {
    wrapped->setGroupOffset(offset);
}
SectionGroup *ElfOutputSection::sectionGroup() {
    return wrapped->sectionGroup();
}
uint32_t ElfOutputSection::groupOffset() {
    return wrapped->groupOffset();
}

void ElfOutputSection::setAlignment(uint32_t alignment) {
    wrapped->setAlignment(alignment);
    header.sh_addralign = wrapped->alignment();
}

bool ElfOutputSection::isAbsolute() {
    return wrapped->isAbsolute();
}
void ElfOutputSection::setAbsolute(bool absolute) {
    wrapped->setAbsolute(absolute);
}

Elf32_Shdr *ElfOutputSection::elfHeader() {
    if (header.sh_type == SHT_PROGBITS && wrapped->isBss()) {
        header.sh_type = SHT_NOBITS;
        header.sh_flags = (header.sh_flags & ~accessFlags) | accessFlagsOf(*wrapped);
    }
    return &header;
}

uint32_t ElfOutputSection::address() {
    return wrapped->address();
}
void ElfOutputSection::setAddress(uint32_t address) {
    wrapped->setAddress(address);
    header.sh_addr = wrapped->loadAddress();
}
uint32_t ElfOutputSection::loadAddress() {
    return wrapped->loadAddress();
}
void ElfOutputSection::setLoadAddress(uint32_t address) {
    header.sh_addr = address;
    wrapped->setLoadAddress(address);
}
bool ElfOutputSection::hasAddress() {
    return wrapped->hasAddress();
}
void ElfOutputSection::eachRawDataChunk(RawDataChunkVisitor visitor) {
    wrapped->eachRawDataChunk(visitor);
}
RelocationsIterator *ElfOutputSection::relocations() {
    return wrapped->relocations();
}
RelocationsIterator *ElfOutputSection::outputRelocations() {
    return wrapped->outputRelocations();
}
void ElfOutputSection::eachMember(SectionVisitor visitor) {
    wrapped->eachMember(visitor);
}
void ElfOutputSection::appendSection(Section *section) {
    wrapped->appendSection(section);
}
Section *ElfOutputSection::firstMember() {
    return wrapped->firstMember();
}
OutputSectionSpec *ElfOutputSection::outputSectionSpec() {
    return wrapped->outputSectionSpec();
}
void ElfOutputSection::setOutputSectionSpec(OutputSectionSpec *rule) {
    wrapped->setOutputSectionSpec(rule);
}
bool ElfOutputSection::attributeA() {
    return wrapped->attributeA();
}
bool ElfOutputSection::attributeB() {
    return wrapped->attributeB();
}
bool ElfOutputSection::attributeE() {
    return wrapped->attributeE();
}

void ElfOutputSection::remapContents() {
    uint32_t before = size();
    wrapped->remapContents();
    buildHeader();
    if (size() != before) {
        if (SectionGroup *layout = sectionGroup()) layout->relayout();
    }
}

bool ElfOutputSection::attributeF() {
    return wrapped->attributeF();
}
void ElfOutputSection::setAttributeF(bool value) {
    wrapped->setAttributeF(value);
}

bool ElfOutputSection::adjustSize() {
    bool changed = wrapped->adjustSize();
    refreshSize();
    if (changed) {
        if (SectionGroup *layout = sectionGroup()) layout->relayout();
    }
    return changed;
}

ElfOutputSection *ElfOutputSection::asElfOutputSection() {
    return this;
}

bool ElfOutputSection::reservedPredicate() {
    Section *first = firstMember();
    ElfSection *elf = first ? first->asElfSection() : nullptr;
    return elf && elf->reservedPredicate();
}

void ElfOutputSection::buildHeader() {
    if (Elf32_Shdr *given = wrapped->elfHeader()) {
        header = *given;
        return;
    }
    header.sh_entsize = 1;
    header.sh_flags = 0;
    uint32_t type = wrapped->isBss() ? SHT_NOBITS : SHT_PROGBITS;
    if (wrapped->sectionType() == SectionType::note) type = SHT_NOTE;

    Section *first = wrapped->firstMember();
    if (Elf32_Shdr *member = first ? first->elfHeader() : nullptr) {
        uint32_t memberType = member->sh_type;
        // A COMDAT section stays one only in relocatable output.
        bool relocatableOutput = file && file->header.e_type == ET_REL;
        if (memberType != SHT_NOBITS && memberType != SHT_PROGBITS &&
            (relocatableOutput || memberType != SHT_COMDAT))
            type = memberType;
        header.sh_entsize = member->sh_entsize ? member->sh_entsize : 1;
        if ((member->sh_flags & SHF_ORDERED) && member->sh_info != 0)
            header.sh_flags |= SHF_ORDERED;
    }

    header.sh_type = type;
    header.sh_addr = wrapped->loadAddress();
    header.sh_offset = 0;
    refreshSize();
    header.sh_addralign = wrapped->alignment();
    header.sh_flags |= accessFlagsOf(*wrapped);
}

void ElfOutputSection::refreshSize() {
    CombinedSection *combined = wrapped->asCombinedSection();
    if (header.sh_type != SHT_NOBITS && combined &&
        combined->hasFlag(CombinedSection::hasMinimumSize))
        header.sh_size = wrapped->fileSize();
    else
        header.sh_size = wrapped->size();
}

void ElfOutputSection::unmapInputSections() {
    CombinedSection *combined = wrapped->asCombinedSection();
    if (!combined) botch("ElfOutputSection::unmapInputSections");
    combined->clearMembers();
}

void ElfOutputSection::rewireOrderedSections() {
    CombinedSection *combined = wrapped->asCombinedSection();
    if (!combined) botch("ElfOutputSection::rewireOrderedSections");

    dynarray<Section *> members(combined->memberCount());
    combined->eachMember([&](Section &member) {
        members.append(&member);
        return true;
    });
    if (members.count > 1)
        quickSort(
            0, static_cast<int32_t>(members.count) - 1,
            [&](int32_t a, int32_t b) { std::swap(members[a], members[b]); },
            [&](int32_t a, int32_t b) { return orderedBefore(*members[a], *members[b]); });

    combined->clearMembers();
    for (Section *member : members) {
        uint32_t offset = combined->reserve(member->size(), member->alignment());
        combined->mapInto(member, offset);
    }
}
