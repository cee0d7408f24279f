// What the listing asks of ELF symbols: names, values, sizes, sections,
// bindings and types, in both byte orders, and the rules that rewrite types.
#include "ElfTestSupport.h"
#include "elf/ElfSymtabSection.h"
#include "kit/ElfBuilder.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

// One row per symbol, as the listing asks for it: name, value and size in
// hex, section ("-" for none), binding and type.
std::vector<std::string> rowsOf(ObjectFile &object, bool globalsOnly = false) {
    static const char *const bindings[] = {"local", "global", "weak"};
    static const char *const types[] = {"none", "data", "func", "section", "file"};
    std::vector<std::string> rows;
    auto collect = [&](Symbol &s) {
        Section *home = s.section();
        char row[256];
        snprintf(row, sizeof row, "%s %x %x %s %s %s", s.name(), s.value(), s.size(),
                 home ? home->name() : "-", bindings[int(s.binding())], types[int(s.type())]);
        rows.push_back(row);
        return true;
    };
    if (globalsOnly)
        object.eachGlobalSymbol(collect);
    else
        object.eachSymbol(collect);
    return rows;
}

using Rows = std::vector<std::string>;

class ObjectInBothOrders : public ::testing::TestWithParam<ByteOrder> {};

TEST_P(ObjectInBothOrders, EveryRowAsTheTableHoldsIt) {
    CapturingErrors errors;
    auto object =
        loadElf(ElfBuilder(GetParam())
                    .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(32))
                    .section(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, bytes(8))
                    .section(".bss", SHT_NOBITS, SHF_ALLOC | SHF_WRITE, {}, 16)
                    .symbol("a.c", 0, 0, STB_LOCAL, STT_FILE, SHN_ABS)
                    .symbol("", 0, 0, STB_LOCAL, STT_SECTION, ".text")
                    .symbol("", 4, 0, STB_LOCAL, STT_SECTION, ".data")
                    .symbol("counter", 0, 4, STB_LOCAL, STT_OBJECT, ".bss")
                    .symbol("main", 0x10, 0x20, STB_GLOBAL, STT_FUNC, ".text")
                    .symbol("printf", 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_UNDEF)
                    .symbol("maybe", 0, 0, STB_WEAK, STT_NOTYPE, SHN_UNDEF)
                    .symbol("shared", 8, 12, STB_GLOBAL, STT_OBJECT, SHN_COMMON)
                    .symbol("exported", 0x80000000, 1, STB_EXPORT, STT_THUMB_FUNC, ".text")
                    .build(),
                errors);
    ASSERT_NE(object, nullptr);
    EXPECT_TRUE(errors.reports.empty());
    EXPECT_EQ(rowsOf(*object), (Rows{
                                   "a.c 0 0 - local file",
                                   " 0 0 .text local section",
                                   // A section symbol with a value is data in a relocatable file.
                                   " 4 0 .data local data",
                                   "counter 0 4 .bss local data",
                                   "main 10 20 .text global func",
                                   "printf 0 0 - global none",
                                   "maybe 0 0 - weak none",
                                   "shared 8 c - global data",
                                   "exported 80000000 1 .text local func",
                               }));
    // The count includes the empty entry 0.
    EXPECT_EQ(object->symbolCount(), 10u);
    EXPECT_EQ(object->count(), 10u);
}

INSTANTIATE_TEST_SUITE_P(BothOrders, ObjectInBothOrders,
                         ::testing::Values(LittleEndian, BigEndian));

TEST(ElfSymbol, ATableOfEntryZeroAloneHasNoSymbols) {
    CapturingErrors errors;
    auto object = loadElf(ElfBuilder().build(), errors);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->symbolCount(), 1u);
    EXPECT_EQ(rowsOf(*object), Rows{});
    EXPECT_EQ(rowsOf(*object, true), Rows{});
}

