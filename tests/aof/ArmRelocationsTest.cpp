// The relocation tables of AOF areas: the code of each kind of record, the
// records of either byte order, what apply does with each code (the word
// routines and the ARM branch and based-offset rows), the ELF records of a
// mapped area, the dynamic-entry rule and the reports.
#include "AofTestSupport.h"

#include "aof/ArmRelocations.h"
#include "elf/ElfObjectFile.h"
#include "elf/ElfRecords.h"
#include "input/FileName.h"
#include "kit/RelocationChecks.h"
#include "object/ObjectTestKit.h"
#include "reloc/Args.h"

#include <string>
#include <vector>

namespace {

constexpr uint32_t FT1 = 1u << 24, FT2 = 2u << 24, FT3 = 3u << 24;
constexpr uint32_t R = aofRelocationRelative, A = aofRelocationSymbol, B = aofRelocationBased;

// Words as the file of `order` holds them.
std::vector<uint8_t> wordBytes(AofBuilder::Order order, std::initializer_list<uint32_t> words) {
    std::vector<uint8_t> bytes;
    for (uint32_t w : words)
        for (uint32_t i = 0; i < 4; ++i)
            bytes.push_back(uint8_t(w >> (order == AofBuilder::bigEndian ? 8 * (3 - i) : 8 * i)));
    return bytes;
}

uint32_t wordAt(AofBuilder::Order order, const uint8_t *bytes) {
    uint32_t w = 0;
    for (uint32_t i = 0; i < 4; ++i)
        w |= uint32_t(bytes[i]) << (order == AofBuilder::bigEndian ? 8 * (3 - i) : 8 * i);
    return w;
}

// A code area of six words with a record of every kind, a data area (its
// symbol "var" at offset 4) and a zero-initialised area; "ext" is undefined.
AofBuilder sampleFile(AofBuilder::Order order) {
    AofBuilder aof(order);
    aof.area("C$$code", AofBuilder::code | 2,
             wordBytes(order, {0, 0xC, 0x10, 0xEB000000, 0xE5100010, 0x11111111}),
             {
                 {0, FT2 | B | A | 1},  // set the word to var
                 {4, FT2 | A | 1},      // add var
                 {8, FT2 | 1},          // add the data area
                 {12, FT3 | R | A | 1}, // branch to var
                 {16, FT3 | B | 2},     // based offset to the zero-initialised area
                 {20, FT3},             // instruction, nothing to do
                 {20, FT1 | B | A | 1}, // no field
                 {0, FT2 | A | 0},      // undefined ext: no link address
                 {0, FT2 | 5},          // no area 5
                 {0, FT2 | A | 9},      // no symbol 9
                 {22, FT2 | B | A | 1}, // a word across the end
                 {24, 0},               // at the end
             });
    aof.area("C$$data", 2, wordBytes(order, {0, 0}));
    aof.zeroArea("C$$zi", AofBuilder::zeroInit, 4);
    aof.symbol("ext", 0x02, 0);
    aof.symbol("var", 0x03, 4, "C$$data");
    return aof;
}

std::string describe(RelocationsIterator &table) {
    std::string text;
    table.each([&](RelocationDescriptor &entry) {
        text += formatText("#%u @%x %s %x%s%s%s\n", entry.index(), entry.dataOffset(),
                           targetName(entry), entry.elfType(), entry.isPcRelative() ? " pc" : "",
                           entry.addend() != 0 ? " addend" : "", entry.typeName() ? " named" : "");
        return true;
    });
    return text;
}

} // namespace

