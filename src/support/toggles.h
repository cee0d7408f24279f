// Toggles: named global switches for debugging traces and internal modes.
// Code that wants one defines it by name where it first runs and then reads
// bit 0 of its `bits`, which is all a trace costs:
//
//     static Toggle &mapTrace = toggleTable().define("MAP", false);
//     if (mapTrace.isOn())
//         traceOut().print("[MAP] ...\n");
//
// `bits` is a stack of values: bit 0 is the current one, pushes shift the
// older ones up.  A toggle may be set before it is defined (a driver option
// does that), and the definition then keeps the value that was set.  Names
// are not case-sensitive and are kept in upper case.
//
// The global trace output is a FileFormatOut on standard output with the
// default engine.  Nothing in the listing tool switches a toggle on.
#pragma once

#include "support/array.h"
#include "support/heappool.h"

#include <cstdint>
#include <memory>

class FormatOut;
class Toggle;

// Told of each change of a toggle's value.
class ToggleObserver {
public:
    virtual void changed(Toggle &toggle) = 0;
    virtual ~ToggleObserver();
};

class Toggle {
public:
    explicit Toggle(bool value, bool defined, bool userSet);
    Toggle(const Toggle &) = delete;
    Toggle &operator=(const Toggle &) = delete;

    bool isOn() const { return bits & 1; }

    void push(bool value);
    void pop();
    // The first observer makes a list with room for two.
    void addObserver(ToggleObserver *observer);
    // Drops every occurrence of the observer.
    void removeObserver(ToggleObserver *observer);
    // Keeps `mirror` equal to bit 0, starting now.
    void attachMirror(bool &mirror);

    uint16_t bits;
    bool defined;
    std::unique_ptr<dynarray<ToggleObserver *>> observers;
    bool *mirror = nullptr;
    // The value was set from outside, before or against the definition.
    bool userSet;

private:
    void notify(uint16_t oldBits);
};

class ToggleTable {
public:
    struct Entry {
        Entry *nextInBucket;
        Entry *nextInList;
        Toggle *toggle;
        const char *name;
    };

    explicit ToggleTable(uint32_t bucketCount = 97);
    ToggleTable(const ToggleTable &) = delete;
    ToggleTable &operator=(const ToggleTable &) = delete;
    ~ToggleTable();

    // The toggle of `name`, made with `value` if new.  A name without lower
    // case letters is kept by its pointer, so it must stay valid.
    Toggle &define(const char *name, bool value);
    // Makes `name` a second name of `toggle`.
    void alias(Toggle &toggle, const char *name);
    // The toggle of `name`, or null.
    Toggle *find(const char *name) const;
    // Sets the toggle of `name` to `value`, pushing it over the old value if
    // the toggle exists; makes it if not.
    Toggle &set(const char *name, bool value);

    std::unique_ptr<Entry *[]> buckets;
    Entry *first = nullptr;
    Entry *last = nullptr;
    uint32_t bucketCount;
    HeapPool pool;

private:
    Entry *findEntry(const char *name) const;
    Entry *lookup(const char *name, bool alwaysCopy);
    Toggle *makeToggle(bool value, bool defined, bool userSet);
    dynarray<Toggle *> toggles;
};

// The program's one table of toggles and its trace output.  Both are made on
// first use (at the latest during start-up) and never released.
ToggleTable &toggleTable();
FormatOut &traceOut();
