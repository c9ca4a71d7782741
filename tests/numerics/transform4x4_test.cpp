#include "numerics/transform4x4.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "numerics/arrays.h"
#include "numerics/inverse.h"
#include "tests/support/bits.h"

namespace {

using support::Random;
using support::same_bits;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

// A transform between sentinel rows.
struct Transform {
    float before[4];
    float m[4][4];
    float after[4];

    Transform() { fill(-77.25f); }
    Transform(std::initializer_list<float> elements) {
        fill(-77.25f);
        int i = 0;
        for (const float element : elements) {
            m[i / 4][i % 4] = element;
            ++i;
        }
    }
    void fill(float value) {
        for (float* row : {before, m[0], m[1], m[2], m[3], after}) {
            std::fill_n(row, 4, value);
        }
    }
    bool framed() const {
        for (int i = 0; i < 4; ++i) {
            if (before[i] != -77.25f || after[i] != -77.25f) {
                return false;
            }
        }
        return true;
    }
};

testing::AssertionResult same(const Transform& expected, const Transform& actual) {
    if (!actual.framed()) {
        return testing::AssertionFailure() << "written outside";
    }
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            const auto result = same_bits(expected.m[i][j], actual.m[i][j]);
            if (!result) {
                return testing::AssertionFailure() << "[" << i << "][" << j << "]: " << result.message();
            }
        }
    }
    return testing::AssertionSuccess();
}

const Transform identity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
const Transform counted{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

Transform random_transform(Random& random) {
    Transform t;
    for (auto& row : t.m) {
        for (float& element : row) {
            element = random.between(-10.0f, 10.0f);
        }
    }
    return t;
}

// A rotation about an axis through the origin, formed in double, with a translation.
Transform rigid(float ax, float ay, float az, float angle, float tx, float ty, float tz) {
    double a[3] = {static_cast<double>(ax), static_cast<double>(ay), static_cast<double>(az)};
    const double size = std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2]);
    for (double& component : a) {
        component /= size;
    }
    const double c = std::cos(static_cast<double>(angle));
    const double s = std::sin(static_cast<double>(angle));
    Transform t;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            double value = a[i] * a[j] * (1.0 - c) + (i == j ? c : 0.0);
            if (i != j) {
                const int k = 3 - i - j;
                value += ((j - i + 3) % 3 == 1 ? -s : s) * a[k];
            }
            t.m[i][j] = static_cast<float>(value);
        }
        t.m[3][i] = 0.0f;
    }
    t.m[0][3] = tx;
    t.m[1][3] = ty;
    t.m[2][3] = tz;
    t.m[3][3] = 1.0f;
    return t;
}

// The largest deviation of a b from the identity, in double.
double deviation(const Transform& a, const Transform& b) {
    double worst = 0.0;
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            double sum = i == j ? -1.0 : 0.0;
            for (int k = 0; k < 4; ++k) {
                sum += static_cast<double>(a.m[i][k]) * static_cast<double>(b.m[k][j]);
            }
            worst = std::isnan(sum) ? sum : std::max(worst, std::fabs(sum));
        }
    }
    return worst;
}

} // namespace

TEST(MakeIdentityMatrix, WritesEveryElement) {
    Transform t;
    makeIdentityMatrix(t.m);
    EXPECT_TRUE(same(identity, t));
}

TEST(MakeScaleMatrix, HasTheFactorsOnItsDiagonal) {
    Transform t;
    makeScaleMatrix(t.m, 2.0f, -0.5f, notANumber);
    EXPECT_TRUE(same({2, 0, 0, 0, 0, -0.5f, 0, 0, 0, 0, notANumber, 0, 0, 0, 0, 1}, t));
}

TEST(CopyMatrix4x4, CopiesBitForBit) {
    Transform from = counted;
    from.m[1][2] = -0.0f;
    from.m[3][0] = std::numeric_limits<float>::denorm_min();
    from.m[3][1] = support::float_of(0x7FC12345);
    const Transform source = from;
    Transform to;
    copyMatrix(from.m, to.m);
    EXPECT_EQ(std::memcmp(&source, &to, sizeof to), 0);
    EXPECT_EQ(std::memcmp(&source, &from, sizeof to), 0);
}

TEST(TransposeMatrix, SwapsRowsAndColumns) {
    Transform from = counted;
    Transform to;
    transposeMatrix(from.m, to.m);
    EXPECT_TRUE(same({1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16}, to));
    EXPECT_TRUE(same(counted, from));
}

