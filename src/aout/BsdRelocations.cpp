#include "aout/BsdRelocations.h"

#include "aout/BsdObjectFile.h"
#include "aout/BsdSection.h"
#include "elf/ElfRecords.h"
#include "input/InputFile.h"
#include "object/Section.h"
#include "object/Symbol.h"
#include "support/botch.h"
#include "support/endian.h"
#include "support/error.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using namespace reloc;

namespace sparcfixup {

namespace {

// W with the bits of `mask` replaced by those of `bits`, written back.
void insert(uint8_t *place, uint32_t mask, uint32_t bits) {
    write32Be(place, (read32Be(place) & ~mask) | (bits & mask));
}

} // namespace

bool wdisp30(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address) {
    insert(place, 0x3FFFFFFF, (value - address) >> 2);
    return true;
}

bool wdisp22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address) {
    int32_t distance = static_cast<int32_t>(value - address) >> 2;
    insert(place, 0x3FFFFF, static_cast<uint32_t>(distance));
    return distance >= -0x200000 && distance <= 0x3FFFFF;
}

bool hi22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    insert(place, 0x3FFFFF, value >> 10);
    return true;
}

bool low22(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    insert(place, 0x3FFFFF, value);
    return true;
}

bool low13(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    insert(place, 0x1FFF, value);
    // The field takes a positive number only: -1 does not fit.
    return value < 0x2000;
}

bool low10(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    insert(place, 0x3FF, value);
    return true;
}

bool pc10(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    return low10(entry, place, value - address, address);
}

bool pc22(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    return hi22(entry, place, value - address, address);
}

} // namespace sparcfixup

namespace {

constexpr ReferenceKind D = ReferenceKind::direct;
constexpr ReferenceKind PLT = ReferenceKind::pltReference;
constexpr ReferenceKind GOT = ReferenceKind::gotReference;
constexpr ReferenceKind BAD = ReferenceKind::invalid;

// The width of the field that a record patches.  Only rows of kind direct
// reach their routine; for the others just the offset is checked.
uint32_t fieldWidth(const BsdFixupRow *row, uint32_t type) {
    if (!row || row->kind != ReferenceKind::direct) return 1;
    switch (type) {
    case 0:
    case 3:
        return 1;
    case 1:
    case 4:
        return 2;
    default:
        return 4;
    }
}

// Sums of addends wrap as the 32-bit words of the format do.
int32_t wrappingAdd(int32_t a, uint32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + b);
}

Symbol *rootOf(Symbol *symbol) {
    while (symbol->link != symbol)
        symbol = symbol->link;
    return symbol;
}

} // namespace

const BsdFixupRow bsdFixupRows[bsdFixupRowCount] = {
    {set8, "_8", D, 0},
    {set16Be, "_16", D, 0},
    {set32Be, "_32", D, 0},
    {add8, "DISP8", D, 0},
    {add16Be, "DISP16", D, 0},
    {add32Be, "DISP32", D, 0},
    {sparcfixup::wdisp30, "WDISP30", D, 1},
    {sparcfixup::wdisp22, "WDISP22", D, 1},
    {sparcfixup::hi22, "HI22", D, 0},
    {sparcfixup::low22, "_22", D, 0},
    {sparcfixup::low13, "_13", D, 0},
    {sparcfixup::low10, "LO10", D, 0},
    {patchNothing, "SFA_BASE", BAD, 0},
    {patchNothing, "SFA_OFF13", BAD, 0},
    {sparcfixup::low10, "BASE10", GOT, 0},
    {sparcfixup::low13, "BASE13", GOT, 0},
    {sparcfixup::hi22, "BASE22", GOT, 0},
    {sparcfixup::pc10, "PC10", D, 1},
    {sparcfixup::pc22, "PC22", D, 1},
    {sparcfixup::wdisp30, "JMP_TBL", PLT, 1},
    {patchNothing, "SEGOFF16", BAD, 0},
    {patchNothing, "GLOB_DAT", BAD, 0},
    {patchNothing, "JMP_SLOT", BAD, 0},
    {patchNothing, "RELATIVE", BAD, 0},
};

BsdRelocations::BsdRelocations(BsdObjectFile *objectFile, BsdSection *section)
    : owner(objectFile), patched(section) {}

BsdRelocations::~BsdRelocations() = default;

void BsdRelocations::setRecords(const BsdRelocation *newRecords, uint32_t count, uint32_t size) {
    records = newRecords;
    total = static_cast<int32_t>(count);
    current = -1;
    sectionSize = size;
}

void BsdRelocations::setErrorContext(ErrorContext &errorContext) {
    errors = &errorContext;
}

void BsdRelocations::each(RelocationVisitor visitor) {
    // `current` stays at the last record afterwards.
    for (int32_t i = 0; i < total; ++i) {
        current = i;
        if (!visitor(*this)) return;
    }
}

