#include "workbench/host_products.h"

#include <cblas.h>

#include <algorithm>
#include <cstddef>

namespace {

bool usePlain = false;

// Element (row, column) of a matrix with the given number of columns, or of its transpose.
template <class T>
T element(const T* a, int rows, int columns, int row, int column, bool transposed) {
    const auto at =
        transposed
            ? static_cast<std::size_t>(column) * static_cast<std::size_t>(rows) + static_cast<std::size_t>(row)
            : static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) + static_cast<std::size_t>(column);
    return a[at];
}

// The definition: every sum in double, its index ascending.
template <class T>
void plain_product(const T* a, const T* b, T* c, int m, int n, int k, bool transA, bool transB) {
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            double sum = 0.0;
            for (int l = 0; l < k; ++l) {
                sum += static_cast<double>(element(a, m, k, i, l, transA)) *
                       static_cast<double>(element(b, k, n, l, j, transB));
            }
            c[static_cast<std::size_t>(i) * static_cast<std::size_t>(n) + static_cast<std::size_t>(j)] =
                static_cast<T>(sum);
        }
    }
}

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
    if (m <= 0 || n <= 0) {
        return;
    }
    if (k <= 0) {
        std::fill_n(c, static_cast<std::size_t>(m) * static_cast<std::size_t>(n), T{});
    } else if (usePlain) {
        plain_product(a, b, c, m, n, k, transA, transB);
    } else {
        gemm(transA ? CblasTrans : CblasNoTrans, transB ? CblasTrans : CblasNoTrans, m, n, k, a, transA ? m : k, b,
             transB ? k : n, c);
    }
}

} // namespace

namespace workbench {

void use_product(Product product) {
    usePlain = product == Product::plain;
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
