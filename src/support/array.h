// array: a block of equal elements from operator new, always zero-filled
// when it grows.  `growth` says how it may grow: -1 doubles, 0 is fixed
// (growing it is a botch), any other value grows to exactly what is asked.
// Sizes that overflow 32 bits and allocations that fail are botches, so
// callers never check.
//
// dynarray<T>: the growable list the object model uses, an array of T with
// growth -1 and a count of elements in use.  T is copied as raw bytes, so
// it must be trivially copyable (pointers, numbers, small records).
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

class array {
public:
    array(uint32_t capacity, uint32_t elementSize, int32_t growth = -1);
    array(const array &other);
    array &operator=(const array &other);
    ~array();

    // Frees the old block, then allocates as the constructor does.
    void allocate(uint32_t capacity, int32_t growth);
    // Grows (or, with a fixed growth step, sets) the capacity; contents kept.
    void resize(int32_t n);
    // Frees the block; capacity 0.
    void clear();

    uint32_t capacity = 0;
    uint32_t elementSize;
    int32_t growth;
    unsigned char *data = nullptr;

private:
    static unsigned char *allocateBlock(uint32_t capacity, uint32_t elementSize,
                                        const char *failure);
};

template <typename T> class dynarray : public array {
    static_assert(std::is_trivially_copyable_v<T>, "dynarray elements are copied as bytes");

public:
    explicit dynarray(uint32_t capacity = 16) : array(capacity, sizeof(T), -1) {}

    void append(const T &value) {
        if (count >= capacity) resize(static_cast<int32_t>(count + 1));
        memcpy(data + size_t(count) * sizeof(T), &value, sizeof(T));
        ++count;
    }

    T &operator[](uint32_t i) { return reinterpret_cast<T *>(data)[i]; }
    const T &operator[](uint32_t i) const { return reinterpret_cast<const T *>(data)[i]; }
    T *begin() { return reinterpret_cast<T *>(data); }
    T *end() { return begin() + count; }
    const T *begin() const { return reinterpret_cast<const T *>(data); }
    const T *end() const { return begin() + count; }

    uint32_t count = 0;
};
