// ELF sections and the ELF object file: what sections answer from their
// headers, COMDAT and directive sections, version definitions, and whether
// two files may be linked together.
#include "ElfTestSupport.h"
#include "elf/Elf32Extractor.h"
#include "elf/ElfImportSectionFromInput.h"
#include "elf/ElfSymtabSection.h"
#include "input/FileIdentity.h"
#include "input/FileName.h"
#include "kit/ElfBuilder.h"
#include "kit/FakeObjectFile.h"
#include "support/toggles.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <set>

namespace {

TEST(ElfSection, AnswersFromItsHeader) {
    CapturingErrors errors;
    std::vector<uint8_t> code{1, 2, 3, 4, 5, 6, 7, 8};
    auto object = loadElf(ElfBuilder(BigEndian)
                              .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, code)
                              .section(".bss", SHT_NOBITS, SHF_ALLOC | SHF_WRITE, {}, 16)
                              .section(".comment", SHT_PROGBITS, 0, bytes(3))
                              .section(".note", SHT_NOTE, 0, bytes(4))
                              .section(".excl", SHT_PROGBITS, SHF_ALLOC | SHF_EXCLUDE, bytes(4))
                              .symbol("x", 0, 0, STB_GLOBAL, STT_NOTYPE, ".text")
                              .build(),
                          errors);
    ASSERT_NE(object, nullptr);
    ElfSection &text = *object->sectionAt(1), &bss = *object->sectionAt(2),
               &comment = *object->sectionAt(3), &note = *object->sectionAt(4),
               &excluded = *object->sectionAt(5);
    EXPECT_TRUE(text.isExecutable() && text.isAllocated() && !text.isWritable());
    EXPECT_EQ(text.size(), 8u);
    EXPECT_EQ(text.alignment(), 4u);
    EXPECT_EQ(text.sectionType(), SectionType::text);
    EXPECT_EQ(text.asElfSection(), &text);
    EXPECT_EQ(text.objectFile(), object.get());
    std::vector<uint8_t> seen;
    text.eachRawDataChunk(
        [&](uint32_t offset, uint32_t size, uint8_t *data, RelocationsIterator *) {
            EXPECT_EQ(offset, 0u);
            seen.assign(data, data + size);
            return true;
        });
    EXPECT_EQ(seen, code);
    EXPECT_TRUE(bss.isBss());
    EXPECT_EQ(bss.size(), 16u);
    EXPECT_EQ(bss.fileSize(), 0u);
    EXPECT_EQ(bss.sectionType(), SectionType::bss);
    EXPECT_EQ(comment.sectionType(), SectionType::info);
    EXPECT_EQ(note.sectionType(), SectionType::note);
    EXPECT_FALSE(excluded.isAllocated());

    text.setAddress(0x400);
    EXPECT_EQ(text.address(), 0x400u);
    EXPECT_EQ(text.elfHeader()->sh_addr, 0x400u);
    text.discard();
    EXPECT_TRUE(text.isDiscarded());
    EXPECT_FALSE(text.isAllocated() || text.isExecutable() || text.isWritable());

    // Neither index 0 nor the tables are visited.
    std::vector<std::string> names;
    object->eachSection([&](Section &s) { return names.push_back(s.name()), true; });
    EXPECT_EQ(names, (std::vector<std::string>{".text", ".bss", ".comment", ".note", ".excl"}));
}

// Sections built by hand inside a hand-made object file.
class HandMadeFile : public ::testing::Test {
protected:
    std::unique_ptr<ElfObjectFile> file;

    void make(uint16_t type, std::vector<Elf32_Shdr> headers) {
        static FileName &name = FileName::keep(std::make_unique<FileName>("hand.o"));
        Elf32_Ehdr header{};
        header.e_type = type;
        header.e_shnum = static_cast<uint16_t>(headers.size());
        auto vector = std::make_unique<std::unique_ptr<ElfSection>[]>(headers.size());
        file = std::make_unique<ElfObjectFile>(name);
        for (size_t i = 1; i < headers.size(); ++i)
            vector[i] =
                std::make_unique<ElfStrtabSectionFromFile>("s", nullptr, headers[i], file.get());
        file->init(header, std::move(vector), 0);
    }
    static Elf32_Shdr of(uint32_t type, uint32_t flags = 0, uint32_t link = 0, uint32_t info = 0) {
        Elf32_Shdr h{};
        h.sh_type = type, h.sh_flags = flags, h.sh_link = link, h.sh_info = info;
        h.sh_size = 12;
        return h;
    }
};

