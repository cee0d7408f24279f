// ElfSymbol: the Symbol of one entry of an ELF symbol table.  It holds no
// data of its own beyond its table and its index: every question reads the
// raw record in the table, so a repair that the reader makes to a record (a
// section symbol turned into data, a symbol of a discarded section made
// undefined) shows at once.  The table keeps all its symbols in one array,
// so a table of many symbols costs one allocation.
#pragma once

#include "elf/ElfRecords.h"
#include "object/Symbol.h"

#include <cstdint>

class ElfSymtabSectionFromFile;

class ElfSymbol : public Symbol {
public:
    // An unplaced symbol; `place` gives it its table and index.
    ElfSymbol() = default;
    ElfSymbol(ElfSymtabSectionFromFile *owner, uint32_t index);
    ~ElfSymbol() override;
    void place(ElfSymtabSectionFromFile *owner, uint32_t index);

    const char *name() override;
    uint32_t index() override;
    ObjectFile *objectFile() override;
    uint32_t size() override;
    uint32_t alignment() override;
    uint32_t value() override;
    uint32_t other() override;
    // Bindings 1 (global), 2 (weak) and 12 (export).
    bool isGlobal() override;
    bool isUndefined() override;
    bool isCommon() override;
    bool isSmallCommon() override;
    bool isAbsolute() override;
    bool isSectionSymbol() override;
    Section *section() override;
    // Any binding but 0, 1 and 2 reads as local here.
    SymbolBinding binding() override;
    SymbolType type() override;
    Elf32_Sym *elfSymbol() override;
    bool isSymbolFlagA() override;
    bool preemptsSharedDefinition() override;
    bool isSymbolFlagC() override;
    bool isExportable() override;
    bool isResolvedLocally() override;
    bool isAliasOf(Symbol &other) override;
    bool isImportStub() override;
    bool isMarked() override;
    void setStrongReference() override;
    bool hasStrongReference() override;
    void setReferenced() override;
    bool isReferenced() override;
    bool isExportBinding() override;
    uint32_t versionIndex() override;

private:
    ElfSymtabSectionFromFile *owner = nullptr;
    uint32_t tableIndex : 24 = 0;
    uint32_t referenced : 1 = 0;
    uint32_t strongReference : 1 = 0;

    const Elf32_Sym &raw();
    uint8_t bind() { return elfSymbolBinding(raw().st_info); }
    uint8_t symbolType() { return elfSymbolType(raw().st_info); }
    uint16_t machineNumber();
};
