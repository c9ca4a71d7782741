#include "workbench/fixed_order_product.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "numerics/cpu.h"
#include "workbench/product_kernels.h"

namespace {

using numerics::InstructionSet;
using workbench::Factor;

struct Kernel {
    long (*work_size)(int m, int n);
    void (*doubles)(const Factor<double>&, const Factor<double>&, int, int, int, double*, double*);
    void (*floats)(const Factor<float>&, const Factor<float>&, int, int, int, float*, double*);
};

#define ORIDAN_KERNEL_OF(name)                                                                                         \
    Kernel {                                                                                                           \
        workbench::name::work_size, workbench::name::multiply_doubles, workbench::name::multiply_floats                \
    }

Kernel best_kernel() {
    switch (numerics::instruction_set()) {
#ifdef ORIDAN_X86_KERNELS
    case InstructionSet::avx512:
        return ORIDAN_KERNEL_OF(product_avx512);
    case InstructionSet::avx2:
        return ORIDAN_KERNEL_OF(product_avx2);
#endif
    default:
        return ORIDAN_KERNEL_OF(product_baseline);
    }
}

template <class T, class Multiply>
void multiply(const T* a, const T* b, T* c, int m, int n, int k, bool transA, bool transB, const Kernel& kernel,
              Multiply run) {
    if (m <= 0 || n <= 0) {
        return;
    }
    if (k <= 0) {
        std::fill_n(c, static_cast<std::size_t>(m) * static_cast<std::size_t>(n), T{});
        return;
    }
    const Factor<T> left = transA ? Factor<T>{a, 1, m} : Factor<T>{a, k, 1};
    const Factor<T> right = transB ? Factor<T>{b, k, 1} : Factor<T>{b, 1, n};
    // Kept from call to call: a run multiplies matrices of one size.
    thread_local std::vector<double> work;
    const std::size_t needed = static_cast<std::size_t>(kernel.work_size(m, n));
    if (work.size() < needed) {
        work.resize(needed);
    }
    run(left, right, m, n, k, c, work.data());
}

} // namespace

namespace workbench {

void fixed_order_product(const double* a, const double* b, double* c, int m, int n, int k, bool transA, bool transB) {
    static const Kernel kernel = best_kernel();
    multiply(a, b, c, m, n, k, transA, transB, kernel, kernel.doubles);
}

void fixed_order_product(const float* a, const float* b, float* c, int m, int n, int k, bool transA, bool transB) {
    static const Kernel kernel = best_kernel();
    multiply(a, b, c, m, n, k, transA, transB, kernel, kernel.floats);
}

} // namespace workbench
