#include "elf/ElfObjectFileFromInput.h"

#include "elf/Elf32Extractor.h"
#include "elf/Elf32Reader.h"
#include "elf/ElfImportSectionFromInput.h"
#include "elf/ElfSymtabSection.h"
#include "input/InputFile.h"
#include "reloc/ElfReltabSection.h"
#include "reloc/RelocationsIterator.h"
#include "reloc/elfreloc.h"
#include "reloc/reloc.h"
#include "support/botch.h"
#include "support/error.h"
#include "support/toggles.h"

#include <cstring>

namespace {

// The contents of every section of file size 0; never freed.
uint8_t emptyContents[1];

// "arch5" (also called "ver5"): ARM branch-with-link relocations are
// rewritten for architecture 5 interworking.  Made at the first ARM section.
Toggle *arch5Toggle = nullptr;

Toggle &arch5() {
    if (!arch5Toggle) {
        arch5Toggle = &toggleTable().define("arch5", false);
        toggleTable().alias(*arch5Toggle, "ver5");
    }
    return *arch5Toggle;
}

bool isProgramType(uint32_t type) {
    return type == SHT_PROGBITS || type == SHT_NOTE || type == SHT_NOBITS || type == SHT_COMDAT;
}

} // namespace

ComdatTable::~ComdatTable() = default;

struct ElfObjectFileFromInput::Pass {
    Elf32Reader reader;
    std::unique_ptr<Elf32_Shdr[]> table;
    std::unique_ptr<Elf32Extractor> extractor;
    ElfStrtabSection *names = nullptr; // the section name table
    ErrorContext &errorContext;
    const RelocationOptions *relocationOptions;
    ComdatTable *comdats;
    uint32_t shnum = 0;
    bool linkedStringTables = false; // a program section links a string table

    Pass(InputFile &file, ErrorContext &errorContext, const RelocationOptions *options,
         ComdatTable *comdats)
        : reader(file), errorContext(errorContext), relocationOptions(options), comdats(comdats) {}

    const char *nameOf(uint32_t index) { return names->stringAt(table[index].sh_name); }
};

ElfObjectFileFromInput::ElfObjectFileFromInput(InputFile &file, ErrorContext &errorContext,
                                               const RelocationOptions *relocationOptions,
                                               ComdatTable *comdats)
    : ElfObjectFile(file.fileName) {
    Pass pass(file, errorContext, relocationOptions, comdats);
    read(pass);
}

ElfObjectFileFromInput::~ElfObjectFileFromInput() = default;

