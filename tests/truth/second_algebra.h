#pragma once

#include <vector>

namespace truth {

/// Rows of single-precision numbers. Decompositions count rows and columns from 1 and leave row and column 0 unused.
using Table = std::vector<std::vector<float>>;

Table make_table(int rows, int columns);

/// Eigenvalues of a symmetric matrix 1..n in descending order, and its eigenvectors as columns. a is destroyed.
void eigen_sorted(Table& a, int n, std::vector<float>& values, Table& vectors);

/// a (m by n, from 1) = U diag(w) V': a becomes U. @return false where an iteration did not converge.
bool singular_values(Table& a, int m, int n, std::vector<float>& w, Table& v);

/// The pseudo-inverse of an n by n matrix, both counted from 0.
Table pseudo_inverse(const Table& a, int n);

/// a (m by n) times b (n by p), counted from 0, each sum in single precision and ascending.
Table product(const Table& a, const Table& b, int m, int n, int p);

} // namespace truth
