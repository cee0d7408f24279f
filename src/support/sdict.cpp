#include "support/sdict.h"

#include <cstring>

uint32_t hashText(const char *text, uint32_t length) {
    uint32_t h = 0;
    for (uint32_t i = 0; i < length; ++i)
        h = (h << 1) ^ static_cast<unsigned char>(text[i]);
    return h;
}

uint32_t hashText(const char *text) {
    uint32_t h = 0;
    for (; *text; ++text)
        h = (h << 1) ^ static_cast<unsigned char>(*text);
    return h;
}

StringDictionary::StringDictionary(uint32_t bucketCount)
    : pool(12 * (bucketCount ? bucketCount : 1), "StringDictionary"),
      buckets(std::make_unique<Entry *[]>(bucketCount ? bucketCount : 1)),
      bucketCount(bucketCount ? bucketCount : 1) {}

StringDictionary::~StringDictionary() = default;

const char *StringDictionary::copyKey(const char *key, uint32_t length) {
    return pool.duplicate(key, length);
}

// The entry of a key of `length` bytes, or null; `link` (if given) gets the
// pointer that points at the entry, or at the end of its chain.
StringDictionary::Entry *StringDictionary::findEntry(const char *key, uint32_t length,
                                                     Entry ***link) const {
    Entry **p = &buckets[hashText(key, length) % bucketCount];
    for (; *p; p = &(*p)->next) {
        const char *k = (*p)->key;
        if (length > 0 ? k[0] != key[0] : k[0] != 0) continue;
        if (memcmp(k, key, length) == 0 && k[length] == 0) break;
    }
    if (link) *link = p;
    return *p;
}

bool StringDictionary::insert(const char *key, uint32_t length, DictValue value, bool replace) {
    if (Entry *found = findEntry(key, length, nullptr)) {
        if (replace) found->value = value;
        return false;
    }
    Entry *entry = freeEntries;
    if (entry)
        freeEntries = entry->next;
    else
        entry = static_cast<Entry *>(pool.allocate(sizeof(Entry)));
    entry->key = copyKey(key, length);
    entry->value = value;
    Entry *&head = buckets[hashText(key, length) % bucketCount];
    entry->next = head;
    head = entry;
    ++count;
    return true;
}

bool StringDictionary::add(const char *key, DictValue value) {
    return insert(key, static_cast<uint32_t>(strlen(key)), value, false);
}

bool StringDictionary::addCounted(const char *key, uint32_t length, DictValue value) {
    return insert(key, length, value, false);
}

void StringDictionary::set(const char *key, DictValue value) {
    insert(key, static_cast<uint32_t>(strlen(key)), value, true);
}

bool StringDictionary::lookup(const char *key, DictValue &value) const {
    return lookupCounted(key, static_cast<uint32_t>(strlen(key)), value);
}

bool StringDictionary::lookupCounted(const char *key, uint32_t length, DictValue &value) const {
    Entry *entry = findEntry(key, length, nullptr);
    if (!entry) return false;
    value = entry->value;
    return true;
}

bool StringDictionary::remove(const char *key) {
    Entry **link;
    Entry *entry = findEntry(key, static_cast<uint32_t>(strlen(key)), &link);
    if (!entry) return false;
    *link = entry->next;
    entry->next = freeEntries;
    freeEntries = entry;
    --count;
    return true;
}

void StringDictionary::each(FunctionRef<void(const char *key, DictValue value)> visitor) const {
    for (uint32_t b = 0; b < bucketCount; ++b)
        for (const Entry *e = buckets[b]; e; e = e->next)
            visitor(e->key, e->value);
}

DictValue StringDictionary::Iterator::next() {
    if (entry) entry = entry->next;
    while (!entry && bucket < dictionary.bucketCount)
        entry = dictionary.buckets[bucket++];
    return entry ? entry->value : 0;
}

StringDictionaryKeepKeys::~StringDictionaryKeepKeys() = default;

const char *StringDictionaryKeepKeys::copyKey(const char *key, uint32_t) {
    return key;
}
