// Damaged ELF files: each damage gives its message and severity, and the
// reading stops, gives the file up, or goes on as it should.
#include "ElfTestSupport.h"
#include "elf/ElfSymtabSection.h"
#include "input/FileName.h"
#include "kit/ElfBuilder.h"

#include <gtest/gtest.h>

namespace {

ElfBuilder plain(ByteOrder order = LittleEndian) {
    ElfBuilder b(order);
    b.section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(16))
        .section(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, bytes(8))
        .symbol("main", 0, 16, STB_GLOBAL, STT_FUNC, ".text");
    return b;
}

struct FatalCase {
    const char *what;
    std::function<void(ElfBuilder &)> damage;
    const char *message;
};

class FatalDamage : public ::testing::TestWithParam<std::tuple<FatalCase, ByteOrder>> {};

TEST_P(FatalDamage, EndsTheRunWithItsMessage) {
    const auto &[c, order] = GetParam();
    ElfBuilder builder = plain(order);
    c.damage(builder);
    EXPECT_EQ(fatalOf(builder.build()), c.message) << c.what;
}

const FatalCase fatalCases[] = {
    {"wrong magic",
     [](ElfBuilder &b) { b.patchHeader([](Elf32_Ehdr &h) { h.e_ident[0] = 0x7E; }); },
     "File test.o does not appear to be a valid ELF file."},
    {"file shorter than its header", [](ElfBuilder &b) { b.truncate(40); },
     "File test.o does not appear to be a valid ELF file."},
    {"program headers past the end",
     [](ElfBuilder &b) {
         b.patchHeader([](Elf32_Ehdr &h) { h.e_phnum = 2, h.e_phoff = 0x7FFFFFF0; });
     },
     "File test.o does not appear to be a valid ELF file."},
    {"no section table", [](ElfBuilder &b) { b.patchHeader([](Elf32_Ehdr &h) { h.e_shnum = 0; }); },
     "Could not read section table from file test.o."},
    {"section table past the end",
     [](ElfBuilder &b) { b.patchHeader([](Elf32_Ehdr &h) { h.e_shoff += 1; }); },
     "Could not read section table from file test.o."},
    {"section table offset overflowing",
     [](ElfBuilder &b) { b.patchHeader([](Elf32_Ehdr &h) { h.e_shoff = 0xFFFFFFF0; }); },
     "Could not read section table from file test.o."},
    {"truncated file", [](ElfBuilder &b) { b.truncate(200); },
     "Could not read section table from file test.o."},
    {"e_shstrndx 0", [](ElfBuilder &b) { b.patchHeader([](Elf32_Ehdr &h) { h.e_shstrndx = 0; }); },
     "Could not read section string table from file test.o."},
    {"e_shstrndx beyond the table",
     [](ElfBuilder &b) { b.patchHeader([](Elf32_Ehdr &h) { h.e_shstrndx = 200; }); },
     "Could not read section string table from file test.o."},
    {"e_shstrndx naming a program section",
     [](ElfBuilder &b) { b.patchHeader([](Elf32_Ehdr &h) { h.e_shstrndx = 1; }); },
     "Could not read section string table from file test.o."},
    {"section names past the end",
     [](ElfBuilder &b) {
         b.patchSection(".shstrtab", [](Elf32_Shdr &h) { h.sh_size = 0xFFFFFFFF; });
     },
     "Could not read section string table from file test.o."},
    {"e_shnum 1", [](ElfBuilder &b) { b.patchHeader([](Elf32_Ehdr &h) { h.e_shnum = 1; }); },
     "Could not read section string table from file test.o."},
    {"sh_name past the names",
     [](ElfBuilder &b) { b.patchSection(".data", [](Elf32_Shdr &h) { h.sh_name = 0xFFFF; }); },
     "In file test.o: section #2 has a garbage name"},
    {"no symbol table", [](ElfBuilder &b) { b.noSymbolTable(); },
     "Could not find symbol table from file test.o."},
    {"symbol table linking beyond the table",
     [](ElfBuilder &b) { b.patchSection(".symtab", [](Elf32_Shdr &h) { h.sh_link = 99; }); },
     "Bad sh_link (=99) in section .symtab of file test.o"},
    {"symbol table linking a program section",
     [](ElfBuilder &b) { b.patchSection(".symtab", [](Elf32_Shdr &h) { h.sh_link = 1; }); },
     "In file test.o: sh_link (=1) of section .symtab\n|\tcorresponds to section .text;\n|\tthis "
     "is not a valid string table section."},
    {"symbol table linking itself",
     [](ElfBuilder &b) { b.patchSection(".symtab", [](Elf32_Shdr &h) { h.sh_link = 3; }); },
     "Can't read string table of file test.o"},
    {"symbol names past the end",
     [](ElfBuilder &b) {
         b.patchSection(".strtab", [](Elf32_Shdr &h) { h.sh_offset = 0xFFFFFF00; });
     },
     "Can't read string table of file test.o"},
};