TEST(ArmRelocationCode, FirstRuleThatFits) {
    const std::pair<uint32_t, uint32_t> cases[] = {
        {FT3 | R | B | A, 2},
        {FT3 | R, 2},
        {FT3 | B, 0x47},
        {FT3 | B | A, 0x47},
        {FT3, 0},
        {FT3 | A, 0},
        {FT2 | B, 1},
        {FT2 | R | B | A, 1},
        {FT2 | A, 0x45},
        {FT2 | R | A, 0x45},
        {FT2, 0x46},
        {FT2 | R | 7, 0x46},
        {R | B | A | 0x123, 0},
        {FT1 | B | A, 0},
        {0xE0000000 | FT2, 0x46},
    };
    for (auto [flags, code] : cases)
        EXPECT_EQ(aofRelocationCode(flags), code) << std::hex << flags;
}

TEST_F(AofTest, RelocationRecordsOfEitherOrder) {
    for (AofBuilder::Order order : bothOrders) {
        LoadedAof loaded = load(sampleFile(order).build());
        ASSERT_TRUE(loaded.object);
        RelocationsIterator *table = loaded.object->areaAt(0)->relocations();
        ASSERT_NE(table, nullptr);
        // Made once, on first demand.
        EXPECT_EQ(loaded.object->areaAt(0)->relocations(), table);
        EXPECT_EQ(describe(*table), "#0 @0 var 1\n"
                                    "#1 @4 var 45\n"
                                    "#2 @8 C$$data 46\n"
                                    "#3 @c var 2 pc\n"
                                    "#4 @10 C$$zi 47\n"
                                    "#5 @14 C$$code 0\n"
                                    "#6 @14 var 0\n"
                                    "#7 @0 ext 45\n"
                                    "#8 @0 - 46\n"
                                    "#9 @0 - 45\n"
                                    "#10 @16 var 1\n"
                                    "#11 @18 C$$code 0\n")
            << order;
        EXPECT_EQ(table->count(), 12u);
        // Areas without records, the zero-initialised one too, have an
        // empty table.
        for (uint32_t i : {1u, 2u}) {
            ASSERT_NE(loaded.object->areaAt(i)->relocations(), nullptr);
            EXPECT_EQ(loaded.object->areaAt(i)->relocations()->count(), 0u);
        }
        EXPECT_EQ(errors.lines, "");
    }
}

TEST_F(AofTest, RelocationDescriptorAnswers) {
    LoadedAof loaded = load(sampleFile(AofBuilder::littleEndian).build());
    ArmInputSection &code = *loaded.object->areaAt(0);
    RelocationsIterator &table = *code.relocations();
    EXPECT_FALSE(table.isCollection());
    table.setErrorContext(errors);
    table.each([&](RelocationDescriptor &entry) {
        EXPECT_EQ(entry.section(), &code);
        expectPlainEntryAnswers(entry);
        EXPECT_EQ(entry.errorContext(), &errors);
        EXPECT_EQ(entry.outputElfFile(), nullptr);
        return false; // the first record is enough; the walk stops here
    });
}

namespace {

// An output ELF file with a small-data base.
class OutputElf : public ElfObjectFile {
public:
    explicit OutputElf(uint32_t base)
        : ElfObjectFile(FileName::keep(std::make_unique<DisplayFileName>("out", "out"))),
          base(base) {}
    uint32_t sdaBase() override { return base; }
    uint32_t base;
};

} // namespace

