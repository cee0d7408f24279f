// Toggles and argument files.
#include "support/argfiles.h"
#include "support/errors.h"
#include "support/osprintf.h"
#include "support/pformat.h"
#include "support/toggles.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Words = std::vector<std::string>;

struct Recorder : ToggleObserver {
    std::vector<bool> values;
    void changed(Toggle &toggle) override { values.push_back(toggle.isOn()); }
};

TEST(Toggles, DefineFindAndCase) {
    ToggleTable table;
    Toggle &map = table.define("MAP", false);
    EXPECT_FALSE(map.isOn());
    EXPECT_TRUE(map.defined);
    EXPECT_EQ(&table.define("MAP", false), &map); // twice: one toggle
    EXPECT_FALSE(map.userSet);
    EXPECT_EQ(table.find("map"), &map);
    EXPECT_EQ(table.find("Map"), &map);
    EXPECT_EQ(table.find("MAPS"), nullptr);
    Toggle &lower = table.define("arch5", true);
    EXPECT_EQ(table.find("ARCH5"), &lower);
    EXPECT_TRUE(lower.isOn());
    // Names are kept in upper case; one without lower case by its pointer.
    const char *upperName = "TRACE_SDATA";
    table.define(upperName, false);
    Words names;
    for (ToggleTable::Entry *e = table.first; e; e = e->nextInList)
        names.push_back(e->name);
    EXPECT_EQ(names, (Words{"MAP", "ARCH5", "TRACE_SDATA"}));
    EXPECT_EQ(table.last->name, upperName);
}

TEST(Toggles, SetBeforeAndAfterDefine) {
    ToggleTable table;
    Toggle &early = table.set("lib", true);
    EXPECT_FALSE(early.defined);
    EXPECT_TRUE(early.userSet);
    Toggle &defined = table.define("LIB", false);
    EXPECT_EQ(&defined, &early);
    EXPECT_TRUE(defined.isOn());
    EXPECT_TRUE(defined.defined);
    EXPECT_TRUE(defined.userSet);
    // Set to the definition's own value: still one toggle, still off.
    table.set("X", false);
    EXPECT_FALSE(table.define("x", false).isOn());

    // After the definition a set pushes.
    Toggle &t = table.define("NOCOMPRESS", false);
    table.set("nocompress", true);
    EXPECT_EQ(t.bits, 1);
    table.set("NOCOMPRESS", true);
    EXPECT_EQ(t.bits, 3);
    t.pop();
    t.pop();
    EXPECT_EQ(t.bits, 0);
}

TEST(Toggles, PushPopNotifyObserversAndMirror) {
    ToggleTable table;
    Toggle &t = table.define("TRACE_SYMTAB", false);
    Recorder a, b;
    bool mirror = true;
    t.attachMirror(mirror);
    EXPECT_FALSE(mirror);
    t.addObserver(&a);
    t.addObserver(&b);
    t.addObserver(&a);
    EXPECT_EQ(t.observers->capacity, 4u); // from room for two, doubled

    t.push(true); // bits 1, old bit 0 was 0: a change
    EXPECT_TRUE(mirror);
    EXPECT_TRUE(t.userSet);
    EXPECT_EQ(a.values, (std::vector<bool>{true, true}));
    t.removeObserver(&a);
    t.push(true); // bits 3 differs from old bit 0 (1): notified again
    t.pop();      // bits 1 equals old bit 0 (1): no notification
    t.pop();      // bits 0 differs from 1
    EXPECT_FALSE(mirror);
    EXPECT_EQ(a.values.size(), 2u);
    EXPECT_EQ(b.values, (std::vector<bool>{true, true, false}));

    // A push of 0 over a stack of 0 is no change.
    Toggle &quiet = table.define("QUIET", false);
    quiet.addObserver(&b);
    quiet.push(false);
    EXPECT_EQ(b.values.size(), 3u);
    EXPECT_FALSE(quiet.userSet);
    quiet.removeObserver(&b);
    quiet.removeObserver(&a);
    EXPECT_EQ(quiet.observers->count, 0u);
}

TEST(Toggles, Alias) {
    ToggleTable table;
    Toggle &arch5 = table.define("arch5", false);
    table.alias(arch5, "ver5");
    EXPECT_EQ(table.find("VER5"), &arch5);

    // An alias to a name that only an early set has made takes its value,
    // unless the toggle itself was set from outside.
    for (bool setToo : {false, true}) {
        ToggleTable early;
        early.set("ver5", true);
        if (setToo) early.set("arch5", false);
        Toggle &fresh = early.define("arch5", false);
        early.alias(fresh, "VER5");
        EXPECT_EQ(fresh.isOn(), !setToo);
        EXPECT_EQ(early.find("ver5"), &fresh);
    }
    table.define("B", false);
    EXPECT_DEATH(table.alias(arch5, "b"), "Fatal error --- Toggle Alias::Duplicate toggle \"b\"");
}

