// CoffSymbol: the Symbol of one entry of a COFF symbol table.  It holds its
// object file and its table index and nothing else: every answer reads the
// entry through the object file's `syment`, each time.  The reader has made
// the entry's value relative to its section and its name a reference that
// `symbolName` resolves.
#pragma once

#include "object/Symbol.h"

#include <cstdint>

class CoffObjectFile;

class CoffSymbol : public Symbol {
public:
    // An unplaced symbol; `place` gives it its owner and index.
    CoffSymbol() = default;
    CoffSymbol(CoffObjectFile &owner, uint32_t index);
    ~CoffSymbol() override;

    void place(CoffObjectFile &owner, uint32_t index);

    const char *name() override;
    uint32_t index() override;
    ObjectFile *objectFile() override;
    ObjectFile *originalObjectFile() override;
    // Of a common symbol its value; of a section symbol the section length
    // of the auxiliary entry; of others the size field of the auxiliary
    // entry, if any.
    uint32_t size() override;
    uint32_t alignment() override;
    // 0 for an undefined or common external symbol.
    uint32_t value() override;
    void setValue(uint32_t value) override;
    // The value as the file gave it, before it was made relative.
    uint32_t originalValue() override;
    uint32_t other() override;
    // Class 2 (external) or 5 (external definition).
    bool isGlobal() override;
    bool isUndefined() override;
    bool isCommon() override;
    bool isSmallCommon() override;
    // Section number -1.
    bool isAbsolute() override;
    bool isSectionSymbol() override;
    Section *section() override;
    SymbolType type() override;
    struct syment *coffSymbol() override;
    struct syment *coffAuxiliary(uint32_t n) override;

private:
    CoffObjectFile *owner = nullptr;
    uint32_t tableIndex = 0;

    struct syment &entry();
};
