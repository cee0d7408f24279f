// loadObjectFile: makes the right ObjectFile for one InputFile, by the format
// that identification finds.  The rest of the system never names a format's
// reader.
#pragma once

#include "input/FileIdentity.h"
#include "input/InputFile.h"

#include <memory>

class ErrorContext;
class ObjectFile;

// The object file read from `file`, or none.  `kind` gets the format found:
// 0 for an archive and for anything unrecognised.  A format without a reader
// is reported as "File %s OMF format not yet handled"; a reader that cannot
// go on has reported on its own.
std::unique_ptr<ObjectFile> loadObjectFile(InputFile &file, ErrorContext &errors,
                                           ObjectFormatKind &kind);
