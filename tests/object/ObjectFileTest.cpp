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

TEST_F(ObjectFileTest, FindSectionAndSymbol) {
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

    // findSymbol: the first global of the name.
    file.addSymbol("f", 1); // local
    TestSymbol &first = file.addSymbol("f", 2, &text);
    first.global = true;
    file.addSymbol("f", 3).global = true;
    EXPECT_EQ(file.findSymbol("f"), &first);
    EXPECT_EQ(file.findSymbol("g"), nullptr);
}

TEST_F(ObjectFileTest, CountsAndGlobalSymbols) {
    EXPECT_EQ(file.sectionCount(), 0u);
    TestSection &a = file.addSection(".a");
    TestSection &b = file.addSection(".b");
    file.addSection(".strtab").content = false; // passed over by eachSection
    EXPECT_EQ(file.sectionCount(), 2u);

    file.addSymbol("local");
    file.addSymbol("global").global = true;
    file.addSymbol("weak").weak = true;
    std::string seen;
    file.eachGlobalSymbol([&](Symbol &symbol) {
        seen += symbol.name();
        return true;
    });
    EXPECT_EQ(seen, "globalweak");
    // A stop in the visitor ends the walk.
    seen.clear();
    file.eachGlobalSymbol([&](Symbol &symbol) {
        seen += symbol.name();
        return false;
    });
    EXPECT_EQ(seen, "global");

    // adjustSectionSizes asks every section.
    EXPECT_FALSE(file.adjustSectionSizes());
    a.sizeChanges = true;
    EXPECT_TRUE(file.adjustSectionSizes());
    a.sizeChanges = false;
    b.sizeChanges = true;
    EXPECT_TRUE(file.adjustSectionSizes());

    // Without relocations no section refers to anything, discarded or not.
    a.discard();
    int visits = 0;
    file.eachReferencedSymbol([&](Symbol &) { return ++visits, true; });
    EXPECT_EQ(visits, 0);
}

TEST_F(ObjectFileTest, SectionContaining) {
    TestSection &low = file.addSection(".low", 0x100);
    low.recordedAddress = 0x1000;
    TestSection &high = file.addSection(".high", 0x10);
    high.recordedAddress = 0x2000;
    TestSection &top = file.addSection(".top", 0x20);
    top.recordedAddress = 0xFFFFFFF0;

    struct Case {
        uint32_t address;
        Section *expected;
        uint32_t offset;
    } cases[] = {
        {0x1000, &low, 0},
        {0x10FF, &low, 0xFF},
        {0x2008, &high, 8},
        {0x1100, nullptr, 99},
        {0x0FFF, nullptr, 99},
        // The start is compared signed: a section high up holds an address
        // at the top of the space.
        {0xFFFFFFF4, &top, 4},
    };
    for (const Case &c : cases) {
        uint32_t offset = 99;
        EXPECT_EQ(file.sectionContaining(c.address, offset), c.expected) << c.address;
        EXPECT_EQ(offset, c.offset) << c.address;
    }
}

TEST_F(ObjectFileTest, BaseAnswers) {
    ObjectFile &base = file;
    EXPECT_STREQ(base.name(), "a.o");
    base.reservedOperation1();
    base.reservedOperation4();
    // machine, coffMachine, bsdMachine, entry, reservedOperation2 and 3.
    EXPECT_EQ(
        (std::vector<uint32_t>{base.machine(), base.coffMachine(), base.bsdMachine(), base.entry(),
                               base.reservedOperation2(), base.reservedOperation3()}),
        (std::vector<uint32_t>(6, 0)));
    EXPECT_EQ((std::vector<const void *>{base.asElfObjectFile(), base.asBsdObjectFile(),
                                         base.asCoffObjectFile(), base.asArmObjectFile(),
                                         base.gotTable(), base.pltTable()}),
              (std::vector<const void *>(6, nullptr)));

    // A plain object file is relocatable, and neither executable, shared
    // nor reentrant.
    EXPECT_EQ(
        answers({base.ObjectFile::isRelocatable(), base.isExecutable(),
                 base.ObjectFile::isSharedObject(), base.isReentrant(), base.reservedPredicate()}),
        "10001");

    // The name of a member is the member's own text.
    FileName library{"lib.a"};
    ArchiveMemberName member{&library, "x.o", 68, 100};
    TestObjectFile inLibrary{member};
    EXPECT_STREQ(inLibrary.name(), "x.o");
    EXPECT_EQ(inLibrary.fileName, &member);
}

