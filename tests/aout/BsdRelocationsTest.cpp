// The relocation tables of a.out files: records read in both byte orders
// (with the rearranged second word), section-relative addends, what apply
// does with each kind of record and each SPARC field routine at its limits,
// the ELF and a.out records of a mapped section, and the reports.
#include "AoutTestSupport.h"

#include "aout/BsdRelocations.h"
#include "elf/ElfRecords.h"
#include "kit/AoutBuilder.h"
#include "kit/RelocationChecks.h"
#include "object/ObjectTestKit.h"
#include "support/sprintf.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const ByteOrder bothOrders[] = {BigEndian, LittleEndian};

// Text of 40 bytes (the word at 28 holds 0x40000000, the one at 36
// 0x12C00000), data of 8, bss of 4; an undefined symbol, a data symbol at
// data+4 and a text symbol at 8.  Local addends are written as the file
// holds them, counted from the start of the text.
AoutBuilder sampleFile(ByteOrder order) {
    std::vector<uint8_t> text(40, 0);
    text[28] = 0x40;
    text[36] = 0x12, text[37] = 0xC0;
    AoutBuilder b(order);
    b.text(text).data(std::vector<uint8_t>(8, 0)).bss(4);
    b.symbol("_undef", N_UNDF | N_EXT, 0).symbol("_var", N_DATA | N_EXT, 44);
    b.symbol("_fn", N_TEXT | N_EXT, 8);
    return b;
}

struct Record {
    uint32_t address, index;
    bool external;
    uint8_t type;
    uint32_t addend;
};

// One line per record: index, offset, target, addend, type name, pc flag.
std::string describe(RelocationsIterator &table) {
    std::string text;
    table.each([&](RelocationDescriptor &entry) {
        text +=
            formatText("#%u @%x %s %d %s%s\n", entry.index(), entry.dataOffset(), targetName(entry),
                       entry.addend(), entry.typeName(), entry.isPcRelative() ? " pc" : "");
        return true;
    });
    return text;
}

} // namespace

TEST(BsdRelocations, RecordsOfEitherOrderWithAddendsMadeRelative) {
    for (ByteOrder order : bothOrders) {
        AoutBuilder b = sampleFile(order);
        b.textRelocation(0, 1, true, 7, 4)       // WDISP22 against _var
            .textRelocation(4, 6, false, 2, 48)  // data+8
            .textRelocation(8, 8, false, 2, 56)  // bss+8
            .textRelocation(12, 4, false, 2, 12) // text+12
            .textRelocation(0x10, 0xABCDEF, true, 31, 0xFFFFFFFF)
            .dataRelocation(4, 10, false, 23, 7); // no section of that code
        AoutReports reports;
        auto object = readAout(b.build(), reports);
        ASSERT_NE(object->textSection()->relocations(), nullptr);
        RelocationsIterator &text = *object->textSection()->relocations();
        EXPECT_EQ(describe(text), "#0 @0 _var 4 WDISP22 pc\n"
                                  "#1 @4 .data 8 _32\n"
                                  "#2 @8 .bss 8 _32\n"
                                  "#3 @c .text 12 _32\n"
                                  "#4 @10 - -1 31?\n")
            << order;
        EXPECT_EQ(text.count(), 5u);
        char shown[256];
        StringFormatOut out(shown, sizeof shown);
        text.display(out);
        EXPECT_STREQ(out.text(), "@0x0: _var[#0]+4\n@0x4: .data+8\n@0x8: .bss+8\n"
                                 "@0xc: .text+12\n@0x10:-1\n");
        auto &table = static_cast<BsdRelocations &>(text);
        EXPECT_EQ(table.recordCount(), 5u);
        EXPECT_EQ(table.objectFile(), object.get());
        EXPECT_EQ(describe(*object->dataSection()->relocations()), "#0 @4 - 7 RELATIVE\n");
        EXPECT_EQ(object->bssSection()->relocations(), nullptr);
        EXPECT_TRUE(reports.lines.empty());
    }
}