TEST(ElfSymbol, PredicatesOfTheListing) {
    CapturingErrors errors;
    auto object = loadElf(ElfBuilder()
                              .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(4))
                              .section(".imports", SHT_IMPORTS, SHF_ALLOC, bytes(16))
                              .link(".strtab")
                              .symbol("abs", 5, 0, STB_LOCAL, STT_NOTYPE, SHN_ABS, 3)
                              .symbol("undef", 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_UNDEF)
                              .symbol("weakUndef", 0, 0, STB_WEAK, STT_FUNC, SHN_UNDEF)
                              .symbol("common16", 16, 5, STB_GLOBAL, STT_OBJECT, SHN_COMMON)
                              .symbol("common0", 0, 5, STB_GLOBAL, STT_OBJECT, SHN_COMMON)
                              .symbol("export", 0, 0, STB_EXPORT, STT_NOTYPE, ".text")
                              .symbol("globalSection", 0, 0, STB_GLOBAL, STT_SECTION, ".text")
                              .symbol("reserved", 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_LORESERVE)
                              .symbol("beyond", 0, 0, STB_GLOBAL, STT_NOTYPE, uint16_t(77))
                              .symbol("alias", 5, 0, STB_GLOBAL, STT_NOTYPE, SHN_ABS)
                              .symbol("commonAlias", 16, 5, STB_GLOBAL, STT_OBJECT, SHN_COMMON)
                              .symbol("stub", 0, 0, STB_GLOBAL, STT_FUNC, ".imports")
                              .build(),
                          errors);
    ASSERT_NE(object, nullptr);
    ElfSymtabSection *table = object->symbolTable();
    ASSERT_NE(table, nullptr);
    ElfSymbol &abs = *table->symbolAt(1), &undef = *table->symbolAt(2),
              &weakUndef = *table->symbolAt(3), &common16 = *table->symbolAt(4),
              &common0 = *table->symbolAt(5), &exported = *table->symbolAt(6),
              &globalSection = *table->symbolAt(7), &reserved = *table->symbolAt(8),
              &beyond = *table->symbolAt(9), &alias = *table->symbolAt(10),
              &commonAlias = *table->symbolAt(11), &stub = *table->symbolAt(12);
    EXPECT_TRUE(abs.isAbsolute());
    EXPECT_FALSE(abs.isUndefined());
    EXPECT_TRUE(undef.isUndefined());
    EXPECT_TRUE(weakUndef.isUndefined());
    EXPECT_EQ(weakUndef.binding(), SymbolBinding::weak);
    EXPECT_TRUE(weakUndef.isDefinedOrWeak());
    EXPECT_TRUE(common16.isCommon());
    EXPECT_EQ(common16.alignment(), 16u);
    EXPECT_EQ(common0.alignment(), 4u);
    EXPECT_TRUE(exported.isGlobal());
    EXPECT_TRUE(exported.isExportBinding());
    EXPECT_EQ(exported.binding(), SymbolBinding::local);
    EXPECT_EQ(globalSection.type(), SymbolType::section);
    EXPECT_FALSE(globalSection.isSectionSymbol());
    // 0xFF00 on i386: neither common nor absolute nor undefined, no section.
    EXPECT_FALSE(reserved.isCommon());
    EXPECT_FALSE(reserved.isSmallCommon());
    EXPECT_FALSE(reserved.isUndefined());
    EXPECT_EQ(reserved.section(), nullptr);
    EXPECT_EQ(beyond.section(), nullptr);
    EXPECT_EQ(table->symbolAt(0), nullptr);
    EXPECT_EQ(table->symbolAt(13), nullptr);
    EXPECT_EQ(table->rawSymbol(13), nullptr);
    EXPECT_EQ(abs.index(), 1u);
    EXPECT_EQ(abs.other(), 3u);
    EXPECT_EQ(abs.objectFile(), object.get());
    // Aliases: the same value and section index, neither undefined nor common.
    EXPECT_TRUE(abs.isAliasOf(abs));
    EXPECT_TRUE(abs.isAliasOf(alias));
    EXPECT_FALSE(abs.isAliasOf(undef));
    EXPECT_FALSE(common16.isAliasOf(commonAlias));
    EXPECT_EQ(abs.elfSymbol(), table->rawSymbol(1));
    EXPECT_FALSE(abs.isMarked());
    abs.setReferenced();
    EXPECT_TRUE(abs.isMarked() && abs.isReferenced() && !abs.hasStrongReference());
    EXPECT_TRUE(abs.isExportable());
    EXPECT_FALSE(abs.isSymbolFlagA() || abs.preemptsSharedDefinition() || abs.isSymbolFlagC() ||
                 abs.isResolvedLocally());
    // A symbol of an import section is a stub until a strong reference is made.
    EXPECT_TRUE(stub.isImportStub());
    EXPECT_FALSE(abs.isImportStub());
    stub.setStrongReference();
    EXPECT_TRUE(stub.hasStrongReference() && stub.isMarked() && !stub.isReferenced());
    EXPECT_FALSE(stub.isImportStub());
    EXPECT_DEATH(table->setSymbol(1, &abs), "ElfSymtabSection::setSymbol\\(\\) called");
}

