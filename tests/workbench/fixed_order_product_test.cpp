#include "workbench/fixed_order_product.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "numerics/cpu.h"
#include "tests/support/bits.h"
#include "workbench/product_kernels.h"

using numerics::InstructionSet;
using workbench::Factor;

namespace {

template <class T>
struct Problem {
    int m;
    int n;
    int k;
    bool transA;
    bool transB;
    std::vector<T> a;
    std::vector<T> b;

    // Element (i, l) of op(a) and (l, j) of op(b).
    T left(int i, int l) const { return a[static_cast<std::size_t>(transA ? l * m + i : i * k + l)]; }
    T right(int l, int j) const { return b[static_cast<std::size_t>(transB ? j * k + l : l * n + j)]; }
};

// The definition: one sum after the other, ascending, each product rounded.
template <class T>
std::vector<T> plain(const Problem<T>& p) {
    std::vector<T> c;
    for (int i = 0; i < p.m; ++i) {
        for (int j = 0; j < p.n; ++j) {
            double sum = 0.0;
            for (int l = 0; l < p.k; ++l) {
                const volatile double product = static_cast<double>(p.left(i, l)) * static_cast<double>(p.right(l, j));
                sum = sum + product;
            }
            c.push_back(static_cast<T>(sum));
        }
    }
    return c;
}

template <class T>
testing::AssertionResult same(const std::vector<T>& expected, const std::vector<T>& found) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const bool bothNan = std::isnan(expected[i]) && std::isnan(found[i]);
        if (!bothNan && std::memcmp(&expected[i], &found[i], sizeof(T)) != 0) {
            return testing::AssertionFailure()
                   << "element " << i << ": expected " << expected[i] << ", got " << found[i];
        }
    }
    return testing::AssertionSuccess();
}

struct Kernel {
    const char* name;
    InstructionSet needs;
    long (*work_size)(int, int);
    void (*doubles)(const Factor<double>&, const Factor<double>&, int, int, int, double*, double*);
    void (*floats)(const Factor<float>&, const Factor<float>&, int, int, int, float*, double*);

    void run(const Factor<double>& a, const Factor<double>& b, int m, int n, int k, double* c, double* work) const {
        doubles(a, b, m, n, k, c, work);
    }
    void run(const Factor<float>& a, const Factor<float>& b, int m, int n, int k, float* c, double* work) const {
        floats(a, b, m, n, k, c, work);
    }
};

#define KERNEL(name, set)                                                                                              \
    Kernel {                                                                                                           \
#name, set, workbench::name::work_size, workbench::name::multiply_doubles, workbench::name::multiply_floats    \
    }

std::vector<Kernel> kernels() {
    std::vector<Kernel> all{KERNEL(product_baseline, InstructionSet::baseline)};
#ifdef ORIDAN_X86_KERNELS
    all.push_back(KERNEL(product_avx2, InstructionSet::avx2));
    all.push_back(KERNEL(product_avx512, InstructionSet::avx512));
#endif
    while (all.back().needs > numerics::instruction_set()) {
        all.pop_back(); // this processor cannot run it
    }
    return all;
}

template <class T>
void expect_every_kernel_matches(const Problem<T>& p) {
    const std::vector<T> expected = plain(p);
    const Factor<T> left = p.transA ? Factor<T>{p.a.data(), 1, p.m} : Factor<T>{p.a.data(), p.k, 1};
    const Factor<T> right = p.transB ? Factor<T>{p.b.data(), p.k, 1} : Factor<T>{p.b.data(), 1, p.n};
    for (const Kernel& kernel : kernels()) {
        std::vector<double> work(static_cast<std::size_t>(kernel.work_size(p.m, p.n)),
                                 std::numeric_limits<double>::quiet_NaN());
        std::vector<T> c(expected.size());
        kernel.run(left, right, p.m, p.n, p.k, c.data(), work.data());
        EXPECT_TRUE(same(expected, c)) << kernel.name << ' ' << p.m << " x " << p.n << " over " << p.k;
        if (p.transB && !p.transA && p.m == p.n) {
            Problem<T> square = p;
            square.b = p.a;
            kernel.run(left, left, p.m, p.n, p.k, c.data(), work.data());
            EXPECT_TRUE(same(plain(square), c)) << kernel.name << " of one matrix, " << p.m << " over " << p.k;
        }
    }
    std::vector<T> c(expected.size());
    workbench::fixed_order_product(p.a.data(), p.b.data(), c.data(), p.m, p.n, p.k, p.transA, p.transB);
    EXPECT_TRUE(same(expected, c)) << "chosen kernel";
}

