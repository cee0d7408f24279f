#include "kit/RunTool.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string tempRoot() {
    const char *tmp = getenv("TMPDIR");
    return tmp && *tmp ? tmp : "/tmp";
}

// An unnamed temporary file: created, unlinked at once, read back by
// descriptor.  Nothing is left behind even if the test dies.
int anonymousFile() {
    std::string pattern = tempRoot() + "/tnm-run-XXXXXX";
    int fd = mkstemp(pattern.data());
    if (fd >= 0) unlink(pattern.c_str());
    return fd;
}

std::string drain(int fd) {
    std::string text;
    if (fd < 0) return text;
    lseek(fd, 0, SEEK_SET);
    char chunk[4096];
    for (;;) {
        ssize_t n = read(fd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        text.append(chunk, static_cast<size_t>(n));
    }
    close(fd);
    return text;
}

} // namespace

ToolResult runProgram(const std::string &program, const std::vector<std::string> &args,
                      const std::string &dir, const std::vector<std::string> &environment) {
    ToolResult result;
    int outFd = anonymousFile();
    int errFd = anonymousFile();
    if (outFd < 0 || errFd < 0) {
        result.err = "runProgram: cannot make a temporary file";
        if (outFd >= 0) close(outFd);
        if (errFd >= 0) close(errFd);
        return result;
    }

    std::vector<char *> argv;
    argv.push_back(const_cast<char *>(program.c_str()));
    for (const std::string &arg : args)
        argv.push_back(const_cast<char *>(arg.c_str()));
    argv.push_back(nullptr);

    fflush(stdout);
    fflush(stderr);
    pid_t pid = fork();
    if (pid == 0) {
        int nullFd = open("/dev/null", O_RDONLY);
        if (nullFd >= 0) dup2(nullFd, 0);
        dup2(outFd, 1);
        dup2(errFd, 2);
        if (!dir.empty() && chdir(dir.c_str()) != 0) _exit(126);
        for (const std::string &setting : environment) {
            size_t equals = setting.find('=');
            if (equals == std::string::npos) continue;
            setenv(setting.substr(0, equals).c_str(), setting.c_str() + equals + 1, 1);
        }
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    if (pid < 0) {
        result.err = "runProgram: fork failed";
        close(outFd);
        close(errFd);
        return result;
    }
    int wstatus = 0;
    while (waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(wstatus))
        result.status = WEXITSTATUS(wstatus);
    else if (WIFSIGNALED(wstatus))
        result.status = 128 + WTERMSIG(wstatus);
    result.out = drain(outFd);
    result.err = drain(errFd);
    return result;
}

ScratchDir::ScratchDir() {
    std::string pattern = tempRoot() + "/tnm-test-XXXXXX";
    if (mkdtemp(pattern.data())) dir = pattern;
}

ScratchDir::~ScratchDir() {
    if (dir.empty()) return;
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
}

std::string ScratchDir::write(const std::string &name, std::string_view bytes) const {
    std::string full = dir + "/" + name;
    std::ofstream file(full, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return full;
}

std::string ScratchDir::write(const std::string &name, const std::vector<uint8_t> &bytes) const {
    return write(name,
                 std::string_view(reinterpret_cast<const char *>(bytes.data()), bytes.size()));
}
