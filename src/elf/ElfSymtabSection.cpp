#include "elf/ElfSymtabSection.h"

#include "elf/Elf32Extractor.h"
#include "elf/ElfObjectFile.h"
#include "support/botch.h"
#include "support/error.h"

#include <cstdlib>
#include <cstring>

// ---- string tables ----

ElfStrtabSection::~ElfStrtabSection() = default;

ElfStrtabSection *ElfStrtabSection::asStrtab() {
    return this;
}

ElfStrtabSectionFromFile::ElfStrtabSectionFromFile(const char *name,
                                                   std::unique_ptr<ElfStringBlock> block,
                                                   const Elf32_Shdr &header,
                                                   ElfObjectFile *objectFile)
    : ElfStrtabSection(name, header, objectFile), block(std::move(block)) {}

ElfStrtabSectionFromFile::~ElfStrtabSectionFromFile() = default;

const char *ElfStrtabSectionFromFile::stringAt(uint32_t offset) {
    return block && offset < block->size ? block->at(offset) : "???";
}

bool ElfStrtabSectionFromFile::isContentSection() {
    return false;
}
bool ElfStrtabSectionFromFile::isValid() {
    return true;
}

void ElfStrtabSectionFromFile::eachRawDataChunk(RawDataChunkVisitor visitor) {
    if (block) visitor(0, block->size, reinterpret_cast<uint8_t *>(block->storage.get()), nullptr);
}

// ---- symbol tables ----

ElfSymtabSection::~ElfSymtabSection() = default;

ElfSymtabSection *ElfSymtabSection::asSymtab() {
    return this;
}

void ElfSymtabSection::each(SymbolVisitor visitor) {
    eachSymbol(visitor);
}

void ElfSymtabSection::setSymbol(uint32_t, ElfSymbol *) {
    botch("ElfSymtabSection::setSymbol() called");
}

uint32_t ElfSymtabSection::entryCount() {
    return header.sh_size / sizeof(Elf32_Sym);
}
uint32_t ElfSymtabSection::liveSymbolCount() {
    return entryCount();
}
uint32_t ElfSymtabSection::firstGlobalIndex() {
    return header.sh_info;
}

void ElfSymtabSection::eachSymbol(SymbolVisitor visitor) {
    uint32_t entries = entryCount();
    for (uint32_t i = 1; i < entries; ++i)
        if (ElfSymbol *symbol = symbolAt(i))
            if (!visitor(*symbol)) return;
}

ElfSymtabSectionFromFile::ElfSymtabSectionFromFile(const char *name, Elf32Extractor &extractor,
                                                   const Elf32_Shdr &sectionHeader,
                                                   ElfStrtabSection *strings,
                                                   ElfObjectFile *objectFile,
                                                   ErrorContext &errorContext)
    : ElfSymtabSection(name, sectionHeader, objectFile), strings(strings),
      count(sectionHeader.sh_size / sizeof(Elf32_Sym)) {
    versions = extractor.readVersionSymbols(versionCount);
    if (versions && versionCount != count)
        errorContext.error("In %O: DT_VERSYM table is of wrong size.", fileName());

    rawSymbols = extractor.readSymbols(sectionHeader);
    if (!rawSymbols) {
        // The table stands empty; the reading of the object goes on.
        versions.reset();
        versionCount = 0;
        header.sh_size = 0;
        count = 0;
        errorContext.error("Couldn't read %s section of %O.", name, fileName());
        return;
    }
    // In a relocatable file a section symbol with a value stands for a place
    // inside its section, which is data rather than the section itself.
    if (objectFile->header.e_type == ET_REL)
        for (uint32_t i = 1; i < count; ++i) {
            Elf32_Sym &s = rawSymbols[i];
            if (elfSymbolType(s.st_info) == STT_SECTION && s.st_value != 0)
                s.st_info = elfSymbolInfo(elfSymbolBinding(s.st_info), STT_OBJECT);
        }
    if (objectFile->header.e_machine == EM_ARM) markThumbFunctions();

    symbolStore = std::make_unique<ElfSymbol[]>(count);
    symbols = std::make_unique<ElfSymbol *[]>(count);
    bool comdat = objectFile->hasComdat();
    for (uint32_t i = 1; i < count; ++i) {
        if (comdat) {
            // Locals of a discarded COMDAT section go with it.
            const Elf32_Sym &s = rawSymbols[i];
            if (elfSymbolBinding(s.st_info) == STB_LOCAL && s.st_shndx != SHN_UNDEF &&
                s.st_shndx < SHN_LORESERVE) {
                ElfSection *home = objectFile->sectionAt(s.st_shndx);
                if (home && home->isDiscarded()) continue;
            }
        }
        symbolStore[i].place(this, i);
        symbols[i] = &symbolStore[i];
        ++live;
    }
    // Without COMDAT sections the count includes the empty entry 0.
    if (!comdat) live = count;
}

