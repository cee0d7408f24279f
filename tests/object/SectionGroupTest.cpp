// SectionGroup: offsets of added sections, the layout of addresses, load
// addresses and file offsets, relayout, and the layout rule of the linker.
#include "object/SectionGroup.h"
#include "LayoutTestKit.h"

#include <gtest/gtest.h>

#include <csignal>
#include <memory>

namespace {

class Rule : public SectionGroupRule {
public:
    uint8_t flag() override { return 7; }
    uint32_t alignment() override { return align; }
    uint32_t address() override { return at; }
    uint32_t size() override { return declared; }
    uint32_t accessBits() override { return bits; }

    uint32_t align = 1;
    uint32_t at = SectionGroup::none;
    uint32_t declared = 0;
    uint32_t bits = 0;
};

class SectionGroupTest : public testing::Test {
protected:
    LayoutSection &section(const char *name, uint32_t size, uint32_t alignment = 1) {
        sections.push_back(std::make_unique<LayoutSection>(&file, name, size, alignment));
        return *sections.back();
    }

    FileName name{"a.o"};
    TestObjectFile file{name};
    std::vector<std::unique_ptr<LayoutSection>> sections;
};

TEST_F(SectionGroupTest, AddPlacesEachSectionAtItsAlignment) {
    SectionGroup group(0, nullptr, SectionGroup::none);
    LayoutSection &a = section(".text", 6, 4);
    LayoutSection &empty = section(".empty", 0, 8);
    LayoutSection &b = section(".data", 0x10, 8);
    LayoutSection &z = section(".bss", 0x20, 0); // alignment 0 counts as 1
    b.group = &group;
    z.bss = true;
    EXPECT_EQ(group.add(&a), 0u);
    // An empty section rounds the running size up by its alignment.
    EXPECT_EQ(group.add(&empty), 8u);
    EXPECT_EQ(group.size(), 8u);
    EXPECT_EQ(group.add(&b), 8u);
    EXPECT_EQ(group.add(&z), 0x18u);
    EXPECT_EQ(group.size(), 0x38u);
    EXPECT_EQ(group.fileSize(), 0x18u); // bss takes no file room
    EXPECT_EQ(group.alignment(), 8u);
    EXPECT_EQ(group.memberCount(), 4u);
    // Only a member that names this group as its own hears its offset.
    EXPECT_EQ(b.groupOffsetGiven, 8u);
    EXPECT_EQ(a.groupOffsetGiven, 0xDEADu);
    std::vector<std::string> order;
    group.each([&](Section &s) {
        order.push_back(s.name());
        return s.name() != std::string(".data");
    });
    EXPECT_EQ(order, (std::vector<std::string>{".text", ".empty", ".data"}));
}

TEST_F(SectionGroupTest, TypeIsFixedOrTheFirstMembers) {
    SectionGroup group(0, nullptr, SectionGroup::none);
    EXPECT_EQ(group.sectionType(), SectionType::null);
    LayoutSection &code = section(".text", 4);
    code.executable = true;
    group.add(&code);
    group.add(&section(".data", 4));
    EXPECT_EQ(group.sectionType(), SectionType::text);
    group.setSectionType(SectionType::data);
    EXPECT_EQ(group.sectionType(), SectionType::data);
}

TEST_F(SectionGroupTest, AssignAddressesAndLoadAddresses) {
    SectionGroup group(0, nullptr, SectionGroup::none);
    EXPECT_EQ(group.address(), SectionGroup::none);
    EXPECT_FALSE(group.hadAddress());
    EXPECT_FALSE(group.hasAccessBits());
    LayoutSection &a = section("a", 6, 4);
    LayoutSection &b = section("b", 0x10, 8);
    group.add(&a);
    group.add(&b);
    group.assignAddress(0x1000);
    EXPECT_EQ(a.at, 0x1000u);
    EXPECT_EQ(b.at, 0x1008u);
    EXPECT_EQ(group.address(), 0x1000u);
    EXPECT_EQ(group.loadAddress(), 0x1000u);
    group.assignLoadAddress(0x8002);
    EXPECT_EQ(a.loadAt, 0x8002u);
    EXPECT_EQ(b.loadAt, 0x800Au); // offsets, not addresses, are rounded
    // Once set, the load address stays when the address moves.
    group.assignAddress(0x2000);
    EXPECT_EQ(group.loadAddress(), 0x8002u);
    // A start that is not aligned as the group is moves members: no check,
    // and the size grows to what the pass used.
    group.assignAddress(0x3004);
    EXPECT_EQ(a.at, 0x3004u);
    EXPECT_EQ(b.at, 0x3010u);
    EXPECT_EQ(group.size(), 0x1Cu);
}

TEST_F(SectionGroupTest, AbsoluteSectionAtTheHeadKeepsItsPlace) {
    SectionGroup group(0, nullptr, SectionGroup::none);
    LayoutSection &abs = section("abs", 3, 16);
    abs.absolute = true;
    abs.at = 0x4000;
    LayoutSection &next = section("next", 4, 4);
    group.add(&abs);
    group.add(&next);
    // The group starts aligned, so the absolute head adds no padding.
    group.assignAddress(0x4000);
    EXPECT_EQ(abs.at, 0x4000u);
    EXPECT_EQ(next.at, 0x4004u);
    EXPECT_EXIT(group.assignAddress(0x5000), testing::ExitedWithCode(3),
                "SectionGroup::assignAddress -- redefining ABS section abs!");
}

TEST_F(SectionGroupTest, SizesThatDisagreeStopTheRun) {
    SectionGroup group(0, nullptr, SectionGroup::none);
    LayoutSection &a = section("a", 8, 4);
    group.add(&a);
    a.bytes = 12; // changed behind the group's back, no relayout
    EXPECT_EXIT(group.assignAddress(0x100), testing::ExitedWithCode(3),
                "SectionGroup::assignAddress -- sizes don't jive \\(0xc vs. 8\\)");
    EXPECT_EXIT(group.assignFileOffset(0x40), testing::ExitedWithCode(3),
                "SectionGroup::assignFileOffset -- sizes don't jive 12 vs 8");
}

TEST_F(SectionGroupTest, FileOffsetsSkipSectionsWithoutContents) {
    SectionGroup group(0, nullptr, SectionGroup::none);
    LayoutSection &a = section("a", 6, 1);
    LayoutSection &hole = section("hole", 0x10, 8);
    hole.bss = true;
    LayoutSection &b = section("b", 4, 4);
    group.add(&a);
    group.add(&hole);
    group.add(&b);
    EXPECT_EQ(group.fileSize(), 0x1Cu);
    group.assignFileOffset(0x200);
    EXPECT_EQ(group.fileOffset(), 0x200u);
    EXPECT_EQ(a.offsetInFile, 0x200u);
    EXPECT_EQ(hole.offsetInFile, 0x206u); // where it stands, using no room
    EXPECT_EQ(b.offsetInFile, 0x218u);
}

TEST_F(SectionGroupTest, RelayoutAfterAMemberGrew) {
    SectionGroup group(0, nullptr, 0x1000);
    LayoutSection &a = section("a", 4, 4);
    LayoutSection &b = section("b", 4, 4);
    group.add(&a);
    group.add(&b);
    group.assignAddress(0x1000);
    group.assignFileOffset(0x100);
    group.assignLoadAddress(0x9000);
    a.bytes = 0x10;
    group.relayout();
    EXPECT_EQ(group.size(), 0x14u);
    EXPECT_EQ(group.memberCount(), 2u);
    EXPECT_EQ(b.at, 0x1010u);
    EXPECT_EQ(b.offsetInFile, 0x110u);
    EXPECT_EQ(b.loadAt, 0x9010u);
}

TEST_F(SectionGroupTest, LayoutRuleGivesAddressAlignmentSizeAndAccess) {
    Rule rule;
    rule.align = 0x100;
    rule.at = 0x2000;
    rule.declared = 0x1000;
    rule.bits = 1;
    SectionGroup group(1, &rule, 0x5000);
    EXPECT_EQ(group.groupFlagByte(), 1u);
    EXPECT_EQ(group.ruleFlagByte(), 7u);
    EXPECT_TRUE(group.hadAddress());
    EXPECT_TRUE(group.hasAccessBits());
    EXPECT_EQ(group.accessBits(), 4u);
    EXPECT_EQ(group.address(), 0x2000u);
    EXPECT_EQ(group.loadAddress(), 0x5000u);
    EXPECT_EQ(group.alignment(), 0x100u);
    group.add(&section("a", 0x10));
    EXPECT_EQ(group.size(), 0x1000u);
    rule.declared = 0x08;
    SectionGroup small(1, &rule, SectionGroup::none);
    small.add(&section("b", 0x10));
    EXPECT_EQ(small.size(), 0x10u);
    // Without a declared size or a fixed address the group keeps its own.
    Rule plain;
    plain.align = 0;
    plain.bits = 6;
    SectionGroup own(0, &plain, 0x44);
    EXPECT_EQ(own.accessBits(), 3u);
    EXPECT_EQ(own.address(), 0x44u);
    EXPECT_EQ(own.alignment(), 1u);
    rule.at = 0x2010;
    EXPECT_EXIT(SectionGroup(0, &rule, SectionGroup::none), testing::ExitedWithCode(3),
                "SectionGroup -- alignment in consistent with adddress addr=0x2010, align=0x100");
}

} // namespace
