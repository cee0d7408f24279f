// The per-symbol texts of the listing: the type letter, the section column,
// the display name (section symbols, demangling with its two buffers), and
// the two sort orders through displayObject.
#include "ListingSupport.h"

#include "kit/FakeObjectFile.h"
#include "tool/nm_listing.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <vector>

namespace {

TEST_F(ListingTest, TypeLetterAndSectionColumn) {
    FakeObjectFile object("t.o");
    FakeSection &text = object.section(".text").executable();
    FakeSection &bss = object.section(".bss").bss();
    FakeSection &data = object.section(".data").data();
    struct Case {
        FakeSymbol &symbol;
        const char *letter;
        const char *column;
    };
    const Case cases[] = {
        {object.symbol("sect").sectionType().in(text).global(), "S", ".text"},
        {object.symbol("file").file().absolute(), "F", "ABS"},
        {object.symbol("gfunc").global().function().in(text), "T", ".text"},
        {object.symbol("lfunc").local().function().in(text), "t", ".text"},
        // Only binding 1 is global: weak and unknown bindings are lower case.
        {object.symbol("wfunc").weak().function().in(text), "t", ".text"},
        {object.symbol("odd").bindingValue(5).in(text), "t", ".text"},
        {object.symbol("gbss").global().data().in(bss), "B", ".bss"},
        {object.symbol("lbss").local().in(bss), "b", ".bss"},
        {object.symbol("gdata").global().data().in(data), "D", ".data"},
        {object.symbol("wdata").weak().data().in(data), "d", ".data"},
        // A section wins over undefined and common.
        {object.symbol("both").global().undefined().common().in(data), "D", ".data"},
        {object.symbol("undef").global().undefined(), "U", "UNDEF"},
        {object.symbol("undefAbs").global().undefined().absolute(), "U", "UNDEF"},
        // Common before absolute in the letter, absolute first in the column.
        {object.symbol("commAbs").global().common().absolute(), "C", "ABS"},
        {object.symbol("comm").global().common().notAbsolute(), "C", "COMM"},
        {object.symbol("scomm").global().common().smallCommon().notAbsolute(), "C", "SCOMM"},
        {object.symbol("scommOnly").global().smallCommon().notAbsolute(), "?", "SCOMM"},
        {object.symbol("abs").global().at(0x100), "A", "ABS"},
        {object.symbol("none").local().notAbsolute(), "?", ""},
        {object.symbol("nameless").local().in(object.section("").nullName()), "d", ""},
    };
    for (const Case &c : cases) {
        EXPECT_STREQ(typeLetter(c.symbol), c.letter) << c.symbol.name();
        EXPECT_STREQ(sectionColumn(c.symbol), c.column) << c.symbol.name();
    }
}

TEST_F(ListingTest, DisplayNameOfNamelessSymbols) {
    FakeObjectFile object("s.o");
    FakeSection &text = object.section(".text").executable();
    struct Case {
        FakeSymbol &symbol;
        const char *shown;
    };
    const Case cases[] = {
        {object.symbol("").sectionType().in(text), ".text"},
        {object.symbol("").nullName().sectionType().in(text), ".text"},
        {object.symbol("own").sectionType().in(text), "own"},
        {object.symbol("").sectionType(), ""},
        {object.symbol("").function().in(text), ""},
        {object.symbol("").nullName().data(), ""},
        {object.symbol("").sectionType().in(object.section("").nullName()), ""},
    };
    for (const Case &c : cases)
        EXPECT_STREQ(displayName(c.symbol), c.shown);

    // The section's name is not demangled, and a nameless section symbol
    // shows it in the listing with "SECT" and "S".
    nmOptions.demangleNames = true;
    EXPECT_STREQ(displayName(cases[0].symbol), ".text");
    nmOptions.demangleNames = false;
    FakeObjectFile listed("s.o");
    listed.symbol("").local().sectionType().in(listed.section(".rodata"));
    RecordingErrors errors;
    EXPECT_EQ(captureStdout([&] { displayObject(listed, errors); }),
              "\ns.o:\nValue        Size Binding  Type  Sect     Name\n"
              "00000000        0 LOCAL    SECT  .rodata  .rodata\n");
}

TEST_F(ListingTest, DemanglingUsesTwoBuffersInTurn) {
    FakeObjectFile object("m.o");
    FakeSymbol &a = object.symbol("f__Fi");
    FakeSymbol &b = object.symbol("g__Fc");
    FakeSymbol &plain = object.symbol("plain_c_name");
    EXPECT_STREQ(displayName(a), "f__Fi") << "no -C: the name as it stands";

    nmOptions.demangleNames = true;
    const char *shownA = displayName(a);
    const char *shownB = displayName(b);
    EXPECT_STREQ(shownA, "f(int)");
    EXPECT_STREQ(shownB, "g(char)");
    EXPECT_NE(shownA, shownB);
    // The next call takes the first buffer again and leaves the second.
    EXPECT_EQ(displayName(b), shownA);
    EXPECT_STREQ(shownB, "g(char)");
    EXPECT_STREQ(displayName(plain), "plain_c_name");
}

// The names of the undefined rows of `object` under the letters `letters`.
std::string sortedNames(FakeObjectFile &object, const char *letters) {
    nmOptions = optionsOf(letters);
    nmOptions.undefinedOnly = nmOptions.suppressHeaders = true;
    RecordingErrors errors;
    std::string out = captureStdout([&] { displayObject(object, errors); });
    std::string names;
    // Rows of the undefined layout: four blanks, the name.
    for (size_t at = out.find("\n    "); at != std::string::npos; at = out.find("\n    ", at + 1)) {
        size_t end = out.find('\n', at + 5);
        names += out.substr(at + 5, end - at - 5) + " ";
    }
    return names;
}

TEST_F(ListingTest, SortByName) {
    FakeObjectFile object("n.o");
    for (const char *name : {"zeta", "_b", "a", "..Alpha", "B",
                             "\x80\xff"
                             "c",
                             "9lives", "_"})
        object.symbol(name).global().undefined();
    // Leading bytes that are no ASCII letter or digit are passed over, high
    // bytes included; what remains compares case-sensitively.  "_" becomes
    // the empty text and sorts first.
    const std::string sorted = "_ 9lives ..Alpha B a _b \x80\xff"
                               "c zeta ";
    EXPECT_EQ(sortedNames(object, "-n"), sorted);
    EXPECT_EQ(sortedNames(object, "-vn"), sorted) << "-n wins over -v";
    // Without a sort the visitor's order stays.
    EXPECT_EQ(sortedNames(object, "-"), "zeta _b a ..Alpha B \x80\xff"
                                        "c 9lives _ ");

    // With -C the demangled texts are compared, in an order that the raw
    // names ("bar", "ct", "mmm" past their underscores) do not have.
    FakeObjectFile mangled("d.o");
    for (const char *name : {"mmm", "bar__3ZapFv", "__ct__3FooFv"})
        mangled.symbol(name).global().undefined();
    EXPECT_EQ(sortedNames(mangled, "-nC"), "Foo::Foo(void) Zap::bar(void) mmm ");
}

std::string formatHex(uint32_t value) {
    char text[16];
    snprintf(text, sizeof text, "%x", value);
    return text;
}

TEST_F(ListingTest, SortByValueWrapsAround) {
    struct Case {
        std::vector<uint32_t> values;
        std::string order;
    };
    const Case cases[] = {
        {{0x10, 0x2, 0x7}, "2 7 10 "},
        // Exactly 0x80000000 apart each compares below the other (see
        // ComparatorsDirectly), so that order is left to qsort; one more
        // and the order is firm.
        {{0, 0x80000001}, "80000001 0 "},
        {{0x10000000, 0xB0000000, 0x20000000}, "b0000000 10000000 20000000 "},
        {{0x90000000, 0x20000000}, "20000000 90000000 "},
        {{0xFFFFFFFF, 1}, "ffffffff 1 "},
        {{0x7FFFFFFF, 0}, "0 7fffffff "},
    };
    for (const Case &c : cases) {
        FakeObjectFile object("v.o");
        for (uint32_t value : c.values)
            object.symbol(formatHex(value).c_str()).global().undefined().at(value);
        EXPECT_EQ(sortedNames(object, "-v"), c.order);
    }
}

TEST_F(ListingTest, ComparatorsDirectly) {
    FakeObjectFile object("c.o");
    FakeSymbol &underscored = object.symbol("_foo").at(5);
    FakeSymbol &dotted = object.symbol(".foo").at(0x80000005);
    FakeSymbol &bare = object.symbol("foo").at(5);
    Symbol *u = &underscored, *d = &dotted, *b = &bare;
    EXPECT_EQ(compareSymbolNames(&u, &d), 0);
    EXPECT_EQ(compareSymbolNames(&d, &b), 0);
    EXPECT_EQ(compareSymbolValues(&u, &b), 0);
    EXPECT_LT(compareSymbolValues(&d, &u), 0);
    EXPECT_LT(compareSymbolValues(&u, &d), 0) << "both ways negative: wrap-around";
}

TEST_F(ListingTest, SingleSymbolIsNotSorted) {
    // With one symbol the comparator is never called, so the name is asked
    // once, for the row; with two the sort asks more.
    FakeObjectFile one("1.o");
    FakeSymbol &only = one.symbol("only").global().undefined();
    sortedNames(one, "-n");
    EXPECT_EQ(only.nameQueries, 1u);

    FakeObjectFile two("2.o");
    FakeSymbol &x = two.symbol("x").global().undefined();
    two.symbol("y").global().undefined();
    sortedNames(two, "-n");
    EXPECT_GT(x.nameQueries, 1u);
}

} // namespace
