// Helpers of the tests of the ELF relocation tables: ELF images built with
// the writer kit and read by the ELF reader, the tables found in them by
// name, and tables of the same sections made again with a fixup table of the
// test's own.
#pragma once

#include "RelocTestKit.h"

#include "elf/ElfObjectFileFromInput.h"
#include "input/InputFile.h"
#include "kit/ElfBuilder.h"
#include "reloc/elfreloc.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// A fatal report, thrown so that the test goes on.
struct FatalReport {
    std::string message;
};

// Reports that end in a FatalReport on a fatal one.
class ReltabReports : public Reports {
public:
    void vfatal(const char *format, va_list args) override;
};

// A relocation record for the writer kit.
Elf32_Rela rela(uint32_t offset, uint32_t symbol, uint32_t type, int32_t addend = 0);

// An ELF file read from a built image, shown as "test.o".
struct LoadedElf {
    std::unique_ptr<InputFile> input;
    std::unique_ptr<ElfObjectFileFromInput> object;

    // The section of that name, or null.
    ElfSection *section(const std::string &name);
    // The relocation table of that name, or null.
    ElfReltabSectionFromInput *table(const std::string &name);
    // The table of the section of that name made anew with `fixups`; it is
    // not attached to its target.
    std::unique_ptr<ElfReltabSectionFromInput> remake(const std::string &name,
                                                      ElfFixupTable &fixups, ErrorContext &errors);
};

// Reads `image` as the loader would; the object is null when the reading
// gave the file up.
LoadedElf loadElf(const std::vector<uint8_t> &image, ErrorContext &errors);

// The table's entries walked once, each as "offset type target addend"
// (target: the symbol's name, "[section]" for a section, "-" for neither).
std::vector<std::string> entriesOf(RelocationsIterator &table);
