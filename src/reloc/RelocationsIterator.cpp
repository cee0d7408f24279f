// The walks over relocation tables: the base iterator's defaults, the
// reservation of global offset table entries before a link computes values,
// a collection of tables shown as one, and the tables of the member sections
// of a combined section shown as one table of the combined section.
#include "reloc/RelocationsIterator.h"

#include "object/ObjectFile.h"
#include "object/Symbol.h"
#include "reloc/Args.h"
#include "support/botch.h"

RelocationsIterator::~RelocationsIterator() = default;

bool RelocationsIterator::isCollection() {
    return false;
}
void RelocationsIterator::add(RelocationsIterator *) {
    botch("RelocationsIterator::add");
}
void RelocationsIterator::setFirstOption(uint8_t) {}
void RelocationsIterator::setSecondOption(uint8_t) {}

uint32_t RelocationsIterator::count() {
    uint32_t total = 0;
    each([&](RelocationDescriptor &) {
        ++total;
        return true;
    });
    return total;
}

uint32_t RelocationsIterator::outputRecordCount(Args &args) {
    uint32_t total = 0;
    eachInOutput(
        [&](RelocationDescriptor &entry) {
            total += entry.elfRecordCount();
            return true;
        },
        args);
    return total;
}

void RelocationsIterator::eachInOutput(RelocationVisitor visitor, Args &args) {
    each([&](RelocationDescriptor &entry) {
        return entry.neededInOutput(args) ? visitor(entry) : true;
    });
}

void RelocationsIterator::eachAtRunTime(RelocationVisitor visitor, Args &args) {
    each([&](RelocationDescriptor &entry) {
        return entry.neededAtRunTime(args) ? visitor(entry) : true;
    });
}

void RelocationsIterator::display(FormatOut &out) {
    each([&](RelocationDescriptor &entry) {
        entry.display(out);
        return true;
    });
}

void RelocationsIterator::setBaseOffset(uint32_t) {}
bool RelocationsIterator::reservedQuery() {
    return false;
}
void RelocationsIterator::preprocessReferences(ObjectFile &, const RelocationOptions &) {}
void RelocationsIterator::preprocessReference(RelocationDescriptor &, ObjectFile &,
                                              const RelocationOptions &) {}
void RelocationsIterator::preprocessSpecialReference(RelocationDescriptor &, ObjectFile &,
                                                     const RelocationOptions &) {}
void RelocationsIterator::suppressRunTimeCheck() {}

// ---------------------------------------------------------------------------

void RelocationsIteratorWithTables::preprocessReferences(ObjectFile &outputFile,
                                                         const RelocationOptions &options) {
    each([&](RelocationDescriptor &entry) {
        preprocessReference(entry, outputFile, options);
        return true;
    });
}

// Reserves what the entry will need in the output's tables, before any value
// is computed.  Partially linked output keeps the entries as they are and
// needs no tables.
void RelocationsIteratorWithTables::preprocessReference(RelocationDescriptor &entry,
                                                        ObjectFile &outputFile,
                                                        const RelocationOptions &options) {
    if (options.relocatableOutput) return;
    gotTable = outputFile.gotTable();
    pltTable = outputFile.pltTable();
    switch (entry.referenceKind()) {
    case ReferenceKind::gotReference: {
        if (!gotTable) botch("RelocationsIterator::preprocessReference -- .got is NULL!");
        Symbol *target = entry.targetSymbol();
        Symbol *root = target;
        while (root && root->link != root)
            root = root->link;
        if (root && root->isGlobal() && root->isSpecial()) {
            gotTable->addSymbol(root, entry.addend());
            return;
        }
        int32_t offset;
        if (Section *section = entry.unmappedSection(offset))
            gotTable->addSection(section, uint32_t(offset));
        else if (target)
            botch("GOT_REF: sym %s not in symtab", target->name());
        else
            botch("GOT_REF: bad reloc");
        return;
    }
    case ReferenceKind::gotRelative:
    case ReferenceKind::gotPcRelative:
        if (!gotTable) botch("RelocationsIterator::preprocessReference -- .got is NULL!");
        gotTable->markUsed();
        return;
    case ReferenceKind::machineSpecific:
        preprocessSpecialReference(entry, outputFile, options);
        return;
    default:
        // A procedure linkage entry is reserved by the output side itself.
        return;
    }
}

