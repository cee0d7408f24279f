// StreamFormatOut: formatted output to an output stream object, either one
// the caller gives (not owned) or a new file stream opened on a path.  The
// diagnostics of the tool go through one of these on std::cerr.
#pragma once

#include "support/formout.h"

#include <cstddef>
#include <iosfwd>
#include <memory>

// Writes nothing while the stream's state is not clear; when a write sets
// the failure bit, records errno (28 if errno says nothing).
//
// The engine hands a format text over in many small pieces (literal runs,
// one per directive).  The sink gathers them and gives the stream the whole
// text at once when the engine flushes at the end of the text, so that an
// unbuffered stream such as std::cerr sees one write per text instead of one
// per piece; a text longer than the gathering buffer goes out in parts.
// With `wholeLines` set, the end of a text that does not end a line is kept
// until a later text ends it (or an explicit flush), so that a diagnostic
// made of several texts (prefix, severity, message, new line) is one write.
class StreamSink : public FormatSink {
public:
    explicit StreamSink(std::ostream *stream) : stream(stream) {}
    void write(const char *text, int32_t length) override;
    void flush() override;
    // Writes out whatever is gathered, a partial line too.
    void flushAll();

    std::ostream *stream;
    int error = 0;
    bool wholeLines = false;

private:
    void writeOut(const char *text, size_t length);

    static constexpr size_t gatherSize = 1024;
    char gathered[gatherSize];
    size_t gatheredLength = 0;
};

class StreamFormatOut : public FormatOut {
public:
    // Creates `path` (mode 0644) and writes to it; owns the stream.
    StreamFormatOut(const char *path, Format &engine);
    StreamFormatOut(std::ostream &stream, Format &engine);
    void flush() override;
    // Hands the stream whole lines only (see StreamSink); explicit flushes
    // and the destructor still write out a partial line.
    void gatherWholeLines(bool on) { streamSink.wholeLines = on; }
    ~StreamFormatOut() override;

    // 0 if the stream's state is clear, else the recorded errno, or 5 (I/O
    // error) if none was recorded.
    int error() const;

private:
    StreamSink streamSink;
    std::unique_ptr<std::ostream> ownedStream;
};
