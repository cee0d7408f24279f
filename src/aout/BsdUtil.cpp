#include "aout/BsdUtil.h"

#include "input/InputFile.h"
#include "support/endian.h"

#include <cstring>

namespace {

uint16_t field16(const uint8_t *raw, uint32_t offset) {
    uint16_t value;
    std::memcpy(&value, raw + offset, sizeof value);
    return value;
}

uint32_t field32(const uint8_t *raw, uint32_t offset) {
    uint32_t value;
    std::memcpy(&value, raw + offset, sizeof value);
    return value;
}

// The magic numbers as they read in host order from a file of the other
// byte order.
bool isReversedMagic(uint16_t magic) {
    return magic == byteSwap16(bsdOmagic) || magic == byteSwap16(bsdNmagic) ||
           magic == byteSwap16(bsdZmagic);
}

} // namespace

void swapBsdHeader(BsdExecHeader &h) {
    uint8_t stored = h.flags;
    h.flags = static_cast<uint8_t>((stored >> 7) | (stored << 1));
    h.magic = byteSwap16(h.magic);
    for (uint32_t *word : {&h.text, &h.data, &h.bss, &h.syms, &h.entry, &h.trsize, &h.drsize})
        *word = byteSwap32(*word);
}

void swapBsdNlists(BsdNlist *entries, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        BsdNlist &e = entries[i];
        e.strx = byteSwap32(e.strx);
        e.desc = byteSwap16(e.desc);
        e.value = byteSwap32(e.value);
    }
}

BsdExecHeader decodeBsdHeader(const uint8_t *raw) {
    BsdExecHeader h;
    h.flags = raw[0];
    h.machine = raw[1];
    h.magic = field16(raw, 2);
    h.text = field32(raw, 4);
    h.data = field32(raw, 8);
    h.bss = field32(raw, 12);
    h.syms = field32(raw, 16);
    h.entry = field32(raw, 20);
    h.trsize = field32(raw, 24);
    h.drsize = field32(raw, 28);
    return h;
}

BsdNlist decodeBsdNlist(const uint8_t *raw) {
    BsdNlist e;
    e.strx = field32(raw, 0);
    e.type = raw[4];
    e.other = raw[5];
    e.desc = field16(raw, 6);
    e.value = field32(raw, 8);
    return e;
}

bool readBsdHeader(InputFile &file, BsdExecHeader &header, bool &swapped) {
    uint8_t raw[bsdHeaderSize] = {};
    file.seek(0);
    file.read(raw, sizeof raw);
    if (file.status & InputFile::failBit) return false;
    header = decodeBsdHeader(raw);
    // A magic that reads directly is taken as it is, whatever its value;
    // only a reversed known magic says the file is of the other order.  (On
    // a little-endian host this is the usual test of a big-endian file: the
    // second 16-bit word reads 0x701, 0x801 or 0xB01.)
    swapped = isReversedMagic(header.magic);
    if (swapped) swapBsdHeader(header);
    return true;
}
