// Damaged ELF files through the built tnm: the message and its severity on
// standard error, the exit status, and whether the run goes on to the next
// file.  Also the rows that the ELF reading rules decide.
#include "kit/ElfBuilder.h"
#include "kit/RunTool.h"

#include <gtest/gtest.h>

namespace {

const std::string banner = "Tolvane Object File Symbol Display Utility v1.9\n"
                           "Copyright (c) 2026 Tolvane. All rights reserved.\n";

ElfBuilder sound(ByteOrder order = LittleEndian) {
    ElfBuilder b(order);
    b.section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(16))
        .section(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, bytes(8))
        .symbol("main", 0x10, 16, STB_GLOBAL, STT_FUNC, ".text");
    return b;
}

const std::string goodListing = "\ngood.o:\n"
                                "Value        Size Binding  Type  Sect     Name\n"
                                "00000010       16 GLOBAL   FUNC  .text    main\n";

struct CliCase {
    const char *what;
    std::function<void(ElfBuilder &)> damage;
    std::string err;
    int status;
    bool goesOn; // good.o behind the damaged file is still listed
};

// Test names show the case's words, never the bytes of its callback.
void PrintTo(const CliCase &c, std::ostream *os) {
    *os << c.what;
}

class ElfDamageCli : public ::testing::TestWithParam<CliCase> {};

TEST_P(ElfDamageCli, MessageSeverityAndWhetherTheRunGoesOn) {
    const CliCase &c = GetParam();
    ScratchDir dir;
    ElfBuilder damaged = sound(BigEndian);
    c.damage(damaged);
    dir.write("bad.o", damaged.build());
    dir.write("good.o", sound().build());
    ToolResult result = runTool({"bad.o", "good.o"}, dir.path());
    EXPECT_EQ(result.err, c.err) << c.what;
    EXPECT_EQ(result.status, c.status) << c.what;
    bool listedGood = result.out.find(goodListing) != std::string::npos;
    EXPECT_EQ(listedGood, c.goesOn) << c.what << "\n" << result.out;
    EXPECT_EQ(result.out.rfind(banner, 0), 0u) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ElfDamageCli,
    ::testing::Values(
        CliCase{"section table past the end",
                [](ElfBuilder &b) { b.patchHeader([](Elf32_Ehdr &h) { h.e_shoff = 0xFFFFFFF0; }); },
                "[tnm] Fatal Error: Could not read section table from file bad.o.\n", 1, false},
        CliCase{
            "garbage section name",
            [](ElfBuilder &b) { b.patchSection(".text", [](Elf32_Shdr &h) { h.sh_name = 999; }); },
            "[tnm] Fatal Error: In file bad.o: section #1 has a garbage name\n", 1, false},
        CliCase{"fully stripped", [](ElfBuilder &b) { b.noSymbolTable(); },
                "[tnm] Fatal Error: Could not find symbol table from file bad.o.\n", 1, false},
        CliCase{"contents past the end",
                [](ElfBuilder &b) {
                    b.patchSection(".data", [](Elf32_Shdr &h) { h.sh_size = 0x7FFFFFFF; });
                },
                "[tnm] Can't read data of section .data in bad.o\n", 1, true},
        CliCase{"symbols unreadable",
                [](ElfBuilder &b) {
                    b.patchSection(".symtab", [](Elf32_Shdr &h) { h.sh_offset = 0xFFFFFFF0; });
                },
                "[tnm] Couldn't read .symtab section of bad.o.\n"
                "[tnm] (Warning) bad.o has no symbols\n",
                1, true},
        CliCase{
            "link ignored",
            [](ElfBuilder &b) { b.patchSection(".text", [](Elf32_Shdr &h) { h.sh_link = 3; }); },
            "[tnm] (Warning) In file bad.o: section \".text\" (#1)\n|\thas a non-zero \"link\" "
            "value (=3) that doesn't reference a\n|\tvalid PROGBITS section. Value ignored.\n",
            0, true}));

TEST(ElfListingCli, RowsThatTheReadingRulesDecide) {
    ScratchDir dir;
    dir.write("rules.o", ElfBuilder(BigEndian)
                             .machine(EM_PPC)
                             .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(32))
                             .section(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, bytes(16))
                             .symbol("", 0, 0, STB_LOCAL, STT_SECTION, ".text")
                             .symbol("", 4, 0, STB_LOCAL, STT_SECTION, ".data")
                             .symbol("exported", 8, 4, STB_EXPORT, STT_FUNC, ".text")
                             .symbol("t13", 12, 2, STB_GLOBAL, STT_THUMB_FUNC, ".text")
                             .symbol("t15", 14, 2, STB_WEAK, STT_THUMB_FUNC_2, ".text")
                             .symbol("small", 4, 4, STB_GLOBAL, STT_OBJECT, SHN_LORESERVE)
                             .build());
    ToolResult result = runTool({"rules.o"}, dir.path());
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, banner + "\nrules.o:\n"
                                   "Value        Size Binding  Type  Sect     Name\n"
                                   "00000000        0 LOCAL    SECT  .text    .text\n"
                                   "00000004        0 LOCAL    DATA  .data    \n"
                                   "00000008        4 LOCAL    FUNC  .text    exported\n"
                                   "0000000c        2 GLOBAL   FUNC  .text    t13\n"
                                   "0000000e        2 WEAK     FUNC  .text    t15\n"
                                   "00000004        4 GLOBAL   DATA  SCOMM    small\n");
}

} // namespace
