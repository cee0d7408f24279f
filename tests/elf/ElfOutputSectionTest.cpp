#include "elf/ElfOutputSection.h"

#include "input/FileName.h"
#include "kit/OutputSectionKit.h"
#include "object/CombinedSection.h"
#include "object/SectionGroup.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

// A section that the linker makes itself, with no contents of its own.
class MadeSection : public ElfSectionForOutput {
public:
    using ElfSectionForOutput::ElfSectionForOutput;
    void eachRawDataChunk(RawDataChunkVisitor) override {}
};

// An input section that grows by `growth` bytes the first time it is asked
// to adjust its size.
class GrowingSection : public MemberSection {
public:
    using MemberSection::MemberSection;
    bool adjustSize() override {
        if (growth == 0) return false;
        shdr().sh_size += growth;
        growth = 0;
        return true;
    }
    uint32_t growth = 0;
};

class Rule : public OutputSectionSpec {
public:
    uint32_t value() override { return 7; }
};

std::vector<uint32_t> words(const Elf32_Shdr &h) {
    return {h.sh_name, h.sh_type, h.sh_flags, h.sh_addr,      h.sh_offset,
            h.sh_size, h.sh_link, h.sh_info,  h.sh_addralign, h.sh_entsize};
}

class ElfOutputSectionTest : public testing::Test {
protected:
    FileName name{"out.o"};
    FileName inputName{"in.o"};
    ElfObjectFile output{name};
    ElfObjectFile input{inputName};
    CombinedSection combined{".data", &output};
    std::vector<std::unique_ptr<MemberSection>> sections;

    MemberSection &member(const char *sectionName, uint32_t size, uint32_t alignment = 1,
                          uint32_t type = SHT_PROGBITS) {
        sections.push_back(
            std::make_unique<MemberSection>(sectionName, &input, size, alignment, type));
        return *sections.back();
    }

    std::string layout() { return memberLayout(combined); }
};

TEST_F(ElfOutputSectionTest, MadeSectionStartsEmptyAndKeepsItsFields) {
    MadeSection made(".symtab", &output);
    EXPECT_EQ(words(*made.elfHeader()), (std::vector<uint32_t>{0, 0, 0, 0, 0, 0, 0, 0, 1, 0}));
    EXPECT_TRUE(!made.namedGroup() && !made.sectionGroup() && !made.outputSectionSpec() &&
                made.dynIndex() == 0 && !made.associatedDynReltab());

    SectionGroup group(0, nullptr, SectionGroup::none);
    Rule rule;
    made.setNamedGroup("grp");
    made.setNamedGroupOffset(12);
    made.setSectionGroup(&group);
    made.setGroupOffset(0x40);
    made.setOutputSectionSpec(&rule);
    made.setDynIndex(5);
    made.setAssociatedDynReltab(&combined);
    EXPECT_STREQ(made.namedGroup(), "grp");
    EXPECT_EQ(made.namedGroupOffset(), 12u);
    EXPECT_EQ(made.sectionGroup(), &group);
    EXPECT_EQ(made.groupOffset(), 0x40u);
    EXPECT_EQ(made.outputSectionSpecValue(), 7u);
    EXPECT_EQ(made.dynIndex(), 5u);
    EXPECT_EQ(made.associatedDynReltab(), &combined);
    EXPECT_EQ(made.outputSection(), &made);
    EXPECT_EQ(made.asElfOutputSection(), nullptr);
}

TEST_F(ElfOutputSectionTest, WrappingTakesNameAndBecomesTheOutputSection) {
    MemberSection &a = member("a", 0x10, 4);
    combined.appendSection(&a);
    combined.setLoadAddress(0x8000);
    combined.setFlag(CombinedSection::allocated, true);
    combined.setFlag(CombinedSection::writable, true);
    ElfOutputSection out(&combined, &output);
    EXPECT_STREQ(out.name(), ".data");
    EXPECT_EQ(out.wrappedSection(), &combined);
    EXPECT_EQ(combined.outputSection(), &out);
    EXPECT_EQ(a.outputSection(), &out);
    EXPECT_EQ(out.outputSection(), &out);
    ElfSection &asElf = out;
    EXPECT_EQ(asElf.asElfOutputSection(), &out);
    // name, type, flags, addr, offset, size, link, info, align, entsize
    EXPECT_EQ(words(*out.elfHeader()),
              (std::vector<uint32_t>{0, SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, 0x8000, 0, 0x10, 0, 0,
                                     4, 1}));
}

