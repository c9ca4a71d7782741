#include "numerics/svd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "numerics/svd_state.h"
#include "tests/numerics/plain_svd.h"
#include "tests/numerics/test_matrices.h"
#include "tests/support/allocation_probe.h"
#include "tests/support/bits.h"
#include "tests/support/fatal.h"

using support::GuardedMatrix;
using support::GuardedVector;
using support::make_rows;
using support::Random;
using support::Rows;
using support::same_bits;
using test_matrices::Kind;

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

int row_count(const Rows& a) {
    return static_cast<int>(a.size());
}
int column_count(const Rows& a) {
    return static_cast<int>(a[0].size());
}

// One decomposition in guarded arrays: base 1 is svdcmp, base 0 svdcmp_tarn.
struct SvdRun {
    SvdRun(int base, const Rows& zeroBased)
        : first(base), m(row_count(zeroBased)), n(column_count(zeroBased)), given(zeroBased),
          u(base, base == 1 ? test_matrices::one_based(zeroBased) : zeroBased), w(base, n), v(base, n, n) {
        if (base == 1) {
            NoConvergenceInSVD = true; // every entry clears it
            svdcmp(u.handle(), m, n, w.handle(), v.handle());
            failed = NoConvergenceInSVD;
        } else {
            NoConvergenceInSVD = tarnFlag;
            const int result = svdcmp_tarn(m, n, u.handle(), w.handle(), v.handle());
            EXPECT_TRUE(result == 0 || result == 1);
            failed = result == 0;
            EXPECT_EQ(NoConvergenceInSVD, tarnFlag) << "the flag belongs to svdcmp";
            tarnFlag = !tarnFlag;
        }
        EXPECT_TRUE(u.frame_untouched());
        EXPECT_TRUE(w.frame_untouched());
        EXPECT_TRUE(v.frame_untouched());
    }

    static inline bool tarnFlag = false;

    int first;
    int m;
    int n;
    Rows given;
    GuardedMatrix u;
    GuardedVector w;
    GuardedMatrix v;
    bool failed = false;
};

plain::Svd plain_run(int base, const Rows& a) {
    return base == 1 ? plain::svdcmp(test_matrices::one_based(a), row_count(a), column_count(a))
                     : plain::svdcmp_tarn(a, row_count(a), column_count(a));
}

void compare_with_plain(int base, const Rows& a) {
    SvdRun run(base, a);
    const plain::Svd expected = plain_run(base, a);
    ASSERT_EQ(run.failed, expected.failed) << run.m << " x " << run.n;
    const int lastColumn = base + run.n - 1;
    ASSERT_TRUE(same_bits(expected.w.data(), run.w.handle(), base, lastColumn)) << run.m << " x " << run.n;
    ASSERT_TRUE(same_bits(expected.u, run.u, base, base + run.m - 1, lastColumn)) << run.m << " x " << run.n;
    ASSERT_TRUE(same_bits(expected.v, run.v, base, lastColumn, lastColumn)) << run.m << " x " << run.n;
}

void compare_all_shapes(int base) {
    test_matrices::for_each_kind([base](Kind kind) {
        Random random(300 + static_cast<std::uint64_t>(kind));
        for (int m = 1; m <= 8; m++) {
            for (int n = 1; n <= 8; n++) {
                for (int repeat = 0; repeat < 3; repeat++) {
                    compare_with_plain(base, test_matrices::make(random, kind, m, n));
                }
            }
        }
        compare_with_plain(base, test_matrices::make(random, kind, 30, 12));
        compare_with_plain(base, test_matrices::make(random, kind, 12, 30));
        compare_with_plain(base, test_matrices::make(random, kind, 25, 25));
    });
    Random random(350);
    for (const int n : {2, 5, 12, 21}) {
        compare_with_plain(base, test_matrices::covariance(random, n, 3 * n));
        compare_with_plain(base, test_matrices::covariance(random, n, n / 2 + 1));
    }
}

// Decomposed and put together again: U diag(w) V^T is the matrix, the columns of U and V are orthonormal, w >= 0.
void check_properties(SvdRun& run, double tolerance) {
    ASSERT_FALSE(run.failed);
    const int end = run.first + run.n;
    double size = 0.0;
    for (int k = run.first; k < end; k++) {
        EXPECT_GE(run.w[k], 0.0f);
        size = std::max(size, double(run.w[k]));
    }
    for (int i = 0; i < run.m; i++) {
        for (int j = 0; j < run.n; j++) {
            double sum = 0.0;
            for (int k = run.first; k < end; k++) {
                sum += double(run.u(run.first + i, k)) * double(run.w[k]) * double(run.v(run.first + j, k));
            }
            EXPECT_NEAR(sum, double(run.given[std::size_t(i)][std::size_t(j)]), tolerance * size);
        }
    }
    for (int p = run.first; p < end; p++) {
        for (int q = run.first; q < end; q++) {
            double uu = 0.0;
            double vv = 0.0;
            for (int i = 0; i < run.m; i++) {
                uu += double(run.u(run.first + i, p)) * double(run.u(run.first + i, q));
            }
            for (int i = 0; i < run.n; i++) {
                vv += double(run.v(run.first + i, p)) * double(run.v(run.first + i, q));
            }
            EXPECT_NEAR(vv, p == q ? 1.0 : 0.0, tolerance);
            if (run.m >= run.n) {
                EXPECT_NEAR(uu, p == q ? 1.0 : 0.0, tolerance);
            }
        }
    }
}

std::vector<float> sorted_values(SvdRun& run) {
    std::vector<float> values(run.w.handle() + run.first, run.w.handle() + run.first + run.n);
    std::sort(values.rbegin(), values.rend());
    return values;
}

Rows scaled(Rows a, float factor) {
    for (auto& row : a) {
        for (float& x : row) {
            x *= factor;
        }
    }
    return a;
}

