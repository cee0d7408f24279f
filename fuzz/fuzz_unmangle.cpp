// Fuzz target: one arbitrary symbol name (the input up to its first NUL)
// through the demangler.  The name is decoded into buffers of several sizes,
// each allocated to its exact size so that a write past its end is caught,
// and the contract of unmangle is checked: the answer is the buffer, holding
// a terminated text that fits, or the name itself, unchanged.
#include "demangle/unmangle.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

void decodeInto(const std::string &name, uint32_t size) {
    std::unique_ptr<char[]> buffer(new char[size]);
    const char *shown = unmangle(name.c_str(), buffer.get(), size);
    if (shown == buffer.get()) {
        if (memchr(buffer.get(), 0, size) == nullptr) abort(); // not terminated inside
    } else if (shown != name.c_str()) {
        abort(); // neither the buffer nor the name
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string name(reinterpret_cast<const char *>(data), size);
    name.resize(strlen(name.c_str()));
    std::string before = name;

    (void)classifyMangling(name.c_str());
    // The listing's buffer size, sizes that cut nearly every text, and one
    // that depends on the input so that every cut point is tried in time.
    for (uint32_t bufferSize : {512u, 1u, 2u, 7u, uint32_t(1 + size % 97)})
        decodeInto(name, bufferSize);
    // The private buffer.
    const char *shown = unmangle(name.c_str(), nullptr, 0);
    if (shown != name.c_str() && strlen(shown) >= 4096) abort();
    if (name != before) abort(); // the name is never written
    return 0;
}
