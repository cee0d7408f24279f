// ELF relocation tables as the reader makes them: records of both forms in
// both byte orders, what each entry refers to, the sections that are refused
// or dropped, type names by table, the tables attached to their targets
// (two of them, and the ARM "arch5" rewrite) and the display of a file.
#include "ElfReltabTestSupport.h"

#include "support/ErrFormat.h"
#include "support/sprintf.h"
#include "support/toggles.h"

#include <gtest/gtest.h>

namespace {

constexpr uint16_t EM_NOTABLE = 0x76; // a machine without a fixup table

// .text (32 bytes), .data (16), and the symbols 1 [.text], 2 [.data],
// 3 local_fn, 4 main, 5 ext (undefined).
ElfBuilder plainObject(ByteOrder order, uint16_t machine, std::vector<uint8_t> text = bytes(32)) {
    ElfBuilder b(order);
    b.machine(machine)
        .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, std::move(text))
        .section(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, bytes(16))
        .symbol("", 0, 0, STB_LOCAL, STT_SECTION, ".text")
        .symbol("", 0, 0, STB_LOCAL, STT_SECTION, ".data")
        .symbol("local_fn", 4, 4, STB_LOCAL, STT_FUNC, ".text")
        .symbol("main", 8, 8, STB_GLOBAL, STT_FUNC, ".text")
        .symbol("ext", 0, 0, STB_GLOBAL, STT_NOTYPE, uint16_t(0));
    return b;
}

const std::vector<Elf32_Rela> someRecords = {rela(0x4, 4, 1, 8), rela(0x10, 1, 2, -4),
                                             rela(0x1C, 5, 3, 0x12345), rela(0x0, 0, 0, 7)};

struct Form {
    ByteOrder order;
    uint32_t type;
};

class ReltabForms : public testing::TestWithParam<Form> {};

TEST_P(ReltabForms, RecordsAndTargets) {
    auto [order, type] = GetParam();
    bool rela = type == SHT_RELA;
    const char *name = rela ? ".rela.text" : ".rel.text";
    ReltabReports errors;
    LoadedElf elf = loadElf(
        plainObject(order, EM_NOTABLE).relocations(name, type, ".text", someRecords).build(),
        errors);
    ASSERT_TRUE(elf.object);
    EXPECT_TRUE(errors.reports.empty());
    ElfReltabSectionFromInput *table = elf.table(name);
    ASSERT_NE(table, nullptr);
    ElfSection *text = elf.section(".text");
    EXPECT_EQ(text->relocations(), static_cast<RelocationsIterator *>(table));
    EXPECT_EQ(table->count(), 4u);
    EXPECT_EQ(table->hasExplicitAddend(), rela);
    EXPECT_FALSE(table->isContentSection());

    // A REL record leaves the addend in the section's bytes.
    std::vector<std::string> expected =
        rela
            ? std::vector<std::string>{"4 1 main 8", "10 2 [.text] -4", "1c 3 ext 74565", "0 0 - 7"}
            : std::vector<std::string>{"4 1 main 0", "10 2 [.text] 0", "1c 3 ext 0", "0 0 - 0"};
    EXPECT_EQ(entriesOf(*table), expected);

    // The descriptor answers for the entry the walk stands on.
    uint32_t seen = 0;
    table->each([&](RelocationDescriptor &entry) {
        EXPECT_EQ(entry.index(), seen);
        EXPECT_EQ(entry.section(), text);
        EXPECT_EQ(entry.reltabSection(), static_cast<Section *>(table));
        EXPECT_EQ(entry.elfRecordCount(), 1u);
        EXPECT_EQ(table->currentIndex(), seen);
        EXPECT_EQ(table->dataSection(), text);
        ++seen;
        return true;
    });
    EXPECT_EQ(seen, 4u);
    // The section's own index is another matter than the entry's.
    table->setIndex(9);
    EXPECT_EQ(table->ElfSection::index(), 9u);
    // A section symbol is no target symbol: baseSymbol still gives it.
    table->each([&](RelocationDescriptor &entry) {
        if (entry.index() == 1) {
            EXPECT_EQ(table->baseSymbol()->type(), SymbolType::section);
            EXPECT_EQ(entry.targetSymbol(), nullptr);
        }
        return true;
    });
}

INSTANTIATE_TEST_SUITE_P(BothOrders, ReltabForms,
                         testing::Values(Form{LittleEndian, SHT_REL}, Form{BigEndian, SHT_REL},
                                         Form{LittleEndian, SHT_RELA}, Form{BigEndian, SHT_RELA}));

