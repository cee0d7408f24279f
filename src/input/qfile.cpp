#include "input/qfile.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#ifndef O_BINARY
#define O_BINARY 0
#endif

qfile::qfile(const char *path, int32_t mode, uint32_t creationMode, uint32_t bufferSize) {
    openPath(path, mode, creationMode, bufferSize);
}

qfile::~qfile() {
    if (dirty) flushBuffer();
    if (ownsDescriptor && descriptor >= 0) ::close(descriptor);
}

void qfile::noteError(int32_t error) {
    status |= failBit;
    lastError = error;
}

void qfile::openPath(const char *path, int32_t mode, uint32_t creationMode, uint32_t bufferSize) {
    int flags = O_RDONLY | O_BINARY;
    if (mode == createMode)
        flags = O_WRONLY | O_CREAT | O_TRUNC | O_BINARY;
    else if (mode == updateMode)
        flags = O_RDWR | O_BINARY;
    if (creationMode == 0) creationMode = 0600;
    int fd = ::open(path, flags, creationMode);
    if (fd < 0) {
        noteError(errno);
        return;
    }
    takeDescriptor(fd, true, bufferSize);
}

void qfile::takeDescriptor(int32_t fd, bool owned, uint32_t bufferSize) {
    descriptor = fd;
    ownsDescriptor = owned;
    off_t here = ::lseek(fd, 0, SEEK_CUR);
    off_t end = here < 0 ? -1 : ::lseek(fd, 0, SEEK_END);
    if (end < 0 || ::lseek(fd, here, SEEK_SET) < 0) {
        noteError(errno);
        return;
    }
    if (end > INT32_MAX) {
        // Offsets are 32-bit throughout; a bigger file cannot be read whole.
        noteError(EFBIG);
        return;
    }
    fileSize = int32_t(end);
    bufferOffset = int32_t(here > INT32_MAX ? 0 : here);
    if (!allocate(bufferSize)) noteError(errno ? errno : ENOMEM);
}

void qfile::shareDescriptor(const qfile &owner, uint32_t bufferSize) {
    descriptor = owner.descriptor;
    ownsDescriptor = false;
    if (descriptor < 0) {
        noteError(EBADF);
        return;
    }
    // The owner learnt the size when it took the descriptor.
    fileSize = owner.fileSize;
    if (!allocate(bufferSize)) noteError(errno ? errno : ENOMEM);
}

int32_t qfile::seekAbsolute(int32_t offset) {
    // Inside the buffered bytes: no system call.
    if (filled > 0 && qbuffer::seekAbsolute(offset) == 0) return 0;
    if (dirty) flushBuffer();
    if (descriptor < 0 || offset < 0) {
        lastError = descriptor < 0 ? EBADF : EINVAL;
        return -1;
    }
    // Fills read at the buffer's own offset, never at the descriptor's
    // position, so moving the descriptor would only cost a system call: the
    // new place is simply where the next fill reads.
    bufferOffset = offset;
    filled = index = 0;
    textEnded = false;
    status &= ~eofBit;
    return 0;
}

uint32_t qfile::fill() {
    return fillUpTo(capacity);
}

uint32_t qfile::fillUpTo(uint32_t count) {
    if (count > capacity) count = capacity;
    bufferOffset += int32_t(filled);
    index = filled = 0;
    if (!buffer || descriptor < 0 || textEnded) return 0;
    ssize_t got;
    do
        got = ::pread(descriptor, buffer, count, bufferOffset);
    while (got < 0 && errno == EINTR);
    if (got < 0) {
        noteError(errno);
        return 0;
    }
    filled = uint32_t(got);
    if (textMode) {
        if (const void *eof = std::memchr(buffer, 0x1A, filled)) {
            filled = uint32_t(static_cast<const uint8_t *>(eof) - buffer);
            textEnded = true;
        }
    }
    return filled;
}

void qfile::flushBuffer() {
    if (!dirty) return;
    dirty = 0;
    if (descriptor < 0) return;
    uint32_t done = 0;
    while (done < filled) {
        ssize_t n = ::pwrite(descriptor, buffer + done, filled - done, bufferOffset + done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            noteError(n < 0 ? errno : EIO);
            return;
        }
        done += uint32_t(n);
    }
}

uint32_t qfile::readPast(void *data, uint32_t count) {
    bufferOffset += int32_t(filled);
    index = filled = 0;
    if (!buffer || descriptor < 0 || textEnded) return 0;
    ssize_t got;
    do
        got = ::pread(descriptor, data, count, bufferOffset);
    while (got < 0 && errno == EINTR);
    if (got < 0) {
        noteError(errno);
        return 0;
    }
    bufferOffset += int32_t(got);
    return uint32_t(got);
}
