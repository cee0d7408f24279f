#include "reloc/ElfReltabSectionFromInput.h"

#include "elf/ElfObjectFile.h"
#include "elf/ElfSymtabSection.h"
#include "elf/ElfUtil.h"
#include "input/FileName.h"
#include "object/Symbol.h"
#include "reloc/ElfARMFixupTable.h"
#include "reloc/ElfPPCFixupTable.h"
#include "reloc/ElfVCFixupTable.h"
#include "support/botch.h"
#include "support/error.h"

#include <cstddef>
#include <cstdio>

namespace {

const Printable *printable(const FileName *name) {
    return name;
}

// The symbol at the end of a resolution chain.
Symbol *rootOf(Symbol *symbol) {
    if (!symbol) return nullptr;
    while (symbol->link != symbol)
        symbol = symbol->link;
    return symbol;
}

// How many bytes the routine of a row writes.  The generic routines and
// the PowerPC halves say it by their names; the ARM and VideoCore tables say
// it of their fields that are not one word (a Thumb half, the ADRL pair, the
// 48-bit and 80-bit instructions); any other routine of a processor patches
// an instruction word and counts as four bytes.  That refuses a shorter
// field at the very end of a section rather than let a routine write past
// the end.
uint32_t fieldWidth(const FixupRow &row) {
    using namespace reloc;
    FixupRoutine f = row.fixup;
    if (!f && !row.tableFixup) return 0;
    if (uint32_t wide = armFieldWidth(row)) return wide;
    if (uint32_t wide = vcFieldWidth(row)) return wide;
    if (f == patchNothing || f == patchUnsupported) return 0;
    if (f == add8 || f == set8 || f == addPc8 || f == negate8) return 1;
    const FixupRoutine twoBytes[] = {add16Be,
                                     add16Le,
                                     set16Be,
                                     set16Le,
                                     addPc16Be,
                                     addPc16Le,
                                     negate16Be,
                                     negate16Le,
                                     setNegatedLow16Be,
                                     setNegatedLow16Le,
                                     setNegatedHigh16Be,
                                     setNegatedHigh16Le,
                                     setNegatedAdjusted16Be,
                                     setNegatedAdjusted16Le,
                                     ppcSet16Be,
                                     ppcSet16Le,
                                     ppcLow16Be,
                                     ppcLow16Le,
                                     ppcHigh16Be,
                                     ppcHigh16Le,
                                     ppcAdjusted16Be,
                                     ppcAdjusted16Le};
    for (FixupRoutine g : twoBytes)
        if (f == g) return 2;
    if (f == set24Be || f == set24Le || f == negate24Be || f == negate24Le) return 3;
    return 4;
}

// Inclusive ranges of relocation types.
struct TypeRange {
    uint32_t first, last;
};

template <size_t N> bool inRanges(uint32_t type, const TypeRange (&ranges)[N]) {
    for (const TypeRange &r : ranges)
        if (type >= r.first && type <= r.last) return true;
    return false;
}

// Types that need no record in a compact table of run-time fixes.
const TypeRange mipsNoRecord[] = {{7, 7}, {9, 0xC}, {0x13, 0x18}, {0x1E, 0x21}, {0x25, 0x25}};
const TypeRange ppcNoRecord[] = {{0xA, 0xD},   {0x20, 0x20}, {0x65, 0x65}, {0x6A, 0x6D},
                                 {0x6F, 0x72}, {0x74, 0x74}, {0xB4, 0xB9}};
const TypeRange armNoRecord[] = {{2, 2},       {0xC, 0xC},   {0x10, 0x1C}, {0x20, 0x23},
                                 {0x2E, 0x31}, {0x43, 0x43}, {0x50, 0x56}, {0x59, 0x59}};
const TypeRange vcNoRecord[] = {{4, 0xB},     {0xD, 0x12},  {0x16, 0x2B}, {0x32, 0x34},
                                {0x36, 0x38}, {0x3A, 0x3A}, {0x3E, 0x41}};

} // namespace

uint32_t ElfReltabDescriptor::index() {
    return currentIndex();
}

