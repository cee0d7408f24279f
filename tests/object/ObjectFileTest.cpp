// ObjectFile's base behaviour: lookups, counts, display, header botches,
// directives, and IncompatibilityReason.
#include "ObjectTestKit.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

class ObjectFileTest : public testing::Test {
protected:
    FileName name{"a.o"};
    TestObjectFile file{name};
};

TEST_F(ObjectFileTest, FindSectionByNameAndKind) {
    TestSection &textData = file.addSection(".text");
    textData.writable = true; // a data section that happens to be called .text
    TestSection &text = file.addSection(".text");
    text.executable = true;
    TestSection &absolute = file.addSection(".abs");
    absolute.absolute = true;
    TestSection &absoluteData = file.addSection(".abs");
    absoluteData.writable = true;
    file.addSection(".t"); // same first character as .text

    EXPECT_EQ(file.findSection(".text", SectionType::null), &textData);
    EXPECT_EQ(file.findSection(".text", SectionType::text), &text);
    EXPECT_EQ(file.findSection(".text", SectionType::data), &textData);
    EXPECT_EQ(file.findSection(".text", SectionType::bss), nullptr);
    // Kind abs takes a section that is absolute, whatever its type.
    EXPECT_EQ(file.findSection(".abs", SectionType::abs), &absolute);
    EXPECT_EQ(file.findSection(".abs", SectionType::data), &absoluteData);
    EXPECT_EQ(file.findSection(".none", SectionType::null), nullptr);
    EXPECT_EQ(file.findSection("", SectionType::null), nullptr);
}

TEST_F(ObjectFileTest, CountsAndGlobalSymbols) {
    EXPECT_EQ(file.sectionCount(), 0u);
    file.addSection(".text");
    file.addSection(".data");
    file.addSection(".strtab").content = false; // passed over by eachSection
    EXPECT_EQ(file.sectionCount(), 2u);

    file.addSymbol("local");
    file.addSymbol("global").global = true;
    file.addSymbol("weak").weak = true;
    std::string seen;
    file.eachGlobalSymbol([&](Symbol &symbol) {
        seen += symbol.name();
        seen += ' ';
        return true;
    });
    EXPECT_EQ(seen, "global weak ");
    // A stop in the visitor ends the walk.
    seen.clear();
    file.eachGlobalSymbol([&](Symbol &symbol) {
        seen += symbol.name();
        return false;
    });
    EXPECT_EQ(seen, "global");
    EXPECT_EQ(file.count(), 3u);
}

TEST_F(ObjectFileTest, FindSymbolTakesTheFirstGlobal) {
    TestSection &text = file.addSection(".text");
    file.addSymbol("f", 1); // local
    TestSymbol &first = file.addSymbol("f", 2, &text);
    first.global = true;
    file.addSymbol("f", 3).global = true;
    EXPECT_EQ(file.findSymbol("f"), &first);
    EXPECT_EQ(file.findSymbol("g"), nullptr);
}

TEST_F(ObjectFileTest, SectionContaining) {
    TestSection &low = file.addSection(".low", 0x100);
    low.recordedAddress = 0x1000;
    TestSection &high = file.addSection(".high", 0x10);
    high.recordedAddress = 0x2000;
    TestSection &top = file.addSection(".top", 0x20);
    top.recordedAddress = 0xFFFFFFF0;

    uint32_t offset = 99;
    EXPECT_EQ(file.sectionContaining(0x1000, offset), &low);
    EXPECT_EQ(offset, 0u);
    EXPECT_EQ(file.sectionContaining(0x10FF, offset), &low);
    EXPECT_EQ(offset, 0xFFu);
    EXPECT_EQ(file.sectionContaining(0x2008, offset), &high);
    EXPECT_EQ(offset, 8u);
    offset = 99;
    EXPECT_EQ(file.sectionContaining(0x1100, offset), nullptr);
    EXPECT_EQ(file.sectionContaining(0x0FFF, offset), nullptr);
    EXPECT_EQ(offset, 99u);
    // The start is compared signed: a section high up holds an address at
    // the top of the space.
    EXPECT_EQ(file.sectionContaining(0xFFFFFFF4, offset), &top);
    EXPECT_EQ(offset, 4u);
}

