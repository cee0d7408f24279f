// The global allocator's tracing and filling, and the heap pools.
#include "support/array.h"
#include "support/heappool.h"
#include "support/new.h"
#include "support/sprintf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

// Sets (or, with null, unsets) the two variables and rereads them; undoes
// it at the end of the scope.
struct HeapEnvironment {
    HeapEnvironment(const char *trace, const char *fill) {
        put("TV_MALLOC_DEBUG", trace);
        put("MALLOC_FILL", fill);
        readHeapEnvironment();
    }
    ~HeapEnvironment() {
        unsetenv("TV_MALLOC_DEBUG");
        unsetenv("MALLOC_FILL");
        readHeapEnvironment();
    }
    static void put(const char *name, const char *value) {
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
};

// Runs `body` with standard output captured and the given trace setting.
template <typename Body> std::string traced(const char *threshold, Body body) {
    fflush(stdout);
    testing::internal::CaptureStdout();
    {
        HeapEnvironment env(threshold, nullptr);
        body();
        fflush(stdout);
    }
    return testing::internal::GetCapturedStdout();
}

TEST(HeapEnvironment, ReadsTheVariables) {
    struct {
        const char *trace, *fill;
        bool heapTrace;
        uint32_t threshold;
        bool heapFill;
    } cases[] = {
        {"  +100", nullptr, true, 100, false},
        {"-1", "", true, 0xFFFFFFFF, true}, // set, even to nothing, fills
        {"junk", "no", true, 0, true},
        {nullptr, nullptr, false, 0, false},
    };
    for (auto &c : cases) {
        HeapEnvironment env(c.trace, c.fill);
        const char *what = c.trace ? c.trace : "unset";
        EXPECT_EQ(heapTrace, c.heapTrace) << what;
        EXPECT_EQ(heapTraceThreshold, c.threshold) << what;
        EXPECT_EQ(heapFill, c.heapFill) << what;
    }
}

TEST(GlobalNew, TracesAllocationsAtOrAboveTheThreshold) {
    // Above 8 the frees stay out of the trace.
    unsigned long traced9 = 0;
    std::string out = traced("9", [&] {
        void *block = ::operator new(9);
        traced9 = reinterpret_cast<unsigned long>(block);
        ::operator delete(::operator new(8));
        ::operator delete(block);
    });
    unsigned long block = 0, caller = 0, callersCaller = 0;
    char end = 0;
    size_t at = out.find("HEAP> new(0x9)");
    ASSERT_NE(at, std::string::npos) << out;
    EXPECT_EQ(sscanf(out.c_str() + at, "HEAP> new(0x9) = 0x%lx from 0x%lx from 0x%lx%c", &block,
                     &caller, &callersCaller, &end),
              4)
        << out;
    EXPECT_EQ(block, traced9);
    EXPECT_NE(caller, 0u);
    EXPECT_EQ(end, '\n');
    EXPECT_EQ(out.find("new(0x8)"), std::string::npos) << out;
    EXPECT_EQ(out.find("free("), std::string::npos) << out;

    // 0 traces every allocation and every free, but not of nothing.
    out = traced("0", [&] {
        void *p = ::operator new(1);
        block = reinterpret_cast<unsigned long>(p);
        ::operator delete(p);
        ::operator delete(nullptr);
    });
    char expected[64];
    snprintf(expected, sizeof expected, "HEAP> new(0x1) = 0x%lx", block);
    EXPECT_NE(out.find(expected), std::string::npos) << out;
    snprintf(expected, sizeof expected, "HEAP> free(0x%lx) from 0x", block);
    EXPECT_NE(out.find(expected), std::string::npos) << out;
    EXPECT_EQ(out.find("free(0x0)"), std::string::npos) << out;
}

TEST(GlobalNew, FillAndZeroSize) {
    {
        HeapEnvironment env(nullptr, "");
        auto *block = static_cast<unsigned char *>(::operator new(32));
        EXPECT_EQ(std::count(block, block + 32, 0xAA), 32);
        ::operator delete(block);
    }
    void *empty = ::operator new(0);
    EXPECT_NE(empty, nullptr);
    ::operator delete(empty);
    void *nothrow = ::operator new(0x80000000u, std::nothrow);
    EXPECT_EQ(nothrow, nullptr);
}

#if !defined(__SANITIZE_ADDRESS__)
void *volatile sink;

// Runs `allocate` with the address space cut down to 512 MiB.
template <typename Allocate> void beyondLimit(Allocate allocate) {
    struct rlimit limit;
    limit.rlim_cur = limit.rlim_max = 512u << 20;
    if (setrlimit(RLIMIT_AS, &limit) != 0) abort();
    allocate();
}
#endif

TEST(GlobalNewDeathTest, ExhaustedMemoryBotches) {
    EXPECT_DEATH((void)::operator new(static_cast<size_t>(0xFFFFFFFBu)), "new\\(-5\\) attempted!!");
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's allocator reports this itself";
#else
    EXPECT_DEATH(beyondLimit([] { sink = ::operator new(0x60000000u); }),
                 "Fatal error --- Virtual memory exceeded while allocating 1610612736 bytes");
    // The arrays have words of their own for a block they cannot get.
    EXPECT_DEATH(beyondLimit([] { array(0x30000000u, 2, -1); }),
                 "Fatal error --- array failure: \\(805306368\\)");
    EXPECT_DEATH(beyondLimit([] { array(1, 2, -1).resize(0x30000000); }),
                 "Fatal error --- array resize failure: amount=805306368");
#endif
}

TEST(HeapPool, SmallAllocationsCopiesAndZeroes) {
    HeapPool pool(64, "TestPoolRound");
    auto *a = static_cast<unsigned char *>(pool.allocate(1));
    auto *b = static_cast<unsigned char *>(pool.allocate(1));
    EXPECT_EQ(b - a, 8); // allocate(1) uses 8 bytes
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % 8, 0u);
    auto *c = static_cast<unsigned char *>(pool.allocate(13));
    EXPECT_EQ(c - b, 8);
    EXPECT_EQ(pool.current->used, 32u);
    EXPECT_EQ(pool.statistics->newOperations, 3u);
    EXPECT_EQ(pool.statistics->neededChunk, 0u);
    char *copy = pool.duplicate("hello");
    EXPECT_STREQ(pool.duplicate("abcdef", 3), "abc");
    auto *zero = static_cast<unsigned char *>(pool.allocateZeroed(40));
    EXPECT_EQ(std::count(zero, zero + 40, 0), 40);
    EXPECT_STREQ(copy, "hello");

