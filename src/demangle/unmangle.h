// The demangler's entry points: turn one link-level symbol name into the text
// of the C++ declaration that it stands for.
//
// Three manglings are understood at once, and the scheme of a name is guessed
// from the name alone:
//   1  "@" scheme:       name@q<params>$<return>@<class>
//   2  keyword scheme:   name__ofq<params>of<return>__in<class>
//   3  signature scheme: name__<class><flags>F<params>  (cfront style)
// A name that is not mangled, or that does not decode, is shown as it stands.
#pragma once

#include <cstdint>

enum ManglingScheme : int {
    UnmangledScheme = 0,
    AtSignScheme = 1,
    KeywordScheme = 2,
    SignatureScheme = 3,
};

// The scheme that `name` appears to use, judged from the name alone.  A null
// name, an empty name and a name of underscores only are not mangled.
ManglingScheme classifyMangling(const char *name);

// Decodes `name` into `buffer`, which holds `bufferSize` bytes; the text is
// cut, without a mark, at bufferSize - 1 characters and always terminated.
// The result is `buffer` when the name was decoded and `name` itself (the
// same pointer, unchanged) when it was not.  With a null buffer or a size of
// 0 a private 4096-byte buffer is used and returned; the next call overwrites
// it.  The name must stay alive for the call only.
const char *unmangle(const char *name, char *buffer, uint32_t bufferSize);
