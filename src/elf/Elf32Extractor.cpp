#include "elf/Elf32Extractor.h"

#include "elf/Elf32Util.h"

#include <cstring>

namespace {

const Elf32_Shdr emptyHeader{};

// Reads a record of type T at `offset` of a block, in host order.  False
// when the record does not lie wholly inside the block.
template <typename T>
bool recordAt(const uint8_t *block, uint32_t size, uint32_t offset, bool swap, T &out) {
    if (offset > size || sizeof(T) > size - offset) return false;
    memcpy(&out, block + offset, sizeof(T));
    if (swap) Elf32Util::swap(out);
    return true;
}

const char *stringOf(const ElfStringBlock *strings, uint32_t offset) {
    return strings && offset < strings->size ? strings->at(offset) : "???";
}

} // namespace

Elf32Extractor::Elf32Extractor(Elf32Reader &reader) : reader(reader), header(reader.header) {
    ownedSections = reader.readSectionTable();
    sections = ownedSections.get();
    ownsSections = true;
}

Elf32Extractor::Elf32Extractor(Elf32Reader &reader, const Elf32_Shdr *table)
    : reader(reader), header(reader.header), sections(table) {}

Elf32Extractor::~Elf32Extractor() = default;

uint32_t Elf32Extractor::findSectionOfType(uint32_t type) const {
    if (!sections) return 0;
    for (uint32_t i = 1; i < header.e_shnum; ++i)
        if (sections[i].sh_type == type) return i;
    return 0;
}

const Elf32_Shdr &Elf32Extractor::sectionHeader(uint32_t index) const {
    if (!sections) return emptyHeader;
    return index < header.e_shnum ? sections[index] : sections[0];
}

uint32_t Elf32Extractor::indexOfHeader(const Elf32_Shdr *h) const {
    if (!sections || !h) return 0;
    // Pointer comparison by address value, so that a header from elsewhere
    // is not compared with the table in undefined ways.
    auto address = reinterpret_cast<uintptr_t>(h);
    auto first = reinterpret_cast<uintptr_t>(sections);
    auto end = reinterpret_cast<uintptr_t>(sections + header.e_shnum);
    if (address >= first && address < end)
        return static_cast<uint32_t>((address - first) / sizeof(Elf32_Shdr));
    for (uint32_t i = 1; i < header.e_shnum; ++i)
        if (sections[i].sh_offset == h->sh_offset && sections[i].sh_type == h->sh_type &&
            sections[i].sh_size == h->sh_size)
            return i;
    return 0;
}

uint32_t Elf32Extractor::symbolTableIndex() const {
    uint32_t index = findSectionOfType(SHT_DYNSYM);
    return index ? index : findSectionOfType(SHT_SYMTAB);
}

template <typename T> std::unique_ptr<T[]> Elf32Extractor::readArray(const Elf32_Shdr &h) {
    uint32_t count = h.sh_size / sizeof(T);
    auto records = reader.readRecords<T>(h.sh_offset, count);
    if (records && reader.swap)
        for (uint32_t i = 0; i < count; ++i)
            Elf32Util::swap(records[i]);
    return records;
}

std::unique_ptr<Elf32_Sym[]> Elf32Extractor::readSymbols(const Elf32_Shdr &h) {
    if (h.sh_type != SHT_SYMTAB && h.sh_type != SHT_DYNSYM) return nullptr;
    return readArray<Elf32_Sym>(h);
}

std::unique_ptr<Elf32_Sym[]> Elf32Extractor::symbols() {
    uint32_t index = symbolTableIndex();
    return index ? readSymbols(sections[index]) : nullptr;
}

std::unique_ptr<ElfStringBlock> Elf32Extractor::readStrings(const Elf32_Shdr &h) {
    if (h.sh_type != SHT_STRTAB) return nullptr;
    // Checked before the block is allocated.
    if (!reader.fits(h.sh_offset, h.sh_size)) return nullptr;
    auto block = ElfStringBlock::allocate(h.sh_size);
    if (!reader.readAt(block->storage.get(), h.sh_offset, h.sh_size)) return nullptr;
    return block;
}

std::unique_ptr<ElfStringBlock> Elf32Extractor::sectionNames() {
    if (header.e_shstrndx == 0 || !sections) return nullptr;
    return readStrings(sectionHeader(header.e_shstrndx));
}

std::unique_ptr<ElfStringBlock> Elf32Extractor::symbolNames() {
    uint32_t index = symbolTableIndex();
    if (!index) return nullptr;
    return readStrings(sectionHeader(sections[index].sh_link));
}

