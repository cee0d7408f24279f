#include "input/arc5sdata.h"

#include "elf/ElfOutputSection.h"
#include "object/ObjectFile.h"
#include "object/SectionSet.h"
#include "object/Symbol.h"
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"
#include "support/array.h"
#include "support/formout.h"
#include "support/quickSort.h"
#include "support/toggles.h"

#include <memory>
#include <utility>

namespace {

// The groups in the order of the layout.
enum Group : uint32_t { wordLow, halfLow, byteGroup, halfHigh, wordHigh, neither, groupCount };

const char *const groupLabels[groupCount] = {
    "Word Addressed #1",     "HalfWord Addressed #1", "Byte Addressed",
    "HalfWord Addressed #2", "Word Addressed #2",     "Neither Addressed",
};

constexpr uint32_t groupSizeHint = 50;

// The ARC small-data relocation types (SDA_LDST, SDA_LDST1, SDA_LDST2,
// SDA16_LD, SDA16_LD1, SDA16_LD2) and the access width that each stands
// for.
enum class Access { none, byte, halfWord, word };

Access accessOf(uint32_t type) {
    switch (type) {
    case 0x13:
    case 0x16:
        return Access::byte;
    case 0x14:
    case 0x17:
        return Access::halfWord;
    case 0x15:
    case 0x18:
        return Access::word;
    default:
        return Access::none;
    }
}

using Groups = std::unique_ptr<SectionSet>[groupCount];

// Puts every member of .sdata into the group of the narrowest access that a
// relocation of the output makes to it; members without any stay in the
// neither group.  The order of the relocations does not matter.
void classify(ElfOutputSection &smallData, ObjectFile &output, Groups &groups) {
    SectionSet members(groupSizeHint);
    smallData.eachMember([&](Section &member) {
        members.add(&member);
        groups[neither]->add(&member);
        return true;
    });
    SectionSet &bytes = *groups[byteGroup];
    SectionSet &halves = *groups[halfLow];
    SectionSet &words = *groups[wordLow];

    output.eachSection([&](Section &section) {
        RelocationsIterator *table = section.outputRelocations();
        if (!table) return true;
        table->each([&](RelocationDescriptor &entry) {
            Access access = accessOf(entry.elfType());
            if (access == Access::none) return true;
            Section *target = entry.targetSection();
            if (!target) {
                Symbol *symbol = entry.targetSymbol();
                target = symbol ? symbol->section() : nullptr;
            }
            if (!target || !members.contains(target)) return true;
            groups[neither]->remove(target);
            switch (access) {
            case Access::byte:
                words.remove(target);
                halves.remove(target);
                bytes.add(target);
                break;
            case Access::halfWord:
                if (!bytes.contains(target)) {
                    words.remove(target);
                    halves.add(target);
                }
                break;
            case Access::word:
                if (!bytes.contains(target) && !halves.contains(target)) words.add(target);
                break;
            case Access::none:
                break;
            }
            return true;
        });
        return true;
    });
}

// Moves the first sections by name into `high` while their running total
// stays within half of the group's size; the rest stay in `low`.  A lone
// section thus stays low unless it is empty.
void split(SectionSet &low, SectionSet &high) {
    uint32_t total = 0;
    low.each([&](Section &section) {
        total += section.size();
        return true;
    });
    uint32_t half = total / 2;
    uint32_t running = 0;
    SortedSections byName(low);
    byName.each([&](Section &section) {
        running += section.size();
        if (running > half) return false;
        high.add(&section);
        return true;
    });
    high.each([&](Section &section) {
        low.remove(&section);
        return true;
    });
}

// The base: a multiple of 4 that only rises, never above 0x400, placed by
// checks on the boundaries of the groups in turn.  The two checks on the low
// boundaries only ever raise to within 3 bytes of a base that is a multiple
// of 4 already, so in effect they never move it; they are kept for the
// symmetry of the reach.
int32_t chooseBase(int32_t hlo, int32_t blo, int32_t bhi, int32_t hhi, int32_t whi) {
    int32_t base = 0;
    auto raiseTo = [&](int32_t value) {
        int32_t aligned = static_cast<int32_t>(static_cast<uint32_t>(value) & ~3u);
        if (aligned > base) base = aligned;
        if (base >= 0x400) base = 0x400;
    };
    // Distances and raised values wrap in 32 bits, as the offsets do.
    auto plus = [](int32_t value, int32_t delta) {
        return static_cast<int32_t>(static_cast<uint32_t>(value) + static_cast<uint32_t>(delta));
    };
    if (plus(whi, -base) >= 0x400) raiseTo(plus(whi, -0x3F9));
    if (plus(hhi, -base) >= 0x200) raiseTo(plus(hhi, -0x1FB));
    if (plus(hlo, -base) < -0x200) raiseTo(plus(hlo, 0x203));
    if (plus(blo, -base) < -0x100) raiseTo(plus(blo, 0x103));
    if (plus(bhi, -base) >= 0x100) raiseTo(plus(bhi, -0xFD));
    return base;
}

// The symbols of the output that lie in .sdata, by value, with their
// offsets from the base.
void traceSymbols(ElfOutputSection &smallData, ObjectFile &output, int32_t base) {
    FormatOut &out = traceOut();
    out.print("[SDATA] Final symbols offsets in .sdata:\n");
    dynarray<Symbol *> symbols;
    output.eachSymbol([&](Symbol &symbol) {
        Section *section = symbol.section();
        if (section && (section == &smallData || section->outputSection() == &smallData))
            symbols.append(&symbol);
        return true;
    });
    if (symbols.count > 1)
        quickSort(
            0, static_cast<int32_t>(symbols.count) - 1,
            [&](int32_t a, int32_t b) { std::swap(symbols[a], symbols[b]); },
            [&](int32_t a, int32_t b) { return symbols[a]->value() < symbols[b]->value(); });
    for (Symbol *symbol : symbols)
        out.print("\t@%+d\t%s @%O, size=%d\n",
                  static_cast<int32_t>(symbol->value() - static_cast<uint32_t>(base)),
                  symbol->name(), symbol->fileName(), symbol->size());
}

} // namespace

