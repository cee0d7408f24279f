#include "reloc/ElfARMFixupTable.h"

#include "elf/ElfObjectFile.h"
#include "elf/ElfRecords.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"
#include "reloc/Args.h"
#include "reloc/OrderedFields.h"

namespace {

using Kind = ReferenceKind;

using reloc::get16;
using reloc::get32;
using reloc::put16;
using reloc::put32;

uint32_t magnitude(int32_t n) {
    return n < 0 ? 0u - static_cast<uint32_t>(n) : static_cast<uint32_t>(n);
}
bool fitsSigned(int32_t n, int32_t low, int32_t high) {
    return n >= low && n <= high;
}
// The 12-bit rotated immediate, with the -1 of a number that has none kept as
// its low 12 bits (0xFFF): what the instruction gets when nothing fits.
uint32_t immediateField(uint32_t x) {
    return static_cast<uint32_t>(ElfARMFixupTable::encodeImmediate(x)) & 0xFFF;
}

Symbol *rootOf(Symbol *symbol) {
    while (symbol && symbol->link != symbol)
        symbol = symbol->link;
    return symbol;
}

// Thumb code: the symbol's root carries an ELF record whose type is
// STT_ARM_TFUNC (13) or STT_ARM_16BIT (15).
bool isThumb(Symbol *symbol) {
    Symbol *root = rootOf(symbol);
    Elf32_Sym *record = root ? root->elfSymbol() : nullptr;
    if (!record) return false;
    uint8_t type = record->st_info & 0xF;
    return type == 0xD || type == 0xF;
}

bool isWeakUndefined(Symbol *symbol) {
    return symbol && symbol->binding() == SymbolBinding::weak && symbol->isUndefined();
}

bool targetIsWeakUndefined(RelocationDescriptor &entry) {
    return isWeakUndefined(rootOf(entry.targetSymbol()));
}

// The address of the target: that of the root of the target symbol, or of
// the target section for an entry against a section.
uint32_t targetAddress(RelocationDescriptor &entry) {
    if (Symbol *root = rootOf(entry.targetSymbol())) return root->address();
    Section *section = entry.targetSection();
    return section ? section->address() : 0;
}

// A call of a missing weak function lands on the next instruction: a V of
// 0 becomes P plus the distance d when the mapped target is weak and
// undefined.  The mapped target of an undefined symbol is its root (only a
// symbol with a section maps elsewhere), so the root is asked directly: the
// mapping has been reported on by the table already.
uint32_t weakFallback(RelocationDescriptor &entry, uint32_t value, uint32_t address,
                      uint32_t distance) {
    return value == 0 && targetIsWeakUndefined(entry) ? address + distance : value;
}

uint32_t staticBase(RelocationDescriptor &entry) {
    ElfObjectFile *output = entry.outputElfFile();
    return output ? output->sdaBase() : 0;
}

// Whether an address lies in the upper of the two regions that split the
// image.  When the end lies below the start, the upper region is the part
// below the start.
bool inUpperRegion(RelocationDescriptor &entry, uint32_t address) {
    ElfObjectFile *output = entry.outputElfFile();
    uint32_t start = output ? output->regionStart() : 0;
    uint32_t end = output ? output->regionEnd() : 0;
    return end < start ? address < start : address >= end;
}

bool inDataSegment(RelocationDescriptor &entry) {
    ElfObjectFile *output = entry.outputElfFile();
    SectionGroup *segment = output ? output->dataSegment() : nullptr;
    int32_t offset;
    Section *section = entry.mappedSection(offset);
    return segment && section && section->sectionGroup() == segment;
}

// The offset of the target's cell in the output's table of 32-bit cells, or
// -1 (reported).  The section form takes the target's offset inside its
// mapped section, which is what the cell of a local address is kept by.  No
// table at all counts as a target without a cell.
int32_t offsetTableCell(RelocationDescriptor &entry, OffsetTable *table, bool relative) {
    int32_t cell = -1;
    if (table) {
        int32_t offset;
        Symbol *symbol = entry.mappedSymbol(offset);
        bool thumb = isThumb(entry.targetSymbol());
        auto adjust = [&](int32_t at) {
            // Formed unsigned: a damaged addend must not overflow.
            uint32_t adjusted = static_cast<uint32_t>(at);
            if (relative) adjusted -= static_cast<uint32_t>(entry.addend());
            return static_cast<int32_t>(thumb ? adjusted | 1 : adjusted);
        };
        if (symbol && symbol->isGlobal()) {
            cell = table->entryForSymbol(symbol, adjust(offset));
        } else if (Section *section = entry.mappedSection(offset)) {
            cell = table->entryForSection(section, adjust(offset));
        }
    }
    if (cell == -1) entry.error("Target is bad");
    return cell;
}

OffsetTable *offsetTableOf(RelocationDescriptor &entry) {
    ElfObjectFile *output = entry.outputElfFile();
    return output ? output->offsetTable() : nullptr;
}

// The distance of the target from the static base B.  When `askDirect` is
// given, the target is reached directly if sbDirect is set or its mapped
// section lies in the data segment; otherwise through its cell of the offset
// table.  `relative` leaves the addend out.
int32_t sbOffset(RelocationDescriptor &entry, bool *askDirect, bool relative) {
    uint32_t base = staticBase(entry);
    if (askDirect) {
        *askDirect = ElfARMFixupTable::sbDirect || inDataSegment(entry);
        if (*askDirect) {
            uint32_t addend = relative ? 0 : static_cast<uint32_t>(entry.addend());
            return static_cast<int32_t>(targetAddress(entry) + addend - base);
        }
    }
    OffsetTable *table = offsetTableOf(entry);
    uint32_t tableBase = table ? table->base() : 0;
    int32_t cell = offsetTableCell(entry, table, relative);
    return static_cast<int32_t>(tableBase + static_cast<uint32_t>(cell) - base);
}

// E rounded up to the next multiple of 0x1000: the part that an ADD of the
// high bits reaches.
int32_t roundedUp(int32_t distance) {
    return static_cast<int32_t>((static_cast<uint32_t>(distance) + 0xFFF) & 0xFFFFF000);
}

// U = E - R (+ the addend): what lies below the rounded-up high part.  It is
// formed unsigned, since a distance near the top of the address space rounds
// up past it and an addend can be anything.
int32_t belowRoundedUp(int32_t distance, int32_t addend) {
    return static_cast<int32_t>(static_cast<uint32_t>(distance) -
                                static_cast<uint32_t>(roundedUp(distance)) +
                                static_cast<uint32_t>(addend));
}

// Bits 21 to 24 of a data-processing instruction: the operation.  4 is ADD,
// 2 is SUB.
constexpr uint32_t opcodeMask = 0xF << 21;
constexpr uint32_t addOpcode = 4 << 21;
constexpr uint32_t subOpcode = 2 << 21;
constexpr uint32_t upBit = 1 << 23;     // load/store offset direction: add
constexpr uint32_t armNop = 0xE1A00000; // MOV r0, r0

// ---- ARM instruction fields ---------------------------------------------

// ADDR32, SECTOFF, R_ARM_PIC32: the word, with bit 0 marking a Thumb target.
// An entry against a section needs no symbol (a section is never Thumb
// code); only an entry with neither is reported.
template <bool Big> bool word(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t) {
    Symbol *symbol = entry.targetSymbol();
    if (!symbol && !entry.targetSection()) {
        Section *section = entry.section();
        entry.error("In %O: relocation at 0x%x in section %s\n|\t\t references no symbol.",
                    section->objectFile()->fileName, entry.dataOffset(), section->name());
        return true;
    }
    put32<Big>(place, isThumb(symbol) ? v | 1 : v);
    return true;
}

bool branchInRange(int32_t distance) {
    int32_t top = distance >> 26;
    return top == 0 || top == -1;
}

// REL24, REL24_I: B and BL; the exchanging form BLX (condition 0xF) keeps
// the half-word bit of the distance in bit 24.
template <bool Big>
bool branch(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t p) {
    v = weakFallback(entry, v, p, 4);
    int32_t e = static_cast<int32_t>(v - p - 8);
    uint32_t w = get32<Big>(place);
    uint32_t result = (w & 0xFF000000) | ((static_cast<uint32_t>(e) >> 2) & 0xFFFFFF);
    if ((w & 0xF0000000) == 0xF0000000)
        result = (result & ~(1u << 24)) | ((static_cast<uint32_t>(e) >> 1 & 1) << 24);
    put32<Big>(place, result);
    return branchInRange(e);
}

// R_ARM_REL24_BL: always written as BLX to Thumb code.
template <bool Big>
bool branchExchange(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t p) {
    v = weakFallback(entry, v, p, 4);
    int32_t e = static_cast<int32_t>(v - p - 8);
    uint32_t u = static_cast<uint32_t>(e);
    put32<Big>(place, 0xFA000000 | (u >> 1 & 1) << 24 | ((u >> 2) & 0xFFFFFF));
    return branchInRange(e);
}

// SDT_OFFSET, CDT_OFFSET and their pc-relative forms: a magnitude in the
// low bits and the direction in bit 23.
template <bool Big, uint32_t Keep, uint32_t Field, uint32_t Limit, bool Pc>
bool offsetField(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t p) {
    int32_t n = static_cast<int32_t>(Pc ? v - p - 8 : v);
    uint32_t w = get32<Big>(place) & Keep;
    if (n >= 0) w |= upBit;
    put32<Big>(place, w | (magnitude(n) & Field));
    return magnitude(n) < Limit;
}

// HSDT_OFFSET and its pc-relative form: the halfword transfers split an
// 8-bit magnitude into the high nibble at bits 8 to 11 and the low one at 0
// to 3.
template <bool Big, bool Pc>
bool splitOffset(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t p) {
    int32_t n = static_cast<int32_t>(Pc ? v - p - 8 : v);
    uint32_t m = magnitude(n);
    uint32_t w = get32<Big>(place) & 0xFF7FF0F0;
    if (n >= 0) w |= upBit;
    put32<Big>(place, w | (m & 0xF0) << 4 | (m & 0xF));
    return m < 0x100;
}

// ADR: ADD Rd, PC, #imm.  A target behind the place turns the instruction
// into SUB Rd, PC, #imm with the magnitude.  A magnitude that no rotation
// encodes gets 0xFFF in the field, and the answer is false.
template <bool Big> bool adr(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t p) {
    int32_t e = static_cast<int32_t>(v - p - 8);
    int32_t encoded = ElfARMFixupTable::encodeImmediate(magnitude(e));
    uint32_t w = get32<Big>(place) & ~(opcodeMask | 0xFFF);
    w |= e < 0 ? subOpcode : addOpcode;
    put32<Big>(place, w | (static_cast<uint32_t>(encoded) & 0xFFF));
    return encoded != -1;
}

// ADRL: ADD, ADD with the low byte and the second byte of the distance.  As
// with ADR, a target behind the place makes both instructions SUB with the
// magnitude.  Bits above 15 reach neither instruction; the answer is true.
template <bool Big> bool adrl(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t p) {
    int32_t e = static_cast<int32_t>(v - p - 8);
    uint32_t m = magnitude(e);
    uint32_t opcode = e < 0 ? subOpcode : addOpcode;
    uint32_t first = get32<Big>(place) & ~(opcodeMask | 0xFFF);
    uint32_t second = get32<Big>(place + 4) & ~(opcodeMask | 0xFFF);
    put32<Big>(place, first | opcode | immediateField(m & 0xFF));
    put32<Big>(place + 4, second | opcode | immediateField(m & 0xFF00));
    return true;
}

template <bool Big> bool shiftImm(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t) {
    int32_t encoded = ElfARMFixupTable::encodeImmediate(magnitude(static_cast<int32_t>(v)));
    put32<Big>(place, (get32<Big>(place) & 0xFFFFF000) | (static_cast<uint32_t>(encoded) & 0xFFF));
    return encoded != -1;
}

// ---- Static base forms --------------------------------------------------

// SBOFF, SBSEG: the part of the distance from B below the rounded-up high
// part, plus the addend; not direct, the addend alone (the cell holds the
// address).
template <bool Big>
bool sbBaseOffset(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    bool direct;
    int32_t e = sbOffset(entry, &direct, true);
    uint32_t w = get32<Big>(place) & 0xFFFFF000;
    if (!direct) {
        put32<Big>(place, w | upBit | (static_cast<uint32_t>(entry.addend()) & 0xFFF));
        return true;
    }
    int32_t u = belowRoundedUp(e, entry.addend());
    w &= ~upBit;
    if (u >= 0) w |= upBit;
    put32<Big>(place, w | (magnitude(u) & 0xFFF));
    return true;
}

// SBHI: direct, ADD/SUB of the rounded-up high part; not direct, a load of
// the cell (LDR with immediate offset, 0x59 up or 0x51 down in bits 20 to
// 27).
template <bool Big> bool sbHigh(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    bool direct;
    int32_t e = sbOffset(entry, &direct, false);
    uint32_t w = get32<Big>(place) & 0xFFFFF000;
    if (!direct) {
        w = (w & 0xF00FFFFF) | (e >= 0 ? 0x59u : 0x51u) << 20;
        put32<Big>(place, w | (magnitude(e) & 0xFFF));
        return true;
    }
    int32_t r = roundedUp(e);
    int32_t encoded = ElfARMFixupTable::encodeImmediate(magnitude(r));
    if (encoded == -1) entry.error("Target is out of range");
    w |= static_cast<uint32_t>(encoded) & 0xFFF;
    if (r < 0) w = (w & ~opcodeMask) | subOpcode;
    put32<Big>(place, w);
    return true;
}

// SBOFFHI, SBOFFLO, SBSEGHI, SBSEGLO: the bits 4 to 11 or 0 to 3 of what
// lies below the rounded-up high part.  A target that the static base
// cannot reach directly makes the instruction a no-operation.
template <bool Big, bool High, bool Relative>
bool sbPart(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    if (!ElfARMFixupTable::sbDirect && !inDataSegment(entry)) {
        put32<Big>(place, armNop);
        return true;
    }
    bool direct;
    int32_t e = sbOffset(entry, &direct, Relative);
    int32_t u = belowRoundedUp(e, Relative ? entry.addend() : 0);
    uint32_t part = magnitude(u) & (High ? 0xFF0 : 0xF);
    uint32_t w = (get32<Big>(place) & 0xFFFFF000) | immediateField(part);
    if (u < 0) w = (w & ~opcodeMask) | subOpcode;
    put32<Big>(place, w);
    return true;
}

// SDA: the load/store offset of the target from B.
template <bool Big> bool sda(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t p) {
    bool direct;
    uint32_t n = static_cast<uint32_t>(sbOffset(entry, &direct, false));
    return offsetField<Big, 0xFF7FF000, 0xFFF, 0x1000, false>(entry, place, n, p);
}

// ---- Thumb fields -------------------------------------------------------

// REL8 (conditional branch) and REL11 (unconditional branch): a half-word
// distance from the place plus 4.
template <bool Big, uint32_t Field, int32_t Low, int32_t High, uint32_t Weak>
bool thumbBranch(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t p) {
    if (Weak) v = weakFallback(entry, v, p, Weak);
    int32_t n = static_cast<int32_t>(v - p - 4) >> 1;
    put16<Big>(place, (get16<Big>(place) & ~Field) | (static_cast<uint32_t>(n) & Field));
    return fitsSigned(n, Low, High);
}

bool longBranchInRange(int32_t u) {
    return fitsSigned(u, -0x200000, 0x1FFFFF);
}

// REL_HI, R_ARM_16_REL_HI_BL: the first instruction of a BL pair holds bits
// 12 to 22 of the distance.  The exchanging form (BLX) reaches a word, so
// bit 1 of the place carries into the target.
template <bool Big, bool Exchange>
bool longBranchHigh(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t p) {
    v = weakFallback(entry, v, p, 4);
    if (Exchange) v |= p & 2;
    int32_t u = static_cast<int32_t>(v - p - 4) >> 1;
    uint32_t field = (static_cast<uint32_t>(u) & 0x3FF800) >> 11;
    put16<Big>(place, (get16<Big>(place) & 0xF800) | field);
    return longBranchInRange(u);
}

// REL_LO: the second instruction, two bytes on, holds bits 1 to 11.  Its
// bit 12 clear marks BLX, whose target is word aligned.
template <bool Big>
bool longBranchLow(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t p) {
    uint32_t q = p - 2;
    v = weakFallback(entry, v, p, 2);
    uint16_t h = get16<Big>(place);
    if (!(h & 0x1000)) v |= q & 2;
    int32_t u = static_cast<int32_t>(v - q - 4) >> 1;
    put16<Big>(place, (h & 0xF800) | (static_cast<uint32_t>(u) & 0x7FF));
    return longBranchInRange(u);
}

// R_ARM_16_REL_LO_BL: the second instruction always becomes BLX.
template <bool Big>
bool longBranchLowExchange(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t p) {
    uint32_t q = p - 2;
    v = weakFallback(entry, v, p, 2);
    v |= q & 2;
    int32_t u = static_cast<int32_t>(v - q - 4) >> 1;
    put16<Big>(place, 0xE800 | (static_cast<uint32_t>(u) & 0x7FE));
    return longBranchInRange(u & ~1);
}

// SDT8, SDT8_REL: an 8-bit word offset in the low byte; the register in
// bits 8 to 10 stays (in both byte orders).
template <bool Big, bool Pc>
bool thumbWordOffset(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t p) {
    int32_t n = static_cast<int32_t>(Pc ? v - p - 4 : v) >> 2;
    put16<Big>(place, (get16<Big>(place) & 0xFF00) | (static_cast<uint32_t>(n) & 0xFF));
    return n < 0x100;
}

// SDT5, SDTB5, SDTH5, IMM5: a 5-bit field at bits 6 to 10, scaled.
template <bool Big, int Shift>
bool thumbField5(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t) {
    int32_t n = static_cast<int32_t>(v) >> Shift;
    put16<Big>(place, (get16<Big>(place) & 0xF83F) | (static_cast<uint32_t>(n) & 0x1F) << 6);
    return n < 0x20;
}

// IMM3: a 3-bit field at bits 6 to 8.
template <bool Big> bool thumbImm3(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t) {
    put16<Big>(place, (get16<Big>(place) & 0xFE3F) | (v & 7) << 6);
    return static_cast<int32_t>(v) < 8;
}

// IMM8, IMM8_ALN, IMM7_ALN: the number is or-ed into the low bits; the high
// byte of the instruction (opcode and register) stays as it is.
template <bool Big, int Shift, uint32_t Field>
bool thumbOrImmediate(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t) {
    int32_t n = static_cast<int32_t>(v) >> Shift;
    uint16_t h = get16<Big>(place);
    uint32_t low = ((h & Field) | static_cast<uint32_t>(n)) & Field;
    put16<Big>(place, (h & 0xFF00) | low);
    return n <= static_cast<int32_t>(Field);
}

// ---- Position-independent and DLL forms ---------------------------------

// R_ARM_16_SDAHI, R_ARM_16_SDALO: the distance of the target's cell from B,
// in two pieces.
template <bool Big, bool High>
bool sdaCellPart(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    OffsetTable *table = offsetTableOf(entry);
    uint32_t tableBase = table ? table->base() : 0;
    uint32_t t =
        tableBase + static_cast<uint32_t>(offsetTableCell(entry, table, false)) - staticBase(entry);
    uint32_t bits = High ? (t & 0x7F80) >> 7 : (t & 0x7C) << 4;
    put16<Big>(place, get16<Big>(place) | bits);
    return true;
}

uint32_t regionBase(RelocationDescriptor &entry, uint32_t address) {
    ElfObjectFile *output = entry.outputElfFile();
    if (!output) return 0;
    return inUpperRegion(entry, address) ? output->regionEnd() : output->regionStart();
}

// R_ARM_16_SDADISP: the target's distance from the start of its region,
// plus the word, marked for Thumb code; 0 for a missing weak target.
template <bool Big>
bool sdaDisplacement(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    if (targetIsWeakUndefined(entry)) { // its mapped target, as in weakFallback
        put32<Big>(place, 0);
        return true;
    }
    uint32_t a = targetAddress(entry);
    uint32_t d = a - regionBase(entry, a) + get32<Big>(place);
    put32<Big>(place, isThumb(entry.targetSymbol()) ? d | 1 : d);
    return true;
}

// The register of a Thumb load (bits 8 to 10), which the replacing
// instruction names as its destination.
uint32_t thumbLoadRegister(uint16_t h) {
    return (h >> 8) & 7;
}

// R_ARM_16_SDAREG and R_ARM_16_PICREG: a Thumb ADD of the region's base
// register to the load's register - `Upper` (ADD Rd, r10 or ADD Rd, pc) in
// the upper region, ADD Rd, r9 in the lower; a missing weak target clears
// the instruction.
template <bool Big, uint16_t Upper>
bool regionRegister16(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    if (targetIsWeakUndefined(entry)) {
        put16<Big>(place, 0);
        return true;
    }
    uint32_t r = thumbLoadRegister(get16<Big>(place));
    put16<Big>(place, (inUpperRegion(entry, targetAddress(entry)) ? Upper : 0x4448) | r);
    return true;
}

// R_ARM_DLL, R_ARM_16_DLLHI, R_ARM_16_DLLLO: the target's address in the
// pieces of a DLL's import slot number.
template <bool Big>
bool dllWord(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t) {
    uint32_t a = targetAddress(entry);
    put32<Big>(place, (get32<Big>(place) & 0xFFFFF000) | upBit | (a & 0x3FF) << 2);
    return fitsSigned(static_cast<int32_t>(v), 0, 0x7F);
}
template <bool Big, int Shift>
bool dllHalf(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t) {
    uint32_t a = targetAddress(entry) >> Shift;
    put16<Big>(place, get16<Big>(place) | (a & 0x1F) << 6);
    return fitsSigned(static_cast<int32_t>(v), 0, 0x7F);
}

// R_ARM_PICREG: the base register of the target's region (r15 upper, r9
// lower); a missing weak target sets bit 25 instead.
template <bool Big>
bool picRegister(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    uint32_t w = get32<Big>(place) & 0xFDFFF000;
    if (targetIsWeakUndefined(entry))
        w |= 1u << 25;
    else
        w |= inUpperRegion(entry, targetAddress(entry)) ? 0xF : 9;
    put32<Big>(place, w);
    return true;
}

// R_ARM_PICDISP, R_ARM_RODISP and their Thumb forms: a word holding an
// address becomes a displacement, from B for data of the lower region (PIC
// forms) and otherwise from the instruction that uses it (6 or 12 bytes
// behind the target).
template <bool Big, bool Pic, uint32_t Behind>
bool displacement(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    uint32_t w = get32<Big>(place);
    if (w == 0) return true;
    if (Pic && !inUpperRegion(entry, w)) {
        put32<Big>(place, w - staticBase(entry));
        return true;
    }
    uint32_t from = targetAddress(entry) + static_cast<uint32_t>(entry.addend());
    put32<Big>(place, w - from - Behind);
    return true;
}

// ---- The further instruction set (types 0x81 to 0x88) -------------------

template <bool Big> bool rel23(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t p) {
    int32_t d = static_cast<int32_t>(v - p);
    uint32_t w = get32<Big>(place) & 0xFF800000;
    put32<Big>(place, w | ((static_cast<uint32_t>(d) >> 2) & 0x7FFFFF));
    int32_t top = d >> 25;
    return top == 0 || top == -1;
}

// A field of scattered immediate pieces: (mask, left shift) per piece.
struct Piece {
    uint32_t mask;
    uint32_t shift;
};

template <bool Big, uint32_t Keep, int32_t Limit, int Down, Piece A, Piece B, Piece C>
bool scattered(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t) {
    uint32_t u = static_cast<uint32_t>(static_cast<int32_t>(v) >> Down);
    uint32_t w = get32<Big>(place) & Keep;
    w |= (u & A.mask) << A.shift | (u & B.mask) << B.shift | (u & C.mask) << C.shift;
    put32<Big>(place, w);
    return Limit == 0 || static_cast<int32_t>(v) < Limit;
}

constexpr Piece none{0, 0};
constexpr Piece low10{0x3FF, 0};
constexpr Piece low5{0x1F, 0};

// ---- The rows -------------------------------------------------------------

constexpr Kind D = Kind::direct;
constexpr Kind M = Kind::machineSpecific;
constexpr Kind S = Kind::sectionRelative;
constexpr Kind I = Kind::invalid;

constexpr FixupRow row(FixupRoutine fixup, const char *name, Kind kind = D, uint8_t pc = 0) {
    return FixupRow{fixup, name, kind, pc, {0, 0}, nullptr};
}
constexpr FixupRow empty = row(reloc::patchUnsupported, "", I);

template <bool Big>
constexpr FixupRow armRows[90] = {
    row(reloc::patchNothing, "NONE"),
    row(word<Big>, "ADDR32"),
    row(branch<Big>, "REL24", D, 1),
    row(reloc::set8, "ADDR8"),
    row(Big ? reloc::set16Be : reloc::set16Le, "ADDR16"),
    row(offsetField<Big, 0xFF7FF000, 0xFFF, 0x1000, false>, "SDT_OFFSET"),
    row(offsetField<Big, 0xFF7FFF00, 0xFF, 0x10, false>, "CDT_OFFSET"),
    row(offsetField<Big, 0xFF7FF000, 0xFFF, 0x1000, true>, "SDT_PCREL_OFFSET", D, 1),
    row(offsetField<Big, 0xFF7FFF00, 0xFF, 0x10, true>, "CDT_PCREL_OFFSET", D, 1),
    row(adr<Big>, "ADR", D, 1),
    row(adrl<Big>, "ADRL", D, 1),
    row(shiftImm<Big>, "SHIFT_IMM"),
    row(reloc::patchNothing, "RELATIVE", I),
    row(reloc::patchNothing, "JMP_SLOT", I),
    row(reloc::patchNothing, "GLOB_DAT", I),
    row(reloc::patchNothing, "COPY", I),
    row(sbBaseOffset<Big>, "SBOFF", M),
    row(sbPart<Big, true, false>, "SBOFFHI", M),
    row(sbPart<Big, false, false>, "SBOFFLO", M),
    row(sbHigh<Big>, "SBHI", M),
    row(sda<Big>, "SDA", M),
    row(sbBaseOffset<Big>, "SBSEG", M),
    row(sbPart<Big, true, true>, "SBSEGHI", M),
    row(sbPart<Big, false, true>, "SBSEGLO", M),
    row(splitOffset<Big, false>, "HSDT_OFFSET"),
    row(splitOffset<Big, true>, "HSDT_PCREL_OFFSET", D, 1),
    row(word<Big>, "SECTOFF", S),
    row(Big ? reloc::subtractValue32Be : reloc::subtractValue32Le, "NADDR32"),
    row(Big ? reloc::negate16Be : reloc::negate16Le, "NADDR16"),
    empty, // 29
    empty,
    empty,
    row(thumbBranch<Big, 0xFF, -0x80, 0x7F, 0>, "REL8", D, 1),
    row(thumbBranch<Big, 0x7FF, -0x400, 0x3FF, 2>, "REL11", D, 1),
    row(longBranchHigh<Big, false>, "REL_HI", D, 1),
    row(longBranchLow<Big>, "REL_LO", D, 1),
    row(thumbWordOffset<Big, false>, "SDT8", D, 1),
    row(thumbWordOffset<Big, true>, "SDT8_REL", D, 1),
    row(thumbField5<Big, 2>, "SDT5", D, 1),
    row(thumbField5<Big, 0>, "SDTB5", D, 1),
    row(thumbField5<Big, 1>, "SDTH5", D, 1),
    row(thumbOrImmediate<Big, 0, 0xFF>, "IMM8", D, 1),
    row(thumbField5<Big, 0>, "IMM5", D, 1),
    row(thumbImm3<Big>, "IMM3", D, 1),
    row(thumbOrImmediate<Big, 2, 0xFF>, "IMM8_ALN", D, 1),
    row(thumbOrImmediate<Big, 2, 0x7F>, "IMM7_ALN", D, 1),
    row(sdaCellPart<Big, true>, "R_ARM_16_SDAHI", M),
    row(sdaCellPart<Big, false>, "R_ARM_16_SDALO", M),
    row(sdaDisplacement<Big>, "R_ARM_16_SDADISP", M),
    row(regionRegister16<Big, 0x4450>, "R_ARM_16_SDAREG", M),
    empty, // 50
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty, // 63
    row(branchExchange<Big>, "R_ARM_REL24_BL", D, 1),
    row(longBranchHigh<Big, true>, "R_ARM_16_REL_HI_BL", D, 1),
    row(longBranchLowExchange<Big>, "R_ARM_16_REL_LO_BL", D, 1),
    row(word<Big>, "R_ARM_PIC32", D, 1),
    empty, // 68
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty,
    empty, // 79
    row(dllWord<Big>, "R_ARM_DLL", M),
    row(dllHalf<Big, 5>, "R_ARM_16_DLLHI", M),
    row(dllHalf<Big, 0>, "R_ARM_16_DLLLO", M),
    row(picRegister<Big>, "R_ARM_PICREG", M),
    row(regionRegister16<Big, 0x4478>, "R_ARM_16_PICREG", M),
    row(displacement<Big, true, 0xC>, "R_ARM_PICDISP", M, 1),
    row(displacement<Big, true, 6>, "R_ARM_16_PICDISP", M, 1),
    row(displacement<Big, false, 0xC>, "R_ARM_RODISP", M, 1),
    row(displacement<Big, false, 6>, "R_ARM_16_RODISP", M, 1),
    row(branch<Big>, "REL24_I", D, 1),
};

template <bool Big>
constexpr FixupRow furtherRows[8] = {
    row(rel23<Big>, "REL23", D, 1),
    row(scattered<Big, 0xFF800000, 0x800000, 0, Piece{0x7FFFFF, 0}, none, none>, "ADDR23"),
    row(scattered<Big, 0xF0F07C00, 0x80000, 0, low10, Piece{0x7C00, 5}, Piece{0x78000, 9}>,
        "RI_IM9"),
    row(scattered<Big, 0xFFF87FE0, 0x200, 0, low5, Piece{0x1E0, 10}, none>, "RRRM9_IM9"),
    row(scattered<Big, 0xFFFC7FE0, 0x100, 0, low5, Piece{0xE0, 10}, none>, "REAI_IM8"),
    row(scattered<Big, 0xFFFFFFE0, 0x20, 0, low5, none, none>, "RRRM5_IM5"),
    row(scattered<Big, 0xF0F04C00, 0, 13, low10, Piece{0x7C00, 5}, Piece{0x78000, 9}>,
        "RI_IM19_H19"),
    row(scattered<Big, 0xF0F04C00, 0, 0, low10, Piece{0x7C00, 5}, Piece{0x8000, 9}>, "RI_IM19_L16"),
};

template <bool Big> ElfSplitFixupTable::Range armRange() {
    return {0, 90, armRows<Big>};
}
template <bool Big> ElfSplitFixupTable::Range furtherRange() {
    return {0x81, 8, furtherRows<Big>};
}

} // namespace

