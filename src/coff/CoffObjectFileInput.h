// CoffObjectFileInput: a COFF object file read from an InputFile, System V
// COFF and NT objects alike, and readCoffFile, the loader's entry.
//
// The constructor reads everything in one pass: the file header, the entry
// point of an executable's optional header, the section table (one
// CoffInputSection per header, each reading its own data, relocations and
// line numbers), the symbol table and the string table.  It then puts every
// symbol entry in order for the questions to come: a long name's string
// table offset becomes a reference to the text, a name that fills all 8
// bytes gets a NUL-terminated copy, a defined symbol's value becomes
// relative to its section, and an i386 COMDAT section takes the name of the
// first symbol defined in it.
//
// A name reference (bytes 4 to 7 of an entry whose first 4 bytes are zero)
// is 32 bits, as in the file: below 0x80000000 an offset into the string
// table, with the top bit set an offset into the block of name copies, and
// all ones no text at all (a name whose offset was out of range).
//
// Damage that leaves nothing to read is fatal: a header that cannot be
// read, and a section table, symbol table, section data or relocation table
// that lies beyond the file's end.  A table whose count reaches past the end
// is taken the same way (the file cannot back the count, so nothing is
// allocated by it); only a line number table that does not fit is an error.
// Everything else is reported as an error and the object stays usable.
#pragma once

#include "coff/CoffObjectFile.h"
#include "coff/CoffUtil.h"

#include <cstdint>
#include <memory>

class CoffInputSection;
class ErrorContext;
class InputFile;
class Args;

class CoffObjectFileInput : public CoffObjectFileRep {
public:
    // `args` goes unlooked-at to every section's relocation table; null
    // from the listing tool.
    CoffObjectFileInput(InputFile &file, ErrorContext &errors, Args *args = nullptr);
    ~CoffObjectFileInput() override;

    // The optional header's entry point of an executable, else 0.
    uint32_t entry() override;
    const char *stringAt(uint32_t offset) override;
    const char *symbolName(uint32_t index) override;

    uint32_t stringTableSize() const { return strings.size; }
    CoffInputSection *inputSectionAt(int32_t number);

private:
    CoffStringTable strings;
    // The copies of names that fill all 8 bytes, 9 bytes each.
    std::unique_ptr<char[]> nameCopies;
    uint32_t nameCopyBytes = 0;
    uint32_t entryPoint = 0;

    void normalise(ErrorContext &errors);
    const char *referencedText(uint32_t reference);
};

// Reads a COFF file (System V COFF or, with `nt`, an NT object: they are
// read alike).  Reports "Input COFF file %O has its relocation information
// stripped." for a file with header flag 1; the object is returned either
// way.
std::unique_ptr<CoffObjectFileInput> readCoffFile(InputFile &file, ErrorContext &errors, bool nt,
                                                  Args *args = nullptr);
