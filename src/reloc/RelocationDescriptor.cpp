// The base behaviour of a relocation entry: what its target means after
// sections were combined, how its value is computed by reference kind,
// whether a link carries it on, and how it reports.
//
// The switches of Args that these rules read, by role:
//   resolving section-relative entries  relocationOptions.lastOption
//   position-independent output         relocationOptions.referencesCheck
//   dynamic symbols                     relocationOptions.wantsDynamicEntries
//   names kept out of the exports       Args::isExportRestricted
#include "reloc/RelocationDescriptor.h"

#include "elf/ElfRecords.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"
#include "reloc/Args.h"
#include "support/ErrFormat.h"
#include "support/botch.h"
#include "support/error.h"
#include "support/formout.h"
#include "support/sprintf.h"

#include <cstdio>

GotTable::~GotTable() = default;
OffsetTable::~OffsetTable() = default;
PltTable::~PltTable() = default;

namespace {

// The symbol at the end of the link chain: what the name stands for after
// resolution.
Symbol *rootOf(Symbol *symbol) {
    while (symbol && symbol->link != symbol)
        symbol = symbol->link;
    return symbol;
}

const FileName *fileOf(Section *section) {
    return section && section->objectFile() ? section->objectFile()->fileName : nullptr;
}

const char *nameOf(Section *section) {
    return section ? section->name() : "???";
}

bool isAllocated(Section *section) {
    return section && section->isAllocated();
}

// The engine of the texts that no context formats: "%C" breaks the line as
// the tool's diagnostics do.
ErrFormat &plainEngine() {
    static ErrFormat *engine = new ErrFormat("\n|\t");
    return *engine;
}

} // namespace

RelocationDescriptor::~RelocationDescriptor() = default;

void RelocationDescriptor::describe(FormatOut &out) {
    Section *patched = section();
    out.print("entry %d of section %s in file %O", index(), nameOf(patched), fileOf(patched));
}

Symbol *RelocationDescriptor::targetSymbol() {
    return nullptr;
}
Section *RelocationDescriptor::targetSection() {
    return nullptr;
}
int32_t RelocationDescriptor::addend() {
    return 0;
}
uint32_t RelocationDescriptor::elfRecordCount() {
    return 1;
}

void RelocationDescriptor::eachCoffRecord(CoffRecordVisitor) {
    warnUntranslatable("COFF");
}
void RelocationDescriptor::eachElfRecord(ElfRecordVisitor) {
    warnUntranslatable("ELF");
}

uint32_t RelocationDescriptor::elfType() {
    uint32_t type = 0;
    eachElfRecord([&](const Elf32_Rela &record) {
        type = record.r_info & 0xFF;
        return false; // the first record's type names the entry
    });
    return type;
}

int32_t RelocationDescriptor::compactClass() {
    return -1;
}
void RelocationDescriptor::eachBsdRecord(BsdRecordVisitor) {
    warnUntranslatable("BSD");
}
bool RelocationDescriptor::ignoresSpecialTargets() {
    return false;
}

bool RelocationDescriptor::neededInOutput(Args &args) {
    ReferenceKind kind = referenceKind();
    if (kind == ReferenceKind::sectionRelative && args.relocationOptions.lastOption) return false;
    if (kind != ReferenceKind::direct) return true;
    Section *targetIn;
    if (Symbol *target = rootOf(targetSymbol())) {
        if (target->isGlobal()) {
            if (target->isUndefined()) return true;
            if (!ignoresSpecialTargets() && target->isSpecial()) return true;
        }
        if (target->isAbsolute()) return false;
        targetIn = target->section();
    } else {
        targetIn = targetSection();
    }
    Section *patched = section();
    if (targetIn && (!patched || targetIn->outermostSection() != patched->outermostSection()))
        return true;
    return !isPcRelative();
}

