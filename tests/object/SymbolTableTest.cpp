// SymbolTable: how two symbols of one name are resolved (the whole table of
// rules, with every report), the order of the ordered array, removal and the
// reuse of rows, the hash and its counters, the dotless variant, the walks,
// the summary, the traces, and the entering of an object file's symbols
// (an ELF file's symbols of a discarded COMDAT section enter undefined).
#include "object/SymbolTable.h"
#include "ObjectTestKit.h"
#include "elf/ElfObjectFileFromInput.h"
#include "elf/ElfRecords.h"
#include "input/InputFile.h"
#include "kit/ElfBuilder.h"
#include "support/formout.h"
#include "support/toggles.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

// A test symbol with the answers that resolution asks for as fields.
class TableSymbol : public TestSymbol {
public:
    using TestSymbol::TestSymbol;

    uint32_t size() override { return symbolSize; }
    SymbolType type() override { return symbolType; }
    uint32_t versionIndex() override { return version; }
    bool isAbsolute() override { return absolute; }
    bool isReferenced() override { return referenced; }
    void setReferenced() override { referenced = true; }
    bool isAliasOf(Symbol &other) override {
        return &other == this || std::find(aliases.begin(), aliases.end(), &other) != aliases.end();
    }

    uint32_t symbolSize = 0;
    SymbolType symbolType = SymbolType::none;
    uint32_t version = 0;
    bool absolute = false;
    bool referenced = false;
    std::vector<Symbol *> aliases;
};

// How a symbol of a case is made: its file, its kind, and a few numbers.
struct Make {
    const char *file; // "a.o", "b.o" relocatable; "x.so" shared
    char kind;        // 'D' defined in a section, 'A' absolute, 'C' common, 'U' undefined
    bool weak = false;
    uint32_t size = 0;
    SymbolType type = SymbolType::none;
    uint32_t value = 0;
    uint32_t version = 0;
};

class SymbolTableTest : public testing::Test {
protected:
    TestObjectFile &file(const char *which) {
        std::string key(which);
        if (key == "a.o") return a;
        if (key == "b.o") return b;
        return shared;
    }

    TableSymbol &make(const Make &m, const char *name = "x") {
        TestObjectFile &owner = file(m.file);
        Section *home = m.kind == 'D' ? &owner.addSection(".data", 16) : nullptr;
        made.push_back(std::make_unique<TableSymbol>(&owner, name, m.value, home));
        TableSymbol &symbol = *made.back();
        symbol.global = !m.weak;
        symbol.weak = m.weak;
        symbol.undefined = m.kind == 'U';
        symbol.common = m.kind == 'C';
        symbol.absolute = m.kind == 'A';
        symbol.symbolSize = m.size;
        symbol.symbolType = m.type;
        symbol.version = m.version;
        return symbol;
    }

    TableSymbol &local(TestObjectFile &owner, const char *name) {
        made.push_back(std::make_unique<TableSymbol>(&owner, name));
        return *made.back();
    }

    // The names of the symbols that `each` visits, in order.
    static std::vector<std::string> order(SymbolTable &table) {
        std::vector<std::string> names;
        table.each([&](Symbol &symbol) {
            names.push_back(std::string(symbol.name()) + "@" + symbol.fileName()->displayName());
            return true;
        });
        return names;
    }

    // Whether the symbol holds a slot of the ordered array.
    static bool placed(SymbolTable &table, Symbol *symbol) {
        for (uint32_t i = 1; i <= table.orderedCount(); ++i)
            if (table.symbolAt(i) == symbol) return true;
        return false;
    }

    FileName aName{"a.o"}, bName{"b.o"}, sharedName{"x.so"};
    TestObjectFile a{aName}, b{bName}, shared{sharedName};
    std::vector<std::unique_ptr<TableSymbol>> made;
    Captured captured;

    void SetUp() override { shared.shared = true; }
};

