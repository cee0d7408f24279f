#include "support/pformat.h"

#include "support/printable.h"

#include <cstring>
#include <initializer_list>

namespace {

// Writes `n` zeros in runs from one constant text, as blanks are written.
void putZeros(FormatSink &sink, int32_t n) {
    static const char zeros[] = "0000000000000000000"; // 19 zeros
    while (n > 0) {
        int32_t run = n < 19 ? n : 19;
        Format::put(sink, zeros, run);
        n -= run;
    }
}

} // namespace

PrintfFormat::PrintfFormat() {
    for (char c : {'d', 'u', 'x', 'X', 'o'})
        setDirective(c, formatNumber);
    setDirective('c', formatChar);
    setDirective('s', formatString);
    setDirective('O', formatObject);
    setModifier('l');
}

PrintfFormat::~PrintfFormat() = default;

PrintfFormat *PrintfFormat::asPrintfFormat() {
    return this;
}

PrintfFormat &defaultPrintfFormat() {
    static PrintfFormat engine;
    return engine;
}

void PrintfFormat::writePadded(const FormatSpec &field, FormatSink &sink, const char *text,
                               int32_t length) {
    int32_t pad = field.width > length ? field.width - length : 0;
    if (!field.leftAlign) putBlanks(sink, pad);
    put(sink, text, length);
    if (field.leftAlign) putBlanks(sink, pad);
}

void PrintfFormat::writeString(const FormatSpec &field, FormatSink &sink, const char *text) {
    int32_t length;
    if (field.precision > 0) {
        const void *nul = memchr(text, 0, static_cast<size_t>(field.precision));
        length =
            nul ? static_cast<int32_t>(static_cast<const char *>(nul) - text) : field.precision;
    } else {
        length = static_cast<int32_t>(strlen(text));
    }
    writePadded(field, sink, text, length);
}

void PrintfFormat::formatString(va_list *args, const FormatSpec &field, FormatSink &sink,
                                Format &) {
    const char *text = va_arg(*args, const char *);
    if (!text) {
        put(sink, "(null)", 6);
        return;
    }
    writeString(field, sink, text);
}

void PrintfFormat::formatObject(va_list *args, const FormatSpec &field, FormatSink &sink,
                                Format &) {
    const Printable *object = va_arg(*args, const Printable *);
    const char *text = object ? object->printableText() : nullptr;
    writeString(field, sink, text ? text : "<NULL>");
}

void PrintfFormat::formatChar(va_list *args, const FormatSpec &field, FormatSink &sink, Format &) {
    char c = static_cast<char>(va_arg(*args, int));
    writePadded(field, sink, &c, 1);
}

void PrintfFormat::formatNumber(va_list *args, const FormatSpec &field, FormatSink &sink,
                                Format &) {
    uint32_t base = 10;
    const char *digitSet = "0123456789abcdef";
    switch (field.directive) {
    case 'x':
        base = 16;
        break;
    case 'X':
        base = 16;
        digitSet = "0123456789ABCDEF";
        break;
    case 'o':
        base = 8;
        break;
    default:
        break;
    }
    bool negative = false;
    uint32_t value;
    if (field.directive == 'd') {
        int32_t s = va_arg(*args, int32_t);
        negative = s < 0;
        value = negative ? 0u - static_cast<uint32_t>(s) : static_cast<uint32_t>(s);
    } else {
        value = va_arg(*args, uint32_t);
    }

    // Digits grow down from the end of the work area.  Three bytes at its
    // start stay free for a "0x" and a sign, so nothing can run over.
    constexpr int32_t workSize = 128;
    constexpr int32_t reserve = 3;
    char work[workSize];
    char *const end = work + workSize;
    char *p = end;
    do {
        *--p = digitSet[value % base];
        value /= base;
    } while (value);
    while (end - p < field.precision && p > work + reserve)
        *--p = '0';

    char sign = negative ? '-' : field.plusSign ? '+' : field.spaceSign ? ' ' : 0;
    bool prefix = field.alternate && base == 16;
    int32_t pad = field.width - static_cast<int32_t>(end - p);
    // Right-aligned, what the sign and the prefix leave of the pad goes in
    // front as blanks, or behind them as zeros.  The zeros are written in
    // runs rather than into the work area, so that any width is filled.
    int32_t blanksInFront = 0;
    int32_t zerosInFront = 0;
    if (!field.leftAlign && pad > 0) {
        if (sign) --pad;
        if (prefix) pad -= 2;
        if (pad > 0) (field.zeroFill ? zerosInFront : blanksInFront) = pad;
    }
    if (prefix) {
        *--p = field.directive == 'X' ? 'X' : 'x';
        *--p = '0';
    }
    if (sign) *--p = sign;
    int32_t lead = (sign ? 1 : 0) + (prefix ? 2 : 0);
    putBlanks(sink, blanksInFront);
    put(sink, p, lead);
    putZeros(sink, zerosInFront);
    put(sink, p + lead, static_cast<int32_t>(end - p) - lead);
    // Left-aligned, the pad was measured on the digits alone, so a sign or a
    // prefix widens the field beyond the width.
    if (field.leftAlign && pad > 0) putBlanks(sink, pad);
}
