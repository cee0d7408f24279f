// FileIdentity: what a file is, from its first 32 bytes.  Archive or not,
// which object format, and in deep mode which processor and byte order.
//
// The magic numbers overlap, so the tests run in a fixed order and the first
// that matches decides:
//   "!<arch>\n"            library (deep mode looks into its first members)
//   7F 'E' 'L' 'F'         ELF
//   bytes 2-3 big-endian 0x107/0x108/0x10B, byte 1 <= 3      a.out
//   bytes 0-1 little-endian 0x14C/0x166/0x184/0x1F0, or
//             big-endian 0x268/0x290                          newer COFF
//   bytes 0-1 in 0x142..0x17F, in either byte order           older COFF
//   C3 CB C6 C5 or C5 C6 CB C3                                 ARM AOF chunk
//                                   file ("LIB_" at 12: a library of them)
//   80                     OMF object
//   F0                     OMF library
//   all printable          text
// A file shorter than 32 bytes is text or nothing.  Identification never
// reports and never fails: what it cannot read stays kind 0.  (Deep mode
// opens a library through the archive reader, whose fatal reports end the
// process even through the silent context: a library whose member headers
// are broken beyond reading ends a deep probe without a word.)
#pragma once

#include "input/InputFile.h"
#include "input/Processor.h"

#include <cstdint>

enum ObjectFormatKind : uint8_t {
    unknownFormat = 0,
    dosFormat = 1,  // OMF object
    coffFormat = 2, // COFF, older family of magic numbers
    elfFormat = 3,
    bsdFormat = 4, // a.out
    armFormat = 5, // AOF chunk file
    ntFormat = 6,  // COFF, newer family of magic numbers
    peFormat = 7,
    commandsFormat = 8, // plain text
    otherFormat = 9,
};

struct FileIdentity {
    bool isArchive = false;
    ObjectFormatKind kind = unknownFormat; // 0 for an archive, unless deep mode or AOF sets it
    Processor *processor = nullptr;
    uint32_t machine = 0;     // machine number from the header, deep mode only
    bool byteSwapped = false; // the file's byte order differs from the host's

    // Fills `id` from `file`.  Shallow mode reads 32 bytes; deep mode also
    // reads the format's header, or an archive's first members.  The file's
    // position is left wherever the tests ended.
    static void identify(FileIdentity &id, InputFile &file, bool deep);
    // The name of `kind`: "unknown", "DOS", "COFF", "ELF", "BSD", "ARM",
    // "NT", "PE", "COMMANDS", "???".
    const char *kindName() const;
    bool isLittleEndian() const;
};
