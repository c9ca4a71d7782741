#include "tests/truth/second_algebra.h"

#include <cmath>
#include <cstddef>

namespace truth {

Table make_table(int rows, int columns) {
    if (rows <= 0 || columns <= 0) {
        return {};
    }
    return Table(static_cast<std::size_t>(rows), std::vector<float>(static_cast<std::size_t>(columns), 0.0f));
}

Table product(const Table& a, const Table& b, int m, int n, int p) {
    Table c = make_table(m, p);
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < p; ++j) {
            float sum = 0.0f;
            for (int k = 0; k < n; ++k) {
                const float term = a[i][k] * b[k][j];
                sum = sum + term;
            }
            c[i][j] = sum;
        }
    }
    return c;
}

Table pseudo_inverse(const Table& a, int n) {
    if (n <= 0) {
        return {};
    }
    Table u = make_table(n + 1, n + 1);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            u[i + 1][j + 1] = a[i][j];
        }
    }
    Table v = make_table(n + 1, n + 1);
    std::vector<float> w(n + 1, 0.0f);
    const bool converged = singular_values(u, n, n, w, v);
    float largest = 0.0f;
    for (int i = 1; i <= n; ++i) {
        if (!converged) {
            w[i] = std::fabs(w[i]);
        }
        if (w[i] > largest) {
            largest = w[i];
        }
    }
    const float threshold = static_cast<float>(static_cast<double>(largest) * 1e-6);
    for (int i = 1; i <= n; ++i) {
        w[i] = threshold > w[i] ? 0.0f : 1.0f / w[i];
    }
    Table left = make_table(n, n); // diag(w) U'
    Table right = make_table(n, n);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            left[i][j] = u[j + 1][i + 1] * w[i + 1];
            right[i][j] = v[i + 1][j + 1];
        }
    }
    return product(right, left, n, n, n);
}

} // namespace truth
