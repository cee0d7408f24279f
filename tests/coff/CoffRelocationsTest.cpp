// The relocation table of a COFF section: the walk over its entries in both
// byte orders, the two-entry AM29K fixups, the targets, the type names, and
// the records that a linker writes out, against a small made-up output.

#include "CoffRelocationsTestSupport.h"
#include "coff/CoffObjectFile.h"
#include "elf/ElfRecords.h"
#include "kit/CoffBuilder.h"

#include <cstdio>
#include <gtest/gtest.h>

namespace {

// "offset type target addend records pc" of the entry shown.
std::string describe(RelocationDescriptor &entry) {
    std::string target = entry.targetSymbol() ? entry.targetSymbol()->name()
                         : entry.targetSection()
                             ? "[" + std::string(entry.targetSection()->name()) + "]"
                             : "-";
    char line[128];
    std::snprintf(line, sizeof line, "%x %s %s %d %u %d", entry.dataOffset(), entry.typeName(),
                  target.c_str(), entry.addend(), entry.elfRecordCount(), entry.isPcRelative());
    return line;
}

// An AM29K text section at 0x40 with an entry of each kind of walk: a
// reference to the section, one to an undefined symbol, a two-entry fixup,
// and an entry on the section's last byte.
std::vector<uint8_t> am29kFile(ByteOrder order, uint16_t magic) {
    return CoffBuilder(order, magic)
        .section(".text", coffSectionText, bytes(16))
        .address(0x40)
        .relocation(0x44, 0, 31)      // R_WORD .text
        .relocation(0x48, 3, 24)      // R_IREL _ext
        .relocation(0x4C, 2, 27)      // R_IHIHALF _here
        .relocation(0x4C, 0x1234, 28) // R_IHCONST: the lower half
        .relocation(0x4F, 2, 29)      // R_BYTE
        .sectionSymbol(1)             // 0, its auxiliary entry 1
        .symbol("_here", 0x48, 1, coffClassExternal)
        .symbol("_ext", 0, 0, coffClassExternal)
        .build();
}

TEST(CoffRelocations, EntriesReadAlikeInBothByteOrders) {
    for (auto [order, magic] : {std::pair{BigEndian, 0x17A}, std::pair{LittleEndian, 0x17B}}) {
        CoffTable t(am29kFile(order, uint16_t(magic)));
        EXPECT_EQ(t.table->count(), 5u);
        EXPECT_FALSE(t.table->isCollection());
        EXPECT_EQ(t.table->objectFile(), t.coff.object.get());
        // The companion of R_IHIHALF is no entry of its own: its symndx is
        // the addend of the pair.
        EXPECT_EQ(t.walk(describe),
                  (std::vector<std::string>{"4 R_WORD [.text] 0 1 0", "8 R_IREL _ext 0 1 1",
                                            "c R_IHIHALF _here 4660 2 0", "f R_BYTE _here 0 1 0"}))
            << magic;
        std::vector<uint32_t> indices;
        t.table->each([&](RelocationDescriptor &entry) {
            indices.push_back(entry.index());
            EXPECT_EQ(entry.section(), t.section);
            EXPECT_EQ(entry.errorContext(), &t.reports);
            EXPECT_TRUE(entry.ignoresSpecialTargets());
            EXPECT_FALSE(entry.hasExplicitAddend());
            EXPECT_EQ(entry.referenceKind(), ReferenceKind::direct);
            EXPECT_EQ(entry.compactClass(), -1);
            return true;
        });
        EXPECT_EQ(indices, (std::vector<uint32_t>{0, 1, 2, 4}));
        EXPECT_TRUE(t.reports.lines.empty());
    }
}

TEST(CoffRelocations, SectionAnswersItsTableEvenWithoutEntries) {
    Reports reports;
    LoadedCoff coff = loadCoff(am29kFile(BigEndian, 0x17A), reports);
    CoffInputSection &text = *coff->inputSectionAt(1);
    RelocationsIterator *table = text.relocations();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(text.relocations(), table);
    EXPECT_EQ(table->count(), 5u);

    LoadedCoff bare =
        loadCoff(CoffBuilder().section(".data", coffSectionData, bytes(4)).build(), reports);
    RelocationsIterator *none = bare->inputSectionAt(1)->relocations();
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->count(), 0u);
    uint32_t visits = 0;
    none->each([&](RelocationDescriptor &) { return ++visits > 0; });
    EXPECT_EQ(visits, 0u);
}

