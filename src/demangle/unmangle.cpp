// The demangler's top level: classification of a name, the entry point, the
// node pool, the operator tables and the decoding of a whole entity with its
// name part.  Types and parameter lists are decoded in TypeDecoder.cpp.
#include "demangle/unmangle.h"

#include "demangle/NameDecoder.h"

#include <cstdlib>
#include <cstring>

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whether `text` holds `word` anywhere.
bool holds(const char *text, const char *word) {
    return std::strstr(text, word) != nullptr;
}

// Whether `text` holds "__" directly followed by a decimal digit.
bool holdsSeparatedDigit(const char *text) {
    for (const char *p = std::strstr(text, "__"); p != nullptr; p = std::strstr(p + 1, "__"))
        if (isDigit(p[2])) return true;
    return false;
}

struct OperatorRow {
    const char *code;
    const char *text;
};

// Operator codes of the signature scheme: "__<code>__" at the very start of
// a name.  The codes are two or three letters long.
const OperatorRow signatureOperators[] = {
    {"aad", "&="}, {"aa", "&&"},  {"adv", "/="}, {"ad", "&"},   {"aer", "^="},    {"als", "<<="},
    {"amd", "%="}, {"ami", "-="}, {"amu", "*="}, {"aor", "|="}, {"apl", "+="},    {"ars", ">>="},
    {"as", "="},   {"cl", "()"},  {"cm", ","},   {"co", "~"},   {"dl", "delete"}, {"dv", "/"},
    {"eq", "=="},  {"er", "^"},   {"ge", ">="},  {"gt", ">"},   {"le", "<="},     {"ls", "<<"},
    {"lt", "<"},   {"md", "%"},   {"mi", "-"},   {"ml", "*"},   {"mm", "--"},     {"ne", "!="},
    {"nt", "!"},   {"nw", "new"}, {"oo", "||"},  {"or", "|"},   {"pl", "+"},      {"pp", "++"},
    {"rf", "->"},  {"rm", "->*"}, {"rs", ">>"},
};

// Operator words of the "@" and keyword schemes, behind "__op".  They are
// tried in this order and the first word that the text begins with wins, so
// longer words stand before their prefixes.  Only "new" and "delete" carry a
// blank of their own.
const OperatorRow keywordOperators[] = {
    {"xorie", "^="}, {"xori", "^"},         {"subsc", "[]"}, {"sube", "-="},  {"sub", "-"},
    {"star", "*"},   {"shre", ">>="},       {"shr", ">>"},   {"shle", "<<="}, {"shl", "<<"},
    {"ppfm", "->*"}, {"pp", "++"},          {"pfm", ".*"},   {"orie", "|="},  {"ori", "|"},
    {"or", "||"},    {"noti", "~"},         {"not", "!"},    {"new", " new"}, {"neq", "!="},
    {"mpye", "*="},  {"mode", "%="},        {"mod", "%"},    {"mm", "--"},    {"lss", "<"},
    {"leq", "<="},   {"gtr", ">"},          {"geq", ">="},   {"eql", "=="},   {"dive", "/="},
    {"div", "/"},    {"delete", " delete"}, {"comma", ","},  {"call", "()"},  {"asn", "="},
    {"arrow", "->"}, {"ande", "&="},        {"and", "&&"},   {"amp", "&"},    {"adde", "+="},
    {"add", "+"},
};

enum class OperatorMatch { None, Found, Refused };

// Reads an operator code of the signature scheme from its first two letters
// `a` and `b` and the letter `c` behind them.  A three-letter code whose
// third letter does not follow refuses the whole name, except after "am":
// "__am" followed by anything else is an ordinary name.
OperatorMatch matchSignatureOperator(char a, char b, char c, const OperatorRow *&row) {
    bool prefixOfLonger = false;
    const OperatorRow *shortRow = nullptr;
    for (const OperatorRow &candidate : signatureOperators) {
        if (candidate.code[0] != a || candidate.code[1] != b) continue;
        if (candidate.code[2] == '\0') {
            shortRow = &candidate;
        } else if (candidate.code[2] == c) {
            row = &candidate;
            return OperatorMatch::Found;
        } else {
            prefixOfLonger = true;
        }
    }
    if (shortRow != nullptr) {
        row = shortRow;
        return OperatorMatch::Found;
    }
    if (prefixOfLonger && !(a == 'a' && b == 'm')) return OperatorMatch::Refused;
    return OperatorMatch::None;
}

} // namespace