TEST(ElfSymbol, SmallCommonsDependOnTheMachine) {
    struct Case {
        uint16_t machine, shndx;
        bool common, small;
    } cases[] = {
        {EM_MIPS, 0xFF00, true, false}, {EM_MIPS, 0xFF03, true, true},
        {EM_PPC, 0xFF00, true, true},   {EM_386, 0xFF00, false, false},
        {EM_386, 0xFF03, false, false}, {EM_PPC, 0xFF03, false, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.machine << " " << c.shndx);
        CapturingErrors errors;
        auto object = loadElf(ElfBuilder(BigEndian)
                                  .machine(c.machine)
                                  .symbol("c", 0, 4, STB_GLOBAL, STT_OBJECT, c.shndx)
                                  .build(),
                              errors);
        ASSERT_NE(object, nullptr);
        Symbol &s = *object->symbolTable()->symbolAt(1);
        EXPECT_EQ(s.isCommon(), c.common);
        EXPECT_EQ(s.isSmallCommon(), c.small);
    }
}

TEST(ElfSymbol, GlobalsStartWhereTheTableSaysAndNamesOutOfRangeShowAsQuestionMarks) {
    CapturingErrors errors;
    auto object = loadElf(ElfBuilder()
                              .symbol("l1", 1, 0, STB_LOCAL, STT_NOTYPE, SHN_ABS)
                              .symbol("g1", 2, 0, STB_GLOBAL, STT_NOTYPE, SHN_ABS)
                              .symbol("l2", 3, 0, STB_LOCAL, STT_NOTYPE, SHN_ABS)
                              .patchSection(".symtab", [](Elf32_Shdr &h) { h.sh_info = 3; })
                              .build(),
                          errors);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->symbolTable()->firstGlobalIndex(), 3u);
    EXPECT_EQ(rowsOf(*object, true), Rows{"l2 3 0 - local none"});

    Elf32_Sym *raw = object->symbolTable()->rawSymbol(1);
    raw->st_name = 0xFFFFFF;
    EXPECT_STREQ(object->symbolTable()->symbolAt(1)->name(), "???");
}

TEST(ElfSymbol, StringTableWithoutFinalNulStillEndsItsLastName) {
    CapturingErrors errors;
    ElfBuilder builder;
    builder.symbol("abc", 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_ABS)
        .patchSection(".strtab", [](Elf32_Shdr &h) { h.sh_size -= 1; });
    auto object = loadElf(builder.build(), errors);
    ASSERT_NE(object, nullptr);
    EXPECT_STREQ(object->symbolTable()->symbolAt(1)->name(), "abc");
    // Neither table is content of the program; the string table's one chunk
    // is its bytes as the file has them.
    ElfSymtabSection &symbols = *object->symbolTable();
    ElfStrtabSection &strings = *symbols.stringTable();
    EXPECT_FALSE(strings.isContentSection() || symbols.isContentSection());
    std::string chunks;
    auto collect = [&](uint32_t offset, uint32_t size, uint8_t *data, RelocationsIterator *) {
        chunks += std::to_string(offset) + ":" + std::string(data, data + size) + ";";
        return true;
    };
    strings.eachRawDataChunk(collect);
    symbols.eachRawDataChunk(collect);
    EXPECT_EQ(chunks, std::string("0:\0abc;", 7));
}

TEST(ElfSymbol, SharedObjectListsItsDynamicTableWithoutSections) {
    CapturingErrors errors;
    auto object = loadElf(ElfBuilder(BigEndian)
                              .type(ET_DYN)
                              .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(8))
                              .section(".symtab", SHT_SYMTAB, 0, bytes(48)) // 3 entries
                              .link(".dynstr")
                              .section(".weird", 0x1234, SHF_ALLOC, bytes(4))
                              .dynamicSymbols()
                              .symbol("f", 0, 4, STB_GLOBAL, STT_FUNC, ".text")
                              .soname("libf.so")
                              .build(),
                          errors);
    ASSERT_NE(object, nullptr);
    EXPECT_TRUE(errors.reports.empty());
    EXPECT_TRUE(object->isSharedObject());
    EXPECT_STREQ(object->name(), "libf.so");
    EXPECT_EQ(object->symbolTableIndex, 4u);
    EXPECT_EQ(rowsOf(*object), Rows{"f 0 4 - global func"});
    EXPECT_EQ(object->sectionCount(), 0u);
}

