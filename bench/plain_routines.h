#pragma once

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

/// The routines as their definitions read, with nothing done for speed. The decompositions that take vectors of vectors
/// are beside the tests (tests/numerics/plain_*.h).
namespace bench::plain {

inline void rotate(float s, float tau, float& x, float& y) {
    const float g = x;
    const float h = y;
    x = g - s * (h + g * tau);
    y = h + s * (g - h * tau);
}

inline int jacobi(float** a, int n, float* d, float** v) {
    std::vector<float> b(static_cast<std::size_t>(n) + 1);
    std::vector<float> z(static_cast<std::size_t>(n) + 1, 0.0f);
    for (int p = 1; p <= n; ++p) {
        for (int q = 1; q <= n; ++q) {
            v[p][q] = p == q ? 1.0f : 0.0f;
        }
        b[static_cast<std::size_t>(p)] = d[p] = a[p][p];
    }
    for (int sweep = 1; sweep <= 50; ++sweep) {
        float sum = 0.0f;
        for (int p = 1; p < n; ++p) {
            for (int q = p + 1; q <= n; ++q) {
                sum += std::fabs(a[p][q]);
            }
        }
        if (sum == 0.0f) {
            return 1;
        }
        const float threshold =
            sweep < 4 ? static_cast<float>(0.2 * static_cast<double>(sum) / (static_cast<double>(n) * n)) : 0.0f;
        for (int p = 1; p < n; ++p) {
            for (int q = p + 1; q <= n; ++q) {
                const float small = 100.0f * std::fabs(a[p][q]);
                if (sweep > 4 && std::fabs(d[p]) + small == std::fabs(d[p]) &&
                    std::fabs(d[q]) + small == std::fabs(d[q])) {
                    a[p][q] = 0.0f;
                    continue;
                }
                if (!(std::fabs(a[p][q]) > threshold)) {
                    continue;
                }
                const float difference = d[q] - d[p];
                float t = 0.0f;
                if (std::fabs(difference) + small == std::fabs(difference)) {
                    t = a[p][q] / difference;
                } else {
                    const float theta =
                        static_cast<float>(0.5 * static_cast<double>(difference) / static_cast<double>(a[p][q]));
                    t = static_cast<float>(1.0 / (static_cast<double>(std::fabs(theta)) +
                                                  std::sqrt(static_cast<double>(theta * theta) + 1.0)));
                    t = theta < 0.0f ? -t : t;
                }
                const float c = static_cast<float>(1.0 / std::sqrt(static_cast<double>(t * t + 1.0f)));
                const float s = t * c;
                const float tau = static_cast<float>(static_cast<double>(s) / (1.0 + static_cast<double>(c)));
                const float h = t * a[p][q];
                z[static_cast<std::size_t>(p)] -= h;
                z[static_cast<std::size_t>(q)] += h;
                d[p] -= h;
                d[q] += h;
                a[p][q] = 0.0f;
                for (int j = 1; j < p; ++j) {
                    rotate(s, tau, a[j][p], a[j][q]);
                }
                for (int j = p + 1; j < q; ++j) {
                    rotate(s, tau, a[p][j], a[j][q]);
                }
                for (int j = q + 1; j <= n; ++j) {
                    rotate(s, tau, a[p][j], a[q][j]);
                }
                for (int j = 1; j <= n; ++j) {
                    rotate(s, tau, v[j][p], v[j][q]);
                }
            }
        }
        for (int p = 1; p <= n; ++p) {
            const std::size_t i = static_cast<std::size_t>(p);
            b[i] += z[i];
            d[p] = b[i];
            z[i] = 0.0f;
        }
    }
    return 0;
}

inline void eigsrt(float* d, float** v, int n) {
    for (int i = 1; i < n; ++i) {
        int largest = i;
        for (int j = i + 1; j <= n; ++j) {
            largest = d[j] >= d[largest] ? j : largest;
        }
        if (largest != i) {
            std::swap(d[i], d[largest]);
            for (int j = 1; j <= n; ++j) {
                std::swap(v[j][i], v[j][largest]);
            }
        }
    }
}

inline void matrix_matrix_mult(float** a, float** b, float** c, int m, int n, int p) {
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < p; ++j) {
            float sum = 0.0f;
            for (int k = 0; k < n; ++k) {
                sum += a[i][k] * b[k][j];
            }
            c[i][j] = sum;
        }
    }
}

