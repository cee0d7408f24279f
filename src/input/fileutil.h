// Path helpers.  "/", "\\" and ":" all separate the components of a path, on
// equal terms, so names written for any of the hosts the tools came from are
// taken apart alike.  Helpers that make a new text give a std::string.
#pragma once

#include <string>

bool isPathSeparator(char c);

// What follows the last separator, as a pointer into `path`.
const char *baseName(const char *path);
// The same, as a copy of its own.
std::string baseNameCopy(const char *path);
// The path (or, with `baseOnly`, its base name alone) without the last "."
// of the base name and all behind it.
std::string stripExtension(const char *path, bool baseOnly);
// All up to and including the last separator; "." if there is none.
std::string directoryOf(const char *path);
// Drops each "./" component, and each component with a "../" behind it;
// leading "../" stay.
std::string normalizePath(const char *path);
// `name` inside `directory`, with a backslash between unless the directory
// ends in a separator; then normalised.  An absent directory gives `name`.
std::string joinPath(const char *directory, const char *name);
// "%s.%s" of the path without its extension and `extension`.
std::string withExtension(const char *path, const char *extension);
bool isRootedPath(const char *path);