void ElfObjectFileFromInput::read(Pass &pass) {
    ErrorContext &errors = pass.errorContext;
    if (pass.reader.status != elfReadOk)
        errors.fatal("File %O does not appear to be a valid ELF file.", fileName);
    Elf32_Ehdr fileHeader;
    pass.reader.copyHeader(fileHeader);
    pass.table = pass.reader.readSectionTable();
    if (!pass.table) errors.fatal("Could not read section table from file %O.", fileName);
    pass.shnum = fileHeader.e_shnum;
    pass.extractor = std::make_unique<Elf32Extractor>(pass.reader, pass.table.get());

    // An e_shstrndx beyond the table reads as index 0, which names no
    // string table in a sound file; here it is refused outright.
    std::unique_ptr<ElfStringBlock> nameBlock;
    if (fileHeader.e_shstrndx < pass.shnum) nameBlock = pass.extractor->sectionNames();
    if (!nameBlock) errors.fatal("Could not read section string table from file %O.", fileName);
    uint32_t nameTableSize = nameBlock->size;
    const Elf32_Shdr &nameHeader = pass.table[fileHeader.e_shstrndx];
    const char *nameTableName =
        nameHeader.sh_name < nameTableSize ? nameBlock->at(nameHeader.sh_name) : "???";
    auto nameTable = std::make_unique<ElfStrtabSectionFromFile>(nameTableName, std::move(nameBlock),
                                                                nameHeader, nullptr);
    pass.names = nameTable.get();

    for (uint32_t i = 0; i < pass.shnum; ++i) {
        uint32_t name = pass.table[i].sh_name;
        if (name != 0 && name >= nameTableSize)
            errors.fatal("In file %O: section #%d has a garbage name", fileName, i);
    }

    auto vector = std::make_unique<std::unique_ptr<ElfSection>[]>(pass.shnum);
    vector[fileHeader.e_shstrndx] = std::move(nameTable);

    uint32_t symbolIndex = pass.extractor->symbolTableIndex();
    if (symbolIndex == 0) errors.fatal("Could not find symbol table from file %O.", fileName);

    if (fileHeader.e_type == ET_DYN)
        if (std::unique_ptr<char[]> name = pass.extractor->soname()) setSoname(name.get());
    init(fileHeader, std::move(vector), symbolIndex);
    pass.names->setObjectFile(this);

    if (isSharedObject()) readVersionDefinitions(pass);

    mainPass(pass);
    if (!sections) return;

    makeSymbolTable(pass, symbolIndex);
    if (isSharedObject()) return;

    // A program section may carry the strings it refers to in a string
    // table of its own; that table becomes a section with contents too.
    if (pass.linkedStringTables) {
        for (uint32_t i = 0; i < pass.shnum; ++i) {
            const Elf32_Shdr &h = pass.table[i];
            if (!sections[i] || h.sh_type != SHT_PROGBITS || h.sh_link == 0) continue;
            uint32_t link = h.sh_link;
            if (pass.table[link].sh_type == SHT_STRTAB && !sections[link])
                sections[link] = std::make_unique<ElfSectionFromFile>(
                    pass.nameOf(link), pass.table[link], this, pass.reader, pass.errorContext);
        }
    }

    if (header.e_type == ET_REL) relocationPass(pass);
}

void ElfObjectFileFromInput::mainPass(Pass &pass) {
    bool shared = isSharedObject();
    for (uint32_t i = 1; i < pass.shnum; ++i) {
        if (sections[i]) continue;
        Elf32_Shdr &h = pass.table[i];
        const char *name = pass.nameOf(i);
        std::unique_ptr<ElfSection> made;
        bool program = false;
        switch (h.sh_type) {
        case SHT_PROGBITS:
        case SHT_NOTE:
        case SHT_NOBITS:
            program = true;
            break;
        case SHT_PROC_PROGBITS:
            h.sh_type = SHT_PROGBITS;
            program = true;
            break;
        case SHT_ORDERED:
            h.sh_type = SHT_PROGBITS;
            h.sh_flags |= SHF_ORDERED;
            program = true;
            break;
        case SHT_COMDAT:
        case SHT_COMDAT_2:
            if (!shared) makeComdat(pass, i);
            break;
        case SHT_UNCHECKED:
            if (!shared)
                made = std::make_unique<ElfSectionFromFile>(name, h, this, pass.reader,
                                                            pass.errorContext);
            break;
        case SHT_IMPORTS:
            if (!shared) checkImports(pass, i);
            break;
        case SHT_DIRECTIVES:
            readDirective(pass, i);
            break;
        // Tables made on demand, and sections that get no object.
        case SHT_SYMTAB:
        case SHT_DYNSYM:
        case SHT_REL:
        case SHT_RELA:
        case SHT_STRTAB:
        case SHT_HASH:
        case SHT_DYNAMIC:
        case SHT_SHLIB:
        case SHT_LOCAL_1:
        case SHT_LOCAL_3:
        case SHT_PROC_5:
        case SHT_MIPS_REGINFO:
            break;
        default:
            if (shared) break;
            pass.errorContext.warning(
                "In file %O:%Csection \"%s\"(#%d) has an unrecognized type: 0x%lx", fileName, name,
                i, h.sh_type);
            program = (h.sh_flags & SHF_ALLOC) != 0;
            break;
        }
        if (program && !shared) {
            checkProgramLinks(pass, i);
            made =
                std::make_unique<ElfSectionFromFile>(name, h, this, pass.reader, pass.errorContext);
        }
        if (made) sections[i] = std::move(made);
        if (sections[i] && !sections[i]->isValid()) {
            // The reason was reported where the read failed.
            sections.reset();
            return;
        }
    }
}

