#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "numerics/arrays.h"

/// Data for the benchmarks, the same on every machine.
namespace bench {

/// The splitmix64 generator.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    float between(float low, float high) {
        std::uint64_t z = (state += 0x9E3779B97F4A7C15U);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return low + (high - low) * static_cast<float>((z ^ (z >> 31)) >> 40) * 0x1p-24f;
    }

private:
    std::uint64_t state;
};

inline std::vector<float> random_values(std::size_t count, std::uint64_t seed) {
    Random random(seed);
    std::vector<float> values(count);
    for (float& value : values) {
        value = random.between(-1.0f, 1.0f);
    }
    return values;
}

/// Rows of pointers into one block, first index `base`, as the routines take them.
class Matrix {
public:
    Matrix(int indexBase, int nRows, int nCols)
        : base(indexBase), rows(nRows), cols(nCols), handle(matrix(base, base + nRows - 1L, base, base + nCols - 1L)) {
        fill(std::vector<float>(size(), 0.0f));
    }
    Matrix(int indexBase, int nRows, int nCols, const std::vector<float>& values) : Matrix(indexBase, nRows, nCols) {
        fill(values);
    }
    Matrix(const Matrix&) = delete;
    Matrix& operator=(const Matrix&) = delete;
    ~Matrix() { free_matrix(handle, base, base + rows - 1L, base, base + cols - 1L); }

    void fill(const std::vector<float>& values) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            block()[i] = values[i];
        }
    }
    float** get() { return handle; }
    float* block() { return &handle[base][base]; }
    std::size_t size() const { return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols); }

private:
    int base;
    int rows;
    int cols;
    float** handle;
};

/// Epochs as a run sees them, row by row: a strong artifact that changes a little, two weaker ones, and noise.
inline std::vector<float> artifact_epochs(int nEpochs, int length, std::uint64_t seed) {
    Random random(seed);
    std::vector<float> epochs;
    for (int k = 0; k < nEpochs; ++k) {
        const float first = 1.0f + random.between(-0.05f, 0.05f);
        const float second = random.between(-0.2f, 0.2f);
        const float third = random.between(-1.0f, 1.0f);
        for (int j = 0; j < length; ++j) {
            const float t = static_cast<float>(j);
            epochs.push_back(first * 1000.0f * std::sin(t * 0.3f) * std::exp(-t / 100.0f) +
                             second * 300.0f * std::cos(t * 0.11f) + third * 80.0f * std::sin(t * 0.7f) +
                             random.between(-30.0f, 30.0f));
        }
    }
    return epochs;
}

/// Covariance between n such epochs, row-major.
inline std::vector<float> epoch_covariance(int n) {
    constexpr int length = 400;
    const std::vector<float> epochs = artifact_epochs(n, length, 5);
    std::vector<float> covariance;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            double sum = 0.0;
            for (int k = 0; k < length; ++k) {
                sum += static_cast<double>(epochs[static_cast<std::size_t>(i * length + k)]) *
                       static_cast<double>(epochs[static_cast<std::size_t>(j * length + k)]);
            }
            covariance.push_back(static_cast<float>(sum / length));
        }
    }
    return covariance;
}

} // namespace bench
