#pragma once

/// The sums of numerics/rows.h for processors with AVX2 and with AVX-512: the same bits, but which NaN stands for a NaN
/// is left open.
namespace numerics {

#define ORIDAN_ROWS_KERNEL(name)                                                                                       \
    namespace name {                                                                                                   \
    void row_products(const float* const* a, int rowsA, const float* const* b, int rowsB, int length,                  \
                      float* const* c);                                                                                \
    void row_sums(const float* const* a, int rowsA, int length, float* result);                                        \
    void combine_rows(const float* weights, const float* const* rows, int count, int length, float* result);           \
    void subtract_combination(const float* given, const float* weights, const float* const* rows, int count,           \
                              int length, float* result);                                                              \
    }

ORIDAN_ROWS_KERNEL(rows_avx2)
ORIDAN_ROWS_KERNEL(rows_avx512)

#undef ORIDAN_ROWS_KERNEL

} // namespace numerics
