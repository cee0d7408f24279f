#include "input/FileIdentity.h"

#include "InputTestFiles.h"
#include "kit/ArchiveBuilder.h"
#include "support/endian.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <sstream>

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

// What deep identification says, as one line: "library" for an archive, the
// kind, the machine number in hex, the processor entry ("*" for an embedded
// one; unique with the name; a PowerPC entry with its ELF number), and, if
// asked, the byte order.
std::string describe(const Bytes &bytes, bool withOrder = true) {
    FileIdentity id = identifyBytes(bytes, true);
    std::ostringstream out;
    out << (id.isArchive ? "library " : "") << id.kindName() << " " << std::hex << id.machine;
    if (id.processor) {
        out << " " << id.processor->name() << (id.processor->embeddedFlag() ? "*" : "");
        if (id.processor->name() == std::string("PowerPC"))
            out << "/" << id.processor->elfMachine();
    }
    if (withOrder) out << (id.isLittleEndian() ? " little" : " big");
    return out.str();
}
std::string hostOrder() {
    return hostIsLittleEndian ? " little" : " big";
}

TEST(FileIdentity, DeepElfChoosesTheProcessor) {
    // Each row is e_machine in hex and what identification says of it.
    // e_machine chooses the entry, and for PowerPC the top bit of e_flags,
    // which is set here for the rows that expect an embedded entry.  A
    // PowerPC entry answers with the number of the file it came from.
    const char *rows[] = {
        "2 SPARC",     "3 iX86",         "6 iX86",        "4 MC680X0",
        "7 i860",      "8 MIPS",         "28 ARM",        "2d ARC*",
        "5d ARC-A5*",  "5f VideoCore*",  "63 PJC",        "9999 IL-Machine*",
        "b PowerPC/b", "11 PowerPC*/11", "14 PowerPC/14", "3e",
        "0",
    };
    for (uint8_t data : {1, 2}) {
        for (const char *row : rows) {
            uint16_t machine = uint16_t(std::strtoul(row, nullptr, 16));
            uint32_t flags = std::strchr(row, '*') ? 0x80000000 : 0x7FFFFFFF;
            EXPECT_EQ(describe(elfHeader(data, machine, flags)),
                      std::string("ELF ") + row + (data == 1 ? " little" : " big"));
        }
    }
    // An EI_DATA that says nothing leaves the host's order; a header cut
    // short is ELF without a target.
    EXPECT_EQ(describe(elfHeader(0, 8, 0)), "ELF 8 MIPS" + hostOrder());
    Bytes cut = elfHeader(1, 8, 0);
    cut.resize(40);
    EXPECT_EQ(describe(cut), "ELF 0 little");
}

TEST(FileIdentity, DeepAoutAndCoff) {
    // a.out files are big-endian; COFF says its order by the magic's high
    // byte, read in host order, which these rows assume is little-endian.
    const std::pair<const char *, const char *> cases[] = {
        {"00030107", "BSD 3 SPARC big"},    {"0002010B", "BSD 2 MC680X0 big"},
        {"00010108", "BSD 1 big"},          {"4C01", "NT 14c iX86 little"},
        {"8401", "NT 184 little"},          {"0268", "NT 268 big"},
        {"0150", "COFF 150 MC680X0 big"},   {"5001", "COFF 150 MC680X0 little"},
        {"7A01", "COFF 17a AM29K* little"}, {"017B", "COFF 17b AM29K-L* big"},
        {"014C", "COFF 14c iX86 big"}};
    for (const auto &[hex, expected] : cases) {
        std::string text = expected;
        bool orderHolds = hostIsLittleEndian || text.rfind("BSD", 0) == 0;
        if (!orderHolds) text.erase(text.rfind(' '));
        EXPECT_EQ(describe(image(hex), orderHolds), text) << hex;
    }
}

TEST(FileIdentity, DeepArchiveTakesTheFirstKnownMember) {
    auto library = [&](int misses) {
        ArchiveBuilder b;
        for (int i = 0; i < misses; ++i)
            b.member("junk" + std::to_string(i) + ".o", i % 2 ? image("010203", 40) : Bytes{});
        return b.member("mips.o", elfHeader(2, 8, 0)).build();
    };
    // Five misses, then the ELF member: the library is MIPS, big-endian; the
    // machine number is not copied.  Six misses end the search.
    EXPECT_EQ(describe(library(5)), "library ELF 0 MIPS big");
    EXPECT_EQ(describe(library(6)), "library unknown 0" + hostOrder());
    // A library inside the library is searched in turn.
    EXPECT_EQ(describe(ArchiveBuilder().member("inner.a", library(1)).build()),
              "library ELF 0 MIPS big");
    // Text members are known: their kind is text.  A member that claims more
    // than the file holds is read as far as it goes.
    EXPECT_EQ(describe(ArchiveBuilder().member("notes.txt", std::string(40, 't')).build()),
              "library COMMANDS 0" + hostOrder());
    EXPECT_EQ(describe(ArchiveBuilder().member("a.o", "x").sizeField("999999").build()),
              "library COMMANDS 0" + hostOrder());
    // Shallow mode does not look inside.
    FileIdentity id = identifyBytes(library(0), false);
    EXPECT_TRUE(id.isArchive);
    EXPECT_EQ(id.kind, unknownFormat);
    EXPECT_EQ(id.processor, nullptr);
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
