#pragma once

namespace workbench {

/// c = op(a) op(b), row-major, op a matrix itself or (trans) its transpose: a is m by k, or stored k by m; b is k by n,
/// or stored n by k. Every element is one sum in double, from 0, its index ascending, each product rounded before it is
/// added; floats are stored back as float. So the bits depend on no processor, compiler or flag.
/// Counts of 0 or less: nothing is written for m or n, zeros for k.
void fixed_order_product(const double* a, const double* b, double* c, int m, int n, int k, bool transA, bool transB);
void fixed_order_product(const float* a, const float* b, float* c, int m, int n, int k, bool transA, bool transB);

} // namespace workbench
