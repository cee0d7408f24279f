// The layout of a section group: members placed one behind the other, each at
// the next offset its alignment allows, in memory and in the file.
#include "object/SectionGroup.h"

#include "support/align.h"
#include "support/botch.h"
#include "support/formout.h"
#include "support/toggles.h"

#include <algorithm>
#include <memory>

SectionGroupRule::~SectionGroupRule() = default;

SectionGroup::SectionGroup(uint8_t groupFlag, SectionGroupRule *layoutRule, uint32_t address)
    : start(address), loadStart(address), layoutRule(layoutRule), hasAddress(address != none),
      groupFlag(groupFlag) {
    if (!layoutRule) return;
    ruleFlag = layoutRule->flag();
    groupAlignment = std::max<uint32_t>(layoutRule->alignment(), 1);
    if (uint32_t fixed = layoutRule->address(); fixed != none) {
        start = fixed;
        if (fixed % groupAlignment != 0)
            botch("SectionGroup -- alignment in consistent with adddress addr=0x%lx, align=0x%x",
                  fixed, groupAlignment);
    }
    if (uint32_t declared = layoutRule->size(); declared != 0) declaredSize = declared;
    if (uint32_t bits = layoutRule->accessBits(); bits != 0) {
        access = ((bits & 1) ? 4 : 0) | ((bits & 2) ? 2 : 0) | ((bits & 4) ? 1 : 0);
        hasAccess = true;
    }
}

SectionGroup::~SectionGroup() = default;

uint32_t SectionGroup::add(Section *section) {
    members.append(section);
    uint32_t align = section->alignment();
    if (align == 0) align = 1;
    uint32_t offset = roundUp(memoryBytes, align);
    if (uint32_t bytes = section->fileSize(); bytes != 0) fileBytes = offset + bytes;
    memoryBytes = offset + section->size();
    groupAlignment = std::max(groupAlignment, align);
    if (section->sectionGroup() == this) section->setGroupOffset(offset);
    return offset;
}

uint32_t SectionGroup::address() {
    return start;
}

uint32_t SectionGroup::loadAddress() {
    return loadStart;
}

void SectionGroup::each(SectionVisitor visitor) {
    for (Section *member : members)
        if (!visitor(*member)) return;
}

SectionType SectionGroup::sectionType() {
    if (fixedType != SectionType::null) return fixedType;
    return members.count ? members[0]->sectionType() : SectionType::null;
}

void SectionGroup::assignFileOffset(uint32_t base) {
    fileStart = base;
    uint32_t memory = 0;
    uint32_t file = 0;
    for (Section *member : members) {
        memory = roundUp(memory, member->alignment());
        // A member without contents takes the file position where it stands
        // and uses no room there.
        if (member->fileSize() != 0) file = memory;
        member->setFileOffset(base + file);
        file += member->fileSize();
        memory += member->size();
    }
    if (file != fileBytes) {
        for (Section *member : members)
            traceOut().print("sec %s: size=%d, fileoff=%d\n", member->name(), member->fileSize(),
                             member->fileOffset() - base);
        traceOut().flush();
        botch("SectionGroup::assignFileOffset -- sizes don't jive %d vs %d", file, fileBytes);
    }
}

void SectionGroup::assignAddress(uint32_t value) {
    start = value;
    if (!loadAddressSet) loadStart = value;
    uint32_t current = value;
    for (Section *member : members) {
        if (current == start && member->isAbsolute()) {
            // An absolute section at the head of the group stays where it is.
            if (member->address() != current)
                botch("SectionGroup::assignAddress -- redefining ABS section %s!", member->name());
        } else {
            current = roundUp(current, member->alignment());
        }
        member->setAddress(current);
        current += member->size();
    }
    uint32_t extent = current - value;
    // When the start is not aligned as the group is, the members' rounding
    // may have moved them, and the extent may differ from the size.
    if (value % groupAlignment == 0 && extent != memoryBytes)
        botch("SectionGroup::assignAddress -- sizes don't jive (0x%lx vs. %lx)", extent,
              memoryBytes);
    memoryBytes = std::max(memoryBytes, extent);
}

void SectionGroup::assignLoadAddress(uint32_t value) {
    loadAddressSet = true;
    loadStart = value;
    uint32_t offset = 0;
    for (Section *member : members) {
        offset = roundUp(offset, member->alignment());
        member->setLoadAddress(value + offset);
        offset += member->size();
    }
}

uint32_t SectionGroup::size() {
    return declaredSize != none ? std::max(memoryBytes, declaredSize) : memoryBytes;
}

void SectionGroup::relayout() {
    std::unique_ptr<Section *[]> old = std::make_unique<Section *[]>(members.count);
    uint32_t count = members.count;
    std::copy(members.begin(), members.end(), old.get());
    members.count = 0;
    memoryBytes = 0;
    fileBytes = 0;
    for (uint32_t i = 0; i < count; ++i)
        add(old[i]);
    if (start != none) assignAddress(start);
    if (fileStart != 0) assignFileOffset(fileStart);
    if (loadAddressSet) assignLoadAddress(loadStart);
}
