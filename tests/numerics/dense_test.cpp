#include "numerics/dense.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>
#include <vector>

#include "tests/support/bits.h"

using support::GuardedMatrix;
using support::GuardedVector;
using support::make_rows;
using support::Random;
using support::Rows;
using support::same_bits;

namespace {

constexpr int sizes[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 33};

// Values of very different magnitude, so that another order or precision of a sum shows in its last bits.
Rows random_rows(Random& random, int rows, int cols) {
    Rows m = make_rows(rows, cols);
    for (auto& row : m) {
        for (float& value : row) {
            value = random.between(-1.0f, 1.0f) * static_cast<float>(1 << random.below(12));
        }
    }
    return m;
}

std::vector<float> random_vector(Random& random, int n) {
    return n > 0 ? random_rows(random, 1, n)[0] : std::vector<float>{};
}

// One element of a product: a float sum from 0 with k ascending.
template <class A, class B>
float plain_sum(int n, A a, B b) {
    float sum = 0.0f;
    for (int k = 0; k < n; ++k) {
        sum += a(static_cast<std::size_t>(k)) * b(static_cast<std::size_t>(k));
    }
    return sum;
}

float plain_element(const Rows& a, std::size_t i, const Rows& b, std::size_t j, int n) {
    return plain_sum(
        n, [&](std::size_t k) { return a[i][k]; }, [&](std::size_t k) { return b[k][j]; });
}

// Row i of `a` times row j of `b`.
float plain_row_product(const Rows& a, std::size_t i, std::size_t j, int n) {
    return plain_sum(
        n, [&](std::size_t k) { return a[i][k]; }, [&](std::size_t k) { return a[j][k]; });
}

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

} // namespace

TEST(MatrixMatrixMult, SumsInFloatWithTheInnerIndexAscending) {
    GuardedMatrix a(0, Rows{{1e8f, 1.0f, -1e8f, 1.0f}});
    GuardedMatrix b(0, Rows{{1.0f}, {1.0f}, {1.0f}, {1.0f}});
    GuardedMatrix c(0, 1, 1);
    matrix_matrix_mult(a.handle(), b.handle(), c.handle(), 1, 4, 1);
    EXPECT_EQ(c(0, 0), 1.0f); // the first 1 is lost beside 1e8, the second is not
}

TEST(MatrixMatrixMult, RoundsEveryProductBeforeItsSum) {
    // (1 + 2^-12)^2 - (1 + 2^-11) is 2^-24 exactly; the rounded product leaves 0, a fused one would keep it.
    const float x = 1.0f + 0x1p-12f;
    GuardedMatrix a(0, Rows{{-1.0f, x}});
    GuardedMatrix b(0, Rows{{1.0f + 0x1p-11f}, {x}});
    GuardedMatrix c(0, 1, 1);
    matrix_matrix_mult(a.handle(), b.handle(), c.handle(), 1, 2, 1);
    EXPECT_TRUE(same_bits(0.0f, c(0, 0)));
}

TEST(MatrixMatrixMult, MatchesThePlainDefinitionBitForBit) {
    Random random(1);
    for (const int m : sizes) {
        for (const int n : sizes) {
            for (const int p : sizes) {
                const Rows a = random_rows(random, m, n);
                const Rows b = random_rows(random, n, p);
                GuardedMatrix ga(0, a);
                GuardedMatrix gb(0, b);
                GuardedMatrix c(0, m, p);
                matrix_matrix_mult(ga.handle(), gb.handle(), c.handle(), m, n, p);
                ASSERT_TRUE(c.frame_untouched()) << m << " " << n << " " << p;
                if (n == 0) {
                    ASSERT_TRUE(c.untouched()) << m << " " << n << " " << p;
                    continue;
                }
                Rows expected = make_rows(m, p);
                for (std::size_t i = 0; i < expected.size(); ++i) {
                    for (std::size_t j = 0; j < expected[i].size(); ++j) {
                        expected[i][j] = plain_element(a, i, b, j, n);
                    }
                }
                ASSERT_TRUE(same_bits(expected, c, 0, m - 1, p - 1)) << m << " " << n << " " << p;
                ASSERT_TRUE(same_bits(a, ga, 0, m - 1, n - 1)) << "a was changed";
                ASSERT_TRUE(same_bits(b, gb, 0, n - 1, p - 1)) << "b was changed";
            }
        }
    }
}

