// Walks over a library: `eachArchiveFile` gives each member as an InputFile,
// `eachArchiveObject` each member as an ObjectFile.  A member that is itself
// a library is walked in place, depth first, to `maxLibraryNesting` levels;
// its members show one more "(member)" in their names.  A bad member adds its
// errors and the walk goes on.
#pragma once

#include "support/FunctionRef.h"

#include <cstdint>
#include <memory>

class Archive;
class ErrorContext;
class FileName;
class InputFile;
class ObjectFile;

// Libraries inside libraries are read to this depth; a deeper one is
// reported and its members skipped.
constexpr int maxLibraryNesting = 64;

// How many libraries deep `name` lies: 0 for a file on disk.
int libraryNesting(const FileName &name);

// How many members, at all levels together, a walk of the library visits at
// most: a quarter of its bytes and a little more.  Real libraries never come
// near it; a crafted one whose members overlap or hold the library itself is
// reported ("Library %O holds more members than its size allows; the rest
// are not read") when it runs out, and the walk ends.
uint64_t libraryVisitBudget(const InputFile &libraryFile);

// The visitor gets each member file that is not itself a library.  The file
// is the visitor's: it destroys it (or keeps it) as it sees fit.
void eachArchiveFile(FunctionRef<void(std::unique_ptr<InputFile>)> visitor, InputFile &archiveFile,
                     ErrorContext &errors, Archive &archive);

// The visitor gets each member's object file and owns it.  Members of no
// known format are reported: "File %s OMF format not yet handled" with the
// member's name, then "%s: Unknown object file format" with the library's.
void eachArchiveObject(FunctionRef<void(std::unique_ptr<ObjectFile>)> visitor,
                       InputFile &archiveFile, ErrorContext &errors, Archive &archive);
