// Diagnostics: prefixes, counts, fatal exits and botch.
#include "support/ErrFormat.h"
#include "support/botch.h"
#include "support/errors.h"
#include "support/osprintf.h"
#include "support/printable.h"
#include "support/sprintf.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <iostream>
#include <sstream>

namespace {

struct Name : Printable {
    const char *printableText() const override { return "lib.a(m.o)"; }
};

struct Counter {
    std::ostringstream text;
    ErrFormat engine;
    StreamFormatOut out{text, engine};
    ErrorCounter errors{out, "tnm"};
};

TEST(ErrorCounter, PrefixesCountsAndDirectives) {
    Counter c;
    Name name;
    c.errors.warning("odd %d", 1);
    EXPECT_EQ(c.errors.warningCount, 1);
    EXPECT_EQ(c.errors.errorCount, 0); // so the exit status stays 0
    c.errors.error("Archive %O has a truncated symbol table%C(EOF encountered while reading %d "
                   "entries).",
                   static_cast<const Printable *>(&name), 12);
    c.errors.error("%O", static_cast<const Printable *>(nullptr));
    c.errors.warningsEnabled = false;
    c.errors.warning("hidden");
    EXPECT_EQ(c.errors.errorCount, 2);
    EXPECT_EQ(c.errors.warningCount, 1);
    EXPECT_EQ(c.text.str(), "[tnm] (Warning) odd 1\n"
                            "[tnm] Archive lib.a(m.o) has a truncated symbol table\n|\t(EOF "
                            "encountered while reading 12 entries).\n[tnm] <NULL>\n");
}

TEST(ErrorCounter, FormatterAndNullContext) {
    Counter c;
    EXPECT_EQ(&c.errors.formatter(), &c.engine);
    // A text built with the context's engine knows "%C".
    char buffer[32];
    StringFormatOut out(buffer, sizeof buffer, false, c.errors.formatter());
    out.print("a%Cb");
    EXPECT_STREQ(buffer, "a\n|\tb");

    NullErrorContext null;
    EXPECT_EQ(&null.formatter(), &defaultPrintfFormat());
    null.warning("w %d", 1);
    null.error("e %s", "x");
    EXPECT_EQ(null.errorCount + null.warningCount, 0);
}

[[noreturn]] void exitWithSeven(int status) {
    exit(6 + status);
}
void returningHook(int) {}

TEST(ErrorDeathTest, FatalEndsTheRunWithStatusOne) {
    EXPECT_EXIT(
        {
            StreamFormatOut out(std::cerr, defaultPrintfFormat());
            ErrorCounter errors(out, "tnm");
            errors.fatal("cannot go on in %s", "a.o");
        },
        testing::ExitedWithCode(1), "^\\[tnm\\] Fatal Error: cannot go on in a.o\n$");
    // Whatever the context, and whatever a hook that returns does.
    EXPECT_EXIT(NullErrorContext().fatal("quiet"), testing::ExitedWithCode(1), "^$");
    EXPECT_EXIT(
        {
            setFatalExitHook(returningHook);
            NullErrorContext().fatal("x");
        },
        testing::ExitedWithCode(1), "");
    EXPECT_EXIT(
        {
            setFatalExitHook(exitWithSeven);
            NullErrorContext().fatal("x");
        },
        testing::ExitedWithCode(7), "");
}

void ignoreSignal(int) {}

TEST(BotchDeathTest, WritesMessageAndAborts) {
    EXPECT_EXIT(botch("bad state %d%Cnext", 3), testing::ExitedWithCode(3),
                "^Fatal error --- bad state 3\n\\|\tnext\nAborting...\n$");
    // A handler that returns: status 1.
    EXPECT_EXIT(
        {
            signal(SIGABRT, ignoreSignal);
            botch("x");
        },
        testing::ExitedWithCode(1), "Fatal error --- x");
}

struct BotchSeen {
    const char *format;
};
[[noreturn]] void throwBotch(const char *format) {
    throw BotchSeen{format};
}

// The hook takes the place of the signal after the message, and the next
// botch is an ordinary one again.
TEST(BotchDeathTest, AHookEndsItInstead) {
    EXPECT_EXIT(
        {
            setBotchHook(throwBotch);
            for (int i : {1, 2}) {
                try {
                    botch("step %d", i);
                } catch (const BotchSeen &seen) {
                    if (strcmp(seen.format, "step %d") != 0) exit(4);
                }
            }
            setBotchHook(nullptr);
            botch("last");
        },
        testing::ExitedWithCode(3),
        "^Fatal error --- step 1\nAborting...\nFatal error --- step 2\nAborting...\n"
        "Fatal error --- last\nAborting...\n$");
}

} // namespace
