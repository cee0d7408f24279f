// Diagnostics: prefixes, counts, fatal exits and botch.
#include "support/ErrFormat.h"
#include "support/botch.h"
#include "support/errors.h"
#include "support/osprintf.h"
#include "support/printable.h"
#include "support/sprintf.h"

#include <gtest/gtest.h>

#include <csignal>
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

TEST(ErrorCounter, PrefixesAndCounts) {
    Counter c;
    c.errors.warning("odd %d", 1);
    EXPECT_EQ(c.errors.warningCount, 1);
    EXPECT_EQ(c.errors.errorCount, 0);
    c.errors.error("bad %s", "x");
    c.errors.error("worse");
    EXPECT_EQ(c.errors.errorCount, 2);
    EXPECT_EQ(c.errors.warningCount, 1);
    EXPECT_EQ(c.text.str(), "[tnm] (Warning) odd 1\n[tnm] bad x\n[tnm] worse\n");
}

TEST(ErrorCounter, ContinuationAndObjects) {
    Counter c;
    Name name;
    c.errors.error("Archive %O has a truncated symbol table%C(EOF encountered while reading %d "
                   "entries).",
                   static_cast<const Printable *>(&name), 12);
    c.errors.error("%O", static_cast<const Printable *>(nullptr));
    EXPECT_EQ(c.text.str(), "[tnm] Archive lib.a(m.o) has a truncated symbol table\n|\t(EOF "
                            "encountered while reading 12 entries).\n[tnm] <NULL>\n");
}

TEST(ErrorCounter, DisabledWarningsAreNotCounted) {
    Counter c;
    c.errors.warningsEnabled = false;
    c.errors.warning("hidden");
    EXPECT_EQ(c.errors.warningCount, 0);
    EXPECT_EQ(c.text.str(), "");
}

TEST(ErrorCounter, FormatterIsTheEngineOfItsOutput) {
    Counter c;
    EXPECT_EQ(&c.errors.formatter(), &c.engine);
    NullErrorContext null;
    EXPECT_EQ(&null.formatter(), &defaultPrintfFormat());
    // A text built with the context's engine knows "%C".
    char buffer[32];
    StringFormatOut out(buffer, sizeof buffer, false, c.errors.formatter());
    out.print("a%Cb");
    EXPECT_STREQ(buffer, "a\n|\tb");
}

TEST(NullErrorContext, SwallowsEverything) {
    NullErrorContext null;
    null.warning("w %d", 1);
    null.error("e %s", "x");
    EXPECT_EQ(null.errorCount, 0);
    EXPECT_EQ(null.warningCount, 0);
}

TEST(ErrorDeathTest, FatalPrintsPrefixAndExitsWithOne) {
    EXPECT_EXIT(
        {
            StreamFormatOut out(std::cerr, defaultPrintfFormat());
            ErrorCounter errors(out, "tnm");
            errors.fatal("cannot go on in %s", "a.o");
        },
        testing::ExitedWithCode(1), "^\\[tnm\\] Fatal Error: cannot go on in a.o\n$");
}

TEST(ErrorDeathTest, FatalWithNullContextExitsSilently) {
    EXPECT_EXIT(
        {
            NullErrorContext null;
            null.fatal("quiet");
        },
        testing::ExitedWithCode(1), "^$");
}

[[noreturn]] void exitWithSeven(int status) {
    exit(6 + status);
}
void returningHook(int) {}

TEST(ErrorDeathTest, FatalCallsTheExitHook) {
    EXPECT_EXIT(
        {
            setFatalExitHook(exitWithSeven);
            NullErrorContext null;
            null.fatal("x");
        },
        testing::ExitedWithCode(7), "");
    EXPECT_EXIT(
        {
            setFatalExitHook(returningHook);
            NullErrorContext null;
            null.fatal("x");
        },
        testing::ExitedWithCode(1), "");
}

TEST(BotchDeathTest, WritesMessageAndAborts) {
    EXPECT_EXIT(botch("bad state %d%Cnext", 3), testing::KilledBySignal(SIGABRT),
                "^Fatal error --- bad state 3\n\\|\tnext\nAborting...\n$");
}

void ignoreSignal(int) {}

TEST(BotchDeathTest, ExitsWithOneWhenTheSignalHandlerReturns) {
    EXPECT_EXIT(
        {
            signal(SIGABRT, ignoreSignal);
            botch("x");
        },
        testing::ExitedWithCode(1), "Fatal error --- x");
}

} // namespace
