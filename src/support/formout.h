// FormatOut: what callers hold to print with the program's printf engine.
// It pairs a sink (where the characters go) with an engine (how directives
// are turned into characters).  FileFormatOut, StreamFormatOut and
// StringFormatOut are the kinds of sink.
#pragma once

#include "support/format.h"

class FormatOut {
public:
    FormatOut(FormatSink &sink, Format &engine);
    FormatOut(const FormatOut &) = delete;
    FormatOut &operator=(const FormatOut &) = delete;

    // One `format` call on this object's sink and engine; gives the number
    // of characters written.
    virtual int32_t print(const char *format, ...);
    virtual int32_t vprint(const char *format, va_list args);
    virtual void flush();
    virtual ~FormatOut();

    Format &formatEngine() const { return engine; }
    FormatSink &formatSink() const { return sink; }

protected:
    FormatSink &sink;
    Format &engine;
};
