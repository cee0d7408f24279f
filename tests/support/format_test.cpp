// The printf engine: directives, flags, widths; and its sinks: a buffer, a
// stdio stream, an output stream (which gathers a text into one write).
#include "support/ErrFormat.h"
#include "support/errors.h"
#include "support/fprintf.h"
#include "support/osprintf.h"
#include "support/pformat.h"
#include "support/printable.h"
#include "support/sprintf.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Named : Printable {
    const char *name;
    explicit Named(const char *name) : name(name) {}
    const char *printableText() const override { return name; }
};

std::string fmt(const char *format, ...) {
    char buffer[512];
    StringFormatOut out(buffer, sizeof buffer);
    va_list args;
    va_start(args, format);
    out.vprint(format, args);
    va_end(args);
    return buffer;
}

TEST(Format, Numbers) {
    struct {
        const char *format;
        uint32_t value;
        const char *expected;
    } cases[] = {
        {"%d", 0, "0"},
        {"%d", 0xFFFFFFF4u, "-12"},
        {"%d", 0x80000000u, "-2147483648"},
        {"%u", 0xFFFFFFFFu, "4294967295"},
        {"%x", 0x12AB, "12ab"},
        {"%X", 0x12AB, "12AB"},
        {"%o", 8, "10"},
        {"%#o", 8, "10"},
        {"%08x", 0x12AB, "000012ab"},
        {"%#x", 0x12AB, "0x12ab"},
        {"%#X", 0x12AB, "0X12AB"},
        {"%#08x", 0x12AB, "0x0012ab"},
        {"%#8x", 0x12AB, "  0x12ab"},
        {"%-5d", 0xFFFFFFF4u, "-12   "},
        {"%5d", 0xFFFFFFF4u, "  -12"},
        {"%05d", 0xFFFFFFF4u, "-0012"},
        {"%+u", 5, "+5"},
        {"% d", 5, " 5"},
        {"%+5d", 5, "   +5"},
        {"%.4d", 7, "0007"},
        {"%6.3x", 0xA, "   00a"},
        {"%-#6x", 0xA, "0xa     "},
        {"%lx", 255, "ff"},
        {"%ld", 0xFFFFFFFFu, "-1"},
        {"%c", 'A', "A"},
        {"%3c", 'A', "  A"},
        {"%-3c|", 'A', "A  |"},
        {"%c", 0x141, "A"},
    };
    for (auto &c : cases)
        EXPECT_EQ(fmt(c.format, c.value), c.expected) << c.format;
    // Zero fill wider than the work area of the digits.
    EXPECT_EQ(fmt("%0130x|%+#0131x", 0xAB, 0xAB),
              std::string(128, '0') + "ab|+0x" + std::string(126, '0') + "ab");
}

TEST(Format, StringsAndObjects) {
    EXPECT_EQ(fmt("%5s|%-5s|%.1s|%.0s|%.9s|%05s", "ab", "ab", "ab", "ab", "ab", "ab"),
              "   ab|ab   |a|ab|ab|   ab");
    EXPECT_EQ(fmt("%s|%10s", nullptr, nullptr), "(null)|(null)");
    EXPECT_EQ(fmt("%*s|%*s|%.*s", 4, "a", -4, "a", 2, "abcd"), "   a|a   |ab");
    // Wider than one run of blanks.
    EXPECT_EQ(fmt("%45s", "x"), std::string(44, ' ') + "x");

    Named name("lib.a(x.o)");
    const Printable *object = &name;
    EXPECT_EQ(fmt("file %O|%-12O|%.5O|%O", object, object, object, nullptr),
              "file lib.a(x.o)|lib.a(x.o)  |lib.a|<NULL>");
    std::ostringstream os;
    name.printOn(os);
    EXPECT_EQ(os.str(), "lib.a(x.o)");
}

TEST(Format, PercentAndUnknownDirectives) {
    EXPECT_EQ(fmt("100%% of %d", 3), "100% of 3");
    // An unknown directive uses up no argument.
    EXPECT_EQ(fmt("%q|%lq|%i %d", 7), "??q??|?lq??|??i?? 7");
    EXPECT_EQ(fmt("%e%f%g%p%n%C%!"), "??e????f????g????p????n????C???\?!?\?");
    // A text ending inside a directive shows what is there.
    EXPECT_EQ(fmt("50%"), "50%");
    EXPECT_EQ(fmt("x%-5"), "x%-5");

    // The tables ignore characters that are no letters.
    PrintfFormat engine;
    engine.setDirective('!', PrintfFormat::formatNumber);
    engine.setModifier('%');
    engine.setModifier('h');
    engine.setDirective('z', PrintfFormat::formatNumber);
    char buffer[64];
    StringFormatOut out(buffer, sizeof buffer, false, engine);
    out.print("%!|%hd|%hz|%z", 3, 4, 5);
    EXPECT_STREQ(buffer, "?\?!?\?|3|4|5");
}

TEST(Format, ErrFormatContinuation) {
    ErrFormat engine;
    char buffer[100];
    StringFormatOut out(buffer, sizeof buffer, false, engine);
    EXPECT_EQ(out.print("a%Cb %d", 5), 7);
    EXPECT_STREQ(buffer, "a\n|\tb 5");
    ErrFormat other(" // ");
    StringFormatOut out2(buffer, sizeof buffer, false, other);
    out2.print("%C%s", "x");
    EXPECT_STREQ(buffer, " // x");
    EXPECT_EQ(engine.asErrFormat(), &engine);
    EXPECT_EQ(defaultPrintfFormat().asErrFormat(), nullptr);
}

