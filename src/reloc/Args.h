// Args: the record of everything that a link was asked to do, as far as the
// object-file library reads it - the relocation block that the relocation
// tables copy in, the export test, the decompressor's name and the saved
// command line.  The option parser that fills the record belongs to the
// linking side; the listing tool never makes one.
//
// Args answers the object model's questions through LinkOptions:
//   wantsDynamicSymbols          dynamicSymbols
//   wantsUndefinedDynamicSymbols undefinedDynamicSymbols
//   isExportRestricted           isExportRestricted below
//   passesRelocationFlag         relocationFlagSwitch
//   silencesRelocationFailures   quietRelocationsSwitch
//   handleOption                 handleOption below, with the file dropped
// The two relocation switches are the linking side's own fields; both are off
// by default, so a link patches with the tables' default setting and reports
// every value that does not fit.
#pragma once

#include "input/LibNameExpander.h"
#include "object/LinkOptions.h"

#include <cstdint>
#include <memory>

class Args;
class ErrorContext;
class StringDictionary;
class Toggle;

// The nine bytes that every ELF relocation table copies in.
struct RelocationOptions {
    uint8_t outputFormat = 0;            // an ObjectFormatKind value
    uint8_t relocatableOutput = 0;       // partially linked output: no table entries reserved
    uint8_t wantsDynamicEntries = 0;     // RelocationDescriptor::needsDynamicEntry
    uint8_t dynamicOutput = 0;           // the output is a dynamic object
    uint8_t referencesCheck = 0;         // position-independent output
    uint8_t referencesCheckOverride = 0; // dynamic symbols are wanted
    uint8_t reservedExports = 1;         // copy of noExports
    uint8_t reservedRelocatable = 0;     // copy of relocatableSwitch
    uint8_t lastOption = 0;              // section-relative entries are resolved, not carried
};

// Receives the words of an object file's directives (and any word that the
// linking side hands to Args::handleOption).
class OptionHandler {
public:
    virtual ~OptionHandler();
    virtual void handleOption(const char *word, Args &args, ErrorContext &errorContext) = 0;
};

class Args : public LinkOptions {
public:
    bool relocatableSwitch;
    bool dynamicSymbols;
    bool undefinedDynamicSymbols;
    bool noExports;
    bool dynamicOutputSwitch;
    uint8_t outputKind;
    bool relocatableBlock;
    bool dynamicEntriesSwitch;
    bool positionIndependent;
    bool relocationFlagSwitch;
    bool quietRelocationsSwitch;
    const char *picTableSymbol;
    std::unique_ptr<StringDictionary> exportOnly;   // none: every name may be exported
    std::unique_ptr<StringDictionary> exportExcept; // none: no name is excluded
    const char *compressionMethod;
    const char *decompressor;
    const char *programName;
    LibNameExpander libraries;
    RelocationOptions relocationOptions;

    Args(const char *programName, OptionHandler &optionHandler);
    ~Args() override;
    Args(const Args &) = delete;
    Args &operator=(const Args &) = delete;

    // Back to the defaults; the name sets are freed.  The command line and
    // the library search stay.
    void reset();
    // Fills relocationOptions from the switches; called once the options
    // are parsed.
    void deriveRelocationOptions();
    // Appends " word", or ' "word"' when the word holds a blank.
    void addCommandWord(const char *word);
    // The words so far, each behind one blank; null before the first.
    const char *commandLine() const;
    void handleOption(const char *word, ErrorContext &errorContext);
    bool isExportRestricted(const char *name) override;
    // The routine that unpacks compressed output, or null for none.
    const char *decompressorName();

    bool wantsDynamicSymbols() override;
    bool wantsUndefinedDynamicSymbols() override;
    bool passesRelocationFlag() override;
    bool silencesRelocationFailures() override;
    void handleOption(const char *word, const FileName *from, ErrorContext &errorContext) override;

private:
    OptionHandler &optionHandler;
    std::unique_ptr<char[]> commandText;
    uint32_t commandLineSize = 0;
    uint32_t commandLineUsed = 0;
    Toggle &noCompress;
};
