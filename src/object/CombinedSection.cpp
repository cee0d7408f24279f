// The mapping of member sections into a combined section, its stream of
// contents with the gaps filled, and the rebuilding of its member list.
#include "object/CombinedSection.h"

#include "input/FileName.h"
#include "object/ObjectFile.h"
#include "reloc/RelocationsIterator.h"
#include "support/align.h"
#include "support/botch.h"
#include "support/formout.h"
#include "support/toggles.h"

#include <algorithm>
#include <cstring>

namespace {

Toggle &mapTrace() {
    static Toggle &toggle = toggleTable().define("MAP", false);
    return toggle;
}

// The members' tables as one, each member answering its output relocations.
class OutputRelocationsAcrossSections : public RelocationsIteratorAcrossSections {
public:
    using RelocationsIteratorAcrossSections::RelocationsIteratorAcrossSections;
    RelocationsIterator *memberIterator(Section &section) override {
        return section.outputRelocations();
    }
};

const uint8_t x86Nops[4] = {0x90, 0x90, 0x90, 0x90};
const uint8_t machine5FNop[2] = {0x73, 0x3F};
const uint8_t coff17ANop[4] = {0x79, 0x40, 0x01, 0x01};
const uint8_t machine5DNopLittle[2] = {0xE0, 0x78};
const uint8_t machine5DNopBig[2] = {0x78, 0xE0};

// A gap filler: `pattern` of `patternLength` bytes repeated in pieces of
// `piece` bytes, each piece starting at the pattern's start.
struct GapPattern {
    const uint8_t *pattern;
    uint32_t patternLength;
    uint32_t piece;
};

const uint8_t zeros[16] = {};

// The no-op pattern that fills a gap of `n` bytes between code sections of
// `file`.
GapPattern codeFill(ObjectFile *file, uint32_t n) {
    if (!file) return {zeros, 16, 16};
    uint32_t machine = file->machine();
    if (machine == 3) return {x86Nops, 4, 4};
    if (machine == 0x5F && n % 2 == 0) return {machine5FNop, 2, 2};
    if (machine != 0 && machine != 0x5D) return {zeros, 16, 16}; // 0x5F with n odd too
    uint32_t coff = file->coffMachine();
    if ((coff == 0x17A || coff == 0x17B) && n % 4 == 0) return {coff17ANop, 4, 16};
    if (machine == 0x5D)
        return file->isLittleEndian() ? GapPattern{machine5DNopLittle, 2, 2}
                                      : GapPattern{machine5DNopBig, 2, 2};
    return {zeros, 16, 16};
}

} // namespace

SectionAppender::~SectionAppender() = default;
SectionMapper::~SectionMapper() = default;

// The one appender that every remapping hands to a mapper.
class CombinedSectionAppender : public SectionAppender {
public:
    void append(CombinedSection &combined, Section &section) override {
        combined.appendMapped(section);
    }
};

namespace {
CombinedSectionAppender theAppender;
}

CombinedSection::CombinedSection(const char *name, ObjectFile *objectFile)
    : members(std::strcmp(name, ".text") == 0 || std::strcmp(name, ".data") == 0 ? 2000 : 100),
      file(objectFile) {
    mapTrace();
    size_t length = std::strlen(name);
    sectionName = std::make_unique<char[]>(length + 1);
    std::memcpy(sectionName.get(), name, length + 1);
}

CombinedSection::~CombinedSection() = default;

const char *CombinedSection::name() {
    return sectionName.get();
}
const char *CombinedSection::combinedSectionName() {
    return nullptr;
}
void CombinedSection::setSectionSymbol(Symbol *value) {
    symbol = value;
}
Symbol *CombinedSection::sectionSymbol() {
    return symbol;
}
void CombinedSection::setIndex(uint32_t value) {
    outputIndex = value;
}
uint32_t CombinedSection::index() {
    return outputIndex;
}

uint32_t CombinedSection::size() {
    return hasFlag(hasMinimumSize) ? std::max(memoryEnd, minimumSize) : memoryEnd;
}

