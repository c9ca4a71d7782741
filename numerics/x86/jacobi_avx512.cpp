#include "numerics/x86/vector_avx512.h"

#include "numerics/x86/jacobi_sweeps.h"

namespace kernels {

int jacobi_avx512(float** a, int n, float* d, float** v, int* nrot) {
    return jacobi_wave(a, n, d, v, nrot);
}

} // namespace kernels
