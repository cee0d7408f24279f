#include "ElfTestSupport.h"

#include "input/FileName.h"
#include "support/ErrFormat.h"
#include "support/sprintf.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

std::string CapturingErrors::render(const char *format, va_list args) {
    static ErrFormat engine("\n|\t");
    char buffer[1024];
    StringFormatOut out(buffer, sizeof buffer, false, engine);
    out.vprint(format, args);
    return std::string(buffer);
}

void CapturingErrors::vfatal(const char *format, va_list args) {
    std::string text = render(format, args);
    reports.push_back("F: " + text);
    throw FatalStop{text};
}

void CapturingErrors::verror(const char *format, va_list args) {
    ++errorCount;
    reports.push_back("E: " + render(format, args));
}

void CapturingErrors::vwarning(const char *format, va_list args) {
    ++warningCount;
    reports.push_back("W: " + render(format, args));
}

std::unique_ptr<InputFile> inputOf(const std::vector<uint8_t> &image, const char *shownAs) {
    char path[] = "/tmp/tnm-elf-test-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) abort();
    if (!image.empty() && write(fd, image.data(), image.size()) != ssize_t(image.size())) abort();
    close(fd);
    FileName &name = FileName::keep(std::make_unique<DisplayFileName>(path, shownAs));
    CapturingErrors errors;
    auto file = std::make_unique<InputFile>(name, errors);
    unlink(path);
    return file;
}

std::unique_ptr<ElfObjectFileFromInput> loadElf(const std::vector<uint8_t> &image,
                                                CapturingErrors &errors) {
    auto file = inputOf(image);
    auto object = std::make_unique<ElfObjectFileFromInput>(*file, errors);
    if (!object->isUsable()) return nullptr;
    return object;
}

std::string fatalOf(const std::vector<uint8_t> &image) {
    CapturingErrors errors;
    try {
        loadElf(image, errors);
    } catch (const FatalStop &stop) {
        return stop.message;
    }
    return "";
}
