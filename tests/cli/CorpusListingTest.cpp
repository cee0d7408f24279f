// tnm on real objects made by cross toolchains (tests/corpus), with the whole
// output kept here.  Every row was checked against the records of
// `readelf -s -W` beside each file: value, size, binding, type, section
// index and name, in table order.  Both byte orders, relocatable files, an
// executable, a library and a shared object (whose rows have no sections,
// since a shared object is read for its dynamic symbols only).
#include "kit/RunTool.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

namespace {

const std::string corpus = TNM_SOURCE_DIR "/tests/corpus";

struct GoldenCase {
    const char *label;
    std::vector<std::string> args;
    const char *out;
    const char *err;
};

const GoldenCase goldenCases[] = {
    {"default layout, little-endian i386",
     {"-q", "i386-shapes.o"},
     R"(
i386-shapes.o:
Value        Size Binding  Type  Sect     Name
00000000        0 LOCAL    FILE  ABS      shapes.c
00000000        0 LOCAL    SECT  .data    .data
00000000        0 LOCAL    SECT  .bss     .bss
000000b0       28 LOCAL    FUNC  .text    scale
00000004       64 LOCAL    DATA  .bss     scratch
00000008       16 LOCAL    DATA  .data    table
00000000       10 WEAK     FUNC  .text    hook_default
00000004        4 WEAK     DATA  .data    tunable
00000010      156 GLOBAL   FUNC  .text    compute_total
00000004       64 GLOBAL   DATA  COMM     shared_buffer
00000000        0 WEAK     NOTY  UNDEF    optional_hook
00000000       13 GLOBAL   DATA  .rodata  greeting
00000000        0 GLOBAL   NOTY  UNDEF    external_log
00000000        0 GLOBAL   NOTY  UNDEF    external_value
00000000        4 GLOBAL   DATA  .data    counter
00000000        4 GLOBAL   DATA  .bss     zeroed_total
00000001        1 GLOBAL   DATA  COMM     shared_flag
)",
     R"()"},
    {"parsable",
     {"-q", "-p", "i386-shapes.o"},
     R"(
i386-shapes.o:
Value     Type  Name
00000000    F   shapes.c
00000000    S   .data
00000000    S   .bss
000000b0    t   scale
00000004    b   scratch
00000008    d   table
00000000    t   hook_default
00000004    d   tunable
00000010    T   compute_total
00000004    C   shared_buffer
00000000    U   optional_hook
00000000    D   greeting
00000000    U   external_log
00000000    U   external_value
00000000    D   counter
00000000    B   zeroed_total
00000001    C   shared_flag
)",
     R"()"},
    {"undefined only",
     {"-q", "-u", "i386-shapes.o"},
     R"(
Undefined symbols from i386-shapes.o:
    optional_hook
    external_log
    external_value
)",
     R"()"},
    {"sorted by name",
     {"-q", "-n", "i386-shapes.o"},
     R"(
i386-shapes.o:
Value        Size Binding  Type  Sect     Name
00000000        0 LOCAL    SECT  .bss     .bss
00000010      156 GLOBAL   FUNC  .text    compute_total
00000000        4 GLOBAL   DATA  .data    counter
00000000        0 LOCAL    SECT  .data    .data
00000000        0 GLOBAL   NOTY  UNDEF    external_log
00000000        0 GLOBAL   NOTY  UNDEF    external_value
00000000       13 GLOBAL   DATA  .rodata  greeting
00000000       10 WEAK     FUNC  .text    hook_default
00000000        0 WEAK     NOTY  UNDEF    optional_hook
000000b0       28 LOCAL    FUNC  .text    scale
00000004       64 LOCAL    DATA  .bss     scratch
00000000        0 LOCAL    FILE  ABS      shapes.c
00000004       64 GLOBAL   DATA  COMM     shared_buffer
00000001        1 GLOBAL   DATA  COMM     shared_flag
00000008       16 LOCAL    DATA  .data    table
00000004        4 WEAK     DATA  .data    tunable
00000000        4 GLOBAL   DATA  .bss     zeroed_total
)",
     R"()"},
    {"big-endian PowerPC",
     {"-q", "ppc-shapes.o"},
     R"(
ppc-shapes.o:
Value        Size Binding  Type  Sect     Name
00000000        0 LOCAL    FILE  ABS      shapes.c
00000000        0 LOCAL    SECT  .text    .text
00000000        0 LOCAL    SECT  .data    .data
00000000        0 LOCAL    SECT  .bss     .bss
00000008       64 LOCAL    DATA  .bss     scratch
0000010c       44 LOCAL    FUNC  .text    scale
00000008       16 LOCAL    DATA  .data    table
00000000        0 LOCAL    SECT  .rodata  .rodata
00000000        0 LOCAL    SECT  .note.GNU-stack .note.GNU-stack
00000000       16 WEAK     FUNC  .text    hook_default
00000004        4 WEAK     DATA  .data    tunable
00000010      252 GLOBAL   FUNC  .text    compute_total
00000004       64 GLOBAL   DATA  COMM     shared_buffer
00000000        0 WEAK     NOTY  UNDEF    optional_hook
00000000       13 GLOBAL   DATA  .rodata  greeting
00000000        0 GLOBAL   NOTY  UNDEF    external_log
00000000        0 GLOBAL   NOTY  UNDEF    external_value
00000000        4 GLOBAL   DATA  .data    counter
00000000        4 GLOBAL   DATA  .bss     zeroed_total
00000001        1 GLOBAL   DATA  COMM     shared_flag
)",
     R"()"},
    {"big-endian MIPS, undefined with file names; warnings for unknown section types",
     {"-q", "-uA", "mips-shapes.o"},
     R"(    optional_hook            mips-shapes.o
    external_log             mips-shapes.o
    external_value           mips-shapes.o
)",
     R"([tnm] (Warning) In file mips-shapes.o:
