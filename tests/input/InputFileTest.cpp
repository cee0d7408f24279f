#include "input/InputFile.h"

#include "InputTestFiles.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

// A file whose byte at offset i is i mod 251, so any misplaced read shows.
Bytes pattern(uint32_t size) {
    Bytes b(size);
    for (uint32_t i = 0; i < size; ++i)
        b[i] = uint8_t(i % 251);
    return b;
}

constexpr uint32_t statusBits = InputFile::eofBit | InputFile::failBit | InputFile::badBit;

TEST(InputFile, PlainFileWindowIsWholeFile) {
    TempFile f(pattern(100));
    InputFile in(f.path.c_str(), nullptr);
    EXPECT_EQ(in.status, 0u);
    EXPECT_EQ(in.length, 100u);
    EXPECT_EQ(in.fileSize, 100);
    EXPECT_EQ(in.baseOffset, 0);
    EXPECT_EQ(in.capacity, InputFile::bufferSize);
    EXPECT_TRUE(in.ownsDescriptor);
    EXPECT_STREQ(in.fileName.path(), f.path.c_str());
}

TEST(InputFile, MissingFileIsReportedWithItsPath) {
    CapturedErrors captured;
    InputFile in("/nonexistent/missing.o", &captured.errors);
    EXPECT_TRUE(in.status & InputFile::failBit);
    EXPECT_NE(in.lastError, 0);
    EXPECT_EQ(in.descriptor, -1);
    EXPECT_EQ(captured.text(), "[tnm] Can't open file /nonexistent/missing.o\n");
    EXPECT_EQ(captured.errors.errorCount, 1);
    // Reading from it delivers nothing and does not crash.
    uint8_t b[8];
    EXPECT_EQ(in.readCount(b, sizeof b), 0u);
}

TEST(InputFile, SeekAndReadAtTheEndOfTheWindow) {
    TempFile f(pattern(64));
    InputFile in(f.path.c_str(), nullptr);
    uint8_t b[64];
    // Exactly the window: all bytes, no eofBit.
    EXPECT_EQ(in.readCount(b, 64), 64u);
    EXPECT_EQ(in.status & statusBits, 0u);
    EXPECT_EQ(in.position, 64u);
    // One more byte sets eofBit only.
    EXPECT_EQ(in.readCount(b, 1), 0u);
    EXPECT_EQ(in.status & statusBits, InputFile::eofBit);
    // A seek to the very end succeeds and clears eofBit.
    EXPECT_EQ(in.seek(64), 64);
    EXPECT_EQ(in.status & statusBits, 0u);
    in.read(b, 1);
    EXPECT_EQ(in.status & statusBits, InputFile::eofBit);
    // One past the end fails and leaves the position.
    EXPECT_EQ(in.seek(10), 10);
    EXPECT_EQ(in.seek(65), -1);
    EXPECT_EQ(in.position, 10u);
    EXPECT_TRUE(in.status & InputFile::failBit);
    EXPECT_TRUE(in.status & InputFile::badBit);
    // failBit and badBit stay after a good seek; eofBit does not.
    EXPECT_EQ(in.seek(0), 0);
    EXPECT_EQ(in.status & statusBits, InputFile::failBit | InputFile::badBit);
}

TEST(InputFile, ShortReadDeliversWhatIsThere) {
    TempFile f(pattern(10));
    InputFile in(f.path.c_str(), nullptr);
    in.seek(6);
    uint8_t b[8] = {};
    EXPECT_EQ(in.readCount(b, 8), 4u);
    EXPECT_EQ(in.position, 10u);
    EXPECT_EQ(b[0], 6);
    EXPECT_EQ(b[3], 9);
    EXPECT_EQ(in.status & statusBits, InputFile::eofBit);
}

TEST(InputFile, ReadsAcrossTheBufferBoundary) {
    const uint32_t size = 3 * InputFile::bufferSize + 17;
    Bytes data = pattern(size);
    TempFile f(data);
    InputFile in(f.path.c_str(), nullptr);
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
}