// Needs 99 QR steps for one value: the test of the 100th pass finds it converged.
const Rows needs99Steps{{0x1p+23f, 0.0f, 0x1p+56f}, {0x1p+53f, 0x1.22bd56p-3f, 0x1p+9f}, {0x1.8cd4a4p+37f, 0.0f, 0.0f}};
// The 100th step is carried out and would be found enough, but nobody looks any more.
const Rows needs100Steps{
    {0x1.53c156p+23f, 0.0f, 0x1p+56f}, {0x1p+53f, 0x1.298e2cp-3f, 0x1p+9f}, {0x1.27ca44p+38f, 0.0f, 0.0f}};
// Finite throughout, with a negative value left at the end; another step would still change it.
const Rows neverConverges{{0.0f, -0x1.135e4p-20f, 0x1.c8e7fp+57f},
                          {0x1p+49f, 0x1p-13f, 0x1p+9f},
                          {0x1.bf9cdcp+8f, 0x1p-13f, -0x1.70074p-22f}};
// The relative test at the lower end of the float range.
const Rows tarnNeeds29Steps{{0x1.98ec4p-79f, 0x1.b57204p-75f}, {0.0f, 0x1.1d3d2p-82f}};
const Rows tarnNeeds30Steps{{-0x1.3e943p-76f, -0x1.9c88ecp-75f}, {0.0f, 0x1.f1b9cp-83f}};
const Rows tarnNeverConverges{{0x1p-83f, 0x1.cd8988p-85f}, {0x1p-83f, 0x1.ae69b8p-81f}};

} // namespace

TEST(Pythag, IsTheHypotenuse) {
    EXPECT_EQ(pythag(3.0f, -4.0f), 5.0f);
    EXPECT_EQ(pythag(-4.0f, 3.0f), 5.0f);
    EXPECT_TRUE(same_bits(0.0f, pythag(0.0f, 0.0f)));
    EXPECT_TRUE(same_bits(0.0f, pythag(-0.0f, 0.0f)));
    EXPECT_EQ(pythag(0.0f, -2.5f), 2.5f);
    EXPECT_EQ(pythag(-2.5f, 0.0f), 2.5f);
    EXPECT_EQ(pythag(1.0f, 1.0f), 1.41421356f);
}

TEST(Pythag, NeitherOverflowsNorUnderflowsOnTheWay) {
    EXPECT_NEAR(pythag(3e37f, 4e37f), 5e37f, 1e31f);
    EXPECT_EQ(pythag(3e-40f, 0.0f), 3e-40f);
    EXPECT_NEAR(pythag(0x3p-140f, 0x4p-140f), 0x5p-140f, 0x1p-149f);
    EXPECT_EQ(pythag(1e30f, 1.0f), 1e30f);
}

TEST(Pythag, NonFiniteArgumentsGiveWhatTheFormulaGives) {
    EXPECT_EQ(pythag(infinity, 1.0f), infinity);
    EXPECT_EQ(pythag(1.0f, -infinity), infinity);
    EXPECT_TRUE(std::isnan(pythag(infinity, infinity)));
    EXPECT_TRUE(std::isnan(pythag(1.0f, notANumber)));
    EXPECT_TRUE(same_bits(0.0f, pythag(notANumber, 0.0f)));
}

TEST(Pythag, MatchesThePlainDefinitionBitForBit) {
    Random random(301);
    for (int i = 0; i < 20000; i++) {
        const float a = std::ldexp(random.between(-1.0f, 1.0f), random.below(60) - 30);
        const float b = std::ldexp(random.between(-1.0f, 1.0f), random.below(60) - 30);
        ASSERT_TRUE(same_bits(plain::pythag(a, b), pythag(a, b))) << a << " " << b;
        // The double hypotenuse is right to far more than a float; three float roundings stand between.
        ASSERT_LE(support::ulp_distance(float(std::hypot(double(a), double(b))), pythag(a, b)), 2);
    }
}

TEST(Svdcmp, MatchesThePlainDefinitionBitForBit) {
    compare_all_shapes(1);
}

TEST(SvdcmpTarn, MatchesThePlainDefinitionBitForBit) {
    compare_all_shapes(0);
}

TEST(Svdcmp, ReproducesTheMatrixFromOrthonormalFactors) {
    Random random(302);
    for (const Kind kind : {Kind::uniform, Kind::large, Kind::integers, Kind::rankDeficient, Kind::diagonal}) {
        for (const auto& [m, n] : {std::pair{1, 1}, {3, 3}, {7, 4}, {9, 9}, {40, 11}}) {
            SvdRun run(1, test_matrices::make(random, kind, m, n));
            // A rank-deficient matrix has left vectors of zeros only where a value was exactly zero on the way.
            if (kind == Kind::uniform || kind == Kind::large) {
                check_properties(run, 2e-5);
            } else {
                ASSERT_FALSE(run.failed);
            }
        }
    }
}

TEST(SvdcmpTarn, ReproducesTheMatrixFromOrthonormalFactors) {
    Random random(303);
    for (const Kind kind : {Kind::uniform, Kind::large, Kind::tiny}) {
        for (const auto& [m, n] : {std::pair{1, 1}, {3, 3}, {7, 4}, {9, 9}, {40, 11}}) {
            SvdRun run(0, test_matrices::make(random, kind, m, n));
            check_properties(run, 2e-5);
        }
    }
}

TEST(Svdcmp, AWideMatrixIsReproducedToo) {
    Random random(304);
    for (const int base : {0, 1}) {
        for (const auto& [m, n] : {std::pair{1, 3}, {3, 4}, {4, 9}, {11, 30}}) {
            SvdRun run(base, test_matrices::make(random, Kind::uniform, m, n));
            check_properties(run, 2e-5);
            // At most m values of an m x n matrix differ from zero.
            const std::vector<float> values = sorted_values(run);
            for (std::size_t k = std::size_t(m); k < values.size(); k++) {
                EXPECT_NEAR(values[k], 0.0, 1e-5);
            }
        }
    }
}

