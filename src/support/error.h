// ErrorContext: the parameter through which every operation that can fail
// reports.  There is no global error state; the caller decides what a report
// means by the context that it passes (ErrorCounter writes and counts,
// NullErrorContext swallows everything; both in support/errors.h).
//
// Three severities: 0 warning, 1 error, 2 fatal.  `fatal` never returns,
// whatever the context: after the report the process ends with status 1.
// A fuzzing build may install a FatalExitHook that is called instead of
// exit(1) (it may throw to get back to its driver); if the hook returns, the
// process exits with status 1 all the same.
//
// Format texts are in the program's printf language (support/format.h):
// name a file with "%O" and a pointer to its FileName, break a long message
// with "%C".
#pragma once

#include <cstdarg>
#include <cstdint>

class PrintfFormat;

enum Severity : uint8_t { SeverityWarning = 0, SeverityError = 1, SeverityFatal = 2 };

class ErrorContext {
public:
    int32_t errorCount = 0;
    int32_t warningCount = 0;

    virtual ~ErrorContext();
    virtual void vfatal(const char *format, va_list args) = 0;
    virtual void verror(const char *format, va_list args) = 0;
    virtual void vwarning(const char *format, va_list args) = 0;
    // The engine that formats this context's messages: the program's
    // default PrintfFormat unless a context says otherwise.
    virtual PrintfFormat &formatter();

    [[noreturn]] void fatal(const char *format, ...);
    void error(const char *format, ...);
    void warning(const char *format, ...);
};

// Called by `fatal` in place of exit(1); null means exit(1).  Gives the hook
// that was set before.
using FatalExitHook = void (*)(int status);
FatalExitHook setFatalExitHook(FatalExitHook hook);
