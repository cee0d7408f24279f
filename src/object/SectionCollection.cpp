// SectionCollection and the views of the SectionIterator family, and
// PublicList.
#include "object/ObjectFile.h"

#include "support/botch.h"

#include <algorithm>
#include <cstring>

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
        // Sort by name; sections of one name keep the order in which the
        // collection delivered them, by their positions.
        auto positions = std::make_unique<uint32_t[]>(expected);
        for (uint32_t i = 0; i < expected; ++i)
            positions[i] = i;
        Section **base = delivered.get();
        std::sort(positions.get(), positions.get() + expected, [&](uint32_t a, uint32_t b) {
            int order = std::strcmp(base[a]->name(), base[b]->name());
            return order != 0 ? order < 0 : a < b;
        });
        sorted = std::make_unique<Section *[]>(expected);
        for (uint32_t i = 0; i < expected; ++i)
            sorted[i] = base[positions[i]];
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
    return static_cast<uint32_t>(sections.size());
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

// A combined section's members are exactly what its eachMember delivers, so
// counting the walk gives its number of members; a plain section counts 1.
uint32_t SectionMembers::count() {
    return SectionCollection::count();
}

void PublicList::add(const char *name, uint32_t value) {
    size_t length = std::strlen(name);
    auto copy = std::make_unique<char[]>(length + 1);
    std::memcpy(copy.get(), name, length + 1);
    entries.push_back(Entry{std::move(copy), value});
}
