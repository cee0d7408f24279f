#include "tool/nm_listing.h"

#include "demangle/unmangle.h"
#include "input/FileName.h"
#include "object/ObjectFile.h"
#include "object/Section.h"
#include "object/Symbol.h"
#include "support/error.h"
#include "tool/nm_main.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// The demangler writes into one of two buffers, taken in turn, so that the
// name comparator can hold two demangled names at once.
constexpr size_t demangleBufferSize = 512;
char demangleBuffers[2][demangleBufferSize];
int nextDemangleBuffer = 0;

// The most symbol references allocated up front for one file (8 MB).
constexpr size_t maxInitialSymbols = size_t(1) << 20;

const char *const headingFormats[2] = {"\n%s:\n", "\nUndefined symbols from %s:\n"};

const char parsableColumns[] = "Value     Type  Name";
const char fullColumns[] = "Value        Size Binding  Type  Sect     Name";

const char *bindingWord(SymbolBinding binding) {
    switch (static_cast<uint8_t>(binding)) {
    case 0:
        return "LOCAL";
    case 1:
        return "GLOBAL";
    case 2:
        return "WEAK";
    default:
        return "";
    }
}

const char *typeWord(SymbolType type) {
    switch (static_cast<uint8_t>(type)) {
    case 0:
        return "NOTY";
    case 1:
        return "DATA";
    case 2:
        return "FUNC";
    case 3:
        return "SECT";
    case 4:
        return "FILE";
    default:
        return "";
    }
}

// Each row is one printf call: the value field, the columns of the layout
// and the name part in a single format, so that a library of thousands of
// members costs one formatting pass per row.  Every radix gives an
// 11-character value field ("%11o", "%11d", or "%08x" and three blanks), so
// the columns behind it stay in line with the column header.  The name part
// is the name and a new line, or with -A the name through "%-24s ", then the
// file's display name; without -A that last argument is passed and ignored.
//
// Indexed by [radix: octal, decimal, hex][appendFileName].
const char *const fullRowFormats[3][2] = {
    {"%11o %5d %-7s %c%-5s %-8s %s\n", "%11o %5d %-7s %c%-5s %-8s %-24s %s\n"},
    {"%11d %5d %-7s %c%-5s %-8s %s\n", "%11d %5d %-7s %c%-5s %-8s %-24s %s\n"},
    {"%08x    %5d %-7s %c%-5s %-8s %s\n", "%08x    %5d %-7s %c%-5s %-8s %-24s %s\n"},
};
const char *const parsableRowFormats[3][2] = {
    {"%11o %-3s %s\n", "%11o %-3s %-24s %s\n"},
    {"%11d %-3s %s\n", "%11d %-3s %-24s %s\n"},
    {"%08x    %-3s %s\n", "%08x    %-3s %-24s %s\n"},
};
const char *const undefinedRowFormats[2] = {"    %s\n", "    %-24s %s\n"};

int radixIndex() {
    switch (nmOptions.valueRadix) {
    case radixOctal:
        return 0;
    case radixDecimal:
        return 1;
    default:
        return 2;
    }
}

void printFullRow(Symbol &symbol, const char *fileDisplayName) {
    int radix = radixIndex();
    const char *format = fullRowFormats[radix][nmOptions.appendFileName ? 1 : 0];
    uint32_t value = symbol.value();
    int32_t size = static_cast<int32_t>(symbol.size());
    const char *binding = bindingWord(symbol.binding());
    int flag = symbol.other() == 0xF0 ? 'm' : ' ';
    const char *type = typeWord(symbol.type());
    const char *section = sectionColumn(symbol);
    const char *name = displayName(symbol);
    // "%11d" shows the value as a signed number; the others as unsigned.
    if (radix == 1)
        printf(format, static_cast<int32_t>(value), size, binding, flag, type, section, name,
               fileDisplayName);
    else
        printf(format, value, size, binding, flag, type, section, name, fileDisplayName);
}

void printParsableRow(Symbol &symbol, const char *fileDisplayName) {
    int radix = radixIndex();
    const char *format = parsableRowFormats[radix][nmOptions.appendFileName ? 1 : 0];
    uint32_t value = symbol.value();
    const char *letter = typeLetter(symbol);
    const char *name = displayName(symbol);
    if (radix == 1)
        printf(format, static_cast<int32_t>(value), letter, name, fileDisplayName);
    else
        printf(format, value, letter, name, fileDisplayName);
}

void printUndefinedRow(Symbol &symbol, const char *fileDisplayName) {
    printf(undefinedRowFormats[nmOptions.appendFileName ? 1 : 0], displayName(symbol),
           fileDisplayName);
}

