// The global symbol table: the hash of names, the ordered array of symbols,
// and the rules that decide which of two symbols of one name wins.
#include "object/SymbolTable.h"

#include "input/FileName.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "support/botch.h"
#include "support/error.h"
#include "support/formout.h"
#include "support/toggles.h"

#include <cstring>

namespace {

// Slot 0 of the ordered array stays empty, so that a position of 0 always
// means "none" and every real position is above it.
constexpr uint32_t firstPosition = 1;

const Printable *fileOf(Symbol &symbol) {
    return symbol.fileName();
}

// The text of a symbol's file name, for messages that print it with "%s".
const char *fileText(Symbol &symbol) {
    const FileName *name = symbol.fileName();
    return name ? name->displayName() : "?";
}

bool isShared(Symbol &symbol) {
    return symbol.objectFile()->isSharedObject();
}

bool isWeak(Symbol &symbol) {
    return symbol.binding() == SymbolBinding::weak;
}

} // namespace

void SymbolChunks::setUp(uint32_t n, int32_t hint) {
    if (n == 0) return;
    uint32_t h = hint > 0 ? static_cast<uint32_t>(hint) : n;
    shift = h <= 0x40 ? 6 : h <= 0x100 ? 8 : h <= 0x400 ? 10 : 12;
    mask = (1u << shift) - 1;
    chunkCount = (n >> shift) + 1;
    // Room for 20 more chunks before the pointer array is copied.
    chunks.reserve((n >> shift) + 0x15);
    for (uint32_t i = 0; i < chunkCount; ++i)
        chunks.push_back(std::make_unique<Symbol *[]>(mask + 1));
}

uint32_t SymbolChunks::append(Symbol *symbol) {
    uint32_t position = count;
    uint32_t chunk = position >> shift;
    if (chunk >= chunks.size()) {
        chunkCount = chunk + 1;
        if (chunks.capacity() < chunkCount + 1) chunks.reserve(chunkCount + 1);
        while (chunks.size() < chunkCount)
            chunks.push_back(std::make_unique<Symbol *[]>(mask + 1));
    }
    (*this)[position] = symbol;
    ++count;
    return position;
}

SymbolTable::SymbolTable(ErrorContext &errorContext)
    : errorContext(errorContext), trace(toggleTable().define("TRACE_SYMTAB", false)) {
    entries.append(SymbolTableEntry{nullptr, nullptr, 0, 0}); // row 0: none
    symbols.setUp(3000, 0x1000);
    symbols.append(nullptr);
}

SymbolTable::~SymbolTable() {
    if (trace.isOn()) {
        traceOut().print("[SYMTAB]");
        printSummary(traceOut());
        traceOut().flush();
    }
    // Every symbol here belongs to the object file (or symbol table section)
    // that made it and dies with it; the table destroys none, so that no
    // symbol is destroyed twice whichever of the two goes first.
}

uint32_t SymbolTable::hashName(const char *name) {
    uint32_t h = 0;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(name); *p; ++p)
        h = *p ^ (h << 1);
    return h & (hashSize - 1);
}

SymbolTableEntry *SymbolTable::findEntry(const char *name, uint32_t &bucket) {
    ++lookups;
    // No name has no entry (a symbol without a name is never entered).
    if (!name) {
        bucket = 0;
        return nullptr;
    }
    bucket = hashName(name);
    for (uint32_t row = buckets[bucket]; row != 0; row = entries[row].next) {
        SymbolTableEntry &entry = entries[row];
        if (entry.name[0] != name[0]) continue;
        ++compares;
        if (std::strcmp(entry.name, name) == 0) return &entry;
    }
    return nullptr;
}

SymbolTableEntry *DotlessSymbolTable::findEntry(const char *name, uint32_t &bucket) {
    ++lookups;
    if (!name) {
        bucket = 0;
        return nullptr;
    }
    while (*name == '.')
        ++name;
    bucket = hashName(name);
    for (uint32_t row = buckets[bucket]; row != 0; row = entries[row].next) {
        SymbolTableEntry &entry = entries[row];
        if (!entry.name) continue;
        const char *stored = entry.name;
        while (*stored == '.')
            ++stored;
        if (stored[0] != name[0]) continue;
        ++compares;
        if (std::strcmp(stored, name) == 0) return &entry;
    }
    return nullptr;
}

