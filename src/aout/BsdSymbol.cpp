#include "aout/BsdSymbol.h"

#include "aout/BsdObjectFile.h"
#include "aout/BsdSection.h"

BsdSymbol::~BsdSymbol() = default;

void BsdSymbol::place(const BsdNlist &newEntry, const char *name, BsdObjectFile *newOwner) {
    entry = newEntry;
    nameText = name;
    owner = newOwner;
}

const char *BsdSymbol::name() {
    return nameText;
}
ObjectFile *BsdSymbol::objectFile() {
    return owner;
}

uint32_t BsdSymbol::size() {
    return isExternalUndefined() ? entry.value : 0;
}

uint32_t BsdSymbol::alignment() {
    uint32_t bytes = size();
    if (bytes > 7) return 8;
    if (bytes > 3) return 4;
    if (bytes > 1) return 2;
    return 1;
}

uint32_t BsdSymbol::value() {
    return entry.value;
}
uint32_t BsdSymbol::originalValue() {
    return entry.value;
}
uint32_t BsdSymbol::other() {
    return 0;
}
bool BsdSymbol::isGlobal() {
    return (entry.type & bsdExternal) != 0;
}
bool BsdSymbol::isUndefined() {
    return isExternalUndefined() && entry.value == 0;
}
bool BsdSymbol::isCommon() {
    return isExternalUndefined() && entry.value != 0;
}
bool BsdSymbol::isSmallCommon() {
    return false;
}
bool BsdSymbol::isAbsolute() {
    return (entry.type & bsdTypeMask) == bsdAbsolute;
}

Section *BsdSymbol::section() {
    return owner->sectionOfCode(entry.type & bsdTypeMask);
}

SymbolType BsdSymbol::type() {
    Section *in = section();
    if (!in) return SymbolType::none;
    return in->isExecutable() ? SymbolType::function : SymbolType::data;
}

BsdNlist *BsdSymbol::bsdSymbol() {
    return &entry;
}
