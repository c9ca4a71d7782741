#include "numerics/inverse.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "numerics/svd_state.h"
#include "tests/numerics/plain_inverse.h"
#include "tests/numerics/test_matrices.h"
#include "tests/support/allocation_probe.h"
#include "tests/support/bits.h"
#include "tests/support/fatal.h"
#include "tests/support/temporary_folder.h"

using support::GuardedMatrix;
using support::make_rows;
using support::Random;
using support::Rows;
using support::same_bits;
using support::TemporaryFolder;
using test_matrices::Kind;

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

Rows diagonal(const std::vector<float>& values) {
    Rows m = make_rows(static_cast<int>(values.size()), static_cast<int>(values.size()));
    for (std::size_t i = 0; i < values.size(); i++) {
        m[i][i] = values[i];
    }
    return m;
}

Rows identity(int n) {
    return diagonal(std::vector<float>(std::size_t(n), 1.0f));
}

// Runs `routine(a, out, n)` in guarded arrays. The argument must come back unchanged.
template <class Routine>
Rows result_of(const Rows& a, Routine routine) {
    const int n = static_cast<int>(a.size());
    GuardedMatrix in(0, a);
    GuardedMatrix out(0, n, n);
    EXPECT_TRUE(routine(in.handle(), out.handle(), n));
    EXPECT_TRUE(same_bits(a, in, 0, n - 1, n - 1)) << "the argument was changed";
    EXPECT_TRUE(in.frame_untouched());
    EXPECT_TRUE(out.frame_untouched());
    return out.values();
}

Rows inverse(const Rows& a, bool flag = true) {
    return result_of(a, [flag](float** in, float** out, int n) { return getInverseMatrixUsingSVD(in, out, n, flag); });
}

Rows truncated(const Rows& a, int exponent) {
    return result_of(
        a, [exponent](float** in, float** out, int n) { return getRegInverseMatrixUsingTSVD(in, out, n, exponent); });
}

Rows transformed(const Rows& a, int invert, int takeRoot, int exponent) {
    return result_of(a, [=](float** in, float** out, int n) {
        return getRegTransformedMatrixUsingTSVD(in, out, n, invert, takeRoot, exponent);
    });
}

testing::AssertionResult equal(const Rows& expected, const Rows& found) {
    const int n = static_cast<int>(expected.size());
    return same_bits(expected, found, 0, n - 1, n - 1);
}

void expect_near(const Rows& expected, const Rows& found, double tolerance) {
    for (std::size_t i = 0; i < expected.size(); i++) {
        for (std::size_t j = 0; j < expected[i].size(); j++) {
            EXPECT_NEAR(expected[i][j], found[i][j], tolerance) << "[" << i << "][" << j << "]";
        }
    }
}

template <class Body>
void for_many_matrices(Body body) {
    test_matrices::for_each_kind([&](Kind kind) {
        Random random(400 + static_cast<std::uint64_t>(kind));
        for (int n = 1; n <= 9; n++) {
            body(test_matrices::make(random, kind, n, n));
            body(test_matrices::make(random, kind, n, n));
        }
        body(test_matrices::make(random, kind, 20, 20));
    });
    Random random(450);
    for (const int n : {2, 4, 10}) {
        body(test_matrices::covariance(random, n, 4 * n));
        body(test_matrices::covariance(random, n, n / 2 + 1));
    }
}

// The vectors of a diagonal matrix are unit vectors up to the last bit, so its results are right to a few units there.
void expect_close(float expected, float found) {
    EXPECT_LE(support::ulp_distance(expected, found), 2)
        << support::describe(expected) << ", " << support::describe(found);
}

// svdcmp ends on this one with the values 6.9e10, 0.007 and -2.5e18: finite, and the largest not converged.
const Rows unconverged{{0.0f, 0x1.94c39p-11f, -0x1.21fe64p+48f},
                       {0x1p+36f, -0x1.cc956p-3f, 0.0f},
                       {0x1.e93248p-14f, -0x1.e84ce4p+5f, 0x1.16e83p+61f}};

} // namespace

TEST(GetInverseMatrixUsingSVD, TheIdentityIsItsOwnInverse) {
    for (const int n : {1, 2, 5}) {
        expect_near(identity(n), inverse(identity(n)), 0.0);
    }
}

TEST(GetInverseMatrixUsingSVD, TheFlagIsNotUsed) {
    Random random(401);
    const Rows a = test_matrices::make(random, Kind::uniform, 4, 4);
    EXPECT_TRUE(equal(inverse(a, true), inverse(a, false)));
}

TEST(GetInverseMatrixUsingSVD, AKnownInverse) {
    expect_near({{0.6f, -0.7f}, {-0.2f, 0.4f}}, inverse({{4.0f, 7.0f}, {2.0f, 6.0f}}), 1e-6);
}

TEST(GetInverseMatrixUsingSVD, ARankDeficientMatrixGivesItsPseudoInverse) {
    // Rank one, a = x y^T: the pseudo-inverse is y x^T / (|x|^2 |y|^2) with |x|^2 = 5, |y|^2 = 25.
    expect_near({{3.0f / 125, 6.0f / 125}, {4.0f / 125, 8.0f / 125}}, inverse({{3.0f, 4.0f}, {6.0f, 8.0f}}), 1e-7);
    expect_near(diagonal({0.5f, 0.0f}), inverse(diagonal({2.0f, 0.0f})), 0.0);
}