uint32_t CombinedSection::fileSize() {
    return hasFlag(noContents) ? 0 : contentsEnd;
}

const char *CombinedSection::sectionClass() {
    return classText;
}
void CombinedSection::setClass(const char *value) {
    classText = value;
}
void CombinedSection::setNamedGroup(const char *value) {
    group = value;
}
const char *CombinedSection::namedGroup() {
    return group;
}
void CombinedSection::setSectionGroup(SectionGroup *value) {
    layoutGroup = value;
}
void CombinedSection::setGroupOffset(uint32_t value) {
    offsetInGroup = value;
}
SectionGroup *CombinedSection::sectionGroup() {
    return layoutGroup;
}
uint32_t CombinedSection::groupOffset() {
    return offsetInGroup;
}
uint32_t CombinedSection::alignment() {
    return sectionAlignment;
}
void CombinedSection::setAlignment(uint32_t value) {
    sectionAlignment = std::max(sectionAlignment, value);
}
ObjectFile *CombinedSection::objectFile() {
    return file;
}
bool CombinedSection::isAllocated() {
    return hasFlag(allocated);
}
bool CombinedSection::isLoadable() {
    return hasFlag(loadable);
}
bool CombinedSection::isNote() {
    return hasFlag(note);
}
bool CombinedSection::isContentSection() {
    return true;
}
bool CombinedSection::isAbsolute() {
    return hasFlag(absolute);
}
void CombinedSection::setAbsolute(bool value) {
    setFlag(absolute, value);
    if (value) setFlag(addressSet, true);
}
bool CombinedSection::isExecutable() {
    return hasFlag(executable);
}
bool CombinedSection::isWritable() {
    return hasFlag(writable) || hasFlag(noContents);
}
bool CombinedSection::isBss() {
    return hasFlag(bss) || hasFlag(noContents) || contentsEnd == 0;
}
uint32_t CombinedSection::address() {
    return start;
}

void CombinedSection::setAddress(uint32_t value) {
    start = value;
    setFlag(addressSet, true);
    if (!hasFlag(loadAddressSet)) loadStart = value;
    for (Section *member : members)
        member->setAddress(value + member->offsetInCombinedSection());
}

uint32_t CombinedSection::loadAddress() {
    return loadStart;
}

void CombinedSection::setLoadAddress(uint32_t value) {
    loadStart = value;
    setFlag(loadAddressSet, true);
}

bool CombinedSection::hasAddress() {
    return hasFlag(addressSet);
}

bool CombinedSection::fillGap(RawDataChunkVisitor visitor, uint32_t at, uint32_t length,
                              Section &member, Section *previous) {
    GapPattern pattern{zeros, 16, 16};
    if (hasFlag(fillSet))
        pattern = {fill, 8, 8};
    else if (member.isExecutable() && (!previous || previous->isExecutable()))
        pattern = codeFill((previous ? previous : &member)->objectFile(), length);
    // Each piece gets a copy of its own, so a visitor that writes to its bytes
    // changes no pattern.
    uint8_t piece[16];
    for (uint32_t i = 0; i < pattern.piece; ++i)
        piece[i] = pattern.pattern[i % pattern.patternLength];
    while (length != 0) {
        uint32_t n = std::min(length, pattern.piece);
        if (!visitor(at, n, piece, nullptr)) return false;
        at += n;
        length -= n;
    }
    return true;
}

