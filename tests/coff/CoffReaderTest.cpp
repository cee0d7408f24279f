// The reading of a COFF file: every message of the reader, the putting in
// order of the symbol entries (names, values, COMDAT names), the entry point,
// and damaged files that must neither crash nor read outside their blocks.

#include "CoffTestSupport.h"
#include "coff/CoffSection.h"
#include "coff/CoffSymbol.h"
#include "kit/CoffBuilder.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

const uint8_t ext = coffClassExternal;
const uint8_t stat = coffClassStatic;

// A small sound file: .text with data and a relocation, .data, .bss, and
// symbols of each kind.
CoffBuilder sound(ByteOrder order = LittleEndian, uint16_t magic = coffMagicI386) {
    CoffBuilder b(order, magic);
    b.section(".text", coffSectionText, bytes(16, 0x90))
        .relocation(4, 2, 6)
        .lineNumber(2, 0)
        .lineNumber(8, 3)
        .section(".data", coffSectionData, bytes(8, 1))
        .section(".bss", coffSectionBss, {}, 32)
        .symbol(".text", 0, 1, stat)
        .aux(16, {1, 0})
        .symbol("main", 4, 1, ext, 0x20)
        .symbol("counter", 0, 2, ext)
        .symbol("printf", 0, 0, ext);
    return b;
}

std::vector<std::string> namesOf(CoffObjectFile &object) {
    std::vector<std::string> names;
    object.eachSymbol([&](Symbol &s) {
        names.push_back(s.name());
        return true;
    });
    return names;
}

TEST(CoffReader, SoundFileOfEitherOrderReadsAlike) {
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        Reports reports;
        LoadedCoff coff = loadCoff(sound(order).build(), reports);
        EXPECT_TRUE(reports.lines.empty());
        EXPECT_EQ(coff->header.f_magic, coffMagicI386);
        EXPECT_EQ(coff->sectionCount(), 3u);
        EXPECT_EQ(coff->symbolCount(), 5u); // the auxiliary entry counts
        EXPECT_EQ(namesOf(*coff.object),
                  (std::vector<std::string>{".text", "main", "counter", "printf"}));
        EXPECT_EQ(coff->symbolAt(1), nullptr); // the auxiliary slot
        EXPECT_EQ(coff->symbolAt(5), nullptr);
        ASSERT_NE(coff->symbolAt(2), nullptr);
        EXPECT_EQ(coff->symbolAt(2)->value(), 4u);
        EXPECT_EQ(coff->symbolAt(2)->index(), 2u);
        uint32_t visited = 0;
        coff->each([&](Symbol &) { return ++visited < 2; });
        EXPECT_EQ(visited, 2u); // a visitor ends the walk by answering false
        EXPECT_EQ(coff->count(), 5u);
    }
}

