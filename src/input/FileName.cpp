#include "input/FileName.h"

#include <cstring>
#include <ostream>
#include <vector>

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
    static std::vector<std::unique_ptr<FileName>> kept;
    kept.push_back(std::move(name));
    return *kept.back();
}

ArchiveMemberName::ArchiveMemberName(const FileName *parent, const char *member, uint32_t offset,
                                     uint32_t length)
    : FileName(member), memberOffset(offset), memberLength(length), parentName(parent) {}

const char *ArchiveMemberName::displayName() const {
    // Formed once and kept with the name: a parent's display name never
    // changes, and a kept text stays valid for as long as the name lives, so
    // any number of member names can stand in one message, at any depth of
    // nesting, and a name of any length is shown whole.
    if (shown.empty()) {
        const char *parentText = parentName ? parentName->displayName() : "<NULL>";
        shown.reserve(std::strlen(parentText) + text.size() + 2);
        shown.append(parentText).append(1, '(').append(text).append(1, ')');
    }
    return shown.c_str();
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
