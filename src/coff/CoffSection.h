// CoffSection: the Section of one COFF section header; CoffInputSection adds
// what only a section read from a file has: its bytes, its relocation
// entries and its line numbers.
//
// A section header (40 bytes) gives a name, two addresses, a size, the file
// offsets of the raw data, the relocations (10-byte entries: address, symbol
// index, type) and the line numbers (6-byte entries: a word, then a line
// number; line 0 marks a function and its word is a symbol index, in every
// other entry an address), their counts, and a flags word.  COFF has no
// alignment field: the alignment is worked out from size and flags.
//
// A name of up to 8 characters stands in the header; a longer one is "/" and
// the decimal offset of the text in the string table.  An i386 COMDAT
// section (flag 0x1000) is renamed after the first symbol that the file
// defines in it, while combinedSectionName keeps the name from the file.
#pragma once

#include "coff/CoffRecords.h"
#include "object/Section.h"
#include "support/FunctionRef.h"

#include <cstdint>
#include <memory>

class Args;
class CoffObjectFile;
class CoffRelocationsIterator;
class ErrorContext;
class InputFile;

class CoffSection : public RelocatableSection {
public:
    CoffSection(CoffObjectFile &owner, const CoffSectionHeader &header);
    ~CoffSection() override;

    const char *name() override;
    uint32_t size() override;
    uint32_t alignment() override;
    ObjectFile *objectFile() override;
    bool isAllocated() override;
    bool isLoadable() override;
    bool isNote() override;
    bool isContentSection() override;
    bool isAbsolute() override;
    void setAbsolute(bool absolute) override;
    // Text, but not text and literal together.
    bool isExecutable() override;
    bool isWritable() override;
    bool isBss() override;
    CoffSectionHeader *coffHeader() override;
    uint32_t address() override;
    // Writes both addresses of the header copy.
    void setAddress(uint32_t address) override;
    uint32_t fileOffset() override;
    // A bss section keeps 0.
    void setFileOffset(uint32_t offset) override;
    // Visits every section of the owner.
    void eachMember(SectionVisitor visitor) override;
    SectionType sectionType() override;
    CoffSection *asCoffSection() override;

    CoffSectionHeader header;

protected:
    CoffObjectFile *owner;
    // Null until first asked: a long name needs the owner's string table,
    // which is read after the sections.
    const char *sectionName = nullptr;
    // An 8-byte name that fills its field, with a NUL behind it.
    char fullName[9] = {};

    // The name that the header gives.
    const char *headerName();
};

using LineNumberVisitor = FunctionRef<void(CoffLineNumber *entries, uint32_t count)>;

class CoffInputSection : public CoffSection {
public:
    // Reads the section's data, relocations and line numbers; `args` goes
    // unlooked-at to the relocation table.
    CoffInputSection(InputFile &file, bool swap, ErrorContext &errors,
                     const CoffSectionHeader &header, CoffObjectFile &owner, Args *args);
    ~CoffInputSection() override;

    // The name from the file, before any COMDAT renaming.
    const char *combinedSectionName() override;
    // The virtual address as read; setAddress does not change it.
    uint32_t inputAddress() override;
    // One chunk: all the data, with the relocation table.
    void eachRawDataChunk(RawDataChunkVisitor visitor) override;
    // The table over the relocation entries, made on first demand, also
    // when there are none.
    RelocationsIterator *relocations() override;
    bool isComdat() override;

    // Added by CoffInputSection, in this order.
    // One call with the line entries (null when there are none) and their
    // count.
    virtual void eachLineNumberTable(LineNumberVisitor visitor);
    // Marks the section COMDAT and gives it `name` (not owned; it lives as
    // long as the object file).
    virtual void setComdatName(const char *name);

    // The relocation entries, addresses relative to the section.
    CoffRelocation *relocationEntries() { return relocationTable.get(); }
    uint32_t relocationCount() const { return relocationTable ? header.s_nreloc : 0; }
    const uint8_t *data() const { return bytes.get(); }
    uint32_t dataSize() const { return bytesSize; }
    Args *args() const { return linkArgs; }

private:
    std::unique_ptr<uint8_t[]> bytes;
    uint32_t bytesSize = 0;
    std::unique_ptr<CoffRelocation[]> relocationTable;
    std::unique_ptr<CoffLineNumber[]> lineTable;
    uint32_t lineCount = 0;
    uint32_t originalAddress = 0;
    const char *nameInFile = nullptr;
    bool comdat = false;
    Args *linkArgs = nullptr;
    std::unique_ptr<CoffRelocationsIterator> relocationIterator;
};