TEST_F(HandMadeFile, BindingPartnersAreProgramSectionsOnly) {
    make(ET_REL, {of(0), of(SHT_PROGBITS, 0, 2), of(SHT_SYMTAB), of(SHT_PROGBITS, 0, 4),
                  of(SHT_NOBITS), of(SHT_NOTE, 0, 9)});
    EXPECT_EQ(file->sectionAt(1)->boundSection(), file->sectionAt(1));
    EXPECT_EQ(file->sectionAt(3)->boundSection(), file->sectionAt(4));
    EXPECT_EQ(file->sectionAt(5)->boundSection(), file->sectionAt(5));
    EXPECT_EQ(file->symtabAt(2), nullptr);
    EXPECT_EQ(file->symtabAt(77), nullptr);
    EXPECT_EQ(file->strtabAt(1), file->sectionAt(1));
}

TEST_F(HandMadeFile, ComdatSelection) {
    make(ET_REL, {of(0), of(SHT_COMDAT, 0, 0, 1), of(SHT_COMDAT, 0, 0, 2), of(SHT_COMDAT, 0, 0, 3),
                  of(SHT_COMDAT, SHF_ORDERED, 0, 3)});
    EXPECT_EQ(file->sectionAt(1)->comdatSelection(), 1u);
    EXPECT_EQ(file->sectionAt(2)->comdatSelection(), 0u);
    EXPECT_EQ(file->sectionAt(3)->comdatSelection(), 2u);
    EXPECT_EQ(file->sectionAt(4)->comdatSelection(), 0u);
    EXPECT_TRUE(file->sectionAt(1)->isComdat());
}

TEST_F(HandMadeFile, SectionsOfASharedObjectAreNeverAllocated) {
    make(ET_DYN, {of(0), of(SHT_PROGBITS, SHF_ALLOC | SHF_WRITE)});
    ElfSection &s = *file->sectionAt(1);
    EXPECT_FALSE(s.isAllocated());
    EXPECT_EQ(s.fileSize(), 0u);
    EXPECT_TRUE(s.isWritable());
    EXPECT_FALSE(file->isRelocatable());
}

TEST_F(HandMadeFile, FaultsOfCallersBotch) {
    make(ET_REL, {of(0), of(SHT_PROGBITS)});
    ElfSection &s = *file->sectionAt(1);
    EXPECT_DEATH(s.setDynIndex(3), "ElfSection::setDynIndex\\(3\\) \\[\"s\"\\]");
    ElfObjectFile other(*file->fileName);
    EXPECT_DEATH(s.setObjectFile(&other), "Attempting to alter objfile of section");
    EXPECT_DEATH(file->strtabAt(5), "Bad string table reference \\(=5\\) in file hand.o");
    EXPECT_DEATH(file->reltabAt(1), "Bad relocation table reference \\(=1\\) in file hand.o");
    s.setObjectFile(file.get()); // the same file again is no fault
}