const BsdRelocation *BsdRelocations::currentOrNull() {
    // Taken as unsigned, -1 (before the first visit) is out of range too.
    return static_cast<uint32_t>(current) < static_cast<uint32_t>(total) ? &records[current]
                                                                         : nullptr;
}

const BsdRelocation &BsdRelocations::currentRecord(const char *operation) {
    const BsdRelocation *record = currentOrNull();
    if (!record) botch("BadRelocations::%s() called invalidly", operation);
    return *record;
}

const BsdFixupRow *BsdRelocations::currentRow() {
    const BsdRelocation *record = currentOrNull();
    if (!record) return nullptr;
    uint32_t type = bsdRelocationType(*record);
    return type < rowCount ? &rows[type] : nullptr;
}

uint32_t BsdRelocations::dataOffset() {
    return currentRecord("dataOffset").r_address;
}

Symbol *BsdRelocations::targetSymbol() {
    const BsdRelocation &record = currentRecord("targetSymbol");
    if (!bsdRelocationIsExtern(record)) return nullptr;
    return owner->symbolAt(bsdRelocationIndex(record));
}

Section *BsdRelocations::targetSection() {
    const BsdRelocation &record = currentRecord("targetSection");
    if (bsdRelocationIsExtern(record)) return nullptr;
    return owner->sectionOfCode(bsdRelocationIndex(record));
}

int32_t BsdRelocations::addend() {
    return currentRecord("addend").r_addend;
}

uint32_t BsdRelocations::recordCount() {
    return static_cast<uint32_t>(total);
}

BsdObjectFile *BsdRelocations::objectFile() {
    return owner;
}

bool BsdRelocations::isPcRelative() {
    const BsdFixupRow *row = currentRow();
    return row && row->pcRelative != 0;
}

// For a local record the symbol is that of the combined section of its
// target, and the addend counts from the combined section's start.  A local
// record without a target section (a code other than 4, 6, 8), or one whose
// target is not mapped, keeps its addend and refers to symbol 0: there is
// nothing of an output to name.
void BsdRelocations::eachElfRecord(ElfRecordVisitor visitor) {
    const BsdRelocation &record = currentRecord("eachElfRecord");
    Elf32_Rela out;
    out.r_offset = patched->offsetInCombinedSection() + record.r_address;
    out.r_addend = record.r_addend;
    uint32_t symbolIndex = 0;
    if (!bsdRelocationIsExtern(record)) {
        if (Section *target = targetSection()) {
            if (Section *combined = target->combinedSection())
                if (Symbol *symbol = combined->sectionSymbol()) symbolIndex = symbol->index();
            out.r_addend = wrappingAdd(out.r_addend, target->offsetInCombinedSection());
        }
    } else if (Symbol *symbol = targetSymbol()) {
        symbolIndex = rootOf(symbol)->index();
    }
    out.r_info = bsdRelocationType(record) + symbolIndex * 256;
    visitor(out);
}

// The record as an output a.out file would hold it: offsets counted in the
// combined sections, indexes those of the output.  A local record without a
// target section, or an external one whose symbol is missing, keeps its
// index and addend.
void BsdRelocations::eachBsdRecord(BsdRecordVisitor visitor) {
    const BsdRelocation &record = currentRecord("eachBsdRecord");
    BsdRelocation out = record;
    out.r_address = patched->offsetInCombinedSection() + record.r_address;
    uint32_t newIndex = bsdRelocationIndex(record);
    if (!bsdRelocationIsExtern(record)) {
        if (Section *target = targetSection()) {
            newIndex = target->index() & bsdRelocationIndexMask;
            out.r_addend = wrappingAdd(out.r_addend, target->offsetInCombinedSection());
        }
    } else if (Symbol *symbol = targetSymbol()) {
        newIndex = rootOf(symbol)->index() & bsdRelocationIndexMask;
    }
    out.r_info = (record.r_info & ~bsdRelocationIndexMask) | newIndex;
    visitor(out);
}

