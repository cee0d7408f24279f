// Elf32Util: the byte swaps of every ELF record, the magic and byte-order
// tests of a file header, and the hash function of ELF hash sections.
//
// A swap reverses the bytes of each 16-bit and 32-bit field of a record in
// place; single bytes (e_ident, st_info, st_other) stay as they are.
#pragma once

#include "elf/ElfRecords.h"

#include <cstdint>

namespace Elf32Util {

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

// Bytes 0 to 3 are 0x7F "E" "L" "F".
bool isElfMagic(const Elf32_Ehdr &header);
// True when the file's order differs from the host's.  An EI_DATA other than
// 1 counts as big-endian here.
bool needsSwap(const Elf32_Ehdr &header);
// The System V ELF hash of `name`, modulo `buckets` (a zero bucket count
// gives the plain hash).
uint32_t hash(const char *name, uint32_t buckets);

// Swaps of single fields, shared with the other ELF units.
inline uint16_t swap16(uint16_t v) {
    return static_cast<uint16_t>((v >> 8) | (v << 8));
}
inline uint32_t swap32(uint32_t v) {
    return (v >> 24) | ((v >> 8) & 0xFF00) | ((v << 8) & 0xFF0000) | (v << 24);
}
inline void swapField(uint16_t &v) {
    v = swap16(v);
}
inline void swapField(uint32_t &v) {
    v = swap32(v);
}
inline void swapField(int32_t &v) {
    v = static_cast<int32_t>(swap32(static_cast<uint32_t>(v)));
}

} // namespace Elf32Util
