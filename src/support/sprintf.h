// StringFormatOut: formatted output into a caller's character buffer.  It
// never overruns: it keeps at most capacity - 1 characters and a NUL behind
// them, and cuts what does not fit.  With the reset flag each print starts
// again at the beginning of the buffer.
#pragma once

#include "support/formout.h"

class StringSink : public FormatSink {
public:
    StringSink(char *buffer, uint32_t capacity, bool reset);
    void write(const char *text, int32_t length) override;
    void flush() override;

    char *buffer;
    uint32_t capacity;
    uint32_t fill = 0;
    bool reset;
};

class StringFormatOut : public FormatOut {
public:
    // Uses the program's default engine when none is given.
    StringFormatOut(char *buffer, uint32_t capacity, bool reset = false);
    StringFormatOut(char *buffer, uint32_t capacity, bool reset, Format &engine);
    ~StringFormatOut() override;

    const char *text() const { return stringSink.buffer; }
    uint32_t length() const { return stringSink.fill; }

private:
    StringSink stringSink;
};
