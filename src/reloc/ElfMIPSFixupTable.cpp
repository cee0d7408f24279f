#include "reloc/ElfMIPSFixupTable.h"

#include "elf/ElfObjectFile.h"
#include "elf/ElfRecords.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"
#include "reloc/OrderedFields.h"

namespace {

using Kind = ReferenceKind;
using reloc::get32;
using reloc::put32;

bool fitsHalf(int32_t n) {
    return n >= -0x8000 && n <= 0x7FFF;
}
int32_t signedLow(uint32_t word) {
    return static_cast<int16_t>(word & 0xFFFF);
}
uint32_t swapHalves(uint32_t word) {
    return word << 16 | word >> 16;
}

Symbol *rootOf(Symbol *symbol) {
    while (symbol && symbol->link != symbol)
        symbol = symbol->link;
    return symbol;
}

// A MIPS16 function: `other` 0xF0 on the symbol or on its root.
bool isMarked(Symbol *symbol) {
    return symbol && (symbol->other() == 0xF0 || rootOf(symbol)->other() == 0xF0);
}

// V with bit 0 set for a MIPS16 target: a jump through it changes the
// instruction set.
uint32_t markedValue(RelocationDescriptor &entry, uint32_t value) {
    return isMarked(entry.targetSymbol()) ? value | 1 : value;
}

uint32_t gpBase(RelocationDescriptor &entry) {
    ElfObjectFile *output = entry.outputElfFile();
    return output ? output->sdaBase() : 0;
}

GotSectionTable *gotOf(RelocationDescriptor &entry) {
    ElfObjectFile *output = entry.outputElfFile();
    return output ? output->gotSection() : nullptr;
}

// An instruction as the routines see it: `units` has the first 16-bit unit
// as its high half, whatever the file's order; `extended` says that the
// first unit is an EXTEND.
template <bool Big> struct Instruction {
    uint8_t *place;
    uint32_t word; // as read in the file's order
    uint32_t units;

    explicit Instruction(uint8_t *place)
        : place(place), word(get32<Big>(place)), units(Big ? word : swapHalves(word)) {}

    bool extended() const { return (units >> 16 & 0xFC00) == 0xF000; }
    void writeUnits(uint32_t value) { put32<Big>(place, Big ? value : swapHalves(value)); }
    // The plain form: the low 16 bits of the word take `n`.
    void writeLow(uint32_t n) { put32<Big>(place, (word & 0xFFFF0000) | (n & 0xFFFF)); }
};

// The pieces of a 16-bit number in an extended instruction.
uint32_t extendedBits(uint32_t n) {
    return (n & 0x1F) | ((n & 0x7E0) >> 5) << 21 | ((n & 0xF800) >> 11) << 16;
}

// Inserts a 16-bit number by the extended rule (or-ed into the pieces) or
// the plain one (the low half of the word).
template <bool Big> void insertImmediate(uint8_t *place, uint32_t n) {
    Instruction<Big> instruction(place);
    if (instruction.extended())
        instruction.writeUnits(instruction.units | extendedBits(n));
    else
        instruction.writeLow(n);
}

// ---- Plain fields ---------------------------------------------------------

// "32", "REL32": the marked value, added to the word in big-endian files and
// stored over it in little-endian files.
template <bool Big> bool word(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t p) {
    if constexpr (Big)
        return reloc::add32Be(entry, place, markedValue(entry, v), p);
    else
        return reloc::set32Le(entry, place, markedValue(entry, v), p);
}

// HI16, GOT_HI16, CALL_HI16: the high half, rounded for the sign of the low
// half that is added to it.
template <bool Big> bool high(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t) {
    Instruction<Big> instruction(place);
    instruction.writeLow((v >> 16) + (v >> 15 & 1));
    return true;
}

// LO16, GOT_LO16, CALL_LO16: the low half plus the field.
template <bool Big> bool low(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t) {
    Instruction<Big> instruction(place);
    uint32_t n = markedValue(entry, v & 0xFFFF);
    instruction.writeLow(n + static_cast<uint32_t>(signedLow(instruction.word)));
    return true;
}

// PC16: a branch, in words from the instruction behind the branch.
template <bool Big>
bool branch(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t p) {
    Instruction<Big> instruction(place);
    int32_t e =
        static_cast<int32_t>(v - p - 4 + 4 * static_cast<uint32_t>(signedLow(instruction.word)));
    if (e % 4 != 0) entry.error("Target is not word aligned.");
    if (!fitsHalf(e >> 2)) return false;
    instruction.writeLow(static_cast<uint32_t>(e >> 2));
    return true;
}

// "26": J, JAL and JALX, and in two units the MIPS16 JAL/JALX (top six bits
// of the first unit 6 or 7).  In a little-endian file the first unit is the
// low half of the word; a low half that reads as a MIPS16 jump is taken as
// one.  The MIPS16 jump holds the target in three pieces: bits 0 to 15 in
// the second unit, 16 to 20 at bits 21 to 25 and 21 to 25 at bits 16 to
// 20.  Its JALX form (op 7) keeps the same pieces; the one bit in which it
// differs from JAL is bit 26, which a JAL to 32-bit code gets.
template <bool Big> bool jump(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t p) {
    uint32_t w = get32<Big>(place);
    uint32_t op = w >> 26;
    bool swapped = false;
    if (!Big) {
        uint32_t lowOp = (w & 0xFFFF) >> 10;
        if (lowOp == 6 || lowOp == 7) {
            w = swapHalves(w);
            op = lowOp;
            swapped = true;
        }
    }
    bool mips16Jump = op == 6 || op == 7;
    uint32_t t = mips16Jump ? v : v + (w & 0x3FFFFFF) * 4;
    if (t % 4 != 0) entry.error("Target address isn't word-aligned");
    if ((t >> 28) != (p >> 28)) return false;
    uint32_t u = t >> 2;
    Symbol *target = entry.targetSymbol();
    if (op == 3) {
        if (target && isMarked(target)) w ^= 0x78000000; // JAL becomes JALX
        w = (w & 0xFC000000) | (u & 0x3FFFFFF);
    } else if (mips16Jump) {
        if (target && !isMarked(target)) w |= 1u << 26; // JAL becomes JALX
        w = (w & 0xFC000000) | (u & 0xFFFF) | (u & 0x1F0000) << 5 | (u & 0x3E00000) >> 5;
    } else {
        w = (w & 0xFC000000) | (u & 0x3FFFFFF);
    }
    put32<Big>(place, swapped ? swapHalves(w) : w);
    return true;
}

// ---- Global pointer forms -------------------------------------------------

uint32_t gpOf(ElfFixupTable &table) {
    // Only the rows of ElfMIPSFixupTable name the GP routines.
    return static_cast<ElfMIPSFixupTable &>(table).gp;
}

bool isLocalTarget(RelocationDescriptor &entry) {
    Symbol *target = entry.targetSymbol();
    return !target || !target->isGlobal();
}

// GPREL16: the distance from the global pointer.  A local target was
// assembled against the file's own gp, which is added back.  The extended
// test here also excludes the EXTEND of a form that has no such immediate.
template <bool Big>
bool gpRelative16(ElfFixupTable &table, RelocationDescriptor &entry, uint8_t *place, uint32_t v,
                  uint32_t) {
    Instruction<Big> instruction(place);
    bool extended =
        (instruction.units >> 27) == 0x1E && (instruction.units & 0xFC00FFFF) != 0xF4000000;
    uint32_t base = gpBase(entry);
    int32_t inPlace = signedLow(extended ? instruction.units : instruction.word);
    // Summed unsigned, so that a damaged value or gp wraps instead of
    // overflowing; the range test takes the sum as signed.
    uint32_t sum = v - base;
    if (!extended) sum += static_cast<uint32_t>(inPlace);
    if (isLocalTarget(entry)) sum += gpOf(table);
    int32_t e = static_cast<int32_t>(sum);
    if (!fitsHalf(e))
        entry.error("GP ref out of range: _SDA_BASE_ = 0x%lx; target = 0x%lx "
                    "(addend=0x%lx)",
                    base, v, static_cast<uint32_t>(inPlace));
    if (extended)
        instruction.writeUnits((instruction.units & 0xF800FFE0) |
                               extendedBits(static_cast<uint32_t>(e)));
    else
        instruction.writeLow(static_cast<uint32_t>(e));
    return true;
}

// GPREL32: a word of distance from the global pointer.
template <bool Big>
bool gpRelative32(ElfFixupTable &table, RelocationDescriptor &entry, uint8_t *place, uint32_t v,
                  uint32_t) {
    uint32_t n = markedValue(entry, v) - gpBase(entry);
    if (isLocalTarget(entry)) n += gpOf(table);
    put32<Big>(place, n);
    return true;
}

// ---- Global offset table forms --------------------------------------------

// The distance of a .got entry from the global pointer, into the
// instruction; false when it is beyond a signed 16-bit number.  An output
// without a .got counts the table at address 0.
template <bool Big> bool gotDistance(RelocationDescriptor &entry, uint8_t *place, uint32_t at) {
    GotSectionTable *got = gotOf(entry);
    int32_t e = static_cast<int32_t>((got ? got->address() : 0) - gpBase(entry) + at);
    if (!fitsHalf(e)) return false;
    insertImmediate<Big>(place, static_cast<uint32_t>(e));
    return true;
}

// CALL16, GOT_DISP: V is already the offset of the symbol's entry.
template <bool Big>
bool gotOffset(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t) {
    return gotDistance<Big>(entry, place, v);
}

void reportMissingSectionEntry(RelocationDescriptor &entry, Section *section, int32_t offset) {
    entry.error("Can't find %s@%O+0x%lx in .got table.", section->name(),
                section->objectFile()->fileName, static_cast<uint32_t>(offset));
}

// GOT16: the entry of the mapped target, by symbol or, for a local address,
// by section and offset.  Without a .got every lookup fails.
template <bool Big> bool gotEntry(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    GotSectionTable *got = gotOf(entry);
    int32_t offset;
    Symbol *symbol = entry.mappedSymbol(offset);
    int32_t at;
    if (symbol && !symbol->isSectionSymbol()) {
        at = got ? got->entryOf(symbol, offset) : -1;
        if (at == -1)
            entry.error("Can't find %s+0x%lx in .got table.", symbol->name(),
                        static_cast<uint32_t>(offset));
    } else if (Section *section = entry.mappedSection(offset)) {
        at = got ? got->entryOf(section, static_cast<uint32_t>(offset)) : -1;
        if (at == -1) reportMissingSectionEntry(entry, section, offset);
    } else {
        // Neither a symbol nor a section: nothing to look up.
        at = -1;
        entry.error("Can't find %s+0x%lx in .got table.", "???", static_cast<uint32_t>(offset));
    }
    return gotDistance<Big>(entry, place, static_cast<uint32_t>(at));
}

// GOT_PAGE: the entry of the 64-kilobyte page that holds the target.
template <bool Big>
bool gotPage(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t) {
    int32_t offset;
    Section *section = entry.mappedSection(offset);
    uint32_t at = v;
    if (!section) {
        entry.error("Can't locate section/offset for %%got_page");
    } else {
        GotSectionTable *got = gotOf(entry);
        int32_t page = got ? got->pageEntryOf(section, static_cast<uint32_t>(offset), 0x8000) : -1;
        if (page == -1) reportMissingSectionEntry(entry, section, offset);
        at = static_cast<uint32_t>(page);
    }
    return gotDistance<Big>(entry, place, at);
}

// GOT_OFST: the target's distance from the page that GOT_PAGE loaded.
template <bool Big>
bool pageOffset(RelocationDescriptor &entry, uint8_t *place, uint32_t v, uint32_t) {
    int32_t offset;
    Section *section = entry.mappedSection(offset);
    uint32_t d = v;
    if (!section) {
        entry.error("Can't locate section/offset for %%got_ofst");
    } else {
        uint32_t a = section->address();
        uint32_t page = (a + 0x7FFF) & 0xFFFF8000;
        uint32_t target = static_cast<uint32_t>(offset) + a;
        d = target - page;
        if (!fitsHalf(static_cast<int32_t>(d))) {
            entry.error("Displacement out of range%Csecadr=%lx; off=%lx; page "
                        "address=%lx; target "
                        "address=%lx; disp=%lx",
                        a, static_cast<uint32_t>(offset), page, target, d);
            d &= 0xFFFF;
        }
    }
    insertImmediate<Big>(place, d);
    return true;
}

// SCN_DISP: the distance from the start of the target's section.
template <bool Big>
bool sectionDisplacement(RelocationDescriptor &, uint8_t *place, uint32_t v, uint32_t) {
    if (!fitsHalf(static_cast<int32_t>(v))) return false;
    insertImmediate<Big>(place, v);
    return true;
}

// ---- The rows -------------------------------------------------------------

constexpr Kind D = Kind::direct;
constexpr Kind G = Kind::gotReference;

constexpr FixupRow row(FixupRoutine fixup, const char *name, Kind kind = D, uint8_t pc = 0) {
    return FixupRow{fixup, name, kind, pc, {0, 0}, nullptr};
}
constexpr FixupRow tableRow(TableFixupRoutine fixup, const char *name) {
    return FixupRow{nullptr, name, D, 0, {0, 0}, fixup};
}
// A type that the link does not handle.
constexpr FixupRow unsupported(const char *name) {
    return row(reloc::patchUnsupported, name);
}

constexpr uint32_t rowCount = 38;

template <bool Big>
constexpr FixupRow mipsRows[rowCount] = {
    row(reloc::patchNothing, "NONE"),
    row(Big ? reloc::add16Be : reloc::add16Le, "16"),
    row(word<Big>, "32"),
    row(word<Big>, "REL32"),
    row(jump<Big>, "26"),
    row(high<Big>, "HI16"),
    row(low<Big>, "LO16"),
    tableRow(gpRelative16<Big>, "GPREL16"),
    row(reloc::patchNothing, "LITERAL"),
    row(gotEntry<Big>, "GOT16", G),
    row(branch<Big>, "PC16", D, 1),
    row(gotOffset<Big>, "CALL16", G),
    tableRow(gpRelative32<Big>, "GPREL32"),
    row(jump<Big>, "26"),
    unsupported("14"),
    unsupported("15"),
    unsupported("SHIFT5"),
    unsupported("SHIFT6"),
    unsupported("64"),
    row(gotOffset<Big>, "GOT_DISP", G),
    row(gotPage<Big>, "GOT_PAGE", Kind::machineSpecific),
    row(pageOffset<Big>, "GOT_OFST"),
    row(high<Big>, "GOT_HI16", G),
    row(low<Big>, "GOT_LO16", G),
    unsupported("SUB"),
    unsupported("INSERT_A"),
    unsupported("INSERT_B"),
    unsupported("DELETE"),
    unsupported("HIGHER"),
    unsupported("HIGHEST"),
    row(high<Big>, "CALL_HI16", G),
    row(low<Big>, "CALL_LO16", G),
    row(sectionDisplacement<Big>, "SCN_DISP", Kind::sectionRelative),
    unsupported("REL16"),
    unsupported("ADD_IMMEDIATE"),
    unsupported("PJUMP"),
    unsupported("RELGOT"),
    unsupported("JALR"),
};

} // namespace

ElfMIPSFixupTable::ElfMIPSFixupTable(bool bigEndian,
                                     std::unique_ptr<Elf32_RegInfo> registerInformation,
                                     uint32_t flags)
    : ElfFixupTable(bigEndian ? mipsRows<true> : mipsRows<false>, rowCount),
      gp(registerInformation ? static_cast<uint32_t>(registerInformation->ri_gp_value) : 0),
      picCode((flags & 6) != 0) {}

// The numbers from 0x80 on do not follow the position of a row: such a row
// would carry its number with it, and lookup would search the rows from 0x80
// on for it.  The 38 rows of this table carry none, so every type from 0x80
// on, like every type from 38 to 0x7F, has the row of an unknown type.
const FixupRow *ElfMIPSFixupTable::lookup(uint32_t type) {
    if (type < 0x80) return type < count ? &rows[type] : &unknownFixupRow;
    return &unknownFixupRow;
}

ElfFixupTable &elfMIPSFixupTable(bool bigEndian) {
    static ElfMIPSFixupTable big(true, nullptr, 0);
    static ElfMIPSFixupTable little(false, nullptr, 0);
    return bigEndian ? big : little;
}
