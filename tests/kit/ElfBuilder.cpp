#include "kit/ElfBuilder.h"

#include <cstring>

std::vector<uint8_t> bytes(uint32_t count, uint8_t fill) {
    return std::vector<uint8_t>(count, fill);
}

std::vector<uint8_t> words(ByteOrder order, const std::vector<uint32_t> &values) {
    std::vector<uint8_t> out;
    for (uint32_t v : values)
        for (int i = 0; i < 4; ++i)
            out.push_back(uint8_t(v >> (8 * (order == BigEndian ? 3 - i : i))));
    return out;
}

namespace {

class Writer {
public:
    Writer(std::vector<uint8_t> &out, bool big) : out(out), big(big) {}
    void put8(uint32_t at, uint8_t v) { out[at] = v; }
    void put16(uint32_t at, uint16_t v) {
        out[at + (big ? 1 : 0)] = uint8_t(v);
        out[at + (big ? 0 : 1)] = uint8_t(v >> 8);
    }
    void put32(uint32_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            out[at + (big ? 3 - i : i)] = uint8_t(v >> (8 * i));
    }

private:
    std::vector<uint8_t> &out;
    bool big;
};

uint32_t addString(std::vector<uint8_t> &table, const std::string &text) {
    if (text.empty()) return 0;
    uint32_t at = static_cast<uint32_t>(table.size());
    table.insert(table.end(), text.begin(), text.end());
    table.push_back(0);
    return at;
}

uint32_t align4(uint32_t v) {
    return (v + 3) & ~3u;
}

} // namespace

ElfBuilder::ElfBuilder(ByteOrder order) : order(order) {
    header.e_ident[0] = 0x7F;
    header.e_ident[1] = 'E';
    header.e_ident[2] = 'L';
    header.e_ident[3] = 'F';
    header.e_ident[EI_CLASS] = 1;
    header.e_ident[EI_DATA] = order == BigEndian ? ELFDATA2MSB : ELFDATA2LSB;
    header.e_ident[EI_VERSION] = 1;
    header.e_type = ET_REL;
    header.e_machine = order == BigEndian ? EM_MIPS : EM_386;
    header.e_version = 1;
    header.e_ehsize = 52;
    header.e_shentsize = 40;
}

ElfBuilder &ElfBuilder::type(uint16_t eType) {
    header.e_type = eType;
    return *this;
}

ElfBuilder &ElfBuilder::machine(uint16_t eMachine) {
    header.e_machine = eMachine;
    return *this;
}

ElfBuilder &ElfBuilder::flags(uint32_t eFlags) {
    header.e_flags = eFlags;
    return *this;
}

ElfBuilder &ElfBuilder::section(const std::string &name, uint32_t type, uint32_t flags,
                                std::vector<uint8_t> contents, uint32_t size) {
    SectionPlan plan;
    plan.name = name;
    plan.header.sh_type = type;
    plan.header.sh_flags = flags;
    plan.header.sh_addralign = 4;
    plan.header.sh_size = type == SHT_NOBITS ? size : static_cast<uint32_t>(contents.size());
    if (type != SHT_NOBITS) plan.contents = std::move(contents);
    sections.push_back(std::move(plan));
    return *this;
}

ElfBuilder &ElfBuilder::relocations(const std::string &name, uint32_t type,
                                    const std::string &target,
                                    const std::vector<Elf32_Rela> &records) {
    std::vector<uint32_t> fields;
    for (const Elf32_Rela &r : records) {
        fields.push_back(r.r_offset);
        fields.push_back(r.r_info);
        if (type == SHT_RELA) fields.push_back(static_cast<uint32_t>(r.r_addend));
    }
    section(name, type, 0, words(order, fields));
    sections.back().header.sh_entsize = type == SHT_RELA ? 12 : 8;
    link(dynamic ? ".dynsym" : ".symtab");
    return info(target);
}

ElfBuilder &ElfBuilder::link(uint32_t index) {
    sections.back().header.sh_link = index;
    return *this;
}

ElfBuilder &ElfBuilder::link(const std::string &name) {
    sections.back().linkName = name;
    return *this;
}

ElfBuilder &ElfBuilder::info(uint32_t value) {
    sections.back().header.sh_info = value;
    return *this;
}

ElfBuilder &ElfBuilder::info(const std::string &name) {
    sections.back().infoName = name;
    return *this;
}

ElfBuilder &ElfBuilder::symbol(const std::string &name, uint32_t value, uint32_t size,
                               uint8_t binding, uint8_t type, const std::string &section,
                               uint8_t other) {
    symbol(name, value, size, binding, type, uint16_t(0), other);
    symbols.back().section = section;
    return *this;
}