TEST(MultiplyMatrixMatrix, MultipliesInOrder) {
    Transform a = counted;
    Transform b{2, 0, 1, 0, 0, 3, 0, 1, 1, 0, 2, 0, 0, 1, 0, 4};
    Transform c;
    multiplyMatrixMatrix(a.m, b.m, c.m);
    EXPECT_TRUE(same({5, 10, 7, 18, 17, 26, 19, 38, 29, 42, 31, 58, 41, 58, 43, 78}, c));
    multiplyMatrixMatrix(b.m, a.m, c.m);
    EXPECT_TRUE(same({11, 14, 17, 20, 28, 32, 36, 40, 19, 22, 25, 28, 57, 62, 67, 72}, c));
}

TEST(MultiplyMatrixMatrix, SumsFromLeftToRightInFloat) {
    Random random(3);
    for (int pass = 0; pass < 200; ++pass) {
        Transform a = random_transform(random);
        Transform b = random_transform(random);
        Transform expected;
        for (int i = 0; i < 4; ++i) {
            for (int j = 0; j < 4; ++j) {
                volatile float sum = a.m[i][0] * b.m[0][j];
                for (int k = 1; k < 4; ++k) {
                    const volatile float product = a.m[i][k] * b.m[k][j];
                    sum = sum + product;
                }
                expected.m[i][j] = sum;
            }
        }
        Transform c;
        multiplyMatrixMatrix(a.m, b.m, c.m);
        ASSERT_TRUE(same(expected, c));
    }
    // 2^24 + 1 + 1: each 1 is lost on the way from the left; from the right, or in double, they would not be.
    Transform a{16777216.0f, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    Transform b{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    Transform c;
    multiplyMatrixMatrix(a.m, b.m, c.m);
    EXPECT_EQ(c.m[0][0], 16777216.0f);
}

TEST(MultiplyMatrixMatrix, AResultInItsOwnOperandIsNotTheProduct) {
    Transform a = counted;
    Transform b{0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}; // swaps the first two columns
    Transform product;
    multiplyMatrixMatrix(a.m, b.m, product.m);
    EXPECT_EQ(product.m[0][0], 2.0f);
    EXPECT_EQ(product.m[0][1], 1.0f);
    multiplyMatrixMatrix(a.m, b.m, a.m);
    EXPECT_EQ(a.m[0][0], 2.0f);
    EXPECT_EQ(a.m[0][1], 2.0f); // reads what was just written
}

TEST(MultiplyMatrixVector, MultipliesFromTheLeft) {
    Transform m = counted;
    float v[4] = {1.0f, -1.0f, 2.0f, 0.5f};
    float r[5] = {0, 0, 0, 0, -77.25f};
    multiplyMatrixVector(m.m, v, r);
    EXPECT_EQ(r[0], 7.0f);
    EXPECT_EQ(r[1], 17.0f);
    EXPECT_EQ(r[2], 27.0f);
    EXPECT_EQ(r[3], 37.0f);
    EXPECT_EQ(r[4], -77.25f);
    EXPECT_TRUE(same(counted, m));
}

TEST(MultiplyMatrixVector, SumsFromLeftToRightInFloat) {
    Random random(4);
    for (int pass = 0; pass < 200; ++pass) {
        Transform m = random_transform(random);
        float v[4];
        for (float& element : v) {
            element = random.between(-10.0f, 10.0f);
        }
        float r[4];
        multiplyMatrixVector(m.m, v, r);
        for (int i = 0; i < 4; ++i) {
            volatile float sum = m.m[i][0] * v[0];
            for (int k = 1; k < 4; ++k) {
                const volatile float product = m.m[i][k] * v[k];
                sum = sum + product;
            }
            ASSERT_TRUE(same_bits(sum, r[i]));
        }
    }
}

TEST(MultiplyMatrixVector, TranslatesPointsAndNotDirections) {
    Transform m = rigid(0, 0, 1, 0, 1.0f, 2.0f, 3.0f);
    float point[4] = {10.0f, 20.0f, 30.0f, 1.0f};
    float r[4];
    multiplyMatrixVector(m.m, point, r);
    EXPECT_EQ(r[0], 11.0f);
    EXPECT_EQ(r[1], 22.0f);
    EXPECT_EQ(r[2], 33.0f);
    EXPECT_EQ(r[3], 1.0f);
    float direction[4] = {10.0f, 20.0f, 30.0f, 0.0f};
    multiplyMatrixVector(m.m, direction, r);
    EXPECT_EQ(r[0], 10.0f);
    EXPECT_EQ(r[3], 0.0f);
}

TEST(InvertMatrix4x4, InvertsAndLeavesItsOperand) {
    Random random(5);
    for (int pass = 0; pass < 50; ++pass) {
        Transform a = random_transform(random);
        for (int i = 0; i < 4; ++i) {
            a.m[i][i] += 25.0f; // well conditioned
        }
        const Transform before = a;
        Transform inverse;
        invertMatrix(a.m, inverse.m);
        EXPECT_TRUE(same(before, a));
        EXPECT_TRUE(inverse.framed());
        EXPECT_LT(deviation(a, inverse), 1e-5);
        invertMatrix(a.m, a.m); // in place
        EXPECT_TRUE(same(inverse, a));
    }
}

TEST(InvertMatrix4x4, IsTheGeneralInverseOfARowArray) {
    Random random(6);
    Transform a = random_transform(random);
    float** rows = create2dArray(4, 4);
    float** result = create2dArray(4, 4);
    for (int i = 0; i < 4; ++i) {
        std::copy_n(a.m[i], 4, rows[i]);
    }
    ASSERT_TRUE(invertMatrix(rows, result, 4));
    Transform inverse;
    invertMatrix(a.m, inverse.m);
    EXPECT_TRUE(same_bits(result, inverse.m, 0, 3, 3));
    delete2dArray(result, 4, 4);
    delete2dArray(rows, 4, 4);
}

TEST(InvertMatrix4x4, LeavesOutSingularValuesOfZero) {
    Transform a;
    makeScaleMatrix(a.m, 2.0f, 0.0f, 4.0f);
    Transform inverse;
    invertMatrix(a.m, inverse.m);
    EXPECT_LT(std::fabs(inverse.m[1][1]), 1e-30f);
    EXPECT_NEAR(inverse.m[0][0], 0.5f, 1e-6f);
    EXPECT_NEAR(inverse.m[2][2], 0.25f, 1e-6f);
    EXPECT_NEAR(inverse.m[3][3], 1.0f, 1e-6f);
}

TEST(InvertMatrix4x4, WithoutConvergenceTheResultIsZero) {
    Transform a = counted;
    a.m[1][1] = notANumber; // no rotation makes a NaN small
    float** rows = create2dArray(4, 4);
    float** result = create2dArray(4, 4);
    for (int i = 0; i < 4; ++i) {
        std::copy_n(a.m[i], 4, rows[i]);
    }
    ASSERT_FALSE(invertMatrix(rows, result, 4)) << "the example converges";
    delete2dArray(result, 4, 4);
    delete2dArray(rows, 4, 4);
    Transform inverse;
    testing::internal::CaptureStderr();
    invertMatrix(a.m, inverse.m);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(same({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, inverse));
}

TEST(InvertH4x4Matrix, InvertsAScalingWithATranslation) {
    Transform m;
    makeScaleMatrix(m.m, 2.0f, 4.0f, 8.0f);
    m.m[0][3] = 2.0f;
    m.m[1][3] = 4.0f;
    m.m[2][3] = 8.0f;
    Transform inverse;
    invertH4x4Matrix(m.m, inverse.m);
    const Transform expected{0.5f, 0, 0, -1, 0, 0.25f, 0, -1, 0, 0, 0.125f, -1, 0, 0, 0, 1};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            EXPECT_NEAR(inverse.m[i][j], expected.m[i][j], 1e-6f) << i << j;
        }
    }
    EXPECT_TRUE(inverse.framed());
}

TEST(InvertH4x4Matrix, InvertsAGeneralAffineTransform) {
    Random random(7);
    for (int pass = 0; pass < 50; ++pass) {
        Transform m = random_transform(random);
        for (int i = 0; i < 3; ++i) {
            m.m[i][i] += 25.0f;
            m.m[3][i] = 0.0f;
        }
        m.m[3][3] = 1.0f;
        const Transform before = m;
        Transform inverse;
        invertH4x4Matrix(m.m, inverse.m);
        EXPECT_TRUE(same(before, m));
        EXPECT_LT(deviation(m, inverse), 1e-5);
        EXPECT_LT(deviation(inverse, m), 1e-5);
        invertH4x4Matrix(m.m, m.m); // in place
        EXPECT_TRUE(same(inverse, m));
    }
}

TEST(InvertH4x4Matrix, IgnoresRowThree) {
    Transform m = rigid(1, 2, 3, 0.7f, 1.0f, -2.0f, 3.0f);
    Transform expected;
    invertH4x4Matrix(m.m, expected.m);
    for (int j = 0; j < 4; ++j) {
        EXPECT_EQ(expected.m[3][j], j == 3 ? 1.0f : 0.0f);
        m.m[3][j] = notANumber;
    }
    Transform inverse;
    invertH4x4Matrix(m.m, inverse.m);
    EXPECT_TRUE(same(expected, inverse));
}

TEST(InvertH4x4Matrix, TheTranslationIsSummedInFloatInOrderFromZero) {
    Random random(8);
    for (int pass = 0; pass < 100; ++pass) {
        Transform m = random_transform(random);
        Transform inverse;
        invertH4x4Matrix(m.m, inverse.m);
        for (int i = 0; i < 3; ++i) {
            volatile float u = 0.0f;
            for (int k = 0; k < 3; ++k) {
                const volatile float product = inverse.m[i][k] * m.m[k][3];
                u = u + product;
            }
            ASSERT_TRUE(same_bits(-u, inverse.m[i][3]));
        }
    }
    // Without a translation each sum is +0, and what is stored its negative.
    Transform m = identity;
    Transform inverse;
    invertH4x4Matrix(m.m, inverse.m);
    EXPECT_TRUE(std::signbit(inverse.m[0][3]));
}

TEST(InvertH4x4Matrix, OfASingularPartItTakesThePseudoInverse) {
    Transform m{2, 0, 0, 6, 0, 4, 0, 8, 0, 0, 0, 5, 0, 0, 0, 1};
    Transform inverse;
    invertH4x4Matrix(m.m, inverse.m);
    const Transform expected{0.5f, 0, 0, -3, 0, 0.25f, 0, -2, 0, 0, 0, 0, 0, 0, 0, 1};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            EXPECT_NEAR(inverse.m[i][j], expected.m[i][j], 1e-6f) << i << j;
        }
    }
    // What is below a millionth of the largest counts as 0, what is above does not.
    makeScaleMatrix(m.m, 1.0f, 1.0f, 5e-7f);
    invertH4x4Matrix(m.m, inverse.m);
    EXPECT_NEAR(inverse.m[2][2], 0.0f, 1e-3f);
    makeScaleMatrix(m.m, 1.0f, 1.0f, 2e-6f);
    invertH4x4Matrix(m.m, inverse.m);
    EXPECT_NEAR(inverse.m[2][2], 500000.0f, 1.0f);
}