TEST(CoffRelocations, AMagicWithoutRowsListsNumbers) {
    // A 68000 file: every type reads as its number; an R_IHIHALF number
    // has no companion here, so the walk takes the entries one by one.
    CoffTable t(CoffBuilder(BigEndian, 0x150)
                    .section(".text", coffSectionText, bytes(8))
                    .relocation(0, 0, 6)
                    .relocation(2, 0, 27)
                    .relocation(4, 0, 28)
                    .symbol("_x", 0, 0, coffClassExternal)
                    .build());
    EXPECT_EQ(t.walk(describe),
              (std::vector<std::string>{"0 6? _x 0 1 0", "2 27? _x 0 1 0", "4 28? _x 0 1 0"}));
}

TEST(CoffRelocations, TypeNamesAndFlagsOfI386) {
    CoffBuilder b;
    b.section(".text", coffSectionText, bytes(32));
    for (uint16_t type : {3, 16, 20, 21, 0xFFFF})
        b.relocation(type & 0x1F, 0, type);
    CoffTable t(b.symbol("_x", 0, 0, coffClassExternal).build());
    // A type without a routine, or beyond the rows, reads as its number;
    // type 16 has a routine and no name.
    EXPECT_EQ(t.walk(describe),
              (std::vector<std::string>{"3 3? _x 0 1 0", "10  _x 0 1 0", "14 R_PCRLONG _x 0 1 1",
                                        "15 21? _x 0 1 0", "1f 65535? _x 0 1 0"}));
}

TEST(CoffRelocations, LoneCompanionsAndAPairCutByTheEnd) {
    // An R_IHCONST with no R_IHIHALF before it is passed over like any
    // entry; an R_IHIHALF as the last entry has no constant to add.
    CoffTable t(CoffBuilder(BigEndian, 0x17A)
                    .section(".text", coffSectionText, bytes(8))
                    .relocation(0, 7, 28)
                    .relocation(4, 0, 31)
                    .relocation(4, 0, 27)
                    .symbol("_x", 0, 0, coffClassExternal)
                    .build());
    EXPECT_EQ(t.walk(describe), (std::vector<std::string>{"0 28? - 0 0 0", "4 R_WORD _x 0 1 0",
                                                          "4 R_IHIHALF _x 0 2 0"}));
}

TEST(CoffRelocations, OffsetsUpToTheSectionsEnd) {
    auto file = [](uint32_t offset) {
        return CoffBuilder()
            .section(".data", coffSectionData, bytes(8))
            .address(0x100)
            .relocation(0x100 + offset, 0, 6)
            .symbol("_x", 0, 0, coffClassExternal)
            .build();
    };
    CoffTable last(file(7));
    EXPECT_EQ(last.walk(describe), std::vector<std::string>{"7 R_DIR32 _x 0 1 0"});
    CoffTable beyond(file(8));
    EXPECT_DEATH(beyond.walk(describe),
                 botchOf("Relocation entry 0 for section .data in file test.o\n\treferences an "
                         "offset outside of the section (0x8 >= 0x8)"));
}