ElfReltabSectionFromInput::ElfReltabSectionFromInput(const char *name, const Elf32_Shdr &header,
                                                     ElfObjectFile &file, ElfFixupTable &fixups,
                                                     ErrorContext &errorContext)
    : ElfReltabSection(name, header, &file), fixups(&fixups), errors(&errorContext) {
    options = RelocationOptions{};
    options.outputFormat = 3; // ELF
    target = file.sectionAt(header.sh_info);
    if (!target) botch("Section %s doesn't have target section in %s", name, file.name());
    targetSize = target->fileSize();
    machine = file.header.e_machine;
    isArm = machine == EM_ARM;
    outputHasNoAddends = ElfUtil::usesRel(machine);
}

ElfReltabSectionFromInput::~ElfReltabSectionFromInput() = default;

uint32_t ElfReltabSectionFromInput::count() {
    return recordCount;
}

void ElfReltabSectionFromInput::setOptions(const RelocationOptions &newOptions) {
    options = newOptions;
    skipRunTimeCheck = !options.relocatableOutput && !options.dynamicOutput;
}

void ElfReltabSectionFromInput::setArgs(Args *linkArgs) {
    args = linkArgs;
}

ElfSymtabSection &ElfReltabSectionFromInput::findSymbolTable() {
    symbolTable = file->symtabAt(header.sh_link);
    if (!symbolTable) botch("ElfReltabSectionFromInput::each() bad symtab");
    return *symbolTable;
}

void ElfReltabSectionFromInput::eachEntry(RelocationVisitor visitor) {
    findSymbolTable();
    targetOffset = target->offsetInCombinedSection();
    for (uint32_t i = 0; i < recordCount; ++i) {
        current = i;
        if (!visitor(*this)) return;
    }
}

void ElfReltabSectionFromInput::setErrorContext(ErrorContext &errorContext) {
    errors = &errorContext;
}

void ElfReltabSectionFromInput::suppressRunTimeCheck() {
    skipRunTimeCheck = true;
}

void ElfReltabSectionFromInput::preprocessReferences(ObjectFile &output,
                                                     const RelocationOptions &newOptions) {
    setOptions(newOptions);
    outputFile = output.asElfObjectFile();
    if (isArm) checkInterworking();
    RelocationsIteratorWithTables::preprocessReferences(output, newOptions);
}

void ElfReltabSectionFromInput::checkInterworking() {
    eachEntry([&](RelocationDescriptor &) {
        uint32_t t = type();
        if (t != 0x40 && t != 0x41 && t != 0x42) return true;
        Symbol *root = rootOf(targetSymbol());
        Elf32_Sym *raw = root ? root->elfSymbol() : nullptr;
        uint32_t kind = raw ? raw->st_info & 0xF : 0;
        // A Thumb function (0xF) for a call from ARM code; an ARM function
        // (0xE) for a call from Thumb code.
        bool keep = t == 0x40 ? kind == 0xF : kind == 0xE;
        if (!keep) setType(t == 0x40 ? 2 : t == 0x41 ? 0x22 : 0x23);
        return true;
    });
}

void ElfReltabSectionFromInput::preprocessSpecialReference(RelocationDescriptor &entry,
                                                           ObjectFile &output,
                                                           const RelocationOptions &) {
    if (entry.referenceKind() != ReferenceKind::machineSpecific) return;
    ElfObjectFile *elf = output.asElfObjectFile();
    if (!elf) return;
    uint32_t t = entry.elfType();
    int32_t offset = 0;
    switch (elf->machine()) {
    case EM_MIPS:
        if (t != 0x14) return;
        if (GotTable *table = elf->firstLinkerTable())
            if (Section *section = entry.unmappedSection(offset))
                table->addSection(section, static_cast<uint32_t>(offset), 0x8000);
        return;
    case EM_PPC_IBM:
    case EM_PPC: {
        GotTable *table = t == 0x6A   ? elf->firstLinkerTable()
                          : t == 0x6B ? elf->secondLinkerTable()
                          : t == 0x7A ? elf->thirdLinkerTable()
                                      : nullptr;
        if (!table) return;
        Symbol *symbol = entry.mappedSymbol(offset);
        if (symbol && symbol->isGlobal()) {
            table->addSymbol(symbol, offset);
            return;
        }
        if (Section *section = entry.unmappedSection(offset))
            table->addSection(section, static_cast<uint32_t>(offset));
        else
            entry.error("Target symbol/section is missing.");
        return;
    }
    default:
        return;
    }
}

