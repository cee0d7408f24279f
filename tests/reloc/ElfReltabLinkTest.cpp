// The ELF relocation tables on the way to an output: apply with the value of
// each kind of target and its faults, applies under the options of a link,
// the records written for an output, compact classes, the rewrites of a
// type, the look at the next entry, new targets, and the preprocessing of
// ARM calls and of the machine-specific PowerPC and MIPS entries.
#include "ElfReltabTestSupport.h"

#include "elf/ElfUtil.h"
#include "reloc/Args.h"

#include <gtest/gtest.h>

namespace {

constexpr uint16_t EM_NOTABLE = 0x76;

// What the test routines were called with.
struct Call {
    uint32_t value = 0;
    uint32_t address = 0;
    ElfFixupTable *table = nullptr;
};
Call lastCall;
bool routineFits = true;

bool recordWord(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address) {
    lastCall = Call{value, address, nullptr};
    reloc::write32Le(place, value);
    return routineFits;
}

bool recordWithTable(ElfFixupTable &table, RelocationDescriptor &, uint8_t *place, uint32_t value,
                     uint32_t address) {
    lastCall = Call{value, address, &table};
    reloc::write32Le(place, value);
    return true;
}

constexpr FixupRow testRow(FixupRoutine fixup, const char *name, ReferenceKind kind, uint8_t pc = 0,
                           TableFixupRoutine tableFixup = nullptr) {
    return FixupRow{fixup, name, kind, pc, {0, 0}, tableFixup};
}

// Types 0 to 8; any higher type has no row.
const FixupRow testRows[] = {
    testRow(reloc::patchNothing, "NONE", ReferenceKind::direct),
    testRow(recordWord, "WORD", ReferenceKind::direct),
    testRow(recordWord, "PCREL", ReferenceKind::direct, 1),
    testRow(reloc::set8, "BYTE", ReferenceKind::direct),
    testRow(reloc::set16Le, "HALF", ReferenceKind::direct),
    testRow(nullptr, "TABLE", ReferenceKind::direct, 0, recordWithTable),
    testRow(recordWord, "GOT", ReferenceKind::gotReference),
    testRow(recordWord, "CALL", ReferenceKind::pltReference, 1),
    testRow(reloc::patchUnsupported, "", ReferenceKind::invalid),
};
ElfSplitFixupTable testTable({0, 9, testRows}, {0, 0, nullptr}, {0, 0, nullptr});

class NoOptions : public OptionHandler {
public:
    void handleOption(const char *, Args &, ErrorContext &) override {}
};

Args &linkArgs() {
    static NoOptions handler;
    static Args args("tnm", handler);
    return args;
}

// .text (32 bytes, from 0x1100 in the combined section C at 0x1000),
// .data, and the symbols 1 [.text], 2 [.data], 3 local_fn (.text+4),
// 4 main (.text+8), 5 ext (undefined).
ElfBuilder linkObject(ByteOrder order, uint16_t machine = EM_NOTABLE) {
    ElfBuilder b(order);
    b.machine(machine)
        .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(32))
        .section(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, bytes(16))
        .symbol("", 0, 0, STB_LOCAL, STT_SECTION, ".text")
        .symbol("", 0, 0, STB_LOCAL, STT_SECTION, ".data")
        .symbol("local_fn", 4, 4, STB_LOCAL, STT_FUNC, ".text")
        .symbol("main", 8, 8, STB_GLOBAL, STT_FUNC, ".text")
        .symbol("ext", 0, 0, STB_GLOBAL, STT_NOTYPE, uint16_t(0));
    return b;
}

// A file whose .text was mapped into a combined section, with a table of
// its .rel(a).text made over the test rows.
struct Linked {
    ReltabReports errors;
    LoadedElf elf;
    NamedFile output{"out"};
    TestSection combined{&output, "C", 0x1000};
    TestSymbol combinedSymbol{&output, "C$", &combined, 0};
    std::unique_ptr<ElfReltabSectionFromInput> table;

    Linked(uint32_t type, const std::vector<Elf32_Rela> &records,
           ElfFixupTable &fixups = testTable) {
        const char *name = type == SHT_RELA ? ".rela.text" : ".rel.text";
        elf = loadElf(linkObject(LittleEndian).relocations(name, type, ".text", records).build(),
                      errors);
        combined.symbol = &combinedSymbol;
        ElfSection *text = elf.section(".text");
        text->mapIntoCombinedSection(&combined, 0x100);
        text->setAddress(0x1100);
        table = elf.remake(name, fixups, errors);
        table->setArgs(&linkArgs());
    }

