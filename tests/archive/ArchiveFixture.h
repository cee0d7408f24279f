// Shared set-up of the archive tests: writes a library built by the kit to a
// scratch file, opens it as the tool does, and keeps what the archive code
// said on its error context, word for word as it would reach standard error.
#pragma once

#include "archive/Archive.h"
#include "input/InputFile.h"
#include "kit/ArchiveBuilder.h"
#include "kit/RunTool.h"
#include "support/ErrFormat.h"
#include "support/errors.h"
#include "support/osprintf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

class ArchiveFixture : public ::testing::Test {
protected:
    using Bytes = ArchiveBuilder::Bytes;

    // Writes `bytes` as "lib.a" in the scratch directory and opens it.  The
    // library's path is `path`; messages show it in place of "%O".
    InputFile &write(const Bytes &bytes, const std::string &name = "lib.a") {
        path = dir.write(name, bytes);
        file = std::make_unique<InputFile>(path.c_str(), nullptr);
        return *file;
    }

    // Writes and opens the library as an Archive, reporting to `errors`.
    Archive *open(const Bytes &bytes, bool withErrors = true) {
        write(bytes);
        archive = Archive::open(*file, withErrors ? &errors : nullptr);
        return archive.get();
    }

    // The names of all members, in the order of eachMember.
    std::vector<std::string> memberNames() {
        std::vector<std::string> names;
        archive->eachMember([&](const ArchiveMember &member) {
            names.push_back(member.name);
            return true;
        });
        return names;
    }

    struct SymbolEntry {
        std::string name;
        uint32_t offset;
        bool operator==(const SymbolEntry &) const = default;
    };
    std::vector<SymbolEntry> symbols() {
        std::vector<SymbolEntry> all;
        archive->eachSymbol([&](const ArchiveSymbol &symbol) {
            all.push_back({symbol.name, symbol.offset});
            return true;
        });
        return all;
    }

    // Everything reported so far.
    std::string messages() {
        out.flush();
        return log.str();
    }

    // "[tnm] " and the message with the library's path put in for "%s".
    std::string line(const std::string &prefix, const std::string &text) const {
        std::string result = "[tnm] " + prefix;
        for (char c : text)
            result += c == '@' ? path : std::string(1, c);
        return result + "\n";
    }
    std::string errorLine(const std::string &text) const { return line("", text); }
    std::string warningLine(const std::string &text) const { return line("(Warning) ", text); }

    ScratchDir dir;
    std::string path;
    std::unique_ptr<InputFile> file;
    std::unique_ptr<Archive> archive;

    std::ostringstream log;
    ErrFormat engine;
    StreamFormatOut out{log, engine};
    ErrorCounter errors{out, "tnm"};
};

// A member body of `size` bytes: 'a', 'b', 'c', ... round and round, so that
// any mix-up of offsets shows in the bytes.
inline ArchiveBuilder::Bytes pattern(size_t size, uint8_t first = 'a') {
    ArchiveBuilder::Bytes data(size);
    for (size_t i = 0; i < size; ++i)
        data[i] = uint8_t(first + i % 26);
    return data;
}

// A number as "%x" writes it.
inline std::string hex(uint32_t value) {
    char text[16];
    snprintf(text, sizeof text, "%x", value);
    return text;
}
