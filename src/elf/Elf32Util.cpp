#include "elf/Elf32Util.h"

#include "support/endian.h"

namespace Elf32Util {

void swap(Elf32_Ehdr &h) {
    swapField(h.e_type);
    swapField(h.e_machine);
    swapField(h.e_version);
    swapField(h.e_entry);
    swapField(h.e_phoff);
    swapField(h.e_shoff);
    swapField(h.e_flags);
    swapField(h.e_ehsize);
    swapField(h.e_phentsize);
    swapField(h.e_phnum);
    swapField(h.e_shentsize);
    swapField(h.e_shnum);
    swapField(h.e_shstrndx);
}

void swap(Elf32_Shdr &h) {
    swapField(h.sh_name);
    swapField(h.sh_type);
    swapField(h.sh_flags);
    swapField(h.sh_addr);
    swapField(h.sh_offset);
    swapField(h.sh_size);
    swapField(h.sh_link);
    swapField(h.sh_info);
    swapField(h.sh_addralign);
    swapField(h.sh_entsize);
}

void swap(Elf32_Phdr &h) {
    swapField(h.p_type);
    swapField(h.p_offset);
    swapField(h.p_vaddr);
    swapField(h.p_paddr);
    swapField(h.p_filesz);
    swapField(h.p_memsz);
    swapField(h.p_flags);
    swapField(h.p_align);
}

void swap(Elf32_Sym &s) {
    swapField(s.st_name);
    swapField(s.st_value);
    swapField(s.st_size);
    swapField(s.st_shndx);
}

void swap(Elf32_Rel &r) {
    swapField(r.r_offset);
    swapField(r.r_info);
}

void swap(Elf32_Rela &r) {
    swapField(r.r_offset);
    swapField(r.r_info);
    swapField(r.r_addend);
}

void swap(Elf32_Dyn &d) {
    swapField(d.d_tag);
    swapField(d.d_val);
}

void swap(Elf32_Verdef &v) {
    swapField(v.vd_version);
    swapField(v.vd_flags);
    swapField(v.vd_ndx);
    swapField(v.vd_cnt);
    swapField(v.vd_hash);
    swapField(v.vd_aux);
    swapField(v.vd_next);
}

void swap(Elf32_Verdaux &v) {
    swapField(v.vda_name);
    swapField(v.vda_next);
}

void swap(Elf32_Verneed &v) {
    swapField(v.vn_version);
    swapField(v.vn_cnt);
    swapField(v.vn_file);
    swapField(v.vn_aux);
    swapField(v.vn_next);
}

void swap(Elf32_Vernaux &v) {
    swapField(v.vna_hash);
    swapField(v.vna_flags);
    swapField(v.vna_other);
    swapField(v.vna_name);
    swapField(v.vna_next);
}

void swap(Elf32_RegInfo &r) {
    swapField(r.ri_gprmask);
    for (uint32_t &mask : r.ri_cprmask)
        swapField(mask);
    swapField(r.ri_gp_value);
}

bool isElfMagic(const Elf32_Ehdr &h) {
    return h.e_ident[0] == 0x7F && h.e_ident[1] == 'E' && h.e_ident[2] == 'L' &&
           h.e_ident[3] == 'F';
}

bool needsSwap(const Elf32_Ehdr &h) {
    return (h.e_ident[EI_DATA] == ELFDATA2LSB) != hostIsLittleEndian;
}

uint32_t hash(const char *name, uint32_t buckets) {
    uint32_t h = 0;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(name); *p; ++p) {
        h = (h << 4) + *p;
        uint32_t g = h & 0xF0000000;
        if (g) h ^= g >> 24;
        h &= ~g;
    }
    return buckets ? h % buckets : h;
}

} // namespace Elf32Util
