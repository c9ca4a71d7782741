#include <algorithm>
#include <memory>
#include <vector>

#include <cblas.h>

#include "bench/bench_data.h"
#include "bench/lapack.h"
#include "bench/routines.h"
#include "numerics/inverse.h"
#include "numerics/svd.h"
#include "tests/numerics/plain_inverse.h"
#include "tests/numerics/plain_svd.h"

namespace bench {

namespace {

std::size_t index(int i) {
    return static_cast<std::size_t>(i);
}

// m by n, or the symmetric matrix whose inverse is wanted.
std::vector<float> values(int m, int n) {
    return m == n ? epoch_covariance(n) : random_values(index(m) * index(n), 3);
}

support::Rows rows_of(const std::vector<float>& block, int m, int n, int base) {
    support::Rows rows = support::make_rows(m + base, n + base);
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            rows[index(i + base)][index(j + base)] = block[index(i) * index(n) + index(j)];
        }
    }
    return rows;
}

std::string bytes_of_rows(const support::Rows& rows, int base) {
    std::string bytes;
    for (std::size_t i = index(base); i < rows.size(); ++i) {
        bytes += bytes_of(rows[i].data() + base, rows[i].size() - index(base));
    }
    return bytes;
}

Work ours_svd(int m, int n) {
    struct Data {
        Data(int r, int c) : input(values(r, c)), a(1, r, c), v(1, c, c), w(index(c) + 1, 0.0f) {}
        std::vector<float> input;
        Matrix a;
        Matrix v;
        std::vector<float> w;
    };
    const auto data = std::make_shared<Data>(m, n);
    return {[data, m, n] {
                data->a.fill(data->input);
                svdcmp(data->a.get(), m, n, data->w.data(), data->v.get());
            },
            [data, n] {
                return bytes_of(data->a.block(), data->a.size()) + bytes_of(data->w.data() + 1, index(n)) +
                       bytes_of(data->v.block(), data->v.size());
            }};
}

Work plain_svd(int m, int n) {
    struct Data {
        support::Rows input;
        ::plain::Svd svd;
    };
    const auto data = std::make_shared<Data>();
    data->input = rows_of(values(m, n), m, n, 1);
    return {[data, m, n] { data->svd = ::plain::svdcmp(data->input, m, n); },
            [data, n] {
                return bytes_of_rows(data->svd.u, 1) + bytes_of(data->svd.w.data() + 1, index(n)) +
                       bytes_of_rows(data->svd.v, 1);
            }};
}

// Thin decomposition by LAPACK; the columns of its matrix are the rows of ours.
struct Lapack {
    Lapack(int rows, int cols)
        : m(cols), n(rows), k(std::min(m, n)), input(values(rows, cols)), a(input), s(index(k)), u(index(m) * index(k)),
          vt(index(k) * index(n)), indices(index(8 * k)), inverse(input.size()) {
        float size = 0.0f;
        const int query = -1;
        decompose(&size, query);
        work.resize(static_cast<std::size_t>(size));
    }

    void decompose() {
        a = input;
        decompose(work.data(), static_cast<int>(work.size()));
    }
    void decompose(float* space, int size) {
        int info = 0;
        sgesdd_("S", &m, &n, a.data(), &m, s.data(), u.data(), &m, vt.data(), &k, space, &size, indices.data(), &info);
    }
    // Of a square matrix: V diag(1 / s) U^T.
    void invert() {
        decompose();
        const float limit = s[0] * 1e-6f;
        for (int i = 0; i < k; ++i) {
            cblas_sscal(m, s[index(i)] < limit ? 0.0f : 1.0f / s[index(i)], u.data() + i * m, 1);
        }
        cblas_sgemm(CblasColMajor, CblasTrans, CblasTrans, n, m, k, 1.0f, vt.data(), k, u.data(), m, 0.0f,
                    inverse.data(), n);
    }

    int m;
    int n;
    int k;
    std::vector<float> input;
    std::vector<float> a;
    std::vector<float> s;
    std::vector<float> u;
    std::vector<float> vt;
    std::vector<float> work;
    std::vector<int> indices;
    std::vector<float> inverse;
};

Work lapack_svd(int m, int n) {
    const auto data = std::make_shared<Lapack>(m, n);
    return {[data] { data->decompose(); }, {}};
}

Work ours_inverse(int n) {
    struct Data {
        explicit Data(int order) : input(values(order, order)), a(0, order, order), inverse(0, order, order) {}
        std::vector<float> input;
        Matrix a;
        Matrix inverse;
    };
    const auto data = std::make_shared<Data>(n);
    return {[data, n] {
                data->a.fill(data->input);
                getInverseMatrixUsingSVD(data->a.get(), data->inverse.get(), n, true);
            },
            [data] { return bytes_of(data->inverse.block(), data->inverse.size()); }};
}

Work plain_inverse(int n) {
    struct Data {
        support::Rows input;
        support::Rows inverse;
    };
    const auto data = std::make_shared<Data>();
    data->input = rows_of(values(n, n), n, n, 0);
    return {[data] { data->inverse = ::plain::inverse(data->input); },
            [data] { return bytes_of_rows(data->inverse, 0); }};
}

Work lapack_inverse(int n) {
    const auto data = std::make_shared<Lapack>(n, n);
    return {[data] { data->invert(); }, {}};
}

} // namespace

void add_svd_routines() {
    const int sizes[][2] = {{4, 4}, {50, 50}, {200, 50}};
    for (const auto& [m, n] : sizes) {
        const auto with = [rows = m, cols = n](Work (*make)(int, int)) {
            return [rows, cols, make] { return make(rows, cols); };
        };
        add_routine("svdcmp", std::to_string(m) + "x" + std::to_string(n), with(ours_svd), with(plain_svd),
                    "LAPACK sgesdd", with(lapack_svd));
    }
    for (const int n : {3, 4, 50}) {
        add_routine(
            "getInverseMatrixUsingSVD", std::to_string(n), [n] { return ours_inverse(n); },
            [n] { return plain_inverse(n); }, "LAPACK sgesdd + sgemm", [n] { return lapack_inverse(n); });
    }
}

} // namespace bench
