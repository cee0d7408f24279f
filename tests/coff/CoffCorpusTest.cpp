// Real COFF objects made by clang for i386 Windows (tests/corpus, see
// make-corpus.sh): every entry of the symbol table against LLVM objdump's
// record of it, the sections against its section list, COMDAT sections named
// after their symbols, the relocation entries of each section against its
// relocation records; and identification of COFF files as the reader
// expects them.

#include "CoffTestSupport.h"
#include "coff/CoffSection.h"
#include "input/FileIdentity.h"
#include "kit/CoffBuilder.h"
#include "reloc/RelocationsIterator.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

namespace {

std::string corpus(const std::string &name) {
    return std::string(TNM_SOURCE_DIR) + "/tests/corpus/" + name;
}

std::vector<uint8_t> fileBytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// "[ 8](sec  4)(fl 0x00)(ty  20)(scl   2) (nx 0) 0x00000000 name" as
// "8 4 20 2 0 00000000 name" (type and class in hexadecimal, as objdump
// prints them); auxiliary lines are left out.
std::vector<std::string> recordedSymbols(const std::string &path) {
    std::ifstream in(path);
    std::vector<std::string> rows;
    for (std::string line; std::getline(in, line);) {
        int index, scnum, sclass, numaux;
        unsigned type, flags, value;
        int used = 0;
        if (std::sscanf(line.c_str(), "[%d](sec %d)(fl %x)(ty %x)(scl %x) (nx %d) 0x%x %n", &index,
                        &scnum, &flags, &type, &sclass, &numaux, &value, &used) < 7)
            continue;
        char row[64];
        std::snprintf(row, sizeof row, "%d %d %x %x %d %08x ", index, scnum, type, sclass, numaux,
                      value);
        rows.push_back(row + line.substr(used));
    }
    return rows;
}

std::vector<std::string> readSymbols(CoffObjectFileInput &coff) {
    std::vector<std::string> rows;
    coff.eachSymbol([&](Symbol &s) {
        syment &e = *s.coffSymbol();
        char row[64];
        std::snprintf(row, sizeof row, "%u %d %x %x %d %08x ", s.index(), e.scnum, e.type, e.sclass,
                      e.numaux, s.originalValue() + (e.scnum == 0 ? e.value : 0));
        rows.push_back(row + std::string(s.name()));
        return true;
    });
    return rows;
}

// "  3 .text  00000051 00000000 TEXT" as ".text 51".
std::vector<std::string> recordedSections(const std::string &path) {
    std::ifstream in(path);
    std::vector<std::string> rows;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        unsigned index, size;
        std::string name;
        if (words >> index >> name >> std::hex >> size)
            rows.push_back(name + " " + (std::ostringstream() << std::hex << size).str());
    }
    return rows;
}

TEST(CoffCorpus, SymbolsAndSectionsAsObjdumpRecordsThem) {
    for (const char *name : {"coff-i386-shapes.obj", "coff-i386-widgets.obj"}) {
        Reports reports;
        LoadedCoff coff = loadCoff(fileBytes(corpus(name)), reports);
        EXPECT_TRUE(reports.lines.empty()) << name;
        std::vector<std::string> expected =
            recordedSymbols(corpus(std::string(name) + ".syms.txt"));
        ASSERT_GT(expected.size(), 20u) << name;
        EXPECT_EQ(readSymbols(*coff.object), expected) << name;

        // A COMDAT section lists under its symbol; objdump names it by
        // the file's name.
        std::vector<std::string> sections, comdats;
        coff->eachSection([&](Section &s) {
            sections.push_back(std::string(s.combinedSectionName()) + " " +
                               (std::ostringstream() << std::hex << s.size()).str());
            if (s.isComdat()) comdats.push_back(s.name());
            return true;
        });
        EXPECT_EQ(sections, recordedSections(corpus(std::string(name) + ".headers.txt"))) << name;
        EXPECT_STREQ(coff->sectionAt(1)->name(), ".text");
        EXPECT_FALSE(coff->sectionAt(1)->isComdat());
        if (std::string(name) != "coff-i386-widgets.obj") continue;
        ASSERT_GE(comdats.size(), 5u);
        EXPECT_EQ(comdats[0], "??$clamp_to@H@@YAHHHH@Z");
        EXPECT_EQ(comdats[1], "??$clamp_to@F@@YAFFFF@Z");
        EXPECT_EQ(comdats[2], "??0Widget@@QAE@XZ");
    }
}

