#include "numerics/inverse.h"

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <memory>

#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/eigen.h"
#include "numerics/plain_rows.h"
#include "numerics/scalars.h"
#include "numerics/svd.h"
#include "numerics/svd_state.h"
#include "stats/moments.h"
#include "stats/text_output.h"

namespace {

// Singular values and vectors of an n x n matrix, 1-based as svdcmp leaves them, and 0-based matrices to work with.
struct Decomposition {
    int n;
    float** u;
    float** v;
    float* w;
    float** work[3];
};

float** work_matrix(int n) {
    return matrix(0, n - 1L, 0, n - 1L);
}

// Asks for all memory first, in this order: u, v, w, the work matrices.
Decomposition decompose(float** a, int n) {
    Decomposition d{
        n, matrix(1, n, 1, n), matrix(1, n, 1, n), fvector(1, n), {work_matrix(n), work_matrix(n), work_matrix(n)}};
    copy_matrix(a, d.u, n, n, 2);
    svdcmp(d.u, n, n, d.w, d.v);
    return d;
}

float largest_value(const Decomposition& d) {
    float wmax = 0.0f;
    for (int i = 1; i <= d.n; ++i) {
        wmax = d.w[i] > wmax ? d.w[i] : wmax;
    }
    return wmax;
}

// result = V diag(w) U^T; releases the decomposition.
void compose_and_free(Decomposition& d, float** result) {
    const int n = d.n;
    const auto& [u, ut, v] = d.work;
    copy_matrix(d.u, u, n, n, 3);
    matrix_transpose(u, ut, n, n);
    diagmatrix_matrix_mult(d.w + 1, ut, n, n);
    copy_matrix(d.v, v, n, n, 3);
    matrix_matrix_mult(v, ut, result, n, n, n);
    for (float** each : d.work) {
        free_matrix(each, 0, n - 1L, 0, n - 1L);
    }
    free_fvector(d.w, 1, n);
    free_matrix(d.v, 1, n, 1, n);
    free_matrix(d.u, 1, n, 1, n);
}

// Cut-off of the truncated forms: the power is double, rounded to float before the float product.
float truncation_cutoff(const Decomposition& d, int exponent) {
    return static_cast<float>(std::pow(10.0, static_cast<double>(exponent))) * largest_value(d);
}

} // namespace

bool getInverseMatrixUsingSVD(float** a, float** ainv, int n, bool) {
    Decomposition d = decompose(a, n);
    if (NoConvergenceInSVD) {
        for (int i = 1; i <= n; ++i) {
            d.w[i] = std::fabs(d.w[i]);
        }
    }
    const float thresh = static_cast<float>(static_cast<double>(largest_value(d)) * 1e-6);
    for (int i = 1; i <= n; ++i) {
        d.w[i] = thresh > d.w[i] ? 0.0f : 1.0f / d.w[i]; // a value equal to the limit is inverted, 0 too
    }
    compose_and_free(d, ainv);
    return true;
}

// The truncated forms never look at NoConvergenceInSVD: they use the singular values exactly as svdcmp returned
// them, where getInverseMatrixUsingSVD takes magnitudes.
bool getRegInverseMatrixUsingTSVD(float** a, float** ainv, int n, int exponent) {
    Decomposition d = decompose(a, n);
    const float cutoff = truncation_cutoff(d, exponent);
    for (int i = 1; i <= n; ++i) {
        d.w[i] = cutoff >= d.w[i] ? 0.0f : 1.0f / d.w[i]; // a value equal to the limit is dropped
    }
    compose_and_free(d, ainv);
    return true;
}

bool getRegTransformedMatrixUsingTSVD(float** a, float** b, int n, int invert, int takeRoot, int exponent) {
    Decomposition d = decompose(a, n);
    const float cutoff = truncation_cutoff(d, exponent);
    for (int i = 1; i <= n; ++i) {
        if (!(cutoff < d.w[i])) {
            d.w[i] = 0.0f;
            continue;
        }
        if (invert != 0) {
            d.w[i] = static_cast<float>(1.0 / static_cast<double>(d.w[i]));
        }
        if (takeRoot != 0) {
            d.w[i] = numerics::root(d.w[i]);
        }
    }
    compose_and_free(d, b);
    return true;
}

bool invertMatrix(float** a, float** ainv, int n) {
    const std::unique_ptr<float[]> w(new float[static_cast<std::size_t>(n > 0 ? n : 0)]);
    const numerics::PlainRows rows(n);
    float** v = rows.rows();
    const bool converged = svdcmp_tarn(n, n, a, w.get(), v) == 1;
    if (converged) {
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                ainv[i][j] = 0.0f;
                for (int k = 0; k < n; ++k) {
                    if (w[static_cast<std::size_t>(k)] != 0.0f) {
                        ainv[i][j] += a[j][k] * v[i][k] / w[static_cast<std::size_t>(k)];
                    }
                }
            }
        }
    }
    return converged;
}

