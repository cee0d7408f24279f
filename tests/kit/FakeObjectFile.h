// A made-up object file for listing tests: its sections and symbols are
// described in the test itself, field by field, so every layout, filter and
// sort of the listing can be checked without any format reader.
//
//     FakeObjectFile object("a.o");
//     FakeSection &text = object.section(".text").executable();
//     object.symbol("a.c").local().file().absolute();
//     object.symbol("main").global().function().in(text).sized(32);
//     object.symbol("printf").global().undefined();
//
// A symbol answers every question of the listing from its fields; what a test
// does not set keeps a neutral value (local, no type, value 0, no section, not
// undefined, not common).  Operations the listing never asks of a symbol or a
// section keep the base class's behaviour.
#pragma once

#include "input/FileName.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class FakeObjectFile;

class FakeSection : public Section {
public:
    FakeSection(FakeObjectFile &owner, std::string name) : owner(owner), sectionName(name) {}

    FakeSection &executable() {
        exec = true;
        return *this;
    }
    FakeSection &bss() {
        noBits = true;
        writable = true;
        return *this;
    }
    FakeSection &data() {
        writable = true;
        return *this;
    }

    // A section whose name() is null.
    FakeSection &nullName() {
        hasName = false;
        return *this;
    }

    const char *name() override { return hasName ? sectionName.c_str() : nullptr; }
    uint32_t size() override { return 0; }
    ObjectFile *objectFile() override;
    bool isAllocated() override { return true; }
    bool isExecutable() override { return exec; }
    bool isWritable() override { return writable; }
    bool isBss() override { return noBits; }
    void eachRawDataChunk(RawDataChunkVisitor) override {}
    RelocationsIterator *relocations() override { return nullptr; }

private:
    FakeObjectFile &owner;
    std::string sectionName;
    bool hasName = true;
    bool exec = false;
    bool writable = false;
    bool noBits = false;
};

class FakeSymbol : public Symbol {
public:
    FakeSymbol(FakeObjectFile &owner, std::string name) : owner(owner), symbolName(name) {}

    // Description, each answering the symbol for chaining.
    FakeSymbol &at(uint32_t v) { return set(symbolValue, v); }
    FakeSymbol &sized(uint32_t n) { return set(symbolSize, n); }
    FakeSymbol &withOther(uint32_t o) { return set(otherByte, o); }
    FakeSymbol &local() { return set(symbolBinding, SymbolBinding::local); }
    FakeSymbol &global() { return set(symbolBinding, SymbolBinding::global); }
    FakeSymbol &weak() { return set(symbolBinding, SymbolBinding::weak); }
    FakeSymbol &bindingValue(uint8_t raw) { return set(symbolBinding, SymbolBinding(raw)); }
    FakeSymbol &data() { return set(symbolType, SymbolType::data); }
    FakeSymbol &function() { return set(symbolType, SymbolType::function); }
    FakeSymbol &sectionType() { return set(symbolType, SymbolType::section); }
    FakeSymbol &file() { return set(symbolType, SymbolType::file); }
    FakeSymbol &typeValue(uint8_t raw) { return set(symbolType, SymbolType(raw)); }
    FakeSymbol &in(FakeSection &s) { return set(definingSection, &s); }
    FakeSymbol &undefined() { return set(undefinedFlag, true); }
    FakeSymbol &common() { return set(commonFlag, true); }
    FakeSymbol &smallCommon() { return set(smallCommonFlag, true); }
    // Absolute whatever else it is; without this a symbol is absolute as
    // the base class says (defined and without a section).
    FakeSymbol &absolute() { return set(absoluteFlag, true); }
    FakeSymbol &notAbsolute() { return set(absoluteFlag, false); }
    // A symbol whose name() is null rather than empty.
    FakeSymbol &nullName() { return set(hasName, false); }

    // How often the listing asked for the name: tells whether a sort ran.
    uint32_t nameQueries = 0;

    const char *name() override {
        ++nameQueries;
        return hasName ? symbolName.c_str() : nullptr;
    }
    ObjectFile *objectFile() override;
    uint32_t size() override { return symbolSize; }
    uint32_t value() override { return symbolValue; }
    uint32_t other() override { return otherByte; }
    bool isGlobal() override {
        return symbolBinding == SymbolBinding::global || symbolBinding == SymbolBinding::weak;
    }
    bool isUndefined() override { return undefinedFlag; }
    bool isCommon() override { return commonFlag; }
    bool isSmallCommon() override { return smallCommonFlag; }
    bool isAbsolute() override {
        return absoluteFlag == Tristate::unset ? Symbol::isAbsolute()
                                               : absoluteFlag == Tristate::yes;
    }
    Section *section() override { return definingSection; }
    SymbolBinding binding() override { return symbolBinding; }
    SymbolType type() override { return symbolType; }

private:
    enum class Tristate : uint8_t { unset, no, yes };

    template <typename Field, typename Value> FakeSymbol &set(Field &field, Value v) {
        field = v;
        return *this;
    }
    FakeSymbol &set(Tristate &field, bool v) {
        field = v ? Tristate::yes : Tristate::no;
        return *this;
    }

    FakeObjectFile &owner;
    std::string symbolName;
    bool hasName = true;
    uint32_t symbolValue = 0;
    uint32_t symbolSize = 0;
    uint32_t otherByte = 0;
    SymbolBinding symbolBinding = SymbolBinding::local;
    SymbolType symbolType = SymbolType::none;
    FakeSection *definingSection = nullptr;
    bool undefinedFlag = false;
    bool commonFlag = false;
    bool smallCommonFlag = false;
    Tristate absoluteFlag = Tristate::unset;
};

class FakeObjectFile : public ObjectFile {
public:
    // `name` is the file's display name.  For a library member, pass an
    // ArchiveMemberName, which shows as "lib(member)".
    explicit FakeObjectFile(const char *name);
    explicit FakeObjectFile(const FileName &name) : ObjectFile(name) {}

    FakeSection &section(const char *name);
    FakeSymbol &symbol(const char *name);

    // Makes symbolCount answer `n` instead of the number of symbols.
    void claimSymbolCount(uint32_t n) { claimedCount = n; }
    // How often a walk over the symbols ran, all or globals only.
    uint32_t symbolWalks = 0;
    uint32_t globalWalks = 0;

    void each(SymbolVisitor visitor) override { eachSymbol(visitor); }
    uint32_t count() override { return static_cast<uint32_t>(symbols.size()); }
    ObjectFormatKind formatKind() override;
    bool isCompatibleWith(ObjectFile &) override { return true; }
    void eachSection(SectionVisitor visitor) override;
    uint32_t symbolCount() override;
    void eachSymbol(SymbolVisitor visitor) override;
    void eachGlobalSymbol(SymbolVisitor visitor) override;
    bool isLittleEndian() override { return true; }

private:
    std::vector<std::unique_ptr<FakeSection>> sections;
    std::vector<std::unique_ptr<FakeSymbol>> symbols;
    int64_t claimedCount = -1;
};
