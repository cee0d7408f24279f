#include "kit/CoffBuilder.h"

#include <cstring>

namespace {

class Writer {
public:
    Writer(std::vector<uint8_t> &out, ByteOrder order) : out(out), order(order) {}

    void u8(uint8_t value) { out.push_back(value); }
    void u16(uint16_t value) {
        if (order == LittleEndian) {
            u8(uint8_t(value));
            u8(uint8_t(value >> 8));
        } else {
            u8(uint8_t(value >> 8));
            u8(uint8_t(value));
        }
    }
    void u32(uint32_t value) {
        if (order == LittleEndian) {
            u16(uint16_t(value));
            u16(uint16_t(value >> 16));
        } else {
            u16(uint16_t(value >> 16));
            u16(uint16_t(value));
        }
    }
    void raw(const void *data, size_t size) {
        auto *p = static_cast<const uint8_t *>(data);
        out.insert(out.end(), p, p + size);
    }

private:
    std::vector<uint8_t> &out;
    ByteOrder order;
};

} // namespace

CoffBuilder::CoffBuilder(ByteOrder order, uint16_t magic) : order(order) {
    header.f_magic = magic;
}

CoffBuilder &CoffBuilder::magic(uint16_t value) {
    header.f_magic = value;
    return *this;
}
CoffBuilder &CoffBuilder::flags(uint16_t value) {
    header.f_flags = value;
    return *this;
}
CoffBuilder &CoffBuilder::optionalHeader(uint32_t entry, uint16_t size) {
    hasOptional = true;
    entryPoint = entry;
    header.f_opthdr = size;
    return *this;
}

uint32_t CoffBuilder::addString(const std::string &text) {
    uint32_t offset = 4 + uint32_t(strings.size());
    strings += text;
    strings += '\0';
    return offset;
}

CoffBuilder &CoffBuilder::section(const std::string &name, uint32_t flags,
                                  std::vector<uint8_t> data, uint32_t size) {
    SectionPlan plan;
    plan.name = name;
    if (name.size() > 8) {
        std::string field = "/" + std::to_string(addString(name));
        std::memcpy(plan.header.s_name, field.data(), field.size());
    } else {
        std::memcpy(plan.header.s_name, name.data(), name.size());
    }
    plan.header.s_flags = flags;
    plan.header.s_size = (flags & coffSectionBss) ? size : uint32_t(data.size());
    if (!(flags & coffSectionBss)) plan.data = std::move(data);
    sections.push_back(std::move(plan));
    return *this;
}

CoffBuilder &CoffBuilder::address(uint32_t vaddr) {
    sections.back().header.s_paddr = vaddr;
    sections.back().header.s_vaddr = vaddr;
    return *this;
}
CoffBuilder &CoffBuilder::relocation(uint32_t address, uint32_t symndx, uint16_t type) {
    sections.back().relocations.push_back({address, symndx, type, 0});
    return *this;
}
CoffBuilder &CoffBuilder::lineNumber(uint32_t word, uint16_t line) {
    sections.back().lines.push_back({word, line, 0});
    return *this;
}

CoffBuilder &CoffBuilder::symbol(const std::string &name, uint32_t value, int16_t scnum,
                                 uint8_t sclass, uint16_t type) {
    if (name.size() > 8) return symbolAtOffset(addString(name), value, scnum, sclass, type);
    EntryPlan plan;
    std::memcpy(plan.entry.name, name.data(), name.size());
    plan.entry.value = value;
    plan.entry.scnum = scnum;
    plan.entry.sclass = sclass;
    plan.entry.type = type;
    entries.push_back(std::move(plan));
    return *this;
}

CoffBuilder &CoffBuilder::symbolAtOffset(uint32_t offset, uint32_t value, int16_t scnum,
                                         uint8_t sclass, uint16_t type) {
    EntryPlan plan;
    // Zero in bytes 0 to 3 (in either order), the offset in bytes 4 to 7;
    // the offset is turned into the file's order when written.
    std::memcpy(plan.entry.name + 4, &offset, 4);
    plan.entry.value = value;
    plan.entry.scnum = scnum;
    plan.entry.sclass = sclass;
    plan.entry.type = type;
    entries.push_back(std::move(plan));
    return *this;
}

int32_t CoffBuilder::lastSymbol() const {
    for (int32_t i = int32_t(entries.size()) - 1; i >= 0; --i)
        if (entries[i].raw.empty()) return i;
    return -1;
}

CoffBuilder &CoffBuilder::aux(std::vector<uint8_t> raw) {
    raw.resize(coffSymbolSize);
    entries[lastSymbol()].entry.numaux++;
    EntryPlan plan;
    plan.raw = std::move(raw);
    entries.push_back(std::move(plan));
    return *this;
}

CoffBuilder &CoffBuilder::sectionSymbol(int16_t number) {
    const SectionPlan &s = sections.at(size_t(number - 1));
    symbol(s.name, s.header.s_vaddr, number, coffClassStatic);
    return aux(s.header.s_size, {uint16_t(s.relocations.size()), uint16_t(s.lines.size())});
}

CoffBuilder &CoffBuilder::aux(uint32_t word, std::vector<uint16_t> halves) {
    std::vector<uint8_t> raw;
    Writer w(raw, order);
    w.u32(word);
    for (uint16_t half : halves)
        w.u16(half);
    return aux(std::move(raw));
}

