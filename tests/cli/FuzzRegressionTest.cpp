// Inputs that once made tnm or one of its fuzz targets crash, kept in
// tests/regress/ after the fix.  Each must end cleanly under every layout
// of the fuzz targets (status 0 or 1, never a signal, never a sanitizer
// report), and says what its damage calls for.
#include "kit/RunTool.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

const std::string regressDir = TNM_SOURCE_DIR "/tests/regress";

struct Regression {
    const char *file;
    int status;
    const char *message; // that standard error must hold, without options
};

const Regression regressions[] = {
    // A "//" long-name table as the first member, where no reader looks for
    // it, and a later member named "/0": the name is looked up in a table
    // that was never read.  Found by fuzz_object through deep identification.
    {"longnames-first-member.a", 1,
     "[tnm] Archive longnames-first-member.a has a corrupt symbol table;\n"
     "|\tentry count is garbage: 0x7070632d.\n"},
};

TEST(FuzzRegression, EveryKeptInputEndsCleanly) {
    // Every file in the directory has its row, and every row its file.
    std::vector<std::string> kept, listed;
    if (DIR *dir = opendir(regressDir.c_str())) {
        while (dirent *entry = readdir(dir))
            if (entry->d_name[0] != '.' && std::string(entry->d_name) != "README.md")
                kept.push_back(entry->d_name);
        closedir(dir);
    }
    for (const Regression &r : regressions)
        listed.push_back(r.file);
    std::sort(kept.begin(), kept.end());
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(kept, listed);

    // The option sets of the fuzz targets: each layout with and without -C.
    const std::vector<std::string> layouts[] = {
        {},
        {"-C", "-n", "-A"},
        {"-p", "-v", "-o", "-g", "-C"},
        {"-p", "-n", "-v", "-d", "-h"},
        {"-u", "-d", "-A"},
        {"-u", "-C", "-n"},
    };
    for (const Regression &regression : regressions) {
        for (const std::vector<std::string> &layout : layouts) {
            std::vector<std::string> args = {"-q"};
            args.insert(args.end(), layout.begin(), layout.end());
            args.push_back(regression.file);
            ToolResult r = runTool(args, regressDir);
            std::string label = std::string(regression.file) + " with " +
                                std::to_string(layout.size()) + " options\n" + r.err;
            EXPECT_TRUE(r.status == 0 || r.status == 1) << label << "status " << r.status;
            EXPECT_EQ(r.err.find("runtime error"), std::string::npos) << label;
            EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << label;
            if (!layout.empty()) continue;
            EXPECT_EQ(r.status, regression.status) << label;
            EXPECT_NE(r.err.find(regression.message), std::string::npos) << label;
        }
    }
}

} // namespace
