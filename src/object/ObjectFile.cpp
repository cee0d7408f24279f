// The base behaviour of ObjectFile and IncompatibilityReason.  The display
// of an object file walks relocation tables and is in Relocations.cpp; the
// entering of symbols into a global symbol table is in Relocations.cpp too.
#include "object/ObjectFile.h"

#include "elf/ElfRecords.h"
#include "input/FileIdentity.h"
#include "input/FileName.h"
#include "object/LinkOptions.h"
#include "support/argfiles.h"
#include "support/botch.h"
#include "support/error.h"
#include "support/formout.h"
#include "support/sprintf.h"

#include <cstdio>
#include <cstring>

namespace {

const char *formatName(ObjectFormatKind kind) {
    FileIdentity identity;
    identity.kind = kind;
    return identity.kindName();
}

} // namespace

ObjectFile::ObjectFile(const FileName &fileName) : fileName(&fileName) {}

ObjectFile::~ObjectFile() = default;

void ObjectFile::saveGuts(FormatOut &) {
    std::fputs("Hey! don't know how to save guts of ObjectFile\n", stderr);
}

void ObjectFile::saveGuts(std::FILE *) {
    std::fputs("Hey! don't know how to save guts of ObjectFile\n", stderr);
}

void ObjectFile::restoreGuts(InputFile &) {
    std::fputs("Hey! don't know how to restore guts of ObjectFile\n", stderr);
}

void ObjectFile::restoreGuts(std::FILE *) {
    std::fputs("Hey! don't know how to restore guts of ObjectFile\n", stderr);
}

const char *ObjectFile::name() {
    // The name's own text: the member's name for a library member, the path
    // otherwise (not the "library(member)" form that messages show).
    const char *member = fileName->memberName();
    return member ? member : fileName->path();
}

IncompatibilityReason *ObjectFile::incompatibility(ObjectFile &other) {
    static IncompatibilityReason reason;
    if (isCompatibleWith(other)) return nullptr;
    reason.fill(fileName, other.fileName, nullptr);
    return &reason;
}

bool ObjectFile::isRelocatable() {
    return true;
}
bool ObjectFile::isExecutable() {
    return false;
}
bool ObjectFile::isSharedObject() {
    return false;
}
bool ObjectFile::isReentrant() {
    return false;
}

uint32_t ObjectFile::sectionCount() {
    uint32_t total = 0;
    eachSection([&](Section &) {
        ++total;
        return true;
    });
    return total;
}

void ObjectFile::eachGlobalSymbol(SymbolVisitor visitor) {
    eachSymbol([&](Symbol &symbol) { return !symbol.isGlobal() || visitor(symbol); });
}

Elf32_Ehdr *ObjectFile::elfHeader() {
    botch("Attempting to extract a %s header from a %s file `%s'", "elf", formatName(formatKind()),
          name());
}

uint32_t ObjectFile::elfFlags() {
    Elf32_Ehdr *header = elfHeader();
    return header ? header->e_flags : 0;
}

uint32_t ObjectFile::machine() {
    return 0;
}

CoffFileHeader *ObjectFile::coffHeader() {
    botch("Attempting to extract a %s header from a %s file `%s'", "coff", formatName(formatKind()),
          name());
}

uint32_t ObjectFile::coffMachine() {
    return 0;
}

BsdExecHeader *ObjectFile::bsdHeader() {
    botch("Attempting to extract a %s header from a %s file `%s'", "a.out",
          formatName(formatKind()), name());
}

uint32_t ObjectFile::bsdMachine() {
    return 0;
}
ElfObjectFile *ObjectFile::asElfObjectFile() {
    return nullptr;
}
BsdObjectFile *ObjectFile::asBsdObjectFile() {
    return nullptr;
}
CoffObjectFile *ObjectFile::asCoffObjectFile() {
    return nullptr;
}
ArmObjectFile *ObjectFile::asArmObjectFile() {
    return nullptr;
}

Section *ObjectFile::findSection(const char *wanted, SectionType kind) {
    Section *found = nullptr;
    eachSection([&](Section &section) {
        const char *sectionName = section.name();
        if (sectionName[0] != wanted[0] || std::strcmp(sectionName, wanted) != 0) return true;
        if (kind != SectionType::null && !(kind == SectionType::abs && section.isAbsolute()) &&
            kind != section.sectionType())
            return true;
        found = &section;
        return false;
    });
    return found;
}

