#include "elf/ElfObjectFile.h"

#include "elf/ElfSymtabSection.h"
#include "input/FileIdentity.h"
#include "input/FileName.h"
#include "support/botch.h"

namespace {

// One reason object serves every call; a result is good until the next.
IncompatibilityReason sharedReason;
// The first file met whose partner had e_flags bits set: the one to blame
// when ARM stack check values clash.
ObjectFile *firstStackCheckFile = nullptr;

constexpr uint32_t armStackCheckBits = 0x60;
constexpr uint32_t mipsPic = 2;
constexpr uint32_t mipsCpic = 4;
constexpr uint32_t mipsXgot = 8;
constexpr uint32_t mipsAbi2 = 0x20;
constexpr uint32_t mipsArch = 0xF0000000;

bool mipsIs32Bit(uint32_t flags) {
    uint32_t arch = flags & mipsArch;
    return arch == 0 || arch == 0x10000000 || arch == 0x60000000;
}

} // namespace

ElfObjectFile::ElfObjectFile(const FileName &fileName) : ObjectFile(fileName) {}

ElfObjectFile::ElfObjectFile(const FileName &fileName, const Elf32_Ehdr &header,
                             ElfSectionVector sections, uint32_t symbolTableIndex)
    : ObjectFile(fileName) {
    init(header, std::move(sections), symbolTableIndex);
}

ElfObjectFile::~ElfObjectFile() = default;

void ElfObjectFile::init(const Elf32_Ehdr &newHeader, ElfSectionVector newSections,
                         uint32_t newSymbolTableIndex) {
    header = newHeader;
    sections = std::move(newSections);
    slotCount = header.e_shnum;
    symbolTableIndex = newSymbolTableIndex;
}

void ElfObjectFile::each(SymbolVisitor visitor) {
    eachSymbol(visitor);
}
uint32_t ElfObjectFile::count() {
    return symbolCount();
}

const char *ElfObjectFile::name() {
    return fileName->printableText();
}
ObjectFormatKind ElfObjectFile::formatKind() {
    return elfFormat;
}

bool ElfObjectFile::isCompatibleWith(ObjectFile &other) {
    return incompatibility(other) == nullptr;
}

IncompatibilityReason *ElfObjectFile::incompatibility(ObjectFile &other) {
    const char *text = nullptr;
    bool possibly = false;
    bool byteOrder = false;
    ObjectFile *culprit = nullptr;
    ElfObjectFile *otherElf = other.asElfObjectFile();
    uint32_t m = other.machine();

    // The machine.
    bool machinesMatch = m == header.e_machine || header.e_machine == EM_NONE ||
                         (otherElf && m == EM_NONE) ||
                         (m == EM_PPC && header.e_machine == EM_PPC_IBM) ||
                         (m == EM_PPC_IBM && header.e_machine == EM_PPC) ||
                         (header.e_machine == EM_ARM && other.formatKind() == armFormat);
    if (!machinesMatch)
        text = otherElf ? "target machines don't match" : "object file formats don't match";

    // ARM stack checking: a file without a value takes its partner's.
    if (!text && m == EM_ARM && otherElf) {
        uint32_t mine = header.e_flags & armStackCheckBits;
        uint32_t theirs = otherElf->header.e_flags & armStackCheckBits;
        if (!firstStackCheckFile && otherElf->header.e_flags != 0) firstStackCheckFile = this;
        if (mine && theirs && !(mine & theirs)) {
            text = "stack check value does not match";
            possibly = true;
            culprit = firstStackCheckFile;
        } else if (!theirs && mine) {
            otherElf->header.e_flags |= mine;
        } else if (!mine) {
            header.e_flags |= theirs;
        }
    }

    if (!text && isLittleEndian() != other.isLittleEndian()) {
        text = "endian mismatch";
        byteOrder = true;
    }

    if (!text && m == EM_MIPS) {
        uint32_t t = header.e_flags;
        uint32_t o = otherElf ? otherElf->header.e_flags : 0;
        if (otherElf && otherElf->nonPicFile)
            nonPicFile = otherElf->nonPicFile;
        else if (!(o & (mipsPic | mipsCpic | mipsXgot)))
            nonPicFile = &other;
        if (nonPicFile && (t & (mipsPic | mipsCpic)) && !(t & mipsXgot)) {
            text = "mixing non-PIC with PIC";
            culprit = nonPicFile;
        } else if (t != o) {
            uint32_t picT = t & (mipsPic | mipsCpic);
            uint32_t picO = o & (mipsPic | mipsCpic);
            if (picT != picO && ((picT && !(t & mipsXgot)) || (picO && !(o & mipsXgot))))
                text = "mixing PIC with non-PIC";
            else if ((t ^ o) & mipsAbi2)
                text = "ABI incompatibility (n32 vs. o32)";
            else if (((t ^ o) & mipsArch) && mipsIs32Bit(t) != mipsIs32Bit(o))
                text = "one is for 64 bit mode, the other is for 32 bit mode";
            if (!text && ((t ^ o) & mipsXgot)) {
                text = "one assumes $28 fixed (\"xgot\"); the other does not";
                possibly = true;
            }
        }
    }

    if (!text) return nullptr;
    sharedReason.fill(culprit ? culprit->fileName : other.fileName, fileName, text);
    sharedReason.setPossibly(possibly);
    sharedReason.setByteOrder(byteOrder);
    return &sharedReason;
}