    // Runs `check` with the table standing on entry `index`.
    template <typename Check> void at(uint32_t index, Check check) {
        table->each([&](RelocationDescriptor &entry) {
            if (entry.index() == index) check(entry);
            return entry.index() < index;
        });
    }
};

const std::vector<Elf32_Rela> applyRecords = {
    rela(0x4, 4, 1, 8),     rela(0x8, 0, 1, 5),  rela(0xC, 3, 2, -4),
    rela(0x10, 1, 1, 0x10), rela(0x1F, 4, 3, 0), rela(0x1F, 4, 4, 0),
    rela(0x1E, 4, 1, 0),    rela(0x20, 4, 3, 0), rela(0x14, 4, 5, 0x20),
};

std::string reportOf(uint32_t at, uint32_t index, const char *type, const char *text) {
    char line[300];
    snprintf(line, sizeof line,
             "E: In test.o, section .text at 0x%x,\n|\t(relocation record #%u of type %s) refs "
             "symbol \"main\":\n|\t%s",
             at, index, type, text);
    return line;
}

// The value V and the place P that each entry gives its routine, and the
// faults of apply: a field that does not lie inside the section whole, a
// value that does not fit.
TEST(ReltabApply, ValuesPlacesAndFaults) {
    struct Expect {
        bool result;
        uint32_t value, address;
    };
    const Expect rela[] = {
        {true, 0x1110, 0x1104}, // main+8 through C: 0x1000 + 0x108 + 8
        {true, 5, 0x1108},      // no target: the addend
        {true, 0x1100, 0x110C}, // local_fn-4
        {true, 0x1110, 0x1110}, // [.text]+0x10 through C
        {true, 0, 0},           // BYTE at the last byte: written, too large
        {false, 0, 0},          // HALF at the last byte
        {false, 0, 0},          // WORD two bytes before the end
        {false, 0, 0},          // at the end
        {true, 0x1128, 0x1114}, // TABLE: main+0x20, with the table
    };
    for (uint32_t type : {SHT_REL, SHT_RELA}) {
        Linked link(type, applyRecords);
        uint8_t data[32] = {};
        for (uint32_t i = 0; i < applyRecords.size(); ++i) {
            link.at(i, [&](RelocationDescriptor &entry) {
                lastCall = Call{};
                EXPECT_EQ(entry.apply(data + entry.dataOffset()), rela[i].result) << i;
                // A REL record's addend stays in the bytes.
                uint32_t addend =
                    type == SHT_RELA ? 0 : static_cast<uint32_t>(applyRecords[i].r_addend);
                if (i < 4 || i == 8) {
                    EXPECT_EQ(lastCall.value, rela[i].value - addend) << i;
                    EXPECT_EQ(lastCall.address, rela[i].address) << i;
                    EXPECT_EQ(reloc::read32Le(data + entry.dataOffset()), rela[i].value - addend);
                }
            });
        }
        EXPECT_EQ(lastCall.table, &testTable);
        EXPECT_EQ(data[0x1F], 0x08); // the low byte of 0x1108
        EXPECT_EQ(link.errors.reports,
                  (std::vector<std::string>{reportOf(0x1F, 4, "BYTE", "displacement too large"),
                                            reportOf(0x1F, 5, "HALF", "bad offset (=0x1f)"),
                                            reportOf(0x1E, 6, "WORD", "bad offset (=0x1e)"),
                                            reportOf(0x20, 7, "BYTE", "bad offset (=0x20)")}));
    }
}

TEST(ReltabApply, RoutineThatAnswersFalse) {
    Linked link(SHT_RELA, {rela(0x4, 4, 1, 8)});
    uint8_t data[32] = {};
    routineFits = false;
    link.at(0, [&](RelocationDescriptor &entry) { EXPECT_TRUE(entry.apply(data + 4)); });
    routineFits = true;
    EXPECT_EQ(link.errors.reports,
              (std::vector<std::string>{reportOf(4, 0, "WORD", "displacement too large")}));
    EXPECT_EQ(reloc::read32Le(data + 4), 0x1110u); // written all the same
}

