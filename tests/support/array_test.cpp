// Arrays, dictionaries, string tables, the sort and the word helpers.
#include "support/FunctionRef.h"
#include "support/StringTable.h"
#include "support/align.h"
#include "support/array.h"
#include "support/bitsfield.h"
#include "support/endian.h"
#include "support/quickSort.h"
#include "support/sdict.h"
#include "support/strdup.h"
#include "support/stringcltn.h"
#include "support/strutil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

TEST(Array, GrowthRulesAndCopies) {
    array doubling(4, 4, -1);
    doubling.data[0] = 7;
    doubling.resize(5); // below twice the capacity: doubles
    EXPECT_EQ(doubling.capacity, 8u);
    doubling.resize(100);
    EXPECT_EQ(doubling.capacity, 100u);
    EXPECT_EQ(doubling.data[0], 7);
    EXPECT_EQ(std::count(doubling.data + 16, doubling.data + 400, 0), 384);
    array empty(0, 4, -1);
    EXPECT_EQ(empty.data, nullptr);
    empty.resize(3);
    EXPECT_EQ(empty.capacity, 3u);

    array exact(10, 2, 5);
    exact.data[1] = 9;
    exact.resize(11);
    EXPECT_EQ(exact.capacity, 11u);
    exact.resize(2);
    EXPECT_EQ(exact.capacity, 2u);
    EXPECT_EQ(exact.data[1], 9);
    exact.clear();
    EXPECT_EQ(exact.capacity, 0u);
    EXPECT_EQ(exact.data, nullptr);
    exact.allocate(6, 0);
    EXPECT_EQ(exact.capacity, 6u);
    EXPECT_EQ(exact.growth, 0);

    doubling.data[399] = 0x5A;
    array copy(1, 4, -1);
    copy = doubling;
    EXPECT_EQ(copy.capacity, 100u);
    EXPECT_EQ(copy.data[399], 0x5A);
    EXPECT_NE(copy.data, doubling.data);
    EXPECT_EQ(array(copy).data[0], 7);

    dynarray<const char *> list(2);
    for (const char *n : {"a", "b", "c", "d", "e"})
        list.append(n);
    EXPECT_EQ(list.count, 5u);
    EXPECT_EQ(list.capacity, 8u);
    EXPECT_EQ(Texts(list.begin(), list.end()), (Texts{"a", "b", "c", "d", "e"}));
    dynarray<uint32_t> zero(0);
    zero.append(42);
    EXPECT_EQ(zero[0], 42u);
    EXPECT_EQ(zero.capacity, 1u);
}

TEST(ArrayDeathTest, Botches) {
    EXPECT_DEATH(array(8, 4, 0).resize(2), "Fixed length dynarray \"\\[8\\]\" overflowed!");
    EXPECT_DEATH(array(1, 4, -1).resize(-3), "array::resize\\(-3\\) array size negative");
    EXPECT_DEATH(array(0x40000000u, 8, -1), "array\\(1073741824,8\\) too large");
    // Elements of no size keep the test from touching a gigabyte.
    EXPECT_DEATH(array(0x40000000u, 0, -1).resize(0x40000001), "array \\(1073741824\\) overflowed");
}

