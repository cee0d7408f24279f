// The printf engine: directives, flags, widths, sinks.
#include "support/ErrFormat.h"
#include "support/fprintf.h"
#include "support/osprintf.h"
#include "support/pformat.h"
#include "support/printable.h"
#include "support/sprintf.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>

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
        {"%+d", 5, "+5"},
        {"% d", 5, " 5"},
        {"%+5d", 5, "   +5"},
        {"%.4d", 7, "0007"},
        {"%6.3x", 0xA, "   00a"},
        {"%-#6x", 0xA, "0xa     "},
        {"%lu", 42, "42"},
        {"%lx", 255, "ff"},
        {"%ld", 0xFFFFFFFFu, "-1"},
        {"%c", 'A', "A"},
        {"%3c", 'A', "  A"},
        {"%-3c|", 'A', "A  |"},
        {"%c", 0x141, "A"},
    };
    for (auto &c : cases)
        EXPECT_EQ(fmt(c.format, c.value), c.expected) << c.format;
}

TEST(Format, Strings) {
    EXPECT_EQ(fmt("%5s", "ab"), "   ab");
    EXPECT_EQ(fmt("%-5s|", "ab"), "ab   |");
    EXPECT_EQ(fmt("%.1s", "ab"), "a");
    EXPECT_EQ(fmt("%.0s", "ab"), "ab");
    EXPECT_EQ(fmt("%.9s", "ab"), "ab");
    EXPECT_EQ(fmt("%05s", "ab"), "   ab");
    EXPECT_EQ(fmt("%s", static_cast<const char *>(nullptr)), "(null)");
    EXPECT_EQ(fmt("%10s", static_cast<const char *>(nullptr)), "(null)");
    EXPECT_EQ(fmt("%*s|", 4, "a"), "   a|");
    EXPECT_EQ(fmt("%*s|", -4, "a"), "a   |");
    EXPECT_EQ(fmt("%.*s", 2, "abcd"), "ab");
    // Wider than one run of blanks.
    EXPECT_EQ(fmt("%45s", "x"), std::string(44, ' ') + "x");
}

TEST(Format, PercentAndUnknownDirectives) {
    EXPECT_EQ(fmt("100%% of %d", 3), "100% of 3");
    EXPECT_EQ(fmt("%q"), "??q??");
    EXPECT_EQ(fmt("%lq"), "?lq??");
    // An unknown directive uses up no argument.
    EXPECT_EQ(fmt("%i %d", 7), "??i?? 7");
    EXPECT_EQ(fmt("%e%f%g%p%n"), "??e????f????g????p????n??");
    EXPECT_EQ(fmt("%C"), "??C??");
    EXPECT_EQ(fmt("%!"), "?\?!?\?");
    // A text ending inside a directive shows what is there.
    EXPECT_EQ(fmt("50%"), "50%");
    EXPECT_EQ(fmt("x%-5"), "x%-5");
}

TEST(Format, Objects) {
    Named name("lib.a(x.o)");
    EXPECT_EQ(fmt("file %O", static_cast<const Printable *>(&name)), "file lib.a(x.o)");
    EXPECT_EQ(fmt("%O", static_cast<const Printable *>(nullptr)), "<NULL>");
    EXPECT_EQ(fmt("%-12O|", static_cast<const Printable *>(&name)), "lib.a(x.o)  |");
    EXPECT_EQ(fmt("%.5O", static_cast<const Printable *>(&name)), "lib.a");
    std::ostringstream os;
    name.printOn(os);
    EXPECT_EQ(os.str(), "lib.a(x.o)");
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

TEST(Format, TablesIgnoreNonLetters) {
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

TEST(StringSink, CutsAtCapacityAndCounts) {
    char buffer[8];
    memset(buffer, 'Z', sizeof buffer);
    StringFormatOut out(buffer, 4);
    EXPECT_EQ(out.print("abcdef"), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(buffer[4], 'Z');
    EXPECT_EQ(out.print("x"), 0);
    char none[1] = {'Q'};
    StringFormatOut empty(none, 0);
    EXPECT_EQ(empty.print("abc"), 0);
    EXPECT_EQ(none[0], 'Q');
}

TEST(StringSink, CountWrapsInLongRunsAndNullTextWritesNothing) {
    char buffer[8];
    StringFormatOut out(buffer, sizeof buffer);
    out.formatSink().count = INT32_MAX - 1;
    EXPECT_EQ(out.print("abc"), 3);
    EXPECT_EQ(out.formatSink().count, INT32_MIN + 1);
    EXPECT_EQ(out.print(nullptr), 0);
    EXPECT_STREQ(buffer, "abc");
}

TEST(StringSink, AppendsOrResets) {
    char buffer[32];
    StringFormatOut append(buffer, sizeof buffer);
    append.print("ab");
    append.print("%d", 12);
    EXPECT_STREQ(buffer, "ab12");
    StringFormatOut reset(buffer, sizeof buffer, true);
    EXPECT_EQ(reset.print("hello"), 5);
    EXPECT_EQ(reset.print("ab"), 2);
    EXPECT_STREQ(buffer, "ab");
}

TEST(FileSink, WritesAndRecordsOpenFailure) {
    FILE *tmp = tmpfile();
    ASSERT_NE(tmp, nullptr);
    {
        FileFormatOut out(tmp, defaultPrintfFormat(), true);
        EXPECT_EQ(out.print("n=%d", 42), 4);
        out.flush();
        rewind(tmp);
        char line[16] = {};
        ASSERT_NE(fgets(line, sizeof line, tmp), nullptr);
        EXPECT_STREQ(line, "n=42");
        EXPECT_EQ(out.error(), 0);
    }
    FileFormatOut bad("/nonexistent-dir/x/y", defaultPrintfFormat());
    EXPECT_NE(bad.error(), 0);
    EXPECT_EQ(bad.print("lost"), 4);
    FILE *full = fopen("/dev/full", "w");
    if (full) {
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

} // namespace