void SymbolTable::traceEntering(Symbol &symbol, uint32_t position) {
    FormatOut &out = traceOut();
    out.print("[SYMTAB]Entering %s%s \"%s\" from file %O", isWeak(symbol) ? "weak " : "",
              symbol.isUndefined() ? "imported"
              : symbol.isCommon()  ? "common"
                                   : "exported",
              symbol.name(), fileOf(symbol));
    if (position != 0) out.print(" at position %u", position);
    out.print("\n");
}

Symbol *SymbolTable::enter(Symbol *symbol) {
    if (!symbol) botch("SymbolTable::enter(0)");
    bool inShared = isShared(*symbol);
    if (!symbol->isGlobal()) {
        if (inShared) return nullptr;
        uint32_t position = symbols.append(symbol);
        if (trace.isOn())
            traceOut().print("[SYMTAB]Entering local \"%s\" from file %O at position %u\n",
                             symbol->name(), fileOf(*symbol), position);
        return symbol;
    }
    const char *name = symbol->name();
    if (!name) botch("SymbolTable::enter() name is NULL");
    uint32_t bucket;
    if (SymbolTableEntry *entry = findEntry(name, bucket)) {
        resolve(*entry, symbol, inShared);
        return entry->symbol;
    }
    // A new name: a definition of a relocatable file takes its slot now;
    // undefined and common symbols, and those of shared objects, wait.
    uint32_t position = 0;
    if (!inShared && !symbol->isUndefined() && !symbol->isCommon())
        position = symbols.append(symbol);
    uint32_t row = freeEntries;
    if (row != 0) {
        freeEntries = entries[row].next;
    } else {
        row = entries.count;
        entries.append(SymbolTableEntry{});
    }
    entries[row] = SymbolTableEntry{name, symbol, position, buckets[bucket]};
    buckets[bucket] = row;
    if (trace.isOn()) traceEntering(*symbol, position);
    return symbol;
}

void SymbolTable::commonSizeWarning(Symbol &common, Symbol &definition) {
    if (noSizeWarning) return;
    errorContext.warning("Common symbol %s (in file %O) is ofsize %lu\n|\twhich is larger than "
                         "actual size, %lu, as defined in %O",
                         common.name(), fileOf(common), common.size(), definition.size(),
                         fileOf(definition));
}