    HeapPool tiny(3, "TestPoolTiny");
    EXPECT_EQ(tiny.firstSize, 16u);
    EXPECT_EQ(tiny.extentSize, 16u);
}

// newOperations, neededChunk, inPreviousChunks, chunks, maxSize.
std::vector<uint32_t> statistics(const HeapPool &pool) {
    const HeapPoolStatistics &s = *pool.statistics;
    return {s.newOperations, s.neededChunk, s.inPreviousChunks, s.chunks, s.maxSize};
}

TEST(HeapPool, LargeAllocationsAndOlderChunks) {
    // An allocation above the extent size gets a chunk of its own, of
    // exactly the rounded size.
    HeapPool pool(64, "TestPoolLarge", 32);
    pool.allocate(100);
    EXPECT_EQ(pool.current->size, 104u);
    EXPECT_EQ(pool.current->used, 104u);
    EXPECT_EQ(pool.current->chunkNumber, 2u);
    EXPECT_EQ(pool.current->totalSize, 168u);
    pool.allocate(8); // the new chunk is full; the first one has room
    EXPECT_EQ(statistics(pool), (std::vector<uint32_t>{2, 1, 1, 2, 168}));
    pool.allocate(72);
    EXPECT_EQ(pool.current->size, 72u);
    pool.allocate(56); // fills the first chunk
    pool.allocate(8);  // nothing has room: a chunk of the extent size
    EXPECT_EQ(pool.current->size, 32u);

    HeapPool search(64, "TestPoolSearch");
    search.allocate(40); // chunk 1: 24 left
    search.allocate(56); // chunk 2: 8 left
    HeapPoolChunk *second = search.current;
    EXPECT_EQ(second->nextWithRoom, second->previous);
    search.allocate(24); // from chunk 1, which is then full
    EXPECT_EQ(second->previous->used, 64u);
    search.allocate(16); // chunk 3
    // Chunk 2 has 8 bytes left and chunk 1 none: neither is searched again.
    EXPECT_EQ(search.current->nextWithRoom, nullptr);
    EXPECT_EQ(second->nextWithRoom, nullptr);
    EXPECT_EQ(statistics(search), (std::vector<uint32_t>{4, 2, 1, 3, 192}));
}