INSTANTIATE_TEST_SUITE_P(Table, FatalDamage,
                         ::testing::Combine(::testing::ValuesIn(fatalCases),
                                            ::testing::Values(LittleEndian, BigEndian)));

// Reports of a damaged file that is read all the same (or given up without
// ending the run).
struct GoingOnCase {
    const char *what;
    std::function<void(ElfBuilder &)> damage;
    std::vector<std::string> reports;
    bool objectMade;
    uint32_t symbols = 2; // entries of the symbol table: entry 0 and "main"
};

class DamageThatGoesOn : public ::testing::TestWithParam<GoingOnCase> {};

TEST_P(DamageThatGoesOn, ReportsAndGoesOn) {
    const GoingOnCase &c = GetParam();
    ElfBuilder builder = plain();
    c.damage(builder);
    CapturingErrors errors;
    std::unique_ptr<ElfObjectFileFromInput> object;
    ASSERT_NO_THROW(object = loadElf(builder.build(), errors)) << c.what;
    EXPECT_EQ(errors.reports, c.reports) << c.what;
    EXPECT_EQ(object != nullptr, c.objectMade) << c.what;
    if (!object) return;
    uint32_t visited = 0;
    object->eachSymbol([&](Symbol &) { return ++visited, true; });
    EXPECT_EQ(object->symbolTable()->entryCount(), c.symbols) << c.what;
    EXPECT_EQ(visited, c.symbols ? c.symbols - 1 : 0) << c.what;
    // Entry 0 counts, except in a file with COMDAT sections.
    EXPECT_EQ(object->symbolCount(), object->hasComdat() ? visited : c.symbols) << c.what;
}

