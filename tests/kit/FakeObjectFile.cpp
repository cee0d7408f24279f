#include "kit/FakeObjectFile.h"

#include "input/FileIdentity.h"

ObjectFile *FakeSection::objectFile() {
    return &owner;
}
ObjectFile *FakeSymbol::objectFile() {
    return &owner;
}

// Names live as long as the run, as those of the real readers do.
FakeObjectFile::FakeObjectFile(const char *name)
    : ObjectFile(FileName::keep(std::make_unique<FileName>(name))) {}

FakeSection &FakeObjectFile::section(const char *name) {
    sections.push_back(std::make_unique<FakeSection>(*this, name));
    return *sections.back();
}

FakeSymbol &FakeObjectFile::symbol(const char *name) {
    symbols.push_back(std::make_unique<FakeSymbol>(*this, name));
    return *symbols.back();
}

ObjectFormatKind FakeObjectFile::formatKind() {
    return unknownFormat;
}

void FakeObjectFile::eachSection(SectionVisitor visitor) {
    for (auto &section : sections)
        if (!visitor(*section)) return;
}

uint32_t FakeObjectFile::symbolCount() {
    return claimedCount >= 0 ? static_cast<uint32_t>(claimedCount)
                             : static_cast<uint32_t>(symbols.size());
}

void FakeObjectFile::eachSymbol(SymbolVisitor visitor) {
    ++symbolWalks;
    for (auto &symbol : symbols)
        if (!visitor(*symbol)) return;
}

void FakeObjectFile::eachGlobalSymbol(SymbolVisitor visitor) {
    ++globalWalks;
    for (auto &symbol : symbols)
        if (symbol->isGlobal() && !visitor(*symbol)) return;
}
