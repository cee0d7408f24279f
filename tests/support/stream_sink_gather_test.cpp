// The stream sink hands each format text to its stream in one write, however
// many pieces the engine makes of it, and loses nothing of long texts.
#include "support/ErrFormat.h"
#include "support/errors.h"
#include "support/osprintf.h"
#include "support/pformat.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

// A stream buffer that keeps every write it is given apart, unbuffered like
// std::cerr's.
class WriteLog : public std::streambuf {
public:
    std::vector<std::string> writes;
    std::string all() const {
        std::string text;
        for (const std::string &w : writes)
            text += w;
        return text;
    }

protected:
    std::streamsize xsputn(const char *text, std::streamsize count) override {
        writes.emplace_back(text, size_t(count));
        return count;
    }
    int_type overflow(int_type c) override {
        if (c != traits_type::eof()) writes.emplace_back(1, char(c));
        return c;
    }
};

TEST(StreamSinkGathering, OneWritePerFormatText) {
    struct Case {
        std::function<void(FormatOut &)> print;
        const char *expected;
    };
    const Case cases[] = {
        {[](FormatOut &out) { out.print("plain"); }, "plain"},
        {[](FormatOut &out) { out.print("%s-%x-%d", "a", 0xff, -3); }, "a-ff--3"},
        {[](FormatOut &out) {
             out.print("[%s] %s(#%d) has type 0x%x\n", "tnm", ".sec", 8, 0x70000001u);
         },
         "[tnm] .sec(#8) has type 0x70000001\n"},
    };
    for (const Case &c : cases) {
        WriteLog log;
        std::ostream stream(&log);
        StreamFormatOut out(stream, defaultPrintfFormat());
        c.print(out);
        ASSERT_EQ(log.writes.size(), 1u) << c.expected;
        EXPECT_EQ(log.writes[0], c.expected);
    }
}

TEST(StreamSinkGathering, LongTextsArriveWholeAndInOrder) {
    for (size_t length : {1023u, 1024u, 1025u, 3000u}) {
        WriteLog log;
        std::ostream stream(&log);
        StreamFormatOut out(stream, defaultPrintfFormat());
        std::string middle(length, 'x');
        middle[0] = 'A';
        middle[length - 1] = 'Z';
        out.print("<%s>%d\n", middle.c_str(), 7);
        EXPECT_EQ(log.all(), "<" + middle + ">7\n") << length;
        EXPECT_LE(log.writes.size(), 3u) << length;
    }
}

TEST(StreamSinkGathering, DiagnosticsKeepTheirTextAndFewWrites) {
    WriteLog log;
    std::ostream stream(&log);
    ErrFormat engine("\n|\t");
    StreamFormatOut out(stream, engine);
    ErrorCounter errors(out, "tnm");
    errors.warning("In file %s:%Csection \"%s\"(#%d) has an unrecognized type: 0x%x", "lib.a(m.o)",
                   ".ARM.exidx", 8, 0x70000001u);
    EXPECT_EQ(log.all(),
              "[tnm] (Warning) In file lib.a(m.o):\n|\tsection \".ARM.exidx\"(#8) has an "
              "unrecognized type: 0x70000001\n");
    // Prefix, severity, message and new line: one write each at most.
    EXPECT_LE(log.writes.size(), 4u);
}

TEST(StreamSinkGathering, NothingAfterTheStreamFails) {
    WriteLog log;
    std::ostream stream(&log);
    StreamFormatOut out(stream, defaultPrintfFormat());
    out.print("kept %d", 1);
    stream.setstate(std::ios::badbit);
    out.print("dropped %d", 2);
    out.flush();
    EXPECT_EQ(log.all(), "kept 1");
    EXPECT_EQ(out.error(), 5);
}

} // namespace

namespace {

TEST(StreamSinkGathering, WholeLinesMakeOneWritePerDiagnostic) {
    WriteLog log;
    std::ostream stream(&log);
    ErrFormat engine("\n|\t");
    StreamFormatOut out(stream, engine);
    out.gatherWholeLines(true);
    ErrorCounter errors(out, "tnm");
    errors.warning("In file %s:%Csection \"%s\"(#%d)", "lib.a(m.o)", ".x", 8);
    errors.error("bad %s", "y");
    ASSERT_EQ(log.writes.size(), 2u);
    EXPECT_EQ(log.writes[0], "[tnm] (Warning) In file lib.a(m.o):\n|\tsection \".x\"(#8)\n");
    EXPECT_EQ(log.writes[1], "[tnm] bad y\n");

    // A partial line waits for its end, or for an explicit flush.
    out.print("partial %d", 1);
    EXPECT_EQ(log.writes.size(), 2u);
    out.print(" more\n");
    ASSERT_EQ(log.writes.size(), 3u);
    EXPECT_EQ(log.writes[2], "partial 1 more\n");
    out.print("tail");
    out.flush();
    ASSERT_EQ(log.writes.size(), 4u);
    EXPECT_EQ(log.writes[3], "tail");
}

TEST(StreamSinkGathering, WholeLinesLongerThanTheBufferStillArrive) {
    WriteLog log;
    std::ostream stream(&log);
    StreamFormatOut out(stream, defaultPrintfFormat());
    out.gatherWholeLines(true);
    std::string longText(2500, 'q');
    out.print("[x] ");
    out.print("%s", longText.c_str());
    out.print("\n");
    EXPECT_EQ(log.all(), "[x] " + longText + "\n");
}

} // namespace
