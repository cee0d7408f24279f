#include "AofTestSupport.h"

#include "input/FileName.h"

#include <cstdlib>
#include <unistd.h>

namespace {

void throwAtFatal(int) {
    throw FatalReport{};
}

} // namespace

std::unique_ptr<InputFile> aofInput(const std::vector<uint8_t> &image, const char *shownAs) {
    char path[] = "/tmp/tnm-aof-test-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) abort();
    if (!image.empty() && write(fd, image.data(), image.size()) != ssize_t(image.size())) abort();
    close(fd);
    FileName &name = FileName::keep(std::make_unique<DisplayFileName>(path, shownAs));
    RecordingErrors openErrors;
    auto file = std::make_unique<InputFile>(name, openErrors);
    unlink(path);
    return file;
}

void AofTest::SetUp() {
    ListingTest::SetUp();
    previousHook = setFatalExitHook(throwAtFatal);
}

void AofTest::TearDown() {
    setFatalExitHook(previousHook);
    ListingTest::TearDown();
}

LoadedAof AofTest::load(const std::vector<uint8_t> &image, const char *shownAs) {
    LoadedAof loaded;
    loaded.file = aofInput(image, shownAs);
    try {
        loaded.object = readArmFile(*loaded.file, errors);
    } catch (const FatalReport &) {
        loaded.object = nullptr;
    }
    return loaded;
}

std::string AofTest::reportsOf(const std::vector<uint8_t> &image) {
    errors.lines.clear();
    load(image);
    return errors.lines;
}
