#include "CoffRelocationsTestSupport.h"
#include <gtest/gtest.h>

CoffTable::CoffTable(const std::vector<uint8_t> &image, uint32_t number, Args *args) {
    coff = loadCoff(image, reports);
    section = coff->inputSectionAt(int32_t(number));
    table = std::make_unique<CoffRelocationsIterator>(section->relocationEntries(),
                                                      section->relocationCount(), *section, args);
    table->setErrorContext(reports);
}

std::vector<std::string> CoffTable::walk(std::string (*describe)(RelocationDescriptor &)) {
    std::vector<std::string> lines;
    table->each([&](RelocationDescriptor &entry) {
        lines.push_back(describe(entry));
        return true;
    });
    return lines;
}

std::vector<uint8_t> CoffTable::applied(uint32_t visit) {
    std::vector<uint8_t> bytes(section->data(), section->data() + section->dataSize());
    uint32_t seen = 0;
    table->each([&](RelocationDescriptor &entry) {
        if (seen++ == visit) {
            EXPECT_TRUE(entry.apply(bytes.data() + entry.dataOffset()));
        }
        return true;
    });
    return bytes;
}

void CoffTable::at(uint32_t visit) {
    uint32_t seen = 0;
    table->each([&](RelocationDescriptor &) { return seen++ != visit; });
}

std::string literally(const std::string &text) {
    std::string pattern;
    for (char c : text) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) pattern += '\\';
        pattern += c;
    }
    return pattern;
}

std::string botchOf(const std::string &message) {
    return literally("Fatal error --- " + message + "\nAborting...\n");
}
