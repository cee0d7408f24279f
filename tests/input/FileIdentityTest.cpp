#include "input/FileIdentity.h"

#include "InputTestFiles.h"
#include "kit/ArchiveBuilder.h"
#include "support/endian.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace {

// Bytes from hex digits, padded with 0 (a byte the text test refuses) or
// cut to `size`.
Bytes image(const char *hex, size_t size = 32) {
    Bytes b;
    for (const char *p = hex; p[0] && p[1]; p += 2)
        b.push_back(uint8_t(std::stoul(std::string(p, 2), nullptr, 16)));
    b.resize(size);
    return b;
}

FileIdentity identifyBytes(const Bytes &bytes, bool deep) {
    ScratchDir dir;
    InputFile in(dir.write("input.bin", bytes).c_str(), nullptr);
    FileIdentity id;
    id.kind = otherFormat; // identify must clear what was there
    id.isArchive = true;
    id.machine = 77;
    FileIdentity::identify(id, in, deep);
    return id;
}

TEST(FileIdentity, ShallowTestsInTheirOrder) {
    Processor *ix86 = &Processor::iX86(), *arm = &Processor::arm();
    auto check = [&](const Bytes &bytes, ObjectFormatKind kind, bool isArchive,
                     Processor *processor) {
        FileIdentity id = identifyBytes(bytes, false);
        EXPECT_EQ(int(id.kind), int(kind));
        EXPECT_EQ(id.isArchive, isArchive);
        EXPECT_EQ(id.processor, processor);
        EXPECT_EQ(id.machine, 0u);
        // Only the OMF library says anything of the byte order.
        EXPECT_EQ(id.byteSwapped, isArchive && processor == ix86 && !hostIsLittleEndian);
    };
    // First bytes in hex, padded with 0 to 32 bytes, by the kind they give.
    // The order of the tests shows where magic numbers overlap: a.out before
    // COFF (4C010107), newer COFF before OMF (F001).
    const std::pair<ObjectFormatKind, std::vector<const char *>> byKind[] = {
        {elfFormat, {"7F454C46"}},
        {bsdFormat, {"00030107", "00020108", "8000010B", "4C010107"}},
        {ntFormat, {"4C01", "6601", "8401", "F001", "0268", "0290"}},
        {coffFormat, {"0150", "5001", "014C", "0142", "7F01"}},
        {armFormat, {"C5C6CBC3000000000000000000000000", "C3CBC6C5"}},
        {dosFormat, {"80", "8081"}},
        {unknownFormat, {"00040107", "00030109", "6802", "0141", "0180", "4281", "F00D0004"}},
    };
    for (const auto &[kind, images] : byKind)
        for (const char *hex : images) {
            SCOPED_TRACE(hex);
            check(image(hex), kind, false,
                  kind == armFormat   ? arm
                  : kind == dosFormat ? ix86
                                      : nullptr);
        }
    // Libraries, and files too short for any magic number.
    check(image("213C617263683E0A"), unknownFormat, true, nullptr);
    check(bytesOf("!<arch>\n" + std::string(30, 'x')), unknownFormat, true, nullptr);
    check(image("C5C6CBC300000000000000004C49425F"), armFormat, true, arm);
    check(image("F00D0003"), unknownFormat, true, ix86);
    check({}, unknownFormat, false, nullptr);
    check(image("7F454C46", 31), unknownFormat, false, nullptr);
    check(image("80", 1), unknownFormat, false, nullptr);
    // Text: tab to carriage return and the visible characters, nothing else.
    const std::pair<std::string, ObjectFormatKind> texts[] = {
        {std::string(29, 'a') + "\t\n", commandsFormat},
        {std::string(30, 'a') + "\b", unknownFormat},
        {"!<arch>\n", commandsFormat},
        {"!<arcX\n" + std::string(30, 'x'), commandsFormat},
        {"int main(void) { return 0; }\r\n\f\v", commandsFormat},
        {std::string(31, 'a') + "\b", unknownFormat},
        {std::string(40, 'a') + "\x7F", commandsFormat},
        {"\x7F" + std::string(40, 'a'), unknownFormat},
    };
    for (const auto &[text, kind] : texts) {
        SCOPED_TRACE(text);
        check(bytesOf(text), kind, false, nullptr);
    }
    // A file that cannot be read is nothing.
    InputFile missing("/nonexistent/file.o", nullptr);
    FileIdentity id;
    FileIdentity::identify(id, missing, true);
    EXPECT_EQ(id.kind, unknownFormat);
    EXPECT_FALSE(id.isArchive);
}

// A 52-byte ELF header with the fields identification looks at.
Bytes elfHeader(uint8_t data, uint16_t machine, uint32_t flags) {
    Bytes b = image("7F454C4601", 52);
    b[5] = data, b[6] = 1;
    bool big = data == 2 || (data != 1 && !hostIsLittleEndian);
    auto put = [&](size_t at, uint32_t value, int size) {
        for (int i = 0; i < size; ++i)
            b[at + i] = uint8_t(value >> (big ? 8 * (size - 1 - i) : 8 * i));
    };
    put(16, 1, 2), put(18, machine, 2), put(20, 1, 4), put(36, flags, 4), put(40, 52, 2);
    return b;
}

