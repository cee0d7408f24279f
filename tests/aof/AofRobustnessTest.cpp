// The chunk file header read on its own (the record swaps are exercised by
// reading files of the order opposite to the host's), and every word of a sound file
// changed to values that damage it: reading must end either with an object
// whose every answer can be asked or with one fatal report, never with a
// read outside a block (which the sanitizer build catches).
#include "AofTestSupport.h"

#include "aof/ArmUtil.h"
#include "reloc/RelocationsIterator.h"

namespace {

TEST_F(AofTest, ChunkFileHeaderAndRecordSwaps) {
    for (auto order : bothOrders) {
        std::vector<uint8_t> image = AofBuilder(order).build();
        auto file = aofInput(image);
        ChunkFileHeader header;
        bool swap = false;
        ASSERT_TRUE(readChunkFileHeader(*file, header, swap));
        const bool fileIsLittle = order == AofBuilder::littleEndian;
        EXPECT_EQ(swap, fileIsLittle != hostIsLittleEndian);
        EXPECT_EQ(header.identifier, chunkFileIdentifier);
        EXPECT_EQ(header.maxChunks, 5u);
        EXPECT_EQ(header.numChunks, 5u);

        ChunkEntry first = chunkEntryFrom(image.data() + 12, swap);
        EXPECT_EQ(std::string(first.identifier, 8), "OBJ_HEAD");
        EXPECT_EQ(first.offset, 12u + 5 * 16);
        EXPECT_EQ(first.size, 24u);
    }
}

TEST_F(AofTest, EveryWordDamaged) {
    for (auto order : bothOrders) {
        AofBuilder aof(order);
        aof.area("C$$code", AofBuilder::code, {1, 2, 3, 4, 5, 6, 7, 8},
                 {{4, 0x0A000000}, {0, 0x07000002}, {4, 0x13000001}});
        aof.zeroArea("C$$zidata", 0, 0x40);
        aof.area("C$$data", 0, {1, 2, 3, 4});
        aof.symbol("main", 0x03, 0, "C$$code");
        aof.symbol("buffer", 0x03, 0, "C$$zidata");
        aof.symbol("printf", 0x02, 0);
        const std::vector<uint8_t> sound = aof.build();
        const uint32_t size = uint32_t(sound.size());
        int objects = 0, fatals = 0;
        for (uint32_t at = 0; at + 4 <= size; at += 4) {
            for (uint32_t value : {0u, 1u, 0xFFFFFFFFu, 0x7FFFFFF0u, size, size - 4}) {
                std::vector<uint8_t> image = sound;
                for (int b = 0; b < 4; ++b)
                    image[at + b] = uint8_t(value >> (8 * b));
                errors.lines.clear();
                LoadedAof loaded = load(image);
                if (!loaded.object) {
                    ++fatals;
                    EXPECT_EQ(errors.lines.rfind("fatal: ", 0), 0u) << at << " " << value;
                    continue;
                }
                ++objects;
                ArmObjectFileInput &object = *loaded.object;
                object.eachSymbol([&](Symbol &symbol) {
                    const char *name = symbol.name();
                    if (name) {
                        EXPECT_LE(std::strlen(name), size);
                    }
                    symbol.type();
                    return true;
                });
                object.eachSection([&](Section &area) {
                    area.name();
                    area.eachRawDataChunk(
                        [&](uint32_t, uint32_t n, uint8_t *bytes, RelocationsIterator *table) {
                            // The bytes handed out are all there to be read,
                            // and every relocation applies to a copy of them
                            // or is refused with a report.
                            uint32_t sum = 0;
                            for (uint32_t i = 0; bytes && i < n; ++i)
                                sum += bytes[i];
                            std::vector<uint8_t> copy(bytes, bytes + n);
                            table->setErrorContext(errors);
                            table->each([&](RelocationDescriptor &entry) {
                                if (entry.dataOffset() < n)
                                    entry.apply(copy.data() + entry.dataOffset());
                                return true;
                            });
                            return sum != 0xFFFFFFFF;
                        });
                    return true;
                });
            }
        }
        // Both ends are reached: the damage is not all fatal, nor all harmless.
        EXPECT_GT(objects, 0);
        EXPECT_GT(fatals, 0);
    }
}

} // namespace