bool RelocationDescriptor::neededAtRunTime(Args &args) {
    if (!isAllocated(section())) return false;
    switch (referenceKind()) {
    case ReferenceKind::direct:
    case ReferenceKind::smallData:
        return (args.relocationOptions.referencesCheck && !isPcRelative()) ||
               bindsToSharedObject(args);
    case ReferenceKind::pltReference:
    case ReferenceKind::gotPcRelative:
        return !isPcRelative();
    case ReferenceKind::gotRelative:
    case ReferenceKind::sectionRelative: {
        Symbol *target = rootOf(targetSymbol());
        return target && !target->hasLinkAddress();
    }
    default:
        return false;
    }
}

uint32_t RelocationDescriptor::place() {
    Section *patched = section();
    return (patched ? patched->address() : 0) + dataOffset();
}

uint32_t RelocationDescriptor::value() {
    int32_t offset;
    if (Symbol *symbol = mappedSymbol(offset)) return valueOf(symbol, nullptr, offset);
    if (Section *mapped = mappedSection(offset)) return valueOf(nullptr, mapped, offset);
    return uint32_t(addend());
}

uint32_t RelocationDescriptor::valueWithoutAddend() {
    return value() - uint32_t(addend());
}

uint32_t RelocationDescriptor::valueOf(Symbol *symbol, Section *section, int32_t addend) {
    uint32_t bias = 0;
    // The rule of a direct reference, less what the kind takes off.
    auto plain = [&]() -> uint32_t {
        if (!symbol)
            return section ? section->address() + uint32_t(addend) - bias
                           : uint32_t(this->addend()) - bias;
        if (!symbol->hasLinkAddress()) return uint32_t(addend) - bias;
        return symbol->address() + uint32_t(addend) - bias;
    };
    switch (referenceKind()) {
    case ReferenceKind::direct:
    case ReferenceKind::smallData:
        return plain();
    case ReferenceKind::pltReference: {
        if (!symbol || !symbol->isGlobal()) return plain();
        PltTable *plt = pltTable();
        if (!plt) {
            error("unable to access .plt table");
            return plain();
        }
        if (addend != 0) error("PLT relative ref has non-zero addend");
        Symbol *root = rootOf(symbol);
        if (root->isResolvedLocally()) return root->address();
        int32_t entry = plt->entryOf(symbol);
        if (entry == -1) error("PLT reference isn't in PLT! Call technical support");
        return uint32_t(entry) + plt->address();
    }
    case ReferenceKind::gotReference: {
        GotTable *got = gotTable();
        if (!got) {
            error("unable to access .got table");
            return 0;
        }
        int32_t entry = -1;
        if (symbol && symbol->isGlobal()) entry = got->entryOf(rootOf(symbol), this->addend());
        if (entry == -1) {
            int32_t offset;
            if (Section *in = unmappedSection(offset)) entry = got->entryOf(in, uint32_t(offset));
        }
        if (entry == -1) error("GOT ref isn't in GOT! Call technical support.");
        return uint32_t(entry) - got->bias();
    }
    case ReferenceKind::gotRelative:
        if (GotTable *got = gotTable())
            bias = got->address() + got->bias();
        else
            error("unable to access .got section");
        return plain();
    case ReferenceKind::gotPcRelative:
        if (GotTable *got = gotTable())
            return got->address() + uint32_t(this->addend()) - got->bias();
        error("unable to access .got section");
        return plain();
    case ReferenceKind::sectionRelative:
        if (symbol && symbol->hasLinkAddress() && symbol->section())
            return symbol->address() + uint32_t(addend) - symbol->section()->address();
        return uint32_t(addend);
    case ReferenceKind::machineSpecific:
        return 0;
    case ReferenceKind::invalid:
    default: {
        Section *patched = this->section();
        plainReport("In %O: inappropriate relocation entry \n|\tat position %d in section %s "
                    "(elftype=%d)",
                    fileOf(patched), index(), nameOf(patched), elfType());
        return 0;
    }
    }
}

ReferenceKind RelocationDescriptor::referenceKind() {
    return ReferenceKind::direct;
}
bool RelocationDescriptor::replaceWithPltRef() {
    return false;
}
bool RelocationDescriptor::replaceWithCall() {
    return false;
}

