// ErrFormat: the engine of the diagnostics.  It is a PrintfFormat with one
// more directive, "%C", which writes the continuation string and takes no
// argument.  The tool's continuation string is "\n|\t", so a long message
// breaks into lines like
//
//     Archive lib.a has a truncated symbol table
//     |	(EOF encountered while reading 12 entries).
#pragma once

#include "support/pformat.h"

#include <memory>

class ErrFormat : public PrintfFormat {
public:
    explicit ErrFormat(const char *continuation = "\n|\t");
    ~ErrFormat() override;
    ErrFormat *asErrFormat() override;

    const char *continuation() const { return continuationText.get(); }

    static void formatContinuation(va_list *args, const FormatSpec &field, FormatSink &sink,
                                   Format &engine);

private:
    std::unique_ptr<char[]> continuationText;
};
