#include "tests/truth/second_algebra.h"

#include <cmath>
#include <utility>

namespace truth {

namespace {

struct Rotation {
    float s;
    float tau;
};

void rotate(float& x, float& y, const Rotation& rotation) {
    const float g = x;
    const float h = y;
    const float first = h + g * rotation.tau;
    const float second = g - h * rotation.tau;
    x = g - rotation.s * first;
    y = h + rotation.s * second;
}

/// The tangent of the angle that makes the element above the diagonal vanish.
float tangent(float element, float h, float g) {
    if (std::fabs(h) + g == std::fabs(h)) {
        return element / h;
    }
    const float theta = static_cast<float>(0.5 * static_cast<double>(h) / static_cast<double>(element));
    const float square = theta * theta;
    const double root = std::sqrt(static_cast<double>(square) + 1.0);
    const float t = static_cast<float>(1.0 / (static_cast<double>(std::fabs(theta)) + root));
    return theta < 0.0f ? -t : t;
}

void sort_descending(std::vector<float>& values, Table& vectors, int n) {
    for (int i = 1; i < n; ++i) {
        int k = i;
        float p = values[i];
        for (int j = i + 1; j <= n; ++j) {
            if (values[j] >= p) { // of equal values the last one comes to the front
                k = j;
                p = values[j];
            }
        }
        if (k != i) {
            values[k] = values[i];
            values[i] = p;
            for (int j = 1; j <= n; ++j) {
                std::swap(vectors[j][i], vectors[j][k]);
            }
        }
    }
}

/// One rotation in the plane of p and q.
void rotate_plane(Table& a, int n, int p, int q, float g, std::vector<float>& d, std::vector<float>& z, Table& v) {
    const float t = tangent(a[p][q], d[q] - d[p], g);
    const float square = t * t;
    const float squareAndOne = square + 1.0f;
    const float c = static_cast<float>(1.0 / std::sqrt(static_cast<double>(squareAndOne)));
    Rotation rotation{};
    rotation.s = t * c;
    rotation.tau = static_cast<float>(static_cast<double>(rotation.s) / (1.0 + static_cast<double>(c)));
    const float h = t * a[p][q];
    z[p] = z[p] - h;
    z[q] = z[q] + h;
    d[p] = d[p] - h;
    d[q] = d[q] + h;
    a[p][q] = 0.0f;
    for (int j = 1; j <= p - 1; ++j) {
        rotate(a[j][p], a[j][q], rotation);
    }
    for (int j = p + 1; j <= q - 1; ++j) {
        rotate(a[p][j], a[j][q], rotation);
    }
    for (int j = q + 1; j <= n; ++j) {
        rotate(a[p][j], a[q][j], rotation);
    }
    for (int j = 1; j <= n; ++j) {
        rotate(v[j][p], v[j][q], rotation);
    }
}

void decompose(Table& a, int n, std::vector<float>& d, Table& v) {
    std::vector<float> b(n + 1, 0.0f);
    std::vector<float> z(n + 1, 0.0f);
    v = make_table(n + 1, n + 1);
    d.assign(n + 1, 0.0f);
    for (int p = 1; p <= n; ++p) {
        v[p][p] = 1.0f;
        b[p] = a[p][p];
        d[p] = a[p][p];
    }
    for (int sweep = 1; sweep <= 50; ++sweep) {
        float sum = 0.0f;
        for (int p = 1; p <= n - 1; ++p) {
            for (int q = p + 1; q <= n; ++q) {
                sum = sum + std::fabs(a[p][q]);
            }
        }
        if (sum == 0.0f) {
            return;
        }
        float threshold = 0.0f;
        if (sweep < 4) {
            threshold = static_cast<float>(0.2 * static_cast<double>(sum) / static_cast<double>(n * n));
        }
        for (int p = 1; p <= n - 1; ++p) {
            for (int q = p + 1; q <= n; ++q) {
                const float size = std::fabs(a[p][q]);
                const float g = 100.0f * size;
                const bool negligible =
                    std::fabs(d[p]) + g == std::fabs(d[p]) && std::fabs(d[q]) + g == std::fabs(d[q]);
                if (sweep > 4 && negligible) {
                    a[p][q] = 0.0f;
                } else if (size > threshold) {
                    rotate_plane(a, n, p, q, g, d, z, v);
                }
            }
        }
        for (int p = 1; p <= n; ++p) {
            b[p] = b[p] + z[p];
            d[p] = b[p];
            z[p] = 0.0f;
        }
    }
}

} // namespace

void eigen_sorted(Table& a, int n, std::vector<float>& values, Table& vectors) {
    decompose(a, n, values, vectors);
    sort_descending(values, vectors, n);
}

} // namespace truth
