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

// Rows are built by hand in a line buffer and handed to the buffered
// standard output with one fwrite, which costs a fraction of a printf of the
// same row; a listing of a large library spends most of its time here.  The
// fields are those of the printf formats below, byte for byte:
//
//   full       value, " %5d %-7s %c%-5s %-8s " size, binding, "m" flag,
//              type, section, then the name part
//   parsable   value, " %-3s " type letter, then the name part
//   undefined  four blanks, then the name part
//
// The value field is 11 characters in every radix: "%11o", "%11d" (the value
// read as signed), or "%08x" and three blanks, so the columns behind it stay
// under the column header.  The name part is the name and a new line, or
// with -A the name through "%-24s " and then the file's display name.
class RowBuffer {
public:
    ~RowBuffer() { flush(); }

    void text(const char *text, size_t length) {
        if (length > sizeof bytes - used) {
            flush();
            if (length > sizeof bytes) {
                fwrite(text, 1, length, stdout);
                return;
            }
        }
        memcpy(bytes + used, text, length);
        used += length;
    }
    void text(const char *text) { this->text(text, strlen(text)); }
    void character(char c) { text(&c, 1); }
    void blanks(size_t count) {
        static const char spaces[] = "                        ";
        while (count > 0) {
            size_t step = std::min(count, sizeof spaces - 1);
            text(spaces, step);
            count -= step;
        }
    }
    // "%-<width>s": the text, then blanks up to the width; a longer text is
    // not cut.
    void leftAligned(const char *text, size_t width) {
        size_t length = strlen(text);
        this->text(text, length);
        if (length < width) blanks(width - length);
    }
    // "%<width>d" and "%<width>o": digits right-aligned in the width.
    void decimal(int32_t value, size_t width) {
        char digits[12];
        char *end = digits + sizeof digits;
        char *start = end;
        uint32_t magnitude = value < 0 ? 0u - static_cast<uint32_t>(value) : value;
        do {
            *--start = static_cast<char>('0' + magnitude % 10);
            magnitude /= 10;
        } while (magnitude != 0);
        if (value < 0) *--start = '-';
        rightAligned(start, end, width);
    }
    void octal(uint32_t value, size_t width) {
        char digits[11];
        char *end = digits + sizeof digits;
        char *start = end;
        do {
            *--start = static_cast<char>('0' + (value & 7));
            value >>= 3;
        } while (value != 0);
        rightAligned(start, end, width);
    }
    // "%08x": always eight lower-case digits for a 32-bit value.
    void hex8(uint32_t value) {
        static const char hexDigits[] = "0123456789abcdef";
        char digits[8];
        for (int i = 7; i >= 0; --i) {
            digits[i] = hexDigits[value & 15];
            value >>= 4;
        }
        text(digits, 8);
    }
    void flush() {
        if (used != 0) fwrite(bytes, 1, used, stdout);
        used = 0;
    }

private:
    void rightAligned(const char *start, const char *end, size_t width) {
        size_t length = static_cast<size_t>(end - start);
        if (length < width) blanks(width - length);
        text(start, length);
    }

    char bytes[512];
    size_t used = 0;
};

// The 11-character value field of the full and parsable layouts.
void valueField(RowBuffer &row, uint32_t value) {
    switch (nmOptions.valueRadix) {
    case radixOctal:
        row.octal(value, 11);
        break;
    case radixDecimal:
        row.decimal(static_cast<int32_t>(value), 11);
        break;
    default:
        row.hex8(value);
        row.blanks(3);
        break;
    }
}

// The name, then with -A padding to 24, a blank and the file's display name;
// then the new line that ends the row.
void namePart(RowBuffer &row, const char *name, const char *fileDisplayName) {
    if (nmOptions.appendFileName) {
        row.leftAligned(name, 24);
        row.character(' ');
        row.text(fileDisplayName);
    } else {
        row.text(name);
    }
    row.character('\n');
}

void printFullRow(RowBuffer &row, Symbol &symbol, const char *fileDisplayName) {
    valueField(row, symbol.value());
    row.character(' ');
    row.decimal(static_cast<int32_t>(symbol.size()), 5);
    row.character(' ');
    row.leftAligned(bindingWord(symbol.binding()), 7);
    row.character(' ');
    row.character(symbol.other() == 0xF0 ? 'm' : ' ');
    row.leftAligned(typeWord(symbol.type()), 5);
    row.character(' ');
    row.leftAligned(sectionColumn(symbol), 8);
    row.character(' ');
    namePart(row, displayName(symbol), fileDisplayName);
}

void printParsableRow(RowBuffer &row, Symbol &symbol, const char *fileDisplayName) {
    valueField(row, symbol.value());
    row.character(' ');
    row.leftAligned(typeLetter(symbol), 3);
    row.character(' ');
    namePart(row, displayName(symbol), fileDisplayName);
}

void printUndefinedRow(RowBuffer &row, Symbol &symbol, const char *fileDisplayName) {
    row.blanks(4);
    namePart(row, displayName(symbol), fileDisplayName);
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

    void (*printRow)(RowBuffer &, Symbol &, const char *) =
        nmOptions.undefinedOnly    ? printUndefinedRow
        : nmOptions.parsableOutput ? printParsableRow
                                   : printFullRow;
    RowBuffer row;
    for (Symbol *symbol : selected)
        printRow(row, *symbol, fileDisplayName);
}
