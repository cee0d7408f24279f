// SectionCollection and the views of the SectionIterator family, and
// PublicList.
#include "object/ObjectFile.h"

#include "object/CombinedSection.h"

#include "support/botch.h"
#include "support/quickSort.h"

#include <cstring>
#include <utility>

SectionCollection::~SectionCollection() = default;

uint32_t SectionCollection::count() {
    uint32_t total = 0;
    each([&](Section &) {
        ++total;
        return true;
    });
    return total;
}

void SortedSections::each(SectionVisitor visitor) {
    if (!sorted) {
        // Built once, at the first call that finds sections; an empty
        // collection builds nothing, so a later call asks it again.
        uint32_t expected = sections.count();
        if (expected == 0) return;
        auto delivered = std::make_unique<Section *[]>(expected + 1);
        uint32_t got = 0;
        sections.each([&](Section &section) {
            if (got <= expected) delivered[got] = &section;
            ++got;
            return true;
        });
        if (got != expected) botch("Assertion failed: cnt == icnt");
        // Sort the sections and their positions together, by name, and by
        // position among sections of one name: the positions alone make the
        // sort keep the collection's order of equal names.
        auto positions = std::make_unique<uint32_t[]>(expected);
        for (uint32_t i = 0; i < expected; ++i)
            positions[i] = i;
        quickSort(
            0, static_cast<int32_t>(expected) - 1,
            [&](int32_t a, int32_t b) {
                std::swap(delivered[a], delivered[b]);
                std::swap(positions[a], positions[b]);
            },
            [&](int32_t a, int32_t b) {
                int order = std::strcmp(delivered[a]->name(), delivered[b]->name());
                return order != 0 ? order < 0 : positions[a] < positions[b];
            });
        positions.reset();
        sorted = std::move(delivered);
        sortedCount = expected;
    }
    for (uint32_t i = 0; i < sortedCount; ++i)
        if (!visitor(*sorted[i])) return;
}

uint32_t SortedSections::count() {
    return sections.count();
}

void ObjectFilesSections::each(SectionVisitor visitor) {
    bool goOn = true;
    for (ObjectFile *file : files) {
        if (!file->isRelocatable()) continue;
        file->eachSection([&](Section &section) {
            goOn = visitor(section);
            return goOn;
        });
        if (!goOn) return;
    }
}

uint32_t ObjectFilesSections::count() {
    uint32_t total = 0;
    for (ObjectFile *file : files)
        if (file->isRelocatable()) total += file->sectionCount();
    return total;
}

void SectionArrayView::each(SectionVisitor visitor) {
    for (Section *section : sections)
        if (!visitor(*section)) return;
}

uint32_t SectionArrayView::count() {
    return sections.count;
}

void ObjectFileSections::each(SectionVisitor visitor) {
    file.eachSection(visitor);
}
uint32_t ObjectFileSections::count() {
    return file.sectionCount();
}

void SectionMembers::each(SectionVisitor visitor) {
    section.eachMember(visitor);
}

// A combined section knows its number of members; a plain section is its
// own only member.
uint32_t SectionMembers::count() {
    if (CombinedSection *combined = section.asCombinedSection()) return combined->memberCount();
    return SectionCollection::count();
}

void PublicList::add(const char *name, uint32_t value) {
    size_t length = std::strlen(name);
    auto copy = std::make_unique<char[]>(length + 1);
    std::memcpy(copy.get(), name, length + 1);
    entries.push_back(Entry{std::move(copy), value});
}
