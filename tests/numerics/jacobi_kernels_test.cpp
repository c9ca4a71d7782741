// The vector forms of jacobi against the plain definition, bit for bit.

#include "numerics/x86/jacobi_kernels.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "numerics/cpu.h"
#include "numerics/eigen.h"
#include "tests/numerics/plain_jacobi.h"
#include "tests/numerics/test_matrices.h"
#include "tests/support/allocation_probe.h"
#include "tests/support/bits.h"

using numerics::InstructionSet;
using support::GuardedMatrix;
using support::GuardedVector;
using support::Random;
using support::Rows;

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

struct Kernel {
    const char* name;
    InstructionSet needs;
    int (*jacobi)(float** a, int n, float* d, float** v, int* nrot);
};

std::vector<Kernel> kernels_that_run_here() {
    std::vector<Kernel> all;
#ifdef ORIDAN_X86_KERNELS
    for (const Kernel& kernel : {Kernel{"avx2", InstructionSet::avx2, kernels::jacobi_avx2},
                                 Kernel{"avx512", InstructionSet::avx512, kernels::jacobi_avx512}}) {
        if (kernel.needs <= numerics::instruction_set()) {
            all.push_back(kernel);
        }
    }
#endif
    return all;
}

void set_pair(Rows& a, int i, int j, float value) {
    a[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] = value;
    a[static_cast<std::size_t>(j)][static_cast<std::size_t>(i)] = value;
}

// A symmetric matrix, one-based, element by element.
Rows symmetric(int n, const std::function<float(int, int)>& element) {
    Rows a = support::make_rows(n + 1, n + 1);
    for (int i = 1; i <= n; ++i) {
        for (int j = i; j <= n; ++j) {
            set_pair(a, i, j, element(i, j));
        }
    }
    return a;
}

// Covariance of epochs that repeat three shapes, with noise: what a removal run decomposes.
Rows epochs(int n, float noise, Random& random) {
    constexpr int length = 120;
    std::vector<std::vector<double>> rows;
    for (int i = 0; i < n; ++i) {
        const double first = 1.0 + static_cast<double>(random.between(-0.05f, 0.05f));
        const double second = static_cast<double>(random.between(-0.2f, 0.2f));
        const double third = static_cast<double>(random.between(-1.0f, 1.0f));
        std::vector<double> row;
        for (int j = 0; j < length; ++j) {
            row.push_back(first * 1000.0 * std::sin(j * 0.3) * std::exp(-j / 100.0) +
                          second * 300.0 * std::cos(j * 0.11) + third * 80.0 * std::sin(j * 0.7) +
                          static_cast<double>(noise * random.between(-1.0f, 1.0f)));
        }
        rows.push_back(row);
    }
    return symmetric(n, [&](int i, int j) {
        double sum = 0.0;
        for (std::size_t k = 0; k < length; ++k) {
            sum += rows[static_cast<std::size_t>(i - 1)][k] * rows[static_cast<std::size_t>(j - 1)][k];
        }
        return static_cast<float>(sum / length);
    });
}

struct Kind {
    const char* name;
    std::function<Rows(int, Random&)> make;
};

std::vector<Kind> kinds() {
    const auto each = [](auto value) {
        return
            [value](int n, Random& random) { return symmetric(n, [&](int i, int j) { return value(i, j, random); }); };
    };
    const auto one_of = [](int n, Random& random) { return 1 + random.below(n); };
    return {
        {"noisy epochs", [](int n, Random& random) { return epochs(n, 30.0f, random); }},
        {"epochs of rank three", [](int n, Random& random) { return epochs(n, 0.0f, random); }},
        {"random", each([](int, int, Random& r) { return r.between(-1.0f, 1.0f); })},
        {"forty powers of ten",
         each([](int, int, Random& r) { return r.between(-1.0f, 1.0f) * std::pow(10.0f, r.between(-20.0f, 20.0f)); })},
        {"up to overflow",
         each([](int, int, Random& r) { return r.between(-1.0f, 1.0f) * std::ldexp(1.0f, r.below(250) - 125); })},
        {"denormal", each([](int, int, Random& r) { return r.between(-1.0f, 1.0f) * 1e-38f; })},
        {"the largest", each([](int, int, Random& r) { return r.between(-1.0f, 1.0f) * 3e38f; })},
        {"zeros of both signs", each([](int, int, Random& r) {
             return r.below(3) == 0 ? r.between(-1.0f, 1.0f) : r.below(2) == 0 ? 0.0f : -0.0f;
         })},
        {"all equal", each([](int, int, Random&) { return 1.5f; })},
        {"diagonal", each([](int i, int j, Random& r) {
             return i == j ? r.between(-1.0f, 1.0f) : r.below(2) == 0 ? 0.0f : -0.0f;
         })},
        {"in blocks",
         each([](int i, int j, Random& r) { return (i - 1) / 7 == (j - 1) / 7 ? r.between(-1.0f, 1.0f) : 0.0f; })},
        {"small whole numbers", each([](int, int, Random& r) { return static_cast<float>(r.below(5) - 2); })},
        {"graded",
         each([](int i, int j, Random& r) { return r.between(-1.0f, 1.0f) * std::ldexp(1.0f, -(i + j) / 2); })},
        {"nearly diagonal", each([](int i, int j, Random& r) {
             return i == j ? static_cast<float>(i) : r.below(4) == 0 ? 1e-6f : 0.0f;
         })},
        {"one NaN",
         [one_of](int n, Random& random) {
             Rows a = symmetric(n, [&](int, int) { return random.between(-1.0f, 1.0f); });
             set_pair(a, one_of(n, random), one_of(n, random), std::numeric_limits<float>::quiet_NaN());
             return a;
         }},
        {"infinities",
         [one_of](int n, Random& random) {
             Rows a = symmetric(n, [&](int, int) { return random.between(-1.0f, 1.0f); });
             for (int k = 0; k < 1 + n / 20; ++k) {
                 set_pair(a, one_of(n, random), one_of(n, random), random.below(2) == 0 ? infinity : -infinity);
             }
             return a;
         }},
    };
}

