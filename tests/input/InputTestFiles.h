// Helpers of the input tests: bytes written to a scratch file, and the
// messages of a run collected as the tool would print them.
#pragma once

#include "kit/RunTool.h"
#include "support/ErrFormat.h"
#include "support/errors.h"
#include "support/osprintf.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<uint8_t>;

inline Bytes bytesOf(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

// A scratch directory for input files, and an error context whose messages
// ("[tnm] ...") read back with the directory taken out of the paths.
struct Captured {
    ScratchDir dir;
    std::ostringstream log;
    ErrFormat engine;
    StreamFormatOut out{log, engine};
    ErrorCounter errors{out, "tnm"};

    std::string write(const Bytes &bytes, const char *name = "input.bin") {
        return dir.write(name, bytes);
    }
    std::string text() {
        out.flush();
        std::string all = log.str(), prefix = dir.path() + "/";
        for (size_t at; (at = all.find(prefix)) != std::string::npos;)
            all.erase(at, prefix.size());
        return all;
    }
};
