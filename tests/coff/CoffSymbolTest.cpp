// The answers of COFF symbols and of the COFF object file: each symbol kind
// as one row of every answer the listing asks, then the answers that serve
// linking, then the format-level answers of the object file by magic.

#include "coff/CoffSymbol.h"
#include "CoffTestSupport.h"
#include "coff/CoffSection.h"
#include "coff/CoffUtil.h"
#include "input/FileIdentity.h"
#include "kit/CoffBuilder.h"

#include <gtest/gtest.h>

namespace {

const uint8_t ext = coffClassExternal;
const uint8_t stat = coffClassStatic;
const uint16_t functionType = 0x20;

// One file with every kind of symbol, in either byte order.  The auxiliary
// entries hold a size of 0x77 at offset 6 and a first word of 0x55, so an
// answer shows which of them it read.
std::vector<uint8_t> everyKind(ByteOrder order) {
    return CoffBuilder(order)
        .section(".text", coffSectionText, bytes(32))
        .address(0x400)
        .section(".bss", coffSectionBss, {}, 64)
        .address(0x800)
        .symbol("common", 8, 0, ext)                        // 0
        .symbol("undefined", 0, 0, ext)                     // 1
        .symbol(".text", 0x400, 1, stat)                    // 2: section symbol
        .aux(0x20, {3, 2})                                  //
        .symbol(".text2", 0x400, 1, stat)                   // 4: two auxiliaries
        .aux(0x20, {0, 0})                                  //
        .aux(0x99, {})                                      //
        .symbol("debug", 5, -2, coffClassLabel)             // 7
        .symbol("function", 0x410, 1, stat, functionType)   // 8
        .aux(0x55, {0, 0x77})                               //
        .symbol("source.c", 0, -2, coffClassFile)           // 10
        .aux(std::vector<uint8_t>(18, 'x'))                 //
        .symbol("absolute", 0x1006, -1, stat)               // 12
        .symbol("exported", 0x804, 2, coffClassExternalDef) // 13
        .symbol("label", 0x408, 1, coffClassLabel)          // 14
        .symbol("argument", 12, 0, coffClassArgument)       // 15
        .symbol("block", 0x400, 1, coffClassBlock)          // 16
        .aux(0x55, {0, 0x77})                               //
        .symbol("global_fn", 0x404, 1, ext, functionType)   // 18
        .aux(0x55, {0, 0x77})
        .build();
}

TEST(CoffSymbol, EveryKindAnswersAsTheListingAsks) {
    struct Row {
        uint32_t index;
        const char *name;
        uint32_t value, size, alignment;
        bool global, undefined, common, absolute, sectionSymbol;
        const char *section; // "" for none
        SymbolType type;
    };
    const Row rows[] = {
        {0, "common", 0, 8, 8, true, false, true, false, false, "", SymbolType::data},
        {1, "undefined", 0, 0, 1, true, true, false, false, false, "", SymbolType::data},
        {2, ".text", 0, 0x20, 8, false, false, false, false, true, ".text", SymbolType::section},
        {4, ".text2", 0, 0x20, 8, false, false, false, false, false, ".text", SymbolType::data},
        {7, "debug", 5, 0, 1, false, false, false, false, false, "", SymbolType::function},
        {8, "function", 0x10, 0x77, 8, false, false, false, false, false, ".text",
         SymbolType::function},
        {10, "source.c", 0, 0, 1, false, false, false, false, false, "", SymbolType::file},
        {12, "absolute", 0x1006, 0, 1, false, false, false, true, false, "", SymbolType::data},
        {13, "exported", 4, 0, 1, true, false, false, false, false, ".bss", SymbolType::data},
        {14, "label", 8, 0, 1, false, false, false, false, false, ".text", SymbolType::function},
        {15, "argument", 12, 0, 1, false, false, false, false, false, "", SymbolType::data},
        {16, "block", 0, 0x77, 8, false, false, false, false, false, ".text", SymbolType::none},
        {18, "global_fn", 4, 0x77, 8, true, false, false, false, false, ".text",
         SymbolType::function},
    };
    for (ByteOrder order : {LittleEndian, BigEndian}) {
        Reports reports;
        LoadedCoff coff = loadCoff(everyKind(order), reports);
        ASSERT_TRUE(reports.lines.empty());
        for (const Row &r : rows) {
            Symbol *s = coff->symbolAt(r.index);
            ASSERT_NE(s, nullptr) << r.name;
            EXPECT_STREQ(s->name(), r.name);
            EXPECT_EQ(s->value(), r.value) << r.name;
            EXPECT_EQ(s->size(), r.size) << r.name;
            EXPECT_EQ(s->alignment(), r.alignment) << r.name;
            EXPECT_EQ(s->isGlobal(), r.global) << r.name;
            EXPECT_EQ(s->binding(), r.global ? SymbolBinding::global : SymbolBinding::local);
            EXPECT_EQ(s->isUndefined(), r.undefined) << r.name;
            EXPECT_EQ(s->isCommon(), r.common) << r.name;
            EXPECT_FALSE(s->isSmallCommon());
            EXPECT_EQ(s->isAbsolute(), r.absolute) << r.name;
            EXPECT_EQ(s->isSectionSymbol(), r.sectionSymbol) << r.name;
            EXPECT_STREQ(s->section() ? s->section()->name() : "", r.section) << r.name;
            EXPECT_EQ(s->type(), r.type) << r.name;
            EXPECT_EQ(s->other(), 0u);
            EXPECT_EQ(s->index(), r.index);
            EXPECT_EQ(s->objectFile(), coff.object.get());
            EXPECT_EQ(s->originalObjectFile(), coff.object.get());
        }
    }
}

TEST(CoffSymbol, AlignmentFollowsTheSize) {
    const uint32_t sizes[] = {0, 1, 2, 3, 4, 7, 8, 1000};
    const uint32_t expected[] = {1, 1, 2, 2, 4, 4, 8, 8};
    CoffBuilder b;
    for (uint32_t size : sizes)
        b.symbol("c", size, 0, ext);
    Reports reports;
    LoadedCoff coff = loadCoff(b.build(), reports);
    for (uint32_t i = 0; i < 8; ++i)
        EXPECT_EQ(coff->symbolAt(i)->alignment(), expected[i]) << sizes[i];
}

TEST(CoffSymbol, OriginalValuesAndRawEntries) {
    Reports reports;
    LoadedCoff coff = loadCoff(everyKind(BigEndian), reports);
    EXPECT_EQ(coff->symbolAt(8)->originalValue(), 0x410u);   // section + value
    EXPECT_EQ(coff->symbolAt(0)->originalValue(), 0u);       // no section
    EXPECT_EQ(coff->symbolAt(12)->originalValue(), 0x1006u); // absolute
    EXPECT_EQ(coff->symbolAt(7)->originalValue(), 5u);       // debug
    // The input address stays when the section moves.
    coff->inputSectionAt(1)->setAddress(0x9000);
    EXPECT_EQ(coff->symbolAt(8)->originalValue(), 0x410u);
    EXPECT_EQ(coff->symbolAt(8)->address(), 0x9010u);

    // The raw entries, and the auxiliaries behind each.
    Symbol *twoAux = coff->symbolAt(4);
    EXPECT_EQ(twoAux->coffSymbol(), coff->syment(4));
    EXPECT_EQ(twoAux->coffAuxiliary(0), coff->auxent(5));
    EXPECT_EQ(twoAux->coffAuxiliary(1), coff->auxent(6));
    EXPECT_EQ(twoAux->coffAuxiliary(2), nullptr);
    EXPECT_EQ(coff->symbolAt(0)->coffAuxiliary(0), nullptr);
    // Only the first auxiliary entry of a symbol is turned into host order.
    EXPECT_EQ(CoffUtil::get32(twoAux->coffAuxiliary(0)), 0x20u);
    EXPECT_EQ(CoffUtil::get32(twoAux->coffAuxiliary(1)), 0x99000000u);
    // A file name's auxiliary entry is text and stays as it is.
    EXPECT_EQ(CoffUtil::get32(coff->symbolAt(10)->coffAuxiliary(0)), 0x78787878u);

    Symbol *label = coff->symbolAt(14);
    label->setValue(0x30);
    EXPECT_EQ(label->value(), 0x30u);
    EXPECT_EQ(coff->syment(14)->value, 0x30u);
}

TEST(CoffObjectFile, AnswersByMagic) {
    struct Row {
        uint16_t magic;
        uint32_t machine, bsdMachine;
        bool littleEndian;
    };
    const Row rows[] = {
        {0x88, 4, 2, false}, {0x89, 0, 2, false}, {0x150, 4, 0, false}, {0x148, 3, 0, false},
        {0x14C, 3, 0, true}, {0x14A, 0, 0, true}, {0x152, 0, 0, true},  {0x178, 0, 0, true},
        {0x17B, 0, 0, true}, {0x17D, 0, 0, true}, {0x17A, 0, 0, false}, {0x166, 0, 0, false},
    };
    for (const Row &r : rows) {
        // The byte order of the file says nothing of the processor's.
        Reports reports;
        LoadedCoff coff = loadCoff(CoffBuilder(BigEndian, r.magic).build(), reports);
        EXPECT_EQ(coff->machine(), r.machine) << r.magic;
        EXPECT_EQ(coff->bsdMachine(), r.bsdMachine) << r.magic;
        EXPECT_EQ(coff->isLittleEndian(), r.littleEndian) << r.magic;
        EXPECT_EQ(coff->coffMachine(), r.magic);
        EXPECT_EQ(coff->coffHeader(), &coff->header);
        EXPECT_EQ(coff->formatKind(), coffFormat);
    }
}

TEST(CoffObjectFile, FixedAnswersAndCompatibility) {
    Reports reports;
    LoadedCoff i386 = loadCoff(CoffBuilder()
                                   .section(".a", coffSectionText, bytes(4))
                                   .section(".two", coffSectionData, bytes(4))
                                   .section(".three", coffSectionData, bytes(4))
                                   .build(),
                               reports);
    LoadedCoff other = loadCoff(CoffBuilder(BigEndian, 0x150).build(), reports);
    LoadedCoff same = loadCoff(CoffBuilder(BigEndian, coffMagicI386).build(), reports);
    EXPECT_TRUE(i386->isCompatibleWith(*same.object));
    EXPECT_FALSE(i386->isCompatibleWith(*other.object));
    EXPECT_TRUE(i386->isRelocatable());
    EXPECT_FALSE(i386->isExecutable());
    EXPECT_FALSE(i386->isSharedObject());
    EXPECT_FALSE(i386->isReentrant());
    EXPECT_EQ(i386->asCoffObjectFile(), i386.object.get());
    EXPECT_EQ(i386->asElfObjectFile(), nullptr);
    EXPECT_EQ(i386->sectionAt(0), nullptr);
    EXPECT_EQ(i386->sectionAt(4), nullptr);
    EXPECT_EQ(i386->sectionAt(-1), nullptr);
    EXPECT_STREQ(i386->sectionAt(1)->name(), ".a");

    // The walk passes over an empty entry and ends when its visitor says so.
    i386->sections[1].reset();
    std::string seen;
    i386->eachSection([&](Section &s) { return seen += s.name(), true; });
    EXPECT_EQ(seen, ".a.three");
    EXPECT_EQ(i386->sectionCount(), 3u); // the header's count
    seen.clear();
    i386->eachSection([&](Section &s) { return seen += s.name(), false; });
    EXPECT_EQ(seen, ".a");
}

} // namespace
