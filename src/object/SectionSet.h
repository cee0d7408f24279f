// SectionSet: a plain set of sections by identity, as the linking side keeps
// "the sections already seen".  A fixed number of buckets (the size hint, 2
// for a hint of 0), each a list in order of insertion; a section hashes by
// its address.  The set never grows its bucket array, and never owns the
// sections.
#pragma once

#include "object/ObjectFile.h"

#include <cstdint>
#include <forward_list>
#include <memory>
#include <vector>

class SectionSet : public SectionCollection {
public:
    explicit SectionSet(uint32_t sizeHint);

    // False when the section is there already; otherwise it is inserted at
    // the end of its bucket.
    bool add(Section *section);
    // Takes the section out and answers it, or null when it is not there.
    Section *remove(Section *section);
    // Takes the section out; answers how many entries went.
    uint32_t removeAll(Section *section);
    bool contains(Section *section);
    // Buckets in order, each in order of insertion.
    void each(SectionVisitor visitor) override;

    uint32_t bucketCount() const { return static_cast<uint32_t>(buckets.size()); }

private:
    std::forward_list<Section *> &bucketOf(Section *section);

    std::vector<std::forward_list<Section *>> buckets;
};

std::unique_ptr<SectionSet> makeSectionSet(uint32_t sizeHint);
