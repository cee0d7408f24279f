#include "support/fprintf.h"

#include <cerrno>

void FileSink::write(const char *text, int32_t length) {
    if (!stream || ferror(stream)) return;
    size_t n = fwrite(text, 1, static_cast<size_t>(length), stream);
    if (n < static_cast<size_t>(length)) {
        count = static_cast<int32_t>(static_cast<uint32_t>(count) -
                                     (static_cast<uint32_t>(length) - static_cast<uint32_t>(n)));
        error = errno ? errno : 28;
    }
}

FileFormatOut::FileFormatOut(const char *path, Format &engine)
    : FormatOut(fileSink, engine), fileSink(nullptr), owner(true) {
    errno = 0;
    fileSink.stream = fopen(path, "w");
    if (!fileSink.stream) fileSink.error = errno ? errno : 2;
}

FileFormatOut::FileFormatOut(FILE *stream, Format &engine, bool owner)
    : FormatOut(fileSink, engine), fileSink(stream), owner(owner) {}

void FileFormatOut::flush() {
    if (fileSink.stream) fflush(fileSink.stream);
}

FileFormatOut::~FileFormatOut() {
    flush();
    if (owner && fileSink.stream) fclose(fileSink.stream);
}
