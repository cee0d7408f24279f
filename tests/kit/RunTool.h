// Runs a built program (normally tnm) as a child process for whole-program
// tests, and gives back everything it said: standard output, standard error
// and the exit status, each whole, so a test can compare them with the text
// it expects.
//
// Also a scratch directory that tests fill with input files and that is
// removed with everything in it when the test ends.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct ToolResult {
    std::string out; // everything written to standard output
    std::string err; // everything written to standard error
    int status = -1; // exit status; 128 + signal number if a signal ended it
};

// Runs `program` with `args` (not counting the program name, which is
// `program` itself as argv[0]) in the working directory `dir` (the caller's
// own when empty).  Standard input is /dev/null.  `environment` holds
// "NAME=value" settings added to (or replacing) the caller's environment.
ToolResult runProgram(const std::string &program, const std::vector<std::string> &args,
                      const std::string &dir = "",
                      const std::vector<std::string> &environment = {});

#ifdef TNM_PATH
// The built tnm.  Its path ends in "/tnm", so diagnostics carry "[tnm] ".
inline ToolResult runTool(const std::vector<std::string> &args, const std::string &dir = "",
                          const std::vector<std::string> &environment = {}) {
    return runProgram(TNM_PATH, args, dir, environment);
}
#endif

// A fresh directory under $TMPDIR (or /tmp), removed with its contents by the
// destructor.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir &) = delete;
    ScratchDir &operator=(const ScratchDir &) = delete;

    const std::string &path() const { return dir; }
    // Writes `bytes` to the file `name` inside the directory and returns its
    // full path.
    std::string write(const std::string &name, std::string_view bytes) const;
    std::string write(const std::string &name, const std::vector<uint8_t> &bytes) const;

private:
    std::string dir;
};
