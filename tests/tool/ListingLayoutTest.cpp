// The listing of one object file, whole, for each layout and option: headings,
// column headers, rows of the three layouts, the radix of the value column,
// the file name column of -A, and the warning for a file without symbols.
#include "ListingSupport.h"

#include "kit/FakeObjectFile.h"
#include "tool/nm_listing.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

// The file of the usual example: a file symbol, a defined function, an
// undefined reference.
void describeSample(FakeObjectFile &object) {
    FakeSection &text = object.section(".text").executable();
    object.symbol("a.c").local().file().absolute();
    object.symbol("main").global().function().in(text).sized(32);
    object.symbol("printf").global().undefined();
}

std::string listWith(const NmOptions &options, FakeObjectFile &object, RecordingErrors &errors) {
    nmOptions = options;
    return captureStdout([&] { displayObject(object, errors); });
}

struct LayoutCase {
    const char *label;
    NmOptions options;
    const char *expected;
};

NmOptions with(void (*change)(NmOptions &)) {
    NmOptions options;
    change(options);
    return options;
}

TEST_F(ListingTest, EveryLayoutOfTheSampleFile) {
    const LayoutCase cases[] = {
        {"none", NmOptions(),
         "\na.o:\n"
         "Value        Size Binding  Type  Sect     Name\n"
         "00000000        0 LOCAL    FILE  ABS      a.c\n"
         "00000000       32 GLOBAL   FUNC  .text    main\n"
         "00000000        0 GLOBAL   NOTY  UNDEF    printf\n"},
        {"-p", with([](NmOptions &o) { o.parsableOutput = true; }),
         "\na.o:\n"
         "Value     Type  Name\n"
         "00000000    F   a.c\n"
         "00000000    T   main\n"
         "00000000    U   printf\n"},
        {"-u", with([](NmOptions &o) { o.undefinedOnly = o.suppressHeaders = true; }),
         "\nUndefined symbols from a.o:\n"
         "    printf\n"},
        {"-u -p: the undefined layout wins",
         with([](NmOptions &o) { o.undefinedOnly = o.suppressHeaders = o.parsableOutput = true; }),
         "\nUndefined symbols from a.o:\n"
         "    printf\n"},
        {"-p -h -A",
         with([](NmOptions &o) { o.parsableOutput = o.suppressHeaders = o.appendFileName = true; }),
         "00000000    F   a.c                      a.o\n"
         "00000000    T   main                     a.o\n"
         "00000000    U   printf                   a.o\n"},
        {"-A", with([](NmOptions &o) { o.appendFileName = true; }),
         "Value        Size Binding  Type  Sect     Name\n"
         "00000000        0 LOCAL    FILE  ABS      a.c                      a.o\n"
         "00000000       32 GLOBAL   FUNC  .text    main                     a.o\n"
         "00000000        0 GLOBAL   NOTY  UNDEF    printf                   a.o\n"},
        {"-u -A",
         with([](NmOptions &o) { o.undefinedOnly = o.suppressHeaders = o.appendFileName = true; }),
         "    printf                   a.o\n"},
        {"-h keeps the heading", with([](NmOptions &o) { o.suppressHeaders = true; }),
         "\na.o:\n"
         "00000000        0 LOCAL    FILE  ABS      a.c\n"
         "00000000       32 GLOBAL   FUNC  .text    main\n"
         "00000000        0 GLOBAL   NOTY  UNDEF    printf\n"},
        {"-g", with([](NmOptions &o) { o.globalsOnly = true; }),
         "\na.o:\n"
         "Value        Size Binding  Type  Sect     Name\n"
         "00000000       32 GLOBAL   FUNC  .text    main\n"
         "00000000        0 GLOBAL   NOTY  UNDEF    printf\n"},
        {"-g -u",
         with([](NmOptions &o) { o.globalsOnly = o.undefinedOnly = o.suppressHeaders = true; }),
         "\nUndefined symbols from a.o:\n"
         "    printf\n"},
        {"-g -p", with([](NmOptions &o) { o.globalsOnly = o.parsableOutput = true; }),
         "\na.o:\n"
         "Value     Type  Name\n"
         "00000000    T   main\n"
         "00000000    U   printf\n"},
    };
    for (const LayoutCase &c : cases) {
        FakeObjectFile object("a.o");
        describeSample(object);
        RecordingErrors errors;
        EXPECT_EQ(listWith(c.options, object, errors), c.expected) << c.label;
        EXPECT_EQ(errors.lines, "") << c.label;
    }
}

