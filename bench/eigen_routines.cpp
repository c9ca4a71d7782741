#include <algorithm>
#include <memory>
#include <vector>

#include "bench/bench_data.h"
#include "bench/lapack.h"
#include "bench/plain_routines.h"
#include "bench/routines.h"
#include "numerics/eigen.h"

namespace bench {

namespace {

// All eigenvalues and eigenvectors of the covariance of n epochs, in descending order.
struct Decomposition {
    explicit Decomposition(int order)
        : n(order), covariance(epoch_covariance(order)), a(1, order, order), v(1, order, order),
          d(static_cast<std::size_t>(order) + 1, 0.0f) {}

    std::string result() {
        return bytes_of(d.data() + 1, static_cast<std::size_t>(n)) + bytes_of(v.block(), v.size()) +
               bytes_of(a.block(), a.size());
    }

    int n;
    std::vector<float> covariance;
    Matrix a;
    Matrix v;
    std::vector<float> d;
};

Work ours(int n) {
    const auto data = std::make_shared<Decomposition>(n);
    return {[data] {
                int nrot = 0;
                data->a.fill(data->covariance);
                jacobi(data->a.get(), data->n, data->d.data(), data->v.get(), &nrot);
                eigsrt(data->d.data(), data->v.get(), data->n);
            },
            [data] { return data->result(); }};
}

Work definition(int n) {
    const auto data = std::make_shared<Decomposition>(n);
    return {[data] {
                data->a.fill(data->covariance);
                plain::jacobi(data->a.get(), data->n, data->d.data(), data->v.get());
                plain::eigsrt(data->d.data(), data->v.get(), data->n);
            },
            [data] { return data->result(); }};
}

Work lapack(int n) {
    const auto data = std::make_shared<Decomposition>(n);
    float workSize = 0.0f;
    int indexSize = 0;
    int info = 0;
    const int query = -1;
    ssyevd_("V", "U", &n, data->a.block(), &n, data->d.data(), &workSize, &query, &indexSize, &query, &info);
    const auto work = std::make_shared<std::vector<float>>(static_cast<std::size_t>(workSize));
    const auto indices = std::make_shared<std::vector<int>>(static_cast<std::size_t>(indexSize));
    return {[data, work, indices] {
                const int order = data->n;
                const int nWork = static_cast<int>(work->size());
                const int nIndices = static_cast<int>(indices->size());
                int status = 0;
                data->a.fill(data->covariance);
                ssyevd_("V", "U", &order, data->a.block(), &order, data->d.data(), work->data(), &nWork,
                        indices->data(), &nIndices, &status);
            },
            {}};
}

} // namespace

void add_eigen_routines() {
    for (const int n : {50, 100, 250}) {
        add_routine(
            "jacobi + eigsrt", std::to_string(n), [n] { return ours(n); }, [n] { return definition(n); },
            "LAPACK ssyevd", [n] { return lapack(n); });
    }
}

} // namespace bench
