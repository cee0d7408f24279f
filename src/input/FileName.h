// FileName and its kinds: the name of an InputFile, used in every message
// about it through "%O".
//
//   FileName            a file on disk; shown as its path
//   ArchiveMemberName   a member of a library, possibly nested; shown as
//                       "library(member)", once per level of nesting, and
//                       carrying the member's offset and size in its parent
//   DisplayFileName     a file opened under one text and shown under another
//
// Names are made once per file or member and live to the end of the run
// (`FileName::keep`): the object files read from them and the messages
// about them point at them.
#pragma once

#include "support/printable.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

class FileName : public Printable {
public:
    explicit FileName(const char *text);

    const char *printableText() const override;
    void printOn(std::ostream &out) const override;
    ~FileName() override;

    virtual const char *displayName() const;
    virtual const FileName *parent() const;
    virtual const char *memberName() const;
    virtual const char *path() const;
    virtual uint32_t offset() const;
    virtual uint32_t length() const;

    // The name for callers that need one and have none: the empty text.
    static const FileName empty;

    // Hands a name over to the run, which keeps it until the process ends;
    // gives the name back.
    static FileName &keep(std::unique_ptr<FileName> name);

protected:
    std::string text;
};

class ArchiveMemberName : public FileName {
public:
    ArchiveMemberName(const FileName *parent, const char *member, uint32_t offset, uint32_t length);
    ~ArchiveMemberName() override;

    // "%s(%s)" of the parent's display name and the member's name, once
    // per level of nesting.  The text stands in one of two static buffers
    // taken in turn, so two member names can be in use at one time (as in a
    // message with two "%O"); the next call but one overwrites it.  A text
    // of 250 bytes or more gets a block of its own, kept with the name.
    const char *displayName() const override;
    const FileName *parent() const override;
    const char *memberName() const override;
    const char *path() const override;
    uint32_t offset() const override;
    uint32_t length() const override;

private:
    uint32_t memberOffset;
    uint32_t memberLength;
    const FileName *parentName;
};

class DisplayFileName : public FileName {
public:
    DisplayFileName(const char *path, const char *shownAs);
    const char *displayName() const override;

private:
    std::string shown;
};
