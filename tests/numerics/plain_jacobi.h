#pragma once

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "tests/support/bits.h"

/// Cyclic Jacobi, written down step by step and slowly, as the definition that jacobi has to match bit for bit.
/// One-based, like the routine: row 0 and column 0 are not used.
namespace plain {

struct Eigen {
    support::Rows a;
    std::vector<float> d;
    support::Rows v;
    int nrot = 0;
    int result = 0;
};

inline Eigen jacobi(support::Rows a, int order, int sweeps = 50) {
    const std::size_t n = static_cast<std::size_t>(order);
    support::Rows v = support::make_rows(order + 1, order + 1);
    std::vector<float> d(n + 1), b(n + 1), z(n + 1);
    for (std::size_t p = 1; p <= n; p++) {
        v[p][p] = 1;
        b[p] = d[p] = a[p][p];
    }
    int nrot = 0;
    for (int sweep = 1; sweep <= sweeps; sweep++) {
        float sm = 0;
        for (std::size_t p = 1; p + 1 <= n; p++) {
            for (std::size_t q = p + 1; q <= n; q++) {
                sm += std::abs(a[p][q]);
            }
        }
        if (sm == 0) {
            return {a, d, v, nrot, 1};
        }
        const float tresh = sweep < 4 ? float(0.2 * double(sm) / double(order * order)) : 0.0f;
        for (std::size_t p = 1; p + 1 <= n; p++) {
            for (std::size_t q = p + 1; q <= n; q++) {
                const float small = 100.0f * std::abs(a[p][q]);
                const float besideP = std::abs(d[p]) + small;
                const float besideQ = std::abs(d[q]) + small;
                if (sweep > 4 && besideP == std::abs(d[p]) && besideQ == std::abs(d[q])) {
                    a[p][q] = 0;
                    continue;
                }
                if (!(std::abs(a[p][q]) > tresh)) {
                    continue;
                }
                const float difference = d[q] - d[p];
                float t;
                const float besideDifference = std::abs(difference) + small;
                if (besideDifference == std::abs(difference)) {
                    t = a[p][q] / difference;
                } else {
                    const float theta = float(0.5 * double(difference) / double(a[p][q]));
                    const float thetaSquared = theta * theta;
                    t = float(1.0 / (double(std::abs(theta)) + std::sqrt(double(thetaSquared) + 1.0)));
                    if (theta < 0) {
                        t = -t;
                    }
                }
                const float tSquaredPlusOne = t * t + 1.0f;
                const float c = float(1.0 / std::sqrt(double(tSquaredPlusOne)));
                const float s = t * c;
                const float tau = float(double(s) / (1.0 + double(c)));
                const float h = t * a[p][q];
                z[p] -= h;
                z[q] += h;
                d[p] -= h;
                d[q] += h;
                a[p][q] = 0;
                const auto turn = [s, tau](float& x, float& y) {
                    const float oldX = x;
                    const float oldY = y;
                    x = oldX - s * (oldY + oldX * tau);
                    y = oldY + s * (oldX - oldY * tau);
                };
                for (std::size_t j = 1; j <= n; j++) {
                    // Pairs above the diagonal only: (row, column) is (smaller, larger).
                    if (j != p && j != q) {
                        turn(a[j < p ? j : p][j < p ? p : j], a[j < q ? j : q][j < q ? q : j]);
                    }
                }
                for (std::size_t j = 1; j <= n; j++) {
                    turn(v[j][p], v[j][q]);
                }
                nrot++;
            }
        }
        for (std::size_t p = 1; p <= n; p++) {
            b[p] += z[p];
            d[p] = b[p];
            z[p] = 0;
        }
    }
    return {a, d, v, nrot, 0};
}

/// Selection sort, descending; of equal values the last one found moves forward.
inline void sort_eigen(std::vector<float>& d, support::Rows& v, int order) {
    const std::size_t n = static_cast<std::size_t>(order);
    for (std::size_t i = 1; i < n; i++) {
        std::size_t largest = i;
        for (std::size_t j = i + 1; j <= n; j++) {
            if (d[j] >= d[largest]) {
                largest = j;
            }
        }
        if (largest != i) {
            std::swap(d[i], d[largest]);
            for (std::size_t j = 1; j <= n; j++) {
                std::swap(v[j][i], v[j][largest]);
            }
        }
    }
}

} // namespace plain
