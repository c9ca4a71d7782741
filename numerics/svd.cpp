#include "numerics/svd.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "numerics/arrays.h"
#include "numerics/scalars.h"
#include "numerics/svd_state.h"

using numerics::root;
using numerics::square;
using numerics::with_sign;

bool NoConvergenceInSVD = false;

namespace {

// Both decompositions are written for the index range first..first+count-1 of rows, columns and values:
// svdcmp works from 1, svdcmp_tarn from 0. mLast and nLast are the last row and column.
struct Problem {
    float** a;
    float* w;
    float** v;
    float* rv1; // superdiagonal; rv1[first] is always 0
    int first;
    int mLast;
    int nLast;
    float anorm; // largest |w[i]| + |rv1[i]| after the reduction
};

// Householder vector from column i, applied to the columns after it. Returns the diagonal element.
float reduce_column(const Problem& s, int i) {
    float scale = 0.0f;
    for (int k = i; k <= s.mLast; ++k) {
        scale += std::fabs(s.a[k][i]);
    }
    if (scale == 0.0f) {
        return 0.0f;
    }
    float norm = 0.0f;
    for (int k = i; k <= s.mLast; ++k) {
        s.a[k][i] /= scale;
        norm += s.a[k][i] * s.a[k][i];
    }
    float f = s.a[i][i];
    const float g = -with_sign(root(norm), f);
    const float h = f * g - norm;
    s.a[i][i] = f - g;
    for (int j = i + 1; j <= s.nLast; ++j) {
        float sum = 0.0f;
        for (int k = i; k <= s.mLast; ++k) {
            sum += s.a[k][i] * s.a[k][j];
        }
        f = sum / h;
        for (int k = i; k <= s.mLast; ++k) {
            s.a[k][j] += f * s.a[k][i];
        }
    }
    for (int k = i; k <= s.mLast; ++k) {
        s.a[k][i] *= scale;
    }
    return scale * g;
}

// Householder vector from row i right of the diagonal, applied to the rows below. Returns the superdiagonal element.
float reduce_row(const Problem& s, int i) {
    const int l = i + 1;
    float scale = 0.0f;
    for (int k = l; k <= s.nLast; ++k) {
        scale += std::fabs(s.a[i][k]);
    }
    if (scale == 0.0f) {
        return 0.0f;
    }
    float norm = 0.0f;
    for (int k = l; k <= s.nLast; ++k) {
        s.a[i][k] /= scale;
        norm += s.a[i][k] * s.a[i][k];
    }
    const float f = s.a[i][l];
    const float g = -with_sign(root(norm), f);
    const float h = f * g - norm;
    s.a[i][l] = f - g;
    for (int k = l; k <= s.nLast; ++k) {
        s.rv1[k] = s.a[i][k] / h;
    }
    for (int j = l; j <= s.mLast; ++j) {
        float sum = 0.0f;
        for (int k = l; k <= s.nLast; ++k) {
            sum += s.a[j][k] * s.a[i][k];
        }
        for (int k = l; k <= s.nLast; ++k) {
            s.a[j][k] += sum * s.rv1[k];
        }
    }
    for (int k = l; k <= s.nLast; ++k) {
        s.a[i][k] *= scale;
    }
    return scale * g;
}

void bidiagonalise(Problem& s) {
    float superdiagonal = 0.0f;
    s.anorm = 0.0f;
    for (int i = s.first; i <= s.nLast; ++i) {
        s.rv1[i] = superdiagonal;
        s.w[i] = i <= s.mLast ? reduce_column(s, i) : 0.0f;
        superdiagonal = (i <= s.mLast && i != s.nLast) ? reduce_row(s, i) : 0.0f;
        const float size = std::fabs(s.w[i]) + std::fabs(s.rv1[i]);
        s.anorm = s.anorm > size ? s.anorm : size;
    }
}

void accumulate_right(const Problem& s) {
    float g = 0.0f;
    for (int i = s.nLast; i >= s.first; --i) {
        const int l = i + 1;
        if (i < s.nLast) {
            if (g != 0.0f) {
                for (int j = l; j <= s.nLast; ++j) {
                    s.v[j][i] = (s.a[i][j] / s.a[i][l]) / g; // two divisions: no underflow of the product
                }
                for (int j = l; j <= s.nLast; ++j) {
                    float sum = 0.0f;
                    for (int k = l; k <= s.nLast; ++k) {
                        sum += s.a[i][k] * s.v[k][j];
                    }
                    for (int k = l; k <= s.nLast; ++k) {
                        s.v[k][j] += sum * s.v[k][i];
                    }
                }
            }
            for (int j = l; j <= s.nLast; ++j) {
                s.v[i][j] = s.v[j][i] = 0.0f;
            }
        }
        s.v[i][i] = 1.0f;
        g = s.rv1[i];
    }
}

void accumulate_left(const Problem& s) {
    for (int i = std::min(s.mLast, s.nLast); i >= s.first; --i) {
        const int l = i + 1;
        for (int j = l; j <= s.nLast; ++j) {
            s.a[i][j] = 0.0f;
        }
        const float g = 1.0f / s.w[i];
        // A value of 0, or one whose reciprocal is not finite, has no left vector to accumulate.
        if (s.w[i] != 0.0f && std::isfinite(g)) {
            for (int j = l; j <= s.nLast; ++j) {
                float sum = 0.0f;
                for (int k = l; k <= s.mLast; ++k) {
                    sum += s.a[k][i] * s.a[k][j];
                }
                const float f = (sum / s.a[i][i]) * g;
                for (int k = i; k <= s.mLast; ++k) {
                    s.a[k][j] += f * s.a[k][i];
                }
            }
            for (int j = i; j <= s.mLast; ++j) {
                s.a[j][i] *= g;
            }
        } else {
            for (int j = i; j <= s.mLast; ++j) {
                s.a[j][i] = 0.0f;
            }
        }
        s.a[i][i] += 1.0f;
    }
}

// Rotates columns p and q over rows first..last: x' = x c + z s, z' = z c - x s.
void rotate_columns(float** rows, int first, int last, int p, int q, float c, float s) {
    for (int j = first; j <= last; ++j) {
        const float x = rows[j][p];
        const float z = rows[j][q];
        rows[j][p] = x * c + z * s;
        rows[j][q] = z * c - x * s;
    }
}

// How a decomposition decides that a value counts as zero beside the others.
struct AbsoluteTest {
    bool negligible(float value) const { return std::fabs(static_cast<double>(value)) < 1e-6; }
};
struct RelativeTest {
    float anorm;
    bool negligible(float value) const { return std::fabs(value) + anorm == anorm; }
};

// Removes rv1[l] when w[l-1] is negligible, by rotations from the left.
template <class ZeroTest>
void cancel(const Problem& p, const ZeroTest& test, int l, int k) {
    const int nm = l - 1;
    float c = 0.0f;
    float s = 1.0f;
    for (int i = l; i <= k; ++i) {
        const float f = s * p.rv1[i];
        p.rv1[i] = c * p.rv1[i];
        if (test.negligible(f)) {
            break;
        }
        const float g = p.w[i];
        float h = pythag(f, g);
        p.w[i] = h;
        h = 1.0f / h;
        c = g * h;
        s = -f * h;
        rotate_columns(p.a, p.first, p.mLast, nm, i, c, s);
    }
}

// Start l of the unsplit block that ends at k, with rv1[l] cancelled where w[l-1] is negligible.
template <class ZeroTest>
int split(const Problem& p, const ZeroTest& test, int k) {
    for (int l = k; l > p.first; --l) {
        if (test.negligible(p.rv1[l])) {
            return l;
        }
        if (test.negligible(p.w[l - 1])) {
            cancel(p, test, l, k);
            return l;
        }
    }
    return p.first; // rv1[first] is 0
}

void qr_step(const Problem& p, int l, int k) {
    float x = p.w[l];
    const int nm = k - 1;
    float y = p.w[nm];
    float z = p.w[k];
    float g = p.rv1[nm];
    float h = p.rv1[k];
    // Shift from the bottom 2 x 2 minor. Its denominator is a double product, and so is the quotient.
    float f = static_cast<float>(static_cast<double>((y - z) * (y + z) + (g - h) * (g + h)) /
                                 (2.0 * static_cast<double>(h) * static_cast<double>(y)));
    g = pythag(f, 1.0f);
    f = ((x - z) * (x + z) + h * (y / (f + with_sign(g, f)) - h)) / x;

    float c = 1.0f;
    float s = 1.0f;
    for (int j = l; j <= nm; ++j) {
        const int i = j + 1;
        g = p.rv1[i];
        y = p.w[i];
        h = s * g;
        g = c * g;
        z = pythag(f, h);
        p.rv1[j] = z;
        c = f / z;
        s = h / z;
        f = x * c + g * s;
        g = g * c - x * s;
        h = y * s;
        y = y * c;
        rotate_columns(p.v, p.first, p.nLast, j, i, c, s);
        z = pythag(f, h);
        p.w[j] = z;
        if (z != 0.0f) {
            z = 1.0f / z;
            c = f * z;
            s = h * z;
        }
        f = c * g + s * y;
        x = c * y - s * g;
        rotate_columns(p.a, p.first, p.mLast, j, i, c, s);
    }
    p.rv1[l] = 0.0f;
    p.rv1[k] = f;
    p.w[k] = x;
}

void make_non_negative(const Problem& p, int k) {
    if (p.w[k] < 0.0f) {
        p.w[k] = -p.w[k];
        for (int j = p.first; j <= p.nLast; ++j) {
            p.v[j][k] = -p.v[j][k];
        }
    }
}

} // namespace

