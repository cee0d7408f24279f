#include "support/new.h"

#include "support/botch.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <execinfo.h>
#include <new>

bool heapTrace = false;
uint32_t heapTraceThreshold = 0;
bool heapFill = false;

void readHeapEnvironment() {
    const char *trace = getenv("TV_MALLOC_DEBUG");
    heapTrace = trace != nullptr;
    // strtol skips leading white space and takes an optional sign; "-1"
    // thus gives the largest threshold.
    heapTraceThreshold = trace ? static_cast<uint32_t>(strtol(trace, nullptr, 10)) : 0;
    heapFill = getenv("MALLOC_FILL") != nullptr;
}

namespace {

// Runs before the ordinary static constructors of the program.
__attribute__((constructor(101))) void readHeapEnvironmentAtStartUp() {
    readHeapEnvironment();
}

// The return address of the caller's caller: the frame behind `caller` in
// a backtrace.  The unwinder is used because __builtin_return_address(1) is
// not safe without frame pointers; looking `caller` up keeps the answer
// right whatever was inlined.
unsigned long callersCaller(void *caller) {
    void *frames[12] = {};
    int n = backtrace(frames, 12);
    for (int i = 0; i + 1 < n; ++i)
        if (frames[i] == caller) return reinterpret_cast<unsigned long>(frames[i + 1]);
    return 0;
}

void *allocate(size_t size, bool mayFail, void *caller) {
    if (size > static_cast<size_t>(INT32_MAX)) {
        if (mayFail) return nullptr;
        botch("new(%d) attempted!!", static_cast<int32_t>(static_cast<uint32_t>(size)));
    }
    void *block = malloc(size);
    if (heapTrace && static_cast<uint32_t>(size) >= heapTraceThreshold) {
        printf("HEAP> new(0x%lx) = 0x%lx", static_cast<unsigned long>(size),
               reinterpret_cast<unsigned long>(block));
        printf(" from 0x%lx from 0x%lx", reinterpret_cast<unsigned long>(caller),
               callersCaller(caller));
        printf("\n");
    }
    if (!block) {
        if (mayFail) return nullptr;
        botch("Virtual memory exceeded while allocating %u bytes", static_cast<uint32_t>(size));
    }
    if (heapFill) memset(block, 0xAA, size);
    return block;
}

void release(void *block, void *caller) {
    if (!block) return;
    if (heapTrace && heapTraceThreshold <= 8) {
        printf("HEAP> free(0x%lx)", reinterpret_cast<unsigned long>(block));
        printf(" from 0x%lx", reinterpret_cast<unsigned long>(caller));
        printf("\n");
    }
    free(block);
}

} // namespace

#define CALLER __builtin_return_address(0)

void *operator new(size_t size) {
    return allocate(size, false, CALLER);
}
void *operator new[](size_t size) {
    return allocate(size, false, CALLER);
}
// The nothrow forms give null where the others botch, for callers that
// have a message of their own for a failed allocation.
void *operator new(size_t size, const std::nothrow_t &) noexcept {
    return allocate(size, true, CALLER);
}
void *operator new[](size_t size, const std::nothrow_t &) noexcept {
    return allocate(size, true, CALLER);
}
void operator delete(void *block) noexcept {
    release(block, CALLER);
}
void operator delete[](void *block) noexcept {
    release(block, CALLER);
}
void operator delete(void *block, size_t) noexcept {
    release(block, CALLER);
}
void operator delete[](void *block, size_t) noexcept {
    release(block, CALLER);
}
void operator delete(void *block, const std::nothrow_t &) noexcept {
    release(block, CALLER);
}
void operator delete[](void *block, const std::nothrow_t &) noexcept {
    release(block, CALLER);
}