const GoingOnCase goingOnCases[] = {
    {"contents past the end",
     [](ElfBuilder &b) { b.patchSection(".data", [](Elf32_Shdr &h) { h.sh_size = 0x10000; }); },
     {"E: Can't read data of section .data in test.o"},
     false},
    {"contents at an overflowing offset",
     [](ElfBuilder &b) {
         b.patchSection(".text", [](Elf32_Shdr &h) { h.sh_offset = 0xFFFFFFF8; });
     },
     {"E: Can't read data of section .text in test.o"},
     false},
    {"symbols unreadable",
     [](ElfBuilder &b) {
         b.patchSection(".symtab", [](Elf32_Shdr &h) { h.sh_offset = 0x7FFFFFF0; });
     },
     {"E: Couldn't read .symtab section of test.o."},
     true,
     0},
    {"link to no program section",
     [](ElfBuilder &b) { b.patchSection(".text", [](Elf32_Shdr &h) { h.sh_link = 3; }); },
     {"W: In file test.o: section \".text\" (#1)\n|\thas a non-zero \"link\" value (=3) that "
      "doesn't reference a\n|\tvalid PROGBITS section. Value ignored."},
     true},
    {"link beyond the table",
     [](ElfBuilder &b) { b.patchSection(".text", [](Elf32_Shdr &h) { h.sh_link = 50; }); },
     {"W: In file test.o: section \".text\" (#1)\n|\thas a non-zero \"link\" value (=50) that "
      "doesn't reference a\n|\tvalid PROGBITS section. Value ignored."},
     true},
    {"ordered section with a bad info",
     [](ElfBuilder &b) {
         b.patchSection(".text", [](Elf32_Shdr &h) { h.sh_flags |= SHF_ORDERED, h.sh_info = 3; });
     },
     {"W: In file test.o: `ordered' section \".text\" (#1)\n|\thas a non-zero \"info\" value "
      "(=3) that doesn't reference a\n|\tvalid PROGBITS section. Value ignored."},
     true},
    {"section of type 0",
     [](ElfBuilder &b) {
         b.patchSection(".data", [](Elf32_Shdr &h) {
             h.sh_type = 0;
             h.sh_flags = 0;
         });
     },
     {"W: In file test.o:\n|\tsection \".data\"(#2) has an unrecognized type: 0x0"},
     true},
    {"relocations with garbage info and link",
     [](ElfBuilder &b) {
         b.section(".rel.text", SHT_REL, 0, bytes(8)).info(uint32_t(0)).link(".strtab");
     },
     {"E: In test.o: \"info\" member of section .rel.text(=3) is garbage",
      "E: In test.o: \"link\" member of\n|\tsection .rel.text(=3) is not referencing .symtab(=4)"},
     true},
    {"relocations of an executable",
     [](ElfBuilder &b) {
         b.type(ET_EXEC).section(".rel.text", SHT_REL, 0, bytes(8)).info(uint32_t(0));
     },
     {},
     true},
    {"comdat linking nothing useful",
     [](ElfBuilder &b) { b.section(".comdat", SHT_COMDAT, SHF_ALLOC, bytes(4)).link(".strtab"); },
     {"W: In file test.o: comdat section \".comdat\" (#3)\n|\thas a non-zero \"link\" value "
      "(=5) that doesn't reference a\n|\tvalid PROGBITS section. Value ignored"},
     true},
    {"directive past the end",
     [](ElfBuilder &b) {
         b.section(".directive", SHT_DIRECTIVES, 0, bytes(4))
             .patchSection(".directive", [](Elf32_Shdr &h) { h.sh_size = 0xFFFFFFFF; });
     },
     {"E: Can't read directive section .directive from test.o"},
     true},
    {"import records past the end",
     [](ElfBuilder &b) {
         b.section(".imports", SHT_IMPORTS, SHF_ALLOC, bytes(16))
             .link(".strtab")
             .patchSection(".imports", [](Elf32_Shdr &h) { h.sh_offset = 0x7FFFFFF0; });
     },
     {"W: \"test.o\", section .imports: `entsize' is 0, but should be 16",
      "E: Can't read section .imports in test.o"},
     false},
    {"every sh_name 0, with an empty name table: no name is garbage",
     [](ElfBuilder &b) {
         for (uint32_t i = 1; i <= 5; ++i)
             b.patchSection(i, [](Elf32_Shdr &h) { h.sh_name = 0; });
         b.patchSection(".shstrtab", [](Elf32_Shdr &h) { h.sh_size = 0; });
     },
     {},
     true},
    {"imports without a string table",
     [](ElfBuilder &b) { b.section(".imports", SHT_IMPORTS, SHF_ALLOC, bytes(16)).link(1); },
     {"E: In file test.o: section \".imports\" (#3)\n|\t`sh_link' field (=1) does not "
      "reference a valid string table section.",
      "W: \"test.o\", section .imports: `entsize' is 0, but should be 16"},
     true},
};

INSTANTIATE_TEST_SUITE_P(Table, DamageThatGoesOn, ::testing::ValuesIn(goingOnCases));

