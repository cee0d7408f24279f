// Libraries listed by the built tnm: each member as it lists alone, under
// "lib.a(member.o)", nested libraries in place, a member without a symbol
// table ending the run, damaged libraries, and memory that stays flat however
// many members a library holds.
#include "kit/ArchiveBuilder.h"
#include "kit/ElfBuilder.h"
#include "kit/RunTool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <sstream>

namespace {

using Bytes = ArchiveBuilder::Bytes;

std::vector<uint8_t> object(const std::string &function, uint32_t size) {
    return ElfBuilder(LittleEndian)
        .machine(EM_386)
        .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(size))
        .symbol(function, 0, size, STB_GLOBAL, STT_FUNC, ".text")
        .symbol(function + "_helper", 4, 4, STB_LOCAL, STT_FUNC, ".text")
        .symbol("printf", 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_UNDEF)
        .build();
}

// Standard output without the two banner lines.
std::string withoutBanner(const std::string &out) {
    size_t first = out.find('\n');
    size_t second = first == std::string::npos ? first : out.find('\n', first + 1);
    return second == std::string::npos ? "" : out.substr(second + 1);
}

const std::string banner = "Tolvane Object File Symbol Display Utility v1.9\n"
                           "Copyright (c) 2026 Tolvane. All rights reserved.\n";

// What tnm prints for `file` alone, its heading and diagnostics renamed to
// `shownAs`: the part that the same bytes give as a library member.
struct Listing {
    std::string out, err;
};
Listing alone(const std::string &dir, const std::string &file, const std::string &shownAs) {
    ToolResult result = runTool({file}, dir);
    EXPECT_EQ(result.status, 0) << file << "\n" << result.err;
    auto rename = [&](std::string text) {
        for (const std::string &form : {"\n" + file + ":\n", " " + file + ":\n"}) {
            std::string to = form.substr(0, 1) + shownAs + ":\n";
            for (size_t at = text.find(form); at != std::string::npos;
                 at = text.find(form, at + to.size()))
                text.replace(at, form.size(), to);
        }
        return text;
    };
    return {rename(withoutBanner(result.out)), rename(result.err)};
}

TEST(ArchiveListing, MembersListAsTheyDoAloneInFileOrder) {
    ScratchDir dir;
    std::map<std::string, Bytes> members = {{"start.o", object("start", 8)},
                                            {"a_member_with_a_long_name.o", object("long", 12)},
                                            {"odd.o", object("odd", 20)}};
    for (const auto &[name, data] : members)
        dir.write(name, data);
    dir.write("libc.a",
              ArchiveBuilder()
                  .symbolTable({{"start", 0}, {"long", 1}, {"odd", 2}})
                  .member("start.o", members["start.o"])
                  .member("a_member_with_a_long_name.o", members["a_member_with_a_long_name.o"])
                  .member("odd.o", members["odd.o"])
                  .build());
    ToolResult result = runTool({"libc.a"}, dir.path());
    std::string expected = banner;
    for (const char *name : {"start.o", "a_member_with_a_long_name.o", "odd.o"})
        expected += alone(dir.path(), name, std::string("libc.a(") + name + ")").out;
    EXPECT_EQ(result.out, expected);
    EXPECT_NE(result.out.find("\nlibc.a(a_member_with_a_long_name.o):\n"), std::string::npos);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST(ArchiveListing, RealLibrariesFromTheCorpus) {
    // Libraries made by GNU ar from cross-compiled objects that also lie in
    // the corpus on their own; the nested one holds a whole library.
    const std::string corpus = std::string(TNM_SOURCE_DIR) + "/tests/corpus";
    struct Case {
        const char *library;
        std::vector<std::pair<std::string, std::string>> members; // file, shown as
    };
    const Case cases[] = {
        {"libshapes-arm.a",
         {{"arm-shapes.o", "libshapes-arm.a(arm-shapes.o)"},
          {"arm-support.o", "libshapes-arm.a(arm-support.o)"},
          {"arm-geometry-helpers.o", "libshapes-arm.a(arm-geometry-helpers.o)"}}},
        {"libnested.a",
         {{"i386-mangled.o", "libnested.a(i386-mangled.o)"},
          {"arm-shapes.o", "libnested.a(libshapes-arm.a)(arm-shapes.o)"},
          {"arm-support.o", "libnested.a(libshapes-arm.a)(arm-support.o)"},
          {"arm-geometry-helpers.o", "libnested.a(libshapes-arm.a)(arm-geometry-helpers.o)"},
          {"ppc-geometry-helpers.o", "libnested.a(ppc-geometry-helpers.o)"},
          {"mips-support.o", "libnested.a(mips-support.o)"}}},
    };
    for (const Case &c : cases) {
        ToolResult result = runTool({c.library}, corpus);
        std::string out = banner, err;
        for (const auto &[file, shownAs] : c.members) {
            Listing part = alone(corpus, file, shownAs);
            out += part.out;
            err += part.err;
        }
        EXPECT_EQ(result.out, out) << c.library;
        EXPECT_EQ(result.err, err) << c.library;
        EXPECT_EQ(result.status, 0) << c.library;
    }
}

TEST(ArchiveListing, MemberWithoutSymbolTableEndsTheRun) {
    // C libraries hold a few members with no symbol table at all; the first
    // of them is fatal, and everything before it has been listed.
    ScratchDir dir;
    dir.write("first.o", object("first", 8));
    Bytes bare = ElfBuilder(LittleEndian)
                     .machine(EM_386)
                     .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(4))
                     .noSymbolTable()
                     .build();
    dir.write("libc.a", ArchiveBuilder()
                            .symbolTable({{"first", 0}, {"later", 2}})
                            .member("first.o", object("first", 8))
                            .member("crti.o", bare)
                            .member("later.o", object("later", 8))
                            .build());
    ToolResult result = runTool({"libc.a", "first.o"}, dir.path());
    EXPECT_EQ(result.out, banner + alone(dir.path(), "first.o", "libc.a(first.o)").out);
    EXPECT_EQ(result.err,
              "[tnm] Fatal Error: Could not find symbol table from file libc.a(crti.o).\n");
    EXPECT_EQ(result.status, 1);
}

