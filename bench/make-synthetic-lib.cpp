// make-synthetic-lib: writes a large "!<arch>\n" library of 32-bit i386 ELF
// relocatable objects with the test writer kit, to show how the cost of a
// listing grows with the size of a library.
//
//   make-synthetic-lib OUTPUT MEMBERS SYMBOLS-PER-MEMBER [--no-index]
//
// Every member has .text, .data and .bss and SYMBOLS-PER-MEMBER symbols: a
// file symbol, then a rotating mix of local and global functions, data,
// commons, undefined references and C++-style names, all of distinct names
// so that a sort by name has real work to do.  Names are scattered (a hash of
// the member and symbol numbers comes first) so that the order of the file is
// not already the sorted order.  The library gets a System V symbol index of
// its defined globals, as ar makes one, unless --no-index is given.
#include "kit/ArchiveBuilder.h"
#include "kit/ElfBuilder.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

uint32_t scramble(uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    x ^= x >> 16;
    return x;
}

std::string symbolName(uint32_t member, uint32_t index, const char *kind) {
    char text[96];
    uint32_t key = scramble(member * 1000003U + index);
    // Every fifth name is a mangled C++ member function, in the scheme the
    // demangler reads ("Synth::f...(const char *,int)").
    if (index % 5 == 4)
        snprintf(text, sizeof text, "f%08x_%u__5SynthFPCci", key, member);
    else
        snprintf(text, sizeof text, "%s_%08x_%u_%u", kind, key, member, index);
    return text;
}

std::vector<uint8_t> makeMember(uint32_t member, uint32_t symbols,
                                std::vector<ArchiveBuilder::Symbol> &index) {
    ElfBuilder elf(LittleEndian);
    elf.type(ET_REL).machine(EM_386);
    elf.section(".text", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR, bytes(64, 0x90));
    elf.section(".data", SHT_PROGBITS, SHF_ALLOC | SHF_WRITE, bytes(32));
    elf.section(".bss", SHT_NOBITS, SHF_ALLOC | SHF_WRITE, {}, 256);

    char fileName[32];
    snprintf(fileName, sizeof fileName, "m%05u.c", member);
    elf.symbol(fileName, 0, 0, STB_LOCAL, STT_FILE, SHN_ABS);
    // Locals come before globals in a symbol table.
    uint32_t locals = symbols / 4;
    for (uint32_t i = 1; i < symbols; ++i) {
        bool global = i > locals;
        uint8_t binding = global ? (i % 7 == 0 ? STB_WEAK : STB_GLOBAL) : STB_LOCAL;
        uint32_t value = (i * 4) % 64;
        std::string name;
        switch (i % 4) {
        case 0:
            name = symbolName(member, i, "func");
            elf.symbol(name, value, 4, binding, STT_FUNC, ".text");
            break;
        case 1:
            name = symbolName(member, i, "data");
            elf.symbol(name, value % 32, 4, binding, STT_OBJECT, ".data");
            break;
        case 2:
            name = symbolName(member, i, global ? "common" : "bss");
            if (global)
                elf.symbol(name, 4, 16, STB_GLOBAL, STT_OBJECT, SHN_COMMON);
            else
                elf.symbol(name, value, 8, binding, STT_OBJECT, ".bss");
            break;
        default:
            name = symbolName(member, i, "extern");
            if (global)
                elf.symbol(name, 0, 0, STB_GLOBAL, STT_NOTYPE, SHN_UNDEF);
            else
                elf.symbol(name, value, 0, binding, STT_NOTYPE, ".text");
            break;
        }
        bool defined = global && i % 4 != 3;
        if (defined) index.push_back({name, member});
    }
    return elf.build();
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 4) {
        fprintf(stderr, "usage: %s OUTPUT MEMBERS SYMBOLS-PER-MEMBER [--no-index]\n", argv[0]);
        return 2;
    }
    uint32_t members = uint32_t(strtoul(argv[2], nullptr, 10));
    uint32_t symbols = uint32_t(strtoul(argv[3], nullptr, 10));
    bool withIndex = !(argc > 4 && strcmp(argv[4], "--no-index") == 0);
    if (members == 0 || symbols < 2) {
        fprintf(stderr, "%s: need at least one member and two symbols a member\n", argv[0]);
        return 2;
    }

    ArchiveBuilder library;
    std::vector<ArchiveBuilder::Symbol> index;
    std::vector<std::vector<uint8_t>> objects;
    objects.reserve(members);
    for (uint32_t m = 0; m < members; ++m)
        objects.push_back(makeMember(m, symbols, index));
    if (withIndex) library.symbolTable(std::move(index));
    for (uint32_t m = 0; m < members; ++m) {
        char name[32];
        // With an index, every tenth member has a name too long for the
        // header, so the library has a long-name table as real ones do.  A
        // reader takes the first "/"-named member for the index, so a
        // library without one keeps to short names (no "//" member first).
        if (withIndex && m % 10 == 9)
            snprintf(name, sizeof name, "synthetic_member_%05u.o", m);
        else
            snprintf(name, sizeof name, "m%05u.o", m);
        library.member(name, std::move(objects[m]));
    }

    std::vector<uint8_t> file = library.build();
    FILE *out = fopen(argv[1], "wb");
    if (!out || fwrite(file.data(), 1, file.size(), out) != file.size() || fclose(out) != 0) {
        fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[1]);
        return 1;
    }
    return 0;
}
