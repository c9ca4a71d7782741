#include "numerics/eigen.h"

#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "numerics/arrays.h"
#include "numerics/cpu.h"
#include "numerics/x86/jacobi_kernels.h"

namespace {

struct Rotation {
    float s;
    float tau;
};

inline void rotate(const Rotation& r, float& x, float& y) {
    const float g = x;
    const float h = y;
    x = g - r.s * (h + g * r.tau);
    y = h + r.s * (g - h * r.tau);
}

// Tangent of the rotation angle that zeroes `element`, for the diagonal difference h and g = 100 |element|.
// The quotients and the root are double, rounded to float; theta is squared in float.
float rotation_tangent(float element, float h, float g) {
    if (std::fabs(h) + g == std::fabs(h)) {
        return element / h;
    }
    const float theta = static_cast<float>(0.5 * static_cast<double>(h) / static_cast<double>(element));
    const float t = static_cast<float>(
        1.0 / (static_cast<double>(std::fabs(theta)) + std::sqrt(static_cast<double>(theta * theta) + 1.0)));
    return theta < 0.0f ? -t : t;
}

int plain_jacobi(float** a, int n, float* d, float** v, int* nrot) {
    for (int p = 1; p <= n; ++p) {
        for (int q = 1; q <= n; ++q) {
            v[p][q] = 0.0f;
        }
        v[p][p] = 1.0f;
    }
    float* b = fvector(1, n);
    float* z = fvector(1, n);
    for (int p = 1; p <= n; ++p) {
        b[p] = d[p] = a[p][p];
        z[p] = 0.0f;
    }
    *nrot = 0;

    int converged = 0;
    for (int sweep = 1; sweep <= kernels::maxSweeps; ++sweep) {
        float sm = 0.0f;
        for (int p = 1; p < n; ++p) {
            for (int q = p + 1; q <= n; ++q) {
                sm += std::fabs(a[p][q]);
            }
        }
        if (sm == 0.0f) {
            converged = 1;
            break;
        }
        // Sweeps 1 to 3 skip small elements; from sweep 5 on negligible ones are zeroed; sweep 4 does neither.
        float tresh = 0.0f;
        if (sweep < 4) {
            const double nSquared = static_cast<double>(static_cast<long>(n) * n);
            tresh = static_cast<float>(0.2 * static_cast<double>(sm) / nSquared);
        }
        for (int p = 1; p < n; ++p) {
            for (int q = p + 1; q <= n; ++q) {
                const float g = 100.0f * std::fabs(a[p][q]);
                if (sweep > 4 && std::fabs(d[p]) + g == std::fabs(d[p]) && std::fabs(d[q]) + g == std::fabs(d[q])) {
                    a[p][q] = 0.0f;
                } else if (std::fabs(a[p][q]) > tresh) {
                    const float t = rotation_tangent(a[p][q], d[q] - d[p], g);
                    const float c = static_cast<float>(1.0 / std::sqrt(static_cast<double>(t * t + 1.0f)));
                    const float s = t * c;
                    const Rotation r{s, static_cast<float>(static_cast<double>(s) / (1.0 + static_cast<double>(c)))};
                    const float h = t * a[p][q];
                    z[p] -= h;
                    z[q] += h;
                    d[p] -= h;
                    d[q] += h;
                    a[p][q] = 0.0f;
                    for (int j = 1; j < p; ++j) {
                        rotate(r, a[j][p], a[j][q]);
                    }
                    for (int j = p + 1; j < q; ++j) {
                        rotate(r, a[p][j], a[j][q]);
                    }
                    for (int j = q + 1; j <= n; ++j) {
                        rotate(r, a[p][j], a[q][j]);
                    }
                    for (int j = 1; j <= n; ++j) {
                        rotate(r, v[j][p], v[j][q]);
                    }
                    ++*nrot;
                }
            }
        }
        for (int p = 1; p <= n; ++p) {
            b[p] += z[p];
            d[p] = b[p];
            z[p] = 0.0f;
        }
    }
    free_fvector(z, 1, n);
    free_fvector(b, 1, n);
    return converged;
}

using Jacobi = int (*)(float** a, int n, float* d, float** v, int* nrot);

Jacobi best_jacobi() {
#ifdef ORIDAN_X86_KERNELS
    switch (numerics::instruction_set()) {
    case numerics::InstructionSet::avx512:
        return kernels::jacobi_avx512;
    case numerics::InstructionSet::avx2:
        return kernels::jacobi_avx2;
    default:
        break;
    }
#endif
    return plain_jacobi;
}

// Below this order the vectors have too little to hold: the plain loop is faster.
constexpr int smallestForVectors = 11;

} // namespace

namespace kernels {

float* workspace(long floats) {
    return static_cast<float*>(std::malloc(sizeof(float) * static_cast<std::size_t>(floats)));
}
void free_workspace(float* storage) {
    std::free(storage);
}

} // namespace kernels

int jacobi(float** a, int n, float* d, float** v, int* nrot) {
    static const Jacobi best = best_jacobi();
    // The plain loop needs two vectors only, so it is also what remains where memory is short.
    const int result = n < smallestForVectors ? kernels::noStorage : best(a, n, d, v, nrot);
    return result == kernels::noStorage ? plain_jacobi(a, n, d, v, nrot) : result;
}

void eigsrt(float* d, float** v, int n) {
    for (int i = 1; i < n; ++i) {
        int k = i;
        float p = d[i];
        for (int j = i + 1; j <= n; ++j) {
            // Greater or equal, on purpose: the last of equal eigenvalues moves forward.
            if (d[j] >= p) {
                k = j;
                p = d[j];
            }
        }
        if (k != i) {
            d[k] = d[i];
            d[i] = p;
            for (int j = 1; j <= n; ++j) {
                const float column = v[j][i];
                v[j][i] = v[j][k];
                v[j][k] = column;
            }
        }
    }
}