TEST_F(HandMadeFile, FixedAnswersOfEveryElfSection) {
    make(ET_REL, {of(0), of(SHT_STRTAB, 0x01000000)});
    Elf32_Shdr h = of(SHT_COMDAT, SHF_ALLOC | 0x02000000);
    h.sh_offset = 0x40, h.sh_addralign = 8;
    ElfDiscardedComdat s("c", h, file.get());
    EXPECT_EQ((std::vector<bool>{s.isLoadable(), s.isContentSection(), s.isAbsolute(), s.isNote(),
                                 s.isValid(), s.attributeA(), s.attributeB(), s.attributeC(),
                                 s.attributeD(), s.attributeE(), s.attributeF(), s.adjustSize(),
                                 s.reservedPredicate(), s.isDiscarded()}),
              (std::vector<bool>{true, true, false, false, true, false, true, false, true, true,
                                 false, false, false, true}));
    EXPECT_TRUE(file->sectionAt(1)->attributeC());
    EXPECT_EQ((std::vector<const void *>{s.sectionSymbol(), s.sectionClass(), s.namedGroup(),
                                         s.relocations(), s.outputRelocations(), s.asSymtab(),
                                         s.asStrtab(), s.asReltab(), s.asElfOutputSection(),
                                         s.asImportSection(), s.associatedDynReltab()}),
              std::vector<const void *>(11, nullptr));
    EXPECT_EQ((std::vector<uint32_t>{s.dynIndex(), s.groupOffset(), s.namedGroupOffset(),
                                     s.inputAddress(), s.fileOffset(), s.size(), s.alignment()}),
              (std::vector<uint32_t>{0, 0, 0, 0, 0x40, 12, 8}));
    s.setIndex(7), s.setLoadAddress(0x80), s.setFileOffset(0x44);
    EXPECT_EQ((std::vector<uint32_t>{s.index(), s.address(), s.loadAddress(), s.fileOffset()}),
              (std::vector<uint32_t>{7, 0x80, 0x80, 0x44}));
    s.addRelocations(*file->sectionAt(1)); // nothing to do for a discarded section
    EXPECT_DEATH(s.setAssociatedDynReltab(nullptr),
                 "ElfSection::setAssociatedDynReltab\\(\\) \\[\"c\"\\]");
    EXPECT_DEATH(file->sectionAt(1)->addRelocations(s),
                 "In file hand.o: Relocation section c references a non-data section s");
}

TEST(ElfObjectFile, AnswersFromTheFileHeader) {
    static FileName &name = FileName::keep(std::make_unique<FileName>("h.o"));
    struct Case {
        uint16_t machine;
        uint32_t coff, bsd;
    } cases[] = {{3, 0x14C, 0}, {4, 0x88, 2}, {2, 0, 3}, {8, 0, 0}};
    for (const Case &c : cases) {
        Elf32_Ehdr h{};
        h.e_machine = c.machine;
        ElfObjectFile file(name, h, nullptr, 0);
        EXPECT_EQ(file.machine(), c.machine);
        EXPECT_EQ(file.coffMachine(), c.coff) << c.machine;
        EXPECT_EQ(file.bsdMachine(), c.bsd) << c.machine;
    }
    Elf32_Ehdr h{};
    h.e_type = ET_EXEC, h.e_flags = 0x10, h.e_entry = 0x8000, h.e_ident[EI_DATA] = ELFDATA2MSB;
    ElfObjectFile file(name, h, nullptr, 0);
    EXPECT_EQ(file.formatKind(), elfFormat);
    EXPECT_TRUE(file.isReentrant() && file.isRelocatable() && !file.isSharedObject());
    EXPECT_FALSE(file.isLittleEndian());
    EXPECT_EQ(file.entry(), 0x8000u);
    EXPECT_EQ(file.elfHeader(), &file.header);
    EXPECT_EQ(file.asElfObjectFile(), &file);
    // Without a symbol table there are no symbols.
    EXPECT_EQ(file.symbolCount(), 0u);
    file.eachSymbol([](Symbol &) { return ADD_FAILURE(), true; });
    // What the linking side's output files answer: nothing here.
    file.reservedElfOperation1(), file.reservedElfOperation2(), file.setSoname("x");
    EXPECT_STREQ(file.name(), "h.o");
    uint32_t out = 9;
    EXPECT_EQ((std::vector<uint32_t>{
                  file.reservedElfQuery1(), file.reservedElfQuery2(), file.reservedElfQuery3(),
                  file.reservedElfQuery4(&out), out, file.reservedElfQuery5(),
                  file.reservedElfQuery6(), file.reservedElfQuery7(), file.reservedElfQuery8(),
                  file.reservedElfQuery9(), file.reservedElfQuery10(), file.reservedElfQuery11(),
                  file.reservedElfQuery12(), file.hasComdat()}),
              std::vector<uint32_t>(14, 0));
    EXPECT_EQ((std::vector<const void *>{file.versionDefinition(1), file.firstLinkerTable(),
                                         file.secondLinkerTable(), file.thirdLinkerTable()}),
              std::vector<const void *>(4, nullptr));
}