TEST(GetInverseMatrixUsingSVD, AValueAtTheThresholdIsKeptAndOneBelowIsDropped) {
    // The values of a diagonal matrix are its magnitudes exactly.
    for (const float largest : {1.0f, 3.0f, 1000.0f}) {
        const float limit = static_cast<float>(static_cast<double>(largest) * 1e-6);
        const Rows kept = inverse(diagonal({largest, limit}));
        expect_close(1.0f / limit, kept[1][1]);
        expect_close(1.0f / largest, kept[0][0]);
        const Rows dropped = inverse(diagonal({largest, std::nextafter(limit, 0.0f)}));
        EXPECT_EQ(dropped[1][1], 0.0f);
        expect_close(1.0f / largest, dropped[0][0]);
    }
}

TEST(GetInverseMatrixUsingSVD, TheThresholdIsADoubleProductRoundedToFloat) {
    // A largest value for which the float product with 1e-6f is another number.
    float largest = 1.0f;
    while (largest * 1e-6f == static_cast<float>(static_cast<double>(largest) * 1e-6)) {
        largest = std::nextafter(largest, 100.0f);
    }
    const float limit = static_cast<float>(static_cast<double>(largest) * 1e-6);
    EXPECT_NE(inverse(diagonal({largest, limit}))[1][1], 0.0f);
    EXPECT_EQ(inverse(diagonal({largest, std::nextafter(limit, 0.0f)}))[1][1], 0.0f);
}

TEST(GetInverseMatrixUsingSVD, TheZeroMatrixGivesNonFiniteValues) {
    const Rows result = inverse(make_rows(2, 2));
    for (const auto& row : result) {
        for (const float x : row) {
            EXPECT_FALSE(std::isfinite(x));
        }
    }
}

TEST(GetInverseMatrixUsingSVD, MatchesThePlainDefinitionBitForBit) {
    for_many_matrices([](const Rows& a) { ASSERT_TRUE(equal(plain::inverse(a), inverse(a))); });
}

TEST(GetInverseMatrixUsingSVD, TakesMagnitudesWhereTheDecompositionDidNotConverge) {
    const Rows result = inverse(unconverged);
    EXPECT_TRUE(NoConvergenceInSVD);
    EXPECT_TRUE(equal(plain::inverse(unconverged), result));
    // The magnitude 2.5e18 puts the threshold above the other values: only its own component is left, with elements of
    // at most 1/2.5e18.
    for (const auto& row : result) {
        for (const float x : row) {
            EXPECT_LT(std::fabs(x), 1e-18f);
        }
    }
}

TEST(TruncatedForms, UseUnconvergedValuesAsTheyAre) {
    // The negative value counts as the smallest; the largest is 6.9e10, and its component makes the result.
    const Rows result = truncated(unconverged, -3);
    EXPECT_TRUE(NoConvergenceInSVD);
    EXPECT_TRUE(equal(plain::truncated_inverse(unconverged, -3), result));
    float largest = 0.0f;
    for (const auto& row : result) {
        for (const float x : row) {
            largest = std::max(largest, std::fabs(x));
        }
    }
    EXPECT_GT(largest, 1e-13f);
    for (const int invert : {0, 1}) {
        for (const int takeRoot : {0, 1}) {
            EXPECT_TRUE(equal(plain::transformed(unconverged, invert, takeRoot, -3),
                              transformed(unconverged, invert, takeRoot, -3)));
        }
    }
    EXPECT_TRUE(equal(transformed(unconverged, 1, 0, -3), result));
}

TEST(GetRegInverseMatrixUsingTSVD, InvertsWhatLiesAboveTheCutOff) {
    expect_near({{0.6f, -0.7f}, {-0.2f, 0.4f}}, truncated({{4.0f, 7.0f}, {2.0f, 6.0f}}, -3), 1e-6);
    expect_near(diagonal({0.5f, 0.0f, 50.0f}), truncated(diagonal({2.0f, 0.001f, 0.02f}), -3), 1e-4);
}

TEST(GetRegInverseMatrixUsingTSVD, ExponentZeroDropsEveryValue) {
    Random random(402);
    expect_near(make_rows(3, 3), truncated(test_matrices::make(random, Kind::uniform, 3, 3), 0), 0.0);
    expect_near(make_rows(3, 3), truncated(identity(3), 0), 0.0);
    expect_near(make_rows(3, 3), truncated(identity(3), 2), 0.0);
}

TEST(GetRegInverseMatrixUsingTSVD, TheZeroMatrixGivesZeros) {
    expect_near(make_rows(2, 2), truncated(make_rows(2, 2), -3), 0.0);
}

TEST(GetRegInverseMatrixUsingTSVD, AValueAtTheCutOffIsDroppedAndOneAboveIsKept) {
    for (const int exponent : {-1, -3, -6}) {
        for (const float largest : {1.0f, 3.0f, 700.0f}) {
            // The power is rounded to float before the float product.
            const float limit = static_cast<float>(std::pow(10.0, exponent)) * largest;
            EXPECT_EQ(truncated(diagonal({largest, limit}), exponent)[1][1], 0.0f);
            const float above = std::nextafter(limit, largest);
            expect_close(1.0f / above, truncated(diagonal({largest, above}), exponent)[1][1]);
            EXPECT_EQ(transformed(diagonal({largest, limit}), 1, 0, exponent)[1][1], 0.0f);
            expect_close(1.0f / above, transformed(diagonal({largest, above}), 1, 0, exponent)[1][1]);
        }
    }
}