TEST(BsdRelocations, DescriptorAnswersOfEveryRecord) {
    AoutBuilder b = sampleFile(BigEndian);
    b.textRelocation(0, 1, true, 2, 0);
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    RelocationsIterator &table = *object->textSection()->relocations();
    table.each([&](RelocationDescriptor &entry) {
        EXPECT_EQ(entry.section(), object->textSection());
        expectPlainEntryAnswers(entry);
        EXPECT_EQ(entry.errorContext(), nullptr);
        return true;
    });
    EXPECT_FALSE(table.isCollection());
    table.setErrorContext(reports);
    table.each([&](RelocationDescriptor &entry) {
        EXPECT_EQ(entry.errorContext(), &reports);
        return true;
    });
}

TEST(BsdRelocations, TablesLargerThanTheFileKeepTheRecordsItHolds) {
    // A text relocation size of 0xFFFFFFFC, a multiple of 12, makes the
    // offsets behind it wrap to where the file has bytes, so the file reads;
    // the table keeps the whole records that the file holds, and a record
    // cut by the end of the file is dropped.  No relocation size: no table.
    AoutBuilder b(BigEndian);
    b.text({0, 0, 0, 0}).data({0, 0, 0, 0});
    b.textRelocation(0, 4, false, 2, 0).textRelocation(4, 4, false, 2, 0).noStringTable();
    b.patchHeader([](BsdExecHeader &h) { h.trsize = 0xFFFFFFFC; });
    for (auto [length, records] : {std::pair{64u, 2u}, {62u, 1u}, {51u, 0u}}) {
        AoutReports reports;
        auto object = readAout(b.truncate(length).build(), reports);
        ASSERT_NE(object->textSection()->relocations(), nullptr) << length;
        EXPECT_EQ(object->textSection()->relocations()->count(), records) << length;
        EXPECT_EQ(object->dataSection()->relocations(), nullptr);
    }
}

// What apply does with each kind of record, in a text at 0x100 with data
// at 0x200 and bss at 0x300: the words, the answers and the reports.
TEST(BsdRelocations, ApplyOfEachKindOfRecord) {
    const Record records[] = {
        {0, 6, false, 2, 48},         // data+8
        {4, 8, false, 2, 56},         // bss+8
        {8, 4, false, 2, 12},         // text+12
        {12, 10, false, 2, 7},        // no section: the addend alone
        {16, 1, true, 2, 2},          // _var+2
        {20, 99, true, 2, 5},         // no symbol 99: reported, addend alone
        {24, 0, true, 2, 0},          // undefined: no link address
        {28, 2, true, 6, 0},          // WDISP30 to _fn, top bits stay
        {32, 1, true, 19, 0},         // JMP_TBL
        {32, 1, true, 14, 0},         // BASE10
        {32, 1, true, 23, 0},         // RELATIVE
        {32, 1, true, 24, 0},         // no row
        {36, 4, false, 7, 0x1000000}, // WDISP22 out of reach, written
        {38, 4, false, 2, 0},         // a word across the end
        {40, 4, false, 0, 0},         // at the end
        {39, 10, false, 0, 0x7F},     // the last byte
    };
    const bool answers[] = {true, true, true, true,  true, true,  false, true,
                            true, true, true, false, true, false, false, true};
    const char *const words[] = {"00000208", "00000308", "0000010c", "00000007", "00000206",
                                 "00000005", "00000000", "40000002", "00000000", "12c0007f"};
    const std::string where = "error: In test.o, section .text at 0x%x,\n|\t(relocation record "
                              "#%u of type %s) refs %s:\n|\t%s";
    const std::vector<std::string> expectedReports = {
        formatText(where.c_str(), 20, 5, "_32", "section \"???\"", "bad r_index value (=99)"),
        formatText(where.c_str(), 32, 8, "JMP_TBL", "symbol \"_var\"",
                   "PLT references not yet supported"),
        formatText(where.c_str(), 32, 9, "BASE10", "symbol \"_var\"",
                   "GOT references not yet supported"),
        formatText(where.c_str(), 32, 10, "RELATIVE", "symbol \"_var\"", "bad fixup"),
        formatText(where.c_str(), 32, 11, "24?", "symbol \"_var\"", "bad r_type value (=24)"),
        formatText(where.c_str(), 36, 12, "WDISP22", "section \".text\"", "truncation error"),
        formatText(where.c_str(), 38, 13, "_32", "section \".text\"", "bad fixup record"),
        formatText(where.c_str(), 40, 14, "_8", "section \".text\"", "bad fixup record"),
    };
    for (ByteOrder order : bothOrders) {
        AoutBuilder b = sampleFile(order);
        for (const Record &r : records)
            b.textRelocation(r.address, r.index, r.external, r.type, r.addend);
        AoutReports reports;
        auto object = readAout(b.build(), reports);
        object->textSection()->setAddress(0x100);
        object->dataSection()->setAddress(0x200);
        object->bssSection()->setAddress(0x300);
        auto &text = static_cast<BsdSectionFromInput &>(*object->textSection());
        std::vector<uint8_t> bytes(text.contents(), text.contents() + 40);
        text.relocations()->setErrorContext(reports);
        uint32_t i = 0;
        text.relocations()->each([&](RelocationDescriptor &entry) {
            EXPECT_EQ(entry.apply(bytes.data() + entry.dataOffset()), answers[i])
                << "record " << i << " order " << order;
            ++i;
            return true;
        });
        for (uint32_t w = 0; w < 10; ++w)
            EXPECT_EQ(formatText("%02x%02x%02x%02x", bytes[4 * w], bytes[4 * w + 1],
                                 bytes[4 * w + 2], bytes[4 * w + 3]),
                      words[w])
                << "word " << w << " order " << order;
        EXPECT_EQ(reports.lines, expectedReports) << order;
    }
}

