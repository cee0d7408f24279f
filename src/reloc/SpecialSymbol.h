// SpecialSymbol: a symbol that a linker defines itself (the start or end of
// a section, the size of a group), whose value and size are worked out only
// when asked, by an IntEvaluator; and ElfSpecialSymbol, the same with a raw
// ELF record for the output's symbol table.  Nothing in the listing tool
// makes one.
#pragma once

#include "elf/ElfRecords.h"
#include "object/Symbol.h"

#include <cstdint>
#include <memory>

class ObjectFile;
class Section;
class SectionGroup;

// A number given late, when it is asked for.
class IntEvaluator {
public:
    virtual ~IntEvaluator();
    virtual uint32_t evaluate() = 0;
};

class ConstantEvaluator : public IntEvaluator {
public:
    explicit ConstantEvaluator(uint32_t value) : constant(value) {}
    uint32_t evaluate() override;
    // The one evaluator of 0 that every symbol made with a 0 shares; made
    // before main and never freed.
    static ConstantEvaluator &zero();

private:
    uint32_t constant;
};

// The size of a section as it is when asked: it may still grow.
class SectionSizeEvaluator : public IntEvaluator {
public:
    explicit SectionSizeEvaluator(Section &section) : section(section) {}
    uint32_t evaluate() override;

private:
    Section &section;
};

class GroupSizeEvaluator : public IntEvaluator {
public:
    explicit GroupSizeEvaluator(SectionGroup &group) : group(group) {}
    uint32_t evaluate() override;

private:
    SectionGroup &group;
};

class SpecialSymbol : public Symbol {
public:
    // From numbers: 0 uses the shared zero, any other number an evaluator
    // of the symbol's own.
    SpecialSymbol(const char *name, ObjectFile *objectFile, uint32_t value, uint32_t size,
                  Section *section);
    // From evaluators, which the caller keeps.
    SpecialSymbol(const char *name, ObjectFile *objectFile, IntEvaluator &value, IntEvaluator &size,
                  Section *section);
    ~SpecialSymbol() override;

    const char *name() override;
    ObjectFile *objectFile() override;
    uint32_t size() override;
    uint32_t value() override;
    uint32_t originalValue() override;
    bool isGlobal() override;
    bool isUndefined() override;
    bool isCommon() override;
    bool isSmallCommon() override;
    Section *section() override;
    bool isSpecial() override;
    bool isExportable() override;
    void setStrongReference() override;
    bool hasStrongReference() override;
    void setReferenced() override;
    bool isReferenced() override;

protected:
    std::unique_ptr<char[]> ownName;
    ObjectFile *file;
    IntEvaluator *valueEvaluator;
    IntEvaluator *sizeEvaluator;
    Section *definedIn;
    // The evaluators that the symbol made itself and owns; null for the
    // shared zero and for the caller's.
    std::unique_ptr<IntEvaluator> ownValue;
    std::unique_ptr<IntEvaluator> ownSize;
};

class ElfSpecialSymbol : public SpecialSymbol {
public:
    ElfSpecialSymbol(const char *name, ObjectFile *objectFile, uint32_t value, uint32_t size,
                     Section *section, bool global);

    bool isGlobal() override;
    bool isSpecial() override;
    Elf32_Sym *elfSymbol() override;

private:
    bool global;
    Elf32_Sym record;
};
