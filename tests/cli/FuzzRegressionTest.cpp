// Inputs that once made tnm or one of its fuzz targets crash, kept in
// tests/regress/ after the fix.  Each must end as designed under every
// layout: an exit status of 0 or 1, never a signal, never a sanitizer report;
// and each says what its damage calls for.
#include "kit/RunTool.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

const std::string regressDir = TNM_SOURCE_DIR "/tests/regress";

// The option sets of the fuzz targets: each layout with and without -C.
const std::vector<std::vector<std::string>> layouts = {
    {},
    {"-C", "-n", "-A"},
    {"-p", "-v", "-o", "-g", "-C"},
    {"-p", "-n", "-v", "-d", "-h"},
    {"-u", "-d", "-A"},
    {"-u", "-C", "-n"},
};

struct Regression {
    const char *file;
    int status;
    // Text that standard error must hold, for the default layout.
    const char *message;
};

const Regression regressions[] = {
    // A "//" long-name table as the first member, where no reader looks for
    // it, and a later member named "/0": the name is looked up in a table
    // that was never read.  Found by fuzz_object through deep identification.
    {"longnames-first-member.a", 1,
     "[tnm] Archive longnames-first-member.a has a corrupt symbol table;\n"
     "|\tentry count is garbage: 0x7070632d.\n"},
};

std::vector<std::string> keptInputs() {
    std::vector<std::string> names;
    if (DIR *dir = opendir(regressDir.c_str())) {
        while (dirent *entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (name[0] != '.' && name != "README.md") names.push_back(name);
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(FuzzRegression, EveryKeptInputHasItsCase) {
    std::vector<std::string> kept = keptInputs();
    std::vector<std::string> listed;
    for (const Regression &r : regressions)
        listed.push_back(r.file);
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(kept, listed);
}

TEST(FuzzRegression, EveryInputEndsAsDesignedUnderEveryLayout) {
    for (const std::string &name : keptInputs()) {
        for (const std::vector<std::string> &layout : layouts) {
            std::vector<std::string> args = {"-q"};
            args.insert(args.end(), layout.begin(), layout.end());
            args.push_back(name);
            ToolResult r = runTool(args, regressDir);
            std::string label = name + " under " + std::to_string(args.size() - 2) + " options";
            EXPECT_TRUE(r.status == 0 || r.status == 1) << label << ": status " << r.status;
            EXPECT_EQ(r.err.find("runtime error"), std::string::npos) << label << "\n" << r.err;
            EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << label << "\n" << r.err;
        }
    }
}

TEST(FuzzRegression, EachInputSaysWhatItsDamageCallsFor) {
    for (const Regression &r : regressions) {
        ToolResult result = runTool({"-q", r.file}, regressDir);
        EXPECT_EQ(result.status, r.status) << r.file;
        EXPECT_NE(result.err.find(r.message), std::string::npos) << r.file << " said:\n"
                                                                 << result.err;
    }
}

} // namespace