TEST_F(ElfOutputSectionTest, AWrappedElfSectionGivesItsWholeHeader) {
    MemberSection &plain = member(".text", 0x24, 8);
    plain.shdr() = {3, SHT_PROGBITS, SHF_EXECINSTR, 0x100, 0x34, 0x24, 2, 9, 8, 4};
    ElfOutputSection out(&plain, &output);
    EXPECT_EQ(words(*out.elfHeader()), words(plain.shdr()));
}

// The header of a combined section from its first member: type, entry size
// and the ordered flag, for relocatable and executable output.
TEST_F(ElfOutputSectionTest, HeaderFromTheFirstMember) {
    struct Case {
        uint16_t fileType;
        uint32_t memberType;
        uint32_t entsize;
        uint32_t memberFlags;
        uint32_t info;
        uint32_t type;          // expected sh_type
        uint32_t expectEntsize; // expected sh_entsize
        bool ordered;           // SHF_ORDERED expected
    };
    const Case cases[] = {
        {ET_EXEC, SHT_PROGBITS, 0, 0, 0, SHT_PROGBITS, 1, false},
        {ET_EXEC, SHT_NOTE, 4, 0, 0, SHT_NOTE, 4, false},
        {ET_REL, SHT_COMDAT, 0, 0, 0, SHT_COMDAT, 1, false},
        {ET_EXEC, SHT_COMDAT, 2, 0, 0, SHT_PROGBITS, 2, false},
        {ET_DYN, SHT_COMDAT, 0, 0, 0, SHT_PROGBITS, 1, false},
        {ET_EXEC, 0x70000001, 0, 0, 0, 0x70000001, 1, false},
        {ET_REL, SHT_PROGBITS, 0, SHF_ORDERED, 3, SHT_PROGBITS, 1, true},
        {ET_REL, SHT_PROGBITS, 0, SHF_ORDERED, 0, SHT_PROGBITS, 1, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.memberType) + " in e_type " + std::to_string(c.fileType));
        output.header.e_type = c.fileType;
        CombinedSection wrapper(".x", &output);
        MemberSection &m = member(".x", 8, 1, c.memberType);
        m.shdr().sh_entsize = c.entsize;
        m.shdr().sh_flags |= c.memberFlags;
        m.shdr().sh_info = c.info;
        wrapper.appendSection(&m);
        wrapper.setFlag(CombinedSection::writable, true);
        ElfOutputSection out(&wrapper, &output);
        const Elf32_Shdr &h = *out.elfHeader();
        EXPECT_EQ(h.sh_type, c.type);
        EXPECT_EQ(h.sh_entsize, c.expectEntsize);
        EXPECT_EQ((h.sh_flags & SHF_ORDERED) != 0, c.ordered);
        EXPECT_EQ(h.sh_flags & ~SHF_ORDERED, SHF_WRITE);
    }
}

TEST_F(ElfOutputSectionTest, HeaderWithoutElfMembers) {
    // No members: nothing has contents, so the section is bss.
    ElfOutputSection empty(&combined, &output);
    EXPECT_EQ(empty.elfHeader()->sh_type, SHT_NOBITS);
    EXPECT_EQ(empty.elfHeader()->sh_entsize, 1u);

    CombinedSection notes(".note", &output);
    notes.setFixedType(SectionType::note);
    notes.appendSection(&member(".note", 4));
    ElfOutputSection note(&notes, &output);
    EXPECT_EQ(note.elfHeader()->sh_type, SHT_NOTE);

    CombinedSection code(".text", &output);
    code.setFlag(CombinedSection::executable, true);
    code.setFlag(CombinedSection::allocated, true);
    ElfOutputSection text(&code, &output);
    EXPECT_EQ(text.elfHeader()->sh_flags, SHF_ALLOC | SHF_EXECINSTR);
}

