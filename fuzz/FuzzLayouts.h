// The option sets under which the fuzz targets list each object file they
// manage to load: between them they reach the three layouts (full, parsable,
// undefined), all three radixes, both sorts and no sort, -A, -g and -h, each
// layout both with and without -C.
//
// Listing under all six costs more than reading the file (a sort by
// demangled name decodes every name again at each comparison), so each input
// is listed under one pair, one set with -C and one without; the pair is
// picked from the input's size and middle byte, so mutations of one file
// soon meet all three pairs.
#pragma once

#include "tool/nm_main.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

inline NmOptions fuzzLayout(bool parsable, bool undefined, bool demangle, bool byName, bool byValue,
                            uint8_t radix, bool append, bool globals, bool noHeaders) {
    NmOptions o;
    o.parsableOutput = parsable;
    o.undefinedOnly = undefined;
    o.suppressHeaders = noHeaders || undefined;
    o.demangleNames = demangle;
    o.sortByName = byName;
    o.sortByValue = byValue;
    o.valueRadix = radix;
    o.appendFileName = append;
    o.globalsOnly = globals;
    return o;
}

// Rows 0 and 1, 2 and 3, 4 and 5 are the pairs.
//                    parsable undefined -C  -n    -v    radix         -A     -g     -h
inline const std::array<NmOptions, 6> fuzzLayouts = {
    fuzzLayout(false, false, false, false, false, radixHex, false, false, false),
    fuzzLayout(false, false, true, true, false, radixHex, true, false, false),
    fuzzLayout(true, false, true, false, true, radixOctal, false, true, false),
    fuzzLayout(true, false, false, true, true, radixDecimal, false, false, true),
    fuzzLayout(false, true, false, false, false, radixDecimal, true, false, false),
    fuzzLayout(false, true, true, true, false, radixHex, false, false, false),
};

// The pair of layouts for the current input.
inline size_t fuzzLayoutPairIndex = 0;

inline void chooseFuzzLayouts(const uint8_t *data, size_t size) {
    fuzzLayoutPairIndex = (size + (size ? data[size / 2] : 0)) % 3;
}

inline std::span<const NmOptions> fuzzLayoutPair() {
    return std::span<const NmOptions>(fuzzLayouts).subspan(2 * fuzzLayoutPairIndex, 2);
}
