// Field access with the byte order fixed at compile time, for the processor
// tables whose two sets of rows share one template of each routine: a row of
// the big-endian set names routine<true>, one of the little-endian set
// routine<false>, and the two differ only in these accessors.
#pragma once

#include "reloc/reloc.h"

#include <cstdint>

namespace reloc {

template <bool Big> uint32_t get32(const uint8_t *place) {
    if constexpr (Big)
        return read32Be(place);
    else
        return read32Le(place);
}
template <bool Big> void put32(uint8_t *place, uint32_t value) {
    if constexpr (Big)
        write32Be(place, value);
    else
        write32Le(place, value);
}
template <bool Big> uint16_t get16(const uint8_t *place) {
    if constexpr (Big)
        return read16Be(place);
    else
        return read16Le(place);
}
// Writes the low 16 bits of `value`.
template <bool Big> void put16(uint8_t *place, uint32_t value) {
    if constexpr (Big)
        write16Be(place, static_cast<uint16_t>(value));
    else
        write16Le(place, static_cast<uint16_t>(value));
}

} // namespace reloc