const SchemeMarks schemeTable[4] = {
    {"", 0, "", 0, "", 0},
    {"@q", 2, "@", 1, "$", 1},
    {"__ofq", 5, "__in", 4, "of", 2},
    {"__F", 3, "F", 1, "_", 1},
};

ManglingScheme classifyMangling(const char *name) {
    if (name == nullptr) return UnmangledScheme;
    while (*name == '_')
        ++name;
    if (*name == '\0') return UnmangledScheme;
    // A virtual table name may hold an "@" and still be of the signature
    // scheme.
    if (std::strncmp(name, "vt__", 4) == 0 && holdsSeparatedDigit(name)) return SignatureScheme;
    if (std::strchr(name, '@') != nullptr) return AtSignScheme;
    if (holds(name, "__ofq") || holds(name, "__in")) return KeywordScheme;
    if (std::strchr(name, 'F') != nullptr) return SignatureScheme;
    if (holds(name, "__")) return SignatureScheme;
    return UnmangledScheme;
}

NamePool::NamePool() : base(static_cast<char *>(std::malloc(poolSize))) {}

NamePool::~NamePool() {
    std::free(base);
}

void *NamePool::allocate(size_t size, size_t alignment) {
    size_t offset = (used + alignment - 1) & ~(alignment - 1);
    if (offset >= poolSize || size >= poolSize - offset) return nullptr;
    used = offset + size;
    return base + offset;
}

NameDecoder::NameDecoder(NamePool &pool, const char *name)
    : pool(pool), nameStart(name), end(name + std::strlen(name)) {
    emptyNode = make<NameNode>();
    constructorMark = make<NameNode>();
    destructorMark = make<NameNode>();
}

bool NameDecoder::startsWith(NameCursor cursor, const char *text, size_t length) const {
    return remaining(cursor) >= length && std::memcmp(cursor, text, length) == 0;
}

bool NameDecoder::eat(NameCursor &cursor, const char *text) const {
    size_t length = std::strlen(text);
    if (!startsWith(cursor, text, length)) return false;
    cursor += length;
    return true;
}

MemberNode::NameKind NameDecoder::nameKindOf(const NameNode *name) const {
    if (name == constructorMark) return MemberNode::ConstructorName;
    if (name == destructorMark) return MemberNode::DestructorName;
    return MemberNode::OrdinaryName;
}

NameNode *NameDecoder::decodeEnclosedEntity(NameCursor cursor, size_t length, int scheme) {
    const char *outerEnd = end;
    end = cursor + length;
    NameNode *entity = decodeEntity(cursor, scheme);
    end = outerEnd;
    return entity;
}

