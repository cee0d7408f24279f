// BsdObjectFile: the ObjectFile of an a.out file of the SPARC processor.  It
// keeps the exec header in host order and owns the three sections of the
// format (text, data, bss), each present unless the file is dynamic; its
// symbols are answered through `symbolAt` and the symbol count, which the
// reading class supplies (BsdObjectFileInput).
#pragma once

#include "aout/BsdRecords.h"
#include "aout/BsdSection.h"
#include "object/ObjectFile.h"

#include <cstdint>
#include <memory>

class BsdObjectFile : public ObjectFile {
public:
    BsdObjectFile(const FileName &fileName, const BsdExecHeader &header);
    ~BsdObjectFile() override;

    // SymbolCollection: the same symbols as eachSymbol.
    void each(SymbolVisitor visitor) override;
    uint32_t count() override;

    // 4, a.out.
    ObjectFormatKind formatKind() override;
    // Another a.out file of the same machine byte.
    bool isCompatibleWith(ObjectFile &other) override;
    bool isRelocatable() override;
    bool isExecutable() override;
    // The dynamic bit of the header.
    bool isSharedObject() override;
    bool isReentrant() override;
    // Text, data, bss, each if present.
    void eachSection(SectionVisitor visitor) override;
    // The symbols in table order.
    void eachSymbol(SymbolVisitor visitor) override;
    // The ELF number of the machine: 4 (68000) for a.out machines 1 and 2,
    // 2 (SPARC) for 3, 0 for any other.
    uint32_t machine() override;
    BsdExecHeader *bsdHeader() override;
    uint32_t bsdMachine() override;
    BsdObjectFile *asBsdObjectFile() override;
    uint32_t entry() override;
    bool isLittleEndian() override;

    // Added by BsdObjectFile: the symbol of a table index, null for an index
    // at or beyond the count.
    virtual Symbol *symbolAt(uint32_t index) = 0;

    BsdSection *textSection() { return text.get(); }
    BsdSection *dataSection() { return data.get(); }
    BsdSection *bssSection() { return bss.get(); }
    // The section that a location code names, as in an nlist type masked
    // with 0x1E and in a local relocation record: 4 text, 6 data, 8 bss;
    // null for any other code and in a file without sections.
    BsdSection *sectionOfCode(uint32_t code);

protected:
    BsdExecHeader header;
    std::unique_ptr<BsdSection> text;
    std::unique_ptr<BsdSection> data;
    std::unique_ptr<BsdSection> bss;
};
