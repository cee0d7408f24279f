#include "coff/CoffObjectFile.h"

#include "coff/CoffSection.h"
#include "coff/CoffSymbol.h"
#include "coff/CoffUtil.h"
#include "input/FileIdentity.h"
#include "support/botch.h"

CoffObjectFile::CoffObjectFile(const FileName &fileName, const CoffFileHeader &header)
    : ObjectFile(fileName), header(header) {}

CoffObjectFile::~CoffObjectFile() = default;

void CoffObjectFile::each(SymbolVisitor visitor) {
    eachSymbol(visitor);
}
uint32_t CoffObjectFile::count() {
    return symbolCount();
}

ObjectFormatKind CoffObjectFile::formatKind() {
    return coffFormat;
}
bool CoffObjectFile::isCompatibleWith(ObjectFile &other) {
    return other.coffMachine() == header.f_magic;
}
bool CoffObjectFile::isRelocatable() {
    return true;
}
bool CoffObjectFile::isExecutable() {
    return (header.f_flags & coffExecutable) != 0;
}
bool CoffObjectFile::isSharedObject() {
    return false;
}
bool CoffObjectFile::isReentrant() {
    return false;
}

void CoffObjectFile::eachSection(SectionVisitor visitor) {
    for (auto &section : sections)
        if (section && !visitor(*section)) return;
}
uint32_t CoffObjectFile::sectionCount() {
    return header.f_nscns;
}
uint32_t CoffObjectFile::symbolCount() {
    return header.f_nsyms;
}
void CoffObjectFile::eachSymbol(SymbolVisitor) {}

CoffFileHeader *CoffObjectFile::coffHeader() {
    return &header;
}
uint32_t CoffObjectFile::coffMachine() {
    return header.f_magic;
}

uint32_t CoffObjectFile::machine() {
    switch (header.f_magic) {
    case 0x88:
    case 0x150:
        return 4;
    case 0x148:
    case 0x14C:
        return 3;
    default:
        return 0;
    }
}

uint32_t CoffObjectFile::bsdMachine() {
    return header.f_magic == 0x88 || header.f_magic == 0x89 ? 2 : 0;
}

CoffObjectFile *CoffObjectFile::asCoffObjectFile() {
    return this;
}
bool CoffObjectFile::isLittleEndian() {
    return CoffUtil::isLittleEndianCoffMachine(header.f_magic);
}

Symbol *CoffObjectFile::symbolAt(uint32_t) {
    return nullptr;
}
const char *CoffObjectFile::stringAt(uint32_t) {
    return nullptr;
}
const char *CoffObjectFile::symbolName(uint32_t index) {
    botch("CoffObjectFile::symbolName(%d)", index);
}
struct syment *CoffObjectFile::syment(uint32_t index) {
    botch("CoffObjectFile::syment(%d)", index);
}
struct syment *CoffObjectFile::auxent(uint32_t index) {
    botch("CoffObjectFile::auxent(%d)", index);
}

CoffSection *CoffObjectFile::sectionAt(int32_t number) {
    if (number <= 0 || uint32_t(number) > sections.size()) return nullptr;
    return sections[number - 1].get();
}

CoffObjectFileRep::CoffObjectFileRep(const FileName &fileName, const CoffFileHeader &header)
    : CoffObjectFile(fileName, header) {}

CoffObjectFileRep::~CoffObjectFileRep() = default;

void CoffObjectFileRep::each(SymbolVisitor visitor) {
    eachSymbol(visitor);
}
uint32_t CoffObjectFileRep::count() {
    return entryCount;
}
uint32_t CoffObjectFileRep::symbolCount() {
    return entryCount;
}

void CoffObjectFileRep::eachSymbol(SymbolVisitor visitor) {
    for (uint32_t i = 0; i < entryCount; ++i)
        if (symbols[i] && !visitor(*symbols[i])) return;
}

Symbol *CoffObjectFileRep::symbolAt(uint32_t index) {
    return index < entryCount ? symbols[index] : nullptr;
}

struct syment *CoffObjectFileRep::syment(uint32_t index) {
    if (index >= entryCount) botch("CoffObjectFileRep::syment(%d) >= %d", index, entryCount);
    return &entries[index];
}

struct syment *CoffObjectFileRep::auxent(uint32_t index) {
    if (index >= entryCount) botch("CoffObjectFileRep::auxent(%d) >= %d", index, entryCount);
    return &entries[index];
}

void CoffObjectFileRep::setSymbolTable(std::unique_ptr<struct syment[]> table, uint32_t count) {
    entries = std::move(table);
    entryCount = count;
    symbols = std::make_unique<CoffSymbol *[]>(count); // all null
    // An auxiliary count that reaches beyond the table ends the walk.
    uint32_t made = 0;
    for (uint32_t i = 0; i < count; i += 1u + entries[i].numaux) {
        ++made;
        if (count - i <= entries[i].numaux) break;
    }
    symbolStore = std::make_unique<CoffSymbol[]>(made);
    made = 0;
    for (uint32_t i = 0; i < count; i += 1u + entries[i].numaux) {
        symbolStore[made].place(*this, i);
        symbols[i] = &symbolStore[made++];
        if (count - i <= entries[i].numaux) break;
    }
}
