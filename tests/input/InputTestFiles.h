// Helpers of the input tests: files on disk made from bytes, and an error
// context whose messages can be read back as text.
#pragma once

#include "support/ErrFormat.h"
#include "support/errors.h"
#include "support/sprintf.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

using Bytes = std::vector<uint8_t>;

inline Bytes bytesOf(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

// A file in a fresh directory, removed with the object.
class TempFile {
public:
    explicit TempFile(const Bytes &contents, const char *name = "input.bin") {
        char pattern[] = "/tmp/tnm-input-XXXXXX";
        dir = mkdtemp(pattern);
        path = dir + "/" + name;
        FILE *f = std::fopen(path.c_str(), "wb");
        if (!contents.empty()) std::fwrite(contents.data(), 1, contents.size(), f);
        std::fclose(f);
    }
    ~TempFile() { std::filesystem::remove_all(dir); }
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    std::string dir;
    std::string path;
};

// Messages as the tool would print them, collected in memory.
struct CapturedErrors {
    std::vector<char> buffer = std::vector<char>(1 << 20);
    ErrFormat engine;
    StringFormatOut out{buffer.data(), uint32_t(buffer.size()), false, engine};
    ErrorCounter errors{out, "tnm"};

    std::string text() const { return std::string(out.text(), out.length()); }
    // The errors alone: warnings come from the readers and libraries of the
    // formats, and are theirs to test.
    std::string errorText() const {
        std::string all = text(), kept;
        bool inWarning = false;
        for (size_t at = 0, end; at < all.size(); at = end + 1) {
            end = all.find('\n', at);
            if (end == std::string::npos)
                end = all.size();
            std::string line = all.substr(at, end - at + 1);
            // A line that begins with the continuation string goes on the
            // message before it.
            if (line.compare(0, 2, "|\t") != 0)
                inWarning = line.find("] (Warning) ") != std::string::npos;
            if (!inWarning)
                kept += line;
        }
        return kept;
    }
};