NameNode *NameDecoder::decodeSignatureName(NameCursor &cursor) {
    const NameCursor start = cursor;

    // Operator: "__", a code, "__".
    if (peek(cursor) == '_' && peek(cursor, 1) == '_') {
        const OperatorRow *row = nullptr;
        switch (matchSignatureOperator(peek(cursor, 2), peek(cursor, 3), peek(cursor, 4), row)) {
        case OperatorMatch::Refused:
            return fail();
        case OperatorMatch::Found: {
            NameCursor behind = cursor + 2 + std::strlen(row->code);
            if (eat(behind, "__")) {
                cursor = behind;
                return make<OperatorNode>(row->text, nullptr);
            }
            break;
        }
        case OperatorMatch::None:
            break;
        }
    }

    if (eat(cursor, "__ct__")) return constructorMark;
    if (eat(cursor, "__dt__")) return destructorMark;
    if (startsWith(cursor, "__mod_I__", 9) || startsWith(cursor, "__mod_D__", 9)) return nullptr;

    // Virtual table: the text up to the last "__" of the name, taken as it
    // stands.  Without such a "__" the name is an ordinary one.
    if (eat(cursor, "__vt__")) {
        const char *first = cursor;
        for (const char *p = end - 1; p > first + 1; --p) {
            if (p[-1] == '_' && p[0] == '_') {
                cursor = p + 1;
                return make<VirtualTableNode>(first, static_cast<uint32_t>(p - 1 - first));
            }
        }
        cursor = start;
    }

    // Conversion operator: "__op__", the target type, "__".
    if (eat(cursor, "__op__")) {
        NameNode *target = decodeType(emptyNode, cursor, SignatureScheme);
        if (failed) return nullptr;
        if (target != nullptr && eat(cursor, "__")) return make<OperatorNode>(nullptr, target);
        cursor = start;
    }

    // "Yield_" names: the identifier and its digits are all there is to show.
    if (eat(cursor, "Yield_") || eat(cursor, "_Yield_")) {
        while (isDigit(peek(cursor)))
            ++cursor;
        auto *identifier =
            make<IdentifierNode>(start, static_cast<uint32_t>(cursor - start), false);
        identifier->stopsDecoding = true;
        return identifier;
    }

    // Plain name, up to the first "__" behind its leading underscores.  Of a
    // longer run of underscores only the last two separate.
    const char *p = start;
    while (p < end && *p == '_')
        ++p;
    for (; end - p >= 2; ++p) {
        if (p[0] != '_' || p[1] != '_') continue;
        const char *runEnd = p + 2;
        while (runEnd < end && *runEnd == '_')
            ++runEnd;
        cursor = runEnd;
        return make<IdentifierNode>(start, static_cast<uint32_t>(runEnd - 2 - start), false);
    }
    return nullptr;
}

NameNode *NameDecoder::decodeKeywordName(NameCursor &cursor, int scheme) {
    const char *nameEnd = scheme == AtSignScheme ? "@" : "__of";
    const char *tableEnd = scheme == AtSignScheme ? "@" : "__in";
    const char *found;

    NameCursor behindOp = cursor;
    if (eat(behindOp, "__op")) {
        for (const OperatorRow &row : keywordOperators) {
            if (eat(behindOp, row.code)) {
                cursor = behindOp;
                return make<OperatorNode>(row.text, nullptr);
            }
        }
    }

    // Virtual table: the text up to the end mark, as it stands.  A table
    // name without an end mark is left undecoded.
    if (startsWith(cursor, "__vt__", 6)) {
        const char *first = cursor + 6;
        for (found = first; found < end; ++found)
            if (startsWith(found, tableEnd, std::strlen(tableEnd))) break;
        if (found >= end) return nullptr;
        cursor = found;
        return make<VirtualTableNode>(first, static_cast<uint32_t>(found - first));
    }

    if (eat(cursor, "__opconv")) {
        if (eat(cursor, nameEnd)) {
            NameNode *target = decodeType(emptyNode, cursor, scheme);
            if (target == nullptr) return nullptr;
            return make<OperatorNode>(nullptr, target);
        }
        // Not a conversion after all: "__opconv" begins an ordinary name.
    }

    const char *first = cursor;
    bool isDestructor = eat(cursor, "__dtor");
    if (isDestructor) first = cursor;
    for (found = first; found < end; ++found)
        if (startsWith(found, nameEnd, std::strlen(nameEnd))) break;
    if (found >= end) return nullptr;
    cursor = found;
    return make<IdentifierNode>(first, static_cast<uint32_t>(found - first), isDestructor);
}

NameNode *NameDecoder::decodeEntity(NameCursor &cursor, int scheme) {
    DepthGuard guard(*this);
    if (failed) return nullptr;
    if (scheme == SignatureScheme) return decodeSignatureEntity(cursor);
    return decodeKeywordEntity(cursor, scheme);
}