bool ElfObjectFile::isRelocatable() {
    return !isSharedObject();
}
bool ElfObjectFile::isSharedObject() {
    return header.e_type == ET_DYN;
}
bool ElfObjectFile::isReentrant() {
    return (header.e_flags & 0x10) != 0;
}

void ElfObjectFile::eachSection(SectionVisitor visitor) {
    for (uint32_t i = 1; i < sectionSlots(); ++i) {
        ElfSection *section = sections[i].get();
        if (section && section->isContentSection() && !visitor(*section)) return;
    }
}

uint32_t ElfObjectFile::symbolCount() {
    ElfSymtabSection *table = symbolTable();
    return table ? table->liveSymbolCount() : 0;
}

void ElfObjectFile::eachSymbol(SymbolVisitor visitor) {
    if (ElfSymtabSection *table = symbolTable()) table->eachSymbol(visitor);
}

void ElfObjectFile::eachGlobalSymbol(SymbolVisitor visitor) {
    ElfSymtabSection *table = symbolTable();
    if (!table) return;
    uint32_t entries = table->entryCount();
    for (uint32_t i = table->firstGlobalIndex(); i < entries; ++i)
        if (ElfSymbol *symbol = table->symbolAt(i))
            if (!visitor(*symbol)) return;
}

Elf32_Ehdr *ElfObjectFile::elfHeader() {
    return &header;
}
uint32_t ElfObjectFile::machine() {
    return header.e_machine;
}

uint32_t ElfObjectFile::coffMachine() {
    switch (header.e_machine) {
    case 3:
        return 0x14C;
    case 4:
        return 0x88;
    default:
        return 0;
    }
}

uint32_t ElfObjectFile::bsdMachine() {
    switch (header.e_machine) {
    case 2:
        return 3;
    case 4:
        return 2;
    default:
        return 0;
    }
}

ElfObjectFile *ElfObjectFile::asElfObjectFile() {
    return this;
}
uint32_t ElfObjectFile::entry() {
    return header.e_entry;
}
bool ElfObjectFile::isLittleEndian() {
    return header.e_ident[EI_DATA] == ELFDATA2LSB;
}

void ElfObjectFile::reservedElfOperation1() {}
VerDef *ElfObjectFile::versionDefinition(uint32_t) {
    return nullptr;
}
void ElfObjectFile::reservedElfOperation2() {}
bool ElfObjectFile::hasComdat() {
    return false;
}
uint32_t ElfObjectFile::reservedElfQuery1() {
    return 0;
}
uint32_t ElfObjectFile::reservedElfQuery2() {
    return 0;
}
uint32_t ElfObjectFile::reservedElfQuery3() {
    return 0;
}

uint32_t ElfObjectFile::reservedElfQuery4(uint32_t *out) {
    if (out) *out = 0;
    return 0;
}

void ElfObjectFile::setSoname(const char *) {}
uint32_t ElfObjectFile::reservedElfQuery5() {
    return 0;
}
uint32_t ElfObjectFile::reservedElfQuery6() {
    return 0;
}
uint32_t ElfObjectFile::reservedElfQuery7() {
    return 0;
}
uint32_t ElfObjectFile::reservedElfQuery8() {
    return 0;
}
uint32_t ElfObjectFile::reservedElfQuery9() {
    return 0;
}
GotTable *ElfObjectFile::firstLinkerTable() {
    return nullptr;
}
GotTable *ElfObjectFile::secondLinkerTable() {
    return nullptr;
}
GotTable *ElfObjectFile::thirdLinkerTable() {
    return nullptr;
}
uint32_t ElfObjectFile::reservedElfQuery10() {
    return 0;
}
uint32_t ElfObjectFile::reservedElfQuery11() {
    return 0;
}
uint32_t ElfObjectFile::reservedElfQuery12() {
    return 0;
}

ElfSection *ElfObjectFile::sectionAt(uint32_t index) {
    return index < sectionSlots() ? sections[index].get() : nullptr;
}

ElfSymtabSection *ElfObjectFile::symtabAt(uint32_t index) {
    ElfSection *section = sectionAt(index);
    return section ? section->asSymtab() : nullptr;
}

ElfStrtabSection *ElfObjectFile::strtabAt(uint32_t index) {
    ElfSection *section = sectionAt(index);
    ElfStrtabSection *table = section ? section->asStrtab() : nullptr;
    if (!table) botch("Bad string table reference (=%d) in file %s", index, name());
    return table;
}

ElfReltabSection *ElfObjectFile::reltabAt(uint32_t index) {
    ElfSection *section = sectionAt(index);
    ElfReltabSection *table = section ? section->asReltab() : nullptr;
    if (!table) botch("Bad relocation table reference (=%d) in file %s", index, name());
    return table;
}

uint32_t ElfObjectFile::sdaBase() {
    return 0;
}
SectionGroup *ElfObjectFile::dataSegment() {
    return nullptr;
}
uint32_t ElfObjectFile::regionStart() {
    return 0;
}
uint32_t ElfObjectFile::regionEnd() {
    return 0;
}
OffsetTable *ElfObjectFile::offsetTable() {
    return nullptr;
}
GotSectionTable *ElfObjectFile::gotSection() {
    return nullptr;
}
Symbol *ElfObjectFile::sda0BaseSymbol() {
    return nullptr;
}
Symbol *ElfObjectFile::sdaBaseSymbol() {
    return nullptr;
}
Symbol *ElfObjectFile::sda2BaseSymbol() {
    return nullptr;
}
uint32_t ElfObjectFile::sda2Base() {
    return 0;
}
OffsetTable *ElfObjectFile::sda2OffsetTable() {
    return nullptr;
}