TEST_F(ObjectFileTest, AdjustSectionSizesAsksEverySection) {
    TestSection &a = file.addSection(".a");
    TestSection &b = file.addSection(".b");
    EXPECT_FALSE(file.adjustSectionSizes());
    a.sizeChanges = true;
    EXPECT_TRUE(file.adjustSectionSizes());
    a.sizeChanges = false;
    b.sizeChanges = true;
    EXPECT_TRUE(file.adjustSectionSizes());
}

TEST_F(ObjectFileTest, BaseAnswers) {
    ObjectFile &base = file;
    EXPECT_STREQ(base.name(), "a.o");
    EXPECT_FALSE(base.isExecutable());
    EXPECT_FALSE(base.isReentrant());
    EXPECT_EQ(base.machine(), 0u);
    EXPECT_EQ(base.coffMachine(), 0u);
    EXPECT_EQ(base.bsdMachine(), 0u);
    EXPECT_EQ(base.entry(), 0u);
    EXPECT_TRUE(base.reservedPredicate());
    base.reservedOperation1();
    base.reservedOperation4();
    EXPECT_EQ(base.reservedOperation2(), 0u);
    EXPECT_EQ(base.reservedOperation3(), 0u);
    EXPECT_EQ(base.asElfObjectFile(), nullptr);
    EXPECT_EQ(base.asBsdObjectFile(), nullptr);
    EXPECT_EQ(base.asCoffObjectFile(), nullptr);
    EXPECT_EQ(base.asArmObjectFile(), nullptr);
    EXPECT_EQ(base.gotTable(), nullptr);
    EXPECT_EQ(base.pltTable(), nullptr);

    // A relocatable plain object file answers true.
    class Minimal : public TestObjectFile {
    public:
        using TestObjectFile::TestObjectFile;
        bool isRelocatable() override { return ObjectFile::isRelocatable(); }
        bool isSharedObject() override { return ObjectFile::isSharedObject(); }
    } minimal(name);
    EXPECT_TRUE(minimal.isRelocatable());
    EXPECT_FALSE(minimal.isSharedObject());
}

TEST_F(ObjectFileTest, NameOfAMemberIsTheMembersOwnText) {
    FileName library{"lib.a"};
    ArchiveMemberName member{&library, "x.o", 68, 100};
    TestObjectFile inLibrary{member};
    EXPECT_STREQ(inLibrary.name(), "x.o");
    EXPECT_EQ(inLibrary.fileName, &member);
}

TEST_F(ObjectFileTest, DisplayOfAnEmptyFile) {
    CapturedOutput captured;
    file.display(captured.out());
    EXPECT_EQ(captured.text(), "Display of ELF object file \"a.o\"\n"
                               "\nSymbols:\n"
                               "\nSections:\n");
}

TEST_F(ObjectFileTest, DisplayOfSymbolsAndSections) {
    class WithHeader : public TestObjectFile {
    public:
        using TestObjectFile::TestObjectFile;
        void displayHeader(FormatOut &out) override { out.print("machine 40\n"); }
    } armFile(name);
    armFile.kind = coffFormat;
    TestSection &text = armFile.addSection(".text", 8);
    text.executable = true;
    armFile.addSymbol("main", 4, &text).global = true;
    CapturedOutput captured;
    armFile.display(captured.out());
    EXPECT_EQ(captured.text(), "Display of COFF object file \"a.o\"\n"
                               "machine 40\n"
                               "\nSymbols:\n"
                               "main\t=0x4 in .text global\n"
                               "\nSections:\n"
                               "Section .text: size=0x8, type=text, address=0x0\n"
                               "8 bytes of data should be displayed here\n");
}

TEST_F(ObjectFileTest, HeadersOfAnotherFormatBotch) {
    file.kind = bsdFormat;
    EXPECT_EXIT(file.elfHeader(), testing::KilledBySignal(SIGABRT),
                "Fatal error --- Attempting to extract a elf header from a BSD file `a\\.o'");
    EXPECT_EXIT(file.elfFlags(), testing::KilledBySignal(SIGABRT),
                "Attempting to extract a elf header");
    EXPECT_EXIT(file.coffHeader(), testing::KilledBySignal(SIGABRT),
                "Fatal error --- Attempting to extract a coff header from a BSD file `a\\.o'");
    file.kind = elfFormat;
    EXPECT_EXIT(file.bsdHeader(), testing::KilledBySignal(SIGABRT),
                "Fatal error --- Attempting to extract a a\\.out header from a ELF file `a\\.o'");
}