uint32_t ElfReltabSectionFromInput::currentIndex() {
    return current;
}

void ElfReltabSectionFromInput::keepFixupTable(std::unique_ptr<ElfFixupTable> table) {
    ownedFixups = std::move(table);
    fixups = ownedFixups.get();
}

const FixupRow *ElfReltabSectionFromInput::row() {
    return fixups->lookup(type());
}

bool ElfReltabSectionFromInput::isPcRelative() {
    const FixupRow *r = row();
    return r && r->pcRelative;
}

bool ElfReltabSectionFromInput::targetWasReset(uint32_t index) const {
    return (sectionOverrides && sectionOverrides[index]) ||
           (symbolOverrides && symbolOverrides[index]);
}

Symbol *ElfReltabSectionFromInput::baseSymbol() {
    if (!symbolTable) findSymbolTable();
    return symbolTable->symbolAt(recordInfo(current) >> 8);
}

Symbol *ElfReltabSectionFromInput::targetSymbol() {
    if (symbolOverrides && symbolOverrides[current]) return symbolOverrides[current];
    if (sectionOverrides && sectionOverrides[current]) return nullptr;
    Symbol *symbol = baseSymbol();
    return symbol && !symbol->isSectionSymbol() ? symbol : nullptr;
}

Section *ElfReltabSectionFromInput::targetSection() {
    if (sectionOverrides && sectionOverrides[current]) return sectionOverrides[current];
    Symbol *symbol =
        symbolOverrides && symbolOverrides[current] ? symbolOverrides[current] : baseSymbol();
    return symbol && symbol->isSectionSymbol() ? symbol->section() : nullptr;
}

Symbol *ElfReltabSectionFromInput::mappedSymbolChecked(int32_t &offset, bool checkDiscard) {
    Symbol *symbol = mappedSymbol(offset);
    if (symbol || !checkDiscard) return symbol;
    Symbol *base = baseSymbol();
    Section *home = base ? base->section() : nullptr;
    if (home && !home->isComdat() && home->isAllocated())
        botch("In %O, section %s, entry #%d: reloc entry can't ref symbol %s for section %s@%O!",
              printable(fileName()), name(), current, base->name(), home->name(),
              printable(home->fileName()));
    return nullptr;
}

bool ElfReltabSectionFromInput::apply(uint8_t *field) {
    uint32_t offset = dataOffset();
    const FixupRow *fixup = row();
    // The field must lie inside the target's bytes, for every width the
    // row's routine writes.
    uint32_t width = fixup ? fieldWidth(*fixup) : 0;
    if (offset >= targetSize || width > targetSize - offset) {
        error("bad offset (=0x%lx)", offset);
        return false;
    }
    if (!fixup) errors->fatal("Relocation type %d not supported (e_machine = %d)", type(), machine);
    if (!applies()) return true;

    uint32_t at = place();
    int32_t mappedOffset = 0;
    Symbol *mapped = mappedSymbolChecked(mappedOffset, true);
    uint32_t value;
    if (!mapped) {
        Section *section = targetSection();
        value = static_cast<uint32_t>(addend()) + (section ? section->address() : 0);
    } else if (!options.relocatableOutput || options.outputFormat != 3 ||
               !neededInOutput(linkArgs("apply"))) {
        value = valueOf(mapped, nullptr, mappedOffset);
    } else {
        // The record stays in a relocatable output: the field gets the offset
        // from the mapped symbol; a pc-relative field without an addend in
        // its record also counts the distance from the place.
        Section *section = targetSection();
        if (!hasExplicitAddend() && isPcRelative() && section)
            value = section->offsetInCombinedSection() + at;
        else
            value = static_cast<uint32_t>(mappedOffset);
    }
    bool fitted = fixup->tableFixup ? fixup->tableFixup(*fixups, *this, field, value, at)
                                    : fixup->fixup(*this, field, value, at);
    if (!fitted) error("displacement too large");
    return true;
}

