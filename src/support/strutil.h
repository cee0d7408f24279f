// eachSubstring: visits the stretches of a text between separators, as the
// library search splits "a;b;c" path lists.  An absent or empty text visits
// nothing; an empty stretch between two separators is visited as ""; the
// walk stops when nothing follows a separator.  Every stretch but the last
// is a copy of at most 1999 characters in a local buffer (valid during the
// visit only); the last is the rest of the text itself.
#pragma once

#include "support/FunctionRef.h"

void eachSubstring(FunctionRef<void(const char *piece)> visitor, const char *text,
                   const char *separators);
void eachSubstring(FunctionRef<void(const char *piece)> visitor, const char *text, char separator);