ElfSymtabSectionFromFile::~ElfSymtabSectionFromFile() = default;

ElfSymbol *ElfSymtabSectionFromFile::symbolAt(uint32_t index) {
    return symbols && index < count ? symbols[index] : nullptr;
}

uint32_t ElfSymtabSectionFromFile::liveSymbolCount() {
    return live;
}

Elf32_Sym *ElfSymtabSectionFromFile::rawSymbol(uint32_t index) {
    return rawSymbols && index < count ? &rawSymbols[index] : nullptr;
}

ElfStrtabSection *ElfSymtabSectionFromFile::stringTable() {
    return strings;
}
bool ElfSymtabSectionFromFile::isContentSection() {
    return false;
}
bool ElfSymtabSectionFromFile::isValid() {
    return rawSymbols != nullptr;
}
void ElfSymtabSectionFromFile::eachRawDataChunk(RawDataChunkVisitor) {}

uint32_t ElfSymtabSectionFromFile::versionIndex(uint32_t index) {
    if (!versions || index >= count || index >= versionCount) return 0;
    return versions[index] & 0x7FFF;
}

// ---- ARM mapping symbols ----

namespace {

// Program sections first, then the reserved indices; within a group by
// section index, then by value.
int compareByPlace(const void *a, const void *b) {
    const Elf32_Sym *x = *static_cast<const Elf32_Sym *const *>(a);
    const Elf32_Sym *y = *static_cast<const Elf32_Sym *const *>(b);
    bool xInSection = x->st_shndx != SHN_UNDEF && x->st_shndx < SHN_LORESERVE;
    bool yInSection = y->st_shndx != SHN_UNDEF && y->st_shndx < SHN_LORESERVE;
    if (xInSection != yInSection) return xInSection ? -1 : 1;
    if (x->st_shndx != y->st_shndx) return x->st_shndx < y->st_shndx ? -1 : 1;
    if (x->st_value != y->st_value) return x->st_value < y->st_value ? -1 : 1;
    return 0;
}

enum class Mode : char { none = 0, arm = 'a', thumb = 't', data = 'd' };

} // namespace

void ElfSymtabSectionFromFile::markThumbFunctions() {
    if (count < 2) return;
    uint32_t entries = count - 1;
    auto order = std::make_unique<Elf32_Sym *[]>(entries);
    for (uint32_t i = 0; i < entries; ++i)
        order[i] = &rawSymbols[i + 1];
    qsort(order.get(), entries, sizeof(Elf32_Sym *), compareByPlace);

    Mode mode = Mode::none;
    for (uint32_t i = 0; i < entries; ++i) {
        Elf32_Sym &s = *order[i];
        if (i > 0 && s.st_shndx != order[i - 1]->st_shndx) mode = Mode::none;
        if (s.st_name != 0) {
            const char *name = strings->stringAt(s.st_name);
            if (name[0] == '$' && (name[1] == 'a' || name[1] == 't' || name[1] == 'd') &&
                name[2] == '\0') {
                mode = static_cast<Mode>(name[1]);
                continue;
            }
        }
        uint8_t type = elfSymbolType(s.st_info);
        Mode kind = Mode::none;
        if (type == STT_OBJECT)
            kind = Mode::data;
        else if (type == STT_FUNC || type == STT_ARM_FUNC_2)
            kind = Mode::arm;
        else if (type == STT_THUMB_FUNC || type == STT_THUMB_FUNC_2)
            kind = Mode::thumb;
        if (kind == mode) continue;
        if (mode == Mode::data) {
            mode = Mode::none;
            continue;
        }
        if (mode == Mode::thumb && kind == Mode::arm) {
            // An ARM-typed function inside Thumb code is Thumb code, unless
            // a "$a" at its own address says otherwise.
            bool armMarked = false;
            for (uint32_t j = i + 1; j < entries && order[j]->st_value == s.st_value; ++j) {
                const char *other = strings->stringAt(order[j]->st_name);
                if (order[j]->st_name != 0 && other[0] == '$' && other[1] == 'a') {
                    armMarked = true;
                    break;
                }
            }
            if (!armMarked)
                s.st_info = elfSymbolInfo(elfSymbolBinding(s.st_info),
                                          type == STT_FUNC ? STT_THUMB_FUNC : STT_THUMB_FUNC_2);
        }
    }
}
