#include "input/EachArchiveObject.h"
#include "input/ObjectFileLoader.h"

#include "InputTestFiles.h"
#include "archive/Archive.h"
#include "kit/ArchiveBuilder.h"
#include "object/ObjectFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace {

Bytes corpus(const char *name) {
    std::ifstream in(std::string(TNM_SOURCE_DIR) + "/tests/corpus/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

Bytes padded(std::initializer_list<uint8_t> prefix, size_t size = 64) {
    Bytes b(prefix);
    b.resize(size, 0);
    return b;
}

struct Loaded {
    std::unique_ptr<ObjectFile> object;
    ObjectFormatKind kind;
    std::string messages;
};

Loaded load(const Bytes &bytes, const char *name = "input.bin") {
    TempFile f(bytes, name);
    InputFile in(f.path.c_str(), nullptr);
    CapturedErrors captured;
    Loaded result;
    result.kind = otherFormat;
    result.object = loadObjectFile(in, captured.errors, result.kind);
    // Messages name the file by its path; keep only the base name.
    result.messages = captured.errorText();
    for (size_t at; (at = result.messages.find(f.dir + "/")) != std::string::npos;)
        result.messages.erase(at, f.dir.size() + 1);
    return result;
}

TEST(LoadObjectFile, FormatsWithoutAReaderAreReported) {
    struct Case {
        const char *what;
        Bytes bytes;
        ObjectFormatKind kind;
    } cases[] = {
        {"empty", {}, unknownFormat},
        {"text", bytesOf(std::string(40, 'x')), commandsFormat},
        {"short text", bytesOf("hello\n"), commandsFormat},
        {"OMF", padded({0x80}), dosFormat},
        {"unknown", padded({0x01, 0x02, 0x03}), unknownFormat},
        {"older COFF", padded({0x01, 0x50}), coffFormat},
        {"newer COFF", padded({0x4C, 0x01}), ntFormat},
        {"a.out", padded({0x00, 0x03, 0x01, 0x07}), bsdFormat},
        {"AOF", padded({0xC5, 0xC6, 0xCB, 0xC3}), armFormat},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Loaded l = load(c.bytes, "NAME");
        EXPECT_EQ(l.object, nullptr);
        EXPECT_EQ(l.kind, c.kind);
        EXPECT_EQ(l.messages, "[tnm] File NAME OMF format not yet handled\n");
    }
}

TEST(LoadObjectFile, LibrariesAreNoObjects) {
    for (const Bytes &b :
         {bytesOf("!<arch>\n" + std::string(40, '\n')), padded({0xF0, 0x0D, 0x00, 0x03}),
          padded({0xC5, 0xC6, 0xCB, 0xC3, 0, 0, 0, 0, 0, 0, 0, 0, 'L', 'I', 'B', '_'})}) {
        Loaded l = load(b);
        EXPECT_EQ(l.object, nullptr);
        EXPECT_EQ(l.kind, unknownFormat);
        EXPECT_EQ(l.messages, "");
    }
}

TEST(LoadObjectFile, ElfObjects) {
    for (const char *name : {"i386-shapes.o", "mips-shapes.o", "ppc-shapes.o", "arm-base.so"}) {
        SCOPED_TRACE(name);
        Bytes bytes = corpus(name);
        ASSERT_FALSE(bytes.empty());
        Loaded l = load(bytes, name);
        ASSERT_NE(l.object, nullptr);
        EXPECT_EQ(l.kind, elfFormat);
        EXPECT_EQ(l.messages, "");
        EXPECT_GT(l.object->count(), 0u);
    }
}

// Moves the contents of the first SHT_PROGBITS section with contents far
// beyond the end of the file (a little-endian 32-bit ELF file).
void breakFirstProgramSection(Bytes &elf) {
    auto get32 = [&](size_t at) {
        return uint32_t(elf[at]) | uint32_t(elf[at + 1]) << 8 | uint32_t(elf[at + 2]) << 16 |
               uint32_t(elf[at + 3]) << 24;
    };
    uint32_t shoff = get32(32);
    uint32_t shnum = elf[48] | elf[49] << 8;
    for (uint32_t i = 1; i < shnum; ++i) {
        size_t header = shoff + i * 40;
        if (get32(header + 4) == 1 && get32(header + 20) > 0) {
            for (int k = 0; k < 4; ++k)
                elf[header + 16 + k] = 0xF0;
            return;
        }
    }
    FAIL() << "no program section";
}

TEST(LoadObjectFile, ElfReaderThatGivesUpYieldsNothing) {
    Bytes bytes = corpus("i386-shapes.o");
    ASSERT_FALSE(bytes.empty());
    breakFirstProgramSection(bytes);
    Loaded l = load(bytes, "broken.o");
    EXPECT_EQ(l.object, nullptr);
    EXPECT_EQ(l.kind, elfFormat);
    // The reader said why; the loader adds nothing about formats.
    EXPECT_NE(l.messages, "");
    EXPECT_EQ(l.messages.find("OMF format"), std::string::npos);
}

// Walks a library file through eachArchiveObject, collecting the objects'
// names and the messages.
struct Walk {
    std::vector<std::string> objects;
    std::string messages;
};

Walk walkObjects(const Bytes &library) {
    TempFile f(library, "lib.a");
    InputFile in(f.path.c_str(), nullptr);
    CapturedErrors captured;
    Walk walk;
    std::unique_ptr<Archive> archive = Archive::open(in, &captured.errors);
    if (archive) {
        eachArchiveObject(
            [&](std::unique_ptr<ObjectFile> object) {
                std::string name = object->name();
                walk.objects.push_back(name.substr(name.find("lib.a")));
            },
            in, captured.errors, *archive);
    }
    walk.messages = captured.errorText();
    for (size_t at; (at = walk.messages.find(f.dir + "/")) != std::string::npos;)
        walk.messages.erase(at, f.dir.size() + 1);
    return walk;
}

TEST(EachArchiveObject, MembersInOrderWithNestedLibraries) {
    Bytes i386 = corpus("i386-shapes.o");
    Bytes mips = corpus("mips-support.o");
    Bytes inner = ArchiveBuilder().member("mips.o", mips).member("note", "x").build();
    Bytes library = ArchiveBuilder()
                        .member("i386.o", i386)
                        .member("readme.txt", std::string(50, 'r'))
                        .member("empty", Bytes{})
                        .member("inner.a", inner)
                        .member("omf.lib", padded({0xF0, 0x0D, 0x00, 0x03}))
                        .member("last.o", i386)
                        .build();
    Walk walk = walkObjects(library);
    std::vector<std::string> expected = {"lib.a(i386.o)", "lib.a(inner.a)(mips.o)",
                                         "lib.a(last.o)"};
    EXPECT_EQ(walk.objects, expected);
    EXPECT_EQ(walk.messages, "[tnm] File lib.a(readme.txt) OMF format not yet handled\n"
                             "[tnm] File lib.a(empty) OMF format not yet handled\n"
                             "[tnm] lib.a: Unknown object file format\n"
                             "[tnm] File lib.a(inner.a)(note) OMF format not yet handled\n"
                             "[tnm] lib.a(omf.lib) isn't of a recognizable archive format.\n");
}

TEST(EachArchiveObject, EmptyLibraryAndCorpusLibrary) {
    Walk empty = walkObjects(bytesOf("!<arch>\n"));
    EXPECT_TRUE(empty.objects.empty());
    EXPECT_EQ(empty.messages, "");

    Walk nested = walkObjects(corpus("libnested.a"));
    std::vector<std::string> expected = {
        "lib.a(i386-mangled.o)",
        "lib.a(libshapes-arm.a)(arm-shapes.o)",
        "lib.a(libshapes-arm.a)(arm-support.o)",
        "lib.a(libshapes-arm.a)(arm-geometry-helpers.o)",
        "lib.a(ppc-geometry-helpers.o)",
        "lib.a(mips-support.o)",
    };
    EXPECT_EQ(nested.objects, expected);
    EXPECT_EQ(nested.messages, "");
}

// An object inside `levels` libraries, each inside the next.
Bytes nestedLibrary(int levels) {
    Bytes bytes = corpus("i386-shapes.o");
    for (int i = 0; i < levels; ++i)
        bytes = ArchiveBuilder().member(i == 0 ? "x.o" : "in.a", bytes).build();
    return bytes;
}

TEST(EachArchiveObject, NestingIsReadToItsLimit) {
    Walk deepest = walkObjects(nestedLibrary(maxLibraryNesting + 1));
    ASSERT_EQ(deepest.objects.size(), 1u);
    EXPECT_EQ(deepest.messages, "");
    std::string name = "lib.a";
    for (int i = 0; i < maxLibraryNesting; ++i)
        name += "(in.a)";
    EXPECT_EQ(deepest.objects[0], name + "(x.o)");

    Walk tooDeep = walkObjects(nestedLibrary(maxLibraryNesting + 2));
    EXPECT_TRUE(tooDeep.objects.empty());
    EXPECT_EQ(tooDeep.messages, "[tnm] Library " + name + "(in.a) is nested more than " +
                                    std::to_string(maxLibraryNesting) +
                                    " deep; its members are not read\n");
}

TEST(FileIdentity, DeepModeLooksAsDeepAsTheWalk) {
    for (int extra : {1, 2}) {
        TempFile f(nestedLibrary(maxLibraryNesting + extra), "lib.a");
        InputFile in(f.path.c_str(), nullptr);
        FileIdentity id;
        FileIdentity::identify(id, in, true);
        EXPECT_TRUE(id.isArchive);
        EXPECT_EQ(id.kind, extra == 1 ? elfFormat : unknownFormat);
    }
}

TEST(EachArchiveFile, GivesMemberFilesWithTheirWindows) {
    Bytes inner = ArchiveBuilder().member("b", "0123456789").build();
    Bytes library = ArchiveBuilder().member("a", "abc").member("in.a", inner).build();
    TempFile f(library, "lib.a");
    InputFile in(f.path.c_str(), nullptr);
    CapturedErrors captured;
    std::unique_ptr<Archive> archive = Archive::open(in, &captured.errors);
    ASSERT_NE(archive, nullptr);
    std::vector<std::string> contents;
    eachArchiveFile(
        [&](std::unique_ptr<InputFile> member) {
            EXPECT_EQ(member->descriptor, in.descriptor);
            std::string text(member->length, '\0');
            member->seek(0);
            member->read(text.data(), member->length);
            contents.push_back(
                std::string(member->fileName.displayName()).substr(f.dir.size() + 1) + "=" + text);
        },
        in, captured.errors, *archive);
    std::vector<std::string> expected = {"lib.a(a)=abc", "lib.a(in.a)(b)=0123456789"};
    EXPECT_EQ(contents, expected);
    EXPECT_EQ(captured.errorText(), "");
}

} // namespace
