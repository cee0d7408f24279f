// StringDictionary: a chained hash table from text to a value.  The number
// of buckets is fixed at construction by the caller's estimate.  Entries and
// key copies come from the dictionary's own HeapPool, so adding is a pointer
// increment in the usual case and the whole table goes away with a few
// frees.  Removed entries are kept on a free list for reuse.
//
// The hash is shared with StringTable: for each byte, shift left by one and
// exclusive-or the byte, then take the result modulo the table size.
#pragma once

#include "support/FunctionRef.h"
#include "support/heappool.h"

#include <cstdint>
#include <memory>

// Wide enough for a pointer, which is what several users keep.
using DictValue = uintptr_t;

// The hash of `length` bytes of `text`, before the modulo.
uint32_t hashText(const char *text, uint32_t length);
// The same over a NUL-terminated text.
uint32_t hashText(const char *text);

class StringDictionary {
public:
    struct Entry {
        const char *key;
        DictValue value;
        Entry *next;
    };

    explicit StringDictionary(uint32_t bucketCount);
    StringDictionary(const StringDictionary &) = delete;
    StringDictionary &operator=(const StringDictionary &) = delete;
    virtual ~StringDictionary();
    // The text to store for a new key of `length` bytes (NUL-terminated
    // result): here a copy in the pool.
    virtual const char *copyKey(const char *key, uint32_t length);

    // True if added; false if the key was present, which keeps the old value.
    bool add(const char *key, DictValue value);
    bool addCounted(const char *key, uint32_t length, DictValue value);
    // Replaces or adds.
    void set(const char *key, DictValue value);
    bool lookup(const char *key, DictValue &value) const;
    bool lookupCounted(const char *key, uint32_t length, DictValue &value) const;
    // True if it was there.
    bool remove(const char *key);
    // Bucket by bucket, each chain from its head.
    void each(FunctionRef<void(const char *key, DictValue value)> visitor) const;

    // Walks the values in the order of `each`; `next` gives 0 at the end.
    class Iterator {
    public:
        explicit Iterator(const StringDictionary &dictionary) : dictionary(dictionary) {}
        DictValue next();

    private:
        const StringDictionary &dictionary;
        uint32_t bucket = 0;
        const Entry *entry = nullptr;
    };

    uint32_t count = 0;
    HeapPool pool;
    std::unique_ptr<Entry *[]> buckets;
    uint32_t bucketCount;
    Entry *freeEntries = nullptr;

private:
    Entry *findEntry(const char *key, uint32_t length, Entry ***link) const;
    bool insert(const char *key, uint32_t length, DictValue value, bool replace);
};

// A dictionary that stores the caller's key pointer instead of a copy, for
// keys that live as long as the dictionary.
class StringDictionaryKeepKeys : public StringDictionary {
public:
    using StringDictionary::StringDictionary;
    ~StringDictionaryKeepKeys() override;
    const char *copyKey(const char *key, uint32_t length) override;
};
