// duplicate: a copy of a NUL-terminated text from operator new, owned by
// the caller; an absent text gives none.
#pragma once

#include <memory>

std::unique_ptr<char[]> duplicate(const char *text);
