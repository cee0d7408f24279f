// Shared set-up of the archive tests: writes a library made by the kit to a
// scratch file, opens it as the tool does, and keeps what the archive code
// reported, word for word as it would reach standard error.
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

using Bytes = ArchiveBuilder::Bytes;
using Names = std::vector<std::string>;

class ArchiveFixture : public ::testing::Test {
protected:
    // Writes `bytes` as "lib.a" and opens it; `path` is what "%O" shows.
    InputFile &write(const Bytes &bytes) {
        path = dir.write("lib.a", bytes);
        file = std::make_unique<InputFile>(path.c_str(), nullptr);
        return *file;
    }
    Archive *open(const Bytes &bytes, bool withErrors = true) {
        write(bytes);
        archive = Archive::open(*file, withErrors ? &errors : nullptr);
        return archive.get();
    }

    Names memberNames() {
        Names names;
        archive->eachMember([&](const ArchiveMember &member) {
            names.push_back(member.name);
            return true;
        });
        return names;
    }
    std::vector<std::pair<std::string, uint32_t>> symbols() {
        std::vector<std::pair<std::string, uint32_t>> all;
        archive->eachSymbol([&](const ArchiveSymbol &symbol) {
            all.emplace_back(symbol.name, symbol.offset);
            return true;
        });
        return all;
    }

    std::string messages() {
        out.flush();
        return log.str();
    }
    // A reported line: "W:" in front makes it a warning; "@" stands for the
    // library's path.
    std::string line(const std::string &text) const {
        bool warning = text.rfind("W:", 0) == 0;
        std::string result = warning ? "[tnm] (Warning) " : "[tnm] ";
        for (char c : text.substr(warning ? 2 : 0))
            result += c == '@' ? path : std::string(1, c);
        return result + "\n";
    }

    ScratchDir dir;
    std::string path;
    std::unique_ptr<InputFile> file;
    std::unique_ptr<Archive> archive;
    std::ostringstream log;
    ErrFormat engine;
    StreamFormatOut out{log, engine};
    ErrorCounter errors{out, "tnm"};
};

// `size` bytes 'a', 'b', 'c', ... round the alphabet: offsets mixed up show.
inline Bytes pattern(size_t size) {
    Bytes data(size);
    for (size_t i = 0; i < size; ++i)
        data[i] = uint8_t('a' + i % 26);
    return data;
}

inline Bytes text(std::string_view chars) {
    return ArchiveBuilder::bytes(chars);
}

inline std::string hex(uint32_t value) {
    char digits[16];
    snprintf(digits, sizeof digits, "%x", value);
    return digits;
}