NameNode *NameDecoder::decodeSignatureEntity(NameCursor &cursor) {
    NameNode *name = decodeSignatureName(cursor);
    if (failed || name == nullptr) return nullptr;
    if (name->stopsDecoding) return name;

    // "y<n><entity>": the function that encloses this one.
    NameNode *prefix = nullptr;
    if (peek(cursor) == 'y' && isDigit(peek(cursor, 1))) {
        ++cursor;
        uint32_t length = readDecimal(cursor);
        if (length > remaining(cursor)) return nullptr;
        prefix = decodeEnclosedEntity(cursor, length, SignatureScheme);
        if (failed || prefix == nullptr) return nullptr;
        cursor += length;
    }

    NameNode *body = name;
    bool isConst = false;
    bool isVolatile = false;
    if (peek(cursor) == 'S') return nullptr;
    if (peek(cursor) != 'F') {
        NameNode *classType = decodeType(emptyNode, cursor, SignatureScheme);
        if (failed) return nullptr;
        // Qualifier letters toggle: a letter given twice cancels itself.
        bool isStatic = false;
        for (;; ++cursor) {
            char c = peek(cursor);
            if (c == 'C')
                isConst = !isConst;
            else if (c == 'V')
                isVolatile = !isVolatile;
            else if (c == 'S')
                isStatic = !isStatic;
            else
                break;
        }
        body = make<MemberNode>(classType, name, isStatic, nameKindOf(name));
        if (failed) return nullptr;
        // A data member; an enclosing function given for it is dropped.
        if (peek(cursor) != 'F') return atEnd(cursor) ? body : nullptr;
    }

    ++cursor; // the 'F'
    ParameterNode *parameters = decodeParameterList(cursor, SignatureScheme, nullptr);
    if (failed || parameters == nullptr) return nullptr;
    NameNode *result = make<FunctionNode>(body, parameters, isConst, isVolatile);
    if (prefix != nullptr) result = make<LocalOfNode>(result, prefix);
    // What follows the list is ignored (a return type among it), except for
    // further entities joined by ".", each local to all that stands before.
    while (!failed && peek(cursor) == '.') {
        ++cursor;
        NameNode *local = decodeEntity(cursor, SignatureScheme);
        if (failed || local == nullptr) return nullptr;
        result = make<LocalOfNode>(local, result);
    }
    return failed ? nullptr : result;
}

NameNode *NameDecoder::decodeKeywordEntity(NameCursor &cursor, int scheme) {
    const SchemeMarks &marks = schemeTable[scheme];
    NameNode *name = decodeKeywordName(cursor, scheme);
    if (failed || name == nullptr) return nullptr;

    ParameterNode *parameters = nullptr;
    NameNode *returnType = nullptr;
    NameNode *scope = nullptr;
    if (eat(cursor, marks.signatureMark)) {
        parameters = decodeParameterList(cursor, scheme, nullptr);
        if (failed) return nullptr;
        // The return type stands behind the separator, "0" meaning none.  A
        // list that ends without the separator has no return type: that is
        // no fault, and the class may follow directly.
        if (eat(cursor, marks.separator) && !eat(cursor, "0")) {
            returnType = decodeType(emptyNode, cursor, scheme);
            if (failed) return nullptr;
        }
    } else if (startsWith(cursor, "@@", 2)) {
        ++cursor;
    }
    if (eat(cursor, marks.scopeMark)) {
        scope = decodeType(emptyNode, cursor, scheme);
        if (failed) return nullptr;
    }
    NameNode *result = make<DeclarationNode>(name, parameters, returnType, scope);
    return failed ? nullptr : result;
}

const char *unmangle(const char *name, char *buffer, uint32_t bufferSize) {
    // Used when the caller gives no buffer; overwritten by the next call.
    static char privateBuffer[4096];
    if (buffer == nullptr || bufferSize == 0) {
        buffer = privateBuffer;
        bufferSize = sizeof privateBuffer;
    }
    if (name == nullptr) return name;
    ManglingScheme scheme = classifyMangling(name);
    if (scheme == UnmangledScheme) return name;

    NamePool pool;
    if (!pool.isOpen()) return name;
    NameDecoder decoder(pool, name);
    NameCursor cursor = name;
    NameNode *root = decoder.failed ? nullptr : decoder.decodeEntity(cursor, scheme);
    if (decoder.failed || root == nullptr) return name;

    OutputCursor out(buffer, bufferSize - 1);
    root->print(out);
    // Nothing was made of the name if the text is just what was left unread.
    if (std::strcmp(buffer, cursor) == 0) return name;
    return buffer;
}