TEST(StringDictionary, AddLookupSetRemove) {
    StringDictionary dict(7);
    // The value of a key, or -1 when it is absent.
    auto value = [&](const char *key) {
        DictValue v = 0;
        return dict.lookup(key, v) ? int64_t(v) : -1;
    };
    EXPECT_TRUE(dict.add("alpha", 1));
    EXPECT_FALSE(dict.add("alpha", 2)); // keeps the first value
    EXPECT_EQ(value("alpha"), 1);
    dict.set("alpha", 3);
    dict.set("beta", 4);
    EXPECT_EQ(dict.count, 2u);
    EXPECT_TRUE(dict.addCounted("gammaXYZ", 5, 5));
    EXPECT_EQ(
        (std::vector<int64_t>{value("alpha"), value("alph"), value("alphab"), value("gamma")}),
        (std::vector<int64_t>{3, -1, -1, 5}));
    DictValue v = 0;
    EXPECT_TRUE(dict.lookupCounted("betamax", 4, v));
    EXPECT_EQ(v, 4u);
    EXPECT_FALSE(dict.lookupCounted("betamax", 5, v));
    EXPECT_TRUE(dict.remove("beta"));
    EXPECT_FALSE(dict.remove("beta"));
    EXPECT_EQ(value("beta"), -1);
    EXPECT_EQ(dict.count, 2u);
    // The removed entry is reused.
    ASSERT_NE(dict.freeEntries, nullptr);
    EXPECT_TRUE(dict.add("delta", 6));
    EXPECT_EQ(dict.freeEntries, nullptr);
    EXPECT_TRUE(dict.add("", 8));
    EXPECT_EQ(value(""), 8);

    EXPECT_EQ(hashText("ab"), (uint32_t('a') << 1) ^ 'b');
    EXPECT_EQ(hashText("xyz\xff"), hashText("xyz\xffQQ", 4));
    EXPECT_EQ(hashText(""), 0u);
}

TEST(StringDictionary, KeysAndOrder) {
    char key[] = "name";
    StringDictionary copying(3);
    StringDictionaryKeepKeys keeping(3);
    copying.add(key, 1);
    keeping.add(key, 1);
    const char *copied = nullptr, *kept = nullptr;
    copying.each([&](const char *k, DictValue) { copied = k; });
    keeping.each([&](const char *k, DictValue) { kept = k; });
    EXPECT_NE(copied, key);
    EXPECT_STREQ(copied, "name");
    EXPECT_EQ(kept, key);

    StringDictionary dict(5);
    // "a" and "f" share bucket 97 % 5 == 102 % 5 == 2; the newer is first.
    dict.add("a", 1);
    dict.add("f", 2);
    dict.add("b", 3);
    std::vector<DictValue> byEach, byIterator;
    dict.each([&](const char *, DictValue v) { byEach.push_back(v); });
    StringDictionary::Iterator it(dict);
    while (DictValue v = it.next())
        byIterator.push_back(v);
    EXPECT_EQ(byEach, (std::vector<DictValue>{2, 1, 3}));
    EXPECT_EQ(byIterator, byEach);
}

TEST(StringTable, InternsAndFinds) {
    StringTable table(30);
    EXPECT_EQ(table.hashSize, 11u);
    EXPECT_STREQ(table.text(0), "<<<NULL_SYMBOL>>>");
    // The same bytes give one index; "ab" and "ab\0" are different entries.
    EXPECT_EQ(
        (std::vector<uint32_t>{table.intern(nullptr), table.intern("ab"), table.intern("ab", 2),
                               table.intern("ab\0", 3), table.intern(""), table.find("ab"),
                               table.find("ab\0", 3), table.find("abc"), table.find(nullptr)}),
        (std::vector<uint32_t>{0, 1, 1, 2, 3, 1, 2, 0, 0}));
    EXPECT_EQ(table.length(2), 3u);
    StringTable oneChain(1); // every text in one hash chain
    EXPECT_EQ((std::vector<uint32_t>{oneChain.intern("ab\0", 3), oneChain.intern("ab"),
                                     oneChain.intern("ab\0", 3)}),
              (std::vector<uint32_t>{1, 2, 1}));
    // Many texts in few chains.
    for (int i = 0; i < 1000; ++i)
        table.intern(("sym" + std::to_string(i)).c_str());
    EXPECT_EQ(table.count, 1003u);
    EXPECT_EQ(table.find("sym500"), 504u);
    EXPECT_STREQ(table.text(504), "sym500");
    Texts texts;
    table.each([&](const char *t) { texts.push_back(t); });
    ASSERT_EQ(texts.size(), 1003u);
    EXPECT_EQ(texts[0], "ab");
    EXPECT_EQ(texts[1002], "sym999");
    table.reset();
    EXPECT_EQ(table.count, 0u);
    EXPECT_EQ(table.find("ab"), 0u);
    EXPECT_EQ(table.intern("new"), 1u);
    EXPECT_STREQ(table.text(0), "<<<NULL_SYMBOL>>>");

    EXPECT_EQ(StringTable(256000).hashSize, 85333u);
    EXPECT_DEATH(StringTable(256001), "StringTable:: max too big: 256001");
}