// sh_size is the file size only for a combined section with a minimum size
// that has contents.
TEST_F(ElfOutputSectionTest, SizeOfASectionWithAMinimumSize) {
    combined.appendSection(&member("a", 0x30));
    combined.setMinimumSize(0x100);
    ElfOutputSection out(&combined, &output);
    EXPECT_EQ(out.elfHeader()->sh_size, 0x30u);
    combined.setFlag(CombinedSection::hasMinimumSize, true);
    out.refreshSize();
    EXPECT_EQ(out.elfHeader()->sh_size, 0x30u);
    EXPECT_EQ(out.size(), 0x100u);

    CombinedSection bss(".bss", &output);
    bss.appendSection(&member("b", 0x30, 1, SHT_NOBITS));
    bss.setMinimumSize(0x100);
    bss.setFlag(CombinedSection::hasMinimumSize, true);
    ElfOutputSection noBits(&bss, &output);
    EXPECT_EQ(noBits.elfHeader()->sh_type, SHT_NOBITS);
    EXPECT_EQ(noBits.elfHeader()->sh_size, 0x100u);
}

TEST_F(ElfOutputSectionTest, TurnsToBssWhenTheWrappedSectionDoes) {
    combined.appendSection(&member("a", 0x10));
    combined.setFlag(CombinedSection::writable, true);
    ElfOutputSection out(&combined, &output);
    out.elfHeader()->sh_flags |= SHF_ORDERED;
    ASSERT_EQ(out.elfHeader()->sh_type, SHT_PROGBITS);
    ASSERT_EQ(out.elfHeader()->sh_flags, SHF_ORDERED | SHF_WRITE);
    combined.setFlag(CombinedSection::bss, true);
    combined.setFlag(CombinedSection::writable, false);
    combined.setFlag(CombinedSection::allocated, true);
    EXPECT_EQ(out.elfHeader()->sh_type, SHT_NOBITS);
    EXPECT_EQ(out.elfHeader()->sh_flags, SHF_ORDERED | SHF_ALLOC);
}

TEST_F(ElfOutputSectionTest, ForwardsToTheWrappedSection) {
    MemberSection &a = member("a", 0x10, 2);
    RowTable table;
    a.table = &table;
    combined.appendSection(&a);
    ElfOutputSection out(&combined, &output);
    SectionGroup group(0, nullptr, SectionGroup::none);
    Rule rule;

    // The section's own answers differ from the combined section's
    // defaults for each of these.
    EXPECT_FALSE(out.attributeE());
    EXPECT_TRUE(out.attributeF());
    EXPECT_FALSE(out.hasAddress());
    combined.setFlag(CombinedSection::attributeAFlag, true);
    combined.setFlag(CombinedSection::attributeBFlag, false);
    EXPECT_TRUE(out.attributeA());
    EXPECT_FALSE(out.attributeB());

    out.setIndex(4);
    out.setSectionGroup(&group);
    out.setGroupOffset(0x20);
    out.setOutputSectionSpec(&rule);
    out.setAttributeF(false);
    EXPECT_EQ(combined.index(), 4u);
    EXPECT_EQ(out.index(), 4u);
    EXPECT_EQ(combined.sectionGroup(), &group);
    EXPECT_EQ(out.sectionGroup(), &group);
    EXPECT_EQ(out.groupOffset(), 0x20u);
    EXPECT_EQ(out.outputSectionSpec(), &rule);
    EXPECT_FALSE(combined.attributeF());
    EXPECT_FALSE(out.attributeF());
    out.setAbsolute(true);
    EXPECT_TRUE(combined.isAbsolute());
    EXPECT_TRUE(out.isAbsolute());
    EXPECT_TRUE(out.hasAddress());
    EXPECT_EQ(out.relocations(), combined.relocations());
    EXPECT_EQ(out.outputRelocations(), combined.outputRelocations());
    EXPECT_NE(out.relocations(), nullptr);

    out.appendSection(&member("b", 3, 4));
    EXPECT_EQ(layout(), "a@0 b@16 ");
    EXPECT_EQ(out.firstMember(), &a);
    EXPECT_EQ(out.size(), 19u);
    EXPECT_EQ(out.fileSize(), 19u);
    uint32_t visited = 0;
    out.eachMember([&](Section &) { return ++visited < 1; });
    EXPECT_EQ(visited, 1u);
}

