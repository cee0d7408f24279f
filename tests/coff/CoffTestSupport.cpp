#include "CoffTestSupport.h"

#include "input/FileName.h"
#include "support/ErrFormat.h"
#include "support/sprintf.h"

#include <cstdlib>
#include <unistd.h>

namespace {

ErrFormat &engine() {
    static ErrFormat reportsEngine("\n|\t");
    return reportsEngine;
}

std::string render(const char *format, va_list args) {
    char buffer[1024];
    StringFormatOut out(buffer, sizeof buffer, false, engine());
    out.vprint(format, args);
    return std::string(buffer);
}

} // namespace

PrintfFormat &Reports::formatter() {
    return engine();
}

void Reports::vfatal(const char *format, va_list args) {
    std::string text = render(format, args);
    lines.push_back("F: " + text);
    throw FatalStop{text};
}

void Reports::verror(const char *format, va_list args) {
    ++errorCount;
    lines.push_back("E: " + render(format, args));
}

void Reports::vwarning(const char *format, va_list args) {
    ++warningCount;
    lines.push_back("W: " + render(format, args));
}

std::unique_ptr<InputFile> inputOf(const std::vector<uint8_t> &image) {
    char path[] = "/tmp/tnm-coff-test-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) abort();
    if (!image.empty() && write(fd, image.data(), image.size()) != ssize_t(image.size())) abort();
    close(fd);
    FileName &name = FileName::keep(std::make_unique<DisplayFileName>(path, "test.o"));
    Reports opening;
    auto file = std::make_unique<InputFile>(name, opening);
    unlink(path);
    return file;
}

LoadedCoff loadCoff(const std::vector<uint8_t> &image, Reports &reports) {
    LoadedCoff loaded;
    loaded.file = inputOf(image);
    loaded.object = readCoffFile(*loaded.file, reports, false);
    return loaded;
}

std::string fatalOf(const std::vector<uint8_t> &image) {
    Reports reports;
    try {
        loadCoff(image, reports);
    } catch (const FatalStop &stop) {
        return stop.message;
    }
    return "";
}
