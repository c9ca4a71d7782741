#pragma once

#include <cmath>
#include <cstddef>

#include "tests/numerics/plain_jacobi.h"
#include "tests/numerics/plain_svd.h"
#include "tests/numerics/test_matrices.h"
#include "tests/support/bits.h"

/// The inverses written down step by step on the plain decompositions. Matrices are 0-based.
namespace plain {

inline float largest(const Svd& s) {
    float wmax = 0;
    for (std::size_t i = 1; i < s.w.size(); i++) {
        if (s.w[i] > wmax) {
            wmax = s.w[i];
        }
    }
    return wmax;
}

inline support::Rows product(const support::Rows& a, const support::Rows& b) {
    const std::size_t n = a.size();
    support::Rows c = support::make_rows(int(n), int(n));
    for (std::size_t i = 0; i < n; i++) {
        for (std::size_t j = 0; j < n; j++) {
            float sum = 0;
            for (std::size_t k = 0; k < n; k++) {
                sum += a[i][k] * b[k][j];
            }
            c[i][j] = sum;
        }
    }
    return c;
}

/// V diag(w) U^T of a one-based decomposition.
inline support::Rows compose(const Svd& s) {
    const std::size_t n = s.w.size() - 1;
    support::Rows left = support::make_rows(int(n), int(n));
    support::Rows right = left;
    for (std::size_t i = 0; i < n; i++) {
        for (std::size_t j = 0; j < n; j++) {
            left[i][j] = s.v[i + 1][j + 1];
            right[i][j] = s.u[j + 1][i + 1] * s.w[i + 1];
        }
    }
    return product(left, right);
}

inline support::Rows inverse(const support::Rows& a) {
    Svd s = svdcmp(test_matrices::one_based(a), int(a.size()), int(a.size()));
    if (s.failed) {
        for (float& w : s.w) {
            w = std::abs(w);
        }
    }
    const float threshold = float(double(largest(s)) * 1e-6);
    for (std::size_t i = 1; i < s.w.size(); i++) {
        if (threshold > s.w[i]) {
            s.w[i] = 0;
        } else {
            s.w[i] = 1.0f / s.w[i];
        }
    }
    return compose(s);
}

inline float cutoff(const Svd& s, int exponent) {
    const float power = float(std::pow(10.0, exponent));
    return power * largest(s);
}

inline support::Rows truncated_inverse(const support::Rows& a, int exponent) {
    Svd s = svdcmp(test_matrices::one_based(a), int(a.size()), int(a.size()));
    const float limit = cutoff(s, exponent);
    for (std::size_t i = 1; i < s.w.size(); i++) {
        if (limit >= s.w[i]) {
            s.w[i] = 0;
        } else {
            s.w[i] = 1.0f / s.w[i];
        }
    }
    return compose(s);
}

inline support::Rows transformed(const support::Rows& a, int invert, int takeRoot, int exponent) {
    Svd s = svdcmp(test_matrices::one_based(a), int(a.size()), int(a.size()));
    const float limit = cutoff(s, exponent);
    for (std::size_t i = 1; i < s.w.size(); i++) {
        float kept = 0;
        if (limit < s.w[i]) {
            kept = invert ? float(1.0 / double(s.w[i])) : s.w[i];
            if (takeRoot) {
                kept = float(std::sqrt(double(kept)));
            }
        }
        s.w[i] = kept;
    }
    return compose(s);
}

struct Inverted {
    bool ok;
    support::Rows inverse;
    support::Rows destroyed; ///< what stays in the argument
};

inline Inverted tarn_inverse(const support::Rows& a) {
    const int n = int(a.size());
    const Svd s = svdcmp_tarn(a, n, n);
    support::Rows result = support::make_rows(n, n);
    for (std::size_t i = 0; i < a.size(); i++) {
        for (std::size_t j = 0; j < a.size(); j++) {
            for (std::size_t k = 0; k < a.size(); k++) {
                if (s.w[k] != 0) {
                    const float numerator = s.u[j][k] * s.v[i][k];
                    result[i][j] += numerator / s.w[k];
                }
            }
        }
    }
    return {!s.failed, result, s.u};
}

struct Root {
    support::Rows root;
    int passes;
};

inline Root square_root(support::Rows a) {
    support::Rows m = a;
    for (int pass = 1;; pass++) {
        const support::Rows minv = inverse(m);
        support::Rows t = m;
        double err = 0;
        for (std::size_t i = 0; i < a.size(); i++) {
            for (std::size_t j = 0; j < a.size(); j++) {
                const float unit = i == j ? 1.0f : 0.0f;
                const float sum = m[i][j] + minv[i][j];
                t[i][j] = float(double(unit + minv[i][j]) * 0.5);
                m[i][j] = float((double(sum) * 0.5 + double(unit)) * 0.5);
                const float difference = m[i][j] - unit;
                const float squared = difference * difference;
                err += double(squared);
            }
        }
        a = product(a, t);
        if (!(err > 1e-8) || pass == 10000) {
            return {a, pass};
        }
    }
}

struct Whitened {
    int components;
    support::Rows covariance; ///< one-based
    std::vector<float> d;     ///< one-based, descending
    support::Rows w;
    support::Rows dw;
};

inline Whitened whitening(const support::Rows& x, int nvar, float fraction) {
    const std::size_t nobs = x.size();
    const std::size_t n = std::size_t(nvar);
    std::vector<float> mean(n);
    for (std::size_t k = 0; k < n; k++) {
        for (std::size_t o = 0; o < nobs; o++) {
            mean[k] += x[o][k];
        }
        mean[k] /= float(nobs);
    }
    Whitened r;
    r.covariance = support::make_rows(nvar + 1, nvar + 1);
    for (std::size_t i = 1; i <= n; i++) {
        for (std::size_t j = i; j <= n; j++) {
            double sum = 0;
            for (std::size_t o = 0; o < nobs; o++) {
                const float left = x[o][i - 1] - mean[i - 1];
                const float right = x[o][j - 1] - mean[j - 1];
                sum += double(left) * double(right);
            }
            r.covariance[i][j] = r.covariance[j][i] = float(sum / double(nobs));
        }
    }
    Eigen e = jacobi(r.covariance, nvar);
    sort_eigen(e.d, e.v, nvar);
    r.d = e.d;
    int above = 0;
    for (std::size_t j = 1; j <= n; j++) {
        if (!(e.d[j] > fraction * e.d[1])) {
            break;
        }
        above++;
    }
    r.components = above + 1 < nvar ? above + 1 : nvar;
    r.w = support::make_rows(r.components, nvar);
    r.dw = support::make_rows(nvar, r.components);
    for (std::size_t i = 0; i < std::size_t(r.components); i++) {
        for (std::size_t j = 0; j < n; j++) {
            r.w[i][j] = powf(e.d[i + 1], -0.5f) * e.v[j + 1][i + 1];
            r.dw[j][i] = powf(e.d[i + 1], 0.5f) * e.v[j + 1][i + 1];
        }
    }
    return r;
}

} // namespace plain
