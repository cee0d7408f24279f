// SectionGroup: an ordered run of output sections that a link lays out
// together, one behind the other, in memory and in the file.  `add` appends
// a section at the next offset its alignment allows; `assignAddress`,
// `assignLoadAddress` and `assignFileOffset` then place every member in one
// pass, and `relayout` does it all again after a member changed its size.
//
// A group may come with a layout rule from the linker's layout side
// (SectionGroupRule): a fixed address, an alignment, a declared size and
// access bits.  The group never owns its members.
#pragma once

#include "object/Section.h"
#include "support/array.h"

#include <cstdint>

// What the linker's layout side tells a group about itself.  Only the layout
// side makes these; the group reads them once, in its constructor.
class SectionGroupRule {
public:
    virtual ~SectionGroupRule();
    // A byte the layout side keeps with the group; never read here.
    virtual uint8_t flag() = 0;
    // The group's alignment; 0 counts as 1.
    virtual uint32_t alignment() = 0;
    // A fixed start address, or all ones for none.
    virtual uint32_t address() = 0;
    // A declared size, or 0 for none.
    virtual uint32_t size() = 0;
    // Access bits 1, 2 and 4, or 0 when the rule gives none.
    virtual uint32_t accessBits() = 0;
};

class SectionGroup {
public:
    static constexpr uint32_t none = 0xFFFFFFFF;

    // `address` is all ones for a group that has none yet; a layout rule's address
    // takes precedence.  `groupFlag` is kept for the layout side.
    SectionGroup(uint8_t groupFlag, SectionGroupRule *layoutRule, uint32_t address);
    SectionGroup(const SectionGroup &) = delete;
    SectionGroup &operator=(const SectionGroup &) = delete;
    virtual ~SectionGroup();

    // Appends the section at the next offset that its alignment allows and
    // returns that offset.
    virtual uint32_t add(Section *section);
    virtual uint32_t address();
    virtual uint32_t loadAddress();

    // The members in order.
    void each(SectionVisitor visitor);
    // The fixed type, else that of the first member; null without members.
    SectionType sectionType();
    // Gives every member its file offset, counted from `base`.
    void assignFileOffset(uint32_t base);
    // Gives every member its address, starting at `value`.
    void assignAddress(uint32_t value);
    // Gives every member its load address, starting at `value`.
    void assignLoadAddress(uint32_t value);
    // The size of the members with their alignment, or the declared size
    // when that is larger.
    uint32_t size();
    // Lays the members out again after one of them changed its size.
    void relayout();

    uint32_t fileSize() { return fileBytes; }
    uint32_t fileOffset() { return fileStart; }
    uint32_t alignment() { return groupAlignment; }
    uint32_t memberCount() { return members.count; }
    // What the constructor stored for the layout side: its flag byte, the
    // rule's flag byte, whether an address was given, the access bits (4, 2,
    // 1 for the rule's 1, 2, 4) and whether the rule gave any.
    uint8_t groupFlagByte() { return groupFlag; }
    uint8_t ruleFlagByte() { return ruleFlag; }
    bool hadAddress() { return hasAddress; }
    uint32_t accessBits() { return access; }
    bool hasAccessBits() { return hasAccess; }
    // A type for the whole group, whatever its members are; null lets the
    // first member decide.
    void setSectionType(SectionType type) { fixedType = type; }

private:
    uint32_t start;
    uint32_t loadStart;
    dynarray<Section *> members{16}; // not owned
    uint32_t memoryBytes = 0;
    uint32_t fileBytes = 0;
    uint32_t declaredSize = none;
    uint32_t fileStart = 0;
    uint32_t groupAlignment = 1;
    SectionType fixedType = SectionType::null;
    SectionGroupRule *layoutRule;
    // Kept for the layout side, never read by the layout here.
    uint32_t access = 0;
    uint8_t ruleFlag = 0;
    bool hasAddress;
    uint8_t groupFlag;
    bool hasAccess = false;
    bool loadAddressSet = false;
};