TEST(StringCollection, ListOperations) {
    StringCollection list;
    char mutableText[] = "copied";
    const char *kept = "kept";
    list.append(kept, false);
    list.append(mutableText, true);
    list.append("third", false);
    mutableText[0] = 'X';
    Texts seen;
    list.each([&](const char *t) { seen.push_back(t); });
    EXPECT_EQ(seen, (Texts{"kept", "copied", "third"}));
    EXPECT_EQ(list.count, 3u);
    EXPECT_EQ(list.popFront(), kept);
    EXPECT_STREQ(list.popBack(), "third");
    EXPECT_STREQ(list.popBack(), "copied");
    EXPECT_EQ(list.head, nullptr);
    EXPECT_EQ(list.tail, nullptr);
    EXPECT_EQ(list.popFront(), nullptr);
    EXPECT_EQ(list.popBack(), nullptr);
    EXPECT_EQ(list.count, 0u);
}

TEST(QuickSort, SortsThroughCallbacks) {
    std::mt19937 random(7);
    for (int n : {0, 1, 2, 3, 7, 50, 257}) {
        for (int round = 0; round < 5; ++round) {
            std::vector<int> values(n);
            for (int &v : values)
                v = static_cast<int>(random() % (round == 4 ? 3 : 1000));
            if (round == 3) std::sort(values.begin(), values.end());
            std::vector<int> expected = values;
            std::sort(expected.begin(), expected.end());
            quickSort(
                0, n - 1, [&](int32_t a, int32_t b) { std::swap(values[a], values[b]); },
                [&](int32_t a, int32_t b) { return values[a] < values[b]; });
            EXPECT_EQ(values, expected) << n << " " << round;
        }
    }
    // One element calls nothing; the range is inclusive at both ends.
    int calls = 0;
    quickSort(
        5, 5, [&](int32_t, int32_t) { ++calls; }, [&](int32_t, int32_t) { return ++calls, false; });
    EXPECT_EQ(calls, 0);
    std::vector<int> values{9, 4, 3, 2, 1, 0};
    quickSort(
        1, 4, [&](int32_t a, int32_t b) { std::swap(values[a], values[b]); },
        [&](int32_t a, int32_t b) { return values[a] < values[b]; });
    EXPECT_EQ(values, (std::vector<int>{9, 1, 2, 3, 4, 0}));
    EXPECT_FALSE(FunctionRef<void()>()); // an empty visitor reference
}

TEST(WordHelpers, RoundUpSwapsAndGetBits) {
    EXPECT_EQ((std::vector<uint32_t>{roundUp(8, 4), roundUp(9, 4), roundUp(0, 16), roundUp(7, 3),
                                     roundUp(5, 0)}),
              (std::vector<uint32_t>{8, 12, 0, 9, 5}));
    EXPECT_EQ(byteSwap32(0x11223344u), 0x44332211u);
    EXPECT_EQ(byteSwap16(0xA1B2), 0xB2A1);
    uint32_t word = 0;
    unsigned char bytes[4] = {1, 0, 0, 0};
    memcpy(&word, bytes, 4);
    EXPECT_EQ(hostIsLittleEndian, word == 1);

    EXPECT_EQ(getBits(0x12345678, 4, 11, false), 0x67u);
    EXPECT_EQ(getBits(0x000000F0, 4, 7, true), 0xFFFFFFFFu);
    EXPECT_EQ(getBits(0x00000070, 4, 7, true), 7u);
    EXPECT_EQ(getBits(0x80000000, 31, 31, true), 0xFFFFFFFFu);
    EXPECT_EQ(getBits(0x00000001, 0, 0, true), 0xFFFFFFFFu);
    EXPECT_EQ(getBits(0xFFFFFFFE, 0, 0, true), 0u);
    EXPECT_EQ(getBits(0xDEADBEEF, 0, 31, false), 0xDEADBEEFu);
    EXPECT_EQ(getBits(0x80000000, 16, 31, true), 0xFFFF8000u);
    EXPECT_DEATH(getBits(0, 5, 32, false), "out of range");
}

