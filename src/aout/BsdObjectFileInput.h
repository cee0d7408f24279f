// BsdObjectFileInput: an a.out object file read from an InputFile, and
// readBsdFile, the entry of the loader for files identified as a.out.
//
// The constructor reads everything: the text and data sections (with the
// check of their relocation sizes) and the bss section, unless the file is
// dynamic; then the string table, kept whole with its length word so that a
// name is a pointer into it; then the nlist entries, of which each becomes a
// BsdSymbol holding a copy of its entry.  Symbol values of data and bss are
// made relative to their sections, on the assumption of an unlinked object:
// text at address 0, data behind text, bss behind data.
//
// An a.out file is read whole or not at all: every problem is fatal.
#pragma once

#include "aout/BsdObjectFile.h"
#include "aout/BsdSymbol.h"

#include <cstdint>
#include <memory>

class ErrorContext;
class InputFile;

class BsdObjectFileInput : public BsdObjectFile {
public:
    // `header` is in host order; `swapped` says the file is of the other
    // byte order.
    BsdObjectFileInput(InputFile &file, const BsdExecHeader &header, bool swapped,
                       ErrorContext &errorContext);
    ~BsdObjectFileInput() override;

    // syms / 12, rounded down.
    uint32_t symbolCount() override;
    Symbol *symbolAt(uint32_t index) override;

    // The string table as read, length word included, with a NUL behind it.
    const char *strings() const { return stringBlock.get(); }
    // The length that the table's first word gives.
    uint32_t stringTableSize() const { return stringSize; }

private:
    // All symbols in one block, in table order: one allocation per file.
    std::unique_ptr<BsdSymbol[]> symbols;
    std::unique_ptr<char[]> stringBlock;
    uint32_t stringSize = 0;
    uint32_t symbolTotal;

    void readStrings(InputFile &file, uint32_t offset, bool swapped, ErrorContext &errorContext);
    void readSymbols(InputFile &file, uint32_t offset, bool swapped, ErrorContext &errorContext);
};

// Reads the a.out file `file`: the header, which must be that of a SPARC
// object, and then everything else.  Never null: damage is fatal.
std::unique_ptr<BsdObjectFileInput> readBsdFile(InputFile &file, ErrorContext &errorContext);