TEST(Toggles, GlobalTableAndTraceOutput) {
    Toggle &t = toggleTable().define("SUPPORT_TEST_TOGGLE", false);
    EXPECT_EQ(toggleTable().find("support_test_toggle"), &t);
    fflush(stdout);
    testing::internal::CaptureStdout();
    traceOut().print("[MAP] %s %d\n", "x", 3);
    traceOut().flush();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[MAP] x 3\n");
}

// Argument files are made in a scratch directory.
class ArgumentFiles : public testing::Test {
protected:
    char dir[32] = "/tmp/tnm-args-XXXXXX";
    Words made;
    std::ostringstream text;
    StreamFormatOut out{text, defaultPrintfFormat()};
    ErrorCounter errors{out, "tnm"};

    void SetUp() override { ASSERT_NE(mkdtemp(dir), nullptr); }
    void TearDown() override {
        for (auto &path : made)
            unlink(path.c_str());
        rmdir(dir);
    }
    std::string file(const char *name, const std::string &contents) {
        std::string path = std::string(dir) + "/" + name;
        FILE *f = fopen(path.c_str(), "wb");
        fwrite(contents.data(), 1, contents.size(), f);
        fclose(f);
        made.push_back(path);
        return path;
    }
    Words expand(Words args, ErrorContext *context) {
        std::vector<char *> v;
        for (auto &a : args)
            v.push_back(a.data());
        v.push_back(nullptr);
        int argc = static_cast<int>(args.size());
        char **argv = v.data();
        expandArgumentFiles(argc, argv, context);
        EXPECT_EQ(argv[argc], nullptr);
        return Words(argv, argv + argc);
    }
};

TEST_F(ArgumentFiles, ExpandsWordsLinesQuotesAndNestedFiles) {
    std::string path = file("a", "one two\r\n"
                                 "  \"quoted word\" 'single' \"\" next\n"
                                 "\"esc\\\"aped\" back\\\n"
                                 "slash\n"
                                 "\n"
                                 "\"open to the end");
    EXPECT_EQ(expand({"tool", "@" + path, "last"}, nullptr),
              (Words{"tool", "one", "two", "quoted word", "single", "next", "esc\\\"aped",
                     "backslash", "open to the end", "last"}));
    std::string inner = file("inner", "x y\n");
    std::string outer = file("outer", "a @" + inner + " b\n");
    EXPECT_EQ(expand({"@", "@E", "@" + outer, "-n"}, nullptr),
              (Words{"@", "@E", "a", "x", "y", "b", "-n"}));
    // A backslash on the last line has nothing to join: the line ends.
    EXPECT_EQ(expand({"@" + file("end", "a b\\")}, nullptr), (Words{"a", "b"}));
}

TEST_F(ArgumentFiles, MissingFileIsReportedAndKept) {
    std::string missing = std::string(dir) + "/missing";
    std::string good = file("good", "w\n");
    EXPECT_EQ(expand({"@" + missing, "@" + good}, &errors), (Words{"@" + missing, "w"}));
    EXPECT_EQ(errors.errorCount, 1);
    EXPECT_EQ(text.str(), "[tnm] Error opening arg file " + missing +
                              ": No such file or directory.\n|\tArg file ignored.\n\n");
    // Without a context nothing is said, and the argument stays.
    EXPECT_EQ(expand({"@" + missing}, nullptr), (Words{"@" + missing}));
}

TEST_F(ArgumentFiles, SelfReferenceStops) {
    std::string path = std::string(dir) + "/self";
    file("self", "w @" + path + "\n");
    Words words = expand({"@" + path}, &errors);
    EXPECT_EQ(words.size(), 33u);
    EXPECT_EQ(words.front(), "w");
    EXPECT_EQ(errors.errorCount, 1);
    EXPECT_NE(text.str().find("nested more than 32 deep"), std::string::npos);
}

TEST(SplitIntoArguments, GivesCountAndVector) {
    Words seen;
    splitIntoArguments("  -a 'b c'  d ", "first", [&](int argc, char **argv) {
        seen.assign(argv, argv + argc);
        EXPECT_EQ(argv[argc], nullptr);
    });
    EXPECT_EQ(seen, (Words{"first", "-a", "b c", "d"}));
    int calls = 0; // once, with no words
    splitIntoArguments("", nullptr,
                       [&](int argc, char **argv) { calls += 1 + argc + (argv[0] != nullptr); });
    EXPECT_EQ(calls, 1);
}

} // namespace
