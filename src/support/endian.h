// Byte order.  Files are read raw and swapped where their order differs from
// the host's; `hostIsLittleEndian` is worked out once at start-up by storing
// 1 in the first byte of a 16-bit word, and nothing else in the program
// assumes the host's order.
#pragma once

#include <cstdint>

extern const bool hostIsLittleEndian;

inline uint32_t byteSwap32(uint32_t value) {
    return (value >> 24) | ((value >> 8) & 0xFF00u) | ((value << 8) & 0xFF0000u) | (value << 24);
}

inline uint16_t byteSwap16(uint16_t value) {
    return static_cast<uint16_t>((value >> 8) | (value << 8));
}