TEST(GetRegInverseMatrixUsingTSVD, ExtremeExponentsKeepAllOrNothing) {
    expect_close(1.0f / 1e-30f, truncated(diagonal({1.0f, 1e-30f}), -60)[1][1]);
    expect_near(make_rows(2, 2), truncated(diagonal({1.0f, 2.0f}), 400), 0.0); // the power is infinite
    EXPECT_EQ(truncated(diagonal({1.0f, 2.0f}), -400)[0][0], 1.0f);
}

TEST(GetRegInverseMatrixUsingTSVD, MatchesThePlainDefinitionBitForBit) {
    for_many_matrices([](const Rows& a) {
        for (const int exponent : {-7, -3, -1, 0}) {
            ASSERT_TRUE(equal(plain::truncated_inverse(a, exponent), truncated(a, exponent))) << exponent;
        }
    });
}

TEST(GetRegTransformedMatrixUsingTSVD, TheFourForms) {
    const Rows a = diagonal({4.0f, 9.0f});
    expect_near(a, transformed(a, 0, 0, -3), 0.0);
    expect_near(diagonal({2.0f, 3.0f}), transformed(a, 0, 1, -3), 0.0);
    expect_near(diagonal({0.25f, 1.0f / 9.0f}), transformed(a, 1, 0, -3), 0.0);
    expect_near(diagonal({0.5f, 1.0f / 3.0f}), transformed(a, 1, 1, -3), 1e-7);
    // Any value other than zero switches a form on.
    EXPECT_TRUE(equal(transformed(a, 1, 1, -3), transformed(a, -5, 77, -3)));
}

TEST(GetRegTransformedMatrixUsingTSVD, TheRootOfAPositiveMatrixSquaresToIt) {
    const Rows a{{5.0f, 2.0f, 0.5f}, {2.0f, 4.0f, -1.0f}, {0.5f, -1.0f, 3.0f}};
    const Rows root = transformed(a, 0, 1, -6);
    expect_near(a, plain::product(root, root), 1e-5);
    const Rows inverseRoot = transformed(a, 1, 1, -6);
    expect_near(identity(3), plain::product(plain::product(inverseRoot, inverseRoot), a), 1e-5);
}

TEST(GetRegTransformedMatrixUsingTSVD, WithoutInversionTheResultIsTheTransposeOfATruncatedMatrix) {
    // V diag(w) U^T is a^T; a symmetric positive matrix does not show it.
    expect_near({{4.0f, 2.0f}, {7.0f, 6.0f}}, transformed({{4.0f, 7.0f}, {2.0f, 6.0f}}, 0, 0, -6), 1e-5);
}

TEST(GetRegTransformedMatrixUsingTSVD, MatchesThePlainDefinitionBitForBit) {
    for_many_matrices([](const Rows& a) {
        for (const int invert : {0, 1}) {
            for (const int takeRoot : {0, 1}) {
                for (const int exponent : {-6, -2, 0}) {
                    ASSERT_TRUE(equal(plain::transformed(a, invert, takeRoot, exponent),
                                      transformed(a, invert, takeRoot, exponent)))
                        << invert << takeRoot << exponent;
                }
            }
        }
    });
}

namespace {

struct Inversion {
    explicit Inversion(const Rows& given)
        : n(static_cast<int>(given.size())), a(0, given), ainv(0, n, n),
          ok(invertMatrix(a.handle(), ainv.handle(), n)) {
        EXPECT_TRUE(a.frame_untouched());
        EXPECT_TRUE(ainv.frame_untouched());
    }
    int n;
    GuardedMatrix a;
    GuardedMatrix ainv;
    bool ok;
};

} // namespace

TEST(InvertMatrix, InvertsAndDestroysItsArgument) {
    const Rows given{{4.0f, 7.0f}, {2.0f, 6.0f}};
    Inversion inversion(given);
    EXPECT_TRUE(inversion.ok);
    expect_near({{0.6f, -0.7f}, {-0.2f, 0.4f}}, inversion.ainv.values(), 1e-6);
    // What is left is U: orthonormal, so not what was given.
    const Rows u = inversion.a.values();
    EXPECT_NEAR(u[0][0] * u[0][0] + u[1][0] * u[1][0], 1.0f, 1e-6f);
    EXPECT_NEAR(u[0][0] * u[0][1] + u[1][0] * u[1][1], 0.0f, 1e-6f);
}

TEST(InvertMatrix, AnExactZeroIsLeftOutAndATinyValueIsDividedBy) {
    Inversion singular(diagonal({2.0f, 0.0f}));
    EXPECT_TRUE(singular.ok);
    expect_near(diagonal({0.5f, 0.0f}), singular.ainv.values(), 0.0);
    Inversion tiny(diagonal({2.0f, 1e-20f}));
    EXPECT_TRUE(tiny.ok);
    expect_close(1.0f / 1e-20f, tiny.ainv(1, 1));
    Inversion zero(make_rows(3, 3));
    EXPECT_TRUE(zero.ok);
    expect_near(make_rows(3, 3), zero.ainv.values(), 0.0);
}

TEST(InvertMatrix, WithoutConvergenceTheResultIsUntouched) {
    Inversion withNan({{1.0f, notANumber}, {2.0f, 3.0f}});
    EXPECT_FALSE(withNan.ok);
    EXPECT_TRUE(withNan.ainv.untouched());
    const Rows slow{{0x1p-83f, 0x1.cd8988p-85f}, {0x1p-83f, 0x1.ae69b8p-81f}};
    Inversion unfinished(slow);
    EXPECT_FALSE(unfinished.ok);
    EXPECT_TRUE(unfinished.ainv.untouched());
    EXPECT_TRUE(equal(plain::tarn_inverse(slow).destroyed, unfinished.a.values()));
}

