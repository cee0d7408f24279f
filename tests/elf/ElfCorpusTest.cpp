// Real objects of i386, ARM, MIPS, PowerPC, SPARC and 68000, made by cross
// tools: every symbol agrees with the record of GNU `readelf -s -W` kept
// beside each file (tests/corpus/<name>.readelf.txt) in index, value, size,
// section index, name, and binding and type as the listing shows them.  A
// shared object is compared with its .dynsym table, any other file with its
// .symtab.
#include "ElfTestSupport.h"
#include "elf/ElfSymtabSection.h"

#include <gtest/gtest.h>

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

struct RecordedSymbol {
    uint32_t index, value, size;
    uint8_t binding, type;
    uint16_t shndx;
    std::string name;
};

struct RecordedTable {
    uint32_t entries = 0; // entry 0 included
    std::vector<RecordedSymbol> symbols;
};

uint8_t numberOf(const std::string &word, const std::vector<std::string> &words) {
    for (size_t i = 0; i < words.size(); ++i)
        if (words[i] == word) return static_cast<uint8_t>(i);
    ADD_FAILURE() << "unknown word in the record: " << word;
    return 0xFF;
}

// The table `tableName` of a readelf record.  Its rows read
// "Num: Value Size Type Bind Vis Ndx Name"; .dynsym names carry their
// version behind an "@", which is not part of the name in the file.
RecordedTable readRecord(const std::string &path, const std::string &tableName) {
    std::ifstream in(path);
    RecordedTable table;
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("Symbol table '", 0) == 0) {
            inside = line.find("'" + tableName + "'") != std::string::npos;
            if (inside) table.entries = std::stoul(line.substr(line.find("contains ") + 9));
            continue;
        }
        std::istringstream row(line);
        std::string num, value, size, type, bind, visibility, ndx, name;
        if (!inside || !(row >> num >> value >> size >> type >> bind >> visibility >> ndx) ||
            num == "Num:" || num == "0:")
            continue;
        std::getline(row >> std::ws, name);
        if (tableName == ".dynsym") name = name.substr(0, name.find('@'));
        uint16_t shndx = ndx == "UND"   ? SHN_UNDEF
                         : ndx == "ABS" ? SHN_ABS
                         : ndx == "COM" ? SHN_COMMON
                                        : static_cast<uint16_t>(std::stoul(ndx));
        table.symbols.push_back({static_cast<uint32_t>(std::stoul(num)),
                                 static_cast<uint32_t>(std::stoul(value, nullptr, 16)),
                                 static_cast<uint32_t>(std::stoul(size, nullptr, 0)),
                                 numberOf(bind, {"LOCAL", "GLOBAL", "WEAK"}),
                                 numberOf(type, {"NOTYPE", "OBJECT", "FUNC", "SECTION", "FILE"}),
                                 shndx, name});
    }
    return table;
}

// The listing's view of a raw type.  A section symbol with a value is data
// in a relocatable file.
SymbolType listedType(uint8_t type, uint32_t value, bool relocatable) {
    switch (type) {
    case STT_OBJECT:
        return SymbolType::data;
    case STT_FUNC:
    case STT_THUMB_FUNC:
    case STT_ARM_FUNC_2:
    case STT_THUMB_FUNC_2:
        return SymbolType::function;
    case STT_SECTION:
        return relocatable && value != 0 ? SymbolType::data : SymbolType::section;
    case STT_FILE:
        return SymbolType::file;
    default:
        return SymbolType::none;
    }
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
    RecordedTable record = readRecord(path + ".readelf.txt", shared ? ".dynsym" : ".symtab");
    ASSERT_FALSE(record.symbols.empty());
    ElfSymtabSection *table = object->symbolTable();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->entryCount(), record.entries);

    std::vector<Symbol *> visited;
    object->eachSymbol([&](Symbol &s) { return visited.push_back(&s), true; });
    ASSERT_EQ(visited.size(), record.symbols.size());
    for (size_t i = 0; i < visited.size(); ++i) {
        const RecordedSymbol &want = record.symbols[i];
        SCOPED_TRACE(testing::Message() << GetParam() << " #" << want.index << " " << want.name);
        Symbol &s = *visited[i];
        const Elf32_Sym &raw = *s.elfSymbol();
        EXPECT_EQ(s.index(), want.index);
        // readelf names a section symbol by its section; the entry has none.
        EXPECT_EQ(s.name(), want.type == STT_SECTION ? "" : want.name);
        EXPECT_EQ(s.value(), want.value);
        EXPECT_EQ(s.size(), want.size);
        EXPECT_EQ(raw.st_shndx, want.shndx);
        EXPECT_EQ(s.binding(), static_cast<SymbolBinding>(want.binding));
        EXPECT_EQ(s.type(), listedType(elfSymbolType(raw.st_info), want.value, relocatable));
        // Rewrites of the type stay within the listing's word.
        EXPECT_EQ(listedType(elfSymbolType(raw.st_info), 0, false),
                  listedType(want.type, 0, false));
        if (shared) {
            EXPECT_EQ(s.section(), nullptr);
        } else if (relocatable && want.shndx != 0 && want.shndx < SHN_LORESERVE && s.section()) {
            EXPECT_EQ(s.section(), object->sectionAt(want.shndx));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Files, Corpus, ::testing::ValuesIn(corpusFiles),
                         [](const testing::TestParamInfo<const char *> &info) {
                             std::string name = info.param;
                             for (char &c : name)
                                 if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

} // namespace
