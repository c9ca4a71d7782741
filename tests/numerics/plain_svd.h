#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "tests/support/bits.h"

/// The two singular value decompositions written down step by step, as the definitions that svdcmp and svdcmp_tarn
/// have to match bit for bit: one with indices from 1 and an absolute test, one with indices from 0 and a relative
/// test, sharing nothing but the scalar steps.
namespace plain {

inline float pythag(float a, float b) {
    const float x = std::abs(a);
    const float y = std::abs(b);
    if (x > y) {
        const float r = y / x;
        const float rSquared = r * r;
        return x * float(std::sqrt(1.0 + double(rSquared)));
    }
    if (y == 0) {
        return 0;
    }
    const float r = x / y;
    const float rSquared = r * r;
    return y * float(std::sqrt(1.0 + double(rSquared)));
}

inline float sign(float a, float b) {
    return b >= 0 ? std::abs(a) : -std::abs(a);
}

inline float float_root(float x) {
    return float(std::sqrt(double(x)));
}

/// First shift of a QR step, from the values x (top) and y, z (bottom) and the superdiagonal g, h above y and z.
inline float shift(float x, float y, float z, float g, float h) {
    const float numerator = (y - z) * (y + z) + (g - h) * (g + h);
    const float f = float(double(numerator) / (2.0 * double(h) * double(y)));
    const float root = pythag(f, 1);
    return ((x - z) * (x + z) + h * (y / (f + sign(root, f)) - h)) / x;
}

struct Svd {
    support::Rows u;
    std::vector<float> w;
    support::Rows v;
    bool failed = false; ///< svdcmp: the flag; svdcmp_tarn: result 0
    int steps = 0;       ///< largest number of QR steps that one value took
};

/// Indices 1..m, 1..n; values below 1e-6 in magnitude count as zero; 100 steps.
inline Svd svdcmp(support::Rows a, int m, int n, int maxSteps = 100) {
    Svd r;
    r.v = support::make_rows(n + 1, n + 1);
    r.w.assign(static_cast<std::size_t>(n) + 1, 0.0f);
    std::vector<float> rv1(static_cast<std::size_t>(n) + 1, 0.0f);
    const auto A = [&a](int i, int j) -> float& { return a[std::size_t(i)][std::size_t(j)]; };
    const auto V = [&r](int i, int j) -> float& { return r.v[std::size_t(i)][std::size_t(j)]; };
    const auto W = [&r](int i) -> float& { return r.w[std::size_t(i)]; };
    const auto E = [&rv1](int i) -> float& { return rv1[std::size_t(i)]; };
    const auto is_zero = [](float x) { return double(x) > -1e-6 && double(x) < 1e-6; };

    for (int i = 1; i <= n; i++) {
        W(i) = 0;
        if (i <= m) {
            float scale = 0;
            for (int k = i; k <= m; k++)
                scale += std::abs(A(k, i));
            if (scale != 0) {
                float s = 0;
                for (int k = i; k <= m; k++)
                    A(k, i) /= scale;
                for (int k = i; k <= m; k++)
                    s += A(k, i) * A(k, i);
                const float f = A(i, i);
                const float g = -sign(float_root(s), f);
                const float h = f * g - s;
                A(i, i) = f - g;
                for (int j = i + 1; j <= n; j++) {
                    float sum = 0;
                    for (int k = i; k <= m; k++)
                        sum += A(k, i) * A(k, j);
                    const float factor = sum / h;
                    for (int k = i; k <= m; k++)
                        A(k, j) += factor * A(k, i);
                }
                for (int k = i; k <= m; k++)
                    A(k, i) *= scale;
                W(i) = scale * g;
            }
        }
        if (i <= m && i != n) {
            float scale = 0;
            for (int k = i + 1; k <= n; k++)
                scale += std::abs(A(i, k));
            if (scale != 0) {
                float s = 0;
                for (int k = i + 1; k <= n; k++)
                    A(i, k) /= scale;
                for (int k = i + 1; k <= n; k++)
                    s += A(i, k) * A(i, k);
                const float f = A(i, i + 1);
                const float g = -sign(float_root(s), f);
                const float h = f * g - s;
                A(i, i + 1) = f - g;
                for (int k = i + 1; k <= n; k++)
                    E(k) = A(i, k) / h;
                for (int j = i + 1; j <= m; j++) {
                    float sum = 0;
                    for (int k = i + 1; k <= n; k++)
                        sum += A(j, k) * A(i, k);
                    for (int k = i + 1; k <= n; k++)
                        A(j, k) += sum * E(k);
                }
                for (int k = i + 1; k <= n; k++)
                    A(i, k) *= scale;
                E(i + 1) = scale * g; // later columns of E are scratch until their own turn
            } else {
                E(i + 1) = 0;
            }
        } else if (i < n) {
            E(i + 1) = 0;
        }
    }

    for (int i = n; i >= 1; i--) {
        if (i < n && E(i + 1) != 0) {
            for (int j = i + 1; j <= n; j++)
                V(j, i) = A(i, j) / A(i, i + 1) / E(i + 1);
            for (int j = i + 1; j <= n; j++) {
                float sum = 0;
                for (int k = i + 1; k <= n; k++)
                    sum += A(i, k) * V(k, j);
                for (int k = i + 1; k <= n; k++)
                    V(k, j) += sum * V(k, i);
            }
        }
        for (int j = i + 1; j <= n; j++)
            V(i, j) = 0;
        for (int j = i + 1; j <= n; j++)
            V(j, i) = 0;
        V(i, i) = 1;
    }

    for (int i = std::min(m, n); i >= 1; i--) {
        const float reciprocal = 1.0f / W(i);
        for (int j = i + 1; j <= n; j++)
            A(i, j) = 0;
        if (W(i) == 0 || !std::isfinite(reciprocal)) {
            for (int k = i; k <= m; k++)
                A(k, i) = 0;
        } else {
            for (int j = i + 1; j <= n; j++) {
                float sum = 0;
                for (int k = i + 1; k <= m; k++)
                    sum += A(k, i) * A(k, j);
                const float factor = sum / A(i, i) * reciprocal;
                for (int k = i; k <= m; k++)
                    A(k, j) += factor * A(k, i);
            }
            for (int k = i; k <= m; k++)
                A(k, i) *= reciprocal;
        }
        A(i, i) += 1;
    }

    for (int k = n; k >= 1; k--) {
        for (int its = 1; its <= maxSteps; its++) {
            r.steps = std::max(r.steps, its - 1);
            int l = k;
            bool cancel = false;
            while (!is_zero(E(l))) {
                if (is_zero(W(l - 1))) {
                    cancel = true;
                    break;
                }
                l--;
            }
            if (cancel) {
                float c = 0, s = 1;
                for (int i = l; i <= k; i++) {
                    const float f = s * E(i);
                    E(i) = c * E(i);
                    if (is_zero(f)) {
                        break;
                    }
                    const float g = W(i);
                    W(i) = pythag(f, g);
                    const float reciprocal = 1.0f / W(i);
                    c = g * reciprocal;
                    s = -f * reciprocal;
                    for (int j = 1; j <= m; j++) {
                        const float y = A(j, l - 1), z = A(j, i);
                        A(j, l - 1) = y * c + z * s;
                        A(j, i) = z * c - y * s;
                    }
                }
            }
            if (l == k) {
                if (W(k) < 0) {
                    W(k) = -W(k);
                    for (int j = 1; j <= n; j++)
                        V(j, k) = -V(j, k);
                }
                break;
            }
            if (its == maxSteps) {
                r.failed = true;
            }
            float x = W(l);
            float f = shift(x, W(k - 1), W(k), E(k - 1), E(k));
            float c = 1, s = 1;
            for (int j = l; j <= k - 1; j++) {
                const int i = j + 1;
                float g = E(i), y = W(i);
                float h = s * g;
                g = c * g;
                float z = pythag(f, h);
                E(j) = z;
                c = f / z;
                s = h / z;
                f = x * c + g * s;
                g = g * c - x * s;
                h = y * s;
                y = y * c;
                for (int jj = 1; jj <= n; jj++) {
                    const float p = V(jj, j), q = V(jj, i);
                    V(jj, j) = p * c + q * s;
                    V(jj, i) = q * c - p * s;
                }
                z = pythag(f, h);
                W(j) = z;
                if (z != 0) {
                    const float reciprocal = 1.0f / z;
                    c = f * reciprocal;
                    s = h * reciprocal;
                }
                f = c * g + s * y;
                x = c * y - s * g;
                for (int jj = 1; jj <= m; jj++) {
                    const float p = A(jj, j), q = A(jj, i);
                    A(jj, j) = p * c + q * s;
                    A(jj, i) = q * c - p * s;
                }
            }
            E(l) = 0;
            E(k) = f;
            W(k) = x;
        }
    }
    r.u = a;
    return r;
}

/// Indices 0..m-1, 0..n-1; a value counts as zero when adding it to the norm changes nothing; 29 steps.
inline Svd svdcmp_tarn(support::Rows a, int m, int n, int maxSteps = 29) {
    Svd r;
    r.v = support::make_rows(n, n);
    r.w.assign(static_cast<std::size_t>(n), 0.0f);
    std::vector<float> rv1(static_cast<std::size_t>(n), 0.0f);
    const auto A = [&a](int i, int j) -> float& { return a[std::size_t(i)][std::size_t(j)]; };
    const auto V = [&r](int i, int j) -> float& { return r.v[std::size_t(i)][std::size_t(j)]; };
    const auto W = [&r](int i) -> float& { return r.w[std::size_t(i)]; };
    const auto E = [&rv1](int i) -> float& { return rv1[std::size_t(i)]; };

    float anorm = 0;
    float next = 0; // the superdiagonal element that the row before left
    for (int i = 0; i < n; i++) {
        E(i) = next;
        next = 0;
        W(i) = 0;
        if (i < m) {
            float scale = 0;
            for (int k = i; k < m; k++)
                scale += std::abs(A(k, i));
            if (scale != 0) {
                float s = 0;
                for (int k = i; k < m; k++) {
                    A(k, i) /= scale;
                    s += A(k, i) * A(k, i);
                }
                const float f = A(i, i);
                const float g = -sign(float_root(s), f);
                const float h = f * g - s;
                A(i, i) = f - g;
                for (int j = i + 1; j < n; j++) {
                    float sum = 0;
                    for (int k = i; k < m; k++)
                        sum += A(k, i) * A(k, j);
                    const float factor = sum / h;
                    for (int k = i; k < m; k++)
                        A(k, j) += factor * A(k, i);
                }
                for (int k = i; k < m; k++)
                    A(k, i) *= scale;
                W(i) = scale * g;
            }
            scale = 0;
            for (int k = i + 1; k < n; k++)
                scale += std::abs(A(i, k));
            if (i != n - 1 && scale != 0) {
                float s = 0;
                for (int k = i + 1; k < n; k++) {
                    A(i, k) /= scale;
                    s += A(i, k) * A(i, k);
                }
                const float f = A(i, i + 1);
                const float g = -sign(float_root(s), f);
                const float h = f * g - s;
                A(i, i + 1) = f - g;
                std::vector<float> part(static_cast<std::size_t>(n), 0.0f);
                for (int k = i + 1; k < n; k++)
                    part[std::size_t(k)] = A(i, k) / h;
                for (int j = i + 1; j < m; j++) {
                    float sum = 0;
                    for (int k = i + 1; k < n; k++)
                        sum += A(j, k) * A(i, k);
                    for (int k = i + 1; k < n; k++)
                        A(j, k) += sum * part[std::size_t(k)];
                }
                for (int k = i + 1; k < n; k++)
                    A(i, k) *= scale;
                next = scale * g;
            }
        }
        const float size = std::abs(W(i)) + std::abs(E(i));
        anorm = anorm > size ? anorm : size;
    }

    for (int i = n - 1; i >= 0; i--) {
        const float g = i < n - 1 ? E(i + 1) : 0.0f;
        if (g != 0) {
            for (int j = i + 1; j < n; j++)
                V(j, i) = A(i, j) / A(i, i + 1) / g;
            for (int j = i + 1; j < n; j++) {
                float sum = 0;
                for (int k = i + 1; k < n; k++)
                    sum += A(i, k) * V(k, j);
                for (int k = i + 1; k < n; k++)
                    V(k, j) += sum * V(k, i);
            }
        }
        for (int j = i + 1; j < n; j++)
            V(i, j) = V(j, i) = 0;
        V(i, i) = 1;
    }

    for (int i = std::min(m, n) - 1; i >= 0; i--) {
        const float reciprocal = 1.0f / W(i);
        for (int j = i + 1; j < n; j++)
            A(i, j) = 0;
        if (W(i) == 0 || !std::isfinite(reciprocal)) {
            for (int k = i; k < m; k++)
                A(k, i) = 0;
        } else {
            for (int j = i + 1; j < n; j++) {
                float sum = 0;
                for (int k = i + 1; k < m; k++)
                    sum += A(k, i) * A(k, j);
                const float factor = sum / A(i, i) * reciprocal;
                for (int k = i; k < m; k++)
                    A(k, j) += factor * A(k, i);
            }
            for (int k = i; k < m; k++)
                A(k, i) *= reciprocal;
        }
        A(i, i) += 1;
    }

    const auto vanishes = [anorm](float x) {
        const float sum = std::abs(x) + anorm;
        return sum == anorm;
    };
    for (int k = n - 1; k >= 0; k--) {
        for (int steps = 0;; steps++) {
            r.steps = std::max(r.steps, steps);
            int l = k;
            bool cancel = false;
            while (l > 0 && !vanishes(E(l)) && !cancel) {
                if (vanishes(W(l - 1))) {
                    cancel = true;
                } else {
                    l--;
                }
            }
            float c = 0, s = 1;
            for (int i = l; cancel && i <= k; i++) {
                const float f = s * E(i);
                E(i) *= c;
                if (vanishes(f)) {
                    break;
                }
                const float g = W(i);
                W(i) = pythag(f, g);
                const float reciprocal = 1.0f / W(i);
                c = g * reciprocal;
                s = -f * reciprocal;
                for (int j = 0; j < m; j++) {
                    const float y = A(j, l - 1), z = A(j, i);
                    A(j, l - 1) = y * c + z * s;
                    A(j, i) = z * c - y * s;
                }
            }
            if (l == k) {
                if (W(k) < 0) {
                    W(k) = -W(k);
                    for (int j = 0; j < n; j++)
                        V(j, k) = -V(j, k);
                }
                break;
            }
            if (steps == maxSteps) {
                r.failed = true;
                r.u = a;
                return r;
            }
            float x = W(l);
            float f = shift(x, W(k - 1), W(k), E(k - 1), E(k));
            c = 1;
            s = 1;
            for (int j = l; j < k; j++) {
                float h = s * E(j + 1);
                float g = c * E(j + 1);
                float y = W(j + 1);
                E(j) = pythag(f, h);
                c = f / E(j);
                s = h / E(j);
                f = x * c + g * s;
                g = g * c - x * s;
                h = y * s;
                y = y * c;
                for (int jj = 0; jj < n; jj++) {
                    const float p = V(jj, j), q = V(jj, j + 1);
                    V(jj, j) = p * c + q * s;
                    V(jj, j + 1) = q * c - p * s;
                }
                W(j) = pythag(f, h);
                if (W(j) != 0) {
                    const float reciprocal = 1.0f / W(j);
                    c = f * reciprocal;
                    s = h * reciprocal;
                }
                f = c * g + s * y;
                x = c * y - s * g;
                for (int jj = 0; jj < m; jj++) {
                    const float p = A(jj, j), q = A(jj, j + 1);
                    A(jj, j) = p * c + q * s;
                    A(jj, j + 1) = q * c - p * s;
                }
            }
            E(l) = 0;
            E(k) = f;
            W(k) = x;
        }
    }
    r.u = a;
    return r;
}

} // namespace plain