void RelocationDescriptor::display(FormatOut &out) {
    out.print("@0x%lx:", dataOffset());
    if (Symbol *target = targetSymbol()) {
        Symbol *root = rootOf(target);
        out.print(" %s[#%d]", root->name(), root->index());
    } else if (Section *in = targetSection()) {
        out.print(" %s", in->name());
    }
    if (int32_t value = addend()) out.print("%+d", value);
    out.print("\n");
}

void RelocationDescriptor::error(const char *format, ...) {
    va_list args;
    va_start(args, format);
    report(true, format, args);
    va_end(args);
}

void RelocationDescriptor::warning(const char *format, ...) {
    va_list args;
    va_start(args, format);
    report(false, format, args);
    va_end(args);
}

const char *RelocationDescriptor::typeName() {
    // One buffer for the whole program: the text lives until the next call.
    static char buffer[10];
    uint32_t type = elfType();
    if (type == 0) return "???";
    snprintf(buffer, sizeof buffer, "<%d>", int(type));
    return buffer;
}

Section *RelocationDescriptor::reltabSection() {
    return nullptr;
}
bool RelocationDescriptor::shouldEmit() {
    return true;
}

bool RelocationDescriptor::bindsToSharedObject(Args &args) {
    Symbol *target = targetSymbol();
    if (!target || !target->isGlobal()) return false;
    Symbol *root = rootOf(target);
    if (root->isResolvedLocally()) return false;
    if (!root->hasLinkAddress()) return true;
    return args.relocationOptions.wantsDynamicEntries && root->isExportable() &&
           !args.isExportRestricted(root->name());
}

bool RelocationDescriptor::needsDynamicEntry(Symbol *symbol, Args &args) {
    return args.relocationOptions.wantsDynamicEntries && symbol->needsDynamicEntry(args);
}

void RelocationDescriptor::resetTarget(Section *, int32_t) {
    botch("RelocationDescriptor::resetTarget not implemented!");
}

void RelocationDescriptor::resetTarget(Symbol *, int32_t) {
    botch("RelocationDescriptor::resetTarget(symbol) not implemented!");
}

bool RelocationDescriptor::hasExplicitAddend() {
    return false;
}
bool RelocationDescriptor::nextEntryIs(uint32_t, uint32_t &) {
    return false;
}
ErrorContext *RelocationDescriptor::errorContext() {
    return nullptr;
}
PltTable *RelocationDescriptor::pltTable() {
    return nullptr;
}
GotTable *RelocationDescriptor::gotTable() {
    return nullptr;
}
ElfObjectFile *RelocationDescriptor::outputElfFile() {
    return nullptr;
}

Symbol *RelocationDescriptor::mappedSymbol(int32_t &offset) {
    offset = 0;
    Symbol *result = nullptr;
    if (Symbol *root = rootOf(targetSymbol())) {
        result = root;
        // A symbol that the link defines itself needs no mapping.
        if (!root->isSpecial()) result = mappedFromSection(*root, offset);
    } else if (Section *in = targetSection()) {
        if (Section *combined = in->combinedSection()) {
            offset = int32_t(in->address() - combined->address());
            result = combined->sectionSymbol();
        } else if (in->isComdat()) {
            if (isAllocated(section()))
                plainReport("Reference to discarded COMDAT section%C\"%s\" (of %O)", in->name(),
                            fileOf(in));
        } else {
            result = in->sectionSymbol();
            if (!result || !result->isSpecial())
                plainReport("Reference to unmapped section%C\"%s\" (of %O)", in->name(),
                            fileOf(in));
        }
    }
    offset += addend();
    return result;
}

