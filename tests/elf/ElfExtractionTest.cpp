// The lowest ELF layer: header and table reading in both byte orders, the
// extractor's lookups, the machine tables and the hash.
#include "ElfTestSupport.h"
#include "elf/Elf32Extractor.h"
#include "elf/Elf32Reader.h"
#include "elf/Elf32Util.h"
#include "elf/ElfUtil.h"
#include "kit/ElfBuilder.h"
#include "support/endian.h"
#include "support/errors.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

std::vector<uint8_t> sample(ByteOrder order) {
    return ElfBuilder(order)
        .machine(EM_MIPS)
        .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(8, 0x11))
        .section(".bss", SHT_NOBITS, SHF_ALLOC | SHF_WRITE, {}, 64)
        .symbol("local", 4, 0, STB_LOCAL, STT_NOTYPE, ".text", 0xF0)
        .symbol("main", 0x1234, 0x5678, STB_GLOBAL, STT_FUNC, ".text")
        .build();
}

class ByteOrderTest : public ::testing::TestWithParam<ByteOrder> {};

TEST_P(ByteOrderTest, RecordsArriveInHostOrder) {
    auto file = inputOf(sample(GetParam()));
    Elf32Reader reader(*file);
    ASSERT_EQ(reader.status, elfReadOk);
    EXPECT_EQ(reader.swap, (GetParam() == LittleEndian) != hostIsLittleEndian);
    EXPECT_EQ(reader.header.e_machine, EM_MIPS);
    EXPECT_EQ(reader.header.e_shnum, 6);

    Elf32Extractor extractor(reader);
    ASSERT_NE(extractor.sections, nullptr);
    uint32_t symtab = extractor.symbolTableIndex();
    EXPECT_EQ(symtab, 3u);
    auto symbols = extractor.symbols();
    ASSERT_NE(symbols, nullptr);
    EXPECT_EQ(symbols[2].st_value, 0x1234u);
    EXPECT_EQ(symbols[2].st_size, 0x5678u);
    EXPECT_EQ(symbols[2].st_shndx, 1);
    // Single bytes are never swapped.
    EXPECT_EQ(symbols[2].st_info, elfSymbolInfo(STB_GLOBAL, STT_FUNC));
    EXPECT_EQ(symbols[1].st_other, 0xF0);
    auto names = extractor.symbolNames();
    ASSERT_NE(names, nullptr);
    EXPECT_STREQ(names->at(symbols[2].st_name), "main");
    auto sectionNames = extractor.sectionNames();
    ASSERT_NE(sectionNames, nullptr);
    EXPECT_STREQ(sectionNames->at(extractor.sectionHeader(2).sh_name), ".bss");
    EXPECT_EQ(extractor.sectionHeader(2).sh_size, 64u);
    EXPECT_EQ(reader.readSection(extractor.sectionHeader(2)), nullptr);

    Elf32_Ehdr copy;
    reader.copyHeader(copy);
    EXPECT_EQ(memcmp(&copy, &reader.header, sizeof copy), 0);
    EXPECT_STREQ(reader.fileName().printableText(), "test.o");
    // SHT_NOBITS reads as zeros, no more than the section holds.
    std::vector<uint8_t> buffer(80, 0xAA);
    EXPECT_TRUE(reader.readSectionInto(extractor.sectionHeader(2), buffer.data(), 80));
    std::vector<uint8_t> cleared = bytes(64);
    cleared.push_back(0xAA);
    EXPECT_EQ(std::vector<uint8_t>(buffer.begin(), buffer.begin() + 65), cleared);
    EXPECT_TRUE(reader.readSectionInto(extractor.sectionHeader(1), buffer.data(), 4));
    EXPECT_EQ(std::vector<uint8_t>(buffer.begin(), buffer.begin() + 5),
              (std::vector<uint8_t>{0x11, 0x11, 0x11, 0x11, 0}));
}

INSTANTIATE_TEST_SUITE_P(BothOrders, ByteOrderTest, ::testing::Values(LittleEndian, BigEndian));

TEST(Elf32Reader, StatusTellsWhyReadingStopped) {
    auto noMagic = sample(LittleEndian);
    noMagic[1] = 'X';
    struct Case {
        std::vector<uint8_t> image;
        uint8_t status;
    } cases[] = {
        {noMagic, elfBadMagic},
        {bytes(20), elfReadFailed},
        {ElfBuilder()
             .patchHeader([](Elf32_Ehdr &h) { h.e_phnum = 3, h.e_phoff = 0xFFFFFFF0; })
             .build(),
         elfReadFailed},
    };
    for (Case &c : cases) {
        auto file = inputOf(c.image);
        Elf32Reader reader(*file);
        EXPECT_EQ(reader.status, c.status);
    }
}

