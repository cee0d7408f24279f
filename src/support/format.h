// The program's own printf engine.  A `Format` holds one handler per
// directive letter ("a" to "z", then "A" to "Z") and a flag per letter that
// marks it as a modifier; `PrintfFormat` fills the tables with the usual
// directives and `ErrFormat` adds "%C".  The engine writes into a
// `FormatSink` (a stdio stream, an output stream object or a character
// buffer), so one format text can go anywhere.  It allocates nothing.
//
// Calling convention for "%O": pass a POINTER to the object through the
// `...`; the handler reads it as `const Printable *`:
//
//     ctx.error("Can't open file %O", &fileName);
//
// No conversion happens through `...`, so this is right for FileName and
// the other classes whose only base is Printable (the base sits at offset
// zero); a class with several bases must be passed as
// `static_cast<const Printable *>(&object)`.  A null pointer prints
// "<NULL>".
//
// Numbers ("%d", "%u", "%x", "%X", "%o", "%c") take a 32-bit int or
// unsigned: cast wider values (size_t, pointers) down first.  "%s" takes `const char *` (null
// prints
// "(null)").  The modifier "l" is accepted and changes nothing.  An unknown
// directive prints "??x??" (second character the modifier or "?", third the
// letter) and uses up no argument.
#pragma once

#include <cstdarg>
#include <cstdint>

class Format;
class ErrFormat;
class PrintfFormat;

// One parsed directive.
struct FormatSpec {
    char directive = 0;
    char modifier = 0;
    int32_t width = 0;
    int32_t precision = -1;
    bool leftAlign = false;
    bool zeroFill = false;
    bool plusSign = false;
    bool spaceSign = false;
    bool alternate = false;
};

// The target of the engine.  `count` is the number of characters written;
// the engine adds to it before each `write`, and a sink that could not take
// everything takes the shortfall off again.
class FormatSink {
public:
    int32_t count = 0;

    virtual void write(const char *text, int32_t length) = 0;
    virtual void flush();
    virtual ~FormatSink();
};

// A directive handler.  `args` is the argument cursor, which the handler
// advances by what it uses.
using FormatHandler = void (*)(va_list *args, const FormatSpec &field, FormatSink &sink,
                               Format &engine);

class Format {
public:
    Format();
    virtual ~Format();
    // Formats `text` with `args` into `sink`, flushes the sink and gives the
    // number of characters written.
    virtual int32_t format(FormatSink &sink, const char *text, va_list args);
    // Down-casts: to the engine with the usual directives, and to the
    // diagnostics engine.  Null here.
    virtual ErrFormat *asErrFormat();
    virtual PrintfFormat *asPrintfFormat();

    // Enters `handler` for `letter`; a character that is no ASCII letter is
    // ignored.
    void setDirective(char letter, FormatHandler handler);
    // Marks `letter` as a modifier; a character that is no ASCII letter is
    // ignored.
    void setModifier(char letter);

    // Counted write into a sink: adds to the count, then writes.
    static void put(FormatSink &sink, const char *text, int32_t length);
    // Writes `n` blanks in runs from one constant text.
    static void putBlanks(FormatSink &sink, int32_t n);

private:
    FormatHandler handlers[52];
    bool modifiers[52];
};