TEST(HeapPool, ResetKeepsTheOldestChunkAndAccountsBytes) {
    uint32_t before = poolBytesNow;
    {
        HeapPool pool(32, "TestPoolReset");
        EXPECT_EQ(poolBytesNow, before + 32 + HeapPoolChunk::headerSize);
        pool.allocate(24);
        HeapPoolChunk *oldest = pool.current;
        pool.allocate(32);
        pool.allocate(32);
        EXPECT_EQ(pool.current->chunkNumber, 3u);
        EXPECT_GE(poolBytesMax, before + 96 + 3 * HeapPoolChunk::headerSize);
        pool.reset();
        EXPECT_EQ(pool.current, oldest);
        EXPECT_EQ(oldest->used, 24u);
        EXPECT_EQ(oldest->previous, nullptr);
        EXPECT_EQ(poolBytesNow, before + 32 + HeapPoolChunk::headerSize);
    }
    EXPECT_EQ(poolBytesNow, before);
}

std::string report() {
    static char buffer[1 << 16];
    StringFormatOut out(buffer, sizeof buffer);
    reportHeapPools(out);
    return buffer;
}

// The report's entry for one pool name, up to the blank line that ends it.
std::string entryOf(const std::string &text, const std::string &name) {
    size_t start = text.find("    Heap \"" + name + "\"\n");
    if (start == std::string::npos) return "";
    return text.substr(start, text.find("\n\n", start) + 2 - start);
}

TEST(HeapPool, ReportGivesOneEntryPerName) {
    {
        HeapPool first(100, "TestPoolReport", 50);
        HeapPool second(100, "TestPoolReport", 50);
        EXPECT_EQ(first.statistics, second.statistics);
        EXPECT_EQ(first.statistics->instances, 2u);
        for (int i = 0; i < 3; ++i)
            first.allocate(8);
        first.allocate(90);
    }
    // Never destroyed, in static storage so nothing leaks.
    alignas(HeapPool) static unsigned char storage[sizeof(HeapPool)];
    new (storage) HeapPool(2048, "TestPoolKept");

    std::string text = report();
    EXPECT_EQ(text.rfind("HeapPool storage max size was ", 0), 0u) << text;
    EXPECT_NE(text.find("K\nAnalysis of heap pools:\n"), std::string::npos);
    EXPECT_EQ(entryOf(text, "TestPoolReport"),
              "    Heap \"TestPoolReport\"\n"
              "        Number of instances:             2\n"
              "        Number of \"new\" operations:    4\n"
              "            Of these, 1 required chunk allocation\n"
              "            and 0 were allocated in previous chunks\n"
              "        Average size:                    1K\n"
              "        Max size:                        1K\n"
              "        Number of chunks:                3\n"
              "        NOTE: extent size appears too small for best performance\n"
              "\n");
    EXPECT_EQ(entryOf(text, "TestPoolKept"), "    Heap \"TestPoolKept\"\n"
                                             "        Number of instances:             1\n"
                                             "        Of these, 1 were *NOT* destructed\n"
                                             "        Number of \"new\" operations:    0\n"
                                             "            Of these, 0 required chunk allocation\n"
                                             "            and 0 were allocated in previous chunks\n"
                                             "        Average size:                    2K\n"
                                             "        Max size:                        2K\n"
                                             "        Number of chunks:                1\n"
                                             "\n");
    // The registry's own pool is there under its name.
    EXPECT_NE(entryOf(text, "StringDictionary"), "");
    EXPECT_EQ(text.find("Heap \"TestPoolReport\"", text.find("Heap \"TestPoolReport\"") + 1),
              std::string::npos);
}

} // namespace

#ifdef TNM_PATH
// The tool itself reads the variables at start-up and allocates through
// the replaced operators: the trace shows up in its standard output.
TEST(GlobalNew, ToolTracesFromStartUp) {
    auto run = [](const char *variables) {
        std::string command =
            std::string(variables) + " " TNM_PATH " /nonexistent-file 2>/dev/null";
        FILE *pipe = popen(command.c_str(), "r");
        std::string out;
        char chunk[4096];
        while (size_t n = pipe ? fread(chunk, 1, sizeof chunk, pipe) : 0)
            out.append(chunk, n);
        if (pipe) pclose(pipe);
        return out;
    };
    std::string out = run("TV_MALLOC_DEBUG=0 MALLOC_FILL=");
    EXPECT_NE(out.find("HEAP> new(0x"), std::string::npos) << out;
    EXPECT_NE(out.find("HEAP> free(0x"), std::string::npos) << out;
    EXPECT_EQ(run("TV_MALLOC_DEBUG=100000000").find("HEAP>"), std::string::npos);
}
#endif
