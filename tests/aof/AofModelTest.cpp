// What the AOF classes answer: each symbol attribute combination, each area
// attribute combination, the fixed answers of symbols, areas and the object
// file, and the compatibility test against AOF, ELF and other files.
#include "AofTestSupport.h"

#include "elf/ElfObjectFileFromInput.h"
#include "input/FileIdentity.h"
#include "kit/ElfBuilder.h"
#include "kit/FakeObjectFile.h"

namespace {

TEST_F(AofTest, SymbolAnswersByAttributes) {
    struct Row {
        const char *name;
        uint32_t attributes;
        const char *area; // "" for none
        bool global, undefined, common, absolute;
        SymbolBinding binding;
        SymbolType type;
    } rows[] = {
        {"local_code", 0x01, "C$$code", false, false, false, false, SymbolBinding::local,
         SymbolType::function},
        {"global_data", 0x03, "C$$data", true, false, false, false, SymbolBinding::global,
         SymbolType::data},
        {"weak_code", 0x13, "C$$code", true, false, false, false, SymbolBinding::weak,
         SymbolType::function},
        {"zero_data", 0x03, "C$$zidata", true, false, false, false, SymbolBinding::global,
         SymbolType::data},
        // Undefined and common at once; the weak bit means nothing without
        // the global bit.
        {"common", 0x42, "", true, true, true, false, SymbolBinding::global, SymbolType::none},
        {"weak_ref", 0x12, "", true, true, false, false, SymbolBinding::weak, SymbolType::none},
        {"local_weak_bit", 0x11, "C$$data", false, false, false, false, SymbolBinding::local,
         SymbolType::data},
        {"no_area", 0x03, "", true, false, false, false, SymbolBinding::global, SymbolType::none},
        {"absolute", 0x07, "", true, false, false, true, SymbolBinding::global, SymbolType::none},
        {"extern", 0x02, "", true, true, false, false, SymbolBinding::global, SymbolType::none},
    };
    for (auto order : bothOrders) {
        AofBuilder aof(order);
        aof.area("C$$code", AofBuilder::code, {0, 0, 0, 0});
        aof.area("C$$data", 0, {0, 0, 0, 0});
        aof.zeroArea("C$$zidata", 0, 16);
        uint32_t value = 0x100;
        for (const Row &row : rows)
            aof.symbol(row.name, row.attributes, value++, row.area);
        LoadedAof loaded = load(aof.build());
        ASSERT_TRUE(loaded.object) << errors.lines;
        ArmObjectFileInput &object = *loaded.object;
        ASSERT_EQ(object.symbolCount(), std::size(rows));
        for (uint32_t i = 0; i < std::size(rows); ++i) {
            const Row &row = rows[i];
            ArmSymbol &symbol = *object.symbolAt(i);
            EXPECT_STREQ(symbol.name(), row.name);
            EXPECT_EQ(symbol.isGlobal(), row.global) << row.name;
            EXPECT_EQ(symbol.isUndefined(), row.undefined) << row.name;
            EXPECT_EQ(symbol.isCommon(), row.common) << row.name;
            EXPECT_EQ(symbol.isAbsolute(), row.absolute) << row.name;
            EXPECT_EQ(symbol.binding(), row.binding) << row.name;
            EXPECT_EQ(symbol.type(), row.type) << row.name;
            Section *area = symbol.section();
            EXPECT_STREQ(area ? area->name() : "", row.area) << row.name;
            // Answers that are the same for every symbol.
            EXPECT_EQ(symbol.value(), 0x100 + i) << row.name;
            EXPECT_EQ(symbol.originalValue(), 0x100 + i) << row.name;
            EXPECT_EQ(symbol.size(), 0u) << row.name;
            EXPECT_EQ(symbol.alignment(), 4u) << row.name;
            EXPECT_EQ(symbol.other(), 0u) << row.name;
            EXPECT_FALSE(symbol.isSmallCommon()) << row.name;
            EXPECT_EQ(symbol.objectFile(), &object) << row.name;
        }
    }
}

TEST_F(AofTest, AreaAnswersByAttributes) {
    struct Row {
        const char *name;
        uint32_t attributes;
        uint32_t alignment;
        bool executable, writable, bss;
        SectionType type;
    } rows[] = {
        {"code", AofBuilder::code | 2, 4, true, true, false, SectionType::text},
        {"rocode", AofBuilder::code | AofBuilder::readOnly | 5, 32, true, false, false,
         SectionType::text},
        {"data", 3, 8, false, true, false, SectionType::data},
        {"rodata", AofBuilder::readOnly | 2, 4, false, false, false, SectionType::data},
        {"zeroed", AofBuilder::zeroInit, 1, false, true, true, SectionType::bss},
        {"zerocode", AofBuilder::zeroInit | AofBuilder::code, 1, true, true, true,
         SectionType::text},
        // Only the low five bits of the alignment byte count.
        {"align37", 37, 32, false, true, false, SectionType::data},
        {"align31", 31, 0x80000000, false, true, false, SectionType::data},
    };
    for (auto order : bothOrders) {
        AofBuilder aof(order);
        for (const Row &row : rows)
            if (row.attributes & AofBuilder::zeroInit)
                aof.zeroArea(row.name, row.attributes, 0x40);
            else
                aof.area(row.name, row.attributes, {1, 2, 3, 4}, {}, 0x1000);
        LoadedAof loaded = load(aof.build());
        ASSERT_TRUE(loaded.object) << errors.lines;
        ArmObjectFileInput &object = *loaded.object;
        for (uint32_t i = 0; i < std::size(rows); ++i) {
            const Row &row = rows[i];
            ArmInputSection &area = *object.areaAt(i);
            EXPECT_STREQ(area.name(), row.name);
            EXPECT_STREQ(area.combinedSectionName(), row.name);
            EXPECT_EQ(area.alignment(), row.alignment) << row.name;
            EXPECT_EQ(area.isExecutable(), row.executable) << row.name;
            EXPECT_EQ(area.isWritable(), row.writable) << row.name;
            EXPECT_EQ(area.isBss(), row.bss) << row.name;
            EXPECT_EQ(area.sectionType(), row.type) << row.name;
            // The header's size, for a zero-initialised area too.
            const uint32_t size = row.bss ? 0x40 : 4;
            EXPECT_EQ(area.size(), size) << row.name;
            EXPECT_EQ(area.fileSize(), size) << row.name;
            EXPECT_EQ(area.inputAddress(), row.bss ? 0u : 0x1000u) << row.name;
            EXPECT_EQ(area.ArmSection::inputAddress(), 0u) << row.name;
            EXPECT_TRUE(area.isAllocated() && area.isLoadable() && area.isContentSection());
            EXPECT_FALSE(area.isNote() || area.isAbsolute()) << row.name;
            EXPECT_EQ(area.objectFile(), &object) << row.name;
            EXPECT_EQ(area.asArmSection(), &area) << row.name;
        }
    }
}

TEST_F(AofTest, AddressesAndContents) {
    AofBuilder aof(AofBuilder::bigEndian);
    aof.area("C$$code", AofBuilder::code, {9, 8, 7, 6}, {{0, 0x0A000000}});
    aof.zeroArea("C$$zidata", 0, 8);
    aof.symbol("main", 0x03, 0x10, "C$$code");
    aof.rawSymbol(0x7777, 0x03, 0x20, 0);
    aof.symbol("abs", 0x07, 0x30);
    LoadedAof loaded = load(aof.build());
    ASSERT_TRUE(loaded.object);
    ArmObjectFileInput &object = *loaded.object;
    ArmInputSection &code = *object.areaAt(0);
    EXPECT_EQ(code.address(), 0u);
    code.setAddress(0x8000);
    EXPECT_EQ(code.address(), 0x8000u);
    EXPECT_EQ(object.areaAt(1)->address(), 0u);
    // A symbol's address follows its area's; a name offset beyond the
    // strings gives no name.
    EXPECT_EQ(object.symbolAt(0)->address(), 0x8010u);
    EXPECT_EQ(object.symbolAt(1)->name(), nullptr);
    EXPECT_EQ(object.symbolAt(2)->address(), 0x30u);

    // One chunk of the whole area with its relocation table, which every
    // area has; a zero-initialised area hands out none of its bytes.
    for (uint32_t i = 0; i < 2; ++i) {
        std::vector<std::string> chunks;
        object.areaAt(i)->eachRawDataChunk(
            [&](uint32_t offset, uint32_t size, uint8_t *bytes, RelocationsIterator *relocations) {
                std::string text = std::to_string(offset) + "+" + std::to_string(size) + ":";
                for (uint32_t b = 0; bytes && b < size; ++b)
                    text += std::to_string(bytes[b]);
                chunks.push_back(text + (relocations ? " relocated" : ""));
                return true;
            });
        EXPECT_EQ(chunks,
                  std::vector<std::string>{i == 0 ? "0+4:9876 relocated" : "0+0: relocated"});
    }
}

TEST_F(AofTest, ObjectFileAnswers) {
    AofBuilder aof(AofBuilder::bigEndian);
    aof.area("C$$code", AofBuilder::code, {0, 0, 0, 0});
    aof.area("C$$data", 0, {0, 0, 0, 0});
    aof.symbol("local", 0x01, 0, "C$$code");
    aof.symbol("main", 0x03, 0, "C$$code");
    aof.symbol("weak", 0x13, 0, "C$$data");
    LoadedAof loaded = load(aof.build(), "app.o");
    ASSERT_TRUE(loaded.object);
    ArmObjectFileInput &object = *loaded.object;
    EXPECT_EQ(object.formatKind(), armFormat);
    EXPECT_TRUE(object.isRelocatable());
    EXPECT_FALSE(object.isExecutable());
    EXPECT_FALSE(object.isSharedObject());
    EXPECT_EQ(object.machine(), 0x28u);
    EXPECT_EQ(object.asArmObjectFile(), &object);
    EXPECT_EQ(object.entry(), 0u);
    EXPECT_EQ(object.fileName, &loaded.file->fileName);

    // Walks in table order, and each ends when its visitor says so.
    auto names = [](auto walk, int stopAfter) {
        std::string text;
        int seen = 0;
        walk([&](auto &item) {
            text += std::string(item.name()) + " ";
            return ++seen < stopAfter;
        });
        return text;
    };
    auto symbols = [&](SymbolVisitor v) { object.eachSymbol(v); };
    auto collection = [&](SymbolVisitor v) { object.each(v); };
    auto globals = [&](SymbolVisitor v) { object.eachGlobalSymbol(v); };
    auto sections = [&](SectionVisitor v) { object.eachSection(v); };
    EXPECT_EQ(names(symbols, 9), "local main weak ");
    EXPECT_EQ(names(symbols, 2), "local main ");
    EXPECT_EQ(names(collection, 9), "local main weak ");
    EXPECT_EQ(names(globals, 9), "main weak ");
    EXPECT_EQ(names(sections, 9), "C$$code C$$data ");
    EXPECT_EQ(names(sections, 1), "C$$code ");
    EXPECT_EQ(object.count(), 3u);
    EXPECT_EQ(object.sectionCount(), 2u);
}

// An ELF file of the machine and byte order given, read as the loader would.
struct ElfPartner {
    std::unique_ptr<InputFile> file;
    std::unique_ptr<ElfObjectFileFromInput> object;
    ElfPartner(uint16_t machine, ByteOrder order, RecordingErrors &errors)
        : file(aofInput(ElfBuilder(order).machine(machine).build(), "partner.elf")),
          object(std::make_unique<ElfObjectFileFromInput>(*file, errors)) {}
};

TEST_F(AofTest, CompatibilityWithOtherFiles) {
    LoadedAof little = load(AofBuilder(AofBuilder::littleEndian).build(), "little.o");
    LoadedAof big = load(AofBuilder(AofBuilder::bigEndian).build(), "big.o");
    LoadedAof other = load(AofBuilder(AofBuilder::littleEndian).build(), "other.o");
    ElfPartner armLittle(EM_ARM, LittleEndian, errors);
    ElfPartner armBig(EM_ARM, BigEndian, errors);
    ElfPartner sparcBig(EM_SPARC, BigEndian, errors);
    FakeObjectFile foreign("foreign.o");
    ASSERT_TRUE(little.object && big.object && other.object);

    struct Row {
        const char *what;
        ObjectFile &partner;
        const char *text; // null: compatible
        bool byteOrder;
    } rows[] = {
        {"AOF, same order", *other.object, nullptr, false},
        {"AOF, other order", *big.object, "endian mismatch", true},
        {"ARM ELF, same order", *armLittle.object, nullptr, false},
        {"ARM ELF, other order", *armBig.object, "endian mismatch", true},
        {"SPARC ELF, other order", *sparcBig.object,
         "linking ARM object file to a non-ARM ELF file", false},
        {"another format", foreign, "incompatible object file formats", false},
    };
    for (const Row &row : rows) {
        IncompatibilityReason *reason = little.object->incompatibility(row.partner);
        EXPECT_EQ(little.object->isCompatibleWith(row.partner), row.text == nullptr) << row.what;
        if (!row.text) {
            EXPECT_EQ(reason, nullptr) << row.what;
            continue;
        }
        ASSERT_NE(reason, nullptr) << row.what;
        EXPECT_STREQ(reason->text(), row.text) << row.what;
        EXPECT_EQ(reason->byteOrder(), row.byteOrder) << row.what;
        EXPECT_FALSE(reason->possibly()) << row.what;
        EXPECT_EQ(reason->firstName(), row.partner.fileName) << row.what;
        EXPECT_EQ(reason->secondName(), little.object->fileName) << row.what;
    }
    // One reason object serves every call.
    EXPECT_EQ(little.object->incompatibility(foreign), big.object->incompatibility(foreign));
    EXPECT_EQ(errors.lines, "");
}

} // namespace