TEST(ReltabApply, TypeWithoutRowEndsTheRun) {
    Linked link(SHT_REL, {rela(0x4, 4, 9)});
    uint8_t data[32] = {};
    std::string fatal;
    try {
        link.at(0, [&](RelocationDescriptor &entry) { entry.apply(data + 4); });
    } catch (const FatalReport &stop) {
        fatal = stop.message;
    }
    EXPECT_EQ(fatal, "Relocation type 9 not supported (e_machine = 118)");
}

// A record whose target got no place in the output, though its section is
// allocated and no COMDAT section, is a fault of the link.
TEST(ReltabApplyDeathTest, TargetInAnUnmappedSection) {
    Linked link(SHT_RELA, {rela(0x4, 2, 1, 0)});
    uint8_t data[32] = {};
    EXPECT_DEATH(link.at(0, [&](RelocationDescriptor &entry) { entry.apply(data + 4); }),
                 "In test.o, section .rela.text, entry #0: reloc entry can't ref symbol  for "
                 "section .data@test.o!");
}

RelocationOptions optionsWith(uint8_t relocatable, uint8_t dynamic, uint8_t format = 3) {
    RelocationOptions options;
    options.outputFormat = format;
    options.relocatableOutput = relocatable;
    options.dynamicOutput = dynamic;
    return options;
}

// Whether an entry changes the data in a pass, by the options of the link.
TEST(ReltabApplies, ByOptionsKindAndTarget) {
    struct Case {
        const char *label;
        RelocationOptions options;
        Elf32_Rela record;
        bool rel, rela;
    };
    const Case cases[] = {
        {"static output", optionsWith(0, 0), rela(4, 5, 1), true, true},
        // A dynamic output leaves what binds to a shared object to the
        // dynamic linker; what it doesn't need at run time is patched.
        {"dynamic, undefined target", optionsWith(0, 1), rela(4, 5, 1), false, false},
        {"dynamic, local target", optionsWith(0, 1), rela(4, 3, 1), true, true},
        {"dynamic, other format", optionsWith(0, 1, 2), rela(4, 5, 1), true, true},
        // Partially linked output.
        {"relocatable, GOT kind", optionsWith(1, 0), rela(4, 4, 6), false, false},
        {"relocatable, undefined", optionsWith(1, 0), rela(4, 5, 1), false, false},
        {"relocatable, undefined, COFF", optionsWith(1, 0, 2), rela(4, 5, 1), true, true},
        {"relocatable, carried word", optionsWith(1, 0), rela(4, 4, 1), true, false},
        {"relocatable, pc-relative inside", optionsWith(1, 0), rela(4, 3, 2), true, true},
    };
    for (const Case &c : cases) {
        for (uint32_t type : {SHT_REL, SHT_RELA}) {
            Linked link(type, {c.record});
            link.table->setOptions(c.options);
            link.at(0, [&](RelocationDescriptor &) {
                EXPECT_EQ(link.table->applies(), type == SHT_REL ? c.rel : c.rela)
                    << c.label << (type == SHT_REL ? " REL" : " RELA");
            });
        }
    }
    // The run-time check can be suppressed.
    Linked link(SHT_REL, {rela(4, 5, 1)});
    link.table->setOptions(optionsWith(0, 1));
    link.table->suppressRunTimeCheck();
    link.at(0, [&](RelocationDescriptor &) { EXPECT_TRUE(link.table->applies()); });
}

// The records of an output: offset in the combined section, the mapped
// symbol's index with the type, the offset; a table without addends can't
// say them, and says so once.
TEST(ReltabRecords, ElfRecordsOfEachForm) {
    for (uint32_t type : {SHT_REL, SHT_RELA}) {
        Linked link(type, {rela(0x4, 4, 1, 8), rela(0x8, 0, 2, 5)});
        link.combinedSymbol.position = 7;
        std::vector<std::string> records;
        link.table->each([&](RelocationDescriptor &entry) {
            entry.eachElfRecord([&](const Elf32_Rela &r) {
                records.push_back(std::to_string(r.r_offset) + " " + std::to_string(r.r_info) +
                                  " " + std::to_string(r.r_addend));
                return true;
            });
            return true;
        });
        bool rela = type == SHT_RELA;
        // Offsets count the target's place in the combined section.
        const std::vector<std::string> withAddends = {"260 1793 272", "264 2 5"};
        const std::vector<std::string> withoutAddends = {"260 1793 0", "264 2 0"};
        EXPECT_EQ(records, rela ? withAddends : withoutAddends);
        std::vector<std::string> reports;
        if (!rela)
            reports.push_back("E: Object file test.o cannot be incrementally linked;\n|\tit was "
                              "produced with a back-level assembler.");
        EXPECT_EQ(link.errors.reports, reports);
    }
}