TEST_F(ElfOutputSectionTest, ContentsAndSectionSymbolForward) {
    MemberSection &plain = member(".text", 3);
    plain.contents = {1, 2, 3};
    ElfOutputSection out(&plain, &output);
    std::vector<uint8_t> seen;
    out.eachRawDataChunk([&](uint32_t, uint32_t size, uint8_t *bytes, RelocationsIterator *) {
        seen.insert(seen.end(), bytes, bytes + size);
        return true;
    });
    EXPECT_EQ(seen, (std::vector<uint8_t>{1, 2, 3}));

    ElfOutputSection wrapper(&combined, &output);
    PlacedSymbol symbol(".data", &combined, 0);
    wrapper.setSectionSymbol(&symbol);
    EXPECT_EQ(combined.sectionSymbol(), &symbol);
    EXPECT_EQ(wrapper.sectionSymbol(), &symbol);
}

TEST_F(ElfOutputSectionTest, AlignmentAndAddressesReachTheHeader) {
    combined.appendSection(&member("a", 0x10, 2));
    ElfOutputSection out(&combined, &output);
    out.setAlignment(16);
    EXPECT_EQ(combined.alignment(), 16u);
    EXPECT_EQ(out.elfHeader()->sh_addralign, 16u);
    out.setAlignment(4); // a combined section's alignment never drops
    EXPECT_EQ(out.elfHeader()->sh_addralign, 16u);

    // An address given counts even when it is 0.
    out.setAddress(0);
    EXPECT_TRUE(out.hasAddress());
    out.setAddress(0x4000);
    EXPECT_EQ(out.address(), 0x4000u);
    EXPECT_EQ(out.loadAddress(), 0x4000u);
    EXPECT_EQ(out.elfHeader()->sh_addr, 0x4000u);
    out.setLoadAddress(0x9000);
    EXPECT_EQ(out.elfHeader()->sh_addr, 0x9000u);
    EXPECT_EQ(combined.loadAddress(), 0x9000u);
    // The run-time address moves; the header shows the load address.
    out.setAddress(0x5000);
    EXPECT_EQ(out.address(), 0x5000u);
    EXPECT_EQ(out.elfHeader()->sh_addr, 0x9000u);
}

// A change of size that remapping or adjusting brings lays the group out
// again, so the next section moves.
TEST_F(ElfOutputSectionTest, ChangesOfSizeRelayTheGroup) {
    GrowingSection grows("a", &input, 0x10, 4);
    combined.appendSection(&grows);
    CombinedSection next(".next", &output);
    next.appendSection(&member("b", 8, 4));
    ElfOutputSection first(&combined, &output);
    ElfOutputSection second(&next, &output);
    SectionGroup group(0, nullptr, 0x1000);
    first.setSectionGroup(&group);
    second.setSectionGroup(&group);
    group.add(&first);
    group.add(&second);
    ASSERT_EQ(second.groupOffset(), 0x10u);

    grows.growth = 0x10;
    EXPECT_TRUE(first.adjustSize());
    EXPECT_EQ(first.elfHeader()->sh_size, 0x20u);
    EXPECT_EQ(second.groupOffset(), 0x20u);
    EXPECT_EQ(second.address(), 0x1020u);
    EXPECT_FALSE(first.adjustSize());

    grows.shdr().sh_size = 0x30;
    first.remapContents();
    EXPECT_EQ(first.elfHeader()->sh_size, 0x30u);
    EXPECT_EQ(second.groupOffset(), 0x30u);

    // Without a size change the group stays as it was laid out.
    second.setGroupOffset(0x99);
    first.remapContents();
    EXPECT_EQ(second.groupOffset(), 0x99u);
}

