// Every form of the sums along and across rows against their definition, bit for bit.

#include "numerics/rows.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "numerics/cpu.h"
#include "numerics/x86/rows_kernels.h"
#include "tests/support/bits.h"

using numerics::InstructionSet;
using support::GuardedMatrix;
using support::GuardedVector;
using support::Random;
using support::Rows;
using support::same_bits;

namespace {

struct Form {
    const char* name;
    InstructionSet needs;
    void (*products)(const float* const*, int, const float* const*, int, int, float* const*);
    void (*sums)(const float* const*, int, int, float*);
    void (*combine)(const float*, const float* const*, int, int, float*);
    void (*subtract)(const float*, const float*, const float* const*, int, int, float*);
};

std::vector<Form> forms() {
    std::vector<Form> all{{"the chosen one", InstructionSet::baseline, numerics::row_products, numerics::row_sums,
                           numerics::combine_rows, numerics::subtract_combination}};
#ifdef ORIDAN_X86_KERNELS
    namespace avx2 = numerics::rows_avx2;
    namespace avx512 = numerics::rows_avx512;
    all.push_back({"avx2", InstructionSet::avx2, avx2::row_products, avx2::row_sums, avx2::combine_rows,
                   avx2::subtract_combination});
    all.push_back({"avx512", InstructionSet::avx512, avx512::row_products, avx512::row_sums, avx512::combine_rows,
                   avx512::subtract_combination});
#endif
    while (all.back().needs > numerics::instruction_set()) {
        all.pop_back(); // this processor cannot run it
    }
    return all;
}

// Rows that start at every distance from a multiple of a vector, with odd values among them.
Rows values(int rows, int length, Random& random) {
    const float odd[] = {0.0f,
                         -0.0f,
                         std::numeric_limits<float>::denorm_min(),
                         std::numeric_limits<float>::infinity(),
                         std::numeric_limits<float>::quiet_NaN(),
                         std::numeric_limits<float>::max(),
                         1e-30f};
    Rows result = support::make_rows(rows, length);
    const bool hostile = random.below(3) == 0;
    for (std::vector<float>& row : result) {
        for (float& value : row) {
            value = hostile && random.below(40) == 0 ? odd[random.below(7)] : random.between(-2.0f, 2.0f);
        }
    }
    return result;
}

float product(const std::vector<float>& x, const std::vector<float>& y) {
    volatile float sum = 0.0f;
    for (std::size_t k = 0; k < x.size(); ++k) {
        const volatile float term = x[k] * y[k];
        sum = sum + term;
    }
    return sum;
}

} // namespace

TEST(RowProducts, EveryFormSumsEachProductAscending) {
    Random random(41);
    for (int n = 1; n <= 70; ++n) {
        const int rowsB = 1 + random.below(37);
        const int length = 1 + random.below(200);
        const Rows a = values(n, length, random);
        const Rows b = values(rowsB, length, random);
        GuardedMatrix left(0, a);
        GuardedMatrix right(0, b);
        for (const Form& form : forms()) {
            GuardedMatrix c(0, n, rowsB);
            form.products(left.handle(), n, right.handle(), rowsB, length, c.handle());
            for (int i = 0; i < n; ++i) {
                for (int j = 0; j < rowsB; ++j) {
                    const std::size_t row = static_cast<std::size_t>(i);
                    ASSERT_TRUE(same_bits(product(a[row], b[static_cast<std::size_t>(j)]), c(i, j)))
                        << form.name << ' ' << n << 'x' << rowsB << " over " << length << " [" << i << "][" << j << ']';
                }
            }
            EXPECT_TRUE(c.frame_untouched());
        }
    }
}

TEST(RowProducts, WithoutTermsNothingIsWritten) {
    GuardedMatrix a(0, 2, 2);
    GuardedMatrix c(0, 2, 2);
    numerics::row_products(a.handle(), 2, a.handle(), 2, 0, c.handle());
    EXPECT_TRUE(c.untouched());
}

TEST(RowSums, EveryFormSumsAscending) {
    Random random(42);
    for (int n = 1; n <= 70; ++n) {
        const int length = random.below(300);
        const Rows a = values(n, length, random);
        GuardedMatrix rows(0, a);
        for (const Form& form : forms()) {
            GuardedVector sums(0, n);
            form.sums(rows.handle(), n, length, sums.handle());
            for (int i = 0; i < n; ++i) {
                volatile float sum = 0.0f;
                for (const float value : a[static_cast<std::size_t>(i)]) {
                    sum = sum + value;
                }
                ASSERT_TRUE(same_bits(sum, sums[i])) << form.name << ", row " << i << " of " << n;
            }
            EXPECT_TRUE(sums.frame_untouched());
        }
    }
}

TEST(CombineRows, EveryFormAddsTheRowsInTheirOrder) {
    Random random(43);
    for (int length = 1; length <= 200; ++length) {
        const int count = random.below(20);
        const Rows rows = values(count, length, random);
        const Rows weights = values(1, count, random);
        GuardedMatrix given(0, rows);
        for (const Form& form : forms()) {
            GuardedVector result(0, length);
            form.combine(weights[0].data(), given.handle(), count, length, result.handle());
            for (int j = 0; j < length; ++j) {
                volatile float sum = 0.0f;
                for (int k = 0; k < count; ++k) {
                    const std::size_t row = static_cast<std::size_t>(k);
                    const volatile float term = weights[0][row] * rows[row][static_cast<std::size_t>(j)];
                    sum = sum + term;
                }
                ASSERT_TRUE(same_bits(sum, result[j])) << form.name << ", element " << j << " of " << length;
            }
            EXPECT_TRUE(result.frame_untouched());
        }
    }
}

TEST(SubtractCombination, EveryFormTakesTheRowsAwayInTheirOrder) {
    Random random(44);
    for (int length = 1; length <= 200; ++length) {
        const int count = random.below(20);
        const Rows rows = values(count, length, random);
        const Rows weights = values(1, count, random);
        const Rows from = values(1, length, random);
        GuardedMatrix given(0, rows);
        for (const Form& form : forms()) {
            GuardedVector result(0, length);
            form.subtract(from[0].data(), weights[0].data(), given.handle(), count, length, result.handle());
            for (int j = 0; j < length; ++j) {
                const std::size_t at = static_cast<std::size_t>(j);
                volatile float rest = from[0][at];
                for (std::size_t k = 0; k < rows.size(); ++k) {
                    const volatile float term = weights[0][k] * rows[k][at];
                    rest = rest - term;
                }
                ASSERT_TRUE(same_bits(rest, result[j])) << form.name << ", element " << j << " of " << length;
            }
            EXPECT_TRUE(result.frame_untouched());
        }
    }
}