TEST_F(SymbolTableTest, ResolutionOfTwoSymbolsOfOneName) {
    const SymbolType none = SymbolType::none, data = SymbolType::data,
                     function = SymbolType::function;
    struct Case {
        const char *what;
        Make first, second;
        bool secondWins, winnerPlaced;
        std::string report;
        bool secondReferenced = false;
    };
    // Each case: the first symbol, the second, whether the second wins,
    // whether the winner holds a slot, the report, and whether the second
    // was marked referenced.  Files: a.o and b.o relocatable, x.so shared.
    // Kinds: D defined in a section, A absolute, C common, U undefined.
    const char *const inconsistent = "[t] (Warning) Size of symbol x is inconsistent between\n|\t";
    const std::string multiply = "[t] \"x\" is multiply defined in a.o and b.o\n";
    // clang-format off
    const Case cases[] = {
        {"shared reference, then a definition", {"x.so", 'U'}, {"a.o", 'D'}, true, true, "", true},
        {"reference, then a definition", {"a.o", 'U'}, {"b.o", 'D'}, true, true, ""},
        {"reference, then a common", {"a.o", 'U'}, {"b.o", 'C', false, 4}, true, false, ""},
        {"weak reference, then a strong one", {"a.o", 'U', true}, {"b.o", 'U'}, true, true, ""},
        {"weak reference, then a strong one of a shared object",
         {"a.o", 'U', true}, {"x.so", 'U'}, false, false, ""},
        {"two references", {"a.o", 'U'}, {"b.o", 'U', true}, false, false, ""},
        {"definition, then a reference", {"a.o", 'D'}, {"b.o", 'U'}, false, true, ""},
        {"shared definition, then a reference", {"x.so", 'D'}, {"a.o", 'U'}, false, true, ""},
        {"commons of one size", {"a.o", 'C', false, 8}, {"b.o", 'C', false, 8}, false, false, ""},
        {"a larger common", {"a.o", 'C', false, 8}, {"b.o", 'C', false, 16}, true, false,
         inconsistent + std::string("a.o and b.o\n")},
        {"a smaller common", {"a.o", 'C', false, 16}, {"b.o", 'C', false, 8}, false, false,
         inconsistent + std::string("a.o and b.o\n")},
        {"a common of no size", {"a.o", 'C', false, 16}, {"b.o", 'C'}, false, false, ""},
        {"a shared common gives way to a smaller one", {"x.so", 'C', false, 8},
         {"a.o", 'C', false, 4}, true, false, inconsistent + std::string("x.so and a.o\n"), true},
        {"common, then smaller data", {"a.o", 'C', false, 16}, {"b.o", 'D', false, 8, data},
         true, true, "[t] (Warning) Common symbol x (in file a.o) is ofsize 16\n|\twhich is "
         "larger than actual size, 8, as defined in b.o\n"},
        {"common, then untyped data of no size", {"a.o", 'C', false, 16}, {"b.o", 'D'},
         true, true, ""},
        {"common, then a function", {"a.o", 'C', false, 4}, {"b.o", 'D', false, 4, function},
         true, true, "[t] (Warning) Symbol \"x\" (a.o) is common data,\n|\tbut is being "
         "resolved to a function in b.o\n|\tby the same name.\n"},
        {"common, then a function of a shared object", {"a.o", 'C', false, 4},
         {"x.so", 'D', false, 4, function}, false, false, "[t] (Warning) Symbol \"x\" (a.o) "
         "is common data,\n|\tbut DLL x.so exports a function by the same name.\n"},
        {"definition, then a larger common", {"a.o", 'D', false, 8}, {"b.o", 'C', false, 16},
         false, true, "[t] (Warning) Common symbol x (in file b.o) is ofsize 16\n|\twhich is "
         "larger than actual size, 8, as defined in a.o\n"},
        {"definition of no size, then a common", {"a.o", 'D'}, {"b.o", 'C', false, 16},
         false, true, ""},
        {"absolutes of one value", {"a.o", 'A', false, 0, none, 5},
         {"b.o", 'A', false, 0, none, 5}, false, true, ""},
        {"absolutes of two values", {"a.o", 'A', false, 0, none, 5},
         {"b.o", 'A', false, 0, none, 6}, false, true, multiply},
        {"strong, then weak", {"a.o", 'D'}, {"b.o", 'D', true}, false, true, ""},
        {"weak, then strong", {"a.o", 'D', true}, {"b.o", 'D'}, true, true, ""},
        {"weak, then strong of a shared object", {"a.o", 'D', true}, {"x.so", 'D'}, true, true, ""},
        {"shared definition, then a relocatable one", {"x.so", 'D'}, {"a.o", 'D'}, true, true, "",
         true},
        {"two definitions", {"a.o", 'D'}, {"b.o", 'D'}, false, true, multiply},
        {"two versions in one shared object", {"x.so", 'D', false, 0, none, 0, 2},
         {"x.so", 'D', false, 0, none, 0, 3}, true, false, "", true},
        {"an older version in one shared object", {"x.so", 'D', false, 0, none, 0, 3},
         {"x.so", 'D', false, 0, none, 0, 2}, false, false, ""},
        {"definition, then a shared one", {"a.o", 'D'}, {"x.so", 'D'}, false, true, ""},
    };
    // clang-format on
    for (const Case &c : cases) {
        Captured reports;
        SymbolTable table(reports.errors);
        TableSymbol &first = make(c.first);
        TableSymbol &second = make(c.second);
        EXPECT_EQ(table.enter(&first), &first) << c.what;
        Symbol *winner = c.secondWins ? &second : &first;
        Symbol *loser = c.secondWins ? &first : &second;
        EXPECT_EQ(table.enter(&second), winner) << c.what;
        EXPECT_EQ(table.find("x"), winner) << c.what;
        EXPECT_EQ(loser->link, winner) << c.what;
        EXPECT_EQ(winner->link, winner) << c.what;
        EXPECT_EQ(placed(table, winner), c.winnerPlaced) << c.what;
        EXPECT_FALSE(placed(table, loser)) << c.what;
        EXPECT_EQ(reports.text(), c.report) << c.what;
        EXPECT_EQ(second.referenced, c.secondReferenced) << c.what;
    }
}

