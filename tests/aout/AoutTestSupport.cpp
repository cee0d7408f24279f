#include "AoutTestSupport.h"

#include "input/FileName.h"
#include "kit/RunTool.h"
#include "support/ErrFormat.h"
#include "support/sprintf.h"

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
    // The open file outlives its directory: the descriptor keeps the bytes.
    ScratchDir dir;
    std::string path = dir.write("test.o", image);
    FileName &name = FileName::keep(std::make_unique<DisplayFileName>(path.c_str(), "test.o"));
    AoutReports reports;
    return std::make_unique<InputFile>(name, reports);
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
