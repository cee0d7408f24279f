#include "AoutTestSupport.h"

#include "input/FileName.h"
#include "support/ErrFormat.h"
#include "support/sprintf.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

std::string AoutReports::keep(const char *severity, const char *format, va_list args) {
    static ErrFormat engine("\n|\t");
    char text[1024];
    StringFormatOut out(text, sizeof text, false, engine);
    out.vprint(format, args);
    lines.push_back(std::string(severity) + ": " + text);
    return text;
}

void AoutReports::vfatal(const char *format, va_list args) {
    throw AoutFatal{keep("fatal", format, args)};
}
void AoutReports::verror(const char *format, va_list args) {
    ++errorCount;
    keep("error", format, args);
}
void AoutReports::vwarning(const char *format, va_list args) {
    ++warningCount;
    keep("warning", format, args);
}

std::unique_ptr<InputFile> aoutInput(const std::vector<uint8_t> &image) {
    char path[] = "/tmp/tnm-aout-test-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) abort();
    if (!image.empty() && write(fd, image.data(), image.size()) != ssize_t(image.size())) abort();
    close(fd);
    FileName &name = FileName::keep(std::make_unique<DisplayFileName>(path, "test.o"));
    AoutReports reports;
    auto file = std::make_unique<InputFile>(name, reports);
    unlink(path);
    return file;
}

std::unique_ptr<BsdObjectFileInput> readAout(const std::vector<uint8_t> &image,
                                             AoutReports &reports) {
    std::unique_ptr<InputFile> file = aoutInput(image);
    return readBsdFile(*file, reports);
}

std::string aoutFatal(const std::vector<uint8_t> &image) {
    AoutReports reports;
    try {
        readAout(image, reports);
    } catch (const AoutFatal &stop) {
        return stop.message;
    }
    return "";
}

std::string standardOutputOf(const std::function<void()> &body) {
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
    for (size_t n; (n = fread(chunk, 1, sizeof chunk, sink)) > 0;)
        text.append(chunk, n);
    fclose(sink);
    return text;
}
