// The answers of a.out symbols, sections and object files to the questions
// of the object model, for files made with the kit.
#include "AoutTestSupport.h"
#include "aout/BsdUtil.h"
#include "input/FileIdentity.h"
#include "kit/AoutBuilder.h"
#include "kit/FakeObjectFile.h"

#include <gtest/gtest.h>

namespace {

// The answers of one symbol as one line.
std::string answers(Symbol &s) {
    char line[160];
    Section *section = s.section();
    snprintf(line, sizeof line, "g%d u%d c%d a%d size=%u align=%u value=%x type=%d %s",
             s.isGlobal(), s.isUndefined(), s.isCommon(), s.isAbsolute(), s.size(), s.alignment(),
             s.value(), int(s.type()), section ? section->name() : "-");
    return line;
}

TEST(AoutSymbol, AnswersByType) {
    struct Row {
        uint8_t type;
        uint32_t value; // as in the file: text 16 bytes, data 8
        const char *answers;
    };
    const Row table[] = {
        {N_UNDF | N_EXT, 8, "g1 u0 c1 a0 size=8 align=8 value=8 type=0 -"},
        {N_UNDF | N_EXT, 7, "g1 u0 c1 a0 size=7 align=4 value=7 type=0 -"},
        {N_UNDF | N_EXT, 3, "g1 u0 c1 a0 size=3 align=2 value=3 type=0 -"},
        {N_UNDF | N_EXT, 2, "g1 u0 c1 a0 size=2 align=2 value=2 type=0 -"},
        {N_UNDF | N_EXT, 1, "g1 u0 c1 a0 size=1 align=1 value=1 type=0 -"},
        {N_UNDF | N_EXT, 0, "g1 u1 c0 a0 size=0 align=1 value=0 type=0 -"},
        // A local undefined entry is neither undefined nor common.
        {N_UNDF, 5, "g0 u0 c0 a0 size=0 align=1 value=5 type=0 -"},
        {N_ABS, 0x40, "g0 u0 c0 a1 size=0 align=1 value=40 type=0 -"},
        {N_ABS | N_EXT, 0x40, "g1 u0 c0 a1 size=0 align=1 value=40 type=0 -"},
        {N_TEXT | N_EXT, 4, "g1 u0 c0 a0 size=0 align=1 value=4 type=2 .text"},
        {N_TEXT, 4, "g0 u0 c0 a0 size=0 align=1 value=4 type=2 .text"},
        {N_DATA | N_EXT, 20, "g1 u0 c0 a0 size=0 align=1 value=4 type=1 .data"},
        {N_BSS, 28, "g0 u0 c0 a0 size=0 align=1 value=4 type=1 .bss"},
        // Debugging entries: the masks take their low bits as they are.
        {N_FUN, 4, "g0 u0 c0 a0 size=0 align=1 value=4 type=2 .text"},
        {0x21, 9, "g1 u0 c1 a0 size=9 align=8 value=9 type=0 -"},
        {0x1E, 9, "g0 u0 c0 a0 size=0 align=1 value=9 type=0 -"},
    };
    for (const Row &row : table) {
        AoutBuilder b;
        b.text(bytes(16)).data(bytes(8)).bss(8).symbol("s", row.type, row.value, 0xF0, 7);
        AoutReports reports;
        auto object = readAout(b.build(), reports);
        Symbol &s = *object->symbolAt(0);
        EXPECT_EQ(answers(s), row.answers) << int(row.type) << " " << row.value;
        // The copied entry, with its value made relative.
        const BsdNlist &entry = *s.bsdSymbol();
        EXPECT_EQ(entry.type, row.type);
        EXPECT_EQ(entry.desc, 7);
        EXPECT_EQ(entry.other, 0xF0);
        EXPECT_EQ(entry.value, s.value());
        EXPECT_EQ(s.originalValue(), s.value());
        EXPECT_EQ(s.other(), 0u);
        EXPECT_FALSE(s.isSmallCommon());
        EXPECT_EQ(s.objectFile(), object.get());
        EXPECT_EQ(s.binding(), s.isGlobal() ? SymbolBinding::global : SymbolBinding::local);
    }
}

std::string sectionAnswers(Section &s) {
    char line[160];
    snprintf(line, sizeof line, "%s #%u size=%u file=%u align=%u x%d w%d b%d kind=%s", s.name(),
             s.index(), s.size(), s.fileSize(), s.alignment(), s.isExecutable(), s.isWritable(),
             s.isBss(), sectionTypeName(uint32_t(s.sectionType())));
    return line;
}

TEST(AoutSection, AnswersOfTheThreeSections) {
    std::vector<uint8_t> text = {1, 2, 3, 4, 5}, data = {9, 8, 7};
    AoutBuilder b;
    b.text(text).data(data).bss(64).symbol("d", N_DATA | N_EXT, 9).symbol("a", N_ABS, 3);
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    std::vector<std::string> seen;
    std::vector<std::vector<uint8_t>> chunks;
    object->eachSection([&](Section &s) {
        seen.push_back(sectionAnswers(s));
        EXPECT_EQ(s.objectFile(), object.get());
        EXPECT_EQ(s.asBsdSection(), &s);
        EXPECT_TRUE(s.isAllocated() && s.isLoadable() && s.isContentSection());
        EXPECT_FALSE(s.isNote() || s.isAbsolute());
        EXPECT_EQ(s.inputAddress(), 0u);
        EXPECT_EQ(s.fileOffset(), 0u);
        EXPECT_EQ(s.relocations(), nullptr);
        // The address is the section's own, 0 until set.
        EXPECT_EQ(s.address(), 0u);
        s.setAddress(0x1000 * (s.index() + 1));
        EXPECT_EQ(s.address(), 0x1000 * (s.index() + 1));
        EXPECT_TRUE(s.hasAddress());
        // One chunk each; the bss chunk is empty whatever its size.
        uint32_t calls = 0;
        s.eachRawDataChunk(
            [&](uint32_t offset, uint32_t size, uint8_t *bytes, RelocationsIterator *relocations) {
                ++calls;
                EXPECT_EQ(offset, 0u);
                EXPECT_NE(bytes, nullptr);
                EXPECT_EQ(relocations, nullptr);
                chunks.emplace_back(bytes, bytes + size);
                return true;
            });
        EXPECT_EQ(calls, 1u) << s.name();
        return true;
    });
    EXPECT_EQ(seen, (std::vector<std::string>{
                        ".text #0 size=5 file=5 align=4 x1 w0 b0 kind=text",
                        ".data #1 size=3 file=3 align=4 x0 w1 b0 kind=data",
                        ".bss #2 size=64 file=0 align=8 x0 w1 b1 kind=bss",
                    }));
    EXPECT_EQ(chunks, (std::vector<std::vector<uint8_t>>{text, data, {}}));
    // A symbol's address follows its section's; an absolute one's is its value.
    EXPECT_EQ(object->symbolAt(0)->address(), 0x2004u);
    EXPECT_EQ(object->symbolAt(1)->address(), 3u);
    EXPECT_TRUE(object->symbolAt(0)->hasLinkAddress());
}

TEST(AoutSection, AlignmentBySize) {
    // Unlike a symbol's, a size of 3 gives 4.
    const std::pair<uint32_t, uint32_t> table[] = {{0, 1}, {1, 1}, {2, 2},   {3, 4},
                                                   {7, 4}, {8, 8}, {1000, 8}};
    for (auto [size, alignment] : table) {
        AoutBuilder b;
        b.text(bytes(size)).bss(size);
        AoutReports reports;
        auto object = readAout(b.build(), reports);
        EXPECT_EQ(object->textSection()->alignment(), alignment) << size;
        EXPECT_EQ(object->bssSection()->alignment(), alignment) << size;
    }
}

TEST(AoutSection, BadSectionIdIsAFault) {
    AoutBuilder b;
    b.text(bytes(4));
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    auto file = aoutInput(b.build());
    EXPECT_DEATH(BsdSectionFromInput(*file, object.get(), bsdBssId, false, reports),
                 "Fatal error --- In test.o: section_id is bad\\(=2\\)!");
}

// An object file of the given machine byte, made without readBsdFile's
// check of the machine.
std::unique_ptr<BsdObjectFileInput> ofMachine(uint8_t machine) {
    AoutBuilder b;
    b.machine(machine).text(bytes(4));
    auto file = aoutInput(b.build());
    BsdExecHeader header{};
    bool swapped = false;
    readBsdHeader(*file, header, swapped);
    AoutReports reports;
    return std::make_unique<BsdObjectFileInput>(*file, header, swapped, reports);
}

TEST(AoutObjectFile, MachinesAndCompatibility) {
    const std::pair<uint8_t, uint32_t> elfMachines[] = {{0, 0}, {1, 4}, {2, 4}, {3, 2}, {9, 0}};
    for (auto [bsd, elf] : elfMachines) {
        auto object = ofMachine(bsd);
        EXPECT_EQ(object->machine(), elf) << int(bsd);
        EXPECT_EQ(object->bsdMachine(), bsd);
    }
    auto sparc = ofMachine(3), otherSparc = ofMachine(3), m68k = ofMachine(2);
    FakeObjectFile elf("elf.o");
    EXPECT_TRUE(sparc->isCompatibleWith(*otherSparc));
    EXPECT_FALSE(sparc->isCompatibleWith(*m68k));
    EXPECT_FALSE(sparc->isCompatibleWith(elf));
    EXPECT_EQ(sparc->incompatibility(*otherSparc), nullptr);
    EXPECT_NE(sparc->incompatibility(*m68k), nullptr);
}

TEST(AoutObjectFile, FixedAnswers) {
    for (ByteOrder order : {BigEndian, LittleEndian}) {
        AoutBuilder b(order);
        b.text(bytes(4)).entry(0x8000).symbol("g", N_TEXT | N_EXT, 0).symbol("l", N_TEXT, 1);
        AoutReports reports;
        auto object = readAout(b.build(), reports);
        EXPECT_EQ(object->formatKind(), bsdFormat);
        EXPECT_EQ(object->asBsdObjectFile(), object.get());
        EXPECT_TRUE(object->isRelocatable());
        EXPECT_FALSE(object->isExecutable() || object->isSharedObject() || object->isReentrant() ||
                     object->isLittleEndian());
        EXPECT_EQ(object->entry(), 0x8000u);
        EXPECT_EQ(object->findSection(".bss", SectionType::bss), object->bssSection());
        // The SymbolCollection side gives the same symbols as eachSymbol.
        SymbolCollection &collection = *object;
        std::vector<Symbol *> all, globals;
        collection.each([&](Symbol &s) { return all.push_back(&s), true; });
        object->eachGlobalSymbol([&](Symbol &s) { return globals.push_back(&s), true; });
        EXPECT_EQ(collection.count(), 2u);
        EXPECT_EQ(all, (std::vector<Symbol *>{object->symbolAt(0), object->symbolAt(1)}));
        EXPECT_EQ(globals, (std::vector<Symbol *>{object->symbolAt(0)}));
        // A walk ends when its visitor says so.
        uint32_t visits = 0;
        object->eachSymbol([&](Symbol &) { return ++visits, false; });
        object->eachSection([&](Section &) { return ++visits, false; });
        EXPECT_EQ(visits, 2u);
    }
}

} // namespace
