// The routines that a removal run spends its time in, at the sizes of typical runs.
//   cmake --preset release -DORIDAN_BENCH=ON && cmake --build --preset release --target bench_numerics

#include <algorithm>
#include <cmath>

#include <benchmark/benchmark.h>

#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/eigen.h"

namespace {

// A covariance as a run makes it: a few strong components and noise, one epoch per row.
void fill_covariance(float** a, int n) {
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j <= n; ++j) {
            const double common = 900.0 * std::cos(0.01 * (i - j)) + 40.0 * std::cos(0.7 * i) * std::cos(0.7 * j);
            const double noise = std::sin(12.9898 * std::min(i, j) + 78.233 * std::max(i, j));
            a[i][j] = static_cast<float>(common + noise + (i == j ? 30.0 : 0.0));
        }
    }
}

void eigen_decomposition(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    float** a = matrix(1, n, 1, n);
    float** v = matrix(1, n, 1, n);
    float* d = fvector(1, n);
    int rotations = 0;
    for (auto _ : state) {
        state.PauseTiming();
        fill_covariance(a, n);
        state.ResumeTiming();
        benchmark::DoNotOptimize(jacobi(a, n, d, v, &rotations));
    }
    state.counters["rotations"] = rotations;
    free_fvector(d, 1, n);
    free_matrix(v, 1, n, 1, n);
    free_matrix(a, 1, n, 1, n);
}
BENCHMARK(eigen_decomposition)->Arg(50)->Arg(100)->Arg(250)->Unit(benchmark::kMillisecond);

// The basis of a segment: P components from N epochs of L samples.
void basis_product(benchmark::State& state) {
    const int p = 4;
    const int n = 100;
    const int l = static_cast<int>(state.range(0));
    float** weights = matrix(0, p - 1, 0, n - 1);
    float** epochs = matrix(0, n - 1, 0, l - 1);
    float** basis = matrix(0, p - 1, 0, l - 1);
    std::fill_n(&weights[0][0], p * n, 0.5f);
    std::fill_n(&epochs[0][0], n * l, 1.5f);
    for (auto _ : state) {
        matrix_matrix_mult(weights, epochs, basis, p, n, l);
        benchmark::DoNotOptimize(basis[0][0]);
    }
    free_matrix(basis, 0, p - 1, 0, l - 1);
    free_matrix(epochs, 0, n - 1, 0, l - 1);
    free_matrix(weights, 0, p - 1, 0, n - 1);
}
BENCHMARK(basis_product)->Arg(1701)->Unit(benchmark::kMicrosecond);

} // namespace
