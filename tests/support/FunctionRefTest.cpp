#include "support/FunctionRef.h"

#include <gtest/gtest.h>

namespace {

int sumEach(const int *items, int count, FunctionRef<int(int)> visit) {
    int total = 0;
    for (int i = 0; i < count; ++i)
        total += visit(items[i]);
    return total;
}

TEST(FunctionRef, LambdaReachesCallersLocals) {
    int items[] = {1, 2, 3};
    int calls = 0;
    int scale = 10;
    int total = sumEach(items, 3, [&](int v) {
        ++calls;
        return v * scale;
    });
    EXPECT_EQ(total, 60);
    EXPECT_EQ(calls, 3);
    EXPECT_FALSE(FunctionRef<void()>());
}

} // namespace
