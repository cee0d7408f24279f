// The object formats besides ELF, listed by the built tnm: an a.out file and
// an AOF file of a few symbols each, whole, in the full and the parsable
// layout; a damaged file of each, which ends the run with the reader's fatal
// message and status 1; and the BSD and ARM libraries, whose members list as
// they do alone.
#include "kit/AofBuilder.h"
#include "kit/AoutBuilder.h"
#include "kit/BsdArchiveBuilder.h"
#include "kit/ChunkLibraryBuilder.h"
#include "kit/RunTool.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<uint8_t>;

const std::string banner = "Tolvane Object File Symbol Display Utility v1.9\n"
                           "Copyright (c) 2026 Tolvane. All rights reserved.\n";

// Text 16 bytes, data 8, bss 4: data symbols are addresses behind the text,
// bss ones behind the data; the listing shows them relative to their section.
std::vector<uint8_t> aoutFile() {
    return AoutBuilder()
        .text(bytes(16))
        .data(bytes(8))
        .bss(4)
        .symbol("_main", N_TEXT | N_EXT, 0)
        .symbol("_table", N_DATA | N_EXT, 16)
        .symbol("_local", N_TEXT, 8)
        .symbol("_buffer", N_BSS | N_EXT, 24)
        .symbol("_printf", N_UNDF | N_EXT, 0)
        .symbol("_common", N_UNDF | N_EXT, 32)
        .symbol("_abs", N_ABS | N_EXT, 0x1234)
        .build();
}

AofBuilder aofFile(AofBuilder::Order order) {
    AofBuilder aof(order);
    aof.area("C$$code", AofBuilder::code | 2, bytes(8))
        .area("C$$data", 2, bytes(4))
        .zeroArea("C$$zidata", AofBuilder::zeroInit | 2, 16);
    aof.symbol("main", 0x03, 0, "C$$code")
        .symbol("helper", 0x01, 4, "C$$code")
        .symbol("table", 0x03, 0, "C$$data")
        .symbol("printf", 0x02, 0, "")
        .symbol("zbuf", 0x03, 0, "C$$zidata");
    return aof;
}

TEST(OtherFormats, ListedWhole) {
    ScratchDir dir;
    dir.write("a.out", aoutFile());
    dir.write("big.aof", aofFile(AofBuilder::bigEndian).build());
    dir.write("little.aof", aofFile(AofBuilder::littleEndian).build());
    const std::string aofRows = "Value        Size Binding  Type  Sect     Name\n"
                                "00000000        0 GLOBAL   FUNC  C$$code  main\n"
                                "00000004        0 LOCAL    FUNC  C$$code  helper\n"
                                "00000000        0 GLOBAL   DATA  C$$data  table\n"
                                "00000000        0 GLOBAL   NOTY  UNDEF    printf\n"
                                "00000000        0 GLOBAL   DATA  C$$zidata zbuf\n";
    ToolResult full = runTool({"a.out", "big.aof", "little.aof"}, dir.path());
    EXPECT_EQ(full.out, banner +
                            "\na.out:\n"
                            "Value        Size Binding  Type  Sect     Name\n"
                            "00000000        0 GLOBAL   FUNC  .text    _main\n"
                            "00000000        0 GLOBAL   DATA  .data    _table\n"
                            "00000008        0 LOCAL    FUNC  .text    _local\n"
                            "00000000        0 GLOBAL   DATA  .bss     _buffer\n"
                            "00000000        0 GLOBAL   NOTY  UNDEF    _printf\n"
                            "00000020       32 GLOBAL   NOTY  COMM     _common\n"
                            "00001234        0 GLOBAL   NOTY  ABS      _abs\n"
                            "\nbig.aof:\n" +
                            aofRows + "\nlittle.aof:\n" + aofRows);
    EXPECT_EQ(full.err, "");
    EXPECT_EQ(full.status, 0);

    ToolResult parsable = runTool({"-p", "-h", "-A", "a.out", "big.aof"}, dir.path());
    EXPECT_EQ(parsable.out, banner + "00000000    T   _main                    a.out\n"
                                     "00000000    D   _table                   a.out\n"
                                     "00000008    t   _local                   a.out\n"
                                     "00000000    B   _buffer                  a.out\n"
                                     "00000000    U   _printf                  a.out\n"
                                     "00000020    C   _common                  a.out\n"
                                     "00001234    A   _abs                     a.out\n"
                                     "00000000    T   main                     big.aof\n"
                                     "00000004    t   helper                   big.aof\n"
                                     "00000000    D   table                    big.aof\n"
                                     "00000000    U   printf                   big.aof\n"
                                     "00000000    B   zbuf                     big.aof\n");
    EXPECT_EQ(parsable.status, 0);
}