TEST(MatrixMatrixMult, NonFiniteValuesReachOnlyTheirRowAndColumn) {
    GuardedMatrix a(0, Rows{{notANumber, 1.0f}, {2.0f, 3.0f}});
    GuardedMatrix b(0, Rows{{1.0f, 0.0f}, {1.0f, infinity}});
    GuardedMatrix c(0, 2, 2);
    matrix_matrix_mult(a.handle(), b.handle(), c.handle(), 2, 2, 2);
    EXPECT_TRUE(same_bits(Rows{{notANumber, notANumber}, {5.0f, infinity}}, c, 0, 1, 1));
}

TEST(DenseProducts, AnyCountOfZeroOrLessWritesNothing) {
    for (const int none : {0, -1, INT_MIN}) {
        for (int place = 0; place < 3; ++place) {
            const int m = place == 0 ? none : 2;
            const int n = place == 1 ? none : 2;
            const int p = place == 2 ? none : 2;
            GuardedMatrix a(0, Rows{{1.0f, 2.0f}, {3.0f, 4.0f}});
            GuardedMatrix c(0, 2, 2);
            GuardedVector y(0, 2);
            float x[2] = {1.0f, 1.0f};
            matrix_matrix_mult(a.handle(), a.handle(), c.handle(), m, n, p);
            matrix_matrix_mult_block(a.handle(), a.handle(), c.handle(), m, n, p);
            EXPECT_TRUE(c.untouched()) << m << " " << n << " " << p;
            if (place < 2) {
                transposematrix_matrix_mult(a.handle(), c.handle(), m, n);
                fast_matrix_matrix_mult(a.handle(), a.handle(), c.handle(), m, 2, n, false, false);
                matrix_transpose(a.handle(), c.handle(), m, n);
                for (int mode = 0; mode <= 3; ++mode) {
                    copy_matrix(a.handle(), c.handle(), m, n, mode);
                }
                EXPECT_TRUE(c.untouched()) << m << " " << n;
                matrix_vector_mult(a.handle(), x, y.handle(), m, n);
                fast_matrix_vector_mult(a.handle(), x, y.handle(), m, n);
                EXPECT_TRUE(y.untouched()) << m << " " << n;
                diagmatrix_matrix_mult(x, c.handle(), m, n);
                EXPECT_TRUE(c.untouched()) << m << " " << n;
            }
        }
        float x[1] = {5.0f};
        EXPECT_TRUE(same_bits(0.0f, vector_vector_mult(x, x, none)));
        EXPECT_TRUE(same_bits(0.0f, vector_vector_mult(nullptr, nullptr, none)));
    }
}

TEST(MatrixMatrixMultBlock, TwoBlocksOfThreeStandOneBelowTheOther) {
    Random random(2);
    const Rows a = random_rows(random, 6, 5);
    const Rows b = random_rows(random, 5, 6);
    GuardedMatrix ga(0, a);
    GuardedMatrix gb(0, b);
    GuardedMatrix c(0, 6, 3);
    matrix_matrix_mult_block(ga.handle(), gb.handle(), c.handle(), 2, 5, 3);
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            EXPECT_TRUE(same_bits(plain_element(a, i, b, j, 5), c[i][j]));
            EXPECT_TRUE(same_bits(plain_element(a, 3 + i, b, 3 + j, 5), c[3 + i][j]));
        }
    }
    EXPECT_TRUE(c.frame_untouched());
}

TEST(MatrixMatrixMultBlock, IsTheDiagonalOfTheWholeProduct) {
    Random random(3);
    for (int nblocks = 1; nblocks <= 5; ++nblocks) {
        for (const int n : {1, 2, 3, 8, 13}) {
            for (int bs = 1; bs <= 5; ++bs) {
                const int order = nblocks * bs;
                const Rows a = random_rows(random, order, n);
                const Rows b = random_rows(random, n, order);
                GuardedMatrix ga(0, a);
                GuardedMatrix gb(0, b);
                GuardedMatrix c(0, order, bs);
                matrix_matrix_mult_block(ga.handle(), gb.handle(), c.handle(), nblocks, n, bs);
                Rows expected = make_rows(order, bs);
                for (int i = 0; i < order; ++i) {
                    for (int j = 0; j < bs; ++j) {
                        const int column = i / bs * bs + j;
                        expected[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] =
                            plain_element(a, static_cast<std::size_t>(i), b, static_cast<std::size_t>(column), n);
                    }
                }
                ASSERT_TRUE(same_bits(expected, c, 0, order - 1, bs - 1)) << nblocks << " " << n << " " << bs;
                ASSERT_TRUE(c.frame_untouched());
            }
        }
    }
}

