// The records of 32-bit ELF files, laid out exactly as they stand in a file.
//
// An ELF file starts with a 52-byte file header: 16 identification bytes
// (0x7F "ELF", the class, the byte order in EI_DATA, the version), then the
// file type, the machine and the places of the program header table (how the
// file is loaded) and the section header table (how it is divided).  Every
// section has a 40-byte header naming its type, flags, place in the file and
// two cross references, sh_link and sh_info, whose meaning depends on the
// type.  Symbols are 16-byte entries of a SHT_SYMTAB or SHT_DYNSYM section
// whose names live in the string table that sh_link names.
//
// Every multi-byte field is in the byte order that EI_DATA gives.  The
// structures below have no padding, so an array of them can receive a block
// of the file byte for byte; the readers then swap each field in place when
// the file's order differs from the host's (see Elf32Util).
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint32_t EI_NIDENT = 16;
constexpr uint32_t EI_CLASS = 4;
constexpr uint32_t EI_DATA = 5;
constexpr uint32_t EI_VERSION = 6;
constexpr uint8_t ELFDATA2LSB = 1;
constexpr uint8_t ELFDATA2MSB = 2;

constexpr uint16_t ET_NONE = 0;
constexpr uint16_t ET_REL = 1;
constexpr uint16_t ET_EXEC = 2;
constexpr uint16_t ET_DYN = 3;

constexpr uint16_t EM_NONE = 0;
constexpr uint16_t EM_SPARC = 2;
constexpr uint16_t EM_386 = 3;
constexpr uint16_t EM_MIPS = 8;
constexpr uint16_t EM_PPC_IBM = 0x11;
constexpr uint16_t EM_PPC = 0x14;
constexpr uint16_t EM_ARM = 0x28;
constexpr uint16_t EM_ARC = 0x2D;

constexpr uint32_t SHT_NULL = 0;
constexpr uint32_t SHT_PROGBITS = 1;
constexpr uint32_t SHT_SYMTAB = 2;
constexpr uint32_t SHT_STRTAB = 3;
constexpr uint32_t SHT_RELA = 4;
constexpr uint32_t SHT_HASH = 5;
constexpr uint32_t SHT_DYNAMIC = 6;
constexpr uint32_t SHT_NOTE = 7;
constexpr uint32_t SHT_NOBITS = 8;
constexpr uint32_t SHT_REL = 9;
constexpr uint32_t SHT_SHLIB = 10;
constexpr uint32_t SHT_DYNSYM = 11;
constexpr uint32_t SHT_COMDAT = 0x0C;
// Types beyond the published ones that these files carry.
constexpr uint32_t SHT_LOCAL_1 = 0x60000001;    // no section object
constexpr uint32_t SHT_IMPORTS = 0x60000002;    // import records
constexpr uint32_t SHT_LOCAL_3 = 0x60000003;    // no section object
constexpr uint32_t SHT_UNCHECKED = 0x60000004;  // contents, links not checked
constexpr uint32_t SHT_DIRECTIVES = 0x60000105; // linker directive text
constexpr uint32_t SHT_GNU_VERDEF = 0x6FFFFFFD;
constexpr uint32_t SHT_COMDAT_2 = 0x6FFFFFFB;
constexpr uint32_t SHT_GNU_VERSYM = 0x6FFFFFFF;
constexpr uint32_t SHT_PROC_5 = 0x70000005; // no section object
constexpr uint32_t SHT_MIPS_REGINFO = 0x70000006;
constexpr uint32_t SHT_PROC_PROGBITS = 0x7000001E; // read as SHT_PROGBITS
constexpr uint32_t SHT_ORDERED = 0x7FFFFFFF;       // read as an ordered PROGBITS

constexpr uint32_t SHF_WRITE = 1;
constexpr uint32_t SHF_ALLOC = 2;
constexpr uint32_t SHF_EXECINSTR = 4;
constexpr uint32_t SHF_ORDERED = 0x40000000;
constexpr uint32_t SHF_EXCLUDE = 0x80000000;

constexpr uint16_t SHN_UNDEF = 0;
constexpr uint16_t SHN_LORESERVE = 0xFF00;
constexpr uint16_t SHN_MIPS_ACOMMON = 0xFF00;
constexpr uint16_t SHN_MIPS_SCOMMON = 0xFF03;
constexpr uint16_t SHN_ABS = 0xFFF1;
constexpr uint16_t SHN_COMMON = 0xFFF2;

constexpr uint8_t STB_LOCAL = 0;
constexpr uint8_t STB_GLOBAL = 1;
constexpr uint8_t STB_WEAK = 2;
constexpr uint8_t STB_EXPORT = 12;

