// CoffObjectFile: the ObjectFile of the COFF format, System V COFF and NT
// objects alike, and CoffObjectFileRep, which adds the symbol table.
//
// CoffObjectFile holds the file header (in host order) and the sections,
// index 0 being section number 1; it answers the format-level questions:
// machine, byte order, compatibility.  CoffObjectFileRep holds the symbol
// table as an array of 20-byte `syment` slots, auxiliary entries at their own
// indices, and one CoffSymbol per symbol entry, with a null slot at every
// auxiliary index.  CoffObjectFileInput (coff/CoffObjectFileInput.h) fills
// them from a file.
#pragma once

#include "coff/CoffRecords.h"
#include "object/ObjectFile.h"

#include <cstdint>
#include <memory>
#include <vector>

class CoffSection;
class CoffSymbol;

class CoffObjectFile : public ObjectFile {
public:
    CoffFileHeader header{};
    // By section number - 1; an entry may be null.  Owned.
    std::vector<std::unique_ptr<CoffSection>> sections;

    CoffObjectFile(const FileName &fileName, const CoffFileHeader &header);
    ~CoffObjectFile() override;

    // SymbolCollection: what eachSymbol visits.
    void each(SymbolVisitor visitor) override;
    uint32_t count() override;

    // Always 2, also for an NT object: both are read alike.
    ObjectFormatKind formatKind() override;
    // The other file's coffMachine equals this file's magic.
    bool isCompatibleWith(ObjectFile &other) override;
    bool isRelocatable() override;
    bool isExecutable() override;
    bool isSharedObject() override;
    bool isReentrant() override;
    // Section numbers 1 upward, passing over null entries.
    void eachSection(SectionVisitor visitor) override;
    uint32_t sectionCount() override;
    // The header's number of entries, auxiliary entries included.
    uint32_t symbolCount() override;
    // This class has no symbol objects: it visits none.
    void eachSymbol(SymbolVisitor visitor) override;
    CoffFileHeader *coffHeader() override;
    uint32_t coffMachine() override;
    // The neutral (ELF) machine number: 0x88 and 0x150 give 4 (68000), 0x148
    // and 0x14C give 3 (iX86), any other magic 0.
    uint32_t machine() override;
    // The a.out machine number: 0x88 and 0x89 give 2; any other 0.
    uint32_t bsdMachine() override;
    CoffObjectFile *asCoffObjectFile() override;
    bool isLittleEndian() override;

    // Added by the COFF classes, in this order.
    // The symbol at a table index; null at an auxiliary slot and at or
    // beyond symbolCount.
    virtual Symbol *symbolAt(uint32_t index);
    // The text at a string table offset; null when the offset is not below
    // the table's size.  This class has no string table.
    virtual const char *stringAt(uint32_t offset);
    virtual const char *symbolName(uint32_t index);
    virtual struct syment *syment(uint32_t index);
    virtual struct syment *auxent(uint32_t index);

    // The section of a section number, null when there is none.
    CoffSection *sectionAt(int32_t number);
};

class CoffObjectFileRep : public CoffObjectFile {
public:
    CoffObjectFileRep(const FileName &fileName, const CoffFileHeader &header);
    ~CoffObjectFileRep() override;

    void each(SymbolVisitor visitor) override;
    uint32_t count() override;
    uint32_t symbolCount() override;
    // The symbols array in index order, passing over null slots.
    void eachSymbol(SymbolVisitor visitor) override;

    Symbol *symbolAt(uint32_t index) override;
    struct syment *syment(uint32_t index) override;
    struct syment *auxent(uint32_t index) override;

protected:
    // One slot per table index; null at an auxiliary entry.  The symbols
    // themselves stand in one block, so a table costs two allocations
    // whatever its size.
    std::unique_ptr<CoffSymbol *[]> symbols;
    std::unique_ptr<CoffSymbol[]> symbolStore;
    std::unique_ptr<struct syment[]> entries;
    uint32_t entryCount = 0;

    // Takes the table and makes a CoffSymbol at every symbol index.
    void setSymbolTable(std::unique_ptr<struct syment[]> table, uint32_t count);
};
