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
        if (!text.empty()) text += ' ';
        text += section.name();
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
    TestSection &data1 = file.addSection(".data");
    TestSection &text = file.addSection(".text");
    TestSection &bss = file.addSection(".bss");
    TestSection &data2 = file.addSection(".data");
    TestSection &comment = file.addSection(".comment");
    TestSection &data3 = file.addSection(".data");
    CountingCollection source;
    source.sections = {&data1, &text, &bss, &data2, &comment, &data3};

    SortedSections sorted(source);
    EXPECT_EQ(sorted.count(), 6u);
    std::vector<Section *> order;
    sorted.each([&](Section &section) {
        order.push_back(&section);
        return true;
    });
    EXPECT_EQ(order, (std::vector<Section *>{&bss, &comment, &data1, &data2, &data3, &text}));

    // Later walks visit the kept array without asking the source again.
    int walksBefore = source.walks;
    EXPECT_EQ(names(sorted), ".bss .comment .data .data .data .text");
    EXPECT_EQ(source.walks, walksBefore);
    // A stop ends the walk.
    int visits = 0;
    sorted.each([&](Section &) { return ++visits < 2; });
    EXPECT_EQ(visits, 2);
}

TEST_F(SectionCollectionTest, SortedViewOfAnEmptyCollectionAsksAgainLater) {
    CountingCollection source;
    SortedSections sorted(source);
    EXPECT_EQ(names(sorted), "");
    TestSection &b = file.addSection("b");
    TestSection &a = file.addSection("a");
    source.sections = {&b, &a};
    EXPECT_EQ(names(sorted), "a b");
}

TEST_F(SectionCollectionTest, SortedViewChecksTheCount) {
    // A collection whose count disagrees with its walk.
    class Inconsistent : public CountingCollection {
    public:
        uint32_t count() override { return 1; }
    } source;
    TestSection &a = file.addSection("a");
    TestSection &b = file.addSection("b");
    source.sections = {&a, &b};
    SortedSections sorted(source);
    EXPECT_EXIT(sorted.each([](Section &) { return true; }), testing::KilledBySignal(SIGABRT),
                "cnt == icnt");
}

TEST_F(SectionCollectionTest, SectionsOfTheRelocatableFilesOfAList) {
    file.addSection(".text");
    file.addSection(".data");
    FileName sharedName{"libc.so"};
    TestObjectFile shared{sharedName};
    shared.shared = true;
    shared.addSection(".dynsym");
    FileName otherName{"b.o"};
    TestObjectFile other{otherName};
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

    // Sorting works over any view.
    SortedSections sorted(arrayView);
    EXPECT_EQ(names(sorted), ".data .data .text");
}

TEST_F(SectionCollectionTest, PublicListCopiesNames) {
    PublicList list;
    EXPECT_EQ(list.count(), 0u);
    std::string name = "_start";
    list.add(name.c_str(), 0x1000);
    list.add("main", 0x1040);
    name = "changed";
    EXPECT_EQ(list.count(), 2u);
    EXPECT_STREQ(list.nameAt(0), "_start");
    EXPECT_EQ(list.valueAt(0), 0x1000u);
    EXPECT_STREQ(list.nameAt(1), "main");
    EXPECT_EQ(list.valueAt(1), 0x1040u);
}

TEST_F(SectionCollectionTest, IdentitySetsOfObjects) {
    TestSection &a = file.addSection(".same");
    TestSection &b = file.addSection(".same");
    TestSymbol &s = file.addSymbol("s");
    std::unordered_set<Collectable *, CollectableHash, CollectableEqual> set;
    EXPECT_TRUE(set.insert(&a).second);
    EXPECT_TRUE(set.insert(&b).second); // equal names, different objects
    EXPECT_FALSE(set.insert(&a).second);
    EXPECT_TRUE(set.insert(&s).second);
    EXPECT_TRUE(set.insert(&file).second);
    EXPECT_EQ(set.size(), 4u);

    EXPECT_TRUE(a.isEqual(a));
    EXPECT_FALSE(a.isEqual(b));
    EXPECT_EQ(a.compareTo(a), 0);
    EXPECT_EQ(a.compareTo(b), -b.compareTo(a));
    EXPECT_NE(a.compareTo(b), 0);
    EXPECT_EQ(a.hash(), a.hash());
}

} // namespace