inline void transposematrix_matrix_mult(float** a, float** c, int n, int m) {
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j <= i; ++j) {
            float sum = 0.0f;
            for (int k = 0; k < m; ++k) {
                sum += a[i][k] * a[j][k];
            }
            c[i][j] = c[j][i] = sum;
        }
    }
}

inline void matrix_vector_mult(float** a, const float* x, float* y, int m, int n) {
    for (int i = 0; i < m; ++i) {
        float sum = 0.0f;
        for (int k = 0; k < n; ++k) {
            sum += a[i][k] * x[k];
        }
        y[i] = sum;
    }
}

/// c = a b^T in double, a m by k, b n by k.
inline void product(const double* a, const double* b, double* c, int m, int n, int k) {
    for (long i = 0; i < m; ++i) {
        for (long j = 0; j < n; ++j) {
            double sum = 0.0;
            for (long l = 0; l < k; ++l) {
                sum += a[i * k + l] * b[j * k + l];
            }
            c[i * n + j] = sum;
        }
    }
}

inline void avevar(const float* data, std::size_t n, float* ave, float* var) {
    float sum = 0.0f;
    for (std::size_t j = 1; j <= n; ++j) {
        sum += data[j];
    }
    *ave = sum / static_cast<float>(n);
    float squares = 0.0f;
    float deviations = 0.0f;
    for (std::size_t j = 1; j <= n; ++j) {
        const float deviation = data[j] - *ave;
        deviations += deviation;
        squares += deviation * deviation;
    }
    *var = (squares - deviations * deviations / static_cast<float>(n)) / static_cast<float>(n - 1);
}

/// In place, data[1..2 n] as pairs; factors by the recurrence in double.
inline void four1(float* data, std::size_t n, int isign) {
    float* pairs = data + 1;
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t reversed = 0;
        for (std::size_t bit = 1; bit < n; bit *= 2) {
            reversed = 2 * reversed + ((i & bit) != 0 ? 1 : 0);
        }
        if (reversed > i) {
            std::swap(pairs[2 * i], pairs[2 * reversed]);
            std::swap(pairs[2 * i + 1], pairs[2 * reversed + 1]);
        }
    }
    for (std::size_t length = 2; length <= n; length *= 2) {
        const double theta = isign * (6.28318530717959 / static_cast<double>(length));
        const double s = std::sin(0.5 * theta);
        const double stepRe = -2.0 * s * s;
        const double stepIm = std::sin(theta);
        double re = 1.0;
        double im = 0.0;
        for (std::size_t k = 0; k < length / 2; ++k) {
            for (std::size_t at = k; at < n; at += length) {
                float* low = pairs + 2 * at;
                float* high = low + length;
                const float x =
                    static_cast<float>(re * static_cast<double>(high[0]) - im * static_cast<double>(high[1]));
                const float y =
                    static_cast<float>(re * static_cast<double>(high[1]) + im * static_cast<double>(high[0]));
                high[0] = low[0] - x;
                high[1] = low[1] - y;
                low[0] += x;
                low[1] += y;
            }
            const double previous = re;
            re = previous * stepRe - im * stepIm + previous;
            im = im * stepRe + previous * stepIm + im;
        }
    }
}

/// Ascending, values[first..last].
inline void sort(float* values, long first, long last) {
    if (first >= last) {
        return;
    }
    const float pivot = values[first + (last - first) / 2];
    long i = first;
    long j = last;
    while (i <= j) {
        while (values[i] < pivot) {
            ++i;
        }
        while (values[j] > pivot) {
            --j;
        }
        if (i <= j) {
            std::swap(values[i++], values[j--]);
        }
    }
    sort(values, first, j);
    sort(values, i, last);
}

} // namespace bench::plain
