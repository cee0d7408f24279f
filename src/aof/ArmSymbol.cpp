#include "aof/ArmSymbol.h"

#include "aof/ArmObjectFileInput.h"
#include "aof/ArmSection.h"

ArmSymbol::ArmSymbol(ArmObjectFileInput *owner, const AofSymbolRecord &record) {
    place(owner, record);
}

ArmSymbol::~ArmSymbol() = default;

void ArmSymbol::place(ArmObjectFileInput *newOwner, const AofSymbolRecord &record) {
    owner = newOwner;
    raw = record;
}

const char *ArmSymbol::name() {
    return owner->stringAt(raw.name);
}

ObjectFile *ArmSymbol::objectFile() {
    return owner;
}

uint32_t ArmSymbol::size() {
    return 0;
}

uint32_t ArmSymbol::alignment() {
    return 4;
}

uint32_t ArmSymbol::value() {
    return raw.value;
}

uint32_t ArmSymbol::originalValue() {
    return raw.value;
}

uint32_t ArmSymbol::other() {
    return 0;
}

bool ArmSymbol::isGlobal() {
    return (raw.attributes & aofSymbolGlobal) != 0;
}

bool ArmSymbol::isUndefined() {
    return (raw.attributes & aofSymbolDefined) == 0;
}

bool ArmSymbol::isCommon() {
    return (raw.attributes & aofSymbolCommon) != 0;
}

bool ArmSymbol::isSmallCommon() {
    return false;
}

bool ArmSymbol::isAbsolute() {
    return (raw.attributes & aofSymbolAbsolute) != 0;
}

Section *ArmSymbol::section() {
    return owner->areaWithNameOffset(raw.areaName);
}

SymbolBinding ArmSymbol::binding() {
    if (!(raw.attributes & aofSymbolGlobal)) return SymbolBinding::local;
    return (raw.attributes & aofSymbolWeak) ? SymbolBinding::weak : SymbolBinding::global;
}

SymbolType ArmSymbol::type() {
    Section *area = section();
    if (!area) return SymbolType::none;
    return area->isExecutable() ? SymbolType::function : SymbolType::data;
}
