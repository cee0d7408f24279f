#include "input/InputFile.h"

#include "support/botch.h"
#include "support/error.h"

#include <algorithm>
#include <climits>
#include <cstring>

InputFile::InputFile(const char *path, ErrorContext *errors)
    : fileName(FileName::keep(std::make_unique<FileName>(path))) {
    openPath(fileName.path(), readMode, 0644, bufferSize);
    setUpWindow(errors);
}

InputFile::InputFile(const FileName &name, ErrorContext &errors) : fileName(name) {
    openPath(fileName.path(), readMode, 0644, bufferSize);
    setUpWindow(&errors);
}

InputFile::InputFile(const FileName &name, ErrorContext &, InputFile &parent) : fileName(name) {
    if (name.parent() != &parent.fileName)
        botch("InputFile: %s is not in archive %s!", name.displayName(),
              parent.fileName.displayName());
    shareDescriptor(parent, bufferSize);
    int64_t base = 0;
    for (const FileName *n = &name; n; n = n->parent())
        base += n->offset();
    if (base > INT32_MAX) base = INT32_MAX;
    baseOffset = int32_t(base);
    length = name.length();
    seek(0);
}

InputFile::~InputFile() = default;

uint32_t InputFile::bytesInFile() const {
    int64_t rest = int64_t(fileSize) - baseOffset;
    if (rest < 0) return 0;
    return uint32_t(std::min<int64_t>(rest, length));
}

uint32_t InputFile::fill() {
    int64_t windowEnd = int64_t(baseOffset) + length;
    int64_t next = int64_t(bufferOffset) + filled;
    if (next >= windowEnd) return fillUpTo(capacity);
    return fillUpTo(uint32_t(std::min<int64_t>(capacity, windowEnd - next)));
}

void InputFile::setUpWindow(ErrorContext *errors) {
    int64_t base = 0;
    for (const FileName *n = &fileName; n; n = n->parent())
        base += n->offset();
    if (base > INT32_MAX) base = INT32_MAX;
    baseOffset = int32_t(base);
    int64_t rest = int64_t(fileSize) - base;
    if (rest < 0) rest = 0;
    length = fileName.length();
    if (int64_t(length) > rest) length = uint32_t(rest);
    position = 0;
    seek(0);
    if ((status & (failBit | badBit)) && errors)
        errors->error("Can't open file %s", fileName.path());
}

int32_t InputFile::seek(uint32_t where) {
    int64_t absolute = int64_t(baseOffset) + where;
    if (where > length || absolute > INT32_MAX || seekAbsolute(int32_t(absolute)) != 0) {
        status |= failBit | badBit;
        return -1;
    }
    position = where;
    return int32_t(where);
}

uint32_t InputFile::readCount(void *data, uint32_t count) {
    uint32_t wanted = count;
    if (count > length - position) count = length - position;
    uint8_t *to = static_cast<uint8_t *>(data);
    uint32_t done = 0;
    while (done < count) {
        if (index >= filled) {
            // A long read with nothing buffered goes straight to the caller's
            // memory instead of passing through the buffer block by block.
            uint32_t rest = count - done;
            if (rest >= capacity) {
                uint32_t got = readPast(to + done, rest);
                if (got == 0) break;
                done += got;
                continue;
            }
            if (fill() == 0) break;
        }
        uint32_t n = count - done;
        if (n > filled - index) n = filled - index;
        std::memcpy(to + done, buffer + index, n);
        index += n;
        done += n;
    }
    if (done < wanted) status |= eofBit;
    position += done;
    return done;
}

InputFile &InputFile::read(void *data, uint32_t count) {
    readCount(data, count);
    return *this;
}
