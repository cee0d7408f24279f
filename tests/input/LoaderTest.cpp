#include "input/EachArchiveObject.h"
#include "input/ObjectFileLoader.h"

#include "InputTestFiles.h"
#include "archive/Archive.h"
#include "kit/AofBuilder.h"
#include "kit/AoutBuilder.h"
#include "kit/ArchiveBuilder.h"
#include "kit/ChunkLibraryBuilder.h"
#include "kit/CoffBuilder.h"
#include "kit/ElfBuilder.h"
#include "object/ObjectFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace {

Bytes corpus(const char *name) {
    std::ifstream in(std::string(TNM_SOURCE_DIR) + "/tests/corpus/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

Bytes padded(std::initializer_list<uint8_t> prefix) {
    Bytes b(prefix);
    b.resize(64, 0);
    return b;
}

TEST(LoadObjectFile, WhatEachKindGives) {
    Bytes aofLibrary = padded({0xC5, 0xC6, 0xCB, 0xC3, 0, 0, 0, 0, 0, 0, 0, 0, 'L', 'I', 'B', '_'});
    Bytes broken = ElfBuilder()
                       .section(".text", SHT_PROGBITS, SHF_ALLOC, bytes(16))
                       .patchSection(".text", [](Elf32_Shdr &h) { h.sh_offset = 0xF0F0F0F0; })
                       .build();
    const char *none = "[tnm] File NAME OMF format not yet handled\n";
    const struct {
        Bytes bytes;
        ObjectFormatKind kind;
        const char *messages; // nullptr: the ELF reader's own words
        bool loaded = false;
    } cases[] = {
        {{}, unknownFormat, none},
        {bytesOf(std::string(40, 'x')), commandsFormat, none},
        {bytesOf("hello\n"), commandsFormat, none},
        {padded({0x80}), dosFormat, none},
        {padded({0x01, 0x02, 0x03}), unknownFormat, none},
        {CoffBuilder(BigEndian, 0x150).symbol("f", 0, -1, coffClassExternal).build(), coffFormat,
         "", true},
        {CoffBuilder(LittleEndian, 0x14C).symbol("f", 0, -1, coffClassExternal).build(), ntFormat,
         "", true},
        {AoutBuilder().text(bytes(8)).symbol("_main", N_TEXT | N_EXT, 0).build(), bsdFormat, "",
         true},
        {AofBuilder(AofBuilder::bigEndian)
             .area("C$$code", AofBuilder::code | 2, bytes(4))
             .symbol("main", 0x03, 0, "C$$code")
             .build(),
         armFormat, "", true},
        // Libraries hold objects but are none, silently.
        {bytesOf("!<arch>\n" + std::string(40, '\n')), unknownFormat, ""},
        {padded({0xF0, 0x0D, 0x00, 0x03}), unknownFormat, ""},
        {aofLibrary, unknownFormat, ""},
        {corpus("i386-shapes.o"), elfFormat, "", true},
        {corpus("ppc-shapes.o"), elfFormat, "", true},
        // A reader that gives up has said why; nothing about formats here.
        {broken, elfFormat, nullptr},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        Captured captured;
        InputFile in(captured.write(cases[i].bytes, "NAME").c_str(), nullptr);
        ObjectFormatKind kind = otherFormat;
        std::unique_ptr<ObjectFile> object = loadObjectFile(in, captured.errors, kind);
        EXPECT_EQ(kind, cases[i].kind);
        EXPECT_EQ(object != nullptr, cases[i].loaded);
        if (object) {
            EXPECT_GT(object->count(), 0u);
        }
        if (cases[i].messages) {
            EXPECT_EQ(captured.text(), cases[i].messages);
        } else {
            EXPECT_NE(captured.text(), "");
            EXPECT_EQ(captured.text().find("OMF format"), std::string::npos);
        }
    }
}

// Objects (by name) and messages of a walk over a library.
std::pair<std::vector<std::string>, std::string> walkObjects(const Bytes &library) {
    Captured captured;
    InputFile in(captured.write(library, "lib.a").c_str(), nullptr);
    std::vector<std::string> objects;
    if (std::unique_ptr<Archive> archive = Archive::open(in, &captured.errors)) {
        eachArchiveObject(
            [&](std::unique_ptr<ObjectFile> object) {
                std::string name = object->name();
                objects.push_back(name.substr(name.find("lib.a")));
            },
            in, captured.errors, *archive);
    }
    return {objects, captured.text()};
}

TEST(EachArchiveObject, MembersInOrderWithNestedLibraries) {
    Bytes i386 = corpus("i386-shapes.o");
    Bytes inner = ArchiveBuilder()
                      .symbolTable({})
                      .member("ppc.o", corpus("ppc-shapes.o"))
                      .member("note", "x")
                      .build();
    auto [objects, messages] = walkObjects(ArchiveBuilder()
                                               .symbolTable({})
                                               .member("i386.o", i386)
                                               .member("readme.txt", std::string(50, 'r'))
                                               .member("empty", Bytes{})
                                               .member("inner.a", inner)
                                               .member("omf.lib", padded({0xF0, 0x0D, 0x00, 0x03}))
                                               .member("last.o", i386)
                                               .build());
    EXPECT_EQ(objects, (std::vector<std::string>{"lib.a(i386.o)", "lib.a(inner.a)(ppc.o)",
                                                 "lib.a(last.o)"}));
    EXPECT_EQ(messages, "[tnm] File lib.a(readme.txt) OMF format not yet handled\n"
                        "[tnm] File lib.a(empty) OMF format not yet handled\n"
                        "[tnm] lib.a: Unknown object file format\n"
                        "[tnm] File lib.a(inner.a)(note) OMF format not yet handled\n"
                        "[tnm] lib.a(omf.lib) isn't of a recognizable archive format.\n");
    // A library of no members: nothing, not a word.
    EXPECT_EQ(walkObjects(ArchiveBuilder().symbolTable({}).build()),
              std::pair(std::vector<std::string>{}, std::string()));
}

// An object inside `levels` libraries, each inside the next.
Bytes nestedLibrary(int levels) {
    Bytes bytes = corpus("i386-shapes.o");
    for (int i = 0; i < levels; ++i)
        bytes = ArchiveBuilder().symbolTable({}).member(i == 0 ? "x.o" : "in.a", bytes).build();
    return bytes;
}

TEST(EachArchiveObject, NestingIsReadToItsLimit) {
    std::string name = "lib.a";
    for (int i = 0; i < maxLibraryNesting; ++i)
        name += "(in.a)";
    EXPECT_EQ(walkObjects(nestedLibrary(maxLibraryNesting + 1)),
              std::pair(std::vector<std::string>{name + "(x.o)"}, std::string()));
    EXPECT_EQ(walkObjects(nestedLibrary(maxLibraryNesting + 2)),
              std::pair(std::vector<std::string>{}, "[tnm] Library " + name +
                                                        "(in.a) is nested more than " +
                                                        std::to_string(maxLibraryNesting) +
                                                        " deep; its members are not read\n"));
    // Deep identification looks as deep as the walk.
    for (int extra : {1, 2}) {
        ScratchDir dir;
        InputFile in(dir.write("lib.a", nestedLibrary(maxLibraryNesting + extra)).c_str(), nullptr);
        FileIdentity id;
        FileIdentity::identify(id, in, true);
        EXPECT_TRUE(id.isArchive);
        EXPECT_EQ(id.kind, extra == 1 ? elfFormat : unknownFormat);
    }
}

// An ARM library places its members by offset, so a member may be the whole
// library again: two such members would double the walk at every level.
TEST(EachArchiveObject, AWalkEndsWhenTheLibrarysSizeIsSpent) {
    ChunkLibraryBuilder builder;
    builder.member("a", Bytes(16, 0)).member("b", Bytes(16, 0));
    Bytes whole = builder.build();
    for (uint32_t i : {0u, 1u})
        builder.chunkPlace(builder.memberChunk(i), 0, uint32_t(whole.size()));
    Bytes library = builder.build();
    auto [objects, messages] = walkObjects(library);
    EXPECT_TRUE(objects.empty());
    std::string budgetMessage =
        "[tnm] Library lib.a holds more members than its size allows; the rest are not read\n";
    ASSERT_GE(messages.size(), budgetMessage.size());
    EXPECT_EQ(messages.substr(messages.size() - budgetMessage.size()), budgetMessage);
    EXPECT_EQ(messages.find("holds more members"), messages.rfind("holds more members"));
    // The budget counts every visit, nested ones too: the walk stopped after
    // exactly that many members.
    size_t nestingReports = 0;
    for (size_t at = 0; (at = messages.find("is nested more than", at)) != std::string::npos; ++at)
        ++nestingReports;
    EXPECT_GT(nestingReports, 0u);
    EXPECT_LT(nestingReports,
              libraryVisitBudget(InputFile(Captured().write(library, "lib.a").c_str(), nullptr)));
}

TEST(EachArchiveFile, GivesMemberFilesWithTheirWindows) {
    Bytes inner = ArchiveBuilder().symbolTable({}).member("b", "0123456789").build();
    Captured captured;
    InputFile in(
        captured
            .write(
                ArchiveBuilder().symbolTable({}).member("a", "abc").member("in.a", inner).build(),
                "lib.a")
            .c_str(),
        nullptr);
    std::unique_ptr<Archive> archive = Archive::open(in, &captured.errors);
    ASSERT_NE(archive, nullptr);
    std::vector<std::string> contents;
    eachArchiveFile(
        [&](std::unique_ptr<InputFile> member) {
            EXPECT_EQ(member->descriptor, in.descriptor);
            std::string text(member->length, '\0');
            member->seek(0);
            member->read(text.data(), member->length);
            contents.push_back(std::string(member->fileName.displayName()) + "=" + text);
        },
        in, captured.errors, *archive);
    std::string lib = captured.dir.path() + "/lib.a";
    EXPECT_EQ(contents, (std::vector<std::string>{lib + "(a)=abc", lib + "(in.a)(b)=0123456789"}));
    EXPECT_EQ(captured.text(), "");
}

} // namespace