TEST(InvertRotationTranslationMatrix, OfATranslationItIsTheTranslationBack) {
    Transform m = rigid(0, 0, 1, 0, 1.0f, 2.0f, 3.0f);
    Transform inverse;
    invertRotationTranslationMatrix(m.m, inverse.m);
    EXPECT_TRUE(same({1, 0, 0, -1, 0, 1, 0, -2, 0, 0, 1, -3, 0, 0, 0, 1}, inverse));
}

TEST(InvertRotationTranslationMatrix, InvertsRigidTransforms) {
    Random random(9);
    for (int pass = 0; pass < 50; ++pass) {
        float n[7];
        for (float& number : n) {
            number = random.between(-3.0f, 3.0f);
        }
        Transform m = rigid(n[0], n[1], n[2], n[3], n[4], n[5], n[6]);
        const Transform before = m;
        Transform inverse;
        invertRotationTranslationMatrix(m.m, inverse.m);
        EXPECT_TRUE(same(before, m));
        EXPECT_TRUE(inverse.framed());
        EXPECT_LT(deviation(m, inverse), 1e-5);
        invertRotationTranslationMatrix(m.m, m.m); // in place
        EXPECT_TRUE(same(inverse, m));
    }
}

TEST(InvertRotationTranslationMatrix, TakesTheTransposeWhateverThePartIs) {
    Transform m{1, 2, 3, 10, 4, 5, 6, 20, 7, 8, 9, 30, 0, 0, 0, 1};
    Transform inverse;
    invertRotationTranslationMatrix(m.m, inverse.m);
    EXPECT_TRUE(same({1, 4, 7, -300, 2, 5, 8, -360, 3, 6, 9, -420, 0, 0, 0, 1}, inverse));
}

TEST(InvertRotationTranslationMatrix, CarriesRowThreeIntoColumnThree) {
    Transform m = identity;
    m.m[3][0] = 5.0f;
    m.m[3][3] = 2.0f;
    Transform inverse;
    invertRotationTranslationMatrix(m.m, inverse.m);
    EXPECT_TRUE(same({1, 0, 0, 5, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 2}, inverse));
}