TEST(CoffRelocations, TargetsOfSectionSymbolsAndOthers) {
    CoffTable t(CoffBuilder()
                    .section(".text", coffSectionText, bytes(16))
                    .relocation(0, 0, 6)  // the section's symbol
                    .relocation(4, 1, 6)  // its auxiliary slot
                    .relocation(8, 2, 6)  // a static symbol with no auxiliary entry
                    .relocation(12, 9, 6) // beyond the table
                    .sectionSymbol(1)
                    .symbol("_static", 4, 1, coffClassStatic)
                    .build());
    EXPECT_EQ(t.walk(describe),
              (std::vector<std::string>{"0 R_DIR32 [.text] 0 1 0", "4 R_DIR32 - 0 1 0",
                                        "8 R_DIR32 _static 0 1 0", "c R_DIR32 - 0 1 0"}));
    uint32_t sections = 0;
    t.table->each([&](RelocationDescriptor &entry) {
        if (Section *target = entry.targetSection()) {
            EXPECT_EQ(target, t.section);
            ++sections;
        }
        return true;
    });
    EXPECT_EQ(sections, 1u);
}

TEST(CoffRelocations, ASectionSymbolWithoutItsSection) {
    // Section number 2 of a file with one section: a section symbol by its
    // entry, with no section to be the target.
    CoffTable t(CoffBuilder()
                    .section(".text", coffSectionText, bytes(4))
                    .relocation(0, 0, 6)
                    .symbol(".lost", 0, 2, coffClassStatic)
                    .aux(0, {})
                    .build());
    EXPECT_DEATH(t.at(0); t.table->targetSection(),
                          botchOf("CoffRelocationsIterator::targetSection: .lost has no sect"));
}

TEST(CoffRelocations, CallsOutsideAVisit) {
    CoffTable empty(CoffBuilder().section(".text", coffSectionText, bytes(4)).build());
    EXPECT_DEATH(empty.table->targetSymbol(), botchOf("CoffRelocation::targetSymbol() bad call"));
    EXPECT_DEATH(empty.table->targetSection(), botchOf("CoffRelocation::targetSection() bad call"));
    uint8_t field[4] = {};
    EXPECT_DEATH(empty.table->apply(field), botchOf("CoffRelocation::apply() bad call"));
}

// An i386 file for the records: .text at 0x100 refers to a local symbol of
// .data, to .data itself, to an undefined symbol and to one that a linker
// defines.
std::vector<uint8_t> recordsFile() {
    return CoffBuilder()
        .section(".text", coffSectionText, bytes(16))
        .address(0x100)
        .relocation(0x104, 4, 6)  // R_DIR32 _local
        .relocation(0x108, 2, 6)  // R_DIR32 .data
        .relocation(0x10C, 5, 20) // R_PCRLONG _ext
        .relocation(0x100, 6, 1)  // R_DIR16 _special
        .relocation(0x102, 6, 0)  // R_ABS _special
        .section(".data", coffSectionData, bytes(8))
        .address(0x200)
        .sectionSymbol(1)                            // 0, 1
        .sectionSymbol(2)                            // 2, 3
        .symbol("_local", 0x204, 2, coffClassStatic) // 4
        .symbol("_ext", 0, 0, coffClassExternal)     // 5
        .symbol("_special", 0, 0, coffClassExternal) // 6
        .build();
}

// The file's sections mapped into an output: .text at 0x1000 and .data at
// 0x3010 (offset 0x10 in DATA, whose symbol has index 7); _ext resolved to
// an output symbol of index 8 at 0x5000, _special to one that the linker
// made, of index 42.
struct MappedOutput {
    CoffTable t{recordsFile()};
    OutputSymbol textSymbol{"TEXT", 0, 6};
    OutputSymbol dataSymbol{"DATA", 0, 7};
    OutputSection text{"TEXT", 0x1000, &textSymbol};
    OutputSection data{"DATA", 0x3000, &dataSymbol};
    OutputSymbol ext{"EXT", 0x5000, 8};
    OutputSymbol special{"_special", 0x40, 42, true};

