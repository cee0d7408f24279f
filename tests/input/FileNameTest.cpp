#include "input/FileName.h"
#include "input/fileutil.h"
#include "input/os.h"

#include "InputTestFiles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>
#include <unistd.h>

namespace {

// Every answer of a name, as one line.
std::string answers(const FileName &name) {
    std::ostringstream out;
    name.printOn(out);
    out << "|" << name.printableText() << "|" << name.displayName() << "|" << name.path() << "|"
        << (name.memberName() ? name.memberName() : "-") << "|"
        << (name.parent() ? name.parent()->displayName() : "-") << "|" << name.offset() << "|"
        << std::hex << name.length();
    return out.str();
}

TEST(FileName, EachKindAnswers) {
    FileName lib("lib.a");
    ArchiveMemberName inner(&lib, "inner.a", 68, 500), member(&inner, "x.o", 136, 20);
    DisplayFileName shown("/usr/lib/libc.a", "libc.a");
    EXPECT_EQ(answers(lib), "lib.a|lib.a|lib.a|lib.a|-|-|0|7fffffff");
    EXPECT_EQ(answers(member), "lib.a(inner.a)(x.o)|lib.a(inner.a)(x.o)|lib.a(inner.a)(x.o)|lib.a|"
                               "x.o|lib.a(inner.a)|136|14");
    EXPECT_EQ(answers(shown), "libc.a|libc.a|libc.a|/usr/lib/libc.a|-|-|0|7fffffff");
    EXPECT_STREQ(FileName::empty.displayName(), "");
    ArchiveMemberName orphan(nullptr, "m.o", 0, 1);
    EXPECT_STREQ(orphan.displayName(), "<NULL>(m.o)");
}

TEST(FileName, TwoMemberTextsStayValidTogether) {
    // As in a message that shows two names, also when one is nested; the
    // third call takes the first one's buffer.
    FileName lib("lib.a");
    ArchiveMemberName inner(&lib, "inner.a", 68, 500), member(&inner, "x.o", 136, 20);
    ArchiveMemberName other(&lib, "y.o", 0, 1);
    const char *a = member.displayName();
    const char *b = other.displayName();
    EXPECT_STREQ(a, "lib.a(inner.a)(x.o)");
    EXPECT_STREQ(b, "lib.a(y.o)");
    const char *c = inner.displayName();
    EXPECT_STREQ(c, "lib.a(inner.a)");
    EXPECT_EQ(a, c);
    EXPECT_STREQ(b, "lib.a(y.o)");
}

TEST(FileName, LongNamesAreShownWhole) {
    // 245 + "(m.o)" is 250 bytes, one more than the buffers hold with their
    // NUL: such a text gets a block of its own and outlives the rotation.
    std::string longPath(245, 'p');
    FileName lib(longPath.c_str());
    ArchiveMemberName member(&lib, "m.o", 0, 1), shorter(&lib, "m", 0, 1);
    const char *whole = member.displayName();
    EXPECT_EQ(std::string(shorter.displayName()), longPath + "(m)");
    EXPECT_EQ(std::string(shorter.displayName()), longPath + "(m)");
    EXPECT_EQ(std::string(whole), longPath + "(m.o)");
    // Asked again, the name gives the block it made the first time.
    EXPECT_EQ(member.displayName(), whole);
    // Nested past the levels formed in one go: the outer levels come from
    // the outer name's own text.
    FileName root("r.a");
    std::vector<std::unique_ptr<ArchiveMemberName>> chain;
    std::string expected = "r.a";
    for (int i = 0; i < 80; ++i, expected += "(n)")
        chain.push_back(std::make_unique<ArchiveMemberName>(
            chain.empty() ? &root : chain.back().get(), "n", 0, 1));
    EXPECT_EQ(std::string(chain.back()->displayName()), expected);
}

TEST(PathHelpers, TakingPathsApart) {
    struct Case {
        const char *path, *base, *directory, *stripped, *strippedBase;
    } cases[] = {
        {"dir/sub/file.o", "file.o", "dir/sub/", "dir/sub/file", "file"},
        {"c:\\lib\\x.tar.a", "x.tar.a", "c:\\lib\\", "c:\\lib\\x.tar", "x.tar"},
        {"vol:name", "name", "vol:", "vol:name", "name"},
        {"plain", "plain", ".", "plain", "plain"},
        {"dir.d/noext", "noext", "dir.d/", "dir.d/noext", "noext"},
        {"dir/", "", "dir/", "dir/", ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(baseName(c.path), c.path + std::strlen(c.path) - std::strlen(c.base));
        EXPECT_EQ(baseNameCopy(c.path), c.base);
        EXPECT_EQ(directoryOf(c.path), c.directory);
        EXPECT_EQ(stripExtension(c.path, false), c.stripped);
        EXPECT_EQ(stripExtension(c.path, true), c.strippedBase);
    }
}

TEST(PathHelpers, MakingPaths) {
    struct Case {
        const char *in, *out;
    } normal[] = {
        {"a/./b", "a/b"},      {"a/b/../c", "a/c"},
        {"../x", "../x"},      {"../../x", "../../x"},
        {"a/../../x", "../x"}, {"/a/b/../../c", "/c"},
        {"./a", "a"},          {"a\\x\\..\\b", "a\\b"},
        {"a/b/..", "a/b/.."},  {"", ""},
    };
    for (const Case &c : normal)
        EXPECT_EQ(normalizePath(c.in), c.out) << c.in;
    EXPECT_EQ(joinPath("dir", "a.o"), "dir\\a.o");
    EXPECT_EQ(joinPath("dir/", "a.o"), "dir/a.o");
    EXPECT_EQ(joinPath("dir/sub/", "../a.o"), "dir/a.o");
    EXPECT_EQ(joinPath(nullptr, "a.o"), "a.o");
    EXPECT_EQ(withExtension("dir/a.o", "obj"), "dir/a.obj");
    EXPECT_EQ(withExtension("dir.x/a", "obj"), "dir.x/a.obj");
    for (auto [path, rooted] : {std::pair{"/a", true}, {"\\a", true}, {"a/b", false}, {"", false}})
        EXPECT_EQ(isRootedPath(path), rooted) << path;
}

TEST(PlatformHelpers, ExistenceAndStatus) {
    ScratchDir dir;
    std::string path = dir.write("f", "12345"), none = dir.path() + "/none";
    EXPECT_TRUE(fileExists(path.c_str()));
    EXPECT_FALSE(fileExists(none.c_str()));
    EXPECT_FALSE(isDirectory(path.c_str()));
    EXPECT_TRUE(isDirectory(dir.path().c_str()));
    FileStatus st, byDescriptor;
    ASSERT_TRUE(pathStatus(path.c_str(), st));
    EXPECT_EQ(st.size, 5);
    EXPECT_NE(st.modified, 0);
    EXPECT_EQ(st.owner, uint32_t(getuid()));
    EXPECT_FALSE(pathStatus(none.c_str(), byDescriptor));
    EXPECT_FALSE(descriptorStatus(-1, byDescriptor));
    FILE *open = std::fopen(path.c_str(), "rb");
    ASSERT_TRUE(descriptorStatus(fileno(open), byDescriptor));
    std::fclose(open);
    EXPECT_EQ(byDescriptor.size, 5);
    EXPECT_EQ(byDescriptor.mode, st.mode);
}

} // namespace