void expect_the_bits_of_the_definition(const Rows& given, int n, const std::string& what) {
    const plain::Eigen expected = plain::jacobi(given, n);
    for (const Kernel& kernel : kernels_that_run_here()) {
        SCOPED_TRACE(what + ", order " + std::to_string(n) + ", " + kernel.name);
        GuardedMatrix a(1, given);
        GuardedMatrix v(1, n, n);
        GuardedVector d(1, n);
        int nrot = -1;
        ASSERT_EQ(kernel.jacobi(a.handle(), n, d.handle(), v.handle(), &nrot), expected.result);
        EXPECT_EQ(nrot, expected.nrot);
        ASSERT_TRUE(support::same_bits(expected.a, a.values(), 1, n, n));
        ASSERT_TRUE(support::same_bits(expected.v, v.values(), 1, n, n));
        ASSERT_TRUE(support::same_bits(expected.d.data(), d.handle(), 1, n));
        EXPECT_TRUE(a.frame_untouched());
        EXPECT_TRUE(v.frame_untouched());
        EXPECT_TRUE(d.frame_untouched());
    }
}

} // namespace

TEST(JacobiKernels, EveryKindOfMatrixHasTheBitsOfTheDefinition) {
    for (const Kind& kind : kinds()) {
        Random random(31);
        for (int n = 1; n <= 70; n += n < 36 ? 1 : 3) {
            expect_the_bits_of_the_definition(kind.make(n, random), n, kind.name);
        }
    }
}

TEST(JacobiKernels, LargeMatricesHaveTheBitsOfTheDefinition) {
    Random random(32);
    for (const int n : {97, 100, 129}) {
        expect_the_bits_of_the_definition(epochs(n, 30.0f, random), n, "noisy epochs");
    }
}

TEST(JacobiKernels, TheFiftiethSweepIsTheLast) {
    for (const test_matrices::Stubborn& matrix : test_matrices::stubbornOnes) {
        for (const auto& [order, first, step] : {std::array{8, 0, 1}, std::array{19, 3, 2}, std::array{50, 6, 5}}) {
            const Rows a = test_matrices::stubborn(matrix.signs, order, first, step);
            expect_the_bits_of_the_definition(test_matrices::one_based(a), order,
                                              std::to_string(matrix.sweeps) + " sweeps");
        }
    }
    // Elements everywhere, so that waves go over them, without an end.
    Random random(33);
    for (const int order : {12, 24, 37}) {
        std::string signs;
        for (int i = 0; i < order * (order - 1) / 2; ++i) {
            signs += "+-0"[random.below(3)];
        }
        const Rows a = test_matrices::one_based(test_matrices::stubborn(signs, order));
        ASSERT_EQ(plain::jacobi(a, order, 60).result, 0);
        expect_the_bits_of_the_definition(a, order, "without an end");
    }
}

#ifdef ORIDAN_X86_KERNELS
TEST(JacobiKernels, WithoutTheirStorageTheyTouchNothingAndThePlainLoopDoesIt) {
    Random random(34);
    constexpr int n = 12;
    const Rows given = epochs(n, 30.0f, random);
    for (const Kernel& kernel : kernels_that_run_here()) {
        SCOPED_TRACE(kernel.name);
        GuardedMatrix a(1, given);
        GuardedMatrix v(1, n, n);
        GuardedVector d(1, n);
        int nrot = -1;
        int result = 0;
        {
            const AllocationProbe probe(0);
            result = kernel.jacobi(a.handle(), n, d.handle(), v.handle(), &nrot);
            EXPECT_EQ(probe.calls(), 1);
        }
        EXPECT_EQ(result, kernels::noStorage);
        EXPECT_TRUE(support::same_bits(given, a.values(), 1, n, n));
        EXPECT_TRUE(v.untouched());
        EXPECT_TRUE(d.untouched());
        EXPECT_EQ(nrot, -1);

        const plain::Eigen expected = plain::jacobi(given, n);
        {
            const AllocationProbe probe(0);
            result = jacobi(a.handle(), n, d.handle(), v.handle(), &nrot);
            EXPECT_EQ(probe.calls(), 3); // and the two vectors of the plain loop
        }
        EXPECT_EQ(result, 1);
        EXPECT_EQ(nrot, expected.nrot);
        EXPECT_TRUE(support::same_bits(expected.a, a.values(), 1, n, n));
        EXPECT_TRUE(support::same_bits(expected.v, v.values(), 1, n, n));
        EXPECT_TRUE(support::same_bits(expected.d.data(), d.handle(), 1, n));
    }
}
#endif

TEST(JacobiKernels, OneOfThemRunsWhereTheProcessorHasIt) {
    const std::size_t expected = numerics::instruction_set() == InstructionSet::avx512 ? 2U
                                 : numerics::instruction_set() == InstructionSet::avx2 ? 1U
                                                                                       : 0U;
    EXPECT_EQ(kernels_that_run_here().size(), expected);
}
