#include "workbench/check/segment_fit.h"

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/eigen.h"
#include "numerics/rows.h"
#include "workbench/fixed_order_product.h"

namespace workbench {

namespace {

// A matrix of the library, released with its owner.
class Matrix {
public:
    Matrix(long lowest, long rows, long columns)
        : lowest_(lowest), rows_(matrix(lowest, lowest + rows - 1, lowest, lowest + columns - 1)) {}
    ~Matrix() { free_matrix(rows_, lowest_, 0, lowest_, 0); }
    Matrix(const Matrix&) = delete;
    Matrix& operator=(const Matrix&) = delete;

    float** rows() { return rows_; }

private:
    long lowest_;
    float** rows_;
};

void remove_means(std::vector<float*>& rows, int length) {
    std::vector<float> means(rows.size());
    numerics::row_sums(rows.data(), static_cast<int>(rows.size()), length, means.data());
    for (std::size_t k = 0; k < rows.size(); ++k) {
        const float mean = means[k] / static_cast<float>(length);
        std::for_each(rows[k], rows[k] + length, [mean](float& x) { x -= mean; });
    }
}

void form_covariance(const std::vector<float>& epochs, int nEpochs, int length, float** covariance) {
    const std::vector<double> widened(epochs.begin(), epochs.end());
    const auto n = static_cast<std::size_t>(nEpochs);
    std::vector<double> products(n * n);
    fixed_order_product(widened.data(), widened.data(), products.data(), nEpochs, nEpochs, length, false, true);
    for (std::size_t a = 0; a < n; ++a) {
        for (std::size_t b = 0; b < n; ++b) {
            covariance[b + 1][a + 1] = static_cast<float>(products[a * n + b] / static_cast<double>(length));
        }
    }
}

} // namespace

SegmentFit fit_segment_in_memory(std::vector<float>& epochs, int nEpochs, int length, int components) {
    const auto n = static_cast<std::size_t>(nEpochs);
    const auto l = static_cast<std::size_t>(length);
    std::vector<float*> rows(n);
    for (std::size_t k = 0; k < n; ++k) {
        rows[k] = &epochs[k * l];
    }
    Matrix covariance(1, nEpochs, nEpochs);
    Matrix vectors(1, nEpochs, nEpochs);
    Matrix weights(0, components, nEpochs);
    Matrix basis(0, components, length);
    Matrix projections(0, nEpochs, components);
    std::vector<float> values(n + 1);
    std::vector<float> rest(l);
    int rotations = 0;

    using Clock = std::chrono::steady_clock;
    const auto seconds = [](Clock::duration elapsed) { return std::chrono::duration<double>(elapsed).count(); };
    const auto start = Clock::now();
    remove_means(rows, length);
    form_covariance(epochs, nEpochs, length, covariance.rows());
    const auto eigenStart = Clock::now();
    jacobi(covariance.rows(), nEpochs, values.data(), vectors.rows(), &rotations);
    eigsrt(values.data(), vectors.rows(), nEpochs);
    const auto eigenEnd = Clock::now();
    for (int p = 0; p < components; ++p) {
        for (int k = 0; k < nEpochs; ++k) {
            weights.rows()[p][k] = vectors.rows()[k + 1][p + 1];
        }
    }
    matrix_matrix_mult(weights.rows(), rows.data(), basis.rows(), components, nEpochs, length);
    numerics::row_products(rows.data(), nEpochs, basis.rows(), components, length, projections.rows());
    for (std::size_t k = 0; k < n; ++k) {
        numerics::subtract_combination(rows[k], projections.rows()[k], basis.rows(), components, length, rest.data());
    }
    return {{values.begin() + 1, values.end()},
            seconds(eigenEnd - eigenStart),
            seconds(eigenStart - start) + seconds(Clock::now() - eigenEnd)};
}

} // namespace workbench
