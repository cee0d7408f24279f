// The listing of a kit-made a.out file through displayObject: type letters,
// the section column, bindings, sizes and section-relative values.
#include "AoutTestSupport.h"
#include "kit/AoutBuilder.h"
#include "tool/ListingSupport.h"
#include "tool/nm_listing.h"

#include <gtest/gtest.h>

namespace {

AoutBuilder listedFile() {
    AoutBuilder b;
    b.text(bytes(0x20)).data(bytes(0x10)).bss(0x10);
    b.symbol("_main", N_TEXT | N_EXT, 0x4)
        .symbol("_helper", N_TEXT, 0x10)
        .symbol("_table", N_DATA | N_EXT, 0x28)
        .symbol("_counter", N_DATA, 0x2C)
        .symbol("_buffer", N_BSS | N_EXT, 0x34)
        .symbol("_scratch", N_BSS, 0x38)
        .symbol("_printf", N_UNDF | N_EXT, 0)
        .symbol("_pool", N_UNDF | N_EXT, 0x100)
        .symbol("_limit", N_ABS | N_EXT, 0x7FFF);
    return b;
}

std::string listing(bool parsable) {
    nmOptions = NmOptions();
    nmOptions.parsableOutput = parsable;
    AoutReports reports;
    auto object = readAout(listedFile().build(), reports);
    std::string out = captureStdout([&] { displayObject(*object, reports); });
    nmOptions = NmOptions();
    EXPECT_TRUE(reports.lines.empty());
    return out;
}

TEST(AoutListing, FullLayout) {
    EXPECT_EQ(listing(false), "\ntest.o:\n"
                              "Value        Size Binding  Type  Sect     Name\n"
                              "00000004        0 GLOBAL   FUNC  .text    _main\n"
                              "00000010        0 LOCAL    FUNC  .text    _helper\n"
                              "00000008        0 GLOBAL   DATA  .data    _table\n"
                              "0000000c        0 LOCAL    DATA  .data    _counter\n"
                              "00000004        0 GLOBAL   DATA  .bss     _buffer\n"
                              "00000008        0 LOCAL    DATA  .bss     _scratch\n"
                              "00000000        0 GLOBAL   NOTY  UNDEF    _printf\n"
                              "00000100      256 GLOBAL   NOTY  COMM     _pool\n"
                              "00007fff        0 GLOBAL   NOTY  ABS      _limit\n");
}

TEST(AoutListing, ParsableLayout) {
    EXPECT_EQ(listing(true), "\ntest.o:\n"
                             "Value     Type  Name\n"
                             "00000004    T   _main\n"
                             "00000010    t   _helper\n"
                             "00000008    D   _table\n"
                             "0000000c    d   _counter\n"
                             "00000004    B   _buffer\n"
                             "00000008    b   _scratch\n"
                             "00000000    U   _printf\n"
                             "00000100    C   _pool\n"
                             "00007fff    A   _limit\n");
}

} // namespace
