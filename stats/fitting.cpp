#include "stats/fitting.h"

#include <climits>
#include <cmath>

#include "numerics/arrays.h"
#include "numerics/scalars.h"
#include "numerics/truncation.h"
#include "stats/gamma.h"

int g_dim = 128;
int g_dim_z = 128;
int g_nbsfns_dim = 2;

namespace {

// The polynomials P_0..P_(m-1) at one coordinate, [1..m]; room for the two that fleg always writes.
float* legendre_vector(float coordinate, int m) {
    float* polynomials = fvector(1, m < 2 ? 2 : m);
    fleg(coordinate, polynomials, m);
    return polynomials;
}

void free_legendre(float* polynomials, int m) {
    free_fvector(polynomials, 1, m < 2 ? 2 : m);
}

// Grid position c of 0..size-1, mapped to [-1, 1).
float centred(long c, int size) {
    const long half = size / 2;
    return static_cast<float>(c - half) / static_cast<float>(half);
}

int at_least_two(int size) {
    return size < 2 ? 2 : size;
}

// Clamped: no memory holds the products of so many polynomials anyway.
int polynomials_per_axis() {
    return g_nbsfns_dim == INT_MAX ? INT_MAX : g_nbsfns_dim + 1;
}

} // namespace

void fit(float* x, float* y, int ndata, float* sig, int mwt, float* a, float* b, float* siga, float* sigb, float* chi2,
         float* q) {
    const bool weighted = mwt != 0;
    float sx = 0.0f;
    float sy = 0.0f;
    float ss = 0.0f;
    if (weighted) {
        for (int i = 1; i <= ndata; ++i) {
            const float wt = static_cast<float>(1.0 / static_cast<double>(numerics::square(sig[i])));
            ss += wt;
            sx += x[i] * wt;
            sy += y[i] * wt;
        }
    } else {
        for (int i = 1; i <= ndata; ++i) {
            sx += x[i];
            sy += y[i];
        }
        ss = static_cast<float>(ndata);
    }

    const float sxoss = sx / ss;
    float st2 = 0.0f;
    *b = 0.0f;
    for (int i = 1; i <= ndata; ++i) {
        if (weighted) {
            const float t = (x[i] - sxoss) / sig[i];
            st2 += t * t;
            *b += t * y[i] / sig[i];
        } else {
            const float t = x[i] - sxoss;
            st2 += t * t;
            *b += t * y[i];
        }
    }
    *b /= st2;
    *a = (sy - sx * *b) / ss;
    const double varianceOfA = (1.0 + static_cast<double>(sx * sx / (ss * st2))) / static_cast<double>(ss);
    *siga = static_cast<float>(std::sqrt(varianceOfA));
    *sigb = static_cast<float>(std::sqrt(1.0 / static_cast<double>(st2)));

    *chi2 = 0.0f;
    for (int i = 1; i <= ndata; ++i) {
        const float residual = y[i] - *a - *b * x[i];
        const float term = numerics::square(weighted ? residual / sig[i] : residual);
        *chi2 = static_cast<float>(static_cast<double>(*chi2) + static_cast<double>(term));
    }
    const long freedom = ndata - 2L;
    if (weighted) {
        *q = gammq(static_cast<float>(0.5 * static_cast<double>(freedom)),
                   static_cast<float>(0.5 * static_cast<double>(*chi2)));
    } else {
        *q = 1.0f;
        const float sigdat = numerics::root(*chi2 / static_cast<float>(freedom));
        *siga *= sigdat;
        *sigb *= sigdat;
    }
}

void fgauss(float x, float* a, float* y, float* dyda, int na) {
    *y = 0.0f;
    for (long i = 1; i <= na - 2L; i += 3) {
        const float arg = (x - a[i + 1]) / a[i + 2];
        const float ex = std::exp(-(arg * arg));
        const double product = 2.0 * static_cast<double>(a[i]) * static_cast<double>(ex) * static_cast<double>(arg);
        const float fac = static_cast<float>(product);
        *y += a[i] * ex;
        dyda[i] = ex;
        dyda[i + 1] = fac / a[i + 2];
        dyda[i + 2] = fac * arg / a[i + 2];
    }
}

void fpoly(float x, float* p, int np) {
    if (np < 1) {
        return;
    }
    p[1] = 1.0f;
    for (int j = 2; j <= np; ++j) {
        p[j] = p[j - 1] * x;
    }
}

void fleg(float x, float* pl, int nl) {
    pl[1] = 1.0f; // both are written whatever nl is
    pl[2] = x;
    const float twox = 2.0f * x;
    float f2 = x;
    float d = 1.0f;
    for (int j = 3; j <= nl; ++j) {
        const float f1 = d;
        d += 1.0f;
        f2 += twox;
        pl[j] = (f2 * pl[j - 1] - f1 * pl[j - 2]) / d;
    }
}

void fleg2D(float x, float* afunc, int) {
    constexpr int size = 256;
    const long k = static_cast<long>(truncate_to_int32(static_cast<double>(x))) - 1;
    const long row = k >= 0 ? k / size : -((size - 1 - k) / size); // rounds down
    const long column = k - row * size;
    const int m = polynomials_per_axis();
    float* p = legendre_vector(centred(column, size), m);
    float* q = legendre_vector(centred(row, size), m);
    long idx = 1; // more products than an int counts fit into memory
    for (int i = 1; i <= m; ++i) {
        for (int j = 1; j <= m - i + 1; ++j) {
            afunc[idx++] = p[i] * q[j];
        }
    }
    free_legendre(q, m);
    free_legendre(p, m);
}

void fleg3D(float x, float* afunc, int) {
    const int size = at_least_two(g_dim);
    const int slices = at_least_two(g_dim_z);
    const long slice = static_cast<long>(size) * size;
    const long k = static_cast<long>(truncate_to_int32(static_cast<double>(x))) - 1;
    const long z = k / slice;
    const long rest = k % slice;
    const int m = polynomials_per_axis();
    float* p = legendre_vector(centred(rest % size, size), m);
    float* q = legendre_vector(centred(rest / size, size), m);
    float* r = legendre_vector(centred(z, slices), m);
    long idx = 1; // more products than an int counts fit into memory
    for (int i = 1; i <= m; ++i) {
        for (int j = 1; j <= m - i + 1; ++j) {
            for (int l = 1; l <= m - i - j + 1; ++l) { // one fewer than in two dimensions: kept
                afunc[idx++] = p[i] * q[j] * r[l];
            }
        }
    }
    free_legendre(r, m);
    free_legendre(q, m);
    free_legendre(p, m);
}