void remapSmallData(ElfOutputSection &smallData, ObjectFile &output, uint32_t &base) {
    static Toggle &trace = toggleTable().define("TRACE_SDATA", false);
    uint32_t size = smallData.size();
    if (trace.isOn()) traceOut().print("[SDATA] .sdata of size %d bytes\n", size);
    if (size <= 0x200) {
        base = size >= 0x100 ? 0x100 : 0;
        if (trace.isOn())
            traceOut().print("[SDATA] No need to remap. Size is sufficiently small\n");
        return;
    }

    Groups groups;
    for (auto &group : groups)
        group = makeSectionSet(groupSizeHint);
    classify(smallData, output, groups);
    split(*groups[wordLow], *groups[wordHigh]);
    split(*groups[halfLow], *groups[halfHigh]);

    smallData.unmapInputSections();
    if (trace.isOn()) traceOut().print("[SDATA] New mapping of .sdata:\n");
    uint32_t ends[groupCount] = {};
    for (uint32_t group = 0; group < groupCount; ++group) {
        if (trace.isOn()) traceOut().print("[SDATA]    %s\n", groupLabels[group]);
        SortedSections byName(*groups[group]);
        byName.each([&](Section &section) {
            smallData.appendSection(&section);
            if (trace.isOn())
                traceOut().print("[SDATA]\t%s from %O\n", section.name(), section.fileName());
            return true;
        });
        ends[group] = smallData.size();
    }

    // The boundaries are 32-bit offsets that wrap as the hardware's do: a
    // section of 2 GB or more gives negative ones, never an overflow.
    int32_t hlo = static_cast<int32_t>(ends[wordLow]);
    int32_t blo = static_cast<int32_t>(ends[halfLow]);
    int32_t bhi = static_cast<int32_t>(ends[byteGroup] - 1);
    int32_t hhi = static_cast<int32_t>(ends[halfHigh] - 2);
    int32_t whi = static_cast<int32_t>(ends[wordHigh] - 4);
    int32_t chosen = chooseBase(hlo, blo, bhi, hhi, whi);
    base = static_cast<uint32_t>(chosen);

    if (trace.isOn()) {
        traceOut().print("[SDATA] Wlo=0, Hlo=%d, Blo=%d, Bhi=%d,Hhi=%d,Whi=%d;  base=%d\n", hlo,
                         blo, bhi, hhi, whi, chosen);
        traceSymbols(smallData, output, chosen);
    }
}
