#pragma once

namespace kernels {

/// Sweeps after which jacobi() gives up, in each of its forms.
constexpr int maxSweeps = 50;

/// What a form returns that has no storage; it has touched nothing then.
constexpr int noStorage = -1;

/// jacobi() of numerics/eigen.h for processors with AVX-512 (F, VL, DQ, BW) and with AVX2: the same bits in the upper
/// triangle of a, in d, v and nrot, for any input, but which NaN stands for a NaN is left open; the same return value.
int jacobi_avx512(float** a, int n, float* d, float** v, int* nrot);
int jacobi_avx2(float** a, int n, float* d, float** v, int* nrot);

/// To be provided by the caller: the storage of one call, null where there is none, and its release. It need not be
/// aligned or cleared.
float* workspace(long floats);
void free_workspace(float* storage);

} // namespace kernels