std::unique_ptr<Elf32_Rela[]> Elf32Extractor::readRela(const Elf32_Shdr &h) {
    return h.sh_type == SHT_RELA ? readArray<Elf32_Rela>(h) : nullptr;
}

std::unique_ptr<Elf32_Rel[]> Elf32Extractor::readRel(const Elf32_Shdr &h) {
    return h.sh_type == SHT_REL ? readArray<Elf32_Rel>(h) : nullptr;
}

std::unique_ptr<Elf32_Dyn[]> Elf32Extractor::readDynamic(const Elf32_Shdr &h) {
    return h.sh_type == SHT_DYNAMIC ? readArray<Elf32_Dyn>(h) : nullptr;
}

std::unique_ptr<uint16_t[]> Elf32Extractor::readHalves(const Elf32_Shdr &h) {
    uint32_t count = h.sh_size / 2;
    auto halves = reader.readRecords<uint16_t>(h.sh_offset, count);
    if (halves && reader.swap)
        for (uint32_t i = 0; i < count; ++i)
            Elf32Util::swapField(halves[i]);
    return halves;
}

std::unique_ptr<uint16_t[]> Elf32Extractor::readVersionSymbols(uint32_t &count) {
    count = 0;
    uint32_t index = findSectionOfType(SHT_GNU_VERSYM);
    if (!index || symbolTableIndex() != sections[index].sh_link) return nullptr;
    auto halves = readHalves(sections[index]);
    if (halves) count = sections[index].sh_size / 2;
    return halves;
}

std::unique_ptr<ElfHashTable> Elf32Extractor::readHash(const Elf32_Shdr &h) {
    if (h.sh_type != SHT_HASH) return nullptr;
    uint32_t words = h.sh_size / 4;
    auto data = reader.readRecords<uint32_t>(h.sh_offset, words);
    if (!data) return nullptr;
    if (reader.swap)
        for (uint32_t i = 0; i < words; ++i)
            Elf32Util::swapField(data[i]);
    // A table whose counts reach beyond the section is refused.
    if (words < 2 || data[0] > words - 2 || data[1] > words - 2 - data[0]) {
        reader.status = elfReadFailed;
        return nullptr;
    }
    auto table = std::make_unique<ElfHashTable>();
    table->nbucket = data[0];
    table->nchain = data[1];
    table->buckets = data.get() + 2;
    table->chains = table->buckets + table->nbucket;
    table->data = std::move(data);
    return table;
}

std::unique_ptr<char[]> Elf32Extractor::soname() {
    const Elf32_Dyn *entry = reader.dynamicEntry(DT_SONAME);
    if (!entry) return nullptr;
    const char *name = reader.dynamicString(entry->d_val);
    if (!name) return nullptr;
    size_t length = strlen(name);
    auto copy = std::make_unique<char[]>(length + 1);
    memcpy(copy.get(), name, length + 1);
    return copy;
}

std::unique_ptr<ElfStringBlock> Elf32Extractor::linkedStrings(const Elf32_Shdr &h) {
    if (!sections || h.sh_link >= header.e_shnum) return nullptr;
    return readStrings(sections[h.sh_link]);
}

std::unique_ptr<std::vector<VerDef>> Elf32Extractor::readVersionDefinitions(const Elf32_Shdr &h) {
    if (h.sh_link == 0) return nullptr;
    // Version indices are 16-bit, so no file defines more versions than
    // that; a larger count is damage, and nothing is allocated for it.
    if (h.sh_info > 0xFFFF) return nullptr;
    auto bytes = reader.readBlock(h.sh_offset, h.sh_size);
    if (!bytes) return nullptr;
    std::unique_ptr<ElfStringBlock> strings = linkedStrings(h);
    auto result = std::make_unique<std::vector<VerDef>>(size_t(h.sh_info) + 1);
    // Every name has an auxiliary record of its own in a sound section, so
    // the section holds at most sh_size / 8 names in all.  A record that
    // claims more names than are left of that budget is damaged: it keeps
    // only as many as the budget allows, so that damaged counts never make
    // a huge number of strings.
    uint32_t nameBudget = h.sh_size / sizeof(Elf32_Verdaux);
    uint32_t offset = 0;
    for (uint32_t step = 0; step < h.sh_info; ++step) {
        Elf32_Verdef record;
        if (!recordAt(bytes.get(), h.sh_size, offset, reader.swap, record)) break;
        if (record.vd_cnt > nameBudget) record.vd_cnt = static_cast<uint16_t>(nameBudget);
        nameBudget -= record.vd_cnt;
        auto names = std::make_unique<std::string[]>(record.vd_cnt);
        uint32_t aux = offset;
        bool inside = record.vd_aux <= h.sh_size - offset;
        aux += inside ? record.vd_aux : 0;
        for (uint32_t n = 0; n < record.vd_cnt; ++n) {
            Elf32_Verdaux auxiliary;
            if (!inside || !recordAt(bytes.get(), h.sh_size, aux, reader.swap, auxiliary)) {
                names[n] = "???";
                inside = false;
                continue;
            }
            names[n] = stringOf(strings.get(), auxiliary.vda_name);
            if (auxiliary.vda_next > h.sh_size - aux)
                inside = false;
            else
                aux += auxiliary.vda_next;
        }
        (*result)[step] = VerDef(record, std::move(names));
        if (record.vd_next == 0 || record.vd_next > h.sh_size - offset) break;
        offset += record.vd_next;
    }
    return result;
}

