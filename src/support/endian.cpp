#include "support/endian.h"

#include <cstring>

namespace {
bool probeHostOrder() {
    uint16_t word = 0;
    unsigned char one = 1;
    memcpy(&word, &one, 1);
    return word == 1;
}
} // namespace

// Constant-initialised code cannot probe memory, so this is a dynamic
// initialiser; it runs before main with the other statics.  Readers made by
// static constructors of other units must not depend on it.
const bool hostIsLittleEndian = probeHostOrder();
