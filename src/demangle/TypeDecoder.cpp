// Decoding of type codes and parameter lists, shared by all three schemes.
//
// A type is a chain of modifier codes, then declarator codes (pointer,
// reference, member pointer, array, function), then a base type or a class
// name.  The decoder walks the chain from the outside inwards and hands the
// declarator built so far ("inner") to the next code, so that the base type
// at the end prints first and the declarators around it follow.
#include "demangle/NameDecoder.h"

#include <cstring>

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

struct ModifierRow {
    const char *code;
    uint8_t codeLength;
    const char *text;
};

// Tried in this order; the first code that the text begins with wins.
const ModifierRow modifierTable[] = {
    {"u", 1, "unsigned "}, {"U", 1, "unsigned "}, {"S", 1, "signed "},     {"w", 1, "signed "},
    {"V", 1, "volatile "}, {"C", 1, "const "},    {"Dn", 2, "near "},      {"Df", 2, "far "},
    {"Dh", 2, "huge "},    {"zcz", 3, "const "},  {"zvz", 3, "volatile "}, {"znz", 3, "near "},
    {"zfz", 3, "far "},
};

// The word of a one-letter base type, or null.  "r" is "long double" in the
// signature scheme only; elsewhere it is a reference.
const char *baseTypeWord(char code, int scheme) {
    switch (code) {
    case 's':
        return "short";
    case 'i':
        return "int";
    case 'l':
        return "long";
    case 'L':
        return "long long";
    case 'c':
        return "char";
    case 'f':
        return "float";
    case 'd':
        return "double";
    case 'g':
        return "long double";
    case 'r':
        return scheme == SignatureScheme ? "long double" : nullptr;
    case 'v':
        return "void";
    case 'e':
        return "...";
    case 'B':
        return "!";
    default:
        return nullptr;
    }
}

// A declarator code followed by one of these opens a parenthesised group:
// "(*)[3]", "(*)(int)".
bool opensGroup(char c) {
    return c == 'a' || c == 'q' || c == 'F';
}

} // namespace

bool NameDecoder::eatSeparator(NameCursor &cursor, int scheme) {
    return eat(cursor, schemeTable[scheme].separator);
}

// Decimal digits into 32 bits, wrapping silently on overflow (no bound is
// set, and a wrapped value is checked by whoever uses it).  No digit gives 0.
uint32_t NameDecoder::readDecimal(NameCursor &cursor) {
    uint32_t value = 0;
    while (isDigit(peek(cursor))) {
        value = value * 10 + static_cast<uint32_t>(*cursor - '0');
        ++cursor;
    }
    return value;
}

// Base 18, lowest place first: "0"-"9" are 0-9, other characters count from
// 0x57 ("a" is 10, "h" is 17).  A place of 18 or more ("i" and above) means
// that more follow, adding its value less 18.  The end of the text and a
// character below "W" (which would count negative) fail the name.
uint32_t NameDecoder::readBase18(NameCursor &cursor) {
    uint32_t value = 0;
    uint32_t weight = 1;
    for (;;) {
        if (atEnd(cursor)) {
            failed = true;
            return 0;
        }
        unsigned char c = static_cast<unsigned char>(*cursor);
        uint32_t place;
        if (isDigit(static_cast<char>(c)))
            place = c - '0';
        else if (c >= 0x57)
            place = c - 0x57u;
        else {
            failed = true;
            return 0;
        }
        ++cursor;
        if (place < 18) return value + place * weight;
        value += (place - 18) * weight;
        weight *= 18;
    }
}

// A parameter number behind "T" or "N<count>" in the signature scheme.  An
// underscore ends a number of any length; without it only one digit counts,
// so "T12" is parameter 1 followed by "2".
uint32_t NameDecoder::readRepeatIndex(NameCursor &cursor) {
    const NameCursor first = cursor;
    uint32_t index = readDecimal(cursor);
    if (eat(cursor, "_")) return index;
    if (cursor - first <= 1) return index;
    cursor = first + 1;
    return static_cast<uint32_t>(*first - '0');
}

NameNode *NameDecoder::decodeModifiers(NameCursor &cursor) {
    NameNode *chain = emptyNode;
    ModifierNode *last = nullptr;
    for (;;) {
        const ModifierRow *row = nullptr;
        for (const ModifierRow &candidate : modifierTable) {
            if (startsWith(cursor, candidate.code, candidate.codeLength)) {
                row = &candidate;
                break;
            }
        }
        if (row == nullptr) break;
        cursor += row->codeLength;
        auto *modifier = make<ModifierNode>(emptyNode, row->text);
        if (failed) return nullptr;
        if (last != nullptr)
            last->child = modifier;
        else
            chain = modifier;
        last = modifier;
    }
    return chain;
}