bool ElfObjectFileFromInput::checkProgramLinks(Pass &pass, uint32_t index) {
    Elf32_Shdr &h = pass.table[index];
    const char *name = pass.nameOf(index);
    bool repaired = false;
    if (h.sh_link != 0) {
        bool good = false;
        if (h.sh_link < pass.shnum) {
            uint32_t linkedType = pass.table[h.sh_link].sh_type;
            if (isProgramType(linkedType) || linkedType == SHT_ORDERED) {
                good = true;
            } else if (linkedType == SHT_STRTAB && h.sh_type == SHT_PROGBITS) {
                good = true;
                pass.linkedStringTables = true;
            }
        }
        if (!good) {
            pass.errorContext.warning(
                "In file %O: section \"%s\" (#%d)%Chas a non-zero \"link\" value (=%d) that "
                "doesn't reference a%Cvalid PROGBITS section. Value ignored.",
                fileName, name, index, h.sh_link);
            h.sh_link = 0;
            repaired = true;
        }
    }
    if (h.sh_info != 0 && (h.sh_flags & SHF_ORDERED)) {
        if (h.sh_info >= pass.shnum || !isProgramType(pass.table[h.sh_info].sh_type)) {
            pass.errorContext.warning(
                "In file %O: `ordered' section \"%s\" (#%d)%Chas a non-zero \"info\" value "
                "(=%d) that doesn't reference a%Cvalid PROGBITS section. Value ignored.",
                fileName, name, index, h.sh_info);
            h.sh_info = 0;
            repaired = true;
        }
    }
    return repaired;
}

ElfSection *ElfObjectFileFromInput::makeComdat(Pass &pass, uint32_t index) {
    Elf32_Shdr &h = pass.table[index];
    const char *name = pass.nameOf(index);
    if (h.sh_link != 0) {
        uint32_t linkedType = h.sh_link < pass.shnum ? pass.table[h.sh_link].sh_type : SHT_NULL;
        if (linkedType == SHT_PROGBITS || linkedType == SHT_NOBITS) {
            // Write, alloc and execute come from the section it belongs to.
            const uint32_t rights = SHF_WRITE | SHF_ALLOC | SHF_EXECINSTR;
            h.sh_flags = (h.sh_flags & ~rights) | (pass.table[h.sh_link].sh_flags & rights);
        } else {
            pass.errorContext.warning(
                "In file %O: comdat section \"%s\" (#%d)%Chas a non-zero \"link\" value (=%d) "
                "that doesn't reference a%Cvalid PROGBITS section. Value ignored",
                fileName, name, index, h.sh_link);
            h.sh_link = 0;
        }
    }
    std::unique_ptr<ElfSection> section;
    if (pass.comdats && pass.comdats->contains(name))
        section = std::make_unique<ElfDiscardedComdat>(name, h, this);
    else
        section =
            std::make_unique<ElfSectionFromFile>(name, h, this, pass.reader, pass.errorContext);
    if (pass.comdats) pass.comdats->add(*section, pass.errorContext);
    comdatSeen = true;
    sections[index] = std::move(section);
    return sections[index].get();
}

void ElfObjectFileFromInput::readDirective(Pass &pass, uint32_t index) {
    const Elf32_Shdr &h = pass.table[index];
    const char *name = pass.nameOf(index);
    pass.reader.status = elfReadOk;
    // A size that the file cannot hold is not allocated; the text is empty.
    uint32_t size = pass.reader.fits(h.sh_offset, h.sh_size) ? h.sh_size : 0;
    auto text = std::make_unique<char[]>(size_t(size) + 1);
    if (pass.reader.status == elfReadOk) pass.reader.readAt(text.get(), h.sh_offset, size);
    if (pass.reader.status != elfReadOk)
        pass.errorContext.error("Can't read directive section %s from %O", name, fileName);
    for (uint32_t i = 0; i < size; ++i)
        if (text[i] == '\0') text[i] = '\n';
    text[size] = '\0';
    auto &list = strstr(name, "before") ? beforeDirectives : directives;
    if (!list) {
        list = std::make_unique<std::vector<std::unique_ptr<char[]>>>();
        list->reserve(16);
    }
    list->push_back(std::move(text));
}