// On ARM a section combines under the name of the section it is bound to,
// as it stands; elsewhere the name is cut at "%" or "$".
TEST(ElfSection, CombinedNamesOnArmAndElsewhere) {
    for (uint16_t machine : {EM_ARM, EM_386}) {
        CapturingErrors errors;
        auto object = loadElf(ElfBuilder()
                                  .machine(machine)
                                  .section(".text$a", SHT_PROGBITS, SHF_ALLOC, bytes(4))
                                  .section(".text.f", SHT_PROGBITS, SHF_ALLOC, bytes(4))
                                  .link(".text$a")
                                  .symbol("f", 0, 0, STB_GLOBAL, STT_FUNC, ".text.f")
                                  .build(),
                              errors);
        ASSERT_NE(object, nullptr);
        const char *combined = machine == EM_ARM ? ".text$a" : ".text";
        EXPECT_STREQ(object->sectionAt(1)->combinedSectionName(), combined);
        EXPECT_STREQ(object->sectionAt(2)->combinedSectionName(), combined);
    }
    // The first ARM section registered the toggle, under both its names.
    EXPECT_NE(toggleTable().find("arch5"), nullptr);
    EXPECT_EQ(toggleTable().find("ver5"), toggleTable().find("arch5"));
}

TEST(ElfComdat, FlagsFromTheLinkedSectionAndDiscardedLocals) {
    struct Taken : ComdatTable {
        std::set<std::string> names{".gnu.linkonce.t.f"};
        std::vector<std::string> added;
        bool contains(const char *name) override { return names.count(name) != 0; }
        void add(ElfSection &section, ErrorContext &) override { added.push_back(section.name()); }
    } taken;
    auto image = ElfBuilder()
                     .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(8))
                     .section(".gnu.linkonce.t.f", SHT_COMDAT, SHF_WRITE, bytes(8))
                     .link(".text")
                     .section(".gnu.linkonce.t.g", SHT_COMDAT_2, SHF_ALLOC, bytes(8))
                     .symbol("local_f", 0, 0, STB_LOCAL, STT_NOTYPE, ".gnu.linkonce.t.f")
                     .symbol("local_g", 0, 0, STB_LOCAL, STT_NOTYPE, ".gnu.linkonce.t.g")
                     .symbol("f", 0, 8, STB_GLOBAL, STT_FUNC, ".gnu.linkonce.t.f")
                     .build();
    CapturingErrors errors;
    auto file = inputOf(image);
    ElfObjectFileFromInput object(*file, errors, nullptr, &taken);
    ASSERT_TRUE(object.isUsable());
    EXPECT_TRUE(errors.reports.empty());
    EXPECT_TRUE(object.hasComdat());
    EXPECT_EQ(taken.added, (std::vector<std::string>{".gnu.linkonce.t.f", ".gnu.linkonce.t.g"}));
    ElfSection &f = *object.sectionAt(2);
    EXPECT_TRUE(f.isDiscarded());
    EXPECT_DEATH(f.eachRawDataChunk(
                     [](uint32_t, uint32_t, uint8_t *, RelocationsIterator *) { return true; }),
                 "Discarded comdat .gnu.linkonce.t.f \\(of test.o\\) is being extracted!");
    EXPECT_FALSE(object.sectionAt(3)->isDiscarded());
    // The local of the discarded section is gone; the count is exact.
    std::vector<std::string> names;
    object.eachSymbol([&](Symbol &s) { return names.push_back(s.name()), true; });
    EXPECT_EQ(names, (std::vector<std::string>{"local_g", "f"}));
    EXPECT_EQ(object.symbolCount(), 2u);

    // Without a table the COMDAT section takes write, alloc and execute
    // from .text and drops its own write bit.
    CapturingErrors quiet;
    auto kept = loadElf(image, quiet);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->sectionAt(2)->elfHeader()->sh_flags, SHF_ALLOC | SHF_EXECINSTR);
    EXPECT_EQ(kept->symbolCount(), 3u);
}

