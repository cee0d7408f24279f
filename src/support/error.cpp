#include "support/error.h"

#include <cstdlib>

ErrorContext::~ErrorContext() = default;

void ErrorContext::fatal(const char *format, ...) {
    va_list args;
    va_start(args, format);
    vfatal(format, args);
    va_end(args);
    exit(1);
}

void ErrorContext::error(const char *format, ...) {
    va_list args;
    va_start(args, format);
    verror(format, args);
    va_end(args);
}

void ErrorContext::warning(const char *format, ...) {
    va_list args;
    va_start(args, format);
    vwarning(format, args);
    va_end(args);
}