TEST(InputFile, SeekInsideTheBufferNeedsNoDescriptor) {
    Bytes data = pattern(300);
    TempFile f(data);
    InputFile in(f.path.c_str(), nullptr);
    uint8_t b[4];
    in.read(b, 4); // fills the buffer with the whole file
    // With the descriptor gone, only a seek within the buffer can work.
    int saved = in.descriptor;
    in.descriptor = -1;
    EXPECT_EQ(in.seek(200), 200);
    in.read(b, 4);
    EXPECT_EQ(b[0], data[200]);
    EXPECT_EQ(in.seek(300), 300); // the end of the buffered bytes counts as inside
    in.descriptor = saved;
}

TEST(InputFile, MemberWindowInsideParent) {
    Bytes data = pattern(1000);
    TempFile f(data);
    InputFile lib(f.path.c_str(), nullptr);
    ArchiveMemberName name(&lib.fileName, "a.o", 100, 50);
    CapturedErrors captured;
    InputFile member(name, captured.errors, lib);
    EXPECT_EQ(member.baseOffset, 100);
    EXPECT_EQ(member.length, 50u);
    EXPECT_EQ(member.descriptor, lib.descriptor);
    EXPECT_FALSE(member.ownsDescriptor);
    uint8_t b[60];
    EXPECT_EQ(member.readCount(b, 50), 50u);
    EXPECT_EQ(b[0], data[100]);
    EXPECT_EQ(b[49], data[149]);
    EXPECT_EQ(member.status & statusBits, 0u);
    // The fill stopped at the window's end, not at the buffer's.
    EXPECT_EQ(member.filled, 50u);
    // Nothing of the parent beyond the window is visible.
    EXPECT_EQ(member.readCount(b, 1), 0u);
    EXPECT_EQ(member.status & statusBits, InputFile::eofBit);
    EXPECT_EQ(member.seek(51), -1);
    EXPECT_EQ(captured.text(), "");
}

TEST(InputFile, MembersSharingADescriptorReadIndependently) {
    Bytes data = pattern(20000);
    TempFile f(data);
    InputFile lib(f.path.c_str(), nullptr);
    ArchiveMemberName first(&lib.fileName, "a.o", 0, 10000);
    ArchiveMemberName second(&lib.fileName, "b.o", 10000, 10000);
    CapturedErrors captured;
    InputFile a(first, captured.errors, lib), b(second, captured.errors, lib);
    // Interleaved reads, each running past its buffer, on one descriptor.
    for (uint32_t at = 0; at < 10000; at += 1500) {
        uint8_t x[700], y[700];
        a.seek(at);
        b.seek(at);
        uint32_t na = a.readCount(x, 700), nb = b.readCount(y, 700);
        ASSERT_EQ(na, nb);
        for (uint32_t i = 0; i < na; ++i) {
            ASSERT_EQ(x[i], data[at + i]);
            ASSERT_EQ(y[i], data[10000 + at + i]);
        }
    }
    // Closing a member leaves the parent's descriptor open.
    { InputFile c(first, captured.errors, lib); }
    uint8_t z;
    lib.seek(5);
    EXPECT_EQ(lib.readCount(&z, 1), 1u);
    EXPECT_EQ(z, data[5]);
}

TEST(InputFile, MemberClaimingMoreThanTheFileHolds) {
    Bytes data = pattern(200);
    TempFile f(data);
    InputFile lib(f.path.c_str(), nullptr);
    ArchiveMemberName name(&lib.fileName, "big.o", 150, 1000);
    CapturedErrors captured;
    InputFile member(name, captured.errors, lib);
    EXPECT_EQ(member.length, 1000u);  // as claimed
    EXPECT_EQ(member.seek(900), 900); // inside the claimed window
    EXPECT_EQ(member.status & statusBits, 0u);
    member.seek(0);
    uint8_t b[100];
    EXPECT_EQ(member.readCount(b, 100), 50u);
    EXPECT_EQ(member.status & statusBits, InputFile::eofBit);
}

