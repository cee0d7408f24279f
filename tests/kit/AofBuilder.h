// AofBuilder: writes ARM AOF object files in memory, in either byte order,
// for the tests of the AOF reader.  A test describes the file and gets its
// bytes:
//
//     AofBuilder aof(AofBuilder::bigEndian);
//     aof.area("C$$code", AofBuilder::code | 2, {0xE1, 0xA0, 0x00, 0x00});
//     aof.symbol("main", 0x03, 0, "C$$code");
//     std::vector<uint8_t> image = aof.build();
//
// The chunk file holds "OBJ_HEAD", "OBJ_IDFN", "OBJ_AREA", "OBJ_SYMT" and
// "OBJ_STRT" in this order, each padded to 4 bytes, then any extra chunks.
// The string table starts with its own length, as ARM's tools write it, so
// the first name lies at offset 4.  Area contents follow each other in
// "OBJ_AREA", each followed by its relocation records.
//
// A damaged file is the sound one with one field changed: a chunk's offset
// or size in the chunk table, the number of chunks, the object file type,
// the number of areas, one word of an area header, bytes behind the header.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

class AofBuilder {
public:
    enum Order { littleEndian, bigEndian };
    // Area attribute bits.
    static constexpr uint32_t code = 0x200;
    static constexpr uint32_t zeroInit = 0x1000;
    static constexpr uint32_t readOnly = 0x2000;
    static constexpr uint32_t reentrant = 0x20000;
    static constexpr uint32_t keepsFlags = 0x80000;
    // Fields of an area header, for `areaField`.
    enum AreaField { areaName, areaAttributes, areaSize, areaRelocationCount, areaBase };

    explicit AofBuilder(Order order) : order(order) {}

    // The string table offset of `text`, added on first use.
    uint32_t string(const std::string &text);

    // An area with contents and relocation records (offset, flags pairs).
    AofBuilder &area(const std::string &name, uint32_t attributes,
                     const std::vector<uint8_t> &bytes = {},
                     const std::vector<std::pair<uint32_t, uint32_t>> &relocations = {},
                     uint32_t baseAddress = 0);
    // A zero-initialised area of `size` bytes; it takes no room in the file.
    AofBuilder &zeroArea(const std::string &name, uint32_t attributes, uint32_t size);
    // A symbol defined in the area of that name; no area name gives an area
    // name offset of 0.
    AofBuilder &symbol(const std::string &name, uint32_t attributes, uint32_t value,
                       const std::string &areaName = "");
    // A symbol record of raw fields.
    AofBuilder &rawSymbol(uint32_t nameOffset, uint32_t attributes, uint32_t value,
                          uint32_t areaNameOffset);

    // Damage and variations.
    AofBuilder &extraChunk(const std::string &identifier, const std::vector<uint8_t> &bytes);
    AofBuilder &without(const std::string &identifier);
    AofBuilder &chunkOffset(const std::string &identifier, uint32_t offset);
    AofBuilder &chunkSize(const std::string &identifier, uint32_t size);
    AofBuilder &chunkCount(uint32_t count);
    AofBuilder &objectType(uint32_t type);
    AofBuilder &areaCount(uint32_t count);
    AofBuilder &areaField(uint32_t index, AreaField field, uint32_t value);
    // Bytes added to "OBJ_HEAD" behind the area headers.
    AofBuilder &headPadding(uint32_t bytes);
    // Bytes added to "OBJ_SYMT" behind the last record.
    AofBuilder &symbolPadding(uint32_t bytes);
    // The "OBJ_STRT" chunk without its terminating NUL of the last name.
    AofBuilder &unterminatedStrings();

    std::vector<uint8_t> build() const;

    // The file offset at which build() puts the chunk, or 0 if it is absent.
    uint32_t offsetOf(const std::string &identifier) const;

private:
    struct Area {
        uint32_t name, attributes, size, baseAddress;
        std::vector<uint8_t> bytes;
        std::vector<std::pair<uint32_t, uint32_t>> relocations;
        std::map<AreaField, uint32_t> changed;
    };
    struct Chunk {
        std::string identifier;
        std::vector<uint8_t> bytes;
    };

    Order order;
    std::vector<uint8_t> strings{0, 0, 0, 0};
    std::map<std::string, uint32_t> stringOffsets;
    std::vector<Area> areas;
    std::vector<uint32_t> symbols; // four words a record
    std::vector<Chunk> extras;
    std::vector<std::string> omitted;
    std::map<std::string, uint32_t> offsets, sizes;
    std::optional<uint32_t> numChunks, type, areaTotal;
    uint32_t headExtra = 0, symbolExtra = 0;
    bool terminated = true;

    void put32(std::vector<uint8_t> &out, uint32_t value) const;
    std::vector<Chunk> chunks() const;
};
