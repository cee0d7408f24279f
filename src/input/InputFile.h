// InputFile: the byte source of every reader.  It shows a file, or a window
// on a stretch of one, as bytes from position 0 to `length`.  An archive
// member is an InputFile whose window lies inside the library and which
// shares the library's descriptor, so a format reader never knows whether it
// reads a file on disk, a member of a library, or a member of a library
// inside a library.
//
// Status after operations (bits of `status`, tested by callers directly):
//   eofBit   a read delivered fewer bytes than asked; cleared by a seek
//   failBit  the open failed, or a seek went beyond the window; stays
//   badBit   a seek went beyond the window; stays
// So one test of failBit after a run of seeks and reads catches them all.
#pragma once

#include "input/FileName.h"
#include "input/qfile.h"

#include <memory>

class ErrorContext;

class InputFile : public qfile {
public:
    static constexpr uint32_t bufferSize = 4096;

    uint32_t position = 0;  // current position, relative to the window
    int32_t baseOffset = 0; // file offset of the window's first byte
    uint32_t length = 0;    // size of the window
    const FileName &fileName;

    // Opens `path`, under a new FileName that lives as long as the run.
    // With a context, a failed open is reported as "Can't open file %s".
    InputFile(const char *path, ErrorContext *errors);
    // Opens `name.path()`; its window is given by the name's offsets.
    InputFile(const FileName &name, ErrorContext &errors);
    // A window on `parent`'s file, sharing its descriptor.  `name` must be a
    // member name whose parent is `parent.fileName`.  The window's length is
    // the name's, even where it runs past the end of the file: the reader
    // then meets eofBit there.
    InputFile(const FileName &name, ErrorContext &errors, InputFile &parent);
    ~InputFile() override;

    // A fill stops at the end of the window: no byte behind it is ever
    // delivered, so a small library member costs a read of its own size,
    // not of the whole buffer.
    uint32_t fill() override;

    // Moves to `where` inside the window; the position, or -1 (and failBit
    // and badBit) if it lies beyond the end of the window.  Seeking exactly
    // to the end succeeds.
    virtual int32_t seek(uint32_t where);

    // How many bytes of the window the file really holds.  A library member
    // may claim more than the file has; a reader checks a size found in the
    // file against this before it allocates for it, so that a lying header
    // costs a message and not a huge allocation.
    uint32_t bytesInFile() const;

    // Reads up to `count` bytes; short reads set eofBit.
    InputFile &read(void *data, uint32_t count);
    uint32_t readCount(void *data, uint32_t count);

private:
    void setUpWindow(ErrorContext *errors);
};
