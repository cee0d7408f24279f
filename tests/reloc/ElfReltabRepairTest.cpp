// What the tables repair at construction: the addends of MIPS HI16/LO16
// pairs, the ARM PIC32 words, the MIPS16 jumps; and the tables of real
// objects from the corpus, compared with what readelf -r shows of them.
#include "ElfReltabTestSupport.h"

#include "elf/Elf32Extractor.h"
#include "elf/Elf32Reader.h"
#include "reloc/ElfMIPSFixupTable.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace {

// .text from `text`, with the symbols 1 [.text], 2 a, 3 b.
ElfBuilder objectWith(ByteOrder order, uint16_t machine, std::vector<uint8_t> text) {
    ElfBuilder b(order);
    b.machine(machine)
        .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, std::move(text))
        .symbol("", 0, 0, STB_LOCAL, STT_SECTION, ".text")
        .symbol("a", 0, 0, STB_GLOBAL, STT_NOTYPE, uint16_t(0))
        .symbol("b", 0, 0, STB_GLOBAL, STT_NOTYPE, uint16_t(0));
    return b;
}

std::vector<std::string> tableOf(const std::vector<uint8_t> &image, const char *name,
                                 ReltabReports &errors) {
    LoadedElf elf = loadElf(image, errors);
    ElfReltabSectionFromInput *table = elf.object ? elf.table(name) : nullptr;
    return table ? entriesOf(*table) : std::vector<std::string>{"no table"};
}

// A HI16 record takes the whole addend of its pair: the high half of its own
// word, sign-extended, times 0x10000, plus the low half of the LO16 word,
// sign-extended.  Only a HI16 right before a LO16 of the same symbol pairs.
TEST(ReltabMipsPairs, AddendsOfHi16) {
    struct Case {
        const char *label;
        std::vector<Elf32_Rela> records;
        std::vector<std::string> entries;
    };
    // lui 0x12; addiu -16; lui 0xFFFF; addiu -0x8000; lui 1
    const std::vector<uint32_t> code = {0x3C010012, 0x2421FFF0, 0x3C01FFFF, 0x24218000, 0x3C010001};
    const Case cases[] = {
        {"a pair", {rela(0, 2, 5), rela(4, 2, 6)}, {"0 5 a 1179632", "4 6 a 0"}},
        {"negative halves", {rela(8, 2, 5), rela(12, 2, 6)}, {"8 5 a -98304", "c 6 a 0"}},
        {"HI16 HI16 LO16",
         {rela(0, 2, 5), rela(16, 2, 5), rela(4, 2, 6)},
         {"0 5 a 0", "10 5 a 65520", "4 6 a 0"}},
        {"different symbols", {rela(0, 2, 5), rela(4, 3, 6)}, {"0 5 a 0", "4 6 b 0"}},
        {"LO16 first", {rela(4, 2, 6), rela(0, 2, 5)}, {"4 6 a 0", "0 5 a 0"}},
        {"two pairs",
         {rela(0, 1, 5), rela(4, 1, 6), rela(8, 1, 5), rela(12, 1, 6)},
         {"0 5 [.text] 1179632", "4 6 [.text] 0", "8 5 [.text] -98304", "c 6 [.text] 0"}},
    };
    for (const Case &c : cases)
        for (ByteOrder order : {LittleEndian, BigEndian}) {
            ReltabReports errors;
            EXPECT_EQ(tableOf(objectWith(order, EM_MIPS, words(order, code))
                                  .relocations(".rel.text", SHT_REL, ".text", c.records)
                                  .build(),
                              ".rel.text", errors),
                      c.entries)
                << c.label << (order == BigEndian ? " big" : " little");
            EXPECT_TRUE(errors.reports.empty());
        }
    // Another machine pairs nothing, and a RELA table keeps its addends.
    ReltabReports errors;
    std::vector<uint8_t> arm =
        objectWith(LittleEndian, EM_ARM, words(LittleEndian, code))
            .relocations(".rel.text", SHT_REL, ".text", {rela(0, 2, 5), rela(4, 2, 6)})
            .build();
    EXPECT_EQ(tableOf(arm, ".rel.text", errors), (std::vector<std::string>{"0 5 a 0", "4 6 a 0"}));
    std::vector<uint8_t> mipsRela =
        objectWith(BigEndian, EM_MIPS, words(BigEndian, code))
            .relocations(".rela.text", SHT_RELA, ".text", {rela(0, 2, 5, 3), rela(4, 2, 6, 4)})
            .build();
    EXPECT_EQ(tableOf(mipsRela, ".rela.text", errors),
              (std::vector<std::string>{"0 5 a 3", "4 6 a 4"}));
}

