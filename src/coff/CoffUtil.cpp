#include "coff/CoffUtil.h"

#include "input/InputFile.h"
#include "support/endian.h"
#include "support/error.h"

#include <cstring>

namespace CoffUtil {

uint16_t get16(const void *at) {
    uint16_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}
uint32_t get32(const void *at) {
    uint32_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}
void put16(void *at, uint16_t value) {
    std::memcpy(at, &value, sizeof value);
}
void put32(void *at, uint32_t value) {
    std::memcpy(at, &value, sizeof value);
}

namespace {

void swapWord16(uint8_t *at) {
    put16(at, byteSwap16(get16(at)));
}
void swapWord32(uint8_t *at) {
    put32(at, byteSwap32(get32(at)));
}
void swapField(uint16_t &field) {
    field = byteSwap16(field);
}
void swapField(uint32_t &field) {
    field = byteSwap32(field);
}

// The string table behind the symbols.  A length word that reads as four
// printable characters or more (0x20202020 up) is no length: the next
// archive member's header, or other text, follows the symbols.
void readStrings(InputFile &file, ErrorContext &errors, bool swap, CoffStringTable &strings) {
    strings = CoffStringTable{};
    uint32_t start = file.position;
    uint8_t word[4] = {};
    file.readCount(word, sizeof word);
    uint32_t length = get32(word);
    if (swap) length = byteSwap32(length);
    if (length >= 0x20202020) return;
    if (length > 1000000)
        errors.error("String table of %O appears to have a garbage length (=%ld)", &file.fileName,
                     long(length));
    if (length == 0) return;
    strings.size = length;
    // A length beyond what the file holds would only allocate bytes that
    // cannot be read: the block stops at the end of the file.
    uint32_t end = file.bytesInFile();
    uint32_t available = start <= end ? end - start : 0;
    uint32_t held = length <= available ? length : (available > 4 ? available : 4);
    if (held > length) held = length;
    strings.held = held;
    strings.bytes = std::make_unique<char[]>(size_t(held) + 1); // zeroed
    if (held > 4) file.readCount(strings.bytes.get() + 4, held - 4);
}

} // namespace

bool readCoffHeader(InputFile &file, CoffFileHeader &header, bool &swap) {
    uint8_t raw[coffFileHeaderSize] = {};
    file.seek(0);
    file.readCount(raw, sizeof raw);
    if (file.status & InputFile::failBit) return false;
    bool bigEndianFile = (raw[1] & 0xF8) != 0;
    swap = bigEndianFile == hostIsLittleEndian;
    std::memcpy(&header, raw, sizeof header);
    if (swap) swapFileHeader(header);
    return true;
}

std::unique_ptr<syment[]> readCoffSymbols(InputFile &file, const CoffFileHeader &header,
                                          ErrorContext &errors, bool swap) {
    uint32_t count = header.f_nsyms;
    file.seek(header.f_symptr);
    // The count is checked against what the file holds behind the table's
    // offset before anything is allocated by it.
    uint32_t end = file.bytesInFile();
    bool fits = header.f_symptr <= end && count <= (end - header.f_symptr) / coffSymbolSize;
    if ((file.status & InputFile::failBit) || !fits)
        errors.fatal("Unable to read symbol table of COFF file %O", &file.fileName);
    auto entries = std::make_unique<syment[]>(count);
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t raw[coffSymbolSize] = {};
        file.readCount(raw, sizeof raw);
        std::memcpy(&entries[i], raw, sizeof raw);
    }
    if (swap) {
        for (uint32_t i = 0; i < count; i += 1u + entries[i].numaux) {
            swapSymbol(entries[i]);
            if (entries[i].numaux > 0 && i + 1 < count) swapAuxiliary(entries[i + 1], entries[i]);
            if (count - i <= entries[i].numaux) break;
        }
    }
    return entries;
}

std::unique_ptr<syment[]> readCoffSymbolsAndStrings(InputFile &file, const CoffFileHeader &header,
                                                    ErrorContext &errors, bool swap,
                                                    CoffStringTable &strings) {
    std::unique_ptr<syment[]> entries = readCoffSymbols(file, header, errors, swap);
    readStrings(file, errors, swap, strings);
    return entries;
}

void swapFileHeader(CoffFileHeader &h) {
    swapField(h.f_magic);
    swapField(h.f_nscns);
    swapField(h.f_timdat);
    swapField(h.f_symptr);
    swapField(h.f_nsyms);
    swapField(h.f_opthdr);
    swapField(h.f_flags);
}

void swapOptionalHeader(CoffOptionalHeader &h) {
    swapField(h.magic);
    swapField(h.vstamp);
    swapField(h.tsize);
    swapField(h.dsize);
    swapField(h.bsize);
    swapField(h.entry);
    swapField(h.text_start);
    swapField(h.data_start);
}

void swapSectionHeader(CoffSectionHeader &h) {
    swapField(h.s_paddr);
    swapField(h.s_vaddr);
    swapField(h.s_size);
    swapField(h.s_scnptr);
    swapField(h.s_relptr);
    swapField(h.s_lnnoptr);
    swapField(h.s_nreloc);
    swapField(h.s_nlnno);
    swapField(h.s_flags);
}

void swapRelocation(CoffRelocation &entry) {
    swapField(entry.address);
    swapField(entry.symndx);
    swapField(entry.type);
}

void swapLineNumber(CoffLineNumber &entry) {
    swapField(entry.word);
    swapField(entry.line);
}

void swapSymbol(syment &entry) {
    auto *name = reinterpret_cast<uint8_t *>(entry.name);
    if (get32(name) == 0) swapWord32(name + 4);
    swapField(entry.value);
    uint16_t scnum = uint16_t(entry.scnum);
    swapField(scnum);
    entry.scnum = int16_t(scnum);
    swapField(entry.type);
}

void swapAuxiliary(syment &aux, const syment &symbol) {
    auto *raw = reinterpret_cast<uint8_t *>(&aux);
    if (symbol.sclass == coffClassFile) return; // a file name: text
    if (symbol.sclass == coffClassStatic && symbol.type == 0) {
        // Section: length, relocation count, line number count.
        swapWord32(raw);
        swapWord16(raw + 4);
        swapWord16(raw + 6);
    } else if (symbol.sclass == coffClassEndOfStruct) {
        swapWord32(raw);
        swapWord32(raw + 4);
        swapWord32(raw + 8);
        swapWord32(raw + 12);
        swapWord16(raw + 16);
    } else {
        // Tag index, then size (or line and size), array dimensions.
        swapWord32(raw);
        for (uint32_t at = 4; at < 16; at += 2)
            swapWord16(raw + at);
    }
}

bool isLittleEndianCoffMachine(uint16_t magic) {
    switch (magic) {
    case 0x14A:
    case 0x14C:
    case 0x152:
    case 0x178:
    case 0x17B:
    case 0x17D:
        return true;
    default:
        return false;
    }
}

} // namespace CoffUtil
