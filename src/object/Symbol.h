// Symbol: the format-neutral view of one entry of an object file's symbol
// table, and SymbolCollection / SymbolArray, the visitable sets of symbols.
//
// Every object format supplies its own concrete symbol class; a concrete
// symbol stores little more than its owner and its position, and reads its
// raw record from the owner's table each time it is asked, so that a file with
// many symbols costs little and an edit of the raw record (a discarded COMDAT
// section turning its symbols undefined) shows at once.  The listing asks only
// name, value, size, other, isUndefined, isCommon, isSmallCommon, isAbsolute,
// section, binding and type; the rest serves a linker: resolution chains
// (`link`), relocation, dynamic output.
//
// No operation here is const: concrete classes read through their owners,
// some of which build things lazily.
#pragma once

#include "object/Collectable.h"
#include "support/FunctionRef.h"
#include "support/array.h"

#include <cstdint>

class FileName;
class FormatOut;
class LinkOptions;
class ObjectFile;
class Section;
class Symbol;

// Raw records of the formats, defined by their readers.
struct Elf32_Sym;
struct BsdNlist;
struct syment;

// The binding of a symbol, as the listing shows it: "LOCAL", "GLOBAL", "WEAK".
enum class SymbolBinding : uint8_t { local = 0, global = 1, weak = 2 };

// The type of a symbol, as the listing shows it: "NOTY", "DATA", "FUNC",
// "SECT", "FILE".  No class here produces another value.
enum class SymbolType : uint8_t { none = 0, data = 1, function = 2, section = 3, file = 4 };

// A visitor of symbols; it answers true to go on, false to end the walk.
using SymbolVisitor = FunctionRef<bool(Symbol &)>;

class Symbol : public Collectable {
public:
    // The symbol that stands for this one after resolution; this symbol
    // itself until a symbol table links it elsewhere.  A symbol whose link is
    // itself ends a chain.
    Symbol *link;

    Symbol() : link(this) {}
    Symbol(const Symbol &) = delete;
    Symbol &operator=(const Symbol &) = delete;
    ~Symbol() override;

    virtual const char *name() = 0;
    // Position in the owner's table, where the format has one; 0 otherwise.
    virtual uint32_t index();
    // Only 0 is accepted by a class without positions.
    virtual void setIndex(uint32_t index);
    virtual ObjectFile *objectFile() = 0;
    virtual ObjectFile *originalObjectFile();
    virtual uint32_t size();
    virtual uint32_t alignment();
    // The raw value of the record.
    virtual uint32_t value() = 0;
    virtual void setValue(uint32_t value);
    virtual uint32_t originalValue();
    // The section's address plus the value; the value alone without a section.
    virtual uint32_t address();
    // The format's extra byte; the listing marks a symbol whose other is 0xF0.
    virtual uint32_t other();
    // True for global and weak symbols.
    virtual bool isGlobal() = 0;
    virtual bool isUndefined() = 0;
    virtual bool isCommon() = 0;
    virtual bool isSmallCommon();
    // False only for an undefined symbol that is not weak.
    virtual bool isDefinedOrWeak();
    // Defined and without a section.
    virtual bool isAbsolute();
    virtual bool isSectionSymbol();
    // The defining section; null for undefined, absolute and common symbols.
    virtual Section *section() = 0;
    virtual void setAssociatedSection(Section *section);
    virtual bool hasLinkAddress();
    virtual SymbolBinding binding();
    virtual SymbolType type();
    virtual Elf32_Sym *elfSymbol();
    virtual BsdNlist *bsdSymbol();
    virtual syment *coffSymbol();
    // The n-th auxiliary record of a COFF symbol, or null.
    virtual syment *coffAuxiliary(uint32_t n);
    // One line: name, address, section and a word for the kind of symbol.
    virtual void display(FormatOut &out);
    // Made by the linker; needs no mapping of its own.
    virtual bool isSpecial();
    virtual bool isSymbolFlagA();
    virtual bool preemptsSharedDefinition();
    virtual bool isSymbolFlagC();
    virtual bool isExportable();
    virtual bool isResolvedLocally();
    // The same place: same file, value and section, and `other` is defined
    // in a relocatable file.
    virtual bool isAliasOf(Symbol &other);
    virtual bool isInComdat();
    virtual bool isImportStub();
    virtual bool isMarked();
    virtual void setStrongReference();
    virtual bool hasStrongReference();
    virtual void setReferenced();
    virtual bool isReferenced();
    virtual bool isExportBinding();
    virtual bool symbolFlagE4();
    // The same definition: same file, name, section and value.
    virtual bool equals(Symbol &other);
    virtual bool needsDynamicEntry(LinkOptions &options);
    virtual uint32_t versionIndex();

    bool isDefinedGlobal();
    bool isDefinedInSharedObject();
    // The name of the symbol's object file, for "%O" in messages.
    const FileName *fileName();
    // The symbol at the end of the resolution chain.  A symbol is followed
    // when it is undefined, common while commons do not count, or weak while
    // its link is not.
    Symbol *resolved(bool commonCounts);
    // The section that a relocation against this symbol's name means: that of
    // the first symbol of the same name in the object file (globals only for
    // a global symbol, and then not a common one); this symbol's own section
    // when none matches.
    Section *sectionForRelocation();
};

// SymbolDelegate: a symbol that stands in for another and forwards most
// questions to it.  The setters, `display`, `isSectionSymbol`, `isSpecial`
// and the other operations not forwarded keep the base behaviour.
class SymbolDelegate : public Symbol {
public:
    explicit SymbolDelegate(Symbol &delegate) : delegate(&delegate) {}

    Symbol *delegateSymbol() { return delegate; }

    const char *name() override;
    uint32_t index() override;
    ObjectFile *objectFile() override;
    ObjectFile *originalObjectFile() override;
    uint32_t size() override;
    uint32_t alignment() override;
    uint32_t value() override;
    uint32_t other() override;
    bool isGlobal() override;
    bool isUndefined() override;
    bool isCommon() override;
    bool isDefinedOrWeak() override;
    bool isAbsolute() override;
    Section *section() override;
    bool hasLinkAddress() override;
    SymbolBinding binding() override;
    SymbolType type() override;
    Elf32_Sym *elfSymbol() override;
    BsdNlist *bsdSymbol() override;
    syment *coffSymbol() override;
    syment *coffAuxiliary(uint32_t n) override;
    bool preemptsSharedDefinition() override;
    bool isSymbolFlagC() override;
    bool isResolvedLocally() override;
    bool isAliasOf(Symbol &other) override;
    bool isImportStub() override;
    bool isMarked() override;
    void setStrongReference() override;
    bool hasStrongReference() override;
    void setReferenced() override;
    bool isReferenced() override;
    bool isExportBinding() override;
    bool needsDynamicEntry(LinkOptions &options) override;
    uint32_t versionIndex() override;

private:
    Symbol *delegate;
};

// SymbolCollection: a visitable set of symbols.
class SymbolCollection {
public:
    // Visits every symbol once; the base visits nothing.
    virtual void each(SymbolVisitor visitor);
    // The number of symbols; the base counts what `each` visits.
    virtual uint32_t count();
    virtual ~SymbolCollection();
};

// SymbolArray: a growable array of symbols that it does not own.
class SymbolArray : public SymbolCollection {
public:
    SymbolArray();

    void each(SymbolVisitor visitor) override;
    uint32_t count() override;

    void append(Symbol *symbol) { symbols.append(symbol); }
    Symbol *at(uint32_t index) { return symbols[index]; }
    void clear() { symbols.count = 0; }

private:
    dynarray<Symbol *> symbols{16};
};