constexpr uint8_t STT_NOTYPE = 0;
constexpr uint8_t STT_OBJECT = 1;
constexpr uint8_t STT_FUNC = 2;
constexpr uint8_t STT_SECTION = 3;
constexpr uint8_t STT_FILE = 4;
constexpr uint8_t STT_THUMB_FUNC = 13;   // ARM: Thumb code
constexpr uint8_t STT_ARM_FUNC_2 = 14;   // ARM: ARM code of another kind
constexpr uint8_t STT_THUMB_FUNC_2 = 15; // ARM: its Thumb twin

constexpr uint32_t PT_LOAD = 1;
constexpr uint32_t PT_DYNAMIC = 2;

constexpr int32_t DT_NULL = 0;
constexpr int32_t DT_STRTAB = 5;
constexpr int32_t DT_STRSZ = 10;
constexpr int32_t DT_SONAME = 14;

struct Elf32_Ehdr {
    uint8_t e_ident[EI_NIDENT];
    uint16_t e_type;
    uint16_t e_machine;
    uint32_t e_version;
    uint32_t e_entry;
    uint32_t e_phoff;
    uint32_t e_shoff;
    uint32_t e_flags;
    uint16_t e_ehsize;
    uint16_t e_phentsize;
    uint16_t e_phnum;
    uint16_t e_shentsize;
    uint16_t e_shnum;
    uint16_t e_shstrndx;
};

struct Elf32_Shdr {
    uint32_t sh_name;
    uint32_t sh_type;
    uint32_t sh_flags;
    uint32_t sh_addr;
    uint32_t sh_offset;
    uint32_t sh_size;
    uint32_t sh_link;
    uint32_t sh_info;
    uint32_t sh_addralign;
    uint32_t sh_entsize;
};

struct Elf32_Phdr {
    uint32_t p_type;
    uint32_t p_offset;
    uint32_t p_vaddr;
    uint32_t p_paddr;
    uint32_t p_filesz;
    uint32_t p_memsz;
    uint32_t p_flags;
    uint32_t p_align;
};

struct Elf32_Sym {
    uint32_t st_name;
    uint32_t st_value;
    uint32_t st_size;
    uint8_t st_info;
    uint8_t st_other;
    uint16_t st_shndx;
};

struct Elf32_Rel {
    uint32_t r_offset;
    uint32_t r_info;
};

struct Elf32_Rela {
    uint32_t r_offset;
    uint32_t r_info;
    int32_t r_addend;
};

struct Elf32_Dyn {
    int32_t d_tag;
    uint32_t d_val;
};

struct Elf32_Verdef {
    uint16_t vd_version;
    uint16_t vd_flags;
    uint16_t vd_ndx;
    uint16_t vd_cnt;
    uint32_t vd_hash;
    uint32_t vd_aux;
    uint32_t vd_next;
};

struct Elf32_Verdaux {
    uint32_t vda_name;
    uint32_t vda_next;
};

struct Elf32_Verneed {
    uint16_t vn_version;
    uint16_t vn_cnt;
    uint32_t vn_file;
    uint32_t vn_aux;
    uint32_t vn_next;
};

struct Elf32_Vernaux {
    uint32_t vna_hash;
    uint16_t vna_flags;
    uint16_t vna_other;
    uint32_t vna_name;
    uint32_t vna_next;
};

// The MIPS register information record (.reginfo): six words.
struct Elf32_RegInfo {
    uint32_t ri_gprmask;
    uint32_t ri_cprmask[4];
    int32_t ri_gp_value;
};

// The layouts must be those of the file, without padding, because blocks of
// the file are read straight into arrays of these records.
static_assert(sizeof(Elf32_Ehdr) == 52 && offsetof(Elf32_Ehdr, e_entry) == 24 &&
              offsetof(Elf32_Ehdr, e_shstrndx) == 50);
static_assert(sizeof(Elf32_Shdr) == 40);
static_assert(sizeof(Elf32_Phdr) == 32);
static_assert(sizeof(Elf32_Sym) == 16 && offsetof(Elf32_Sym, st_info) == 12 &&
              offsetof(Elf32_Sym, st_shndx) == 14);
static_assert(sizeof(Elf32_Rel) == 8);
static_assert(sizeof(Elf32_Rela) == 12);
static_assert(sizeof(Elf32_Dyn) == 8);
static_assert(sizeof(Elf32_Verdef) == 20 && offsetof(Elf32_Verdef, vd_hash) == 8);
static_assert(sizeof(Elf32_Verdaux) == 8);
static_assert(sizeof(Elf32_Verneed) == 16);
static_assert(sizeof(Elf32_Vernaux) == 16 && offsetof(Elf32_Vernaux, vna_name) == 8);
static_assert(sizeof(Elf32_RegInfo) == 24);

inline uint8_t elfSymbolBinding(uint8_t info) {
    return info >> 4;
}
inline uint8_t elfSymbolType(uint8_t info) {
    return info & 15;
}
inline uint8_t elfSymbolInfo(uint8_t binding, uint8_t type) {
    return static_cast<uint8_t>((binding << 4) | (type & 15));
}