ElfBuilder &ElfBuilder::symbol(const std::string &name, uint32_t value, uint32_t size,
                               uint8_t binding, uint8_t type, uint16_t shndx, uint8_t other) {
    SymbolPlan plan;
    plan.name = name;
    plan.raw.st_value = value;
    plan.raw.st_size = size;
    plan.raw.st_info = elfSymbolInfo(binding, type);
    plan.raw.st_other = other;
    plan.raw.st_shndx = shndx;
    symbols.push_back(std::move(plan));
    return *this;
}

ElfBuilder &ElfBuilder::dynamicSymbols() {
    dynamic = true;
    return *this;
}

ElfBuilder &ElfBuilder::noSymbolTable() {
    symbolTable = false;
    return *this;
}

ElfBuilder &ElfBuilder::soname(const std::string &name) {
    sonameText = name;
    return *this;
}

ElfBuilder &ElfBuilder::patchHeader(std::function<void(Elf32_Ehdr &)> patch) {
    headerPatches.push_back(std::move(patch));
    return *this;
}

ElfBuilder &ElfBuilder::patchSection(const std::string &name,
                                     std::function<void(Elf32_Shdr &)> patch) {
    namedPatches.emplace_back(name, std::move(patch));
    return *this;
}

ElfBuilder &ElfBuilder::patchSection(uint32_t index, std::function<void(Elf32_Shdr &)> patch) {
    indexPatches.emplace_back(index, std::move(patch));
    return *this;
}

ElfBuilder &ElfBuilder::truncate(uint32_t length) {
    truncateTo = length;
    return *this;
}

uint32_t ElfBuilder::indexOf(const std::string &name) const {
    if (name.empty()) return 0;
    for (size_t i = 0; i < sections.size(); ++i)
        if (sections[i].name == name) return static_cast<uint32_t>(i + 1);
    uint32_t next = static_cast<uint32_t>(sections.size() + 1);
    if (symbolTable) {
        if (name == (dynamic ? ".dynsym" : ".symtab")) return next;
        if (name == (dynamic ? ".dynstr" : ".strtab")) return next + 1;
        next += 2;
    }
    if (!sonameText.empty()) {
        if (name == ".dynamic") return next;
        ++next;
    }
    if (name == ".shstrtab") return next;
    return 0xFFFF;
}