TEST(InvertMatrix, DoesNotTouchTheNoConvergenceFlag) {
    for (const bool flag : {false, true}) {
        NoConvergenceInSVD = flag;
        Inversion withNan({{1.0f, notANumber}, {2.0f, 3.0f}});
        EXPECT_EQ(NoConvergenceInSVD, flag);
        Inversion good(identity(2));
        EXPECT_EQ(NoConvergenceInSVD, flag);
    }
}

TEST(InvertMatrix, MatchesThePlainDefinitionBitForBit) {
    for_many_matrices([](const Rows& a) {
        Inversion inversion(a);
        const plain::Inverted expected = plain::tarn_inverse(a);
        ASSERT_EQ(inversion.ok, expected.ok);
        ASSERT_TRUE(equal(expected.destroyed, inversion.a.values()));
        if (expected.ok) {
            ASSERT_TRUE(equal(expected.inverse, inversion.ainv.values()));
        } else {
            ASSERT_TRUE(inversion.ainv.untouched());
        }
    });
}

TEST(InvertMatrix, OrderZeroConverges) {
    Inversion inversion(Rows{});
    EXPECT_TRUE(inversion.ok);
}

namespace {

Rows square_root(const Rows& given) {
    GuardedMatrix a(0, given);
    getSQRTMatrix(a.handle(), static_cast<int>(given.size()));
    EXPECT_TRUE(a.frame_untouched());
    return a.values();
}

} // namespace

TEST(GetSQRTMatrix, KnownRoots) {
    expect_near(diagonal({2.0f, 2.0f, 2.0f}), square_root(diagonal({4.0f, 4.0f, 4.0f})), 1e-5);
    expect_near(diagonal({3.0f, 5.0f}), square_root(diagonal({9.0f, 25.0f})), 1e-4);
    // [[2, 1], [1, 2]]^2 = [[5, 4], [4, 5]]
    expect_near({{2.0f, 1.0f}, {1.0f, 2.0f}}, square_root({{5.0f, 4.0f}, {4.0f, 5.0f}}), 1e-4);
}

TEST(GetSQRTMatrix, TheIdentityStopsAfterTheFirstPass) {
    ASSERT_EQ(plain::square_root(identity(3)).passes, 1);
    const AllocationProbe probe;
    GuardedMatrix a(0, identity(3));
    getSQRTMatrix(a.handle(), 3);
    // Five matrices of its own, and those of one inversion: five matrices and two vectors. A matrix takes two.
    EXPECT_EQ(probe.calls(), 5 * 2 + (5 * 2 + 2));
    EXPECT_TRUE(equal(identity(3), a.values()));
}

TEST(GetSQRTMatrix, MatchesThePlainDefinitionBitForBit) {
    Random random(403);
    for (int n = 1; n <= 8; n++) {
        for (int repeat = 0; repeat < 3; repeat++) {
            // A covariance with some more on its diagonal: positive definite.
            Rows a = test_matrices::covariance(random, n, 3 * n + 2);
            for (std::size_t i = 0; i < a.size(); i++) {
                a[i][i] += 10.0f;
            }
            ASSERT_TRUE(equal(plain::square_root(a).root, square_root(a)));
            // Not symmetric, with a spectrum away from the negative axis.
            Rows b = test_matrices::make(random, Kind::uniform, n, n);
            for (std::size_t i = 0; i < b.size(); i++) {
                b[i][i] += 2.0f * static_cast<float>(n);
            }
            ASSERT_TRUE(equal(plain::square_root(b).root, square_root(b)));
        }
    }
}

TEST(GetSQRTMatrix, TheErrorIsADoubleSumOfFloatSquares) {
    // After their first pass the errors are 1e-8 times 1 + 3e-10 and 1 - 2e-10. Exact squares, or a float sum, would
    // come out on the other side of the limit.
    const Rows goesOn{{0x1.ff1d98p-1f, -0x1.d4ed66p-10f, -0x1.613eacp-9f},
                      {0x1.4cc136p-7f, 0x1.fcc9f6p-1f, 0x1.831b58p-8f},
                      {0x1.48deb6p-7f, 0x1.15db46p-6f, 0x1.03420ap+0f}};
    const Rows ends{{0x1.fea87p-1f, 0x1.35b068p-7f, 0x1.85b884p-7f},
                    {-0x1.b225bp-7f, 0x1.ffd078p-1f, -0x1.1888cap-7f},
                    {0x1.41dccap-9f, -0x1.a3297p-7f, 0x1.fc79e8p-1f}};
    for (const Rows& a : {goesOn, ends}) {
        const Rows minv = plain::inverse(a);
        double error = 0.0;
        double exact = 0.0;
        float narrow = 0.0f;
        for (std::size_t i = 0; i < 3; i++) {
            for (std::size_t j = 0; j < 3; j++) {
                const double unit = i == j ? 1.0 : 0.0;
                const float m = static_cast<float>((static_cast<double>(a[i][j] + minv[i][j]) * 0.5 + unit) * 0.5);
                const float difference = m - static_cast<float>(unit);
                const float squared = difference * difference;
                error += static_cast<double>(squared);
                exact += static_cast<double>(difference) * static_cast<double>(difference);
                narrow += squared;
            }
        }
        ASSERT_NE(error > 1e-8, exact > 1e-8);
        ASSERT_NE(error > 1e-8, static_cast<double>(narrow) > 1e-8);
        const plain::Root expected = plain::square_root(a);
        ASSERT_EQ(expected.passes, error > 1e-8 ? 2 : 1);
        EXPECT_TRUE(equal(expected.root, square_root(a)));
    }
}