    MappedOutput() {
        CoffObjectFileInput &file = *t.coff.object;
        file.inputSectionAt(1)->mapIntoCombinedSection(&text, 0);
        file.inputSectionAt(1)->setAddress(0x1000);
        file.inputSectionAt(2)->mapIntoCombinedSection(&data, 0x10);
        file.inputSectionAt(2)->setAddress(0x3010);
        file.symbolAt(5)->link = &ext;
        file.symbolAt(6)->link = &special;
    }

    // "address type symndx" of each record of visit `visit`.
    std::vector<std::string> coffRecords(uint32_t visit) {
        std::vector<std::string> lines;
        t.at(visit);
        t.table->eachCoffRecord([&](const CoffRelocation &r) {
            char line[64];
            std::snprintf(line, sizeof line, "%x %u %d", r.address, r.type, int32_t(r.symndx));
            lines.push_back(line);
            return true;
        });
        return lines;
    }
    std::vector<std::string> elfRecords(uint32_t visit) {
        std::vector<std::string> lines;
        t.at(visit);
        t.table->eachElfRecord([&](const Elf32_Rela &r) {
            char line[64];
            std::snprintf(line, sizeof line, "%x %x %d", r.r_offset, r.r_info, r.r_addend);
            lines.push_back(line);
            return true;
        });
        return lines;
    }
};

TEST(CoffRelocations, SymbolIndicesInTheOutput) {
    MappedOutput out;
    struct Row {
        uint32_t visit;
        uint32_t index;
        int32_t adjustment;
    };
    const Row rows[] = {
        {0, 7, 0x3014 - 0x204}, // _local: DATA's symbol; its move
        {1, 7, 0x3000 - 0x200}, // .data: the output section less the input address
        {3, 42, 0x40},          // _special: the linker's own symbol keeps its index
    };
    for (const Row &r : rows) {
        out.t.at(r.visit);
        int32_t adjustment = -1;
        EXPECT_EQ(out.t.table->symIndexOf(adjustment), r.index) << r.visit;
        EXPECT_EQ(adjustment, r.adjustment) << r.visit;
    }
    // _ext resolves to an output symbol that is not the linker's own and
    // has no section: it is not mapped, and the message names the symbol
    // of the entry.
    out.t.at(2);
    int32_t adjustment;
    EXPECT_DEATH(out.t.table->symIndexOf(adjustment),
                 botchOf("CoffRelocationsIterator entry 2 for section .text in file test.o "
                         "references _ext; it isn't mapped!"));
}

TEST(CoffRelocations, UnmappedTargetsEndTheRun) {
    CoffTable t(recordsFile());
    int32_t adjustment;
    t.at(0); // _local: .data has no combined section
    EXPECT_DEATH(t.table->symIndexOf(adjustment),
                 botchOf("CoffRelocationsIterator entry 0 for section .text in file test.o "
                         "references _local; it isn't mapped!"));
    // _ext resolved to _local: the message names the symbol whose section
    // is not mapped.
    t.coff->symbolAt(5)->link = t.coff->symbolAt(4);
    t.at(2);
    EXPECT_DEATH(t.table->symIndexOf(adjustment),
                 botchOf("CoffRelocationsIterator entry 2 for section .text in file test.o "
                         "references _local; it isn't mapped!"));
    t.at(1); // .data itself
    EXPECT_DEATH(t.table->symIndexOf(adjustment),
                 botchOf("CoffRelocationsIterator entry 1 for section .text in file test.o "
                         "references .data; it isn't mapped!"));

    OutputSection anonymous("DATA", 0x3000, nullptr);
    t.coff->inputSectionAt(2)->mapIntoCombinedSection(&anonymous, 0);
    EXPECT_DEATH(t.table->symIndexOf(adjustment),
                 botchOf("symIndexOf - output section DATA doesn't have symbol!\n|\t(entry 1 for "
                         "section .text in file test.o)"));

    CoffTable aux(CoffBuilder()
                      .section(".text", coffSectionText, bytes(4))
                      .relocation(0, 1, 6)
                      .sectionSymbol(1)
                      .build());
    aux.at(0);
    EXPECT_DEATH(aux.table->symIndexOf(adjustment),
                 botchOf("CoffRelocationsIterator entry 0 for section .text in file test.o is "
                         "bad???"));
}

