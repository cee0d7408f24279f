// Collectable: the common root of Symbol, Section and ObjectFile.
//
// The object model keeps symbols, sections and object files in identity sets
// (a set of "the sections already visited", "the symbols already entered").
// This root gives every such object an identity: two objects are the same
// when they are the same object, they hash by address, and they order by
// address.  It also carries the save and restore hooks of persistent
// collections; nothing in this system persists these objects, so the root's
// hooks do nothing (ObjectFile answers them with a message).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

class FormatOut;
class InputFile;

class Collectable {
public:
    virtual ~Collectable();

    // Identity hash: the object's address, folded to 32 bits.
    virtual uint32_t hash();
    // Identity: true only for the object itself.
    virtual bool isEqual(Collectable &other);
    // Address order: negative, zero or positive.
    virtual int32_t compareTo(Collectable &other);

    // Persistence hooks: to a formatted stream and to a binary file, and back.
    virtual void saveGuts(FormatOut &out);
    virtual void saveGuts(std::FILE *out);
    virtual void restoreGuts(InputFile &in);
    virtual void restoreGuts(std::FILE *in);
};

// Function objects for an identity set of Collectable pointers, e.g.
// std::unordered_set<Section *, CollectableHash, CollectableEqual>.
struct CollectableHash {
    size_t operator()(Collectable *object) const { return object ? object->hash() : 0; }
};

struct CollectableEqual {
    bool operator()(Collectable *a, Collectable *b) const {
        return a == b || (a && b && a->isEqual(*b));
    }
};