NameNode *NameDecoder::decodeType(NameNode *inner, NameCursor &cursor, int scheme) {
    DepthGuard guard(*this);
    if (failed) return nullptr;
    NameNode *modifiers = decodeModifiers(cursor);
    if (failed) return nullptr;

    char code = peek(cursor);
    if (isDigit(code)) {
        // A class name given by its length.  The length field is 16 bits: a
        // longer name fails rather than print a wrong part of the text.
        uint32_t length = readDecimal(cursor);
        if (length > remaining(cursor) || length > INT16_MAX) return fail();
        auto *node = make<SizedNameNode>(inner, modifiers, cursor, static_cast<int16_t>(length));
        cursor += length;
        return node;
    }
    if (const char *word = baseTypeWord(code, scheme)) {
        ++cursor;
        return make<SizedNameNode>(inner, modifiers, word, static_cast<int16_t>(std::strlen(word)));
    }

    // The codes below drop the modifiers read above.
    switch (code) {
    case 'h':
        ++cursor;
        readBase18(cursor);
        if (failed) return nullptr;
        return make<SizedNameNode>(inner, modifiers, "???", static_cast<int16_t>(3));
    case 'P':
    case 'p':
        return decodeIndirection(inner, cursor, scheme, '*');
    case 'R':
    case 'r': // 'r' is long double in the signature scheme, handled above
        return decodeIndirection(inner, cursor, scheme, '&');
    case 'M':
    case 'm':
        return decodeMemberPointer(inner, cursor, scheme);
    case 'A':
    case 'a':
        return decodeArray(inner, cursor, scheme);
    case 'F':
    case 'q':
        return decodeFunctionType(inner, cursor, scheme);
    case 'Q':
        return decodeQualifiedName(inner, cursor, scheme);
    case 'x':
        return decodeNestedPair(inner, cursor, scheme);
    case 'X':
    case 't':
        return decodeTemplate(inner, cursor, scheme);
    case 'j':
        return decodeBackReference(inner, cursor, scheme);
    case 'y':
        return decodeBracedEntity(cursor, scheme);
    default:
        // No rule covers this character, the end of the text included.
        return fail();
    }
}

NameNode *NameDecoder::decodeIndirection(NameNode *inner, NameCursor &cursor, int scheme,
                                         char symbol) {
    ++cursor;
    bool needsParentheses = opensGroup(peek(cursor));
    auto *indirection = make<IndirectionNode>(inner, symbol, needsParentheses);
    if (failed) return nullptr;
    return decodeType(indirection, cursor, scheme);
}

NameNode *NameDecoder::decodeMemberPointer(NameNode *inner, NameCursor &cursor, int scheme) {
    ++cursor;
    NameNode *classType = decodeType(emptyNode, cursor, scheme);
    if (failed) return nullptr;
    // The class is printed in the middle of the declarator; without one the
    // text would mean nothing.
    if (classType == nullptr) return fail();
    char next = peek(cursor);
    bool needsParentheses = opensGroup(next);
    // Only the lower-case codes leave a blank behind "::*".
    bool blankAfter = !needsParentheses && (next == 'm' || next == 'p');
    auto *pointer = make<MemberPointerNode>(inner, classType, needsParentheses, blankAfter);
    if (failed) return nullptr;
    return decodeType(pointer, cursor, scheme);
}

// The array node stands outside its element, so that of two bounds the outer
// prints last: "A2_A3_i" is int[3][2].
NameNode *NameDecoder::decodeArray(NameNode *inner, NameCursor &cursor, int scheme) {
    ++cursor;
    uint32_t bound = readDecimal(cursor);
    if (!eatSeparator(cursor, scheme)) return fail();
    NameNode *element = decodeType(inner, cursor, scheme);
    if (failed) return nullptr;
    return make<ArrayNode>(element, static_cast<int32_t>(bound));
}

NameNode *NameDecoder::decodeFunctionType(NameNode *inner, NameCursor &cursor, int scheme) {
    ++cursor;
    ParameterNode *parameters = decodeParameterList(cursor, scheme, nullptr);
    if (failed) return nullptr;
    if (parameters == nullptr) return fail();
    auto *function = make<FunctionNode>(inner, parameters, false, false);
    if (failed) return nullptr;
    if (eatSeparator(cursor, scheme)) return decodeType(function, cursor, scheme);
    return function;
}

// "Q<n>" and n components, outermost first.  The declarator goes behind the
// last component; with one component (or a count of 0) it is lost.
NameNode *NameDecoder::decodeQualifiedName(NameNode *inner, NameCursor &cursor, int scheme) {
    ++cursor;
    if (!isDigit(peek(cursor))) return nullptr;
    uint32_t count = static_cast<uint32_t>(*cursor++ - '0');
    NameNode *result = decodeType(emptyNode, cursor, scheme);
    if (failed) return nullptr;
    if (count <= 1) return result;
    // A missing component leaves "::" with nothing on one side; such a name
    // is not shown decoded.
    if (result == nullptr) return fail();
    for (uint32_t round = 1; round < count; ++round) {
        NameNode *component = decodeType(emptyNode, cursor, scheme);
        if (failed) return nullptr;
        if (component == nullptr) return fail();
        result = make<NestedNameNode>(round + 1 == count ? inner : emptyNode, component, result);
        if (failed) return nullptr;
    }
    return result;
}

