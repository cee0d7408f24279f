#include "aof/ArmRelocations.h"

#include "aof/ArmObjectFileInput.h"
#include "aof/ArmSection.h"
#include "elf/ElfObjectFile.h"
#include "elf/ElfRecords.h"
#include "object/Symbol.h"
#include "reloc/ElfARMFixupTable.h"
#include "reloc/reloc.h"
#include "support/botch.h"

#include <cstdio>

namespace {

Symbol *rootOf(Symbol *symbol) {
    while (symbol->link != symbol)
        symbol = symbol->link;
    return symbol;
}

// The ELF ARM types whose routines two of the codes borrow.
constexpr uint32_t armRel24 = 2;
constexpr uint32_t armSdtOffset = 5;

// The ARM routine of `type`, in the byte order of the file.  The rows are
// those of the ELF ARM table; the entry they are given is this table's
// current record, which has no relocation table section of its own.
bool armFixup(uint32_t type, bool littleEndian, RelocationDescriptor &entry, uint8_t *place,
              uint32_t value, uint32_t address) {
    return elfARMFixupTable(!littleEndian).lookup(type)->fixup(entry, place, value, address);
}

} // namespace

uint32_t aofRelocationCode(uint32_t flags) {
    uint32_t field = (flags >> aofRelocationFieldShift) & 3;
    if (field == 3) {
        if (flags & aofRelocationRelative) return aofCodeBranch;
        if (flags & aofRelocationBased) return aofCodeBasedOffset;
        return aofCodeNothing;
    }
    if (field == 2) {
        if (flags & aofRelocationBased) return aofCodeSetWord;
        if (flags & aofRelocationSymbol) return aofCodeAddSymbol;
        return aofCodeAddArea;
    }
    return aofCodeNothing;
}

ArmRelocations::ArmRelocations(ArmObjectFileInput *objectFile, ArmInputSection *section,
                               const AofRelocation *records, uint32_t count)
    : owner(objectFile), area(section), sectionSize(section ? section->size() : 0), total(count),
      records(records) {}

ArmRelocations::~ArmRelocations() = default;

void ArmRelocations::setErrorContext(ErrorContext &errorContext) {
    errors = &errorContext;
}

void ArmRelocations::each(RelocationVisitor visitor) {
    for (uint32_t i = 0; i < total; ++i) {
        current = static_cast<int32_t>(i);
        if (!visitor(*this)) return;
    }
}

void ArmRelocations::preprocessReferences(ObjectFile &output, const RelocationOptions &) {
    outputFile = output.asElfObjectFile();
}

const AofRelocation *ArmRelocations::currentOrNull() {
    // Taken as unsigned, -1 (before the first visit) is out of range too.
    return static_cast<uint32_t>(current) < total ? &records[current] : nullptr;
}

const AofRelocation &ArmRelocations::currentRecord(const char *operation) {
    const AofRelocation *record = currentOrNull();
    if (!record) botch("BadRelocations::%s() called invalidly", operation);
    return *record;
}

uint32_t ArmRelocations::dataOffset() {
    return currentRecord("dataOffset").offset;
}

Symbol *ArmRelocations::targetSymbol() {
    const AofRelocation &record = currentRecord("targetSymbol");
    if (!(record.flags & aofRelocationSymbol)) return nullptr;
    return owner->symbolAt(record.flags & aofRelocationSidMask);
}

// With A set, SID counts symbols, not areas: the area of that number would
// be an unrelated one, so such a record has no target section, and whoever
// asks for the section it refers to goes on to its symbol's.
Section *ArmRelocations::targetSection() {
    const AofRelocation &record = currentRecord("targetSection");
    if (record.flags & aofRelocationSymbol) return nullptr;
    return owner->areaAt(record.flags & aofRelocationSidMask);
}

int32_t ArmRelocations::addend() {
    currentRecord("addend");
    return 0;
}

