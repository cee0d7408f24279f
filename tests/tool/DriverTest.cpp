// The road of one file, called in-process: each of displayFile,
// displaySingleObject and displayArchive reports through the context it is
// given and lists through displayObject.
#include "ListingSupport.h"

#include "input/InputFile.h"
#include "kit/ArchiveBuilder.h"
#include "kit/ElfBuilder.h"
#include "kit/RunTool.h"

#include <gtest/gtest.h>

namespace {

std::vector<uint8_t> object() {
    return ElfBuilder(BigEndian)
        .machine(EM_PPC)
        .section(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, bytes(8))
        .symbol("value", 4, 4, STB_GLOBAL, STT_OBJECT, ".data")
        .build();
}

TEST_F(ListingTest, DisplayFileAndItsTwoRoads) {
    ScratchDir dir;
    std::string single = dir.write("one.o", object());
    std::string library = dir.write(
        "two.a", ArchiveBuilder().member("x.o", object()).member("y.o", object()).build());
    std::string text = dir.write("three.txt", "Not an object file, just words on a line.\n");
    nmOptions.parsableOutput = nmOptions.suppressHeaders = true;

    RecordingErrors errors;
    EXPECT_EQ(captureStdout([&] { displayFile(single.c_str(), errors); }),
              "\n" + single + ":\n00000004    D   value\n");
    EXPECT_EQ(captureStdout([&] { displayFile(library.c_str(), errors); }),
              "\n" + library + "(x.o):\n00000004    D   value\n" + "\n" + library +
                  "(y.o):\n00000004    D   value\n");
    EXPECT_EQ(errors.lines, "warning: Archive " + library + " lacks a symbol table.\n");

    // The two roads called directly on an open file.
    RecordingErrors direct;
    InputFile singleFile(single.c_str(), &direct);
    EXPECT_EQ(captureStdout([&] { displaySingleObject("shown-as.o", singleFile, direct); }),
              "\n" + single + ":\n00000004    D   value\n");
    InputFile textFile(text.c_str(), &direct);
    EXPECT_EQ(captureStdout([&] { displaySingleObject("words", textFile, direct); }), "");
    InputFile libraryAsArchive(single.c_str(), &direct);
    EXPECT_EQ(captureStdout([&] { displayArchive("one", libraryAsArchive, direct); }), "");
    EXPECT_EQ(direct.lines, "error: File " + text + " OMF format not yet handled\n" +
                                "error: " + single + " isn't of a recognizable archive format.\n");

    RecordingErrors missing;
    std::string gone = dir.path() + "/gone.o";
    EXPECT_EQ(captureStdout([&] { displayFile(gone.c_str(), missing); }), "");
    EXPECT_EQ(missing.lines,
              "error: Can't open file " + gone + "\nerror: failed reading " + gone + "\n");
    EXPECT_EQ(missing.errorCount, 2);
}

} // namespace
