// Symbol's base behaviour: resolution chains, the derived predicates, the
// relocation section lookup, display, the unsupported setters; and
// SymbolDelegate, SymbolCollection and SymbolArray.
#include "ObjectTestKit.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

class SymbolTest : public testing::Test {
protected:
    FileName name{"a.o"};
    TestObjectFile file{name};
};

TEST_F(SymbolTest, ResolutionFollowsOnlySymbolsThatNeedIt) {
    TestSymbol &definition = file.addSymbol("d", 0x10);
    definition.global = true;
    TestSymbol &common = file.addSymbol("c");
    common.common = true;
    // Nobody resolved it: its own resolution, whatever commons count for.
    EXPECT_EQ(common.link, &common);
    EXPECT_EQ(common.resolved(true), &common);
    EXPECT_EQ(common.resolved(false), &common);
    common.link = &definition;
    EXPECT_EQ(common.resolved(true), &common);
    EXPECT_EQ(common.resolved(false), &definition);

    TestSymbol &undefined = file.addSymbol("u");
    undefined.undefined = undefined.global = true;
    undefined.link = &common;
    // Through the common symbol when commons do not count, to it when they do.
    EXPECT_EQ(undefined.resolved(false), &definition);
    EXPECT_EQ(undefined.resolved(true), &common);

    // A weak symbol follows a strong link, not a weak one.
    TestSymbol &weak = file.addSymbol("w", 4);
    weak.weak = true;
    weak.link = &definition;
    EXPECT_EQ(weak.resolved(true), &definition);
    TestSymbol &otherWeak = file.addSymbol("w2", 8);
    otherWeak.weak = true;
    weak.link = &otherWeak;
    EXPECT_EQ(weak.resolved(true), &weak);

    TestSymbol &defined = file.addSymbol("x", 1);
    defined.global = true;
    defined.link = &definition;
    EXPECT_EQ(defined.resolved(false), &defined);

    // A damaged chain that loops ends somewhere on the loop.
    TestSymbol &a = file.addSymbol("a"), &b = file.addSymbol("b");
    a.undefined = b.undefined = true;
    a.link = &b;
    b.link = &a;
    Symbol *end = a.resolved(true);
    EXPECT_TRUE(end == &a || end == &b);
}

// A symbol that preempts a shared definition: the one step beyond it.
class PreemptingSymbol : public TestSymbol {
public:
    using TestSymbol::TestSymbol;
    bool preemptsSharedDefinition() override { return true; }
};

TEST_F(SymbolTest, SharedDefinitionYieldsToAPreemptingLink) {
    FileName sharedName{"libx.so"};
    TestObjectFile shared{sharedName};
    shared.shared = true;
    TestSymbol &inShared = shared.addSymbol("f", 0x100);
    inShared.global = true;
    EXPECT_FALSE(inShared.hasLinkAddress());
    EXPECT_TRUE(inShared.isDefinedInSharedObject());
    PreemptingSymbol preempting(&file, "f", 0x20);
    inShared.link = &preempting;

    TestSymbol &reference = file.addSymbol("f");
    reference.undefined = reference.global = true;
    reference.link = &inShared;
    EXPECT_EQ(reference.resolved(true), &preempting);
    EXPECT_EQ(inShared.resolved(true), &inShared); // followed no chain
    TestSymbol plain(&file, "f", 0x20);
    inShared.link = &plain;
    EXPECT_EQ(reference.resolved(true), &inShared);
}