TEST(InputFile, NestedMemberAddsBothOffsets) {
    Bytes data = pattern(500);
    TempFile f(data);
    InputFile lib(f.path.c_str(), nullptr);
    ArchiveMemberName innerLib(&lib.fileName, "inner.a", 100, 300);
    CapturedErrors captured;
    InputFile innerFile(innerLib, captured.errors, lib);
    ArchiveMemberName member(&innerLib, "x.o", 40, 20);
    InputFile memberFile(member, captured.errors, innerFile);
    EXPECT_EQ(memberFile.baseOffset, 140);
    uint8_t b;
    memberFile.read(&b, 1);
    EXPECT_EQ(b, data[140]);
    std::string expected = f.path + "(inner.a)(x.o)";
    EXPECT_STREQ(memberFile.fileName.displayName(), expected.c_str());
    EXPECT_STREQ(member.path(), f.path.c_str());
}

TEST(InputFile, OpeningAMemberNameByPathFindsItsWindow) {
    Bytes data = pattern(500);
    TempFile f(data);
    FileName libName(f.path.c_str());
    ArchiveMemberName name(&libName, "m.o", 450, 100);
    CapturedErrors captured;
    InputFile member(name, captured.errors);
    EXPECT_TRUE(member.ownsDescriptor);
    EXPECT_EQ(member.baseOffset, 450);
    EXPECT_EQ(member.length, 50u); // cut at the end of the file
    EXPECT_EQ(captured.text(), "");
}

TEST(InputFileDeathTest, MemberOfAnotherFileIsABotch) {
    TempFile f(pattern(100));
    InputFile lib(f.path.c_str(), nullptr);
    FileName other("other.a");
    ArchiveMemberName name(&other, "a.o", 0, 10);
    CapturedErrors captured;
    std::string expected = "InputFile: other.a\\(a.o\\) is not in archive .*input.bin!";
    EXPECT_DEATH(InputFile(name, captured.errors, lib), expected);
}

TEST(qbuffer, WriteThenReadBack) {
    qbuffer q(16);
    const char text[] = "first\r\nsecond\n\nthird";
    EXPECT_EQ(q.write(text, sizeof text - 1), 16u); // a plain buffer holds only its capacity
    EXPECT_EQ(q.seekAbsolute(0), 0);
    EXPECT_STREQ(q.readLine(), "first");
    EXPECT_STREQ(q.readLine(), "second");
    EXPECT_STREQ(q.readLine(), "");
    EXPECT_STREQ(q.readLine(), "t"); // the last of the 16 bytes kept
    EXPECT_EQ(q.readLine(), nullptr);
    EXPECT_EQ(q.seekAbsolute(17), -1); // beyond what it holds
}

TEST(qfile, WritesAndReadsLinesThroughTheDescriptor) {
    TempFile f({});
    {
        qfile out(f.path.c_str(), qfile::createMode, 0, 8);
        ASSERT_EQ(out.status, 0u);
        std::string text = "a line longer than the buffer\r\n";
        text += std::string(300, 'x') + "\nend\x1A" + "hidden\n";
        EXPECT_EQ(out.write(text.data(), uint32_t(text.size())), text.size());
    }
    qfile in(f.path.c_str(), qfile::readMode, 0, 8);
    EXPECT_STREQ(in.readLine(), "a line longer than the buffer");
    const char *long_line = in.readLine();
    ASSERT_NE(long_line, nullptr);
    EXPECT_EQ(std::string(long_line), std::string(300, 'x'));
    EXPECT_GE(in.lineCapacity, 301u);
    EXPECT_EQ(in.lineCapacity % 256, 0u);
    // Byte 0x1A ends a text file.
    EXPECT_STREQ(in.readLine(), "end");
    EXPECT_EQ(in.readLine(), nullptr);
    EXPECT_EQ(in.fileSize, int32_t(31 + 301 + 11));
}

} // namespace