TEST(WordHelpers, SetBits) {
    struct {
        int low, high;
        int32_t value;
        bool isSigned;
        int result;
        uint32_t after;
    } cases[] = {
        {4, 7, 0xF, false, 0, 0xFFFFFFFF},
        {4, 7, 0x10, false, 1, 0xFFFFFFFF},
        {4, 7, 5, false, 0, 0xFFFFFF5F},
        {4, 7, -1, true, 0, 0xFFFFFFFF},
        {4, 7, -8, true, 0, 0xFFFFFF8F},
        // Signed, only the bits above the field count: -9 keeps its low four
        // bits, -17 and 16 do not fit.
        {4, 7, -9, true, 0, 0xFFFFFF7F},
        {4, 7, -17, true, 1, 0xFFFFFFFF},
        {4, 7, 16, true, 1, 0xFFFFFFFF},
        {4, 7, 7, true, 0, 0xFFFFFF7F},
        {0, 0, -1, true, 0, 0xFFFFFFFF},
        {0, 0, 2, false, 1, 0xFFFFFFFF},
        {0, 31, -1, true, 0, 0xFFFFFFFF},
        {0, 31, 0x12345678, false, 0, 0x12345678},
        {31, 31, 0, false, 0, 0x7FFFFFFF},
        {8, 15, -1, false, 1, 0xFFFFFFFF},
    };
    for (auto &c : cases) {
        uint32_t word = 0xFFFFFFFF;
        EXPECT_EQ(setBits(&word, c.low, c.high, c.value, c.isSigned), c.result)
            << c.low << ".." << c.high << " " << c.value;
        EXPECT_EQ(word, c.after) << c.low << ".." << c.high << " " << c.value;
    }
    for (int width = 1; width <= 32; ++width) {
        uint32_t word = 0;
        EXPECT_EQ(setBits(&word, 0, width - 1, -1, true), 0) << width;
    }
}

TEST(TextHelpers, DuplicateAndSubstrings) {
    EXPECT_EQ(duplicate(nullptr), nullptr);
    const char *source = "text";
    auto copy = duplicate(source);
    EXPECT_STREQ(copy.get(), "text");
    EXPECT_NE(copy.get(), source);

    auto split = [](const char *text, const char *separators) {
        Texts pieces;
        eachSubstring([&](const char *p) { pieces.push_back(p); }, text, separators);
        return pieces;
    };
    EXPECT_EQ(split("a;b;c", ";"), (Texts{"a", "b", "c"}));
    EXPECT_EQ(split("a;b;", ";"), (Texts{"a", "b"}));
    EXPECT_EQ(split(";a", ";"), (Texts{"", "a"}));
    EXPECT_EQ(split("a;;b", ";"), (Texts{"a", "", "b"}));
    EXPECT_EQ(split("x:y;z", ":;"), (Texts{"x", "y", "z"}));
    EXPECT_EQ(split("", ";"), Texts{});
    EXPECT_EQ(split(nullptr, ";"), Texts{});
    std::string longPiece(2500, 'q');
    Texts pieces = split((longPiece + ";" + longPiece).c_str(), ";");
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(pieces[0].size(), 1999u);
    EXPECT_EQ(pieces[1].size(), 2500u);
    // The last piece is the text itself.
    const char *text = "one,two";
    const char *last = nullptr;
    eachSubstring([&](const char *p) { last = p; }, text, ',');
    EXPECT_EQ(last, text + 4);
}

} // namespace
