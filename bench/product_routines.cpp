#include <memory>
#include <vector>

#include <cblas.h>

#include "bench/bench_data.h"
#include "bench/plain_routines.h"
#include "bench/routines.h"
#include "workbench/fixed_order_product.h"

namespace bench {

namespace {

// Epochs against epochs, as a run asks the workbench for it: floats, widened.
template <class Multiply>
MakeWork gram(int n, int length, Multiply multiply) {
    return [=] {
        const std::vector<float> epochs = artifact_epochs(n, length, 6);
        const auto a = std::make_shared<std::vector<double>>(epochs.begin(), epochs.end());
        const auto c = std::make_shared<std::vector<double>>(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
        return Work{[=] { multiply(a->data(), c->data(), n, length); }, [c] { return bytes_of(c->data(), c->size()); }};
    };
}

} // namespace

void add_product_routines() {
    const int sizes[][2] = {{50, 2001}, {100, 401}, {100, 10001}};
    for (const auto& [n, length] : sizes) {
        add_routine("Gram product, fixed order",
                    std::to_string(n) + "x" + std::to_string(n) + "x" + std::to_string(length),
                    gram(n, length,
                         [](const double* a, double* c, int m, int k) {
                             workbench::fixed_order_product(a, a, c, m, m, k, false, true);
                         }),
                    gram(n, length, [](const double* a, double* c, int m, int k) { plain::product(a, a, c, m, m, k); }),
                    "OpenBLAS dgemm", gram(n, length, [](const double* a, double* c, int m, int k) {
                        cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasTrans, m, m, k, 1.0, a, k, a, k, 0.0, c, m);
                    }));
    }
}

} // namespace bench
