#include "input/InputFile.h"

#include "InputTestFiles.h"

#include <gtest/gtest.h>

namespace {

// A file whose byte at offset i is i mod 251, so any misplaced read shows.
Bytes pattern(uint32_t size) {
    Bytes b(size);
    for (uint32_t i = 0; i < size; ++i)
        b[i] = uint8_t(i % 251);
    return b;
}

constexpr uint32_t statusBits = InputFile::eofBit | InputFile::failBit | InputFile::badBit;
constexpr uint32_t failed = InputFile::failBit | InputFile::badBit;

TEST(InputFile, PlainFileAndMissingFile) {
    Captured captured;
    std::string path = captured.write(pattern(100));
    InputFile in(path.c_str(), &captured.errors);
    EXPECT_EQ(in.status, 0u);
    EXPECT_EQ(in.length, 100u); // the file's size, not the name's 0x7FFFFFFF
    EXPECT_EQ(in.baseOffset, 0);
    EXPECT_TRUE(in.ownsDescriptor);
    EXPECT_STREQ(in.fileName.path(), path.c_str());

    InputFile missing("/nonexistent/missing.o", &captured.errors);
    EXPECT_TRUE(missing.status & InputFile::failBit);
    EXPECT_NE(missing.lastError, 0);
    EXPECT_EQ(missing.descriptor, -1);
    EXPECT_EQ(captured.text(), "[tnm] Can't open file /nonexistent/missing.o\n");
    EXPECT_EQ(captured.errors.errorCount, 1);
    uint8_t b[8];
    EXPECT_EQ(missing.readCount(b, sizeof b), 0u);
}

// One step on a file: a seek to `to` (none if -1) that should answer
// `seekResult`, then a read of `count` bytes of which `got` should come, equal
// to the file's bytes at `base` plus the position; then the status bits and
// the position the step should leave.
struct Step {
    int32_t to, seekResult;
    uint32_t count, got, bits, position;
};

void run(InputFile &in, const Bytes &data, uint32_t base, std::initializer_list<Step> steps) {
    int n = 0;
    for (const Step &s : steps) {
        SCOPED_TRACE(testing::Message() << "step " << n++ << " at " << s.to);
        if (s.to >= 0) {
            EXPECT_EQ(in.seek(uint32_t(s.to)), s.seekResult);
        }
        uint32_t at = in.position;
        Bytes got(s.count);
        ASSERT_EQ(in.readCount(got.data(), s.count), s.got);
        EXPECT_TRUE(std::equal(got.begin(), got.begin() + s.got, data.begin() + base + at));
        EXPECT_EQ(in.status & statusBits, s.bits);
        EXPECT_EQ(in.position, s.position);
    }
}

TEST(InputFile, SeekAndReadAtTheEndOfTheWindow) {
    Captured captured;
    Bytes data = pattern(64);
    InputFile in(captured.write(data).c_str(), nullptr);
    const uint32_t eof = InputFile::eofBit;
    run(in, data, 0,
        {{-1, 0, 64, 64, 0, 64},     // exactly the window: no eofBit
         {-1, 0, 1, 0, eof, 64},     // one byte more: eofBit only
         {64, 64, 0, 0, 0, 64},      // a seek to the very end succeeds, clears eofBit
         {-1, 0, 1, 0, eof, 64},     // and a read of 1 there sets it
         {60, 60, 8, 4, eof, 64},    // a short read delivers what is there
         {10, 10, 0, 0, 0, 10},      // a good seek clears eofBit
         {65, -1, 0, 0, failed, 10}, // one past the end fails, leaves the position
         {0, 0, 0, 0, failed, 0}});  // failBit and badBit stay, eofBit does not
}

TEST(InputFile, ReadsAcrossTheBufferBoundary) {
    const int32_t size = 3 * InputFile::bufferSize + 17;
    Bytes data = pattern(size);
    Captured captured;
    InputFile in(captured.write(data).c_str(), nullptr);
    // Reads of awkward sizes that straddle every buffer boundary, long reads
    // that need no buffer at all, a read past the end, a seek far outside the
    // buffered bytes, then byte by byte through a boundary.
    run(in, data, 0,
        {{4090, 4090, 12, 12, 0, 4102},
         {4095, 4095, 1, 1, 0, 4096},
         {4096, 4096, 1, 1, 0, 4097},
         {8191, 8191, 2, 2, 0, 8193},
         {0, 0, 4097, 4097, 0, 4097},
         {5, 5, 3 * 4096 + 12, 3 * 4096 + 12, 0, 3 * 4096 + 17},
         {12000, 12000, 300, 300, 0, 12300},
         {size - 3, size - 3, 3, 3, 0, size},
         {size - 1, size - 1, 2, 1, InputFile::eofBit, size},
         {0, 0, 0, 0, 0, 0},
         {4094, 4094, 1, 1, 0, 4095},
         {-1, 0, 1, 1, 0, 4096},
         {-1, 0, 1, 1, 0, 4097},
         {-1, 0, 1, 1, 0, 4098},
         {8190, 8190, 1, 1, 0, 8191}});
    // A seek inside the buffered bytes, their end included, needs no
    // descriptor.
    int saved = in.descriptor;
    in.descriptor = -1;
    run(in, data, 0,
        {{8192, 8192, 2, 2, 0, 8194},
         {int32_t(8190 + in.filled), int32_t(8190 + in.filled), 0, 0, 0, 8190 + in.filled}});
    in.descriptor = saved;
}

TEST(InputFile, MemberWindowsInsideTheParent) {
    Bytes data = pattern(20000);
    Captured captured;
    InputFile lib(captured.write(data).c_str(), nullptr);
    ArchiveMemberName small(&lib.fileName, "a.o", 100, 50);
    InputFile member(small, captured.errors, lib);
    EXPECT_EQ(member.baseOffset, 100);
    EXPECT_EQ(member.length, 50u);
    EXPECT_EQ(member.descriptor, lib.descriptor);
    EXPECT_FALSE(member.ownsDescriptor);
    run(member, data, 100,
        {{-1, 0, 50, 50, 0, 50},                           // the whole window
         {-1, 0, 1, 0, InputFile::eofBit, 50},             // nothing of the parent behind it
         {51, -1, 0, 0, failed | InputFile::eofBit, 50}}); // no seek beyond it
    EXPECT_EQ(member.filled, 50u);                         // the fill stopped at the window's end
    uint8_t b[100];

    // Two members on one descriptor, read in turn, each past its buffer.
    ArchiveMemberName first(&lib.fileName, "a.o", 0, 10000),
        second(&lib.fileName, "b.o", 10000, 10000);
    InputFile a(first, captured.errors, lib), c(second, captured.errors, lib);
    for (uint32_t at = 0; at < 10000; at += 1500) {
        uint8_t x[700], y[700];
        a.seek(at), c.seek(at);
        uint32_t na = a.readCount(x, 700), nc = c.readCount(y, 700);
        ASSERT_EQ(na, nc);
        for (uint32_t i = 0; i < na; ++i) {
            ASSERT_EQ(x[i], data[at + i]);
            ASSERT_EQ(y[i], data[10000 + at + i]);
        }
    }
    // Closing a member leaves the parent's descriptor open.
    { InputFile closed(first, captured.errors, lib); }
    lib.seek(5);
    EXPECT_EQ(lib.readCount(b, 1), 1u);
    EXPECT_EQ(b[0], data[5]);

    // A member that claims more than the file holds keeps its length, and
    // meets eofBit at the end of the file.
    ArchiveMemberName big(&lib.fileName, "big.o", 19950, 1000);
    InputFile bigFile(big, captured.errors, lib);
    EXPECT_EQ(bigFile.length, 1000u);
    EXPECT_EQ(bigFile.bytesInFile(), 50u);
    EXPECT_EQ(member.bytesInFile(), 50u);
    run(bigFile, data, 19950, {{900, 900, 0, 0, 0, 900}, {0, 0, 100, 50, InputFile::eofBit, 50}});

    // A member of a member: both offsets count.
    ArchiveMemberName inner(&lib.fileName, "inner.a", 100, 300), x(&inner, "x.o", 40, 20);
    InputFile innerFile(inner, captured.errors, lib);
    InputFile xFile(x, captured.errors, innerFile);
    EXPECT_EQ(xFile.baseOffset, 140);
    xFile.read(b, 1);
    EXPECT_EQ(b[0], data[140]);
    EXPECT_EQ(captured.text(), "");
}

TEST(InputFile, OpeningAMemberNameByPath) {
    Captured captured;
    FileName libName(captured.write(pattern(500)).c_str());
    ArchiveMemberName name(&libName, "m.o", 450, 100);
    InputFile member(name, captured.errors);
    EXPECT_TRUE(member.ownsDescriptor);
    EXPECT_EQ(member.baseOffset, 450);
    EXPECT_EQ(member.length, 50u); // cut at the end of the file
    EXPECT_EQ(captured.text(), "");
    // A failed open names the path of the library, not the member.
    FileName gone("/nonexistent/lib.a");
    ArchiveMemberName lost(&gone, "m.o", 8, 10);
    InputFile missing(lost, captured.errors);
    EXPECT_EQ(captured.text(), "[tnm] Can't open file /nonexistent/lib.a\n");
}

TEST(InputFileDeathTest, MemberOfAnotherFileIsABotch) {
    Captured captured;
    InputFile lib(captured.write(pattern(100)).c_str(), nullptr);
    FileName other("other.a");
    ArchiveMemberName name(&other, "a.o", 0, 10);
    EXPECT_DEATH(InputFile(name, captured.errors, lib),
                 "InputFile: other.a\\(a.o\\) is not in archive .*input.bin!");
}

TEST(qbuffer, WriteThenReadBack) {
    qbuffer q(16);
    const char text[] = "first\r\nsecond\n\nthird";
    EXPECT_EQ(q.write(text, sizeof text - 1), 16u); // a plain buffer holds only its capacity
    EXPECT_EQ(q.seekAbsolute(0), 0);
    for (const char *line : {"first", "second", "", "t"}) // "t": the last of the 16 bytes
        EXPECT_STREQ(q.readLine(), line);
    EXPECT_EQ(q.readLine(), nullptr);
    EXPECT_EQ(q.seekAbsolute(17), -1); // beyond what it holds
}

TEST(qfile, WritesAndReadsLinesThroughTheDescriptor) {
    ScratchDir dir;
    std::string path = dir.write("lines", "");
    {
        qfile out(path.c_str(), qfile::createMode, 0, 8);
        ASSERT_EQ(out.status, 0u);
        std::string text = "a line longer than the buffer\r\n";
        text += std::string(300, 'x') + "\nend\x1A" + "hidden\n";
        EXPECT_EQ(out.write(text.data(), uint32_t(text.size())), text.size());
    }
    qfile in(path.c_str(), qfile::readMode, 0, 8);
    EXPECT_STREQ(in.readLine(), "a line longer than the buffer");
    const char *longLine = in.readLine();
    ASSERT_NE(longLine, nullptr);
    EXPECT_EQ(std::string(longLine), std::string(300, 'x'));
    EXPECT_GE(in.lineCapacity, 301u);
    EXPECT_EQ(in.lineCapacity % 256, 0u);
    // Byte 0x1A ends a text file.
    EXPECT_STREQ(in.readLine(), "end");
    EXPECT_EQ(in.readLine(), nullptr);
    EXPECT_EQ(in.fileSize, int32_t(31 + 301 + 11));
}

} // namespace
