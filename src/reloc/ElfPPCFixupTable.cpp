// The PowerPC fixup rows and routines: the instruction fields, the 16-bit
// halves, and the three small-data areas with the choice among them.
#include "reloc/ElfPPCFixupTable.h"

#include "elf/ElfObjectFile.h"
#include "object/Section.h"
#include "object/SectionGroup.h"
#include "object/Symbol.h"
#include "reloc/RelocationDescriptor.h"

namespace {

// The field accessors of one byte order, so that each routine is written
// once and instantiated for both.
template <bool big> struct Order {
    static uint16_t read16(const uint8_t *p) {
        return big ? reloc::read16Be(p) : reloc::read16Le(p);
    }
    static uint32_t read32(const uint8_t *p) {
        return big ? reloc::read32Be(p) : reloc::read32Le(p);
    }
    static void write16(uint8_t *p, uint32_t v) {
        big ? reloc::write16Be(p, uint16_t(v)) : reloc::write16Le(p, uint16_t(v));
    }
    static void write32(uint8_t *p, uint32_t v) {
        big ? reloc::write32Be(p, v) : reloc::write32Le(p, v);
    }
};

// True when `value` is the sign extension of its low `bits` bits.
bool fitsSigned(uint32_t value, unsigned bits) {
    int32_t top = static_cast<int32_t>(value) >> (bits - 1);
    return top == 0 || top == -1;
}

void checkWordMultiple(RelocationDescriptor &entry, uint32_t number) {
    if (number & 3) entry.error("displacement of jump is not on a word multiple: 0x%lx.", number);
}

// The 24-bit word displacement of a branch: bits 2 to 25; the opcode and the
// AA and LK bits stay.
template <bool big>
bool insertBranch24(RelocationDescriptor &entry, uint8_t *place, uint32_t number) {
    if (!fitsSigned(number, 26)) return false;
    checkWordMultiple(entry, number);
    Order<big>::write32(place, (Order<big>::read32(place) & 0xFC000003) | (number & 0x3FFFFFC));
    return true;
}

// The 14-bit word displacement of a conditional branch: bits 2 to 15; the
// branch options and the hint bits stay.
template <bool big>
bool insertBranch14(RelocationDescriptor &entry, uint8_t *place, uint32_t number) {
    if (!fitsSigned(number, 16)) return false;
    checkWordMultiple(entry, number);
    Order<big>::write32(place, (Order<big>::read32(place) & 0xFFFF0003) | (number & 0xFFFC));
    return true;
}

template <bool big>
bool addr24(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t) {
    return insertBranch24<big>(entry, place, value);
}

// A relative branch that cannot reach its target may still reach it as an
// absolute branch (bit 1, AA) when the target lies near address 0.
template <bool big>
bool rel24(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    uint32_t number = value - address;
    if (!fitsSigned(number, 26)) {
        if (!fitsSigned(value, 26)) return false;
        number = value;
        Order<big>::write32(place, Order<big>::read32(place) | 2);
    }
    return insertBranch24<big>(entry, place, number);
}

template <bool big>
bool addr14(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t) {
    return insertBranch14<big>(entry, place, value);
}

template <bool big>
bool rel14(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) {
    return insertBranch14<big>(entry, place, value - address);
}

template <bool big> bool set16(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    if (!fitsSigned(value, 16)) return false;
    Order<big>::write16(place, value);
    return true;
}

// The three halves that a 32-bit number is built from: the low half, the
// high half, and the high half adjusted for a sign-extended low half ("HA").
uint32_t lowHalf(uint32_t value) {
    return value & 0xFFFF;
}
uint32_t highHalf(uint32_t value) {
    return value >> 16;
}
uint32_t adjustedHalf(uint32_t value) {
    return (value >> 16) + ((value >> 15) & 1);
}

template <bool big> bool low16(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    Order<big>::write16(place, lowHalf(value));
    return true;
}
template <bool big> bool high16(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    Order<big>::write16(place, highHalf(value));
    return true;
}
template <bool big>
bool adjusted16(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    Order<big>::write16(place, adjustedHalf(value));
    return true;
}

template <bool big>
bool rel30(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address) {
    uint32_t distance = static_cast<uint32_t>(static_cast<int32_t>(value - address) >> 2);
    Order<big>::write32(place, (distance << 2) | (Order<big>::read32(place) & 3));
    return true;
}

// The addend describes the field: its width in the low byte, its start in
// bits 16 to 23, counted from the least significant bit in a little-endian
// file and from the most significant one in a big-endian file.  A field that
// does not lie inside the word is written nowhere and answers false, so that
// the entry is reported; a width of 0 writes nothing.
template <bool big>
bool bitField(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t) {
    uint32_t addend = static_cast<uint32_t>(entry.addend());
    uint32_t width = addend & 0xFF;
    uint32_t start = (addend >> 16) & 0xFF;
    if (width > 32 || start > 32 - width) return false;
    if (width == 0) return true;
    uint32_t shift = big ? 32 - start - width : start;
    uint32_t mask = (width == 32 ? 0xFFFFFFFF : (1u << width) - 1) << shift;
    Order<big>::write32(place, (Order<big>::read32(place) & ~mask) | ((value << shift) & mask));
    return true;
}

// ---- Small data ----------------------------------------------------------

struct SmallDataArea {
    const char *name;
    const char *baseSymbol;
    uint8_t baseRegister;
};

const SmallDataArea areas[3] = {
    {".PCC.EMB.sdata0/.PCC.EMB.sbss0", "0", 0},
    {".sdata/.sbss", "_SDA_BASE_", 13},
    {".sdata2/.sbss2", "_SDA2_BASE_", 2},
};

// The order in which a reference tries the areas.
const uint32_t areaOrder[3] = {1, 2, 0};

// What the output file of the link says of the areas, taken on first use.
// The program keeps one state per run, which belongs to the first output
// file that asks; a reference without an output file sees empty areas and
// leaves the state to a later one.
struct AreaState {
    bool filled = false;
    SectionGroup *group[3] = {nullptr, nullptr, nullptr};
    uint32_t base[3] = {0, 0, 0};
    bool anyWide = false;
    uint32_t reportedFailures = 0;
};

AreaState areaState;

// A group of sections that is laid out wide: the linker's layout side marks
// such a group with a flag byte other than 0 when it makes it.  Once some
// group is wide, a reference finds its area by its own group alone.
bool isWide(SectionGroup *group) {
    return group && group->groupFlagByte() != 0;
}

Symbol *rootOf(Symbol *symbol) {
    if (symbol)
        while (symbol->link != symbol)
            symbol = symbol->link;
    return symbol;
}

// The address that a small-data reference means, without its addend: that
// of the root of the target symbol, or, for an entry against a section, the
// section's address.
uint32_t targetAddress(RelocationDescriptor &entry) {
    if (Symbol *root = rootOf(entry.targetSymbol())) return root->address();
    if (Section *section = entry.targetSection()) return section->address();
    return 0;
}

AreaState &areasOf(RelocationDescriptor &entry) {
    if (areaState.filled) return areaState;
    ElfObjectFile *output = entry.outputElfFile();
    Symbol *baseSymbols[3] = {nullptr, nullptr, nullptr};
    if (output) {
        baseSymbols[0] = output->sda0BaseSymbol();
        baseSymbols[1] = output->sdaBaseSymbol();
        baseSymbols[2] = output->sda2BaseSymbol();
        areaState.base[1] = output->sdaBase();
        areaState.base[2] = output->sda2Base();
        areaState.filled = true;
    }
    for (uint32_t i = 0; i < 3; ++i) {
        Section *section = baseSymbols[i] ? baseSymbols[i]->section() : nullptr;
        areaState.group[i] = section ? section->sectionGroup() : nullptr;
        if (isWide(areaState.group[i])) areaState.anyWide = true;
    }
    // With wide groups a reference finds its area by its group alone, so
    // each base symbol that the output defines must lie in a section.
    if (areaState.anyWide)
        for (uint32_t i = 0; i < 3; ++i)
            if (baseSymbols[i] && !baseSymbols[i]->section())
                entry.error("Small data base symbol \"%s\" is not section relative",
                            areas[i].baseSymbol);
    return areaState;
}

bool inReach(uint32_t value, uint32_t base) {
    int32_t distance = static_cast<int32_t>(value - base);
    return distance >= -0x8000 && distance <= 0x7FFF;
}

struct Pick {
    uint32_t value = 0;
    uint32_t base = 0;
    uint32_t index = 0;
};

// Chooses the small-data area of a reference: first the area whose group
// holds the entry's mapped section, then (unless some group is wide) any
// area with a group, then any area that reaches the value.  With
// `checkReach` an area is taken only if its base reaches the value.
bool pickArea(RelocationDescriptor &entry, Pick &pick, bool checkReach) {
    AreaState &state = areasOf(entry);
    pick.value = targetAddress(entry) + static_cast<uint32_t>(entry.addend());
    auto reaches = [&](uint32_t index) {
        return !checkReach || inReach(pick.value, state.base[index]);
    };
    auto choose = [&](uint32_t index) {
        pick.base = state.base[index];
        pick.index = index;
        return true;
    };

    // The area of the entry's own group; one that is out of reach is the
    // candidate that a failure names.
    int32_t candidate = -1;
    int32_t offset = 0;
    Section *mapped = entry.mappedSection(offset);
    if (SectionGroup *group = mapped ? mapped->sectionGroup() : nullptr) {
        if (isWide(group)) state.anyWide = true;
        for (uint32_t index : areaOrder) {
            if (state.group[index] != group) continue;
            if (reaches(index)) return choose(index);
            if (candidate < 0) candidate = static_cast<int32_t>(index);
        }
    }
    if (!state.anyWide) {
        for (uint32_t index : areaOrder)
            if (state.group[index] && reaches(index)) return choose(index);
        for (uint32_t index : areaOrder)
            if (inReach(pick.value, state.base[index])) return choose(index);
    }

    pick.base = 0;
    pick.index = 0;
    if (state.reportedFailures < 4) {
        ++state.reportedFailures;
        if (!checkReach || candidate < 0) {
            entry.error("target symbol is not small-data relative.");
        } else {
            // clang-format off
            entry.error("Small data offset too large;  relocation references 0x%X from base %s[0x%X].",
                        pick.value, areas[candidate].baseSymbol, state.base[candidate]);
            // clang-format on
        }
    }
    return false;
}

// The one step through which every small-data writer stores its signed
// 16-bit number.  A number that does not fit is reported here and not
// written; the row still answers true, so that no second report follows.
template <bool big>
bool storeSmallData16(RelocationDescriptor &entry, uint8_t *field, uint32_t number, uint32_t area) {
    if (!fitsSigned(number, 16)) {
        // clang-format off
        entry.error("%s is evidently too big.%COffset relative to %s is 0x%lx and won't fit in a%Csigned 16-bit field.",
                    areas[area].name, areas[area].baseSymbol, number);
        // clang-format on
        return false;
    }
    Order<big>::write16(field, number);
    return true;
}

// "SDAREL16", "RELSDA" (area 1) and "SDA2REL" (area 2): the distance of the
// target from the area's base.
template <bool big, uint32_t area>
bool smallDataRelative(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    AreaState &state = areasOf(entry);
    uint32_t number =
        targetAddress(entry) + static_cast<uint32_t>(entry.addend()) - state.base[area];
    storeSmallData16<big>(entry, place, number, area);
    return true;
}

// "SDAI16" (area 1) and "SDA2I16" (area 2): the target's address lies in a
// cell of the area's table of 32-bit cells; the instruction reaches the cell.
template <bool big, uint32_t area>
bool throughTable(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    AreaState &state = areasOf(entry);
    ElfObjectFile *output = entry.outputElfFile();
    OffsetTable *table = nullptr;
    if (output) table = area == 1 ? output->offsetTable() : output->sda2OffsetTable();
    int32_t cell = -1;
    if (table) {
        int32_t offset = 0;
        Symbol *symbol = entry.mappedSymbol(offset);
        if (symbol && symbol->isGlobal()) {
            cell = table->entryForSymbol(symbol, offset);
        } else {
            int32_t sectionOffset = 0;
            if (Section *section = entry.mappedSection(sectionOffset))
                cell = table->entryForSection(section, sectionOffset);
        }
    }
    if (cell < 0) {
        entry.error("Target is bad");
        return true;
    }
    uint32_t number = static_cast<uint32_t>(cell) + table->base() - state.base[area];
    storeSmallData16<big>(entry, place, number, area);
    return true;
}

// "RELST_LO", "RELST_HI", "RELST_HA": a half of the start address of the
// target's section.
template <bool big, uint32_t (*half)(uint32_t)>
bool sectionStart(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    Section *section = nullptr;
    if (Symbol *root = rootOf(entry.targetSymbol()))
        section = root->section();
    else if (Section *target = entry.targetSection())
        section = target->outermostSection();
    if (!section) {
        entry.error("Not a valid section reference.");
        return true;
    }
    Order<big>::write16(place, half(section->address() + static_cast<uint32_t>(entry.addend())));
    return true;
}

// "SDA21": a load or store whose base register and displacement both come
// from the area.  In a big-endian file the entry points at the instruction
// (then the register byte is its second byte) or at the register byte
// itself; in a little-endian file at the instruction, whose first two bytes
// are the displacement and whose third holds the register.  A failed pick
// was reported there and writes nothing.
template <bool big> bool sda21(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    Pick pick;
    if (!pickArea(entry, pick, true)) return true;
    uint8_t *registerByte;
    uint8_t *displacement;
    if (big) {
        registerByte = place + ((entry.dataOffset() & 3) == 0 ? 1 : 0);
        displacement = registerByte + 1;
    } else {
        displacement = place;
        registerByte = place + 2;
    }
    if (storeSmallData16<big>(entry, displacement, pick.value - pick.base, pick.index))
        *registerByte = uint8_t((*registerByte & 0xE0) | areas[pick.index].baseRegister);
    return true;
}

// The 16-bit field of rows 0xB4 to 0xB9: the low two bits of the entry's
// offset say how far the field lies on (2, 1, 0, 0 bytes).
uint8_t *diabField(RelocationDescriptor &entry, uint8_t *place) {
    static const uint8_t shifts[4] = {2, 1, 0, 0};
    return place + shifts[entry.dataOffset() & 3];
}

// "R_PPC_DIAB_SDA21_LO/HI/HA": a half of the distance from the picked
// area's base; the high forms also set the base register in the byte in
// front of the field.
template <bool big, uint32_t (*half)(uint32_t), bool setsRegister>
bool diabSda21(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    Pick pick;
    if (!pickArea(entry, pick, false)) return true;
    uint8_t *field = diabField(entry, place);
    Order<big>::write16(field, half(pick.value - pick.base));
    if (setsRegister) field[-1] = uint8_t((field[-1] & 0xE0) | areas[pick.index].baseRegister);
    return true;
}

// "R_PPC_DIAB_RELSDA_LO/HI/HA": a half of the distance from _SDA_BASE_.
template <bool big, uint32_t (*half)(uint32_t)>
bool diabRelSda(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    ElfObjectFile *output = entry.outputElfFile();
    uint32_t number = targetAddress(entry) + static_cast<uint32_t>(entry.addend()) -
                      (output ? output->sdaBase() : 0);
    Order<big>::write16(diabField(entry, place), half(number));
    return true;
}

// ---- Rows ------------------------------------------------------------------

constexpr FixupRow row(FixupRoutine fixup, const char *name, ReferenceKind kind,
                       uint8_t pcRelative = 0) {
    return FixupRow{fixup, name, kind, pcRelative, {0, 0}, nullptr};
}

constexpr ReferenceKind direct = ReferenceKind::direct;
constexpr ReferenceKind got = ReferenceKind::gotReference;
constexpr ReferenceKind plt = ReferenceKind::pltReference;
constexpr ReferenceKind sectionRelative = ReferenceKind::sectionRelative;
constexpr ReferenceKind byFixup = ReferenceKind::machineSpecific;
constexpr ReferenceKind invalid = ReferenceKind::invalid;

// Names, kinds and flags are the same in both byte orders; only the
// routines' byte order differs.
// The named routine of the table's byte order.
#define BY_ORDER(name) (big ? reloc::name##Be : reloc::name##Le)

template <bool big> struct Rows {
    static constexpr FixupRow common[38] = {
        row(reloc::patchNothing, "NONE", direct),
        row(BY_ORDER(set32), "ADDR32", direct),
        row(BY_ORDER(ppcAddr24), "ADDR24", direct),
        row(BY_ORDER(ppcSet16), "ADDR16", direct),
        row(BY_ORDER(ppcLow16), "ADDR16_LO", direct),
        row(BY_ORDER(ppcHigh16), "ADDR16_HI", direct),
        row(BY_ORDER(ppcAdjusted16), "ADDR16_HA", direct),
        row(BY_ORDER(ppcAddr14), "ADDR14", direct),
        row(BY_ORDER(ppcAddr14), "ADDR14_BRTAKEN", direct),
        row(BY_ORDER(ppcAddr14), "ADDR14_BRNTAKEN", direct),
        row(BY_ORDER(ppcRel24), "REL24", direct, 1),
        row(BY_ORDER(ppcRel14), "REL14", direct, 1),
        row(BY_ORDER(ppcRel14), "REL14_BRTAKEN", direct, 1),
        row(BY_ORDER(ppcRel14), "REL14_BRNTAKEN", direct, 1),
        row(BY_ORDER(ppcSet16), "GOT16", got),
        row(BY_ORDER(ppcLow16), "GOT16_LO", got),
        row(BY_ORDER(ppcHigh16), "GOT17_HI", got),
        row(BY_ORDER(ppcAdjusted16), "GOT17_HA", got),
        row(BY_ORDER(ppcRel24), "PLT24", plt, 1),
        row(reloc::patchNothing, "NONE", direct),
        row(reloc::patchNothing, "GLOBDAT", invalid),
        row(reloc::patchNothing, "JMPSLOT", invalid),
        row(reloc::patchNothing, "RELATIVE", invalid),
        row(BY_ORDER(ppcRel24), "LOCAL24PC", direct, 1),
        row(BY_ORDER(set32), "UADDR32", direct),
        row(BY_ORDER(ppcSet16), "UADDR16", direct),
        row(BY_ORDER(setPc32), "REL32", direct, 1),
        row(BY_ORDER(set32), "PLT32", plt),
        row(BY_ORDER(setPc32), "PLTREL32", plt, 1),
        row(BY_ORDER(ppcLow16), "PLT16_LO", plt),
        row(BY_ORDER(ppcHigh16), "PLT16_HI", plt),
        row(BY_ORDER(ppcAdjusted16), "PLT16_HA", plt),
        row(smallDataRelative<big, 1>, "SDAREL16", byFixup),
        row(BY_ORDER(ppcSet16), "SECTOFF", sectionRelative),
        row(BY_ORDER(ppcLow16), "SECTOFF_LO", sectionRelative),
        row(BY_ORDER(ppcHigh16), "SECTOFF_HI", sectionRelative),
        row(BY_ORDER(ppcAdjusted16), "SECTOFF_HA", sectionRelative),
        row(BY_ORDER(ppcRel30), "ADDR30", direct, 1),
    };

    static constexpr FixupRow embedded[16] = {
        row(BY_ORDER(subtractValue32), "NADDR32", direct),
        row(BY_ORDER(negate16), "NADDR16", direct),
        row(BY_ORDER(setNegatedLow16), "NADDR16_LO", direct),
        row(BY_ORDER(setNegatedHigh16), "NADDR16_HI", direct),
        row(BY_ORDER(setNegatedAdjusted16), "NADDR16_HA", direct),
        row(throughTable<big, 1>, "SDAI16", byFixup),
        row(throughTable<big, 2>, "SDA2I16", byFixup),
        row(smallDataRelative<big, 2>, "SDA2REL", byFixup),
        row(sda21<big>, "SDA21", byFixup),
        row(reloc::patchNothing, "MRKREF", byFixup),
        row(BY_ORDER(ppcSet16), "RELSEC16", sectionRelative),
        row(sectionStart<big, lowHalf>, "RELST_LO", byFixup),
        row(sectionStart<big, highHalf>, "RELST_HI", byFixup),
        row(sectionStart<big, adjustedHalf>, "RELST_HA", byFixup),
        row(BY_ORDER(ppcBitField), "BIT_FLD", byFixup),
        row(smallDataRelative<big, 1>, "RELSDA", byFixup),
    };

    static constexpr FixupRow diab[6] = {
        row(diabSda21<big, lowHalf, false>, "R_PPC_DIAB_SDA21_LO", byFixup),
        row(diabSda21<big, highHalf, true>, "R_PPC_DIAB_SDA21_HI", byFixup),
        row(diabSda21<big, adjustedHalf, true>, "R_PPC_DIAB_SDA21_HA", byFixup),
        row(diabRelSda<big, lowHalf>, "R_PPC_DIAB_RELSDA_LO", byFixup),
        row(diabRelSda<big, highHalf>, "R_PPC_DIAB_RELSDA_HI", byFixup),
        row(diabRelSda<big, adjustedHalf>, "R_PPC_DIAB_RELSDA_HA", byFixup),
    };
};

#undef BY_ORDER

} // namespace