TEST(FileIdentity, DeepElfChoosesTheProcessor) {
    const struct {
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
        for (const auto &c : cases) {
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
    const bool host = hostIsLittleEndian;
    const struct {
        const char *bytes;
        ObjectFormatKind kind;
        uint32_t machine;
        Processor *processor;
        bool byteSwapped;
    } cases[] = {
        {"00030107", bsdFormat, 3, &Processor::sparc(), host},
        {"0002010B", bsdFormat, 2, &Processor::mc680x0(), host},
        {"00010108", bsdFormat, 1, nullptr, host},
        {"4C01", ntFormat, 0x14C, &Processor::iX86(), false},
        {"8401", ntFormat, 0x184, nullptr, false},
        {"0268", ntFormat, 0x268, nullptr, true},
        {"0150", coffFormat, 0x150, &Processor::mc680x0(), true},
        {"5001", coffFormat, 0x150, &Processor::mc680x0(), false},
        {"7A01", coffFormat, 0x17A, &Processor::am29k(), false},
        {"017B", coffFormat, 0x17B, &Processor::am29kL(), true},
        {"014C", coffFormat, 0x14C, &Processor::iX86(), true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.bytes);
        FileIdentity id = identifyBytes(image(c.bytes), true);
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
    auto library = [&](int misses) {
        ArchiveBuilder b;
        for (int i = 0; i < misses; ++i)
            b.member("junk" + std::to_string(i) + ".o", i % 2 ? image("010203", 40) : Bytes{});
        return b.member("mips.o", elf).build();
    };
    // Five misses, then the ELF member: the library is MIPS, big-endian.
    FileIdentity id = identifyBytes(library(5), true);
    EXPECT_TRUE(id.isArchive);
    EXPECT_EQ(id.kind, elfFormat);
    EXPECT_EQ(id.processor, &Processor::mips());
    EXPECT_EQ(id.byteSwapped, hostIsLittleEndian);
    EXPECT_EQ(id.machine, 0u); // not copied from the member
    // Six misses end the search; shallow mode does not look inside.
    for (auto [misses, deep] : {std::pair{6, true}, {0, false}}) {
        id = identifyBytes(library(misses), deep);
        EXPECT_TRUE(id.isArchive);
        EXPECT_EQ(id.kind, unknownFormat);
        EXPECT_EQ(id.processor, nullptr);
    }
    // A library inside the library is searched in turn.
    id = identifyBytes(ArchiveBuilder().member("inner.a", library(1)).build(), true);
    EXPECT_EQ(id.kind, elfFormat);
    EXPECT_EQ(id.processor, &Processor::mips());
    // Text members are known: their kind is text.
    id = identifyBytes(ArchiveBuilder().member("notes.txt", std::string(40, 't')).build(), true);
    EXPECT_EQ(id.kind, commandsFormat);
    // A member that claims more than the file holds is read as far as it goes.
    id = identifyBytes(ArchiveBuilder().member("a.o", "x").sizeField("999999").build(), true);
    EXPECT_TRUE(id.isArchive);
    EXPECT_EQ(id.kind, commandsFormat);
}

TEST(FileIdentity, KindNames) {
    const char *names[] = {"unknown", "DOS", "COFF", "ELF",      "BSD",
                           "ARM",     "NT",  "PE",   "COMMANDS", "???"};
    FileIdentity id;
    for (int k = 0; k < 10; ++k) {
        id.kind = ObjectFormatKind(k);
        EXPECT_STREQ(id.kindName(), names[k]);
    }
    id.kind = ObjectFormatKind(200);
    EXPECT_STREQ(id.kindName(), "???");
}

// Random bytes behind each magic, of many sizes, in both modes: nothing
// may crash or read out of bounds.  (A library with a damaged header is
// fatal to the archive reader even in deep mode; see the next test.)
TEST(FileIdentity, AnyContentIsSafe) {
    std::mt19937 random(12345);
    for (const char *prefix : {"", "213C617263683E0A", "7F454C460101", "7F454C460102", "00030107",
                               "4C01", "0150", "C5C6CBC3", "F00D0003"}) {
        Bytes head = image(prefix, std::strlen(prefix) / 2);
        for (size_t size : {0u, 1u, 8u, 31u, 32u, 33u, 51u, 52u, 60u, 68u, 200u, 5000u}) {
            Bytes b = head;
            b.resize(std::max(size, head.size()));
            for (size_t i = head.size(); i < b.size(); ++i)
                b[i] = uint8_t(random());
            for (bool deep : {false, head.size() != 8}) {
                FileIdentity id = identifyBytes(b, deep);
                EXPECT_LE(int(id.kind), int(otherFormat));
            }
        }
    }
}

TEST(FileIdentityDeathTest, DamagedLibraryEndsDeepModeSilently) {
    // The archive reader cannot go on from a broken member header: its fatal
    // report ends the process, and the silent context keeps it wordless.
    Bytes broken = bytesOf("!<arch>\n" + std::string(60, '#'));
    EXPECT_EXIT(identifyBytes(broken, true), testing::ExitedWithCode(1), "^$");
    // Shallow mode never opens the library.
    EXPECT_TRUE(identifyBytes(broken, false).isArchive);
}

} // namespace