// An existing row meets a new symbol of its name.  `previous` is the symbol
// that stands for the name, `symbol` the newcomer; the rules are tested from
// the top and the first that fits decides whether the newcomer takes over
// the name (`override`) and whether the winner needs a slot (`place`).
void SymbolTable::resolve(SymbolTableEntry &entry, Symbol *symbol, bool inShared) {
    Symbol &newcomer = *symbol;
    Symbol &previous = *entry.symbol;
    bool previousShared = isShared(previous);
    bool override = false;
    bool place = false;
    const char *name = previous.name();

    if (previous.isUndefined()) {
        if (previousShared) {
            newcomer.setReferenced();
            override = true;
            place = !inShared;
        } else if (!newcomer.isUndefined() ||
                   (isWeak(previous) && !isWeak(newcomer) && !inShared)) {
            // A definition fills an undefined name; a strong reference of a
            // relocatable file replaces a weak one.
            override = true;
            place = !newcomer.isCommon();
        }
    } else if (newcomer.isUndefined()) {
        // A reference to a name that is defined or common changes nothing.
    } else if (previous.isCommon()) {
        if (newcomer.isCommon()) {
            uint32_t had = previous.size();
            uint32_t has = newcomer.size();
            if (has != had) {
                if (has != 0 && !noSizeWarning)
                    errorContext.warning("Size of symbol %s is inconsistent between%C%s and %s",
                                         name, fileText(previous), fileText(newcomer));
                // The larger common wins; a common of a shared object always
                // gives way.
                override = has > had || previousShared;
            }
        } else if (newcomer.type() == SymbolType::none || newcomer.type() == SymbolType::data) {
            if (newcomer.size() != 0 && newcomer.size() < previous.size())
                commonSizeWarning(previous, newcomer);
            override = true;
            place = true;
        } else if (!inShared) {
            errorContext.warning("Symbol \"%s\" (%O) is common data,%Cbut is being resolved to "
                                 "a function in %O%Cby the same name.",
                                 name, fileOf(previous), fileOf(newcomer));
            override = true;
            place = true;
        } else {
            errorContext.warning("Symbol \"%s\" (%O) is common data,%Cbut DLL %O exports a "
                                 "function by the same name.",
                                 name, fileOf(previous), fileOf(newcomer));
        }
    } else if (newcomer.isCommon()) {
        // A definition stands; a larger common of its name is worth a word.
        if (previous.size() != 0 && newcomer.size() > previous.size())
            commonSizeWarning(newcomer, previous);
    } else if (previous.isAbsolute() && newcomer.isAbsolute() &&
               previous.value() == newcomer.value()) {
        // Two absolute definitions of one value agree, wherever they are.
    } else if (isWeak(newcomer)) {
        // A weak definition never replaces one already there.
    } else if (isWeak(previous)) {
        override = true;
        place = !inShared;
    } else if (!inShared) {
        if (previous.isDefinedInSharedObject()) {
            // A relocatable file's definition preempts that of a shared object.
            newcomer.setReferenced();
            override = true;
            place = true;
        } else if (!previous.equals(newcomer)) {
            if (duplicatesAreWarnings)
                errorContext.warning("\"%s\" is multiply defined in %O and %O", name,
                                     fileOf(previous), fileOf(newcomer));
            else
                errorContext.error("\"%s\" is multiply defined in %O and %O", name,
                                   fileOf(previous), fileOf(newcomer));
        }
    } else if (previous.isDefinedInSharedObject() &&
               previous.objectFile() == newcomer.objectFile() &&
               newcomer.versionIndex() > previous.versionIndex()) {
        // Two versions of one name in one shared object: the later one wins.
        override = true;
    } else {
        previous.setReferenced();
    }

    if (override) {
        if (!previousShared) {
            if (inShared) place = true;
            if (previous.isReferenced()) newcomer.setReferenced();
        } else {
            newcomer.setReferenced();
        }
        previous.link = &newcomer;
        entry.symbol = &newcomer;
        // The winner takes over the slot that the name already had.
        if (entry.position != 0) {
            symbols[entry.position] = &newcomer;
            place = false;
        }
    } else {
        if (!inShared) {
            if (previousShared) place = true;
        } else {
            previous.setReferenced();
        }
        newcomer.link = &previous;
        if (entry.position != 0) place = false;
    }
    if (place) entry.position = symbols.append(entry.symbol);

    if (trace.isOn()) {
        traceEntering(newcomer, entry.position);
        traceOut().print(override ? "[SYMTAB]Overrides entry from %O\n"
                                  : "[SYMTAB]Remapped to entry at %O\n",
                         fileOf(previous));
    }
}

Symbol *SymbolTable::enterWithOverride(Symbol *symbol) {
    if (!symbol || !symbol->isGlobal()) return enter(symbol);
    const char *name = symbol->name();
    if (!name) botch("SymbolTable::enterWithOverride() name is NULL");
    uint32_t bucket;
    SymbolTableEntry *entry = findEntry(name, bucket);
    if (!entry) return enter(symbol);
    entry->symbol->link = symbol;
    entry->symbol = symbol;
    if (entry->position != 0) symbols[entry->position] = symbol;
    if (trace.isOn()) {
        FormatOut &out = traceOut();
        out.print("[symtab]enterWithOverride(%s)", name);
        if (Section *section = symbol->section())
            out.print(" = offset 0x%lx from section %s", symbol->value(), section->name());
        out.print("\n");
    }
    return symbol;
}

