// BsdSymbol: the Symbol of one nlist entry of an a.out file.  It holds a copy
// of its entry in host order, with the value made relative to its section
// (data and bss values lose the sizes of the sections in front of them), and
// a reference to its name in the object file's string block; no name is
// copied.  The object file keeps all its symbols in one array.
//
// An a.out symbol has a size only when it is common: an undefined external
// whose value is not 0 is a common block of that many bytes.
#pragma once

#include "aout/BsdRecords.h"
#include "object/Symbol.h"

#include <cstdint>

class BsdObjectFile;

class BsdSymbol : public Symbol {
public:
    // An unplaced symbol; `place` gives it its entry and owner.
    BsdSymbol() = default;
    ~BsdSymbol() override;
    void place(const BsdNlist &entry, const char *name, BsdObjectFile *owner);

    const char *name() override;
    ObjectFile *objectFile() override;
    // The value of a common symbol, 0 for any other.
    uint32_t size() override;
    // 8, 4, 2 or 1 by the size.
    uint32_t alignment() override;
    uint32_t value() override;
    uint32_t originalValue() override;
    uint32_t other() override;
    // Bit 0 of `type`.
    bool isGlobal() override;
    // External undefined with value 0.
    bool isUndefined() override;
    // External undefined with a value: a common block.
    bool isCommon() override;
    bool isSmallCommon() override;
    bool isAbsolute() override;
    // Text, data or bss by `type`; null in a file without sections.
    Section *section() override;
    // Function in the text section, data in another, none without a section.
    SymbolType type() override;
    BsdNlist *bsdSymbol() override;

private:
    BsdNlist entry{};
    const char *nameText = "";
    BsdObjectFile *owner = nullptr;

    bool isExternalUndefined() { return (entry.type & 0x1F) == (bsdExternal | bsdUndefined); }
};
