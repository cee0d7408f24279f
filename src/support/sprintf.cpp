#include "support/sprintf.h"

#include "support/pformat.h"

#include <cstring>

StringSink::StringSink(char *buffer, uint32_t capacity, bool reset)
    : buffer(buffer), capacity(capacity), reset(reset) {
    if (capacity > 0) buffer[0] = 0;
}

void StringSink::write(const char *text, int32_t length) {
    uint32_t room = capacity > fill + 1 ? capacity - 1 - fill : 0;
    uint32_t n = static_cast<uint32_t>(length) < room ? static_cast<uint32_t>(length) : room;
    if (n > 0) {
        memcpy(buffer + fill, text, n);
        fill += n;
    }
    if (capacity > 0) buffer[fill] = 0;
    count = static_cast<int32_t>(static_cast<uint32_t>(count) -
                                 (static_cast<uint32_t>(length) - static_cast<uint32_t>(n)));
}

void StringSink::flush() {
    if (reset) fill = 0;
}

StringFormatOut::StringFormatOut(char *buffer, uint32_t capacity, bool reset)
    : StringFormatOut(buffer, capacity, reset, defaultPrintfFormat()) {}

StringFormatOut::StringFormatOut(char *buffer, uint32_t capacity, bool reset, Format &engine)
    : FormatOut(stringSink, engine), stringSink(buffer, capacity, reset) {}

StringFormatOut::~StringFormatOut() = default;