std::unique_ptr<std::vector<VerDef>> Elf32Extractor::versionDefinitions(uint32_t &count) {
    uint32_t index = findSectionOfType(SHT_GNU_VERDEF);
    if (!index) return nullptr;
    count = sections[index].sh_info;
    return readVersionDefinitions(sections[index]);
}

std::unique_ptr<std::vector<VerNeed>> Elf32Extractor::readVersionRequirements(const Elf32_Shdr &h) {
    if (h.sh_info == 0 || h.sh_info > h.sh_size / sizeof(Elf32_Verneed)) return nullptr;
    auto bytes = reader.readBlock(h.sh_offset, h.sh_size);
    if (!bytes) return nullptr;
    std::unique_ptr<ElfStringBlock> strings = linkedStrings(h);
    auto result = std::make_unique<std::vector<VerNeed>>();
    result->reserve(h.sh_info);
    // As for the definitions: the section holds at most sh_size / 16
    // auxiliary records in all, and a damaged count keeps only what is left
    // of that budget.
    uint32_t auxiliaryBudget = h.sh_size / sizeof(Elf32_Vernaux);
    uint32_t offset = 0;
    bool recordsLeft = true;
    for (uint32_t step = 0; step < h.sh_info; ++step) {
        Elf32_Verneed record;
        if (!recordsLeft || !recordAt(bytes.get(), h.sh_size, offset, reader.swap, record)) {
            result->emplace_back();
            recordsLeft = false;
            continue;
        }
        if (record.vn_cnt > auxiliaryBudget) record.vn_cnt = static_cast<uint16_t>(auxiliaryBudget);
        auxiliaryBudget -= record.vn_cnt;
        auto auxiliaries = std::make_unique<VerNeedAux[]>(record.vn_cnt);
        bool inside = record.vn_aux <= h.sh_size - offset;
        uint32_t aux = offset + (inside ? record.vn_aux : 0);
        for (uint32_t n = 0; n < record.vn_cnt && inside; ++n) {
            Elf32_Vernaux raw;
            if (!recordAt(bytes.get(), h.sh_size, aux, reader.swap, raw)) {
                auxiliaries[n].name = "???";
                inside = false;
                continue;
            }
            auxiliaries[n].name = stringOf(strings.get(), raw.vna_name);
            auxiliaries[n].hash = raw.vna_hash;
            auxiliaries[n].other = raw.vna_other;
            if (raw.vna_next > h.sh_size - aux)
                inside = false;
            else
                aux += raw.vna_next;
        }
        if (record.vn_next > h.sh_size - offset) recordsLeft = false;
        result->emplace_back(record.vn_version, stringOf(strings.get(), record.vn_file),
                             record.vn_cnt, std::move(auxiliaries));
        offset += recordsLeft ? record.vn_next : 0;
    }
    return result;
}

std::unique_ptr<Elf32_RegInfo> Elf32Extractor::registerInformation() {
    if (header.e_machine != EM_MIPS) return nullptr;
    if (!registersRead) {
        registersRead = true;
        if (uint32_t index = findSectionOfType(SHT_MIPS_REGINFO))
            if (std::unique_ptr<Elf32_RegInfo> info = readRegisterInformation(sections[index]))
                registers = *info;
    }
    return registers ? std::make_unique<Elf32_RegInfo>(*registers) : nullptr;
}

std::unique_ptr<Elf32_RegInfo> Elf32Extractor::readRegisterInformation(const Elf32_Shdr &h) {
    auto info = std::make_unique<Elf32_RegInfo>();
    if (h.sh_size < sizeof(Elf32_RegInfo) || !reader.readAt(info.get(), h.sh_offset, sizeof *info))
        return nullptr;
    if (reader.swap) Elf32Util::swap(*info);
    return info;
}
