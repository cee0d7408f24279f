// The first pass over the arguments and the tool's name.
#include "tool/nm_main.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

struct Parsed {
    NmOptions options;
    bool quiet;
};

Parsed parse(std::vector<std::string> args) {
    args.insert(args.begin(), "tnm");
    std::vector<char *> argv;
    for (std::string &arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    Parsed parsed;
    parsed.quiet = readOptions(static_cast<int>(args.size()), argv.data(), parsed.options);
    return parsed;
}

// The options as one text, so that a case states all of them at once.
std::string describe(const Parsed &p) {
    const NmOptions &o = p.options;
    std::string text;
    if (o.appendFileName) text += "A";
    if (o.demangleNames) text += "C";
    if (o.globalsOnly) text += "g";
    if (o.undefinedOnly) text += "u";
    if (o.suppressHeaders) text += "h";
    if (o.sortByName) text += "n";
    if (o.sortByValue) text += "v";
    if (o.parsableOutput) text += "p";
    if (p.quiet) text += "q";
    text += "/";
    text += "odx"[o.valueRadix];
    return text;
}

TEST(Options, FirstPass) {
    // Each letter alone switches on its own option and nothing else; -u also
    // suppresses the headers.
    for (char letter : std::string("ACgunvphq")) {
        std::string expected = letter == 'u' ? "uh/x" : std::string(1, letter) + "/x";
        EXPECT_EQ(describe(parse({std::string("-") + letter})), expected) << letter;
    }
    const std::pair<std::vector<std::string>, const char *> cases[] = {
        {{}, "/x"},
        {{"-d"}, "/d"},
        {{"-o"}, "/o"},
        // Of -d, -o and -x the last letter in argument order wins.
        {{"-o", "-x", "f.o"}, "/x"},
        {{"-x", "-o", "f.o"}, "/o"},
        {{"-ox"}, "/x"},
        {{"-xo"}, "/o"},
        {{"-od", "file", "-v"}, "v/d"},
        {{"-u", "-h"}, "uh/x"},
        {{"file.o", "-n"}, "n/x"},
        {{"-Cpg"}, "Cgp/x"},
        // Unknown letters, "-" and "--" are ignored without a word.
        {{"-Z", "f.o", "-", "--", "-?!"}, "/x"},
        {{"-AZn"}, "An/x"},
        // A letter only counts behind a "-" at the start of the argument.
        {{"n", "a-n", ""}, "/x"},
        {{"-ACguhnvpqd"}, "ACguhnvpq/d"},
    };
    for (const auto &[args, expected] : cases) {
        std::string label;
        for (const std::string &arg : args)
            label += "'" + arg + "' ";
        EXPECT_EQ(describe(parse(args)), expected) << label;
    }
}

TEST(Options, ToolName) {
    const std::pair<const char *, const char *> cases[] = {
        {"tnm", "tnm"},     {"/usr/local/bin/tnm", "tnm"}, {"C:\\tools\\TNM.EXE", "TNM.EXE"},
        {"vol:tnm", "tnm"}, {"a/b\\c:d/nm.x", "nm.x"},     {"dir/", ""},
        {"", ""},
    };
    for (const auto &[argv0, name] : cases) {
        EXPECT_STREQ(toolNameOf(argv0), name) << argv0;
    }
    // In place: the result points into the argument.
    const char *path = "/bin/tnm";
    EXPECT_EQ(toolNameOf(path), path + 5);
}

} // namespace
