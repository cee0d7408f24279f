// StringCollection: a doubly linked list of texts.  Appending either copies
// the text or keeps the caller's pointer.  Copies live in a pool of the
// list's own and stay valid as long as the list does (also after they are
// popped); the list never frees a text it did not copy.
#pragma once

#include "support/FunctionRef.h"
#include "support/heappool.h"

#include <cstdint>

class StringCollection {
public:
    struct Node {
        Node *previous;
        Node *next;
        const char *text;
    };

    StringCollection();
    StringCollection(const StringCollection &) = delete;
    StringCollection &operator=(const StringCollection &) = delete;
    virtual ~StringCollection();
    // Visits the texts from the head.
    virtual void each(FunctionRef<void(const char *text)> visitor) const;

    void append(const char *text, bool copy);
    // The first (last) text, its node freed; null if the list is empty.
    const char *popFront();
    const char *popBack();

    Node *head = nullptr;
    Node *tail = nullptr;
    uint32_t count = 0;

private:
    HeapPool copies;
};