TEST(Svdcmp, KnownSingularValues) {
    for (const int base : {0, 1}) {
        // A^T A is [[25, 20], [20, 25]] with eigenvalues 45 and 5.
        SvdRun run(base, {{3.0f, 0.0f}, {4.0f, 5.0f}});
        const std::vector<float> values = sorted_values(run);
        EXPECT_NEAR(values[0], std::sqrt(45.0), 1e-5);
        EXPECT_NEAR(values[1], std::sqrt(5.0), 1e-5);
        // Rank one: the only value is the product of the vectors' lengths.
        SvdRun rankOne(base, {{2.0f, 4.0f, 4.0f}, {3.0f, 6.0f, 6.0f}, {6.0f, 12.0f, 12.0f}});
        const std::vector<float> one = sorted_values(rankOne);
        EXPECT_NEAR(one[0], 21.0, 1e-5);
        EXPECT_NEAR(one[1], 0.0, 1e-5);
        EXPECT_NEAR(one[2], 0.0, 1e-5);
    }
}

TEST(Svdcmp, ANegativeValueIsReturnedPositiveWithItsColumnOfVNegated) {
    for (const int base : {0, 1}) {
        // The reduction of a positive element gives the opposite sign, which is then turned round.
        SvdRun positive(base, {{2.5f}});
        EXPECT_EQ(positive.w[base], 2.5f);
        EXPECT_EQ(positive.u(base, base), -1.0f);
        EXPECT_EQ(positive.v(base, base), -1.0f);
        SvdRun negative(base, {{-2.5f}});
        EXPECT_EQ(negative.w[base], 2.5f);
        EXPECT_EQ(negative.u(base, base), -1.0f);
        EXPECT_EQ(negative.v(base, base), 1.0f);
        SvdRun mixed(base, {{3.0f, 0.0f}, {0.0f, -4.0f}});
        EXPECT_EQ(mixed.w[base], 3.0f);
        EXPECT_EQ(mixed.w[base + 1], 4.0f);
        EXPECT_TRUE(same_bits(-1.0f, mixed.v(base, base)));
        EXPECT_TRUE(same_bits(1.0f, mixed.v(base + 1, base + 1)));
    }
}

TEST(Svdcmp, ValuesAreNotSorted) {
    for (const int base : {0, 1}) {
        SvdRun run(base, {{1.0f, 0.0f, 0.0f}, {0.0f, 3.0f, 0.0f}, {0.0f, 0.0f, 2.0f}});
        EXPECT_EQ(run.w[base], 1.0f);
        EXPECT_EQ(run.w[base + 1], 3.0f);
        EXPECT_EQ(run.w[base + 2], 2.0f);
    }
}

TEST(Svdcmp, TheZeroMatrixHasZeroValuesAndUnitFactors) {
    for (const int base : {0, 1}) {
        SvdRun run(base, make_rows(3, 3));
        EXPECT_FALSE(run.failed);
        for (int i = base; i < base + 3; i++) {
            EXPECT_EQ(run.w[i], 0.0f);
            for (int j = base; j < base + 3; j++) {
                EXPECT_EQ(run.u(i, j), i == j ? 1.0f : 0.0f);
                EXPECT_EQ(run.v(i, j), i == j ? 1.0f : 0.0f);
            }
        }
    }
}

TEST(Svdcmp, ADenormalValueLeavesTheLeftVectorsFinite) {
    // 1 / 1e-40 is infinite: the column counts as one of value zero.
    for (const int base : {0, 1}) {
        SvdRun run(base, {{1e-40f, 0.0f}, {0.0f, 1e-40f}});
        EXPECT_FALSE(run.failed);
        for (int i = base; i < base + 2; i++) {
            EXPECT_EQ(run.w[i], 1e-40f);
            for (int j = base; j < base + 2; j++) {
                EXPECT_EQ(run.u(i, j), i == j ? 1.0f : 0.0f);
            }
        }
    }
}

TEST(Svdcmp, SplitsATinyMatrixAtOnceWhereTheRelativeTestGoesOn) {
    const Rows a{{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}, {7.0f, 8.0f, 10.0f}};
    const Rows small = scaled(a, 1e-7f);
    SvdRun whole(0, a);
    SvdRun relative(0, small);
    SvdRun absolute(1, small);
    const std::vector<float> expected = sorted_values(whole);
    const std::vector<float> exact = sorted_values(relative);
    for (std::size_t k = 0; k < 3; k++) {
        EXPECT_NEAR(exact[k], expected[k] * 1e-7f, 1e-5 * double(expected[0]) * 1e-7);
    }
    check_properties(relative, 1e-5);
    // The absolute test took no QR step at all: V is still that of the reduction, first row and column (1, 0, 0).
    EXPECT_FALSE(absolute.failed);
    EXPECT_EQ(plain_run(1, small).steps, 0);
    EXPECT_EQ(std::fabs(absolute.v(1, 1)), 1.0f);
    for (int k = 2; k <= 3; k++) {
        EXPECT_EQ(absolute.v(1, k), 0.0f);
        EXPECT_EQ(absolute.v(k, 1), 0.0f);
    }
    EXPECT_GT(std::fabs(double(sorted_values(absolute)[0]) - double(expected[0]) * 1e-7), 1e-8);
    EXPECT_NE(relative.v(0, 1), 0.0f);
}

