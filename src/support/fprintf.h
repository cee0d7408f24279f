// FileFormatOut: formatted output to a standard I/O stream, either one the
// caller gives (owned or not) or one opened on a path.
#pragma once

#include "support/formout.h"

#include <cstdio>

// Writes with fwrite; does nothing once the stream is in its error state.
// A short write takes the shortfall off the count and records errno (28,
// "no space", if errno says nothing).
class FileSink : public FormatSink {
public:
    explicit FileSink(FILE *stream) : stream(stream) {}
    void write(const char *text, int32_t length) override;

    FILE *stream;
    int error = 0;
};

class FileFormatOut : public FormatOut {
public:
    // Opens `path` for writing; on failure records errno and writes nothing.
    FileFormatOut(const char *path, Format &engine);
    FileFormatOut(FILE *stream, Format &engine, bool owner = false);
    void flush() override;
    ~FileFormatOut() override;

    // The recorded error: of the failed open or of the last failed write.
    int error() const { return fileSink.error; }
    FILE *stream() const { return fileSink.stream; }

private:
    FileSink fileSink;
    bool owner;
};
