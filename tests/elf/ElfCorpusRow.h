// The shape of the recorded corpus symbol tables (ElfCorpusExpected.h).
#pragma once

#include <cstdint>
#include <vector>

struct CorpusRow {
    uint32_t index, value, size;
    uint8_t binding, type;
    uint16_t shndx;
    const char *name;
};

struct CorpusFile {
    const char *path; // under tests/corpus
    uint32_t entries; // without entry 0
    std::vector<CorpusRow> rows;
};