TEST_F(SymbolTableTest, ReportSwitches) {
    SymbolTable table(captured.errors);
    table.setDuplicatesAreWarnings(true);
    table.enter(&make({"a.o", 'D'}));
    table.enter(&make({"b.o", 'D'}));
    table.setNoSizeWarning(true);
    table.enter(&make({"a.o", 'C', false, 8}, "c"));
    table.enter(&make({"b.o", 'C', false, 16}, "c"));
    table.enter(&make({"b.o", 'D', false, 4}, "c"));
    EXPECT_EQ(captured.text(), "[t] (Warning) \"x\" is multiply defined in a.o and b.o\n");
    EXPECT_EQ(captured.errors.errorCount, 0);
}

TEST_F(SymbolTableTest, SameDefinitionTwiceAndReferenceMarks) {
    SymbolTable table(captured.errors);
    TableSymbol &definition = make({"a.o", 'D'});
    table.enter(&definition);
    EXPECT_EQ(table.enter(&definition), &definition);
    EXPECT_EQ(captured.text(), "");
    // A shared definition that a relocatable file's own preempts: a
    // referenced loser passes the mark on, and an unreferenced one does not.
    TableSymbol &sharedOne = make({"x.so", 'D'}, "s");
    TableSymbol &mine = make({"a.o", 'D'}, "s");
    table.enter(&sharedOne);
    table.enter(&mine);
    EXPECT_TRUE(mine.referenced);
    // A definition of a shared object that meets an existing one marks that.
    TableSymbol &other = make({"x.so", 'D'}, "x");
    table.enter(&other);
    EXPECT_TRUE(definition.referenced);
    EXPECT_FALSE(other.referenced);
    // A weak definition replaced by a strong one passes its mark on.
    TableSymbol &weakOne = make({"a.o", 'D', true}, "w");
    weakOne.referenced = true;
    TableSymbol &strong = make({"b.o", 'D'}, "w");
    table.enter(&weakOne);
    table.enter(&strong);
    EXPECT_TRUE(strong.referenced);
}

