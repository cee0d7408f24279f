#include "support/stringcltn.h"

StringCollection::StringCollection() : copies(256, "StringCollection") {}

StringCollection::~StringCollection() {
    while (head) {
        Node *next = head->next;
        delete head;
        head = next;
    }
}

void StringCollection::each(FunctionRef<void(const char *text)> visitor) const {
    for (const Node *n = head; n; n = n->next)
        visitor(n->text);
}

void StringCollection::append(const char *text, bool copy) {
    Node *node = new Node{tail, nullptr, copy && text ? copies.duplicate(text) : text};
    if (tail)
        tail->next = node;
    else
        head = node;
    tail = node;
    ++count;
}

const char *StringCollection::popFront() {
    Node *node = head;
    if (!node) return nullptr;
    head = node->next;
    if (head)
        head->previous = nullptr;
    else
        tail = nullptr;
    --count;
    const char *text = node->text;
    delete node;
    return text;
}

const char *StringCollection::popBack() {
    Node *node = tail;
    if (!node) return nullptr;
    tail = node->previous;
    if (tail)
        tail->next = nullptr;
    else
        head = nullptr;
    --count;
    const char *text = node->text;
    delete node;
    return text;
}