void CombinedSection::eachRawDataChunk(RawDataChunkVisitor visitor) {
    if (isBss()) return;
    Section *previous = nullptr;
    uint32_t next = 0;
    bool goOn = true;
    for (Section *member : members) {
        uint32_t offset = member->offsetInCombinedSection();
        uint32_t length = member->fileSize();
        if (static_cast<int32_t>(offset - next) > 0 &&
            !fillGap(visitor, next, offset - next, *member, previous))
            return;
        member->eachRawDataChunk(
            [&](uint32_t at, uint32_t size, uint8_t *bytes, RelocationsIterator *table) {
                if (size <= length && at <= length - size) {
                    goOn = visitor(at + offset, size, bytes, table);
                    return goOn;
                }
                if (size != 0)
                    botch("Section %s of %O: yielding offset %d, size %d, but actual size is %d!\n",
                          member->name(), static_cast<const Printable *>(member->fileName()), at,
                          size, length);
                return true; // an empty chunk past the end is dropped
            });
        if (!goOn) return;
        previous = member;
        next = offset + length;
    }
    if (next < contentsEnd && hasFlag(fillSet)) {
        uint8_t piece[8];
        std::memcpy(piece, fill, sizeof piece);
        for (uint32_t at = next; at < contentsEnd;) {
            uint32_t n = std::min<uint32_t>(contentsEnd - at, 8);
            if (!visitor(at, n, piece, nullptr)) return;
            at += n;
        }
    }
}

RelocationsIterator *CombinedSection::relocations() {
    if (hasFlag(noContents)) return nullptr;
    if (!relocationsView)
        relocationsView =
            std::make_unique<RelocationsIteratorAcrossSections>(new SectionMembers(*this));
    return relocationsView.get();
}

RelocationsIterator *CombinedSection::outputRelocations() {
    if (!outputRelocationsView)
        outputRelocationsView =
            std::make_unique<OutputRelocationsAcrossSections>(new SectionMembers(*this));
    return outputRelocationsView.get();
}

Section *CombinedSection::combinedSection() {
    return this;
}
uint32_t CombinedSection::offsetInCombinedSection() {
    return 0;
}
uint32_t CombinedSection::fileOffset() {
    return offsetInFile;
}
void CombinedSection::setFileOffset(uint32_t value) {
    offsetInFile = value;
}

void CombinedSection::eachMember(SectionVisitor visitor) {
    for (Section *member : members)
        if (!visitor(*member)) return;
}

void CombinedSection::appendSection(Section *section) {
    mapInto(section, roundUp(memoryEnd, section->alignment()));
}

Section *CombinedSection::firstMember() {
    return members.count ? members[0] : nullptr;
}
Section *CombinedSection::lastMember() {
    return members.count ? members[members.count - 1] : nullptr;
}

SectionType CombinedSection::sectionType() {
    return fixedType != SectionType::null ? fixedType : Section::sectionType();
}

CombinedSection *CombinedSection::asCombinedSection() {
    return this;
}
OutputSectionSpec *CombinedSection::outputSectionSpec() {
    return outputRule;
}
void CombinedSection::setOutputSectionSpec(OutputSectionSpec *rule) {
    outputRule = rule;
}

void CombinedSection::configureRelocations(uint8_t firstOption, uint8_t secondOption,
                                           ErrorContext &errorContext) {
    // A section without contents still passes the settings on to the
    // members' tables.
    bool hadNoContents = hasFlag(noContents);
    setFlag(noContents, false);
    Section::configureRelocations(firstOption, secondOption, errorContext);
    setFlag(noContents, hadNoContents);
}

bool CombinedSection::isDiscarded() {
    return false;
}
Section *CombinedSection::boundSection() {
    return this;
}
bool CombinedSection::attributeA() {
    return hasFlag(attributeAFlag);
}
bool CombinedSection::attributeB() {
    return hasFlag(attributeBFlag);
}
bool CombinedSection::attributeE() {
    return hasFlag(attributeEFlag);
}

void CombinedSection::appendMapped(Section &section) {
    uint32_t offset = reserve(section.size(), section.alignment());
    mapInto(&section, offset);
    if (mapTrace().isOn())
        traceOut().print("[MAP] Appending %s@%O to %s at offset 0x%lx\n", section.name(),
                         static_cast<const Printable *>(section.fileName()), name(), offset);
}

