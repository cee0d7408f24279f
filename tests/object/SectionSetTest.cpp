// SectionSet: membership by identity, the order of a walk, removal, and a
// set that holds more sections than it has buckets.
#include "object/SectionSet.h"
#include "ObjectTestKit.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

TEST(SectionSetTest, MembershipAndRemoval) {
    FileName name("a.o");
    TestObjectFile file(name);
    TestSection &text = file.addSection(".text");
    TestSection &data = file.addSection(".data");
    TestSection &twin = file.addSection(".text"); // same name, another section
    std::unique_ptr<SectionSet> set = makeSectionSet(0);
    EXPECT_EQ(set->bucketCount(), 2u);
    EXPECT_TRUE(set->add(&text));
    EXPECT_FALSE(set->add(&text));
    EXPECT_TRUE(set->add(&twin));
    EXPECT_EQ(set->count(), 2u);
    EXPECT_TRUE(set->contains(&twin));
    EXPECT_FALSE(set->contains(&data));
    EXPECT_EQ(set->remove(&data), nullptr);
    EXPECT_EQ(set->remove(&text), &text);
    EXPECT_FALSE(set->contains(&text));
    EXPECT_EQ(set->removeAll(&twin), 1u);
    EXPECT_EQ(set->removeAll(&twin), 0u);
    EXPECT_EQ(set->count(), 0u);
}

TEST(SectionSetTest, WalkByBucketThenInsertion) {
    FileName name("a.o");
    TestObjectFile file(name);
    std::vector<Section *> sections;
    for (int i = 0; i < 40; ++i)
        sections.push_back(&file.addSection("s"));
    SectionSet set(3);
    EXPECT_EQ(set.bucketCount(), 3u);
    for (Section *section : sections)
        EXPECT_TRUE(set.add(section));
    // The expected walk: bucket by bucket (address modulo 3), and inside a
    // bucket in the order of adding.
    std::vector<Section *> expected;
    for (uintptr_t bucket = 0; bucket < 3; ++bucket)
        for (Section *section : sections)
            if (reinterpret_cast<uintptr_t>(section) % 3 == bucket) expected.push_back(section);
    std::vector<Section *> walked;
    set.each([&](Section &section) {
        walked.push_back(&section);
        return true;
    });
    EXPECT_EQ(walked, expected);
    EXPECT_EQ(set.count(), 40u);
    // Removing from the middle of a chain keeps the order of the rest.
    set.remove(expected[1]);
    expected.erase(expected.begin() + 1);
    walked.clear();
    set.each([&](Section &section) {
        walked.push_back(&section);
        return walked.size() < 5;
    });
    EXPECT_EQ(walked, std::vector<Section *>(expected.begin(), expected.begin() + 5));
}

} // namespace
