#include "support/format.h"

#include <cstring>

namespace {

// Index of an ASCII letter in the 52-entry tables, or -1.
int letterIndex(char c) {
    if (c >= 'a' && c <= 'z') return c - 'a';
    if (c >= 'A' && c <= 'Z') return 26 + (c - 'A');
    return -1;
}

// A run of decimal digits, saturating well below overflow: no message needs
// a field that wide, and a silly width must not be undefined behaviour.
int32_t readNumber(const char *&p) {
    int32_t n = 0;
    while (*p >= '0' && *p <= '9') {
        if (n < 100000000) n = n * 10 + (*p - '0');
        ++p;
    }
    return n;
}

} // namespace

FormatSink::~FormatSink() = default;
void FormatSink::flush() {}

Format::Format() {
    for (int i = 0; i < 52; ++i) {
        handlers[i] = nullptr;
        modifiers[i] = false;
    }
}

Format::~Format() = default;

ErrFormat *Format::asErrFormat() {
    return nullptr;
}

PrintfFormat *Format::asPrintfFormat() {
    return nullptr;
}

void Format::setDirective(char letter, FormatHandler handler) {
    int i = letterIndex(letter);
    if (i >= 0) handlers[i] = handler;
}

void Format::setModifier(char letter) {
    int i = letterIndex(letter);
    if (i >= 0) modifiers[i] = true;
}

void Format::put(FormatSink &sink, const char *text, int32_t length) {
    if (length <= 0) return;
    // The count of a long-lived sink (the diagnostics, the trace output) may
    // pass 2^31 in a long run; it wraps rather than overflows.
    sink.count =
        static_cast<int32_t>(static_cast<uint32_t>(sink.count) + static_cast<uint32_t>(length));
    sink.write(text, length);
}

void Format::putBlanks(FormatSink &sink, int32_t n) {
    static const char blanks[] = "                   "; // 19 blanks
    while (n > 0) {
        int32_t run = n < 19 ? n : 19;
        put(sink, blanks, run);
        n -= run;
    }
}

int32_t Format::format(FormatSink &sink, const char *text, va_list args) {
    if (!text) {
        sink.flush();
        return 0;
    }
    va_list cursor;
    va_copy(cursor, args);
    int32_t startCount = sink.count;
    const char *p = text;
    while (*p) {
        const char *percent = strchr(p, '%');
        if (!percent) {
            put(sink, p, static_cast<int32_t>(strlen(p)));
            break;
        }
        put(sink, p, static_cast<int32_t>(percent - p));
        const char *q = percent + 1;
        if (*q == '%') {
            put(sink, "%", 1);
            p = q + 1;
            continue;
        }
        FormatSpec field;
        for (;; ++q) {
            if (*q == ' ')
                field.spaceSign = true;
            else if (*q == '#')
                field.alternate = true;
            else if (*q == '+')
                field.plusSign = true;
            else if (*q == '-')
                field.leftAlign = true;
            else if (*q == '0')
                field.zeroFill = true;
            else
                break;
        }
        if (*q == '*') {
            // A negative width from the arguments means left alignment, as
            // in the C library.
            int32_t w = va_arg(cursor, int32_t);
            if (w < 0) {
                field.leftAlign = true;
                w = w == INT32_MIN ? INT32_MAX : -w;
            }
            field.width = w;
            ++q;
        } else {
            field.width = readNumber(q);
        }
        if (*q == '.') {
            ++q;
            if (*q == '*') {
                int32_t prec = va_arg(cursor, int32_t);
                field.precision = prec < 0 ? -1 : prec;
                ++q;
            } else if (*q >= '0' && *q <= '9') {
                field.precision = readNumber(q);
            }
        }
        int mi = letterIndex(*q);
        if (mi >= 0 && modifiers[mi]) {
            field.modifier = *q;
            ++q;
        }
        if (*q == 0) {
            // The text ends inside a directive: write what is there as it
            // stands, since no argument can be meant by it.
            put(sink, percent, static_cast<int32_t>(q - percent));
            p = q;
            break;
        }
        field.directive = *q;
        int di = letterIndex(*q);
        if (di >= 0 && handlers[di]) {
            handlers[di](&cursor, field, sink, *this);
        } else {
            // Kept on the stack rather than in one shared buffer, so that
            // the engine stays reentrant.
            char unknown[5] = {'?', field.modifier ? field.modifier : '?', *q, '?', '?'};
            put(sink, unknown, 5);
        }
        p = q + 1;
    }
    va_end(cursor);
    int32_t written =
        static_cast<int32_t>(static_cast<uint32_t>(sink.count) - static_cast<uint32_t>(startCount));
    sink.flush();
    return written;
}
