// The command line as a user meets it: usage, banner, -q and the lone "-";
// the tool's name taken from the program's path; the allocator's environment.
#include "kit/RunTool.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

const std::string banner = "Tolvane Object File Symbol Display Utility v1.9\n"
                           "Copyright (c) 2026 Tolvane. All rights reserved.\n";

const std::string optionLines = "  -A  Append file name to each displayed symbol\n"
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

TEST(CommandLine, OptionsWithoutFiles) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, banner + "Usage: tnm [-options] objects and archives\n" + optionLines},
        {{"-q"}, ""},
        {{"-"}, banner},
        {{"--", "-Z"}, banner},
        {{"-nxqA"}, ""},
    };
    for (const auto &[args, out] : cases) {
        ToolResult r = runTool(args);
        std::string label = args.empty() ? "(none)" : args[0];
        EXPECT_EQ(r.out, out) << label;
        EXPECT_EQ(r.err, "") << label;
        EXPECT_EQ(r.status, 0) << label;
    }
}

TEST(CommandLine, ToolNameIsLastPathComponentOfTheProgram) {
    // Cut behind the last "/", "\\" or ":", extension kept, in the usage
    // head and in the prefix of every diagnostic.
    ScratchDir dir;
    std::string link = dir.path() + "/host:c\\bin\\my-nm.exe";
    ASSERT_EQ(symlink(TNM_PATH, link.c_str()), 0);
    ToolResult usage = runProgram(link, {});
    EXPECT_EQ(usage.status, 0);
    EXPECT_EQ(usage.out,
              banner + "Usage: my-nm.exe [-options] objects and archives\n" + optionLines);
    ToolResult missing = runProgram(link, {"-q", "missing.o"}, dir.path());
    EXPECT_EQ(missing.err,
              "[my-nm.exe] Can't open file missing.o\n[my-nm.exe] failed reading missing.o\n");
    EXPECT_EQ(missing.status, 1);
}

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