float pythag(float a, float b) {
    const float absa = std::fabs(a);
    const float absb = std::fabs(b);
    if (absa > absb) {
        return absa * static_cast<float>(std::sqrt(1.0 + static_cast<double>(square(absb / absa))));
    }
    if (absb == 0.0f) {
        return 0.0f;
    }
    return absb * static_cast<float>(std::sqrt(1.0 + static_cast<double>(square(absa / absb))));
}

void svdcmp(float** a, int m, int n, float* w, float** v) {
    constexpr int maxSteps = 100;
    NoConvergenceInSVD = false;
    float* rv1 = fvector(1, n);
    Problem p{a, w, v, rv1, 1, m, n, 0.0f};
    bidiagonalise(p);
    accumulate_right(p);
    accumulate_left(p);
    // The limit is absolute, whatever the size of the matrix: kept on purpose.
    const AbsoluteTest test;
    for (int k = n; k >= 1; --k) {
        for (int its = 1; its <= maxSteps; ++its) {
            const int l = split(p, test, k);
            if (l == k) {
                make_non_negative(p, k);
                break;
            }
            if (its == maxSteps) {
                NoConvergenceInSVD = true; // and the last step is still carried out
            }
            qr_step(p, l, k);
        }
    }
    free_fvector(rv1, 1, n);
}

