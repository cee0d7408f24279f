#include "reloc/elfreloc.h"

#include "elf/Elf32Extractor.h"
#include "elf/ElfObjectFile.h"
#include "input/FileName.h"
#include "reloc/ElfARCFixupTable.h"
#include "reloc/ElfARMFixupTable.h"
#include "reloc/ElfMIPSFixupTable.h"
#include "reloc/ElfOtherFixupTables.h"
#include "reloc/ElfPPCFixupTable.h"
#include "reloc/ElfVCFixupTable.h"
#include "reloc/reloc.h"
#include "support/botch.h"
#include "support/error.h"

namespace {

const Printable *printable(const FileName *name) {
    return name;
}

// The table of a machine that has none of its own: every type is "???", of
// kind invalid, and patches nothing.
const FixupRow unknownMachineRows[1] = {
    {reloc::patchUnsupported, "???", ReferenceKind::invalid, 0, {0, 0}, nullptr}};

ElfFixupTable &unknownMachineTable() {
    static ElfFixupTable table(unknownMachineRows, 1);
    return table;
}

// The first chunk of a section's contents, which for a section read from a
// file is all of it.  False when the section gives no contents.
bool contentsOf(Section &section, const uint8_t *&data, uint32_t &size) {
    bool found = false;
    section.eachRawDataChunk(
        [&](uint32_t offset, uint32_t chunkSize, uint8_t *bytes, RelocationsIterator *) {
            if (offset == 0 && bytes) {
                data = bytes;
                size = chunkSize;
                found = true;
            }
            return false;
        });
    return found;
}

int32_t signExtend16(uint32_t value) {
    return static_cast<int16_t>(static_cast<uint16_t>(value));
}

} // namespace

ElfFixupTable &elfFixupTableFor(uint16_t machine, bool bigEndian) {
    switch (machine) {
    case EM_SPARC:
        return elfSPARCFixupTable();
    case EM_386:
        return elfI386FixupTable();
    case EM_MIPS:
        return elfMIPSFixupTable(bigEndian);
    case EM_PPC_IBM:
    case EM_PPC:
        return elfPPCFixupTable(bigEndian);
    case EM_ARM:
        return elfARMFixupTable(bigEndian);
    case EM_ARC:
    case 0x5D:
        return elfARCFixupTable(bigEndian);
    case 0x5F: // VideoCore: one table for both orders
        return elfVCFixupTable();
    case 0x63: // PJ
        return elfPJCFixupTable(bigEndian);
    case 0x9999: // NM
        return elfNMFixupTable(bigEndian);
    default:
        return unknownMachineTable();
    }
}

// ---- SHT_REL ----

ElfRelSection::ElfRelSection(const char *name, Elf32Extractor &input, const Elf32_Shdr &header,
                             ElfObjectFile &file, ElfFixupTable &fixups, ErrorContext &errorContext)
    : ElfReltabSectionFromInput(name, header, file, fixups, errorContext) {
    if (header.sh_entsize != sizeof(Elf32_Rel)) {
        errorContext.error("In %O: section %s has an invalid value for entsize field",
                           printable(fileName()), name);
        return;
    }
    // An empty section has no records to read (and whatever its offset
    // says, nothing to fail on).
    uint32_t records = header.sh_size / sizeof(Elf32_Rel);
    if (records == 0) return;
    relRecords = input.readRel(header);
    if (!relRecords)
        errorContext.fatal("Can't read in %s section of %O", name, printable(fileName()));
    recordCount = records;
    if (machine == EM_MIPS) pairMipsHi16(errorContext);
}

ElfRelSection::~ElfRelSection() = default;

void ElfRelSection::pairMipsHi16(ErrorContext &) {
    const uint8_t *data = nullptr;
    uint32_t dataSize = 0;
    bool haveData = false;
    bool little = file->isLittleEndian();
    for (uint32_t i = 1; i < recordCount; ++i) {
        const Elf32_Rel &hi = relRecords[i - 1];
        const Elf32_Rel &lo = relRecords[i];
        if ((lo.r_info & 0xFF) != 6 || (hi.r_info & 0xFF) != 5 ||
            (lo.r_info >> 8) != (hi.r_info >> 8))
            continue;
        if (!haveData) {
            haveData = contentsOf(*target, data, dataSize);
            if (!haveData) botch("Can't read data for section %s", name());
        }
        const Elf32_Shdr *targetHeader = target->elfHeader();
        uint32_t base = targetHeader ? targetHeader->sh_addr : 0;
        uint32_t limit = targetHeader ? targetHeader->sh_size : dataSize;
        uint32_t hiAt = hi.r_offset - base;
        uint32_t loAt = lo.r_offset - base;
        // Both words must lie inside the bytes that were read, too.
        if (hiAt >= limit || loAt >= limit || dataSize < 4 || hiAt > dataSize - 4 ||
            loAt > dataSize - 4)
            botch("%O:Fixup %d and %d have bad r_offsets (%x %x)", printable(fileName()), i - 1, i,
                  hiAt, loAt);
        uint32_t hiWord = little ? reloc::read32Le(data + hiAt) : reloc::read32Be(data + hiAt);
        uint32_t loWord = little ? reloc::read32Le(data + loAt) : reloc::read32Be(data + loAt);
        uint32_t whole = static_cast<uint32_t>(signExtend16(hiWord)) * 0x10000u +
                         static_cast<uint32_t>(signExtend16(loWord));
        addendCells()[i - 1] = static_cast<int32_t>(whole);
        // The LO16 record ends this pair and starts none of its own.
        ++i;
    }
}

