// Printable: the root of the objects that the "%O" directive can show.  In
// practice the object is a FileName, whose text is the name a user knows the
// file by.  Pass it to a format as a pointer (`const Printable *`).
#pragma once

#include <iosfwd>

class Printable {
public:
    // The object's text, NUL-terminated, owned by the object.
    virtual const char *printableText() const = 0;
    // Writes the text to an output stream.
    virtual void printOn(std::ostream &stream) const;
    virtual ~Printable();
};
