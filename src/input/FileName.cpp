#include "input/FileName.h"

#include <cstring>
#include <deque>
#include <memory>
#include <ostream>
#include <unordered_map>

FileName::FileName(const char *text) : text(text ? text : "") {}

FileName::~FileName() = default;

const char *FileName::printableText() const {
    return displayName();
}

void FileName::printOn(std::ostream &out) const {
    out << displayName();
}

const char *FileName::displayName() const {
    return text.c_str();
}

const FileName *FileName::parent() const {
    return nullptr;
}

const char *FileName::memberName() const {
    return nullptr;
}

const char *FileName::path() const {
    return text.c_str();
}

uint32_t FileName::offset() const {
    return 0;
}

uint32_t FileName::length() const {
    return 0x7FFFFFFF;
}

const FileName FileName::empty("");

FileName &FileName::keep(std::unique_ptr<FileName> name) {
    // The names of a run: freed only when the process ends.
    // A deque, not a vector: a library of many members keeps one name per
    // member, and a growing vector would copy them all at each doubling.
    static std::deque<std::unique_ptr<FileName>> kept;
    kept.push_back(std::move(name));
    return *kept.back();
}

ArchiveMemberName::ArchiveMemberName(const FileName *parent, const char *member, uint32_t offset,
                                     uint32_t length)
    : FileName(member), memberOffset(offset), memberLength(length), parentName(parent) {}

namespace {

constexpr size_t displayBufferSize = 250;
// Levels of nesting formed in one go; libraries are walked to 64 levels.
constexpr size_t maxDisplayDepth = 72;
char displayBuffers[2][displayBufferSize];
int nextDisplayBuffer = 0;

// Texts too long for the buffers, one block per name, formed at the first
// call and given out again after: such a text may be held for the rest of the
// run, and a name asked many times (by every message about a member) costs
// one block, not one per call.  A name that is destroyed takes its block
// with it.
std::unordered_map<const ArchiveMemberName *, std::unique_ptr<char[]>> &longTexts() {
    static auto *texts = new std::unordered_map<const ArchiveMemberName *, std::unique_ptr<char[]>>;
    return *texts;
}

} // namespace

ArchiveMemberName::~ArchiveMemberName() {
    longTexts().erase(this);
}

const char *ArchiveMemberName::displayName() const {
    // The text is formed from the outermost name down: its own display name,
    // then "(member)" for each level.  Going up through parent() and
    // memberName() rather than through the parent's displayName() leaves the
    // two buffers alone, so a nested name uses one buffer like any other,
    // and a parent text of any length is taken whole.  A member whose parent
    // is missing shows "<NULL>" in the parent's place.
    auto known = longTexts().find(this);
    if (known != longTexts().end()) return known->second.get();
    const FileName *levels[maxDisplayDepth];
    size_t depth = 0;
    const FileName *outer = this;
    size_t length = 0;
    for (; outer && outer->memberName(); outer = outer->parent()) {
        if (depth == maxDisplayDepth) break;
        levels[depth++] = outer;
        length += std::strlen(outer->memberName()) + 2;
    }
    // Past `maxDisplayDepth` levels the rest comes from the outer name's own
    // displayName, which takes the other buffer.
    const char *outerText = outer ? outer->displayName() : "<NULL>";
    length += std::strlen(outerText);

    char *target = displayBuffers[nextDisplayBuffer];
    if (length < displayBufferSize) {
        nextDisplayBuffer ^= 1;
    } else {
        std::unique_ptr<char[]> &block = longTexts()[this];
        block = std::make_unique<char[]>(length + 1);
        target = block.get();
    }
    char *end = target;
    auto append = [&end](const char *text) {
        size_t n = std::strlen(text);
        std::memcpy(end, text, n);
        end += n;
    };
    append(outerText);
    while (depth > 0) {
        *end++ = '(';
        append(levels[--depth]->memberName());
        *end++ = ')';
    }
    *end = '\0';
    return target;
}

const FileName *ArchiveMemberName::parent() const {
    return parentName;
}

const char *ArchiveMemberName::memberName() const {
    return text.c_str();
}

const char *ArchiveMemberName::path() const {
    return parentName ? parentName->path() : "";
}

uint32_t ArchiveMemberName::offset() const {
    return memberOffset;
}

uint32_t ArchiveMemberName::length() const {
    return memberLength;
}

DisplayFileName::DisplayFileName(const char *path, const char *shownAs)
    : FileName(path), shown(shownAs ? shownAs : "") {}

const char *DisplayFileName::displayName() const {
    return shown.c_str();
}