void getSQRTMatrix(float** a, int n) {
    constexpr int maxPasses = 10000;
    const long last = n - 1L;
    float** id = matrix(0, last, 0, last);
    float** m = matrix(0, last, 0, last);
    float** minv = matrix(0, last, 0, last);
    float** t = matrix(0, last, 0, last);
    float** p = matrix(0, last, 0, last);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            id[i][j] = i == j ? 1.0f : 0.0f;
        }
    }
    copy_matrix(a, m, n, n, 0);

    double err = 0.0;
    int passes = 0;
    do {
        ++passes;
        getInverseMatrixUsingSVD(m, minv, n, true);
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                t[i][j] = static_cast<float>(static_cast<double>(id[i][j] + minv[i][j]) * 0.5);
                const double mean = static_cast<double>(m[i][j] + minv[i][j]) * 0.5;
                m[i][j] = static_cast<float>((mean + static_cast<double>(id[i][j])) * 0.5);
            }
        }
        matrix_matrix_mult(a, t, p, n, n, n);
        copy_matrix(p, a, n, n, 0);
        err = 0.0;
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                err += static_cast<double>(numerics::square(m[i][j] - id[i][j]));
            }
        }
    } while (err > 1e-8 && passes < maxPasses);

    free_matrix(p, 0, last, 0, last);
    free_matrix(t, 0, last, 0, last);
    free_matrix(minv, 0, last, 0, last);
    free_matrix(m, 0, last, 0, last);
    free_matrix(id, 0, last, 0, last);
}

void SVDregInverse(double* a, int n, float lambda, float) {
    float** m = matrix(0, n - 1L, 0, n - 1L);
    float** inverse = matrix(0, n - 1L, 0, n - 1L);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            const double diagonal = i == j ? static_cast<double>(lambda) : 0.0;
            m[i][j] = static_cast<float>(a[static_cast<long>(i) * n + j] + diagonal);
        }
    }
    getInverseMatrixUsingSVD(m, inverse, n, true);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            a[static_cast<long>(i) * n + j] = static_cast<double>(inverse[i][j]);
        }
    }
    free_matrix(inverse, 0, n - 1L, 0, n - 1L);
    free_matrix(m, 0, n - 1L, 0, n - 1L);
}

// Neither float argument is used: no regularisation term is added, whatever they hold.
void CSVDregInverse(double* re, double* im, int n, float, float) {
    const int order = n > 0 ? 2 * n : 0;
    float** m = matrix(0, order - 1L, 0, order - 1L);
    float** inverse = matrix(0, order - 1L, 0, order - 1L);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            const long element = static_cast<long>(i) * n + j;
            m[i][j] = static_cast<float>(re[element]);
            m[i][n + j] = static_cast<float>(-im[element]);
            m[n + i][j] = static_cast<float>(im[element]);
            m[n + i][n + j] = static_cast<float>(re[element]);
        }
    }
    getInverseMatrixUsingSVD(m, inverse, order, true);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            const long element = static_cast<long>(i) * n + j;
            re[element] = static_cast<double>(inverse[i][j]);
            im[element] = static_cast<double>(inverse[n + i][j]);
        }
    }
    free_matrix(inverse, 0, order - 1L, 0, order - 1L);
    free_matrix(m, 0, order - 1L, 0, order - 1L);
}

void whitening(float** x, int nobs, int nvar, float fraction, float** w, float** dw, int* ncomp) {
    float* column = fvector(1, nobs);
    float* mean = fvector(0, nvar - 1L);
    for (int k = 0; k < nvar; ++k) {
        for (int o = 0; o < nobs; ++o) {
            column[o + 1] = x[o][k];
        }
        float variance = 0.0f;
        avevar(column, static_cast<unsigned long>(nobs > 0 ? nobs : 0), &mean[k], &variance);
    }

    float** covariance = matrix(1, nvar, 1, nvar);
    for (int i = 1; i <= nvar; ++i) {
        for (int j = i; j <= nvar; ++j) {
            double sum = 0.0;
            for (int o = 0; o < nobs; ++o) {
                sum += static_cast<double>(x[o][i - 1] - mean[i - 1]) * static_cast<double>(x[o][j - 1] - mean[j - 1]);
            }
            covariance[i][j] = covariance[j][i] = static_cast<float>(sum / static_cast<double>(nobs));
        }
    }
    char fileName[] = "Covariance.txt";
    WriteFloatMatrix2Txt(fileName, covariance, nvar, nvar, 1);

    float* d = fvector(1, nvar);
    float** eigenvectors = matrix(1, nvar, 1, nvar);
    int nrot = 0;
    jacobi(covariance, nvar, d, eigenvectors, &nrot);
    eigsrt(d, eigenvectors, nvar);
    free_matrix(covariance, 1, nvar, 1, nvar);

    // The first eigenvalue that is not above the threshold is kept too; the scan ends at the last.
    int k = 1;
    if (nvar > 0) {
        const float threshold = fraction * d[1];
        while (k < nvar && d[k] > threshold) {
            ++k;
        }
    }
    char text[128]; // composed for a caller with a log pane; this library has none
    if (nvar <= k) {
        std::snprintf(text, sizeof text, "// Plugin> Dimensionality reduction not performed ...");
        k = nvar;
    } else {
        std::snprintf(text, sizeof text, "// Plugin> Dimensionality reduction performed from %i to %i ...", nvar, k);
    }

    for (int i = 0; i < k; ++i) {
        for (int j = 0; j < nvar; ++j) {
            w[i][j] = std::pow(d[i + 1], -0.5f) * eigenvectors[j + 1][i + 1];
            dw[j][i] = std::pow(d[i + 1], 0.5f) * eigenvectors[j + 1][i + 1];
        }
    }
    *ncomp = k;
    free_matrix(eigenvectors, 1, nvar, 1, nvar);
    free_fvector(d, 1, nvar);
    free_fvector(mean, 0, nvar - 1L);
    free_fvector(column, 1, nobs);
}