int svdcmp_tarn(int m, int n, float** a, float* w, float** v) {
    constexpr int maxSteps = 29;
    const std::unique_ptr<float[]> rv1(new float[static_cast<std::size_t>(n > 0 ? n : 0)]);
    Problem p{a, w, v, rv1.get(), 0, m > 0 ? m - 1 : -1, n > 0 ? n - 1 : -1, 0.0f};
    bidiagonalise(p);
    accumulate_right(p);
    accumulate_left(p);
    const RelativeTest test{p.anorm};
    for (int k = p.nLast; k >= 0; --k) {
        for (int its = 0;; ++its) {
            const int l = split(p, test, k);
            if (l == k) {
                make_non_negative(p, k);
                break;
            }
            if (its == maxSteps) {
                return 0;
            }
            qr_step(p, l, k);
        }
    }
    return 1;
}

void svbksb(float** u, float* w, float** v, int m, int n, float* b, float* x) {
    float* tmp = fvector(1, n);
    for (int j = 1; j <= n; ++j) {
        float s = 0.0f;
        if (w[j] != 0.0f) {
            for (int i = 1; i <= m; ++i) {
                s += u[i][j] * b[i];
            }
            s /= w[j];
        }
        tmp[j] = s;
    }
    for (int j = 1; j <= n; ++j) {
        float s = 0.0f;
        for (int jj = 1; jj <= n; ++jj) {
            s += v[j][jj] * tmp[jj];
        }
        x[j] = s;
    }
    free_fvector(tmp, 1, n);
}

void svdvar(float** v, int ma, float* w, float** cvm) {
    float* wti = fvector(1, ma);
    for (int i = 1; i <= ma; ++i) {
        wti[i] = w[i] != 0.0f ? 1.0f / (w[i] * w[i]) : 0.0f;
    }
    for (int i = 1; i <= ma; ++i) {
        for (int j = 1; j <= i; ++j) {
            float sum = 0.0f;
            for (int k = 1; k <= ma; ++k) {
                sum += v[i][k] * v[j][k] * wti[k];
            }
            cvm[i][j] = cvm[j][i] = sum;
        }
    }
    free_fvector(wti, 1, ma);
}

void svdfit(float* x, float* y, float* sig, int ndata, float* a, int ma, float** u, float** v, float* w, float* chisq,
            void (*funcs)(float, float*, int)) {
    float* b = fvector(1, ndata);
    float* afunc = fvector(1, ma);
    for (int i = 1; i <= ndata; ++i) {
        funcs(x[i], afunc, ma);
        const float tmp = 1.0f / sig[i];
        for (int j = 1; j <= ma; ++j) {
            u[i][j] = afunc[j] * tmp;
        }
        b[i] = y[i] * tmp;
    }
    svdcmp(u, ndata, ma, w, v);

    float wmax = 0.0f;
    for (int j = 1; j <= ma; ++j) {
        wmax = w[j] > wmax ? w[j] : wmax;
    }
    const float thresh = static_cast<float>(1e-5 * static_cast<double>(wmax));
    for (int j = 1; j <= ma; ++j) {
        if (w[j] < thresh) {
            w[j] = 0.0f;
        }
    }
    svbksb(u, w, v, ndata, ma, b, a);

    *chisq = 0.0f;
    for (int i = 1; i <= ndata; ++i) {
        funcs(x[i], afunc, ma);
        float sum = 0.0f;
        for (int j = 1; j <= ma; ++j) {
            sum += a[j] * afunc[j];
        }
        *chisq += square((y[i] - sum) / sig[i]);
    }
    free_fvector(afunc, 1, ma);
    free_fvector(b, 1, ndata);
}
