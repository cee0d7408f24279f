// Classification, the caller's buffer and its capacity, the pool and depth
// limits, and names that are damaged in every way a fuzzer would try.
#include "demangle/unmangle.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

TEST(ClassifyMangling, FirstRuleThatAppliesDecides) {
    const struct {
        const char *name;
        int scheme;
    } rows[] = {
        {nullptr, 0},
        {"", 0},
        {"___", 0},
        {"abc", 0},
        {"Yield_12", 0},
        {"a_b_c", 0},
        {"Foo", 3},
        {"foo__", 3},
        {"__foo", 0},
        {"foo__Fv", 3},
        {"__vt__3Foo@x", 3},    // a virtual table with "@" stays in scheme 3
        {"vt__3Foo@x", 3},      // so does one without leading underscores
        {"__vt__Foo@@3Bar", 1}, // no digit behind a "__"
        {"xvt__3Foo@x", 1},     // "vt__" must begin the name
        {"f@qi$v", 1},
        {"printf@@VERS_2.0", 1},
        {"f__ofqiofv", 2},
        {"x__in3Foo", 2},
        {"F__ofqi@", 1}, // "@" is tested before the keywords
        {"f__inF", 2},   // the keywords before "F"
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name ? row.name : "(null)");
        EXPECT_EQ(classifyMangling(row.name), row.scheme);
    }
}

TEST(Unmangle, NamesNotDecodedComeBackAsTheSamePointerUnchanged) {
    const char *names[] = {"", "___", "abc", "Yield_12", "Foo", "foo__", "f@", "__alloc__Fv"};
    for (const char *name : names) {
        SCOPED_TRACE(name);
        std::string before = name;
        char buffer[64];
        std::memcpy(buffer, "untouched", 10);
        EXPECT_EQ(unmangle(name, buffer, sizeof buffer), name);
        EXPECT_EQ(before, name);
    }
    EXPECT_EQ(unmangle(nullptr, nullptr, 0), nullptr);
}

TEST(Unmangle, WithoutBufferUsesAPrivateOneOverwrittenByTheNextCall) {
    const char *first = unmangle("foo__Fv", nullptr, 0);
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first, "foo(void)");
    char own[32];
    EXPECT_EQ(unmangle("bar__Fi", own, 0), first); // a size of 0 means no buffer too
    EXPECT_STREQ(first, "bar(int)");
}

// "f__F" and three names of 200 characters: "f(" + 3 * 200 + 2 commas + ")".
std::string longFunctionName(std::string *shown) {
    std::string name = "f__F";
    *shown = "f(";
    for (char letter : {'a', 'b', 'c'}) {
        name += "200" + std::string(200, letter);
        *shown += std::string(200, letter) + (letter == 'c' ? ")" : ",");
    }
    return name;
}

TEST(Unmangle, TextIsCutAtTheBufferCapacityAndNeverWrittenPast) {
    std::string shown;
    std::string name = longFunctionName(&shown);
    ASSERT_EQ(shown.size(), 605u);
    for (uint32_t size : {512u, 100u, 11u, 2u}) {
        SCOPED_TRACE(size);
        std::vector<char> buffer(size + 16, '#');
        const char *result = unmangle(name.c_str(), buffer.data(), size);
        ASSERT_EQ(result, buffer.data());
        EXPECT_EQ(std::string(result), shown.substr(0, size - 1));
        for (uint32_t i = size; i < buffer.size(); ++i)
            ASSERT_EQ(buffer[i], '#') << "byte " << i << " written";
    }
}

TEST(Unmangle, AnEmptyTextEqualToWhatIsLeftUnreadIsNoDecoding) {
    // With room for nothing the text is empty, which is what stands behind
    // the cursor at the end of the name: the name itself comes back.
    char buffer[1] = {'#'};
    const char *name = "foo__Fv";
    EXPECT_EQ(unmangle(name, buffer, 1), name);
    EXPECT_EQ(buffer[0], '\0');
    // With text left behind the cursor the empty text differs from it.
    const char *tail = "foo__Fv_tail";
    EXPECT_EQ(unmangle(tail, buffer, 1), buffer);
}

TEST(Unmangle, ARepeatedParameterPrintsItsTypeAgainInFull) {
    char buffer[512];
    EXPECT_STREQ(unmangle("f__FPCUcN31", buffer, sizeof buffer),
                 "f(const unsigned char*,const unsigned char*,const unsigned char*,"
                 "const unsigned char*)");
    EXPECT_STREQ(unmangle("f@qPFi$vb_31$v", buffer, sizeof buffer),
                 "void f(void(*)(int),void(*)(int),void(*)(int),void(*)(int))");
}