void CombinedSection::remapContents() {
    if (members.count == 0) return;
    dynarray<Section *> old(members.count);
    for (Section *member : members)
        old.append(member);
    clearMembers();
    if (!mapper) {
        if (mapTrace().isOn())
            traceOut().print("[MAP] remapContents of %s without mapper!\n", name());
        setFlag(allocated, false);
        setFlag(writable, false);
        for (Section *member : old) {
            mapInto(member, reserve(member->size(), member->alignment()));
            if (member->isAllocated()) setFlag(allocated, true);
            if (member->isWritable()) setFlag(writable, true);
        }
    } else {
        if (mapTrace().isOn()) traceOut().print("[MAP] remapContents of %s with mapper!\n", name());
        mapper->map(theAppender, nullptr);
        for (Section *member : old)
            if (!member->combinedSection()) appendMapped(*member);
    }
    if (mapTrace().isOn())
        traceOut().print("[MAP] section %s resized to 0x%lx!\n", name(), memoryEnd);
}

Section *CombinedSection::outputSection() {
    return output;
}
void CombinedSection::setOutputSection(Section *section) {
    output = section;
}
bool CombinedSection::attributeF() {
    return hasFlag(attributeFFlag);
}
void CombinedSection::setAttributeF(bool value) {
    setFlag(attributeFFlag, value);
}

bool CombinedSection::adjustSize() {
    bool changed = false;
    for (Section *member : members)
        changed = member->adjustSize() || changed;
    if (changed) remapContents();
    return changed;
}

void CombinedSection::mapInto(Section *section, uint32_t offset) {
    section->mapIntoCombinedSection(this, offset);
    Section *last = lastMember();
    uint32_t end = offset + section->size();
    if (section->fileSize() != 0 || contentsEnd != 0) contentsEnd = end;
    memoryEnd = std::max(memoryEnd, end);
    sectionAlignment = std::max(sectionAlignment, section->alignment());
    members.append(section);
    section->setAddress(start + offset);
    if (last && offset < last->offsetInCombinedSection() + last->size())
        botch("CombinedSection::mapInto: botch in section mapping");
}

uint32_t CombinedSection::memberCount() {
    return members.count;
}

uint32_t CombinedSection::reservedQuery() {
    return 0;
}

void CombinedSection::setFill(uint32_t value, uint32_t width) {
    if (width == 0) {
        setFlag(fillSet, false);
        return;
    }
    setFlag(fillSet, true);
    // Without an output file the pattern is laid out little-endian.
    bool little = !file || file->isLittleEndian();
    uint8_t unit[4];
    uint32_t unitLength = width == 1 ? 1 : width == 2 ? 2 : 4;
    for (uint32_t i = 0; i < unitLength; ++i) {
        uint32_t shift = 8 * (little ? i : unitLength - 1 - i);
        unit[i] = static_cast<uint8_t>(value >> shift);
    }
    for (uint32_t i = 0; i < 8; ++i)
        fill[i] = unit[i % unitLength];
}

void CombinedSection::applyAttributeMasks(const uint32_t masks[2]) {
    const struct {
        uint32_t bit;
        Flag flag;
    } bits[] = {{2, writable}, {4, executable}, {8, attributeAFlag}, {0x10, attributeBFlag}};
    for (auto &b : bits)
        if (masks[1] & b.bit) setFlag(b.flag, false);
    for (auto &b : bits)
        if (masks[0] & b.bit) setFlag(b.flag, true);
}

uint32_t CombinedSection::reserve(uint32_t bytes, uint32_t alignment) {
    uint32_t offset = roundUp(memoryEnd, alignment);
    memoryEnd += bytes;
    if (hasFlag(fillSet) || (contentsEnd % 8 != 0 && bytes < 8 && memoryEnd % 4 == 0))
        contentsEnd = memoryEnd;
    return offset;
}

void CombinedSection::clearMembers() {
    for (Section *member : members)
        if (RelocatableSection *input = member->asRelocatableSection()) input->unmap();
    memoryEnd = 0;
    contentsEnd = 0;
    members.count = 0;
}

void CombinedSection::setFlag(Flag flag, bool on) {
    flags = on ? flags | flag : flags & ~uint32_t(flag);
}