TEST(ElfDirectives, TextsOfDirectiveSections) {
    std::vector<uint8_t> two{'-', 'a', 0, '-', 'b', 0};
    CapturingErrors errors;
    auto object = loadElf(ElfBuilder()
                              .section("beforeinit", SHT_DIRECTIVES, 0, {'x', 0})
                              .section("dirs", SHT_DIRECTIVES, 0, two)
                              .section("xbefore", SHT_DIRECTIVES, 0, {'y'})
                              .symbol("s", 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_ABS)
                              .build(),
                          errors);
    ASSERT_NE(object, nullptr);
    std::vector<std::string> before, other;
    object->eachBeforeDirective([&](const char *t) { return before.push_back(t), true; });
    object->eachDirective([&](const char *t) { return other.push_back(t), true; });
    EXPECT_EQ(before, (std::vector<std::string>{"x\n", "y"}));
    EXPECT_EQ(other, (std::vector<std::string>{"-a\n-b\n"}));
    EXPECT_EQ(object->sectionAt(1), nullptr);
}

// Version definition records, little-endian: (index, names...) each, with
// the auxiliary records right behind their record.
std::vector<uint8_t> verdefs(const std::vector<std::pair<uint16_t, std::vector<uint32_t>>> &records,
                             bool lastEnds = true) {
    std::vector<uint8_t> out;
    auto put = [&](uint32_t v, int width) {
        for (int i = 0; i < width; ++i)
            out.push_back(uint8_t(v >> (8 * i)));
    };
    for (size_t r = 0; r < records.size(); ++r) {
        const auto &[index, names] = records[r];
        uint32_t size = 20 + 8 * static_cast<uint32_t>(names.size());
        put(1, 2), put(0, 2), put(index, 2), put(static_cast<uint32_t>(names.size()), 2);
        put(0x1234, 4), put(20, 4), put(r + 1 == records.size() && lastEnds ? 0 : size, 4);
        for (size_t n = 0; n < names.size(); ++n)
            put(names[n], 4), put(n + 1 == names.size() ? 0 : 8, 4);
    }
    return out;
}

// A shared object with a version definition section of `count` records;
// its .dynstr holds "VERS_1" at offset 1, "VERS_2" at 8 and "libv" at 15.
ElfBuilder versioned(std::vector<uint8_t> definitions, uint32_t count) {
    ElfBuilder b;
    b.type(ET_DYN)
        .dynamicSymbols()
        .symbol("VERS_1", 0, 0, STB_GLOBAL, STT_OBJECT, SHN_ABS)
        .symbol("VERS_2", 0, 0, STB_GLOBAL, STT_OBJECT, SHN_ABS)
        .symbol("libv", 0, 0, STB_GLOBAL, STT_OBJECT, SHN_ABS)
        .section(".gnu.version_d", SHT_GNU_VERDEF, SHF_ALLOC, definitions)
        .link(".dynstr")
        .info(count);
    return b;
}

TEST(ElfVersions, DefinitionsSortedByIndexWithBadRecordsDropped) {
    CapturingErrors errors;
    auto object = loadElf(
        versioned(verdefs({{1, {15}}, {3, {8, 1}}, {3, {1}}, {0, {1}}}), 4).build(), errors);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(errors.reports,
              (std::vector<std::string>{
                  "W: test.o:  Verdef record #3 has index(=3) that is duplicated in another record",
                  "W: test.o:  Verdef record #4 has index(=0) that is out or range(max=4)"}));
    VerDef *first = object->versionDefinition(1);
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->hasName("libv"));
    VerDef *third = object->versionDefinition(3);
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(third->count, 2);
    EXPECT_TRUE(third->hasName("VERS_1")); // the second name counts too
    EXPECT_STREQ(third->names[0].c_str(), "VERS_2");
    EXPECT_EQ(object->versionDefinition(2)->count, 0); // no record
    EXPECT_EQ(object->versionDefinition(0), first);
    EXPECT_EQ(object->versionDefinition(5), nullptr);

    VerDef copy = *third;
    third->names[0] = "changed";
    EXPECT_STREQ(copy.names[0].c_str(), "VERS_2");
    Elf32_Verdef raw;
    copy.toRaw(raw);
    EXPECT_EQ(raw.vd_ndx, 3);
    EXPECT_EQ(raw.vd_aux, 20u);
    EXPECT_EQ(raw.vd_next, 2 * 8 + 20u);

    // A second record that ends the chain leaves the third empty.
    auto file = inputOf(versioned(verdefs({{1, {1}}, {2, {8}}}), 3).build());
    Elf32Reader reader(*file);
    Elf32Extractor extractor(reader);
    uint32_t count = 0;
    auto read = extractor.versionDefinitions(count);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(count, 3u);
    ASSERT_EQ(read->size(), 4u);
    EXPECT_EQ((*read)[1].index, 2);
    EXPECT_EQ((*read)[2].count, 0);
    EXPECT_EQ((*read)[2].index, 0);
}