enum class Values { floats, doubles, hostile };

template <class T>
T value(support::Random& random, Values kind) {
    const double wide =
        static_cast<double>(random.between(-1.0f, 1.0f)) + static_cast<double>(random.next() >> 40) * 0x1p-50;
    if (kind == Values::hostile && random.below(6) == 0) {
        const T odd[] = {T{0},
                         T(-0.0),
                         std::numeric_limits<T>::denorm_min(),
                         std::numeric_limits<T>::max(),
                         -std::numeric_limits<T>::min(),
                         std::numeric_limits<T>::infinity(),
                         std::numeric_limits<T>::quiet_NaN()};
        return odd[random.below(random.below(4) == 0 ? 7 : 5)];
    }
    return static_cast<T>(kind == Values::floats ? static_cast<double>(static_cast<float>(wide)) : wide);
}

template <class T>
Problem<T> problem(support::Random& random, int m, int n, int k, bool transA, bool transB, Values kind) {
    Problem<T> p{m, n, k, transA, transB, {}, {}};
    for (int i = 0; i < m * k; ++i) {
        p.a.push_back(value<T>(random, kind));
    }
    for (int i = 0; i < n * k; ++i) {
        p.b.push_back(value<T>(random, kind));
    }
    return p;
}

} // namespace

TEST(FixedOrderProduct, EverySizeHasTheBitsOfTheDefinition) {
    support::Random random(1);
    for (int n = 1; n <= 70; ++n) {
        for (const Values kind : {Values::floats, Values::doubles, Values::hostile}) {
            expect_every_kernel_matches(problem<double>(random, n, n, 1 + random.below(40), false, true, kind));
            expect_every_kernel_matches(problem<double>(random, 1 + random.below(70), n, 1 + random.below(40),
                                                        random.below(2) == 0, random.below(2) == 0, kind));
            expect_every_kernel_matches(problem<float>(random, 1 + random.below(40), n, 1 + random.below(40),
                                                       random.below(2) == 0, random.below(2) == 0, kind));
        }
    }
}

TEST(FixedOrderProduct, LongSumsAreCarriedFromBlockToBlock) {
    support::Random random(2);
    for (const Values kind : {Values::floats, Values::doubles}) {
        expect_every_kernel_matches(problem<double>(random, 30, 30, 2345, false, true, kind));
        expect_every_kernel_matches(problem<double>(random, 9, 130, 1025, true, false, kind));
        expect_every_kernel_matches(problem<float>(random, 3, 5, 3000, false, true, kind));
    }
}

TEST(FixedOrderProduct, ProductsThatAreNotExactAreRoundedBeforeTheyAreAdded) {
    // (1 + 2^-40)^2 - (1 + 2^-39) is 2^-80 exactly; rounding the product first leaves 0.
    const double x = 1.0 + 0x1p-40;
    const double a[2] = {-1.0, x};
    const double b[2] = {1.0 + 0x1p-39, x};
    double c = -1.0;
    workbench::fixed_order_product(a, b, &c, 1, 1, 2, false, true);
    EXPECT_EQ(c, 0.0);
}

TEST(FixedOrderProduct, EmptyProductsWriteZerosOrNothing) {
    double c[4] = {7.0, 7.0, 7.0, 7.0};
    const double a[1] = {1.0};
    workbench::fixed_order_product(a, a, c, 0, 3, 1, false, false);
    workbench::fixed_order_product(a, a, c, 3, -1, 1, false, false);
    EXPECT_EQ(c[0], 7.0);
    workbench::fixed_order_product(a, a, c, 1, 3, 0, false, false);
    EXPECT_EQ(c[0], 0.0);
    EXPECT_EQ(c[2], 0.0);
    EXPECT_EQ(c[3], 7.0);
}