TEST(StringSink, CutsCountsAppendsAndResets) {
    char buffer[8];
    memset(buffer, 'Z', sizeof buffer);
    StringFormatOut cut(buffer, 4);
    EXPECT_EQ(cut.print("abcdef"), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(buffer[4], 'Z');
    EXPECT_EQ(cut.print("x"), 0);
    char none[1] = {'Q'};
    EXPECT_EQ(StringFormatOut(none, 0).print("abc"), 0);
    EXPECT_EQ(none[0], 'Q');

    StringFormatOut append(buffer, sizeof buffer);
    append.formatSink().count = INT32_MAX - 1; // a long run: the count wraps
    EXPECT_EQ(append.print("ab"), 2);
    EXPECT_EQ(append.print("%d", 12), 2);
    EXPECT_EQ(append.formatSink().count, INT32_MIN + 2);
    EXPECT_EQ(append.print(nullptr), 0);
    EXPECT_STREQ(buffer, "ab12");
    StringFormatOut reset(buffer, sizeof buffer, true);
    EXPECT_EQ(reset.print("hello"), 5);
    EXPECT_EQ(reset.print("ab"), 2);
    EXPECT_STREQ(buffer, "ab");
}

TEST(FileSink, WritesAndRecordsFailures) {
    FILE *tmp = tmpfile();
    ASSERT_NE(tmp, nullptr);
    FileFormatOut out(tmp, defaultPrintfFormat(), true);
    EXPECT_EQ(out.print("n=%d", 42), 4);
    out.flush();
    rewind(tmp);
    char line[16] = {};
    ASSERT_NE(fgets(line, sizeof line, tmp), nullptr);
    EXPECT_STREQ(line, "n=42");
    EXPECT_EQ(out.error(), 0);

    FileFormatOut bad("/nonexistent-dir/x/y", defaultPrintfFormat());
    EXPECT_NE(bad.error(), 0);
    EXPECT_EQ(bad.print("lost"), 4);
    if (FILE *full = fopen("/dev/full", "w")) {
        setvbuf(full, nullptr, _IONBF, 0);
        FileFormatOut out(full, defaultPrintfFormat(), true);
        EXPECT_EQ(out.print("abc"), 0);
        EXPECT_EQ(out.error(), 28);
    }
}

TEST(StreamSink, WritesAndReportsState) {
    std::ostringstream os;
    StreamFormatOut out(os, defaultPrintfFormat());
    out.print("%s-%x", "a", 0xff);
    EXPECT_EQ(os.str(), "a-ff");
    EXPECT_EQ(out.error(), 0);
    os.setstate(std::ios::badbit);
    out.print("more");
    out.flush();
    EXPECT_EQ(os.str(), "a-ff");
    EXPECT_EQ(out.error(), 5);

    StreamFormatOut bad("/nonexistent-dir/x/y", defaultPrintfFormat());
    EXPECT_NE(bad.error(), 0);
    EXPECT_NE(bad.error(), 5);
    char path[] = "/tmp/tnm-osprintf-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    {
        StreamFormatOut file(path, defaultPrintfFormat());
        file.print("%05u\n", 42);
        EXPECT_EQ(file.error(), 0);
    }
    FILE *in = fopen(path, "r");
    ASSERT_NE(in, nullptr);
    char line[16] = {};
    ASSERT_NE(fgets(line, sizeof line, in), nullptr);
    fclose(in);
    unlink(path);
    EXPECT_STREQ(line, "00042\n");
}

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

TEST(StreamSink, GathersEachTextIntoOneWrite) {
    for (size_t length : {0u, 1023u, 1024u, 1025u, 3000u}) {
        WriteLog log;
        std::ostream stream(&log);
        StreamFormatOut out(stream, defaultPrintfFormat());
        std::string middle(length, 'x');
        out.print("[%s] %s(#%d) has type 0x%x\n", "tnm", middle.c_str(), 8, 0x70000001u);
        EXPECT_EQ(log.all(), "[tnm] " + middle + "(#8) has type 0x70000001\n") << length;
        // One write for a text that fits the buffer; a long one, in parts.
        EXPECT_LE(log.writes.size(), length < 1000 ? 1u : 3u) << length;
    }

    // Whole lines: a diagnostic of several texts is one write.
    WriteLog log;
    std::ostream stream(&log);
    ErrFormat engine("\n|\t");
    StreamFormatOut out(stream, engine);
    out.gatherWholeLines(true);
    ErrorCounter errors(out, "tnm");
    errors.warning("In file %s:%Csection \"%s\"(#%d)", "lib.a(m.o)", ".x", 8);
    errors.error("bad %s", "y");
    // A partial line waits for its end, or for an explicit flush.
    out.print("partial %d", 1);
    EXPECT_EQ(log.writes.size(), 2u);
    out.print(" more\n");
    out.print("tail");
    out.flush();
    EXPECT_EQ(log.writes, (std::vector<std::string>{
                              "[tnm] (Warning) In file lib.a(m.o):\n|\tsection \".x\"(#8)\n",
                              "[tnm] bad y\n", "partial 1 more\n", "tail"}));
    // A line longer than the buffer still arrives whole.
    std::string longText(2500, 'q');
    out.print("[x] ");
    out.print("%s", longText.c_str());
    out.print("\n");
    EXPECT_EQ(log.all().substr(log.all().size() - 2505), "[x] " + longText + "\n");
}

} // namespace
