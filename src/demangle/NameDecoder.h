// The working state of one demangling: the node pool, the read position, the
// failure flag and the decoders that turn the mangled text into a NameNode
// tree.  Entity and name decoding are in unmangle.cpp, types and parameter
// lists in TypeDecoder.cpp.
//
// Failure exit.  Two outcomes must be told apart: "none" (a decoder found
// nothing here; the caller decides what that means) and failure (the whole
// name stays undecoded, whatever the depth).  "None" is a null result with
// `failed` clear; failure sets `failed` and returns null, and every decoder
// tests the flag after each call into another one and leaves at once.  No
// longjmp and no exceptions: nothing is skipped, and the pool, which owns
// every node, is released by its owner whatever happened.
#pragma once

#include "demangle/NameNode.h"
#include "demangle/unmangle.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

// The read position in the name.  It always lies between the start of the
// name and the decoder's `end`.
using NameCursor = const char *;

// One block of 16384 bytes from the heap, handed out by moving a pointer
// forward and given back whole when the decoding ends.
class NamePool {
public:
    static constexpr uint32_t poolSize = 16384;

    NamePool();
    ~NamePool();
    NamePool(const NamePool &) = delete;
    NamePool &operator=(const NamePool &) = delete;

    // False when the heap had no room for the block.
    bool isOpen() const { return base != nullptr; }
    // Null when the request, once aligned, is not strictly smaller than what
    // is left.
    void *allocate(size_t size, size_t alignment);

private:
    char *base;
    size_t used = 0;
};

// The three marks of a scheme, each a text with its length.
struct SchemeMarks {
    const char *signatureMark;
    uint8_t signatureLength;
    const char *scopeMark;
    uint8_t scopeLength;
    const char *separator;
    uint8_t separatorLength;
};

extern const SchemeMarks schemeTable[4];

class NameDecoder {
public:
    // Set when the decoding of the whole name has failed.
    bool failed = false;
    NameNode *emptyNode;
    NameNode *constructorMark;
    NameNode *destructorMark;

    // `pool` must be open.  May fail at once if the pool is too small for
    // the special nodes (it is not, but the rule holds for every request).
    NameDecoder(NamePool &pool, const char *name);

    // A node from the pool.  When the pool is exhausted the decoding fails
    // and the node is built in a scratch slot instead, so that a caller may
    // fill it in before it tests `failed`; its result is never used.
    template <class Node, class... Args> Node *make(Args &&...args) {
        static_assert(sizeof(Node) <= sizeof(scratch) && alignof(Node) <= alignof(ScratchSlot));
        void *place = pool.allocate(sizeof(Node), alignof(Node));
        if (place == nullptr) {
            failed = true;
            place = scratch;
        }
        return new (place) Node(std::forward<Args>(args)...);
    }

    // Takes the failure exit: the whole name stays undecoded.
    std::nullptr_t fail() {
        failed = true;
        return nullptr;
    }

    // Entities and their name parts (unmangle.cpp).
    NameNode *decodeEntity(NameCursor &cursor, int scheme);
    NameNode *decodeSignatureName(NameCursor &cursor);
    NameNode *decodeKeywordName(NameCursor &cursor, int scheme);

    // Types and parameter lists (TypeDecoder.cpp).
    NameNode *decodeType(NameNode *inner, NameCursor &cursor, int scheme);
    ParameterNode *decodeParameterList(NameCursor &cursor, int scheme, ParameterNode *head);
    NameNode *decodeModifiers(NameCursor &cursor);
    bool eatSeparator(NameCursor &cursor, int scheme);
    uint32_t readDecimal(NameCursor &cursor);
    uint32_t readBase18(NameCursor &cursor);
    uint32_t readRepeatIndex(NameCursor &cursor);

    // If the text at the cursor begins with `text`, moves past it and gives
    // true; otherwise nothing moves.  Never looks at or beyond `end`.
    bool eat(NameCursor &cursor, const char *text) const;
    bool startsWith(NameCursor cursor, const char *text, size_t length) const;
    // The character `offset` places behind the cursor, or 0 at or past the end.
    char peek(NameCursor cursor, size_t offset = 0) const {
        return static_cast<size_t>(end - cursor) > offset ? cursor[offset] : '\0';
    }
    size_t remaining(NameCursor cursor) const { return static_cast<size_t>(end - cursor); }
    bool atEnd(NameCursor cursor) const { return cursor >= end; }

private:
    // Counts the nesting of decodeEntity and decodeType, the two operations
    // that every recursion passes through, and fails the name beyond a limit
    // that no real name comes near.  The pool bounds the nodes, but a
    // back-reference can recurse without making any.
    class DepthGuard {
    public:
        explicit DepthGuard(NameDecoder &decoder) : decoder(decoder) {
            if (++decoder.depth > maximumDepth) decoder.failed = true;
        }
        ~DepthGuard() { --decoder.depth; }
        DepthGuard(const DepthGuard &) = delete;
        DepthGuard &operator=(const DepthGuard &) = delete;

    private:
        NameDecoder &decoder;
    };
    static constexpr uint32_t maximumDepth = 256;

    struct alignas(alignof(std::max_align_t)) ScratchSlot {
        unsigned char bytes[64];
    };

    NameNode *decodeSignatureEntity(NameCursor &cursor);
    NameNode *decodeKeywordEntity(NameCursor &cursor, int scheme);
    // Decodes the `length` characters at the cursor as an entity of their
    // own, as if the name ended behind them; the cursor is not moved.
    NameNode *decodeEnclosedEntity(NameCursor cursor, size_t length, int scheme);
    MemberNode::NameKind nameKindOf(const NameNode *name) const;

    NameNode *decodeIndirection(NameNode *inner, NameCursor &cursor, int scheme, char symbol);
    NameNode *decodeMemberPointer(NameNode *inner, NameCursor &cursor, int scheme);
    NameNode *decodeArray(NameNode *inner, NameCursor &cursor, int scheme);
    NameNode *decodeFunctionType(NameNode *inner, NameCursor &cursor, int scheme);
    NameNode *decodeQualifiedName(NameNode *inner, NameCursor &cursor, int scheme);
    NameNode *decodeNestedPair(NameNode *inner, NameCursor &cursor, int scheme);
    NameNode *decodeTemplate(NameNode *inner, NameCursor &cursor, int scheme);
    NameNode *decodeBackReference(NameNode *inner, NameCursor &cursor, int scheme);
    NameNode *decodeBracedEntity(NameCursor &cursor, int scheme);
    ParameterNode *appendCopies(ParameterNode *head, uint32_t count, uint32_t index);

    NamePool &pool;
    const char *nameStart;
    // Where the text being decoded ends: the terminating zero of the name,
    // or the end of an enclosed entity while that is decoded.
    const char *end;
    uint32_t depth = 0;
    ScratchSlot scratch[1];
};
