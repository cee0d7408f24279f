// Damaged a.out files: every fatal message of the reader, in both byte
// orders, and the limits of the string table's length test.
#include "AoutTestSupport.h"
#include "kit/AoutBuilder.h"

#include <gtest/gtest.h>

namespace {

AoutBuilder sample(ByteOrder order) {
    AoutBuilder b(order);
    b.text(bytes(16)).data(bytes(8)).bss(4);
    b.symbol("_main", N_TEXT | N_EXT, 0).symbol("_table", N_DATA | N_EXT, 16);
    return b;
}

struct DamageCase {
    const char *what;
    std::function<void(AoutBuilder &)> damage;
    const char *message; // "" when the file is read
};

const DamageCase damageCases[] = {
    {"machine 0", [](AoutBuilder &b) { b.machine(0); },
     "File test.o: not a  SPARC object file. Others not yet supported"},
    {"machine 2", [](AoutBuilder &b) { b.machine(2); },
     "File test.o: not a  SPARC object file. Others not yet supported"},
    {"text relocation size 13",
     [](AoutBuilder &b) { b.patchHeader([](auto &h) { h.trsize = 13; }); },
     "File test.o: value of a_trsize isn't multiple of 12!"},
    {"data relocation size 13",
     [](AoutBuilder &b) { b.patchHeader([](auto &h) { h.drsize = 13; }); },
     "File test.o: value of a_drsize isn't multiple of 12!"},
    {"text beyond the end of the file",
     [](AoutBuilder &b) { b.patchHeader([](auto &h) { h.text = 0x10000; }); },
     "File test.o: text section appears truncated."},
    {"data beyond the end of the file",
     [](AoutBuilder &b) { b.patchHeader([](auto &h) { h.data = 0x10000; }); },
     "File test.o: data section appears truncated."},
    {"file ending where the data begins", [](AoutBuilder &b) { b.truncate(0x30); },
     "File test.o: data section appears truncated."},
    {"file ending inside the text", [](AoutBuilder &b) { b.truncate(0x2F); },
     "File test.o: text section appears truncated."},
    {"data relocations beyond the end of the file",
     [](AoutBuilder &b) { b.patchHeader([](auto &h) { h.trsize = 12 * 1000, h.drsize = 12; }); },
     "In test.o: relocation table appears truncated."},
    {"string table beyond the end of the file",
     [](AoutBuilder &b) { b.patchHeader([](auto &h) { h.syms = 12 * 1000; }); },
     "From file test.o: couldn't read string table."},
    {"string table length 1000001 for two symbols",
     [](AoutBuilder &b) { b.stringTableLength(1000001); },
     "In file test.o: string table length appears to be garbage (=1000001)."},
    {"string table length 0xFFFFFFFF", [](AoutBuilder &b) { b.stringTableLength(0xFFFFFFFF); },
     "In file test.o: string table length appears to be garbage (=4294967295)."},
    {"string table length 1000000 in a short file",
     [](AoutBuilder &b) { b.stringTableLength(1000000); }, ""},
    {"strx at the string table's length",
     [](AoutBuilder &b) { b.symbolAt(20, N_ABS, 0).stringTableLength(20); },
     "In file test.o: nlist entry #2 has a bad string table index(=20)"},
    {"strx far beyond the string table", [](AoutBuilder &b) { b.symbolAt(0x80000000, N_ABS, 0); },
     "In file test.o: nlist entry #2 has a bad string table index(=-2147483648)"},
    {"file ending behind its symbols", [](AoutBuilder &b) { b.noStringTable(); },
     "In file test.o: nlist entry #0 has a bad string table index(=4)"},
    {"symbol table starting beyond the file, its sum wrapping into it",
     [](AoutBuilder &b) {
         // The symbols would start 2 GB on; the string table's offset wraps
         // round to where the kit wrote it.
         uint32_t strings = b.stringOffset();
         b.patchHeader([strings](auto &h) {
             h.trsize = 0x7FFFFFF8;
             uint32_t symbols = 0x20 + h.text + h.data + h.trsize;
             h.syms = strings - symbols;
         });
     },
     "In file test.o: symbol table appears to be truncated."},
    {"string table far longer than the file and backed by a wrapped symbol count",
     [](AoutBuilder &b) {
         uint32_t strings = b.stringOffset();
         b.stringTableLength(0x40000000).patchHeader([strings](auto &h) {
             h.trsize = 0x7FFFFFF8;
             h.syms = strings - (0x20 + h.text + h.data + h.trsize);
         });
     },
     "In file test.o: string table appears to be truncated (size=1073741824)."},
};

class AoutDamage : public ::testing::TestWithParam<ByteOrder> {};

TEST_P(AoutDamage, EachDamageGivesItsMessage) {
    for (const DamageCase &c : damageCases) {
        AoutBuilder builder = sample(GetParam());
        c.damage(builder);
        EXPECT_EQ(aoutFatal(builder.build()), c.message) << c.what;
    }
}

INSTANTIATE_TEST_SUITE_P(BothOrders, AoutDamage, ::testing::Values(BigEndian, LittleEndian));

TEST(AoutDamage, UnreadableFile) {
    // An InputFile whose open failed carries failBit from the start.
    FileName &name = FileName::keep(std::make_unique<DisplayFileName>("/nonexistent/x.o", "x.o"));
    AoutReports reports;
    InputFile file(name, reports);
    try {
        readBsdFile(file, reports);
        ADD_FAILURE() << "read a file that could not be opened";
    } catch (const AoutFatal &stop) {
        EXPECT_EQ(stop.message, "File x.o appears unreadable or badly truncated");
    }
}

TEST(AoutDamage, StringTableLengthLimits) {
    // Beyond 1000000 bytes a string table needs 30 bytes per symbol behind
    // it: 33334 symbols carry 1000001 bytes, 33333 do not.
    for (uint32_t symbols : {33333u, 33334u}) {
        AoutBuilder b;
        b.text(bytes(4));
        for (uint32_t i = 0; i < symbols; ++i)
            b.symbolAt(4, N_ABS, i);
        b.rawStrings(std::string(1000001 - 4, 'x')).stringTableLength(1000001);
        std::string expected = symbols == 33334
                                   ? ""
                                   : "In file test.o: string table length appears to be garbage "
                                     "(=1000001).";
        EXPECT_EQ(aoutFatal(b.build()), expected) << symbols;
    }
}

TEST(AoutDamage, LastNameWithoutItsNul) {
    // The table ends inside a name: the name ends with the table.
    AoutReports reports;
    AoutBuilder b;
    b.symbolAt(4, N_ABS, 1).rawStrings("tail");
    auto object = readAout(b.build(), reports);
    EXPECT_STREQ(object->symbolAt(0)->name(), "tail");
    // A length word that claims more than the file holds reads zeros behind
    // the end.
    b.stringTableLength(100);
    object = readAout(b.build(), reports);
    EXPECT_STREQ(object->symbolAt(0)->name(), "tail");
    EXPECT_EQ(object->stringTableSize(), 100u);
    EXPECT_TRUE(reports.lines.empty());
}

TEST(AoutDamage, ScrambledHeadersEndInAMessageOrARead) {
    // Every header word set to values at the edges of the 32-bit range: the
    // reader must end in one of its messages or read the file, never touch
    // memory outside its blocks or allocate beyond what the file holds.
    const uint32_t values[] = {0, 1, 12, 13, 0x7FFFFFF8, 0x80000000, 0xFFFFFFF4, 0xFFFFFFFF};
    const std::vector<uint8_t> image = sample(BigEndian).build();
    for (uint32_t word = 1; word < 8; ++word) {
        for (uint32_t value : values) {
            std::vector<uint8_t> damaged = image;
            for (uint32_t i = 0; i < 4; ++i)
                damaged[4 * word + i] = uint8_t(value >> (24 - 8 * i));
            AoutReports reports;
            try {
                auto object = readAout(damaged, reports);
                object->eachSymbol([](Symbol &s) { return s.name() != nullptr; });
            } catch (const AoutFatal &stop) {
                EXPECT_NE(stop.message.find("test.o"), std::string::npos) << stop.message;
            }
        }
    }
}

} // namespace
