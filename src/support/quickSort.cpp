#include "support/quickSort.h"

void quickSort(int32_t low, int32_t high, FunctionRef<void(int32_t a, int32_t b)> swap,
               FunctionRef<bool(int32_t a, int32_t b)> less) {
    while (low < high) {
        // The pivot moves to `high`.
        swap(low + (high - low) / 2, high);
        int32_t i = low;
        int32_t j = high;
        for (;;) {
            while (i < j && less(i, high))
                ++i;
            bool crossed = false;
            for (;;) {
                --j;
                if (j <= i) {
                    crossed = true;
                    break;
                }
                if (less(j, high)) break;
            }
            if (crossed) break;
            swap(i, j);
            ++i;
        }
        swap(high, i);
        if (low < i) quickSort(low, i - 1, swap, less);
        // The upper side by iteration rather than a second call.
        low = i + 1;
    }
}
