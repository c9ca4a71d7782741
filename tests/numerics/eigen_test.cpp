#include "numerics/eigen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/numerics/plain_jacobi.h"
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

// What jacobi makes of a matrix; every array is guarded, and the lower triangle must come back as it went in.
struct JacobiRun {
    explicit JacobiRun(const Rows& zeroBased)
        : n(static_cast<int>(zeroBased.size())), given(test_matrices::one_based(zeroBased)), a(1, given), d(1, n),
          v(1, n, n) {
        result = jacobi(a.handle(), n, d.handle(), v.handle(), &nrot);
        EXPECT_TRUE(a.frame_untouched());
        EXPECT_TRUE(d.frame_untouched());
        EXPECT_TRUE(v.frame_untouched());
        for (int i = 1; i <= n; i++) {
            for (int j = 1; j <= i; j++) {
                EXPECT_TRUE(same_bits(given[std::size_t(i)][std::size_t(j)], a(i, j))) << i << " " << j;
            }
        }
    }

    int n;
    Rows given;
    GuardedMatrix a;
    GuardedVector d;
    GuardedMatrix v;
    int nrot = -1;
    int result = -1;
};

// Runs jacobi and the plain definition and compares everything they leave.
void compare_with_plain(const Rows& a) {
    JacobiRun run(a);
    const plain::Eigen expected = plain::jacobi(run.given, run.n);
    ASSERT_EQ(run.result, expected.result);
    ASSERT_EQ(run.nrot, expected.nrot);
    ASSERT_TRUE(same_bits(expected.d.data(), run.d.handle(), 1, run.n));
    ASSERT_TRUE(same_bits(expected.v, run.v, 1, run.n, run.n));
    ASSERT_TRUE(same_bits(expected.a, run.a, 1, run.n, run.n));
}

Rows identity(int n) {
    Rows m = make_rows(n + 1, n + 1);
    for (std::size_t i = 1; i < m.size(); i++) {
        m[i][i] = 1.0f;
    }
    return m;
}

} // namespace

TEST(Jacobi, ADiagonalMatrixNeedsNoRotation) {
    JacobiRun run({{3.0f, 0.0f, 0.0f}, {0.0f, -7.0f, 0.0f}, {0.0f, 0.0f, 0.5f}});
    EXPECT_EQ(run.result, 1);
    EXPECT_EQ(run.nrot, 0);
    EXPECT_EQ(run.d[1], 3.0f);
    EXPECT_EQ(run.d[2], -7.0f);
    EXPECT_EQ(run.d[3], 0.5f);
    EXPECT_TRUE(same_bits(identity(3), run.v, 1, 3, 3));
}

TEST(Jacobi, OrderOneConvergesAtOnce) {
    JacobiRun run(Rows{{-4.25f}});
    EXPECT_EQ(run.result, 1);
    EXPECT_EQ(run.nrot, 0);
    EXPECT_EQ(run.d[1], -4.25f);
    EXPECT_EQ(run.v(1, 1), 1.0f);
}

TEST(Jacobi, OrderZeroConvergesAtOnce) {
    JacobiRun run(Rows{});
    EXPECT_EQ(run.result, 1);
    EXPECT_EQ(run.nrot, 0);
}

TEST(Jacobi, NegativeOrdersWriteNothing) {
    for (const int n : {-1, INT_MIN}) {
        GuardedMatrix a(1, 1, 1);
        GuardedMatrix v(1, 1, 1);
        GuardedVector d(1, 1);
        int nrot = -1;
        EXPECT_EQ(jacobi(a.handle(), n, d.handle(), v.handle(), &nrot), 1);
        EXPECT_EQ(nrot, 0);
        EXPECT_TRUE(a.untouched());
        EXPECT_TRUE(v.untouched());
        EXPECT_TRUE(d.untouched());
    }
}

TEST(Jacobi, OneRotationSolvesTwoByTwoAndTheNextSweepFindsIt) {
    JacobiRun run({{2.0f, 1.0f}, {1.0f, 2.0f}});
    EXPECT_EQ(run.result, 1);
    EXPECT_EQ(run.nrot, 1);
    EXPECT_EQ(run.d[1], 1.0f);
    EXPECT_EQ(run.d[2], 3.0f);
    EXPECT_EQ(run.a(1, 2), 0.0f);
    const float half = 0.70710678f;
    EXPECT_LE(support::ulp_distance(run.v(1, 1), half), 2);
    EXPECT_LE(support::ulp_distance(run.v(2, 1), -half), 2);
    EXPECT_LE(support::ulp_distance(run.v(1, 2), half), 2);
    EXPECT_LE(support::ulp_distance(run.v(2, 2), half), 2);
    eigsrt(run.d.handle(), run.v.handle(), 2);
    EXPECT_EQ(run.d[1], 3.0f);
    EXPECT_EQ(run.d[2], 1.0f);
    EXPECT_GT(run.v(2, 1), 0.0f); // the columns moved, too
    EXPECT_LT(run.v(2, 2), 0.0f);
}