// Compact classes by machine: 0 a word to add the load base to, 1 a word
// relative to the place, -2 no record, -1 none possible.
TEST(ReltabCompact, ClassesByMachine) {
    struct Case {
        uint16_t machine;
        std::vector<Elf32_Rela> records;
        std::vector<int32_t> classes;
    };
    const Case cases[] = {
        {EM_386, {rela(0, 4, 1), rela(4, 4, 2), rela(8, 4, 4)}, {0, 1, -1}},
        {EM_MIPS,
         {rela(0, 4, 2), rela(4, 4, 7), rela(8, 4, 0x18), rela(12, 4, 1)},
         {0, -2, -2, -1}},
        {EM_PPC,
         {rela(0, 4, 1), rela(0, 3, 0x65), rela(4, 4, 1), rela(8, 4, 0xB9), rela(12, 4, 0xBA)},
         {-2, -2, 0, -2, -1}},
        {EM_ARM,
         {rela(0, 4, 1), rela(0, 3, 0x1B), rela(4, 4, 1), rela(4, 4, 0x56), rela(8, 4, 1),
          rela(12, 4, 0x43), rela(16, 4, 0x57)},
         {-2, -2, -2, -2, 0, -2, -1}},
        {0x5F,
         {rela(0, 4, 1), rela(4, 4, 0x3A), rela(8, 4, 0x3B), rela(12, 4, 2)},
         {0, -2, -1, -1}},
        {EM_SPARC, {rela(0, 4, 1)}, {-1}},
    };
    for (const Case &c : cases) {
        ReltabReports errors;
        LoadedElf elf = loadElf(linkObject(BigEndian, c.machine)
                                    .relocations(".rela.text", SHT_RELA, ".text", c.records)
                                    .build(),
                                errors);
        std::vector<int32_t> classes;
        elf.table(".rela.text")->each([&](RelocationDescriptor &entry) {
            classes.push_back(entry.compactClass());
            return true;
        });
        EXPECT_EQ(classes, c.classes) << c.machine;
    }
}

// A pc-relative entry becomes the machine's PLT type; others stay.  A call
// takes the call type of the output's machine.
TEST(ReltabRewrites, PltReferencesAndCalls) {
    ReltabReports errors;
    LoadedElf elf = loadElf(linkObject(LittleEndian, EM_386)
                                .relocations(".rel.text", SHT_REL, ".text",
                                             {rela(0, 4, 1), rela(4, 4, 2), rela(8, 4, 4)})
                                .build(),
                            errors);
    ElfReltabSectionFromInput *table = elf.table(".rel.text");
    std::vector<std::string> names;
    table->each([&](RelocationDescriptor &entry) {
        EXPECT_TRUE(entry.replaceWithPltRef());
        names.push_back(entry.typeName());
        return true;
    });
    EXPECT_EQ(names, (std::vector<std::string>{"32", "PLT32", "PLT32"}));

    ElfObjectFile armOutput(FileName::keep(std::make_unique<FileName>("out")));
    armOutput.header.e_machine = EM_ARM;
    table->preprocessReferences(armOutput, RelocationOptions{});
    table->each([&](RelocationDescriptor &entry) {
        EXPECT_TRUE(entry.replaceWithCall());
        EXPECT_EQ(entry.elfType(), ElfUtil::callType(EM_ARM));
        return true;
    });
}

TEST(ReltabRewritesDeathTest, TableWithoutPltType) {
    Linked link(SHT_REL, {rela(0, 4, 2)}, elfFixupTableFor(EM_ARM, false));
    EXPECT_DEATH(link.at(0, [&](RelocationDescriptor &entry) { entry.replaceWithPltRef(); }),
                 "ElfReltab::replaceWithPltRef -- not PLT type!");
}

