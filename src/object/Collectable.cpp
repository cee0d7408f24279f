// The identity root: hashing, equality and order by address; persistence
// hooks that do nothing.
#include "object/Collectable.h"

#include <cstdint>

Collectable::~Collectable() = default;

uint32_t Collectable::hash() {
    // Objects are at least 8-byte aligned: drop the low bits, fold the high.
    uintptr_t address = reinterpret_cast<uintptr_t>(this) >> 3;
    return static_cast<uint32_t>(address ^ (static_cast<uint64_t>(address) >> 32));
}

bool Collectable::isEqual(Collectable &other) {
    return &other == this;
}

int32_t Collectable::compareTo(Collectable &other) {
    uintptr_t self = reinterpret_cast<uintptr_t>(this);
    uintptr_t that = reinterpret_cast<uintptr_t>(&other);
    return self < that ? -1 : self > that ? 1 : 0;
}

void Collectable::saveGuts(FormatOut &) {}
void Collectable::saveGuts(std::FILE *) {}
void Collectable::restoreGuts(InputFile &) {}
void Collectable::restoreGuts(std::FILE *) {}
