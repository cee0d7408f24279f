#include "input/qbuffer.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

qbuffer::qbuffer(uint32_t size) {
    if (!allocate(size)) status |= failBit;
}

qbuffer::~qbuffer() {
    std::free(buffer);
    std::free(lineBuffer);
}

bool qbuffer::allocate(uint32_t size) {
    buffer = static_cast<uint8_t *>(std::malloc(size));
    if (!buffer) return false;
    capacity = size;
    return true;
}

int32_t qbuffer::seekAbsolute(int32_t offset) {
    if (buffer && offset >= bufferOffset && offset - bufferOffset <= int64_t(filled)) {
        index = uint32_t(offset - bufferOffset);
        status &= ~eofBit;
        return 0;
    }
    return -1;
}

uint32_t qbuffer::fill() {
    // Memory alone has nothing behind its contents.
    return 0;
}

void qbuffer::flushBuffer() {
    // Written bytes stay in the buffer, where a seek back can read them.
}

uint32_t qbuffer::write(const void *data, uint32_t count) {
    if (!buffer) return 0;
    const uint8_t *from = static_cast<const uint8_t *>(data);
    uint32_t done = 0;
    while (done < count) {
        if (index == capacity) {
            // Full: hand the buffer on and start a new one behind it.  A plain
            // qbuffer cannot, and the rest is lost.
            flushBuffer();
            if (dirty) break;
            bufferOffset += int32_t(filled);
            index = filled = 0;
        }
        uint32_t n = count - done;
        if (n > capacity - index) n = capacity - index;
        std::memcpy(buffer + index, from + done, n);
        index += n;
        done += n;
        if (index > filled) filled = index;
        dirty = 1;
    }
    return done;
}

const char *qbuffer::readLine() {
    if (!buffer) return nullptr;
    textMode = 1;
    uint32_t used = 0;
    bool any = false;
    bool ended = false;
    while (!ended) {
        if (index >= filled && fill() == 0) break;
        // Take the run up to the next new line in one step.
        const uint8_t *start = buffer + index;
        uint32_t avail = filled - index;
        const void *nl = std::memchr(start, '\n', avail);
        uint32_t take = nl ? uint32_t(static_cast<const uint8_t *>(nl) - start) : avail;
        if (used + take + 1 > lineCapacity) {
            uint32_t grown = (used + take + 1 + 255) / 256 * 256;
            char *bigger = static_cast<char *>(std::realloc(lineBuffer, grown));
            if (!bigger) {
                status |= badBit;
                textMode = 0;
                return nullptr;
            }
            lineBuffer = bigger;
            lineCapacity = grown;
        }
        std::memcpy(lineBuffer + used, start, take);
        used += take;
        index += take;
        any = true;
        if (nl) {
            ++index;
            ended = true;
        }
    }
    textMode = 0;
    if (!any) return nullptr;
    if (used > 0 && lineBuffer[used - 1] == '\r') --used;
    lineBuffer[used] = '\0';
    return lineBuffer;
}
