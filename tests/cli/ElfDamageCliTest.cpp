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
    // botch ends the process at once, before the listing leaves its buffer.
    if (c.status != 3) {
        EXPECT_EQ(result.out.rfind(banner, 0), 0u) << c.what;
    }
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

// Relocation sections are read with the file: a damaged one is reported
// with its severity, and a table whose words do not fit the section they
// patch ends the run in botch (status 3, the listing still in its buffer).
Elf32_Rela record(uint32_t offset, uint32_t symbol, uint32_t type) {
    return Elf32_Rela{offset, symbol << 8 | type, 0};
}

std::function<void(ElfBuilder &)> relocated(uint16_t machine, const char *patched,
                                            std::function<void(Elf32_Shdr &)> patch) {
    return [=](ElfBuilder &b) {
        b.machine(machine)
            .relocations(".rel.text", SHT_REL, ".text", {record(4, 1, 5), record(8, 1, 6)})
            .relocations(".rela.data", SHT_RELA, ".data", {record(0, 1, 2)})
            .patchSection(patched, patch);
    };
}

const std::string badEntsize =
    "[tnm] In bad.o: section .rel.text has an invalid value for entsize field\n";
const std::string unreadable = "[tnm] Fatal Error: Can't read in .rel.text section of bad.o\n";

INSTANTIATE_TEST_SUITE_P(
    RelocationSections, ElfDamageCli,
    ::testing::Values(
        CliCase{"REL records of 12 bytes",
                relocated(EM_386, ".rel.text", [](Elf32_Shdr &h) { h.sh_entsize = 12; }),
                badEntsize, 1, true},
        CliCase{"an entry size of 0 is no division",
                relocated(EM_386, ".rel.text", [](Elf32_Shdr &h) { h.sh_entsize = 0; }), badEntsize,
                1, true},
        CliCase{"RELA records of 8 bytes",
                relocated(EM_PPC, ".rela.data", [](Elf32_Shdr &h) { h.sh_entsize = 8; }),
                "[tnm] In bad.o: section .rela.data has an invalid value for entsize field\n", 1,
                true},
        CliCase{"records past the end",
                relocated(EM_386, ".rel.text", [](Elf32_Shdr &h) { h.sh_offset = 0xFFFFFFF0; }),
                unreadable, 1, false},
        CliCase{"more records than the file holds",
                relocated(EM_ARM, ".rel.text", [](Elf32_Shdr &h) { h.sh_size = 0x7FFFFFF8; }),
                unreadable, 1, false},
        CliCase{"fewer bytes than a record",
                relocated(EM_386, ".rel.text", [](Elf32_Shdr &h) { h.sh_size = 4; }), "", 0, true},
        CliCase{"a MIPS HI16/LO16 pair outside its section",
                relocated(EM_MIPS, ".text", [](Elf32_Shdr &h) { h.sh_size = 8; }),
                "Fatal error --- bad.o:Fixup 0 and 1 have bad r_offsets (4 8)\nAborting...\n", 3,
                false}));

// The listing of a sound file is the same with or without its relocation
// sections, for machines with a fixup table of each kind and without one.
TEST(ElfListingCli, SoundRelocationSectionsLeaveTheListingAsItIs) {
    for (uint16_t machine : {EM_386, EM_MIPS, EM_PPC, EM_ARM, uint16_t(0x76)}) {
        ScratchDir plainDir, relocatedDir;
        ElfBuilder plain = sound(BigEndian);
        plain.machine(machine);
        ElfBuilder withTables = sound(BigEndian);
        relocated(machine, ".text", [](Elf32_Shdr &) {})(withTables);
        plainDir.write("x.o", plain.build());
        relocatedDir.write("x.o", withTables.build());
        ToolResult expected = runTool({"x.o"}, plainDir.path());
        ToolResult result = runTool({"x.o"}, relocatedDir.path());
        EXPECT_EQ(result.err, "") << machine;
        EXPECT_EQ(result.status, 0) << machine;
        EXPECT_EQ(result.out, expected.out) << machine;
        EXPECT_NE(result.out.find("main"), std::string::npos) << machine;
    }
}

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
