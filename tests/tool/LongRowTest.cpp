// Rows longer than the listing's line buffer: a name of several hundred
// bytes, with and without -A, must come out whole and in order with the rows
// around it.
#include "ListingSupport.h"

#include "kit/FakeObjectFile.h"
#include "tool/nm_listing.h"

#include <gtest/gtest.h>
#include <string>

TEST_F(ListingTest, NamesLongerThanTheLineBufferComeOutWhole) {
    const std::string longName(1500, 'n');
    const std::string nearlyFull(500, 'q');
    FakeObjectFile object("long.o");
    FakeSection &text = object.section(".text").executable();
    object.symbol("first").global().function().in(text).at(0x10);
    object.symbol(longName.c_str()).global().function().in(text).at(0x20);
    object.symbol(nearlyFull.c_str()).global().undefined();
    object.symbol("last").global().undefined();

    RecordingErrors errors;
    nmOptions = NmOptions();
    nmOptions.suppressHeaders = true;
    EXPECT_EQ(captureStdout([&] { displayObject(object, errors); }),
              "\nlong.o:\n"
              "00000010        0 GLOBAL   FUNC  .text    first\n"
              "00000020        0 GLOBAL   FUNC  .text    " +
                  longName + "\n" + "00000000        0 GLOBAL   NOTY  UNDEF    " + nearlyFull +
                  "\n" + "00000000        0 GLOBAL   NOTY  UNDEF    last\n");

    nmOptions.undefinedOnly = nmOptions.appendFileName = true;
    EXPECT_EQ(captureStdout([&] { displayObject(object, errors); }),
              "    " + nearlyFull + " long.o\n" + "    last                     long.o\n");
}