TEST_F(SymbolTableTest, OrderOfTheOrderedArrayAndOfEach) {
    SymbolTable table(captured.errors);
    TableSymbol &localOne = local(a, "l1");
    EXPECT_EQ(table.enter(&localOne), &localOne);
    EXPECT_EQ(table.enter(&local(shared, "hidden")), nullptr);
    table.enter(&make({"a.o", 'U'}, "u"));
    table.enter(&make({"a.o", 'D', true}, "w"));
    table.enter(&make({"b.o", 'C', false, 4}, "c"));
    table.enter(&make({"x.so", 'D'}, "s"));
    table.enter(&make({"x.so", 'U'}, "su"));
    table.enter(&local(b, "l2"));
    // A strong definition takes over the weak one's slot.
    table.enter(&make({"b.o", 'D'}, "w"));
    // A reference to the shared definition gives it a slot at the end.
    table.enter(&make({"b.o", 'U'}, "s"));
    EXPECT_EQ(order(table),
              (std::vector<std::string>{"l1@a.o", "w@b.o", "l2@b.o", "s@x.so", "u@a.o", "c@b.o"}));
    EXPECT_EQ(table.count(), 6u);
    EXPECT_EQ(table.orderedCount(), 4u);
    std::vector<std::string> linkable, all;
    table.eachLinkable([&](SymbolTableEntry &entry) {
        linkable.push_back(entry.name);
        return true;
    });
    table.eachEntry([&](SymbolTableEntry &entry) {
        all.push_back(entry.name);
        return entry.name != std::string("s");
    });
    EXPECT_EQ(linkable, (std::vector<std::string>{"u", "w", "c"}));
    EXPECT_EQ(all, (std::vector<std::string>{"u", "w", "c", "s"}));
}

TEST_F(SymbolTableTest, EnterWithOverride) {
    SymbolTable table(captured.errors);
    TableSymbol &first = make({"a.o", 'D'});
    TableSymbol &forced = make({"b.o", 'D', true});
    table.enter(&first);
    EXPECT_EQ(table.enterWithOverride(&forced), &forced);
    EXPECT_EQ(first.link, &forced);
    EXPECT_EQ(table.symbolAt(1), &forced);
    EXPECT_EQ(table.orderedCount(), 1u);
    // A new name and a local go the ordinary way.
    TableSymbol &fresh = make({"b.o", 'D'}, "fresh");
    EXPECT_EQ(table.enterWithOverride(&fresh), &fresh);
    EXPECT_EQ(table.symbolAt(2), &fresh);
    TableSymbol &localOne = local(a, "l");
    EXPECT_EQ(table.enterWithOverride(&localOne), &localOne);
    EXPECT_EQ(table.symbolAt(3), &localOne);
    // An override of a name without a slot leaves the array alone.
    table.enter(&make({"a.o", 'U'}, "u"));
    TableSymbol &u2 = make({"b.o", 'U'}, "u");
    table.enterWithOverride(&u2);
    EXPECT_EQ(table.find("u"), &u2);
    EXPECT_EQ(table.orderedCount(), 3u);
}

TEST_F(SymbolTableTest, RemoveAndReuseOfRows) {
    SymbolTable table(captured.errors);
    TableSymbol &x = make({"a.o", 'D'}, "x");
    TableSymbol &y = make({"a.o", 'D'}, "y");
    // One bucket: the names differ only before their last nine bytes, so
    // the newer heads a chain of two and the older stands behind it.
    TableSymbol &older = make({"a.o", 'U'}, "Xabcdefghi");
    TableSymbol &newer = make({"a.o", 'U'}, "Yabcdefghi");
    ASSERT_EQ(SymbolTable::hashName("Xabcdefghi"), SymbolTable::hashName("Yabcdefghi"));
    for (Symbol *s : std::initializer_list<Symbol *>{&x, &y, &older, &newer})
        table.enter(s);
    table.remove(&x);
    EXPECT_EQ(table.find("x"), nullptr);
    EXPECT_EQ(table.symbolAt(1), &x); // the slot stays
    table.remove(&older);
    EXPECT_EQ(table.find("Xabcdefghi"), nullptr);
    EXPECT_EQ(table.find("Yabcdefghi"), &newer);
    // The next new names take the removed rows, the last removed first.
    table.enter(&make({"b.o", 'U'}, "n1"));
    table.enter(&make({"b.o", 'U'}, "n2"));
    table.enter(&make({"b.o", 'U'}, "n3"));
    std::vector<std::string> rows;
    table.eachEntry([&](SymbolTableEntry &entry) {
        rows.push_back(entry.name);
        return true;
    });
    EXPECT_EQ(rows, (std::vector<std::string>{"n2", "y", "n1", "Yabcdefghi", "n3"}));
    TableSymbol &stranger = make({"b.o", 'D'}, "nowhere");
    EXPECT_EXIT(table.remove(&stranger), testing::ExitedWithCode(3),
                "Assertion failure: can't remove symbol nowhere");
}