TEST(ElfSymbol, VersionIndicesOfTheVersionSymbolTable) {
    auto withVersions = [](std::vector<uint8_t> versions) {
        return ElfBuilder()
            .type(ET_DYN)
            .section(".gnu.version", SHT_GNU_VERSYM, SHF_ALLOC, versions)
            .link(".dynsym")
            .dynamicSymbols()
            .symbol("a", 0, 0, STB_GLOBAL, STT_FUNC, SHN_ABS)
            .symbol("b", 0, 0, STB_GLOBAL, STT_FUNC, SHN_ABS)
            .build();
    };
    CapturingErrors errors;
    // 0, 0x8002, 1, little-endian: the hidden bit is dropped.
    auto object = loadElf(withVersions({0, 0, 2, 0x80, 1, 0}), errors);
    ASSERT_NE(object, nullptr);
    EXPECT_TRUE(errors.reports.empty());
    EXPECT_EQ(object->symbolTable()->symbolAt(1)->versionIndex(), 2u);
    EXPECT_EQ(object->symbolTable()->symbolAt(2)->versionIndex(), 1u);

    auto shorter = loadElf(withVersions({0, 0, 2, 0x80}), errors);
    ASSERT_NE(shorter, nullptr);
    EXPECT_EQ(errors.reports.back(), "E: In test.o: DT_VERSYM table is of wrong size.");
    // Used as far as it goes.
    EXPECT_EQ(shorter->symbolTable()->symbolAt(1)->versionIndex(), 2u);
    EXPECT_EQ(shorter->symbolTable()->symbolAt(2)->versionIndex(), 0u);
}

// ARM: functions inside Thumb code become Thumb functions (type 13 or 15),
// unless "$a" marks their own address as ARM code.
TEST(ElfSymbol, ArmMappingSymbolsMarkThumbFunctions) {
    CapturingErrors errors;
    auto object = loadElf(ElfBuilder()
                              .machine(EM_ARM)
                              .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(64))
                              .symbol("$t", 0, 0, STB_LOCAL, STT_NOTYPE, ".text")
                              .symbol("$a", 0x20, 0, STB_LOCAL, STT_NOTYPE, ".text")
                              .symbol("$t", 0x30, 0, STB_LOCAL, STT_NOTYPE, ".text")
                              .symbol("thumb", 4, 8, STB_GLOBAL, STT_FUNC, ".text")
                              .symbol("thumb2", 8, 8, STB_GLOBAL, STT_ARM_FUNC_2, ".text")
                              .symbol("armAtA", 0x20, 8, STB_GLOBAL, STT_FUNC, ".text")
                              .symbol("markedHere", 0x34, 4, STB_GLOBAL, STT_FUNC, ".text")
                              .symbol("$a.1", 0x34, 0, STB_LOCAL, STT_NOTYPE, ".text")
                              .symbol("$a", 0x34, 0, STB_LOCAL, STT_NOTYPE, ".text")
                              .build(),
                          errors);
    ASSERT_NE(object, nullptr);
    ElfSymtabSection *table = object->symbolTable();
    auto typeOf = [&](uint32_t i) { return elfSymbolType(table->rawSymbol(i)->st_info); };
    EXPECT_EQ(typeOf(4), STT_THUMB_FUNC);
    EXPECT_EQ(typeOf(5), STT_THUMB_FUNC_2);
    EXPECT_EQ(typeOf(6), STT_FUNC);
    EXPECT_EQ(typeOf(7), STT_FUNC);
    // Rewritten types still list as functions.
    EXPECT_EQ(table->symbolAt(4)->type(), SymbolType::function);

    // The same names on another machine change nothing.
    auto i386 = loadElf(ElfBuilder()
                            .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(16))
                            .symbol("$t", 0, 0, STB_LOCAL, STT_NOTYPE, ".text")
                            .symbol("f", 4, 8, STB_GLOBAL, STT_FUNC, ".text")
                            .build(),
                        errors);
    ASSERT_NE(i386, nullptr);
    EXPECT_EQ(elfSymbolType(i386->symbolTable()->rawSymbol(2)->st_info), STT_FUNC);
}

} // namespace
