#include "input/Processor.h"

#include "elf/ElfSection.h"
#include "input/arc5sdata.h"
#include "object/ObjectFile.h"
#include "object/Section.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

uint32_t Processor::elfMachine() const {
    return noMachine;
}
uint32_t Processor::coffMachine() const {
    return noMachine;
}
uint32_t Processor::bsdMachine() const {
    return noMachine;
}
bool Processor::embeddedFlag() const {
    return false;
}
void Processor::prepareSmallData(ObjectFile &) {}
uint32_t Processor::smallDataBaseOffset(Section &) const {
    return 0;
}
const char *Processor::smallDataBaseSymbol() const {
    return "_SDA_BASE_";
}
const char *Processor::smallData2BaseSymbol() const {
    return "_SDA2_BASE_";
}

namespace {

// A target that is nothing but its numbers.
class PlainProcessor : public Processor {
public:
    constexpr PlainProcessor(const char *name, uint32_t elf, uint32_t coff, uint32_t bsd,
                             bool embedded)
        : text(name), elf(elf), coff(coff), bsd(bsd), embedded(embedded) {}
    const char *name() const override { return text; }
    uint32_t elfMachine() const override { return elf; }
    uint32_t coffMachine() const override { return coff; }
    uint32_t bsdMachine() const override { return bsd; }
    bool embeddedFlag() const override { return embedded; }

private:
    const char *text;
    uint32_t elf, coff, bsd;
    bool embedded;
};

constexpr uint32_t none = Processor::noMachine;

PlainProcessor sparcEntry("SPARC", 2, none, 3, false);
PlainProcessor iX86Entry("iX86", 3, 0x14C, none, false);
PlainProcessor i860Entry("i860", 7, none, none, false);
PlainProcessor mc680x0Entry("MC680X0", 4, 0x150, none, false);
PlainProcessor am29kEntry("AM29K", none, 0x17A, none, true);
PlainProcessor am29kLEntry("AM29K-L", none, 0x17B, none, true);
PlainProcessor armEntry("ARM", 0x28, none, none, false);
PlainProcessor ilMachineEntry("IL-Machine", 0x9999, none, none, true);
PlainProcessor pjcEntry("PJC", 0x63, none, none, false);
PowerPCProcessor powerPCEntry(false);
PlainProcessor mipsEntry("MIPS", 8, none, none, false);
PowerPCProcessor powerPCEmbeddedEntry(true);
ArcProcessor arcEntry;
PlainProcessor videoCoreEntry("VideoCore", 0x5F, none, none, true);
ArcA5Processor arcA5Entry;

// The ARC rule: the base sits 0x100 into the section when the section
// reaches that far, so that signed offsets reach both ways.
uint32_t arcOffsetForSize(uint32_t size) {
    return size >= 0x100 ? 0x100 : 0;
}

} // namespace

Processor &Processor::sparc() {
    return sparcEntry;
}
Processor &Processor::iX86() {
    return iX86Entry;
}
Processor &Processor::i860() {
    return i860Entry;
}
Processor &Processor::mc680x0() {
    return mc680x0Entry;
}
Processor &Processor::am29k() {
    return am29kEntry;
}
Processor &Processor::am29kL() {
    return am29kLEntry;
}
Processor &Processor::arm() {
    return armEntry;
}
Processor &Processor::ilMachine() {
    return ilMachineEntry;
}
Processor &Processor::pjc() {
    return pjcEntry;
}
Processor &Processor::mips() {
    return mipsEntry;
}
Processor &Processor::arc() {
    return arcEntry;
}
Processor &Processor::videoCore() {
    return videoCoreEntry;
}
Processor &Processor::arcA5() {
    return arcA5Entry;
}

Processor &Processor::powerPC(uint32_t machine) {
    powerPCEntry.storedMachine = machine;
    return powerPCEntry;
}

Processor &Processor::powerPCEmbedded(uint32_t machine) {
    powerPCEmbeddedEntry.storedMachine = machine;
    return powerPCEmbeddedEntry;
}

const char *PowerPCProcessor::name() const {
    return "PowerPC";
}
uint32_t PowerPCProcessor::elfMachine() const {
    return storedMachine;
}
bool PowerPCProcessor::embeddedFlag() const {
    return embedded;
}

const char *ArcProcessor::name() const {
    return "ARC";
}
uint32_t ArcProcessor::elfMachine() const {
    return 0x2D;
}
bool ArcProcessor::embeddedFlag() const {
    return true;
}
uint32_t ArcProcessor::smallDataBaseOffset(Section &smallData) const {
    return arcOffsetForSize(smallData.size());
}

const char *ArcA5Processor::name() const {
    return "ARC-A5";
}
uint32_t ArcA5Processor::elfMachine() const {
    return 0x5D;
}
uint32_t ArcA5Processor::smallDataBaseOffset(Section &smallData) const {
    if (smallDataBase != 0xFFFFFFFF) return smallDataBase;
    return ArcProcessor::smallDataBaseOffset(smallData);
}

void ArcA5Processor::prepareSmallData(ObjectFile &output) {
    output.eachSection([&](Section &section) {
        const char *name = section.name();
        if (!name || std::strcmp(name, ".sdata") != 0) return true;
        // Only the output file of a link calls this, and all its sections
        // are ELF output sections; anything else is a broken invariant.
        ElfSection *elf = section.asElfSection();
        ElfOutputSection *smallData = elf ? elf->asElfOutputSection() : nullptr;
        if (!smallData) {
            std::fprintf(stderr, "%s: Line %d: assert(%s) failed.\n", __FILE__, __LINE__,
                         "smallData != nullptr");
            std::abort();
        }
        // The small-data remapping reorders the members of `smallData` by
        // access width and stores the base it chooses.
        remapSmallData(*smallData, output, smallDataBase);
        return true;
    });
}
