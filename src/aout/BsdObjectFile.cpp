#include "aout/BsdObjectFile.h"

#include "input/FileIdentity.h"

BsdObjectFile::BsdObjectFile(const FileName &fileName, const BsdExecHeader &header)
    : ObjectFile(fileName), header(header) {}

BsdObjectFile::~BsdObjectFile() = default;

void BsdObjectFile::each(SymbolVisitor visitor) {
    eachSymbol(visitor);
}
uint32_t BsdObjectFile::count() {
    return symbolCount();
}

ObjectFormatKind BsdObjectFile::formatKind() {
    return bsdFormat;
}

bool BsdObjectFile::isCompatibleWith(ObjectFile &other) {
    return other.formatKind() == bsdFormat && other.bsdMachine() == header.machine;
}

bool BsdObjectFile::isRelocatable() {
    return !isSharedObject();
}
bool BsdObjectFile::isExecutable() {
    return false;
}
bool BsdObjectFile::isSharedObject() {
    return (header.flags & bsdDynamicFlag) != 0;
}
bool BsdObjectFile::isReentrant() {
    return false;
}

void BsdObjectFile::eachSection(SectionVisitor visitor) {
    for (BsdSection *section : {text.get(), data.get(), bss.get()})
        if (section && !visitor(*section)) return;
}

void BsdObjectFile::eachSymbol(SymbolVisitor visitor) {
    uint32_t total = symbolCount();
    for (uint32_t i = 0; i < total; ++i)
        if (!visitor(*symbolAt(i))) return;
}

uint32_t BsdObjectFile::machine() {
    switch (header.machine) {
    case 1:
    case 2:
        return 4;
    case 3:
        return 2;
    default:
        return 0;
    }
}

BsdSection *BsdObjectFile::sectionOfCode(uint32_t code) {
    switch (code) {
    case bsdText:
        return text.get();
    case bsdData:
        return data.get();
    case bsdBss:
        return bss.get();
    default:
        return nullptr;
    }
}

BsdExecHeader *BsdObjectFile::bsdHeader() {
    return &header;
}
uint32_t BsdObjectFile::bsdMachine() {
    return header.machine;
}
BsdObjectFile *BsdObjectFile::asBsdObjectFile() {
    return this;
}
uint32_t BsdObjectFile::entry() {
    return header.entry;
}
bool BsdObjectFile::isLittleEndian() {
    return false;
}