TEST_F(SymbolTest, DerivedPredicates) {
    TestSection &text = file.addSection(".text", 0x40);
    struct Case {
        const char *what;
        bool global, weak, undefined, common, withSection;
        bool definedOrWeak, absolute, definedGlobal;
        SymbolBinding binding; // of the base rule, which knows no weak
    };
    const SymbolBinding local = SymbolBinding::local, global = SymbolBinding::global;
    const Case cases[] = {
        {"undefined global", true, false, true, false, false, false, false, false, global},
        {"undefined weak", false, true, true, false, false, true, false, false, global},
        {"defined local, no section", false, false, false, false, false, true, true, false, local},
        {"defined global in section", true, false, false, false, true, true, false, true, global},
        {"common", true, false, false, true, false, true, true, true, global},
    };
    for (const Case &c : cases) {
        TestSymbol symbol(&file, "s", 0, c.withSection ? &text : nullptr);
        symbol.global = c.global;
        symbol.weak = c.weak;
        symbol.undefined = c.undefined;
        symbol.common = c.common;
        EXPECT_EQ(symbol.isDefinedOrWeak(), c.definedOrWeak) << c.what;
        EXPECT_EQ(symbol.isAbsolute(), c.absolute) << c.what;
        EXPECT_EQ(symbol.isDefinedGlobal(), c.definedGlobal) << c.what;
        EXPECT_EQ(symbol.hasLinkAddress(), c.definedOrWeak) << c.what;
        EXPECT_FALSE(symbol.isDefinedInSharedObject()) << c.what;
        EXPECT_EQ(symbol.Symbol::binding(), c.binding) << c.what;
        EXPECT_EQ(symbol.type(), SymbolType::none) << c.what;
    }
}

TEST_F(SymbolTest, AddressAndBaseAnswers) {
    TestSection &data = file.addSection(".data", 0x100);
    TestCombinedSection combined(".data", 0x8000);
    data.mapIntoCombinedSection(&combined, 0x20);
    TestSymbol inSection(&file, "d", 0x10, &data);
    TestSymbol symbol(&file, "a", 0x1234);
    EXPECT_EQ(inSection.address(), 0x8030u);
    EXPECT_EQ(symbol.address(), 0x1234u); // no section: the value
    EXPECT_EQ(inSection.originalValue(), 0x10u);

    // index, size, alignment, other, versionIndex.
    EXPECT_EQ((std::vector<uint32_t>{symbol.index(), symbol.size(), symbol.alignment(),
                                     symbol.other(), symbol.versionIndex()}),
              (std::vector<uint32_t>{0, 0, 1, 0, 0}));
    EXPECT_EQ(symbol.originalObjectFile(), &file);
    EXPECT_EQ(symbol.fileName(), &name);
    EXPECT_EQ((std::vector<const void *>{symbol.elfSymbol(), symbol.bsdSymbol(),
                                         symbol.coffSymbol(), symbol.coffAuxiliary(0)}),
              (std::vector<const void *>(4, nullptr)));
    // A class that keeps no marks counts as marked.
    symbol.setReferenced();
    symbol.setStrongReference();
    symbol.setIndex(0); // accepted and ignored
    EXPECT_EQ(answers({symbol.isSmallCommon(), symbol.isSectionSymbol(), symbol.isSpecial(),
                       symbol.isSymbolFlagA(), symbol.isSymbolFlagC(), symbol.symbolFlagE4(),
                       symbol.preemptsSharedDefinition(), symbol.isResolvedLocally(),
                       symbol.isImportStub(), symbol.isExportBinding(), symbol.isExportable(),
                       symbol.isMarked(), symbol.hasStrongReference(), symbol.isReferenced()}),
              "00000000001111");
}

class ComdatSection : public TestSection {
public:
    using TestSection::TestSection;
    bool isComdat() override { return true; }
};

TEST_F(SymbolTest, InComdatNeedsAGlobalSymbolInAComdatSection) {
    ComdatSection comdat(&file, ".text.f");
    TestSection &plain = file.addSection(".text");
    TestSymbol global(&file, "f", 0, &comdat), local(&file, "l", 0, &comdat);
    TestSymbol outside(&file, "g", 0, &plain), absolute(&file, "a", 0);
    global.global = outside.global = absolute.global = true;
    EXPECT_EQ(answers({global.isInComdat(), local.isInComdat(), outside.isInComdat(),
                       absolute.isInComdat()}),
              "1000");
}

