// The answers of COFF sections: flags, alignment and kind by table, names
// of every form, the addresses, and the relocation and line number entries
// as they are read in either byte order.

#include "coff/CoffSection.h"
#include "CoffTestSupport.h"
#include "kit/CoffBuilder.h"
#include "reloc/RelocationsIterator.h"

#include <gtest/gtest.h>

namespace {

// One section of these flags, size and address; read back.
struct OneSection {
    Reports reports;
    LoadedCoff coff;
    CoffInputSection *section;

    OneSection(uint32_t flags, uint32_t size, uint32_t address = 0) {
        CoffBuilder b;
        if (flags & coffSectionBss)
            b.section(".s", flags, {}, size);
        else
            b.section(".s", flags, bytes(size));
        coff = loadCoff(b.address(address).build(), reports);
        section = coff->inputSectionAt(1);
    }
};

TEST(CoffSection, FlagsAnswerByTable) {
    struct Row {
        uint32_t flags;
        SectionType type;
        bool allocated, loadable, executable, writable, bss, absolute;
    };
    const Row rows[] = {
        {coffSectionText, SectionType::text, true, true, true, false, false, false},
        {coffSectionLiteral, SectionType::lit, true, true, false, false, false, false},
        {coffSectionData, SectionType::data, true, true, false, true, false, false},
        {coffSectionBss, SectionType::bss, true, true, false, true, true, false},
        {coffSectionInfo | coffSectionNotLoaded, SectionType::info, false, false, false, false,
         false, false},
        {coffSectionAbsolute, SectionType::abs, false, true, false, false, false, true},
        {0, SectionType::null, false, true, false, false, false, false},
        {coffSectionData | coffSectionAbsolute, SectionType::data, true, true, false, true, false,
         true},
    };
    for (const Row &r : rows) {
        OneSection one(r.flags, 4);
        Section &s = *one.section;
        EXPECT_EQ(s.sectionType(), r.type) << r.flags;
        EXPECT_EQ(s.isAllocated(), r.allocated) << r.flags;
        EXPECT_EQ(s.isLoadable(), r.loadable) << r.flags;
        EXPECT_EQ(s.isExecutable(), r.executable) << r.flags;
        EXPECT_EQ(s.isWritable(), r.writable) << r.flags;
        EXPECT_EQ(s.isBss(), r.bss) << r.flags;
        EXPECT_EQ(s.isAbsolute(), r.absolute) << r.flags;
        EXPECT_FALSE(s.isNote());
        EXPECT_TRUE(s.isContentSection());
        EXPECT_EQ(s.asCoffSection(), one.section);
        EXPECT_EQ(s.objectFile(), one.coff.object.get());
        EXPECT_EQ(s.coffHeader(), &one.section->header);
    }
}

TEST(CoffSection, AlignmentFromSizeOrAddress) {
    struct Row {
        uint32_t flags, size, address, expected;
    };
    const Row rows[] = {
        {coffSectionData, 16, 0, 8},         {coffSectionText, 16, 0, 4},
        {coffSectionData, 8, 0, 8},          {coffSectionData, 7, 0, 4},
        {coffSectionText, 4, 0, 4},          {coffSectionData, 3, 0, 2},
        {coffSectionData, 2, 0, 2},          {coffSectionData, 1, 0, 1},
        {coffSectionData, 0, 0, 1},          {coffSectionLiteral, 16, 0, 8},
        {coffSectionBss, 0x80000000, 0, 1}, // compared as a signed number
        {coffSectionAbsolute, 0, 0x1000, 8}, {coffSectionAbsolute, 0, 0x1001, 1},
        {coffSectionAbsolute, 0, 0x1002, 2}, {coffSectionAbsolute, 0, 0x1003, 1},
        {coffSectionAbsolute, 0, 0x1004, 4}, {coffSectionAbsolute, 0, 0x1006, 1},
        {coffSectionAbsolute, 0, 0x1007, 1},
    };
    for (const Row &r : rows) {
        OneSection one(r.flags, r.size, r.address);
        EXPECT_EQ(one.section->alignment(), r.expected)
            << r.flags << " " << r.size << " " << r.address;
    }
}

TEST(CoffSection, SettersWriteTheHeaderCopy) {
    OneSection data(coffSectionData, 8, 0x100);
    CoffInputSection &s = *data.section;
    EXPECT_EQ(s.address(), 0x100u);
    EXPECT_EQ(s.inputAddress(), 0x100u);
    s.setAddress(0x2000);
    EXPECT_EQ(s.header.s_paddr, 0x2000u);
    EXPECT_EQ(s.address(), 0x2000u);
    EXPECT_EQ(s.inputAddress(), 0x100u);
    s.setFileOffset(0x345);
    EXPECT_EQ(s.fileOffset(), 0x345u);
    s.setAbsolute(true);
    EXPECT_TRUE(s.isAbsolute());
    s.setAbsolute(false);
    EXPECT_FALSE(s.isAbsolute());
    EXPECT_EQ(s.header.s_flags, coffSectionData);
    // A COMDAT name replaces the shown name, not the file's.
    EXPECT_FALSE(s.isComdat());
    s.setComdatName("chosen");
    EXPECT_TRUE(s.isComdat());
    EXPECT_STREQ(s.name(), "chosen");
    EXPECT_STREQ(s.combinedSectionName(), ".s");

    OneSection bss(coffSectionBss, 64);
    bss.section->setFileOffset(0x345);
    EXPECT_EQ(bss.section->fileOffset(), 0u);
    EXPECT_EQ(bss.section->dataSize(), 0u);
    EXPECT_EQ(bss.section->data(), nullptr);
    EXPECT_EQ(bss.section->size(), 64u);
}

TEST(CoffSection, NamesOfEveryForm) {
    CoffBuilder b;
    uint32_t inside = b.addString("section_name_text");
    b.section(".text", coffSectionText, bytes(4))
        .section(".abcdefg", coffSectionData, bytes(4)) // fills the 8 bytes
        .section(".a_long_section_name", coffSectionData, bytes(4))
        .section("/x", coffSectionData, bytes(4)) // no digit: a plain name
        .section("/", coffSectionData, bytes(4))
        .patchSection(5,
                      [&](CoffSectionHeader &h) {
                          std::string field = "/" + std::to_string(inside + 8);
                          std::memcpy(h.s_name, field.data(), field.size());
                      })
        .section("/9999999", coffSectionData, bytes(4)); // beyond the strings
    Reports reports;
    LoadedCoff coff = loadCoff(b.build(), reports);
    const char *expected[] = {".text", ".abcdefg",  ".a_long_section_name",
                              "/x",    "name_text", "/9999999"};
    for (int32_t i = 0; i < 6; ++i)
        EXPECT_STREQ(coff->sectionAt(i + 1)->name(), expected[i]) << i;

    // Without a string table a long name has no text.
    Reports noStrings;
    LoadedCoff bare = loadCoff(CoffBuilder()
                                   .section(".a_long_section_name", coffSectionData, bytes(4))
                                   .noStringTable()
                                   .build(),
                               noStrings);
    EXPECT_EQ(bare->stringAt(4), nullptr);
    EXPECT_STREQ(bare->sectionAt(1)->name(), "/4");
}

TEST(CoffSection, RelocationsAndLineNumbersInEitherOrder) {
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        Reports reports;
        LoadedCoff coff = loadCoff(CoffBuilder(order)
                                       .section(".text", coffSectionText, bytes(32, 0xCC))
                                       .address(0x1000)
                                       .relocation(0x1004, 3, 0x14)
                                       .relocation(0x1010, 0x10203, 6)
                                       .lineNumber(7, 0)
                                       .lineNumber(0x1008, 12)
                                       .section(".data", coffSectionData, bytes(4))
                                       .build(),
                                   reports);
        ASSERT_TRUE(reports.lines.empty());
        CoffInputSection &text = *coff->inputSectionAt(1);
        ASSERT_EQ(text.relocationCount(), 2u);
        const CoffRelocation *r = text.relocationEntries();
        EXPECT_EQ(r[0].address, 4u);
        EXPECT_EQ(r[0].symndx, 3u);
        EXPECT_EQ(r[0].type, 0x14u);
        EXPECT_EQ(r[1].address, 0x10u);
        EXPECT_EQ(r[1].symndx, 0x10203u);
        EXPECT_EQ(r[1].type, 6u);
        std::vector<std::pair<uint32_t, uint16_t>> lines;
        text.eachLineNumberTable([&](CoffLineNumber *entries, uint32_t count) {
            for (uint32_t i = 0; i < count; ++i)
                lines.emplace_back(entries[i].word, entries[i].line);
        });
        // A function's symbol index stays; an address becomes an offset.
        EXPECT_EQ(lines, (std::vector<std::pair<uint32_t, uint16_t>>{{7, 0}, {8, 12}}));

        CoffInputSection &data = *coff->inputSectionAt(2);
        EXPECT_EQ(data.relocationCount(), 0u);
        uint32_t calls = 0;
        data.eachLineNumberTable([&](CoffLineNumber *entries, uint32_t count) {
            EXPECT_EQ(entries, nullptr);
            EXPECT_EQ(count, 0u);
            ++calls;
        });
        EXPECT_EQ(calls, 1u);
    }
}

