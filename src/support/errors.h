// The two concrete error contexts.
//
// ErrorCounter writes each report to a FormatOut and counts it:
//     "[tool] message"                 error   (counted in errorCount)
//     "[tool] (Warning) message"       warning (counted in warningCount)
//     "[tool] Fatal Error: message"    fatal   (counted nowhere; ends the run)
// each followed by a new line.
//
// NullErrorContext swallows everything; its counts stay 0.  Its `fatal`
// still ends the process, silently.
#pragma once

#include "support/error.h"

class FormatOut;

class ErrorCounter : public ErrorContext {
public:
    ErrorCounter(FormatOut &out, const char *toolName);
    ~ErrorCounter() override;
    void vfatal(const char *format, va_list args) override;
    void verror(const char *format, va_list args) override;
    void vwarning(const char *format, va_list args) override;
    // The engine of `out`.
    PrintfFormat &formatter() override;
    virtual void report(uint8_t severity, const char *format, va_list args);
    virtual void writePrefix(uint8_t severity);

    FormatOut &out;
    const char *toolName;
    bool warningsEnabled = true;
};

class NullErrorContext : public ErrorContext {
public:
    ~NullErrorContext() override;
    void vfatal(const char *format, va_list args) override;
    void verror(const char *format, va_list args) override;
    void vwarning(const char *format, va_list args) override;
};
