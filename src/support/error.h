// ErrorContext: the parameter through which every operation that can fail
// reports.  There is no global error state; the caller decides what a report
// means by the context that it passes (ErrorCounter writes and counts,
// NullErrorContext swallows everything).
//
// Three severities: 0 warning, 1 error, 2 fatal.  `fatal` never returns,
// whatever the context: after the report the process ends with status 1.
#pragma once

#include <cstdarg>
#include <cstdint>

class PrintfFormat;

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
