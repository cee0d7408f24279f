#include "support/error.h"

#include "support/pformat.h"

#include <cstdlib>

namespace {
FatalExitHook fatalExitHook = nullptr;
} // namespace

FatalExitHook setFatalExitHook(FatalExitHook hook) {
    FatalExitHook old = fatalExitHook;
    fatalExitHook = hook;
    return old;
}

ErrorContext::~ErrorContext() = default;

PrintfFormat &ErrorContext::formatter() {
    return defaultPrintfFormat();
}

void ErrorContext::fatal(const char *format, ...) {
    va_list args;
    va_start(args, format);
    vfatal(format, args);
    va_end(args);
    if (fatalExitHook) fatalExitHook(1);
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
