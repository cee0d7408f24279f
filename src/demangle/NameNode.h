// The tree that the demangler builds from a mangled name, and the printing of
// it into the caller's buffer.
//
// Nodes live in the NamePool of one decoding: they are made with placement
// new, never destroyed one by one, and have no destructor.  They point into
// the mangled name and into fixed tables and never copy text.  Every node
// has a `child` and prints by its own `print`; a null node prints nothing.
// Types are built from the outside of a declarator inwards, so the `child` of
// a base type is the declarator around it ("int" then "(*)(char*)").
#pragma once

#include <cstdint>

// Where printed text goes: at most `capacity` characters from `start`, always
// followed by a terminating zero.  A text that does not fit is cut off
// without a mark.
class OutputCursor {
public:
    char *start;
    char *position;
    uint32_t capacity;

    // `capacity` is the buffer's size less one, for the terminating zero.
    OutputCursor(char *buffer, uint32_t capacity);

    void appendText(const char *text);
    // Appends `length` characters of a text that need not be terminated.
    void appendChars(const char *text, uint32_t length);
    // A zero character appends nothing.
    void appendChar(char c);
    bool isFull() const { return static_cast<uint32_t>(position - start) >= capacity; }
};

class NameNode {
public:
    NameNode *child = nullptr;
    bool isFunction : 1 = false;
    // Set on the identifier of a "Yield_" name: nothing behind it is decoded.
    bool stopsDecoding : 1 = false;
    // Set on NestedNameNode only; it makes the down-cast to it safe.
    bool isNested : 1 = false;

    explicit NameNode(NameNode *child = nullptr) : child(child) {}
    // The plain node prints its child, if it has one.
    virtual void print(OutputCursor &out) const;
};

// Prints `node` unless it is null; stops walking once the buffer is full,
// since nothing more could be written (a shared subtree can make the walk
// much longer than the text).
void printNode(const NameNode *node, OutputCursor &out);

class IdentifierNode : public NameNode {
public:
    const char *text;
    uint32_t length;
    bool isDestructor;

    IdentifierNode(const char *text, uint32_t length, bool isDestructor)
        : text(text), length(length), isDestructor(isDestructor) {}
    void print(OutputCursor &out) const override;
};

class VirtualTableNode : public NameNode {
public:
    const char *text;
    uint32_t length;

    VirtualTableNode(const char *text, uint32_t length) : text(text), length(length) {}
    void print(OutputCursor &out) const override;
};

// An operator function; `text` is null for a conversion operator, whose
// target type is the child.
class OperatorNode : public NameNode {
public:
    const char *text;

    OperatorNode(const char *text, NameNode *target) : NameNode(target), text(text) {}
    void print(OutputCursor &out) const override;
};

// A member of a class (`child`).  The name of a constructor or destructor is
// a mark, told apart by identity when the node is made and kept as `nameKind`.
class MemberNode : public NameNode {
public:
    enum NameKind : uint8_t { OrdinaryName, ConstructorName, DestructorName };

    NameNode *name;
    bool isStatic;
    NameKind nameKind;

    MemberNode(NameNode *classType, NameNode *name, bool isStatic, NameKind nameKind)
        : NameNode(classType), name(name), isStatic(isStatic), nameKind(nameKind) {}
    void print(OutputCursor &out) const override;
};

// One entry of a parameter list.  A list is a chain through `previous`: the
// head is the last parameter, and null is the empty list.  A parameter with
// no type prints nothing between its commas.
class ParameterNode : public NameNode {
public:
    ParameterNode *previous;

    ParameterNode(NameNode *type, ParameterNode *previous) : NameNode(type), previous(previous) {}
    void print(OutputCursor &out) const override;
};

class FunctionNode : public NameNode {
public:
    ParameterNode *parameters;
    bool isConst;
    bool isVolatile;

    FunctionNode(NameNode *body, ParameterNode *parameters, bool isConst, bool isVolatile)
        : NameNode(body), parameters(parameters), isConst(isConst), isVolatile(isVolatile) {
        isFunction = true;
    }
    void print(OutputCursor &out) const override;
};

// A whole declaration of schemes 1 and 2.  A null `parameters` is no list at
// all and prints no parentheses.
class DeclarationNode : public NameNode {
public:
    ParameterNode *parameters;
    NameNode *returnType;
    NameNode *scope;

    DeclarationNode(NameNode *name, ParameterNode *parameters, NameNode *returnType,
                    NameNode *scope)
        : NameNode(name), parameters(parameters), returnType(returnType), scope(scope) {}
    void print(OutputCursor &out) const override;
};

// An entity local to another one: "child of context".
class LocalOfNode : public NameNode {
public:
    NameNode *context;

    LocalOfNode(NameNode *entity, NameNode *context) : NameNode(entity), context(context) {}
    void print(OutputCursor &out) const override;
};

// One word of a modifier chain ("const ", "unsigned "); the rest of the
// chain is the child.
class ModifierNode : public NameNode {
public:
    const char *text;

    ModifierNode(NameNode *rest, const char *text) : NameNode(rest), text(text) {}
    void print(OutputCursor &out) const override;
};

// A base type or a class name: modifiers, the name, then the declarator.
class SizedNameNode : public NameNode {
public:
    NameNode *modifiers;
    const char *text;
    int16_t length;

    SizedNameNode(NameNode *inner, NameNode *modifiers, const char *text, int16_t length)
        : NameNode(inner), modifiers(modifiers), text(text), length(length) {}
    void print(OutputCursor &out) const override;
};

// A pointer ("*") or reference ("&") declarator around the child.
class IndirectionNode : public NameNode {
public:
    char symbol;
    bool needsParentheses;

    IndirectionNode(NameNode *inner, char symbol, bool needsParentheses)
        : NameNode(inner), symbol(symbol), needsParentheses(needsParentheses) {}
    void print(OutputCursor &out) const override;
};

class MemberPointerNode : public NameNode {
public:
    NameNode *classType;
    bool needsParentheses;
    bool blankAfter;

    MemberPointerNode(NameNode *inner, NameNode *classType, bool needsParentheses, bool blankAfter)
        : NameNode(inner), classType(classType), needsParentheses(needsParentheses),
          blankAfter(blankAfter) {}
    void print(OutputCursor &out) const override;
};

// An array whose element type (declarator included) is the child.
class ArrayNode : public NameNode {
public:
    int32_t bound;

    ArrayNode(NameNode *element, int32_t bound) : NameNode(element), bound(bound) {}
    void print(OutputCursor &out) const override;
};

// "outer::last", followed by the declarator in `child`.
class NestedNameNode : public NameNode {
public:
    NameNode *last;
    NameNode *outer;

    NestedNameNode(NameNode *inner, NameNode *last, NameNode *outer)
        : NameNode(inner), last(last), outer(outer) {
        isNested = true;
    }
    void print(OutputCursor &out) const override;
};

class TemplateNode : public NameNode {
public:
    ParameterNode *arguments;
    NameNode *name;

    TemplateNode(NameNode *inner, ParameterNode *arguments, NameNode *name)
        : NameNode(inner), arguments(arguments), name(name) {}
    void print(OutputCursor &out) const override;
};

// A whole entity used as a type, shown in braces.
class BracedNode : public NameNode {
public:
    explicit BracedNode(NameNode *entity) : NameNode(entity) {}
    void print(OutputCursor &out) const override;
};