TEST(OtherFormats, DamageEndsTheRun) {
    ScratchDir dir;
    dir.write("m68k.out", AoutBuilder().machine(2).text(bytes(4)).build());
    dir.write("bogus.aof", aofFile(AofBuilder::bigEndian).objectType(0x12345678).build());
    dir.write("after.out", aoutFile());
    const struct {
        const char *file;
        std::string err;
    } cases[] = {
        {"m68k.out",
         "[tnm] Fatal Error: File m68k.out: not a  SPARC object file. Others not yet supported\n"},
        {"bogus.aof", "[tnm] Fatal Error: bogus AOFObjHeader.\n\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.file);
        // The run ends at the damaged file: the file behind it is not listed.
        ToolResult result = runTool({c.file, "after.out"}, dir.path());
        EXPECT_EQ(result.out, banner);
        EXPECT_EQ(result.err, c.err);
        EXPECT_EQ(result.status, 1);
    }
}

// Standard output without the banner; headings renamed from `file` to
// `shownAs`, as the same bytes are headed when they are a library member.
std::string rowsOf(const ToolResult &result, const std::string &file, const std::string &shownAs) {
    std::string text = result.out.substr(banner.size());
    std::string from = "\n" + file + ":\n";
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + 1))
        text.replace(at, from.size(), "\n" + shownAs + ":\n");
    return text;
}

TEST(OtherFormats, LibraryMembersListAsTheyDoAlone) {
    ScratchDir dir;
    Bytes aout = aoutFile();
    Bytes big = aofFile(AofBuilder::bigEndian).build();
    Bytes little = aofFile(AofBuilder::littleEndian).build();
    dir.write("a.out", aout);
    dir.write("big.aof", big);
    dir.write("little.aof", little);
    for (bool bigEndian : {false, true}) {
        SCOPED_TRACE(bigEndian);
        dir.write("arm.lib", ChunkLibraryBuilder(bigEndian)
                                 .member("big.aof", big)
                                 .member("little.aof", little)
                                 .symbol("main", 0)
                                 .build());
        ToolResult library = runTool({"arm.lib"}, dir.path());
        EXPECT_EQ(
            library.out.substr(banner.size()),
            rowsOf(runTool({"big.aof"}, dir.path()), "big.aof", "arm.lib(big.aof)") +
                rowsOf(runTool({"little.aof"}, dir.path()), "little.aof", "arm.lib(little.aof)"));
        EXPECT_EQ(library.err, "");
        EXPECT_EQ(library.status, 0);
    }

    // The "__.SYMDEF" table is a member like any other to the walk: it is no
    // object file, which costs two errors, and the members behind it list.
    dir.write("bsd.a", BsdArchiveBuilder().symbol("_main", 0).member("a.out", aout).build());
    ToolResult bsd = runTool({"bsd.a"}, dir.path());
    EXPECT_EQ(bsd.out.substr(banner.size()),
              rowsOf(runTool({"a.out"}, dir.path()), "a.out", "bsd.a(a.out)"));
    EXPECT_EQ(bsd.err, "[tnm] File bsd.a(__.SYMDEF) OMF format not yet handled\n"
                       "[tnm] bsd.a: Unknown object file format\n");
    EXPECT_EQ(bsd.status, 1);
}

} // namespace