// Damaged counts: a definition that claims 0xFFFF names and a requirement
// that claims 0xFFFF auxiliary records keep only what their sections can
// hold (8 bytes a name, 16 a requirement), never a huge number of strings.
TEST(ElfVersions, DamagedCountsKeepWhatTheSectionCanHold) {
    std::vector<uint8_t> definitions = verdefs({{1, {1}}}); // 28 bytes
    definitions[6] = definitions[7] = 0xFF;
    // vn_cnt 0xFFFF, vn_file "libv", vn_aux 16; one auxiliary: other 7,
    // name "VERS_1".
    std::vector<uint8_t> needs{1, 0, 0xFF, 0xFF, 15, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0,
                               0, 0, 0,    0,    0,  0, 7, 0, 1,  0, 0, 0, 0, 0, 0, 0};
    auto file = inputOf(versioned(definitions, 1)
                            .section(".gnu.version_r", 0x6FFFFFFE, SHF_ALLOC, needs)
                            .link(".dynstr")
                            .info(1)
                            .build());
    Elf32Reader reader(*file);
    Elf32Extractor extractor(reader);
    uint32_t count = 0;
    auto defined = extractor.versionDefinitions(count);
    ASSERT_NE(defined, nullptr);
    EXPECT_EQ((*defined)[0].count, 28 / 8);
    EXPECT_STREQ((*defined)[0].names[2].c_str(), "VERS_1");
    auto needed = extractor.readVersionRequirements(
        extractor.sectionHeader(extractor.findSectionOfType(0x6FFFFFFE)));
    ASSERT_NE(needed, nullptr);
    const VerNeed &need = (*needed)[0];
    EXPECT_EQ(need.count, 32 / 16);
    EXPECT_EQ(need.file, "libv");
    ASSERT_NE(need.auxiliary(1), nullptr);
    EXPECT_EQ(need.auxiliary(0)->name, "VERS_1");
    EXPECT_EQ(need.auxiliary(0)->other, 7);
}

struct CompatCase {
    const char *what;
    uint16_t machineA;
    uint32_t flagsA;
    uint16_t machineB;
    uint32_t flagsB;
    bool bigB;
    const char *text; // null: compatible
    bool possibly, byteOrder;
};

class Compatibility : public ::testing::TestWithParam<CompatCase> {};

