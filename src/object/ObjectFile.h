// ObjectFile: the format-neutral view of one object file, a named set of
// sections and symbols with a machine, a byte order and a format kind; and
// its collections: SectionCollection with the views of the SectionIterator
// family, PublicList, and IncompatibilityReason.
//
// The loader makes one concrete object file per input (ELF, COFF, a.out,
// AOF); the listing asks it for symbolCount, eachSymbol, eachGlobalSymbol
// and its file's name.  An object file owns its sections and symbols; its
// FileName is not owned and outlives it.
//
// A format class supplies at least formatKind, isCompatibleWith,
// eachSection, symbolCount, eachSymbol, isLittleEndian and the `each` and
// `count` of SymbolCollection (delivering the same set as eachSymbol); in
// practice also machine, its own as... down-cast and its header operation.
// eachSection and eachSymbol deliver the same items in the same order on
// every call.  No operation here is const.
#pragma once

#include "object/Collectable.h"
#include "object/Section.h"
#include "object/Symbol.h"
#include "support/FunctionRef.h"

#include <cstdint>
#include <memory>
#include <vector>

class ArmObjectFile;
class BsdObjectFile;
class CoffObjectFile;
class ElfObjectFile;
class ErrorContext;
class FileName;
class FormatOut;
class GotTable;
class IncompatibilityReason;
class LinkOptions;
class PltTable;
class SymbolTable;

// Raw file headers of the formats, defined by their readers.
struct Elf32_Ehdr;
struct CoffFileHeader;
struct BsdExecHeader;

// The object format of a file (0 "unknown", 2 "COFF", 3 "ELF", 4 "BSD",
// 5 "ARM", ...), defined with its name table by the file identification.
enum ObjectFormatKind : uint8_t;

// A visitor of the directive texts that an object file carries.
using DirectiveVisitor = FunctionRef<bool(const char *text)>;

class ObjectFile : public Collectable, public SymbolCollection {
public:
    // The name of the input; not owned, outlives the object file.
    const FileName *fileName;

    explicit ObjectFile(const FileName &fileName);
    ObjectFile(const ObjectFile &) = delete;
    ObjectFile &operator=(const ObjectFile &) = delete;
    ~ObjectFile() override;

    // Persistence is not supported: each says so on standard error.
    void saveGuts(FormatOut &out) override;
    void saveGuts(std::FILE *out) override;
    void restoreGuts(InputFile &in) override;
    void restoreGuts(std::FILE *in) override;

    // The symbol set of SymbolCollection: each format supplies it.
    void each(SymbolVisitor visitor) override = 0;
    uint32_t count() override = 0;

    // The text of the file's name.
    virtual const char *name();
    virtual ObjectFormatKind formatKind() = 0;
    // May the two files be linked together?
    virtual bool isCompatibleWith(ObjectFile &other) = 0;
    // Null when compatible; otherwise one shared reason object, good until
    // the next call.
    virtual IncompatibilityReason *incompatibility(ObjectFile &other);
    virtual bool isRelocatable();
    virtual bool isExecutable();
    virtual bool isSharedObject();
    virtual bool isReentrant();
    // The sections that are present, in the format's own order.
    virtual void eachSection(SectionVisitor visitor) = 0;
    virtual uint32_t sectionCount();
    // An upper bound of what eachSymbol delivers, answered without a walk.
    virtual uint32_t symbolCount() = 0;
    // All symbols in the file's table order.
    virtual void eachSymbol(SymbolVisitor visitor) = 0;
    // The global and weak symbols of eachSymbol.
    virtual void eachGlobalSymbol(SymbolVisitor visitor);
    virtual Elf32_Ehdr *elfHeader();
    virtual uint32_t elfFlags();
    // The ELF machine number (e_machine), in every format.
    virtual uint32_t machine();
    virtual CoffFileHeader *coffHeader();
    virtual uint32_t coffMachine();
    virtual BsdExecHeader *bsdHeader();
    virtual uint32_t bsdMachine();
    virtual ElfObjectFile *asElfObjectFile();
    virtual BsdObjectFile *asBsdObjectFile();
    virtual CoffObjectFile *asCoffObjectFile();
    virtual ArmObjectFile *asArmObjectFile();
    // The first section of that name and kind; kind 0 is any, kind 1
    // (abs) also takes any section that isAbsolute.
    virtual Section *findSection(const char *name, SectionType kind);
    virtual void setEntry(uint32_t entry);
    virtual uint32_t entry();
    virtual bool reservedPredicate();
    virtual void reservedOperation1();
    // "Display of ... object file": header, symbols, sections, relocations.
    virtual void display(FormatOut &out);
    // The format's own lines of display.
    virtual void displayHeader(FormatOut &out);
    virtual bool isLittleEndian() = 0;
    virtual uint32_t reservedOperation2();
    virtual uint32_t reservedOperation3();
    // eachReferencedSymbol of every section that is not discarded.
    virtual void eachReferencedSymbol(SymbolVisitor visitor);
    virtual void addSymbol(Symbol *symbol);
    virtual GotTable *gotTable();
    virtual PltTable *pltTable();
    // The first global symbol of that name, or null.
    virtual Symbol *findSymbol(const char *name);
    // Hand the words of every directive text to the options.
    virtual void applyBeforeDirectives(LinkOptions &options, ErrorContext &errorContext);
    virtual void applyDirectives(LinkOptions &options, ErrorContext &errorContext);
    // Enters every symbol of eachSymbol into the table.
    virtual void enterSymbols(SymbolTable &table);
    virtual void reservedOperation4();
    // adjustSize of every section; true when any size changed.
    virtual bool adjustSectionSizes();
    virtual void eachBeforeDirective(DirectiveVisitor visitor);
    virtual void eachDirective(DirectiveVisitor visitor);