TEST(Svdcmp, TheAbsoluteLimitIsStrict) {
    // Already bidiagonal: the superdiagonal element is exactly what the test sees, up to its sign. The float nearest
    // to 1e-6 lies below the double 1e-6, the next one above it.
    const float below = 1e-6f;
    const float above = std::nextafter(below, 1.0f);
    ASSERT_LT(double(below), 1e-6);
    ASSERT_GE(double(above), 1e-6);
    for (const float sign : {1.0f, -1.0f}) {
        SvdRun split(1, {{1.0f, sign * below}, {0.0f, 1.0f}});
        EXPECT_EQ(std::fabs(split.v(1, 1)), 1.0f);
        EXPECT_EQ(split.v(1, 2), 0.0f);
        EXPECT_EQ(split.w[1], 1.0f);
        EXPECT_EQ(split.w[2], 1.0f);
        SvdRun unsplit(1, {{1.0f, sign * above}, {0.0f, 1.0f}});
        EXPECT_NE(unsplit.v(1, 2), 0.0f);
    }
}

TEST(Svdcmp, AValueThatConvergesInTheHundredthPassLeavesTheFlagClear) {
    ASSERT_EQ(plain_run(1, needs99Steps).steps, 99);
    SvdRun run(1, needs99Steps);
    EXPECT_FALSE(run.failed);
    compare_with_plain(1, needs99Steps);
}

TEST(Svdcmp, AHundredStepsSetTheFlagAndTheLastIsStillCarriedOut) {
    SvdRun run(1, needs100Steps);
    EXPECT_TRUE(run.failed);
    compare_with_plain(1, needs100Steps);
}

TEST(Svdcmp, AnUnconvergedValueIsLeftAsItStandsSilently) {
    // The comparison below would show a step more or less.
    const Rows oneBased = test_matrices::one_based(neverConverges);
    const plain::Svd exact = plain::svdcmp(oneBased, 3, 3);
    for (const int steps : {99, 101}) {
        const plain::Svd other = plain::svdcmp(oneBased, 3, 3, steps);
        ASSERT_FALSE(same_bits(exact.w.data(), other.w.data(), 1, 3) && same_bits(exact.u, other.u, 1, 3, 3) &&
                     same_bits(exact.v, other.v, 1, 3, 3));
    }
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    SvdRun run(1, neverConverges);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(run.failed);
    EXPECT_TRUE(std::any_of(run.w.handle() + 1, run.w.handle() + 4, [](float w) { return w < 0.0f; }))
        << "only converged values are made positive";
    compare_with_plain(1, neverConverges);
}

TEST(Svdcmp, NanInTheMatrixEndsWithTheFlagSet) {
    SvdRun run(1, {{1.0f, notANumber}, {2.0f, 3.0f}});
    EXPECT_TRUE(run.failed);
    EXPECT_TRUE(std::isnan(run.w[2]));
}

TEST(Svdcmp, TheFlagIsClearedAtEveryEntryAndKeptUntilTheNext) {
    SvdRun bad(1, {{1.0f, notANumber}, {2.0f, 3.0f}});
    EXPECT_TRUE(NoConvergenceInSVD);
    SvdRun good(1, {{1.0f, 0.0f}, {2.0f, 3.0f}});
    EXPECT_FALSE(NoConvergenceInSVD);
}

TEST(SvdcmpTarn, TwentyNineStepsAreEnoughAndThirtyAreNot) {
    ASSERT_EQ(plain::svdcmp_tarn(tarnNeeds29Steps, 2, 2, 1000).steps, 29);
    ASSERT_EQ(plain::svdcmp_tarn(tarnNeeds30Steps, 2, 2, 1000).steps, 30);
    SvdRun enough(0, tarnNeeds29Steps);
    EXPECT_FALSE(enough.failed);
    SvdRun tooMany(0, tarnNeeds30Steps);
    EXPECT_TRUE(tooMany.failed);
    compare_with_plain(0, tarnNeeds29Steps);
    compare_with_plain(0, tarnNeeds30Steps);
}

TEST(SvdcmpTarn, NonConvergenceReturnsZeroSilentlyWithEverythingHalfTransformed) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    SvdRun run(0, tarnNeverConverges);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(run.failed);
    compare_with_plain(0, tarnNeverConverges);
    EXPECT_LT(std::min(run.w[0], run.w[1]), 0.0f) << "nothing is made positive any more";
}

TEST(SvdcmpTarn, NanInTheMatrixEndsWithZero) {
    SvdRun run(0, {{1.0f, notANumber, 2.0f}, {2.0f, 3.0f, 4.0f}, {4.0f, 5.0f, 6.0f}});
    EXPECT_TRUE(run.failed);
}

TEST(SvdcmpTarn, TheTestIsRelativeToTheNorm) {
    // One superdiagonal element beside a norm of 1: 2^-25 is lost in the sum, 2^-23 is not.
    SvdRun lost(0, {{1.0f, 0x1p-25f}, {0.0f, 0.5f}});
    EXPECT_EQ(lost.v(0, 1), 0.0f);
    SvdRun seen(0, {{1.0f, 0x1p-22f}, {0.0f, 0.5f}});
    EXPECT_NE(seen.v(0, 1), 0.0f);
    // The same at another size.
    SvdRun lostLarge(0, {{0x1p40f, 0x1p15f}, {0.0f, 0x1p39f}});
    EXPECT_EQ(lostLarge.v(0, 1), 0.0f);
    SvdRun seenLarge(0, {{0x1p40f, 0x1p18f}, {0.0f, 0x1p39f}});
    EXPECT_NE(seenLarge.v(0, 1), 0.0f);
}

