// The extractor's tables on real files: relocations, the hash table, the
// dynamic section and program headers, register information, and version
// records and indices of little- and big-endian shared objects.  Expected
// values as readelf shows them.
#include "ElfTestSupport.h"
#include "elf/Elf32Extractor.h"
#include "elf/Elf32Reader.h"
#include "elf/ElfSymtabSection.h"
#include "input/FileName.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

std::string corpus(const char *name) {
    return std::string(TNM_SOURCE_DIR) + "/tests/corpus/" + name;
}

TEST(CorpusTables, RelocationsOfBothKinds) {
    Elf32Reader i386(corpus("i386-shapes.o").c_str(), nullptr);
    ASSERT_EQ(i386.status, elfReadOk);
    EXPECT_TRUE(i386.ownsFile);
    Elf32Extractor rel(i386);
    const Elf32_Shdr &relText = rel.sectionHeader(2);
    auto records = rel.readRel(relText);
    ASSERT_NE(records, nullptr);
    EXPECT_EQ(relText.sh_size / 8, 15u);
    EXPECT_EQ(records[0].r_offset, 1u);
    EXPECT_EQ(records[0].r_info, 0x801u);
    EXPECT_EQ(records[1].r_offset, 0x43u);
    EXPECT_EQ(rel.readRela(relText), nullptr);

    const FileName &name =
        FileName::keep(std::make_unique<FileName>(corpus("ppc-shapes.o").c_str()));
    CapturingErrors errors;
    Elf32Reader ppc(name, errors);
    ASSERT_EQ(ppc.status, elfReadOk);
    Elf32Extractor rela(ppc);
    auto withAddends = rela.readRela(rela.sectionHeader(2));
    ASSERT_NE(withAddends, nullptr);
    EXPECT_EQ(withAddends[0].r_offset, 2u);
    EXPECT_EQ(withAddends[0].r_info, 0xB06u);
    EXPECT_EQ(withAddends[0].r_addend, 0);
    EXPECT_EQ(withAddends[1].r_info, 0xB04u);
}

TEST(CorpusTables, SharedObjectHashDynamicAndProgramHeaders) {
    Elf32Reader reader(corpus("arm-base.so").c_str(), nullptr);
    Elf32Extractor extractor(reader);
    auto hash = extractor.readHash(extractor.sectionHeader(1));
    ASSERT_NE(hash, nullptr);
    EXPECT_EQ(hash->nbucket, 3u);
    EXPECT_EQ(hash->nchain, 9u);
    EXPECT_EQ(hash->buckets[1], 8u);
    auto dynamic = extractor.readDynamic(extractor.sectionHeader(10));
    ASSERT_NE(dynamic, nullptr);
    auto copied = reader.copyDynamicEntries();
    ASSERT_EQ(reader.dynamicCount, 0x98u / 8);
    for (uint32_t i = 0; i < reader.dynamicCount; ++i)
        EXPECT_EQ(copied[i].d_tag, dynamic[i].d_tag);
    auto soname = extractor.soname();
    ASSERT_NE(soname, nullptr);
    EXPECT_STREQ(soname.get(), "libbase.so.1");
    auto phdrs = reader.copyProgramHeaders();
    ASSERT_NE(phdrs, nullptr);
    const Elf32_Phdr *dataSegment = nullptr;
    for (uint32_t i = 0; i < reader.header.e_phnum; ++i)
        if (phdrs[i].p_type == PT_LOAD && phdrs[i].p_offset == 0xF68) dataSegment = &phdrs[i];
    ASSERT_NE(dataSegment, nullptr);
    EXPECT_EQ(dataSegment->p_vaddr, 0x1F68u);
    EXPECT_EQ(dataSegment->p_filesz, 0xA8u);
    EXPECT_EQ(dataSegment->p_memsz, 0x1B0u);
    uint32_t count = 0;
    auto versions = extractor.readVersionSymbols(count);
    ASSERT_NE(versions, nullptr);
    EXPECT_EQ(count, 9u);
}

