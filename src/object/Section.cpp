// The base behaviour of Section and RelocatableSection, the section type
// names, and bindSections.  The operations that walk relocation tables are
// in Relocations.cpp.
#include "object/Section.h"

#include "input/FileName.h"
#include "object/ObjectFile.h"
#include "support/botch.h"
#include "support/error.h"
#include "support/formout.h"

#include <cstring>

namespace {

const char *const sectionTypeNames[8] = {"<null>", "abs",  "bss",  "data",
                                         "lit",    "text", "info", "note"};

// How many boundSection hops the current combinedSectionName call has made;
// more than 10 means that sections are bound to each other in a circle.
uint32_t boundNameDepth = 0;

} // namespace

const char *sectionTypeName(uint32_t type) {
    return type < 8 ? sectionTypeNames[type] : "?";
}

OutputSectionSpec::~OutputSectionSpec() = default;

Section::~Section() = default;

void Section::setCombinedSectionName(const char *) {
    botch("Section::setCombinedSectionName called for %s", name());
}

const char *Section::combinedSectionName() {
    return nullptr;
}
void Section::setSectionSymbol(Symbol *) {}
Symbol *Section::sectionSymbol() {
    return nullptr;
}
void Section::setIndex(uint32_t) {}
uint32_t Section::index() {
    return 0;
}
uint32_t Section::fileSize() {
    return isBss() ? 0 : size();
}
const char *Section::sectionClass() {
    return nullptr;
}
void Section::setClass(const char *) {
    botch("Section::setClass -- \"%s\"", name());
}
void Section::setNamedGroup(const char *) {
    botch("Section::setNamedGroup -- \"%s\"", name());
}

void Section::setNamedGroupOffset(uint32_t) {
    botch("Section::setNamedGroupOffset -- \"%s\"", name());
}

const char *Section::namedGroup() {
    return nullptr;
}
uint32_t Section::namedGroupOffset() {
    return 0;
}
void Section::setSectionGroup(SectionGroup *) {}
void Section::setGroupOffset(uint32_t) {}
SectionGroup *Section::sectionGroup() {
    return nullptr;
}
uint32_t Section::groupOffset() {
    return 0;
}
uint32_t Section::alignment() {
    return 4;
}
void Section::setAlignment(uint32_t) {
    botch("Section::setAlignment");
}
bool Section::isLoadable() {
    return true;
}
bool Section::isNote() {
    return false;
}
bool Section::isContentSection() {
    return true;
}
bool Section::isAbsolute() {
    return false;
}
void Section::setAbsolute(bool) {
    botch("Section::setAbsolute");
}

void Section::mapIntoCombinedSection(Section *, uint32_t) {
    botch("Section::mapIntoCombinedSectionAt");
}

Elf32_Shdr *Section::elfHeader() {
    return nullptr;
}
CoffSectionHeader *Section::coffHeader() {
    return nullptr;
}
void *Section::reservedPointer() {
    return nullptr;
}
uint32_t Section::address() {
    return 0;
}
void Section::setAddress(uint32_t) {
    botch("Section::setAddress");
}
uint32_t Section::loadAddress() {
    return address();
}
void Section::setLoadAddress(uint32_t) {
    botch("Section::setLoadAddress");
}

bool Section::hasAddress() {
    if (isAbsolute()) return true;
    uint32_t at = address();
    return at != 0 && at != 0xFFFFFFFFu;
}

uint32_t Section::inputAddress() {
    return 0;
}
RelocationsIterator *Section::outputRelocations() {
    return relocations();
}
Section *Section::combinedSection() {
    return nullptr;
}
uint32_t Section::offsetInCombinedSection() {
    return 0;
}
uint32_t Section::fileOffset() {
    return 0;
}
void Section::setFileOffset(uint32_t) {
    botch("Section::setFileOffset");
}
void Section::eachMember(SectionVisitor visitor) {
    visitor(*this);
}
void Section::appendSection(Section *) {
    botch("Section::appendSection called!");
}

Section *Section::firstMember() {
    Section *first = nullptr;
    eachMember([&](Section &member) {
        first = &member;
        return false;
    });
    return first;
}

Section *Section::lastMember() {
    Section *last = nullptr;
    eachMember([&](Section &member) {
        last = &member;
        return true;
    });
    return last;
}

SectionType Section::sectionType() {
    if (!isAllocated()) return isNote() ? SectionType::note : SectionType::info;
    if (isBss() && isWritable()) return SectionType::bss;
    if (isWritable()) return SectionType::data;
    // An allocated read-only section, with or without contents.
    if (isExecutable()) return SectionType::text;
    return SectionType::lit;
}

CombinedSection *Section::asCombinedSection() {
    return nullptr;
}
CoffSection *Section::asCoffSection() {
    return nullptr;
}
ElfSection *Section::asElfSection() {
    return nullptr;
}
BsdSection *Section::asBsdSection() {
    return nullptr;
}
ArmSection *Section::asArmSection() {
    return nullptr;
}

OutputSectionSpec *Section::outputSectionSpec() {
    botch("Section::outputSectionSpec -- needs defining in output section \"%s\"", name());
}

void Section::setOutputSectionSpec(OutputSectionSpec *) {
    botch("Section::setOutputSectionSpec -- needs defining in output section?");
}

uint32_t Section::outputSectionSpecValue() {
    OutputSectionSpec *rule = outputSectionSpec();
    return rule ? rule->value() : 0;
}

