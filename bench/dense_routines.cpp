#include <memory>
#include <vector>

#include <cblas.h>

#include "bench/bench_data.h"
#include "bench/plain_routines.h"
#include "bench/routines.h"
#include "numerics/dense.h"

namespace bench {

namespace {

struct Product {
    Product(int rows, int inner, int cols)
        : m(rows), n(inner), p(cols), a(0, m, n, random_values(count(m, n), 1)),
          b(0, n, p, random_values(count(n, p), 2)), c(0, m, p) {}

    static std::size_t count(int r, int s) { return static_cast<std::size_t>(r) * static_cast<std::size_t>(s); }

    int m;
    int n;
    int p;
    Matrix a;
    Matrix b;
    Matrix c;
};

template <class Multiply>
MakeWork product(int m, int n, int p, Multiply multiply) {
    return [=] {
        const auto data = std::make_shared<Product>(m, n, p);
        return Work{[data, multiply] { multiply(*data); },
                    [data] { return bytes_of(data->c.block(), data->c.size()); }};
    };
}

void add_product(int m, int n, int p) {
    add_routine(
        "matrix_matrix_mult", std::to_string(m) + "x" + std::to_string(n) + "x" + std::to_string(p),
        product(m, n, p, [](Product& x) { matrix_matrix_mult(x.a.get(), x.b.get(), x.c.get(), x.m, x.n, x.p); }),
        product(m, n, p, [](Product& x) { plain::matrix_matrix_mult(x.a.get(), x.b.get(), x.c.get(), x.m, x.n, x.p); }),
        "OpenBLAS sgemm", product(m, n, p, [](Product& x) {
            cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, x.m, x.p, x.n, 1.0f, x.a.block(), x.n, x.b.block(),
                        x.p, 0.0f, x.c.block(), x.p);
        }));
}

// The matrix times its transpose: a is m by n, c m by m.
void add_square(int m, int n) {
    add_routine(
        "transposematrix_matrix_mult", std::to_string(m) + "x" + std::to_string(n),
        product(m, n, m, [](Product& x) { transposematrix_matrix_mult(x.a.get(), x.c.get(), x.m, x.n); }),
        product(m, n, m, [](Product& x) { plain::transposematrix_matrix_mult(x.a.get(), x.c.get(), x.m, x.n); }),
        "OpenBLAS ssyrk", product(m, n, m, [](Product& x) {
            cblas_ssyrk(CblasRowMajor, CblasLower, CblasNoTrans, x.m, x.n, 1.0f, x.a.block(), x.n, 0.0f, x.c.block(),
                        x.m);
        }));
}

// The vector is b, the result c.
void add_vector_product(int m, int n) {
    add_routine(
        "matrix_vector_mult", std::to_string(m) + "x" + std::to_string(n),
        product(m, n, 1, [](Product& x) { matrix_vector_mult(x.a.get(), x.b.block(), x.c.block(), x.m, x.n); }),
        product(m, n, 1, [](Product& x) { plain::matrix_vector_mult(x.a.get(), x.b.block(), x.c.block(), x.m, x.n); }),
        "OpenBLAS sgemv", product(m, n, 1, [](Product& x) {
            cblas_sgemv(CblasRowMajor, CblasNoTrans, x.m, x.n, 1.0f, x.a.block(), x.n, x.b.block(), 1, 0.0f,
                        x.c.block(), 1);
        }));
}

} // namespace

void add_dense_routines() {
    add_product(3, 50, 2001);   // basis of a segment: components, epochs, samples
    add_product(4, 100, 10001); // the same, longer epochs
    add_product(4, 10001, 4);   // normal matrix
    add_product(100, 100, 100);
    add_square(100, 2001);
    add_vector_product(3, 2001); // projection of an epoch
    add_vector_product(4, 10001);
    add_vector_product(100, 100);
}

} // namespace bench
