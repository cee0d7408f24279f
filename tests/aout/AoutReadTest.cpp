// Reading a.out files: identification of the kit's files, the layouts of the
// three magic numbers, both byte orders, symbol values made relative to
// their sections, names, counts, and dynamic files.
#include "AoutTestSupport.h"
#include "input/FileIdentity.h"
#include "kit/AoutBuilder.h"

#include <gtest/gtest.h>

namespace {

// One line per symbol: name, type byte, value, section name or "-".
std::string rows(BsdObjectFileInput &object) {
    std::string text;
    object.eachSymbol([&](Symbol &s) {
        char line[128];
        Section *section = s.section();
        snprintf(line, sizeof line, "%s %02x %x %s\n", s.name(), s.bsdSymbol()->type, s.value(),
                 section ? section->name() : "-");
        text += line;
        return true;
    });
    return text;
}

TEST(AoutIdentity, KitFilesAreIdentifiedAsAout) {
    // Identification reads the magic big-endian, and lets machines 0 to 3
    // through; the reader then refuses all but SPARC.
    const std::pair<AoutBuilder, ObjectFormatKind> cases[] = {
        {AoutBuilder().text(bytes(4)), bsdFormat},
        {AoutBuilder().magic(bsdNmagic).text(bytes(4)), bsdFormat},
        {AoutBuilder().magic(bsdZmagic).text(bytes(64)), bsdFormat},
        {AoutBuilder().machine(0).text(bytes(4)), bsdFormat},
        {AoutBuilder().machine(2).text(bytes(4)), bsdFormat},
        {AoutBuilder().machine(4).text(bytes(4)), unknownFormat},
        // A little-endian file is read by the reader but not taken for a.out.
        {AoutBuilder(LittleEndian).text(bytes(4)), unknownFormat},
    };
    for (const auto &[builder, kind] : cases) {
        auto file = aoutInput(builder.build());
        FileIdentity id;
        FileIdentity::identify(id, *file, false);
        EXPECT_EQ(id.kind, kind);
        EXPECT_FALSE(id.isArchive);
    }
}

class AoutRead : public ::testing::TestWithParam<ByteOrder> {};

TEST_P(AoutRead, ValuesBecomeSectionRelative) {
    AoutBuilder b(GetParam());
    b.text(bytes(0x20)).data(bytes(0x10)).bss(0x8);
    b.symbol("text_local", N_TEXT, 0x8)
        .symbol("text_global", N_TEXT | N_EXT, 0x10)
        .symbol("data_local", N_DATA, 0x24)
        .symbol("data_global", N_DATA | N_EXT, 0x28)
        .symbol("bss_global", N_BSS | N_EXT, 0x34)
        .symbol("absolute", N_ABS | N_EXT, 0x1234)
        .symbol("undefined", N_UNDF | N_EXT, 0)
        .symbol("common", N_UNDF | N_EXT, 0x40)
        .symbol("function_stab", N_FUN, 0x10)
        .symbol("data_stab", 0x26, 0x30);
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    EXPECT_EQ(rows(*object), "text_local 04 8 .text\n"
                             "text_global 05 10 .text\n"
                             "data_local 06 4 .data\n"
                             "data_global 07 8 .data\n"
                             "bss_global 09 4 .bss\n"
                             "absolute 03 1234 -\n"
                             "undefined 01 0 -\n"
                             "common 01 40 -\n"
                             "function_stab 24 10 .text\n"
                             "data_stab 26 10 .data\n");
    EXPECT_EQ(object->symbolCount(), 10u);
    EXPECT_TRUE(reports.lines.empty());
}

TEST_P(AoutRead, HeaderInHostOrder) {
    AoutBuilder b(GetParam());
    b.toolVersion(0x55).entry(0x2020).text(bytes(8)).data(bytes(4)).bss(12);
    b.textRelocation(0, 0, true, 7, 0).dataRelocation(0, 0, true, 2, 0);
    b.symbol("a", N_TEXT, 0);
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    const BsdExecHeader &h = *object->bsdHeader();
    EXPECT_EQ(h.flags, 0x55 << 1);
    EXPECT_EQ(h.machine, 3);
    EXPECT_EQ(h.magic, bsdOmagic);
    const uint32_t words[] = {h.text, h.data, h.bss, h.syms, h.entry, h.trsize, h.drsize};
    const uint32_t expected[] = {8, 4, 12, 12, 0x2020, 12, 12};
    for (uint32_t i = 0; i < 7; ++i)
        EXPECT_EQ(words[i], expected[i]) << i;
    EXPECT_FALSE(object->isSharedObject());
    EXPECT_EQ(object->entry(), 0x2020u);
    // Relocation records are passed over: the symbols behind them are read.
    EXPECT_STREQ(object->symbolAt(0)->name(), "a");
}

TEST_P(AoutRead, DynamicFileHasSymbolsButNoSections) {
    AoutBuilder b(GetParam());
    b.dynamic().toolVersion(1).text(bytes(8)).data(bytes(4)).bss(4);
    b.symbol("in_text", N_TEXT | N_EXT, 0).symbol("in_data", N_DATA | N_EXT, 8);
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    EXPECT_EQ(object->bsdHeader()->flags, bsdDynamicFlag | 1 << 1);
    EXPECT_TRUE(object->isSharedObject());
    EXPECT_FALSE(object->isRelocatable());
    EXPECT_EQ(object->sectionCount(), 0u);
    EXPECT_EQ(rows(*object), "in_text 05 0 -\nin_data 07 0 -\n");
    EXPECT_EQ(object->symbolAt(0)->type(), SymbolType::none);
}

TEST_P(AoutRead, TextOffsetOfEachMagic) {
    // OMAGIC and NMAGIC text follows the header; a ZMAGIC file of a current
    // machine keeps its header inside the text, so the text's first bytes
    // are the header's.
    for (uint16_t magic : {bsdOmagic, bsdNmagic, bsdZmagic}) {
        std::vector<uint8_t> text = bytes(48, 0xAA);
        AoutBuilder b(GetParam());
        b.magic(magic).text(text).data(bytes(4, 0xDD)).symbol("s", N_DATA, 48);
        AoutReports reports;
        auto object = readAout(b.build(), reports);
        std::vector<uint8_t> image = b.build();
        uint32_t offset = magic == bsdZmagic ? 0 : 32;
        EXPECT_EQ(b.textOffset(), offset);
        auto *section = static_cast<BsdSectionFromInput *>(object->textSection());
        EXPECT_TRUE(
            std::equal(section->contents(), section->contents() + 48, image.begin() + offset))
            << magic;
        auto *data = static_cast<BsdSectionFromInput *>(object->dataSection());
        EXPECT_EQ(data->contents()[0], 0xDD) << magic;
        EXPECT_EQ(object->symbolAt(0)->value(), 0u) << magic;
    }
}

TEST_P(AoutRead, CountsAndNames) {
    // syms of 30 bytes: two entries, the last 6 bytes ignored.  strx 0 reads
    // the length word as a name: in a big-endian table of 10 bytes
    // ("\0\0\0\n") it is empty, in a little-endian one "\n".
    AoutBuilder b(GetParam());
    b.symbol("first", N_ABS, 1).symbolAt(0, N_ABS, 2).symbolSlack(6);
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    EXPECT_EQ(object->symbolCount(), 2u);
    EXPECT_EQ(object->count(), 2u);
    EXPECT_STREQ(object->symbolAt(0)->name(), "first");
    EXPECT_STREQ(object->symbolAt(1)->name(), GetParam() == BigEndian ? "" : "\n");
    EXPECT_EQ(object->symbolAt(2), nullptr);
    EXPECT_EQ(object->stringTableSize(), 10u);

    // A file without symbols or strings still has its three sections.
    AoutBuilder bare(GetParam());
    bare.text(bytes(4)).noStringTable();
    object = readAout(bare.build(), reports);
    EXPECT_EQ(object->symbolCount(), 0u);
    EXPECT_EQ(object->stringTableSize(), 0u);
    EXPECT_EQ(object->sectionCount(), 3u);
    EXPECT_TRUE(reports.lines.empty());
}

INSTANTIATE_TEST_SUITE_P(BothOrders, AoutRead, ::testing::Values(BigEndian, LittleEndian));

} // namespace