GotTable *RelocationsIteratorWithTables::getGotTable() {
    return gotTable;
}
PltTable *RelocationsIteratorWithTables::getPltTable() {
    return pltTable;
}

// ---------------------------------------------------------------------------

// A collection holds a few tables (one per input section of a kind), so its
// array starts with room for two and grows two at a time.
RelocationsIteratorAcrossCollection::RelocationsIteratorAcrossCollection() : members(2) {
    members.growth = 2;
}

RelocationsIteratorAcrossCollection::~RelocationsIteratorAcrossCollection() {
    for (RelocationsIterator *member : members)
        delete member;
}

bool RelocationsIteratorAcrossCollection::isCollection() {
    return true;
}
void RelocationsIteratorAcrossCollection::add(RelocationsIterator *iterator) {
    if (members.count >= members.capacity) members.resize(int32_t(members.capacity + 2));
    members.append(iterator);
}

void RelocationsIteratorAcrossCollection::setErrorContext(ErrorContext &errorContext) {
    for (RelocationsIterator *member : members)
        member->setErrorContext(errorContext);
}
void RelocationsIteratorAcrossCollection::setFirstOption(uint8_t option) {
    for (RelocationsIterator *member : members)
        member->setFirstOption(option);
}
void RelocationsIteratorAcrossCollection::setSecondOption(uint8_t option) {
    for (RelocationsIterator *member : members)
        member->setSecondOption(option);
}

uint32_t RelocationsIteratorAcrossCollection::count() {
    uint32_t total = 0;
    for (RelocationsIterator *member : members)
        total += member->count();
    return total;
}

uint32_t RelocationsIteratorAcrossCollection::outputRecordCount(Args &args) {
    uint32_t total = 0;
    for (RelocationsIterator *member : members)
        total += member->outputRecordCount(args);
    return total;
}

// A visitor that asks to stop ends the walk over the later members too.
void RelocationsIteratorAcrossCollection::each(RelocationVisitor visitor) {
    bool goOn = true;
    for (RelocationsIterator *member : members) {
        member->each([&](RelocationDescriptor &entry) { return goOn = visitor(entry); });
        if (!goOn) return;
    }
}

void RelocationsIteratorAcrossCollection::eachInOutput(RelocationVisitor visitor, Args &args) {
    bool goOn = true;
    for (RelocationsIterator *member : members) {
        member->eachInOutput([&](RelocationDescriptor &entry) { return goOn = visitor(entry); },
                             args);
        if (!goOn) return;
    }
}

void RelocationsIteratorAcrossCollection::eachAtRunTime(RelocationVisitor visitor, Args &args) {
    bool goOn = true;
    for (RelocationsIterator *member : members) {
        member->eachAtRunTime([&](RelocationDescriptor &entry) { return goOn = visitor(entry); },
                              args);
        if (!goOn) return;
    }
}

void RelocationsIteratorAcrossCollection::display(FormatOut &out) {
    for (RelocationsIterator *member : members)
        member->display(out);
}
void RelocationsIteratorAcrossCollection::setBaseOffset(uint32_t offset) {
    for (RelocationsIterator *member : members)
        member->setBaseOffset(offset);
}
void RelocationsIteratorAcrossCollection::preprocessReferences(ObjectFile &outputFile,
                                                               const RelocationOptions &options) {
    for (RelocationsIterator *member : members)
        member->preprocessReferences(outputFile, options);
}
void RelocationsIteratorAcrossCollection::suppressRunTimeCheck() {
    for (RelocationsIterator *member : members)
        member->suppressRunTimeCheck();
}

// ---------------------------------------------------------------------------

