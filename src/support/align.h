// roundUp: the value if it is a multiple of the alignment, else the next
// multiple.  Any alignment above 0 works, not only powers of two; an
// alignment of 0 leaves the value as it is.
#pragma once

#include <cstdint>

inline uint32_t roundUp(uint32_t value, uint32_t alignment) {
    if (alignment == 0) return value;
    uint32_t rest = value % alignment;
    return rest ? value + (alignment - rest) : value;
}
