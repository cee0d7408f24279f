#include "support/strdup.h"

#include <cstring>

std::unique_ptr<char[]> duplicate(const char *text) {
    if (!text) return nullptr;
    size_t n = strlen(text) + 1;
    std::unique_ptr<char[]> copy(new char[n]);
    memcpy(copy.get(), text, n);
    return copy;
}