CoffBuilder &CoffBuilder::stringTableLength(uint32_t length) {
    lengthGiven = true;
    givenLength = length;
    return *this;
}
CoffBuilder &CoffBuilder::noStringTable() {
    withStrings = false;
    return *this;
}
CoffBuilder &CoffBuilder::trailer(std::vector<uint8_t> raw) {
    trailing = std::move(raw);
    return *this;
}

CoffBuilder &CoffBuilder::patchHeader(std::function<void(CoffFileHeader &)> patch) {
    headerPatches.push_back(std::move(patch));
    return *this;
}
CoffBuilder &CoffBuilder::patchSection(uint32_t number,
                                       std::function<void(CoffSectionHeader &)> patch) {
    sectionPatches.emplace_back(number, std::move(patch));
    return *this;
}
CoffBuilder &CoffBuilder::patchSymbol(uint32_t index, std::function<void(syment &)> patch) {
    symbolPatches.emplace_back(index, std::move(patch));
    return *this;
}
CoffBuilder &CoffBuilder::truncate(uint32_t length) {
    cutAt = length;
    return *this;
}

uint32_t CoffBuilder::symbolTableOffset() const {
    uint32_t at =
        coffFileHeaderSize + header.f_opthdr + coffSectionHeaderSize * uint32_t(sections.size());
    for (const SectionPlan &s : sections)
        at += uint32_t(s.data.size() + s.relocations.size() * coffRelocationSize +
                       s.lines.size() * coffLineNumberSize);
    return at;
}

uint32_t CoffBuilder::stringTableOffset() const {
    return symbolTableOffset() + coffSymbolSize * uint32_t(entries.size());
}

std::vector<uint8_t> CoffBuilder::build() const {
    // Lay out: every offset is worked out first, then the patches see the
    // finished records.
    CoffFileHeader h = header;
    h.f_nscns = uint16_t(sections.size());
    h.f_nsyms = uint32_t(entries.size());
    h.f_symptr = symbolTableOffset();
    std::vector<CoffSectionHeader> headers;
    uint32_t at =
        coffFileHeaderSize + header.f_opthdr + coffSectionHeaderSize * uint32_t(sections.size());
    for (const SectionPlan &s : sections) {
        CoffSectionHeader sh = s.header;
        sh.s_scnptr = s.data.empty() ? 0 : at;
        at += uint32_t(s.data.size());
        sh.s_nreloc = uint16_t(s.relocations.size());
        sh.s_relptr = s.relocations.empty() ? 0 : at;
        at += uint32_t(s.relocations.size()) * coffRelocationSize;
        sh.s_nlnno = uint16_t(s.lines.size());
        sh.s_lnnoptr = s.lines.empty() ? 0 : at;
        at += uint32_t(s.lines.size()) * coffLineNumberSize;
        headers.push_back(sh);
    }
    std::vector<syment> symbols;
    for (const EntryPlan &e : entries)
        symbols.push_back(e.entry);
    for (auto &patch : headerPatches)
        patch(h);
    for (auto &[number, patch] : sectionPatches)
        patch(headers.at(number - 1));
    for (auto &[index, patch] : symbolPatches)
        patch(symbols.at(index));

    std::vector<uint8_t> out;
    Writer w(out, order);
    w.u16(h.f_magic);
    w.u16(h.f_nscns);
    w.u32(h.f_timdat);
    w.u32(h.f_symptr);
    w.u32(h.f_nsyms);
    w.u16(h.f_opthdr);
    w.u16(h.f_flags);
    if (hasOptional) {
        std::vector<uint8_t> optional;
        Writer o(optional, order);
        o.u16(0x10B);
        o.u16(1);
        for (int i = 0; i < 3; ++i)
            o.u32(0);
        o.u32(entryPoint);
        o.u32(0);
        o.u32(0);
        optional.resize(header.f_opthdr);
        w.raw(optional.data(), optional.size());
    }
    for (const CoffSectionHeader &sh : headers) {
        w.raw(sh.s_name, 8);
        w.u32(sh.s_paddr);
        w.u32(sh.s_vaddr);
        w.u32(sh.s_size);
        w.u32(sh.s_scnptr);
        w.u32(sh.s_relptr);
        w.u32(sh.s_lnnoptr);
        w.u16(sh.s_nreloc);
        w.u16(sh.s_nlnno);
        w.u32(sh.s_flags);
    }
    for (const SectionPlan &s : sections) {
        w.raw(s.data.data(), s.data.size());
        for (const CoffRelocation &r : s.relocations) {
            w.u32(r.address);
            w.u32(r.symndx);
            w.u16(r.type);
        }
        for (const CoffLineNumber &l : s.lines) {
            w.u32(l.word);
            w.u16(l.line);
        }
    }
    for (size_t i = 0; i < entries.size(); ++i) {
        if (!entries[i].raw.empty()) {
            w.raw(entries[i].raw.data(), coffSymbolSize);
            continue;
        }
        const syment &e = symbols[i];
        uint32_t zeroes, offset;
        std::memcpy(&zeroes, e.name, 4);
        std::memcpy(&offset, e.name + 4, 4);
        if (zeroes == 0) {
            w.u32(0);
            w.u32(offset);
        } else {
            w.raw(e.name, 8);
        }
        w.u32(e.value);
        w.u16(uint16_t(e.scnum));
        w.u16(e.type);
        w.u8(e.sclass);
        w.u8(e.numaux);
    }
    if (withStrings) {
        w.u32(lengthGiven ? givenLength : 4 + uint32_t(strings.size()));
        w.raw(strings.data(), strings.size());
    }
    w.raw(trailing.data(), trailing.size());
    if (out.size() > cutAt) out.resize(cutAt);
    return out;
}
