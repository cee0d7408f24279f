#include "elf/ElfUtil.h"

#include "elf/Elf32Util.h"
#include "input/InputFile.h"
#include "object/ObjectFile.h"
#include "support/botch.h"
#include "support/endian.h"
#include "support/error.h"

#include <cstdio>
#include <cstring>

namespace ElfUtil {

namespace {

const Printable *nameOf(const InputFile &file) {
    return &file.fileName;
}

bool endedEarly(const InputFile &file) {
    return (file.status & (InputFile::badBit | InputFile::eofBit)) != 0;
}

// One row of the machine tables.  `none` marks a column without a case.
constexpr uint32_t none = 0xFFFFFFFF;

struct MachineRow {
    uint16_t machine;
    uint32_t copy, relative, word, jmpSlot, globdat, call, pltEntry, initPlt;
};

constexpr MachineRow machineRows[] = {
    {2, 0x13, 0x16, 3, 0x15, 0x14, 7, 12, 0x30},
    {3, 5, 8, 1, 7, 6, 2, 16, 0x10},
    {8, 0, 3, 2, 0, 0, 4, 4, none},
    {0x11, 0x13, 0x16, 1, 0x15, 0x14, 10, 8, 0x48},
    {0x14, 0x13, 0x16, 1, 0x15, 0x14, 10, 8, 0x48},
    {0x28, 0xF, 0xC, 1, 0xD, 0xE, 2, 16, 0},
    {0x2D, 0, 0, 4, 0, 0, 6, 4, none},
    {0x5D, 0, 0, 4, 0, 0, 0x11, 4, none},
    {0x5F, 0, 0, 1, 0, 0, 0x17, 4, none},
    {0x63, 0, 0, 6, 0, 0, none, 4, none},
    {0x9999, 0, 0, 6, 0, 0, none, 4, none},
};

const MachineRow *findRow(uint16_t machine) {
    for (const MachineRow &row : machineRows)
        if (row.machine == machine) return &row;
    return nullptr;
}

uint32_t lookup(uint16_t machine, uint32_t MachineRow::*column, const char *operation) {
    const MachineRow *row = findRow(machine);
    if (!row || row->*column == none)
        botch("ElfUtil::%s(%s) -- no case present!", operation, machineName(machine));
    return row->*column;
}

} // namespace

bool readHeader(InputFile &file, Elf32_Ehdr &header, ErrorContext &errorContext, bool &swap) {
    file.seek(0);
    file.read(&header, sizeof header);
    if (endedEarly(file))
        errorContext.fatal("Unable to read ELF header of %O: errno=%d", nameOf(file),
                           file.lastError);
    uint8_t data = header.e_ident[EI_DATA];
    swap =
        (data == ELFDATA2LSB || data == ELFDATA2MSB) && (data == ELFDATA2LSB) != hostIsLittleEndian;
    if (swap) Elf32Util::swap(header);
    return true;
}

std::unique_ptr<Elf32_Shdr[]> readSectionTable(InputFile &file, const Elf32_Ehdr &header,
                                               ErrorContext &errorContext, bool swap) {
    if (header.e_shentsize != sizeof(Elf32_Shdr))
        errorContext.fatal("In file %O: e_shentsize (=%d) in elf header is invalid;%Cshould be %d.",
                           nameOf(file), header.e_shentsize, static_cast<int>(sizeof(Elf32_Shdr)));
    uint32_t bytes = uint32_t(header.e_shnum) * sizeof(Elf32_Shdr);
    // A table that cannot lie inside the file is not allocated at all.
    if (header.e_shoff > file.length || bytes > file.length - header.e_shoff) {
        errorContext.error("File %O has truncated section table", nameOf(file));
        return nullptr;
    }
    auto table = std::make_unique<Elf32_Shdr[]>(header.e_shnum);
    file.seek(header.e_shoff);
    file.read(table.get(), bytes);
    if (endedEarly(file)) {
        errorContext.error("File %O has truncated section table", nameOf(file));
        return nullptr;
    }
    if (swap)
        for (uint32_t i = 0; i < header.e_shnum; ++i)
            Elf32Util::swap(table[i]);
    return table;
}

bool readSectionContents(void *buffer, InputFile &file, const Elf32_Shdr &sectionHeader,
                         const char *sectionName, ErrorContext &errorContext) {
    file.seek(sectionHeader.sh_offset);
    file.read(buffer, sectionHeader.sh_size);
    if (endedEarly(file)) {
        errorContext.error("Premature EOF encountered reading contents of%Csection %s in file %O "
                           "(offset=0x%lx, size=0x%lx)",
                           sectionName, nameOf(file), sectionHeader.sh_offset,
                           sectionHeader.sh_size);
        return false;
    }
    return true;
}

void makeHeader(Elf32_Ehdr &out, uint16_t machine, bool littleEndian) {
    memset(&out, 0, sizeof out);
    out.e_ident[0] = 0x7F;
    out.e_ident[1] = 'E';
    out.e_ident[2] = 'L';
    out.e_ident[3] = 'F';
    out.e_ident[EI_CLASS] = 1;
    out.e_ident[EI_DATA] = littleEndian ? ELFDATA2LSB : ELFDATA2MSB;
    out.e_ident[EI_VERSION] = 1;
    out.e_type = ET_EXEC;
    out.e_machine = machine;
    out.e_version = 1;
    out.e_ehsize = 0x34;
    out.e_phentsize = 0x20;
    out.e_shentsize = 0x28;
}

bool needsSwap(ObjectFile *objectFile) {
    return objectFile && headerNeedsSwap(*objectFile->elfHeader());
}

bool headerNeedsSwap(const Elf32_Ehdr &header) {
    return Elf32Util::needsSwap(header);
}

uint32_t hash(const char *name, uint32_t buckets) {
    return Elf32Util::hash(name, buckets);
}

uint32_t copyType(uint16_t m) {
    return lookup(m, &MachineRow::copy, "copyType");
}
uint32_t relativeType(uint16_t m) {
    return lookup(m, &MachineRow::relative, "relativeType");
}
uint32_t word32(uint16_t m) {
    return lookup(m, &MachineRow::word, "word32");
}
uint32_t jmpSlotType(uint16_t m) {
    return lookup(m, &MachineRow::jmpSlot, "jmpSlotType");
}
uint32_t globdatType(uint16_t m) {
    return lookup(m, &MachineRow::globdat, "globdatType");
}
// The call type reports a missing case in the words of word32.
uint32_t callType(uint16_t m) {
    return lookup(m, &MachineRow::call, "word32");
}
uint32_t pltEntrySize(uint16_t m) {
    return lookup(m, &MachineRow::pltEntry, "pltEntrySize");
}
uint32_t initPltSize(uint16_t m) {
    return lookup(m, &MachineRow::initPlt, "initPltSize");
}

const char *machineName(uint16_t machine) {
    switch (machine) {
    case 0:
        return "NONE";
    case 1:
        return "M32";
    case 2:
        return "SPARC";
    case 3:
        return "386";
    case 4:
        return "68K";
    case 5:
        return "88K";
    case 6:
        return "486";
    case 7:
        return "860";
    case 8:
        return "MIPS";
    case 0x0B:
        return "PPCTOC";
    case 0x11:
        return "PPCIBM";
    case 0x14:
        return "PPC";
    case 0x28:
        return "ARM";
    case 0x2D:
        return "ARC";
    case 0x5F:
        return "VIDEOCORE";
    case 0x39D:
        return "HOBBIT";
    default:
        break;
    }
    static char unknown[16];
    snprintf(unknown, sizeof unknown, "?%d?", machine);
    return unknown;
}

bool isKnownMachine(uint16_t machine) {
    return findRow(machine) != nullptr;
}

bool usesRel(uint16_t machine) {
    return machine == 3 || machine == 4 || machine == 6;
}

std::unique_ptr<char[]> relocationSectionName(const char *name, uint16_t machine) {
    char buffer[0x100];
    snprintf(buffer, sizeof buffer, "%s%s", usesRel(machine) ? ".rel" : "rela", name);
    size_t length = strlen(buffer);
    auto result = std::make_unique<char[]>(length + 1);
    memcpy(result.get(), buffer, length + 1);
    return result;
}

uint32_t auxiliarySize(uint16_t machine) {
    switch (machine) {
    case 0x28:
        return 0x14;
    case 0x2D:
    case 0x5D:
    case 0x63:
    case 0x9999:
        return 4;
    default:
        return 0xC;
    }
}

uint32_t auxiliaryOffset(uint16_t machine) {
    return machine == 0x11 || machine == 0x14 ? 4 : 0;
}

uint32_t relocationForDynamic(uint32_t type, uint16_t machine, bool ppcDynamicSwitch) {
    if (machine == 0x14 && ppcDynamicSwitch) {
        switch (type) {
        case 1:
            return 0x16;
        case 4:
            return 200;
        case 5:
            return 0xC9;
        case 6:
            return 0xCA;
        default:
            return 0;
        }
    }
    uint32_t relative = relativeType(machine);
    if (type == word32(machine)) return relative;
    if (type == jmpSlotType(machine)) return type;
    if (type == relative) return type;
    if (type == globdatType(machine)) return relative;
    return 0;
}

bool isRelativeType(uint32_t type, uint16_t machine) {
    if (machine == 0x14) return type == 0x16 || type == 200 || type == 0xC9 || type == 0xCA;
    return type == relativeType(machine);
}

void swap(Elf32_Ehdr &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Shdr &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Phdr &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Sym &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Rel &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Rela &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Dyn &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Verdef &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Verdaux &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Verneed &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_Vernaux &r) {
    Elf32Util::swap(r);
}
void swap(Elf32_RegInfo &r) {
    Elf32Util::swap(r);
}

} // namespace ElfUtil
