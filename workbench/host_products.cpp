#include "workbench/host_products.h"

#include <cblas.h>

#include "workbench/fixed_order_product.h"

namespace {

using workbench::Product;

Product chosen = Product::fixedOrder;

void gemm(CBLAS_TRANSPOSE ta, CBLAS_TRANSPOSE tb, int m, int n, int k, const float* a, int lda, const float* b, int ldb,
          float* c) {
    cblas_sgemm(CblasRowMajor, ta, tb, m, n, k, 1.0f, a, lda, b, ldb, 0.0f, c, n);
}

void gemm(CBLAS_TRANSPOSE ta, CBLAS_TRANSPOSE tb, int m, int n, int k, const double* a, int lda, const double* b,
          int ldb, double* c) {
    cblas_dgemm(CblasRowMajor, ta, tb, m, n, k, 1.0, a, lda, b, ldb, 0.0, c, n);
}

template <class T>
void product(const T* a, const T* b, T* c, int m, int n, int k, bool transA, bool transB) {
    if (chosen == Product::fixedOrder || m <= 0 || n <= 0 || k <= 0) {
        workbench::fixed_order_product(a, b, c, m, n, k, transA, transB);
    } else {
        gemm(transA ? CblasTrans : CblasNoTrans, transB ? CblasTrans : CblasNoTrans, m, n, k, a, transA ? m : k, b,
             transB ? k : n, c);
    }
}

} // namespace

namespace workbench {

void use_product(Product product) {
    chosen = product;
    openblas_set_num_threads(1); // so that results do not depend on the number of cores
}

} // namespace workbench

void nv_intel_matrix_matrix_mult_f(const float* a, const float* b, float* c, int m, int n, int k, int transA,
                                   int transB) {
    product(a, b, c, m, n, k, transA != 0, transB != 0);
}

void nv_intel_matrix_matrix_mult_d(const double* a, const double* b, double* c, int m, int n, int k, int transA,
                                   int transB) {
    product(a, b, c, m, n, k, transA != 0, transB != 0);
}

void nv_intel_matrix_vector_mult_f(const float* a, const float* x, float* y, int m, int n, int transA) {
    product(a, x, y, m, 1, n, transA != 0, false);
}

void nv_intel_matrix_vector_mult_d(const double* a, const double* x, double* y, int m, int n, int transA) {
    product(a, x, y, m, 1, n, transA != 0, false);
}