// The value of the next entry, if it has the type asked for; the walk stays
// where it was.
TEST(ReltabNext, NextEntryIs) {
    Linked link(SHT_RELA, {rela(0x4, 4, 1, 8), rela(0x8, 3, 2, 4), rela(0xC, 0, 1, 3)});
    std::vector<std::string> seen;
    link.table->each([&](RelocationDescriptor &entry) {
        uint32_t value = 0xDEAD;
        bool two = entry.nextEntryIs(2, value);
        seen.push_back(std::to_string(entry.index()) + (two ? " yes " : " no ") +
                       std::to_string(value));
        return true;
    });
    // Entry 1 is local_fn+4 through C: 0x1000 + 0x104 + 4.
    EXPECT_EQ(seen, (std::vector<std::string>{"0 yes 4360", "1 no 57005", "2 no 57005"}));
}

// A new target replaces what the record says, for the entry the table
// stands on; the addend goes with it.
TEST(ReltabReset, NewSectionsAndSymbols) {
    for (uint32_t type : {SHT_REL, SHT_RELA}) {
        Linked link(type, {rela(0x4, 4, 1, 8), rela(0x8, 3, 1, 4)});
        ElfSection *data = link.elf.section(".data");
        TestSymbol other(&link.output, "other");
        link.at(0, [&](RelocationDescriptor &entry) { entry.resetTarget(data, 12); });
        link.at(1, [&](RelocationDescriptor &entry) {
            entry.resetTarget(data, 1);
            entry.resetTarget(&other, -2);
        });
        std::vector<std::string> expected = {"4 1 [.data] 12", "8 1 other -2"};
        EXPECT_EQ(entriesOf(*link.table), expected);
        // An unmapped section keeps its flags; a mapped one is marked.
        EXPECT_EQ(data->elfHeader()->sh_flags & 0x400, 0u);
        link.at(0, [&](RelocationDescriptor &entry) {
            entry.resetTarget(link.elf.section(".text"), 0);
        });
        EXPECT_EQ(link.elf.section(".text")->elfHeader()->sh_flags & 0x400, 0x400u);
        EXPECT_EQ(entriesOf(*link.table)[0], "4 1 [.text] 0");
    }
}

// On ARM, calls between ARM and Thumb code keep their interworking types
// only when the target is a function of the other kind.
TEST(ReltabPreprocess, ArmInterworkingCalls) {
    ReltabReports errors;
    ElfBuilder b(LittleEndian);
    b.machine(EM_ARM)
        .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(32))
        .symbol("thumb", 0, 4, STB_GLOBAL, 0xF, ".text")
        .symbol("arm", 4, 4, STB_GLOBAL, 0xE, ".text")
        .symbol("plain", 8, 4, STB_GLOBAL, STT_FUNC, ".text")
        .relocations(".rel.text", SHT_REL, ".text",
                     {rela(0, 1, 0x40), rela(4, 3, 0x40), rela(8, 2, 0x41), rela(12, 1, 0x41),
                      rela(16, 2, 0x42), rela(20, 0, 0x42), rela(24, 3, 1)});
    LoadedElf elf = loadElf(b.build(), errors);
    ElfObjectFile output(FileName::keep(std::make_unique<FileName>("out")));
    output.header.e_machine = EM_ARM;
    ElfReltabSectionFromInput *table = elf.table(".rel.text");
    table->preprocessReferences(output, RelocationOptions{});
    EXPECT_EQ(table->outputElfFile(), &output);
    std::vector<uint32_t> types;
    table->each([&](RelocationDescriptor &entry) {
        types.push_back(entry.elfType());
        return true;
    });
    EXPECT_EQ(types, (std::vector<uint32_t>{0x40, 2, 0x41, 0x22, 0x42, 0x23, 1}));
}

// An output file whose three linker tables are test tables.
class TablesOutput : public ElfObjectFile {
public:
    explicit TablesOutput(uint16_t machine)
        : ElfObjectFile(FileName::keep(std::make_unique<FileName>("out"))) {
        header.e_machine = machine;
    }
    TestGot first, second, third;
    GotTable *firstLinkerTable() override { return &first; }
    GotTable *secondLinkerTable() override { return &second; }
    GotTable *thirdLinkerTable() override { return &third; }
};