TEST(Unmangle, ThePoolBoundsHowLargeANameMayGrow) {
    char buffer[4096];
    std::string few = "f__F" + std::string(40, 'i');
    ASSERT_EQ(unmangle(few.c_str(), buffer, sizeof buffer), buffer);
    EXPECT_EQ(std::string(buffer).size(), 2 + 40 * 4u);
    // Each parameter takes a node for the list and one for its type; two
    // thousand of them cannot fit in 16384 bytes.
    std::string many = "f__F" + std::string(2000, 'i');
    EXPECT_EQ(unmangle(many.c_str(), buffer, sizeof buffer), many.c_str());
    // Repeats cost a node per copy too.
    std::string repeats = "f__Fi";
    for (int i = 0; i < 400; ++i)
        repeats += "N91";
    EXPECT_EQ(unmangle(repeats.c_str(), buffer, sizeof buffer), repeats.c_str());
}

std::string repeated(const char *piece, int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += piece;
    return text;
}

TEST(Unmangle, DeepNestingAndCyclesEndWithoutExhaustingTheStack) {
    char buffer[512];
    const std::string cases[] = {
        "f__F" + std::string(200000, 'P') + "i",
        "f__F" + std::string(200000, 'C') + "i",
        "f__F" + repeated("A1_", 100000) + "i",
        "f__F" + std::string(100000, 'x') + "i",
        "f__F" + std::string(100000, 'F') + "i",
        "f__F" + repeated("Q2", 100000) + "i",
        "f__Fi" + repeated(".f__Fi", 20000),
        "f@q" + std::string(100000, 'X'),
        // A back-reference to the function code that holds it: each round
        // goes deeper without making a node.
        "f__Fj1",
        "f__FPj1",
        "f__FM3Fooj5",
        // A chain of back-references, each to the one before.
        "f__Fij1" + repeated("j2", 50000),
    };
    for (const std::string &name : cases) {
        SCOPED_TRACE(name.substr(0, 12));
        EXPECT_EQ(unmangle(name.c_str(), buffer, sizeof buffer), name.c_str());
    }
}

TEST(Unmangle, LengthsAndCountsRunningOffTheEndFail) {
    char buffer[512];
    const char *names[] = {
        "f__F4294967296i",
        "f__F99999999999abc", // far longer than the name
        "f__Fy99999abc",
        "f__FA9999999999999",
        "f__FQ9i",
        "f__Fh",
        "f__Fhiiiiiiii",
        "f__Fj",
        "f__Fjiiiiiiiiiiiiiiiiiiiiii1",
        "f@qbiiiiiiiiiiiiiiiii",
        "__vt__",
        "__op__",
        "__ct__",
        "f__F40000",
    };
    // A length that wraps to a small number is read as that number; the
    // others must be refused, all without reading past the terminating zero.
    EXPECT_STREQ(unmangle(names[0], buffer, sizeof buffer), "f(,int)");
    for (size_t i = 1; i < sizeof names / sizeof names[0]; ++i) {
        SCOPED_TRACE(names[i]);
        EXPECT_EQ(unmangle(names[i], buffer, sizeof buffer), names[i]);
    }
    // A class name longer than its 16-bit length field holds.
    std::string huge = "f__F40000" + std::string(40000, 'a');
    EXPECT_EQ(unmangle(huge.c_str(), buffer, sizeof buffer), huge.c_str());
}

// Every prefix of a valid name, and every name with one byte changed to a
// troublesome one: nothing may crash or read past the end (the sanitizer
// build checks the latter), and a name is never changed.
TEST(Unmangle, DamagedNamesNeverCrash) {
    const char *seeds[] = {
        "__eq__Q28typeinfo9Type_infoCFRCQ28typeinfo9Type_info",
        "foo__y7bar__FvFi.x__Fc",
        "f__FM3FooFi_vPa3_iXi_3Barj8y7bar__Fvh3N21T1",
        "__opnew@qUi$Pvb_21@Q28typeinfo9Type_info",
        "f__ofqiofv__in3Foo",
        "__vt__3Foo__3Bar",
    };
    const char replacements[] = {'\x01', '\xff', '_', '@', 'y', 'j', 'Q', '9', 'F', 'x', 't'};
    char buffer[64];
    for (const char *seed : seeds) {
        std::string text = seed;
        for (size_t length = 0; length <= text.size(); ++length) {
            std::string prefix = text.substr(0, length);
            std::string before = prefix;
            unmangle(prefix.c_str(), buffer, sizeof buffer);
            ASSERT_EQ(prefix, before);
        }
        for (size_t at = 0; at < text.size(); ++at) {
            for (char c : replacements) {
                std::string changed = text;
                changed[at] = c;
                const char *result = unmangle(changed.c_str(), buffer, sizeof buffer);
                ASSERT_TRUE(result == changed.c_str() || result == buffer);
                ASSERT_LT(std::strlen(buffer), sizeof buffer);
            }
        }
    }
}

} // namespace