void SymbolTable::remove(Symbol *symbol) {
    const char *name = symbol->name();
    uint32_t bucket;
    SymbolTableEntry *entry = findEntry(name, bucket);
    uint32_t row = entry ? static_cast<uint32_t>(entry - entries.begin()) : 0;
    if (row == 0) botch("Assertion failure: can't remove symbol %s\n", name ? name : "(null)");
    // Unlink the row from its chain: either the head or behind another row.
    uint32_t *link = &buckets[bucket];
    while (*link != 0 && *link != row)
        link = &entries[*link].next;
    if (*link != row) botch("Assertion failure: can't remove symbol %s\n", name);
    *link = entries[row].next;
    entries[row].symbol = nullptr;
    entries[row].next = freeEntries;
    freeEntries = row;
}

Symbol *SymbolTable::find(const char *name) {
    uint32_t bucket;
    SymbolTableEntry *entry = findEntry(name, bucket);
    return entry ? entry->symbol : nullptr;
}

void SymbolTable::each(SymbolVisitor visitor) {
    for (uint32_t position = firstPosition; position < symbols.count; ++position)
        if (!visitor(*symbols[position])) return;
    for (uint32_t row = 1; row < entries.count; ++row) {
        SymbolTableEntry &entry = entries[row];
        if (entry.position == 0 && entry.symbol && !isShared(*entry.symbol))
            if (!visitor(*entry.symbol)) return;
    }
}

uint32_t SymbolTable::count() {
    return SymbolCollection::count();
}

void SymbolTable::eachLinkable(SymbolTableEntryVisitor visitor) {
    for (uint32_t row = 1; row < entries.count; ++row) {
        SymbolTableEntry &entry = entries[row];
        if (entry.symbol && !isShared(*entry.symbol))
            if (!visitor(entry)) return;
    }
}

void SymbolTable::eachEntry(SymbolTableEntryVisitor visitor) {
    for (uint32_t row = 1; row < entries.count; ++row) {
        SymbolTableEntry &entry = entries[row];
        if (entry.symbol && !visitor(entry)) return;
    }
}

void SymbolTable::eachAlias(SymbolVisitor visitor, Symbol &symbol) {
    if (!symbol.isDefinedInSharedObject()) return;
    ObjectFile *file = symbol.objectFile();
    eachEntry([&](SymbolTableEntry &entry) {
        Symbol &candidate = *entry.symbol;
        if (candidate.objectFile() != file || !candidate.isDefinedGlobal()) return true;
        return symbol.isAliasOf(candidate) ? visitor(candidate) : true;
    });
}

void SymbolTable::printSummary(FormatOut &out) {
    out.print("Symbol Table Summary:\n");
    out.print("\t%u symbols, %ld lookups, %ld compares\n", orderedCount(), lookups, compares);
    uint32_t total = 0;
    uint32_t empty = 0;
    uint32_t longest = 0;
    uint32_t longestLength = 0;
    for (uint32_t bucket = 0; bucket < hashSize; ++bucket) {
        uint32_t length = 0;
        for (uint32_t row = buckets[bucket]; row != 0; row = entries[row].next)
            ++length;
        total += length;
        if (length == 0) ++empty;
        if (length > longestLength) {
            longestLength = length;
            longest = bucket;
        }
    }
    out.print("\tHash size\t= %d\n", hashSize);
    out.print("\tHash entries\t= %d\n", total);
    out.print("\tEmpty hash buckets\t= %d\n", empty);
    out.print("\tLongest bucket\t= #%d with size %d\n", longest, longestLength);
    out.print("\tAverage size of non-empty buckets = %d/%d\n", total, hashSize - empty);
    if (longestLength >= total * 2 / hashSize) {
        out.print("\tNames in longest hash bucket(=#%d):\n", longest);
        for (uint32_t row = buckets[longest]; row != 0; row = entries[row].next)
            out.print("\t\t%s\n", entries[row].name);
    }
}