ElfPPCFixupTable::ElfPPCFixupTable(bool bigEndian)
    : ElfSplitFixupTable({0, 38, bigEndian ? Rows<true>::common : Rows<false>::common},
                         {0x65, 16, bigEndian ? Rows<true>::embedded : Rows<false>::embedded},
                         {0xB4, 6, bigEndian ? Rows<true>::diab : Rows<false>::diab}) {}

void ElfPPCFixupTable::forgetSmallDataAreas() {
    areaState = AreaState{};
}

ElfFixupTable &elfPPCFixupTable(bool bigEndian) {
    static ElfPPCFixupTable big(true);
    static ElfPPCFixupTable little(false);
    return bigEndian ? big : little;
}

namespace reloc {

#define TNM_PPC_FIXUP_ORDER(name, routine)                                                         \
    bool name##Be(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) { \
        return routine<true>(entry, place, value, address);                                        \
    }                                                                                              \
    bool name##Le(RelocationDescriptor &entry, uint8_t *place, uint32_t value, uint32_t address) { \
        return routine<false>(entry, place, value, address);                                       \
    }
TNM_PPC_FIXUP_ORDER(ppcAddr24, addr24)
TNM_PPC_FIXUP_ORDER(ppcRel24, rel24)
TNM_PPC_FIXUP_ORDER(ppcAddr14, addr14)
TNM_PPC_FIXUP_ORDER(ppcRel14, rel14)
TNM_PPC_FIXUP_ORDER(ppcSet16, set16)
TNM_PPC_FIXUP_ORDER(ppcLow16, low16)
TNM_PPC_FIXUP_ORDER(ppcHigh16, high16)
TNM_PPC_FIXUP_ORDER(ppcAdjusted16, adjusted16)
TNM_PPC_FIXUP_ORDER(ppcRel30, rel30)
TNM_PPC_FIXUP_ORDER(ppcBitField, bitField)
#undef TNM_PPC_FIXUP_ORDER

} // namespace reloc
