// StringTable: an interning table.  Each distinct byte string gets a small
// index, from 1 up in order of arrival; index 0 is reserved and holds the
// text "<<<NULL_SYMBOL>>>".  The texts live in a HeapPool; a growing array
// maps an index to its node, and a fixed hash of about a third of the
// expected maximum chains the nodes by index.
#pragma once

#include "support/FunctionRef.h"
#include "support/array.h"
#include "support/heappool.h"

#include <cstdint>
#include <memory>

class StringTable {
public:
    struct Node {
        uint32_t next;   // index of the next node in the hash chain; 0 ends it
        uint32_t length; // bytes of the text, without the NUL behind it
        char *text() { return reinterpret_cast<char *>(this + 1); }
    };

    // `maximum` is the expected number of entries; above 256000 it is a
    // botch.
    explicit StringTable(uint32_t maximum);
    StringTable(const StringTable &) = delete;
    StringTable &operator=(const StringTable &) = delete;
    ~StringTable();

    // The index of the text; a new index if it is new.  Null gives 0.
    uint32_t intern(const char *text, uint32_t length);
    uint32_t intern(const char *text);
    // The index of the text, or 0 if absent.
    uint32_t find(const char *text, uint32_t length) const;
    uint32_t find(const char *text) const;
    // Drops all entries and starts again with entry 0.
    void reset();
    // Visits the texts of indices 1 to count, in order.
    void each(FunctionRef<void(const char *text)> visitor) const;

    // The text and length of an index from 0 to count.
    const char *text(uint32_t index) const { return nodes[index]->text(); }
    uint32_t length(uint32_t index) const { return nodes[index]->length; }

    uint32_t count = 0;
    uint32_t hashSize;
    HeapPool pool;
    std::unique_ptr<uint32_t[]> hashHeads;
    dynarray<Node *> nodes;

private:
    void addNullEntry();
};