// Machine-specific entries reserve entries in the output's linker tables:
// a global symbol by itself, anything else by its section and offset.
TEST(ReltabPreprocess, SpecialReferences) {
    struct Case {
        uint16_t machine;
        Elf32_Rela record;
        std::vector<std::string> first, second, third;
    };
    const Case cases[] = {
        {EM_PPC, rela(4, 4, 0x6A, 2), {"addSymbol main 2"}, {}, {}},
        {EM_PPC_IBM, rela(4, 3, 0x6B, 2), {}, {"addSection .text 6"}, {}},
        {EM_PPC, rela(4, 4, 0x6C, 2), {}, {}, {}},
        {EM_MIPS, rela(4, 4, 0x14, 1), {"addSection .text 9 32768"}, {}, {}},
        {EM_MIPS, rela(4, 4, 0x15, 1), {}, {}, {}},
        {EM_386, rela(4, 4, 0x6A, 1), {}, {}, {}},
    };
    for (const Case &c : cases) {
        ReltabReports errors;
        LoadedElf elf = loadElf(linkObject(BigEndian, c.machine)
                                    .relocations(".rela.text", SHT_RELA, ".text", {c.record})
                                    .build(),
                                errors);
        TablesOutput output(c.machine);
        ElfReltabSectionFromInput *table = elf.table(".rela.text");
        table->setErrorContext(errors);
        table->each([&](RelocationDescriptor &entry) {
            // The table is asked whatever the kind; only machine-specific
            // entries act.
            table->preprocessSpecialReference(entry, output, RelocationOptions{});
            return true;
        });
        EXPECT_EQ(output.first.calls, c.first) << c.machine << " " << (c.record.r_info & 0xFF);
        EXPECT_EQ(output.second.calls, c.second) << c.machine;
        EXPECT_EQ(output.third.calls, c.third) << c.machine;
    }
}

// The third table's type has no row of its own in the PowerPC table: an
// entry of another table may still ask for it.  The mapping of the target
// is asked first, and reports an unmapped section; with no target at all
// the entry reports.
TEST(ReltabPreprocess, SpecialReferencesOfOtherEntries) {
    ReltabReports errors;
    LoadedElf elf = loadElf(linkObject(BigEndian, EM_PPC)
                                .relocations(".rela.text", SHT_RELA, ".text", {rela(4, 4, 1)})
                                .build(),
                            errors);
    TablesOutput output(EM_PPC);
    TestEntry entry;
    entry.sectionOf = elf.section(".text");
    entry.kind = ReferenceKind::machineSpecific;
    entry.type = 0x7A;
    entry.target = elf.section(".data");
    entry.addendOf = 8;
    entry.errors = &errors;
    ElfReltabSectionFromInput *table = elf.table(".rela.text");
    table->preprocessSpecialReference(entry, output, RelocationOptions{});
    entry.target = nullptr;
    table->preprocessSpecialReference(entry, output, RelocationOptions{});
    EXPECT_EQ(output.third.calls, (std::vector<std::string>{"addSection .data 8"}));
    EXPECT_EQ(errors.reports, (std::vector<std::string>{
                                  "E: Reference to unmapped section\n|\t\".data\" (of test.o)",
                                  "E: In test.o, section .text at 0x0,\n|\t(relocation "
                                  "record #0 of type <122>) refs section \"???\":\n|\t"
                                  "Target symbol/section is missing."}));
}

// On ARM a few types are always wanted at run time; outside ARM a dynamic
// output needs no dynamic entry for a relocation's symbol.
TEST(ReltabDynamic, RunTimeAndDynamicEntries) {
    for (uint16_t machine : {EM_ARM, EM_386}) {
        ReltabReports errors;
        LoadedElf elf = loadElf(
            linkObject(LittleEndian, machine)
                .relocations(".rel.text", SHT_REL, ".text", {rela(0, 3, 0x50), rela(4, 3, 0x52)})
                .build(),
            errors);
        Args &args = linkArgs();
        ElfReltabSectionFromInput *table = elf.table(".rel.text");
        Symbol *main = nullptr;
        elf.object->eachSymbol([&](Symbol &s) {
            if (std::string(s.name()) == "main") main = &s;
            return true;
        });
        table->each([&](RelocationDescriptor &entry) {
            EXPECT_EQ(entry.neededAtRunTime(args), machine == EM_ARM) << machine;
            args.relocationOptions.wantsDynamicEntries = 1;
            args.relocationOptions.dynamicOutput = 1;
            EXPECT_EQ(entry.needsDynamicEntry(main, args),
                      machine == EM_ARM && main->needsDynamicEntry(args))
                << machine;
            args.relocationOptions.dynamicOutput = 0;
            EXPECT_EQ(entry.needsDynamicEntry(main, args), main->needsDynamicEntry(args));
            args.relocationOptions.wantsDynamicEntries = 0;
            return true;
        });
    }
}

} // namespace
