#include "input/FileIdentity.h"

#include "InputTestFiles.h"
#include "kit/ArchiveBuilder.h"
#include "support/endian.h"

#include <gtest/gtest.h>

#include <random>

namespace {

// The first bytes of a file, padded to `size` with `pad` (0 by default, a
// byte that the text test refuses).
Bytes image(std::initializer_list<uint8_t> prefix, size_t size = 32, uint8_t pad = 0) {
    Bytes b(prefix);
    b.resize(size, pad);
    return b;
}

Bytes text(std::string_view s) {
    return bytesOf(s);
}

FileIdentity identifyBytes(const Bytes &bytes, bool deep) {
    TempFile f(bytes);
    InputFile in(f.path.c_str(), nullptr);
    FileIdentity id;
    id.kind = otherFormat; // identify must clear what was there
    id.isArchive = true;
    id.machine = 77;
    FileIdentity::identify(id, in, deep);
    return id;
}

struct ShallowCase {
    const char *what;
    Bytes bytes;
    ObjectFormatKind kind;
    bool isArchive;
    Processor *processor;
};

TEST(FileIdentity, ShallowTestsInTheirOrder) {
    Processor *ix86 = &Processor::iX86();
    Processor *arm = &Processor::arm();
    Bytes aofLibrary = image({0xC5, 0xC6, 0xCB, 0xC3, 0, 0, 0, 0, 0, 0, 0, 0, 'L', 'I', 'B', '_'});
    Bytes aofObject = image({0xC5, 0xC6, 0xCB, 0xC3, 0, 0, 0, 0, 0, 0, 0, 0, 'O', 'B', 'J', '_'});
    const ShallowCase cases[] = {
        {"empty", {}, unknownFormat, false, nullptr},
        {"31 printable", text(std::string(29, 'a') + "\t\n"), commandsFormat, false, nullptr},
        {"31 with a backspace", text(std::string(30, 'a') + "\b"), unknownFormat, false, nullptr},
        {"31 bytes of ELF", image({0x7F, 'E', 'L', 'F'}, 31), unknownFormat, false, nullptr},
        {"bare archive magic is text", text("!<arch>\n"), commandsFormat, false, nullptr},
        {"one byte", image({0x80}, 1), unknownFormat, false, nullptr},
        {"archive", image({'!', '<', 'a', 'r', 'c', 'h', '>', '\n'}), unknownFormat, true, nullptr},
        {"archive of text", text("!<arch>\n" + std::string(30, 'x')), unknownFormat, true, nullptr},
        {"near-archive is text", text("!<arcX\n" + std::string(30, 'x')), commandsFormat, false,
         nullptr},
        {"ELF", image({0x7F, 'E', 'L', 'F'}), elfFormat, false, nullptr},
        {"a.out 0x107", image({0x00, 0x03, 0x01, 0x07}), bsdFormat, false, nullptr},
        {"a.out 0x108", image({0x00, 0x02, 0x01, 0x08}), bsdFormat, false, nullptr},
        {"a.out 0x10B", image({0x80, 0x00, 0x01, 0x0B}), bsdFormat, false, nullptr},
        {"a.out before COFF", image({0x4C, 0x01, 0x01, 0x07}), bsdFormat, false, nullptr},
        {"a.out machine byte 4", image({0x00, 0x04, 0x01, 0x07}), unknownFormat, false, nullptr},
        {"a.out 0x109", image({0x00, 0x03, 0x01, 0x09}), unknownFormat, false, nullptr},
        {"newer COFF 0x14C", image({0x4C, 0x01}), ntFormat, false, nullptr},
        {"newer COFF 0x166", image({0x66, 0x01}), ntFormat, false, nullptr},
        {"newer COFF 0x184", image({0x84, 0x01}), ntFormat, false, nullptr},
        {"newer COFF 0x1F0 before OMF", image({0xF0, 0x01}), ntFormat, false, nullptr},
        {"newer COFF 0x268 exchanged", image({0x02, 0x68}), ntFormat, false, nullptr},
        {"newer COFF 0x290 exchanged", image({0x02, 0x90}), ntFormat, false, nullptr},
        {"0x268 unexchanged", image({0x68, 0x02}), unknownFormat, false, nullptr},
        {"older COFF big-endian 0x150", image({0x01, 0x50}), coffFormat, false, nullptr},
        {"older COFF little-endian 0x150", image({0x50, 0x01}), coffFormat, false, nullptr},
        {"older COFF big-endian 0x14C", image({0x01, 0x4C}), coffFormat, false, nullptr},
        {"older COFF low end", image({0x01, 0x42}), coffFormat, false, nullptr},
        {"older COFF high end", image({0x7F, 0x01}), coffFormat, false, nullptr},
        {"below older COFF", image({0x01, 0x41}), unknownFormat, false, nullptr},
        {"above older COFF", image({0x01, 0x80}), unknownFormat, false, nullptr},
        {"negative when exchanged", image({0x42, 0x81}), unknownFormat, false, nullptr},
        {"AOF object", aofObject, armFormat, false, arm},
        {"AOF library", aofLibrary, armFormat, true, arm},
        {"AOF other order", image({0xC3, 0xCB, 0xC6, 0xC5}), armFormat, false, arm},
        {"OMF object", image({0x80}), dosFormat, false, ix86},
        {"OMF object, exchanged COFF would be negative", image({0x80, 0x81}), dosFormat, false,
         ix86},
        {"OMF library", image({0xF0, 0x0D, 0x00, 0x03}), unknownFormat, true, ix86},
        {"0xF0 with a bad sum", image({0xF0, 0x0D, 0x00, 0x04}), unknownFormat, false, nullptr},
        {"text", text("int main(void) { return 0; }\r\n\f\v"), commandsFormat, false, nullptr},
        {"text with a backspace", text(std::string(31, 'a') + "\b"), unknownFormat, false, nullptr},
        {"text with DEL", text(std::string(40, 'a') + "\x7F"), commandsFormat, false, nullptr},
        {"DEL within the first 32", text("\x7F" + std::string(40, 'a')), unknownFormat, false,
         nullptr},
    };
    for (const ShallowCase &c : cases) {
        SCOPED_TRACE(c.what);
        FileIdentity id = identifyBytes(c.bytes, false);
        EXPECT_EQ(int(id.kind), int(c.kind));
        EXPECT_EQ(id.isArchive, c.isArchive);
        EXPECT_EQ(id.processor, c.processor);
        EXPECT_EQ(id.machine, 0u);
        EXPECT_EQ(id.byteSwapped, c.isArchive && c.processor == ix86 && !hostIsLittleEndian);
    }
}

// A 52-byte ELF header with the fields identification looks at.
Bytes elfHeader(uint8_t data, uint16_t machine, uint32_t flags) {
    Bytes b(52, 0);
    b[0] = 0x7F, b[1] = 'E', b[2] = 'L', b[3] = 'F', b[4] = 1, b[5] = data, b[6] = 1;
    bool big = data == 2 || (data != 1 && !hostIsLittleEndian);
    auto put = [&](size_t at, uint32_t value, int size) {
        for (int i = 0; i < size; ++i)
            b[at + i] = uint8_t(value >> (big ? 8 * (size - 1 - i) : 8 * i));
    };
    put(16, 1, 2);       // e_type
    put(18, machine, 2); // e_machine
    put(20, 1, 4);       // e_version
    put(36, flags, 4);   // e_flags
    put(40, 52, 2);      // e_ehsize
    return b;
}

TEST(FileIdentity, DeepElfChoosesTheProcessor) {
    struct Case {
        uint16_t machine;
        uint32_t flags;
        Processor *processor;
    } cases[] = {
        {2, 0, &Processor::sparc()},
        {3, 0, &Processor::iX86()},
        {6, 0, &Processor::iX86()},
        {4, 0, &Processor::mc680x0()},
        {7, 0, &Processor::i860()},
        {8, 0, &Processor::mips()},
        {0x28, 0, &Processor::arm()},
        {0x2D, 0, &Processor::arc()},
        {0x5D, 0, &Processor::arcA5()},
        {0x5F, 0, &Processor::videoCore()},
        {0x63, 0, &Processor::pjc()},
        {0x9999, 0, &Processor::ilMachine()},
        {0x0B, 0, &Processor::powerPC(0x14)},
        {0x11, 0x80000000, &Processor::powerPCEmbedded(0x14)},
        {0x14, 0x7FFFFFFF, &Processor::powerPC(0x14)},
        {0x3E, 0, nullptr},
        {0, 0, nullptr},
    };
    for (uint8_t data : {1, 2}) {
        for (const Case &c : cases) {
            SCOPED_TRACE(testing::Message() << "EI_DATA " << int(data) << " machine " << c.machine);
            FileIdentity id = identifyBytes(elfHeader(data, c.machine, c.flags), true);
            EXPECT_EQ(id.kind, elfFormat);
            EXPECT_FALSE(id.isArchive);
            EXPECT_EQ(id.machine, c.machine);
            EXPECT_EQ(id.processor, c.processor);
            EXPECT_EQ(id.byteSwapped, (data == 1) != hostIsLittleEndian);
            EXPECT_EQ(id.isLittleEndian(), data == 1);
            // A PowerPC entry answers with the number of the file it came from.
            if (id.processor && id.processor->name() == std::string("PowerPC")) {
                EXPECT_EQ(id.processor->elfMachine(), c.machine);
            }
        }
    }
    // An EI_DATA that says nothing leaves the host's order.
    FileIdentity id = identifyBytes(elfHeader(0, 8, 0), true);
    EXPECT_FALSE(id.byteSwapped);
    EXPECT_EQ(id.machine, 8u);
    EXPECT_EQ(id.processor, &Processor::mips());
    // A header cut short: ELF, but no target.
    Bytes cut = elfHeader(1, 8, 0);
    cut.resize(40);
    id = identifyBytes(cut, true);
    EXPECT_EQ(id.kind, elfFormat);
    EXPECT_EQ(id.processor, nullptr);
}

TEST(FileIdentity, DeepAoutAndCoff) {
    struct Case {
        const char *what;
        Bytes bytes;
        ObjectFormatKind kind;
        uint32_t machine;
        Processor *processor;
        bool byteSwapped;
    } cases[] = {
        {"a.out SPARC", image({0x00, 0x03, 0x01, 0x07}), bsdFormat, 3, &Processor::sparc(),
         hostIsLittleEndian},
        {"a.out 68k", image({0x00, 0x02, 0x01, 0x0B}), bsdFormat, 2, &Processor::mc680x0(),
         hostIsLittleEndian},
        {"a.out other", image({0x00, 0x01, 0x01, 0x08}), bsdFormat, 1, nullptr, hostIsLittleEndian},
        {"NT i386", image({0x4C, 0x01}), ntFormat, 0x14C, &Processor::iX86(), false},
        {"NT other", image({0x84, 0x01}), ntFormat, 0x184, nullptr, false},
        {"NT exchanged", image({0x02, 0x68}), ntFormat, 0x268, nullptr, true},
        {"COFF 68k big-endian", image({0x01, 0x50}), coffFormat, 0x150, &Processor::mc680x0(),
         true},
        {"COFF 68k little-endian", image({0x50, 0x01}), coffFormat, 0x150, &Processor::mc680x0(),
         false},
        {"COFF AM29K", image({0x7A, 0x01}), coffFormat, 0x17A, &Processor::am29k(), false},
        {"COFF AM29K-L", image({0x01, 0x7B}), coffFormat, 0x17B, &Processor::am29kL(), true},
        {"COFF i386 big-endian", image({0x01, 0x4C}), coffFormat, 0x14C, &Processor::iX86(), true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        FileIdentity id = identifyBytes(c.bytes, true);
        EXPECT_EQ(id.kind, c.kind);
        EXPECT_EQ(id.machine, c.machine);
        EXPECT_EQ(id.processor, c.processor);
        // The COFF rule reads the magic in host order, so it holds as
        // written on a little-endian host only.
        if (hostIsLittleEndian || c.kind == bsdFormat) {
            EXPECT_EQ(id.byteSwapped, c.byteSwapped);
        }
    }
}

TEST(FileIdentity, DeepArchiveTakesTheFirstKnownMember) {
    Bytes elf = elfHeader(2, 8, 0);
    Bytes junk = image({0x01, 0x02, 0x03}, 40);
    auto library = [&](int misses) {
        ArchiveBuilder b;
        for (int i = 0; i < misses; ++i)
            b.member("junk" + std::to_string(i) + ".o", i % 2 ? junk : Bytes{});
        b.member("mips.o", elf);
        return b.build();
    };
    // Five misses, then the ELF member: the library is MIPS, big-endian.
    FileIdentity id = identifyBytes(library(5), true);
    EXPECT_TRUE(id.isArchive);
    EXPECT_EQ(id.kind, elfFormat);
    EXPECT_EQ(id.processor, &Processor::mips());
    EXPECT_EQ(id.byteSwapped, hostIsLittleEndian);
    EXPECT_EQ(id.machine, 0u); // not copied from the member
    // Six misses end the search.
    id = identifyBytes(library(6), true);
    EXPECT_TRUE(id.isArchive);
    EXPECT_EQ(id.kind, unknownFormat);
    EXPECT_EQ(id.processor, nullptr);
    // Shallow mode does not look inside.
    id = identifyBytes(library(0), false);
    EXPECT_TRUE(id.isArchive);
    EXPECT_EQ(id.kind, unknownFormat);
    // A library inside the library is searched in turn.
    Bytes nested = ArchiveBuilder().member("inner.a", library(1)).build();
    id = identifyBytes(nested, true);
    EXPECT_EQ(id.kind, elfFormat);
    EXPECT_EQ(id.processor, &Processor::mips());
    // Text members are known: their kind is text.
    id = identifyBytes(ArchiveBuilder().member("notes.txt", std::string(40, 't')).build(), true);
    EXPECT_EQ(id.kind, commandsFormat);
    // Damage in the library leaves it unknown, silently.
    id = identifyBytes(ArchiveBuilder().member("a.o", elf).sizeField("999999").build(), true);
    EXPECT_TRUE(id.isArchive);
}

TEST(FileIdentity, KindNamesAndByteOrder) {
    const char *names[] = {"unknown", "DOS", "COFF", "ELF",      "BSD",
                           "ARM",     "NT",  "PE",   "COMMANDS", "???"};
    FileIdentity id;
    for (int k = 0; k < 10; ++k) {
        id.kind = ObjectFormatKind(k);
        EXPECT_STREQ(id.kindName(), names[k]);
    }
    id.kind = ObjectFormatKind(200);
    EXPECT_STREQ(id.kindName(), "???");
    id.byteSwapped = false;
    EXPECT_EQ(id.isLittleEndian(), hostIsLittleEndian);
    id.byteSwapped = true;
    EXPECT_EQ(id.isLittleEndian(), !hostIsLittleEndian);
}

TEST(FileIdentity, UnreadableFileIsUnknown) {
    InputFile in("/nonexistent/file.o", nullptr);
    FileIdentity id;
    FileIdentity::identify(id, in, true);
    EXPECT_EQ(id.kind, unknownFormat);
    EXPECT_FALSE(id.isArchive);
}

// Random bytes behind each magic, of many sizes, in both modes: nothing
// may crash or read out of bounds.  (A library with a damaged header is
// fatal to the archive reader even in deep mode; see the next test.)
TEST(FileIdentity, AnyContentIsSafe) {
    std::mt19937 random(12345);
    const Bytes prefixes[] = {{},
                              {'!', '<', 'a', 'r', 'c', 'h', '>', '\n'},
                              {0x7F, 'E', 'L', 'F', 1, 1},
                              {0x7F, 'E', 'L', 'F', 1, 2},
                              {0x00, 0x03, 0x01, 0x07},
                              {0x4C, 0x01},
                              {0x01, 0x50},
                              {0xC5, 0xC6, 0xCB, 0xC3},
                              {0xF0, 0x0D, 0x00, 0x03}};
    for (const Bytes &prefix : prefixes) {
        for (size_t size : {0u, 1u, 8u, 31u, 32u, 33u, 51u, 52u, 60u, 68u, 200u, 5000u}) {
            Bytes b = prefix;
            b.resize(std::max(size, prefix.size()));
            for (size_t i = prefix.size(); i < b.size(); ++i)
                b[i] = uint8_t(random());
            bool isLibrary = prefix.size() == 8;
            for (bool deep : {false, !isLibrary}) {
                FileIdentity id = identifyBytes(b, deep);
                EXPECT_LE(int(id.kind), int(otherFormat));
            }
        }
    }
}

} // namespace

namespace {

TEST(FileIdentityDeathTest, DamagedLibraryEndsDeepModeSilently) {
    // The archive reader cannot go on from a broken member header: its fatal
    // report ends the process, and the silent context keeps it wordless.
    Bytes broken = bytesOf("!<arch>\n" + std::string(60, '#'));
    EXPECT_EXIT(identifyBytes(broken, true), testing::ExitedWithCode(1), "^$");
    // Shallow mode never opens the library.
    EXPECT_TRUE(identifyBytes(broken, false).isArchive);
}

} // namespace
