// The symbols that a linker defines itself and the evaluators of their late
// values.
#include "reloc/SpecialSymbol.h"

#include "object/Section.h"
#include "object/SectionGroup.h"

#include <cstring>

IntEvaluator::~IntEvaluator() = default;

uint32_t ConstantEvaluator::evaluate() {
    return constant;
}

ConstantEvaluator &ConstantEvaluator::zero() {
    static ConstantEvaluator *shared = new ConstantEvaluator(0);
    return *shared;
}

namespace {
// Made at program start, as the shared zero is meant to be.
[[maybe_unused]] ConstantEvaluator &startZero = ConstantEvaluator::zero();

std::unique_ptr<char[]> copyOf(const char *text) {
    size_t length = strlen(text) + 1;
    std::unique_ptr<char[]> copy(new char[length]);
    memcpy(copy.get(), text, length);
    return copy;
}

// The symbol's own evaluator of `number`, or none for 0 (the shared zero).
std::unique_ptr<IntEvaluator> constantFor(uint32_t number) {
    return number ? std::make_unique<ConstantEvaluator>(number) : nullptr;
}
} // namespace

uint32_t SectionSizeEvaluator::evaluate() {
    return section.size();
}
uint32_t GroupSizeEvaluator::evaluate() {
    return group.size();
}

SpecialSymbol::SpecialSymbol(const char *name, ObjectFile *objectFile, uint32_t value,
                             uint32_t size, Section *section)
    : ownName(copyOf(name)), file(objectFile), definedIn(section), ownValue(constantFor(value)),
      ownSize(constantFor(size)) {
    valueEvaluator = ownValue ? ownValue.get() : &ConstantEvaluator::zero();
    sizeEvaluator = ownSize ? ownSize.get() : &ConstantEvaluator::zero();
}

SpecialSymbol::SpecialSymbol(const char *name, ObjectFile *objectFile, IntEvaluator &value,
                             IntEvaluator &size, Section *section)
    : ownName(copyOf(name)), file(objectFile), valueEvaluator(&value), sizeEvaluator(&size),
      definedIn(section) {}

SpecialSymbol::~SpecialSymbol() = default;

const char *SpecialSymbol::name() {
    return ownName.get();
}
ObjectFile *SpecialSymbol::objectFile() {
    return file;
}
uint32_t SpecialSymbol::size() {
    return sizeEvaluator->evaluate();
}
uint32_t SpecialSymbol::value() {
    return valueEvaluator->evaluate();
}
uint32_t SpecialSymbol::originalValue() {
    return valueEvaluator->evaluate();
}
bool SpecialSymbol::isGlobal() {
    return true;
}
bool SpecialSymbol::isUndefined() {
    return false;
}
bool SpecialSymbol::isCommon() {
    return false;
}
bool SpecialSymbol::isSmallCommon() {
    return false;
}
Section *SpecialSymbol::section() {
    return definedIn;
}
bool SpecialSymbol::isSpecial() {
    return true;
}
bool SpecialSymbol::isExportable() {
    return false;
}
// A linker's own symbol counts as referenced, strongly, from the start.
void SpecialSymbol::setStrongReference() {}
bool SpecialSymbol::hasStrongReference() {
    return true;
}
void SpecialSymbol::setReferenced() {}
bool SpecialSymbol::isReferenced() {
    return true;
}

ElfSpecialSymbol::ElfSpecialSymbol(const char *name, ObjectFile *objectFile, uint32_t value,
                                   uint32_t size, Section *section, bool global)
    : SpecialSymbol(name, objectFile, value, size, section), global(global), record() {
    record.st_size = size;
    // Binding in the high four bits (1 global, 0 local), type 0.
    record.st_info = uint8_t((global ? 1 : 0) << 4);
}

bool ElfSpecialSymbol::isGlobal() {
    return global;
}
bool ElfSpecialSymbol::isSpecial() {
    return false;
}
Elf32_Sym *ElfSpecialSymbol::elfSymbol() {
    return &record;
}
