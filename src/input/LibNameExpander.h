// LibNameExpander: the library search of a linker's "-lname".  It tries a
// fixed list of file names in a list of directories, directory by directory:
//
//   1. the part of LD_LIBRARY_PATH before a "|" (not when cross linking)
//   2. the directories callers added, in order
//   3. LD_LIBRARY_PATH, or its part behind the "|" (not when cross linking)
//   4. LIBPATH, or "/lib", or the default a caller gave
//
// and in each directory "libname.so", "libname.dll", "name.dll" (when shared
// libraries are allowed), then "libname.a", "name.lib".  Every path text is
// a list of directories separated by ";".  The environment is read once, at
// construction.
#pragma once

#include "input/FileName.h"

#include <memory>
#include <string>

class ErrorContext;
class StringCollection;
class Toggle;

class LibNameExpander {
public:
    std::unique_ptr<StringCollection> searchPaths; // added by callers; entries may be lists
    const char *preLibraryPath = nullptr;          // LD_LIBRARY_PATH before the "|"
    const char *postLibraryPath = nullptr;         // behind the "|", or all of it
    const char *defaultPath = nullptr;             // LIBPATH, "/lib", or the caller's default
    bool crossLinking;
    bool defaultPathGiven = false;

    explicit LibNameExpander(bool crossLinking);
    ~LibNameExpander();

    // Stores the flag; the environment is not read again.
    void setCrossLinking(bool crossLinking);
    // Adds a directory list; the text is kept, not copied.
    void add_lib_path(const char *path);
    void add_default_lib_path(const char *path);
    // The file of library `name`, shown under its path; none, with the error
    // "Library not found: -l%s", if no directory holds it.
    std::unique_ptr<DisplayFileName> expand(const char *name, bool allowShared,
                                            ErrorContext &errors);

private:
    // A copy of LD_LIBRARY_PATH, split at its "|": the process's own
    // environment is left as it was.
    std::string libraryPath;
    Toggle &trace;
};