TEST(GetSQRTMatrix, NonFiniteInputEndsAfterOnePass) {
    // NaN is not greater than the limit.
    ASSERT_EQ(plain::square_root({{notANumber, 0.0f}, {0.0f, 1.0f}}).passes, 1);
    const Rows root = square_root({{notANumber, 0.0f}, {0.0f, 1.0f}});
    EXPECT_TRUE(std::isnan(root[0][0]));
}

TEST(GetSQRTMatrix, TheLimitOfPassesEndsANegativeSpectrum) {
    // -1 has no real root: the iteration wanders until its last pass, and the result shows how many there were.
    const plain::Root expected = plain::square_root({{-2.0f}});
    ASSERT_EQ(expected.passes, 10000);
    EXPECT_TRUE(equal(expected.root, square_root({{-2.0f}})));
}

TEST(SVDregInverse, AddsLambdaToTheDiagonal) {
    std::vector<double> a{3.0, 0.0, 0.0, 7.0};
    SVDregInverse(a.data(), 2, 1.0f, 99.0f);
    EXPECT_EQ(a, (std::vector<double>{0.25, 0.0, 0.0, 0.125}));
    std::vector<double> singular{1.0, 2.0, 2.0, 4.0};
    SVDregInverse(singular.data(), 2, 1.0f, 0.0f); // [[2, 2], [2, 5]]
    EXPECT_NEAR(singular[0], 5.0 / 6.0, 1e-6);
    EXPECT_NEAR(singular[1], -2.0 / 6.0, 1e-6);
    EXPECT_NEAR(singular[2], -2.0 / 6.0, 1e-6);
    EXPECT_NEAR(singular[3], 2.0 / 6.0, 1e-6);
}

TEST(SVDregInverse, TheLastArgumentIsNotUsed) {
    for (const float unused : {0.0f, 5.0f, notANumber}) {
        std::vector<double> a{4.0, 7.0, 2.0, 6.0};
        SVDregInverse(a.data(), 2, 0.0f, unused);
        EXPECT_NEAR(a[0], 0.6, 1e-6);
        EXPECT_NEAR(a[1], -0.7, 1e-6);
    }
}

TEST(SVDregInverse, TheSumIsDoubleStoredAsFloat) {
    // In float the element itself would round to 1 first, and the sum to 1 + lambda.
    const double element = 1.0 + 0x1p-25;
    const float lambda = 0x1p-24f;
    std::vector<double> a{element};
    SVDregInverse(a.data(), 1, lambda, 0.0f);
    const float sum = static_cast<float>(element + static_cast<double>(lambda));
    ASSERT_NE(sum, static_cast<float>(element) + lambda);
    EXPECT_EQ(a[0], static_cast<double>(1.0f / sum));
}

TEST(SVDregInverse, MatchesThePlainDefinitionBitForBit) {
    for_many_matrices([](const Rows& given) {
        const std::size_t n = given.size();
        const float lambda = 0.37f;
        Rows m = given;
        std::vector<double> a;
        for (std::size_t i = 0; i < n; i++) {
            for (std::size_t j = 0; j < n; j++) {
                const double value = static_cast<double>(given[i][j]) * 1.0000001;
                a.push_back(value);
                m[i][j] = static_cast<float>(i == j ? value + static_cast<double>(lambda) : value);
            }
        }
        SVDregInverse(a.data(), static_cast<int>(n), lambda, 0.0f);
        const Rows expected = plain::inverse(m);
        for (std::size_t k = 0; k < a.size(); k++) {
            ASSERT_TRUE(same_bits(expected[k / n][k % n], static_cast<float>(a[k])));
            // A widened float, nothing finer.
            ASSERT_TRUE(std::isnan(a[k]) || a[k] == static_cast<double>(static_cast<float>(a[k])));
        }
    });
}

TEST(CSVDregInverse, ARealMatrixKeepsItsImaginaryPartZero) {
    std::vector<double> re{4.0, 7.0, 2.0, 6.0};
    std::vector<double> im(4, 0.0);
    CSVDregInverse(re.data(), im.data(), 2, 1.0f, 1.0f);
    EXPECT_NEAR(re[0], 0.6, 1e-6);
    EXPECT_NEAR(re[1], -0.7, 1e-6);
    EXPECT_NEAR(re[2], -0.2, 1e-6);
    EXPECT_NEAR(re[3], 0.4, 1e-6);
    for (const double x : im) {
        EXPECT_NEAR(x, 0.0, 1e-7);
    }
    std::vector<double> one{2.0};
    std::vector<double> none{0.0};
    CSVDregInverse(one.data(), none.data(), 1, 0.0f, 0.0f);
    EXPECT_EQ(one[0], 0.5);
    EXPECT_EQ(none[0], 0.0);
}

