// The listing of one object file, whole, for each layout and option: headings,
// column headers, rows of the three layouts, the radix of the value column,
// the file name column of -A and the selection of rows.  Options are given as
// the user types them.  (A file without symbols is a whole-program case.)
#include "ListingSupport.h"

#include "kit/FakeObjectFile.h"
#include "tool/nm_listing.h"

#include <gtest/gtest.h>

namespace {

// The listing of `object` under the option letters `letters` ("-pA").
std::string listWith(const char *letters, FakeObjectFile &object, RecordingErrors &errors) {
    nmOptions = optionsOf(letters);
    return captureStdout([&] { displayObject(object, errors); });
}

const std::string fullHeader = "Value        Size Binding  Type  Sect     Name\n";
const std::string parsableHeader = "Value     Type  Name\n";

TEST_F(ListingTest, EveryLayoutOfTheSampleFile) {
    // The usual example: a file symbol, a defined function, an undefined
    // reference.
    const std::string fileRow = "00000000        0 LOCAL    FILE  ABS      a.c";
    const std::string mainRow = "00000000       32 GLOBAL   FUNC  .text    main";
    const std::string printfRow = "00000000        0 GLOBAL   NOTY  UNDEF    printf";
    const std::pair<const char *, std::string> cases[] = {
        {"-", "\na.o:\n" + fullHeader + fileRow + "\n" + mainRow + "\n" + printfRow + "\n"},
        {"-p", "\na.o:\n" + parsableHeader +
                   "00000000    F   a.c\n00000000    T   main\n00000000    U   printf\n"},
        {"-u", "\nUndefined symbols from a.o:\n    printf\n"},
        // The undefined layout wins over -p, and -g adds nothing to -u.
        {"-up", "\nUndefined symbols from a.o:\n    printf\n"},
        {"-gu", "\nUndefined symbols from a.o:\n    printf\n"},
        {"-phA", "00000000    F   a.c                      a.o\n"
                 "00000000    T   main                     a.o\n"
                 "00000000    U   printf                   a.o\n"},
        {"-A", fullHeader + fileRow + "                      a.o\n" + mainRow +
                   "                     a.o\n" + printfRow + "                   a.o\n"},
        {"-uA", "    printf                   a.o\n"},
        // -h leaves the heading.
        {"-h", "\na.o:\n" + fileRow + "\n" + mainRow + "\n" + printfRow + "\n"},
        {"-g", "\na.o:\n" + fullHeader + mainRow + "\n" + printfRow + "\n"},
    };
    for (const auto &[letters, expected] : cases) {
        FakeObjectFile object("a.o");
        FakeSection &text = object.section(".text").executable();
        object.symbol("a.c").local().file().absolute();
        object.symbol("main").global().function().in(text).sized(32);
        object.symbol("printf").global().undefined();
        RecordingErrors errors;
        EXPECT_EQ(listWith(letters, object, errors), expected) << letters;
        EXPECT_EQ(errors.lines, "") << letters;
    }
}

TEST_F(ListingTest, ValueColumnInEachRadix) {
    // Every radix fills eleven columns, so the header stays in line; the
    // undefined layout has no value column at all.
    const std::pair<std::string, uint32_t> cases[] = {
        {"-x", 0x1234},     {"-x", 0xFFFFFFFF}, {"-d", 0x1234},
        {"-d", 0x80000000}, {"-o", 0x1234},     {"-o", 0x80000000},
    };
    const char *fields[] = {"00001234   ", "ffffffff   ", "       4660",
                            "-2147483648", "      11064", "20000000000"};
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto &[radix, value] = cases[i];
        std::string field = fields[i];
        FakeObjectFile object("a.o");
        FakeSection &text = object.section(".text").executable();
        object.symbol("main").global().function().in(text).sized(16).at(value);
        object.symbol("ext").global().undefined().at(value);
        RecordingErrors errors;
        EXPECT_EQ(listWith((radix + "h").c_str(), object, errors),
                  "\na.o:\n" + field + "    16 GLOBAL   FUNC  .text    main\n" + field +
                      "     0 GLOBAL   NOTY  UNDEF    ext\n")
            << radix << " " << value;
        EXPECT_EQ(listWith((radix + "hp").c_str(), object, errors),
                  "\na.o:\n" + field + " T   main\n" + field + " U   ext\n")
            << radix;
        EXPECT_EQ(listWith((radix + "u").c_str(), object, errors),
                  "\nUndefined symbols from a.o:\n    ext\n");
    }
}