// "RELOCATION RECORDS FOR [.text]:" as "[.text]", and an entry
// "00000031 IMAGE_REL_I386_REL32     name" as "31 REL32 name".
std::vector<std::string> recordedRelocations(const std::string &path) {
    std::ifstream in(path);
    std::vector<std::string> rows;
    const std::string heading = "RELOCATION RECORDS FOR ";
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, heading.size(), heading) == 0) {
            rows.push_back(line.substr(heading.size(), line.size() - heading.size() - 1));
            continue;
        }
        unsigned offset;
        char type[32];
        int used = 0;
        if (std::sscanf(line.c_str(), "%x IMAGE_REL_I386_%31s %n", &offset, type, &used) < 2)
            continue;
        char row[64];
        std::snprintf(row, sizeof row, "%x %s ", offset, type);
        rows.push_back(row + line.substr(used));
    }
    return rows;
}

// The same from the sections' relocation tables, with the i386 types by
// their Windows names.
std::vector<std::string> readRelocations(CoffObjectFileInput &coff) {
    std::vector<std::string> rows;
    coff.eachSection([&](Section &s) {
        RelocationsIterator &table = *s.relocations();
        if (table.count() == 0) return true;
        rows.push_back("[" + std::string(s.combinedSectionName()) + "]");
        table.each([&](RelocationDescriptor &entry) {
            std::string type = entry.typeName();
            type = type == "R_DIR32" ? "DIR32" : type == "R_PCRLONG" ? "REL32" : type;
            Symbol *symbol = entry.targetSymbol();
            Section *section = entry.targetSection();
            char row[64];
            std::snprintf(row, sizeof row, "%x %s ", entry.dataOffset(), type.c_str());
            rows.push_back(row + std::string(symbol    ? symbol->name()
                                             : section ? section->combinedSectionName()
                                                       : "?"));
            return true;
        });
        return true;
    });
    return rows;
}

TEST(CoffCorpus, RelocationsAsObjdumpRecordsThem) {
    for (const char *name : {"coff-i386-shapes.obj", "coff-i386-widgets.obj"}) {
        Reports reports;
        LoadedCoff coff = loadCoff(fileBytes(corpus(name)), reports);
        std::vector<std::string> expected =
            recordedRelocations(corpus(std::string(name) + ".relocs.txt"));
        ASSERT_GT(expected.size(), 15u) << name;
        EXPECT_EQ(readRelocations(*coff.object), expected) << name;
        EXPECT_TRUE(reports.lines.empty()) << name;
    }
}

// What the loader does with the two kinds that identification gives.
std::unique_ptr<ObjectFile> loadAsTheLoaderWill(InputFile &file, ErrorContext &errors,
                                                ObjectFormatKind kind) {
    switch (kind) {
    case coffFormat:
        return readCoffFile(file, errors, false);
    case ntFormat:
        return readCoffFile(file, errors, true);
    default:
        return nullptr;
    }
}

TEST(CoffCorpus, IdentificationAgreesWithTheReader) {
    struct Case {
        std::vector<uint8_t> image;
        ObjectFormatKind kind;
    };
    // Identification reads 32 bytes: a symbol gives the files that length.
    const Case cases[] = {
        {fileBytes(corpus("coff-i386-shapes.obj")), ntFormat},
        {CoffBuilder(LittleEndian, 0x14C).symbol("a", 0, 0, 2).build(), ntFormat},
        // Big-endian, the i386 magic falls to the older family's test.
        {CoffBuilder(BigEndian, 0x14C).symbol("a", 0, 0, 2).build(), coffFormat},
        {CoffBuilder(BigEndian, 0x150).symbol("a", 0, 0, 2).build(), coffFormat},
        {CoffBuilder(LittleEndian, 0x17B).symbol("a", 0, 0, 2).build(), coffFormat},
        {CoffBuilder(BigEndian, 0x17A).symbol("a", 0, 0, 2).build(), coffFormat},
    };
    for (const Case &c : cases) {
        auto file = inputOf(c.image);
        FileIdentity shallow;
        FileIdentity::identify(shallow, *file, false);
        EXPECT_EQ(int(shallow.kind), int(c.kind));
        FileIdentity deep;
        FileIdentity::identify(deep, *file, true);
        Reports reports;
        std::unique_ptr<ObjectFile> coff = loadAsTheLoaderWill(*file, reports, shallow.kind);
        ASSERT_NE(coff, nullptr);
        EXPECT_EQ(coff->formatKind(), coffFormat);
        EXPECT_EQ(deep.machine, coff->coffMachine());
        CoffFileHeader header{};
        bool swap = false;
        CoffUtil::readCoffHeader(*file, header, swap);
        EXPECT_EQ(deep.byteSwapped, swap) << coff->coffMachine();
    }
}

} // namespace