bool BsdRelocations::apply(uint8_t *place) {
    uint32_t offset = dataOffset();
    const BsdRelocation &record = currentRecord("apply");
    uint32_t type = bsdRelocationType(record);
    const BsdFixupRow *row = type < rowCount ? &rows[type] : nullptr;
    // The whole field must lie in the section, not only its first byte.
    uint32_t width = fieldWidth(row, type);
    if (offset >= sectionSize || width > sectionSize - offset) {
        error("bad fixup record");
        return false;
    }
    // Unlike the other formats, the place is the section's address alone.
    uint32_t address = patched->address();

    uint32_t value;
    if (!bsdRelocationIsExtern(record)) {
        Section *target = targetSection();
        value = (target ? target->address() : 0) + static_cast<uint32_t>(record.r_addend);
    } else {
        uint32_t symbolIndex = bsdRelocationIndex(record);
        Symbol *symbol = owner->symbolAt(symbolIndex);
        if (!symbol) {
            error("bad r_index value (=%d)", symbolIndex);
            value = static_cast<uint32_t>(record.r_addend);
        } else {
            Symbol *root = rootOf(symbol);
            if (!root->hasLinkAddress()) return false;
            value = root->address() + static_cast<uint32_t>(record.r_addend);
        }
    }

    if (!row) {
        error("bad r_type value (=%d)", type);
        return false;
    }
    switch (row->kind) {
    case ReferenceKind::direct:
        if (!row->fixup(*this, place, value, address)) error("truncation error");
        break;
    case ReferenceKind::pltReference:
        error("PLT references not yet supported");
        break;
    case ReferenceKind::gotReference:
    case ReferenceKind::gotRelative:
        error("GOT references not yet supported");
        break;
    default:
        error("bad fixup");
        break;
    }
    return true;
}

uint32_t BsdRelocations::index() {
    return static_cast<uint32_t>(current);
}

const char *BsdRelocations::typeName() {
    const BsdRelocation *record = currentOrNull();
    if (!record) return "???";
    uint32_t type = bsdRelocationType(*record);
    if (type < rowCount) return rows[type].name;
    static char buffer[12];
    std::snprintf(buffer, sizeof buffer, "%u?", type);
    return buffer;
}

Section *BsdRelocations::section() {
    return patched;
}
uint32_t BsdRelocations::elfRecordCount() {
    return 1;
}
int32_t BsdRelocations::compactClass() {
    return -1;
}
bool BsdRelocations::ignoresSpecialTargets() {
    return false;
}
ReferenceKind BsdRelocations::referenceKind() {
    return ReferenceKind::direct;
}
Section *BsdRelocations::reltabSection() {
    return nullptr;
}
bool BsdRelocations::shouldEmit() {
    return true;
}
bool BsdRelocations::hasExplicitAddend() {
    return false;
}
bool BsdRelocations::nextEntryIs(uint32_t, uint32_t &) {
    return false;
}
ErrorContext *BsdRelocations::errorContext() {
    return errors;
}
PltTable *BsdRelocations::pltTable() {
    return nullptr;
}
GotTable *BsdRelocations::gotTable() {
    return nullptr;
}

BsdRelocationsFromInput::BsdRelocationsFromInput(BsdObjectFile *objectFile, BsdSection *section,
                                                 InputFile &file, uint32_t offset, uint32_t size,
                                                 bool swapped, ErrorContext &errorContext)
    : BsdRelocations(objectFile, section) {
    file.seek(offset);
    if (file.status & InputFile::failBit)
        errorContext.fatal("In %O: relocation table appears truncated.", &file.fileName);
    // A read that comes up short leaves the tail of the table without
    // content.  Only the whole records that the file holds are kept, so that
    // no size in the header makes the reader allocate more than the file
    // has; the records cut off by the end of the file are dropped.
    uint32_t end = file.bytesInFile();
    uint32_t available = offset > end ? 0 : end - offset;
    uint32_t count = std::min(size, available) / bsdRelocationSize;

    ownedRecords = std::make_unique<BsdRelocation[]>(count);
    const BsdExecHeader &header = *objectFile->bsdHeader();
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t raw[bsdRelocationSize];
        file.read(raw, sizeof raw);
        BsdRelocation &r = ownedRecords[i];
        std::memcpy(&r.r_address, raw, 4);
        std::memcpy(&r.r_info, raw + 4, 4);
        std::memcpy(&r.r_addend, raw + 8, 4);
        if (swapped) {
            // A big-endian record on this host: the second word is three
            // bytes of index, high byte first, and a byte of extern and type.
            r.r_address = byteSwap32(r.r_address);
            r.r_addend = static_cast<int32_t>(byteSwap32(static_cast<uint32_t>(r.r_addend)));
            r.r_info = uint32_t(raw[4]) << 16 | uint32_t(raw[5]) << 8 | raw[6] |
                       (raw[7] & 0x80 ? bsdRelocationExtern : 0) |
                       uint32_t(raw[7] & 0x1F) << bsdRelocationTypeShift;
        }
        // A file of the host's order holds the memory form already.
        if (!bsdRelocationIsExtern(r)) {
            // Local addends count from the start of the text; each is made
            // relative to its own section.
            switch (bsdRelocationIndex(r)) {
            case bsdData:
                r.r_addend = wrappingAdd(r.r_addend, 0 - header.text);
                break;
            case bsdBss:
                r.r_addend = wrappingAdd(r.r_addend, 0 - (header.text + header.data));
                break;
            default:
                break;
            }
        }
    }
    setRecords(ownedRecords.get(), count, section->size());
}

BsdRelocationsFromInput::~BsdRelocationsFromInput() = default;