TEST_F(ListingTest, FullRowFields) {
    // Size as a signed number that may push the columns right, the words
    // of each binding and type (empty for values beyond the known ones), and
    // the "m" in front of the type word when other is 0xF0.
    FakeObjectFile object("x.o");
    FakeSection &data = object.section(".data").data();
    FakeSection &longName = object.section(".rodata.long").data();
    object.symbol("big").global().data().in(data).sized(1234567);
    object.symbol("negative").local().data().in(data).sized(0xFFFFFFFF);
    object.symbol("weakling").weak().function().in(data).withOther(0xF0);
    object.symbol("other1").weak().function().in(data).withOther(0xF1);
    object.symbol("odd").bindingValue(7).typeValue(9).in(data);
    object.symbol("sect").local().sectionType().in(longName);
    object.symbol("comm").global().data().common().notAbsolute().sized(8).at(4);
    object.symbol("scomm").global().data().smallCommon().common().notAbsolute().sized(4).at(4);
    object.symbol("abscomm").global().data().common().absolute();
    object.symbol("nothing").local().notAbsolute();
    RecordingErrors errors;
    EXPECT_EQ(listWith("-", object, errors),
              "\nx.o:\n" + fullHeader +
                  "00000000    1234567 GLOBAL   DATA  .data    big\n"
                  "00000000       -1 LOCAL    DATA  .data    negative\n"
                  "00000000        0 WEAK    mFUNC  .data    weakling\n"
                  "00000000        0 WEAK     FUNC  .data    other1\n"
                  "00000000        0                .data    odd\n"
                  "00000000        0 LOCAL    SECT  .rodata.long sect\n"
                  "00000004        8 GLOBAL   DATA  COMM     comm\n"
                  "00000004        4 GLOBAL   DATA  SCOMM    scomm\n"
                  "00000000        0 GLOBAL   DATA  ABS      abscomm\n"
                  "00000000        0 LOCAL    NOTY           nothing\n");
}

TEST_F(ListingTest, AppendedFileNameFollowsLongNamesAfterOneBlank) {
    FakeObjectFile object("dir/b.o");
    object.symbol("a_name_of_exactly_24_chr").global().undefined();
    object.symbol("a_name_longer_than_twenty_four").global().undefined();
    RecordingErrors errors;
    EXPECT_EQ(listWith("-uA", object, errors), "    a_name_of_exactly_24_chr dir/b.o\n"
                                               "    a_name_longer_than_twenty_four dir/b.o\n");
}

TEST_F(ListingTest, ClaimedSymbolCountIsOnlyAHint) {
    // A reader's count that is far too large must not drive a huge
    // allocation, and one that is too small must not lose rows.
    for (uint32_t claimed : {0xFFFFFFFFu, 0xFFFFFFF8u, 1u}) {
        FakeObjectFile object("h.o");
        for (const char *name : {"one", "two", "three"})
            object.symbol(name).global().undefined();
        object.claimSymbolCount(claimed);
        RecordingErrors errors;
        EXPECT_EQ(listWith("-u", object, errors),
                  "\nUndefined symbols from h.o:\n    one\n    two\n    three\n")
            << claimed;
    }
}

TEST_F(ListingTest, SelectionOfRows) {
    // -u visits globals only, so an undefined local is not shown; with
    // nothing selected the heading stands alone, and a full listing keeps
    // its column header.
    FakeObjectFile object("c.o");
    object.symbol("undefinedLocal").local().undefined();
    object.symbol("weakUndefined").weak().undefined();
    object.symbol("counter").global().data().in(object.section(".bss").bss());
    RecordingErrors errors;
    EXPECT_EQ(listWith("-u", object, errors), "\nUndefined symbols from c.o:\n    weakUndefined\n");
    EXPECT_EQ(object.globalWalks, 1u);
    EXPECT_EQ(object.symbolWalks, 0u);

    FakeObjectFile defined("d.o");
    defined.symbol("counter").global().data().in(defined.section(".bss").bss());
    EXPECT_EQ(listWith("-u", defined, errors), "\nUndefined symbols from d.o:\n");
    FakeObjectFile locals("e.o");
    locals.symbol("l").local();
    EXPECT_EQ(listWith("-g", locals, errors), "\ne.o:\n" + fullHeader);
    EXPECT_EQ(errors.lines, "");
}

} // namespace
