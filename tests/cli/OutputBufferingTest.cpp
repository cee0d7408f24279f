// Standard output is fully buffered when it is not a terminal, and a
// diagnostic on standard error does not flush it: with both streams on one
// pipe, the diagnostics of a short run come before the whole listing, even
// those about files named after the listed ones.
#include "kit/RunTool.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string listed = std::string(TNM_SOURCE_DIR) + "/tests/corpus/i386-shapes.o";

ToolResult runShell(const std::string &arguments, const char *redirection = "") {
    return runProgram("/bin/sh",
                      {"-c", std::string(TNM_PATH) + " " + arguments + " " + redirection});
}

TEST(OutputBuffering, DiagnosticsDoNotFlushTheListing) {
    struct Case {
        const char *options;
        const char *missing;
    };
    const Case cases[] = {
        {"-q", "/nonexistent/one.o"},
        {"-q -n", "/nonexistent/two.o"},
    };
    for (const Case &c : cases) {
        ToolResult alone = runShell(std::string(c.options) + " '" + listed + "'");
        ASSERT_EQ(alone.status, 0);
        ASSERT_FALSE(alone.out.empty());
        // Twenty listings before the missing file: some 19 KB, more than a
        // default 4 KB buffer and less than the 64 KB one.
        std::string before;
        for (int i = 0; i < 20; ++i)
            before += " '" + listed + "'";
        ToolResult merged = runShell(
            std::string(c.options) + before + " " + c.missing + " '" + listed + "'", "2>&1");
        EXPECT_EQ(merged.status, 1) << c.options;
        // The diagnostic about the missing file stands first, all the
        // listings behind it, each whole.
        EXPECT_EQ(merged.out.rfind("[tnm] ", 0), 0u) << merged.out.substr(0, 200);
        size_t listingStart = merged.out.find("\n" + listed + ":\n");
        ASSERT_NE(listingStart, std::string::npos);
        EXPECT_NE(merged.out.substr(0, listingStart).find(c.missing), std::string::npos);
        std::string listings = merged.out.substr(listingStart);
        std::string expected;
        for (int i = 0; i < 21; ++i)
            expected += alone.out;
        EXPECT_EQ(listings, expected) << c.options;
        EXPECT_EQ(listings.find("[tnm]"), std::string::npos);
    }
}

TEST(OutputBuffering, ListingLargerThanTheBufferArrivesWhole) {
    // Many copies of one object: far more output than one buffer holds.
    std::string arguments = "-q";
    for (int i = 0; i < 200; ++i)
        arguments += " '" + listed + "'";
    ToolResult many = runShell(arguments);
    ToolResult one = runShell("-q '" + listed + "'");
    ASSERT_EQ(many.status, 0);
    ASSERT_GT(many.out.size(), 64u * 1024u);
    std::string expected;
    for (int i = 0; i < 200; ++i)
        expected += one.out;
    EXPECT_EQ(many.out, expected);
}

} // namespace