bool ElfARMFixupTable::sbDirect = false;

ElfARMFixupTable::ElfARMFixupTable(bool bigEndian)
    : ElfSplitFixupTable(bigEndian ? armRange<true>() : armRange<false>(),
                         bigEndian ? furtherRange<true>() : furtherRange<false>(),
                         {0, 0, nullptr}) {}

// The options are the nine bytes of the link's RelocationOptions; byte 3 is
// `dynamicOutput` and byte 6 the copy of the "no exports" switch.  Output
// that is not dynamic, or exports nothing, reaches all its data straight
// from the static base.
void ElfARMFixupTable::takeTargetOptions(const RelocationOptions *targetOptions) {
    if (!targetOptions || targetOptions->reservedExports != 0 || targetOptions->dynamicOutput == 0)
        sbDirect = true;
}

int32_t ElfARMFixupTable::encodeImmediate(uint32_t x) {
    for (uint32_t r = 0; r < 16; ++r) {
        uint32_t rotated = r == 0 ? x : (x << (2 * r)) | (x >> (32 - 2 * r));
        if (rotated <= 0xFF) return static_cast<int32_t>(r << 8 | rotated);
    }
    return -1;
}

uint32_t armFieldWidth(const FixupRow &row) {
    if (!row.fixup) return 0;
    auto isRowOf = [&](uint32_t type) {
        return row.fixup == armRows<true>[type].fixup || row.fixup == armRows<false>[type].fixup;
    };
    constexpr uint32_t adrlType = 10;
    if (isRowOf(adrlType)) return 8;
    // The Thumb instructions: a field of one half, which may end a section.
    static const uint32_t halfTypes[] = {32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42,
                                         43, 44, 45, 46, 47, 49, 65, 66, 81, 82, 84};
    for (uint32_t type : halfTypes)
        if (isRowOf(type)) return 2;
    return 0;
}

ElfFixupTable &elfARMFixupTable(bool bigEndian) {
    static ElfARMFixupTable big(true);
    static ElfARMFixupTable little(false);
    return bigEndian ? big : little;
}
