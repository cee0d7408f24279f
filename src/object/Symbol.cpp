// The base behaviour of Symbol, and SymbolDelegate, SymbolCollection and
// SymbolArray.
#include "object/Symbol.h"

#include "input/FileName.h"
#include "object/LinkOptions.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "support/botch.h"
#include "support/formout.h"

#include <cstring>

Symbol::~Symbol() = default;

uint32_t Symbol::index() {
    return 0;
}

void Symbol::setIndex(uint32_t index) {
    // A class without positions accepts only "no position".
    if (index != 0) botch("Symbol::setIndex(%d)", index);
}

ObjectFile *Symbol::originalObjectFile() {
    return objectFile();
}
uint32_t Symbol::size() {
    return 0;
}
uint32_t Symbol::alignment() {
    return 1;
}
void Symbol::setValue(uint32_t) {
    botch("Symbol::setValue not implemented");
}
uint32_t Symbol::originalValue() {
    return value();
}

uint32_t Symbol::address() {
    Section *defining = section();
    return defining ? defining->address() + value() : value();
}

uint32_t Symbol::other() {
    return 0;
}
bool Symbol::isSmallCommon() {
    return false;
}

bool Symbol::isDefinedOrWeak() {
    // An undefined weak symbol may stay unresolved and still be used.
    return !isUndefined() || binding() == SymbolBinding::weak;
}

bool Symbol::isAbsolute() {
    return section() == nullptr && !isUndefined();
}
bool Symbol::isSectionSymbol() {
    return false;
}

void Symbol::setAssociatedSection(Section *) {
    botch("Symbol::setAssociatedSection not implemented");
}

bool Symbol::hasLinkAddress() {
    if (!isDefinedOrWeak()) return false;
    ObjectFile *file = objectFile();
    return !(file && file->isSharedObject());
}

SymbolBinding Symbol::binding() {
    return isGlobal() ? SymbolBinding::global : SymbolBinding::local;
}

SymbolType Symbol::type() {
    return SymbolType::none;
}
Elf32_Sym *Symbol::elfSymbol() {
    return nullptr;
}
BsdNlist *Symbol::bsdSymbol() {
    return nullptr;
}
syment *Symbol::coffSymbol() {
    return nullptr;
}
syment *Symbol::coffAuxiliary(uint32_t) {
    return nullptr;
}

void Symbol::display(FormatOut &out) {
    out.print("%s\t=0x%lx", name(), address());
    if (Section *defining = section()) out.print(" in %s", defining->name());
    const char *kind = isUndefined() ? "imported"
                       : isCommon()  ? "common"
                       : isGlobal()  ? "global"
                                     : "local";
    out.print(" %s\n", kind);
}

bool Symbol::isSpecial() {
    return false;
}
bool Symbol::isSymbolFlagA() {
    return false;
}
bool Symbol::preemptsSharedDefinition() {
    return false;
}
bool Symbol::isSymbolFlagC() {
    return false;
}
bool Symbol::isExportable() {
    return true;
}
bool Symbol::isResolvedLocally() {
    return false;
}

bool Symbol::isAliasOf(Symbol &other) {
    if (&other == this) return true;
    return objectFile() == other.objectFile() && value() == other.value() &&
           !other.isDefinedInSharedObject() && !other.isCommon() && !other.isUndefined() &&
           section() == other.section();
}

bool Symbol::isInComdat() {
    if (!isGlobal()) return false;
    Section *defining = section();
    return defining && defining->isComdat();
}

bool Symbol::isImportStub() {
    return false;
}
bool Symbol::isMarked() {
    return hasStrongReference() || isReferenced();
}
void Symbol::setStrongReference() {}
bool Symbol::hasStrongReference() {
    return true;
}
void Symbol::setReferenced() {}
bool Symbol::isReferenced() {
    return true;
}
bool Symbol::isExportBinding() {
    return false;
}
bool Symbol::symbolFlagE4() {
    return false;
}

bool Symbol::equals(Symbol &other) {
    if (&other == this) return true;
    return objectFile() == other.objectFile() && std::strcmp(name(), other.name()) == 0 &&
           section() == other.section() && value() == other.value();
}

bool Symbol::needsDynamicEntry(LinkOptions &options) {
    if (!isGlobal() || !options.wantsDynamicSymbols() || !isExportable()) return false;
    if (!isDefinedOrWeak() && !options.wantsUndefinedDynamicSymbols()) return false;
    if (hasLinkAddress() && options.isExportRestricted(name())) return false;
    return true;
}

uint32_t Symbol::versionIndex() {
    return 0;
}

bool Symbol::isDefinedGlobal() {
    return isGlobal() && !isUndefined();
}

bool Symbol::isDefinedInSharedObject() {
    if (!isGlobal() || isUndefined()) return false;
    ObjectFile *file = objectFile();
    return file && file->isSharedObject();
}

const FileName *Symbol::fileName() {
    ObjectFile *file = objectFile();
    return file ? file->fileName : nullptr;
}

namespace {

bool needsFollowing(Symbol &symbol, bool commonCounts) {
    if (symbol.isUndefined()) return true;
    if (!commonCounts && symbol.isCommon()) return true;
    return symbol.binding() == SymbolBinding::weak && symbol.link->binding() != SymbolBinding::weak;
}

} // namespace

