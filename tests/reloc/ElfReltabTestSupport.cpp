#include "ElfReltabTestSupport.h"

#include "elf/Elf32Extractor.h"
#include "elf/Elf32Reader.h"
#include "input/FileName.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

void ReltabReports::vfatal(const char *format, va_list args) {
    std::string text = render(format, args);
    reports.push_back("F: " + text);
    throw FatalReport{text};
}

Elf32_Rela rela(uint32_t offset, uint32_t symbol, uint32_t type, int32_t addend) {
    return Elf32_Rela{offset, symbol << 8 | type, addend};
}

ElfSection *LoadedElf::section(const std::string &name) {
    for (uint32_t i = 1; object && i < object->sectionSlots(); ++i)
        if (ElfSection *s = object->sectionAt(i))
            if (name == s->name()) return s;
    return nullptr;
}

ElfReltabSectionFromInput *LoadedElf::table(const std::string &name) {
    ElfSection *s = section(name);
    ElfReltabSection *table = s ? s->asReltab() : nullptr;
    // Every table that the reader makes is read from the file.
    return static_cast<ElfReltabSectionFromInput *>(table);
}

std::unique_ptr<ElfReltabSectionFromInput>
LoadedElf::remake(const std::string &name, ElfFixupTable &fixups, ErrorContext &errors) {
    Elf32Reader reader(*input);
    Elf32Extractor extractor(reader);
    for (uint32_t i = 1; i < extractor.header.e_shnum; ++i) {
        const Elf32_Shdr &h = extractor.sectionHeader(i);
        ElfSection *known = object->sectionAt(i);
        if (!known || name != known->name()) continue;
        if (h.sh_type == SHT_REL)
            return std::make_unique<ElfRelSection>(known->name(), extractor, h, *object, fixups,
                                                   errors);
        return std::make_unique<ElfRelaSection>(known->name(), extractor, h, *object, fixups,
                                                errors);
    }
    return nullptr;
}

LoadedElf loadElf(const std::vector<uint8_t> &image, ErrorContext &errors) {
    char path[] = "/tmp/tnm-reltab-test-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) abort();
    if (!image.empty() && write(fd, image.data(), image.size()) != ssize_t(image.size())) abort();
    close(fd);
    FileName &name = FileName::keep(std::make_unique<DisplayFileName>(path, "test.o"));
    LoadedElf loaded;
    loaded.input = std::make_unique<InputFile>(name, errors);
    unlink(path);
    loaded.object = std::make_unique<ElfObjectFileFromInput>(*loaded.input, errors);
    if (!loaded.object->isUsable()) loaded.object.reset();
    return loaded;
}

std::vector<std::string> entriesOf(RelocationsIterator &table) {
    std::vector<std::string> entries;
    table.each([&](RelocationDescriptor &entry) {
        char line[200];
        Symbol *symbol = entry.targetSymbol();
        Section *section = entry.targetSection();
        std::string target = symbol    ? symbol->name()
                             : section ? "[" + std::string(section->name()) + "]"
                                       : "-";
        snprintf(line, sizeof line, "%x %u %s %d", entry.dataOffset(), entry.elfType(),
                 target.c_str(), entry.addend());
        entries.push_back(line);
        return true;
    });
    return entries;
}
