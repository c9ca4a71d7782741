#pragma once

/// The matrix products that the workbench offers to modules, dense and row-major, with 32-bit transpose flags.
namespace workbench {

enum class Product {
    fixedOrder, ///< every sum in one order: the same bits on every machine
    blas        ///< the installed BLAS on one thread: the last bits depend on the processor
};

void use_product(Product product);

} // namespace workbench

extern "C" {
/// c = op(a) op(b), c m x n; op(a) is m x k (stored k x m when transA is 1), op(b) is k x n (stored n x k when transB
/// is 1).
[[gnu::visibility("default")]] void nv_intel_matrix_matrix_mult_f(const float* a, const float* b, float* c, int m,
                                                                  int n, int k, int transA, int transB);
[[gnu::visibility("default")]] void nv_intel_matrix_matrix_mult_d(const double* a, const double* b, double* c, int m,
                                                                  int n, int k, int transA, int transB);

/// y = op(a) x, y of m elements, x of n; op(a) is m x n (stored n x m when transA is 1).
[[gnu::visibility("default")]] void nv_intel_matrix_vector_mult_f(const float* a, const float* x, float* y, int m,
                                                                  int n, int transA);
[[gnu::visibility("default")]] void nv_intel_matrix_vector_mult_d(const double* a, const double* x, double* y, int m,
                                                                  int n, int transA);
}
