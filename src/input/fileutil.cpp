#include "input/fileutil.h"

#include <cstring>
#include <vector>

bool isPathSeparator(char c) {
    return c == '/' || c == '\\' || c == ':';
}

const char *baseName(const char *path) {
    const char *base = path;
    for (const char *p = path; *p; ++p)
        if (isPathSeparator(*p)) base = p + 1;
    return base;
}

std::string baseNameCopy(const char *path) {
    return baseName(path);
}

std::string stripExtension(const char *path, bool baseOnly) {
    const char *base = baseName(path);
    const char *dot = std::strrchr(base, '.');
    const char *start = baseOnly ? base : path;
    const char *end = dot ? dot : base + std::strlen(base);
    return std::string(start, end);
}

std::string directoryOf(const char *path) {
    const char *base = baseName(path);
    if (base == path) return ".";
    return std::string(path, base);
}

std::string normalizePath(const char *path) {
    // Split into components, each with the separator that ends it.
    struct Component {
        std::string name;
        char separator; // 0 for the last component
    };
    std::vector<Component> kept;
    std::string rooted;
    const char *p = path;
    // Leading separators stay where they are: the path stays rooted.
    while (*p && isPathSeparator(*p))
        rooted += *p++;
    while (*p) {
        const char *end = p;
        while (*end && !isPathSeparator(*end))
            ++end;
        Component c{std::string(p, end), *end};
        p = *end ? end + 1 : end;
        if (c.name == "." && c.separator) {
            continue;
        }
        if (c.name == ".." && c.separator && !kept.empty() && kept.back().name != "..") {
            kept.pop_back();
            continue;
        }
        kept.push_back(std::move(c));
    }
    std::string out = rooted;
    for (const Component &c : kept) {
        out += c.name;
        if (c.separator) out += c.separator;
    }
    return out;
}

std::string joinPath(const char *directory, const char *name) {
    if (!directory) return name;
    std::string joined = directory;
    if (joined.empty() || !isPathSeparator(joined.back())) joined += '\\';
    joined += name;
    return normalizePath(joined.c_str());
}

std::string withExtension(const char *path, const char *extension) {
    return stripExtension(path, false) + "." + extension;
}

bool isRootedPath(const char *path) {
    return isPathSeparator(path[0]);
}
