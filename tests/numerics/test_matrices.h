#pragma once

#include <cmath>
#include <cstddef>
#include <limits>
#include <string>

#include "tests/support/bits.h"

/// Matrices that decompositions are compared on, from harmless to hostile. All are 0-based.
namespace test_matrices {

enum class Kind {
    uniform,
    large,
    tiny,
    rankDeficient,
    zeros,
    zeroRowAndColumn,
    diagonal,
    huge,
    denormal,
    wide,
    oneNan,
    oneInfinity,
    equal,
    hilbert,
    zeroOnBidiagonal,
    gradedBidiagonal,
    integers,
    last = integers
};

inline support::Rows make(support::Random& random, Kind kind, int m, int n) {
    support::Rows a = support::make_rows(m, n);
    for (int i = 0; i < m; i++) {
        for (int j = 0; j < n; j++) {
            float& x = a[std::size_t(i)][std::size_t(j)];
            const float u = random.between(-1.0f, 1.0f);
            switch (kind) {
            case Kind::large:
                x = 1e6f * u;
                break;
            case Kind::tiny:
                x = 1e-7f * u;
                break;
            case Kind::huge:
                x = 1e22f * u;
                break;
            case Kind::denormal:
                x = 1e-40f * u;
                break;
            case Kind::wide:
                x = std::ldexp(u, random.below(60) - 30);
                break;
            case Kind::zeros:
                x = 0.0f;
                break;
            case Kind::zeroRowAndColumn:
                x = i == m / 2 || j == n / 2 ? 0.0f : u;
                break;
            case Kind::diagonal:
                x = i == j ? 10.0f * u : 0.0f;
                break;
            case Kind::equal:
                x = 2.5f;
                break;
            case Kind::hilbert:
                x = 1.0f / static_cast<float>(i + j + 1);
                break;
            case Kind::zeroOnBidiagonal:
                x = (i == j && i != n / 2) || j == i + 1 ? u : 0.0f;
                break;
            case Kind::gradedBidiagonal: // a cancellation that becomes negligible on its way
                x = (i == j && i != n / 3) || j == i + 1 ? std::ldexp(u, random.below(26) - 13) : 0.0f;
                break;
            case Kind::integers:
                x = static_cast<float>(random.below(7) - 3);
                break;
            default:
                x = u;
            }
        }
    }
    if (m > 0 && n > 0) {
        float& chosen = a[std::size_t(random.below(m))][std::size_t(random.below(n))];
        if (kind == Kind::oneNan) {
            chosen = std::numeric_limits<float>::quiet_NaN();
        } else if (kind == Kind::oneInfinity) {
            chosen = std::numeric_limits<float>::infinity();
        }
    }
    if (kind == Kind::rankDeficient) {
        for (auto& row : a) {
            for (std::size_t j = 1; j < row.size(); j += 2) {
                row[j] = -2.0f * row[j - 1]; // every second column repeats the one before
            }
        }
    }
    return a;
}

/// A covariance as artifact removal makes them: n epochs of a common waveform and a little noise, their means removed.
/// Fewer samples than epochs make it rank-deficient.
inline support::Rows covariance(support::Random& random, int n, int samples) {
    support::Rows epochs = support::make_rows(n, samples);
    for (auto& epoch : epochs) {
        const float amplitude = 100.0f + random.between(-5.0f, 5.0f);
        float mean = 0.0f;
        for (std::size_t t = 0; t < epoch.size(); t++) {
            epoch[t] = amplitude * std::sin(0.3f * static_cast<float>(t)) + random.between(-1.0f, 1.0f);
            mean += epoch[t] / static_cast<float>(samples);
        }
        for (float& x : epoch) {
            x -= mean;
        }
    }
    support::Rows result = support::make_rows(n, n);
    for (std::size_t i = 0; i < result.size(); i++) {
        for (std::size_t j = 0; j < result.size(); j++) {
            double sum = 0.0;
            for (std::size_t t = 0; t < epochs[i].size(); t++) {
                sum += double(epochs[i][t]) * double(epochs[j][t]);
            }
            result[i][j] = static_cast<float>(sum / samples);
        }
    }
    return result;
}

/// Elements that rotations do not get rid of: so small that rounding gives back what a rotation takes away, beside
/// equal diagonal elements that they are too small to change and too large to vanish beside, so that every angle stays
/// 45 degrees. `signs` are those of the elements above the diagonal, row by row, in units of the smallest float. They
/// stand from row `first` on, every `step` rows, in a matrix of the given order that is diagonal otherwise.
inline support::Rows stubborn(const std::string& signs, int order, int first = 0, int step = 1) {
    support::Rows a = support::make_rows(order, order);
    for (std::size_t i = 0; i < a.size(); i++) {
        a[i][i] = static_cast<float>(i);
    }
    int count = 1;
    while (count * (count - 1) / 2 < static_cast<int>(signs.size())) {
        count++;
    }
    std::size_t next = 0;
    for (int i = 0; i < count; i++) {
        const std::size_t p = static_cast<std::size_t>(first + i * step);
        a[p][p] = 0x1.8p-121f;
        for (int j = i + 1; j < count; j++) {
            const std::size_t q = static_cast<std::size_t>(first + j * step);
            const char sign = signs[next++];
            a[p][q] = a[q][p] = sign == '+' ? 0x1p-149f : sign == '-' ? -0x1p-149f : 0.0f;
        }
    }
    return a;
}

/// Such matrices that are diagonal after all when so many sweeps have been made.
struct Stubborn {
    const char* signs;
    int sweeps;
    int rotations;
};
constexpr Stubborn stubbornOnes[] = {{"-+00--+--00+00+00--0-++-000-", 49, 872},
                                     {"+0++---+-0++0--+00-++0+00+--", 50, 873},
                                     {"0--0---0---0+0-+0+-0+--+++-+", 51, 868}};

inline void make_symmetric(support::Rows& a) {
    for (std::size_t i = 0; i < a.size(); i++) {
        for (std::size_t j = 0; j < i; j++) {
            a[i][j] = a[j][i];
        }
    }
}

/// The same matrix with indices from 1; row 0 and column 0 are zeros.
inline support::Rows one_based(const support::Rows& a) {
    support::Rows result =
        support::make_rows(static_cast<int>(a.size()) + 1, static_cast<int>(a.empty() ? 0 : a[0].size()) + 1);
    for (std::size_t i = 0; i < a.size(); i++) {
        for (std::size_t j = 0; j < a[i].size(); j++) {
            result[i + 1][j + 1] = a[i][j];
        }
    }
    return result;
}

template <class Body>
void for_each_kind(Body body) {
    for (int kind = 0; kind <= static_cast<int>(Kind::last); kind++) {
        SCOPED_TRACE("kind " + std::to_string(kind));
        body(static_cast<Kind>(kind));
    }
}

} // namespace test_matrices
