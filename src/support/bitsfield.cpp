#include "support/bitsfield.h"

#include "support/botch.h"

namespace {

// masks[n] has n + 1 ones at the bottom; signExtend[n] has the ones above.
constexpr struct Tables {
    uint32_t masks[32];
    uint32_t signExtend[32];
    constexpr Tables() : masks(), signExtend() {
        for (int n = 0; n < 32; ++n) {
            masks[n] = n == 31 ? 0xFFFFFFFFu : (1u << (n + 1)) - 1;
            signExtend[n] = ~masks[n];
        }
    }
} tables;

void checkField(int low, int high) {
    if (low < 0 || high > 31 || low > high) botch("bit field %d..%d out of range", low, high);
}

} // namespace

int setBits(uint32_t *word, int low, int high, int32_t value, bool isSigned) {
    checkField(low, high);
    uint32_t mask = tables.masks[high - low];
    uint32_t v = static_cast<uint32_t>(value);
    uint32_t above = v & ~mask;
    bool fits = isSigned ? above == 0 || above == ~mask : v <= mask;
    if (!fits) return 1;
    *word = (*word & ~(mask << low)) | ((v & mask) << low);
    return 0;
}

uint32_t getBits(uint32_t word, int low, int high, bool isSigned) {
    checkField(low, high);
    uint32_t field = (word << (31 - high)) >> (31 - high + low);
    int n = high - low;
    if (isSigned && (field >> n) & 1) field |= tables.signExtend[n];
    return field;
}
