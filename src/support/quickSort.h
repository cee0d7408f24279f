// quickSort: an in-place sort on indices, from `low` up to and including
// `high`, that touches the data only through the two callbacks: `less(a, b)`
// compares the elements at two indices and `swap(a, b)` exchanges them.  The
// middle element is the pivot; the sort recurses on both sides, is not
// stable and has no cut-over for small ranges.  The symbol listing does not
// use it (it sorts with qsort).
#pragma once

#include "support/FunctionRef.h"

#include <cstdint>

void quickSort(int32_t low, int32_t high, FunctionRef<void(int32_t a, int32_t b)> swap,
               FunctionRef<bool(int32_t a, int32_t b)> less);
