// A relocation entry for the tests of fixup routines: every answer that a
// routine may ask for is a field that the test sets.  The defaults are a
// plain direct reference with no addend, no section and no output file.
#pragma once

#include "reloc/RelocationDescriptor.h"

#include <cstdint>

class FakeDescriptor : public RelocationDescriptor {
public:
    Section *sectionOf = nullptr;
    uint32_t entryIndex = 0;
    uint32_t offset = 0;
    Symbol *symbol = nullptr;
    Section *target = nullptr;
    int32_t addendOf = 0;
    uint32_t valueOf_ = 0;             // value(): symbol plus addend
    uint32_t valueWithoutAddendOf = 0; // valueWithoutAddend()
    uint32_t placeOf = 0;              // place(): the run-time address P
    ReferenceKind kind = ReferenceKind::direct;
    bool pcRelative = false;
    bool explicitAddend = false;
    ElfObjectFile *output = nullptr;
    ErrorContext *errors = nullptr;
    GotTable *got = nullptr;
    PltTable *plt = nullptr;

    Section *section() override { return sectionOf; }
    uint32_t index() override { return entryIndex; }
    uint32_t dataOffset() override { return offset; }
    Symbol *targetSymbol() override { return symbol; }
    Section *targetSection() override { return target; }
    int32_t addend() override { return addendOf; }
    bool isPcRelative() override { return pcRelative; }
    bool apply(uint8_t *) override { return true; }
    uint32_t place() override { return placeOf; }
    uint32_t value() override { return valueOf_; }
    uint32_t valueWithoutAddend() override { return valueWithoutAddendOf; }
    ReferenceKind referenceKind() override { return kind; }
    bool hasExplicitAddend() override { return explicitAddend; }
    ErrorContext *errorContext() override { return errors; }
    PltTable *pltTable() override { return plt; }
    GotTable *gotTable() override { return got; }
    ElfObjectFile *outputElfFile() override { return output; }
};
