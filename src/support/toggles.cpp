#include "support/toggles.h"

#include "support/botch.h"
#include "support/fprintf.h"
#include "support/pformat.h"

#include <cctype>
#include <cstdio>
#include <new>
#include <strings.h>

ToggleObserver::~ToggleObserver() = default;

Toggle::Toggle(bool value, bool defined, bool userSet)
    : bits(value), defined(defined), userSet(userSet) {}

void Toggle::notify(uint16_t oldBits) {
    // A plain comparison of the new word with the old current value taken
    // as a number: a push of the same value over a 0 stack is no change,
    // but over a deeper stack it is.
    if (bits == (oldBits & 1)) return;
    if (observers)
        for (ToggleObserver *observer : *observers)
            observer->changed(*this);
    if (mirror) *mirror = isOn();
    userSet = true;
}

void Toggle::push(bool value) {
    uint16_t old = bits;
    bits = static_cast<uint16_t>((old << 1) | (value ? 1 : 0));
    notify(old);
}

void Toggle::pop() {
    uint16_t old = bits;
    bits = static_cast<uint16_t>(old >> 1);
    notify(old);
}

void Toggle::addObserver(ToggleObserver *observer) {
    if (!observers) observers = std::make_unique<dynarray<ToggleObserver *>>(2);
    observers->append(observer);
}

void Toggle::removeObserver(ToggleObserver *observer) {
    if (!observers) return;
    uint32_t kept = 0;
    for (uint32_t i = 0; i < observers->count; ++i)
        if ((*observers)[i] != observer) (*observers)[kept++] = (*observers)[i];
    observers->count = kept;
}

void Toggle::attachMirror(bool &target) {
    mirror = &target;
    target = isOn();
}

ToggleTable::ToggleTable(uint32_t bucketCount)
    : buckets(std::make_unique<Entry *[]>(bucketCount ? bucketCount : 1)),
      bucketCount(bucketCount ? bucketCount : 1), pool(0x140, "HEAP"), toggles(16) {}

ToggleTable::~ToggleTable() {
    for (Toggle *toggle : toggles)
        toggle->~Toggle();
}

namespace {

uint32_t upperHash(const char *name) {
    uint32_t h = 0;
    for (; *name; ++name)
        h = (h << 1) ^ static_cast<unsigned char>(toupper(static_cast<unsigned char>(*name)));
    return h;
}

bool hasLowerCase(const char *name) {
    for (; *name; ++name)
        if (islower(static_cast<unsigned char>(*name))) return true;
    return false;
}

} // namespace

ToggleTable::Entry *ToggleTable::findEntry(const char *name) const {
    int firstChar = toupper(static_cast<unsigned char>(name[0]));
    for (Entry *e = buckets[upperHash(name) % bucketCount]; e; e = e->nextInBucket)
        if (toupper(static_cast<unsigned char>(e->name[0])) == firstChar &&
            strcasecmp(e->name, name) == 0)
            return e;
    return nullptr;
}

// Finds or creates the entry of `name`; a new one goes to the head of its
// chain and to the end of the list.
ToggleTable::Entry *ToggleTable::lookup(const char *name, bool alwaysCopy) {
    if (Entry *found = findEntry(name)) return found;
    Entry *&head = buckets[upperHash(name) % bucketCount];
    const char *stored = name;
    if (alwaysCopy || hasLowerCase(name)) {
        char *copy = pool.duplicate(name);
        for (char *p = copy; *p; ++p)
            *p = static_cast<char>(toupper(static_cast<unsigned char>(*p)));
        stored = copy;
    }
    Entry *entry = static_cast<Entry *>(pool.allocate(sizeof(Entry)));
    *entry = Entry{head, nullptr, nullptr, stored};
    head = entry;
    if (last)
        last->nextInList = entry;
    else
        first = entry;
    last = entry;
    return entry;
}

Toggle *ToggleTable::makeToggle(bool value, bool defined, bool userSet) {
    Toggle *toggle = new (pool.allocate(sizeof(Toggle))) Toggle(value, defined, userSet);
    toggles.append(toggle);
    return toggle;
}

Toggle &ToggleTable::define(const char *name, bool value) {
    Entry *entry = lookup(name, false);
    if (Toggle *toggle = entry->toggle) {
        if (toggle->isOn() != value) toggle->userSet = true;
        toggle->defined = true;
        return *toggle;
    }
    entry->toggle = makeToggle(value, true, false);
    return *entry->toggle;
}

void ToggleTable::alias(Toggle &toggle, const char *name) {
    Entry *entry = lookup(name, false);
    if (Toggle *other = entry->toggle) {
        if (other->defined) botch("Toggle Alias::Duplicate toggle \"%s\"", name);
        if (!toggle.userSet && other->userSet) toggle.push(other->isOn());
    }
    entry->toggle = &toggle;
}

Toggle *ToggleTable::find(const char *name) const {
    Entry *entry = findEntry(name);
    return entry ? entry->toggle : nullptr;
}

Toggle &ToggleTable::set(const char *name, bool value) {
    Entry *entry = lookup(name, true);
    if (Toggle *toggle = entry->toggle) {
        toggle->push(value);
        return *toggle;
    }
    entry->toggle = makeToggle(value, false, true);
    return *entry->toggle;
}

ToggleTable &toggleTable() {
    static ToggleTable *table = new ToggleTable(97);
    return *table;
}

FormatOut &traceOut() {
    static FileFormatOut *out = new FileFormatOut(stdout, defaultPrintfFormat(), false);
    return *out;
}

namespace {
// Both are made during start-up, as the rest of the program expects.
struct MadeAtStartUp {
    MadeAtStartUp() {
        toggleTable();
        traceOut();
    }
} madeAtStartUp;
} // namespace