TEST_F(SymbolTableTest, HashBucketsAndCounters) {
    // Only the last nine bytes reach the low nine bits.
    EXPECT_EQ(SymbolTable::hashName(""), 0u);
    EXPECT_EQ(SymbolTable::hashName("a"), 0x61u);
    EXPECT_EQ(SymbolTable::hashName("ab"), (0x61u << 1 ^ 0x62u) & 0x1FF);
    EXPECT_EQ(SymbolTable::hashName("X123456789"), SymbolTable::hashName("Y123456789"));
    EXPECT_EQ(SymbolTable::hashName("\xff"), 0xFFu);
    SymbolTable table(captured.errors);
    TableSymbol &one = make({"a.o", 'D'}, "X123456789");
    TableSymbol &two = make({"a.o", 'D'}, "Y123456789");
    TableSymbol &three = make({"a.o", 'D'}, "X023456789");
    table.enter(&one);
    table.enter(&two);
    table.enter(&three);
    EXPECT_EQ(table.find("Y123456789"), &two);
    EXPECT_EQ(table.find("X123456789"), &one);
    // One lookup per enter and find; a whole name is compared only when the
    // first bytes agree: "Y1..." is met first in the chain of both finds,
    // and only the second find compares it with a name of the same first byte.
    EXPECT_NE(SymbolTable::hashName("X023456789"), SymbolTable::hashName("X123456789"));
    EXPECT_EQ(table.lookupCount(), 5u);
    EXPECT_EQ(table.compareCount(), 2u);
    EXPECT_EQ(table.find(nullptr), nullptr);
}

TEST_F(SymbolTableTest, DotlessNames) {
    DotlessSymbolTable table(captured.errors);
    TableSymbol &dotted = make({"a.o", 'U'}, ".foo");
    TableSymbol &plain = make({"b.o", 'D'}, "foo");
    table.enter(&dotted);
    EXPECT_EQ(table.enter(&plain), &plain);
    EXPECT_EQ(table.find("..foo"), &plain);
    EXPECT_EQ(table.find("fo"), nullptr);
    uint32_t bucket = 99;
    EXPECT_EQ(table.findEntry(nullptr, bucket), nullptr);
}

TEST_F(SymbolTableTest, AliasesInASharedObject) {
    SymbolTable table(captured.errors);
    TableSymbol &main = make({"x.so", 'D'}, "main");
    TableSymbol &alias = make({"x.so", 'D'}, "alias");
    TableSymbol &other = make({"x.so", 'D'}, "other");
    TableSymbol &undefinedAlias = make({"x.so", 'U'}, "ua");
    TableSymbol &elsewhere = make({"a.o", 'D'}, "elsewhere");
    main.aliases = {&alias, &undefinedAlias, &elsewhere};
    for (Symbol *s :
         std::initializer_list<Symbol *>{&main, &alias, &other, &undefinedAlias, &elsewhere})
        table.enter(s);
    auto aliasesOf = [&](Symbol &symbol) {
        std::vector<std::string> found;
        table.eachAlias(
            [&](Symbol &s) {
                found.push_back(s.name());
                return true;
            },
            symbol);
        return found;
    };
    EXPECT_EQ(aliasesOf(main), (std::vector<std::string>{"main", "alias"}));
    EXPECT_TRUE(aliasesOf(elsewhere).empty());
}

