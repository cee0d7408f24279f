#include "coff/CoffSymbol.h"

#include "coff/CoffObjectFile.h"
#include "coff/CoffSection.h"
#include "coff/CoffUtil.h"

CoffSymbol::CoffSymbol(CoffObjectFile &owner, uint32_t index) : owner(&owner), tableIndex(index) {}

CoffSymbol::~CoffSymbol() = default;

void CoffSymbol::place(CoffObjectFile &file, uint32_t index) {
    owner = &file;
    tableIndex = index;
}

struct syment &CoffSymbol::entry() {
    return *owner->syment(tableIndex);
}

const char *CoffSymbol::name() {
    return owner->symbolName(tableIndex);
}
uint32_t CoffSymbol::index() {
    return tableIndex;
}
ObjectFile *CoffSymbol::objectFile() {
    return owner;
}
ObjectFile *CoffSymbol::originalObjectFile() {
    return objectFile();
}

uint32_t CoffSymbol::size() {
    struct syment &e = entry();
    if (e.sclass == coffClassExternal && e.scnum == coffUndefinedSection) return e.value;
    struct syment *aux = coffAuxiliary(0);
    if ((e.sclass == coffClassExternal || e.sclass == coffClassStatic) && e.type == 0)
        return aux ? CoffUtil::get32(aux) : 0; // the section length
    if (aux && e.sclass != coffClassFile)
        return CoffUtil::get16(reinterpret_cast<const uint8_t *>(aux) + 6);
    return 0;
}

uint32_t CoffSymbol::alignment() {
    uint32_t bytes = size();
    return bytes > 7 ? 8 : bytes > 3 ? 4 : bytes > 1 ? 2 : 1;
}

uint32_t CoffSymbol::value() {
    struct syment &e = entry();
    if (e.sclass == coffClassExternal && e.scnum == coffUndefinedSection) return 0;
    return e.value;
}

void CoffSymbol::setValue(uint32_t value) {
    entry().value = value;
}

uint32_t CoffSymbol::originalValue() {
    struct syment &e = entry();
    if (e.scnum > 0) {
        // A section number beyond the file's sections has no address to
        // add: the value is taken as it stands, which the reader left
        // unchanged for such an entry.
        CoffSection *defining = owner->sectionAt(e.scnum);
        return defining ? defining->inputAddress() + e.value : e.value;
    }
    if (e.scnum == 0) return 0;
    return e.value;
}

uint32_t CoffSymbol::other() {
    return 0;
}

bool CoffSymbol::isGlobal() {
    uint8_t sclass = entry().sclass;
    return sclass == coffClassExternal || sclass == coffClassExternalDef;
}
bool CoffSymbol::isUndefined() {
    struct syment &e = entry();
    return e.sclass == coffClassExternal && e.value == 0 && e.scnum == coffUndefinedSection;
}
bool CoffSymbol::isCommon() {
    struct syment &e = entry();
    return e.sclass == coffClassExternal && e.value != 0 && e.scnum == coffUndefinedSection;
}
bool CoffSymbol::isSmallCommon() {
    return false;
}
bool CoffSymbol::isAbsolute() {
    return entry().scnum == coffAbsoluteSection;
}
bool CoffSymbol::isSectionSymbol() {
    struct syment &e = entry();
    return e.scnum > 0 && e.sclass == coffClassStatic && e.numaux == 1 && e.type == 0;
}

Section *CoffSymbol::section() {
    return owner->sectionAt(entry().scnum);
}

SymbolType CoffSymbol::type() {
    struct syment &e = entry();
    if (isCoffFunctionType(e.type)) return SymbolType::function;
    if (e.type == 0 && isSectionSymbol()) return SymbolType::section;
    switch (e.sclass) {
    case coffClassFile:
        return SymbolType::file;
    case coffClassAutomatic:
    case coffClassExternal:
    case coffClassStatic:
    case coffClassRegister:
    case coffClassExternalDef:
    case coffClassArgument:
    case coffClassRegisterParam:
        return SymbolType::data;
    case coffClassLabel:
        return SymbolType::function;
    default:
        return SymbolType::none;
    }
}

struct syment *CoffSymbol::coffSymbol() {
    return owner->syment(tableIndex);
}

struct syment *CoffSymbol::coffAuxiliary(uint32_t n) {
    struct syment &e = entry();
    // An auxiliary count that reaches beyond the table gives no entry there.
    if (n >= e.numaux || tableIndex + 1 + n >= owner->symbolCount()) return nullptr;
    return owner->auxent(tableIndex + 1 + n);
}