std::string hexOf(size_t value) {
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

// Damaged libraries as the user sees them: the words on standard error,
// which members are still listed, and the exit status.
struct Damage {
    const char *label;
    Bytes library;
    std::string err;
    std::vector<std::string> listed; // members whose listing appears
    int status;
};

TEST(ArchiveListing, DamagedLibraries) {
    const Bytes a = object("alpha", 8), b = object("beta", 8);
    ArchiveBuilder damagedFourth;
    damagedFourth.symbolTable({{"alpha", 0}})
        .member("a.o", a)
        .member("b.o", b)
        .member("c.o", b)
        .terminator("``");
    const size_t secondHeader = 8 + 60 + a.size() + (a.size() & 1);
    const Damage cases[] = {
        {"NoSymbolTable",
         ArchiveBuilder().member("a.o", a).member("b.o", b).build(),
         "[tnm] (Warning) Archive lib.a lacks a symbol table.\n",
         {"a.o", "b.o"},
         0},
        {"GarbageCount",
         ArchiveBuilder().symbolTable({{"alpha", 0}}).symbolCount(99).member("a.o", a).build(),
         "[tnm] Archive lib.a has a corrupt symbol table;\n|\tentry count is garbage: 0x63.\n",
         {"a.o"},
         1},
        {"TextMember",
         ArchiveBuilder()
             .symbolTable({{"alpha", 0}})
             .member("a.o", a)
             .member("notes.txt", "Some words that are no object file at all.\n")
             .member("b.o", b)
             .build(),
         // Text has a kind, just no reader: one error, not two.
         "[tnm] File lib.a(notes.txt) OMF format not yet handled\n",
         {"a.o", "b.o"},
         1},
        // An OMF library is a library to identification but has no reader.
        {"NestedLibraryOfNoKnownForm",
         ArchiveBuilder()
             .symbolTable({{"alpha", 0}})
             .member("a.o", a)
             .member("omf.lib",
                     [] {
                         Bytes omf(40, 0);
                         omf[0] = 0xF0;
                         return omf;
                     }())
             .member("b.o", b)
             .build(),
         "[tnm] lib.a(omf.lib) isn't of a recognizable archive format.\n",
         {"a.o", "b.o"},
         1},
        // A BSD library's "__.SYMDEF" is an ordinary member to the walk: no
        // object file, so two errors, the second naming the outer library.
        {"NestedBsdLibrary",
         ArchiveBuilder()
             .symbolTable({{"alpha", 0}})
             .member("a.o", a)
             .member("bsd.a", ArchiveBuilder().rawMember("__.SYMDEF", Bytes(8, 0)).build())
             .member("b.o", b)
             .build(),
         "[tnm] File lib.a(bsd.a)(__.SYMDEF) OMF format not yet handled\n"
         "[tnm] lib.a: Unknown object file format\n",
         {"a.o", "b.o"},
         1},
        {"HeaderTerminator",
         damagedFourth.build(),
         "[tnm] Fatal Error: Corrupted archive header at offset 0x" +
             hexOf(damagedFourth.headerOffset(2)) + " in lib.a\n",
         {},
         1},
        // The search for the long-name table reads the second header while
        // the library is opened.
        {"EndsInsideAHeader",
         ArchiveBuilder().member("a.o", a).member("b.o", b).truncateTo(secondHeader + 30).build(),
         "[tnm] Fatal Error: Corrupted archive header at offset 0x" + hexOf(secondHeader) +
             " in lib.a\n",
         {},
         1},
    };
    ScratchDir dir;
    dir.write("a.o", a);
    dir.write("b.o", b);
    for (const Damage &c : cases) {
        dir.write("lib.a", c.library);
        ToolResult result = runTool({"lib.a"}, dir.path());
        std::string out = banner;
        for (const std::string &member : c.listed)
            out += alone(dir.path(), member, "lib.a(" + member + ")").out;
        EXPECT_EQ(result.out, out) << c.label;
        EXPECT_EQ(result.err, c.err) << c.label;
        EXPECT_EQ(result.status, c.status) << c.label;
    }
}

// The greatest number of bytes in use at once during a run, from the
// allocator's trace ("HEAP> new(0x<size>) = 0x<block> ...", "HEAP> free(0x<block>) ...").
size_t peakHeap(const std::string &trace) {
    std::map<unsigned long, unsigned long> live;
    size_t now = 0, peak = 0;
    std::istringstream lines(trace);
    for (std::string line; std::getline(lines, line);) {
        unsigned long size = 0, block = 0;
        if (sscanf(line.c_str(), "HEAP> new(0x%lx) = 0x%lx", &size, &block) == 2) {
            live[block] = size;
            now += size;
            peak = std::max(peak, now);
        } else if (sscanf(line.c_str(), "HEAP> free(0x%lx)", &block) == 1) {
            auto found = live.find(block);
            if (found != live.end()) {
                now -= found->second;
                live.erase(found);
            }
        }
    }
    return peak;
}

TEST(ArchiveListing, MemoryStaysFlatWithTheNumberOfMembers) {
    // One member's object file at a time: a library of 400 members may keep
    // a name and a record per member, but no member's object file.
    ScratchDir dir;
    auto library = [](int count) {
        ArchiveBuilder builder;
        builder.symbolTable({{"f0", 0}});
        for (int i = 0; i < count; ++i)
            builder.member("m" + std::to_string(i) + ".o", object("f" + std::to_string(i), 64));
        return builder.build();
    };
    dir.write("empty.a", library(0));
    dir.write("one.a", library(1));
    dir.write("small.a", library(20));
    dir.write("large.a", library(400));
    auto peakOf = [&](const char *name) {
        ToolResult result =
            runProgram("/usr/bin/env", {"TV_MALLOC_DEBUG=0", TNM_PATH, name}, dir.path());
        EXPECT_EQ(result.status, 0) << result.err;
        return peakHeap(result.out);
    };
    // What a library of one member costs beyond an empty one: that member's
    // object, file and name.  Each of 380 more members may add its name and
    // record, far less than that.
    size_t objectCost = peakOf("one.a") - peakOf("empty.a");
    size_t small = peakOf("small.a"), large = peakOf("large.a");
    ASSERT_GT(large, small);
    size_t perMember = (large - small) / 380;
    EXPECT_LT(perMember * 3, objectCost)
        << "peak " << small << " bytes for 20 members, " << large << " for 400";
}

} // namespace