// Each SPARC routine at the limits of its field, on big-endian words.
TEST(BsdRelocations, SparcFieldRoutinesAtTheirLimits) {
    struct Case {
        const char *what;
        FixupRoutine routine;
        uint32_t word, value, address, expected;
        bool fits;
    };
    const Case cases[] = {
        {"WDISP30 forward", sparcfixup::wdisp30, 0xC0000000, 0x1000, 0, 0xC0000400, true},
        {"WDISP30 back, zeros shifted in", sparcfixup::wdisp30, 0x40000000, 0, 8, 0x7FFFFFFE, true},
        {"WDISP22 at the top", sparcfixup::wdisp22, 0xFFC00000, 0xFFFFFC, 0, 0xFFFFFFFF, true},
        {"WDISP22 beyond the top", sparcfixup::wdisp22, 0xFFC00000, 0x1000000, 0, 0xFFC00000,
         false},
        {"WDISP22 at the bottom", sparcfixup::wdisp22, 0, 0, 0x800000, 0x00200000, true},
        {"WDISP22 below the bottom", sparcfixup::wdisp22, 0, 0, 0x800004, 0x001FFFFF, false},
        {"HI22", sparcfixup::hi22, 0x01000000, 0xFFFFFC00, 0, 0x013FFFFF, true},
        {"_22", sparcfixup::low22, 0xAA000000, 0x12345678, 0, 0xAA345678, true},
        {"_13 at the top", sparcfixup::low13, 0xFFFFE000, 0x1FFF, 0, 0xFFFFFFFF, true},
        {"_13 beyond", sparcfixup::low13, 0xFFFFE000, 0x2000, 0, 0xFFFFE000, false},
        {"_13 negative", sparcfixup::low13, 0, 0xFFFFFFFF, 0, 0x1FFF, false},
        {"LO10", sparcfixup::low10, 0xFFFFFC00, 0x12345, 0, 0xFFFFFF45, true},
        {"PC10", sparcfixup::pc10, 0, 0x1123, 0x1000, 0x123, true},
        {"PC22", sparcfixup::pc22, 0x80000000, 0x5000, 0x1000, 0x80000010, true},
    };
    AoutBuilder b = sampleFile(BigEndian);
    b.textRelocation(0, 1, true, 2, 0);
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    auto &entry = static_cast<BsdRelocations &>(*object->textSection()->relocations());
    for (const Case &c : cases) {
        uint8_t place[4];
        reloc::write32Be(place, c.word);
        EXPECT_EQ(c.routine(entry, place, c.value, c.address), c.fits) << c.what;
        EXPECT_EQ(reloc::read32Be(place), c.expected) << c.what;
    }
}

