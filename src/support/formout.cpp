#include "support/formout.h"

FormatOut::FormatOut(FormatSink &sink, Format &engine) : sink(sink), engine(engine) {}

int32_t FormatOut::print(const char *format, ...) {
    va_list args;
    va_start(args, format);
    int32_t n = vprint(format, args);
    va_end(args);
    return n;
}

int32_t FormatOut::vprint(const char *format, va_list args) {
    return engine.format(sink, format, args);
}

void FormatOut::flush() {}

FormatOut::~FormatOut() = default;