TEST(Jacobi, ReadsOnlyTheUpperTriangle) {
    const Rows symmetric{{4.0f, 1.0f, -2.0f}, {1.0f, 3.0f, 0.5f}, {-2.0f, 0.5f, -1.0f}};
    Rows upper = symmetric;
    upper[1][0] = upper[2][0] = upper[2][1] = notANumber;
    JacobiRun whole(symmetric);
    JacobiRun half(upper);
    EXPECT_EQ(half.result, 1);
    EXPECT_EQ(half.nrot, whole.nrot);
    EXPECT_TRUE(same_bits(whole.d.handle(), half.d.handle(), 1, 3));
    EXPECT_TRUE(same_bits(whole.v, half.v, 1, 3, 3));
}

TEST(Jacobi, MatchesThePlainDefinitionBitForBit) {
    test_matrices::for_each_kind([](Kind kind) {
        Random random(100 + static_cast<std::uint64_t>(kind));
        for (const int n : {1, 2, 3, 4, 5, 6, 7, 8, 11, 16, 23}) {
            for (int repeat = 0; repeat < 3; repeat++) {
                Rows a = test_matrices::make(random, kind, n, n);
                test_matrices::make_symmetric(a);
                compare_with_plain(a);
            }
        }
    });
}

TEST(Jacobi, MatchesThePlainDefinitionOnArtifactCovariances) {
    Random random(200);
    for (const int n : {2, 3, 5, 10, 16, 21, 30}) {
        compare_with_plain(test_matrices::covariance(random, n, 4 * n));
        compare_with_plain(test_matrices::covariance(random, n, n / 2 + 1)); // rank-deficient
    }
}

TEST(Jacobi, MatchesThePlainDefinitionWhereElementsNearTheLargestFloatOverflow) {
    Random random(201);
    for (const int n : {2, 3, 4, 6}) {
        for (int repeat = 0; repeat < 20; repeat++) {
            Rows a = make_rows(n, n);
            for (auto& row : a) {
                for (float& x : row) {
                    x = random.between(-1.0f, 1.0f) * 3e38f;
                }
            }
            test_matrices::make_symmetric(a);
            compare_with_plain(a);
        }
    }
}

TEST(Jacobi, MatchesThePlainDefinitionWhereElementsAreNegligibleBesideTheDiagonal) {
    // Graded matrices reach the fifth sweep with elements that it zeroes without a rotation.
    Random random(202);
    for (int repeat = 0; repeat < 200; repeat++) {
        const int n = 2 + random.below(8);
        Rows a = make_rows(n, n);
        for (std::size_t i = 0; i < a.size(); i++) {
            for (std::size_t j = i; j < a.size(); j++) {
                a[i][j] = std::ldexp(random.between(-1.0f, 1.0f), -static_cast<int>(i + j) * random.below(6));
            }
        }
        test_matrices::make_symmetric(a);
        compare_with_plain(a);
    }
}

TEST(Jacobi, AnElementAtTheThresholdIsNotRotatedAndTheThresholdIsADoubleQuotient) {
    // The first element is the float nearest to 0.2 (x + y + z) / 9; float steps on the way would end one below it.
    const float x = 0x1.1c225cp-4f;
    const float y = 0x1.65e39ap+0f;
    const float z = 0x1.a77ae2p+0f;
    const float sum = x + y + z;
    ASSERT_EQ(x, static_cast<float>(0.2 * static_cast<double>(sum) / 9.0));
    ASSERT_LT(0.2f * sum / 9.0f, x);
    const Rows a{{1.0f, x, y}, {x, 2.0f, z}, {y, z, 3.0f}};
    compare_with_plain(a);
    // A matrix that differs by the last bit of that element takes one rotation more: its first.
    Rows above = a;
    above[0][1] = above[1][0] = std::nextafter(x, 1.0f);
    compare_with_plain(above);
    EXPECT_NE(JacobiRun(a).nrot, JacobiRun(above).nrot);
}