// Each code at work, with the code area at 0x8000, the data area at 0xFFC
// (so var is at 0x1000) and the zero-initialised area at 0x30: the words in
// the file's order, the answers and the reports.
TEST_F(AofTest, ApplyOfEachCode) {
    const bool answers[] = {true, true,  true,  true,  true,  true,
                            true, false, false, false, false, false};
    for (AofBuilder::Order order : bothOrders) {
        errors.lines.clear();
        LoadedAof loaded = load(sampleFile(order).build());
        ArmInputSection &code = *loaded.object->areaAt(0);
        code.setAddress(0x8000);
        loaded.object->areaAt(1)->setAddress(0xFFC);
        loaded.object->areaAt(2)->setAddress(0x30);
        std::vector<uint8_t> bytes(code.data(), code.data() + code.dataSize());
        code.relocations()->setErrorContext(errors);
        uint32_t i = 0;
        code.relocations()->each([&](RelocationDescriptor &entry) {
            EXPECT_EQ(entry.apply(bytes.data() + entry.dataOffset()), answers[i])
                << "record " << i << " order " << order;
            ++i;
            return true;
        });
        std::string words;
        for (uint32_t w = 0; w < 6; ++w)
            words += formatText("%08x ", wordAt(order, &bytes[4 * w]));
        // Set, added to var and to the area; a branch of -0x7014 from
        // 0x800C; the based offset -0x10 + 0x30 turned positive.
        EXPECT_EQ(words, "00001000 0000100c 0000100c ebffe3fb e5900020 11111111 ") << order;
        EXPECT_EQ(errors.lines,
                  "error: In test.o, section C$$code at 0x16,\n|\t(relocation record #10 of type "
                  "(null)) refs symbol \"var\":\n|\tbad fixup record\n"
                  "error: In test.o, section C$$code at 0x18,\n|\t(relocation record #11 of type "
                  "(null)) refs section \"C$$code\":\n|\tbad fixup record\n");

        // Once a link has named its output, the based offset counts from
        // its small-data base; an output that is not ELF has none.
        OutputElf output(0x10);
        RelocationOptions options;
        code.relocations()->preprocessReferences(output, options);
        uint32_t seen = 0;
        code.relocations()->each([&](RelocationDescriptor &entry) {
            EXPECT_EQ(entry.outputElfFile(), &output);
            if (seen++ != 4) return true;
            std::vector<uint8_t> again = wordBytes(order, {0xE5100010});
            EXPECT_TRUE(entry.apply(again.data()));
            EXPECT_EQ(wordAt(order, again.data()), 0xE5900010u) << order;
            return false;
        });
        code.relocations()->preprocessReferences(*loaded.object, options);
        code.relocations()->each([&](RelocationDescriptor &entry) {
            EXPECT_EQ(entry.outputElfFile(), nullptr);
            return false;
        });
    }
}

// A based offset that cannot be held: the word is written and the answer
// is false.
TEST_F(AofTest, BasedOffsetOutOfReach) {
    AofBuilder aof(AofBuilder::bigEndian);
    aof.area("C$$code", AofBuilder::code, wordBytes(AofBuilder::bigEndian, {0xE5100000}),
             {{0, FT3 | B | 1}});
    aof.area("C$$far", 0, {});
    LoadedAof loaded = load(aof.build());
    loaded.object->areaAt(1)->setAddress(0x1000);
    std::vector<uint8_t> bytes(loaded.object->areaAt(0)->data(),
                               loaded.object->areaAt(0)->data() + 4);
    loaded.object->areaAt(0)->relocations()->each([&](RelocationDescriptor &entry) {
        EXPECT_FALSE(entry.apply(bytes.data()));
        return true;
    });
    // The direction bit stays set and the offset takes the low 12 bits.
    EXPECT_EQ(wordAt(AofBuilder::bigEndian, bytes.data()), 0xE5900000u);
}

namespace {

// A visible symbol of an output table, with its index there.
class OutputSymbol : public TestSymbol {
public:
    OutputSymbol(const char *name, uint32_t index) : TestSymbol(nullptr, name), at(index) {}
    uint32_t index() override { return at; }
    uint32_t at;
};

class NoOptions : public OptionHandler {
public:
    void handleOption(const char *, Args &, ErrorContext &) override {}
};

} // namespace

