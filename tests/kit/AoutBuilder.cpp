#include "kit/AoutBuilder.h"

#include <algorithm>

namespace {

class Writer {
public:
    Writer(std::vector<uint8_t> &out, ByteOrder order) : out(out), order(order) {}

    void put8(uint32_t at, uint8_t v) { grow(at + 1), out[at] = v; }
    void put16(uint32_t at, uint16_t v) {
        for (uint32_t i = 0; i < 2; ++i)
            put8(at + i, uint8_t(v >> (order == BigEndian ? 8 * (1 - i) : 8 * i)));
    }
    void put32(uint32_t at, uint32_t v) {
        for (uint32_t i = 0; i < 4; ++i)
            put8(at + i, uint8_t(v >> (order == BigEndian ? 8 * (3 - i) : 8 * i)));
    }
    void putBytes(uint32_t at, const std::vector<uint8_t> &bytes) {
        for (uint32_t i = 0; i < bytes.size(); ++i)
            put8(at + i, bytes[i]);
    }

private:
    std::vector<uint8_t> &out;
    ByteOrder order;

    void grow(uint32_t size) {
        if (out.size() < size) out.resize(size);
    }
};

} // namespace

AoutBuilder::AoutBuilder(ByteOrder order) : order(order) {
    header.machine = bsdSparcMachine;
    header.magic = bsdOmagic;
}

AoutBuilder &AoutBuilder::machine(uint8_t value) {
    header.machine = value;
    return *this;
}
AoutBuilder &AoutBuilder::magic(uint16_t value) {
    header.magic = value;
    return *this;
}
AoutBuilder &AoutBuilder::dynamic(bool value) {
    header.flags = uint8_t((header.flags & ~bsdDynamicFlag) | (value ? bsdDynamicFlag : 0));
    return *this;
}
AoutBuilder &AoutBuilder::toolVersion(uint8_t version) {
    header.flags = uint8_t((header.flags & bsdDynamicFlag) | (version << 1));
    return *this;
}
AoutBuilder &AoutBuilder::entry(uint32_t value) {
    header.entry = value;
    return *this;
}
AoutBuilder &AoutBuilder::text(std::vector<uint8_t> contents) {
    textBytes = std::move(contents);
    return *this;
}
AoutBuilder &AoutBuilder::data(std::vector<uint8_t> contents) {
    dataBytes = std::move(contents);
    return *this;
}
AoutBuilder &AoutBuilder::bss(uint32_t size) {
    header.bss = size;
    return *this;
}

void AoutBuilder::relocation(std::vector<uint8_t> &to, uint32_t address, uint32_t index,
                             bool external, uint8_t type, uint32_t addend) const {
    // Big-endian: the index in three bytes, then a byte of the extern bit
    // (bit 7) and the type (bits 0 to 4).  A little-endian file holds the
    // word in the reader's memory form: index in bits 0 to 23, extern in bit
    // 24, type in bits 27 to 31.
    uint32_t at = uint32_t(to.size());
    Writer w(to, order);
    w.put32(at, address);
    uint32_t second = order == BigEndian
                          ? (index & 0xFFFFFF) << 8 | (external ? 0x80 : 0) | (type & 0x1F)
                          : (index & 0xFFFFFF) | uint32_t(external) << 24 | uint32_t(type) << 27;
    w.put32(at + 4, second);
    w.put32(at + 8, addend);
}

AoutBuilder &AoutBuilder::textRelocation(uint32_t address, uint32_t index, bool external,
                                         uint8_t type, uint32_t addend) {
    relocation(textRelocations, address, index, external, type, addend);
    return *this;
}
AoutBuilder &AoutBuilder::dataRelocation(uint32_t address, uint32_t index, bool external,
                                         uint8_t type, uint32_t addend) {
    relocation(dataRelocations, address, index, external, type, addend);
    return *this;
}

