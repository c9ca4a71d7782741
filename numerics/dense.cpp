#include "numerics/dense.h"

#include <algorithm>

#include "numerics/rows.h"

// The order of every sum below is part of the interface: results are compared bit for bit.
// An inner count of 0 or less writes nothing either, not zeros.

void matrix_matrix_mult(float** a, float** b, float** c, int m, int n, int p) {
    if (n <= 0) {
        return;
    }
    for (int i = 0; i < m; ++i) {
        numerics::combine_rows(a[i], b, n, p, c[i]);
    }
}

void matrix_matrix_mult_block(float** a, float** b, float** c, int nblocks, int n, int bs) {
    if (n <= 0) {
        return;
    }
    for (int q = 0; q < nblocks; ++q) {
        const long off = static_cast<long>(q) * bs;
        for (int i = 0; i < bs; ++i) {
            for (int j = 0; j < bs; ++j) {
                float sum = 0.0f;
                for (int k = 0; k < n; ++k) {
                    sum += a[off + i][k] * b[k][off + j];
                }
                c[off + i][j] = sum;
            }
        }
    }
}

void transposematrix_matrix_mult(float** a, float** c, int n, int m) {
    if (m <= 0) {
        return;
    }
    // By bands of rows up to the diagonal, which saves most of the upper triangle's sums. Those in a band are copied
    // over, too: of two NaNs in a product a sum may keep the one here and the other there.
    constexpr int band = 16;
    for (int from = 0, to = 0; from < n; from = to) {
        to = n - from > band ? from + band : n;
        numerics::row_products(a + from, to - from, a, to, m, c + from);
        for (int j = 0; j < to; ++j) {
            for (int i = std::max(from, j + 1); i < to; ++i) {
                c[j][i] = c[i][j];
            }
        }
    }
}

// Stands where a general product with transpose flags was expected: b, n and the flags are accepted, not used.
void fast_matrix_matrix_mult(float** a, float**, float** c, int m, int, int p, bool, bool) {
    transposematrix_matrix_mult(a, c, m, p);
}

void matrix_vector_mult(float** a, float* x, float* y, int m, int n) {
    if (n <= 0) {
        return;
    }
    int i = 0;
    for (; i + 8L <= m; i += 8) {
        float sums[8] = {};
        for (int k = 0; k < n; ++k) {
#pragma GCC unroll 8
            for (int r = 0; r < 8; ++r) {
                sums[r] += a[i + r][k] * x[k];
            }
        }
        std::copy_n(sums, 8, y + i);
    }
    for (; i < m; ++i) {
        y[i] = vector_vector_mult(a[i], x, n);
    }
}

void fast_matrix_vector_mult(float** a, float* x, float* y, int m, int n) {
    matrix_vector_mult(a, x, y, m, n);
}

float vector_vector_mult(float* x, float* y, int n) {
    float sum = 0.0f;
    for (int k = 0; k < n; ++k) {
        sum += x[k] * y[k];
    }
    return sum;
}

void matrix_transpose(float** a, float** at, int m, int n) {
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            at[j][i] = a[i][j];
        }
    }
}

void diagmatrix_matrix_mult(float* d, float** a, int m, int n) {
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            a[i][j] *= d[i];
        }
    }
}

void copy_matrix(float** src, float** dst, int rows, int cols, int mode) {
    if (mode < 0 || mode > 3) {
        return;
    }
    const int srcBase = (mode == 1 || mode == 3) ? 1 : 0;
    const int dstBase = (mode == 1 || mode == 2) ? 1 : 0;
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            dst[dstBase + i][dstBase + j] = src[srcBase + i][srcBase + j];
        }
    }
}
