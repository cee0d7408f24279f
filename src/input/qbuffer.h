// qbuffer: a byte buffer with a position, the lowest layer of buffered file
// access.  It knows nothing of files: `qfile` ties it to a descriptor and
// overrides the three hooks (`seekAbsolute`, `fill`, `flushBuffer`) that move
// bytes between the buffer and the outside world.  On its own a qbuffer is a
// block of memory that can be read back after it was written.
//
// The status word collects what went wrong; callers test the bits directly
// after a run of operations, since failBit and badBit never clear.
#pragma once

#include <cstdint>

class qbuffer {
public:
    // Bits of `status`.
    static constexpr uint32_t eofBit = 1;  // a read delivered fewer bytes than asked
    static constexpr uint32_t failBit = 2; // open, size query, allocation, read or seek failed
    static constexpr uint32_t badBit = 4;  // seek beyond the window; readLine out of memory

    uint8_t *buffer = nullptr; // from malloc, freed by the destructor
    uint32_t index = 0;        // next byte inside the buffer
    uint32_t filled = 0;       // valid bytes in the buffer
    uint32_t capacity = 0;     // size of the buffer
    int32_t bufferOffset = 0;  // file offset of the buffer's first byte
    char *lineBuffer = nullptr;
    uint32_t lineCapacity = 0;
    uint32_t status = 0;
    uint32_t textMode = 0; // set during readLine: byte 0x1A ends the data
    uint32_t dirty = 0;    // bytes written and not yet flushed

    qbuffer() = default;
    // A buffer of `capacity` bytes; an allocation failure sets failBit.
    explicit qbuffer(uint32_t capacity);
    qbuffer(const qbuffer &) = delete;
    qbuffer &operator=(const qbuffer &) = delete;

    virtual ~qbuffer();
    // Moves to an absolute offset; 0 on success, -1 on failure.  A plain
    // buffer can only move inside the bytes it holds.
    virtual int32_t seekAbsolute(int32_t offset);
    // Refills the buffer from behind its current contents; gives the number
    // of bytes now available (0 at the end of the data).
    virtual uint32_t fill();
    // Writes out bytes written into the buffer; a plain buffer has nowhere
    // to write them and just keeps them.
    virtual void flushBuffer();

    // Appends `count` bytes at the current position; gives the count taken.
    uint32_t write(const void *data, uint32_t count);
    // The next line without its "\n" (and without a "\r" before it), in
    // `lineBuffer`; none at the end of the data or when memory runs out.
    const char *readLine();

protected:
    bool allocate(uint32_t capacity);
    // Set when a text-mode fill met byte 0x1A: nothing follows it.
    bool textEnded = false;
};
