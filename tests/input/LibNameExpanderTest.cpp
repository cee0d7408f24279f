#include "input/LibNameExpander.h"

#include "InputTestFiles.h"
#include "support/formout.h"
#include "support/toggles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

namespace {

// Sets (or, with none, removes) an environment variable for one scope.
class EnvSetting {
public:
    EnvSetting(const char *name, std::optional<std::string> value) : name(name) {
        if (const char *old = std::getenv(name)) saved = old;
        if (value)
            setenv(name, value->c_str(), 1);
        else
            unsetenv(name);
    }
    ~EnvSetting() {
        if (saved)
            setenv(name, saved->c_str(), 1);
        else
            unsetenv(name);
    }

private:
    const char *name;
    std::optional<std::string> saved;
};

// Directories d0 ... d5 under one temporary root, and files in them.
struct Tree {
    TempFile root{{}};
    std::string dir(int i) const { return root.dir + "/d" + std::to_string(i); }
    Tree() {
        for (int i = 0; i < 6; ++i)
            std::filesystem::create_directory(dir(i));
    }
    void file(int i, const std::string &name) const {
        std::FILE *f = std::fopen((dir(i) + "/" + name).c_str(), "w");
        std::fclose(f);
    }
};

struct Search {
    std::string found; // path, or "" when nothing was found
    std::string messages;
};

Search run(LibNameExpander &expander, const char *name, bool allowShared) {
    CapturedErrors captured;
    std::unique_ptr<DisplayFileName> file = expander.expand(name, allowShared, captured.errors);
    Search s{file ? file->path() : "", captured.text()};
    if (file) {
        EXPECT_STREQ(file->displayName(), file->path());
    }
    return s;
}

TEST(LibNameExpander, DirectoriesInTheirOrder) {
    Tree t;
    EnvSetting ld("LD_LIBRARY_PATH", t.dir(0) + "|" + t.dir(3));
    EnvSetting libpath("LIBPATH", t.dir(4) + ";" + t.dir(5));
    LibNameExpander expander(false);
    std::string added = t.dir(1) + ";" + t.dir(2);
    expander.add_lib_path(added.c_str());
    // The file is placed in ever earlier directories: each time the
    // earliest one holding it wins.
    for (int i = 5; i >= 0; --i) {
        t.file(i, "libx.a");
        EXPECT_EQ(run(expander, "x", false).found, t.dir(i) + "/libx.a");
    }
    // The process's environment is left as it was.
    EXPECT_EQ(std::string(std::getenv("LD_LIBRARY_PATH")), t.dir(0) + "|" + t.dir(3));
}

TEST(LibNameExpander, LibraryPathWithoutBarComesAfterAddedPaths) {
    Tree t;
    EnvSetting ld("LD_LIBRARY_PATH", t.dir(0));
    EnvSetting libpath("LIBPATH", std::nullopt);
    LibNameExpander expander(false);
    EXPECT_STREQ(expander.defaultPath, "/lib");
    EXPECT_EQ(expander.preLibraryPath, nullptr);
    std::string added = t.dir(1);
    expander.add_lib_path(added.c_str());
    t.file(0, "libx.a");
    t.file(1, "libx.a");
    EXPECT_EQ(run(expander, "x", false).found, t.dir(1) + "/libx.a");
}

TEST(LibNameExpander, FileFormsInTheirOrder) {
    Tree t;
    EnvSetting ld("LD_LIBRARY_PATH", std::nullopt);
    LibNameExpander expander(true);
    std::string added = t.dir(0) + ";" + t.dir(1);
    expander.add_lib_path(added.c_str());
    // Within one directory, last to first: each new form takes over.
    struct Step {
        const char *file;
        bool shared;
    } steps[] = {{"x.lib", false},
                 {"libx.a", false},
                 {"x.dll", true},
                 {"libx.dll", true},
                 {"libx.so", true}};
    for (const Step &s : steps) {
        t.file(0, s.file);
        EXPECT_EQ(run(expander, "x", true).found, t.dir(0) + "/" + s.file);
        // Without shared libraries the static forms alone count.
        EXPECT_EQ(run(expander, "x", false).found,
                  t.dir(0) + (s.shared ? "/libx.a" : "/" + std::string(s.file)));
    }
    // The directory is the outer loop: a static library in the first
    // directory wins over a shared one in the second.
    Tree u;
    LibNameExpander second(true);
    std::string both = u.dir(0) + ";" + u.dir(1);
    second.add_lib_path(both.c_str());
    u.file(0, "libx.a");
    u.file(1, "libx.so");
    EXPECT_EQ(run(second, "x", true).found, u.dir(0) + "/libx.a");
}

TEST(LibNameExpander, LongNamesAndMissingLibraries) {
    Tree t;
    LibNameExpander expander(true);
    std::string added = t.dir(0);
    expander.add_lib_path(added.c_str());
    std::string name(35, 'n');
    t.file(0, "lib" + name.substr(0, 30) + ".a");
    EXPECT_EQ(run(expander, name.c_str(), false).found,
              t.dir(0) + "/lib" + name.substr(0, 30) + ".a");
    // Names that agree in their first 30 characters find the same file.
    EXPECT_EQ(run(expander, (name + "z").c_str(), false).found,
              t.dir(0) + "/lib" + name.substr(0, 30) + ".a");
    Search missing = run(expander, "absent", true);
    EXPECT_EQ(missing.found, "");
    EXPECT_EQ(missing.messages, "[tnm] Library not found: -labsent\n");
    std::string longMissing(40, 'm');
    EXPECT_EQ(run(expander, longMissing.c_str(), false).messages,
              "[tnm] Library not found: -l" + longMissing + "\n");
}

TEST(LibNameExpander, CrossLinkingSearchesOnlyWhatWasGiven) {
    Tree t;
    EnvSetting ld("LD_LIBRARY_PATH", t.dir(0));
    EnvSetting libpath("LIBPATH", t.dir(1));
    t.file(0, "libx.a");
    t.file(1, "libx.a");
    LibNameExpander expander(true);
    EXPECT_EQ(expander.postLibraryPath, nullptr);
    EXPECT_EQ(expander.defaultPath, nullptr);
    EXPECT_EQ(run(expander, "x", false).found, "");
    std::string fallback = t.dir(2);
    expander.add_default_lib_path(fallback.c_str());
    EXPECT_TRUE(expander.defaultPathGiven);
    t.file(2, "libx.a");
    EXPECT_EQ(run(expander, "x", false).found, t.dir(2) + "/libx.a");
    // Leaving cross linking does not read the environment again.
    expander.setCrossLinking(false);
    EXPECT_EQ(run(expander, "x", false).found, t.dir(2) + "/libx.a");
}

TEST(LibNameExpander, TracesWithTheToggleOn) {
    Tree t;
    LibNameExpander expander(true);
    std::string added = t.dir(0);
    Toggle &lib = toggleTable().set("LIB", true);
    testing::internal::CaptureStdout();
    expander.add_lib_path(added.c_str());
    expander.setCrossLinking(true);
    t.file(0, "x.lib");
    run(expander, "x", false);
    traceOut().flush();
    std::fflush(stdout);
    std::string out = testing::internal::GetCapturedStdout();
    lib.pop();
    std::string d = t.dir(0);
    EXPECT_EQ(out, "[lib] add_lib_path(\"" + d +
                       "\")\n[LIB] Cross linking set to TRUE\n"
                       "[lib] Process -lx\n[LIB] trying " +
                       d + "/libx.a\n[LIB] trying " + d + "/x.lib\n[LIB] ...Success on " + d +
                       "/x.lib!\n");
}

} // namespace