// The places of a pair must lie in the section, whole words included.
TEST(ReltabMipsPairsDeathTest, PlacesOutsideTheSection) {
    for (uint32_t hiAt : {0x20u, 0x1Eu}) {
        std::vector<uint8_t> image =
            objectWith(BigEndian, EM_MIPS, bytes(32))
                .relocations(".rel.text", SHT_REL, ".text", {rela(hiAt, 2, 5), rela(4, 2, 6)})
                .build();
        char expected[80];
        snprintf(expected, sizeof expected, "test.o:Fixup 0 and 1 have bad r_offsets \\(%x 4\\)",
                 hiAt);
        EXPECT_DEATH(
            {
                ReltabReports errors;
                loadElf(image, errors);
            },
            expected);
    }
}

// An ABS32 word with a 0x55 or 0x56 record at the same place is a PIC32
// word; the partner must follow it directly.
TEST(ReltabArmPic32, WordsWithPartners) {
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        ReltabReports errors;
        std::vector<uint8_t> image =
            objectWith(order, EM_ARM, bytes(32))
                .relocations(".rela.text", SHT_RELA, ".text",
                             {rela(0, 2, 1), rela(0, 3, 0x55), rela(8, 2, 1), rela(8, 3, 0x56),
                              rela(16, 2, 1), rela(20, 3, 0x55), rela(24, 2, 2), rela(24, 3, 0x56),
                              rela(28, 3, 0x55)})
                .build();
        LoadedElf elf = loadElf(image, errors);
        std::vector<std::string> names;
        elf.table(".rela.text")->each([&](RelocationDescriptor &entry) {
            names.push_back(std::to_string(entry.elfType()) + " " + entry.typeName());
            return true;
        });
        EXPECT_EQ(names,
                  (std::vector<std::string>{"67 R_ARM_PIC32", "85 R_ARM_PICDISP", "67 R_ARM_PIC32",
                                            "86 R_ARM_16_PICDISP", "1 ADDR32", "85 R_ARM_PICDISP",
                                            "2 REL24", "86 R_ARM_16_PICDISP", "85 R_ARM_PICDISP"}));
    }
}

// A R_MIPS_26 whose halfword is a MIPS16 jump (0x18 or 0x1C, low byte 0)
// becomes type 13; a place outside the contents keeps its type.
TEST(ReltabMips16, JumpsInBothOrders) {
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        bool big = order == BigEndian;
        std::vector<uint8_t> text = bytes(24);
        const uint16_t halves[] = {0x1800, 0x1C00, 0x1801, 0x0C00, 0x1A00, 0x1C00};
        for (uint32_t i = 0; i < 6; ++i) {
            text[4 * i + (big ? 0 : 1)] = uint8_t(halves[i] >> 8);
            text[4 * i + (big ? 1 : 0)] = uint8_t(halves[i]);
        }
        ReltabReports errors;
        std::vector<uint8_t> image =
            objectWith(order, EM_MIPS, text)
                .relocations(".rela.text", SHT_RELA, ".text",
                             {rela(0, 2, 4), rela(4, 2, 4), rela(8, 2, 4), rela(12, 2, 4),
                              rela(16, 2, 4), rela(20, 2, 5), rela(23, 2, 4), rela(0x100, 2, 4)})
                .build();
        EXPECT_EQ(tableOf(image, ".rela.text", errors),
                  (std::vector<std::string>{"0 13 a 0", "4 13 a 0", "8 4 a 0", "c 4 a 0",
                                            "10 4 a 0", "14 5 a 0", "17 4 a 0", "100 4 a 0"}));
    }
}

// A MIPS file with a .reginfo record gets a table of its own, with the
// global pointer value of the record; other files share one per order.
TEST(ReltabMipsGp, TableOfTheFileWithRegisterInformation) {
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        ReltabReports errors;
        LoadedElf withGp = loadElf(objectWith(order, EM_MIPS, bytes(16))
                                       .section(".reginfo", SHT_MIPS_REGINFO, SHF_ALLOC,
                                                words(order, {0, 0, 0, 0, 0, 0x7FF0}))
                                       .relocations(".rel.text", SHT_REL, ".text", {rela(0, 2, 7)})
                                       .build(),
                                   errors);
        ElfFixupTable &own = withGp.table(".rel.text")->fixupTable();
        EXPECT_NE(&own, &elfFixupTableFor(EM_MIPS, order == BigEndian));
        EXPECT_EQ(static_cast<ElfMIPSFixupTable &>(own).gp, 0x7FF0u);
        withGp.table(".rel.text")->each([&](RelocationDescriptor &entry) {
            EXPECT_STREQ(entry.typeName(), "GPREL16");
            return true;
        });
        LoadedElf without = loadElf(objectWith(order, EM_MIPS, bytes(16))
                                        .relocations(".rel.text", SHT_REL, ".text", {rela(0, 2, 7)})
                                        .build(),
                                    errors);
        EXPECT_EQ(&without.table(".rel.text")->fixupTable(),
                  &elfFixupTableFor(EM_MIPS, order == BigEndian));
    }
}

