// The linker's own symbols: values and sizes given late by evaluators, the
// fixed answers of a special symbol and the ELF record of its ELF form.
#include "reloc/SpecialSymbol.h"

#include "RelocTestKit.h"

#include "object/SectionGroup.h"

#include <gtest/gtest.h>

namespace {

TEST(SpecialSymbol, MadeFromNumbersSharesTheZero) {
    NamedFile file("out");
    TestSection text(&file, ".text", 0x1000);
    SpecialSymbol zero("_etext", &file, 0, 0, &text);
    SpecialSymbol sized("_edata", &file, 0x2000, 0x40, nullptr);
    EXPECT_STREQ(zero.name(), "_etext");
    EXPECT_EQ(zero.value(), 0u);
    EXPECT_EQ(zero.size(), 0u);
    EXPECT_EQ(sized.value(), 0x2000u);
    EXPECT_EQ(sized.originalValue(), 0x2000u);
    EXPECT_EQ(sized.size(), 0x40u);
    EXPECT_EQ(zero.section(), &text);
    EXPECT_EQ(zero.objectFile(), &file);
    EXPECT_EQ(ConstantEvaluator::zero().evaluate(), 0u);

    // The name is the symbol's own copy.
    char name[] = "_end";
    SpecialSymbol copied(name, &file, 0, 0, nullptr);
    name[1] = 'X';
    EXPECT_STREQ(copied.name(), "_end");
}

TEST(SpecialSymbol, AnswersAsALinkersOwnSymbol) {
    NamedFile file("out");
    SpecialSymbol symbol("_gp", &file, 1, 0, nullptr);
    EXPECT_TRUE(symbol.isSpecial());
    EXPECT_TRUE(symbol.isGlobal());
    EXPECT_FALSE(symbol.isExportable());
    EXPECT_FALSE(symbol.isUndefined());
    EXPECT_FALSE(symbol.isCommon());
    EXPECT_FALSE(symbol.isSmallCommon());
    EXPECT_TRUE(symbol.isReferenced());
    EXPECT_TRUE(symbol.hasStrongReference());
    symbol.setReferenced();
    symbol.setStrongReference();
    EXPECT_TRUE(symbol.isReferenced());
}

TEST(SpecialSymbol, EvaluatesSizesWhenAsked) {
    NamedFile file("out");
    TestSection text(&file, ".text", 0x1000);
    SectionSizeEvaluator textSize(text);
    ConstantEvaluator at(0x1000);
    SpecialSymbol symbol("_text_size", &file, at, textSize, &text);
    text.bytes = 0x30;
    EXPECT_EQ(symbol.size(), 0x30u);
    text.bytes = 0x50; // a section may still grow
    EXPECT_EQ(symbol.size(), 0x50u);
    EXPECT_EQ(symbol.value(), 0x1000u);

    SectionGroup group(0, nullptr, 0x1000);
    GroupSizeEvaluator groupSize(group);
    EXPECT_EQ(groupSize.evaluate(), 0u);
    TestSection a(&file, ".a"), b(&file, ".b");
    a.bytes = 0x10;
    b.bytes = 0x8;
    group.add(&a);
    group.add(&b);
    EXPECT_EQ(groupSize.evaluate(), 0x18u);
}

TEST(ElfSpecialSymbol, CarriesARecordOfItsBindingAndSize) {
    NamedFile file("out");
    ElfSpecialSymbol global("_DYNAMIC", &file, 0x3000, 0x24, nullptr, true);
    ElfSpecialSymbol local("_local", &file, 0, 0, nullptr, false);
    EXPECT_TRUE(global.isGlobal());
    EXPECT_FALSE(local.isGlobal());
    EXPECT_FALSE(global.isSpecial());
    const Elf32_Sym *record = global.elfSymbol();
    EXPECT_EQ(record->st_name, 0u);
    EXPECT_EQ(record->st_value, 0u);
    EXPECT_EQ(record->st_size, 0x24u);
    EXPECT_EQ(record->st_info, 0x10);
    EXPECT_EQ(record->st_other, 0);
    EXPECT_EQ(record->st_shndx, 0);
    EXPECT_EQ(local.elfSymbol()->st_info, 0);
    EXPECT_EQ(global.value(), 0x3000u);
}

} // namespace
