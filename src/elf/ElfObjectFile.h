// ElfObjectFile: the ObjectFile of the ELF format.  It holds the file header
// (in host byte order) and a vector of section objects by section index, and
// decides whether two files may be linked together.  Its symbols are those of
// the symbol table section at `symbolTableIndex`.
//
// The vector has e_shnum entries; an entry is null for a section that got no
// object (index 0, tables made only on demand, anything in a shared object).
// A null vector marks a file whose reading failed.
#pragma once

#include "elf/ElfRecords.h"
#include "elf/ElfSection.h"
#include "object/ObjectFile.h"

#include <cstdint>
#include <memory>

class ElfReltabSection;
class ElfStrtabSection;
class ElfSymtabSection;
class GotTable;
class GotSectionTable;
class OffsetTable;
class SectionGroup;
class Symbol;
class VerDef;

using ElfSectionVector = std::unique_ptr<std::unique_ptr<ElfSection>[]>;

class ElfObjectFile : public ObjectFile {
public:
    Elf32_Ehdr header{};
    uint32_t symbolTableIndex = 0; // 0: none
    ElfSectionVector sections;     // by section index; null after a failed read
    bool hasImports = false;
    ObjectFile *nonPicFile = nullptr; // MIPS: a file without position-independent code

    // A file that is built up.
    explicit ElfObjectFile(const FileName &fileName);
    ElfObjectFile(const FileName &fileName, const Elf32_Ehdr &header, ElfSectionVector sections,
                  uint32_t symbolTableIndex);
    ~ElfObjectFile() override;

    // SymbolCollection: the symbols of eachSymbol.
    void each(SymbolVisitor visitor) override;
    uint32_t count() override;

    // ObjectFile
    const char *name() override;
    ObjectFormatKind formatKind() override;
    bool isCompatibleWith(ObjectFile &other) override;
    IncompatibilityReason *incompatibility(ObjectFile &other) override;
    bool isRelocatable() override;
    bool isSharedObject() override;
    bool isReentrant() override;
    // Indices 1 on, passing over empty entries and descriptive tables.
    void eachSection(SectionVisitor visitor) override;
    uint32_t symbolCount() override;
    void eachSymbol(SymbolVisitor visitor) override;
    // From the table's sh_info on, by position: no test of the binding.
    void eachGlobalSymbol(SymbolVisitor visitor) override;
    Elf32_Ehdr *elfHeader() override;
    uint32_t machine() override;
    uint32_t coffMachine() override;
    uint32_t bsdMachine() override;
    ElfObjectFile *asElfObjectFile() override;
    uint32_t entry() override;
    bool isLittleEndian() override;

    // Added by ElfObjectFile, in this order.  Most answer for the linking
    // side's output files; a file read from input gives a body to three.
    virtual void reservedElfOperation1();
    // The version definition of a version index, or null.
    virtual VerDef *versionDefinition(uint32_t index);
    virtual void reservedElfOperation2();
    virtual bool hasComdat();
    virtual uint32_t reservedElfQuery1();
    virtual uint32_t reservedElfQuery2();
    virtual uint32_t reservedElfQuery3();
    // Stores 0 through `out` and returns 0.
    virtual uint32_t reservedElfQuery4(uint32_t *out);
    virtual void setSoname(const char *soname);
    virtual uint32_t reservedElfQuery5();
    virtual uint32_t reservedElfQuery6();
    virtual uint32_t reservedElfQuery7();
    virtual uint32_t reservedElfQuery8();
    virtual uint32_t reservedElfQuery9();
    // The three tables of the linker's output side that the global symbol
    // table fills for machine-specific relocations (MIPS type 0x14, PowerPC
    // types 0x6A, 0x6B and 0x7A).  A file read from input has none.
    virtual GotTable *firstLinkerTable();
    virtual GotTable *secondLinkerTable();
    virtual GotTable *thirdLinkerTable();
    virtual uint32_t reservedElfQuery10();
    virtual uint32_t reservedElfQuery11();
    virtual uint32_t reservedElfQuery12();

    // What the fixups of a link ask of the output file.  A file read from
    // input answers 0 or null to all of them; the linking side overrides.
    // The run-time value of the small-data base (the global pointer).
    virtual uint32_t sdaBase();
    // ARM: the section group of the data that the static base reaches, two
    // addresses that split the image, and the table of 32-bit cells.
    virtual SectionGroup *dataSegment();
    virtual uint32_t regionStart();
    virtual uint32_t regionEnd();
    virtual OffsetTable *offsetTable();
    // MIPS: the .got section, with its entries for pages.
    virtual GotSectionTable *gotSection();
    // PowerPC: the base symbols of the three small-data areas (area 0, 1
    // "_SDA_BASE_", 2 "_SDA2_BASE_"), the second area's base and its table.
    virtual Symbol *sda0BaseSymbol();
    virtual Symbol *sdaBaseSymbol();
    virtual Symbol *sda2BaseSymbol();
    virtual uint32_t sda2Base();
    virtual OffsetTable *sda2OffsetTable();

    void init(const Elf32_Ehdr &header, ElfSectionVector sections, uint32_t symbolTableIndex);
    // Null beyond the vector or for an empty entry.
    ElfSymtabSection *symtabAt(uint32_t index);
    // A reference that is no string table (or symbol table) is a fault.
    ElfStrtabSection *strtabAt(uint32_t index);
    ElfReltabSection *reltabAt(uint32_t index);
    // The entry of the vector, null beyond it.
    ElfSection *sectionAt(uint32_t index);
    uint32_t sectionSlots() const { return sections ? slotCount : 0; }
    ElfSymtabSection *symbolTable() { return symtabAt(symbolTableIndex); }

private:
    uint32_t slotCount = 0;
};