// Sections that give no table: the entry size must fit the form exactly,
// and an empty section is no table at all, wherever it says it lies.
TEST(ReltabRefused, EntrySizesAndEmptySections) {
    struct Case {
        const char *label;
        uint32_t type;
        uint32_t entsize;
        std::vector<Elf32_Rela> records;
        std::vector<std::string> reports;
    };
    const char *bad = "E: In test.o: section .rel.text has an invalid value for entsize field";
    const Case cases[] = {
        {"REL of 12", SHT_REL, 12, someRecords, {bad}},
        {"RELA of 8", SHT_RELA, 8, someRecords, {bad}},
        {"REL of 0", SHT_REL, 0, someRecords, {bad}},
        {"RELA of 0", SHT_RELA, 0, someRecords, {bad}},
        {"empty REL", SHT_REL, 8, {}, {}},
        {"empty RELA", SHT_RELA, 12, {}, {}},
    };
    for (const Case &c : cases) {
        for (ByteOrder order : {LittleEndian, BigEndian}) {
            ReltabReports errors;
            LoadedElf elf = loadElf(plainObject(order, EM_NOTABLE)
                                        .relocations(".rel.text", c.type, ".text", c.records)
                                        .patchSection(".rel.text",
                                                      [&](Elf32_Shdr &h) {
                                                          h.sh_entsize = c.entsize;
                                                          if (c.records.empty())
                                                              h.sh_offset = 0x7FFFFFF0;
                                                      })
                                        .build(),
                                    errors);
            ASSERT_TRUE(elf.object) << c.label;
            EXPECT_EQ(errors.reports, c.reports) << c.label;
            EXPECT_EQ(elf.section(".rel.text"), nullptr) << c.label;
            EXPECT_EQ(elf.section(".text")->relocations(), nullptr) << c.label;
        }
    }
}

TEST(ReltabRefused, RecordsBeyondTheFileEndTheRun) {
    for (uint32_t type : {SHT_REL, SHT_RELA}) {
        ReltabReports errors;
        std::vector<uint8_t> image =
            plainObject(BigEndian, EM_NOTABLE)
                .relocations(".rel.text", type, ".text", someRecords)
                .patchSection(".rel.text", [](Elf32_Shdr &h) { h.sh_offset = 0x7FFFFFF0; })
                .build();
        std::string fatal;
        try {
            loadElf(image, errors);
        } catch (const FatalReport &stop) {
            fatal = stop.message;
        }
        EXPECT_EQ(fatal, "Can't read in .rel.text section of test.o");
    }
}

// Type names and kinds come from the machine's table: a table of one row
// names every type "%u?"; the split ARM table has empty rows and types
// without any row.
TEST(ReltabTypes, NamesKindsAndFlagsByTable) {
    struct Case {
        uint16_t machine;
        uint32_t type;
        const char *name;
        ReferenceKind kind;
        bool pcRelative;
    };
    const Case cases[] = {
        {EM_NOTABLE, 0, "0?", ReferenceKind::invalid, false},
        {EM_NOTABLE, 1, "1?", ReferenceKind::invalid, false},
        {EM_NOTABLE, 255, "255?", ReferenceKind::invalid, false},
        {EM_ARM, 2, "REL24", ReferenceKind::direct, true},
        {EM_ARM, 29, "29?", ReferenceKind::invalid, false},
        {EM_ARM, 89, "REL24_I", ReferenceKind::direct, true},
        {EM_ARM, 90, "90?", ReferenceKind::invalid, false},
        {EM_ARM, 0x81, "REL23", ReferenceKind::direct, true},
        {EM_ARM, 0x89, "137?", ReferenceKind::invalid, false},
        {EM_MIPS, 5, "HI16", ReferenceKind::direct, false},
        {EM_MIPS, 0x80, "128?", ReferenceKind::invalid, false},
    };
    for (const Case &c : cases) {
        for (ByteOrder order : {LittleEndian, BigEndian}) {
            ReltabReports errors;
            LoadedElf elf =
                loadElf(plainObject(order, c.machine)
                            .relocations(".rela.text", SHT_RELA, ".text", {rela(0, 4, c.type)})
                            .build(),
                        errors);
            ElfReltabSectionFromInput *table = elf.table(".rela.text");
            ASSERT_NE(table, nullptr);
            table->each([&](RelocationDescriptor &entry) {
                EXPECT_STREQ(entry.typeName(), c.name) << c.machine << " " << c.type;
                EXPECT_EQ(entry.referenceKind(), c.kind) << c.machine << " " << c.type;
                EXPECT_EQ(entry.isPcRelative(), c.pcRelative) << c.machine << " " << c.type;
                EXPECT_EQ(entry.elfType(), c.type);
                return true;
            });
        }
    }
    EXPECT_EQ(&elfFixupTableFor(EM_ARM, true), &elfFixupTableFor(EM_ARM, true));
    EXPECT_NE(&elfFixupTableFor(EM_ARM, true), &elfFixupTableFor(EM_ARM, false));
}

