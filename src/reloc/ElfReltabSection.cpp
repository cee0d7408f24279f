#include "reloc/ElfReltabSection.h"

ElfReltabSection::ElfReltabSection(const char *name, const Elf32_Shdr &header,
                                   ElfObjectFile *objectFile)
    : ElfSection(name, header, objectFile) {}

ElfReltabSection::~ElfReltabSection() = default;

bool ElfReltabSection::isContentSection() {
    return false;
}

void ElfReltabSection::eachRawDataChunk(RawDataChunkVisitor) {}

void ElfReltabSection::each(RelocationVisitor visitor) {
    eachEntry(visitor);
}

void ElfReltabSection::reservedOperation() {}

ElfReltabSection *ElfReltabSection::asReltab() {
    return this;
}

GotTable *ElfReltabSection::getGotTable() {
    return gotTable;
}

PltTable *ElfReltabSection::getPltTable() {
    return pltTable;
}

// ---- a table held by a collection ----

void ElfReltabReference::setErrorContext(ErrorContext &errorContext) {
    table.setErrorContext(errorContext);
}
void ElfReltabReference::setFirstOption(uint8_t option) {
    table.setFirstOption(option);
}
void ElfReltabReference::setSecondOption(uint8_t option) {
    table.setSecondOption(option);
}
uint32_t ElfReltabReference::count() {
    return table.count();
}
uint32_t ElfReltabReference::outputRecordCount(Args &args) {
    return table.outputRecordCount(args);
}
void ElfReltabReference::each(RelocationVisitor visitor) {
    table.each(visitor);
}
void ElfReltabReference::eachInOutput(RelocationVisitor visitor, Args &args) {
    table.eachInOutput(visitor, args);
}
void ElfReltabReference::eachAtRunTime(RelocationVisitor visitor, Args &args) {
    table.eachAtRunTime(visitor, args);
}
void ElfReltabReference::display(FormatOut &out) {
    static_cast<RelocationsIterator &>(table).display(out);
}
void ElfReltabReference::setBaseOffset(uint32_t offset) {
    table.setBaseOffset(offset);
}
void ElfReltabReference::preprocessReferences(ObjectFile &outputFile,
                                              const RelocationOptions &options) {
    table.preprocessReferences(outputFile, options);
}
void ElfReltabReference::preprocessReference(RelocationDescriptor &entry, ObjectFile &outputFile,
                                             const RelocationOptions &options) {
    table.preprocessReference(entry, outputFile, options);
}
void ElfReltabReference::preprocessSpecialReference(RelocationDescriptor &entry,
                                                    ObjectFile &outputFile,
                                                    const RelocationOptions &options) {
    table.preprocessSpecialReference(entry, outputFile, options);
}
void ElfReltabReference::suppressRunTimeCheck() {
    table.suppressRunTimeCheck();
}
