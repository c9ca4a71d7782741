#pragma once

namespace kernels {

/// jacobi() of numerics/eigen.h for processors with AVX-512 (F, VL, DQ, BW) and with AVX2: the same bits in the upper
/// triangle of a, in d, v and nrot, for any input; the same return value.
int jacobi_avx512(float** a, int n, float* d, float** v, int* nrot);
int jacobi_avx2(float** a, int n, float* d, float** v, int* nrot);

/// To be provided by the caller: the storage of one call, and its release. It need not be aligned or cleared. Failure
/// is reported in the caller's way and does not return.
float* workspace(long floats);
void free_workspace(float* storage, long floats);

} // namespace kernels