TEST(CoffReader, FatalMessages) {
    struct Case {
        const char *what;
        std::vector<uint8_t> image;
        const char *message;
    };
    const Case cases[] = {
        {"optional header size beyond the file",
         sound().patchHeader([](CoffFileHeader &h) { h.f_opthdr = 0xFFF0; }).build(),
         "Not able to read section table of test.o"},
        {"more sections than the file holds",
         sound().patchHeader([](CoffFileHeader &h) { h.f_nscns = 0xFFFF; }).build(),
         "Not able to read section table of test.o"},
        {"symbol table beyond the file",
         sound().patchHeader([](CoffFileHeader &h) { h.f_symptr = 0x7FFFFFF0; }).build(),
         "Unable to read symbol table of COFF file test.o"},
        {"more entries than the file holds",
         sound().patchHeader([](CoffFileHeader &h) { h.f_nsyms = 0x40000000; }).build(),
         "Unable to read symbol table of COFF file test.o"},
        {"section data beyond the file",
         sound().patchSection(2, [](CoffSectionHeader &h) { h.s_scnptr = 0x100000; }).build(),
         "Can't read data of section .data in file test.o"},
        {"section data running past the end",
         sound().patchSection(1, [](CoffSectionHeader &h) { h.s_size = 0x7FFFFFFF; }).build(),
         "Can't read data of section .text in file test.o"},
        {"relocations beyond the file",
         sound().patchSection(1, [](CoffSectionHeader &h) { h.s_relptr = 0x100000; }).build(),
         "Can't read reloc table of section .text in file test.o"},
        {"more relocations than the file holds",
         sound().patchSection(1, [](CoffSectionHeader &h) { h.s_nreloc = 0xFFFF; }).build(),
         "Can't read reloc table of section .text in file test.o"},
        {"a section name of 8 characters",
         CoffBuilder()
             .section(".longest", coffSectionData, bytes(4))
             .patchSection(1, [](CoffSectionHeader &h) { h.s_scnptr = 0x100000; })
             .build(),
         "Can't read data of section .longest in file test.o"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(fatalOf(c.image), c.message) << c.what;
}

TEST(CoffReader, UnreadableHeaderIsFatal) {
    // Only a file that cannot be read at all fails the header read: a short
    // file merely comes up short.
    InputFile missing("/nonexistent/tnm-coff-test.o", nullptr);
    Reports reports;
    try {
        readCoffFile(missing, reports, true);
        ADD_FAILURE() << "no fatal report";
    } catch (const FatalStop &stop) {
        EXPECT_EQ(stop.message, "COFF file /nonexistent/tnm-coff-test.o appears unreadable or "
                                "badly truncated");
    }
}

TEST(CoffReader, ErrorMessagesLeaveTheObjectUsable) {
    struct Case {
        const char *what;
        std::vector<uint8_t> image;
        std::vector<std::string> reports;
    };
    const Case cases[] = {
        {"relocations stripped",
         sound().flags(coffRelocationsStripped).build(),
         {"E: Input COFF file test.o has its relocation information stripped."}},
        {"garbage string table length",
         sound().stringTableLength(1000001).build(),
         {"E: String table of test.o appears to have a garbage length (=1000001)"}},
        {"long name beyond the strings",
         sound().symbolAtOffset(40, 0, 1, ext).build(),
         {"E: Symbol table entry #5 of test.o has garbage name (40>=4)"}},
        {"section number beyond the sections",
         sound().symbol("lost", 3, 4, ext).build(),
         {"E: Symbol table entry #5 of test.o has garbage scnum member(=4)"}},
        {"line numbers beyond the file, sections behind it read",
         sound().patchSection(1, [](CoffSectionHeader &h) { h.s_lnnoptr = 0x100000; }).build(),
         {"E: Can't read line table of section .text in file test.o"}},
        {"second definition in a COMDAT section",
         CoffBuilder()
             .section(".text$x", coffSectionText | coffSectionComdat, bytes(8))
             .symbol("first", 0, 1, ext)
             .symbol("second", 4, 1, ext)
             .build(),
         {"E: Symbol table entry #1 (second) of test.o\n|\tis defined in COMDAT section, but is "
          "not the first definition."}},
    };
    for (const Case &c : cases) {
        Reports reports;
        LoadedCoff coff;
        ASSERT_NO_THROW(coff = loadCoff(c.image, reports)) << c.what;
        EXPECT_EQ(reports.lines, c.reports) << c.what;
        EXPECT_EQ(reports.errorCount, int32_t(c.reports.size())) << c.what;
        uint32_t visited = 0;
        coff->eachSymbol([&](Symbol &s) {
            s.name();
            s.size();
            s.section();
            return ++visited;
        });
        EXPECT_GT(visited, 0u) << c.what;
    }
}

TEST(CoffReader, NamesOfEveryForm) {
    CoffBuilder b;
    uint32_t tail = b.addString("tail_name_without_end");
    b.section(".text", coffSectionText, bytes(4))
        .symbol("seven_c", 0, 1, ext)  // 7: stays in the entry
        .symbol("eight_ch", 0, 1, ext) // 8: gets a copy
        .symbol("a_name_of_many_characters", 0, 1, ext)
        .symbolAtOffset(0, 0, 1, ext)        // the cleared length word
        .symbolAtOffset(tail + 5, 0, 1, ext) // inside another name
        .symbolAtOffset(9999, 0, 1, ext);    // garbage: no text
    Reports reports;
    LoadedCoff coff = loadCoff(b.build(), reports);
    EXPECT_EQ(namesOf(*coff.object),
              (std::vector<std::string>{"seven_c", "eight_ch", "a_name_of_many_characters", "",
                                        "name_without_end", ""}));
    // The copy of a full name took the entry's name field: zero, reference.
    EXPECT_EQ(coff->syment(1)->name[0], 0);
    EXPECT_STREQ(coff->syment(0)->name, "seven_c");
    ASSERT_EQ(reports.lines.size(), 1u);
    EXPECT_EQ(reports.lines[0].substr(0, 27), "E: Symbol table entry #5 of");
}

TEST(CoffReader, StringTableEdges) {
    // A length word of 4: a table of no names; offsets below 4 read empty.
    {
        Reports reports;
        LoadedCoff coff = loadCoff(
            CoffBuilder().symbolAtOffset(2, 0, 0, ext).symbolAtOffset(4, 0, 0, ext).build(),
            reports);
        EXPECT_EQ(coff->stringTableSize(), 4u);
        EXPECT_EQ(namesOf(*coff.object), (std::vector<std::string>{"", ""}));
        EXPECT_EQ(reports.lines,
                  (std::vector<std::string>{"E: Symbol table entry #1 of test.o has garbage "
                                            "name (4>=4)"}));
    }
    // The last name of a table cut short by the file's end: the block ends
    // where the file does, with a NUL behind it.
    {
        CoffBuilder b;
        uint32_t at = b.addString("cut_short_name");
        b.symbolAtOffset(at, 0, 0, ext);
        std::vector<uint8_t> image = b.build();
        image.resize(image.size() - 6);
        Reports reports;
        LoadedCoff coff = loadCoff(image, reports);
        EXPECT_EQ(coff->stringTableSize(), 19u);
        EXPECT_STREQ(coff->symbolAt(0)->name(), "cut_short");
        EXPECT_STREQ(coff->stringAt(18), "");
        EXPECT_EQ(coff->stringAt(19), nullptr);
    }
    // A length of 0x20202020 or more is text behind the symbols, no table.
    {
        Reports reports;
        LoadedCoff coff = loadCoff(
            CoffBuilder().symbol("x", 0, 0, ext).noStringTable().trailer(bytes(60, ' ')).build(),
            reports);
        EXPECT_TRUE(reports.lines.empty());
        EXPECT_EQ(coff->stringTableSize(), 0u);
        EXPECT_EQ(coff->stringAt(0), nullptr);
    }
}

TEST(CoffReader, EmptySymbolTableAtOffsetZeroReadsTheHeaderAsLength) {
    // Magic 0x14C and one section, little-endian: the word 0x0001014C.
    Reports reports;
    LoadedCoff coff = loadCoff(CoffBuilder()
                                   .section(".data", coffSectionData, bytes(4))
                                   .noStringTable()
                                   .patchHeader([](CoffFileHeader &h) { h.f_symptr = 0; })
                                   .build(),
                               reports);
    EXPECT_EQ(coff->symbolCount(), 0u);
    EXPECT_EQ(coff->stringTableSize(), 0x0001014Cu);
    EXPECT_TRUE(reports.lines.empty());
}

TEST(CoffReader, ValuesBecomeRelativeToTheirSection) {
    Reports reports;
    LoadedCoff coff = loadCoff(CoffBuilder()
                                   .section(".text", coffSectionText, bytes(16))
                                   .address(0x1000)
                                   .symbol("inside", 0x1008, 1, ext)
                                   .symbol("label", 0x1004, 1, coffClassLabel)
                                   .symbol("absolute", 0x1008, -1, ext)
                                   .symbol("debug", 0x1008, -2, coffClassFile)
                                   .symbol("common", 0x1008, 0, ext)
                                   .symbol("lost", 0x1008, 2, ext)
                                   .build(),
                               reports);
    const uint32_t expected[] = {8, 4, 0x1008, 0x1008, 0, 0x1008};
    for (uint32_t i = 0; i < 6; ++i)
        EXPECT_EQ(coff->symbolAt(i)->value(), expected[i]) << i;
    EXPECT_EQ(coff->syment(4)->value, 0x1008u); // a common size stays
    EXPECT_EQ(coff->symbolAt(0)->originalValue(), 0x1008u);
    EXPECT_EQ(coff->symbolAt(5)->originalValue(), 0x1008u);
}

TEST(CoffReader, ComdatSectionsTakeTheirFirstDefinitionsName) {
    struct Case {
        uint16_t magic;
        uint8_t firstClass;
        const char *expected;
        bool comdat;
    };
    const Case cases[] = {
        {coffMagicI386, ext, "first", true},
        {coffMagicI386, stat, ".text$x", false}, // a static symbol never names it
        {0x14D, ext, ".text$x", false},          // only i386 files know COMDAT
        {0x150, ext, ".text$x", false},
    };
    for (const Case &c : cases) {
        Reports reports;
        LoadedCoff coff =
            loadCoff(CoffBuilder(LittleEndian, c.magic)
                         .section(".text$x", coffSectionText | coffSectionComdat, bytes(8))
                         .symbol("first", 0, 1, c.firstClass)
                         .symbol("helper", 4, 1, stat)
                         .build(),
                     reports);
        CoffInputSection *section = coff->inputSectionAt(1);
        EXPECT_STREQ(section->name(), c.expected) << c.magic;
        EXPECT_EQ(section->isComdat(), c.comdat) << c.magic;
        EXPECT_STREQ(section->combinedSectionName(), ".text$x");
        EXPECT_TRUE(reports.lines.empty()) << c.magic;
    }
}

TEST(CoffReader, EntryPointOnlyForAnExecutable) {
    struct Case {
        uint16_t flags;
        uint16_t size;
        uint32_t expected;
    };
    const Case cases[] = {{coffExecutable, 28, 0x4010}, {0, 28, 0}, {coffExecutable, 0, 0}};
    for (const Case &c : cases) {
        for (ByteOrder order : {LittleEndian, BigEndian}) {
            CoffBuilder b(order);
            b.flags(c.flags).section(".text", coffSectionText, bytes(4)).symbol("s", 0, 1, ext);
            if (c.size) b.optionalHeader(0x4010, c.size);
            Reports reports;
            LoadedCoff coff = loadCoff(b.build(), reports);
            EXPECT_EQ(coff->entry(), c.expected);
            EXPECT_EQ(coff->isExecutable(), c.flags != 0);
            EXPECT_STREQ(coff->inputSectionAt(1)->name(), ".text");
        }
    }
}

TEST(CoffReader, AuxiliaryCountBeyondTheTableStaysInside) {
    Reports reports;
    LoadedCoff coff = loadCoff(CoffBuilder(BigEndian)
                                   .symbol("one", 0, 0, ext)
                                   .symbol("last", 0, 0, ext)
                                   .patchSymbol(1, [](syment &e) { e.numaux = 200; })
                                   .build(),
                               reports);
    EXPECT_EQ(namesOf(*coff.object), (std::vector<std::string>{"one", "last"}));
    Symbol *last = coff->symbolAt(1);
    EXPECT_EQ(last->coffAuxiliary(0), nullptr);
    EXPECT_EQ(last->size(), 0u);
}

TEST(CoffReaderDeathTest, OutOfRangeIndicesAreFaults) {
    Reports reports;
    LoadedCoff coff = loadCoff(sound().build(), reports);
    EXPECT_DEATH(coff->syment(5), "CoffObjectFileRep::syment\\(5\\) >= 5");
    EXPECT_DEATH(coff->auxent(7), "CoffObjectFileRep::auxent\\(7\\) >= 5");
    EXPECT_DEATH(coff->symbolName(5), "CoffObjectFileInput::symbolName\\(5 >= 5\\)");
    CoffObjectFile bare(coff->fileName[0], coff->header);
    EXPECT_DEATH(bare.syment(0), "CoffObjectFile::syment\\(0\\)");
    EXPECT_DEATH(bare.auxent(1), "CoffObjectFile::auxent\\(1\\)");
    EXPECT_DEATH(bare.symbolName(2), "CoffObjectFile::symbolName\\(2\\)");
    EXPECT_EQ(bare.stringAt(0), nullptr);
    EXPECT_EQ(bare.symbolAt(0), nullptr);
}

// Every byte of a sound file of each order set to 0x00, 0x7F and 0xFF in
// turn: each damaged file is read to the end or given up with a fatal
// report, and every answer of what was read stays inside its blocks (the
// sanitizer build checks that).
TEST(CoffReader, EveryByteDamagedReadsWithoutHarm) {
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        CoffBuilder b = sound(order);
        b.symbol("a_long_external_name", 2, 1, ext).aux(4, {0, 8});
        const std::vector<uint8_t> image = b.build();
        uint32_t read = 0;
        for (size_t at = 0; at < image.size(); ++at) {
            for (uint8_t value : {0x00, 0x7F, 0xFF}) {
                std::vector<uint8_t> damaged = image;
                damaged[at] = value;
                Reports reports;
                LoadedCoff coff;
                try {
                    coff = loadCoff(damaged, reports);
                } catch (const FatalStop &) {
                    continue;
                }
                ++read;
                size_t text = 0;
                coff->eachSymbol([&](Symbol &s) {
                    text += std::strlen(s.name());
                    s.size();
                    s.type();
                    s.originalValue();
                    if (Section *section = s.section()) text += std::strlen(section->name());
                    return true;
                });
                coff->eachSection([&](Section &s) {
                    text += std::strlen(s.name()) + s.alignment();
                    return true;
                });
                EXPECT_LT(text, damaged.size() * 4) << at;
            }
        }
        EXPECT_GT(read, image.size()); // most damage is read through
    }
}

} // namespace