// The symbol of the combined section that holds `root`, with the offset of
// `root` in it; `root` itself, reported, when its section went nowhere.
Symbol *RelocationDescriptor::mappedFromSection(Symbol &root, int32_t &offset) {
    Section *in = root.section();
    if (!in) {
        if (!root.isAbsolute())
            plainReport("Symbol \"%s\" (of %O) didn't get mapped!", root.name(), root.fileName());
    } else if (Section *combined = in->combinedSection()) {
        offset = int32_t(root.address() - combined->address());
        return combined->sectionSymbol();
    } else if (in->isComdat()) {
        if (isAllocated(section()))
            plainReport("Reference to symbol %s in discarded%CCOMDAT section \"%s\" (of %O)",
                        root.name(), in->name(), fileOf(in));
    } else {
        plainReport("Reference to unmapped section%C\"%s\" (of %O)", in->name(), fileOf(in));
    }
    return &root;
}

Section *RelocationDescriptor::mappedSection(int32_t &offset) {
    offset = 0;
    Section *result;
    if (Symbol *root = rootOf(targetSymbol())) {
        result = root->section();
        if (result) offset = int32_t(root->address() - result->address());
    } else {
        result = targetSection();
    }
    if (result && result->combinedSection()) {
        offset += int32_t(result->offsetInCombinedSection());
        result = result->combinedSection();
    }
    offset += addend();
    return result;
}

Section *RelocationDescriptor::unmappedSection(int32_t &offset) {
    offset = 0;
    Section *result;
    if (Symbol *target = targetSymbol()) {
        Symbol *resolved = target->resolved(false);
        result = resolved->section();
        if (result) offset = int32_t(resolved->address() - result->address());
    } else {
        result = targetSection();
    }
    offset += addend();
    return result;
}

void RelocationDescriptor::report(bool isError, const char *format, va_list args) {
    ErrorContext *context = errorContext();
    // The caller's text first, cut at 500 characters, in the engine of the
    // report that it ends up in.
    char text[500];
    StringFormatOut caller(text, sizeof text, true,
                           context ? static_cast<Format &>(context->formatter()) : plainEngine());
    caller.vprint(format, args);

    Section *patched = section();
    Symbol *symbol = targetSymbol();
    Section *target = targetSection();
    const char *word = symbol ? "symbol" : "section";
    const char *name = symbol ? symbol->name() : target ? target->name() : "???";
    const char *header =
        "In %O, section %s at 0x%lx,%C(relocation record #%d of type %s) refs %s \"%s\":%C%s";
    if (!context)
        botch(header, fileOf(patched), nameOf(patched), dataOffset(), index(), typeName(), word,
              name, text);
    if (isError)
        context->error(header, fileOf(patched), nameOf(patched), dataOffset(), index(), typeName(),
                       word, name, text);
    else
        context->warning(header, fileOf(patched), nameOf(patched), dataOffset(), index(),
                         typeName(), word, name, text);
}

void RelocationDescriptor::warnUntranslatable(const char *format) {
    // Once in a run, whatever the format: the output is damaged either way.
    static bool warned = false;
    ErrorContext *context = errorContext();
    if (warned || !context) return;
    warned = true;
    context->warning("The linker does not have the necessary logic to translate%Cthis to a %s "
                     "format. Therefore, the resulting output file will%Chave corrupted "
                     "relocation tables.",
                     format);
}

void RelocationDescriptor::plainReport(const char *format, ...) {
    va_list args;
    va_start(args, format);
    if (ErrorContext *context = errorContext()) {
        context->verror(format, args);
    } else {
        char text[500];
        StringFormatOut out(text, sizeof text, true, plainEngine());
        out.vprint(format, args);
        botch("%s", text);
    }
    va_end(args);
}