TEST(Elf32Reader, TablesAndBlocksPastTheEndAreRefused) {
    auto file = inputOf(ElfBuilder().patchHeader([](Elf32_Ehdr &h) { h.e_shnum = 0; }).build());
    Elf32Reader reader(*file);
    EXPECT_EQ(reader.readSectionTable(), nullptr);
    EXPECT_EQ(reader.status, elfReadOk);
    EXPECT_EQ(reader.readBlock(0xFFFFFFF0, 0x20), nullptr);
    EXPECT_EQ(reader.status, elfReadFailed);
    EXPECT_EQ(reader.readBlock(8, 0xFFFFFFFF), nullptr);

    auto past = inputOf(ElfBuilder().patchHeader([](Elf32_Ehdr &h) { h.e_shoff += 8; }).build());
    Elf32Reader pastReader(*past);
    EXPECT_EQ(pastReader.readSectionTable(), nullptr);
    EXPECT_EQ(pastReader.status, elfReadFailed);
}

TEST(Elf32Extractor, LookupsOfSectionsByTypeAndIndex) {
    auto file = inputOf(ElfBuilder()
                            .section(".a", SHT_PROGBITS, SHF_ALLOC, bytes(4))
                            .section(".symtab2", SHT_SYMTAB, 0, bytes(32))
                            .dynamicSymbols()
                            .symbol("x", 0, 0, STB_GLOBAL, STT_NOTYPE, uint16_t(0))
                            .build());
    Elf32Reader reader(*file);
    Elf32Extractor extractor(reader);
    // Both kinds present: the dynamic table wins.
    EXPECT_EQ(extractor.symbolTableIndex(), 3u);
    EXPECT_EQ(extractor.findSectionOfType(SHT_SYMTAB), 2u);
    EXPECT_EQ(extractor.findSectionOfType(SHT_NULL), 0u);
    EXPECT_EQ(&extractor.sectionHeader(99), &extractor.sectionHeader(0));
    EXPECT_EQ(extractor.indexOfHeader(&extractor.sectionHeader(2)), 2u);
    Elf32_Shdr copy = extractor.sectionHeader(1);
    EXPECT_EQ(extractor.indexOfHeader(&copy), 1u);
    EXPECT_EQ(extractor.readSymbols(extractor.sectionHeader(1)), nullptr);
    EXPECT_EQ(extractor.readStrings(extractor.sectionHeader(1)), nullptr);
    EXPECT_EQ(extractor.readRel(extractor.sectionHeader(1)), nullptr);
    uint32_t count = 7;
    EXPECT_EQ(extractor.readVersionSymbols(count), nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(extractor.registerInformation(), nullptr);
}

TEST(Elf32Extractor, SonameAndDynamicStringsThroughTheProgramHeaders) {
    auto file = inputOf(ElfBuilder(BigEndian)
                            .type(ET_DYN)
                            .dynamicSymbols()
                            .symbol("f", 0, 0, STB_GLOBAL, STT_FUNC, SHN_ABS)
                            .soname("libx.so.1")
                            .build());
    Elf32Reader reader(*file);
    ASSERT_EQ(reader.status, elfReadOk);
    Elf32Extractor extractor(reader);
    auto name = extractor.soname();
    ASSERT_NE(name, nullptr);
    EXPECT_STREQ(name.get(), "libx.so.1");
    EXPECT_STREQ(reader.dynamicString(0x7FFF), "???");
    const Elf32_Dyn *strsz = reader.dynamicEntry(DT_STRSZ);
    ASSERT_NE(strsz, nullptr);
    EXPECT_STREQ(reader.dynamicString(strsz->d_val - 2), "f");
    uint32_t visited = 0;
    reader.eachDynamicEntry([&](const Elf32_Dyn &) { ++visited; });
    EXPECT_EQ(visited, 4u); // three entries and the terminator
}

TEST(ElfUtil, MachineTables) {
    EXPECT_EQ(ElfUtil::copyType(3), 5u);
    EXPECT_EQ(ElfUtil::relativeType(0x28), 0xCu);
    EXPECT_EQ(ElfUtil::word32(8), 2u);
    EXPECT_EQ(ElfUtil::jmpSlotType(0x14), 0x15u);
    EXPECT_EQ(ElfUtil::globdatType(2), 0x14u);
    EXPECT_EQ(ElfUtil::callType(0x5F), 0x17u);
    EXPECT_EQ(ElfUtil::pltEntrySize(0x11), 8u);
    EXPECT_EQ(ElfUtil::initPltSize(0x28), 0u);
    EXPECT_STREQ(ElfUtil::machineName(0x5D), "?93?");
    EXPECT_STREQ(ElfUtil::machineName(0x39D), "HOBBIT");
    EXPECT_TRUE(ElfUtil::isKnownMachine(0x9999));
    EXPECT_FALSE(ElfUtil::isKnownMachine(0x39D));
    EXPECT_TRUE(ElfUtil::usesRel(6));
    EXPECT_FALSE(ElfUtil::usesRel(8));
    EXPECT_STREQ(ElfUtil::relocationSectionName(".text", 3).get(), ".rel.text");
    EXPECT_STREQ(ElfUtil::relocationSectionName(".text", 0x14).get(), "rela.text");
    EXPECT_EQ(ElfUtil::auxiliarySize(0x28), 0x14u);
    EXPECT_EQ(ElfUtil::auxiliarySize(3), 0xCu);
    EXPECT_EQ(ElfUtil::auxiliaryOffset(0x11), 4u);
    EXPECT_EQ(ElfUtil::relocationForDynamic(4, 0x14, true), 200u);
    EXPECT_EQ(ElfUtil::relocationForDynamic(1, 3, false), 8u); // word32 -> relative
    EXPECT_EQ(ElfUtil::relocationForDynamic(6, 3, false), 8u); // globdat -> relative
    EXPECT_EQ(ElfUtil::relocationForDynamic(7, 3, false), 7u); // jump slot stays
    EXPECT_EQ(ElfUtil::relocationForDynamic(2, 3, false), 0u);
    EXPECT_TRUE(ElfUtil::isRelativeType(0xC9, 0x14));
    EXPECT_FALSE(ElfUtil::isRelativeType(8, 0x14));
    EXPECT_TRUE(ElfUtil::isRelativeType(8, 3));
}

TEST(ElfUtilDeathTest, MissingMachineCaseBotches) {
    EXPECT_DEATH(ElfUtil::initPltSize(8), "ElfUtil::initPltSize\\(MIPS\\) -- no case present!");
    EXPECT_DEATH(ElfUtil::callType(0x63), "ElfUtil::word32\\(\\?99\\?\\) -- no case present!");
}

TEST(ElfUtil, HeaderRoutinesWithoutAReader) {
    Elf32_Ehdr made;
    ElfUtil::makeHeader(made, EM_ARM, false);
    EXPECT_TRUE(Elf32Util::isElfMagic(made));
    EXPECT_EQ(made.e_ident[EI_DATA], ELFDATA2MSB);
    EXPECT_EQ(made.e_type, ET_EXEC);
    EXPECT_EQ(made.e_shentsize, 0x28);
    EXPECT_EQ(ElfUtil::headerNeedsSwap(made), hostIsLittleEndian);

    // EI_DATA 0: the reader swaps on a little-endian host, readHeader never.
    auto image = sample(BigEndian);
    image[EI_DATA] = 0;
    auto file = inputOf(image);
    Elf32_Ehdr header;
    bool swap = true;
    NullErrorContext quiet;
    ElfUtil::readHeader(*file, header, quiet, swap);
    EXPECT_FALSE(swap);
    EXPECT_EQ(Elf32Util::needsSwap(header), hostIsLittleEndian);

    CapturingErrors errors;
    auto tooShort = inputOf(bytes(20));
    EXPECT_THROW(ElfUtil::readHeader(*tooShort, header, errors, swap), FatalStop);
    EXPECT_EQ(errors.reports.back(), "F: Unable to read ELF header of test.o: errno=" +
                                         std::to_string(tooShort->lastError));
    auto good = inputOf(sample(BigEndian));
    ElfUtil::readHeader(*good, header, errors, swap);
    auto table = ElfUtil::readSectionTable(*good, header, errors, swap);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table[2].sh_type, SHT_NOBITS);
    std::vector<uint8_t> text(8);
    EXPECT_TRUE(ElfUtil::readSectionContents(text.data(), *good, table[1], ".text", errors));
    EXPECT_EQ(text, bytes(8, 0x11));
    Elf32_Shdr past = table[1];
    past.sh_offset = 0x10, past.sh_size = 0x1000;
    std::vector<uint8_t> big(0x1000);
    EXPECT_FALSE(ElfUtil::readSectionContents(big.data(), *good, past, ".text", errors));
    EXPECT_EQ(errors.reports.back(), "E: Premature EOF encountered reading contents of\n|\tsection "
                                     ".text in file test.o (offset=0x10, size=0x1000)");
    header.e_shoff += 4;
    EXPECT_EQ(ElfUtil::readSectionTable(*good, header, errors, swap), nullptr);
    EXPECT_EQ(errors.reports.back(), "E: File test.o has truncated section table");
    header.e_shentsize = 32;
    EXPECT_THROW(ElfUtil::readSectionTable(*good, header, errors, swap), FatalStop);
    EXPECT_EQ(errors.reports.back(),
              "F: In file test.o: e_shentsize (=32) in elf header is invalid;\n|\tshould be 40.");
}

TEST(Elf32Util, HashOfTheFormat) {
    EXPECT_EQ(Elf32Util::hash("main", 0), 0x737FEu);
    EXPECT_EQ(Elf32Util::hash("printf", 0), 0x77905A6u);
    EXPECT_EQ(Elf32Util::hash("_ZN3fooEv", 0), 0x19D4736u);
    EXPECT_EQ(ElfUtil::hash("main", 7), 0x737FEu % 7);
}

} // namespace