void ElfObjectFileFromInput::checkImports(Pass &pass, uint32_t index) {
    const Elf32_Shdr &h = pass.table[index];
    ElfStrtabSection *strings = nullptr;
    if (h.sh_link != 0 && h.sh_link < pass.shnum && pass.table[h.sh_link].sh_type == SHT_STRTAB) {
        ElfSection *entry = sections[h.sh_link].get();
        strings = entry ? entry->asStrtab() : nullptr;
        if (!strings) strings = makeStringTable(pass, h.sh_link);
    } else {
        pass.errorContext.error("In file %O: section \"%s\" (#%d)%C`sh_link' field (=%d) does "
                                "not reference a valid string table section.",
                                fileName, pass.nameOf(index), index, h.sh_link);
    }
    sections[index] = std::make_unique<ElfImportSectionFromInput>(
        pass.nameOf(index), pass.reader, strings, h, this, pass.errorContext);
    hasImports = true;
}

ElfStrtabSection *ElfObjectFileFromInput::makeStringTable(Pass &pass, uint32_t index) {
    const Elf32_Shdr &h = pass.table[index];
    std::unique_ptr<ElfStringBlock> block = pass.extractor->readStrings(h);
    if (!block) pass.errorContext.fatal("Can't read string table of file %O", fileName);
    auto table =
        std::make_unique<ElfStrtabSectionFromFile>(pass.nameOf(index), std::move(block), h, this);
    ElfStrtabSection *result = table.get();
    sections[index] = std::move(table);
    return result;
}

void ElfObjectFileFromInput::makeSymbolTable(Pass &pass, uint32_t index) {
    const Elf32_Shdr &h = pass.table[index];
    const char *name = pass.nameOf(index);
    if (h.sh_link >= pass.shnum)
        pass.errorContext.fatal("Bad sh_link (=%d) in section %s of file %O", h.sh_link, name,
                                fileName);
    ElfStrtabSection *strings;
    if (!sections[h.sh_link]) {
        strings = makeStringTable(pass, h.sh_link);
    } else {
        strings = sections[h.sh_link]->asStrtab();
        if (!strings)
            pass.errorContext.fatal(
                "In file %O: sh_link (=%d) of section %s%Ccorresponds to section %s;%Cthis is "
                "not a valid string table section.",
                fileName, h.sh_link, name, sections[h.sh_link]->name());
    }
    sections[index] = std::make_unique<ElfSymtabSectionFromFile>(name, *pass.extractor, h, strings,
                                                                 this, pass.errorContext);
}

void ElfObjectFileFromInput::relocationPass(Pass &pass) {
    for (uint32_t i = 0; i < pass.shnum; ++i) {
        const Elf32_Shdr &h = pass.table[i];
        if (h.sh_type != SHT_REL && h.sh_type != SHT_RELA) continue;
        const char *name = pass.nameOf(i);
        uint32_t info = h.sh_info;
        if (info == 0 || info >= pass.shnum) {
            pass.errorContext.error("In %O: \"info\" member of section %s(=%d) is garbage",
                                    fileName, name, i);
            info = 0;
        }
        if (h.sh_link != symbolTableIndex) {
            if (h.sh_link >= pass.shnum || pass.table[h.sh_link].sh_type != SHT_SYMTAB) {
                pass.errorContext.error(
                    "In %O: \"link\" member of%Csection %s(=%d) is not referencing .symtab(=%d)",
                    fileName, name, i, symbolTableIndex);
                continue;
            }
            if (!sections[h.sh_link]) makeSymbolTable(pass, h.sh_link);
        }
        if (info == 0) continue;
        ElfSection *target = sections[info].get();
        if (!target || target->isDiscarded()) continue;
        std::unique_ptr<ElfReltabSection> table =
            makeElfReltabSection(name, *pass.extractor, header.e_machine, h, *this,
                                 pass.errorContext, pass.relocationOptions);
        if (!table) continue;
        ElfReltabSection &made = *table;
        sections[i] = std::move(table);
        target->addRelocations(made);
    }
}