|	section ".MIPS.abiflags"(#6) has an unrecognized type: 0x7000002a
[tnm] (Warning) In file mips-shapes.o:
|	section ".gnu.attributes"(#14) has an unrecognized type: 0x6ffffff5
)"},
    {"executable, globals sorted by name",
     {"-q", "-gn", "i386-prog"},
     R"(
i386-prog:
Value        Size Binding  Type  Sect     Name
08049230        0 GLOBAL   NOTY  .bss     __bss_start
080480b0      156 GLOBAL   FUNC  .text    compute_total
08049214        4 GLOBAL   DATA  .data    counter
08049230        0 GLOBAL   NOTY  .data    _edata
080492c0        0 GLOBAL   NOTY  .bss     _end
080492bc        4 GLOBAL   DATA  .bss     exit_code
08048170      111 GLOBAL   FUNC  .text    external_log
0804922c        4 GLOBAL   DATA  .data    external_value
08048202       13 GLOBAL   DATA  .rodata  greeting
080480a0       10 WEAK     FUNC  .text    hook_default
08049278       64 GLOBAL   DATA  .bss     shared_buffer
080492b8        1 GLOBAL   DATA  .bss     shared_flag
080481e0       34 GLOBAL   FUNC  .text    _start
08049218        4 WEAK     DATA  .data    tunable
08049230        4 GLOBAL   DATA  .bss     zeroed_total
)",
     R"()"},
    {"library members, undefined only",
     {"-q", "-u", "libppc.a"},
     R"(
Undefined symbols from libppc.a(ppc-shapes.o):
    optional_hook
    external_log
    external_value

Undefined symbols from libppc.a(ppc-geometry-helpers.o):

Undefined symbols from libppc.a(ppc-mangled.o):
    printf@@VERS_2.0
    __nw__FUi
    __dl__FPv
    helper@qi$v
    g__ofqiofv
)",
     R"()"},
    {"shared object: its dynamic symbols, no sections",
     {"-q", "ppc-plugin.so"},
     R"(
ppc-plugin.so:
Value        Size Binding  Type  Sect     Name
000003c0        0 LOCAL    SECT           
00000000        0 GLOBAL   FUNC  UNDEF    base_version
00000000        0 GLOBAL   FUNC  UNDEF    base_free
00000000        0 GLOBAL   FUNC  UNDEF    base_alloc
00000424       80 GLOBAL   FUNC           plugin_shutdown
000003c0      100 GLOBAL   FUNC           plugin_init
00000590       13 GLOBAL   DATA           plugin_name
00000000        0 GLOBAL   DATA  ABS      PLUGIN_1.0
0000200c        4 GLOBAL   DATA           plugin_generation
00000474       84 GLOBAL   FUNC           plugin_call
00000000        0 GLOBAL   DATA  ABS      PLUGIN_1.1
)",
     R"()"},
    {"shared object, parsable",
     {"-q", "-p", "ppc-plugin.so"},
     R"(
ppc-plugin.so:
Value     Type  Name
000003c0    S   
00000000    U   base_version
00000000    U   base_free
00000000    U   base_alloc
00000424    ?   plugin_shutdown
000003c0    ?   plugin_init
00000590    ?   plugin_name
00000000    A   PLUGIN_1.0
0000200c    ?   plugin_generation
00000474    ?   plugin_call
00000000    A   PLUGIN_1.1
)",
     R"()"},
    {"demangled undefined names, three manglings",
     {"-q", "-Cu", "i386-mangled.o"},
     R"(
Undefined symbols from i386-mangled.o:
    printf@@VERS_2.0
    operator new(unsigned int)
    operator delete(void*)
    void helper(int)
    void g(int)
)",
     ""},
    // Every demangled name is distinct here, so the unstable sort still
    // gives one order: by the demangled text behind its leading non-letters.
    {"demangled and sorted by name, three manglings",
     {"-q", "-C", "-p", "-n", "i386-mangled.o"},
     R"(
i386-mangled.o:
Value     Type  Name
00000010    D   Bar::[virtual table] 3Foo
00000024    D   Bar::[virtual table] Foo
0000001c    D   Bar::count
00000004    C   Bar::pool
00000060    T   Bar::print(const char*,...)
00000000    T   Foo::Foo(void)
00000000    D   Foo::__vt
00000010    T   Foo::area(void)const 
00000018    T   Foo::draw(int)
00000000    B   Foo::instances
00000030    T   Foo::m(int)const volatile 
00000020    D   Foo::name
00000088    T   Foo::name(int)
00000020    T   Foo::operator +(const Foo&)
00000028    T   Foo::operator =(const Foo&)
00000098    T   Foo::operator int
00000008    T   Foo::~Foo(void)
00000058    T   Yield_12
00000070    T   __alloc__Fv
00000078    T   __am(void)
000000d8    t   cache(void)
00000030    d   call_table
00000048    T   foo(int) of bar(void)
00000038    T   foo(void)
00000040    T   foo_(void)
00000090    T   int Foo::operator *(int)
000000e8    T   main
00000000    F   mangled.s
00000068    T   __mod_I__abc
000000a8    T   operator  delete(void*)
00000000    U   operator delete(void*)
00000000    U   operator new(unsigned int)
00000000    U   printf@@VERS_2.0
00000018    D   static Foo::x
000000e0    t   __sti__mangled_s_
00000000    S   .text
000000c0    T   typeinfo::Type_info::bar(char*)
000000c8    T   void Foo::f(int)
00000080    T   void Foo::name(int)
000000d0    T   void f(char&)
000000b0    T   void f(int,char&)
000000b8    T   void f(int,int,int,int)
00000000    U   void g(int)
00000000    U   void helper(int)
000000a0    T   void* operator  new(unsigned int)
0000002c    D   x__in3Foo
00000050    T   y(long) of x(char) of foo(int)
)",
     ""},
};