AoutBuilder &AoutBuilder::symbol(const std::string &name, uint8_t type, uint32_t value,
                                 uint8_t other, uint16_t desc) {
    entries.push_back({name, true, BsdNlist{0, type, other, desc, value}});
    return *this;
}
AoutBuilder &AoutBuilder::symbolAt(uint32_t strx, uint8_t type, uint32_t value) {
    entries.push_back({"", false, BsdNlist{strx, type, 0, 0, value}});
    return *this;
}
AoutBuilder &AoutBuilder::symbolSlack(uint32_t count) {
    slack = count;
    return *this;
}
AoutBuilder &AoutBuilder::rawStrings(const std::string &bytes) {
    extraStrings += bytes;
    return *this;
}
AoutBuilder &AoutBuilder::stringTableLength(uint32_t length) {
    lengthGiven = true;
    lengthWord = length;
    return *this;
}
AoutBuilder &AoutBuilder::noStringTable() {
    strings = false;
    return *this;
}
AoutBuilder &AoutBuilder::patchHeader(std::function<void(BsdExecHeader &)> patch) {
    headerPatches.push_back(std::move(patch));
    return *this;
}
AoutBuilder &AoutBuilder::truncate(uint32_t length) {
    truncateTo = length;
    return *this;
}

uint32_t AoutBuilder::textOffset() const {
    return bsdTextOffset(header);
}
uint32_t AoutBuilder::symbolOffset() const {
    return textOffset() + uint32_t(textBytes.size() + dataBytes.size() + textRelocations.size() +
                                   dataRelocations.size());
}
uint32_t AoutBuilder::stringOffset() const {
    return symbolOffset() + uint32_t(entries.size()) * bsdNlistSize + slack;
}
uint32_t AoutBuilder::stringTableSize() const {
    uint32_t size = 4 + uint32_t(extraStrings.size());
    for (const Entry &e : entries)
        if (e.named) size += uint32_t(e.name.size()) + 1;
    return size;
}

std::vector<uint8_t> AoutBuilder::build() const {
    std::vector<uint8_t> out;
    Writer w(out, order);
    uint32_t at = textOffset();
    w.putBytes(at, textBytes);
    at += uint32_t(textBytes.size());
    w.putBytes(at, dataBytes);
    at += uint32_t(dataBytes.size());
    w.putBytes(at, textRelocations);
    at += uint32_t(textRelocations.size());
    w.putBytes(at, dataRelocations);
    at += uint32_t(dataRelocations.size());

    // Names follow the length word in the order of their entries.
    uint32_t nameAt = 4;
    for (const Entry &e : entries) {
        uint32_t strx = e.named ? nameAt : e.raw.strx;
        if (e.named) nameAt += uint32_t(e.name.size()) + 1;
        w.put32(at, strx);
        w.put8(at + 4, e.raw.type);
        w.put8(at + 5, e.raw.other);
        w.put16(at + 6, e.raw.desc);
        w.put32(at + 8, e.raw.value);
        at += bsdNlistSize;
    }
    for (uint32_t i = 0; i < slack; ++i)
        w.put8(at++, 0);
    if (strings) {
        w.put32(at, lengthGiven ? lengthWord : stringTableSize());
        uint32_t next = at + 4;
        for (const Entry &e : entries) {
            if (!e.named) continue;
            for (char c : e.name)
                w.put8(next++, uint8_t(c));
            w.put8(next++, 0);
        }
        for (char c : extraStrings)
            w.put8(next++, uint8_t(c));
    }

    BsdExecHeader h = header;
    h.text = uint32_t(textBytes.size());
    h.data = uint32_t(dataBytes.size());
    h.trsize = uint32_t(textRelocations.size());
    h.drsize = uint32_t(dataRelocations.size());
    h.syms = uint32_t(entries.size()) * bsdNlistSize + slack;
    for (const auto &patch : headerPatches)
        patch(h);
    // The header goes in last: a ZMAGIC file keeps it inside its text.
    uint8_t first = order == BigEndian ? uint8_t((h.flags >> 1) | (h.flags & 1) << 7) : h.flags;
    w.put8(0, first);
    w.put8(1, h.machine);
    w.put16(2, h.magic);
    uint32_t words[] = {h.text, h.data, h.bss, h.syms, h.entry, h.trsize, h.drsize};
    for (uint32_t i = 0; i < 7; ++i)
        w.put32(4 + 4 * i, words[i]);
    if (out.size() > truncateTo) out.resize(truncateTo);
    return out;
}