// The delegate shows a member section's entry as one of the combined
// section: the place moves by offsetDelta, and what depends on the place
// (display, the reports, bindsToSharedObject) is the base's, computed here.
Section *DelegateRelocationDescriptor::section() {
    return sectionOverride ? sectionOverride : delegate->section();
}
uint32_t DelegateRelocationDescriptor::index() {
    return delegate->index();
}
void DelegateRelocationDescriptor::describe(FormatOut &out) {
    delegate->describe(out);
}
uint32_t DelegateRelocationDescriptor::dataOffset() {
    return delegate->dataOffset() + offsetDelta;
}
Symbol *DelegateRelocationDescriptor::targetSymbol() {
    return delegate->targetSymbol();
}
Section *DelegateRelocationDescriptor::targetSection() {
    return delegate->targetSection();
}
int32_t DelegateRelocationDescriptor::addend() {
    return delegate->addend();
}
uint32_t DelegateRelocationDescriptor::elfRecordCount() {
    return delegate->elfRecordCount();
}
void DelegateRelocationDescriptor::eachCoffRecord(CoffRecordVisitor visitor) {
    delegate->eachCoffRecord(visitor);
}
void DelegateRelocationDescriptor::eachElfRecord(ElfRecordVisitor visitor) {
    delegate->eachElfRecord(visitor);
}
uint32_t DelegateRelocationDescriptor::elfType() {
    return delegate->elfType();
}
int32_t DelegateRelocationDescriptor::compactClass() {
    return delegate->compactClass();
}
void DelegateRelocationDescriptor::eachBsdRecord(BsdRecordVisitor visitor) {
    delegate->eachBsdRecord(visitor);
}
bool DelegateRelocationDescriptor::isPcRelative() {
    return delegate->isPcRelative();
}
bool DelegateRelocationDescriptor::ignoresSpecialTargets() {
    return delegate->ignoresSpecialTargets();
}
bool DelegateRelocationDescriptor::neededInOutput(Args &args) {
    return delegate->neededInOutput(args);
}
bool DelegateRelocationDescriptor::neededAtRunTime(Args &args) {
    return delegate->neededAtRunTime(args);
}
bool DelegateRelocationDescriptor::apply(uint8_t *place) {
    return delegate->apply(place);
}
uint32_t DelegateRelocationDescriptor::place() {
    return delegate->place();
}
uint32_t DelegateRelocationDescriptor::value() {
    return delegate->value();
}
uint32_t DelegateRelocationDescriptor::valueWithoutAddend() {
    return RelocationDescriptor::valueWithoutAddend();
}
uint32_t DelegateRelocationDescriptor::valueOf(Symbol *symbol, Section *section, int32_t addend) {
    return delegate->valueOf(symbol, section, addend);
}
ReferenceKind DelegateRelocationDescriptor::referenceKind() {
    return delegate->referenceKind();
}
bool DelegateRelocationDescriptor::replaceWithPltRef() {
    return delegate->replaceWithPltRef();
}
bool DelegateRelocationDescriptor::replaceWithCall() {
    return delegate->replaceWithCall();
}
const char *DelegateRelocationDescriptor::typeName() {
    return delegate->typeName();
}
Section *DelegateRelocationDescriptor::reltabSection() {
    return delegate->reltabSection();
}
bool DelegateRelocationDescriptor::shouldEmit() {
    return true;
}
bool DelegateRelocationDescriptor::needsDynamicEntry(Symbol *symbol, Args &args) {
    return delegate->needsDynamicEntry(symbol, args);
}
void DelegateRelocationDescriptor::resetTarget(Section *section, int32_t addend) {
    delegate->resetTarget(section, addend);
}
void DelegateRelocationDescriptor::resetTarget(Symbol *symbol, int32_t addend) {
    delegate->resetTarget(symbol, addend);
}
// The member's records and its neighbours belong to the member's table, not
// to the combined section's view of it.
bool DelegateRelocationDescriptor::hasExplicitAddend() {
    return false;
}
bool DelegateRelocationDescriptor::nextEntryIs(uint32_t, uint32_t &) {
    return false;
}
ErrorContext *DelegateRelocationDescriptor::errorContext() {
    return delegate->errorContext();
}
PltTable *DelegateRelocationDescriptor::pltTable() {
    return nullptr;
}
GotTable *DelegateRelocationDescriptor::gotTable() {
    return nullptr;
}
ElfObjectFile *DelegateRelocationDescriptor::outputElfFile() {
    return delegate->outputElfFile();
}
