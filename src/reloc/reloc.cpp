// The generic patch routines and field accessors shared by every processor's
// fixup table, and the row of a type that has none.
#include "reloc/reloc.h"

const FixupRow unknownFixupRow = {
    reloc::patchUnsupported, "???", ReferenceKind::invalid, 0, {0, 0}, nullptr};

namespace reloc {

uint16_t read16Be(const uint8_t *place) {
    return static_cast<uint16_t>(place[0] << 8 | place[1]);
}
uint16_t read16Le(const uint8_t *place) {
    return static_cast<uint16_t>(place[1] << 8 | place[0]);
}
uint32_t read24Be(const uint8_t *place) {
    return uint32_t(place[0]) << 16 | uint32_t(place[1]) << 8 | place[2];
}
uint32_t read24Le(const uint8_t *place) {
    return uint32_t(place[2]) << 16 | uint32_t(place[1]) << 8 | place[0];
}
uint32_t read32Be(const uint8_t *place) {
    return uint32_t(place[0]) << 24 | uint32_t(place[1]) << 16 | uint32_t(place[2]) << 8 | place[3];
}
uint32_t read32Le(const uint8_t *place) {
    return uint32_t(place[3]) << 24 | uint32_t(place[2]) << 16 | uint32_t(place[1]) << 8 | place[0];
}

void write16Be(uint8_t *place, uint16_t value) {
    place[0] = uint8_t(value >> 8);
    place[1] = uint8_t(value);
}
void write16Le(uint8_t *place, uint16_t value) {
    place[0] = uint8_t(value);
    place[1] = uint8_t(value >> 8);
}
void write24Be(uint8_t *place, uint32_t value) {
    place[0] = uint8_t(value >> 16);
    place[1] = uint8_t(value >> 8);
    place[2] = uint8_t(value);
}
void write24Le(uint8_t *place, uint32_t value) {
    place[0] = uint8_t(value);
    place[1] = uint8_t(value >> 8);
    place[2] = uint8_t(value >> 16);
}
void write32Be(uint8_t *place, uint32_t value) {
    write16Be(place, uint16_t(value >> 16));
    write16Be(place + 2, uint16_t(value));
}
void write32Le(uint8_t *place, uint32_t value) {
    write16Le(place, uint16_t(value));
    write16Le(place + 2, uint16_t(value >> 16));
}

uint32_t negatedDistance(RelocationDescriptor &entry) {
    return uint32_t(entry.addend()) - entry.valueWithoutAddend();
}

namespace {

// True when `value`, taken as signed, lies in [low, high].
bool inRange(uint32_t value, int32_t low, int32_t high) {
    int32_t signedValue = static_cast<int32_t>(value);
    return signedValue >= low && signedValue <= high;
}

bool fitsByte(uint32_t value) {
    return inRange(value, -0x80, 0xFF);
}
bool fitsHalf(uint32_t value) {
    return inRange(value, -0x8000, 0xFFFF);
}

} // namespace

bool patchNothing(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t) {
    return true;
}
bool patchUnsupported(RelocationDescriptor &, uint8_t *, uint32_t, uint32_t) {
    return false;
}

bool add8(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    *place = uint8_t(*place + value);
    return fitsByte(value);
}
bool set8(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {
    *place = uint8_t(value);
    return fitsByte(value);
}
bool addPc8(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t address) {
    uint32_t sum = *place + value - address;
    *place = uint8_t(sum);
    return fitsByte(sum);
}
bool negate8(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {
    *place = uint8_t(*place + negatedDistance(entry));
    return true;
}

// The two forms of a routine differ only in the accessors that they use, so
// each is written once over a pair of accessors.
namespace {

using Read16 = uint16_t (*)(const uint8_t *);
using Write16 = void (*)(uint8_t *, uint16_t);
using Read24 = uint32_t (*)(const uint8_t *);
using Write24 = void (*)(uint8_t *, uint32_t);
using Read32 = uint32_t (*)(const uint8_t *);
using Write32 = void (*)(uint8_t *, uint32_t);

template <Read16 read, Write16 write> bool add16(uint8_t *place, uint32_t value) {
    uint32_t sum = read(place) + value;
    write(place, uint16_t(sum));
    return fitsHalf(sum);
}
template <Write16 write> bool set16(uint8_t *place, uint32_t value) {
    write(place, uint16_t(value));
    return fitsHalf(value);
}
template <Read16 read, Write16 write>
bool addPc16(uint8_t *place, uint32_t value, uint32_t address) {
    uint32_t sum = read(place) + value - address;
    write(place, uint16_t(sum));
    return fitsHalf(sum);
}
template <Read16 read, Write16 write> bool negate16(RelocationDescriptor &entry, uint8_t *place) {
    uint32_t sum = read(place) + negatedDistance(entry);
    write(place, uint16_t(sum));
    return inRange(sum, -0x8000, 0x7FFF);
}
template <Read24 read, Write24 write> bool negate24(RelocationDescriptor &entry, uint8_t *place) {
    write(place, read(place) + negatedDistance(entry));
    return true;
}
// bits 16 to 31 of D, plus 1 when bit 15 is set: the high half that a
// sign-extended low half completes.
uint16_t adjustedHigh(uint32_t distance) {
    return uint16_t((distance >> 16) + ((distance >> 15) & 1));
}

} // namespace

#define TNM_FIXUP_ORDER(order)                                                                     \
    bool add16##order(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {          \
        return add16<read16##order, write16##order>(place, value);                                 \
    }                                                                                              \
    bool set16##order(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {          \
        return set16<write16##order>(place, value);                                                \
    }                                                                                              \
    bool addPc16##order(RelocationDescriptor &, uint8_t *place, uint32_t value,                    \
                        uint32_t address) {                                                        \
        return addPc16<read16##order, write16##order>(place, value, address);                      \
    }                                                                                              \
    bool set24##order(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {          \
        write24##order(place, value);                                                              \
        return true;                                                                               \
    }                                                                                              \
    bool add32##order(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {          \
        write32##order(place, read32##order(place) + value);                                       \
        return true;                                                                               \
    }                                                                                              \
    bool set32##order(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {          \
        write32##order(place, value);                                                              \
        return true;                                                                               \
    }                                                                                              \
    bool subtract32##order(RelocationDescriptor &, uint8_t *place, uint32_t value, uint32_t) {     \
        write32##order(place, read32##order(place) - value);                                       \
        return true;                                                                               \
    }                                                                                              \
    bool addPc32##order(RelocationDescriptor &, uint8_t *place, uint32_t value,                    \
                        uint32_t address) {                                                        \
        write32##order(place, read32##order(place) + value - address);                             \
        return true;                                                                               \
    }                                                                                              \
    bool setPc32##order(RelocationDescriptor &, uint8_t *place, uint32_t value,                    \
                        uint32_t address) {                                                        \
        write32##order(place, value - address);                                                    \
        return true;                                                                               \
    }                                                                                              \
    bool subtractValue32##order(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) { \
        write32##order(place, read32##order(place) - entry.value());                               \
        return true;                                                                               \
    }                                                                                              \
    bool negate16##order(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {        \
        return negate16<read16##order, write16##order>(entry, place);                              \
    }                                                                                              \
    bool negate24##order(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) {        \
        return negate24<read24##order, write24##order>(entry, place);                              \
    }                                                                                              \
    bool setNegatedLow16##order(RelocationDescriptor &entry, uint8_t *place, uint32_t, uint32_t) { \
        write16##order(place, uint16_t(negatedDistance(entry)));                                   \
        return true;                                                                               \
    }                                                                                              \
    bool setNegatedHigh16##order(RelocationDescriptor &entry, uint8_t *place, uint32_t,            \
                                 uint32_t) {                                                       \
        write16##order(place, uint16_t(negatedDistance(entry) >> 16));                             \
        return true;                                                                               \
    }                                                                                              \
    bool setNegatedAdjusted16##order(RelocationDescriptor &entry, uint8_t *place, uint32_t,        \
                                     uint32_t) {                                                   \
        write16##order(place, adjustedHigh(negatedDistance(entry)));                               \
        return true;                                                                               \
    }

TNM_FIXUP_ORDER(Be)
TNM_FIXUP_ORDER(Le)
#undef TNM_FIXUP_ORDER

} // namespace reloc
