// Micro-benchmarks of the hot paths of a listing: identifying a file,
// reading one ELF object, writing rows, sorting by name, and unmangling a
// name.  The inputs are made with the test writer kit into a scratch
// directory; rows are written to /dev/null through the real standard output,
// so the stdio buffering the tool runs with is part of what is measured.
#include "demangle/unmangle.h"
#include "input/FileIdentity.h"
#include "input/InputFile.h"
#include "input/ObjectFileLoader.h"
#include "kit/ElfBuilder.h"
#include "object/ObjectFile.h"
#include "object/Symbol.h"
#include "support/errors.h"
#include "tool/nm_listing.h"
#include "tool/nm_main.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// An i386 relocatable object with `count` symbols of mixed kinds, written to
// a scratch file once per size; the path stays valid for the run.
const char *objectWithSymbols(uint32_t count) {
    static std::vector<std::pair<uint32_t, std::string>> made;
    for (auto &entry : made)
        if (entry.first == count) return entry.second.c_str();

    ElfBuilder elf(LittleEndian);
    elf.type(ET_REL).machine(EM_386);
    elf.section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(64, 0x90));
    elf.section(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, bytes(32));
    elf.section(".bss", SHT_NOBITS, SHF_ALLOC | SHF_WRITE, {}, 64);
    elf.symbol("bench.c", 0, 0, STB_LOCAL, STT_FILE, SHN_ABS);
    static const char *const sections[] = {".text", ".data", ".bss"};
    for (uint32_t i = 1; i < count; ++i) {
        char name[64];
        snprintf(name, sizeof name, "symbol_%08x_%u", (i * 2654435761U) ^ 0x5bd1e995U, i);
        if (i % 5 == 0)
            elf.symbol(name, 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_UNDEF);
        else
            elf.symbol(name, (i * 4) % 32, 4, i < count / 4 ? STB_LOCAL : STB_GLOBAL,
                       i % 3 == 0 ? STT_OBJECT : STT_FUNC, sections[i % 3]);
    }
    std::vector<uint8_t> data = elf.build();

    const char *dir = getenv("TMPDIR");
    std::string path = std::string(dir && *dir ? dir : "/tmp") + "/tnm-microbench-" +
                       std::to_string(getpid()) + "-" + std::to_string(count) + ".o";
    FILE *out = fopen(path.c_str(), "wb");
    if (!out || fwrite(data.data(), 1, data.size(), out) != data.size() || fclose(out) != 0) {
        fprintf(stderr, "cannot write %s\n", path.c_str());
        exit(1);
    }
    made.emplace_back(count, path);
    return made.back().second.c_str();
}

// Points standard output at /dev/null for the lifetime of the object, and
// back at what it was afterwards, so that the benchmark's own report is
// still seen.
class QuietStdout {
public:
    QuietStdout() {
        fflush(stdout);
        saved = dup(STDOUT_FILENO);
        int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    ~QuietStdout() {
        fflush(stdout);
        dup2(saved, STDOUT_FILENO);
        close(saved);
    }

private:
    int saved;
};

void BM_Identify(benchmark::State &state) {
    NullErrorContext errors;
    InputFile file(objectWithSymbols(32), &errors);
    for (auto _ : state) {
        FileIdentity identity;
        FileIdentity::identify(identity, file, false);
        benchmark::DoNotOptimize(identity.kind);
    }
}
BENCHMARK(BM_Identify);

void BM_OpenAndIdentify(benchmark::State &state) {
    NullErrorContext errors;
    const char *path = objectWithSymbols(32);
    for (auto _ : state) {
        InputFile file(path, &errors);
        FileIdentity identity;
        FileIdentity::identify(identity, file, false);
        benchmark::DoNotOptimize(identity.kind);
    }
}
BENCHMARK(BM_OpenAndIdentify);

// Reading one ELF object as a library member is read: from an open file,
// through the loader, to an ObjectFile with all its symbols.
void BM_ReadElfObject(benchmark::State &state) {
    NullErrorContext errors;
    InputFile file(objectWithSymbols(uint32_t(state.range(0))), &errors);
    for (auto _ : state) {
        file.seek(0);
        ObjectFormatKind kind = unknownFormat;
        std::unique_ptr<ObjectFile> object = loadObjectFile(file, errors, kind);
        benchmark::DoNotOptimize(object.get());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ReadElfObject)->Arg(25)->Arg(250)->Arg(2500);

// Rows of output: displayObject over a loaded object; the rate is rows.
void listRows(benchmark::State &state, const NmOptions &options) {
    NullErrorContext errors;
    InputFile file(objectWithSymbols(uint32_t(state.range(0))), &errors);
    ObjectFormatKind kind = unknownFormat;
    std::unique_ptr<ObjectFile> object = loadObjectFile(file, errors, kind);
    if (!object) {
        state.SkipWithError("the object did not load");
        return;
    }
    NmOptions saved = nmOptions;
    nmOptions = options;
    {
        QuietStdout quiet;
        for (auto _ : state)
            displayObject(*object, errors);
    }
    nmOptions = saved;
    state.SetItemsProcessed(state.iterations() * object->symbolCount());
}

void BM_FullRows(benchmark::State &state) {
    listRows(state, NmOptions{});
}
BENCHMARK(BM_FullRows)->Arg(1000);

void BM_ParsableRows(benchmark::State &state) {
    NmOptions options;
    options.parsableOutput = true;
    listRows(state, options);
}
BENCHMARK(BM_ParsableRows)->Arg(1000);

void BM_SortedByNameRows(benchmark::State &state) {
    NmOptions options;
    options.sortByName = true;
    listRows(state, options);
}
BENCHMARK(BM_SortedByNameRows)->Arg(1000);

void BM_DemangledSortedRows(benchmark::State &state) {
    NmOptions options;
    options.sortByName = true;
    options.demangleNames = true;
    listRows(state, options);
}
BENCHMARK(BM_DemangledSortedRows)->Arg(1000);

// Names of each scheme the demangler reads, and plain C names that it
// passes through (the common case in a C library listed with -C).
const char *const mangledNames[] = {
    "foo__Fv",           "__ct__3FooFv",        "__dt__Q28typeinfo9Type_infoFv", "m__3FooVCFi",
    "__ct__ti_3VecFv",   "foo__Fi.x__Fc.y__Fl", "fe1234567_89__5SynthFPCci",     "printf",
    "__libc_start_main", "_IO_stdin_used",
};

void BM_Unmangle(benchmark::State &state) {
    char buffer[512];
    for (auto _ : state)
        for (const char *name : mangledNames)
            benchmark::DoNotOptimize(unmangle(name, buffer, sizeof buffer));
    state.SetItemsProcessed(state.iterations() * int64_t(std::size(mangledNames)));
}
BENCHMARK(BM_Unmangle);

} // namespace

BENCHMARK_MAIN();
