// PrintfFormat: the engine with the usual directives filled in.
//
//   d u x X o c   a 32-bit number: signed, unsigned, hex lower/upper case,
//                 octal, the low byte as one character
//   s             `const char *`; null prints "(null)"
//   O             `const Printable *`; null prints "<NULL>"
//   l             modifier, changes nothing (numbers are 32 bits here)
//
// The program holds one default engine, `defaultPrintfFormat()`, made on
// first use and destroyed at exit.
#pragma once

#include "support/format.h"

class PrintfFormat : public Format {
public:
    PrintfFormat();
    ~PrintfFormat() override;
    PrintfFormat *asPrintfFormat() override;

    // The handlers, open to engines that derive from this one.
    static void formatNumber(va_list *args, const FormatSpec &field, FormatSink &sink,
                             Format &engine);
    static void formatString(va_list *args, const FormatSpec &field, FormatSink &sink,
                             Format &engine);
    static void formatChar(va_list *args, const FormatSpec &field, FormatSink &sink,
                           Format &engine);
    static void formatObject(va_list *args, const FormatSpec &field, FormatSink &sink,
                             Format &engine);

    // Writes `text` of `length` bytes padded to the directive's width.
    static void writePadded(const FormatSpec &field, FormatSink &sink, const char *text,
                            int32_t length);
    // The string rule shared by "%s", "%O" and "%C": precision above 0 cuts
    // at the first NUL within that many bytes, then the width pads.
    static void writeString(const FormatSpec &field, FormatSink &sink, const char *text);
};

PrintfFormat &defaultPrintfFormat();
