// ArmSymbol: the Symbol of one record of an AOF symbol table ("OBJ_SYMT").
//
// A record is four words: the name's offset in the string table, attribute
// bits (defined 0x01, global 0x02, absolute 0x04, weak 0x10, common 0x40),
// the value, and the offset of the defining area's name.  An area is found by
// that name offset, not by an index.  AOF keeps no symbol sizes, so every
// size is 0, commons too.
//
// The symbol keeps a copy of its 16-byte record in host order; its name stays
// in the owner's string table and is never copied.  The owner keeps all its
// symbols in one array, placed one by one as the table is read.
#pragma once

#include "aof/ArmUtil.h"
#include "object/Symbol.h"

#include <cstdint>

class ArmObjectFileInput;

class ArmSymbol : public Symbol {
public:
    ArmSymbol() = default;
    ArmSymbol(ArmObjectFileInput *owner, const AofSymbolRecord &record);
    ~ArmSymbol() override;
    void place(ArmObjectFileInput *owner, const AofSymbolRecord &record);

    // Null when the name offset lies outside the string table.
    const char *name() override;
    ObjectFile *objectFile() override;
    uint32_t size() override;
    uint32_t alignment() override;
    uint32_t value() override;
    uint32_t originalValue() override;
    uint32_t other() override;
    bool isGlobal() override;
    bool isUndefined() override;
    bool isCommon() override;
    bool isSmallCommon() override;
    bool isAbsolute() override;
    // The first area whose name offset is the record's area name offset.
    Section *section() override;
    SymbolBinding binding() override;
    SymbolType type() override;

    const AofSymbolRecord &record() const { return raw; }

private:
    ArmObjectFileInput *owner = nullptr;
    AofSymbolRecord raw = {};
};