TEST_P(Compatibility, OfTwoFiles) {
    const CompatCase &c = GetParam();
    static FileName &nameA = FileName::keep(std::make_unique<FileName>("a.o"));
    static FileName &nameB = FileName::keep(std::make_unique<FileName>("b.o"));
    Elf32_Ehdr a{}, b{};
    a.e_machine = c.machineA, a.e_flags = c.flagsA, a.e_ident[EI_DATA] = ELFDATA2LSB;
    b.e_machine = c.machineB, b.e_flags = c.flagsB;
    b.e_ident[EI_DATA] = c.bigB ? ELFDATA2MSB : ELFDATA2LSB;
    ElfObjectFile fileA(nameA, a, nullptr, 0), fileB(nameB, b, nullptr, 0);
    IncompatibilityReason *reason = fileA.incompatibility(fileB);
    EXPECT_EQ(fileA.isCompatibleWith(fileB), c.text == nullptr) << c.what;
    if (!c.text) {
        EXPECT_EQ(reason, nullptr) << c.what;
        return;
    }
    ASSERT_NE(reason, nullptr) << c.what;
    EXPECT_STREQ(reason->text(), c.text) << c.what;
    EXPECT_EQ(reason->possibly(), c.possibly) << c.what;
    EXPECT_EQ(reason->byteOrder(), c.byteOrder) << c.what;
    EXPECT_EQ(reason->secondName(), &nameA) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Rules, Compatibility,
    ::testing::Values(
        CompatCase{"same machine", 3, 0, 3, 0, false, nullptr, false, false},
        CompatCase{"two PowerPC numbers", 0x11, 0, 0x14, 0, false, nullptr, false, false},
        CompatCase{"machine 0 matches all", 0, 0, 8, 0, false, nullptr, false, false},
        CompatCase{"other machines", 3, 0, 8, 0, false, "target machines don't match", false,
                   false},
        CompatCase{"byte orders", 3, 0, 3, 0, true, "endian mismatch", false, true},
        CompatCase{"ARM stack checks", 0x28, 0x20, 0x28, 0x40, false,
                   "stack check value does not match", true, false},
        CompatCase{"ARM stack check taken over", 0x28, 0, 0x28, 0x20, false, nullptr, false, false},
        CompatCase{"MIPS alike", 8, 0x10000006, 8, 0x10000006, false, nullptr, false, false},
        CompatCase{"MIPS PIC with non-PIC", 8, 2, 8, 0, false, "mixing non-PIC with PIC", false,
                   false},
        CompatCase{"MIPS ABIs", 8, 0, 8, 0x20, false, "ABI incompatibility (n32 vs. o32)", false,
                   false},
        CompatCase{"MIPS 64 with 32", 8, 0x20000002 | 8, 8, 0x10000002, false,
                   "one is for 64 bit mode, the other is for 32 bit mode", false, false},
        CompatCase{"MIPS xgot", 8, 0xA, 8, 0x2, false,
                   "one assumes $28 fixed (\"xgot\"); the other does not", true, false}));

// An ARM ELF file passes the machine test and the stack check against an
// AOF file; only the byte order can still fail.  Other machines meet a file
// of another format with their own words.
TEST(Compatibility, ArmElfAgainstAnAofFile) {
    struct AofFile : FakeObjectFile {
        using FakeObjectFile::FakeObjectFile;
        bool little = true;
        ObjectFormatKind formatKind() override { return armFormat; }
        bool isLittleEndian() override { return little; }
    } aof("a.aof");
    static FileName &name = FileName::keep(std::make_unique<FileName>("arm.o"));
    Elf32_Ehdr h{};
    h.e_machine = EM_ARM, h.e_flags = 0x20, h.e_ident[EI_DATA] = ELFDATA2LSB;
    ElfObjectFile arm(name, h, nullptr, 0);
    EXPECT_EQ(arm.incompatibility(aof), nullptr);
    aof.little = false;
    IncompatibilityReason *reason = arm.incompatibility(aof);
    ASSERT_NE(reason, nullptr);
    EXPECT_STREQ(reason->text(), "endian mismatch");
    h.e_machine = EM_386;
    ElfObjectFile i386(name, h, nullptr, 0);
    reason = i386.incompatibility(aof);
    ASSERT_NE(reason, nullptr);
    EXPECT_STREQ(reason->text(), "object file formats don't match");
}

TEST(Compatibility, FilesWithoutAStackCheckValueTakeTheirPartners) {
    static FileName &name = FileName::keep(std::make_unique<FileName>("arm.o"));
    Elf32_Ehdr a{}, b{};
    a.e_machine = b.e_machine = EM_ARM;
    a.e_flags = 0x40;
    ElfObjectFile fileA(name, a, nullptr, 0), fileB(name, b, nullptr, 0);
    EXPECT_TRUE(fileA.isCompatibleWith(fileB));
    EXPECT_EQ(fileB.header.e_flags, 0x40u);
    ElfObjectFile fileC(name, b, nullptr, 0);
    EXPECT_TRUE(fileC.isCompatibleWith(fileA));
    EXPECT_EQ(fileC.header.e_flags, 0x40u);
}

} // namespace