TEST(Svdcmp, CountsOfZeroOrLessWriteNothing) {
    for (const int n : {0, -1, INT_MIN}) {
        GuardedMatrix u(1, 2, 2);
        GuardedVector w(1, 2);
        GuardedMatrix v(1, 2, 2);
        NoConvergenceInSVD = true;
        svdcmp(u.handle(), 2, n, w.handle(), v.handle());
        EXPECT_FALSE(NoConvergenceInSVD);
        EXPECT_EQ(svdcmp_tarn(2, n, u.handle(), w.handle(), v.handle()), 1);
        EXPECT_EQ(svdcmp_tarn(INT_MIN, n, u.handle(), w.handle(), v.handle()), 1);
        EXPECT_TRUE(u.untouched());
        EXPECT_TRUE(w.untouched());
        EXPECT_TRUE(v.untouched());
    }
}

TEST(SvdcmpDeathTest, AFailedWorkVectorIsFatal) {
    GuardedMatrix u(1, Rows{{0, 0}, {0, 1}});
    GuardedVector w(1, 1);
    GuardedMatrix v(1, 1, 1);
    EXPECT_FATAL(
        {
            AllocationProbe probe(0);
            svdcmp(u.handle(), 1, 1, w.handle(), v.handle());
        },
        "allocation failure in vector()");
}

// --- svbksb, svdvar, svdfit

TEST(Svbksb, SolvesALinearSystem) {
    SvdRun run(1, {{2.0f, 1.0f}, {1.0f, 3.0f}});
    GuardedVector b(1, {5.0f, 10.0f});
    GuardedVector x(1, 2);
    svbksb(run.u.handle(), run.w.handle(), run.v.handle(), 2, 2, b.handle(), x.handle());
    EXPECT_NEAR(x[1], 1.0f, 1e-5f);
    EXPECT_NEAR(x[2], 3.0f, 1e-5f);
    EXPECT_TRUE(x.frame_untouched());
}

