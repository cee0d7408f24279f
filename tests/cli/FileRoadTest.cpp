// The road of each named file through tnm, as a user sees it: files that
// cannot be opened, files of no known format, a library with bad members, a
// file without symbols, a fatal error, and good files listed beside bad ones.
// Each case states the whole of standard output, standard error and the exit
// status.
#include "kit/ArchiveBuilder.h"
#include "kit/ElfBuilder.h"
#include "kit/RunTool.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

// A small relocatable i386 object: one function, one undefined reference.
ElfBuilder goodObject() {
    return std::move(ElfBuilder(LittleEndian)
                         .machine(EM_386)
                         .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(16))
                         .symbol("main", 0, 16, STB_GLOBAL, STT_FUNC, ".text")
                         .symbol("puts", 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_UNDEF));
}

const std::string goodRows = "Value        Size Binding  Type  Sect     Name\n"
                             "00000000       16 GLOBAL   FUNC  .text    main\n"
                             "00000000        0 GLOBAL   NOTY  UNDEF    puts\n";
const std::string goodListing = "\ngood.o:\n" + goodRows;
const std::string missing = "[tnm] Can't open file missing.o\n[tnm] failed reading missing.o\n";
const std::string strippedIsFatal =
    "[tnm] Fatal Error: Could not find symbol table from file stripped.o.\n";
const std::string badMembers = "[tnm] File lib.a(readme.txt) OMF format not yet handled\n"
                               "[tnm] File lib.a(empty.o) OMF format not yet handled\n"
                               "[tnm] lib.a: Unknown object file format\n";

struct RoadCase {
    const char *label;
    std::vector<std::string> args;
    std::string out;
    std::string err;
    int status;
};

TEST(FileRoad, EveryFileAsTheUserSeesIt) {
    ScratchDir dir;
    dir.write("good.o", goodObject().build());
    dir.write("-q.elf", goodObject().build());
    dir.write("notes.txt", "Plain text, long enough to be taken for a text file.\n");
    dir.write("empty.o", "");
    // First byte 0xF0 with bytes 1 and 3 summing to a multiple of 16: an OMF
    // library, which no archive class reads.
    dir.write("omf.lib", "\xF0" + std::string(39, '\0'));
    dir.write("stripped.o", goodObject().noSymbolTable().build());
    // A symbol table of its null entry only, and one of no entries at all.
    dir.write("nullonly.o", ElfBuilder(LittleEndian).machine(EM_386).build());
    dir.write("nosyms.o", ElfBuilder(LittleEndian)
                              .machine(EM_386)
                              .patchSection(".symtab", [](Elf32_Shdr &h) { h.sh_size = 0; })
                              .build());
    dir.write("lib.a",
              ArchiveBuilder()
                  .symbolTable({{"main", 0}, {"main", 3}})
                  .member("good.o", goodObject().build())
                  .member("readme.txt", ArchiveBuilder::bytes("A text member of a library, "
                                                              "longer than thirty-two bytes.\n"))
                  .member("empty.o", ArchiveBuilder::bytes(""))
                  .member("last.o", goodObject().build())
                  .build());
    mkdir((dir.path() + "/subdir").c_str(), 0755);

    const RoadCase cases[] = {
        {"missing file", {"-q", "missing.o"}, "", missing, 1},
        {"empty argument is a file name",
         {"-q", ""},
         "",
         "[tnm] Can't open file \n[tnm] failed reading \n",
         1},
        {"a directory",
         {"-q", "subdir"},
         "",
         "[tnm] Can't open file subdir\n"
         "[tnm] failed reading subdir\n",
         1},
        {"text file: a kind without a reader, one error",
         {"-q", "notes.txt"},
         "",
         "[tnm] File notes.txt OMF format not yet handled\n",
         1},
        {"empty file: unknown, two errors",
         {"-q", "empty.o"},
         "",
         "[tnm] File empty.o OMF format not yet handled\n"
         "[tnm] empty.o: Unknown object file format\n",
         1},
        {"library magic without a library class",
         {"-q", "omf.lib"},
         "",
         "[tnm] omf.lib isn't of a recognizable archive format.\n",
         1},
        {"no symbols: a warning, no heading, status 0",
         {"-q", "nosyms.o"},
         "",
         "[tnm] (Warning) nosyms.o has no symbols\n",
         0},
        {"null entry only: heading and column header stand alone",
         {"-q", "nullonly.o"},
         "\nnullonly.o:\nValue        Size Binding  Type  Sect     Name\n",
         "",
         0},
        {"a fatal error ends the run; what was listed stays, later files are not tried",
         {"-q", "good.o", "stripped.o", "good.o"},
         goodListing,
         strippedIsFatal,
         1},
        {"missing beside good", {"-q", "missing.o", "good.o"}, goodListing, missing, 1},
        {"good beside missing, with the banner",
         {"good.o", "missing.o"},
         "Tolvane Object File Symbol Display Utility v1.9\n"
         "Copyright (c) 2026 Tolvane. All rights reserved.\n" +
             goodListing,
         missing,
         1},
        {"a file named like an option needs a path",
         {"-q.elf", "./-q.elf"},
         "\n./-q.elf:\n" + goodRows,
         "",
         0},
        {"options behind the file apply to it",
         {"good.o", "-u", "-q"},
         "\nUndefined symbols from good.o:\n    puts\n",
         "",
         0},
        // Bad members add their errors and the walk goes on; each good
        // member is listed under the library's name with its own behind it.
        {"library",
         {"-qp", "lib.a"},
         "\nlib.a(good.o):\nValue     Type  Name\n00000000    T   main\n00000000    U   puts\n"
         "\nlib.a(last.o):\nValue     Type  Name\n00000000    T   main\n00000000    U   puts\n",
         badMembers,
         1},
        {"library with -A",
         {"-qAu", "lib.a"},
         "    puts                     lib.a(good.o)\n"
         "    puts                     lib.a(last.o)\n",
         badMembers,
         1},
    };
    for (const RoadCase &c : cases) {
        ToolResult r = runTool(c.args, dir.path());
        EXPECT_EQ(r.out, c.out) << c.label;
        EXPECT_EQ(r.err, c.err) << c.label;
        EXPECT_EQ(r.status, c.status) << c.label;
    }
}

} // namespace