TEST_F(ObjectFileTest, AddSymbolBotches) {
    TestSymbol symbol(&file, "extra");
    EXPECT_EXIT(static_cast<ObjectFile &>(file).addSymbol(&symbol),
                testing::KilledBySignal(SIGABRT),
                "Fatal error --- ObjectFile::addSymbol\\(extra\\) called!");
}

TEST_F(ObjectFileTest, SetEntryAndPersistenceOnlySaySo) {
    testing::internal::CaptureStderr();
    file.setEntry(0x1000);
    file.saveGuts(stdout);
    file.restoreGuts(stdin);
    std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said, "ObjectFile::setEntry call!\n"
                    "Hey! don't know how to save guts of ObjectFile\n"
                    "Hey! don't know how to restore guts of ObjectFile\n");
    EXPECT_EQ(file.entry(), 0u);
}

TEST_F(ObjectFileTest, DirectivesAreSplitIntoWords) {
    file.beforeDirectives = {"-first  'two words'"};
    file.directives = {"  -a\t-b \"quoted \\\" mark\" '' last", "", "\"unterminated"};
    TestLinkOptions options;
    CapturingErrorContext errors;
    file.applyBeforeDirectives(options, errors);
    EXPECT_EQ(options.words, (std::vector<std::string>{"a.o:-first", "a.o:two words"}));
    options.words.clear();
    file.applyDirectives(options, errors);
    EXPECT_EQ(options.words, (std::vector<std::string>{"a.o:-a", "a.o:-b", "a.o:quoted \\\" mark",
                                                       "a.o:last", "a.o:unterminated"}));
    EXPECT_TRUE(errors.reports.empty());
}

TEST_F(ObjectFileTest, ReferencedSymbolsSkipDiscardedSections) {
    // Without relocations no section refers to anything.
    file.addSection(".text");
    file.addSection(".gone").discard();
    int visits = 0;
    file.eachReferencedSymbol([&](Symbol &) { return ++visits, true; });
    EXPECT_EQ(visits, 0);
}

TEST_F(ObjectFileTest, Incompatibility) {
    FileName otherName{"b.o"};
    TestObjectFile other{otherName};
    EXPECT_EQ(file.incompatibility(other), nullptr);
    file.compatible = false;
    IncompatibilityReason *reason = file.incompatibility(other);
    ASSERT_NE(reason, nullptr);
    EXPECT_EQ(reason->firstName(), &name);
    EXPECT_EQ(reason->secondName(), &otherName);
    EXPECT_EQ(reason->text(), nullptr);
    EXPECT_FALSE(reason->possibly());
    EXPECT_FALSE(reason->byteOrder());
    // One shared object, refilled by each call.
    reason->setPossibly(true);
    EXPECT_EQ(other.incompatibility(file), nullptr);
    other.compatible = false;
    EXPECT_EQ(other.incompatibility(file), reason);
    EXPECT_EQ(reason->firstName(), &otherName);
    EXPECT_FALSE(reason->possibly());
}

TEST_F(ObjectFileTest, IncompatibilityReasonPrint) {
    FileName otherName{"b.o"};
    ErrFormat engine;
    char buffer[400];
    StringFormatOut out(buffer, sizeof buffer, true, engine);

    IncompatibilityReason reason;
    reason.fill(&name, &otherName, nullptr);
    reason.print(out);
    EXPECT_STREQ(buffer, "Object files a.o and b.o are not compatible");
    reason.fill(&name, &otherName, "");
    reason.print(out);
    EXPECT_STREQ(buffer, "Object files a.o and b.o are not compatible");

    reason.fill(&name, &otherName, "byte orders differ");
    reason.setByteOrder(true);
    reason.print(out);
    EXPECT_STREQ(buffer, "Object files a.o and b.o\n|\tare incompatible: byte orders differ");
    EXPECT_TRUE(reason.byteOrder());
    reason.setPossibly(true);
    reason.print(out);
    EXPECT_STREQ(buffer,
                 "Object files a.o and b.o\n|\tare possibly incompatible: byte orders differ");
    // Filling clears both flags.
    reason.fill(&name, &otherName, "x");
    EXPECT_FALSE(reason.possibly());
    EXPECT_FALSE(reason.byteOrder());

    // The text is rendered into 200 bytes: a longer one is cut.
    std::string longText(300, 'x');
    reason.fill(&name, &otherName, longText.c_str());
    reason.print(out);
    std::string printed = buffer;
    EXPECT_EQ(printed, "Object files a.o and b.o\n|\tare incompatible: " + std::string(199, 'x'));
}

} // namespace