TEST_F(SymbolTableTest, Summary) {
    SymbolTable table(captured.errors);
    table.enter(&make({"a.o", 'D'}, "X1"));
    table.enter(&make({"a.o", 'D'}, "Y1"));
    table.enter(&make({"a.o", 'U'}, "b"));
    table.enter(&local(a, "l"));
    table.find("X1");
    table.printSummary(captured.out);
    // Three names in three buckets: the longest chain is the first bucket
    // in use, and with so few names it is listed.
    uint32_t x = SymbolTable::hashName("X1"), y = SymbolTable::hashName("Y1"),
             bb = SymbolTable::hashName("b");
    ASSERT_NE(x, y);
    uint32_t longest = std::min({x, y, bb});
    std::string longestName = longest == x ? "X1" : longest == y ? "Y1" : "b";
    EXPECT_EQ(captured.text(), "Symbol Table Summary:\n"
                               "\t3 symbols, 4 lookups, 1 compares\n"
                               "\tHash size\t= 512\n"
                               "\tHash entries\t= 3\n"
                               "\tEmpty hash buckets\t= 509\n"
                               "\tLongest bucket\t= #" +
                                   std::to_string(longest) +
                                   " with size 1\n"
                                   "\tAverage size of non-empty buckets = 3/3\n"
                                   "\tNames in longest hash bucket(=#" +
                                   std::to_string(longest) + "):\n\t\t" + longestName + "\n");
}

TEST_F(SymbolTableTest, ChunksNeverMoveASlot) {
    struct Case {
        uint32_t n;
        int32_t hint;
        uint32_t shift, chunks, capacity;
    };
    const Case cases[] = {
        {0x40, 0, 6, 2, 0x16},         {0x41, 0, 8, 1, 0x15},       {0x100, 0, 8, 2, 0x16},
        {0x3000, 0x400, 10, 13, 0x21}, {3000, 0x1000, 12, 1, 0x15}, {10, -1, 6, 1, 0x15},
    };
    for (const Case &c : cases) {
        SymbolChunks chunks;
        chunks.setUp(c.n, c.hint);
        EXPECT_EQ(chunks.shift, c.shift) << c.n;
        EXPECT_EQ(chunks.mask, (1u << c.shift) - 1) << c.n;
        EXPECT_EQ(chunks.chunkCount, c.chunks) << c.n;
        EXPECT_EQ(chunks.chunks.size(), c.chunks) << c.n;
        EXPECT_GE(chunks.chunks.capacity(), c.capacity) << c.n;
    }
    SymbolChunks none;
    none.setUp(0, 5);
    EXPECT_EQ(none.chunks.size(), 0u);

    SymbolChunks chunks;
    chunks.setUp(10, 0);
    TableSymbol &s = local(a, "s");
    chunks.append(&s);
    Symbol **first = &chunks[0];
    for (uint32_t i = 1; i < 5000; ++i)
        EXPECT_EQ(chunks.append(i % 2 ? &s : nullptr), i);
    EXPECT_EQ(&chunks[0], first);
    EXPECT_EQ(chunks.count, 5000u);
    EXPECT_EQ(chunks.chunkCount, 5000u / 64 + 1);
    EXPECT_EQ(chunks[4999], &s);
    EXPECT_EQ(chunks[4998], nullptr);
}

TEST_F(SymbolTableTest, CallerFaultsStopTheRun) {
    SymbolTable table(captured.errors);
    class NullName : public TableSymbol {
    public:
        using TableSymbol::TableSymbol;
        const char *name() override { return nullptr; }
    } unnamed(&a, "", 0, nullptr);
    unnamed.global = true;
    EXPECT_EXIT(table.enter(nullptr), testing::ExitedWithCode(3), "SymbolTable::enter\\(0\\)");
    EXPECT_EXIT(table.enter(&unnamed), testing::ExitedWithCode(3),
                "SymbolTable::enter\\(\\) name is NULL");
    EXPECT_EXIT(table.enterWithOverride(&unnamed), testing::ExitedWithCode(3),
                "SymbolTable::enterWithOverride\\(\\) name is NULL");
}

TEST_F(SymbolTableTest, ObjectFileEntersEverySymbol) {
    SymbolTable table(captured.errors);
    a.addSymbol("local");
    TestSymbol &g = a.addSymbol("g", 4, &a.addSection(".text", 8));
    g.global = true;
    TestSymbol &u = a.addSymbol("u");
    u.global = true;
    u.undefined = true;
    a.enterSymbols(table);
    EXPECT_EQ(table.find("g"), &g);
    EXPECT_EQ(table.find("u"), &u);
    EXPECT_EQ(table.find("local"), nullptr);
    EXPECT_EQ(order(table), (std::vector<std::string>{"local@a.o", "g@a.o", "u@a.o"}));
}