    // The first section whose input address range [inputAddress,
    // inputAddress + size) holds the address (the lower bound compared
    // signed, the upper one unsigned); offset receives the distance from its
    // start.  Null when there is none.
    Section *sectionContaining(uint32_t address, uint32_t &offset);

private:
    void applyDirectiveTexts(bool before, LinkOptions &options, ErrorContext &errorContext);
};

// Why two object files may not be linked together.
class IncompatibilityReason {
public:
    IncompatibilityReason() = default;
    virtual ~IncompatibilityReason();

    // Sets the names and the text (not owned; a literal or a text that
    // outlives the reason) and clears both flags.
    void fill(const FileName *first, const FileName *second, const char *text);
    void setPossibly(bool value) { possiblyFlag = value; }
    void setByteOrder(bool value) { byteOrderFlag = value; }

    virtual bool possibly();
    virtual bool byteOrder();
    virtual const char *text();
    virtual const FileName *firstName();
    virtual const FileName *secondName();
    // "Object files A and B are not compatible", or, with a text, "Object
    // files A and B|are [possibly ]incompatible: text".
    virtual void print(FormatOut &out);

private:
    bool possiblyFlag = false;
    bool byteOrderFlag = false;
    const FileName *first = nullptr;
    const FileName *second = nullptr;
    const char *reasonText = nullptr;
};

// SectionCollection: a visitable set of sections.
class SectionCollection {
public:
    virtual void each(SectionVisitor visitor) = 0;
    virtual ~SectionCollection();
    // The base counts what `each` visits.
    virtual uint32_t count();
};

// SectionIterator: the family of views over sections.  A view holds a
// reference to what it shows, never a copy.
class SectionIterator : public SectionCollection {};

// The sections of another collection, sorted by name; sections of equal name
// keep the other collection's order.  The sorted array is built at the first
// `each` that finds sections, and kept.
class SortedSections : public SectionIterator {
public:
    explicit SortedSections(SectionCollection &sections) : sections(sections) {}
    void each(SectionVisitor visitor) override;
    uint32_t count() override;

private:
    SectionCollection &sections;
    std::unique_ptr<Section *[]> sorted;
    uint32_t sortedCount = 0;
};

// The sections of every relocatable file of a list, file by file.
class ObjectFilesSections : public SectionIterator {
public:
    explicit ObjectFilesSections(std::vector<ObjectFile *> &files) : files(files) {}
    void each(SectionVisitor visitor) override;
    uint32_t count() override;

private:
    std::vector<ObjectFile *> &files;
};

// The sections of an array, in order.
class SectionArrayView : public SectionIterator {
public:
    explicit SectionArrayView(dynarray<Section *> &sections) : sections(sections) {}
    void each(SectionVisitor visitor) override;
    uint32_t count() override;

private:
    dynarray<Section *> &sections;
};

// The sections of one object file.
class ObjectFileSections : public SectionIterator {
public:
    explicit ObjectFileSections(ObjectFile &file) : file(file) {}
    void each(SectionVisitor visitor) override;
    uint32_t count() override;

private:
    ObjectFile &file;
};

// The members of a section: of a combined section its member sections, of a
// plain section the section itself.
class SectionMembers : public SectionIterator {
public:
    explicit SectionMembers(Section &section) : section(section) {}
    void each(SectionVisitor visitor) override;
    uint32_t count() override;

private:
    Section &section;
};

// PublicList: a growable list of (name, value) pairs; the names are copies
// that the list owns.
class PublicList {
public:
    struct Entry {
        std::unique_ptr<char[]> name;
        uint32_t value;
    };

    void add(const char *name, uint32_t value);
    uint32_t count() const { return static_cast<uint32_t>(entries.size()); }
    const char *nameAt(uint32_t index) const { return entries[index].name.get(); }
    uint32_t valueAt(uint32_t index) const { return entries[index].value; }

private:
    std::vector<Entry> entries;
};
