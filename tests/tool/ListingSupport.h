// Helpers of the listing tests: run a piece of code with standard output
// going to a temporary file and get back what it printed, and an error
// context that keeps each report as a line of text.
#pragma once

#include "support/ErrFormat.h"
#include "support/error.h"
#include "support/sprintf.h"
#include "tool/nm_main.h"

#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

// Everything `body` writes to standard output, through stdio or the
// descriptor; the real standard output is restored afterwards.
inline std::string captureStdout(const std::function<void()> &body) {
    fflush(stdout);
    FILE *sink = tmpfile();
    if (!sink) return "<no temporary file>";
    int saved = dup(1);
    dup2(fileno(sink), 1);
    body();
    fflush(stdout);
    dup2(saved, 1);
    close(saved);
    std::string text;
    rewind(sink);
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, sink)) > 0)
        text.append(chunk, n);
    fclose(sink);
    return text;
}

// Keeps every report as "warning: ...", "error: ..." or "fatal: ...".
class RecordingErrors : public ErrorContext {
public:
    std::string lines;
    ErrFormat engine;

    void vfatal(const char *format, va_list args) override { record("fatal", format, args); }
    void verror(const char *format, va_list args) override {
        ++errorCount;
        record("error", format, args);
    }
    void vwarning(const char *format, va_list args) override {
        ++warningCount;
        record("warning", format, args);
    }

private:
    void record(const char *severity, const char *format, va_list args) {
        // The program's own engine, so that "%O" and "%C" read as they do
        // on standard error.
        char text[1024];
        StringFormatOut out(text, sizeof text, true, engine);
        out.vprint(format, args);
        lines += std::string(severity) + ": " + out.text() + "\n";
    }
};

// The options that the first pass makes of one argument of option letters,
// such as "-pA"; "-" gives those of a run without any letter.
inline NmOptions optionsOf(const char *letters) {
    std::string argument = letters;
    char program[] = "tnm";
    char *argv[] = {program, argument.data(), nullptr};
    NmOptions options;
    readOptions(2, argv, options);
    return options;
}

// Every test starts from the options of a run without any option letter.
class ListingTest : public ::testing::Test {
protected:
    void SetUp() override { nmOptions = NmOptions(); }
    void TearDown() override { nmOptions = NmOptions(); }
};
