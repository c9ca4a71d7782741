#include "stats/filters.h"

#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/inverse.h"

void filter_n_decimate(float* in, float* out, int n, int d) {
    if (d < 1) {
        return;
    }
    // Sample i of the input, mirrored about 0.
    const auto sample = [in, n](long i) {
        const long mirrored = i < 0 ? -i : i;
        return in[mirrored < n ? mirrored : n - 1];
    };
    for (long k = 0; k < n; k += d) {
        float sum = sample(k - d + 1);
        for (long i = k - d + 2; i <= k; ++i) {
            sum += sample(i);
        }
        out[k / d] = sum / static_cast<float>(d);
    }
}

void lpfilt(double* x, int n, int w) {
    if (n < 1) {
        return;
    }
    const int width = w < 1 ? 1 : (w > n ? n : w);
    double* y = dvector(0, n - 1);
    y[0] = x[0];
    for (int i = 1; i < width; ++i) {
        double sum = x[i];
        for (int j = i - 1; j >= 1; --j) { // x[0] is left out, though the divisor counts it: kept
            sum += x[j];
        }
        y[i] = sum / static_cast<double>(i + 1);
    }
    for (int i = width; i < n; ++i) {
        y[i] = x[i] / static_cast<double>(width);
        for (int j = i - 1; j > i - width; --j) {
            y[i] += x[j] / static_cast<double>(width);
        }
    }
    for (int i = 0; i < n; ++i) {
        x[i] = y[i];
    }
    free_dvector(y, 0, n - 1);
}

void remacf(float* data, int, int n, int p) {
    if (n < 1 || p < 1) {
        return;
    }
    const long last = p - 1L;
    float** lagged = matrix(0, last, 0, last);
    float** gram = matrix(0, last, 0, last);
    float** inverse = matrix(0, last, 0, last);
    float** predictor = matrix(0, last, 0, last);
    float* target = fvector(0, last);
    float* coef = fvector(0, last);
    float* result = fvector(1, n);
    for (long t = 0; t < n; ++t) {
        for (long k = 0; k < p; ++k) {
            target[k] = k <= t ? data[t + 1 - k] : 0.0f;
            for (long j = 0; j < p; ++j) {
                lagged[k][j] = t - j - k >= 1 ? data[t - j - k] : 0.0f;
            }
        }
        transposematrix_matrix_mult(lagged, gram, p, p);
        getInverseMatrixUsingSVD(gram, inverse, p, true);
        matrix_matrix_mult(inverse, lagged, predictor, p, p, p);
        matrix_vector_mult(predictor, target, coef, p, p);
        for (long j = 0; j < p && j <= t; ++j) { // later windows overwrite what earlier ones left
            result[t + 1 - j] = target[j] - coef[j] * data[t + 1 - j];
        }
    }
    for (long i = 1; i <= n; ++i) {
        data[i] = result[i];
    }
    free_fvector(result, 1, n);
    free_fvector(coef, 0, last);
    free_fvector(target, 0, last);
    free_matrix(predictor, 0, last, 0, last);
    free_matrix(inverse, 0, last, 0, last);
    free_matrix(gram, 0, last, 0, last);
    free_matrix(lagged, 0, last, 0, last);
}