void ElfObjectFileFromInput::readVersionDefinitions(Pass &pass) {
    uint32_t count = 0;
    std::unique_ptr<std::vector<VerDef>> read = pass.extractor->versionDefinitions(count);
    if (!read) return;
    // Sorted by version index; a record whose index is out of range or taken
    // already is dropped with a warning.
    auto byIndex = std::make_unique<std::vector<VerDef>>(count);
    std::vector<bool> taken(count, false);
    for (uint32_t r = 0; r < count && r < read->size(); ++r) {
        uint32_t index = (*read)[r].index;
        if (index == 0 || index > count) {
            pass.errorContext.warning(
                "%O:  Verdef record #%d has index(=%d) that is out or range(max=%d)", fileName,
                r + 1, index, count);
            continue;
        }
        if (taken[index - 1]) {
            pass.errorContext.warning(
                "%O:  Verdef record #%d has index(=%d) that is duplicated in another record",
                fileName, r + 1, index);
            continue;
        }
        (*byIndex)[index - 1] = std::move((*read)[r]);
        taken[index - 1] = true;
    }
    versionDefinitionCount = count;
    versionDefinitions = std::move(byIndex);
}

const char *ElfObjectFileFromInput::name() {
    return soname ? soname.get() : ElfObjectFile::name();
}

void ElfObjectFileFromInput::eachBeforeDirective(DirectiveVisitor visitor) {
    if (beforeDirectives)
        for (auto &text : *beforeDirectives)
            if (!visitor(text.get())) return;
}

void ElfObjectFileFromInput::eachDirective(DirectiveVisitor visitor) {
    if (directives)
        for (auto &text : *directives)
            if (!visitor(text.get())) return;
}

void ElfObjectFileFromInput::enterSymbols(SymbolTable &table) {
    if (comdatSeen) {
        eachGlobalSymbol([](Symbol &symbol) {
            Section *home = symbol.section();
            if (home && home->isDiscarded()) symbol.elfSymbol()->st_shndx = SHN_UNDEF;
            return true;
        });
    }
    ElfObjectFile::enterSymbols(table);
}

VerDef *ElfObjectFileFromInput::versionDefinition(uint32_t index) {
    if (!versionDefinitions || index > versionDefinitionCount || versionDefinitions->empty())
        return nullptr;
    return &(*versionDefinitions)[index == 0 ? 0 : index - 1];
}

bool ElfObjectFileFromInput::hasComdat() {
    return comdatSeen;
}

void ElfObjectFileFromInput::setSoname(const char *name) {
    size_t length = strlen(name);
    soname = std::make_unique<char[]>(length + 1);
    memcpy(soname.get(), name, length + 1);
}

// ---- sections with contents ----

ElfSectionFromFile::ElfSectionFromFile(const char *name, const Elf32_Shdr &header,
                                       ElfObjectFile *objectFile, Elf32Reader &reader,
                                       ErrorContext &errorContext)
    : ElfSection(name, header, objectFile) {
    if (objectFile && objectFile->header.e_machine == EM_ARM) arch5();
    uint32_t size = fileSize();
    if (size == 0) {
        bytes = emptyContents;
        return;
    }
    reader.status = elfReadOk;
    // The size is checked against the file before anything is allocated.
    if (reader.fits(header.sh_offset, size)) {
        ownedBytes = std::make_unique<uint8_t[]>(size);
        reader.readSectionInto(header, ownedBytes.get(), size);
    }
    if (reader.status != elfReadOk) {
        errorContext.error("Can't read data of section %s in %O", name, fileName());
        ownedBytes.reset();
        return;
    }
    bytes = ownedBytes.get();
}