Section *ElfReltabSectionFromInput::dataSection() {
    return target;
}

void ElfReltabSectionFromInput::eachElfRecord(ElfRecordVisitor visitor) {
    if (!outputHasNoAddends && !hasExplicitAddend()) {
        errors->error("Object file %O cannot be incrementally linked;%Cit was produced with a "
                      "back-level assembler.",
                      printable(fileName()));
        outputHasNoAddends = true;
    }
    int32_t offset = 0;
    Symbol *mapped = mappedSymbolChecked(offset, false);
    Elf32_Rela record;
    record.r_offset = dataOffset() + targetOffset;
    record.r_info = ((mapped ? mapped->index() : 0) << 8) + (type() & 0xFF);
    record.r_addend = outputHasNoAddends ? 0 : offset;
    visitor(record);
}

Args &ElfReltabSectionFromInput::linkArgs(const char *operation) {
    if (!args) botch("ElfReltabSectionFromInput::%s -- no link arguments", operation);
    return *args;
}

bool ElfReltabSectionFromInput::applies() {
    if (!options.relocatableOutput) {
        bool checked = options.dynamicOutput && !skipRunTimeCheck &&
                       (!options.referencesCheck || options.referencesCheckOverride) &&
                       options.outputFormat == 3 && neededAtRunTime(linkArgs("applies"));
        if (!checked) return true;
        // The dynamic linker patches this place at run time.
        return !(hasExplicitAddend() || isPcRelative() || bindsToSharedObject(*args));
    }
    ReferenceKind kind = referenceKind();
    if (kind != ReferenceKind::direct && kind != ReferenceKind::gotRelative &&
        kind != ReferenceKind::sectionRelative)
        return false;
    int32_t offset = 0;
    Symbol *mapped = mappedSymbolChecked(offset, true);
    if (mapped && !mapped->hasLinkAddress() && options.outputFormat != 2) return false;
    if (options.outputFormat == 3 && neededInOutput(linkArgs("applies"))) {
        if (hasExplicitAddend()) return false;
        return !isPcRelative() || !mapped || mapped->isSectionSymbol();
    }
    return true;
}

bool ElfReltabSectionFromInput::needsDynamicEntry(Symbol *symbol, Args &linkArguments) {
    // The output is a dynamic object: only ARM tables ask the rule below.
    if (linkArguments.relocationOptions.dynamicOutput && !isArm) return false;
    return RelocationDescriptor::needsDynamicEntry(symbol, linkArguments);
}

int32_t ElfReltabSectionFromInput::compactClass() {
    uint32_t t = type();
    Symbol *next = nullptr;
    switch (machine) {
    case EM_386:
        return t == 1 ? 0 : t == 2 ? 1 : -1;
    case EM_MIPS:
        if (t == 2) return 0;
        return inRanges(t, mipsNoRecord) ? -2 : -1;
    case EM_PPC_IBM:
    case EM_PPC:
        // A word with a negated word behind it (type 0x65) holds the
        // difference of two addresses, which the load base does not change.
        if (t == 1) return nextTargetIs(0x65, next) ? -2 : 0;
        return inRanges(t, ppcNoRecord) ? -2 : -1;
    case EM_ARM:
        // The same for a word with one of the ARM partners behind it.
        if (t == 1)
            return nextTargetIs(0x1B, next) || nextTargetIs(0x55, next) || nextTargetIs(0x56, next)
                       ? -2
                       : 0;
        return inRanges(t, armNoRecord) ? -2 : -1;
    case 0x5F:
        if (t == 1) return 0;
        return inRanges(t, vcNoRecord) ? -2 : -1;
    default:
        return -1;
    }
}

int32_t *ElfReltabSectionFromInput::addendCells() {
    if (!addendOverrides) addendOverrides = std::make_unique<int32_t[]>(recordCount);
    return addendOverrides.get();
}