TEST(CSVDregInverse, ComplexNumbers) {
    // 1 / (3 + 4i) = (3 - 4i) / 25
    std::vector<double> re{3.0};
    std::vector<double> im{4.0};
    CSVDregInverse(re.data(), im.data(), 1, 0.0f, 0.0f);
    EXPECT_NEAR(re[0], 0.12, 1e-7);
    EXPECT_NEAR(im[0], -0.16, 1e-7);
    // [[1, i], [0, 2]] has the inverse [[1, -i/2], [0, 1/2]].
    std::vector<double> re2{1.0, 0.0, 0.0, 2.0};
    std::vector<double> im2{0.0, 1.0, 0.0, 0.0};
    CSVDregInverse(re2.data(), im2.data(), 2, 0.0f, 0.0f);
    const double expectedRe[4] = {1.0, 0.0, 0.0, 0.5};
    const double expectedIm[4] = {0.0, -0.5, 0.0, 0.0};
    for (std::size_t k = 0; k < 4; k++) {
        EXPECT_NEAR(re2[k], expectedRe[k], 1e-6);
        EXPECT_NEAR(im2[k], expectedIm[k], 1e-6);
    }
}

TEST(CSVDregInverse, NothingIsRegularisedWhateverTheFloatsHold) {
    for (const float unused : {0.0f, 100.0f, notANumber}) {
        std::vector<double> re{2.0, 0.0, 0.0, 4.0};
        std::vector<double> im(4, 0.0);
        CSVDregInverse(re.data(), im.data(), 2, unused, unused);
        EXPECT_EQ(re, (std::vector<double>{0.5, 0.0, 0.0, 0.25}));
    }
}

TEST(CSVDregInverse, MatchesThePlainDefinitionBitForBit) {
    Random random(404);
    for (const Kind kind : {Kind::uniform, Kind::wide, Kind::integers, Kind::rankDeficient, Kind::oneNan}) {
        for (std::size_t n = 1; n <= 6; n++) {
            const Rows realPart = test_matrices::make(random, kind, int(n), int(n));
            const Rows imaginaryPart = test_matrices::make(random, kind, int(n), int(n));
            Rows m = make_rows(int(2 * n), int(2 * n));
            std::vector<double> re;
            std::vector<double> im;
            for (std::size_t i = 0; i < n; i++) {
                for (std::size_t j = 0; j < n; j++) {
                    re.push_back(static_cast<double>(realPart[i][j]) * 1.0000001);
                    im.push_back(static_cast<double>(imaginaryPart[i][j]) * 1.0000001);
                    m[i][j] = m[n + i][n + j] = static_cast<float>(re.back());
                    m[n + i][j] = static_cast<float>(im.back());
                    m[i][n + j] = -m[n + i][j];
                }
            }
            CSVDregInverse(re.data(), im.data(), int(n), 0.0f, 0.0f);
            const Rows expected = plain::inverse(m);
            for (std::size_t k = 0; k < n * n; k++) {
                ASSERT_TRUE(same_bits(expected[k / n][k % n], static_cast<float>(re[k])));
                ASSERT_TRUE(same_bits(expected[n + k / n][k % n], static_cast<float>(im[k])));
            }
        }
    }
}

namespace {

struct Whitening {
    Whitening(const Rows& observations, int nvar, float fraction)
        : x(0, observations), w(0, nvar, nvar), dw(0, nvar, nvar) {
        whitening(x.handle(), static_cast<int>(observations.size()), nvar, fraction, w.handle(), dw.handle(), &ncomp);
        EXPECT_TRUE(x.frame_untouched());
        EXPECT_TRUE(w.frame_untouched());
        EXPECT_TRUE(dw.frame_untouched());
        // Rows of w and columns of dw beyond the count stay as they were.
        for (int i = ncomp; i < nvar; i++) {
            for (int j = 0; j < nvar; j++) {
                EXPECT_EQ(w(i, j), GuardedMatrix::sentinel());
                EXPECT_EQ(dw(j, i), GuardedMatrix::sentinel());
            }
        }
    }
    GuardedMatrix x;
    GuardedMatrix w;
    GuardedMatrix dw;
    int ncomp = -1;
};

// Two observations +s and -s per variable, the others 0: the covariance is diagonal with the wanted values exactly.
Rows observations_with_variances(const std::vector<float>& variances) {
    const std::size_t n = variances.size();
    Rows x = make_rows(static_cast<int>(2 * n), static_cast<int>(n));
    for (std::size_t k = 0; k < n; k++) {
        const float s = std::sqrt(variances[k] * static_cast<float>(n));
        x[2 * k][k] = s;
        x[2 * k + 1][k] = -s;
    }
    return x;
}

const Rows fourTwoOne = observations_with_variances({4.0f, 2.0f, 1.0f});

} // namespace

TEST(Whitening, FractionOneKeepsOneComponent) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Whitening result(fourTwoOne, 3, 1.0f);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), ""); // the reduction is told nobody
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(result.ncomp, 1);
    EXPECT_NEAR(std::fabs(result.w(0, 0)), 0.5f, 1e-6f);
    EXPECT_NEAR(std::fabs(result.dw(0, 0)), 2.0f, 1e-6f);
}

TEST(Whitening, KeepsOneMoreThanLieAboveTheThreshold) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    const Rows x = observations_with_variances({8.0f, 4.0f, 2.0f, 1.0f, 0.5f});
    EXPECT_EQ(Whitening(x, 5, 1.5f).ncomp, 1); // not even the largest is above
    EXPECT_EQ(Whitening(x, 5, 0.9f).ncomp, 2);
    EXPECT_EQ(Whitening(x, 5, 0.4f).ncomp, 3);
    EXPECT_EQ(Whitening(x, 5, 0.2f).ncomp, 4);
    EXPECT_EQ(Whitening(x, 5, 0.1f).ncomp, 5);  // four above, and one more: the reduction is none
    EXPECT_EQ(Whitening(x, 5, 0.05f).ncomp, 5); // all above: the scan ends at the last
    EXPECT_EQ(Whitening(x, 5, 0.0f).ncomp, 5);
    EXPECT_EQ(Whitening(x, 5, -1.0f).ncomp, 5);
}