TEST_F(SymbolTableTest, TraceOfEntering) {
    Toggle &toggle = toggleTable().set("TRACE_SYMTAB", true);
    testing::internal::CaptureStdout();
    {
        SymbolTable table(captured.errors);
        table.enter(&local(a, "l"));
        table.enter(&make({"a.o", 'D', true}, "w"));
        table.enter(&make({"b.o", 'D'}, "w"));
        table.enter(&make({"b.o", 'U'}, "w"));
        table.enter(&make({"a.o", 'C', false, 4}, "c"));
        table.enterWithOverride(&make({"b.o", 'D', false, 0, SymbolType::none, 0x10}, "w"));
        table.enterWithOverride(&make({"b.o", 'A'}, "c"));
    }
    traceOut().flush();
    std::string out = testing::internal::GetCapturedStdout();
    toggle.pop();
    EXPECT_EQ(out, "[SYMTAB]Entering local \"l\" from file a.o at position 1\n"
                   "[SYMTAB]Entering weak exported \"w\" from file a.o at position 2\n"
                   "[SYMTAB]Entering exported \"w\" from file b.o at position 2\n"
                   "[SYMTAB]Overrides entry from a.o\n"
                   "[SYMTAB]Entering imported \"w\" from file b.o at position 2\n"
                   "[SYMTAB]Remapped to entry at b.o\n"
                   "[SYMTAB]Entering common \"c\" from file a.o\n"
                   "[symtab]enterWithOverride(w) = offset 0x10 from section .data\n"
                   "[symtab]enterWithOverride(c)\n"
                   "[SYMTAB]Symbol Table Summary:\n"
                   "\t2 symbols, 6 lookups, 4 compares\n"
                   "\tHash size\t= 512\n"
                   "\tHash entries\t= 2\n"
                   "\tEmpty hash buckets\t= 510\n"
                   "\tLongest bucket\t= #99 with size 1\n"
                   "\tAverage size of non-empty buckets = 2/2\n"
                   "\tNames in longest hash bucket(=#99):\n"
                   "\t\tc\n");
}

// A COMDAT section that an earlier file supplied already.
class TakenComdats : public ComdatTable {
public:
    bool contains(const char *name) override { return std::string(name) == ".comdat"; }
    void add(ElfSection &, ErrorContext &) override {}
};

TEST_F(SymbolTableTest, ElfSymbolsOfADiscardedComdatEnterUndefined) {
    std::vector<uint8_t> image =
        ElfBuilder()
            .type(ET_REL)
            .machine(EM_386)
            .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(8))
            .section(".comdat", SHT_COMDAT, SHF_ALLOC, bytes(4))
            .symbol("inline", 0, 4, STB_GLOBAL, STT_FUNC, ".comdat")
            .symbol("main", 0, 8, STB_GLOBAL, STT_FUNC, ".text")
            .build();
    char path[] = "/tmp/tnm-symtab-test-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, image.data(), image.size()), ssize_t(image.size()));
    close(fd);
    FileName elfName(path);
    InputFile input(elfName, captured.errors);
    unlink(path);
    TakenComdats taken;
    ElfObjectFileFromInput object(input, captured.errors, nullptr, &taken);
    ASSERT_TRUE(object.hasComdat());
    Symbol *inlineFunction = object.findSymbol("inline");
    ASSERT_NE(inlineFunction, nullptr);
    EXPECT_FALSE(inlineFunction->isUndefined());

    SymbolTable table(captured.errors);
    TableSymbol &definition = make({"a.o", 'D'}, "inline");
    table.enter(&definition);
    object.enterSymbols(table);
    // The discarded copy enters as a reference and resolves to the copy
    // that was taken; the other definition is the file's own.
    EXPECT_TRUE(inlineFunction->isUndefined());
    EXPECT_EQ(inlineFunction->link, &definition);
    EXPECT_EQ(table.find("main"), object.findSymbol("main"));
    EXPECT_FALSE(table.find("main")->isUndefined());
    EXPECT_EQ(captured.text(), "");
}

} // namespace