bool ElfRelSection::hasExplicitAddend() {
    return false;
}

int32_t ElfRelSection::addend() {
    return addendOverrides ? addendOverrides[current] : 0;
}

// ---- SHT_RELA ----

ElfRelaSection::ElfRelaSection(const char *name, Elf32Extractor &input, const Elf32_Shdr &header,
                               ElfObjectFile &file, ElfFixupTable &fixups,
                               ErrorContext &errorContext)
    : ElfReltabSectionFromInput(name, header, file, fixups, errorContext) {
    if (header.sh_entsize != sizeof(Elf32_Rela)) {
        errorContext.error("In %O: section %s has an invalid value for entsize field",
                           printable(fileName()), name);
        return;
    }
    uint32_t records = header.sh_size / sizeof(Elf32_Rela);
    if (records == 0) return;
    relaRecords = input.readRela(header);
    if (!relaRecords)
        errorContext.fatal("Can't read in %s section of %O", name, printable(fileName()));
    recordCount = records;
    if (machine == EM_ARM) markArmPic32();
    if (machine == EM_MIPS && header.sh_info != 0) markMips16Jumps();
}

ElfRelaSection::~ElfRelaSection() = default;

void ElfRelaSection::markArmPic32() {
    for (uint32_t i = 1; i < recordCount; ++i) {
        Elf32_Rela &word = relaRecords[i - 1];
        const Elf32_Rela &partner = relaRecords[i];
        uint32_t partnerType = partner.r_info & 0xFF;
        if ((partnerType == 0x55 || partnerType == 0x56) && (word.r_info & 0xFF) == 1 &&
            word.r_offset == partner.r_offset)
            word.r_info = (word.r_info & ~0xFFu) | 0x43;
    }
}

void ElfRelaSection::markMips16Jumps() {
    const uint8_t *data = nullptr;
    uint32_t dataSize = 0;
    bool haveData = false;
    bool little = file->isLittleEndian();
    for (uint32_t i = 0; i < recordCount; ++i) {
        Elf32_Rela &record = relaRecords[i];
        if ((record.r_info & 0xFF) != 4) continue;
        if (!haveData && !(haveData = contentsOf(*target, data, dataSize))) return;
        // A record whose place lies outside the contents keeps its type.
        if (dataSize < 2 || record.r_offset > dataSize - 2) continue;
        const uint8_t *at = data + record.r_offset;
        uint16_t half = little ? reloc::read16Le(at) : reloc::read16Be(at);
        uint32_t high = half >> 8;
        if ((high == 0x18 || high == 0x1C) && (half & 0xFF) == 0)
            record.r_info = (record.r_info & ~0xFFu) | 13;
    }
}

bool ElfRelaSection::hasExplicitAddend() {
    return true;
}

bool ElfRelaSection::hasAddendField() {
    return true;
}

int32_t ElfRelaSection::addend() {
    if (addendOverrides && targetWasReset(current)) return addendOverrides[current];
    return relaRecords[current].r_addend;
}

// ---- making a table ----

std::unique_ptr<ElfReltabSection> makeElfReltabSection(const char *name, Elf32Extractor &input,
                                                       uint16_t machine, const Elf32_Shdr &header,
                                                       ElfObjectFile &file,
                                                       ErrorContext &errorContext,
                                                       const RelocationOptions *targetOptions) {
    bool bigEndian = !file.isLittleEndian();
    ElfFixupTable *fixups = &elfFixupTableFor(machine, bigEndian);
    // The ARM rows reach data through the static base as the link's target
    // options say.
    if (machine == EM_ARM) ElfARMFixupTable::takeTargetOptions(targetOptions);
    // A MIPS file with a .reginfo record has its own global pointer value,
    // which its GPREL rows add: its tables get a table of their own.
    std::unique_ptr<ElfFixupTable> ownFixups;
    if (machine == EM_MIPS)
        if (std::unique_ptr<Elf32_RegInfo> registers = input.registerInformation()) {
            ownFixups = std::make_unique<ElfMIPSFixupTable>(bigEndian, std::move(registers),
                                                            file.header.e_flags);
            fixups = ownFixups.get();
        }
    std::unique_ptr<ElfReltabSectionFromInput> table;
    if (header.sh_type == SHT_REL)
        table = std::make_unique<ElfRelSection>(name, input, header, file, *fixups, errorContext);
    else
        table = std::make_unique<ElfRelaSection>(name, input, header, file, *fixups, errorContext);
    if (table->count() == 0) return nullptr;
    if (ownFixups) table->keepFixupTable(std::move(ownFixups));
    return table;
}