// "x<inner class><outer class>": the first type is the innermost component.
NameNode *NameDecoder::decodeNestedPair(NameNode *inner, NameCursor &cursor, int scheme) {
    ++cursor;
    NameNode *last = decodeType(emptyNode, cursor, scheme);
    if (failed) return nullptr;
    NameNode *outer = decodeType(emptyNode, cursor, scheme);
    if (failed) return nullptr;
    if (last == nullptr || outer == nullptr) return fail();
    return make<NestedNameNode>(inner, last, outer);
}

// "X" or "t", the arguments as a parameter list, a separator, the name.
NameNode *NameDecoder::decodeTemplate(NameNode *inner, NameCursor &cursor, int scheme) {
    ++cursor;
    ParameterNode *arguments = decodeParameterList(cursor, scheme, nullptr);
    if (failed) return nullptr;
    if (!eatSeparator(cursor, scheme) && !eat(cursor, "$") && !eat(cursor, "of")) return nullptr;
    NameNode *name = decodeType(emptyNode, cursor, scheme);
    if (failed) return nullptr;
    // "Name<>" or "<args>" alone would be no declaration of this language.
    if (name == nullptr || arguments == nullptr) return fail();
    return make<TemplateNode>(inner, arguments, name);
}

// "j<distance>": decode again the type that starts `distance` characters in
// front of the "j".  A distance of 0 would decode the "j" itself forever,
// and one that leaves the name would read outside it; both fail the name.
// Longer cycles end at the depth limit.
NameNode *NameDecoder::decodeBackReference(NameNode *inner, NameCursor &cursor, int scheme) {
    const NameCursor reference = cursor;
    ++cursor;
    uint32_t distance = readBase18(cursor);
    if (failed) return nullptr;
    if (distance == 0 || distance > static_cast<size_t>(reference - nameStart)) return fail();
    NameCursor earlier = reference - distance;
    return decodeType(inner, earlier, scheme);
}

// "y<n>" and n characters that form a whole entity of their own.
NameNode *NameDecoder::decodeBracedEntity(NameCursor &cursor, int scheme) {
    if (!isDigit(peek(cursor, 1))) return fail();
    ++cursor;
    uint32_t length = readDecimal(cursor);
    if (length > remaining(cursor)) return fail();
    NameNode *entity = decodeEnclosedEntity(cursor, length, scheme);
    if (failed || entity == nullptr) return nullptr;
    cursor += length;
    return make<BracedNode>(entity);
}

// Appends `count` copies of parameter `index` (the first is 1) of the list
// as it stands.  A copy shares the type node; a number that no parameter has
// gives copies that print nothing.
ParameterNode *NameDecoder::appendCopies(ParameterNode *head, uint32_t count, uint32_t index) {
    uint32_t length = 0;
    for (const ParameterNode *p = head; p != nullptr; p = p->previous)
        ++length;
    NameNode *type = nullptr;
    if (index >= 1 && index <= length) {
        const ParameterNode *p = head;
        for (uint32_t steps = length - index; steps > 0; --steps)
            p = p->previous;
        type = p->child;
    }
    for (uint32_t copy = 0; copy < count && !failed; ++copy)
        head = make<ParameterNode>(make<NameNode>(type), head);
    return failed ? nullptr : head;
}

ParameterNode *NameDecoder::decodeParameterList(NameCursor &cursor, int scheme,
                                                ParameterNode *head) {
    const SchemeMarks &marks = schemeTable[scheme];
    while (!failed && !atEnd(cursor)) {
        char c = *cursor;
        if (scheme == SignatureScheme) {
            // Any of the three separators ends a list in this scheme.
            if (c == '_' || c == '$' || startsWith(cursor, "of", 2) || c == '.') break;
            if (c == 'N' || c == 'T') {
                uint32_t count = 1;
                ++cursor;
                if (c == 'N') {
                    if (!isDigit(peek(cursor))) return fail();
                    count = static_cast<uint32_t>(*cursor++ - '0');
                }
                uint32_t index = readRepeatIndex(cursor);
                head = appendCopies(head, count, index);
                continue;
            }
        } else {
            if (startsWith(cursor, marks.separator, marks.separatorLength) ||
                startsWith(cursor, marks.scopeMark, marks.scopeLength))
                break;
            if (c == 'b') {
                // "b<index>" or "b_<count><index>", the index in base 18.
                uint32_t count = 1;
                ++cursor;
                if (eat(cursor, "_")) {
                    if (!isDigit(peek(cursor))) return fail();
                    count = static_cast<uint32_t>(*cursor++ - '0');
                }
                uint32_t index = readBase18(cursor);
                if (failed) return nullptr;
                head = appendCopies(head, count, index);
                continue;
            }
        }
        NameNode *type = decodeType(emptyNode, cursor, scheme);
        if (failed) return nullptr;
        head = make<ParameterNode>(type, head);
    }
    return failed ? nullptr : head;
}
