#include "support/errors.h"

#include "support/formout.h"
#include "support/pformat.h"

ErrorCounter::ErrorCounter(FormatOut &out, const char *toolName) : out(out), toolName(toolName) {}

ErrorCounter::~ErrorCounter() = default;

void ErrorCounter::vfatal(const char *format, va_list args) {
    report(SeverityFatal, format, args);
}

void ErrorCounter::verror(const char *format, va_list args) {
    report(SeverityError, format, args);
}

void ErrorCounter::vwarning(const char *format, va_list args) {
    report(SeverityWarning, format, args);
}

PrintfFormat &ErrorCounter::formatter() {
    PrintfFormat *engine = out.formatEngine().asPrintfFormat();
    return engine ? *engine : defaultPrintfFormat();
}

void ErrorCounter::report(uint8_t severity, const char *format, va_list args) {
    if (severity == SeverityWarning && !warningsEnabled) return;
    writePrefix(severity);
    if (severity == SeverityError)
        ++errorCount;
    else if (severity == SeverityWarning)
        ++warningCount;
    out.vprint(format, args);
    out.print("\n");
}

void ErrorCounter::writePrefix(uint8_t severity) {
    out.print("[%s] ", toolName);
    if (severity == SeverityWarning)
        out.print("(Warning) ");
    else if (severity == SeverityFatal)
        out.print("Fatal Error: ");
}

NullErrorContext::~NullErrorContext() = default;
void NullErrorContext::vfatal(const char *, va_list) {}
void NullErrorContext::verror(const char *, va_list) {}
void NullErrorContext::vwarning(const char *, va_list) {}