TEST(TransposematrixMatrixMult, ATwoByThreeMatrixGivesIdenticalOffDiagonalElements) {
    GuardedMatrix a(0, Rows{{1e8f, 1.0f, -1e8f}, {1.0f, 1.0f, 1.0f}});
    GuardedMatrix c(0, 2, 2);
    transposematrix_matrix_mult(a.handle(), c.handle(), 2, 3);
    EXPECT_TRUE(same_bits(c(1, 0), c(0, 1)));
    EXPECT_EQ(c(1, 0), 0.0f);
    EXPECT_EQ(c(1, 1), 3.0f);
    EXPECT_TRUE(c.frame_untouched());
}

TEST(TransposematrixMatrixMult, MatchesThePlainDefinitionBitForBit) {
    Random random(4);
    for (const int n : sizes) {
        for (const int m : {1, 2, 3, 5, 8, 17, 40}) {
            const Rows a = random_rows(random, n, m);
            GuardedMatrix ga(0, a);
            GuardedMatrix c(0, n, n);
            transposematrix_matrix_mult(ga.handle(), c.handle(), n, m);
            Rows expected = make_rows(n, n);
            for (std::size_t i = 0; i < expected.size(); ++i) {
                for (std::size_t j = 0; j <= i; ++j) {
                    expected[i][j] = expected[j][i] = plain_row_product(a, i, j, m);
                }
            }
            ASSERT_TRUE(same_bits(expected, c, 0, n - 1, n - 1)) << n << " " << m;
            ASSERT_TRUE(c.frame_untouched());
        }
    }
}

// Of two different NaNs in a product one survives, and which is left open; but it is the same on both sides of the
// diagonal.
TEST(TransposematrixMatrixMult, TheUpperTriangleHasTheBitsOfTheLowerAlsoWhereTheyAreThoseOfNaNs) {
    Random random(41);
    for (int n = 2; n <= 70; ++n) {
        const int m = 1 + random.below(40);
        Rows a = random_rows(random, n, m);
        for (auto& row : a) {
            for (float& value : row) {
                if (random.below(3) == 0) {
                    const std::uint32_t sign = random.below(2) == 0 ? 0U : 0x80000000U;
                    value = support::float_of(sign | 0x7FC00000U | static_cast<std::uint32_t>(random.below(1 << 20)));
                }
            }
        }
        GuardedMatrix ga(0, a);
        GuardedMatrix c(0, n, n);
        transposematrix_matrix_mult(ga.handle(), c.handle(), n, m);
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < i; ++j) {
                ASSERT_EQ(support::bits_of(c(i, j)), support::bits_of(c(j, i)))
                    << n << " " << m << " " << i << " " << j;
            }
        }
        EXPECT_TRUE(c.frame_untouched());
    }
}

TEST(TransposematrixMatrixMult, WithoutTermsNothingIsCopiedEither) {
    const Rows before{{1.0f, 2.0f}, {3.0f, 4.0f}};
    for (const int none : {0, -1, INT_MIN}) {
        GuardedMatrix a(0, before);
        GuardedMatrix c(0, before);
        transposematrix_matrix_mult(a.handle(), c.handle(), 2, none);
        EXPECT_TRUE(same_bits(before, c, 0, 1, 1)) << none;
    }
}

