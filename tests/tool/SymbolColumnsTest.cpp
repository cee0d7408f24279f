// The per-symbol texts of the listing: the type letter, the section column,
// the display name (section symbols, demangling with its two buffers), and
// the two sort orders through displayObject.
#include "ListingSupport.h"

#include "demangle/unmangle.h"
#include "kit/FakeObjectFile.h"
#include "tool/nm_listing.h"

#include <cstring>
#include <gtest/gtest.h>

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
    FakeSection &rodata = listed.section(".rodata");
    listed.symbol("").local().sectionType().in(rodata);
    RecordingErrors errors;
    EXPECT_EQ(captureStdout([&] { displayObject(listed, errors); }),
              "\ns.o:\nValue        Size Binding  Type  Sect     Name\n"
              "00000000        0 LOCAL    SECT  .rodata  .rodata\n");
    nmOptions.parsableOutput = true;
    EXPECT_EQ(captureStdout([&] { displayObject(listed, errors); }),
              "\ns.o:\nValue     Type  Name\n00000000    S   .rodata\n");
}

// Names that the demangler decodes, with what it makes of them.
struct Mangled {
    const char *name;
    std::string text;
};

Mangled decoded(const char *name) {
    char buffer[512];
    const char *result = unmangle(name, buffer, sizeof buffer);
    return {name, result};
}

TEST_F(ListingTest, DemanglingUsesTwoBuffersInTurn) {
    const Mangled first = decoded("f__Fi");
    const Mangled second = decoded("g__Fc");
    // Without these the test would prove nothing: the demangler must change
    // both names.
    ASSERT_NE(first.text, first.name);
    ASSERT_NE(second.text, second.name);

    FakeObjectFile object("m.o");
    FakeSymbol &a = object.symbol(first.name);
    FakeSymbol &b = object.symbol(second.name);
    FakeSymbol &plain = object.symbol("plain_c_name");
    EXPECT_STREQ(displayName(a), first.name) << "no -C: the name as it stands";

    nmOptions.demangleNames = true;
    const char *shownA = displayName(a);
    const char *shownB = displayName(b);
    EXPECT_EQ(shownA, first.text);
    EXPECT_EQ(shownB, second.text);
    EXPECT_NE(shownA, shownB);
    // The next call takes the first buffer again.
    const char *again = displayName(b);
    EXPECT_EQ(again, shownA);
    EXPECT_EQ(std::string(shownB), second.text);
    EXPECT_STREQ(displayName(plain), "plain_c_name");
}

std::string sortedNames(FakeObjectFile &object, const NmOptions &options) {
    nmOptions = options;
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
    NmOptions byName;
    byName.sortByName = true;
    // Leading bytes that are no ASCII letter or digit are passed over, high
    // bytes included; what remains compares case-sensitively.  "_" becomes
    // the empty text and sorts first.
    EXPECT_EQ(sortedNames(object, byName), "_ 9lives ..Alpha B a _b \x80\xff"
                                           "c zeta ");
    // -n wins over -v.
    byName.sortByValue = true;
    EXPECT_EQ(sortedNames(object, byName), "_ 9lives ..Alpha B a _b \x80\xff"
                                           "c zeta ");
    // Without a sort the visitor's order stays.
    EXPECT_EQ(sortedNames(object, NmOptions()), "zeta _b a ..Alpha B \x80\xff"
                                                "c 9lives _ ");
}

TEST_F(ListingTest, SortByNameSeesDemangledText) {
    const Mangled zed = decoded("aaa__Fi");
    const Mangled first = decoded("zzz__Fi");
    ASSERT_NE(zed.text, zed.name);
    // Compare what the two decode to, past their leading non-alphanumerics.
    FakeObjectFile object("d.o");
    object.symbol(zed.name).global().undefined();
    object.symbol(first.name).global().undefined();
    object.symbol("mmm").global().undefined();
    NmOptions options;
    options.sortByName = options.demangleNames = true;
    std::string sorted = sortedNames(object, options);
    EXPECT_LT(sorted.find(zed.text), sorted.find("mmm"));
    EXPECT_LT(sorted.find("mmm"), sorted.find(first.text));
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
        std::vector<std::string> names;
        for (uint32_t value : c.values) {
            char name[16];
            snprintf(name, sizeof name, "%x", value);
            names.push_back(name);
        }
        for (size_t i = 0; i < c.values.size(); ++i)
            object.symbol(names[i].c_str()).global().undefined().at(c.values[i]);
        NmOptions options;
        options.sortByValue = true;
        EXPECT_EQ(sortedNames(object, options), c.order);
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
    NmOptions options;
    options.sortByName = true;
    sortedNames(one, options);
    EXPECT_EQ(only.nameQueries, 1u);

    FakeObjectFile two("2.o");
    FakeSymbol &x = two.symbol("x").global().undefined();
    two.symbol("y").global().undefined();
    sortedNames(two, options);
    EXPECT_GT(x.nameQueries, 1u);
}

} // namespace