void Section::displayHeader(FormatOut &out) {
    out.print("Section %s: size=0x%lx, type=%s, address=0x%lx\n", name(), size(),
              sectionTypeName(static_cast<uint32_t>(sectionType())), address());
}

void Section::displayContents(FormatOut &out) {
    out.print("%d bytes of data should be displayed here\n", size());
}

void Section::display(FormatOut &out) {
    displayHeader(out);
    displayContents(out);
}

uint32_t Section::reservedQuery1() {
    return 0;
}
uint32_t Section::reservedQuery2() {
    return 0;
}
bool Section::isComdat() {
    return false;
}
bool Section::isDiscarded() {
    return !isContentSection();
}

void Section::discard() {
    botch("Section::discard() called for %s of %O", name(),
          static_cast<const Printable *>(fileName()));
}

uint32_t Section::comdatSelection() {
    return 0;
}
Section *Section::boundSection() {
    return this;
}
bool Section::attributeA() {
    return false;
}
bool Section::attributeB() {
    return true;
}
bool Section::attributeC() {
    return false;
}
bool Section::attributeD() {
    return false;
}
bool Section::attributeE() {
    return true;
}

Section *Section::outermostSection() {
    Section *combined = combinedSection();
    return combined ? combined : this;
}

RelocatableSection *Section::asRelocatableSection() {
    return nullptr;
}
void Section::eachBoundSection(SectionVisitor) {}
bool Section::addBoundSection(Section *) {
    return false;
}
bool Section::isBound() {
    return false;
}
void Section::setBound(bool) {
    botch("Section::setBound() called!");
}
void Section::remapContents() {}

Section *Section::outputSection() {
    Section *combined = combinedSection();
    return combined ? combined->outputSection() : nullptr;
}

void Section::setOutputSection(Section *) {}
bool Section::attributeF() {
    return false;
}
void Section::setAttributeF(bool) {}
bool Section::adjustSize() {
    return false;
}

const FileName *Section::fileName() {
    ObjectFile *file = objectFile();
    return file ? file->fileName : nullptr;
}

RelocatableSection::RelocatableSection() = default;
RelocatableSection::~RelocatableSection() = default;

const char *RelocatableSection::combinedSectionName() {
    Section *bound = boundSection();
    if (bound && bound != this) {
        if (++boundNameDepth > 10) {
            boundNameDepth = 0;
            botch("%O: sections %s and %s are mutually bound to each other.",
                  static_cast<const Printable *>(fileName()), name(), bound->name());
        }
        const char *result = bound->combinedSectionName();
        --boundNameDepth;
        return result;
    }
    if (combinedName) return combinedName.get();
    const char *own = name();
    const char *cut = std::strchr(own, '%');
    if (!cut) cut = std::strchr(own, '$');
    if (!cut) return own;
    size_t length = static_cast<size_t>(cut - own);
    combinedName = std::make_unique<char[]>(length + 1);
    std::memcpy(combinedName.get(), own, length);
    combinedName[length] = '\0';
    return combinedName.get();
}

SectionGroup *RelocatableSection::sectionGroup() {
    return combined ? combined->sectionGroup() : nullptr;
}

void RelocatableSection::mapIntoCombinedSection(Section *into, uint32_t offset) {
    if (combined && (combined != into || combinedOffset != offset)) {
        botch("%s@%O mapIntoCombinedSection(%s,0x%ld) already mapped into %s at 0x%lx!", name(),
              static_cast<const Printable *>(fileName()), into ? into->name() : nullptr, offset,
              combined->name(), combinedOffset);
    }
    combined = into;
    combinedOffset = offset;
    discarded = false;
}

uint32_t RelocatableSection::address() {
    return combined ? combined->address() + combinedOffset : 0;
}

Section *RelocatableSection::combinedSection() {
    return combined;
}
uint32_t RelocatableSection::offsetInCombinedSection() {
    return combinedOffset;
}
bool RelocatableSection::isDiscarded() {
    return discarded;
}
void RelocatableSection::discard() {
    discarded = true;
}
RelocatableSection *RelocatableSection::asRelocatableSection() {
    return this;
}

void RelocatableSection::eachBoundSection(SectionVisitor visitor) {
    if (!boundSections) return;
    for (Section *section : *boundSections)
        if (!visitor(*section)) return;
}

bool RelocatableSection::addBoundSection(Section *section) {
    if (!boundSections) {
        boundSections = std::make_unique<dynarray<Section *>>(1);
    }
    boundSections->append(section);
    section->setBound(true);
    return true;
}

bool RelocatableSection::isBound() {
    return bound;
}
void RelocatableSection::setBound(bool value) {
    bound = value;
}

void bindSections(const char *prefix, ObjectFile &objectFile, const char *name,
                  const char *boundName, ErrorContext &errorContext) {
    const Printable *file = objectFile.fileName;
    Section *first = objectFile.findSection(name, SectionType::null);
    if (!first) errorContext.error("%s --%CCan't find section %s in %O\n", prefix, name, file);
    Section *second = objectFile.findSection(boundName, SectionType::null);
    if (!second)
        errorContext.error("%s --%CCan't find section %s in %O\n", prefix, boundName, file);
    if (!first || !second) return;
    if (first->isDiscarded()) {
        second->discard();
    } else if (second->isDiscarded()) {
        errorContext.error("%s --%Ccan't bind %s to %s%Cbecause the latter is a discarded COMDAT.",
                           prefix, name, boundName);
    } else if (!first->addBoundSection(second)) {
        botch("Can't bind to section in %s!", objectFile.name());
    }
}