uint32_t ArmRelocations::index() {
    return static_cast<uint32_t>(current);
}

Section *ArmRelocations::section() {
    return area;
}

bool ArmRelocations::isPcRelative() {
    const AofRelocation *record = currentOrNull();
    return record && (record->flags & aofRelocationRelative) != 0;
}

void ArmRelocations::eachElfRecord(ElfRecordVisitor visitor) {
    if (!area) {
        std::fputs("sec is NULL\n", stdout);
        return;
    }
    const AofRelocation &record = currentRecord("eachElfRecord");
    Elf32_Rela out;
    out.r_offset = area->offsetInCombinedSection() + record.offset;
    out.r_addend = 0;
    Symbol *symbol = targetSymbol();
    uint32_t symbolIndex = symbol ? rootOf(symbol)->index() : 0;
    out.r_info = aofRelocationCode(record.flags) + symbolIndex * 256;
    visitor(out);
}

uint32_t ArmRelocations::elfType() {
    const AofRelocation *record = currentOrNull();
    return record ? aofRelocationCode(record->flags) : 0;
}

bool ArmRelocations::apply(uint8_t *place) {
    uint32_t offset = dataOffset();
    const AofRelocation &record = currentRecord("apply");
    uint32_t code = aofRelocationCode(record.flags);
    // Every code that patches works on a 32-bit word, which must lie wholly
    // inside the area.
    uint32_t width = code == aofCodeNothing ? 1 : 4;
    if (offset >= sectionSize || width > sectionSize - offset) {
        error("bad fixup record");
        return false;
    }
    uint32_t address = area->address() + offset;

    // S: the symbol's address, or the area's.  A target that has none (a
    // symbol without a link address, a SID that names no symbol or no area)
    // cannot be patched: the answer is false without a report of its own,
    // and the caller says which relocation failed.
    uint32_t target;
    if (Symbol *symbol = targetSymbol()) {
        Symbol *root = rootOf(symbol);
        if (!root->hasLinkAddress()) return false;
        target = root->address();
    } else {
        if (record.flags & aofRelocationSymbol) return false;
        Section *targetArea = owner->areaAt(record.flags & aofRelocationSidMask);
        if (!targetArea) return false;
        target = targetArea->address();
    }

    bool little = owner->isLittleEndian();
    switch (code) {
    case aofCodeSetWord:
        return little ? reloc::set32Le(*this, place, target, address)
                      : reloc::set32Be(*this, place, target, address);
    case aofCodeAddSymbol:
    case aofCodeAddArea:
        return little ? reloc::add32Le(*this, place, target, address)
                      : reloc::add32Be(*this, place, target, address);
    case aofCodeBranch:
        return armFixup(armRel24, little, *this, place, target, address);
    case aofCodeBasedOffset: {
        // The instruction's own 12-bit offset, signed by its direction bit
        // (23), plus the target, less the small-data base.  Before a link
        // has named its output there is no base, and 0 stands for it.
        uint32_t word = little ? reloc::read32Le(place) : reloc::read32Be(place);
        uint32_t own = word & 0xFFF;
        uint32_t signedOwn = (word & (1u << 23)) ? own : 0 - own;
        uint32_t base = outputFile ? outputFile->sdaBase() : 0;
        return armFixup(armSdtOffset, little, *this, place, signedOwn + target - base, address);
    }
    default:
        return true;
    }
}

bool ArmRelocations::needsDynamicEntry(Symbol *symbol, Args &args) {
    ObjectFile *from = symbol ? symbol->objectFile() : nullptr;
    if (area && !area->objectFile()->isReentrant() && from && from->isReentrant()) return true;
    return RelocationDescriptor::needsDynamicEntry(symbol, args);
}

ErrorContext *ArmRelocations::errorContext() {
    return errors;
}

const char *ArmRelocations::typeName() {
    return nullptr;
}

ElfObjectFile *ArmRelocations::outputElfFile() {
    return outputFile;
}