TEST_F(ElfOutputSectionTest, UnmappingEmptiesTheCombinedSection) {
    combined.appendSection(&member("a", 0x10));
    combined.appendSection(&member("b", 0x10));
    ElfOutputSection out(&combined, &output);
    out.unmapInputSections();
    EXPECT_EQ(combined.memberCount(), 0u);
    EXPECT_EQ(out.size(), 0u);
    EXPECT_EQ(out.firstMember(), nullptr);
}

TEST_F(ElfOutputSectionTest, UnsupportedWrappedSectionsStop) {
    MemberSection &plain = member(".text", 4);
    ElfOutputSection out(&plain, &output);
    EXPECT_DEATH(out.unmapInputSections(), "ElfOutputSection::unmapInputSections");
    EXPECT_DEATH(out.rewireOrderedSections(), "ElfOutputSection::rewireOrderedSections");
}

TEST_F(ElfOutputSectionTest, ReservedPredicateOfTheFirstMember) {
    ElfOutputSection out(&combined, &output);
    EXPECT_FALSE(out.reservedPredicate());
    MemberSection &a = member("a", 4);
    combined.appendSection(&a);
    combined.appendSection(&member("b", 4));
    EXPECT_FALSE(out.reservedPredicate());
    a.reserved = true;
    EXPECT_TRUE(out.reservedPredicate());
}

// Ordered members go by the address of the section that sh_info names in
// their own file.
TEST_F(ElfOutputSectionTest, RewireByLinkedSectionAddress) {
    Elf32_Ehdr header{};
    header.e_shnum = 4;
    ElfSectionVector slots(new std::unique_ptr<ElfSection>[4]);
    const uint32_t addresses[] = {0, 0x300, 0x100, 0x200};
    for (uint32_t i = 1; i < 4; ++i) {
        slots[i] = std::make_unique<MemberSection>("t", &input, 4);
        slots[i]->setAddress(addresses[i]);
    }
    input.init(header, std::move(slots), 0);

    MemberSection &a = member("a", 4, 1);
    MemberSection &b = member("b", 2, 1);
    MemberSection &c = member("c", 8, 4);
    a.shdr().sh_info = 1; // 0x300
    b.shdr().sh_info = 3; // 0x200
    c.shdr().sh_info = 2; // 0x100
    combined.appendSection(&a);
    combined.appendSection(&b);
    combined.appendSection(&c);
    ElfOutputSection out(&combined, &output);
    out.rewireOrderedSections();
    EXPECT_EQ(layout(), "c@0 b@8 a@10 ");
    EXPECT_EQ(out.size(), 14u);
}

// Members without a link go by the value of their first relocation; only
// that entry is read, and a member without relocations has key 0.
TEST_F(ElfOutputSectionTest, RewireByFirstRelocationValue) {
    RowTable late({{1, nullptr, nullptr, 0x500}, {1, nullptr, nullptr, 0x10}});
    RowTable early({{1, nullptr, nullptr, 0x80}});
    RowTable none;
    MemberSection &a = member("a", 4);
    MemberSection &b = member("b", 4);
    MemberSection &c = member("c", 4);
    MemberSection &d = member("d", 4);
    a.table = &late;
    b.table = &early;
    c.table = &none;
    combined.appendSection(&a);
    combined.appendSection(&b);
    combined.appendSection(&c);
    combined.appendSection(&d);
    ElfOutputSection out(&combined, &output);
    out.rewireOrderedSections();
    std::string order = layout();
    // c and d both have key 0; quickSort decides their order.
    EXPECT_TRUE(order == "c@0 d@4 b@8 a@12 " || order == "d@0 c@4 b@8 a@12 ") << order;
    EXPECT_GT(late.walks, 0u);
    EXPECT_EQ(late.visited, late.walks);
}

} // namespace