ElfSectionFromFile::~ElfSectionFromFile() = default;

bool ElfSectionFromFile::isAllocated() {
    if (header.sh_flags & SHF_EXCLUDE) return false;
    return ElfSection::isAllocated();
}

const char *ElfSectionFromFile::combinedSectionName() {
    if (file && file->header.e_machine == EM_ARM) return boundSection()->name();
    return ElfSection::combinedSectionName();
}

void ElfSectionFromFile::eachRawDataChunk(RawDataChunkVisitor visitor) {
    if (bytes) visitor(0, fileSize(), bytes, relocationTable);
}

RelocationsIterator *ElfSectionFromFile::relocations() {
    return relocationTable;
}
bool ElfSectionFromFile::isContentSection() {
    return true;
}
bool ElfSectionFromFile::isValid() {
    return bytes != nullptr;
}

void ElfSectionFromFile::addRelocations(ElfSection &section) {
    ElfReltabSection *table = section.asReltab();
    if (!table)
        botch("ElfSectionFromFile::addRelocations(%s) -- not a relocation table", section.name());
    if (table == firstTable) return;
    if (laterTables)
        for (ElfReltabSection *seen : *laterTables)
            if (seen == table) return;
    if (!firstTable) {
        firstTable = table;
        relocationTable = table;
    } else {
        // A second table: the section's relocations become a collection of
        // both, which holds stand-ins since the tables stay the file's.
        if (!tableCollection) {
            tableCollection = std::make_unique<RelocationsIteratorAcrossCollection>();
            tableCollection->add(new ElfReltabReference(*firstTable));
            laterTables = std::make_unique<std::vector<ElfReltabSection *>>();
            relocationTable = tableCollection.get();
        }
        tableCollection->add(new ElfReltabReference(*table));
        laterTables->push_back(table);
    }
    if (file && file->header.e_machine == EM_ARM && arch5().isOn()) markArch5Calls(*table);
}

void ElfSectionFromFile::markArch5Calls(ElfReltabSection &table) {
    // Architecture 5 interworking: a branch with link whose relocation has
    // one of the plain call types becomes the interworking form of its type:
    // an ARM BL word (type 2), the first or second half of a Thumb BL (types
    // 0x22, 0x23).  An instruction that does not lie inside the section
    // whole keeps its type.
    bool little = file->isLittleEndian();
    uint32_t size = fileSize();
    table.each([&](RelocationDescriptor &) {
        uint32_t type = table.type();
        uint32_t at = table.dataOffset();
        uint32_t width = type == 2 ? 4 : 2;
        if ((type != 2 && type != 0x22 && type != 0x23) || at > size || width > size - at)
            return true;
        const uint8_t *p = bytes + at;
        if (type == 2) {
            uint32_t word = little ? reloc::read32Le(p) : reloc::read32Be(p);
            if ((word & 0xFF000000u) == 0xEB000000u) table.setType(0x40);
        } else {
            uint16_t half = little ? reloc::read16Le(p) : reloc::read16Be(p);
            if (type == 0x22 && (half & 0xF800) == 0xF000) table.setType(0x41);
            if (type == 0x23 && (half & 0xF800) == 0xF800) table.setType(0x42);
        }
        return true;
    });
}

// ---- discarded COMDAT sections ----

ElfDiscardedComdat::ElfDiscardedComdat(const char *name, const Elf32_Shdr &header,
                                       ElfObjectFile *objectFile)
    : ElfSection(name, header, objectFile) {
    discarded = true;
}

ElfDiscardedComdat::~ElfDiscardedComdat() = default;

void ElfDiscardedComdat::eachRawDataChunk(RawDataChunkVisitor) {
    botch("Discarded comdat %s (of %O) is being extracted!", sectionName, fileName());
}

bool ElfDiscardedComdat::isDiscarded() {
    return true;
}
void ElfDiscardedComdat::addRelocations(ElfSection &) {}
