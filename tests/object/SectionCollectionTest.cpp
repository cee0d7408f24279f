// The section views (sorted, over object files, over an array, over one
// file, over members), PublicList, and identity sets of the root class.
#include "ObjectTestKit.h"

#include <gtest/gtest.h>

#include <csignal>
#include <unordered_set>

namespace {

std::string names(SectionCollection &collection) {
    std::string text;
    collection.each([&](Section &section) {
        text += std::string(text.empty() ? "" : " ") + section.name();
        return true;
    });
    return text;
}

// A collection over a vector that counts how often it is walked.
class CountingCollection : public SectionCollection {
public:
    void each(SectionVisitor visitor) override {
        ++walks;
        for (Section *section : sections)
            if (!visitor(*section)) return;
    }
    std::vector<Section *> sections;
    int walks = 0;
};

class SectionCollectionTest : public testing::Test {
protected:
    FileName name{"a.o"};
    TestObjectFile file{name};
};

TEST_F(SectionCollectionTest, SortedByNameKeepingTheOrderOfEqualNames) {
    CountingCollection source;
    SortedSections sorted(source);
    // Empty: nothing is built, and a later walk asks the source again.
    EXPECT_EQ(names(sorted), "");
    for (const char *name : {".data", ".text", ".bss", ".data", ".comment", ".data"})
        source.sections.push_back(&file.addSection(name));
    auto &s = file.sections;
    EXPECT_EQ(sorted.count(), 6u);
    std::vector<Section *> order;
    sorted.each([&](Section &section) {
        order.push_back(&section);
        return true;
    });
    EXPECT_EQ(order, (std::vector<Section *>{s[2].get(), s[4].get(), s[0].get(), s[3].get(),
                                             s[5].get(), s[1].get()}));

    // Later walks visit the kept array without asking the source again.
    int walksBefore = source.walks;
    EXPECT_EQ(names(sorted), ".bss .comment .data .data .data .text");
    EXPECT_EQ(source.walks, walksBefore);
    int visits = 0;
    sorted.each([&](Section &) { return ++visits < 2; }); // a stop ends the walk
    EXPECT_EQ(visits, 2);

    // A collection whose count disagrees with its walk.
    class Inconsistent : public CountingCollection {
    public:
        uint32_t count() override { return 1; }
    } inconsistent;
    inconsistent.sections = {s[0].get(), s[1].get()};
    SortedSections broken(inconsistent);
    EXPECT_EXIT(broken.each([](Section &) { return true; }), testing::ExitedWithCode(3),
                "cnt == icnt");
}

TEST_F(SectionCollectionTest, SectionsOfTheRelocatableFilesOfAList) {
    file.addSection(".text");
    file.addSection(".data");
    FileName sharedName{"libc.so"}, otherName{"b.o"};
    TestObjectFile shared{sharedName}, other{otherName};
    shared.shared = true;
    shared.addSection(".dynsym");
    other.addSection(".bss");

    std::vector<ObjectFile *> files{&file, &shared, &other};
    ObjectFilesSections view(files);
    EXPECT_EQ(names(view), ".text .data .bss");
    EXPECT_EQ(view.count(), 3u);
    // A stop inside one file ends the whole walk.
    int visits = 0;
    view.each([&](Section &) { return ++visits < 1; });
    EXPECT_EQ(visits, 1);
    // The view holds the list, not a copy of it.
    files.pop_back();
    EXPECT_EQ(names(view), ".text .data");
}

TEST_F(SectionCollectionTest, ArrayFileAndMemberViews) {
    TestSection &text = file.addSection(".text");
    TestSection &data = file.addSection(".data");
    dynarray<Section *> array(1);
    for (Section *section : {&data, &text, &data})
        array.append(section);
    SectionArrayView arrayView(array);
    EXPECT_EQ(names(arrayView), ".data .text .data");
    EXPECT_EQ(arrayView.count(), 3u);
    // Sorting works over any view.
    SortedSections sorted(arrayView);
    EXPECT_EQ(names(sorted), ".data .data .text");

    ObjectFileSections fileView(file);
    EXPECT_EQ(names(fileView), ".text .data");
    EXPECT_EQ(fileView.count(), 2u);

    SectionMembers plainMembers(text);
    EXPECT_EQ(names(plainMembers), ".text");
    EXPECT_EQ(plainMembers.count(), 1u);
    TestCombinedSection combined(".text", 0);
    combined.appendSection(&text);
    combined.appendSection(&data);
    SectionMembers combinedMembers(combined);
    EXPECT_EQ(names(combinedMembers), ".text .data");
    EXPECT_EQ(combinedMembers.count(), 2u);
}

TEST_F(SectionCollectionTest, PublicListAndIdentitySets) {
    PublicList list;
    EXPECT_EQ(list.count(), 0u);
    std::string text = "_start";
    list.add(text.c_str(), 0x1000);
    list.add("main", 0x1040);
    text = "changed"; // the list keeps its own copy
    EXPECT_EQ(list.count(), 2u);
    EXPECT_EQ(std::string(list.nameAt(0)) + " " + list.nameAt(1), "_start main");
    EXPECT_EQ(list.valueAt(0), 0x1000u);
    EXPECT_EQ(list.valueAt(1), 0x1040u);

    TestSection &a = file.addSection(".same");
    TestSection &b = file.addSection(".same");
    std::unordered_set<Collectable *, CollectableHash, CollectableEqual> set;
    EXPECT_TRUE(set.insert(&a).second);
    EXPECT_TRUE(set.insert(&b).second); // equal names, different objects
    EXPECT_FALSE(set.insert(&a).second);
    EXPECT_TRUE(set.insert(&file.addSymbol("s")).second);
    EXPECT_TRUE(set.insert(&file).second);
    EXPECT_EQ(set.size(), 4u);
    EXPECT_TRUE(a.isEqual(a));
    EXPECT_FALSE(a.isEqual(b));
    EXPECT_EQ(a.compareTo(a), 0);
    EXPECT_NE(a.compareTo(b), 0);
    EXPECT_EQ(a.compareTo(b), -b.compareTo(a));
}

} // namespace
