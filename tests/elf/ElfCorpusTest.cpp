// Real objects of i386, ARM, MIPS, PowerPC, SPARC and 68000, made by cross
// tools: every symbol's index, value, size, name and section index as
// llvm-readobj recorded them, and binding and type as the listing shows them.
#include "ElfCorpusExpected.h"
#include "ElfTestSupport.h"
#include "elf/ElfSymtabSection.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace {

std::vector<uint8_t> readCorpus(const char *name) {
    std::ifstream in(std::string(TNM_SOURCE_DIR) + "/tests/corpus/" + name, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// The listing's view of a raw binding and type.
SymbolBinding listedBinding(uint8_t binding) {
    return binding <= 2 ? static_cast<SymbolBinding>(binding) : SymbolBinding::local;
}

SymbolType listedType(uint8_t type, const CorpusRow &row, bool relocatable) {
    switch (type) {
    case STT_OBJECT:
        return SymbolType::data;
    case STT_FUNC:
    case STT_THUMB_FUNC:
    case STT_ARM_FUNC_2:
    case STT_THUMB_FUNC_2:
        return SymbolType::function;
    case STT_SECTION:
        return relocatable && row.value != 0 ? SymbolType::data : SymbolType::section;
    case STT_FILE:
        return SymbolType::file;
    default:
        return SymbolType::none;
    }
}

class Corpus : public ::testing::TestWithParam<CorpusFile> {};

TEST_P(Corpus, EverySymbolAgreesWithTheRecordedTable) {
    const CorpusFile &file = GetParam();
    std::vector<uint8_t> image = readCorpus(file.path);
    ASSERT_FALSE(image.empty()) << file.path;
    CapturingErrors errors;
    auto object = loadElf(image, errors);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(errors.errorCount, 0);
    ElfSymtabSection *table = object->symbolTable();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->entryCount(), file.entries + 1);
    bool relocatable = object->header.e_type == ET_REL;
    bool shared = object->isSharedObject();

    std::vector<Symbol *> visited;
    object->eachSymbol([&](Symbol &s) { return visited.push_back(&s), true; });
    ASSERT_EQ(visited.size(), file.rows.size());
    for (size_t i = 0; i < file.rows.size(); ++i) {
        const CorpusRow &row = file.rows[i];
        SCOPED_TRACE(testing::Message() << file.path << " #" << row.index << " " << row.name);
        Symbol &s = *visited[i];
        EXPECT_EQ(s.index(), row.index);
        EXPECT_STREQ(s.name(), row.name);
        EXPECT_EQ(s.value(), row.value);
        EXPECT_EQ(s.size(), row.size);
        EXPECT_EQ(s.elfSymbol()->st_shndx, row.shndx);
        EXPECT_EQ(s.binding(), listedBinding(row.binding));
        EXPECT_EQ(s.type(), listedType(elfSymbolType(s.elfSymbol()->st_info), row, relocatable));
        // Rewrites of the type stay within the listing's word.
        EXPECT_EQ(listedType(elfSymbolType(s.elfSymbol()->st_info), row, false),
                  listedType(row.type, row, false));
        if (shared) {
            EXPECT_EQ(s.section(), nullptr);
        } else if (relocatable && row.shndx != 0 && row.shndx < SHN_LORESERVE &&
                   s.section() != nullptr) {
            EXPECT_EQ(s.section(), object->sectionAt(row.shndx));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Files, Corpus, ::testing::ValuesIn(corpusFiles),
                         [](const testing::TestParamInfo<CorpusFile> &info) {
                             std::string name = info.param.path;
                             for (char &c : name)
                                 if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

} // namespace
