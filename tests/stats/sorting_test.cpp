#include "stats/sorting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <numeric>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "numerics/arrays.h"
#include "stats/sort_stack.h"
#include "tests/support/bits.h"
#include "tests/support/fatal.h"

using support::same_bits;

namespace {

const float quietNan = std::numeric_limits<float>::quiet_NaN();
const float infinite = std::numeric_limits<float>::infinity();

using Floats = std::vector<float>;
using Ids = std::vector<std::size_t>;
using Less = std::function<bool(std::size_t, std::size_t)>;

// The scheme of the quicksorts as a recursion over elements known by their number: parts of up to seven elements are
// sorted stably, longer ones split around the median of first, middle and last.
std::pair<std::size_t, std::size_t> split_ids(std::span<std::size_t> ids, const Less& less) {
    const auto order = [&](std::size_t& low, std::size_t& high) {
        if (less(high, low)) {
            std::swap(low, high);
        }
    };
    std::swap(ids[(ids.size() - 1) / 2], ids[1]);
    order(ids.front(), ids.back());
    order(ids[1], ids.back());
    order(ids.front(), ids[1]);
    const std::size_t pivot = ids[1];
    std::size_t up = 2;
    std::size_t down = ids.size() - 2;
    while (true) {
        for (; less(ids[up], pivot); ++up) {
        }
        for (; less(pivot, ids[down]); --down) {
        }
        if (down < up) {
            break;
        }
        std::swap(ids[up++], ids[down--]);
    }
    std::swap(ids[1], ids[down]);
    return {down, up};
}

void sort_ids(std::span<std::size_t> ids, const Less& less) {
    if (ids.size() <= 7) {
        std::stable_sort(ids.begin(), ids.end(), less);
        return;
    }
    const auto [down, up] = split_ids(ids, less);
    sort_ids(ids.first(down), less);
    sort_ids(ids.subspan(up), less);
}

// Brings the element of rank k (from 0) to its place.
void select_ids(std::span<std::size_t> ids, std::size_t k, const Less& less) {
    if (ids.size() <= 1) {
        return;
    }
    if (ids.size() == 2) {
        std::stable_sort(ids.begin(), ids.end(), less);
        return;
    }
    const auto [down, up] = split_ids(ids, less);
    if (k < down) {
        select_ids(ids.first(down), k, less);
    } else if (k >= up) {
        select_ids(ids.subspan(up), k - up, less);
    } else if (k > down) {
        // The element between the two scans is in place, yet the part above it is worked on once more.
        select_ids(ids.subspan(up), 0, less);
    }
}

Ids first_ids(std::size_t n) {
    Ids ids(n);
    std::iota(ids.begin(), ids.end(), std::size_t{0});
    return ids;
}

Less by_value(const Floats& values) {
    return [&values](std::size_t i, std::size_t j) { return values[i] < values[j]; };
}

Floats permuted(const Floats& values, const Ids& ids) {
    Floats result;
    for (const std::size_t id : ids) {
        result.push_back(values[id]);
    }
    return result;
}

// A heap block of exactly these elements, so that the memory checkers see every access outside them.
class ExactVector {
public:
    explicit ExactVector(const Floats& values) : n(static_cast<long>(values.size())), v(fvector(1, n)) {
        std::copy(values.begin(), values.end(), v + 1);
    }
    ~ExactVector() { free_fvector(v, 1, n); }
    ExactVector(const ExactVector&) = delete;
    ExactVector& operator=(const ExactVector&) = delete;

