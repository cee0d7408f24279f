#include "coff/CoffRelocationsIterator.h"

#include "coff/CoffObjectFile.h"
#include "coff/CoffSection.h"
#include "elf/ElfRecords.h"
#include "input/FileName.h"
#include "object/ObjectFile.h"
#include "object/Symbol.h"
#include "support/botch.h"
#include "support/error.h"

#include <cstdio>

namespace {

// The symbol at the end of the resolution chain.
Symbol *rootOf(Symbol *symbol) {
    while (symbol->link != symbol)
        symbol = symbol->link;
    return symbol;
}

const Printable *printable(const FileName *name) {
    return name;
}

} // namespace

CoffRelocationsIterator::CoffRelocationsIterator(CoffRelocation *entries, uint32_t count,
                                                 CoffInputSection &section, Args *args)
    : entries(entries), entryCount(count), inputSection(&section),
      owner(section.objectFile()->asCoffObjectFile()), base(section.address()),
      sectionSize(section.size()), table(coffFixupTable(owner->coffMachine())),
      executableFile(owner->isExecutable()), args(args) {}

CoffRelocationsIterator::~CoffRelocationsIterator() = default;

const CoffFixupRow *CoffRelocationsIterator::rowOf(uint16_t type) {
    return type < table.rowCount ? &table.rows[type] : nullptr;
}

const CoffFixupRow *CoffRelocationsIterator::row() {
    return current < entryCount ? rowOf(entries[current].type) : nullptr;
}

const CoffRelocation *CoffRelocationsIterator::nextEntry() {
    return current + 1 < entryCount ? &entries[current + 1] : nullptr;
}

bool CoffRelocationsIterator::isCollection() {
    return false;
}
void CoffRelocationsIterator::setErrorContext(ErrorContext &errorContext) {
    errors = &errorContext;
}
void CoffRelocationsIterator::setFirstOption(uint8_t option) {
    firstOption = option;
}
void CoffRelocationsIterator::setSecondOption(uint8_t option) {
    secondOption = option;
}
uint32_t CoffRelocationsIterator::count() {
    return entryCount;
}
void CoffRelocationsIterator::setBaseOffset(uint32_t offset) {
    baseOffset = offset;
}

void CoffRelocationsIterator::each(RelocationVisitor visitor) {
    base = inputSection->address();
    sectionSize = inputSection->size();
    for (uint32_t at = 0; at < entryCount; ++at) {
        current = at;
        const CoffRelocation &entry = entries[at];
        if (entry.address >= sectionSize)
            botch("Relocation entry %d for section %s in file %O\n\treferences an offset "
                  "outside of the section (0x%lx >= 0x%lx)",
                  at, inputSection->name(), printable(owner->fileName), entry.address, sectionSize);
        if (!visitor(*this)) return;
        // The companion of a two-entry fixup is not an entry of its own.  A
        // companion met alone (-1) is passed over like any entry.
        const CoffFixupRow *fixup = rowOf(entry.type);
        if (fixup && fixup->companion > 0) at += uint32_t(fixup->companion);
    }
}

ObjectFile *CoffRelocationsIterator::objectFile() {
    return owner;
}

bool CoffRelocationsIterator::isPcRelative() {
    const CoffFixupRow *fixup = row();
    return fixup && fixup->pcRelative;
}
bool CoffRelocationsIterator::ignoresSpecialTargets() {
    return true;
}
Section *CoffRelocationsIterator::section() {
    return inputSection;
}
uint32_t CoffRelocationsIterator::dataOffset() {
    return current < entryCount ? entries[current].address : 0;
}
uint32_t CoffRelocationsIterator::index() {
    return current;
}

Symbol *CoffRelocationsIterator::targetSymbol() {
    if (current >= entryCount) botch("CoffRelocation::targetSymbol() bad call");
    Symbol *symbol = owner->symbolAt(entries[current].symndx);
    return symbol && !symbol->isSectionSymbol() ? symbol : nullptr;
}

Section *CoffRelocationsIterator::targetSection() {
    if (current >= entryCount) botch("CoffRelocation::targetSection() bad call");
    Symbol *symbol = owner->symbolAt(entries[current].symndx);
    if (!symbol || !symbol->isSectionSymbol()) return nullptr;
    Section *section = symbol->section();
    if (!section) botch("CoffRelocationsIterator::targetSection: %s has no sect", symbol->name());
    return section;
}

int32_t CoffRelocationsIterator::addend() {
    const CoffFixupRow *fixup = row();
    const CoffRelocation *next = nextEntry();
    // A two-entry fixup at the end of the table has no constant to read.
    return fixup && fixup->companion != 0 && next ? int32_t(next->symndx) : 0;
}

uint32_t CoffRelocationsIterator::elfRecordCount() {
    const CoffFixupRow *fixup = row();
    return fixup ? uint32_t(fixup->companion + 1) : 1;
}