TEST_F(AofTest, ElfRecordsOfAMappedArea) {
    LoadedAof loaded = load(sampleFile(AofBuilder::bigEndian).build());
    TestCombinedSection text("C$$code", 0x1000);
    OutputSymbol var("var", 5);
    loaded.object->areaAt(0)->mapIntoCombinedSection(&text, 0x20);
    loaded.object->symbolAt(1)->link = &var;
    std::string records;
    loaded.object->areaAt(0)->relocations()->each([&](RelocationDescriptor &entry) {
        entry.eachElfRecord([&](const Elf32_Rela &r) {
            records += formatText("%x %x %d\n", r.r_offset, r.r_info, r.r_addend);
            return true;
        });
        return entry.index() < 4;
    });
    EXPECT_EQ(records, "20 501 0\n"
                       "24 545 0\n"
                       "28 46 0\n"
                       "2c 502 0\n"
                       "30 47 0\n");
}

TEST_F(AofTest, DynamicEntriesForSymbolsOfReentrantFiles) {
    LoadedAof plain = load(sampleFile(AofBuilder::bigEndian).build());
    AofBuilder shared(AofBuilder::bigEndian);
    shared.area("C$$code", AofBuilder::code | AofBuilder::reentrant, {0, 0, 0, 0}, {{0, FT2 | A}});
    shared.symbol("entry", 0x03, 0, "C$$code");
    LoadedAof reentrant = load(shared.build());
    ASSERT_TRUE(reentrant.object->isReentrant());
    NoOptions handler;
    Args args("tnm", handler);
    std::vector<bool> answers;
    auto ask = [&](LoadedAof &from, Symbol *symbol) {
        from.object->areaAt(0)->relocations()->each([&](RelocationDescriptor &entry) {
            answers.push_back(entry.needsDynamicEntry(symbol, args));
            return false;
        });
    };
    // Only a reentrant file's symbol, referred to from a file that is not,
    // needs one; otherwise the general rule says no without its switch.
    ask(plain, reentrant.object->symbolAt(0));
    ask(plain, plain.object->symbolAt(1));
    ask(reentrant, plain.object->symbolAt(1));
    ask(reentrant, reentrant.object->symbolAt(0));
    EXPECT_EQ(answers, (std::vector<bool>{true, false, false, false}));
}

TEST_F(AofTest, OtherRecordFormsWarnOnceInTheRun) {
    LoadedAof loaded = load(sampleFile(AofBuilder::bigEndian).build());
    RelocationsIterator &table = *loaded.object->areaAt(0)->relocations();
    table.setErrorContext(errors);
    table.each([&](RelocationDescriptor &entry) {
        entry.eachBsdRecord([](const BsdRelocation &) { return true; });
        entry.eachCoffRecord([](const CoffRelocation &) { return true; });
        return true;
    });
    EXPECT_EQ(errors.lines, "warning: The linker does not have the necessary logic to "
                            "translate\n|\tthis to a BSD format. Therefore, the resulting output "
                            "file will\n|\thave corrupted relocation tables.\n");
}

TEST_F(AofTest, ElfRecordsWithoutAnArea) {
    ArmRelocations table(nullptr, nullptr, nullptr, 0);
    testing::internal::CaptureStdout();
    table.eachElfRecord([](const Elf32_Rela &) {
        ADD_FAILURE() << "no record expected";
        return true;
    });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "sec is NULL\n");
}

TEST_F(AofTest, RecordOperationsOutsideAVisitEndTheRun) {
    LoadedAof loaded = load(sampleFile(AofBuilder::bigEndian).build());
    auto &table = static_cast<ArmRelocations &>(*loaded.object->areaAt(0)->relocations());
    EXPECT_DEATH(table.dataOffset(), "BadRelocations::dataOffset\\(\\) called invalidly");
    EXPECT_DEATH(table.targetSymbol(), "BadRelocations::targetSymbol\\(\\) called invalidly");
    EXPECT_DEATH(table.targetSection(), "BadRelocations::targetSection\\(\\) called invalidly");
    EXPECT_DEATH(table.addend(), "BadRelocations::addend\\(\\) called invalidly");
    EXPECT_EQ(table.elfType(), 0u);
    EXPECT_FALSE(table.isPcRelative());
}
