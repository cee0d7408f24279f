// The command line as a user meets it: usage, banner, -q, and the lone "-".
#include "kit/RunTool.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

const char banner[] = "Tolvane Object File Symbol Display Utility v1.9\n"
                      "Copyright (c) 2026 Tolvane. All rights reserved.\n";

const char usage[] = "Usage: tnm [-options] objects and archives\n"
                     "  -A  Append file name to each displayed symbol\n"
                     "  -C  Demangle C++ names\n"
                     "  -g  Display global symbols only\n"
                     "  -u  Display undefined symbols only\n"
                     "  -h  Suppress headers\n"
                     "  -n  Sort symbols by name\n"
                     "  -v  Sort symbols by value\n"
                     "  -d  Display symbol value in decimal\n"
                     "  -o  Display symbol value in octal\n"
                     "  -p  Produce easily parsable output\n"
                     "  -q  Don't display copyright message\n"
                     "  -x  Display symbol value in hex\n"
                     "\n";

struct Case {
    std::vector<std::string> args;
    std::string out;
};

TEST(CommandLine, OptionsWithoutFiles) {
    const Case cases[] = {
        {{}, std::string(banner) + usage},
        {{"-q"}, ""},
        {{"-"}, banner},
        {{"-nCpg"}, banner},
        {{"-Z"}, banner},
        {{"--"}, banner},
        {{"-xqA"}, ""},
        {{"-n", "-q", "-v"}, ""},
    };
    for (const Case &c : cases) {
        ToolResult r = runTool(c.args);
        std::string label = c.args.empty() ? "(none)" : c.args[0];
        EXPECT_EQ(r.out, c.out) << label;
        EXPECT_EQ(r.err, "") << label;
        EXPECT_EQ(r.status, 0) << label;
    }
}

TEST(CommandLine, ToolNameIsLastPathComponentOfArgvZero) {
    // The name keeps its extension and is cut behind the last "/", "\\" or ":".
    ScratchDir dir;
    const std::pair<std::string, std::string> cases[] = {
        {"my-nm.exe", "my-nm.exe"},
        {"host:tnm2", "tnm2"},
        {"c\\bin\\nm", "nm"},
    };
    for (const auto &[linkName, shown] : cases) {
        std::string link = dir.path() + "/" + linkName;
        ASSERT_EQ(symlink(TNM_PATH, link.c_str()), 0) << linkName;
        ToolResult r = runProgram(link, {});
        EXPECT_EQ(r.status, 0) << linkName;
        EXPECT_EQ(r.out.substr(0, r.out.find('\n', sizeof banner)),
                  std::string(banner) + "Usage: " + shown + " [-options] objects and archives")
            << linkName;
    }
}

} // namespace

namespace {

TEST(CommandLine, AllocatorEnvironment) {
    const std::string corpus = TNM_SOURCE_DIR "/tests/corpus";
    ToolResult plain = runTool({"-q", "i386-shapes.o"}, corpus);
    ASSERT_EQ(plain.status, 0);
    ASSERT_NE(plain.out, "");

    // Filling fresh memory changes nothing that is shown.
    for (const char *fill : {"MALLOC_FILL=", "MALLOC_FILL=1"}) {
        ToolResult filled = runTool({"-q", "i386-shapes.o"}, corpus, {fill});
        EXPECT_EQ(filled.out, plain.out) << fill;
        EXPECT_EQ(filled.err, "") << fill;
        EXPECT_EQ(filled.status, 0) << fill;
    }

#ifdef __SANITIZE_ADDRESS__
    // The sanitizer's own operator new stands in for the program's, so
    // nothing traces in such a build.
    GTEST_SKIP() << "allocation tracing is not built in under AddressSanitizer";
#endif
    // Tracing adds "HEAP> " lines to standard output and leaves the listing
    // whole between them.
    ToolResult traced = runTool({"-q", "i386-shapes.o"}, corpus, {"TV_MALLOC_DEBUG=0"});
    EXPECT_EQ(traced.status, 0);
    std::string listing, line;
    size_t heapLines = 0;
    for (size_t at = 0; at < traced.out.size(); at += line.size() + 1) {
        line = traced.out.substr(at, traced.out.find('\n', at) - at);
        if (line.rfind("HEAP> ", 0) == 0)
            ++heapLines;
        else
            listing += line + "\n";
    }
    EXPECT_GT(heapLines, 0u);
    EXPECT_EQ(listing, plain.out);
}

} // namespace