TEST_F(SymbolTest, AliasesAndEquals) {
    TestSection &text = file.addSection(".text");
    TestSection &data = file.addSection(".data");
    TestSymbol f(&file, "f", 0x10, &text), g(&file, "g", 0x10, &text);
    TestSymbol h(&file, "f", 0x10, &data), sameName(&file, "f", 0x10, &text);
    FileName otherName{"b.o"};
    TestObjectFile other{otherName};
    TestSymbol elsewhere(&other, "f", 0x10, &text);

    EXPECT_EQ(answers({f.isAliasOf(f), f.isAliasOf(g), f.isAliasOf(h), f.isAliasOf(elsewhere)}),
              "1100");
    g.undefined = true;
    EXPECT_FALSE(f.isAliasOf(g));
    g.undefined = false;
    g.common = true;
    EXPECT_FALSE(f.isAliasOf(g));

    // g has another name, h another section, elsewhere another file.
    EXPECT_EQ(
        answers({f.equals(f), f.equals(sameName), f.equals(g), f.equals(h), f.equals(elsewhere)}),
        "11000");
    sameName.symbolValue = 0x14;
    EXPECT_FALSE(f.equals(sameName));
}

TEST_F(SymbolTest, NeedsDynamicEntry) {
    TestSection &text = file.addSection(".text");
    struct Case {
        const char *what;
        bool global, undefined, dynamicSymbols, undefinedToo, restricted, expected;
    };
    const Case cases[] = {
        {"exported definition", true, false, true, false, false, true},
        {"local", false, false, true, false, false, false},
        {"no dynamic symbols", true, false, false, false, false, false},
        {"restricted name", true, false, true, false, true, false},
        {"undefined, not wanted", true, true, true, false, false, false},
        {"undefined, wanted", true, true, true, true, false, true},
        // An undefined symbol has no link address: restriction does not apply.
        {"undefined, wanted, restricted", true, true, true, true, true, true},
    };
    for (const Case &c : cases) {
        TestSymbol symbol(&file, "f", 0, c.undefined ? nullptr : &text);
        symbol.global = c.global;
        symbol.undefined = c.undefined;
        TestLinkOptions options;
        options.dynamicSymbols = c.dynamicSymbols;
        options.undefinedDynamicSymbols = c.undefinedToo;
        if (c.restricted) options.restricted.push_back("f");
        EXPECT_EQ(symbol.needsDynamicEntry(options), c.expected) << c.what;
    }
    class Unexportable : public TestSymbol {
    public:
        using TestSymbol::TestSymbol;
        bool isExportable() override { return false; }
    } unexportable(&file, "f", 1, &text);
    unexportable.global = true;
    TestLinkOptions options;
    EXPECT_FALSE(unexportable.needsDynamicEntry(options));
}

TEST_F(SymbolTest, SectionForRelocation) {
    TestSection &text = file.addSection(".text");
    TestSection &data = file.addSection(".data");
    TestSection &bss = file.addSection(".bss");
    file.addSymbol("x", 0, &text); // local, first
    TestSymbol &commonX = file.addSymbol("x");
    commonX.common = commonX.global = true;
    file.addSymbol("x", 0, &data).global = true;

    // A local asks all symbols: the first "x" is the local one in .text.
    TestSymbol local(&file, "x", 0, &bss);
    EXPECT_EQ(local.sectionForRelocation(), &text);
    // A global asks the globals, passing the common one over.
    TestSymbol global(&file, "x", 0, &bss);
    global.global = true;
    EXPECT_EQ(global.sectionForRelocation(), &data);
    // No match (also with the same first character): its own section.
    TestSymbol lonely(&file, "y", 0, &bss), similar(&file, "xy", 0, &bss);
    EXPECT_EQ(lonely.sectionForRelocation(), &bss);
    EXPECT_EQ(similar.sectionForRelocation(), &bss);
}

TEST_F(SymbolTest, Display) {
    TestSection &text = file.addSection(".text");
    TestSymbol inText(&file, "main", 0x1c, &text), undefined(&file, "printf");
    TestSymbol common(&file, "buf", 0x40), local(&file, "tmp", 0xff);
    inText.global = undefined.global = common.global = true;
    undefined.undefined = common.common = true;
    Captured captured;
    for (Symbol *symbol : std::initializer_list<Symbol *>{&inText, &undefined, &common, &local})
        symbol->display(captured.out);
    EXPECT_EQ(captured.text(), "main\t=0x1c in .text global\n"
                               "printf\t=0x0 imported\n"
                               "buf\t=0x40 common\n"
                               "tmp\t=0xff local\n");
}

