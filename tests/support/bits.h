#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

/// Comparison of floats bit for bit, outputs with a guard around them, and random values that are the same on
/// every machine.
namespace support {

/// A matrix of a test's own definitions: rows of equal length, indexed from 0 or, with an unused first row and
/// column, from 1.
using Rows = std::vector<std::vector<float>>;

inline Rows make_rows(int rows, int cols, float value = 0.0f) {
    return Rows(static_cast<std::size_t>(rows), std::vector<float>(static_cast<std::size_t>(cols), value));
}

/// The splitmix64 generator.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    std::uint64_t next() {
        std::uint64_t z = (state += 0x9E3779B97F4A7C15U);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }
    /// 0..n-1
    int below(int n) { return static_cast<int>(next() % static_cast<std::uint64_t>(n)); }
    float between(float low, float high) {
        const float unit = static_cast<float>(next() >> 40) * 0x1p-24f;
        return low + (high - low) * unit;
    }

private:
    std::uint64_t state;
};

inline std::uint32_t bits_of(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline float float_of(std::uint32_t bits) {
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// The same bits, so that 0 and -0 differ. All NaNs are equal: which of two NaNs an operation hands on is the
/// compiler's choice of operand order.
inline bool identical(float a, float b) {
    return (std::isnan(a) && std::isnan(b)) || bits_of(a) == bits_of(b);
}

/// Representable values between two floats; the largest integer where one of them is NaN.
inline std::int64_t ulp_distance(float a, float b) {
    if (std::isnan(a) || std::isnan(b)) {
        return std::numeric_limits<std::int64_t>::max();
    }
    const auto position = [](float value) {
        const std::int64_t magnitude = bits_of(value) & 0x7FFFFFFFU;
        return std::signbit(value) ? -magnitude : magnitude;
    };
    return std::abs(position(a) - position(b));
}

inline std::string describe(float value) {
    std::ostringstream text;
    text << std::setprecision(9) << value << " (" << std::hexfloat << value << ", bits 0x" << std::hex << std::setw(8)
         << std::setfill('0') << bits_of(value) << ")";
    return text.str();
}

inline testing::AssertionResult first_mismatch(const std::string& where, float expected, float actual) {
    return testing::AssertionFailure() << "first mismatch at " << where << ": expected " << describe(expected)
                                       << ", got " << describe(actual);
}

inline testing::AssertionResult same_bits(float expected, float actual) {
    return identical(expected, actual) ? testing::AssertionSuccess() : first_mismatch("the value", expected, actual);
}

/// Elements first..last of two vectors, which may be one-based handles.
inline testing::AssertionResult same_bits(const float* expected, const float* actual, int first, int last) {
    for (int i = first; i <= last; ++i) {
        if (!identical(expected[i], actual[i])) {
            return first_mismatch(std::string("[").append(std::to_string(i)).append("]"), expected[i], actual[i]);
        }
    }
    return testing::AssertionSuccess();
}

/// Elements first..lastRow, first..lastCol; `first` is the index base of both.
template <class Expected, class Actual>
testing::AssertionResult same_bits(const Expected& expected, const Actual& actual, int first, int lastRow,
                                   int lastCol) {
    for (int i = first; i <= lastRow; ++i) {
        for (int j = first; j <= lastCol; ++j) {
            const float wanted = expected[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
            const float found = actual[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
            if (!identical(wanted, found)) {
                std::string where = "[";
                where.append(std::to_string(i)).append("][").append(std::to_string(j)).append("]");
                return first_mismatch(where, wanted, found);
            }
        }
    }
    return testing::AssertionSuccess();
}

/// A matrix [base..base+rows-1][base..base+cols-1] inside a frame of sentinels: a write one or two elements outside
/// the range lands in the frame, where untouched() finds it. Elements start as sentinels, too. Counts of 0 or less
/// make a frame around nothing.
class GuardedMatrix {
public:
    GuardedMatrix(int indexBase, int rows, int cols)
        : base(indexBase), nRows(rows > 0 ? rows : 0), nCols(cols > 0 ? cols : 0), width(nCols + 2 * margin),
          block(static_cast<std::size_t>((nRows + 2 * margin) * width), sentinel()) {
        for (int i = 0; i < nRows + 2 * margin; ++i) {
            rowHandles.push_back(block.data() + i * width + margin - indexBase);
        }
    }
    GuardedMatrix(int indexBase, const Rows& values)
        : GuardedMatrix(indexBase, static_cast<int>(values.size()) - indexBase,
                        values.empty() ? 0 : static_cast<int>(values[0].size()) - indexBase) {
        for (int i = base; i < base + nRows; ++i) {
            for (int j = base; j < base + nCols; ++j) {
                (*this)(i, j) = values[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
            }
        }
    }
    GuardedMatrix(const GuardedMatrix&) = delete;
    GuardedMatrix& operator=(const GuardedMatrix&) = delete;

    static float sentinel() { return float_of(0x4B5A5A5BU); }

    float** handle() { return rowHandles.data() + margin - base; }
    float* operator[](std::size_t i) const {
        return rowHandles[static_cast<std::size_t>(static_cast<long>(i) + margin - base)];
    }
    float& operator()(int i, int j) { return handle()[i][j]; }

    /// The elements as values of a test's own definitions, with the same index base.
    Rows values() {
        Rows result = make_rows(base + nRows, base + nCols);
        for (int i = base; i < base + nRows; ++i) {
            for (int j = base; j < base + nCols; ++j) {
                result[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] = (*this)(i, j);
            }
        }
        return result;
    }

    /// Every sentinel of the frame still stands.
    testing::AssertionResult frame_untouched() { return check(false); }
    /// Every sentinel still stands, the elements included: nothing was written at all.
    testing::AssertionResult untouched() { return check(true); }

private:
    static constexpr int margin = 2;

    testing::AssertionResult check(bool elementsToo) {
        for (int i = -margin; i < nRows + margin; ++i) {
            for (int j = -margin; j < nCols + margin; ++j) {
                const bool inside = i >= 0 && i < nRows && j >= 0 && j < nCols;
                if ((elementsToo || !inside) && bits_of((*this)(base + i, base + j)) != bits_of(sentinel())) {
                    return testing::AssertionFailure() << "written at [" << base + i << "][" << base + j
                                                       << "]: " << describe((*this)(base + i, base + j));
                }
            }
        }
        return testing::AssertionSuccess();
    }

    int base;
    int nRows;
    int nCols;
    int width;
    std::vector<float> block;
    std::vector<float*> rowHandles;
};

/// A vector [base..base+n-1] between sentinels.
class GuardedVector {
public:
    GuardedVector(int indexBase, int n) : base(indexBase), row(indexBase, 1, n) {}
    GuardedVector(int indexBase, const std::vector<float>& values)
        : GuardedVector(indexBase, static_cast<int>(values.size())) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            handle()[base + static_cast<int>(i)] = values[i];
        }
    }
    GuardedVector(int indexBase, std::initializer_list<float> values)
        : GuardedVector(indexBase, std::vector<float>(values)) {}

    float* handle() { return row.handle()[base]; }
    float& operator[](int i) { return handle()[i]; }
    testing::AssertionResult frame_untouched() { return row.frame_untouched(); }
    testing::AssertionResult untouched() { return row.untouched(); }

private:
    int base;
    GuardedMatrix row;
};

} // namespace support