    float* handle() { return v; }
    Floats values() const { return Floats(v + 1, v + 1 + n); }

private:
    long n;
    float* v;
};

testing::AssertionResult same_values(const Floats& expected, const Floats& actual) {
    if (expected.size() != actual.size()) {
        return testing::AssertionFailure() << expected.size() << " values against " << actual.size();
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (!support::identical(expected[i], actual[i])) {
            return support::first_mismatch("element " + std::to_string(i), expected[i], actual[i]);
        }
    }
    return testing::AssertionSuccess();
}

Floats sorted_by_library(const Floats& values) {
    ExactVector arr(values);
    sort(values.size(), arr.handle());
    return arr.values();
}

Floats heap_sorted(const Floats& values) {
    ExactVector arr(values);
    hpsort(values.size(), arr.handle());
    return arr.values();
}

Ids index_table(const Floats& values) {
    ExactVector arr(values);
    constexpr unsigned long guard = 0xABCDEF;
    std::vector<unsigned long> indx(values.size() + 2, guard);
    indexx(values.size(), arr.handle(), indx.data());
    EXPECT_EQ(indx.front(), guard);
    EXPECT_EQ(indx.back(), guard);
    EXPECT_TRUE(same_values(values, arr.values())) << "indexx changed the keys";
    Ids ids;
    for (std::size_t j = 1; j <= values.size(); ++j) {
        ids.push_back(indx[j] - 1);
    }
    return ids;
}

struct Sorted {
    Floats keys;
    Floats partners; // numbers from 0
};

Sorted sorted_pairs(const Floats& values) {
    ExactVector arr(values);
    Floats numbers(values.size());
    std::iota(numbers.begin(), numbers.end(), 0.0f);
    ExactVector brr(numbers);
    sort2(values.size(), arr.handle(), brr.handle());
    return {arr.values(), brr.values()};
}

Floats random_values(support::Random& random, std::size_t n) {
    Floats values(n);
    for (float& value : values) {
        value = random.between(-1000.0f, 1000.0f);
    }
    return values;
}

// n values of few different ones, zeros of both signs among them.
Floats values_with_ties(support::Random& random, std::size_t n, int different) {
    Floats values(n);
    for (float& value : values) {
        value = static_cast<float>(random.below(different)) - 1.0f;
        if (value == 0.0f && random.below(2) == 0) {
            value = -0.0f;
        }
    }
    return values;
}

// Inputs that quicksorts are known to be slow or wrong on.
std::vector<std::pair<std::string, Floats>> hostile_inputs(std::size_t n) {
    Floats ascending(n);
    std::iota(ascending.begin(), ascending.end(), -5.0f);
    const Floats descending(ascending.rbegin(), ascending.rend());
    Floats organPipe(n);
    Floats sawtooth(n);
    Floats lastOut(ascending);
    for (std::size_t i = 0; i < n; ++i) {
        organPipe[i] = static_cast<float>(std::min(i, n - 1 - i));
        sawtooth[i] = static_cast<float>(i % 5);
    }
    if (n > 0) {
        lastOut.back() = -100.0f;
    }
    Floats valley(organPipe);
    Floats infinities(n);
    for (std::size_t i = 0; i < n; ++i) {
        valley[i] = -organPipe[i];
        infinities[i] = i % 3 == 0 ? infinite : i % 3 == 1 ? -infinite : static_cast<float>(i);
    }
    return {{"equal", Floats(n, 2.5f)}, {"ascending", ascending},  {"descending", descending},
            {"organ pipe", organPipe},  {"valley", valley},        {"sawtooth", sawtooth},
            {"last out", lastOut},      {"infinities", infinities}};
}

// Values that make the recursion above as unbalanced as can be: they are settled while it runs, each as late and as
// low as its comparisons allow (McIlroy, 1999).
Floats killer_input(std::size_t n, long& comparisons) {
    const float unsettled = static_cast<float>(n);
    Floats values(n, unsettled);
    float next = 0.0f;
    std::size_t candidate = 0;
    comparisons = 0;
    const Less less = [&](std::size_t i, std::size_t j) {
        ++comparisons;
        if (values[i] == unsettled && values[j] == unsettled && i != j) {
            values[i == candidate ? i : j] = next++;
        }
        if (values[i] == unsettled) {
            candidate = i;
        } else if (values[j] == unsettled) {
            candidate = j;
        }
        return values[i] < values[j];
    };
    Ids ids = first_ids(n);
    sort_ids(ids, less);
    return values;
}

// All ways to fill n places from the given values.
void for_all_fillings(std::size_t n, const Floats& choice, const std::function<void(const Floats&)>& visit) {
    Ids digits(n, 0);
    while (true) {
        visit(permuted(choice, digits));
        std::size_t place = 0;
        while (place < n && ++digits[place] == choice.size()) {
            digits[place++] = 0;
        }
        if (place == n) {
            return;
        }
    }
}

// The same multiset, bit for bit.
bool is_rearrangement(const Floats& before, const Floats& after) {
    const auto bits = [](const Floats& values) {
        std::vector<std::uint32_t> result;
        for (const float value : values) {
            result.push_back(support::bits_of(value));
        }
        std::sort(result.begin(), result.end());
        return result;
    };
    return bits(before) == bits(after);
}

bool is_permutation_of_numbers(Ids ids) {
    std::sort(ids.begin(), ids.end());
    return ids == first_ids(ids.size());
}

void expect_all_sorts_right(const Floats& values, const std::string& what) {
    SCOPED_TRACE(what + ", n = " + std::to_string(values.size()));
    Floats ascending = values;
    std::sort(ascending.begin(), ascending.end());
    Ids ids = first_ids(values.size());
    sort_ids(ids, by_value(values));
    const Floats pinned = permuted(values, ids);
    ASSERT_TRUE(std::equal(ascending.begin(), ascending.end(), pinned.begin())); // the test's own recursion sorts

    EXPECT_TRUE(same_values(pinned, sorted_by_library(values))) << "sort";
    EXPECT_EQ(ids, index_table(values)) << "indexx";
    const Sorted pairs = sorted_pairs(values);
    EXPECT_TRUE(same_values(pinned, pairs.keys)) << "sort2";
    EXPECT_TRUE(same_values(Floats(ids.begin(), ids.end()), pairs.partners)) << "sort2, partners";
    const Floats heap = heap_sorted(values);
    EXPECT_TRUE(std::equal(ascending.begin(), ascending.end(), heap.begin())) << "hpsort";
    EXPECT_TRUE(is_rearrangement(values, heap)) << "hpsort";
}

} // namespace

