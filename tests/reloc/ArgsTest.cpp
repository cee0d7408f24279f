// The link's options record: defaults, the derived relocation block, the
// export test, the decompressor's name, the saved command line and the
// questions of the object model.
#include "reloc/Args.h"

#include "support/error.h"
#include "support/errors.h"
#include "support/sdict.h"
#include "support/toggles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

class RecordingHandler : public OptionHandler {
public:
    std::vector<std::string> words;
    Args *seenArgs = nullptr;
    ErrorContext *seenContext = nullptr;
    void handleOption(const char *word, Args &args, ErrorContext &errorContext) override {
        words.emplace_back(word);
        seenArgs = &args;
        seenContext = &errorContext;
    }
};

std::unique_ptr<StringDictionary> namesOf(std::initializer_list<const char *> names) {
    auto set = std::make_unique<StringDictionary>(7);
    for (const char *name : names)
        set->add(name, 1);
    return set;
}

// The nine bytes in their order.
std::vector<int> bytesOf(const RelocationOptions &o) {
    return {o.outputFormat,    o.relocatableOutput,   o.wantsDynamicEntries,
            o.dynamicOutput,   o.referencesCheck,     o.referencesCheckOverride,
            o.reservedExports, o.reservedRelocatable, o.lastOption};
}

TEST(Args, StartsWithTheDefaultsAndResetsToThem) {
    RecordingHandler handler;
    Args args("tld", handler);
    EXPECT_EQ(bytesOf(args.relocationOptions), (std::vector<int>{0, 0, 0, 0, 0, 0, 1, 0, 0}));
    EXPECT_TRUE(args.relocatableBlock);
    EXPECT_TRUE(args.dynamicEntriesSwitch);
    EXPECT_FALSE(args.dynamicSymbols);
    EXPECT_STREQ(args.picTableSymbol, "__PICTABLE__");
    EXPECT_EQ(args.commandLine(), nullptr);
    EXPECT_NE(toggleTable().find("NOCOMPRESS"), nullptr);

    args.dynamicSymbols = true;
    args.exportOnly = namesOf({"a"});
    args.picTableSymbol = "other";
    args.deriveRelocationOptions();
    args.reset();
    EXPECT_FALSE(args.dynamicSymbols);
    EXPECT_EQ(args.exportOnly, nullptr);
    EXPECT_STREQ(args.picTableSymbol, "__PICTABLE__");
    EXPECT_EQ(bytesOf(args.relocationOptions), (std::vector<int>{0, 0, 0, 0, 0, 0, 1, 0, 0}));
}

TEST(Args, DerivesTheRelocationBlock) {
    RecordingHandler handler;
    Args args("tld", handler);
    args.deriveRelocationOptions();
    EXPECT_EQ(bytesOf(args.relocationOptions), (std::vector<int>{0, 0, 1, 0, 0, 0, 0, 0, 0}));

    args.outputKind = 3;
    args.relocatableSwitch = true;
    args.positionIndependent = true;
    args.dynamicSymbols = true;
    args.noExports = true;
    args.dynamicEntriesSwitch = false;
    args.deriveRelocationOptions();
    // The block still holds relocatable output back.
    EXPECT_EQ(bytesOf(args.relocationOptions), (std::vector<int>{3, 0, 0, 0, 1, 1, 1, 1, 0}));

    args.relocatableBlock = false;
    args.deriveRelocationOptions();
    EXPECT_EQ(args.relocationOptions.relocatableOutput, 1);

    // Dynamic output is never relocatable.
    args.dynamicOutputSwitch = true;
    args.deriveRelocationOptions();
    EXPECT_EQ(args.relocationOptions.relocatableOutput, 0);
    EXPECT_EQ(args.relocationOptions.dynamicOutput, 1);
}

TEST(Args, RestrictsExportsByTheSwitchesAndTheSets) {
    RecordingHandler handler;
    Args args("tld", handler);
    args.exportOnly = namesOf({"kept", "both"});
    args.exportExcept = namesOf({"both", "dropped"});
    // Without dynamic symbols every name is restricted, whatever the sets say.
    EXPECT_TRUE(args.isExportRestricted("kept"));

    args.dynamicSymbols = true;
    struct {
        const char *name;
        bool restricted;
    } rows[] = {{"kept", false}, {"both", true}, {"dropped", true}, {"other", true}};
    for (const auto &row : rows)
        EXPECT_EQ(args.isExportRestricted(row.name), row.restricted) << row.name;

    args.exportOnly.reset();
    EXPECT_FALSE(args.isExportRestricted("other"));
    EXPECT_TRUE(args.isExportRestricted("dropped"));
    args.noExports = true;
    EXPECT_TRUE(args.isExportRestricted("other"));
}

TEST(Args, NamesTheDecompressor) {
    RecordingHandler handler;
    Args args("tld", handler);
    EXPECT_STREQ(args.decompressorName(), "_lz_decompress");
    args.compressionMethod = "none"; // only "NONE" exactly turns it off
    EXPECT_STREQ(args.decompressorName(), "_lz_decompress");
    args.compressionMethod = "NONE";
    EXPECT_EQ(args.decompressorName(), nullptr);
    args.decompressor = "_my_unpack";
    EXPECT_STREQ(args.decompressorName(), "_my_unpack");

    Toggle &noCompress = toggleTable().define("NOCOMPRESS", false);
    noCompress.push(true);
    EXPECT_EQ(args.decompressorName(), nullptr);
    noCompress.pop();
    EXPECT_STREQ(args.decompressorName(), "_my_unpack");
}

TEST(Args, KeepsTheCommandLineWithBlanksAndQuotes) {
    RecordingHandler handler;
    Args args("tld", handler);
    args.addCommandWord("-o");
    args.addCommandWord("a b.out");
    args.addCommandWord("x\"y");
    args.addCommandWord("");
    EXPECT_STREQ(args.commandLine(), " -o \"a b.out\" x\"y ");

    // Many long words make the buffer grow several times; the text stays whole.
    std::string expected = " -o \"a b.out\" x\"y ";
    std::string word(150, 'w');
    for (int i = 0; i < 20; ++i) {
        word[0] = char('a' + i);
        args.addCommandWord(word.c_str());
        expected += " " + word;
    }
    EXPECT_EQ(args.commandLine(), expected);
}

TEST(Args, AnswersTheObjectModelsQuestions) {
    RecordingHandler handler;
    Args args("tld", handler);
    LinkOptions &options = args;
    EXPECT_FALSE(options.wantsDynamicSymbols());
    EXPECT_FALSE(options.wantsUndefinedDynamicSymbols());
    EXPECT_FALSE(options.passesRelocationFlag());
    EXPECT_FALSE(options.silencesRelocationFailures());
    args.dynamicSymbols = true;
    args.undefinedDynamicSymbols = true;
    args.relocationFlagSwitch = true;
    args.quietRelocationsSwitch = true;
    EXPECT_TRUE(options.wantsDynamicSymbols());
    EXPECT_TRUE(options.wantsUndefinedDynamicSymbols());
    EXPECT_TRUE(options.passesRelocationFlag());
    EXPECT_TRUE(options.silencesRelocationFailures());
    EXPECT_FALSE(options.isExportRestricted("name"));

    NullErrorContext quiet;
    options.handleOption("-lfoo", nullptr, quiet);
    args.handleOption("-g", quiet);
    EXPECT_EQ(handler.words, (std::vector<std::string>{"-lfoo", "-g"}));
    EXPECT_EQ(handler.seenArgs, &args);
    EXPECT_EQ(handler.seenContext, &quiet);
}

} // namespace
