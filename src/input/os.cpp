#include "input/os.h"

#include <climits>
#include <sys/stat.h>

namespace {

void copyStatus(const struct stat &st, FileStatus &status) {
    status.modified = int64_t(st.st_mtime);
    status.owner = uint32_t(st.st_uid);
    status.group = uint32_t(st.st_gid);
    status.mode = uint32_t(st.st_mode);
    status.size = st.st_size > INT32_MAX ? -1 : int32_t(st.st_size);
}

} // namespace

bool fileExists(const char *path) {
    struct stat st;
    return ::stat(path, &st) == 0;
}

bool isDirectory(const char *path) {
    struct stat st;
    return ::stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

bool pathStatus(const char *path, FileStatus &status) {
    struct stat st;
    if (::stat(path, &st) != 0) return false;
    copyStatus(st, status);
    return true;
}

bool descriptorStatus(int32_t descriptor, FileStatus &status) {
    struct stat st;
    if (::fstat(descriptor, &st) != 0) return false;
    copyStatus(st, status);
    return true;
}