TEST(FastMatrixMatrixMult, IsTheSymmetricProductWhateverTheOtherArgumentsHold) {
    Random random(5);
    const Rows a = random_rows(random, 3, 6); // only the first 4 columns count
    for (const bool flagA : {false, true}) {
        for (const bool flagB : {false, true}) {
            for (const int n : {5, 0, -3}) {
                GuardedMatrix ga(0, a);
                GuardedMatrix b(0, make_rows(5, 4, notANumber));
                GuardedMatrix c(0, 3, 3);
                fast_matrix_matrix_mult(ga.handle(), n == 5 ? b.handle() : nullptr, c.handle(), 3, n, 4, flagA, flagB);
                for (std::size_t i = 0; i < 3; ++i) {
                    for (std::size_t j = 0; j <= i; ++j) {
                        EXPECT_TRUE(same_bits(plain_row_product(a, i, j, 4), c[i][j]));
                        EXPECT_TRUE(same_bits(c[i][j], c[j][i]));
                    }
                }
                EXPECT_TRUE(c.frame_untouched());
            }
        }
    }
}

TEST(MatrixVectorMult, BothNamesMatchThePlainDefinitionBitForBit) {
    Random random(6);
    for (const int m : sizes) {
        for (const int n : {1, 2, 3, 4, 7, 16, 33, 100}) {
            const Rows a = random_rows(random, m, n);
            const std::vector<float> x = random_vector(random, n);
            std::vector<float> expected;
            for (const auto& row : a) {
                expected.push_back(plain_sum(
                    n, [&](std::size_t k) { return row[k]; }, [&](std::size_t k) { return x[k]; }));
            }
            GuardedMatrix ga(0, a);
            GuardedVector gx(0, x);
            GuardedVector y(0, m);
            matrix_vector_mult(ga.handle(), gx.handle(), y.handle(), m, n);
            ASSERT_TRUE(same_bits(expected.data(), y.handle(), 0, m - 1)) << m << " " << n;
            ASSERT_TRUE(y.frame_untouched());
            GuardedVector fast(0, m);
            fast_matrix_vector_mult(ga.handle(), gx.handle(), fast.handle(), m, n);
            ASSERT_TRUE(same_bits(expected.data(), fast.handle(), 0, m - 1)) << m << " " << n;
            ASSERT_TRUE(fast.frame_untouched());
        }
    }
}

TEST(VectorVectorMult, MatchesThePlainDefinitionBitForBit) {
    Random random(7);
    for (int n = 0; n <= 70; ++n) {
        const std::vector<float> x = random_vector(random, n);
        const std::vector<float> y = random_vector(random, n);
        const float expected = plain_sum(
            n, [&](std::size_t k) { return x[k]; }, [&](std::size_t k) { return y[k]; });
        GuardedVector gx(0, x);
        GuardedVector gy(0, y);
        EXPECT_TRUE(same_bits(expected, vector_vector_mult(gx.handle(), gy.handle(), n))) << n;
    }
}