TEST(Sorts, OrderRandomValuesAndKeepTheSchemesTieOrder) {
    support::Random random(1);
    for (std::size_t n = 0; n <= 400; ++n) {
        expect_all_sorts_right(random_values(random, n), "random");
        expect_all_sorts_right(values_with_ties(random, n, 1 + random.below(9)), "ties");
    }
    expect_all_sorts_right(random_values(random, 100000), "random");
    expect_all_sorts_right(values_with_ties(random, 100000, 50), "ties");
}

TEST(Sorts, OrderHostileInputs) {
    for (const std::size_t n : {0U, 1U, 2U, 3U, 6U, 7U, 8U, 9U, 15U, 16U, 17U, 63U, 64U, 65U, 1000U, 4097U}) {
        for (const auto& [name, values] : hostile_inputs(n)) {
            expect_all_sorts_right(values, name);
        }
    }
}

TEST(Sorts, OrderEveryShortInput) {
    // Around the step from insertion (seven elements) to the first split (eight).
    for (std::size_t n = 0; n <= 9; ++n) {
        for_all_fillings(n, {3.0f, -0.0f, 0.0f}, [](const Floats& values) { expect_all_sorts_right(values, "short"); });
    }
}

TEST(Sorts, TouchNothingOutsideTheirElements) {
    support::Random random(2);
    for (const int n : {0, 1, 7, 8, 200}) {
        support::GuardedVector a(1, random_values(random, static_cast<std::size_t>(n)));
        support::GuardedVector b(1, random_values(random, static_cast<std::size_t>(n)));
        const unsigned long count = static_cast<unsigned long>(n);
        sort(count, a.handle());
        sort2(count, b.handle(), a.handle());
        hpsort(count, a.handle());
        if (n > 0) {
            select(1, count, b.handle());
        }
        EXPECT_TRUE(a.frame_untouched());
        EXPECT_TRUE(b.frame_untouched());
    }
}

