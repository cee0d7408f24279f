// A COFF file listed as the tool lists it: the rows of the full and the
// parsable layouts for every kind of COFF symbol, auxiliary entries left out.

#include "CoffTestSupport.h"
#include "kit/CoffBuilder.h"
#include "support/sprintf.h"
#include "tool/ListingSupport.h"
#include "tool/nm_listing.h"

#include <gtest/gtest.h>

namespace {

std::vector<uint8_t> sample() {
    return CoffBuilder(BigEndian, 0x150)
        .section(".text", coffSectionText, bytes(48))
        .address(0x1000)
        .section(".data", coffSectionData, bytes(8))
        .address(0x1030)
        .section(".bss", coffSectionBss, {}, 16)
        .address(0x1038)
        .symbol("shapes.c", 0, -2, coffClassFile)
        .aux(std::vector<uint8_t>(18, 'z'))
        .symbol(".text", 0x1000, 1, coffClassStatic)
        .aux(48, {2, 0})
        .symbol("_area", 0x1010, 1, coffClassExternal, 0x24)
        .aux(0, {0, 32})
        .symbol("_scale", 0x1034, 2, coffClassStatic)
        .symbol("_buffer", 64, 0, coffClassExternal)
        .symbol("_sqrt_of_the_value", 0, 0, coffClassExternal)
        .symbol("_limit", 0x7FF0, -1, coffClassExternal)
        .symbol("_zero", 0x1038, 3, coffClassExternal)
        .build();
}

TEST_F(ListingTest, FullAndParsableRowsOfACoffFile) {
    Reports reports;
    LoadedCoff coff = loadCoff(sample(), reports);
    ASSERT_TRUE(reports.lines.empty());
    RecordingErrors errors;
    const std::pair<const char *, std::string> cases[] = {
        {"-", "\ntest.o:\n"
              "Value        Size Binding  Type  Sect     Name\n"
              "00000000        0 LOCAL    FILE           shapes.c\n"
              "00000000       48 LOCAL    SECT  .text    .text\n"
              "00000010       32 GLOBAL   FUNC  .text    _area\n"
              "00000004        0 LOCAL    DATA  .data    _scale\n"
              "00000000       64 GLOBAL   DATA  COMM     _buffer\n"
              "00000000        0 GLOBAL   DATA  UNDEF    _sqrt_of_the_value\n"
              "00007ff0        0 GLOBAL   DATA  ABS      _limit\n"
              "00000000        0 GLOBAL   DATA  .bss     _zero\n"},
        {"-pg", "\ntest.o:\n"
                "Value     Type  Name\n"
                "00000010    T   _area\n"
                "00000000    C   _buffer\n"
                "00000000    U   _sqrt_of_the_value\n"
                "00007ff0    A   _limit\n"
                "00000000    B   _zero\n"},
    };
    for (const auto &[letters, expected] : cases) {
        nmOptions = optionsOf(letters);
        EXPECT_EQ(captureStdout([&] { displayObject(*coff.object, errors); }), expected) << letters;
    }
    EXPECT_EQ(errors.lines, "");
}

TEST(CoffDisplay, ObjectFileDisplayShowsSymbolsSectionsAndRelocations) {
    Reports reports;
    LoadedCoff coff = loadCoff(CoffBuilder(BigEndian, 0x150)
                                   .section(".text", coffSectionText, bytes(16))
                                   .address(0x100)
                                   .relocation(0x104, 0, 6)
                                   .symbol("_main", 0x108, 1, coffClassExternal, 0x20)
                                   .symbol("_ext", 0, 0, coffClassExternal)
                                   .build(),
                               reports);
    char buffer[512];
    StringFormatOut out(buffer, sizeof buffer, false);
    coff->display(out);
    // The heading names the file by its path, a scratch file here.  The
    // entry at 0x104 is shown at its offset in the section.
    std::string text = out.text();
    EXPECT_EQ(text.substr(0, 29), "Display of COFF object file \"");
    EXPECT_EQ(text.substr(text.find("\"\n")), "\"\n"
                                              "\nSymbols:\n"
                                              "_main\t=0x108 in .text global\n"
                                              "_ext\t=0x0 imported\n"
                                              "\nSections:\n"
                                              "Section .text: size=0x10, type=text, address=0x100\n"
                                              "16 bytes of data should be displayed here\n"
                                              "\nRelocations for section .text:\n"
                                              "@0x4: _main[#0]\n");
}

} // namespace
