#include "input/FileName.h"
#include "input/fileutil.h"
#include "input/os.h"

#include "InputTestFiles.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include <sstream>

namespace {

TEST(FileName, PlainName) {
    FileName name("dir/a.o");
    EXPECT_STREQ(name.displayName(), "dir/a.o");
    EXPECT_STREQ(name.printableText(), "dir/a.o");
    EXPECT_STREQ(name.path(), "dir/a.o");
    EXPECT_EQ(name.parent(), nullptr);
    EXPECT_EQ(name.memberName(), nullptr);
    EXPECT_EQ(name.offset(), 0u);
    EXPECT_EQ(name.length(), 0x7FFFFFFFu);
    std::ostringstream out;
    name.printOn(out);
    EXPECT_EQ(out.str(), "dir/a.o");
    EXPECT_STREQ(FileName::empty.displayName(), "");
}

TEST(FileName, MemberNamesNestAndKeepTheirTexts) {
    FileName lib("lib.a");
    ArchiveMemberName inner(&lib, "inner.a", 68, 500);
    ArchiveMemberName member(&inner, "x.o", 136, 20);
    EXPECT_STREQ(inner.displayName(), "lib.a(inner.a)");
    EXPECT_STREQ(member.displayName(), "lib.a(inner.a)(x.o)");
    EXPECT_STREQ(member.printableText(), "lib.a(inner.a)(x.o)");
    EXPECT_STREQ(member.memberName(), "x.o");
    EXPECT_STREQ(member.path(), "lib.a");
    EXPECT_EQ(member.parent(), &inner);
    EXPECT_EQ(member.offset(), 136u);
    EXPECT_EQ(member.length(), 20u);
    std::ostringstream out;
    member.printOn(out);
    EXPECT_EQ(out.str(), "lib.a(inner.a)(x.o)");
    // Two texts stay valid together, as in a message that shows two names,
    // also when one is nested; the third call takes the first one's buffer.
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
    ArchiveMemberName member(&lib, "m.o", 0, 1);
    ArchiveMemberName shorter(&lib, "m", 0, 1);
    const char *whole = member.displayName();
    EXPECT_EQ(std::string(shorter.displayName()), longPath + "(m)");
    EXPECT_EQ(std::string(shorter.displayName()), longPath + "(m)");
    EXPECT_EQ(std::string(whole), longPath + "(m.o)");
    // Nested past the levels formed in one go: the outer levels come from
    // the outer name's own text.
    FileName root("r.a");
    std::vector<std::unique_ptr<ArchiveMemberName>> chain;
    std::string expected = "r.a";
    const FileName *parent = &root;
    for (int i = 0; i < 80; ++i) {
        chain.push_back(std::make_unique<ArchiveMemberName>(parent, "n", 0, 1));
        parent = chain.back().get();
        expected += "(n)";
    }
    EXPECT_EQ(std::string(chain.back()->displayName()), expected);
}

TEST(FileName, MemberWithoutParentAndDisplayName) {
    ArchiveMemberName orphan(nullptr, "m.o", 0, 1);
    EXPECT_STREQ(orphan.displayName(), "<NULL>(m.o)");
    DisplayFileName shown("/usr/lib/libc.a", "libc.a");
    EXPECT_STREQ(shown.displayName(), "libc.a");
    EXPECT_STREQ(shown.printableText(), "libc.a");
    EXPECT_STREQ(shown.path(), "/usr/lib/libc.a");
    EXPECT_EQ(shown.length(), 0x7FFFFFFFu);
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
        EXPECT_STREQ(baseName(c.path), c.base);
        EXPECT_EQ(baseNameCopy(c.path), c.base);
        EXPECT_EQ(directoryOf(c.path), c.directory);
        EXPECT_EQ(stripExtension(c.path, false), c.stripped);
        EXPECT_EQ(stripExtension(c.path, true), c.strippedBase);
    }
    // baseName points into its argument.
    const char *path = "a/b";
    EXPECT_EQ(baseName(path), path + 2);
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
    EXPECT_TRUE(isRootedPath("/a"));
    EXPECT_TRUE(isRootedPath("\\a"));
    EXPECT_FALSE(isRootedPath("a/b"));
    EXPECT_FALSE(isRootedPath(""));
}

TEST(PlatformHelpers, ExistenceAndStatus) {
    TempFile f(bytesOf("12345"));
    EXPECT_TRUE(fileExists(f.path.c_str()));
    EXPECT_FALSE(isDirectory(f.path.c_str()));
    EXPECT_TRUE(isDirectory(f.dir.c_str()));
    EXPECT_FALSE(fileExists((f.dir + "/none").c_str()));
    FileStatus st;
    ASSERT_TRUE(pathStatus(f.path.c_str(), st));
    EXPECT_EQ(st.size, 5);
    EXPECT_NE(st.modified, 0);
    EXPECT_EQ(st.owner, uint32_t(getuid()));
    FileStatus none;
    EXPECT_FALSE(pathStatus((f.dir + "/none").c_str(), none));
    EXPECT_FALSE(descriptorStatus(-1, none));
    FILE *open = std::fopen(f.path.c_str(), "rb");
    FileStatus byDescriptor;
    ASSERT_TRUE(descriptorStatus(fileno(open), byDescriptor));
    std::fclose(open);
    EXPECT_EQ(byDescriptor.size, 5);
    EXPECT_EQ(byDescriptor.mode, st.mode);
}

} // namespace
