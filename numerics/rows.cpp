#include "numerics/rows.h"

#include <algorithm>

#include "numerics/cpu.h"
#include "numerics/x86/rows_kernels.h"

namespace {

// Rows x Columns sums at once. One sum waits for its own last addition; the others fill the time.
template <int Rows, int Columns>
void tile(const float* const* a, const float* const* b, int length, float* const* c, int column) {
    float sums[Rows][Columns] = {};
    for (int k = 0; k < length; ++k) {
#pragma GCC unroll 4
        for (int i = 0; i < Rows; ++i) {
#pragma GCC unroll 4
            for (int j = 0; j < Columns; ++j) {
                sums[i][j] += a[i][k] * b[j][k];
            }
        }
    }
    for (int i = 0; i < Rows; ++i) {
        for (int j = 0; j < Columns; ++j) {
            c[i][column + j] = sums[i][j];
        }
    }
}

template <int Columns>
void tiles_below(const float* const* a, int rowsA, const float* const* b, int length, float* const* c, int column) {
    int i = 0;
    for (; i + 4L <= rowsA; i += 4) {
        tile<4, Columns>(a + i, b, length, c + i, column);
    }
    for (; i < rowsA; ++i) {
        tile<1, Columns>(a + i, b, length, c + i, column);
    }
}

void plain_row_products(const float* const* a, int rowsA, const float* const* b, int rowsB, int length,
                        float* const* c) {
    int j = 0;
    for (; j + 4L <= rowsB; j += 4) {
        tiles_below<4>(a, rowsA, b + j, length, c, j);
    }
    if (rowsB - j == 3) {
        tiles_below<3>(a, rowsA, b + j, length, c, j);
        return;
    }
    for (; j < rowsB; ++j) {
        tiles_below<1>(a, rowsA, b + j, length, c, j);
    }
}

void plain_row_sums(const float* const* a, int rows, int length, float* sums) {
    int i = 0;
    for (; i + 8L <= rows; i += 8) {
        float side[8] = {};
        for (int k = 0; k < length; ++k) {
#pragma GCC unroll 8
            for (int r = 0; r < 8; ++r) {
                side[r] += a[i + r][k];
            }
        }
        for (int r = 0; r < 8; ++r) {
            sums[i + r] = side[r];
        }
    }
    for (; i < rows; ++i) {
        sums[i] = 0.0f;
        for (int k = 0; k < length; ++k) {
            sums[i] += a[i][k];
        }
    }
}

// `Columns` elements of a combination, from column `from` on, their sums side by side.
template <int Columns>
void combine_columns(const float* weights, const float* const* rows, int count, int from, float* result) {
    float sums[Columns] = {};
    for (int k = 0; k < count; ++k) {
        const float weight = weights[k];
        const float* row = rows[k] + from;
        for (int j = 0; j < Columns; ++j) {
            sums[j] += weight * row[j];
        }
    }
    std::copy_n(sums, Columns, result + from);
}

void plain_combine_rows(const float* weights, const float* const* rows, int count, int length, float* result) {
    int j = 0;
    for (; j + 32L <= length; j += 32) {
        combine_columns<32>(weights, rows, count, j, result);
    }
    for (; j < length; ++j) {
        combine_columns<1>(weights, rows, count, j, result);
    }
}

void plain_subtract_combination(const float* given, const float* weights, const float* const* rows, int count,
                                int length, float* result) {
    constexpr int stretch = 1024; // elements that stay in the cache over all rows
    for (int from = 0, to = 0; from < length; from = to) {
        to = length - from > stretch ? from + stretch : length;
        std::copy(given + from, given + to, result + from);
        for (int k = 0; k < count; ++k) {
            const float weight = weights[k];
            const float* row = rows[k];
            for (int j = from; j < to; ++j) {
                result[j] -= weight * row[j];
            }
        }
    }
}

struct Kernel {
    decltype(&plain_row_products) products;
    decltype(&plain_row_sums) sums;
    decltype(&plain_combine_rows) combine;
    decltype(&plain_subtract_combination) subtract;
};

const Kernel& kernel() {
    static const Kernel best = [] {
#ifdef ORIDAN_X86_KERNELS
        if (numerics::instruction_set() == numerics::InstructionSet::avx512) {
            namespace k = numerics::rows_avx512;
            return Kernel{k::row_products, k::row_sums, k::combine_rows, k::subtract_combination};
        }
        if (numerics::instruction_set() == numerics::InstructionSet::avx2) {
            namespace k = numerics::rows_avx2;
            return Kernel{k::row_products, k::row_sums, k::combine_rows, k::subtract_combination};
        }
#endif
        return Kernel{plain_row_products, plain_row_sums, plain_combine_rows, plain_subtract_combination};
    }();
    return best;
}

} // namespace

namespace numerics {

void row_products(const float* const* a, int rowsA, const float* const* b, int rowsB, int length, float* const* c) {
    if (length > 0) {
        kernel().products(a, rowsA, b, rowsB, length, c);
    }
}

void row_sums(const float* const* a, int rows, int length, float* sums) {
    kernel().sums(a, rows, length, sums);
}

void combine_rows(const float* weights, const float* const* rows, int count, int length, float* result) {
    kernel().combine(weights, rows, count, length, result);
}

void subtract_combination(const float* given, const float* weights, const float* const* rows, int count, int length,
                          float* result) {
    kernel().subtract(given, weights, rows, count, length, result);
}

} // namespace numerics
