// The road of each named file through tnm, as a user sees it: files that
// cannot be opened, files of no known format, libraries with bad members,
// a file without symbols, and good files listed beside bad ones.  Each case
// states the whole of standard output, standard error and the exit status.
#include "kit/ArchiveBuilder.h"
#include "kit/ElfBuilder.h"
#include "kit/RunTool.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

// A small relocatable i386 object: one function, one undefined reference.
std::vector<uint8_t> goodObject() {
    return ElfBuilder(LittleEndian)
        .machine(EM_386)
        .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(16))
        .symbol("main", 0, 16, STB_GLOBAL, STT_FUNC, ".text")
        .symbol("puts", 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_UNDEF)
        .build();
}

const char goodListing[] = "\ngood.o:\n"
                           "Value        Size Binding  Type  Sect     Name\n"
                           "00000000       16 GLOBAL   FUNC  .text    main\n"
                           "00000000        0 GLOBAL   NOTY  UNDEF    puts\n";

struct RoadCase {
    const char *label;
    std::vector<std::string> args;
    std::string out;
    std::string err;
    int status;
};

class FileRoad : public ::testing::Test {
protected:
    void SetUp() override {
        dir.write("good.o", goodObject());
        dir.write("notes.txt", "Plain text, long enough to be taken for a text file.\n");
        dir.write("empty.o", "");
        dir.write("short.bin", std::string("\x01\x02\x03", 3));
        // First byte 0xF0 with bytes 1 and 3 summing to a multiple of 16:
        // an OMF library, which no archive class reads.
        std::string omf(40, '\0');
        omf[0] = '\xF0';
        dir.write("omf.lib", omf);
        dir.write("-q.elf", goodObject());
        dir.write("stripped.o",
                  ElfBuilder(LittleEndian)
                      .machine(EM_386)
                      .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(4))
                      .noSymbolTable()
                      .build());
        dir.write("nosyms.o",
                  ElfBuilder(LittleEndian)
                      .machine(EM_386)
                      .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(4))
                      .build());
        dir.write("lib.a", ArchiveBuilder()
                               .symbolTable({{"main", 0}, {"main", 3}})
                               .member("good.o", goodObject())
                               .member("readme.txt",
                                       ArchiveBuilder::bytes("A text member of a library, "
                                                             "longer than thirty-two bytes.\n"))
                               .member("empty.o", ArchiveBuilder::bytes(""))
                               .member("last.o", goodObject())
                               .build());
        mkdir((dir.path() + "/subdir").c_str(), 0755);
    }

    void check(const RoadCase &c) {
        ToolResult r = runTool(c.args, dir.path());
        EXPECT_EQ(r.out, c.out) << c.label;
        EXPECT_EQ(r.err, c.err) << c.label;
        EXPECT_EQ(r.status, c.status) << c.label;
    }

    ScratchDir dir;
};

TEST_F(FileRoad, FilesThatCannotBeListed) {
    const RoadCase cases[] = {
        {"missing file",
         {"-q", "missing.o"},
         "",
         "[tnm] Can't open file missing.o\n[tnm] failed reading missing.o\n",
         1},
        {"empty argument is a file name",
         {"-q", ""},
         "",
         "[tnm] Can't open file \n[tnm] failed reading \n",
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
        {"short binary file: unknown, two errors",
         {"-q", "short.bin"},
         "",
         "[tnm] File short.bin OMF format not yet handled\n"
         "[tnm] short.bin: Unknown object file format\n",
         1},
        {"library magic without a library class",
         {"-q", "omf.lib"},
         "",
         "[tnm] omf.lib isn't of a recognizable archive format.\n",
         1},
        // A symbol table that holds only its null entry: the heading and
        // the column header stand alone.
        {"an empty symbol table",
         {"-q", "nosyms.o"},
         "\nnosyms.o:\nValue        Size Binding  Type  Sect     Name\n",
         "",
         0},
        // A reader's fatal error ends the run at once: the good file behind
        // it is not tried.
        {"no symbol table at all is fatal",
         {"-q", "stripped.o", "good.o"},
         "",
         "[tnm] Fatal Error: Could not find symbol table from file stripped.o.\n",
         1},
    };
    for (const RoadCase &c : cases)
        check(c);
}

TEST_F(FileRoad, GoodFilesBesideBadOnes) {
    const RoadCase cases[] = {
        {"missing beside good",
         {"-q", "missing.o", "good.o"},
         goodListing,
         "[tnm] Can't open file missing.o\n[tnm] failed reading missing.o\n",
         1},
        {"good beside missing, with the banner",
         {"good.o", "missing.o"},
         std::string("Tolvane Object File Symbol Display Utility v1.9\n"
                     "Copyright (c) 2026 Tolvane. All rights reserved.\n") +
             goodListing,
         "[tnm] Can't open file missing.o\n[tnm] failed reading missing.o\n",
         1},
        {"a file named like an option needs a path",
         {"-q.elf", "./-q.elf"},
         std::string("\n./-q.elf:\n") + (goodListing + 9),
         "",
         0},
        {"options behind the file apply to it",
         {"good.o", "-u", "-q"},
         "\nUndefined symbols from good.o:\n    puts\n",
         "",
         0},
        {"what was listed before a fatal error is kept",
         {"-q", "good.o", "stripped.o", "good.o"},
         goodListing,
         "[tnm] Fatal Error: Could not find symbol table from file stripped.o.\n",
         1},
        {"the same file twice is listed twice",
         {"-qg", "good.o", "good.o"},
         std::string(goodListing) + goodListing,
         "",
         0},
    };
    for (const RoadCase &c : cases)
        check(c);
}

TEST_F(FileRoad, LibraryMembersOneByOne) {
    // Bad members add their errors and the walk goes on; each good member is
    // listed under the library's name with its own in parentheses.
    check({"library",
           {"-qp", "lib.a"},
           "\nlib.a(good.o):\n"
           "Value     Type  Name\n"
           "00000000    T   main\n"
           "00000000    U   puts\n"
           "\nlib.a(last.o):\n"
           "Value     Type  Name\n"
           "00000000    T   main\n"
           "00000000    U   puts\n",
           "[tnm] File lib.a(readme.txt) OMF format not yet handled\n"
           "[tnm] File lib.a(empty.o) OMF format not yet handled\n"
           "[tnm] lib.a: Unknown object file format\n",
           1});
    check({"library with -A",
           {"-qAu", "lib.a"},
           "    puts                     lib.a(good.o)\n"
           "    puts                     lib.a(last.o)\n",
           "[tnm] File lib.a(readme.txt) OMF format not yet handled\n"
           "[tnm] File lib.a(empty.o) OMF format not yet handled\n"
           "[tnm] lib.a: Unknown object file format\n",
           1});
}

TEST_F(FileRoad, DirectoryIsReportedNotListed) {
    ToolResult r = runTool({"-q", "subdir", "good.o"}, dir.path());
    EXPECT_EQ(r.out, goodListing);
    EXPECT_EQ(r.err, "[tnm] Can't open file subdir\n[tnm] failed reading subdir\n");
    EXPECT_EQ(r.status, 1);
}

} // namespace
