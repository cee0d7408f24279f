#include "RelocTestKit.h"

#include "support/sprintf.h"

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
