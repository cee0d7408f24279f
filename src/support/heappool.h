// HeapPool: memory for many small objects that die together.  A pool cuts
// its allocations out of large chunks, eight-byte aligned, and gives all of
// them back when it is reset or destroyed; there is no freeing of one
// allocation.  Pools of one name share a statistics record, kept for the
// life of the program in a registry, and `reportHeapPools` writes them.
//
// A chunk is a header (chain links, sizes, number) and then its data.  The
// newest chunk is `current`; older chunks that still have room stay on a
// short search list, and nearly full ones leave it for good, so a pool of
// thousands of chunks allocates in bounded time.
#pragma once

#include <cstdint>

class FormatOut;

struct HeapPoolStatistics {
    uint32_t instances = 0;        // pools made under this name
    uint32_t totalBytes = 0;       // sizes of all chunks made
    uint32_t newOperations = 0;    // calls of allocate
    uint32_t maxSize = 0;          // greatest totalSize of any chain
    uint32_t destructed = 0;       // pools destroyed
    uint32_t chunks = 0;           // chunks made
    uint32_t inPreviousChunks = 0; // allocations served from an older chunk
    uint32_t neededChunk = 0;      // allocations that made a new chunk
};

struct HeapPoolChunk {
    HeapPoolChunk *previous;     // next older chunk
    HeapPoolChunk *nextWithRoom; // next older chunk worth searching
    uint32_t size;               // bytes of data
    uint32_t used;               // bytes given out
    uint32_t totalSize;          // sum of size from here down the chain
    uint32_t chunkNumber;        // 1 for the oldest
    unsigned char *data() { return reinterpret_cast<unsigned char *>(this) + headerSize; }
    // The header rounded to eight bytes, so that the data stays aligned.
    static constexpr uint32_t headerSize = (sizeof(void *) * 2 + 16 + 7) & ~7u;
};

class HeapPool {
public:
    // `extentSize` 0 means the same as `firstSize`.
    HeapPool(uint32_t firstSize, const char *name, uint32_t extentSize = 0);
    HeapPool(const HeapPool &) = delete;
    HeapPool &operator=(const HeapPool &) = delete;
    ~HeapPool();

    // Keeps only the oldest chunk (as it is) and sets both sizes again.
    void reset();
    void *allocate(uint32_t size);
    void *allocateZeroed(uint32_t size);
    // A NUL-terminated copy of `text` in the pool.
    char *duplicate(const char *text);
    // A NUL-terminated copy of `length` bytes of `text` in the pool.
    char *duplicate(const char *text, uint32_t length);

    const char *name;
    HeapPoolChunk *current = nullptr;
    uint32_t firstSize = 0;
    uint32_t extentSize = 0;
    HeapPoolStatistics *statistics;

private:
    void setSizes(uint32_t first, uint32_t extent);
    void makeChunk(uint32_t size);
    void freeChunk(HeapPoolChunk *chunk);
};

// Bytes of all chunks of all pools, headers included: now and at the peak.
extern uint32_t poolBytesNow;
extern uint32_t poolBytesMax;

// Writes the statistics of every pool name that was ever used.
void reportHeapPools(FormatOut &out);
