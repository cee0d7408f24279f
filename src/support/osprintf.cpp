#include "support/osprintf.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

void StreamSink::write(const char *text, int32_t length) {
    if (!stream || stream->rdstate() != std::ios::goodbit || length <= 0) return;
    size_t size = size_t(length);
    if (size > gatherSize - gatheredLength) {
        flushAll();
        if (size >= gatherSize) {
            writeOut(text, size);
            return;
        }
    }
    memcpy(gathered + gatheredLength, text, size);
    gatheredLength += size;
}

void StreamSink::flush() {
    if (wholeLines && gatheredLength != 0 && gathered[gatheredLength - 1] != '\n') return;
    flushAll();
}

void StreamSink::flushAll() {
    size_t length = gatheredLength;
    gatheredLength = 0;
    if (length != 0) writeOut(gathered, length);
}

void StreamSink::writeOut(const char *text, size_t length) {
    if (!stream || stream->rdstate() != std::ios::goodbit) return;
    errno = 0;
    stream->write(text, std::streamsize(length));
    if (stream->fail()) error = errno ? errno : 28;
}

StreamFormatOut::StreamFormatOut(const char *path, Format &engine)
    : FormatOut(streamSink, engine), streamSink(nullptr) {
    // Create the file with the permissions 0644 first (less the umask);
    // the file stream then opens what is there.
    errno = 0;
    int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        streamSink.error = errno ? errno : 5;
    } else {
        ::close(fd);
    }
    auto file = std::make_unique<std::ofstream>(path, std::ios::out | std::ios::binary);
    if (!file->is_open() && !streamSink.error) streamSink.error = errno ? errno : 5;
    ownedStream = std::move(file);
    streamSink.stream = ownedStream.get();
}

StreamFormatOut::StreamFormatOut(std::ostream &stream, Format &engine)
    : FormatOut(streamSink, engine), streamSink(&stream) {}

void StreamFormatOut::flush() {
    streamSink.flushAll();
    if (streamSink.stream && streamSink.stream->good()) streamSink.stream->flush();
}

StreamFormatOut::~StreamFormatOut() {
    flush();
}

int StreamFormatOut::error() const {
    if (streamSink.stream && streamSink.stream->rdstate() == std::ios::goodbit) return 0;
    return streamSink.error ? streamSink.error : 5;
}