TEST(CorpusListing, WholeOutputs) {
    for (const GoldenCase &c : goldenCases) {
        ToolResult r = runTool(c.args, corpus);
        EXPECT_EQ(r.out, c.out) << c.label;
        EXPECT_EQ(r.err, c.err) << c.label;
        EXPECT_EQ(r.status, 0) << c.label;
    }
}

std::vector<std::string> lines(const std::string &text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

// The options that only reshape the rows of the default listing of
// i386-shapes.o (the first golden case: empty line, heading, column header,
// then the rows).  Their exact columns are checked on synthetic files in
// tests/tool; here they meet a real file.
TEST(CorpusListing, OptionsThatReshapeTheDefaultRows) {
    auto listing = [](const char *option) {
        ToolResult r = runTool({"-q", option, "i386-shapes.o"}, corpus);
        EXPECT_EQ(r.err, "") << option;
        EXPECT_EQ(r.status, 0) << option;
        return lines(r.out);
    };
    const std::vector<std::string> plain = lines(goldenCases[0].out);
    const std::vector<std::string> rows(plain.begin() + 3, plain.end());

    // -g: the same without the six locals at the front of the table.
    std::vector<std::string> globals(plain.begin(), plain.begin() + 3);
    globals.insert(globals.end(), rows.begin() + 6, rows.end());
    EXPECT_EQ(listing("-g"), globals);

    // -A: no heading; every row is followed by the file's name.
    const std::string suffix = " i386-shapes.o";
    std::vector<std::string> appended = listing("-A");
    ASSERT_EQ(appended.size(), rows.size() + 1);
    EXPECT_EQ(appended[0], plain[2]);
    for (size_t i = 0; i < rows.size(); ++i) {
        std::string row = appended[i + 1];
        ASSERT_GT(row.size(), suffix.size() + rows[i].size()) << row;
        EXPECT_EQ(row.substr(row.size() - suffix.size()), suffix);
        row.erase(row.find_last_not_of(' ', row.size() - suffix.size() - 1) + 1);
        EXPECT_EQ(row, rows[i]);
    }

    // -d, -o: the value right-aligned in eleven columns in that radix, the
    // size in six, the rest of the row as it was.
    for (auto [option, base] : {std::pair{"-d", 10}, std::pair{"-o", 8}}) {
        std::vector<std::string> got = listing(option);
        ASSERT_EQ(got.size(), plain.size()) << option;
        EXPECT_TRUE(std::equal(got.begin(), got.begin() + 3, plain.begin())) << option;
        for (size_t i = 3; i < got.size(); ++i) {
            const std::string &row = got[i], &hex = plain[i];
            ASSERT_GT(row.size(), 17u) << row;
            EXPECT_TRUE(isdigit(row[10]) && isdigit(row[16])) << row;
            EXPECT_EQ(std::stoul(row.substr(0, 11), nullptr, base),
                      std::stoul(hex.substr(0, 8), nullptr, 16))
                << row;
            EXPECT_EQ(std::stoul(row.substr(11, 6)), std::stoul(hex.substr(8, 9))) << row;
            EXPECT_EQ(row.substr(17), hex.substr(17)) << row;
        }
    }
}

TEST(CorpusListing, SortedByValue) {
    // Symbols of equal value may come in any order (the sort is not
    // stable), so the check is on the order of the values and on the rows
    // being those of the unsorted listing.
    for (const char *file : {"i386-shapes.o", "ppc-shapes.o", "i386-prog"}) {
        ToolResult plain = runTool({"-q", file}, corpus);
        ToolResult sorted = runTool({"-qv", file}, corpus);
        ASSERT_EQ(sorted.status, 0) << file;
        std::vector<std::string> want = lines(plain.out), got = lines(sorted.out);
        ASSERT_GT(got.size(), 3u) << file;
        // Empty line, heading and column header stay in front.
        EXPECT_TRUE(std::equal(got.begin(), got.begin() + 3, want.begin())) << file;
        for (size_t i = 4; i < got.size(); ++i)
            EXPECT_LE(std::stoul(got[i - 1].substr(0, 8), nullptr, 16),
                      std::stoul(got[i].substr(0, 8), nullptr, 16))
                << file << ": " << got[i - 1] << " / " << got[i];
        std::sort(want.begin(), want.end());
        std::sort(got.begin(), got.end());
        EXPECT_EQ(got, want) << file;
    }
}

} // namespace