namespace {

TEST(ArchiveListing, AMemberClaimingMoreThanTheLibraryHoldsCostsNoHugeAllocation) {
    // The member's header claims two thousand million bytes and its .text
    // claims 256 MB inside that window: both lie, and the file ends first.
    // The section is refused by its size before anything is allocated for it.
    ScratchDir dir;
    Bytes liar = ElfBuilder(LittleEndian)
                     .machine(EM_386)
                     .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(16))
                     .symbol("f", 0, 16, STB_GLOBAL, STT_FUNC, ".text")
                     .patchSection(".text", [](Elf32_Shdr &h) { h.sh_size = 0x10000000; })
                     .build();
    dir.write(
        "liar.a",
        ArchiveBuilder().symbolTable({}).member("liar.o", liar).sizeField("2000000000").build());
    dir.write("liar.o", liar);
    ToolResult result =
        runProgram("/usr/bin/env", {"TV_MALLOC_DEBUG=0", TNM_PATH, "liar.a"}, dir.path());
    EXPECT_LT(peakHeap(result.out), size_t(4) << 20) << result.err;
    // Said as it is said of the same bytes alone.
    ToolResult alone = runTool({"liar.o"}, dir.path());
    std::string said = alone.err;
    for (size_t at = said.find("liar.o"); at != std::string::npos;
         at = said.find("liar.o", at + 13))
        said.replace(at, 6, "liar.a(liar.o)");
    EXPECT_EQ(runTool({"liar.a"}, dir.path()).err, said);
    EXPECT_NE(said, "");
}

} // namespace
