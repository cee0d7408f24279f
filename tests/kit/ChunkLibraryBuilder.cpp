#include "kit/ChunkLibraryBuilder.h"

#include <stdexcept>

namespace {

constexpr uint32_t headerSize = 12;
constexpr uint32_t chunkEntrySize = 16;
constexpr uint32_t identifier = 0xC3CBC6C5;

uint32_t roundUp4(size_t size) {
    return uint32_t((size + 3) & ~size_t(3));
}

} // namespace

ChunkLibraryBuilder::Entry ChunkLibraryBuilder::entryFor(uint32_t chunkIndex,
                                                         std::string_view name) {
    Bytes data(name.begin(), name.end());
    data.resize(roundUp4(name.size() + 1), 0);
    uint32_t dataLength = uint32_t(data.size());
    return Entry{chunkIndex, 12 + dataLength, dataLength, std::move(data)};
}

ChunkLibraryBuilder::ChunkLibraryBuilder(bool bigEndian) : bigEndian(bigEndian) {}

ChunkLibraryBuilder &ChunkLibraryBuilder::member(std::string name, Bytes data) {
    uint32_t index = 0;
    for (const Chunk &chunk : chunks)
        index += chunk.kind == Kind::data;
    directoryEntries.push_back(PendingEntry{index, std::move(name), {}});
    return unnamedMember(std::move(data));
}

ChunkLibraryBuilder &ChunkLibraryBuilder::member(std::string name, std::string_view data) {
    return member(std::move(name), Bytes(data.begin(), data.end()));
}

ChunkLibraryBuilder &ChunkLibraryBuilder::unnamedMember(Bytes data) {
    chunks.push_back(Chunk{Kind::data, "LIB_DATA", std::move(data)});
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::chunk(std::string id, Bytes data) {
    chunks.push_back(Chunk{Kind::other, std::move(id), std::move(data)});
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::directory() {
    chunks.push_back(Chunk{Kind::directory, "LIB_DIRY", {}});
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::symbolTable() {
    chunks.push_back(Chunk{Kind::symbols, "OFL_SYMT", {}});
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::symbol(std::string name, uint32_t member) {
    symbolEntries.push_back(PendingEntry{member, std::move(name), {}});
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::rawDirectoryEntry(Entry entry) {
    directoryEntries.push_back(PendingEntry{std::nullopt, "", std::move(entry)});
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::rawSymbolEntry(Entry entry) {
    symbolEntries.push_back(PendingEntry{std::nullopt, "", std::move(entry)});
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::chunkCount(uint32_t count) {
    countOverride = count;
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::identifierBytes(Bytes four) {
    if (four.size() != 4) throw std::logic_error("ChunkLibraryBuilder: an identifier is 4 bytes");
    identifierOverride = std::move(four);
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::chunkPlace(uint32_t index, uint32_t offset,
                                                     uint32_t size) {
    placeOverrides[index] = {offset, size};
    return *this;
}

ChunkLibraryBuilder &ChunkLibraryBuilder::truncateTo(size_t size) {
    truncation = size;
    return *this;
}

void ChunkLibraryBuilder::put(Bytes &out, size_t at, uint32_t value) const {
    for (int i = 0; i < 4; ++i) {
        int shift = bigEndian ? 24 - 8 * i : 8 * i;
        out[at + size_t(i)] = uint8_t(value >> shift);
    }
}

ChunkLibraryBuilder::Bytes
ChunkLibraryBuilder::entryBytes(const std::vector<PendingEntry> &entries,
                                const std::vector<uint32_t> &members) const {
    Bytes out;
    for (const PendingEntry &pending : entries) {
        Entry entry = pending.raw;
        if (pending.member) {
            if (*pending.member >= members.size())
                throw std::logic_error("ChunkLibraryBuilder: an entry names a member not added");
            entry = entryFor(members[*pending.member], pending.name);
        }
        size_t at = out.size();
        out.resize(at + 12);
        put(out, at, entry.chunkIndex);
        put(out, at + 4, entry.entryLength);
        put(out, at + 8, entry.dataLength);
        out.insert(out.end(), entry.data.begin(), entry.data.end());
    }
    return out;
}

ChunkLibraryBuilder::Layout ChunkLibraryBuilder::layOut() const {
    Layout layout;
    layout.chunks = chunks;
    bool haveDirectory = false, haveSymbols = false;
    for (const Chunk &chunk : chunks) {
        haveDirectory |= chunk.kind == Kind::directory;
        haveSymbols |= chunk.kind == Kind::symbols;
    }
    if (!haveDirectory)
        layout.chunks.insert(layout.chunks.begin(), Chunk{Kind::directory, "LIB_DIRY", {}});
    if (!haveSymbols) layout.chunks.push_back(Chunk{Kind::symbols, "OFL_SYMT", {}});

    for (uint32_t i = 0; i < layout.chunks.size(); ++i)
        if (layout.chunks[i].kind == Kind::data) layout.members.push_back(i);
    for (Chunk &chunk : layout.chunks) {
        if (chunk.kind == Kind::directory)
            chunk.data = entryBytes(directoryEntries, layout.members);
        if (chunk.kind == Kind::symbols) chunk.data = entryBytes(symbolEntries, layout.members);
    }

    uint32_t position = headerSize + chunkEntrySize * uint32_t(layout.chunks.size());
    for (const Chunk &chunk : layout.chunks) {
        layout.offsets.push_back(position);
        position += roundUp4(chunk.data.size());
    }
    return layout;
}

ChunkLibraryBuilder::Bytes ChunkLibraryBuilder::build() const {
    Layout layout = layOut();
    uint32_t count = uint32_t(layout.chunks.size());
    Bytes out(headerSize + chunkEntrySize * count, 0);
    put(out, 0, identifier);
    if (identifierOverride)
        std::copy(identifierOverride->begin(), identifierOverride->end(), out.begin());
    put(out, 4, count);
    put(out, 8, countOverride.value_or(count));
    for (uint32_t i = 0; i < count; ++i) {
        const Chunk &chunk = layout.chunks[i];
        size_t at = headerSize + chunkEntrySize * size_t(i);
        for (size_t c = 0; c < 8 && c < chunk.identifier.size(); ++c)
            out[at + c] = uint8_t(chunk.identifier[c]);
        auto place = placeOverrides.find(i);
        put(out, at + 8, place != placeOverrides.end() ? place->second.first : layout.offsets[i]);
        put(out, at + 12,
            place != placeOverrides.end() ? place->second.second : uint32_t(chunk.data.size()));
    }
    for (const Chunk &chunk : layout.chunks) {
        out.insert(out.end(), chunk.data.begin(), chunk.data.end());
        out.resize(roundUp4(out.size()), 0);
    }
    if (truncation && *truncation < out.size()) out.resize(*truncation);
    return out;
}

uint32_t ChunkLibraryBuilder::memberChunk(uint32_t index) const {
    return layOut().members.at(index);
}

uint32_t ChunkLibraryBuilder::dataOffset(uint32_t index) const {
    Layout layout = layOut();
    return layout.offsets.at(layout.members.at(index));
}

uint32_t ChunkLibraryBuilder::chunkOffset(uint32_t index) const {
    return layOut().offsets.at(index);
}
