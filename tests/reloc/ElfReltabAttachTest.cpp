// Which relocation sections the reader turns into tables and hands to their
// targets: none for a target that a link has discarded as a duplicate
// COMDAT section, and a table handed over again changes nothing.
#include "ElfReltabTestSupport.h"

#include "input/FileName.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <unistd.h>

namespace {

// The COMDAT names that an earlier file of a link has kept already.
class KeptComdats : public ComdatTable {
public:
    explicit KeptComdats(std::string kept) : kept(std::move(kept)) {}
    bool contains(const char *name) override { return kept == name; }
    void add(ElfSection &, ErrorContext &) override {}

private:
    std::string kept;
};

struct ReadFile {
    std::unique_ptr<InputFile> input;
    std::unique_ptr<ElfObjectFileFromInput> object;

    ElfSection *section(const char *name) {
        for (uint32_t i = 1; i < object->sectionSlots(); ++i)
            if (ElfSection *s = object->sectionAt(i))
                if (std::string(name) == s->name()) return s;
        return nullptr;
    }
};

// Reads `image` as a link would, with `comdats` the names kept so far.
ReadFile readForLink(const std::vector<uint8_t> &image, ErrorContext &errors,
                     ComdatTable *comdats) {
    char path[] = "/tmp/tnm-reltab-attach-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) abort();
    if (write(fd, image.data(), image.size()) != ssize_t(image.size())) abort();
    close(fd);
    FileName &name = FileName::keep(std::make_unique<DisplayFileName>(path, "test.o"));
    ReadFile file;
    file.input = std::make_unique<InputFile>(name, errors);
    unlink(path);
    file.object = std::make_unique<ElfObjectFileFromInput>(*file.input, errors, nullptr, comdats);
    return file;
}

std::vector<uint8_t> comdatObject() {
    ElfBuilder b(LittleEndian);
    b.machine(EM_386)
        .section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(16))
        .section(".text.f", SHT_COMDAT, SHF_ALLOC | SHF_EXECINSTR, bytes(16))
        .symbol("f", 0, 16, STB_GLOBAL, STT_FUNC, ".text.f")
        .symbol("g", 0, 0, STB_GLOBAL, STT_NOTYPE, uint16_t(0))
        .relocations(".rel.text", SHT_REL, ".text", {rela(4, 2, 2)})
        .relocations(".rel.text.f", SHT_REL, ".text.f", {rela(0, 2, 1), rela(8, 2, 2)});
    return b.build();
}

// A discarded duplicate gets no table; the table of a kept section is read.
TEST(ReltabAttach, NoTableForADiscardedComdatSection) {
    struct Case {
        const char *label;
        const char *keptBefore; // COMDAT name an earlier file kept, or null
        bool discarded;
    };
    const Case cases[] = {{"first of its name", nullptr, false},
                          {"a duplicate", ".text.f", true},
                          {"another name kept", ".text.h", false}};
    for (const Case &c : cases) {
        ReltabReports errors;
        KeptComdats kept(c.keptBefore ? c.keptBefore : "");
        ReadFile file = readForLink(comdatObject(), errors, &kept);
        ASSERT_TRUE(file.object->isUsable()) << c.label;
        EXPECT_TRUE(errors.reports.empty()) << c.label;
        ElfSection *target = file.section(".text.f");
        ASSERT_NE(target, nullptr) << c.label;
        EXPECT_EQ(target->isDiscarded(), c.discarded) << c.label;
        ElfSection *table = file.section(".rel.text.f");
        if (c.discarded) {
            EXPECT_EQ(table, nullptr) << c.label;
        } else {
            ASSERT_NE(table, nullptr) << c.label;
            EXPECT_EQ(target->relocations(), static_cast<RelocationsIterator *>(table->asReltab()))
                << c.label;
            EXPECT_EQ(target->relocations()->count(), 2u) << c.label;
        }
        // The other section's table is read either way.
        ElfSection *text = file.section(".text");
        ASSERT_NE(text->relocations(), nullptr) << c.label;
        EXPECT_EQ(text->relocations()->count(), 1u) << c.label;
    }
}

// A section's only table handed to it again stays its only table.
TEST(ReltabAttach, TheSameTableAgainChangesNothing) {
    ReltabReports errors;
    ReadFile file = readForLink(comdatObject(), errors, nullptr);
    ASSERT_TRUE(file.object->isUsable());
    ElfSection *text = file.section(".text");
    ElfSection *table = file.section(".rel.text");
    ASSERT_NE(table, nullptr);
    text->addRelocations(*table);
    text->addRelocations(*table);
    RelocationsIterator *attached = text->relocations();
    EXPECT_EQ(attached, static_cast<RelocationsIterator *>(table->asReltab()));
    EXPECT_FALSE(attached->isCollection());
    EXPECT_EQ(attached->count(), 1u);
}

} // namespace