// A second table of one section joins the first in a collection, through
// stand-ins: the tables stay the file's.
TEST(ReltabAttached, TwoTablesOfOneSection) {
    ReltabReports errors;
    LoadedElf elf = loadElf(
        plainObject(LittleEndian, EM_NOTABLE)
            .relocations(".rel.text", SHT_REL, ".text", {rela(4, 4, 1)})
            .relocations(".rela.text", SHT_RELA, ".text", {rela(8, 5, 2, 3), rela(12, 0, 1, 1)})
            .relocations(".rel.data", SHT_REL, ".data", {rela(0, 3, 1)})
            .build(),
        errors);
    ASSERT_TRUE(elf.object);
    RelocationsIterator *both = elf.section(".text")->relocations();
    ASSERT_NE(both, nullptr);
    EXPECT_TRUE(both->isCollection());
    EXPECT_EQ(both->count(), 3u);
    EXPECT_EQ(entriesOf(*both), (std::vector<std::string>{"4 1 main 0", "8 2 ext 3", "c 1 - 1"}));
    // The same table again changes nothing.
    elf.section(".text")->addRelocations(*elf.table(".rela.text"));
    EXPECT_EQ(both->count(), 3u);
    RelocationsIterator *data = elf.section(".data")->relocations();
    EXPECT_EQ(data, static_cast<RelocationsIterator *>(elf.table(".rel.data")));
}

// With "arch5" on, an ARM branch with link takes the interworking type of
// its relocation; anything else stays.
TEST(ReltabAttached, Arch5CallsOnArm) {
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        bool big = order == BigEndian;
        std::vector<uint8_t> text = words(order, {0xEB000010, 0xEA000010, 0, 0});
        // Thumb: the two halves of a BL at 8, a plain branch at 12.
        auto half = [&](uint32_t at, uint16_t v) {
            text[at + (big ? 0 : 1)] = uint8_t(v >> 8);
            text[at + (big ? 1 : 0)] = uint8_t(v);
        };
        half(8, 0xF012);
        half(10, 0xF834);
        half(12, 0xE012);
        const std::vector<Elf32_Rela> records = {rela(0, 4, 2),     rela(4, 4, 2),
                                                 rela(8, 4, 0x22),  rela(10, 4, 0x23),
                                                 rela(12, 4, 0x22), rela(30, 4, 2)};
        for (bool on : {false, true}) {
            ReltabReports errors;
            // The toggle exists once an ARM section was read.
            loadElf(plainObject(order, EM_ARM).build(), errors);
            toggleTable().set("arch5", on);
            LoadedElf elf = loadElf(plainObject(order, EM_ARM, text)
                                        .relocations(".rel.text", SHT_REL, ".text", records)
                                        .build(),
                                    errors);
            toggleTable().set("arch5", false);
            std::vector<std::string> types;
            elf.table(".rel.text")->each([&](RelocationDescriptor &entry) {
                types.push_back(std::to_string(entry.elfType()));
                return true;
            });
            const std::vector<std::string> rewritten = {"64", "2", "65", "66", "34", "2"};
            const std::vector<std::string> plain = {"2", "2", "34", "35", "34", "2"};
            EXPECT_EQ(types, on ? rewritten : plain);
        }
    }
}

// The display of a file shows each table under the section it patches.
TEST(ReltabDisplay, ThroughTheObjectFile) {
    ReltabReports errors;
    LoadedElf elf = loadElf(plainObject(LittleEndian, EM_NOTABLE)
                                .relocations(".rela.text", SHT_RELA, ".text", someRecords)
                                .build(),
                            errors);
    char buffer[4000];
    StringFormatOut out(buffer, sizeof buffer, false);
    elf.object->display(out);
    std::string shown = out.text();
    size_t at = shown.find("\nRelocations for section");
    ASSERT_NE(at, std::string::npos) << shown;
    EXPECT_EQ(shown.substr(at), "\nRelocations for section .text:\n"
                                "@0x4: main[#4]+8\n"
                                "@0x10: .text-4\n"
                                "@0x1c: ext[#5]+74565\n"
                                "@0x0:+7\n");
    // The table itself is no section of the listing.
    EXPECT_EQ(shown.find("Section .rela.text"), std::string::npos);
}

} // namespace
