#include "input/LibNameExpander.h"

#include "InputTestFiles.h"
#include "support/formout.h"
#include "support/toggles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

namespace {

// Sets (or, with none, removes) an environment variable for one scope.
class EnvSetting {
public:
    EnvSetting(const char *name, std::optional<std::string> value) : name(name) {
        if (const char *old = std::getenv(name)) saved = old;
        value ? setenv(name, value->c_str(), 1) : unsetenv(name);
    }
    ~EnvSetting() { saved ? setenv(name, saved->c_str(), 1) : unsetenv(name); }

private:
    const char *name;
    std::optional<std::string> saved;
};

// Directories d0 ... d5 in a scratch directory, and empty files in them.
struct Tree {
    ScratchDir root;
    std::vector<std::string> dirs;
    Tree() {
        for (int i = 0; i < 6; ++i)
            std::filesystem::create_directory(
                dirs.emplace_back(root.path() + "/d" + std::to_string(i)));
    }
    std::string list(int a, int b) const { return dirs[a] + ";" + dirs[b]; }
    std::string file(int i, const std::string &name) const {
        return root.write("d" + std::to_string(i) + "/" + name, "");
    }
};

// The path found, or the messages when nothing was.
std::string run(LibNameExpander &expander, const char *name, bool allowShared) {
    Captured captured;
    std::unique_ptr<DisplayFileName> file = expander.expand(name, allowShared, captured.errors);
    if (!file) return captured.text();
    EXPECT_STREQ(file->displayName(), file->path());
    EXPECT_EQ(captured.text(), "");
    return file->path();
}

TEST(LibNameExpander, DirectoriesInTheirOrder) {
    Tree t;
    EnvSetting ld("LD_LIBRARY_PATH", t.dirs[0] + "|" + t.dirs[3]);
    EnvSetting libpath("LIBPATH", t.list(4, 5));
    LibNameExpander expander(false);
    std::string added = t.list(1, 2);
    expander.add_lib_path(added.c_str());
    // The file is placed in ever earlier directories: each time the
    // earliest one holding it wins.
    for (int i = 5; i >= 0; --i)
        EXPECT_EQ(run(expander, "x", false), t.file(i, "libx.a"));
    // The process's environment is left as it was.
    EXPECT_EQ(std::string(std::getenv("LD_LIBRARY_PATH")), t.dirs[0] + "|" + t.dirs[3]);

    // Without a "|", LD_LIBRARY_PATH comes behind the added paths.
    EnvSetting plain("LD_LIBRARY_PATH", t.dirs[3]);
    EnvSetting noLibpath("LIBPATH", std::nullopt);
    LibNameExpander second(false);
    EXPECT_STREQ(second.defaultPath, "/lib");
    EXPECT_EQ(second.preLibraryPath, nullptr);
    second.add_lib_path(t.dirs[2].c_str());
    EXPECT_EQ(run(second, "x", false), t.dirs[2] + "/libx.a");
}

TEST(LibNameExpander, FileFormsInTheirOrder) {
    Tree t;
    LibNameExpander expander(true);
    std::string added = t.list(0, 1);
    expander.add_lib_path(added.c_str());
    // Within one directory, last to first: each new form takes over;
    // without shared libraries the static forms alone count.
    std::string staticForm;
    for (const char *file : {"x.lib", "libx.a", "x.dll", "libx.dll", "libx.so"}) {
        std::string path = t.file(0, file);
        if (staticForm.empty() || std::string(file) == "libx.a") staticForm = path;
        EXPECT_EQ(run(expander, "x", true), path);
        EXPECT_EQ(run(expander, "x", false), staticForm);
    }
    // The directory is the outer loop: a static library in the first
    // directory wins over a shared one in the second.
    Tree u;
    LibNameExpander second(true);
    std::string both = u.list(0, 1);
    second.add_lib_path(both.c_str());
    u.file(1, "libx.so");
    EXPECT_EQ(run(second, "x", true), u.file(0, "libx.a"));
}

TEST(LibNameExpander, LongNamesAndMissingLibraries) {
    Tree t;
    LibNameExpander expander(true);
    expander.add_lib_path(t.dirs[0].c_str());
    // Names are cut to 30 characters in the file names, not in the message.
    std::string name(35, 'n'), path = t.file(0, "lib" + name.substr(0, 30) + ".a");
    EXPECT_EQ(run(expander, name.c_str(), false), path);
    EXPECT_EQ(run(expander, (name + "z").c_str(), false), path);
    EXPECT_EQ(run(expander, "absent", true), "[tnm] Library not found: -labsent\n");
    std::string longMissing(40, 'm');
    EXPECT_EQ(run(expander, longMissing.c_str(), false),
              "[tnm] Library not found: -l" + longMissing + "\n");
}

TEST(LibNameExpander, CrossLinkingSearchesOnlyWhatWasGiven) {
    Tree t;
    EnvSetting ld("LD_LIBRARY_PATH", t.dirs[0]);
    EnvSetting libpath("LIBPATH", t.dirs[1]);
    t.file(0, "libx.a"), t.file(1, "libx.a");
    LibNameExpander expander(true);
    EXPECT_EQ(expander.postLibraryPath, nullptr);
    EXPECT_EQ(expander.defaultPath, nullptr);
    EXPECT_EQ(run(expander, "x", false), "[tnm] Library not found: -lx\n");
    expander.add_default_lib_path(t.dirs[2].c_str());
    EXPECT_TRUE(expander.defaultPathGiven);
    std::string fallback = t.file(2, "libx.a");
    EXPECT_EQ(run(expander, "x", false), fallback);
    // Leaving cross linking does not read the environment again.
    expander.setCrossLinking(false);
    EXPECT_EQ(run(expander, "x", false), fallback);
}

TEST(LibNameExpander, TracesWithTheToggleOn) {
    Tree t;
    LibNameExpander expander(true);
    const std::string &d = t.dirs[0];
    Toggle &lib = toggleTable().set("LIB", true);
    testing::internal::CaptureStdout();
    expander.add_lib_path(d.c_str());
    expander.add_default_lib_path(t.dirs[1].c_str());
    expander.setCrossLinking(true);
    t.file(0, "x.lib");
    run(expander, "x", false);
    traceOut().flush();
    std::fflush(stdout);
    std::string out = testing::internal::GetCapturedStdout();
    lib.pop();
    EXPECT_EQ(out, "[lib] add_lib_path(\"" + d + "\")\n[lib] add_default_lib_path(\"" + t.dirs[1] +
                       "\")\n[LIB] Cross linking set to TRUE\n[lib] Process -lx\n[LIB] trying " +
                       d + "/libx.a\n[LIB] trying " + d + "/x.lib\n[LIB] ...Success on " + d +
                       "/x.lib!\n");
}

} // namespace
