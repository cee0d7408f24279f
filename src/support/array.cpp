#include "support/array.h"

#include "support/botch.h"

#include <new>

unsigned char *array::allocateBlock(uint32_t capacity, uint32_t elementSize, const char *failure) {
    if (capacity == 0) return nullptr;
    uint32_t bytes = capacity * elementSize;
    if (elementSize != 0 && bytes / elementSize < capacity)
        botch("array(%u,%u) too large", capacity, elementSize);
    auto *block = static_cast<unsigned char *>(::operator new(bytes, std::nothrow));
    if (!block) botch(failure, capacity);
    memset(block, 0, bytes);
    return block;
}

array::array(uint32_t capacity, uint32_t elementSize, int32_t growth)
    : elementSize(elementSize), growth(growth) {
    allocate(capacity, growth);
}

array::array(const array &other) : elementSize(other.elementSize), growth(other.growth) {
    *this = other;
}

array &array::operator=(const array &other) {
    if (this == &other) return *this;
    clear();
    elementSize = other.elementSize;
    data = allocateBlock(other.capacity, elementSize, "array failure: (%u)");
    capacity = other.capacity;
    if (capacity) memcpy(data, other.data, size_t(capacity) * elementSize);
    return *this;
}

array::~array() {
    clear();
}

void array::allocate(uint32_t newCapacity, int32_t newGrowth) {
    clear();
    growth = newGrowth;
    data = allocateBlock(newCapacity, elementSize, "array failure: (%u)");
    capacity = newCapacity;
}

void array::clear() {
    ::operator delete(data);
    data = nullptr;
    capacity = 0;
}

void array::resize(int32_t n) {
    if (n < 0) botch("array::resize(%d) array size negative", n);
    uint32_t target;
    if (growth == -1) {
        uint32_t doubled = capacity * 2;
        target = static_cast<uint32_t>(n) > doubled ? static_cast<uint32_t>(n) : doubled;
        if (static_cast<int32_t>(target) < 0) {
            target = 0x7FFFFFFFu - capacity;
            if (target <= capacity) botch("array (%u) overflowed", capacity);
        }
    } else if (growth == 0) {
        botch("Fixed length dynarray \"[%u]\" overflowed!", capacity);
    } else {
        target = static_cast<uint32_t>(n);
    }
    unsigned char *block = allocateBlock(target, elementSize, "array resize failure: amount=%u");
    uint32_t keep = target < capacity ? target : capacity;
    if (keep) memcpy(block, data, size_t(keep) * elementSize);
    ::operator delete(data);
    data = block;
    capacity = target;
}
