#include "support/ErrFormat.h"

#include "support/botch.h"

#include <cstring>

ErrFormat::ErrFormat(const char *continuation) {
    size_t n = strlen(continuation);
    continuationText = std::make_unique<char[]>(n + 1);
    memcpy(continuationText.get(), continuation, n + 1);
    setDirective('C', formatContinuation);
}

ErrFormat::~ErrFormat() = default;

ErrFormat *ErrFormat::asErrFormat() {
    return this;
}

void ErrFormat::formatContinuation(va_list *, const FormatSpec &field, FormatSink &sink,
                                   Format &engine) {
    ErrFormat *self = engine.asErrFormat();
    if (!self) botch("ErrFormat::formatContinuation called by another engine");
    writeString(field, sink, self->continuation());
}
