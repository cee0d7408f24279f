// AoutBuilder: writes a.out object files of the SPARC processor in memory for
// the tests, big-endian as SPARC writes them or little-endian as a file of
// the other order.  A builder reads like a description of the file:
//
//     AoutBuilder()
//         .text(bytes(16)).data(bytes(8)).bss(4)
//         .symbol("_main", N_TEXT | N_EXT, 0)
//         .symbol("_table", N_DATA | N_EXT, 16)   // an address: text is 16 bytes
//         .build();
//
// The file is laid out as the format wants it: header, text, data, text
// relocations, data relocations, symbols, string table.  Header fields can
// be overridden after layout, so a damaged file is one more line:
//
//     .patchHeader([](BsdExecHeader &h) { h.trsize = 13; })
#pragma once

#include "aout/BsdRecords.h"
#include "kit/ElfBuilder.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// nlist types, by their usual names.
enum : uint8_t {
    N_UNDF = 0x0,
    N_EXT = 0x1,
    N_ABS = 0x2,
    N_TEXT = 0x4,
    N_DATA = 0x6,
    N_BSS = 0x8,
    N_FUN = 0x24, // a debugging entry: a function, in text by its low bits
};

class AoutBuilder {
public:
    explicit AoutBuilder(ByteOrder order = BigEndian);

    AoutBuilder &machine(uint8_t machine);
    AoutBuilder &magic(uint16_t magic);
    AoutBuilder &dynamic(bool dynamic = true);
    AoutBuilder &toolVersion(uint8_t version);
    AoutBuilder &entry(uint32_t entry);

    AoutBuilder &text(std::vector<uint8_t> contents);
    AoutBuilder &data(std::vector<uint8_t> contents);
    AoutBuilder &bss(uint32_t size);
    // A 12-byte relocation record of the text or the data section.
    AoutBuilder &textRelocation(uint32_t address, uint32_t index, bool external, uint8_t type,
                                uint32_t addend);
    AoutBuilder &dataRelocation(uint32_t address, uint32_t index, bool external, uint8_t type,
                                uint32_t addend);

    // A symbol whose name is added to the string table.  `value` is as the
    // file holds it: an address of the unlinked image (data follows text).
    AoutBuilder &symbol(const std::string &name, uint8_t type, uint32_t value, uint8_t other = 0,
                        uint16_t desc = 0);
    // An entry with the string table index `strx`, adding no name.
    AoutBuilder &symbolAt(uint32_t strx, uint8_t type, uint32_t value);
    // `count` zero bytes behind the entries, counted in syms.
    AoutBuilder &symbolSlack(uint32_t count);
    // Bytes appended to the string table as they are (a name without NUL).
    AoutBuilder &rawStrings(const std::string &bytes);
    // Writes `length` as the first word of the string table.
    AoutBuilder &stringTableLength(uint32_t length);
    // Ends the file right behind the symbols.
    AoutBuilder &noStringTable();

    AoutBuilder &patchHeader(std::function<void(BsdExecHeader &)> patch);
    // Cuts the finished file to `length` bytes.
    AoutBuilder &truncate(uint32_t length);

    // Where the text, the symbols and the string table are written.
    uint32_t textOffset() const;
    uint32_t symbolOffset() const;
    uint32_t stringOffset() const;
    // The string table's length as laid out (length word included).
    uint32_t stringTableSize() const;
    std::vector<uint8_t> build() const;

private:
    struct Entry {
        std::string name;
        bool named;
        BsdNlist raw;
    };

    ByteOrder order;
    BsdExecHeader header{};
    std::vector<uint8_t> textBytes, dataBytes, textRelocations, dataRelocations;
    std::vector<Entry> entries;
    std::string extraStrings;
    uint32_t slack = 0;
    bool lengthGiven = false;
    uint32_t lengthWord = 0;
    bool strings = true;
    std::vector<std::function<void(BsdExecHeader &)>> headerPatches;
    uint32_t truncateTo = 0xFFFFFFFF;

    void relocation(std::vector<uint8_t> &to, uint32_t address, uint32_t index, bool external,
                    uint8_t type, uint32_t addend) const;
};