TEST_F(ListingTest, ValueColumnInEachRadix) {
    // Every radix fills eleven columns, so the header stays in line.
    struct RadixCase {
        uint8_t radix;
        uint32_t value;
        const char *row;
    };
    const RadixCase cases[] = {
        {radixHex, 0x1234, "00001234       16 GLOBAL   FUNC  .text    main\n"},
        {radixHex, 0xFFFFFFFF, "ffffffff       16 GLOBAL   FUNC  .text    main\n"},
        {radixDecimal, 0x1234, "       4660    16 GLOBAL   FUNC  .text    main\n"},
        {radixDecimal, 0x80000000, "-2147483648    16 GLOBAL   FUNC  .text    main\n"},
        {radixDecimal, 0xFFFFFFFF, "         -1    16 GLOBAL   FUNC  .text    main\n"},
        {radixOctal, 0x1234, "      11064    16 GLOBAL   FUNC  .text    main\n"},
        {radixOctal, 0x80000000, "20000000000    16 GLOBAL   FUNC  .text    main\n"},
        {radixOctal, 0xFFFFFFFF, "37777777777    16 GLOBAL   FUNC  .text    main\n"},
    };
    for (const RadixCase &c : cases) {
        FakeObjectFile object("a.o");
        FakeSection &text = object.section(".text").executable();
        object.symbol("main").global().function().in(text).sized(16).at(c.value);
        NmOptions options;
        options.valueRadix = c.radix;
        options.suppressHeaders = true;
        RecordingErrors errors;
        EXPECT_EQ(listWith(options, object, errors), std::string("\na.o:\n") + c.row)
            << int(c.radix) << " " << c.value;

        options.parsableOutput = true;
        std::string parsable = listWith(options, object, errors);
        std::string valueField = std::string(c.row).substr(0, 11);
        EXPECT_EQ(parsable, "\na.o:\n" + valueField + " T   main\n") << int(c.radix);

        // The undefined layout has no value column at all.
        object.symbol("ext").global().undefined().at(c.value);
        options.undefinedOnly = true;
        EXPECT_EQ(listWith(options, object, errors), "\nUndefined symbols from a.o:\n    ext\n");
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
    NmOptions options;
    RecordingErrors errors;
    EXPECT_EQ(listWith(options, object, errors),
              "\nx.o:\n"
              "Value        Size Binding  Type  Sect     Name\n"
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
    NmOptions options;
    options.undefinedOnly = options.suppressHeaders = options.appendFileName = true;
    RecordingErrors errors;
    EXPECT_EQ(listWith(options, object, errors), "    a_name_of_exactly_24_chr dir/b.o\n"
                                                 "    a_name_longer_than_twenty_four dir/b.o\n");
}

TEST_F(ListingTest, LibraryMemberIsNamedWithItsLibrary) {
    FileName library("lib.a");
    ArchiveMemberName member(&library, "m.o", 68, 100);
    FakeObjectFile object(member);
    object.symbol("f").global().undefined();
    NmOptions options;
    options.appendFileName = options.parsableOutput = true;
    RecordingErrors errors;
    EXPECT_EQ(listWith(options, object, errors),
              "Value     Type  Name\n"
              "00000000    U   f                        lib.a(m.o)\n");
    options = NmOptions();
    EXPECT_EQ(listWith(options, object, errors).substr(0, 13), "\nlib.a(m.o):\n");
}

TEST_F(ListingTest, FileWithoutSymbolsOnlyWarns) {
    FakeObjectFile object("empty.o");
    NmOptions options;
    RecordingErrors errors;
    EXPECT_EQ(listWith(options, object, errors), "");
    EXPECT_EQ(errors.lines, "warning: empty.o has no symbols\n");
    EXPECT_EQ(errors.errorCount, 0);
    EXPECT_EQ(object.symbolWalks + object.globalWalks, 0u);
}

TEST_F(ListingTest, ClaimedSymbolCountIsOnlyAHint) {
    // A reader's count that is far too large must not drive a huge
    // allocation, and one that is too small must not lose rows.
    for (uint32_t claimed : {0xFFFFFFFFu, 0xFFFFFFF8u, 1u}) {
        FakeObjectFile object("h.o");
        object.symbol("one").global().undefined();
        object.symbol("two").global().undefined();
        object.symbol("three").global().undefined();
        object.claimSymbolCount(claimed);
        NmOptions options;
        options.undefinedOnly = options.suppressHeaders = true;
        RecordingErrors errors;
        EXPECT_EQ(listWith(options, object, errors),
                  "\nUndefined symbols from h.o:\n    one\n    two\n    three\n")
            << claimed;
    }
}

TEST_F(ListingTest, SelectionOfRows) {
    // -u visits globals only, so an undefined local is not shown; with
    // nothing selected the heading stands alone, and a full listing keeps
    // its column header.
    FakeObjectFile object("c.o");
    FakeSection &bss = object.section(".bss").bss();
    object.symbol("undefinedLocal").local().undefined();
    object.symbol("weakUndefined").weak().undefined();
    object.symbol("counter").global().data().in(bss);
    NmOptions options;
    options.undefinedOnly = options.suppressHeaders = true;
    RecordingErrors errors;
    EXPECT_EQ(listWith(options, object, errors),
              "\nUndefined symbols from c.o:\n    weakUndefined\n");
    EXPECT_EQ(object.globalWalks, 1u);
    EXPECT_EQ(object.symbolWalks, 0u);

    FakeObjectFile defined("d.o");
    defined.symbol("counter").global().data().in(defined.section(".bss").bss());
    EXPECT_EQ(listWith(options, defined, errors), "\nUndefined symbols from d.o:\n");
    options = NmOptions();
    options.globalsOnly = true;
    FakeObjectFile locals("e.o");
    locals.symbol("l").local();
    EXPECT_EQ(listWith(options, locals, errors),
              "\ne.o:\nValue        Size Binding  Type  Sect     Name\n");
    EXPECT_EQ(errors.lines, "");
}

} // namespace