TEST(CoffSection, RawDataAsOneChunk) {
    Reports reports;
    std::vector<uint8_t> contents = {1, 2, 3, 4, 5};
    LoadedCoff coff = loadCoff(CoffBuilder()
                                   .section(".data", coffSectionData, contents)
                                   .relocation(0, 0, 6)
                                   .section(".bss", coffSectionBss, {}, 16)
                                   .build(),
                               reports);
    std::vector<uint8_t> seen;
    uint32_t chunks = 0;
    coff->inputSectionAt(1)->eachRawDataChunk(
        [&](uint32_t offset, uint32_t size, uint8_t *data, RelocationsIterator *relocations) {
            EXPECT_EQ(offset, 0u);
            // The chunk comes with the section's relocation table.
            EXPECT_EQ(relocations, coff->inputSectionAt(1)->relocations());
            EXPECT_EQ(relocations ? relocations->count() : 0u, 1u);
            seen.assign(data, data + size);
            return ++chunks > 0;
        });
    EXPECT_EQ(chunks, 1u);
    EXPECT_EQ(seen, contents);
    coff->inputSectionAt(2)->eachRawDataChunk(
        [&](uint32_t, uint32_t size, uint8_t *data, RelocationsIterator *) {
            EXPECT_EQ(size, 0u);
            EXPECT_EQ(data, nullptr);
            return ++chunks > 0;
        });
    EXPECT_EQ(chunks, 2u);
    EXPECT_EQ(coff->inputSectionAt(1)->args(), nullptr);
    // A member's walk covers every section of its file.
    std::string names;
    coff->inputSectionAt(2)->eachMember([&](Section &s) {
        names += s.name();
        return true;
    });
    EXPECT_EQ(names, ".data.bss");
}

} // namespace
