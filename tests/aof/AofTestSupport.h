// Helpers of the AOF tests: reading a kit-made image through a real
// InputFile, shown in messages as "test.o", with a context that records each
// report as a line and turns a fatal report into an exception, so a test sees
// the message and the process goes on.
#pragma once

#include "aof/ArmObjectFileInput.h"
#include "input/InputFile.h"
#include "kit/AofBuilder.h"
#include "tool/ListingSupport.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

// Both byte orders, for tests that run once for each.
inline const AofBuilder::Order bothOrders[] = {AofBuilder::littleEndian, AofBuilder::bigEndian};

// A file and what was read from it; the file stays open as long as the object.
struct LoadedAof {
    std::unique_ptr<InputFile> file;
    std::unique_ptr<ArmObjectFileInput> object;
};

// An InputFile on a temporary copy of `image`, shown as `shownAs`.
std::unique_ptr<InputFile> aofInput(const std::vector<uint8_t> &image,
                                    const char *shownAs = "test.o");

// Stops reading at a fatal report; the report itself is in the context.
struct FatalReport {};

class AofTest : public ListingTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // Reads `image` as the loader would; the object is null after a fatal
    // report, whose text is then the last line of `errors.lines`.
    LoadedAof load(const std::vector<uint8_t> &image, const char *shownAs = "test.o");
    // The reports that reading `image` gives, each on a line.
    std::string reportsOf(const std::vector<uint8_t> &image);

    RecordingErrors errors;

private:
    FatalExitHook previousHook = nullptr;
};