// The rows by type: name, kind and pc flag for a handful, and the routines
// of the generic rows, big-endian.
TEST(BsdRelocations, RowsOfTheTable) {
    struct Expect {
        uint32_t type;
        const char *name;
        ReferenceKind kind;
        uint8_t pcRelative;
        FixupRoutine fixup;
    };
    const Expect expects[] = {
        {0, "_8", ReferenceKind::direct, 0, reloc::set8},
        {1, "_16", ReferenceKind::direct, 0, reloc::set16Be},
        {5, "DISP32", ReferenceKind::direct, 0, reloc::add32Be},
        {7, "WDISP22", ReferenceKind::direct, 1, sparcfixup::wdisp22},
        {12, "SFA_BASE", ReferenceKind::invalid, 0, reloc::patchNothing},
        {16, "BASE22", ReferenceKind::gotReference, 0, sparcfixup::hi22},
        {18, "PC22", ReferenceKind::direct, 1, sparcfixup::pc22},
        {19, "JMP_TBL", ReferenceKind::pltReference, 1, sparcfixup::wdisp30},
        {23, "RELATIVE", ReferenceKind::invalid, 0, reloc::patchNothing},
    };
    for (const Expect &e : expects) {
        const BsdFixupRow &row = bsdFixupRows[e.type];
        EXPECT_STREQ(row.name, e.name);
        EXPECT_EQ(row.kind, e.kind) << e.name;
        EXPECT_EQ(row.pcRelative, e.pcRelative) << e.name;
        EXPECT_EQ(row.fixup, e.fixup) << e.name;
    }
}

namespace {

// A combined section of an output with a section symbol.
class MappedSection : public TestCombinedSection {
public:
    MappedSection(const char *name, uint32_t address, Symbol *symbol)
        : TestCombinedSection(name, address), symbol(symbol) {}
    Symbol *sectionSymbol() override { return symbol; }
    Symbol *symbol;
};

// A symbol of an output table, with its index there.
class OutputSymbol : public TestSymbol {
public:
    OutputSymbol(const char *name, uint32_t index) : TestSymbol(nullptr, name), at(index) {}
    uint32_t index() override { return at; }
    uint32_t at;
};

} // namespace

// The records that a linked output would hold: offsets in the combined
// sections, indexes of the output's symbols and sections.
TEST(BsdRelocations, ElfAndBsdRecordsOfAMappedSection) {
    AoutBuilder b = sampleFile(BigEndian);
    b.textRelocation(4, 6, false, 2, 48)      // data+8
        .textRelocation(8, 1, true, 7, 4)     // _var+4
        .textRelocation(12, 10, false, 2, 7); // no section
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    OutputSymbol dataSymbol(".data", 3), var("_var", 7);
    MappedSection text(".text", 0x1000, nullptr), data(".data", 0x2000, &dataSymbol);
    object->textSection()->mapIntoCombinedSection(&text, 0x100);
    object->dataSection()->mapIntoCombinedSection(&data, 0x40);
    object->symbolAt(1)->link = &var;

    std::string elf, bsd;
    object->textSection()->relocations()->each([&](RelocationDescriptor &entry) {
        entry.eachElfRecord([&](const Elf32_Rela &r) {
            elf += formatText("%x %x %d\n", r.r_offset, r.r_info, r.r_addend);
            return true;
        });
        entry.eachBsdRecord([&](const BsdRelocation &r) {
            bsd += formatText("%x %x %d\n", r.r_address, r.r_info, r.r_addend);
            return true;
        });
        return true;
    });
    EXPECT_EQ(elf, "104 302 72\n"
                   "108 707 4\n"
                   "10c 2 7\n");
    // The a.out form keeps extern and type; a local record takes the index
    // of its section.
    EXPECT_EQ(bsd, "104 10000001 72\n"
                   "108 39000007 4\n"
                   "10c 1000000a 7\n");
}

