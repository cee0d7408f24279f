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

TEST(InputFile, SeekAndReadAtTheEndOfTheWindow) {
    Captured captured;
    InputFile in(captured.write(pattern(64)).c_str(), nullptr);
    uint8_t b[64];
    // Exactly the window: all bytes, no eofBit; one more byte sets eofBit only.
    EXPECT_EQ(in.readCount(b, 64), 64u);
    EXPECT_EQ(in.status & statusBits, 0u);
    EXPECT_EQ(in.readCount(b, 1), 0u);
    EXPECT_EQ(in.status & statusBits, InputFile::eofBit);
    // A seek to the very end succeeds and clears eofBit; a read of 1 sets it.
    EXPECT_EQ(in.seek(64), 64);
    EXPECT_EQ(in.status & statusBits, 0u);
    in.read(b, 1);
    EXPECT_EQ(in.status & statusBits, InputFile::eofBit);
    // A short read delivers what is there and moves past it.
    in.seek(60);
    EXPECT_EQ(in.readCount(b, 8), 4u);
    EXPECT_EQ(b[3], 63);
    EXPECT_EQ(in.position, 64u);
    // One past the end fails and leaves the position.
    EXPECT_EQ(in.seek(10), 10);
    EXPECT_EQ(in.seek(65), -1);
    EXPECT_EQ(in.position, 10u);
    EXPECT_EQ(in.status & failed, failed);
    // failBit and badBit stay after a good seek; eofBit does not.
    EXPECT_EQ(in.seek(0), 0);
    EXPECT_EQ(in.status & statusBits, failed);
}

TEST(InputFile, ReadsAcrossTheBufferBoundary) {
    const uint32_t size = 3 * InputFile::bufferSize + 17;
    Bytes data = pattern(size);
    Captured captured;
    InputFile in(captured.write(data).c_str(), nullptr);
    // Reads of awkward sizes that straddle every buffer boundary, then one
    // long read that needs no buffer at all.
    struct Step {
        uint32_t at, count;
    } steps[] = {{4090, 12}, {4095, 1},          {4096, 1},    {8191, 2},
                 {0, 4097},  {5, 3 * 4096 + 12}, {12000, 300}, {size - 3, 3}};
    for (const Step &s : steps) {
        SCOPED_TRACE(s.at);
        Bytes got(s.count);
        ASSERT_EQ(in.seek(s.at), int32_t(s.at));
        ASSERT_EQ(in.readCount(got.data(), s.count), s.count);
        EXPECT_TRUE(std::equal(got.begin(), got.end(), data.begin() + s.at));
        EXPECT_EQ(in.position, s.at + s.count);
        EXPECT_EQ(in.status & statusBits, 0u);
    }
    // A read past the end sets eofBit; a seek far outside the buffered bytes
    // clears it as one inside them does.
    in.seek(size - 1);
    uint8_t two[2];
    EXPECT_EQ(in.readCount(two, 2), 1u);
    EXPECT_EQ(in.status & statusBits, InputFile::eofBit);
    EXPECT_EQ(in.seek(0), 0);
    EXPECT_EQ(in.status & statusBits, 0u);
    // Byte by byte through a boundary: each read continues the last.
    in.seek(4093);
    for (uint32_t i = 4093; i < 4100; ++i) {
        uint8_t b;
        in.read(&b, 1);
        EXPECT_EQ(b, data[i]);
    }
    // A seek inside the buffered bytes needs no descriptor.
    in.seek(8190);
    in.read(two, 1);
    int saved = in.descriptor;
    in.descriptor = -1;
    EXPECT_EQ(in.seek(8192), 8192);
    in.read(two, 2);
    EXPECT_EQ(two[1], data[8193]);
    EXPECT_EQ(in.seek(8190 + in.filled), int32_t(8190 + in.filled)); // the end counts as inside
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
    uint8_t b[100];
    EXPECT_EQ(member.readCount(b, 50), 50u);
    EXPECT_EQ(b[0], data[100]);
    EXPECT_EQ(b[49], data[149]);
    EXPECT_EQ(member.status & statusBits, 0u);
    EXPECT_EQ(member.filled, 50u); // the fill stopped at the window's end
    // Nothing of the parent beyond the window is visible.
    EXPECT_EQ(member.readCount(b, 1), 0u);
    EXPECT_EQ(member.status & statusBits, InputFile::eofBit);
    EXPECT_EQ(member.seek(51), -1);

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
    EXPECT_EQ(bigFile.seek(900), 900);
    EXPECT_EQ(bigFile.status & statusBits, 0u);
    bigFile.seek(0);
    EXPECT_EQ(bigFile.readCount(b, 100), 50u);
    EXPECT_EQ(bigFile.status & statusBits, InputFile::eofBit);

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