TEST_F(SymbolTest, UnsupportedSettersBotch) {
    TestSymbol symbol(&file, "s");
    EXPECT_EXIT(symbol.setIndex(5), testing::ExitedWithCode(3),
                "Fatal error --- Symbol::setIndex\\(5\\)");
    EXPECT_EXIT(symbol.setValue(1), testing::ExitedWithCode(3),
                "Fatal error --- Symbol::setValue not implemented");
    EXPECT_EXIT(symbol.setAssociatedSection(nullptr), testing::ExitedWithCode(3),
                "Fatal error --- Symbol::setAssociatedSection not implemented");
}

// Answers that differ from the base, and marks that show whether they reach
// it through a delegate.
class MarkedSymbol : public TestSymbol {
public:
    using TestSymbol::TestSymbol;
    uint32_t index() override { return 7; }
    uint32_t size() override { return 12; }
    uint32_t alignment() override { return 8; }
    uint32_t other() override { return 0xF0; }
    SymbolType type() override { return SymbolType::function; }
    bool isSpecial() override { return true; }
    bool isResolvedLocally() override { return true; }
    bool isReferenced() override { return referenced; }
    void setReferenced() override { referenced = true; }
    bool hasStrongReference() override { return strong; }
    void setStrongReference() override { strong = true; }
    uint32_t versionIndex() override { return 3; }
    bool referenced = false;
    bool strong = false;
};

TEST_F(SymbolTest, DelegateForwards) {
    TestSection &text = file.addSection(".text");
    MarkedSymbol target(&file, "f", 0x40, &text);
    target.weak = true;
    SymbolDelegate delegate(target);

    EXPECT_STREQ(delegate.name(), "f");
    EXPECT_EQ(delegate.delegateSymbol(), &target);
    EXPECT_EQ((std::vector<uint32_t>{delegate.index(), delegate.size(), delegate.alignment(),
                                     delegate.value(), delegate.other(), delegate.versionIndex()}),
              (std::vector<uint32_t>{7, 12, 8, 0x40, 0xF0, 3}));
    EXPECT_EQ(delegate.objectFile(), &file);
    EXPECT_EQ(delegate.section(), &text);
    EXPECT_EQ(delegate.binding(), SymbolBinding::weak);
    EXPECT_EQ(delegate.type(), SymbolType::function);
    // isSpecial is not forwarded: a delegate is never special.
    EXPECT_EQ(answers({delegate.isGlobal(), delegate.isResolvedLocally(),
                       delegate.isAliasOf(target), delegate.isSpecial(), delegate.isMarked()}),
              "11100");
    delegate.setReferenced();
    EXPECT_TRUE(target.referenced);
    EXPECT_TRUE(delegate.isMarked());
    delegate.setStrongReference();
    EXPECT_TRUE(target.strong);
    EXPECT_TRUE(delegate.hasStrongReference());
}

TEST_F(SymbolTest, CollectionsCountAndVisit) {
    TestSymbol &a = file.addSymbol("a"), &b = file.addSymbol("b"), &c = file.addSymbol("c");
    SymbolArray array;
    EXPECT_EQ(array.count(), 0u);
    for (int i = 0; i < 20; ++i) // beyond the first capacity
        array.append(i % 2 ? &a : &b);
    array.append(&c);
    EXPECT_EQ(array.count(), 21u);
    EXPECT_EQ(array.at(20), &c);
    std::string seen;
    array.each([&](Symbol &symbol) {
        seen += symbol.name();
        return seen.size() < 3;
    });
    EXPECT_EQ(seen, "bab");

    // A collection that does not override count is counted by one walk.
    struct Walked : SymbolCollection {
        SymbolArray *array = nullptr;
        int walks = 0;
        void each(SymbolVisitor visitor) override {
            ++walks;
            array->each(visitor);
        }
    } walked;
    walked.array = &array;
    EXPECT_EQ(walked.count(), 21u);
    EXPECT_EQ(walked.walks, 1);
    EXPECT_EQ(SymbolCollection().count(), 0u);

    array.clear();
    EXPECT_EQ(array.count(), 0u);
    EXPECT_STREQ(c.name(), "c"); // the array never owned it
}

} // namespace