TEST(Jacobi, EigenpairsReproduceTheMatrix) {
    Random random(203);
    for (const int n : {2, 5, 9, 20}) {
        Rows a = test_matrices::make(random, Kind::uniform, n, n);
        test_matrices::make_symmetric(a);
        JacobiRun run(a);
        ASSERT_EQ(run.result, 1);
        const float tolerance = 1e-5f * static_cast<float>(n);
        for (int i = 1; i <= n; i++) {
            for (int j = 1; j <= n; j++) {
                double product = 0.0;
                double orthogonality = 0.0;
                for (int k = 1; k <= n; k++) {
                    product += double(run.v(i, k)) * double(run.d[k]) * double(run.v(j, k));
                    orthogonality += double(run.v(k, i)) * double(run.v(k, j));
                }
                EXPECT_NEAR(product, run.given[std::size_t(i)][std::size_t(j)], tolerance);
                EXPECT_NEAR(orthogonality, i == j ? 1.0 : 0.0, tolerance);
            }
        }
    }
}

TEST(Jacobi, ReturnsZeroSilentlyWhenTheOffDiagonalSumNeverVanishes) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    JacobiRun withNan({{1.0f, notANumber}, {notANumber, 2.0f}});
    EXPECT_EQ(withNan.result, 0);
    EXPECT_EQ(withNan.nrot, 0); // NaN is above no threshold
    EXPECT_EQ(withNan.d[1], 1.0f);
    EXPECT_EQ(withNan.d[2], 2.0f);
    EXPECT_TRUE(same_bits(identity(2), withNan.v, 1, 2, 2));
    // Two infinite elements: the first rotation that meets both leaves NaN behind.
    const Rows infinite{{1.0f, 2.0f, infinity}, {2.0f, 3.0f, infinity}, {infinity, infinity, 4.0f}};
    JacobiRun withInfinity(infinite);
    EXPECT_EQ(withInfinity.result, 0);
    EXPECT_EQ(withInfinity.nrot, 1);
    compare_with_plain(infinite);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Jacobi, TheFiftiethSweepIsTheLastAndWhatItLeavesIsNotLookedAt) {
    // In an order that the plain loop takes, and in two that vectors do.
    for (const auto& [order, first, step] : {std::array{8, 0, 1}, std::array{11, 2, 1}, std::array{40, 1, 5}}) {
        for (const test_matrices::Stubborn& matrix : test_matrices::stubbornOnes) {
            SCOPED_TRACE(std::to_string(matrix.sweeps) + " sweeps, order " + std::to_string(order));
            const Rows a = test_matrices::stubborn(matrix.signs, order, first, step);
            JacobiRun run(a);
            EXPECT_EQ(run.result, matrix.sweeps < 50 ? 1 : 0);
            bool isDiagonal = true;
            for (int i = 1; i <= order; i++) {
                for (int j = i + 1; j <= order; j++) {
                    isDiagonal = isDiagonal && run.a(i, j) == 0.0f;
                }
            }
            EXPECT_EQ(isDiagonal, matrix.sweeps <= 50);
            EXPECT_EQ(run.nrot == matrix.rotations, matrix.sweeps <= 50) << run.nrot;
            compare_with_plain(a);
        }
    }
}

TEST(Jacobi, SomeFiniteMatricesAreRotatedForEver) {
    const Rows a = test_matrices::stubborn("++0", 3);
    ASSERT_EQ(plain::jacobi(test_matrices::one_based(a), 3, 1000).nrot, 3 * 1000);
    JacobiRun run(a);
    EXPECT_EQ(run.result, 0);
    EXPECT_EQ(run.nrot, 3 * 50); // every element in every sweep
    for (int i = 1; i <= 3; i++) {
        EXPECT_EQ(run.d[i], 0x1.8p-121f);
    }
    compare_with_plain(a);
}

TEST(Jacobi, ASumThatOverflowsInTheThresholdSweepsStillConverges) {
    // The sum of magnitudes is infinite, so no element exceeds the threshold of sweeps 1 to 3; the fourth rotates.
    JacobiRun run({{1.0f, 3e38f, 0.0f}, {3e38f, 1.0f, 3e38f}, {0.0f, 3e38f, 1.0f}});
    EXPECT_EQ(run.result, 1);
    EXPECT_GT(plain::jacobi(run.given, 3, 4).nrot, 0);
    EXPECT_EQ(plain::jacobi(run.given, 3, 3).nrot, 0);
    compare_with_plain({{1.0f, 3e38f, 0.0f}, {3e38f, 1.0f, 3e38f}, {0.0f, 3e38f, 1.0f}});
}

TEST(JacobiDeathTest, AFailedWorkVectorIsFatal) {
    for (const int call : {0, 1}) {
        float d[2];
        GuardedMatrix a(1, Rows{{0.0f, 0.0f}, {0.0f, 1.0f}});
        GuardedMatrix v(1, 1, 1);
        int nrot = 0;
        EXPECT_FATAL(
            {
                AllocationProbe probe(call);
                jacobi(a.handle(), 1, d, v.handle(), &nrot);
            },
            "allocation failure in vector()");
    }
}