void ElfReltabSectionFromInput::resetTarget(Section *section, int32_t newAddend) {
    if (!sectionOverrides) sectionOverrides = std::make_unique<Section *[]>(recordCount);
    sectionOverrides[current] = section;
    if (section && section->combinedSection())
        if (Elf32_Shdr *h = section->elfHeader()) h->sh_flags |= 0x400;
    if (symbolOverrides) symbolOverrides[current] = nullptr;
    addendCells()[current] = newAddend;
}

void ElfReltabSectionFromInput::resetTarget(Symbol *symbol, int32_t newAddend) {
    if (!symbolOverrides) symbolOverrides = std::make_unique<Symbol *[]>(recordCount);
    symbolOverrides[current] = symbol;
    if (sectionOverrides) sectionOverrides[current] = nullptr;
    addendCells()[current] = newAddend;
}

bool ElfReltabSectionFromInput::neededAtRunTime(Args &linkArguments) {
    // The ARM forms that a dynamic linker must always see.
    if (isArm) {
        uint32_t t = type();
        if (t == 0x50 || t == 0x51 || t == 0x52) return true;
    }
    return RelocationDescriptor::neededAtRunTime(linkArguments);
}

bool ElfReltabSectionFromInput::replaceWithPltRef() {
    if (pltType == 0) {
        fixups->each([&](uint32_t t, const FixupRow &r) {
            if (r.kind == ReferenceKind::pltReference && r.pcRelative) pltType = t;
            return true;
        });
        if (pltType == 0) botch("ElfReltab::replaceWithPltRef -- not PLT type!");
    }
    if (isPcRelative()) setType(pltType);
    return true;
}

bool ElfReltabSectionFromInput::replaceWithCall() {
    setType(ElfUtil::callType(outputFile ? outputFile->header.e_machine : machine));
    return true;
}

ReferenceKind ElfReltabSectionFromInput::referenceKind() {
    const FixupRow *r = row();
    return r ? r->kind : ReferenceKind::invalid;
}

uint32_t ElfReltabSectionFromInput::type() {
    return recordInfo(current) & 0xFF;
}

void ElfReltabSectionFromInput::setType(uint32_t newType) {
    uint32_t &info = infoAt(current);
    info = (info & ~0xFFu) | (newType & 0xFF);
}

bool ElfReltabSectionFromInput::nextEntryIs(uint32_t nextType, uint32_t &nextValue) {
    if (current + 1 >= recordCount || (recordInfo(current + 1) & 0xFF) != nextType) return false;
    uint32_t here = current;
    current = here + 1;
    nextValue = value();
    current = here;
    return true;
}

bool ElfReltabSectionFromInput::nextTargetIs(uint32_t nextType, Symbol *&symbol) {
    if (current + 1 >= recordCount || (recordInfo(current + 1) & 0xFF) != nextType) return false;
    uint32_t here = current;
    current = here + 1;
    symbol = rootOf(targetSymbol());
    current = here;
    return true;
}

const char *ElfReltabSectionFromInput::typeName() {
    const FixupRow *r = row();
    if (r && r->kind != ReferenceKind::invalid) return r->name;
    static char unnamed[12];
    snprintf(unnamed, sizeof unnamed, "%u?", type());
    return unnamed;
}

ErrorContext *ElfReltabSectionFromInput::errorContext() {
    return errors;
}

uint32_t ElfReltabSectionFromInput::dataOffset() {
    return recordOffset(current);
}

Section *ElfReltabSectionFromInput::section() {
    return target;
}

uint32_t ElfReltabSectionFromInput::elfRecordCount() {
    return 1;
}

uint32_t ElfReltabSectionFromInput::elfType() {
    return type();
}

Section *ElfReltabSectionFromInput::reltabSection() {
    return this;
}

PltTable *ElfReltabSectionFromInput::pltTable() {
    return RelocationsIteratorWithTables::pltTable;
}

GotTable *ElfReltabSectionFromInput::gotTable() {
    return RelocationsIteratorWithTables::gotTable;
}

ElfObjectFile *ElfReltabSectionFromInput::outputElfFile() {
    return outputFile;
}
