// Thin platform helpers: whether a path exists, whether it is a directory,
// and the status of a path or an open descriptor.
#pragma once

#include <cstdint>

struct FileStatus {
    int64_t modified = 0; // seconds since the epoch
    uint32_t owner = 0;
    uint32_t group = 0;
    uint32_t mode = 0;
    int32_t size = 0; // -1 for a file too big for 32-bit offsets
};

bool fileExists(const char *path);
bool isDirectory(const char *path);
// Fill `status`; false (and `status` untouched) when the system cannot tell.
bool pathStatus(const char *path, FileStatus &status);
bool descriptorStatus(int32_t descriptor, FileStatus &status);
