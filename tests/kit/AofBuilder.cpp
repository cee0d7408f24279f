#include "kit/AofBuilder.h"

#include <algorithm>

uint32_t AofBuilder::string(const std::string &text) {
    auto found = stringOffsets.find(text);
    if (found != stringOffsets.end()) return found->second;
    uint32_t offset = static_cast<uint32_t>(strings.size());
    strings.insert(strings.end(), text.begin(), text.end());
    strings.push_back(0);
    stringOffsets[text] = offset;
    return offset;
}

AofBuilder &AofBuilder::area(const std::string &name, uint32_t attributes,
                             const std::vector<uint8_t> &bytes,
                             const std::vector<std::pair<uint32_t, uint32_t>> &relocations,
                             uint32_t baseAddress) {
    areas.push_back({string(name),
                     attributes,
                     static_cast<uint32_t>(bytes.size()),
                     baseAddress,
                     bytes,
                     relocations,
                     {}});
    return *this;
}

AofBuilder &AofBuilder::zeroArea(const std::string &name, uint32_t attributes, uint32_t size) {
    areas.push_back({string(name), attributes | zeroInit, size, 0, {}, {}, {}});
    return *this;
}

AofBuilder &AofBuilder::symbol(const std::string &name, uint32_t attributes, uint32_t value,
                               const std::string &areaName) {
    return rawSymbol(string(name), attributes, value, areaName.empty() ? 0 : string(areaName));
}

AofBuilder &AofBuilder::rawSymbol(uint32_t nameOffset, uint32_t attributes, uint32_t value,
                                  uint32_t areaNameOffset) {
    symbols.insert(symbols.end(), {nameOffset, attributes, value, areaNameOffset});
    return *this;
}

AofBuilder &AofBuilder::extraChunk(const std::string &identifier,
                                   const std::vector<uint8_t> &bytes) {
    extras.push_back({identifier, bytes});
    return *this;
}

AofBuilder &AofBuilder::without(const std::string &identifier) {
    omitted.push_back(identifier);
    return *this;
}

AofBuilder &AofBuilder::chunkOffset(const std::string &identifier, uint32_t offset) {
    offsets[identifier] = offset;
    return *this;
}

AofBuilder &AofBuilder::chunkSize(const std::string &identifier, uint32_t size) {
    sizes[identifier] = size;
    return *this;
}

AofBuilder &AofBuilder::chunkCount(uint32_t count) {
    numChunks = count;
    return *this;
}

AofBuilder &AofBuilder::objectType(uint32_t value) {
    type = value;
    return *this;
}

AofBuilder &AofBuilder::areaCount(uint32_t count) {
    areaTotal = count;
    return *this;
}

AofBuilder &AofBuilder::areaField(uint32_t index, AreaField field, uint32_t value) {
    areas.at(index).changed[field] = value;
    return *this;
}

AofBuilder &AofBuilder::headPadding(uint32_t bytes) {
    headExtra = bytes;
    return *this;
}

AofBuilder &AofBuilder::symbolPadding(uint32_t bytes) {
    symbolExtra = bytes;
    return *this;
}

AofBuilder &AofBuilder::unterminatedStrings() {
    terminated = false;
    return *this;
}

void AofBuilder::put32(std::vector<uint8_t> &out, uint32_t value) const {
    for (int i = 0; i < 4; ++i) {
        int shift = order == bigEndian ? 24 - 8 * i : 8 * i;
        out.push_back(static_cast<uint8_t>(value >> shift));
    }
}

std::vector<AofBuilder::Chunk> AofBuilder::chunks() const {
    std::vector<Chunk> list;

    Chunk head{"OBJ_HEAD", {}};
    put32(head.bytes, type.value_or(0xC5E2D080));
    put32(head.bytes, 310); // version of ARM's tools
    put32(head.bytes, areaTotal.value_or(static_cast<uint32_t>(areas.size())));
    put32(head.bytes, static_cast<uint32_t>(symbols.size() / 4));
    put32(head.bytes, 0);
    put32(head.bytes, 0);
    for (const Area &a : areas) {
        uint32_t fields[] = {a.name, a.attributes, a.size,
                             static_cast<uint32_t>(a.relocations.size()), a.baseAddress};
        for (auto [field, value] : a.changed)
            fields[field] = value;
        for (uint32_t value : fields)
            put32(head.bytes, value);
    }
    head.bytes.resize(head.bytes.size() + headExtra, 0);
    list.push_back(head);

    const std::string producer = "tnm test kit";
    list.push_back({"OBJ_IDFN", std::vector<uint8_t>(producer.begin(), producer.end() + 1)});

    Chunk contents{"OBJ_AREA", {}};
    for (const Area &a : areas) {
        contents.bytes.insert(contents.bytes.end(), a.bytes.begin(), a.bytes.end());
        for (auto [offset, flags] : a.relocations) {
            put32(contents.bytes, offset);
            put32(contents.bytes, flags);
        }
    }
    list.push_back(contents);

    Chunk table{"OBJ_SYMT", {}};
    for (uint32_t word : symbols)
        put32(table.bytes, word);
    table.bytes.resize(table.bytes.size() + symbolExtra, 0);
    list.push_back(table);

    Chunk names{"OBJ_STRT", strings};
    if (!terminated && names.bytes.size() > 4) names.bytes.pop_back();
    std::vector<uint8_t> length;
    put32(length, static_cast<uint32_t>(names.bytes.size()));
    std::copy(length.begin(), length.end(), names.bytes.begin());
    list.push_back(names);

    list.insert(list.end(), extras.begin(), extras.end());
    std::erase_if(list, [&](const Chunk &c) {
        return std::find(omitted.begin(), omitted.end(), c.identifier) != omitted.end();
    });
    return list;
}

uint32_t AofBuilder::offsetOf(const std::string &identifier) const {
    std::vector<Chunk> list = chunks();
    uint32_t at = 12 + 16 * static_cast<uint32_t>(list.size());
    for (const Chunk &c : list) {
        if (c.identifier == identifier) return at;
        at += (static_cast<uint32_t>(c.bytes.size()) + 3) & ~3u;
    }
    return 0;
}

std::vector<uint8_t> AofBuilder::build() const {
    std::vector<Chunk> list = chunks();
    const uint32_t count = static_cast<uint32_t>(list.size());
    std::vector<uint8_t> out;
    put32(out, 0xC3CBC6C5);
    put32(out, count);
    put32(out, numChunks.value_or(count));
    uint32_t at = 12 + 16 * count;
    for (const Chunk &c : list) {
        std::string id = c.identifier;
        id.resize(8, '\0');
        out.insert(out.end(), id.begin(), id.end());
        uint32_t size = static_cast<uint32_t>(c.bytes.size());
        auto offset = offsets.find(c.identifier);
        auto changedSize = sizes.find(c.identifier);
        put32(out, offset != offsets.end() ? offset->second : at);
        put32(out, changedSize != sizes.end() ? changedSize->second : size);
        at += (size + 3) & ~3u;
    }
    for (const Chunk &c : list) {
        out.insert(out.end(), c.bytes.begin(), c.bytes.end());
        out.resize((out.size() + 3) & ~size_t(3), 0);
    }
    return out;
}