TEST(Whitening, EigenvaluesFourTwoOneAreAllKeptAtFractionPointFour) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    Whitening result(fourTwoOne, 3, 0.4f);
    EXPECT_EQ(result.ncomp, 3);
    for (int i = 0; i < 3; i++) {
        EXPECT_NEAR(std::fabs(result.w(i, i)), 1.0 / std::sqrt(4.0 / (1 << i)), 1e-6);
        EXPECT_NEAR(std::fabs(result.dw(i, i)), std::sqrt(4.0 / (1 << i)), 1e-6);
    }
}

TEST(Whitening, AnEigenvalueAtTheThresholdIsNotAboveIt) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    // Order 4, so that a standard deviation is a power of two and every value exact.
    const Rows x = observations_with_variances({4.0f, 1.0f, 0.25f, 0.0625f});
    EXPECT_EQ(Whitening(x, 4, 0.25f).ncomp, 2);
    EXPECT_EQ(Whitening(x, 4, std::nextafter(0.25f, 0.0f)).ncomp, 3);
}

TEST(Whitening, TheThresholdIsAFloatProduct) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    // 0.64f is below 0.64: its double product with 25 is below 16, the float product is 16.
    const Rows x = observations_with_variances({6.25f, 4.0f, 1.0f, 0.25f});
    ASSERT_LT(static_cast<double>(0.64f) * 6.25, 4.0);
    ASSERT_EQ(0.64f * 6.25f, 4.0f);
    EXPECT_EQ(Whitening(x, 4, 0.64f).ncomp, 2);
}

TEST(Whitening, DeviationsAreFloatDifferences) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    // Beside their mean the smaller of the two observations loses bits that show in the variance.
    const float small = 0.4f;
    const float large = 1.001e6f;
    const float mean = (small + large) / 2.0f;
    const float first = small - mean;
    const float second = large - mean;
    const auto variance_of = [](double a, double b) { return static_cast<float>((a * a + b * b) / 2.0); };
    const float rounded = variance_of(static_cast<double>(first), static_cast<double>(second));
    const float exact = variance_of(static_cast<double>(small) - static_cast<double>(mean),
                                    static_cast<double>(large) - static_cast<double>(mean));
    ASSERT_NE(std::pow(rounded, 0.5f), std::pow(exact, 0.5f));
    EXPECT_EQ(Whitening(Rows{{small}, {large}}, 1, 1.0f).dw(0, 0), std::pow(rounded, 0.5f));
}

TEST(Whitening, WritesTheCovarianceIntoTheCurrentDirectory) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    folder.write("Covariance.txt", std::string(1000, 'x'));
    // Means 2 and 10; deviations (-1, -4), (0, 2), (1, 2): divisor 3, not 2.
    Whitening result({{1.0f, 6.0f}, {2.0f, 12.0f}, {3.0f, 12.0f}}, 2, 0.0f);
    EXPECT_EQ(folder.read("Covariance.txt"), "0.66667 2 \n2 8 \n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST(Whitening, GoesOnWhereTheFileCannotBeWrittenAndSaysNothing) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    std::filesystem::create_directory("Covariance.txt"); // a folder stands in its place
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Whitening result(fourTwoOne, 3, 0.4f);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(result.ncomp, 3);
}

TEST(Whitening, MatchesThePlainDefinitionBitForBit) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    Random random(405);
    for (int nvar = 1; nvar <= 8; nvar++) {
        for (const float fraction : {0.5f, 0.1f, 0.001f, 0.0f}) {
            Rows x = test_matrices::make(random, Kind::uniform, 3 * nvar + 5, nvar);
            for (auto& row : x) {
                for (std::size_t k = 0; k < row.size(); k++) {
                    row[k] = row[k] * static_cast<float>(k + 1) + 50.0f + row[0];
                }
            }
            const plain::Whitened expected = plain::whitening(x, nvar, fraction);
            Whitening result(x, nvar, fraction);
            ASSERT_EQ(result.ncomp, expected.components);
            for (std::size_t i = 0; i < expected.w.size(); i++) {
                for (std::size_t j = 0; j < expected.dw.size(); j++) {
                    ASSERT_TRUE(same_bits(expected.w[i][j], result.w[i][j]));
                    ASSERT_TRUE(same_bits(expected.dw[j][i], result.dw[j][i]));
                }
            }
        }
    }
}

TEST(Whitening, WhitensAndDewhitens) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    Random random(406);
    Rows x = test_matrices::make(random, Kind::uniform, 200, 3);
    for (auto& row : x) {
        row[1] += 0.5f * row[0];
        row[2] = 3.0f * row[2] - row[1];
    }
    const Rows c = plain::whitening(x, 3, 0.0f).covariance;
    Whitening result(x, 3, 0.0f);
    ASSERT_EQ(result.ncomp, 3);
    for (int p = 0; p < 3; p++) {
        for (int q = 0; q < 3; q++) {
            double variance = 0.0; // of the whitened variables: w C w^T
            double identityElement = 0.0;
            for (int i = 0; i < 3; i++) {
                for (int j = 0; j < 3; j++) {
                    variance += double(result.w(p, i)) * double(c[std::size_t(i) + 1][std::size_t(j) + 1]) *
                                double(result.w(q, j));
                }
                identityElement += double(result.w(p, i)) * double(result.dw(i, q));
            }
            EXPECT_NEAR(variance, p == q ? 1.0 : 0.0, 1e-4);
            EXPECT_NEAR(identityElement, p == q ? 1.0 : 0.0, 1e-5);
        }
    }
}

