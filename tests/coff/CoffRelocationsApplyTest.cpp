// Applying i386 COFF entries to a section's bytes: the field corrected by
// the target's move, the place-relative forms in files at their input and
// at new addresses, unresolved targets, and the reports of entries that
// cannot be applied.

#include "CoffRelocationsTestSupport.h"
#include "coff/CoffObjectFile.h"
#include "kit/CoffBuilder.h"
#include "reloc/Args.h"

#include <gtest/gtest.h>

namespace {

std::vector<uint8_t> le32(uint32_t value) {
    return {uint8_t(value), uint8_t(value >> 8), uint8_t(value >> 16), uint8_t(value >> 24)};
}

// .text at 0x100: a call to _ext at offset 0xC (field -4, as compilers
// write it), a reference to _local at 4 (the field holds its address in the
// file, 0x204); .data at 0x200 holds _local at 4.
std::vector<uint8_t> callFile(uint16_t type = 20) {
    std::vector<uint8_t> text = bytes(16);
    std::vector<uint8_t> field = le32(0x204);
    std::copy(field.begin(), field.end(), text.begin() + 4);
    field = le32(0xFFFFFFFC);
    std::copy(field.begin(), field.end(), text.begin() + 12);
    return CoffBuilder()
        .section(".text", coffSectionText, text)
        .address(0x100)
        .relocation(0x10C, 1, type)
        .relocation(0x104, 0, 6)
        .section(".data", coffSectionData, bytes(8))
        .address(0x200)
        .symbol("_local", 0x204, 2, coffClassStatic)
        .symbol("_ext", 0, 0, coffClassExternal)
        .build();
}

uint32_t fieldAt(const std::vector<uint8_t> &bytes, uint32_t offset) {
    return uint32_t(bytes[offset]) | uint32_t(bytes[offset + 1]) << 8 |
           uint32_t(bytes[offset + 2]) << 16 | uint32_t(bytes[offset + 3]) << 24;
}

TEST(CoffApply, APcRelativeCallFollowsItsTargetAndItsPlace) {
    CoffTable t(callFile());
    OutputSymbol ext("_ext", 0x5000, 1);
    t.coff->symbolAt(1)->link = &ext;
    // v = 0x5000 + 0x100 + 0xC, less P = 0x10C: the field gains 0x5000.
    EXPECT_EQ(fieldAt(t.applied(0), 12), 0x4FFCu);
    // With the section at 0x2000 the place is 0x200C: the distance shrinks
    // by what the section moved.
    t.section->setAddress(0x2000);
    EXPECT_EQ(fieldAt(t.applied(0), 12), 0x4FFCu - 0x1F00u);
    EXPECT_EQ(t.section->inputAddress(), 0x100u);
    EXPECT_TRUE(t.reports.lines.empty());
}

TEST(CoffApply, AnUnresolvedCallStaysAsItIs) {
    CoffTable t(callFile());
    EXPECT_EQ(fieldAt(t.applied(0), 12), 0xFFFFFFFCu);
    EXPECT_TRUE(t.reports.lines.empty());
}

TEST(CoffApply, AnAbsoluteReferenceMovesWithItsTarget) {
    CoffTable t(callFile());
    t.coff->inputSectionAt(2)->setAddress(0x3010);
    EXPECT_EQ(fieldAt(t.applied(1), 4), 0x3014u);
}

TEST(CoffApply, EntriesThatCannotBeApplied) {
    struct Row {
        uint16_t type;
        uint32_t symndx;
        std::vector<std::string> reports;
    };
    const std::string head =
        "E: In test.o, section .text at 0x0,\n|\t(relocation record #0 of type ";
    const Row rows[] = {
        // A type with no routine: both reports.
        {3,
         0,
         {head + "3?) refs symbol \"_x\":\n|\tbad fixup",
          head + "3?) refs symbol \"_x\":\n|\ttruncation error"}},
        // A type beyond the rows has nothing to go on with.
        {21, 0, {head + "21?) refs symbol \"_x\":\n|\tbad fixup"}},
        // No symbol at the index.
        {6, 7, {head + "R_DIR32) refs section \"???\":\n|\tbad fixup"}},
        // 0xFFF0 + 0x20 does not fit 16 bits.
        {1, 0, {head + "R_DIR16) refs symbol \"_x\":\n|\ttruncation error"}},
        // 0xF0 + 0x20 is beyond a byte.
        {18, 0, {head + "R_PCRBYTE) refs symbol \"_x\":\n|\ttruncation error"}},
    };
    for (const Row &r : rows) {
        CoffTable t(CoffBuilder()
                        .section(".text", coffSectionText, {0xF0, 0xFF, 0, 0})
                        .address(0x100)
                        .relocation(0x100, r.symndx, r.type)
                        .symbol("_x", 0, 0, coffClassExternal)
                        .build());
        OutputSymbol x("_x", 0x20, 1);
        t.coff->symbolAt(0)->link = &x;
        t.applied(0);
        EXPECT_EQ(t.reports.lines, r.reports) << r.type;
    }
}

class NoOptions : public OptionHandler {
public:
    void handleOption(const char *, Args &, ErrorContext &) override {}
};

// What the two options of a partial link do to a field: .text at 0x100
// holds 0x1000 at offset 0 and 0x204 at offset 4; .data at 0x200 holds the
// static _local and the global _glob at 4.
TEST(CoffApply, OptionsOfAPartialLink) {
    std::vector<uint8_t> text = le32(0x1000);
    std::vector<uint8_t> second = le32(0x204);
    text.insert(text.end(), second.begin(), second.end());
    std::vector<uint8_t> image = CoffBuilder()
                                     .section(".text", coffSectionText, text)
                                     .address(0x100)
                                     .relocation(0x100, 0, 20) // R_PCRLONG _local
                                     .relocation(0x104, 1, 6)  // R_DIR32 _glob
                                     .relocation(0x100, 2, 20) // R_PCRLONG _ext, unresolved
                                     .relocation(0x104, 3, 6)  // R_DIR32 .data
                                     .section(".data", coffSectionData, bytes(8))
                                     .address(0x200)
                                     .symbol("_local", 0x204, 2, coffClassStatic)
                                     .symbol("_glob", 0x204, 2, coffClassExternal)
                                     .symbol("_ext", 0, 0, coffClassExternal)
                                     .sectionSymbol(2)
                                     .build();
    NoOptions handler;
    Args args("tnm", handler);
    struct Row {
        uint32_t visit;
        uint8_t first, second;
        bool withArgs;
        uint32_t field;
    };
    const Row rows[] = {
        // A call into another section: with option 2 and no second option,
        // the place is added once more.
        {0, 0, 0, true, 0x1000},
        {0, 2, 0, true, 0x1100},
        {0, 2, 1, true, 0x1000},
        {0, 2, 0, false, 0x1000}, // no link, nothing needed in an output
        // Option 3: the field is corrected to the negated old value, but
        // for a section's own symbol.
        {1, 3, 0, true, 0xFFFFFDFC},
        {1, 3, 0, false, 0x204},
        {3, 3, 0, true, 0x204},
        // An unresolved call: option 3 adds the place.
        {2, 0, 0, true, 0x1000},
        {2, 3, 0, true, 0x1100},
    };
    for (const Row &r : rows) {
        CoffTable t(image, 1, r.withArgs ? &args : nullptr);
        t.table->setFirstOption(r.first);
        t.table->setSecondOption(r.second);
        uint32_t offset = r.visit % 2 ? 4 : 0;
        EXPECT_EQ(fieldAt(t.applied(r.visit), offset), r.field)
            << r.visit << " " << int(r.first) << int(r.second) << r.withArgs;
        EXPECT_TRUE(t.reports.lines.empty());
    }
}

// An AM29K relative instruction whose field already counts from the place
// (relocatable file) and whose target is unresolved stays as it is, unless
// the second option says otherwise.
TEST(CoffApply, UnresolvedRelativeInstruction) {
    std::vector<uint8_t> image =
        CoffBuilder(BigEndian, 0x17A)
            .section(".text", coffSectionText, {0, 0, 0, 0, 0x20, 0, 0, 0x10})
            .relocation(4, 0, 24)
            .symbol("_g", 0, 0, coffClassExternal)
            .build();
    NoOptions handler;
    Args args("tnm", handler);
    struct Row {
        uint8_t first, second;
        uint8_t constant;
    };
    // (0 - 4 + 0x40) / 4 with the second option; with option 3 too, the
    // place is added: (4 - 4 + 0x40) / 4.
    const Row rows[] = {{0, 0, 0x10}, {0, 1, 0x0F}, {3, 1, 0x10}};
    for (const Row &r : rows) {
        CoffTable t(image, 1, &args);
        t.table->setFirstOption(r.first);
        t.table->setSecondOption(r.second);
        EXPECT_EQ(t.applied(0)[7], r.constant) << int(r.first) << int(r.second);
    }
}

// A link reads a section's contents with its entries applied in place.
TEST(CoffApply, DataChunksComePatched) {
    Reports reports;
    LoadedCoff coff = loadCoff(callFile(), reports);
    OutputSymbol ext("_ext", 0x5000, 1);
    coff->symbolAt(1)->link = &ext;
    NoOptions handler;
    Args args("tnm", handler);
    std::vector<uint8_t> seen;
    coff->inputSectionAt(1)->eachDataChunk(
        [&](uint32_t offset, uint32_t size, uint8_t *bytes) {
            EXPECT_EQ(offset, 0u);
            seen.assign(bytes, bytes + size);
            return true;
        },
        args, reports, 0);
    ASSERT_EQ(seen.size(), 16u);
    EXPECT_EQ(fieldAt(seen, 12), 0x4FFCu);
    EXPECT_EQ(fieldAt(seen, 4), 0x204u);
    EXPECT_TRUE(reports.lines.empty());
}

} // namespace