void ObjectFile::setEntry(uint32_t) {
    std::fputs("ObjectFile::setEntry call!\n", stderr);
}
uint32_t ObjectFile::entry() {
    return 0;
}
bool ObjectFile::reservedPredicate() {
    return true;
}
void ObjectFile::reservedOperation1() {}
void ObjectFile::displayHeader(FormatOut &) {}
uint32_t ObjectFile::reservedOperation2() {
    return 0;
}
uint32_t ObjectFile::reservedOperation3() {
    return 0;
}

void ObjectFile::eachReferencedSymbol(SymbolVisitor visitor) {
    bool goOn = true;
    eachSection([&](Section &section) {
        if (!section.isDiscarded()) {
            section.eachReferencedSymbol([&](Symbol &symbol) {
                goOn = visitor(symbol);
                return goOn;
            });
        }
        return goOn;
    });
}

void ObjectFile::addSymbol(Symbol *symbol) {
    botch("ObjectFile::addSymbol(%s) called!", symbol ? symbol->name() : nullptr);
}

GotTable *ObjectFile::gotTable() {
    return nullptr;
}
PltTable *ObjectFile::pltTable() {
    return nullptr;
}

Symbol *ObjectFile::findSymbol(const char *wanted) {
    Symbol *found = nullptr;
    eachGlobalSymbol([&](Symbol &symbol) {
        if (std::strcmp(symbol.name(), wanted) != 0) return true;
        found = &symbol;
        return false;
    });
    return found;
}

void ObjectFile::applyBeforeDirectives(LinkOptions &options, ErrorContext &errorContext) {
    applyDirectiveTexts(true, options, errorContext);
}

void ObjectFile::applyDirectives(LinkOptions &options, ErrorContext &errorContext) {
    applyDirectiveTexts(false, options, errorContext);
}

void ObjectFile::applyDirectiveTexts(bool before, LinkOptions &options,
                                     ErrorContext &errorContext) {
    auto apply = [&](const char *text) {
        splitIntoArguments(text, nullptr, [&](int count, char **words) {
            for (int i = 0; i < count; ++i)
                options.handleOption(words[i], fileName, errorContext);
        });
        return true;
    };
    if (before)
        eachBeforeDirective(apply);
    else
        eachDirective(apply);
}

void ObjectFile::reservedOperation4() {}

bool ObjectFile::adjustSectionSizes() {
    bool changed = false;
    eachSection([&](Section &section) {
        if (section.adjustSize()) changed = true;
        return true;
    });
    return changed;
}

void ObjectFile::eachBeforeDirective(DirectiveVisitor) {}
void ObjectFile::eachDirective(DirectiveVisitor) {}

Section *ObjectFile::sectionContaining(uint32_t address, uint32_t &offset) {
    Section *found = nullptr;
    eachSection([&](Section &section) {
        uint32_t start = section.inputAddress();
        // The start is compared signed.  The end test is "the distance from
        // the start is below the size", which is the unsigned compare with
        // start + size but stays right for a section that reaches the top of
        // the address space, where start + size would wrap to a small number.
        if (static_cast<int32_t>(start) > static_cast<int32_t>(address) ||
            address - start >= section.size())
            return true;
        offset = address - start;
        found = &section;
        return false;
    });
    return found;
}

IncompatibilityReason::~IncompatibilityReason() = default;

void IncompatibilityReason::fill(const FileName *firstFile, const FileName *secondFile,
                                 const char *text) {
    first = firstFile;
    second = secondFile;
    reasonText = text;
    possiblyFlag = false;
    byteOrderFlag = false;
}

bool IncompatibilityReason::possibly() {
    return possiblyFlag;
}
bool IncompatibilityReason::byteOrder() {
    return byteOrderFlag;
}
const char *IncompatibilityReason::text() {
    return reasonText;
}
const FileName *IncompatibilityReason::firstName() {
    return first;
}
const FileName *IncompatibilityReason::secondName() {
    return second;
}

void IncompatibilityReason::print(FormatOut &out) {
    char rendered[200];
    rendered[0] = '\0';
    StringFormatOut renderer(rendered, sizeof rendered);
    renderer.print("%s", reasonText ? reasonText : "");
    const Printable *firstFile = first;
    const Printable *secondFile = second;
    if (rendered[0] == '\0') {
        out.print("Object files %O and %O are not compatible", firstFile, secondFile);
    } else {
        out.print("Object files %O and %O%Care %sincompatible: %s", firstFile, secondFile,
                  possiblyFlag ? "possibly " : "", rendered);
    }
}
