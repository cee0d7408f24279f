// The link's record of options: defaults, the derived relocation block, the
// export test, the decompressor and the saved command line.
#include "reloc/Args.h"

#include "support/sdict.h"
#include "support/toggles.h"

#include <cstring>

OptionHandler::~OptionHandler() = default;

Args::Args(const char *programName, OptionHandler &optionHandler)
    : programName(programName), libraries(false), optionHandler(optionHandler),
      noCompress(toggleTable().define("NOCOMPRESS", false)) {
    reset();
}

Args::~Args() = default;

void Args::reset() {
    relocatableSwitch = false;
    dynamicSymbols = false;
    undefinedDynamicSymbols = false;
    noExports = false;
    dynamicOutputSwitch = false;
    outputKind = 0;
    relocatableBlock = true;
    dynamicEntriesSwitch = true;
    positionIndependent = false;
    relocationFlagSwitch = false;
    quietRelocationsSwitch = false;
    picTableSymbol = "__PICTABLE__";
    exportOnly.reset();
    exportExcept.reset();
    compressionMethod = nullptr;
    decompressor = nullptr;
    relocationOptions = RelocationOptions();
}

void Args::deriveRelocationOptions() {
    RelocationOptions &block = relocationOptions;
    block.outputFormat = outputKind;
    block.relocatableOutput = !dynamicOutputSwitch && !relocatableBlock && relocatableSwitch;
    block.wantsDynamicEntries = dynamicEntriesSwitch;
    block.dynamicOutput = dynamicOutputSwitch;
    block.referencesCheck = positionIndependent;
    block.referencesCheckOverride = dynamicSymbols;
    block.reservedExports = noExports;
    block.reservedRelocatable = relocatableSwitch;
}

void Args::addCommandWord(const char *word) {
    uint32_t length = uint32_t(strlen(word));
    // Room for the blank, two quotes and the NUL, with some to spare.
    if (commandLineSize < commandLineUsed + 10 + length) {
        uint32_t size = length + 100 + (commandText ? 2 * commandLineUsed : 0);
        std::unique_ptr<char[]> grown(new char[size]);
        if (commandText) memcpy(grown.get(), commandText.get(), commandLineUsed);
        commandText = std::move(grown);
        commandLineSize = size;
    }
    char *end = commandText.get() + commandLineUsed;
    *end++ = ' ';
    bool quoted = strchr(word, ' ') != nullptr;
    if (quoted) *end++ = '"';
    memcpy(end, word, length);
    end += length;
    if (quoted) *end++ = '"';
    *end = '\0';
    commandLineUsed = uint32_t(end - commandText.get());
}

const char *Args::commandLine() const {
    return commandText.get();
}

void Args::handleOption(const char *word, ErrorContext &errorContext) {
    optionHandler.handleOption(word, *this, errorContext);
}

bool Args::isExportRestricted(const char *name) {
    if (!dynamicSymbols || noExports) return true;
    DictValue unused;
    if (exportOnly && !exportOnly->lookup(name, unused)) return true;
    return exportExcept && exportExcept->lookup(name, unused);
}

const char *Args::decompressorName() {
    if (noCompress.isOn()) return nullptr;
    if (decompressor) return decompressor;
    if (compressionMethod && strcmp(compressionMethod, "NONE") == 0) return nullptr;
    return "_lz_decompress";
}

bool Args::wantsDynamicSymbols() {
    return dynamicSymbols;
}
bool Args::wantsUndefinedDynamicSymbols() {
    return undefinedDynamicSymbols;
}
bool Args::passesRelocationFlag() {
    return relocationFlagSwitch;
}
bool Args::silencesRelocationFailures() {
    return quietRelocationsSwitch;
}

// A directive's words are options like any other; where they came from does
// not change what they mean.
void Args::handleOption(const char *word, const FileName *, ErrorContext &errorContext) {
    handleOption(word, errorContext);
}
