// SymbolTable: the one global symbol table of a link.  Every object file
// enters its symbols through ObjectFile::enterSymbols; the table decides for
// each global name which symbol stands for it, reports clashes (multiple
// definitions, common symbols of different sizes, common data resolved to a
// function), and keeps the order in which symbols will reach the output.
//
// Two structures work together.  A hash table of 512 chains maps a global
// name to its entry; an ordered array of symbols, in which a slot never moves,
// gives the output order of locals and of definitions.  A symbol that loses a
// resolution is not dropped: its `link` points to the winner, and a winner
// that takes over a name takes its loser's slot in the ordered array.
//
// The listing tool never makes one; it stands ready for a linker.
#pragma once

#include "object/Symbol.h"
#include "support/FunctionRef.h"
#include "support/array.h"

#include <cstdint>
#include <memory>
#include <vector>

class ErrorContext;
class FormatOut;
class Toggle;

// One row per global name.
struct SymbolTableEntry {
    // The name as the symbol gave it, not copied.
    const char *name;
    // The symbol that stands for the name now; null in a removed row.
    Symbol *symbol;
    // The symbol's slot in the ordered array; 0 for none.
    uint32_t position;
    // The next row of the bucket's chain; 0 ends it.
    uint32_t next;
};

using SymbolTableEntryVisitor = FunctionRef<bool(SymbolTableEntry &)>;

// A two-level array of symbol pointers: index i lives in chunk i >> shift,
// slot i & mask.  Growing adds chunks, so a slot never moves.
class SymbolChunks {
public:
    // Sets up room for `n` symbols; `hint` picks the chunk size (n when it is
    // not above 0).  An n of 0 sets up nothing.
    void setUp(uint32_t n, int32_t hint);
    // Stores the symbol behind the last one and answers its index.
    uint32_t append(Symbol *symbol);
    Symbol *&operator[](uint32_t index) { return chunks[index >> shift][index & mask]; }

    uint32_t shift = 0;
    uint32_t mask = 0;
    uint32_t chunkCount = 0;
    uint32_t count = 0;
    std::vector<std::unique_ptr<Symbol *[]>> chunks;
};

class SymbolTable : public SymbolCollection {
public:
    static constexpr uint32_t hashSize = 512;

    // Reports go to `errorContext`, which outlives the table; being a
    // reference, it is always there to report to.
    explicit SymbolTable(ErrorContext &errorContext);
    SymbolTable(const SymbolTable &) = delete;
    SymbolTable &operator=(const SymbolTable &) = delete;

    // The ordered symbols, then the global names that never got a slot
    // (undefined and common symbols of relocatable files), in row order.
    void each(SymbolVisitor visitor) override;
    uint32_t count() override;
    // With the toggle "TRACE_SYMTAB" on, writes the summary to the trace
    // output.  The symbols belong to their object files and stay.
    ~SymbolTable() override;
    // The row of `name`, or null; `bucket` receives the name's bucket in
    // every case.
    virtual SymbolTableEntry *findEntry(const char *name, uint32_t &bucket);

    // Enters a symbol and answers the one that stands for its name: a local
    // symbol stands for itself, and a local of a shared object is not
    // entered (null).
    Symbol *enter(Symbol *symbol);
    // Enters a global symbol that takes over its name whatever stood for it.
    Symbol *enterWithOverride(Symbol *symbol);
    // Takes the symbol's name out of the table; its slot stays.
    void remove(Symbol *symbol);
    // The symbol that stands for the name, or null.
    Symbol *find(const char *name);
    // Rows 1 to the last whose symbol is not of a shared object.
    void eachLinkable(SymbolTableEntryVisitor visitor);
    // Rows 1 to the last that have a symbol.
    void eachEntry(SymbolTableEntryVisitor visitor);
    // For a symbol defined in a shared object: the defined globals of the
    // same file of which `symbol` says isAliasOf.
    void eachAlias(SymbolVisitor visitor, Symbol &symbol);
    // Counts and the shape of the hash chains.
    void printSummary(FormatOut &out);

    // The linking side's switches: no report of common symbols whose sizes
    // differ, and multiple definitions reported as warnings.
    void setNoSizeWarning(bool value) { noSizeWarning = value; }
    void setDuplicatesAreWarnings(bool value) { duplicatesAreWarnings = value; }

    // The symbol in slot `position` of the ordered array (1 and up), and the
    // number of slots in use.
    Symbol *symbolAt(uint32_t position) { return symbols[position]; }
    uint32_t orderedCount() { return symbols.count - 1; }
    uint32_t lookupCount() { return lookups; }
    uint32_t compareCount() { return compares; }

    // The bucket of a name: h = c ^ (h << 1) over its bytes, the low 9 bits.
    static uint32_t hashName(const char *name);

protected:
    ErrorContext &errorContext;
    dynarray<SymbolTableEntry> entries{1000};
    SymbolChunks symbols;
    uint32_t buckets[hashSize] = {};
    uint32_t lookups = 0;
    uint32_t compares = 0;
    bool noSizeWarning = false;
    bool duplicatesAreWarnings = false;
    uint32_t freeEntries = 0;

private:
    void resolve(SymbolTableEntry &entry, Symbol *symbol, bool inShared);
    void commonSizeWarning(Symbol &common, Symbol &definition);
    void traceEntering(Symbol &symbol, uint32_t position);
    Toggle &trace;
};

// A table in which leading "." characters of a name do not count: ".foo"
// and "foo" are one name.
class DotlessSymbolTable : public SymbolTable {
public:
    using SymbolTable::SymbolTable;
    SymbolTableEntry *findEntry(const char *name, uint32_t &bucket) override;
};
