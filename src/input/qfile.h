// qfile: a qbuffer tied to a file descriptor.  It opens a path itself (and
// then owns and closes the descriptor), or takes a descriptor that another
// object opened and shares it without owning it.  The file's size is learnt
// once, when the descriptor is taken.
//
// Fills read at the buffer's own file offset (pread), so several qfile
// objects that share one descriptor never disturb each other's position.
#pragma once

#include "input/qbuffer.h"

class qfile : public qbuffer {
public:
    // Open modes.
    static constexpr int32_t readMode = 0;
    static constexpr int32_t createMode = 1; // create and truncate, for writing
    static constexpr int32_t updateMode = 2; // read and write

    int32_t descriptor = -1; // -1 when closed
    int32_t reserved = 0;
    bool ownsDescriptor = false;
    int32_t lastError = 0; // errno of the last failed operation, else 0
    int32_t fileSize = 0;  // size of the whole file

    // A closed file; `openPath` or `shareDescriptor` brings it to life.
    qfile() = default;
    // Opens `path` in `mode`, with a buffer of `bufferSize` bytes.  A
    // `creationMode` of 0 means 0600.  Failure sets failBit and lastError.
    qfile(const char *path, int32_t mode, uint32_t creationMode, uint32_t bufferSize);

    ~qfile() override;
    int32_t seekAbsolute(int32_t offset) override;
    uint32_t fill() override;
    void flushBuffer() override;

protected:
    void openPath(const char *path, int32_t mode, uint32_t creationMode, uint32_t bufferSize);
    // Takes an open descriptor: learns the file's size and makes the buffer.
    void takeDescriptor(int32_t fd, bool owned, uint32_t bufferSize);
    // Takes another qfile's descriptor without owning it; its size is known.
    void shareDescriptor(const qfile &owner, uint32_t bufferSize);
    void noteError(int32_t error);
    // fill, reading at most `count` bytes (and never more than the buffer
    // holds).
    uint32_t fillUpTo(uint32_t count);
    // Reads up to `count` bytes that follow the buffer's contents straight
    // into `data`, leaving the buffer empty behind them; for reads too long
    // to be worth buffering.  Gives the count delivered.
    uint32_t readPast(void *data, uint32_t count);
};