TEST(VectorVectorMult, SumsInFloatAscending) {
    float x[4] = {1e8f, 1.0f, -1e8f, 1.0f};
    float y[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    EXPECT_EQ(vector_vector_mult(x, y, 4), 1.0f);
}

TEST(MatrixTranspose, PutsRowsIntoColumns) {
    Random random(8);
    for (const int m : sizes) {
        for (const int n : sizes) {
            const Rows a = random_rows(random, m, n);
            GuardedMatrix ga(0, a);
            GuardedMatrix at(0, n, m);
            matrix_transpose(ga.handle(), at.handle(), m, n);
            for (std::size_t i = 0; i < a.size(); ++i) {
                for (std::size_t j = 0; j < a[i].size(); ++j) {
                    ASSERT_TRUE(same_bits(a[i][j], at[j][i]));
                }
            }
            ASSERT_TRUE(at.frame_untouched());
        }
    }
}

TEST(DiagmatrixMatrixMult, ScalesRowsInPlace) {
    Random random(9);
    for (const int m : sizes) {
        for (const int n : sizes) {
            const Rows a = random_rows(random, m, n);
            const std::vector<float> d = random_vector(random, m);
            GuardedMatrix ga(0, a);
            GuardedVector gd(0, d);
            diagmatrix_matrix_mult(gd.handle(), ga.handle(), m, n);
            for (std::size_t i = 0; i < a.size(); ++i) {
                for (std::size_t j = 0; j < a[i].size(); ++j) {
                    ASSERT_TRUE(same_bits(a[i][j] * d[i], ga[i][j]));
                }
            }
            ASSERT_TRUE(ga.frame_untouched());
            ASSERT_TRUE(gd.frame_untouched());
        }
    }
}

TEST(DiagmatrixMatrixMult, AZeroFactorZeroesItsRow) {
    GuardedMatrix a(0, Rows{{1.0f, -2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}});
    float d[2] = {0.0f, 2.0f};
    diagmatrix_matrix_mult(d, a.handle(), 2, 3);
    EXPECT_TRUE(same_bits(Rows{{0.0f, -0.0f, 0.0f}, {8.0f, 10.0f, 12.0f}}, a, 0, 1, 2));
}

TEST(CopyMatrix, ModeZeroCopiesFromZeroToZero) {
    GuardedMatrix src(0, Rows{{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}});
    GuardedMatrix dst(0, 2, 3);
    copy_matrix(src.handle(), dst.handle(), 2, 3, 0);
    EXPECT_TRUE(same_bits(src, dst, 0, 1, 2));
    EXPECT_TRUE(dst.frame_untouched());
}

TEST(CopyMatrix, ModeOneCopiesFromOneToOne) {
    GuardedMatrix from(1, 2, 3);
    for (int i = 1; i <= 2; ++i) {
        for (int j = 1; j <= 3; ++j) {
            from(i, j) = static_cast<float>(10 * i + j);
        }
    }
    GuardedMatrix dst(1, 2, 3);
    copy_matrix(from.handle(), dst.handle(), 2, 3, 1);
    EXPECT_TRUE(same_bits(from, dst, 1, 2, 3));
    EXPECT_TRUE(dst.frame_untouched());
}

TEST(CopyMatrix, ModeTwoCopiesFromZeroToOneAndLeavesRowAndColumnZero) {
    GuardedMatrix src(0, Rows{{1.0f, 2.0f}, {3.0f, 4.0f}});
    GuardedMatrix dst(1, 2, 2); // row 0 and column 0 lie in the frame
    copy_matrix(src.handle(), dst.handle(), 2, 2, 2);
    EXPECT_EQ(dst(1, 1), 1.0f);
    EXPECT_EQ(dst(1, 2), 2.0f);
    EXPECT_EQ(dst(2, 1), 3.0f);
    EXPECT_EQ(dst(2, 2), 4.0f);
    EXPECT_TRUE(dst.frame_untouched());
}

TEST(CopyMatrix, ModeThreeCopiesFromOneToZero) {
    GuardedMatrix src(1, 2, 2);
    src(1, 1) = 1.0f;
    src(1, 2) = 2.0f;
    src(2, 1) = 3.0f;
    src(2, 2) = 4.0f;
    GuardedMatrix dst(0, 2, 2);
    copy_matrix(src.handle(), dst.handle(), 2, 2, 3);
    EXPECT_TRUE(same_bits(Rows{{1.0f, 2.0f}, {3.0f, 4.0f}}, dst, 0, 1, 1));
    EXPECT_TRUE(dst.frame_untouched());
}

TEST(CopyMatrix, AnyOtherModeCopiesNothing) {
    for (const int mode : {4, 5, 6, 100, INT_MAX, -1, -2, -3, INT_MIN}) {
        GuardedMatrix src(0, make_rows(4, 4, 1.0f));
        GuardedMatrix dst(0, 4, 4);
        copy_matrix(src.handle(), dst.handle(), 2, 2, mode);
        EXPECT_TRUE(dst.untouched()) << mode;
    }
}

TEST(CopyMatrix, CopiesBitsInAnyShape) {
    Random random(10);
    for (const int rows : sizes) {
        for (const int cols : sizes) {
            Rows values = random_rows(random, rows, cols);
            if (rows > 0 && cols > 0) {
                values[0][0] = notANumber;
                values.back().back() = -0.0f;
            }
            GuardedMatrix src(0, values);
            GuardedMatrix one(1, rows, cols);
            GuardedMatrix two(1, rows, cols);
            GuardedMatrix back(0, rows, cols);
            copy_matrix(src.handle(), one.handle(), rows, cols, 2);
            copy_matrix(one.handle(), two.handle(), rows, cols, 1);
            copy_matrix(two.handle(), back.handle(), rows, cols, 3);
            ASSERT_TRUE(same_bits(values, back, 0, rows - 1, cols - 1));
            ASSERT_TRUE(one.frame_untouched());
            ASSERT_TRUE(two.frame_untouched());
            ASSERT_TRUE(back.frame_untouched());
        }
    }
}
