// Real objects of i386, ARM, MIPS, PowerPC, SPARC and 68000, made by cross
// tools: every symbol agrees with the record of GNU `readelf -s -W` kept
// beside each file (tests/corpus/<name>.readelf.txt) in index, value, size,
// section index, name, and binding and type as the listing shows them.  A
// shared object is compared with its .dynsym table, any other file with its
// .symtab.
#include "ElfTestSupport.h"
#include "elf/ElfSymtabSection.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

const std::string corpusDir = std::string(TNM_SOURCE_DIR) + "/tests/corpus/";

// Every ELF file of the corpus that has a symbol table.
const char *const corpusFiles[] = {
    "arm-base.so",      "arm-geometry-helpers.o", "arm-plugin.so",  "arm-shapes-llvm.o",
    "arm-shapes.o",     "arm-support.o",          "i386-mangled.o", "i386-prog",
    "i386-shapes.o",    "i386-support.o",         "i386-widgets.o", "m68k-shapes.o",
    "mips-prog",        "mips-shapes.o",          "mips-support.o", "ppc-base.so",
    "ppc-emb-shapes.o", "ppc-geometry-helpers.o", "ppc-mangled.o",  "ppc-plugin.so",
    "ppc-shapes.o",     "sparc-shapes.o",
};

const char *const bindingWords[] = {"LOCAL", "GLOBAL", "WEAK"};
const char *const typeWords[] = {"NOTYPE", "OBJECT", "FUNC", "SECTION", "FILE"};

// The type as the listing shows it: a section symbol with a value is data in
// a relocatable file, and the ARM reader's Thumb types are functions.
const char *listedType(uint8_t type, uint32_t value, bool relocatable) {
    if (type == STT_SECTION && relocatable && value != 0) return "OBJECT";
    if (type >= STT_THUMB_FUNC) return "FUNC";
    return type < 5 ? typeWords[type] : "?";
}

// One line per symbol: index, value and size in hex, section index, binding
// and type words, name.
std::string rowOf(uint32_t index, uint32_t value, uint32_t size, uint16_t shndx,
                  const char *binding, const char *type, const std::string &name) {
    char row[64];
    snprintf(row, sizeof row, "%u %x %x %x %s %s ", index, value, size, shndx, binding, type);
    return row + name;
}

// The rows of table `tableName` in a readelf record, whose lines read
// "Num: Value Size Type Bind Vis Ndx Name", and its entry count (entry 0
// included).  .dynsym names carry their version behind an "@", which is not
// part of the name in the file; readelf names a section symbol by its
// section, while the entry has no name.
std::vector<std::string> recordedRows(const std::string &path, const std::string &tableName,
                                      bool relocatable, uint32_t &entries) {
    std::ifstream in(path);
    std::vector<std::string> rows;
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("Symbol table '", 0) == 0) {
            inside = line.find("'" + tableName + "'") != std::string::npos;
            if (inside) entries = std::stoul(line.substr(line.find("contains ") + 9));
            continue;
        }
        std::istringstream row(line);
        std::string num, value, size, type, bind, visibility, ndx, name;
        if (!inside || !(row >> num >> value >> size >> type >> bind >> visibility >> ndx) ||
            num == "Num:" || num == "0:")
            continue;
        std::getline(row >> std::ws, name);
        if (tableName == ".dynsym") name = name.substr(0, name.find('@'));
        uint8_t typeNumber = 0;
        while (typeNumber < 5 && type != typeWords[typeNumber])
            ++typeNumber;
        if (typeNumber == STT_SECTION) name = "";
        uint16_t shndx = ndx == "UND"   ? SHN_UNDEF
                         : ndx == "ABS" ? SHN_ABS
                         : ndx == "COM" ? SHN_COMMON
                                        : static_cast<uint16_t>(std::stoul(ndx));
        uint32_t v = static_cast<uint32_t>(std::stoul(value, nullptr, 16));
        rows.push_back(rowOf(std::stoul(num), v, std::stoul(size, nullptr, 0), shndx, bind.c_str(),
                             listedType(typeNumber, v, relocatable), name));
    }
    return rows;
}

class Corpus : public ::testing::TestWithParam<const char *> {};

TEST_P(Corpus, EverySymbolAgreesWithTheReadelfRecord) {
    const std::string path = corpusDir + GetParam();
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> image{std::istreambuf_iterator<char>(in), {}};
    ASSERT_FALSE(image.empty()) << path;
    CapturingErrors errors;
    auto object = loadElf(image, errors);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(errors.errorCount, 0);
    bool shared = object->isSharedObject();
    bool relocatable = object->header.e_type == ET_REL;
    uint32_t entries = 0;
    std::vector<std::string> want =
        recordedRows(path + ".readelf.txt", shared ? ".dynsym" : ".symtab", relocatable, entries);
    ASSERT_FALSE(want.empty());
    ASSERT_NE(object->symbolTable(), nullptr);
    EXPECT_EQ(object->symbolTable()->entryCount(), entries);

    std::vector<std::string> got;
    object->eachSymbol([&](Symbol &s) {
        const Elf32_Sym &raw = *s.elfSymbol();
        got.push_back(rowOf(s.index(), s.value(), s.size(), raw.st_shndx,
                            bindingWords[int(s.binding())], typeWords[int(s.type())], s.name()));
        // A shared object has no section objects; a relocatable file's
        // symbols lie in the section of their index.
        Section *home = s.section();
        if (shared) {
            EXPECT_EQ(home, nullptr) << got.back();
        } else if (relocatable && home) {
            EXPECT_EQ(home, object->sectionAt(raw.st_shndx)) << got.back();
        }
        return true;
    });
    EXPECT_EQ(got, want);
}

INSTANTIATE_TEST_SUITE_P(Files, Corpus, ::testing::ValuesIn(corpusFiles),
                         [](const testing::TestParamInfo<const char *> &info) {
                             std::string name = info.param;
                             for (char &c : name)
                                 if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

} // namespace