TEST_F(ObjectFileTest, Display) {
    Captured empty;
    file.display(empty.out);
    EXPECT_EQ(empty.text(), "Display of ELF object file \"a.o\"\n\nSymbols:\n\nSections:\n");

    class WithHeader : public TestObjectFile {
    public:
        using TestObjectFile::TestObjectFile;
        void displayHeader(FormatOut &out) override { out.print("machine 40\n"); }
    } coffFile(name);
    coffFile.kind = coffFormat;
    TestSection &text = coffFile.addSection(".text", 8);
    text.executable = true;
    coffFile.addSymbol("main", 4, &text).global = true;
    Captured captured;
    coffFile.display(captured.out);
    EXPECT_EQ(captured.text(), "Display of COFF object file \"a.o\"\n"
                               "machine 40\n"
                               "\nSymbols:\n"
                               "main\t=0x4 in .text global\n"
                               "\nSections:\n"
                               "Section .text: size=0x8, type=text, address=0x0\n"
                               "8 bytes of data should be displayed here\n");
}

TEST_F(ObjectFileTest, UnsupportedOperations) {
    file.kind = bsdFormat;
    EXPECT_EXIT(file.elfHeader(), testing::ExitedWithCode(3),
                "Fatal error --- Attempting to extract a elf header from a BSD file `a\\.o'");
    EXPECT_EXIT(file.elfFlags(), testing::ExitedWithCode(3), "Attempting to extract a elf header");
    EXPECT_EXIT(file.coffHeader(), testing::ExitedWithCode(3),
                "Fatal error --- Attempting to extract a coff header from a BSD file `a\\.o'");
    file.kind = elfFormat;
    EXPECT_EXIT(file.bsdHeader(), testing::ExitedWithCode(3),
                "Fatal error --- Attempting to extract a a\\.out header from a ELF file `a\\.o'");
    TestSymbol symbol(&file, "extra");
    EXPECT_EXIT(static_cast<ObjectFile &>(file).addSymbol(&symbol), testing::ExitedWithCode(3),
                "Fatal error --- ObjectFile::addSymbol\\(extra\\) called!");

    // setEntry and persistence only say so, and the run goes on.
    testing::internal::CaptureStderr();
    file.setEntry(0x1000);
    file.saveGuts(stdout);
    file.restoreGuts(stdin);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ObjectFile::setEntry call!\n"
              "Hey! don't know how to save guts of ObjectFile\n"
              "Hey! don't know how to restore guts of ObjectFile\n");
    EXPECT_EQ(file.entry(), 0u);
}

TEST_F(ObjectFileTest, DirectivesAreSplitIntoWords) {
    file.beforeDirectives = {"-first  'two words'"};
    file.directives = {"  -a\t-b \"quoted \\\" mark\" '' last", "", "\"unterminated"};
    TestLinkOptions options;
    Captured captured;
    file.applyBeforeDirectives(options, captured.errors);
    EXPECT_EQ(options.words, (std::vector<std::string>{"a.o:-first", "a.o:two words"}));
    options.words.clear();
    file.applyDirectives(options, captured.errors);
    EXPECT_EQ(options.words, (std::vector<std::string>{"a.o:-a", "a.o:-b", "a.o:quoted \\\" mark",
                                                       "a.o:last", "a.o:unterminated"}));
    EXPECT_EQ(captured.text(), "");
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
    // One shared object, refilled (flags cleared) by each call.
    reason->setPossibly(true);
    reason->setByteOrder(true);
    other.compatible = false;
    EXPECT_EQ(other.incompatibility(file), reason);
    EXPECT_EQ(reason->firstName(), &otherName);
    EXPECT_FALSE(reason->possibly());
    EXPECT_FALSE(reason->byteOrder());

    ErrFormat engine;
    char buffer[400];
    StringFormatOut out(buffer, sizeof buffer, true, engine);
    IncompatibilityReason own;
    auto printed = [&](const char *text, bool possibly) {
        own.fill(&name, &otherName, text);
        own.setPossibly(possibly);
        own.print(out);
        return std::string(buffer);
    };
    const std::string both = "Object files a.o and b.o";
    EXPECT_EQ(printed(nullptr, false), both + " are not compatible");
    EXPECT_EQ(printed("", true), both + " are not compatible");
    EXPECT_EQ(printed("byte orders differ", false),
              both + "\n|\tare incompatible: byte orders differ");
    EXPECT_EQ(printed("byte orders differ", true),
              both + "\n|\tare possibly incompatible: byte orders differ");
    // The text is rendered into 200 bytes: a longer one is cut.
    EXPECT_EQ(printed(std::string(300, 'x').c_str(), false),
              both + "\n|\tare incompatible: " + std::string(199, 'x'));
}

} // namespace
