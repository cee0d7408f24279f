#include "support/strutil.h"

#include <cstring>

void eachSubstring(FunctionRef<void(const char *piece)> visitor, const char *text,
                   const char *separators) {
    if (!text || !*text) return;
    char piece[2000];
    const char *p = text;
    for (;;) {
        size_t n = strcspn(p, separators);
        if (p[n] == 0) {
            visitor(p);
            return;
        }
        size_t keep = n < sizeof piece - 1 ? n : sizeof piece - 1;
        memcpy(piece, p, keep);
        piece[keep] = 0;
        visitor(piece);
        p += n + 1;
        if (*p == 0) return;
    }
}

void eachSubstring(FunctionRef<void(const char *piece)> visitor, const char *text, char separator) {
    char separators[2] = {separator, 0};
    eachSubstring(visitor, text, separators);
}
