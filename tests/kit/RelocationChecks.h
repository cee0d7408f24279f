// Small helpers of the tests of relocation tables read from object files:
// printf into a string, the name of an entry's target, and the answers that
// every table without linking state of its own (a.out, AOF) gives for any
// entry.
#pragma once

#include "object/Section.h"
#include "object/Symbol.h"
#include "reloc/RelocationDescriptor.h"

#include <cstdarg>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

inline std::string formatText(const char *format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

// The target symbol's name, else the target section's, else "-".
inline const char *targetName(RelocationDescriptor &entry) {
    if (Symbol *symbol = entry.targetSymbol()) return symbol->name();
    if (Section *section = entry.targetSection()) return section->name();
    return "-";
}

// One ELF record, direct, no compact class, no tables, no table section,
// no special targets, no explicit addend, no pairs, always emitted.
inline void expectPlainEntryAnswers(RelocationDescriptor &entry) {
    EXPECT_EQ(entry.elfRecordCount(), 1u);
    EXPECT_EQ(entry.compactClass(), -1);
    EXPECT_EQ(entry.referenceKind(), ReferenceKind::direct);
    EXPECT_EQ(entry.reltabSection(), nullptr);
    EXPECT_EQ(entry.pltTable(), nullptr);
    EXPECT_EQ(entry.gotTable(), nullptr);
    uint32_t next = 0;
    EXPECT_FALSE(entry.ignoresSpecialTargets());
    EXPECT_FALSE(entry.hasExplicitAddend());
    EXPECT_FALSE(entry.nextEntryIs(2, next));
    EXPECT_TRUE(entry.shouldEmit());
}
