#pragma once

/// The kernels of the fixed-order product, one for each instruction set. They differ in speed, not in one bit.
namespace workbench {

/// One factor of a product: line i, term k stands at values[i * lineStride + k * termStride].
template <class T>
struct Factor {
    const T* values;
    long lineStride;
    long termStride;
};

/// Terms of every sum that are copied together for a product with this many columns: what fits the second-level cache.
constexpr int terms_per_block(int columns) {
    constexpr int doublesHeld = 16384;
    const int terms = doublesHeld / (columns < 1 ? 1 : columns);
    return terms < 64 ? 64 : terms > 1024 ? 1024 : terms;
}

#define ORIDAN_PRODUCT_KERNEL(name)                                                                                    \
    namespace name {                                                                                                   \
    /* Doubles of work space that an m by n product needs. */                                                          \
    long work_size(int m, int n);                                                                                      \
    void multiply_doubles(const Factor<double>& a, const Factor<double>& b, int m, int n, int k, double* c,            \
                          double* work);                                                                               \
    void multiply_floats(const Factor<float>& a, const Factor<float>& b, int m, int n, int k, float* c, double* work); \
    }

/// c[i * n + j] becomes the sum of a's line i times b's line j, i < m, j < n, over k terms.
ORIDAN_PRODUCT_KERNEL(product_baseline)
ORIDAN_PRODUCT_KERNEL(product_avx2)
ORIDAN_PRODUCT_KERNEL(product_avx512)

#undef ORIDAN_PRODUCT_KERNEL

} // namespace workbench
