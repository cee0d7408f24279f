// The identity set of sections.
#include "object/SectionSet.h"

#include <cstdint>

SectionSet::SectionSet(uint32_t sizeHint) : buckets(sizeHint ? sizeHint : 2) {}

std::forward_list<Section *> &SectionSet::bucketOf(Section *section) {
    return buckets[reinterpret_cast<uintptr_t>(section) % buckets.size()];
}

bool SectionSet::add(Section *section) {
    std::forward_list<Section *> &bucket = bucketOf(section);
    auto last = bucket.before_begin();
    for (auto it = bucket.begin(); it != bucket.end(); ++it, ++last)
        if (*it == section) return false;
    bucket.insert_after(last, section);
    return true;
}

Section *SectionSet::remove(Section *section) {
    return removeAll(section) ? section : nullptr;
}

uint32_t SectionSet::removeAll(Section *section) {
    uint32_t removed = 0;
    bucketOf(section).remove_if([&](Section *entry) {
        bool match = entry == section;
        removed += match;
        return match;
    });
    return removed;
}

bool SectionSet::contains(Section *section) {
    for (Section *entry : bucketOf(section))
        if (entry == section) return true;
    return false;
}

void SectionSet::each(SectionVisitor visitor) {
    for (auto &bucket : buckets)
        for (Section *section : bucket)
            if (!visitor(*section)) return;
}

std::unique_ptr<SectionSet> makeSectionSet(uint32_t sizeHint) {
    return std::make_unique<SectionSet>(sizeHint);
}