TEST(Sorts, NothingToSortTouchesNothing) {
    sort(0, nullptr);
    sort2(0, nullptr, nullptr);
    indexx(0, nullptr, nullptr);
    hpsort(0, nullptr);
    for (const unsigned long n : {0UL, 1UL}) {
        support::GuardedVector a(1, {4.0f, 2.0f});
        support::GuardedVector b(1, {9.0f, 8.0f});
        sort(n, a.handle());
        hpsort(n, a.handle());
        sort2(n, a.handle(), b.handle());
        EXPECT_EQ(a[1], 4.0f);
        EXPECT_EQ(a[2], 2.0f);
        EXPECT_EQ(b[1], 9.0f);
        EXPECT_EQ(b[2], 8.0f);
    }
}

TEST(Sorts, EndWithNanInAnyPlaceAndLoseNothing) {
    const auto check = [](const Floats& values) {
        EXPECT_TRUE(is_rearrangement(values, sorted_by_library(values)));
        EXPECT_TRUE(is_rearrangement(values, heap_sorted(values)));
        EXPECT_TRUE(is_permutation_of_numbers(index_table(values)));
        const Sorted pairs = sorted_pairs(values);
        Ids partners;
        for (const float partner : pairs.partners) {
            partners.push_back(static_cast<std::size_t>(partner));
        }
        EXPECT_TRUE(is_permutation_of_numbers(partners));
        EXPECT_TRUE(same_values(permuted(values, partners), pairs.keys));
        for (const std::size_t k : {std::size_t{1}, values.size() / 2 + 1, values.size()}) {
            ExactVector arr(values);
            const float found = select(k, values.size(), arr.handle());
            EXPECT_TRUE(is_rearrangement(values, arr.values()));
            EXPECT_TRUE(same_bits(arr.values()[k - 1], found));
        }
    };
    for_all_fillings(8, {1.0f, 2.0f, quietNan}, check);
    for_all_fillings(9, {1.0f, 2.0f, quietNan}, check);
    for_all_fillings(11, {1.0f, quietNan}, check);
    support::Random random(3);
    for (std::size_t n = 1; n <= 300; ++n) {
        Floats values = random_values(random, n);
        const int share = 1 + random.below(5);
        for (float& value : values) {
            if (random.below(share) == 0) {
                value = quietNan;
            }
        }
        check(values);
    }
}

TEST(Sort, FinishesSevenElementsByInsertionWhereANanMovesToTheFront) {
    // Insertion passes everything that is not known to be smaller or equal; the split of eight leaves the NaN
    // elsewhere.
    EXPECT_TRUE(same_values({quietNan, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f},
                            sorted_by_library({1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, quietNan})));
    EXPECT_FALSE(std::isnan(sorted_by_library({1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, quietNan})[0]));
}

TEST(Quicksorts, PutTheLargerPartAsideSoThatTheStackSuffices) {
    // On this input every split takes off a few elements only: were those put aside, the stack would be full after 30
    // splits.
    constexpr std::size_t n = 4000;
    long comparisons = 0;
    const Floats values = killer_input(n, comparisons);
    ASSERT_GT(comparisons, static_cast<long>(n * n / 16)) << "not a hard input";
    expect_all_sorts_right(values, "killer");
    expect_all_sorts_right(Floats(values.rbegin(), values.rend()), "killer, reversed");
}

