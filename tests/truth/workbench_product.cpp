// The product that the workbench offers to modules when its bits are not to depend on the processor.

#include "workbench/fixed_order_product.h"

extern "C" __attribute__((visibility("default"))) void nv_intel_matrix_matrix_mult_d(const double* a, const double* b,
                                                                                     double* c, int m, int n, int k,
                                                                                     int transA, int transB) {
    workbench::fixed_order_product(a, b, c, m, n, k, transA != 0, transB != 0);
}
