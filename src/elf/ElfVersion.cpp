#include "elf/ElfVersion.h"

#include <cstring>

VerDef::VerDef() = default;

VerDef::VerDef(uint16_t version, uint16_t flags, uint16_t index, uint32_t hash, uint16_t count,
               std::unique_ptr<std::string[]> names)
    : version(version), flags(flags), index(index), hash(hash), count(count),
      names(std::move(names)) {}

VerDef::VerDef(const VerDef &other) {
    *this = other;
}

VerDef &VerDef::operator=(const VerDef &other) {
    if (this == &other) return *this;
    version = other.version;
    flags = other.flags;
    index = other.index;
    hash = other.hash;
    count = other.count;
    names.reset();
    if (other.names) {
        names = std::make_unique<std::string[]>(count);
        for (uint32_t i = 0; i < count; ++i)
            names[i] = other.names[i];
    }
    return *this;
}

VerDef::VerDef(const Elf32_Verdef &raw, std::unique_ptr<std::string[]> names)
    : VerDef(raw.vd_version, raw.vd_flags, raw.vd_ndx, raw.vd_hash, raw.vd_cnt, std::move(names)) {}

VerDef::~VerDef() = default;

bool VerDef::hasName(const char *name) const {
    for (uint32_t i = 0; names && i < count; ++i)
        if (strcmp(names[i].c_str(), name) == 0) return true;
    return false;
}

void VerDef::eachName(FunctionRef<void(const char *)> visitor) const {
    for (uint32_t i = 0; names && i < count; ++i)
        visitor(names[i].c_str());
}

void VerDef::toRaw(Elf32_Verdef &out) const {
    out.vd_version = version;
    out.vd_flags = flags;
    out.vd_ndx = index;
    out.vd_cnt = count;
    out.vd_hash = hash;
    out.vd_aux = sizeof(Elf32_Verdef);
    out.vd_next = uint32_t(count) * sizeof(Elf32_Verdaux) + sizeof(Elf32_Verdef);
}

VerNeed::VerNeed() = default;

VerNeed::VerNeed(uint16_t version, const char *file, uint16_t count,
                 std::unique_ptr<VerNeedAux[]> auxiliaries)
    : version(version), file(file ? file : ""), count(count), auxiliaries(std::move(auxiliaries)) {}

VerNeed::~VerNeed() = default;

const VerNeedAux *VerNeed::auxiliary(uint32_t index) const {
    return auxiliaries && index < count ? &auxiliaries[index] : nullptr;
}

void VerNeed::eachAuxiliary(FunctionRef<void(const VerNeedAux &)> visitor) const {
    for (uint32_t i = 0; auxiliaries && i < count; ++i)
        visitor(auxiliaries[i]);
}