TEST(Svbksb, AValueOfZeroLeavesItsComponentOut) {
    const Rows unit{{0, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    GuardedMatrix u(1, unit);
    GuardedMatrix v(1, unit);
    GuardedVector b(1, {6.0f, 8.0f});
    GuardedVector x(1, 2);
    for (const float zero : {0.0f, -0.0f}) {
        GuardedVector w(1, {2.0f, zero});
        svbksb(u.handle(), w.handle(), v.handle(), 2, 2, b.handle(), x.handle());
        EXPECT_EQ(x[1], 3.0f);
        EXPECT_EQ(x[2], 0.0f);
    }
    // Only an exact zero is singular.
    GuardedVector tiny(1, {2.0f, 1e-38f});
    svbksb(u.handle(), tiny.handle(), v.handle(), 2, 2, b.handle(), x.handle());
    EXPECT_EQ(x[2], 8.0f / 1e-38f);
    GuardedVector nanValue(1, {2.0f, notANumber});
    svbksb(u.handle(), nanValue.handle(), v.handle(), 2, 2, b.handle(), x.handle());
    EXPECT_TRUE(std::isnan(x[2]));
}

TEST(Svbksb, MatchesThePlainDefinitionBitForBit) {
    Random random(305);
    for (int m = 1; m <= 9; m++) {
        for (int n = 1; n <= 9; n++) {
            const Rows u = test_matrices::one_based(test_matrices::make(random, Kind::wide, m, n));
            const Rows v = test_matrices::one_based(test_matrices::make(random, Kind::wide, n, n));
            std::vector<float> w = test_matrices::make(random, Kind::wide, 1, n)[0];
            w[std::size_t(random.below(n))] = 0.0f;
            const std::vector<float> b = test_matrices::make(random, Kind::wide, 1, m)[0];
            std::vector<float> tmp;
            for (std::size_t j = 1; j <= w.size(); j++) {
                float sum = 0.0f;
                for (std::size_t i = 1; i <= b.size(); i++) {
                    sum += u[i][j] * b[i - 1];
                }
                tmp.push_back(w[j - 1] == 0.0f ? 0.0f : sum / w[j - 1]);
            }
            std::vector<float> expected;
            for (std::size_t j = 1; j <= w.size(); j++) {
                float sum = 0.0f;
                for (std::size_t k = 1; k <= w.size(); k++) {
                    sum += v[j][k] * tmp[k - 1];
                }
                expected.push_back(sum);
            }
            GuardedMatrix gu(1, u);
            GuardedVector gw(1, w);
            GuardedMatrix gv(1, v);
            GuardedVector gb(1, b);
            GuardedVector x(1, n);
            svbksb(gu.handle(), gw.handle(), gv.handle(), m, n, gb.handle(), x.handle());
            ASSERT_TRUE(same_bits(expected.data(), x.handle() + 1, 0, n - 1)) << m << " " << n;
            ASSERT_TRUE(x.frame_untouched());
        }
    }
}

TEST(SvbksbDeathTest, AFailedWorkVectorIsFatal) {
    GuardedMatrix u(1, Rows{{0, 0}, {0, 1}});
    GuardedVector w(1, {1.0f});
    EXPECT_FATAL(
        {
            AllocationProbe probe(0);
            svbksb(u.handle(), w.handle(), u.handle(), 1, 1, w.handle(), w.handle());
        },
        "allocation failure in vector()");
}

TEST(Svdvar, IsTheSumOverTheVectorsByTheSquaredValues) {
    const Rows unit{{0, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    GuardedMatrix v(1, unit);
    GuardedVector w(1, {2.0f, 0.0f});
    GuardedMatrix cvm(1, 2, 2);
    svdvar(v.handle(), 2, w.handle(), cvm.handle());
    EXPECT_TRUE(same_bits(Rows{{}, {0, 0.25f, 0}, {0, 0, 0}}, cvm, 1, 2, 2));
    EXPECT_TRUE(cvm.frame_untouched());
}

TEST(Svdvar, MatchesThePlainDefinitionBitForBitAndIsSymmetric) {
    Random random(306);
    for (int n = 0; n <= 12; n++) {
        const Rows v =
            n == 0 ? make_rows(1, 1) : test_matrices::one_based(test_matrices::make(random, Kind::wide, n, n));
        std::vector<float> w = n == 0 ? std::vector<float>{} : test_matrices::make(random, Kind::wide, 1, n)[0];
        if (n % 4 == 3) {
            w[1] = 0.0f;
            w[2] = 1e-30f; // its square is 0, its weight infinite
        }
        Rows expected = make_rows(n + 1, n + 1);
        for (std::size_t i = 1; i <= w.size(); i++) {
            for (std::size_t j = 1; j <= i; j++) {
                float sum = 0.0f;
                for (std::size_t k = 1; k <= w.size(); k++) {
                    const float squared = w[k - 1] * w[k - 1];
                    const float weight = w[k - 1] == 0.0f ? 0.0f : 1.0f / squared;
                    sum += v[i][k] * v[j][k] * weight;
                }
                expected[i][j] = expected[j][i] = sum;
            }
        }
        GuardedMatrix gv(1, v);
        GuardedVector gw(1, w);
        GuardedMatrix cvm(1, n, n);
        svdvar(gv.handle(), n, gw.handle(), cvm.handle());
        ASSERT_TRUE(same_bits(expected, cvm, 1, n, n)) << n;
        ASSERT_TRUE(cvm.frame_untouched());
    }
}

TEST(SvdvarDeathTest, AFailedWorkVectorIsFatal) {
    GuardedMatrix v(1, Rows{{0, 0}, {0, 1}});
    GuardedVector w(1, {1.0f});
    EXPECT_FATAL(
        {
            AllocationProbe probe(0);
            svdvar(v.handle(), 1, w.handle(), v.handle());
        },
        "allocation failure in vector()");
}

namespace {

void line_basis(float x, float* afunc, int ma) {
    ASSERT_EQ(ma, 2);
    afunc[1] = 1.0f;
    afunc[2] = x;
}

void line_and_nothing_basis(float x, float* afunc, int ma) {
    ASSERT_EQ(ma, 3);
    afunc[1] = 1.0f;
    afunc[2] = 0.0f;
    afunc[3] = x;
}

struct Fit {
    Fit(const std::vector<float>& xs, const std::vector<float>& ys, const std::vector<float>& sigmas, int terms,
        void (*funcs)(float, float*, int))
        : ndata(static_cast<int>(xs.size())), ma(terms), x(1, xs), y(1, ys), sig(1, sigmas), a(1, ma), u(1, ndata, ma),
          v(1, ma, ma), w(1, ma) {
        svdfit(x.handle(), y.handle(), sig.handle(), ndata, a.handle(), ma, u.handle(), v.handle(), w.handle(), &chisq,
               funcs);
        EXPECT_TRUE(a.frame_untouched());
        EXPECT_TRUE(u.frame_untouched());
        EXPECT_TRUE(v.frame_untouched());
        EXPECT_TRUE(w.frame_untouched());
    }

    int ndata;
    int ma;
    GuardedVector x;
    GuardedVector y;
    GuardedVector sig;
    GuardedVector a;
    GuardedMatrix u;
    GuardedMatrix v;
    GuardedVector w;
    float chisq = -1.0f;
};

} // namespace

TEST(Svdfit, FindsALineExactly) {
    Fit fit({0.0f, 1.0f, 2.0f, 3.0f}, {1.0f, 3.0f, 5.0f, 7.0f}, {1.0f, 1.0f, 1.0f, 1.0f}, 2, line_basis);
    EXPECT_NEAR(fit.a[1], 1.0f, 1e-5f);
    EXPECT_NEAR(fit.a[2], 2.0f, 1e-5f);
    EXPECT_NEAR(fit.chisq, 0.0f, 1e-9f);
}

TEST(Svdfit, AgreesWithTheClosedFormOfAWeightedLine) {
    Random random(307);
    for (int repeat = 0; repeat < 20; repeat++) {
        std::vector<float> x, y, sig;
        double s = 0.0, sx = 0.0, sy = 0.0, sxx = 0.0, sxy = 0.0;
        const int ndata = 3 + random.below(30);
        for (int i = 0; i < ndata; i++) {
            x.push_back(static_cast<float>(i) + random.between(0.0f, 0.5f));
            y.push_back(3.0f - 0.7f * x.back() + random.between(-1.0f, 1.0f));
            sig.push_back(random.between(0.5f, 3.0f));
            const double weight = 1.0 / (double(sig.back()) * double(sig.back()));
            s += weight;
            sx += weight * double(x.back());
            sy += weight * double(y.back());
            sxx += weight * double(x.back()) * double(x.back());
            sxy += weight * double(x.back()) * double(y.back());
        }
        const double determinant = s * sxx - sx * sx;
        const double intercept = (sxx * sy - sx * sxy) / determinant;
        const double slope = (s * sxy - sx * sy) / determinant;
        double chisq = 0.0;
        for (std::size_t i = 0; i < x.size(); i++) {
            const double residual = (double(y[i]) - intercept - slope * double(x[i])) / double(sig[i]);
            chisq += residual * residual;
        }
        Fit fit(x, y, sig, 2, line_basis);
        EXPECT_NEAR(fit.a[1], intercept, 1e-4);
        EXPECT_NEAR(fit.a[2], slope, 1e-5);
        EXPECT_NEAR(fit.chisq, chisq, 1e-4 * (1.0 + chisq));
        GuardedMatrix cvm(1, 2, 2);
        svdvar(fit.v.handle(), 2, fit.w.handle(), cvm.handle());
        EXPECT_NEAR(cvm(1, 1), sxx / determinant, 1e-4 * sxx / determinant);
        EXPECT_NEAR(cvm(2, 2), s / determinant, 1e-4 * s / determinant);
        EXPECT_NEAR(cvm(1, 2), -sx / determinant, 1e-4 * std::fabs(sx / determinant));
    }
}

TEST(Svdfit, AZeroBasisFunctionGetsAZeroValueAndAZeroCoefficient) {
    Fit fit({0.0f, 1.0f, 2.0f, 3.0f}, {1.0f, 3.0f, 5.0f, 7.0f}, {1.0f, 1.0f, 1.0f, 1.0f}, 3, line_and_nothing_basis);
    EXPECT_EQ(fit.a[2], 0.0f);
    EXPECT_NEAR(fit.a[1], 1.0f, 1e-5f);
    EXPECT_NEAR(fit.a[3], 2.0f, 1e-5f);
    int zeros = 0;
    for (int j = 1; j <= 3; j++) {
        zeros += fit.w[j] == 0.0f;
    }
    EXPECT_EQ(zeros, 1);
}

TEST(Svdfit, ValuesBelowTheThresholdAreZeroedAndOneAtTheThresholdIsKept) {
    // One datum per basis function: the design matrix is diag(1/sig), so the values are 1/sig exactly.
    const auto identityBasis = [](float x, float* afunc, int ma) {
        for (int j = 1; j <= ma; j++) {
            afunc[j] = x == static_cast<float>(j) ? 1.0f : 0.0f;
        }
    };
    const float limit = static_cast<float>(1e-5); // 1e-5 times the largest value, which is 1
    const auto smallest_kept = [&](float value) {
        // 1 / (1 / value) need not come back: search the sigma whose reciprocal is the value.
        float sigma = 1.0f / value;
        while (1.0f / sigma < value) {
            sigma = std::nextafter(sigma, 0.0f);
        }
        while (1.0f / sigma > value) {
            sigma = std::nextafter(sigma, infinity);
        }
        return sigma;
    };
    const float atLimit = smallest_kept(limit);
    ASSERT_EQ(1.0f / atLimit, limit);
    Fit kept({1.0f, 2.0f}, {3.0f, 4.0f}, {1.0f, atLimit}, 2, identityBasis);
    EXPECT_EQ(kept.w[2], limit);
    EXPECT_NEAR(kept.a[2], 4.0f, 1e-4f);
    const float below = std::nextafter(limit, 0.0f);
    float belowSigma = atLimit;
    while (1.0f / belowSigma >= limit) {
        belowSigma = std::nextafter(belowSigma, infinity);
    }
    ASSERT_LE(1.0f / belowSigma, below);
    Fit dropped({1.0f, 2.0f}, {3.0f, 4.0f}, {1.0f, belowSigma}, 2, identityBasis);
    EXPECT_EQ(dropped.w[2], 0.0f);
    EXPECT_EQ(dropped.a[2], 0.0f);
    EXPECT_EQ(dropped.a[1], 3.0f);
}

TEST(Svdfit, TheThresholdIsADoubleProductRoundedToFloat) {
    // A largest value of 1/7: the float product with 1e-5f is the float below the threshold.
    const auto identityBasis = [](float x, float* afunc, int ma) {
        for (int j = 1; j <= ma; j++) {
            afunc[j] = x == static_cast<float>(j) ? 1.0f : 0.0f;
        }
    };
    const float largest = 1.0f / 7.0f;
    const float threshold = static_cast<float>(1e-5 * static_cast<double>(largest));
    const float between = 1e-5f * largest;
    ASSERT_LT(between, threshold);
    float sigma = 1.0f / between;
    while (1.0f / sigma >= threshold) {
        sigma = std::nextafter(sigma, infinity);
    }
    ASSERT_EQ(1.0f / sigma, between);
    Fit fit({1.0f, 2.0f}, {3.0f, 4.0f}, {7.0f, sigma}, 2, identityBasis);
    EXPECT_EQ(fit.w[1], largest);
    EXPECT_EQ(fit.w[2], 0.0f);
    EXPECT_EQ(fit.a[2], 0.0f);
}

TEST(Svdfit, MatchesThePlainDefinitionBitForBit) {
    const auto powers = [](float x, float* afunc, int ma) {
        float power = 1.0f;
        for (int j = 1; j <= ma; j++) {
            afunc[j] = power;
            power *= x;
        }
    };
    Random random(308);
    for (int repeat = 0; repeat < 100; repeat++) {
        const int ma = 1 + random.below(6);
        const int ndata = 1 + random.below(20);
        std::vector<float> x, y, sig;
        for (int i = 0; i < ndata; i++) {
            x.push_back(random.between(-3.0f, 3.0f));
            y.push_back(random.between(-10.0f, 10.0f));
            sig.push_back(random.between(0.1f, 2.0f));
        }
        Rows design = make_rows(ndata + 1, ma + 1);
        std::vector<float> b(x.size() + 1);
        std::vector<float> afunc(std::size_t(ma) + 1);
        for (std::size_t i = 1; i <= x.size(); i++) {
            powers(x[i - 1], afunc.data(), ma);
            const float reciprocal = 1.0f / sig[i - 1];
            for (std::size_t j = 1; j < afunc.size(); j++) {
                design[i][j] = afunc[j] * reciprocal;
            }
            b[i] = y[i - 1] * reciprocal;
        }
        plain::Svd svd = plain::svdcmp(design, ndata, ma);
        const float wmax = std::max(0.0f, *std::max_element(svd.w.begin() + 1, svd.w.end()));
        const float limit = float(1e-5 * double(wmax));
        std::vector<float> scaledProjection(afunc.size());
        for (std::size_t j = 1; j < afunc.size(); j++) {
            if (svd.w[j] < limit) {
                svd.w[j] = 0.0f;
            }
            float sum = 0.0f;
            for (std::size_t i = 1; i < b.size(); i++) {
                sum += svd.u[i][j] * b[i];
            }
            scaledProjection[j] = svd.w[j] == 0.0f ? 0.0f : sum / svd.w[j];
        }
        std::vector<float> a(afunc.size());
        for (std::size_t j = 1; j < a.size(); j++) {
            for (std::size_t k = 1; k < a.size(); k++) {
                a[j] += svd.v[j][k] * scaledProjection[k];
            }
        }
        float chisq = 0.0f;
        for (std::size_t i = 1; i < b.size(); i++) {
            powers(x[i - 1], afunc.data(), ma);
            float sum = 0.0f;
            for (std::size_t j = 1; j < a.size(); j++) {
                sum += a[j] * afunc[j];
            }
            const float residual = (y[i - 1] - sum) / sig[i - 1];
            chisq += residual * residual;
        }
        Fit fit(x, y, sig, ma, powers);
        ASSERT_TRUE(same_bits(a.data(), fit.a.handle(), 1, ma));
        ASSERT_TRUE(same_bits(svd.w.data(), fit.w.handle(), 1, ma));
        ASSERT_TRUE(same_bits(svd.u, fit.u, 1, ndata, ma));
        ASSERT_TRUE(same_bits(svd.v, fit.v, 1, ma, ma));
        ASSERT_TRUE(same_bits(chisq, fit.chisq));
    }
}

namespace {

// What svdfit asked the basis functions for.
std::vector<float> asked;

void recording_basis(float x, float* afunc, int ma) {
    asked.push_back(x);
    line_basis(x, afunc, ma);
    // What an earlier call left does not stand any more.
    if (asked.size() > 4) {
        afunc[2] += 100.0f;
    }
}

// Row x of a design matrix that a test chooses.
Rows design;

void rows_of_the_design(float x, float* afunc, int ma) {
    for (int j = 1; j <= ma; j++) {
        afunc[j] = design[static_cast<std::size_t>(x)][static_cast<std::size_t>(j - 1)];
    }
}

Fit fit_of_the_design(const Rows& rows) {
    design = rows;
    std::vector<float> x;
    for (std::size_t i = 0; i < rows.size(); i++) {
        x.push_back(static_cast<float>(i));
    }
    const std::vector<float> ones(rows.size(), 1.0f);
    return {x, ones, ones, column_count(rows), rows_of_the_design};
}

} // namespace

TEST(Svdfit, TheBasisIsAskedAtEveryPointInOrderOnceForTheDesignAndOnceForTheResiduals) {
    asked.clear();
    Fit fit({0.5f, -1.0f, 2.0f, 3.0f}, {1.0f, 3.0f, 5.0f, 7.0f}, {1.0f, 1.0f, 1.0f, 1.0f}, 2, recording_basis);
    EXPECT_EQ(asked, (std::vector<float>{0.5f, -1.0f, 2.0f, 3.0f, 0.5f, -1.0f, 2.0f, 3.0f}));
    // The residuals are those of the second answers, which lie 100 slopes higher.
    EXPECT_GT(fit.chisq, 1000.0f * std::fabs(fit.a[2]));
}

TEST(Svdfit, DoesNotAskWhetherTheDecompositionConverged) {
    // The unconverged value is negative, so below the threshold, and is dropped as any other; its size is not looked
    // at.
    Fit fit = fit_of_the_design(neverConverges);
    EXPECT_TRUE(NoConvergenceInSVD);
    const plain::Svd expected = plain_run(1, neverConverges);
    const float limit = float(1e-5 * double(*std::max_element(expected.w.begin() + 1, expected.w.end())));
    int negative = 0;
    for (int j = 1; j <= 3; j++) {
        const float value = expected.w[std::size_t(j)];
        negative += value < -limit;
        EXPECT_TRUE(same_bits(value < limit ? 0.0f : value, fit.w[j])) << j;
    }
    EXPECT_GT(negative, 0);
}

TEST(Svdfit, TheLargestValueIsLookedForFromZeroOn) {
    // The first two values overflow to NaN, which is no largest value: the third is, and the fourth far below it.
    Fit fit = fit_of_the_design(
        {{3e20f, 1e20f, 0.0f, 0.0f}, {1e20f, 1e20f, 0.0f, 0.0f}, {0.0f, 0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 0.0f, 1e-9f}});
    EXPECT_TRUE(std::isnan(fit.w[1]));
    EXPECT_EQ(fit.w[3], 1.0f);
    EXPECT_EQ(fit.w[4], 0.0f);
}

TEST(Svdfit, AStandardDeviationOfZeroGivesNonFiniteResults) {
    Fit fit({0.0f, 1.0f}, {1.0f, 2.0f}, {0.0f, 1.0f}, 2, line_basis);
    EXPECT_FALSE(std::isfinite(fit.chisq));
}

TEST(SvdfitDeathTest, AnyFailedWorkVectorIsFatal) {
    // Its own two, then those of the decomposition and of the solution.
    int calls = 0;
    {
        AllocationProbe probe;
        GuardedVector one(1, {1.0f});
        GuardedMatrix u(1, 1, 1);
        float chisq = 0.0f;
        svdfit(one.handle(), one.handle(), one.handle(), 1, one.handle(), 1, u.handle(), u.handle(), one.handle(),
               &chisq, [](float, float* afunc, int) { afunc[1] = 1.0f; });
        calls = probe.calls();
    }
    EXPECT_EQ(calls, 4);
    for (int call = 0; call < calls; call++) {
        GuardedVector one(1, {1.0f});
        GuardedMatrix u(1, 1, 1);
        float chisq = 0.0f;
        EXPECT_FATAL(
            {
                AllocationProbe probe(call);
                svdfit(one.handle(), one.handle(), one.handle(), 1, one.handle(), 1, u.handle(), u.handle(),
                       one.handle(), &chisq, [](float, float* afunc, int) { afunc[1] = 1.0f; });
            },
            "allocation failure in vector()");
    }
}
