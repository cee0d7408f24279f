// ElfImportSectionFromInput: a section of type 0x60000002 that lists what a
// file imports from dynamic libraries by name.
//
// The section is an array of 16-byte records in the file's byte order:
//   0  value      handed on as it stands
//   4  nameIndex  offset of the imported symbol's name in the string table
//   8  dllIndex   bits 0-23: offset of the library's name in the string
//                 table; bits 24-31: the record type, which must be 1
//  12  reserved
// The string table is the one that sh_link names.  Damaged records are
// reported and kept.
#pragma once

#include "elf/ElfSection.h"

#include <cstdint>
#include <memory>

class Elf32Reader;
class ErrorContext;
class ElfStrtabSection;

struct ImportEntry {
    uint32_t value;
    const char *name;
    const char *dll;
};

class ElfImportSectionFromInput : public ElfSection {
public:
    // Reads and checks the records; `stringTable` may be null when sh_link
    // named none, and then nothing is checked.
    ElfImportSectionFromInput(const char *name, Elf32Reader &reader, ElfStrtabSection *stringTable,
                              const Elf32_Shdr &header, ElfObjectFile *objectFile,
                              ErrorContext &errorContext);
    ~ElfImportSectionFromInput() override;

    // False only when there are records and they could not be read.
    bool isValid() override;
    ElfImportSectionFromInput *asImportSection() override;
    // The records, in host order, as one chunk.
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;
    // The record at byte `offset` of the section; an offset that is no
    // record's is a fault of the caller.
    ImportEntry importAt(uint32_t offset);

    uint32_t recordCount() const { return count; }

private:
    std::unique_ptr<uint32_t[]> records; // four words per record
    uint32_t count;
    ElfStrtabSection *stringTable; // not owned
};