uint32_t CoffRelocationsIterator::symIndexOf(int32_t &adjustment) {
    adjustment = 0;
    Section *mapped = nullptr;
    Section *combined = nullptr;
    if (Symbol *symbol = targetSymbol()) {
        Symbol *root = rootOf(symbol);
        adjustment = int32_t(root->address() - symbol->originalValue());
        if (root->isSpecial() && root->isGlobal()) return root->index();
        mapped = root->section();
        if (!mapped)
            botch("CoffRelocationsIterator entry %d for section %s in file %O references %s; it "
                  "isn't mapped!",
                  current, inputSection->name(), printable(owner->fileName), symbol->name());
        combined = mapped->combinedSection();
        if (!combined)
            botch("CoffRelocationsIterator entry %d for section %s in file %O references %s; it "
                  "isn't mapped!",
                  current, inputSection->name(), printable(owner->fileName), root->name());
    } else {
        mapped = targetSection();
        if (!mapped)
            botch("CoffRelocationsIterator entry %d for section %s in file %O is bad???", current,
                  inputSection->name(), printable(owner->fileName));
        combined = mapped->combinedSection();
        if (!combined)
            botch("CoffRelocationsIterator entry %d for section %s in file %O references %s; it "
                  "isn't mapped!",
                  current, inputSection->name(), printable(owner->fileName), mapped->name());
        adjustment = int32_t(combined->address() - mapped->inputAddress());
    }
    Symbol *sectionSymbol = combined->sectionSymbol();
    if (!sectionSymbol)
        botch("symIndexOf - output section %s doesn't have symbol!\n|\t(entry %d for section %s "
              "in file %O)",
              combined->name(), current, inputSection->name(), printable(owner->fileName));
    return sectionSymbol->index();
}

void CoffRelocationsIterator::eachCoffRecord(CoffRecordVisitor visitor) {
    // symIndexOf first: it stops a call outside a visit.
    int32_t adjustment = 0;
    CoffRelocation record{};
    record.symndx = symIndexOf(adjustment);
    const CoffRelocation &entry = entries[current];
    record.address = (baseOffset == 0xFFFFFFFF ? base : baseOffset) + entry.address;
    record.type = entry.type;
    if (!visitor(record)) return;
    const CoffFixupRow *fixup = rowOf(entry.type);
    const CoffRelocation *next = nextEntry();
    // A two-entry fixup at the end of the table writes its first record
    // only: there is no companion to copy.
    if (!fixup || fixup->companion == 0 || !next) return;
    record.type = next->type;
    record.symndx = uint32_t(adjustment) + next->symndx;
    visitor(record);
}

void CoffRelocationsIterator::eachElfRecord(ElfRecordVisitor visitor) {
    Elf32_Rela record{};
    record.r_offset = dataOffset();
    int32_t adjustment = 0;
    uint32_t symbolIndex = symIndexOf(adjustment);
    const CoffRelocation &entry = entries[current];
    const CoffFixupRow *fixup = rowOf(entry.type);
    const CoffRelocation *next = nextEntry();
    if (fixup && fixup->companion != 0 && next)
        record.r_addend = adjustment + int32_t(next->symndx);
    if (!table.elfTypes) {
        RelocationDescriptor::eachElfRecord(visitor);
        return;
    }
    uint32_t elfType = fixup ? table.elfTypes[entry.type] : 0;
    if (elfType == 0 && entry.type != 0)
        error("unable to translate COFF%Crelocation type to ELF equivalent.");
    record.r_info = elfType + symbolIndex * 256;
    visitor(record);
}

bool CoffRelocationsIterator::isNeededInOutput() {
    // Without a link's options there is no output to be needed in.
    return args && neededInOutput(*args);
}

bool CoffRelocationsIterator::apply(uint8_t *place) {
    if (current >= entryCount) botch("CoffRelocation::apply() bad call");
    const CoffRelocation &entry = entries[current];
    Symbol *symbol = owner->symbolAt(entry.symndx);
    if (!symbol) {
        error("bad fixup");
        return true;
    }
    uint32_t address = entry.address + base;
    const CoffFixupRow *fixup = rowOf(entry.type);
    if (!fixup || fixup->fixup == reloc::patchUnsupported) {
        error("bad fixup");
        // A type without a row has no routine to go on with.
        if (!fixup) return true;
    }
    uint32_t oldValue = symbol->originalValue();
    Symbol *root = rootOf(symbol);
    uint32_t newValue = root->address();
    if (firstOption == 3 && isNeededInOutput() && !symbol->isSectionSymbol())
        newValue = 0 - oldValue;
    if (fixup->companion != 0) {
        uint32_t other = current + uint32_t(int32_t(fixup->companion));
        bool inTable = other < entryCount;
        const CoffFixupRow *otherRow = inTable ? rowOf(entries[other].type) : nullptr;
        if (!otherRow || otherRow->companion != -1)
            error("2-part fixup missing its companion entry");
        if (inTable) newValue += entries[other].symndx;
    }
    uint32_t value = newValue - oldValue;
    if (fixup->pcRelative) {
        if (!fixup->fieldIsRelative || executableFile)
            value += inputSection->inputAddress() + entry.address;
        if (newValue == 0 && !root->isDefinedOrWeak()) {
            // An unresolved target of a field that already counts from the
            // place: the field stays as the compiler left it.
            if (fixup->fieldIsRelative && !secondOption) return true;
            if (firstOption == 3) value += address;
        } else if (firstOption == 2 && !secondOption && isNeededInOutput()) {
            value += address;
        }
    }
    if (!fixup->fixup(*this, place, value, address)) error("truncation error");
    return true;
}

ErrorContext *CoffRelocationsIterator::errorContext() {
    return errors;
}

const char *CoffRelocationsIterator::typeName() {
    uint16_t type = current < entryCount ? entries[current].type : 0;
    const CoffFixupRow *fixup = rowOf(type);
    if (!fixup || fixup->fixup == reloc::patchUnsupported) {
        static char buffer[12];
        std::snprintf(buffer, sizeof buffer, "%u?", unsigned(type));
        return buffer;
    }
    // A type with a routine and no name (type 16 of iX86) has no text; it
    // reads as an empty one rather than as none, so that a message that
    // names it stays whole.
    return fixup->name ? fixup->name : "";
}