// Tables whose section table does not fit together: a target that has no
// section object, a symbol table that is none.  The reader checks both
// first, so only a caller's fault gets here.
TEST(ReltabMisfitsDeathTest, TargetAndSymbolTable) {
    ReltabReports errors;
    std::vector<uint8_t> image = objectWith(LittleEndian, EM_386, bytes(16))
                                     .relocations(".rel.text", SHT_REL, ".text", {rela(0, 2, 1)})
                                     .build();
    LoadedElf elf = loadElf(image, errors);
    Elf32Reader reader(*elf.input);
    Elf32Extractor extractor(reader);
    Elf32_Shdr header = *elf.section(".rel.text")->elfHeader();
    header.sh_info = 0;
    EXPECT_DEATH(
        makeElfReltabSection(".rel.text", extractor, EM_386, header, *elf.object, errors, nullptr),
        "Section .rel.text doesn't have target section in test.o");
    header.sh_info = 1;
    header.sh_link = 1;
    std::unique_ptr<ElfReltabSection> table =
        makeElfReltabSection(".rel.text", extractor, EM_386, header, *elf.object, errors, nullptr);
    ASSERT_TRUE(table);
    EXPECT_EQ(table->count(), 1u);
    EXPECT_DEATH(table->each([](RelocationDescriptor &) { return true; }),
                 "ElfReltabSectionFromInput::each\\(\\) bad symtab");
}

std::vector<uint8_t> corpusFile(const char *name) {
    std::ifstream in(std::string(TNM_SOURCE_DIR) + "/tests/corpus/" + name, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// Real objects of five processors: the count and the first records of their
// .text tables as readelf -r -W shows them (a section symbol by its
// section's name; a REL record's addend stays in the bytes), and the name
// of the first type in the table of each machine.
TEST(ReltabCorpus, TablesOfRealObjects) {
    struct Case {
        const char *file;
        const char *table;
        uint32_t count;
        const char *firstName; // the type name of the first entry
        std::vector<std::string> first;
    };
    const Case cases[] = {
        {"mips-shapes.o",
         ".rel.text",
         24,
         "GPREL16",
         {"0 7 tunable 0", "34 5 shared_buffer 0", "38 6 shared_buffer 0", "3c 5 [.bss] 0",
          "40 6 [.bss] 0", "48 4 [.text] 0"}},
        {"arm-shapes.o",
         ".rel.text",
         20,
         "SDTH5",
         {"c 40 - 0", "10 2 tunable 0", "28 2 counter 0", "98 28 optional_hook 0"}},
        {"ppc-shapes.o",
         ".rela.text",
         27,
         "ADDR16_HA",
         {"2 6 tunable 0", "6 4 tunable 0", "3e 6 shared_buffer 0", "42 6 [.bss] 8"}},
        {"i386-shapes.o",
         ".rel.text",
         15,
         "32",
         {"1 1 tunable 0", "43 1 shared_buffer 0", "4e 1 [.bss] 0", "65 1 [.data] 0"}},
        {"sparc-shapes.o",
         ".rela.text",
         27,
         "HI22",
         {"4 9 tunable 0", "8 12 tunable 0", "28 9 shared_buffer 0", "2c 12 shared_buffer 0",
          "30 9 [.bss] 4"}},
    };
    for (const Case &c : cases) {
        ReltabReports errors;
        LoadedElf elf = loadElf(corpusFile(c.file), errors);
        ASSERT_TRUE(elf.object) << c.file;
        ElfReltabSectionFromInput *table = elf.table(c.table);
        ASSERT_NE(table, nullptr) << c.file;
        EXPECT_EQ(elf.section(".text")->relocations(), static_cast<RelocationsIterator *>(table));
        table->each([&](RelocationDescriptor &entry) {
            EXPECT_STREQ(entry.typeName(), c.firstName) << c.file;
            return false;
        });
        std::vector<std::string> entries = entriesOf(*table);
        ASSERT_EQ(entries.size(), c.count) << c.file;
        entries.resize(c.first.size());
        EXPECT_EQ(entries, c.first) << c.file;
    }
}

} // namespace