TEST(BsdRelocations, CoffRecordsWarnOnceInTheRun) {
    AoutBuilder b = sampleFile(BigEndian);
    b.textRelocation(0, 1, true, 2, 0);
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    RelocationsIterator &table = *object->textSection()->relocations();
    table.setErrorContext(reports);
    table.each([&](RelocationDescriptor &entry) {
        entry.eachCoffRecord([](const CoffRelocation &) { return true; });
        entry.eachCoffRecord([](const CoffRelocation &) { return true; });
        return true;
    });
    ASSERT_EQ(reports.lines.size(), 1u);
    EXPECT_NE(reports.lines[0].find("to a COFF format"), std::string::npos) << reports.lines[0];
}

TEST(BsdRelocationsDeathTest, RecordOperationsOutsideAVisit) {
    AoutBuilder b = sampleFile(BigEndian);
    b.textRelocation(0, 1, true, 2, 0);
    AoutReports reports;
    auto object = readAout(b.build(), reports);
    auto &entry = static_cast<BsdRelocations &>(*object->textSection()->relocations());
    // Before the first visit no record is current.
    EXPECT_DEATH(entry.dataOffset(), "BadRelocations::dataOffset\\(\\) called invalidly");
    EXPECT_DEATH(entry.targetSymbol(), "BadRelocations::targetSymbol\\(\\) called invalidly");
    EXPECT_DEATH(entry.targetSection(), "BadRelocations::targetSection\\(\\) called invalidly");
    EXPECT_DEATH(entry.addend(), "BadRelocations::addend\\(\\) called invalidly");
    EXPECT_FALSE(entry.isPcRelative());
}

// Every word of the relocation records changed to values that damage it:
// the file reads, and every record applies to a copy of its section's bytes
// or is refused with a report, never patching outside the copy.
TEST(BsdRelocations, DamagedRecordsApplyWithoutHarm) {
    for (ByteOrder order : bothOrders) {
        AoutBuilder b = sampleFile(order);
        b.textRelocation(36, 1, true, 2, 0).textRelocation(0, 6, false, 7, 48);
        b.dataRelocation(4, 2, true, 1, 0);
        const std::vector<uint8_t> sound = b.build();
        const uint32_t first = b.textOffset() + 48, end = first + 3 * 12;
        int reports = 0;
        for (uint32_t at = first; at < end; at += 4) {
            for (uint32_t value : {0u, 0xFFFFFFFFu, 0x7FFFFFF0u, 39u, 0x1F000000u, 0xFF7FFFFFu}) {
                std::vector<uint8_t> image = sound;
                for (int i = 0; i < 4; ++i)
                    image[at + i] = uint8_t(value >> (8 * i));
                AoutReports errors;
                auto object = readAout(image, errors);
                for (BsdSection *section : {object->textSection(), object->dataSection()}) {
                    auto &input = static_cast<BsdSectionFromInput &>(*section);
                    // Guard bytes behind the copy stay as they are.
                    std::vector<uint8_t> copy(input.contents(), input.contents() + input.size());
                    copy.resize(copy.size() + 4, 0xA5);
                    input.relocations()->setErrorContext(errors);
                    input.relocations()->each([&](RelocationDescriptor &entry) {
                        if (entry.dataOffset() < input.size())
                            entry.apply(copy.data() + entry.dataOffset());
                        return true;
                    });
                    for (uint32_t i = input.size(); i < copy.size(); ++i)
                        EXPECT_EQ(copy[i], 0xA5) << at << " " << value;
                }
                reports += int(errors.lines.size());
            }
        }
        EXPECT_GT(reports, 0);
    }
}
