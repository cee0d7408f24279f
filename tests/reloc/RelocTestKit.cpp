#include "RelocTestKit.h"

#include "support/sprintf.h"

#include <gtest/gtest.h>

#include <cctype>

std::string Reports::render(const char *format, va_list args) {
    char buffer[2048];
    StringFormatOut out(buffer, sizeof buffer, false, engine);
    out.vprint(format, args);
    return std::string(buffer);
}

void Reports::vfatal(const char *format, va_list args) {
    reports.push_back("F: " + render(format, args));
}
void Reports::verror(const char *format, va_list args) {
    ++errorCount;
    reports.push_back("E: " + render(format, args));
}
void Reports::vwarning(const char *format, va_list args) {
    ++warningCount;
    reports.push_back("W: " + render(format, args));
}

std::vector<std::string> Reports::texts() const {
    std::vector<std::string> result;
    for (const std::string &report : reports) {
        size_t end = report.find("\":\n|\t");
        result.push_back(end == std::string::npos ? report
                                                  : report.substr(0, 3) + report.substr(end + 5));
    }
    return result;
}

ObjectFormatKind NamedFile::formatKind() {
    return ObjectFormatKind(3);
}

void TestEntry::eachElfRecord(ElfRecordVisitor visitor) {
    if (type == 0) return;
    Elf32_Rela record{offset, 7u << 8 | type, addendOf};
    visitor(record);
}

void TestGot::addSymbol(Symbol *symbol, int32_t addend) {
    calls.push_back("addSymbol " + std::string(symbol->name()) + " " + std::to_string(addend));
}
void TestGot::addSection(Section *section, uint32_t offset) {
    calls.push_back("addSection " + std::string(section->name()) + " " + std::to_string(offset));
}
void TestGot::addSection(Section *section, uint32_t offset, uint32_t flags) {
    calls.push_back("addSection " + std::string(section->name()) + " " + std::to_string(offset) +
                    " " + std::to_string(flags));
}
int32_t TestGot::entryOf(Symbol *symbol, int32_t addend) {
    calls.push_back("entryOf " + std::string(symbol->name()) + " " + std::to_string(addend));
    return symbolEntry;
}
int32_t TestGot::entryOf(Section *section, uint32_t offset) {
    calls.push_back("entryOf " + std::string(section->name()) + " " + std::to_string(offset));
    return sectionEntry;
}

void TestPlt::addSymbol(Symbol *symbol, int32_t addend) {
    calls.push_back("addSymbol " + std::string(symbol->name()) + " " + std::to_string(addend));
}
int32_t TestPlt::entryOf(Symbol *symbol) {
    calls.push_back("entryOf " + std::string(symbol->name()));
    return entry;
}

void TestTable::each(RelocationVisitor visitor) {
    for (current = 0; current < rows.size(); ++current)
        if (!visitor(*this)) break;
    current = 0;
}

void TestTable::preprocessSpecialReference(RelocationDescriptor &entry, ObjectFile &,
                                           const RelocationOptions &) {
    special.push_back(std::to_string(entry.dataOffset()));
}

std::vector<uint8_t> orderedBytes(uint32_t value, uint32_t width, bool bigEndian) {
    std::vector<uint8_t> bytes(width + 2, 0xEE);
    for (uint32_t i = 0; i < width; ++i)
        bytes[i] = uint8_t(value >> (8 * (bigEndian ? width - 1 - i : i)));
    return bytes;
}

uint32_t orderedValue(const std::vector<uint8_t> &bytes, uint32_t width, bool bigEndian) {
    uint32_t value = 0;
    for (uint32_t i = 0; i < width; ++i)
        value |= uint32_t(bytes[i]) << (8 * (bigEndian ? width - 1 - i : i));
    return value;
}

bool runRow(ElfFixupTable &table, uint32_t type, RelocationDescriptor &entry, uint32_t width,
            uint32_t field, uint32_t value, uint32_t address, bool bigEndian, uint32_t &written) {
    std::vector<uint8_t> bytes = orderedBytes(field, width, bigEndian);
    const FixupRow *row = table.lookup(type);
    bool fits = row->fixup ? row->fixup(entry, bytes.data(), value, address)
                           : row->tableFixup(table, entry, bytes.data(), value, address);
    written = orderedValue(bytes, width, bigEndian);
    if (bytes[width] != 0xEE || bytes[width + 1] != 0xEE) written = 0xDEADBEEF;
    return fits;
}

std::string errorOfEntry3(const char *target, const std::string &text) {
    return std::string("E: In a.o, section .text at 0x40,\n|\t(relocation record #3 of type T) "
                       "refs ") +
           target + ":\n|\t" + text;
}

void expectRows(ElfFixupTable &table, const std::vector<ExpectedRow> &rows) {
    for (const ExpectedRow &e : rows) {
        SCOPED_TRACE(testing::Message() << "type " << e.type);
        const FixupRow *row = table.lookup(e.type);
        ASSERT_NE(row, nullptr);
        EXPECT_STREQ(row->name, e.name);
        EXPECT_EQ(row->kind, e.kind);
        EXPECT_EQ(row->pcRelative, e.pcRelative ? 1 : 0);
        EXPECT_TRUE(row->fixup || row->tableFixup);
    }
}

std::string testNameOf(const char *what) {
    std::string name = what;
    for (char &c : name)
        if (!isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}
