#include "support/error.h"

#include "support/new.h"
#include "support/pformat.h"

#include <cstdlib>

namespace {
FatalExitHook fatalExitHook = nullptr;

// The program's operator new and operator delete live in new.cpp, which
// nothing names.  When a shared library on the link line defines them first
// (the sanitizers' run-time does), the linker would leave new.cpp out of the
// static library; this reference brings it in wherever errors are reported,
// which is every program of the system.
__attribute__((used)) void (*const linkTheAllocator)() = readHeapEnvironment;
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