TEST(CorpusTables, AddressesInsideTheLoadedSegments) {
    Elf32Reader reader(corpus("mips-prog").c_str(), nullptr);
    ASSERT_EQ(reader.status, elfReadOk);
    auto magic = reader.readAtAddress(0x400000, 4);
    ASSERT_NE(magic, nullptr);
    EXPECT_EQ(memcmp(magic.get(), "\177ELF", 4), 0);
    EXPECT_EQ(reader.readAtAddress(0x4002FC, 2), nullptr); // runs past the segment
    EXPECT_EQ(reader.status, elfReadFailed);
    EXPECT_EQ(reader.readAtAddress(0x100, 4), nullptr); // in no segment
}

TEST(CorpusTables, MipsRegisterInformation) {
    Elf32Reader reader(corpus("mips-shapes.o").c_str(), nullptr);
    Elf32Extractor extractor(reader);
    auto info = extractor.registerInformation();
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->ri_gprmask, 0xB01F001Eu);
    EXPECT_EQ(info->ri_gp_value, 0);
    EXPECT_NE(extractor.readRegisterInformation(extractor.sectionHeader(5)), nullptr);
}

class VersionedPlugin : public ::testing::TestWithParam<const char *> {};

TEST_P(VersionedPlugin, DefinitionsRequirementsAndIndices) {
    CapturingErrors errors;
    auto file = inputOf([&] {
        std::vector<uint8_t> image;
        FILE *in = fopen(corpus(GetParam()).c_str(), "rb");
        for (int c; in && (c = fgetc(in)) != EOF;)
            image.push_back(static_cast<uint8_t>(c));
        if (in) fclose(in);
        return image;
    }());
    ElfObjectFileFromInput object(*file, errors);
    ASSERT_TRUE(object.isUsable());
    EXPECT_TRUE(errors.reports.empty());
    EXPECT_STREQ(object.name(), "libplugin.so.1");
    ASSERT_NE(object.versionDefinition(3), nullptr);
    EXPECT_TRUE(object.versionDefinition(1)->hasName("libplugin.so.1"));
    EXPECT_EQ(object.versionDefinition(1)->flags, 1);
    EXPECT_STREQ(object.versionDefinition(2)->names[0].c_str(), "PLUGIN_1.0");
    VerDef &third = *object.versionDefinition(3);
    std::vector<std::string> names;
    third.eachName([&](const char *n) { names.push_back(n); });
    EXPECT_EQ(names, (std::vector<std::string>{"PLUGIN_1.1", "PLUGIN_1.0"}));
    EXPECT_EQ(object.versionDefinition(4), nullptr);

    // The last symbols belong to PLUGIN_1.1, the ones before to PLUGIN_1.0.
    ElfSymtabSection *table = object.symbolTable();
    uint32_t last = table->entryCount() - 1;
    EXPECT_EQ(table->symbolAt(last)->versionIndex(), 3u);
    EXPECT_EQ(table->symbolAt(last - 2)->versionIndex(), 2u);
    EXPECT_EQ(table->symbolAt(1)->versionIndex(), 0u);

    Elf32Reader reader(*file);
    Elf32Extractor extractor(reader);
    uint32_t needIndex = extractor.findSectionOfType(0x6FFFFFFE);
    ASSERT_NE(needIndex, 0u);
    auto needs = extractor.readVersionRequirements(extractor.sectionHeader(needIndex));
    ASSERT_NE(needs, nullptr);
    ASSERT_EQ(needs->size(), 1u);
    VerNeed &need = (*needs)[0];
    EXPECT_EQ(need.file, "libbase.so.1");
    EXPECT_EQ(need.count, 2);
    ASSERT_NE(need.auxiliary(1), nullptr);
    EXPECT_EQ(need.auxiliary(0)->name, "BASE_1.0");
    EXPECT_EQ(need.auxiliary(0)->other, 5);
    EXPECT_EQ(need.auxiliary(1)->name, "BASE_2.0");
    EXPECT_EQ(need.auxiliary(1)->other, 4);
    EXPECT_EQ(need.auxiliary(2), nullptr);
    uint32_t visited = 0;
    need.eachAuxiliary([&](const VerNeedAux &) { ++visited; });
    EXPECT_EQ(visited, 2u);
}

INSTANTIATE_TEST_SUITE_P(BothOrders, VersionedPlugin,
                         ::testing::Values("arm-plugin.so", "ppc-plugin.so"));

} // namespace