std::vector<uint8_t> ElfBuilder::build() const {
    std::vector<SectionPlan> all;
    all.push_back(SectionPlan{});
    for (const SectionPlan &s : sections)
        all.push_back(s);

    std::vector<uint8_t> strings{0};
    uint32_t sonameOffset = addString(strings, sonameText);
    if (symbolTable) {
        // Locals first; sh_info is the index of the first other symbol.
        std::vector<uint8_t> table(16, 0);
        uint32_t firstGlobal = 0;
        uint32_t index = 1;
        for (const SymbolPlan &s : symbols) {
            Elf32_Sym raw = s.raw;
            raw.st_name = addString(strings, s.name);
            if (!s.section.empty()) raw.st_shndx = static_cast<uint16_t>(indexOf(s.section));
            if (!firstGlobal && elfSymbolBinding(raw.st_info) != STB_LOCAL) firstGlobal = index;
            uint8_t record[16];
            memcpy(record, &raw, 16);
            table.insert(table.end(), record, record + 16);
            ++index;
        }
        SectionPlan symtab;
        symtab.name = dynamic ? ".dynsym" : ".symtab";
        symtab.header.sh_type = dynamic ? SHT_DYNSYM : SHT_SYMTAB;
        symtab.header.sh_entsize = 16;
        symtab.header.sh_addralign = 4;
        symtab.header.sh_info = firstGlobal ? firstGlobal : index;
        symtab.header.sh_link = static_cast<uint32_t>(all.size() + 1);
        symtab.contents = std::move(table);
        all.push_back(std::move(symtab));
        SectionPlan strtab;
        strtab.name = dynamic ? ".dynstr" : ".strtab";
        strtab.header.sh_type = SHT_STRTAB;
        strtab.header.sh_addralign = 1;
        strtab.contents = strings;
        all.push_back(std::move(strtab));
    }
    uint32_t dynamicIndex = 0;
    if (!sonameText.empty()) {
        SectionPlan dyn;
        dyn.name = ".dynamic";
        dyn.header.sh_type = SHT_DYNAMIC;
        dyn.header.sh_entsize = 8;
        dyn.contents.resize(32);
        dynamicIndex = static_cast<uint32_t>(all.size());
        all.push_back(std::move(dyn));
    }
    std::vector<uint8_t> names{0};
    for (SectionPlan &s : all)
        s.header.sh_name = addString(names, s.name);
    SectionPlan shstrtab;
    shstrtab.name = ".shstrtab";
    shstrtab.header.sh_type = SHT_STRTAB;
    shstrtab.header.sh_addralign = 1;
    shstrtab.header.sh_name = addString(names, ".shstrtab");
    shstrtab.contents = names;
    all.push_back(std::move(shstrtab));

    Elf32_Ehdr h = header;
    h.e_shnum = static_cast<uint16_t>(all.size());
    h.e_shstrndx = static_cast<uint16_t>(all.size() - 1);
    uint32_t offset = 52;
    if (dynamicIndex) {
        h.e_phoff = offset;
        h.e_phnum = 2;
        h.e_phentsize = 32;
        offset += 64;
    }
    for (SectionPlan &s : all) {
        if (&s == &all[0]) continue;
        offset = align4(offset);
        s.header.sh_offset = offset;
        if (s.header.sh_type != SHT_NOBITS) {
            s.header.sh_size = static_cast<uint32_t>(s.contents.size());
            offset += s.header.sh_size;
        }
        if (!s.linkName.empty()) s.header.sh_link = indexOf(s.linkName);
        if (!s.infoName.empty()) s.header.sh_info = indexOf(s.infoName);
    }
    h.e_shoff = align4(offset);
    uint32_t total = h.e_shoff + 40 * h.e_shnum;

    // The table stays where the layout put it, whatever a patch claims.
    const uint32_t tableAt = h.e_shoff;
    std::vector<uint32_t> placedAt;
    for (const SectionPlan &s : all)
        placedAt.push_back(s.header.sh_offset);
    for (auto &[name, patch] : namedPatches)
        patch(all[indexOf(name)].header);
    for (auto &[index, patch] : indexPatches)
        patch(all[index].header);
    for (auto &patch : headerPatches)
        patch(h);

    std::vector<uint8_t> out(total, 0);
    Writer w(out, order == BigEndian);
    memcpy(out.data(), h.e_ident, EI_NIDENT);
    w.put16(16, h.e_type);
    w.put16(18, h.e_machine);
    w.put32(20, h.e_version);
    w.put32(24, h.e_entry);
    w.put32(28, h.e_phoff);
    w.put32(32, h.e_shoff);
    w.put32(36, h.e_flags);
    w.put16(40, h.e_ehsize);
    w.put16(42, h.e_phentsize);
    w.put16(44, h.e_phnum);
    w.put16(46, h.e_shentsize);
    w.put16(48, h.e_shnum);
    w.put16(50, h.e_shstrndx);

    for (size_t i = 1; i < all.size(); ++i) {
        const SectionPlan &s = all[i];
        if (s.contents.empty() || s.header.sh_type == SHT_NOBITS) continue;
        uint32_t at = placedAt[i];
        if (s.header.sh_type == SHT_SYMTAB || s.header.sh_type == SHT_DYNSYM) {
            // Symbol records go through the writer field by field.
            for (size_t e = 0; e + 16 <= s.contents.size(); e += 16) {
                Elf32_Sym raw;
                memcpy(&raw, s.contents.data() + e, 16);
                uint32_t p = at + static_cast<uint32_t>(e);
                w.put32(p, raw.st_name);
                w.put32(p + 4, raw.st_value);
                w.put32(p + 8, raw.st_size);
                w.put8(p + 12, raw.st_info);
                w.put8(p + 13, raw.st_other);
                w.put16(p + 14, raw.st_shndx);
            }
        } else if (i == dynamicIndex) {
            uint32_t strtabOffset = placedAt[indexOf(dynamic ? ".dynstr" : ".strtab")];
            w.put32(at, DT_SONAME);
            w.put32(at + 4, sonameOffset);
            w.put32(at + 8, DT_STRTAB);
            w.put32(at + 12, strtabOffset);
            w.put32(at + 16, DT_STRSZ);
            w.put32(at + 20, static_cast<uint32_t>(strings.size()));
        } else {
            memcpy(out.data() + at, s.contents.data(), s.contents.size());
        }
    }
    if (dynamicIndex) {
        // One PT_LOAD mapping the whole file at address 0, and PT_DYNAMIC.
        uint32_t p = h.e_phoff;
        w.put32(p, PT_LOAD);
        w.put32(p + 16, total);
        w.put32(p + 20, total);
        w.put32(p + 32, PT_DYNAMIC);
        w.put32(p + 36, placedAt[dynamicIndex]);
        w.put32(p + 48, 32);
        w.put32(p + 52, 32);
    }
    for (size_t i = 0; i < all.size(); ++i) {
        const Elf32_Shdr &s = all[i].header;
        uint32_t p = tableAt + 40 * static_cast<uint32_t>(i);
        if (p + 40 > out.size()) break;
        const uint32_t fields[10] = {s.sh_name,      s.sh_type,   s.sh_flags, s.sh_addr,
                                     s.sh_offset,    s.sh_size,   s.sh_link,  s.sh_info,
                                     s.sh_addralign, s.sh_entsize};
        for (int f = 0; f < 10; ++f)
            w.put32(p + 4 * f, fields[f]);
    }
    if (truncateTo < out.size()) out.resize(truncateTo);
    return out;
}
