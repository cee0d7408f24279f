#include "support/heappool.h"

#include "support/botch.h"
#include "support/formout.h"
#include "support/sdict.h"

#include <cstring>
#include <new>

uint32_t poolBytesNow = 0;
uint32_t poolBytesMax = 0;

namespace {

// The registry of statistics records by pool name.  It is a dictionary, so
// it has a pool of its own, which must find its statistics before the
// registry exists: that pool's record is the bootstrap record, entered once
// the registry is ready.  The registry lives in static storage and is never
// destroyed, so pools destroyed at exit still find their records.
bool registryReady = false;
bool registryBuilding = false;
HeapPoolStatistics *bootstrapRecord = nullptr;
alignas(StringDictionaryKeepKeys) unsigned char registryStorage[sizeof(StringDictionaryKeepKeys)];
StringDictionaryKeepKeys *registry = nullptr;

void buildRegistry() {
    registryBuilding = true;
    registry = new (registryStorage) StringDictionaryKeepKeys(31);
    registryReady = true;
    registry->add("StringDictionary", reinterpret_cast<DictValue>(bootstrapRecord));
}

// Made at start-up, before any pool of the program's statics, if nothing
// made it earlier.
struct RegistryAtStartUp {
    RegistryAtStartUp() {
        if (!registryReady && !registryBuilding) buildRegistry();
    }
};
RegistryAtStartUp registryAtStartUp __attribute__((init_priority(102)));

uint32_t kilobytes(uint32_t bytes) {
    return static_cast<uint32_t>((uint64_t(bytes) + 1023) / 1024);
}

} // namespace

HeapPool::HeapPool(uint32_t firstSize, const char *name, uint32_t extentSize)
    : name(name), statistics(nullptr) {
    if (!registryReady && !registryBuilding) buildRegistry();
    if (registryReady) {
        DictValue record;
        if (registry->lookup(name, record))
            statistics = reinterpret_cast<HeapPoolStatistics *>(record);
    }
    if (!statistics) {
        statistics = new HeapPoolStatistics();
        if (registryReady)
            registry->add(name, reinterpret_cast<DictValue>(statistics));
        else
            bootstrapRecord = statistics;
    }
    ++statistics->instances;
    setSizes(firstSize, extentSize);
}

HeapPool::~HeapPool() {
    ++statistics->destructed;
    while (current) {
        HeapPoolChunk *older = current->previous;
        freeChunk(current);
        current = older;
    }
}

void HeapPool::freeChunk(HeapPoolChunk *chunk) {
    poolBytesNow -= chunk->size + HeapPoolChunk::headerSize;
    ::operator delete(chunk);
}

void HeapPool::setSizes(uint32_t first, uint32_t extent) {
    if (first < 16) first = 16;
    if (current) {
        // The same first size keeps the oldest chunk as it is; another one
        // frees them all.
        bool keepOldest = first == firstSize;
        while (current && (current->previous || !keepOldest)) {
            HeapPoolChunk *older = current->previous;
            freeChunk(current);
            current = older;
        }
    }
    firstSize = first;
    extentSize = extent ? extent : first;
    if (!current) makeChunk(first);
}

void HeapPool::reset() {
    setSizes(firstSize, extentSize);
}

void HeapPool::makeChunk(uint32_t size) {
    poolBytesNow += size + HeapPoolChunk::headerSize;
    if (poolBytesNow > poolBytesMax) poolBytesMax = poolBytesNow;
    void *block = ::operator new(size_t(size) + HeapPoolChunk::headerSize);
    HeapPoolChunk *chunk = static_cast<HeapPoolChunk *>(block);
    HeapPoolChunk *old = current;
    chunk->previous = old;
    chunk->nextWithRoom = nullptr;
    if (old) {
        // Drop nearly full chunks from the search list behind the old head.
        HeapPoolChunk *k = old->nextWithRoom;
        while (k && k->size - k->used < 16)
            k = k->nextWithRoom;
        old->nextWithRoom = k;
        chunk->nextWithRoom = old->size - old->used >= 16 ? old : k;
    }
    chunk->size = size;
    chunk->used = 0;
    chunk->chunkNumber = old ? old->chunkNumber + 1 : 1;
    chunk->totalSize = (old ? old->totalSize : 0) + size;
    current = chunk;
    ++statistics->chunks;
    statistics->totalBytes += size;
    if (chunk->totalSize > statistics->maxSize) statistics->maxSize = chunk->totalSize;
}

void *HeapPool::allocate(uint32_t size) {
    if (size > 0x7FFFFFF8u) botch("HeapPool::allocate(%u) too large", size);
    size = (size + 7) & ~7u;
    ++statistics->newOperations;
    HeapPoolChunk *chunk = current;
    if (chunk->size - chunk->used < size) {
        chunk = current->nextWithRoom;
        for (int looked = 0; chunk && looked < 3; ++looked, chunk = chunk->nextWithRoom)
            if (chunk->size - chunk->used >= size) break;
        if (chunk && chunk->size - chunk->used >= size) {
            ++statistics->inPreviousChunks;
        } else {
            ++statistics->neededChunk;
            makeChunk(extentSize > size ? extentSize : size);
            chunk = current;
        }
    }
    void *p = chunk->data() + chunk->used;
    chunk->used += size;
    return p;
}

void *HeapPool::allocateZeroed(uint32_t size) {
    void *p = allocate(size);
    memset(p, 0, size);
    return p;
}

char *HeapPool::duplicate(const char *text, uint32_t length) {
    char *copy = static_cast<char *>(allocate(length + 1));
    memcpy(copy, text, length);
    copy[length] = 0;
    return copy;
}

char *HeapPool::duplicate(const char *text) {
    return duplicate(text, static_cast<uint32_t>(strlen(text)));
}

void reportHeapPools(FormatOut &out) {
    out.print("HeapPool storage max size was %dK\n", kilobytes(poolBytesMax));
    out.print("Analysis of heap pools:\n");
    if (!registryReady) return;
    registry->each([&](const char *name, DictValue value) {
        const HeapPoolStatistics &s = *reinterpret_cast<const HeapPoolStatistics *>(value);
        out.print("    Heap \"%s\"\n", name);
        out.print("        Number of instances:             %d\n", s.instances);
        if (s.destructed < s.instances)
            out.print("        Of these, %d were *NOT* destructed\n", s.instances - s.destructed);
        out.print("        Number of \"new\" operations:    %d\n", s.newOperations);
        out.print("            Of these, %d required chunk allocation\n", s.neededChunk);
        out.print("            and %d were allocated in previous chunks\n", s.inPreviousChunks);
        out.print("        Average size:                    %dK\n",
                  kilobytes(s.instances ? s.totalBytes / s.instances : 0));
        out.print("        Max size:                        %dK\n", kilobytes(s.maxSize));
        out.print("        Number of chunks:                %d\n", s.chunks);
        if (s.newOperations < 10 * s.neededChunk)
            out.print("        NOTE: extent size appears too small for best performance\n");
        out.print("\n");
    });
}