Symbol *Symbol::resolved(bool commonCounts) {
    // A symbol that needs no following is its own resolution, also when it
    // is a shared definition: only a chain that was followed may end one
    // step beyond the shared definition that it reached.
    if (link == this || !needsFollowing(*this, commonCounts)) return this;
    Symbol *current = this;
    // A symbol table only ever links towards the symbol that won, so chains
    // end; a damaged chain that loops is cut where the walk meets itself
    // (the trailing pointer moves at half speed).
    Symbol *trailing = this;
    bool moveTrailing = false;
    while (current->link != current && needsFollowing(*current, commonCounts)) {
        current = current->link;
        if (moveTrailing) trailing = trailing->link;
        moveTrailing = !moveTrailing;
        if (current == trailing) break;
    }
    if (current->isDefinedInSharedObject() && current->link->preemptsSharedDefinition())
        current = current->link;
    return current;
}

Section *Symbol::sectionForRelocation() {
    const char *wanted = name();
    ObjectFile *file = objectFile();
    if (!file) return section();
    bool global = isGlobal();
    Symbol *match = nullptr;
    auto visit = [&](Symbol &candidate) {
        const char *candidateName = candidate.name();
        if (candidateName[0] != wanted[0] || std::strcmp(candidateName, wanted) != 0) return true;
        if (global && candidate.isCommon()) return true;
        match = &candidate;
        return false;
    };
    if (global)
        file->eachGlobalSymbol(visit);
    else
        file->eachSymbol(visit);
    return match ? match->section() : section();
}

const char *SymbolDelegate::name() {
    return delegate->name();
}
uint32_t SymbolDelegate::index() {
    return delegate->index();
}
ObjectFile *SymbolDelegate::objectFile() {
    return delegate->objectFile();
}
ObjectFile *SymbolDelegate::originalObjectFile() {
    return delegate->originalObjectFile();
}
uint32_t SymbolDelegate::size() {
    return delegate->size();
}
uint32_t SymbolDelegate::alignment() {
    return delegate->alignment();
}
uint32_t SymbolDelegate::value() {
    return delegate->value();
}
uint32_t SymbolDelegate::other() {
    return delegate->other();
}
bool SymbolDelegate::isGlobal() {
    return delegate->isGlobal();
}
bool SymbolDelegate::isUndefined() {
    return delegate->isUndefined();
}
bool SymbolDelegate::isCommon() {
    return delegate->isCommon();
}
bool SymbolDelegate::isDefinedOrWeak() {
    return delegate->isDefinedOrWeak();
}
bool SymbolDelegate::isAbsolute() {
    return delegate->isAbsolute();
}
Section *SymbolDelegate::section() {
    return delegate->section();
}
bool SymbolDelegate::hasLinkAddress() {
    return delegate->hasLinkAddress();
}
SymbolBinding SymbolDelegate::binding() {
    return delegate->binding();
}
SymbolType SymbolDelegate::type() {
    return delegate->type();
}
Elf32_Sym *SymbolDelegate::elfSymbol() {
    return delegate->elfSymbol();
}
BsdNlist *SymbolDelegate::bsdSymbol() {
    return delegate->bsdSymbol();
}
syment *SymbolDelegate::coffSymbol() {
    return delegate->coffSymbol();
}
syment *SymbolDelegate::coffAuxiliary(uint32_t n) {
    return delegate->coffAuxiliary(n);
}
bool SymbolDelegate::preemptsSharedDefinition() {
    return delegate->preemptsSharedDefinition();
}
bool SymbolDelegate::isSymbolFlagC() {
    return delegate->isSymbolFlagC();
}
bool SymbolDelegate::isResolvedLocally() {
    return delegate->isResolvedLocally();
}
bool SymbolDelegate::isAliasOf(Symbol &other) {
    return delegate->isAliasOf(other);
}
bool SymbolDelegate::isImportStub() {
    return delegate->isImportStub();
}
bool SymbolDelegate::isMarked() {
    return delegate->isMarked();
}
void SymbolDelegate::setStrongReference() {
    delegate->setStrongReference();
}
bool SymbolDelegate::hasStrongReference() {
    return delegate->hasStrongReference();
}
void SymbolDelegate::setReferenced() {
    delegate->setReferenced();
}
bool SymbolDelegate::isReferenced() {
    return delegate->isReferenced();
}
bool SymbolDelegate::isExportBinding() {
    return delegate->isExportBinding();
}
bool SymbolDelegate::needsDynamicEntry(LinkOptions &options) {
    return delegate->needsDynamicEntry(options);
}
uint32_t SymbolDelegate::versionIndex() {
    return delegate->versionIndex();
}

void SymbolCollection::each(SymbolVisitor) {}

uint32_t SymbolCollection::count() {
    uint32_t total = 0;
    each([&](Symbol &) {
        ++total;
        return true;
    });
    return total;
}

SymbolCollection::~SymbolCollection() = default;

SymbolArray::SymbolArray() = default;

void SymbolArray::each(SymbolVisitor visitor) {
    for (Symbol *symbol : symbols)
        if (!visitor(*symbol)) return;
}

uint32_t SymbolArray::count() {
    return symbols.count;
}