namespace {

constexpr uint32_t noBaseOffset = 0xFFFFFFFF;

// The walk of every operation of RelocationsIteratorAcrossSections: each
// member's table, set up with the member's place in the combined section,
// and the operation on it; `operation` answers false to end the walk.
template <typename Operation>
void walkMembers(RelocationsIteratorAcrossSections &self, uint32_t baseOffset, ErrorContext *errors,
                 Operation operation) {
    self.eachMember([&](Section &member) {
        RelocationsIterator *table = self.memberIterator(member);
        if (!table) return true;
        uint32_t offset = member.offsetInCombinedSection();
        if (baseOffset != noBaseOffset) table->setBaseOffset(baseOffset + offset);
        if (errors) table->setErrorContext(*errors);
        return operation(*table, offset);
    });
}

// Shows each entry of a member through one delegate that shifts its offset.
struct Shifted {
    DelegateRelocationDescriptor delegate;
    RelocationVisitor visitor;
    bool goOn = true;

    bool operator()(RelocationDescriptor &entry) {
        delegate.delegate = &entry;
        return goOn = visitor(delegate);
    }
};

} // namespace

RelocationsIteratorAcrossSections::RelocationsIteratorAcrossSections(SectionCollection *sections)
    : sections(sections) {}

RelocationsIteratorAcrossSections::~RelocationsIteratorAcrossSections() = default;

void RelocationsIteratorAcrossSections::setErrorContext(ErrorContext &errorContext) {
    errors = &errorContext;
}

uint32_t RelocationsIteratorAcrossSections::count() {
    uint32_t total = 0;
    walkMembers(*this, baseOffset, errors, [&](RelocationsIterator &table, uint32_t) {
        total += table.count();
        return true;
    });
    return total;
}

uint32_t RelocationsIteratorAcrossSections::outputRecordCount(Args &args) {
    uint32_t total = 0;
    walkMembers(*this, baseOffset, errors, [&](RelocationsIterator &table, uint32_t) {
        total += table.outputRecordCount(args);
        return true;
    });
    return total;
}

void RelocationsIteratorAcrossSections::each(RelocationVisitor visitor) {
    Shifted shifted{{}, visitor};
    walkMembers(*this, baseOffset, errors, [&](RelocationsIterator &table, uint32_t offset) {
        shifted.delegate.offsetDelta = offset;
        table.each(shifted);
        return shifted.goOn;
    });
}

void RelocationsIteratorAcrossSections::eachInOutput(RelocationVisitor visitor, Args &args) {
    Shifted shifted{{}, visitor};
    walkMembers(*this, baseOffset, errors, [&](RelocationsIterator &table, uint32_t offset) {
        shifted.delegate.offsetDelta = offset;
        table.eachInOutput(shifted, args);
        return shifted.goOn;
    });
}

void RelocationsIteratorAcrossSections::eachAtRunTime(RelocationVisitor visitor, Args &args) {
    Shifted shifted{{}, visitor};
    walkMembers(*this, baseOffset, errors, [&](RelocationsIterator &table, uint32_t offset) {
        shifted.delegate.offsetDelta = offset;
        table.eachAtRunTime(shifted, args);
        return shifted.goOn;
    });
}

void RelocationsIteratorAcrossSections::display(FormatOut &out) {
    each([&](RelocationDescriptor &entry) {
        entry.display(out);
        return true;
    });
}

void RelocationsIteratorAcrossSections::setBaseOffset(uint32_t offset) {
    baseOffset = offset;
}

void RelocationsIteratorAcrossSections::preprocessReferences(ObjectFile &outputFile,
                                                             const RelocationOptions &options) {
    walkMembers(*this, baseOffset, errors, [&](RelocationsIterator &table, uint32_t) {
        table.preprocessReferences(outputFile, options);
        return true;
    });
}

void RelocationsIteratorAcrossSections::eachMember(SectionVisitor visitor) {
    sections->each(visitor);
}

RelocationsIterator *RelocationsIteratorAcrossSections::memberIterator(Section &section) {
    return section.relocations();
}