bool isAsciiAlnum(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

const char *skipToAlnum(const char *text) {
    while (*text && !isAsciiAlnum(static_cast<unsigned char>(*text)))
        ++text;
    return text;
}

// A section without a name shows as an empty text, never as a null pointer
// handed to printf.
const char *sectionName(Section &section) {
    const char *name = section.name();
    return name ? name : "";
}

Symbol &symbolAt(const void *slot) {
    return **static_cast<Symbol *const *>(slot);
}

} // namespace

const char *displayName(Symbol &symbol) {
    const char *name = symbol.name();
    if (name && *name) {
        if (!nmOptions.demangleNames) return name;
        char *buffer = demangleBuffers[nextDemangleBuffer];
        nextDemangleBuffer ^= 1;
        return unmangle(name, buffer, demangleBufferSize);
    }
    if (symbol.type() == SymbolType::section) {
        if (Section *section = symbol.section()) return sectionName(*section);
    }
    return "";
}

const char *typeLetter(Symbol &symbol) {
    SymbolType type = symbol.type();
    if (type == SymbolType::section) return "S";
    if (type == SymbolType::file) return "F";
    if (Section *section = symbol.section()) {
        // Only binding 1 counts as global here: a weak symbol is lower case.
        bool global = symbol.binding() == SymbolBinding::global;
        if (section->isExecutable()) return global ? "T" : "t";
        if (section->isBss()) return global ? "B" : "b";
        return global ? "D" : "d";
    }
    if (symbol.isUndefined()) return "U";
    if (symbol.isCommon()) return "C";
    if (symbol.isAbsolute()) return "A";
    return "?";
}

const char *sectionColumn(Symbol &symbol) {
    if (Section *section = symbol.section()) return sectionName(*section);
    if (symbol.isUndefined()) return "UNDEF";
    if (symbol.isAbsolute()) return "ABS";
    if (symbol.isSmallCommon()) return "SCOMM";
    if (symbol.isCommon()) return "COMM";
    return "";
}

int compareSymbolNames(const void *left, const void *right) {
    const char *a = skipToAlnum(displayName(symbolAt(left)));
    const char *b = skipToAlnum(displayName(symbolAt(right)));
    return strcmp(a, b);
}

int compareSymbolValues(const void *left, const void *right) {
    uint32_t difference = symbolAt(left).value() - symbolAt(right).value();
    return static_cast<int32_t>(difference);
}

void displayObject(ObjectFile &object, ErrorContext &errors) {
    uint32_t count = object.symbolCount();
    const char *fileDisplayName = object.fileName->displayName();
    if (count == 0) {
        errors.warning("%s has no symbols", fileDisplayName);
        return;
    }

    if (!nmOptions.appendFileName)
        printf(headingFormats[nmOptions.undefinedOnly ? 1 : 0], fileDisplayName);
    if (!nmOptions.suppressHeaders) puts(nmOptions.parsableOutput ? parsableColumns : fullColumns);

    // One array per file, sized by the reader's upper bound; the symbols are
    // referred to, never copied.  A damaged file may claim far more symbols
    // than it holds, so the first allocation is capped and the array grows
    // beyond it only as symbols actually arrive.
    std::vector<Symbol *> selected;
    selected.reserve(std::min<size_t>(static_cast<size_t>(count) + 8, maxInitialSymbols));
    if (nmOptions.undefinedOnly) {
        object.eachGlobalSymbol([&](Symbol &symbol) {
            if (symbol.isUndefined()) selected.push_back(&symbol);
            return true;
        });
    } else if (nmOptions.globalsOnly) {
        object.eachGlobalSymbol([&](Symbol &symbol) {
            selected.push_back(&symbol);
            return true;
        });
    } else {
        object.eachSymbol([&](Symbol &symbol) {
            selected.push_back(&symbol);
            return true;
        });
    }

    if (selected.size() >= 2) {
        if (nmOptions.sortByName)
            qsort(selected.data(), selected.size(), sizeof(Symbol *), compareSymbolNames);
        else if (nmOptions.sortByValue)
            qsort(selected.data(), selected.size(), sizeof(Symbol *), compareSymbolValues);
    }

    void (*printRow)(Symbol &, const char *) = nmOptions.undefinedOnly    ? printUndefinedRow
                                               : nmOptions.parsableOutput ? printParsableRow
                                                                          : printFullRow;
    for (Symbol *symbol : selected)
        printRow(*symbol, fileDisplayName);
}
