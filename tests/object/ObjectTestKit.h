// Small concrete classes of the object model for its own tests: a symbol, a
// section and an object file whose every answer is a field the test sets,
// and a buffer that keeps formatted reports and displays.
#pragma once

#include "input/FileIdentity.h"
#include "input/FileName.h"
#include "object/LinkOptions.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"
#include "support/ErrFormat.h"
#include "support/errors.h"
#include "support/sprintf.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

class TestSymbol : public Symbol {
public:
    TestSymbol(ObjectFile *file, const char *name, uint32_t value = 0, Section *section = nullptr)
        : file(file), symbolName(name), symbolValue(value), definingSection(section) {}

    const char *name() override { return symbolName.c_str(); }
    ObjectFile *objectFile() override { return file; }
    uint32_t value() override { return symbolValue; }
    bool isGlobal() override { return global || weak; }
    bool isUndefined() override { return undefined; }
    bool isCommon() override { return common; }
    Section *section() override { return definingSection; }
    SymbolBinding binding() override { return weak ? SymbolBinding::weak : Symbol::binding(); }

    ObjectFile *file;
    std::string symbolName;
    uint32_t symbolValue;
    Section *definingSection;
    bool global = false;
    bool weak = false;
    bool undefined = false;
    bool common = false;
};

class TestSection : public RelocatableSection {
public:
    TestSection(ObjectFile *file, const char *name, uint32_t size = 0)
        : file(file), sectionName(name), sectionSize(size) {}

    const char *name() override { return sectionName.c_str(); }
    uint32_t size() override { return sectionSize; }
    ObjectFile *objectFile() override { return file; }
    bool isAllocated() override { return allocated; }
    bool isExecutable() override { return executable; }
    bool isWritable() override { return writable; }
    bool isBss() override { return bss; }
    bool isNote() override { return note; }
    bool isAbsolute() override { return absolute; }
    bool isContentSection() override { return content; }
    uint32_t inputAddress() override { return recordedAddress; }
    bool adjustSize() override { return sizeChanges; }
    void eachRawDataChunk(RawDataChunkVisitor visitor) override {
        if (!contents.empty())
            visitor(0, static_cast<uint32_t>(contents.size()), contents.data(), nullptr);
    }
    RelocationsIterator *relocations() override { return nullptr; }

    ObjectFile *file;
    std::string sectionName;
    uint32_t sectionSize;
    bool allocated = true;
    bool executable = false;
    bool writable = false;
    bool bss = false;
    bool note = false;
    bool absolute = false;
    bool content = true;
    bool sizeChanges = false;
    uint32_t recordedAddress = 0;
    std::vector<uint8_t> contents;
};

// A combined section as far as the tests need one: a fixed address, members
// appended in order.
class TestCombinedSection : public Section {
public:
    TestCombinedSection(const char *name, uint32_t address) : sectionName(name), at(address) {}

    const char *name() override { return sectionName.c_str(); }
    uint32_t size() override { return 0; }
    ObjectFile *objectFile() override { return nullptr; }
    bool isAllocated() override { return true; }
    bool isExecutable() override { return false; }
    bool isWritable() override { return true; }
    bool isBss() override { return false; }
    void eachRawDataChunk(RawDataChunkVisitor) override {}
    RelocationsIterator *relocations() override { return nullptr; }
    uint32_t address() override { return at; }
    SectionGroup *sectionGroup() override { return group; }
    Section *outputSection() override { return output; }
    void appendSection(Section *section) override { members.push_back(section); }
    void eachMember(SectionVisitor visitor) override {
        for (Section *member : members)
            if (!visitor(*member)) return;
    }

    std::string sectionName;
    uint32_t at;
    SectionGroup *group = nullptr;
    Section *output = nullptr;
    std::vector<Section *> members;
};

class TestObjectFile : public ObjectFile {
public:
    explicit TestObjectFile(const FileName &name) : ObjectFile(name) {}

    TestSection &addSection(const char *name, uint32_t size = 0) {
        sections.push_back(std::make_unique<TestSection>(this, name, size));
        return *sections.back();
    }
    TestSymbol &addSymbol(const char *name, uint32_t value = 0, Section *section = nullptr) {
        symbols.push_back(std::make_unique<TestSymbol>(this, name, value, section));
        return *symbols.back();
    }

    void each(SymbolVisitor visitor) override { eachSymbol(visitor); }
    uint32_t count() override { return symbolCount(); }
    ObjectFormatKind formatKind() override { return kind; }
    bool isCompatibleWith(ObjectFile &) override { return compatible; }
    bool isSharedObject() override { return shared; }
    bool isRelocatable() override { return !shared; }
    void eachSection(SectionVisitor visitor) override {
        for (auto &section : sections)
            if (section->isContentSection() && !visitor(*section)) return;
    }
    uint32_t symbolCount() override { return static_cast<uint32_t>(symbols.size()); }
    void eachSymbol(SymbolVisitor visitor) override {
        for (auto &symbol : symbols)
            if (!visitor(*symbol)) return;
    }
    bool isLittleEndian() override { return true; }
    void eachDirective(DirectiveVisitor visitor) override {
        for (const std::string &text : directives)
            if (!visitor(text.c_str())) return;
    }
    void eachBeforeDirective(DirectiveVisitor visitor) override {
        for (const std::string &text : beforeDirectives)
            if (!visitor(text.c_str())) return;
    }

    ObjectFormatKind kind = elfFormat;
    bool compatible = true;
    bool shared = false;
    std::vector<std::unique_ptr<TestSection>> sections;
    std::vector<std::unique_ptr<TestSymbol>> symbols;
    std::vector<std::string> directives;
    std::vector<std::string> beforeDirectives;
};

// A diagnostics context on a buffer: reports are formatted as the tool
// writes them ("[t] message\n", "%C" as "\n|\t"), and so is what a
// display prints to `out`.
struct Captured {
    std::string text() const { return buffer; }

    char buffer[4000];
    ErrFormat engine;
    StringFormatOut stringOut{buffer, sizeof buffer, false, engine};
    FormatOut &out = stringOut;
    ErrorCounter errors{stringOut, "t"};
};

// Link options whose answers are fields; keeps the words it is handed.
class TestLinkOptions : public LinkOptions {
public:
    bool wantsDynamicSymbols() override { return dynamicSymbols; }
    bool wantsUndefinedDynamicSymbols() override { return undefinedDynamicSymbols; }
    bool isExportRestricted(const char *name) override {
        return std::find(restricted.begin(), restricted.end(), name) != restricted.end();
    }
    bool passesRelocationFlag() override { return passFlag; }
    bool silencesRelocationFailures() override { return silent; }
    void handleOption(const char *word, const FileName *from, ErrorContext &) override {
        words.push_back(std::string(from ? from->displayName() : "?") + ":" + word);
    }

    bool dynamicSymbols = true;
    bool undefinedDynamicSymbols = false;
    bool passFlag = false;
    bool silent = false;
    std::vector<std::string> restricted;
    std::vector<std::string> words;
};

// Several predicates' answers as one text of "0" and "1", so that the base
// answers of a class compare in one line.
inline std::string answers(std::initializer_list<bool> values) {
    std::string text;
    for (bool value : values)
        text += value ? '1' : '0';
    return text;
}
