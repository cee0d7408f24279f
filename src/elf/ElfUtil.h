// ElfUtil: facts about ELF files that depend on the machine (relocation type
// numbers, names, sizes), and a second set of header routines that read
// straight from an InputFile and report through an ErrorContext instead of
// going through an Elf32Reader.
//
// The identification of files (FileIdentity) reads an ELF header through
// `readHeader` with a silent context.
#pragma once

#include "elf/ElfRecords.h"

#include <cstdint>
#include <memory>

class ErrorContext;
class InputFile;
class ObjectFile;

namespace ElfUtil {

// The file header at offset 0.  A failed read is fatal ("Unable to read ELF
// header of ...").  `swap` is set only for EI_DATA 1 or 2 that differs from
// the host; any other EI_DATA is left unswapped.  The magic is not tested.
bool readHeader(InputFile &file, Elf32_Ehdr &header, ErrorContext &errorContext, bool &swap);
// The section header table in host order; null (after an error) when it is
// cut short by the end of the file.  An e_shentsize other than 40 is fatal.
std::unique_ptr<Elf32_Shdr[]> readSectionTable(InputFile &file, const Elf32_Ehdr &header,
                                               ErrorContext &errorContext, bool swap);
// Reads sh_size bytes at sh_offset into `buffer`; false after an error when
// the file ends early.
bool readSectionContents(void *buffer, InputFile &file, const Elf32_Shdr &sectionHeader,
                         const char *sectionName, ErrorContext &errorContext);
// A cleared executable file header for `machine` in the given byte order.
void makeHeader(Elf32_Ehdr &out, uint16_t machine, bool littleEndian);
bool needsSwap(ObjectFile *objectFile);
bool headerNeedsSwap(const Elf32_Ehdr &header);
uint32_t hash(const char *name, uint32_t buckets);

// Relocation type numbers by machine.  A machine without a row ends the run
// through botch.
uint32_t copyType(uint16_t machine);
uint32_t relativeType(uint16_t machine);
uint32_t word32(uint16_t machine);
uint32_t jmpSlotType(uint16_t machine);
uint32_t globdatType(uint16_t machine);
uint32_t callType(uint16_t machine);
uint32_t pltEntrySize(uint16_t machine);
uint32_t initPltSize(uint16_t machine);

// "386", "ARM", ...; an unknown number gives "?%d?" in a static buffer that
// the next such call overwrites.
const char *machineName(uint16_t machine);
bool isKnownMachine(uint16_t machine);
bool usesRel(uint16_t machine);
// ".rel" + name for machines of usesRel, else "rela" + name; a fresh string.
std::unique_ptr<char[]> relocationSectionName(const char *name, uint16_t machine);
uint32_t auxiliarySize(uint16_t machine);
uint32_t auxiliaryOffset(uint16_t machine);
// The type a dynamic output holds for relocation `type`.  `ppcDynamicSwitch`
// is the linker option that selects the PowerPC dynamic relocation numbers.
uint32_t relocationForDynamic(uint32_t type, uint16_t machine, bool ppcDynamicSwitch);
bool isRelativeType(uint32_t type, uint16_t machine);

// The record swaps, as in Elf32Util.
void swap(Elf32_Ehdr &header);
void swap(Elf32_Shdr &header);
void swap(Elf32_Phdr &header);
void swap(Elf32_Sym &symbol);
void swap(Elf32_Rel &relocation);
void swap(Elf32_Rela &relocation);
void swap(Elf32_Dyn &entry);
void swap(Elf32_Verdef &record);
void swap(Elf32_Verdaux &record);
void swap(Elf32_Verneed &record);
void swap(Elf32_Vernaux &record);
void swap(Elf32_RegInfo &record);

} // namespace ElfUtil