TEST(Quicksorts, KeepThirtyPendingParts) {
    SortStack stack("full");
    EXPECT_TRUE(stack.empty());
    for (long part = 0; part < 30; ++part) {
        stack.push(part, 1000 + part);
    }
    for (long part = 29; part >= 0; --part) {
        EXPECT_FALSE(stack.empty());
        long first = 0;
        long last = 0;
        stack.pop(first, last);
        EXPECT_EQ(first, part);
        EXPECT_EQ(last, 1000 + part);
    }
    EXPECT_TRUE(stack.empty());
}

TEST(QuicksortsDeathTest, EndTheProcessAtTheThirtyFirstPendingPart) {
    const auto push_parts = [] {
        SortStack stack("the pending parts are too many");
        for (long part = 0; part < 31; ++part) {
            stack.push(part, part);
        }
    };
    EXPECT_FATAL(push_parts(), "the pending parts are too many");
}

TEST(Sort2, KeepsPartnersTogether) {
    support::Random random(4);
    const Floats keys = values_with_ties(random, 500, 40);
    Floats partners;
    for (const float key : keys) {
        partners.push_back(3.0f * key + 1.0f);
    }
    partners[7] = quietNan; // partners are not compared
    const float keyOfNan = keys[7];
    ExactVector arr(keys);
    ExactVector brr(partners);
    sort2(keys.size(), arr.handle(), brr.handle());
    int nans = 0;
    for (std::size_t j = 1; j <= keys.size(); ++j) {
        if (std::isnan(brr.handle()[j])) {
            ++nans;
            EXPECT_EQ(arr.handle()[j], keyOfNan);
        } else {
            EXPECT_EQ(brr.handle()[j], 3.0f * arr.handle()[j] + 1.0f);
        }
    }
    EXPECT_EQ(nans, 1);
}

TEST(Indexx, OfThreeOneTwoIsTwoThreeOne) {
    EXPECT_EQ(index_table({3.0f, 1.0f, 2.0f}), (Ids{1, 2, 0}));
}

TEST(Hpsort, OfTwoBuildsTheHeapAndSwapsItsEnds) {
    // With zeros of both signs the order among equal values shows.
    EXPECT_TRUE(same_values({0.0f, -0.0f}, heap_sorted({-0.0f, 0.0f})));
    EXPECT_TRUE(same_values({-0.0f, 0.0f, 1.0f}, heap_sorted({1.0f, -0.0f, 0.0f})));
}

TEST(Hpsort, KeepsTheTieOrderOfTheHeap) {
    // The heap as a recursion: an item sinks below the larger of two nodes (the left one, if they are equal) unless
    // that is no larger than itself.
    const std::function<void(Floats&, std::size_t, std::size_t, float)> sink = [&](Floats& heap, std::size_t size,
                                                                                   std::size_t node, float item) {
        const std::size_t left = 2 * node + 1;
        if (left < size) {
            const std::size_t larger = left + 1 < size && heap[left + 1] > heap[left] ? left + 1 : left;
            if (heap[larger] > item) {
                heap[node] = heap[larger];
                sink(heap, size, larger, item);
                return;
            }
        }
        heap[node] = item;
    };
    for (std::size_t n = 0; n <= 8; ++n) {
        for_all_fillings(n, {3.0f, -0.0f, 0.0f}, [&](const Floats& values) {
            Floats heap = values;
            for (std::size_t node = n / 2; node-- > 0;) {
                sink(heap, n, node, heap[node]);
            }
            for (std::size_t size = n; size > 1; --size) {
                const float item = heap[size - 1];
                heap[size - 1] = heap[0];
                sink(heap, size - 1, 0, item);
            }
            EXPECT_TRUE(same_values(heap, heap_sorted(values)));
        });
    }
}

