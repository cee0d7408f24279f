// CoffUtil: the low-level reading of COFF files that the object file reader
// and the identification of a file's processor share: the file header and
// its byte order, the symbol table and the string table, and the byte swaps
// of every COFF record.
//
// The byte order is told by the magic: every magic is below 0x800, so its
// high byte has none of the bits 0xF8 set.  When the file's second byte has
// any of them, the low byte came second: the file is big-endian.  Everything
// handed out here is in host order; `swap` says whether a block just read
// from the same file still needs turning.
#pragma once

#include "coff/CoffRecords.h"

#include <cstdint>
#include <memory>

class ErrorContext;
class InputFile;

// The string table as read: `bytes` holds the table with its length word
// cleared and a NUL behind the last byte held, so no name read from it runs
// out of the block.  `size` is the length word as the file gives it; `held`
// the bytes actually in the block, which is less when the file ends early
// (a length beyond what the file holds is not allocated).
struct CoffStringTable {
    std::unique_ptr<char[]> bytes;
    uint32_t size = 0;
    uint32_t held = 0;
};

namespace CoffUtil {

// Reads the 20-byte file header at offset 0 into host order.  False when it
// could not be read (the seek failed).
bool readCoffHeader(InputFile &file, CoffFileHeader &header, bool &swap);

// Reads header.f_nsyms entries at header.f_symptr into 20-byte slots, in host
// order (each symbol and its first auxiliary entry; further auxiliary
// entries stay as they are in the file).  Fatal "Unable to read symbol table
// of COFF file %O" when the table lies beyond the file, or when the file
// cannot hold as many entries as the header counts.  The file is left at the
// end of the table.
std::unique_ptr<syment[]> readCoffSymbols(InputFile &file, const CoffFileHeader &header,
                                          ErrorContext &errors, bool swap);

// readCoffSymbols, then the string table right behind the entries.
std::unique_ptr<syment[]> readCoffSymbolsAndStrings(InputFile &file, const CoffFileHeader &header,
                                                    ErrorContext &errors, bool swap,
                                                    CoffStringTable &strings);

void swapFileHeader(CoffFileHeader &header);
void swapOptionalHeader(CoffOptionalHeader &header);
void swapSectionHeader(CoffSectionHeader &header);
void swapRelocation(CoffRelocation &entry);
void swapLineNumber(CoffLineNumber &entry);
// The string table offset only when the first 4 bytes are zero, then value,
// scnum and type.
void swapSymbol(syment &entry);
// An auxiliary entry, by the layout that the class of its symbol gives;
// `symbol` must be in host order already.
void swapAuxiliary(syment &aux, const syment &symbol);

// True for the magics of little-endian processors: 0x14A, 0x14C, 0x152,
// 0x178, 0x17B and 0x17D.
bool isLittleEndianCoffMachine(uint16_t magic);

// Unaligned field access on a raw slot.
uint16_t get16(const void *at);
uint32_t get32(const void *at);
void put16(void *at, uint16_t value);
void put32(void *at, uint32_t value);

} // namespace CoffUtil