TEST(ElfRepairs, RejectedValuesReadAsZeroAndUnknownAllocatedSectionsStay) {
    CapturingErrors errors;
    auto object = loadElf(plain()
                              .section(".odd", 0x5000, SHF_ALLOC, bytes(4))
                              .section(".note", 0x5001, 0, bytes(4))
                              .patchSection(".text", [](Elf32_Shdr &h) { h.sh_link = 4; })
                              .build(),
                          errors);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(errors.warningCount, 3);
    EXPECT_EQ(errors.errorCount, 0);
    EXPECT_EQ(object->sectionAt(1)->elfHeader()->sh_link, 0u);
    ASSERT_NE(object->sectionAt(3), nullptr);
    EXPECT_STREQ(object->sectionAt(3)->name(), ".odd");
    EXPECT_EQ(object->sectionAt(4), nullptr);
    // The symbols are still there.
    EXPECT_EQ(object->symbolCount(), 2u);
}

} // namespace

namespace {

// Random damage to the header, the section table and the tables' contents
// never crashes or reads outside a buffer (run under the sanitizers): every
// outcome is an object, an object given up, or a fatal report.
TEST(ElfRobustness, RandomDamageNeverCrashes) {
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        const std::vector<uint8_t> original =
            plain(order)
                .machine(EM_ARM)
                .section(".comdat", SHT_COMDAT, SHF_ALLOC, bytes(4))
                .link(".text")
                .section(".dirbefore", SHT_DIRECTIVES, 0, {'a', 0, 'b'})
                .section(".imports", SHT_IMPORTS, 0, bytes(32))
                .link(".strtab")
                .section(".rel.text", SHT_REL, 0, bytes(16))
                .info(".text")
                .link(".symtab")
                .symbol("$t", 0, 0, STB_LOCAL, STT_NOTYPE, ".text")
                .symbol("f", 2, 4, STB_GLOBAL, STT_FUNC, ".text")
                .build();
        uint32_t seed = 12345;
        auto next = [&seed] { return seed = seed * 1103515245 + 12345, seed >> 8; };
        for (int round = 0; round < 3000; ++round) {
            std::vector<uint8_t> image = original;
            int changes = 1 + next() % 4;
            for (int c = 0; c < changes; ++c) {
                uint32_t at = next() % image.size();
                // Mostly the header and the section table, where counts and
                // offsets live.
                if (next() % 2)
                    at = next() % 52;
                else if (next() % 2)
                    at = image.size() - 1 - next() % (40 * 11);
                image[at] = static_cast<uint8_t>(next());
            }
            CapturingErrors errors;
            try {
                auto object = loadElf(image, errors);
                if (object)
                    object->eachSymbol([](Symbol &s) {
                        s.name(), s.section(), s.type(), s.binding(), s.isCommon();
                        return true;
                    });
            } catch (const FatalStop &) {
            }
        }
    }
}

} // namespace

namespace {

// A library member whose header claims more bytes than the library holds:
// contents that reach into the missing part are damage, not zeros.
TEST(ElfRepairs, MemberCutShortByTheEndOfTheLibrary) {
    ElfBuilder builder = plain();
    std::vector<uint8_t> image = builder.build();
    uint32_t dataOffset = 0;
    {
        CapturingErrors errors;
        auto whole = loadElf(image, errors);
        ASSERT_NE(whole, nullptr);
        dataOffset = whole->sectionAt(2)->fileOffset();
    }
    uint32_t claimed = static_cast<uint32_t>(image.size()) + 64;
    std::vector<uint8_t> damaged =
        plain()
            .patchSection(".data", [&](Elf32_Shdr &h) { h.sh_size = claimed - dataOffset; })
            .build();
    auto library = inputOf(damaged, "lib.a");
    const FileName &memberName =
        FileName::keep(std::make_unique<ArchiveMemberName>(&library->fileName, "m.o", 0, claimed));
    CapturingErrors errors;
    InputFile member(memberName, errors, *library);
    ASSERT_EQ(member.length, claimed);
    ElfObjectFileFromInput object(member, errors);
    EXPECT_FALSE(object.isUsable());
    EXPECT_EQ(errors.reports,
              (std::vector<std::string>{"E: Can't read data of section .data in lib.a(m.o)"}));
}

} // namespace