namespace {

// Import records, little-endian: value, name offset, (type << 24 | dll offset).
std::vector<uint8_t> imports(const std::vector<std::array<uint32_t, 3>> &records,
                             uint32_t tail = 0) {
    std::vector<uint8_t> out;
    for (const auto &r : records)
        for (uint32_t word : {r[0], r[1], r[2], 0u})
            for (int i = 0; i < 4; ++i)
                out.push_back(uint8_t(word >> (8 * i)));
    out.resize(out.size() + tail);
    return out;
}

TEST(ElfImports, RecordsAreCheckedAgainstTheirStringTable) {
    // ".strtab" holds "\0puts\0libc.so\0": offsets 1 and 6, size 14.
    auto build = [](std::vector<uint8_t> section, uint32_t entsize) {
        return ElfBuilder()
            .symbol("puts", 0, 0, STB_GLOBAL, STT_FUNC, SHN_UNDEF)
            .symbol("libc.so", 0, 0, STB_LOCAL, STT_NOTYPE, SHN_ABS)
            .section(".imports", SHT_IMPORTS, SHF_ALLOC, section)
            .link(".strtab")
            .patchSection(".imports", [entsize](Elf32_Shdr &h) { h.sh_entsize = entsize; })
            .build();
    };
    CapturingErrors errors;
    auto object = loadElf(
        build(
            imports({{0x11, 1, 1u << 24 | 6}, {0x22, 99, 2u << 24 | 99}, {0x33, 6, 1u << 24 | 500}},
                    8),
            16),
        errors);
    ASSERT_NE(object, nullptr);
    EXPECT_TRUE(object->hasImports);
    EXPECT_EQ(errors.reports,
              (std::vector<std::string>{
                  "E: \"test.o\", section .imports - \n|\tname field of entry #1 is not a valid "
                  "string table index: 99",
                  "E: \"test.o\", section .imports - \n|\ttype field of entry #1 is 2, but "
                  "should be 1",
                  "E: \"test.o\", section .imports - \n|\tDLL field of entry #2 is not a valid "
                  "string table index: 500"}));
    ElfImportSectionFromInput *section = object->sectionAt(1)->asImportSection();
    ASSERT_NE(section, nullptr);
    EXPECT_EQ(section->recordCount(), 3u); // the 8 bytes behind are no record
    ImportEntry first = section->importAt(0);
    EXPECT_EQ(first.value, 0x11u);
    EXPECT_STREQ(first.name, "puts");
    EXPECT_STREQ(first.dll, "libc.so");
    EXPECT_STREQ(section->importAt(16).name, "???");
    EXPECT_DEATH(section->importAt(8), "\"test.o\": Invalid offset into .imports section: 0x8");
    EXPECT_TRUE(section->isValid());
    uint32_t chunkSize = 0;
    section->eachRawDataChunk([&](uint32_t, uint32_t size, uint8_t *data, RelocationsIterator *) {
        chunkSize = size;
        uint32_t value;
        memcpy(&value, data, 4);
        EXPECT_EQ(value, 0x11u); // the records in host order
        return true;
    });
    EXPECT_EQ(chunkSize, 48u);

    CapturingErrors other;
    auto odd = loadElf(build(imports({{1, 1, 1u << 24 | 6}}), 8), other);
    ASSERT_NE(odd, nullptr);
    EXPECT_EQ(other.reports, (std::vector<std::string>{
                                 "W: \"test.o\", section .imports: `entsize' is 8, but should "
                                 "be 16"}));
    auto empty = loadElf(build(bytes(12), 16), other);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(other.reports.back(), "W: \"test.o\", section .imports has no entries.");
}

} // namespace

namespace {

TEST(ElfLinkedStrings, AProgramSectionsOwnStringTableBecomesAContentSection) {
    CapturingErrors errors;
    auto object = loadElf(ElfBuilder()
                              .section(".stab", SHT_PROGBITS, 0, bytes(12))
                              .link(".stabstr")
                              .section(".stabstr", SHT_STRTAB, 0, {0, 'x', 0})
                              .symbol("s", 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_ABS)
                              .build(),
                          errors);
    ASSERT_NE(object, nullptr);
    EXPECT_TRUE(errors.reports.empty());
    ElfSection *strings = object->sectionAt(2);
    ASSERT_NE(strings, nullptr);
    EXPECT_EQ(strings->asStrtab(), nullptr);
    EXPECT_TRUE(strings->isContentSection());
    EXPECT_EQ(object->sectionAt(1)->elfHeader()->sh_link, 2u);
    EXPECT_EQ(object->sectionCount(), 2u);
}

} // namespace
