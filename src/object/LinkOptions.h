// LinkOptions: what the object model asks of a link's options record.
//
// The record of a link's options (`Args`) belongs to the linking side; the
// object model only needs to ask it a handful of questions: whether dynamic
// symbols are wanted, whether undefined ones go into the dynamic table too,
// whether a name is kept out of the exports, whether relocation failures are
// to be reported, and to take the words of an object file's directives.
// This interface is that handful: `Args` implements it, and tests implement
// it with a few fields.  The listing tool never makes one.
#pragma once

#include <cstdint>

class ErrorContext;
class FileName;

class LinkOptions {
public:
    virtual ~LinkOptions();

    // The output has a dynamic symbol table at all.
    virtual bool wantsDynamicSymbols() = 0;
    // Undefined symbols go into the dynamic symbol table too.
    virtual bool wantsUndefinedDynamicSymbols() = 0;
    // The name is kept out of the exported names.
    virtual bool isExportRestricted(const char *name) = 0;

    // Section::eachDataChunk: when true the caller's flag goes to each
    // relocation table through setFirstOption, otherwise the table gets
    // setSecondOption(1).
    virtual bool passesRelocationFlag() = 0;
    // Section::eachDataChunk: relocations that do not fit are not reported.
    virtual bool silencesRelocationFailures() = 0;

    // One word of a directive text of the object file `from`.
    virtual void handleOption(const char *word, const FileName *from,
                              ErrorContext &errorContext) = 0;
};
