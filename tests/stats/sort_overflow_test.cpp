// The quicksorts around the stack of small_stack/: one pending part fits.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "stats/sorting.h"
#include "tests/support/fatal.h"

namespace {

struct Input {
    explicit Input(unsigned long count) : n(count), keys(count + 1), partners(count + 1), indices(count + 1) {
        for (unsigned long j = 1; j <= n; ++j) {
            keys[j] = static_cast<float>(j * 37 % 101);
        }
    }

    unsigned long n;
    std::vector<float> keys; // [1..n]
    std::vector<float> partners;
    std::vector<unsigned long> indices;
};

} // namespace

TEST(SmallStack, SufficesForOneSplit) {
    // Of twelve elements neither part is split again.
    Input input(12);
    indexx(input.n, input.keys.data(), input.indices.data());
    for (unsigned long j = 2; j <= input.n; ++j) {
        EXPECT_LT(input.keys[input.indices[j - 1]], input.keys[input.indices[j]]);
    }
    Input pairs(12);
    sort2(pairs.n, pairs.keys.data(), pairs.partners.data());
    EXPECT_TRUE(std::is_sorted(pairs.keys.begin() + 1, pairs.keys.end()));
    sort(input.n, input.keys.data());
    EXPECT_TRUE(std::is_sorted(input.keys.begin() + 1, input.keys.end()));
}

TEST(SmallStackDeathTest, EveryQuicksortNamesItself) {
    Input input(100);
    EXPECT_FATAL(sort(input.n, input.keys.data()), "NSTACK too small in sort.");
    EXPECT_FATAL(sort2(input.n, input.keys.data(), input.partners.data()), "NSTACK too small in sort2.");
    EXPECT_FATAL(indexx(input.n, input.keys.data(), input.indices.data()), "NSTACK too small in indexx.");
}