TEST(Whitening, FewObservationsAndNanEndWithoutHarm) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    EXPECT_EQ(Whitening(Rows{{1.0f, 2.0f}}, 2, 0.1f).ncomp, 1); // all variances 0: none is above 0
    EXPECT_EQ(folder.read("Covariance.txt"), "0 0 \n0 0 \n");
    EXPECT_EQ(Whitening(Rows{{notANumber, 2.0f}, {1.0f, 3.0f}}, 2, 0.1f).ncomp, 1); // NaN is above nothing
    float wValue[2] = {0.0f, 0.0f};
    float* wRows[2] = {wValue, wValue};
    int ncomp = -1;
    whitening(nullptr, 0, 0, 0.1f, wRows, wRows, &ncomp);
    EXPECT_EQ(ncomp, 0);
    EXPECT_EQ(folder.read("Covariance.txt"), "");
}

TEST(Inverses, OrdersOfZeroAndLessWriteNothing) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    for (const int n : {0, -1, INT_MIN}) {
        GuardedMatrix a(0, 2, 2);
        GuardedMatrix b(0, 2, 2);
        double re[1] = {3.0};
        double im[1] = {4.0};
        EXPECT_TRUE(getInverseMatrixUsingSVD(a.handle(), b.handle(), n, true));
        EXPECT_TRUE(getRegInverseMatrixUsingTSVD(a.handle(), b.handle(), n, -3));
        EXPECT_TRUE(getRegTransformedMatrixUsingTSVD(a.handle(), b.handle(), n, 1, 1, -3));
        EXPECT_TRUE(invertMatrix(a.handle(), b.handle(), n));
        getSQRTMatrix(a.handle(), n);
        SVDregInverse(re, n, 1.0f, 0.0f);
        CSVDregInverse(re, im, n, 0.0f, 0.0f);
        EXPECT_TRUE(a.untouched()) << n;
        EXPECT_TRUE(b.untouched()) << n;
        EXPECT_EQ(re[0], 3.0);
        EXPECT_EQ(im[0], 4.0);
    }
}

namespace {

// Lets each allocation of `body` fail in turn, each in a child: every one must end it through nrerror with one of the
// messages of the arrays that it makes. @return the number of allocations.
template <class Body>
int fail_every_allocation(Body body) {
    int calls = 0;
    {
        const AllocationProbe probe;
        body();
        calls = probe.calls();
    }
    for (int call = 0; call < calls; call++) {
        EXPECT_EXIT(
            {
                support::expect_no_release();
                const AllocationProbe probe(call);
                body();
            },
            testing::ExitedWithCode(1),
            "^Numerical Recipes run-time error\\.\\.\\.\nallocation failure (1 in matrix|2 in matrix|in vector)\\(\\)\n"
            "\\.\\.\\.now exiting to system\\.\\.\\.\n$")
            << "allocation " << call;
    }
    return calls;
}

} // namespace

TEST(InverseDeathTest, ADecompositionBeginsWhenAllItsMatricesAreThere) {
    // u, v, w and three work matrices, two blocks each but w; then what the decomposition asks for.
    const std::string first = "allocation failure 1 in matrix()";
    const std::string second = "allocation failure 2 in matrix()";
    const std::string vector = "allocation failure in vector()";
    const std::string messages[] = {first,  second, first,  second, vector, first,
                                    second, first,  second, first,  second, vector};
    GuardedMatrix a(0, identity(2));
    GuardedMatrix b(0, 2, 2);
    for (int call = 0; call < 12; call++) {
        EXPECT_FATAL(
            {
                const AllocationProbe probe(call);
                getInverseMatrixUsingSVD(a.handle(), b.handle(), 2, true);
            },
            messages[call]);
    }
}

TEST(InverseDeathTest, EveryFailedAllocationIsFatal) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    GuardedMatrix a(0, identity(2));
    GuardedMatrix b(0, 2, 2);
    GuardedMatrix c(0, 2, 2);
    double re[4] = {1.0, 0.0, 0.0, 1.0};
    double im[4] = {0.0, 0.0, 0.0, 0.0};
    int ncomp = 0;
    EXPECT_GT(fail_every_allocation([&] { getInverseMatrixUsingSVD(a.handle(), b.handle(), 2, true); }), 0);
    EXPECT_GT(fail_every_allocation([&] { getRegInverseMatrixUsingTSVD(a.handle(), b.handle(), 2, -3); }), 0);
    EXPECT_GT(fail_every_allocation([&] { getRegTransformedMatrixUsingTSVD(a.handle(), b.handle(), 2, 0, 0, -3); }), 0);
    EXPECT_GT(fail_every_allocation([&] { getSQRTMatrix(a.handle(), 2); }), 0);
    EXPECT_GT(fail_every_allocation([&] { SVDregInverse(re, 2, 0.0f, 0.0f); }), 0);
    EXPECT_GT(fail_every_allocation([&] { CSVDregInverse(re, im, 2, 0.0f, 0.0f); }), 0);
    EXPECT_GT(fail_every_allocation([&] { whitening(a.handle(), 2, 2, 0.1f, b.handle(), c.handle(), &ncomp); }), 0);
}