TEST(Eigsrt, SortsDescendingAndMovesTheColumns) {
    GuardedVector d(1, {2.0f, -1.0f, 7.0f, 0.0f});
    GuardedMatrix v(1, 4, 4);
    for (int i = 1; i <= 4; i++) {
        for (int j = 1; j <= 4; j++) {
            v(i, j) = static_cast<float>(10 * j + i);
        }
    }
    eigsrt(d.handle(), v.handle(), 4);
    const float expected[5] = {0.0f, 7.0f, 2.0f, 0.0f, -1.0f};
    const int from[5] = {0, 3, 1, 4, 2};
    for (int j = 1; j <= 4; j++) {
        EXPECT_EQ(d[j], expected[j]);
        for (int i = 1; i <= 4; i++) {
            EXPECT_EQ(v(i, j), static_cast<float>(10 * from[j] + i));
        }
    }
    EXPECT_TRUE(d.frame_untouched());
    EXPECT_TRUE(v.frame_untouched());
}

TEST(Eigsrt, EqualValuesTradeTheirColumns) {
    GuardedVector d(1, {5.0f, 5.0f});
    GuardedMatrix v(1, Rows{{0.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 2.0f}, {0.0f, 3.0f, 4.0f}});
    eigsrt(d.handle(), v.handle(), 2);
    EXPECT_EQ(d[1], 5.0f);
    EXPECT_EQ(d[2], 5.0f);
    EXPECT_TRUE(same_bits(Rows{{}, {0.0f, 2.0f, 1.0f}, {0.0f, 4.0f, 3.0f}}, v, 1, 2, 2));
}

TEST(Eigsrt, TheLastOfEqualValuesMovesForward) {
    GuardedVector d(1, {1.0f, 5.0f, 5.0f});
    GuardedMatrix v(1, Rows{{0, 0, 0, 0}, {0, 1, 2, 3}, {0, 1, 2, 3}, {0, 1, 2, 3}});
    eigsrt(d.handle(), v.handle(), 3);
    EXPECT_EQ(d[1], 5.0f);
    EXPECT_EQ(d[2], 5.0f);
    EXPECT_EQ(d[3], 1.0f);
    for (int i = 1; i <= 3; i++) {
        EXPECT_EQ(v(i, 1), 3.0f);
        EXPECT_EQ(v(i, 2), 2.0f);
        EXPECT_EQ(v(i, 3), 1.0f);
    }
}

TEST(Eigsrt, TheTwoZerosAreEqual) {
    GuardedVector d(1, {0.0f, -0.0f});
    GuardedMatrix v(1, Rows{{0, 0, 0}, {0, 1, 2}, {0, 1, 2}});
    eigsrt(d.handle(), v.handle(), 2);
    EXPECT_TRUE(same_bits(-0.0f, d[1]));
    EXPECT_TRUE(same_bits(0.0f, d[2]));
    EXPECT_EQ(v(1, 1), 2.0f);
}

TEST(Eigsrt, MatchesThePlainDefinitionWithTiesAndNan) {
    Random random(204);
    for (int repeat = 0; repeat < 500; repeat++) {
        const int n = random.below(12);
        std::vector<float> values;
        Rows columns = make_rows(n + 1, n + 1);
        for (int j = 1; j <= n; j++) {
            values.push_back(random.below(10) == 0 ? notANumber : static_cast<float>(random.below(5) - 2));
            for (int i = 1; i <= n; i++) {
                columns[std::size_t(i)][std::size_t(j)] = static_cast<float>(100 * j + i);
            }
        }
        GuardedVector d(1, values);
        GuardedMatrix v(1, columns);
        eigsrt(d.handle(), v.handle(), n);
        values.insert(values.begin(), 0.0f);
        plain::sort_eigen(values, columns, n);
        ASSERT_TRUE(same_bits(values.data(), d.handle(), 1, n));
        ASSERT_TRUE(same_bits(columns, v, 1, n, n));
        ASSERT_TRUE(d.frame_untouched());
        ASSERT_TRUE(v.frame_untouched());
    }
}

TEST(Eigsrt, CountsOfZeroAndOneChangeNothing) {
    GuardedVector d(1, {5.0f});
    GuardedMatrix v(1, Rows{{0, 0}, {0, 6}});
    for (const int n : {1, 0, -3}) {
        eigsrt(d.handle(), v.handle(), n);
        EXPECT_EQ(d[1], 5.0f);
        EXPECT_EQ(v(1, 1), 6.0f);
    }
}
