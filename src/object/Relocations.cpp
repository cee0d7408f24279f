// The operations of the object model that walk relocation tables or enter
// symbols into a global symbol table: Section::eachRelocation and the walks
// built on it, Section::eachDataChunk, Section::configureRelocations,
// ObjectFile::display and ObjectFile::enterSymbols.
//
// Relocation tables (reloc/) are built on top of this library.  While a
// program is built without them, no class can make a RelocationsIterator (the
// type is incomplete), so no section has relocations; the walks then visit
// none.  Reaching a table in such a program means that something is broken,
// and ends in botch.
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"

#include "input/FileIdentity.h"
#include "object/LinkOptions.h"
#include "object/SymbolTable.h"
#include "support/botch.h"
#include "support/error.h"
#include "support/formout.h"

#if __has_include("reloc/RelocationsIterator.h")
#include "reloc/RelocationDescriptor.h"
#include "reloc/RelocationsIterator.h"
#define TNM_HAVE_RELOCATION_TABLES 1
#endif

#ifdef TNM_HAVE_RELOCATION_TABLES

void Section::eachRelocation(RelocationVisitor visitor) {
    if (RelocationsIterator *table = relocations()) table->each(visitor);
}

void Section::eachDataChunk(DataChunkVisitor visitor, LinkOptions &options,
                            ErrorContext &errorContext, uint8_t flag) {
    eachRawDataChunk(
        [&](uint32_t offset, uint32_t size, uint8_t *bytes, RelocationsIterator *table) {
            if (table) {
                if (options.passesRelocationFlag())
                    table->setFirstOption(flag);
                else
                    table->setSecondOption(1);
                table->setErrorContext(errorContext);
                table->each([&](RelocationDescriptor &entry) {
                    uint32_t at = entry.dataOffset();
                    // A place outside the chunk cannot be patched: it counts as
                    // a failure to relocate.
                    bool fitted = at < size && entry.apply(bytes + at);
                    if (!fitted && !options.silencesRelocationFailures()) {
                        Symbol *symbol = entry.targetSymbol();
                        Section *section = entry.targetSection();
                        errorContext.error("Can't relocate %s@0x%lx against %s%s", name(),
                                           address() + offset + at, symbol ? "symbol " : "section ",
                                           symbol    ? symbol->name()
                                           : section ? section->name()
                                                     : "?sec?");
                    }
                    return true;
                });
            }
            return visitor(offset, size, bytes);
        });
}

void Section::configureRelocations(uint8_t firstOption, uint8_t secondOption,
                                   ErrorContext &errorContext) {
    if (RelocationsIterator *table = relocations()) {
        table->setErrorContext(errorContext);
        table->setFirstOption(firstOption);
        table->setSecondOption(secondOption);
    }
}

#else // no relocation tables in this program

void Section::eachRelocation(RelocationVisitor) {
    if (relocations()) botch("Section::eachRelocation: no relocation tables in this program");
}

void Section::eachDataChunk(DataChunkVisitor visitor, LinkOptions &, ErrorContext &, uint8_t) {
    eachRawDataChunk(
        [&](uint32_t offset, uint32_t size, uint8_t *bytes, RelocationsIterator *table) {
            if (table) botch("Section::eachDataChunk: no relocation tables in this program");
            return visitor(offset, size, bytes);
        });
}

void Section::configureRelocations(uint8_t, uint8_t, ErrorContext &) {
    if (relocations()) botch("Section::configureRelocations: no relocation tables in this program");
}

#endif

void Section::eachReferencedSection(SectionVisitor visitor) {
    bool goOn = true;
    eachBoundSection([&](Section &section) {
        goOn = visitor(section);
        return goOn;
    });
    if (!goOn) return;
#ifdef TNM_HAVE_RELOCATION_TABLES
    eachRelocation([&](RelocationDescriptor &entry) {
        if (Section *target = entry.targetSection()) return visitor(*target);
        if (Symbol *symbol = entry.targetSymbol())
            if (Section *target = symbol->resolved(false)->section()) return visitor(*target);
        return true;
    });
#else
    eachRelocation(RelocationVisitor());
#endif
}

void Section::eachReferencedSymbol(SymbolVisitor visitor) {
#ifdef TNM_HAVE_RELOCATION_TABLES
    eachRelocation([&](RelocationDescriptor &entry) {
        Symbol *symbol = entry.targetSymbol();
        return symbol ? visitor(*symbol->resolved(false)) : true;
    });
#else
    (void)visitor;
    eachRelocation(RelocationVisitor());
#endif
}

void Section::eachReferencedCommonOrAbsoluteSymbol(SymbolVisitor visitor) {
#ifdef TNM_HAVE_RELOCATION_TABLES
    eachRelocation([&](RelocationDescriptor &entry) {
        Symbol *symbol = entry.targetSymbol();
        if (!symbol) return true;
        Symbol *target = symbol->resolved(true);
        return target->isCommon() || target->isAbsolute() ? visitor(*target) : true;
    });
#else
    (void)visitor;
    eachRelocation(RelocationVisitor());
#endif
}

void ObjectFile::display(FormatOut &out) {
    FileIdentity identity;
    identity.kind = formatKind();
    out.print("Display of %s object file \"%s\"\n", identity.kindName(), name());
    displayHeader(out);
    out.print("\nSymbols:\n");
    eachSymbol([&](Symbol &symbol) {
        symbol.display(out);
        return true;
    });
    out.print("\nSections:\n");
    eachSection([&](Section &section) {
        section.display(out);
        return true;
    });
    eachSection([&](Section &section) {
        if (RelocationsIterator *table = section.relocations()) {
            out.print("\nRelocations for section %s:\n", section.name());
#ifdef TNM_HAVE_RELOCATION_TABLES
            table->display(out);
#else
            (void)table;
            botch("ObjectFile::display: no relocation tables in this program");
#endif
        }
        return true;
    });
}

void ObjectFile::enterSymbols(SymbolTable &table) {
    eachSymbol([&](Symbol &symbol) {
        table.enter(&symbol);
        return true;
    });
}