TEST(Select, ReturnsTheValueOfEveryRankAndLeavesTheSchemesArrangement) {
    support::Random random(5);
    const auto check = [](const Floats& values, std::size_t k) {
        Floats ascending = values;
        std::sort(ascending.begin(), ascending.end());
        Ids ids = first_ids(values.size());
        select_ids(ids, k - 1, by_value(values));
        ExactVector arr(values);
        const float found = select(k, values.size(), arr.handle());
        EXPECT_EQ(found, ascending[k - 1]);
        const Floats left = arr.values();
        EXPECT_TRUE(same_bits(left[k - 1], found));
        EXPECT_TRUE(same_values(permuted(values, ids), left)) << "k = " << k << " of " << values.size();
        for (std::size_t i = 0; i < values.size(); ++i) {
            EXPECT_TRUE(i < k ? left[i] <= found : left[i] >= found) << "element " << i << ", k = " << k;
        }
    };
    for (std::size_t n = 1; n <= 60; ++n) {
        for (std::size_t k = 1; k <= n; ++k) {
            check(random_values(random, n), k);
            check(values_with_ties(random, n, 1 + random.below(9)), k);
            for (const auto& [name, values] : hostile_inputs(n)) {
                check(values, k);
            }
        }
    }
    for (std::size_t n = 1; n <= 6; ++n) {
        for_all_fillings(n, {3.0f, -0.0f, 0.0f}, [&](const Floats& values) {
            for (std::size_t k = 1; k <= values.size(); ++k) {
                check(values, k);
            }
        });
    }
    check(random_values(random, 100001), 50001);
}

TEST(Select, FirstRankIsTheMinimumAndLastTheMaximum) {
    Floats values{4.0f, -2.0f, 8.0f, 8.0f, 0.5f, -2.0f, 3.0f, 7.0f, 1.0f};
    ExactVector low(values);
    EXPECT_EQ(select(1, values.size(), low.handle()), -2.0f);
    ExactVector high(values);
    EXPECT_EQ(select(values.size(), values.size(), high.handle()), 8.0f);
}

TEST(Select, SwapsTwoElementsThatStandInTheWrongOrder) {
    support::GuardedVector arr(1, {5.0f, 4.0f});
    EXPECT_EQ(select(2, 2, arr.handle()), 5.0f);
    EXPECT_EQ(arr[1], 4.0f);
    EXPECT_EQ(arr[2], 5.0f);
    EXPECT_TRUE(arr.frame_untouched());
}

TEST(SelectUshort, TakesSixteenBitsAsUnsigned) {
    std::vector<unsigned short> arr{12345, 65535, 0, 32768, 32767, 1, 65534};
    EXPECT_EQ(select_ushort(6, 6, arr.data()), 65535);
    EXPECT_EQ(select_ushort(1, 6, arr.data()), 0);
    EXPECT_EQ(select_ushort(5, 6, arr.data()), 65534);
    EXPECT_EQ(select_ushort(4, 6, arr.data()), 32768);
    EXPECT_EQ(select_ushort(3, 6, arr.data()), 32767);
    EXPECT_EQ(arr[0], 12345) << "element 0 was touched";
}

TEST(SelectUshort, ArrangesAsSelectDoes) {
    support::Random random(6);
    for (std::size_t n = 1; n <= 80; ++n) {
        for (std::size_t k = 1; k <= n; ++k) {
            const int different = random.below(3) == 0 ? 5 : 65536;
            std::vector<unsigned short> arr(n + 2, 0xA5A5);
            Floats values(n);
            for (std::size_t j = 1; j <= n; ++j) {
                arr[j] = static_cast<unsigned short>(65535 - random.below(different));
                values[j - 1] = static_cast<float>(arr[j]);
            }
            Ids ids = first_ids(n);
            select_ids(ids, k - 1, by_value(values));
            const unsigned short found = select_ushort(k, n, arr.data());
            EXPECT_EQ(found, arr[k]);
            EXPECT_TRUE(same_values(permuted(values, ids), Floats(arr.begin() + 1, arr.end() - 1)));
            EXPECT_EQ(arr.front(), 0xA5A5);
            EXPECT_EQ(arr.back(), 0xA5A5);
        }
    }
}