TEST(CoffRelocations, CoffRecordsAtTheOutputsPlaces) {
    MappedOutput out;
    // The place moves with the section's address; after setBaseOffset it
    // counts from the base offset given.
    EXPECT_EQ(out.coffRecords(0), std::vector<std::string>{"1004 6 7"});
    EXPECT_EQ(out.coffRecords(3), std::vector<std::string>{"1000 1 42"});
    out.t.table->setBaseOffset(0x20);
    EXPECT_EQ(out.coffRecords(1), std::vector<std::string>{"28 6 7"});
    EXPECT_EQ(out.t.section->inputAddress(), 0x100u);
}

TEST(CoffRelocations, ElfRecordsOfI386) {
    MappedOutput out;
    // R_DIR32 is ELF type 1; R_DIR16 has no ELF type; R_ABS is type 0
    // without a message.
    EXPECT_EQ(out.elfRecords(0), std::vector<std::string>{"4 701 0"});
    EXPECT_EQ(out.elfRecords(1), std::vector<std::string>{"8 701 0"});
    EXPECT_TRUE(out.t.reports.lines.empty());
    EXPECT_EQ(out.elfRecords(3), std::vector<std::string>{"0 2a00 0"});
    EXPECT_EQ(out.t.reports.lines,
              std::vector<std::string>{
                  "E: In test.o, section .text at 0x0,\n|\t(relocation record #3 of type "
                  "R_DIR16) refs symbol \"_special\":\n|\tunable to translate COFF\n|\trelocation "
                  "type to ELF equivalent."});
    EXPECT_EQ(out.elfRecords(4), std::vector<std::string>{"2 2a00 0"});
    EXPECT_EQ(out.t.reports.lines.size(), 1u);
    EXPECT_EQ(out.t.table->elfType(), 0u);
    // R_PCRLONG is type 2; _ext resolved to _local of DATA.
    out.t.coff->symbolAt(5)->link = out.t.coff->symbolAt(4);
    EXPECT_EQ(out.elfRecords(2), std::vector<std::string>{"c 702 0"});
}

// AM29K pairs: two COFF records at one place, the second with the
// companion's type and the constant moved by the target's adjustment; no
// ELF records, and one warning in the whole run about it.
TEST(CoffRelocations, RecordsOfATwoEntryFixup) {
    CoffTable t(am29kFile(LittleEndian, 0x17B));
    OutputSymbol textSymbol("TEXT", 0, 3);
    OutputSection text("TEXT", 0x800, &textSymbol);
    t.section->mapIntoCombinedSection(&text, 0);
    t.section->setAddress(0x840);
    t.at(2);
    std::vector<std::string> lines;
    t.table->eachCoffRecord([&](const CoffRelocation &r) {
        char line[64];
        std::snprintf(line, sizeof line, "%x %u %x", r.address, r.type, r.symndx);
        lines.push_back(line);
        return true;
    });
    // _here moved by 0x800: the constant 0x1234 with it.
    EXPECT_EQ(lines, (std::vector<std::string>{"84c 27 3", "84c 28 1a34"}));

    uint32_t visits = 0;
    for (int twice = 0; twice < 2; ++twice)
        t.table->eachElfRecord([&](const Elf32_Rela &) { return ++visits > 0; });
    EXPECT_EQ(visits, 0u);
    EXPECT_EQ(t.reports.lines,
              std::vector<std::string>{
                  "W: The linker does not have the necessary logic to translate\n|\tthis to a ELF "
                  "format. Therefore, the resulting output file will\n|\thave corrupted "
                  "relocation tables."});
}

} // namespace
