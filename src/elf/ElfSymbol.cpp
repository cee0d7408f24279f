#include "elf/ElfSymbol.h"

#include "elf/ElfObjectFile.h"
#include "elf/ElfSymtabSection.h"

ElfSymbol::ElfSymbol(ElfSymtabSectionFromFile *owner, uint32_t index) {
    place(owner, index);
}

ElfSymbol::~ElfSymbol() = default;

void ElfSymbol::place(ElfSymtabSectionFromFile *newOwner, uint32_t index) {
    owner = newOwner;
    tableIndex = index;
}

const Elf32_Sym &ElfSymbol::raw() {
    return *owner->rawSymbol(tableIndex);
}

uint16_t ElfSymbol::machineNumber() {
    ObjectFile *file = owner->objectFile();
    return file ? static_cast<uint16_t>(file->machine()) : 0;
}

const char *ElfSymbol::name() {
    return owner->stringTable()->stringAt(raw().st_name);
}
uint32_t ElfSymbol::index() {
    return tableIndex;
}
ObjectFile *ElfSymbol::objectFile() {
    return owner->objectFile();
}
uint32_t ElfSymbol::size() {
    return raw().st_size;
}

uint32_t ElfSymbol::alignment() {
    const Elf32_Sym &s = raw();
    if (s.st_shndx == SHN_COMMON && s.st_value != 0) return s.st_value;
    if (s.st_size >= 8) return 8;
    if (s.st_size >= 4) return 4;
    if (s.st_size >= 2) return 2;
    return 1;
}

uint32_t ElfSymbol::value() {
    return raw().st_value;
}
uint32_t ElfSymbol::other() {
    return raw().st_other;
}

bool ElfSymbol::isGlobal() {
    uint8_t b = bind();
    return b == STB_GLOBAL || b == STB_WEAK || b == STB_EXPORT;
}

bool ElfSymbol::isUndefined() {
    return raw().st_shndx == SHN_UNDEF && isGlobal();
}

bool ElfSymbol::isCommon() {
    if (!isGlobal()) return false;
    uint16_t shndx = raw().st_shndx;
    return shndx == SHN_COMMON || (shndx == SHN_MIPS_ACOMMON && machineNumber() == EM_MIPS) ||
           isSmallCommon();
}

bool ElfSymbol::isSmallCommon() {
    uint16_t shndx = raw().st_shndx;
    uint16_t machine = machineNumber();
    return (machine == EM_MIPS && shndx == SHN_MIPS_SCOMMON) ||
           (machine == EM_PPC && shndx == SHN_LORESERVE);
}

bool ElfSymbol::isAbsolute() {
    return raw().st_shndx == SHN_ABS;
}

bool ElfSymbol::isSectionSymbol() {
    return symbolType() == STT_SECTION && bind() == STB_LOCAL;
}

Section *ElfSymbol::section() {
    uint16_t shndx = raw().st_shndx;
    if (shndx == SHN_UNDEF || shndx >= SHN_LORESERVE) return nullptr;
    ElfObjectFile *file = owner->elfObjectFile();
    return file ? file->sectionAt(shndx) : nullptr;
}

SymbolBinding ElfSymbol::binding() {
    switch (bind()) {
    case STB_GLOBAL:
        return SymbolBinding::global;
    case STB_WEAK:
        return SymbolBinding::weak;
    default:
        return SymbolBinding::local;
    }
}

SymbolType ElfSymbol::type() {
    switch (symbolType()) {
    case STT_OBJECT:
        return SymbolType::data;
    case STT_FUNC:
    case STT_THUMB_FUNC:
    case STT_ARM_FUNC_2:
    case STT_THUMB_FUNC_2:
        return SymbolType::function;
    case STT_SECTION:
        return SymbolType::section;
    case STT_FILE:
        return SymbolType::file;
    default:
        return SymbolType::none;
    }
}

Elf32_Sym *ElfSymbol::elfSymbol() {
    return owner->rawSymbol(tableIndex);
}
bool ElfSymbol::isSymbolFlagA() {
    return false;
}
bool ElfSymbol::preemptsSharedDefinition() {
    return false;
}
bool ElfSymbol::isSymbolFlagC() {
    return false;
}
bool ElfSymbol::isExportable() {
    return true;
}
bool ElfSymbol::isResolvedLocally() {
    return false;
}

bool ElfSymbol::isAliasOf(Symbol &other) {
    if (&other == this) return true;
    if (other.objectFile() != objectFile()) return false;
    const Elf32_Sym *theirs = other.elfSymbol();
    if (!theirs) return false;
    const Elf32_Sym &mine = raw();
    return theirs->st_value == mine.st_value && theirs->st_shndx != SHN_UNDEF &&
           theirs->st_shndx != SHN_COMMON && theirs->st_shndx == mine.st_shndx;
}

bool ElfSymbol::isImportStub() {
    if (strongReference) return false;
    Section *home = section();
    if (!home) return false;
    const Elf32_Shdr *header = home->elfHeader();
    return header && header->sh_type == SHT_IMPORTS;
}

bool ElfSymbol::isMarked() {
    return referenced || strongReference;
}
void ElfSymbol::setStrongReference() {
    strongReference = 1;
}
bool ElfSymbol::hasStrongReference() {
    return strongReference;
}
void ElfSymbol::setReferenced() {
    referenced = 1;
}
bool ElfSymbol::isReferenced() {
    return referenced;
}
bool ElfSymbol::isExportBinding() {
    return bind() == STB_EXPORT;
}
uint32_t ElfSymbol::versionIndex() {
    return owner->versionIndex(tableIndex);
}
