#include "stats/fourier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <limits>
#include <numeric>
#include <string>
#include <unistd.h>
#include <vector>

#include "numerics/arrays.h"
#include "tests/support/bits.h"
#include "tests/support/fatal.h"

using support::GuardedVector;
using support::Random;

namespace {

using Complex = std::complex<double>;
using Complexes = std::vector<Complex>;
using Floats = std::vector<float>;

constexpr double exactPi = 3.14159265358979323846;

// ---------------------------------------------------------------------------------------------------------------------
// Data

std::size_t product(const std::vector<unsigned long>& dims) {
    return std::accumulate(dims.begin(), dims.end(), std::size_t{1}, std::multiplies<>());
}

Floats random_values(std::size_t n, Random& random) {
    Floats values;
    for (std::size_t i = 0; i < n; ++i) {
        values.push_back(random.between(-1.0f, 1.0f));
    }
    return values;
}

// Noise; a sine with an offset; a slow trend with a step.
Floats typical_values(std::size_t n, int kind, Random& random) {
    Floats values = random_values(n, random);
    for (std::size_t i = 0; i < n; ++i) {
        if (kind == 1) {
            values[i] = 300.0f + 50.0f * std::sin(0.37f * static_cast<float>(i));
        } else if (kind == 2) {
            values[i] = static_cast<float>(i) / static_cast<float>(n) - (2 * i < n ? 0.0f : 1.5f);
        }
    }
    return values;
}

Complexes as_complex(const Floats& interleaved) {
    Complexes result;
    for (std::size_t i = 0; i + 1 < interleaved.size(); i += 2) {
        result.emplace_back(static_cast<double>(interleaved[i]), static_cast<double>(interleaved[i + 1]));
    }
    return result;
}

Complexes real_as_complex(const Floats& values) {
    Complexes result;
    for (const float value : values) {
        result.emplace_back(static_cast<double>(value), 0.0);
    }
    return result;
}

// ---------------------------------------------------------------------------------------------------------------------
// The definition: plain sums in double

// Transforms the elements first, first + stride, ... in place.
void exact_line(Complexes& values, std::size_t first, std::size_t stride, std::size_t n, int isign) {
    Complexes roots;
    for (std::size_t k = 0; k < n; ++k) {
        roots.push_back(std::polar(1.0, isign * 2.0 * exactPi * static_cast<double>(k) / static_cast<double>(n)));
    }
    Complexes line(n);
    for (std::size_t k = 0; k < n; ++k) {
        line[k] = values[first + k * stride];
    }
    for (std::size_t out = 0; out < n; ++out) {
        double re = 0.0;
        double im = 0.0;
        for (std::size_t k = 0; k < n; ++k) {
            const Complex& root = roots[k * out % n];
            re += line[k].real() * root.real() - line[k].imag() * root.imag();
            im += line[k].real() * root.imag() + line[k].imag() * root.real();
        }
        values[first + out * stride] = Complex(re, im);
    }
}

// Calls line(first, stride, length) for every line along every dimension, from the last to the first.
template <class Line>
void for_each_line(const std::vector<unsigned long>& dims, const Line& line) {
    const std::size_t total = product(dims);
    std::size_t stride = 1;
    for (std::size_t dim = dims.size(); dim-- > 0;) {
        const std::size_t length = dims[dim];
        for (std::size_t first = 0; first < total; ++first) {
            if (first / stride % length == 0) {
                line(first, stride, length);
            }
        }
        stride *= length;
    }
}

Complexes exact_transform(Complexes values, const std::vector<unsigned long>& dims, int isign) {
    for_each_line(dims, [&](std::size_t first, std::size_t stride, std::size_t length) {
        exact_line(values, first, stride, length, isign);
    });
    return values;
}

// Norm of the difference relative to a norm.
double error_norm(const Complexes& expected, const Complexes& found, double norm) {
    double sum = 0.0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        sum += std::norm(found[i] - expected[i]);
    }
    return std::sqrt(sum) / norm;
}

double norm_of(const Complexes& values) {
    double sum = 0.0;
    for (const Complex& value : values) {
        sum += std::norm(value);
    }
    return std::sqrt(sum);
}

// The largest error of a routine, printed beside what its reference states.
class Measured {
public:
    explicit Measured(std::string what) : name(std::move(what)) {}
    void add(double error, const std::string& where) {
        ++count;
        if (!(error <= worst)) {
            worst = error;
            worstAt = where;
        }
    }
    void expect_within(double bound) const {
        std::cout << "[ measured ] " << name << ": largest error " << worst << " (stated " << bound << ") over "
                  << count << " transforms, at " << worstAt << std::endl;
        EXPECT_GT(count, 0);
        EXPECT_LE(worst, bound) << name << " at " << worstAt;
    }

private:
    std::string name;
    double worst = 0.0;
    int count = 0;
    std::string worstAt;
};

std::string label(const std::vector<unsigned long>& dims, int kind, int isign) {
    std::string text;
    for (const unsigned long dim : dims) {
        text += std::to_string(dim) + " ";
    }
    return text + "kind " + std::to_string(kind) + " isign " + std::to_string(isign);
}

// ---------------------------------------------------------------------------------------------------------------------
// The arithmetic to the bit, in another shape: zero-based pairs, bit-reversed copies, tables of factors

struct Factor {
    double re;
    double im;
};

// The recurrence in double from angle theta: 1, w, w^2, ...
std::vector<Factor> plain_factors(double theta, std::size_t count) {
    const double s = std::sin(0.5 * theta);
    const double wpr = -2.0 * s * s;
    const double wpi = std::sin(theta);
    std::vector<Factor> factors{{1.0, 0.0}};
    while (factors.size() < count) {
        const Factor w = factors.back();
        factors.push_back({w.re * wpr - w.im * wpi + w.re, w.im * wpr + w.re * wpi + w.im});
    }
    return factors;
}

struct Pair {
    float re;
    float im;
};

std::vector<Pair> plain_fft(const std::vector<Pair>& in, int isign) {
    const std::size_t n = in.size();
    std::vector<Pair> out(n);
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t reversed = 0;
        for (std::size_t bit = 1; bit < n; bit *= 2) {
            reversed = 2 * reversed + ((i & bit) != 0 ? 1 : 0);
        }
        out[reversed] = in[i];
    }
    for (std::size_t length = 2; length <= n; length *= 2) {
        const auto factors = plain_factors(isign * (6.28318530717959 / static_cast<double>(length)), length / 2);
        for (std::size_t start = 0; start < n; start += length) {
            for (std::size_t k = 0; k < length / 2; ++k) {
                Pair& low = out[start + k];
                Pair& high = out[start + k + length / 2];
                const float re = static_cast<float>(factors[k].re * static_cast<double>(high.re) -
                                                    factors[k].im * static_cast<double>(high.im));
                const float im = static_cast<float>(factors[k].re * static_cast<double>(high.im) +
                                                    factors[k].im * static_cast<double>(high.re));
                high = {low.re - re, low.im - im};
                low = {low.re + re, low.im + im};
            }
        }
    }
    return out;
}

// Interleaved, any number of dimensions.
Floats plain_transform(Floats values, const std::vector<unsigned long>& dims, int isign) {
    for_each_line(dims, [&](std::size_t first, std::size_t stride, std::size_t length) {
        std::vector<Pair> line;
        for (std::size_t k = 0; k < length; ++k) {
            const std::size_t at = 2 * (first + k * stride);
            line.push_back({values[at], values[at + 1]});
        }
        line = plain_fft(line, isign);
        for (std::size_t k = 0; k < length; ++k) {
            values[2 * (first + k * stride)] = line[k].re;
            values[2 * (first + k * stride) + 1] = line[k].im;
        }
    });
    return values;
}

// The step of the real transforms on two mirrored frequencies. All four values are found before any is stored, the
// second pair last.
void plain_combine(float& ar, float& ai, float& br, float& bi, float c2, Factor w) {
    const float h1r = 0.5f * (ar + br);
    const float h1i = 0.5f * (ai - bi);
    const float h2r = -c2 * (ai + bi);
    const float h2i = c2 * (ar - br);
    const float newAr = static_cast<float>(h1r + w.re * h2r - w.im * h2i);
    const float newAi = static_cast<float>(h1i + w.re * h2i + w.im * h2r);
    const float newBr = static_cast<float>(h1r - w.re * h2r + w.im * h2i);
    const float newBi = static_cast<float>(-h1i + w.re * h2i + w.im * h2r);
    ar = newAr;
    ai = newAi;
    br = newBr;
    bi = newBi;
}

Floats plain_realft(Floats x, bool forward) {
    const std::size_t n = x.size();
    if (forward) {
        x = plain_transform(x, {n / 2}, 1);
    }
    const double theta = 3.141592653589793 / static_cast<double>(n / 2);
    const auto factors = plain_factors(forward ? theta : -theta, n / 4 + 1);
    for (std::size_t k = 1; k < n / 4; ++k) {
        const std::size_t mirror = n / 2 - k;
        plain_combine(x[2 * k], x[2 * k + 1], x[2 * mirror], x[2 * mirror + 1], forward ? -0.5f : 0.5f, factors[k]);
    }
    const float sum = x[0] + x[1];
    const float difference = x[0] - x[1];
    x[0] = forward ? sum : 0.5f * sum;
    x[1] = forward ? difference : 0.5f * difference;
    return forward ? x : plain_transform(x, {n / 2}, -1);
}

struct RealSpectrum {
    Floats data;
    Floats speq;
};

RealSpectrum plain_rlft3(RealSpectrum s, std::size_t n1, std::size_t n2, std::size_t n3, int isign) {
    const auto at = [&](std::size_t a, std::size_t b, std::size_t c) { return (a * n2 + b) * n3 + c; };
    if (isign == 1) {
        s.data = plain_transform(s.data, {n1, n2, n3 / 2}, 1);
        for (std::size_t a = 0; a < n1; ++a) {
            for (std::size_t b = 0; b < n2; ++b) {
                s.speq[2 * (a * n2 + b)] = s.data[at(a, b, 0)];
                s.speq[2 * (a * n2 + b) + 1] = s.data[at(a, b, 1)];
            }
        }
    }
    const auto factors = plain_factors(isign * 6.28318530717959 / static_cast<double>(n3), n3 / 4 + 1);
    for (std::size_t a = 0; a < n1; ++a) {
        for (std::size_t k = 0; k <= n3 / 4; ++k) {
            for (std::size_t b = 0; b < n2; ++b) {
                const std::size_t a2 = (n1 - a) % n1;
                const std::size_t b2 = (n2 - b) % n2;
                float* const mirror = k == 0 ? &s.speq[2 * (a2 * n2 + b2)] : &s.data[at(a2, b2, 2 * (n3 / 2 - k))];
                plain_combine(s.data[at(a, b, 2 * k)], s.data[at(a, b, 2 * k + 1)], mirror[0], mirror[1],
                              -0.5f * static_cast<float>(isign), factors[k]);
            }
        }
    }
    if (isign == -1) {
        s.data = plain_transform(s.data, {n1, n2, n3 / 2}, -1);
    }
    return s;
}

// ---------------------------------------------------------------------------------------------------------------------
// Calls on zero-based values, with sentinels around every array

// A one-based array with nothing around it: here the address sanitizer sees a read outside.
class BareVector {
public:
    explicit BareVector(const Floats& values) : last(static_cast<long>(values.size())), handle(fvector(1, last)) {
        for (long i = 1; i <= last; ++i) {
            handle[i] = values[static_cast<std::size_t>(i - 1)];
        }
    }
    ~BareVector() { free_fvector(handle, 1, last); }
    BareVector(const BareVector&) = delete;
    BareVector& operator=(const BareVector&) = delete;

private:
    long last;

public:
    float* handle;
};

Floats values_of(GuardedVector& vector, std::size_t n) {
    EXPECT_TRUE(vector.frame_untouched());
    return Floats(vector.handle() + 1, vector.handle() + 1 + n);
}

Floats run_four1(const Floats& values, int isign) {
    GuardedVector data(1, values);
    four1(data.handle(), values.size() / 2, isign);
    return values_of(data, values.size());
}

Floats run_fourn(const Floats& values, const std::vector<unsigned long>& dims, int isign) {
    GuardedVector data(1, values);
    std::vector<unsigned long> nn{9999};
    nn.insert(nn.end(), dims.begin(), dims.end());
    const std::vector<unsigned long> before = nn;
    fourn(data.handle(), nn.data(), static_cast<int>(dims.size()), isign);
    EXPECT_EQ(nn, before);
    return values_of(data, values.size());
}

Floats run_realft(const Floats& values, int isign) {
    GuardedVector data(1, values);
    realft(data.handle(), values.size(), isign);
    return values_of(data, values.size());
}

// A tensor and a matrix over the values, which lie without any gap.
RealSpectrum run_rlft3(RealSpectrum s, const std::vector<unsigned long>& dims, int isign) {
    const long n1 = static_cast<long>(dims[0]);
    const long n2 = static_cast<long>(dims[1]);
    const long n3 = static_cast<long>(dims[2]);
    float*** data = f3tensor(1, n1, 1, n2, 1, n3);
    float** speq = matrix(1, n1, 1, 2 * n2);
    std::copy(s.data.begin(), s.data.end(), &data[1][1][1]);
    std::copy(s.speq.begin(), s.speq.end(), &speq[1][1]);
    rlft3(data, speq, dims[0], dims[1], dims[2], isign);
    std::copy_n(&data[1][1][1], s.data.size(), s.data.begin());
    std::copy_n(&speq[1][1], s.speq.size(), s.speq.begin());
    free_matrix(speq, 1, n1, 1, 2 * n2);
    free_f3tensor(data, 1, n1, 1, n2, 1, n3);
    return s;
}

RealSpectrum with_sentinel_speq(const Floats& values, const std::vector<unsigned long>& dims) {
    return {values, Floats(2 * dims[0] * dims[1], support::GuardedMatrix::sentinel())};
}

testing::AssertionResult same_values(const Floats& expected, const Floats& found) {
    if (expected.size() != found.size()) {
        return testing::AssertionFailure() << expected.size() << " values expected, got " << found.size();
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (!support::identical(expected[i], found[i])) {
            return support::first_mismatch("index " + std::to_string(i), expected[i], found[i]);
        }
    }
    return testing::AssertionSuccess();
}

// The full spectrum of a real array from the packed form of realft.
Complexes unpacked(const Floats& packed) {
    const std::size_t n = packed.size();
    Complexes half{Complex(static_cast<double>(packed[0]), 0.0)};
    for (std::size_t k = 1; k < n / 2; ++k) {
        half.emplace_back(static_cast<double>(packed[2 * k]), static_cast<double>(packed[2 * k + 1]));
    }
    half.emplace_back(static_cast<double>(packed[1]), 0.0);
    return half;
}

const std::vector<std::vector<unsigned long>> gridSizes = {
    {1, 1}, {2, 1}, {1, 2}, {4, 8}, {64, 64}, {2, 1024}, {4, 2, 8}, {16, 1, 4}, {16, 16, 16}, {2, 2, 2, 2}};
const std::vector<std::vector<unsigned long>> realGridSizes = {{1, 1, 2},    {1, 1, 4},   {1, 2, 2},  {2, 1, 4},
                                                               {1, 8, 16},   {1, 64, 64}, {4, 1, 16}, {2, 4, 8},
                                                               {16, 16, 16}, {1, 1, 4096}};

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// four1

TEST(Four1, AnImpulseAtTheFirstElementHasAFlatSpectrumOfOnes) {
    for (std::size_t n = 1; n <= 1024; n *= 2) {
        for (const int isign : {1, -1}) {
            Floats impulse(2 * n, 0.0f);
            impulse[0] = 1.0f;
            const Floats spectrum = run_four1(impulse, isign);
            for (std::size_t k = 0; k < n; ++k) {
                ASSERT_EQ(spectrum[2 * k], 1.0f) << n << " " << k;
                ASSERT_EQ(spectrum[2 * k + 1], 0.0f) << n << " " << k;
            }
        }
    }
}

TEST(Four1, ForwardHasThePositiveExponent) {
    // An impulse one element later: exp(+2 pi i k / 4) = 1, i, -1, -i.
    const Floats impulse{0, 0, 1, 0, 0, 0, 0, 0};
    const Complexes expected{{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    const Complexes forward = as_complex(run_four1(impulse, 1));
    const Complexes inverse = as_complex(run_four1(impulse, -1));
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_LT(std::abs(forward[k] - expected[k]), 1e-6) << k;
        EXPECT_LT(std::abs(inverse[k] - std::conj(expected[k])), 1e-6) << k;
    }
}

TEST(Four1, ForwardAndInverseMultiplyByTheLength) {
    Random random(1);
    for (std::size_t n = 1; n <= 4096; n *= 2) {
        const Floats values = random_values(2 * n, random);
        const Floats back = run_four1(run_four1(values, 1), -1);
        for (std::size_t i = 0; i < values.size(); ++i) {
            ASSERT_NEAR(back[i] / static_cast<float>(n), values[i], 2e-6) << n << " " << i;
        }
    }
}

TEST(Four1, AgreesWithAPlainSumWithinTheStatedError) {
    Random random(2);
    Measured measured("four1");
    for (std::size_t n = 1; n <= 4096; n *= 2) {
        for (int kind = 0; kind < 3; ++kind) {
            for (const int isign : {1, -1}) {
                const Floats values = typical_values(2 * n, kind, random);
                const Complexes expected = exact_transform(as_complex(values), {n}, isign);
                measured.add(error_norm(expected, as_complex(run_four1(values, isign)), norm_of(expected)),
                             label({n}, kind, isign));
            }
        }
    }
    measured.expect_within(1.5e-7);
}

TEST(Four1, MatchesTheRecurrenceBitForBit) {
    Random random(3);
    for (std::size_t n = 1; n <= (std::size_t{1} << 20); n *= 2) {
        const Floats values = random_values(2 * n, random);
        for (const int isign : {1, -1}) {
            ASSERT_TRUE(same_values(plain_transform(values, {n}, isign), run_four1(values, isign)))
                << n << " " << isign;
        }
    }
}

TEST(Four1, NoElementsAndOneElementStayAsTheyAre) {
    GuardedVector none(1, 0);
    four1(none.handle(), 0, 1);
    EXPECT_TRUE(none.untouched());
    EXPECT_TRUE(same_values({3.5f, -2.0f}, run_four1({3.5f, -2.0f}, 1)));
}

TEST(Four1, OtherLengthsStayInsideTheArray) {
    Random random(4);
    for (std::size_t n = 0; n <= 200; ++n) {
        const Floats values = random_values(2 * n, random);
        run_four1(values, 1);
        four1(BareVector(values).handle, n, -1);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// fourn

TEST(Fourn, AgreesWithPlainSumsWithinTheStatedError) {
    Random random(5);
    Measured measured("fourn");
    for (const auto& dims : gridSizes) {
        for (int kind = 0; kind < 3; ++kind) {
            for (const int isign : {1, -1}) {
                const Floats values = typical_values(2 * product(dims), kind, random);
                const Complexes expected = exact_transform(as_complex(values), dims, isign);
                measured.add(error_norm(expected, as_complex(run_fourn(values, dims, isign)), norm_of(expected)),
                             label(dims, kind, isign));
            }
        }
    }
    measured.expect_within(1.5e-7);
}

TEST(Fourn, TheLastIndexVariesFastest) {
    // 2 x 4 elements, constant along the last index: only the frequencies (0, 0) and (1, 0) are there.
    const Floats spectrum = run_fourn({5, 0, 5, 0, 5, 0, 5, 0, 1, 0, 1, 0, 1, 0, 1, 0}, {2, 4}, 1);
    Floats expected(16, 0.0f);
    expected[0] = 24.0f;
    expected[8] = 16.0f;
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(spectrum[i], expected[i]) << i;
    }
}

TEST(Fourn, TransformsEveryLineLikeFour1BitForBit) {
    Random random(6);
    for (const auto& dims : gridSizes) {
        const Floats values = random_values(2 * product(dims), random);
        for (const int isign : {1, -1}) {
            EXPECT_TRUE(same_values(plain_transform(values, dims, isign), run_fourn(values, dims, isign)))
                << label(dims, 0, isign);
        }
    }
}

TEST(Fourn, OneDimensionIsFour1) {
    Random random(7);
    const Floats values = random_values(2 * 256, random);
    EXPECT_TRUE(same_values(run_four1(values, 1), run_fourn(values, {256}, 1)));
}

TEST(Fourn, ForwardAndInverseMultiplyByTheNumberOfElements) {
    Random random(8);
    const std::vector<unsigned long> dims{4, 8, 16};
    const Floats values = random_values(2 * product(dims), random);
    const Floats back = run_fourn(run_fourn(values, dims, 1), dims, -1);
    for (std::size_t i = 0; i < values.size(); ++i) {
        ASSERT_NEAR(back[i] / 512.0f, values[i], 2e-6) << i;
    }
}

TEST(Fourn, NoDimensionsOrAnEmptyOneChangeNothing) {
    EXPECT_TRUE(same_values({1, 2, 3, 4}, run_fourn({1, 2, 3, 4}, {}, 1)));
    EXPECT_TRUE(same_values({1, 2, 3, 4}, run_fourn({1, 2, 3, 4}, {0}, 1)));
    EXPECT_TRUE(same_values({1, 2, 3, 4}, run_fourn({1, 2, 3, 4}, {2, 0}, 1)));
    EXPECT_TRUE(same_values({1, 2, 3, 4}, run_fourn({1, 2, 3, 4}, {0, 2}, 1)));
    GuardedVector data(1, {1, 2, 3, 4});
    fourn(data.handle(), nullptr, -1, 1);
    EXPECT_EQ(data[1], 1.0f);
}

TEST(Fourn, OtherLengthsStayInsideTheArray) {
    Random random(9);
    for (unsigned long n1 = 1; n1 <= 13; ++n1) {
        for (unsigned long n2 = 1; n2 <= 13; ++n2) {
            for (unsigned long n3 = 1; n3 <= 7; n3 += 2) {
                const Floats values = random_values(2 * n1 * n2 * n3, random);
                run_fourn(values, {n1, n2, n3}, 1);
                unsigned long nn[4] = {0, n1, n2, n3};
                fourn(BareVector(values).handle, nn, 3, -1);
            }
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// realft

TEST(Realft, PacksTheZeroAndTheHalfFrequencyIntoTheFirstTwoElements) {
    const Floats packed = run_realft({3, -1, 4, 1, -5, 9, 2, 6}, 1);
    EXPECT_EQ(packed[0], 19.0f);  // the sum
    EXPECT_EQ(packed[1], -11.0f); // 3 + 1 + 4 - 1 - 5 - 9 + 2 - 6
}

TEST(Realft, AgreesWithAPlainSumWithinTheStatedError) {
    Random random(10);
    Measured forward("realft forward");
    Measured back("realft forward and back");
    for (std::size_t n = 2; n <= 4096; n *= 2) {
        for (int kind = 0; kind < 3; ++kind) {
            const Floats values = typical_values(n, kind, random);
            const Complexes all = exact_transform(real_as_complex(values), {n}, 1);
            const Complexes expected(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(n / 2 + 1));
            const Floats packed = run_realft(values, 1);
            forward.add(error_norm(expected, unpacked(packed), norm_of(expected)), label({n}, kind, 1));

            Floats returned = run_realft(packed, -1);
            for (float& value : returned) {
                value *= 2.0f / static_cast<float>(n);
            }
            const Complexes original = real_as_complex(values);
            back.add(error_norm(original, real_as_complex(returned), norm_of(original)), label({n}, kind, -1));
        }
    }
    forward.expect_within(1.5e-7);
    back.expect_within(2e-7);
}

TEST(Realft, MatchesThePlainStepsBitForBit) {
    // The longest ones see even the last digits of 2 pi.
    Random random(11);
    for (std::size_t n = 2; n <= (std::size_t{1} << 18); n *= 2) {
        const Floats values = random_values(n, random);
        ASSERT_TRUE(same_values(plain_realft(values, true), run_realft(values, 1))) << n;
        ASSERT_TRUE(same_values(plain_realft(values, false), run_realft(values, -1))) << n;
    }
}

TEST(Realft, TheAngleHasAllDigitsOfPi) {
    // 665857 / 470832 is so near to the root of 2 that the real part at the first frequency of eight almost cancels:
    // 941664 cos(pi / 4) - 665857 = -1 / (665857 + 470832 sqrt 2). A pi of 15 digits shifts it by 7e-10.
    const Floats values{-665857, 941664, 0, 0, 0, 0, 0, 0};
    const Floats packed = run_realft(values, 1);
    EXPECT_NEAR(packed[2], -1.0 / (665857.0 + 470832.0 * std::sqrt(2.0)), 2e-10);
    EXPECT_TRUE(same_values(plain_realft(values, true), packed));
}

TEST(Realft, EverySignButOneIsTheInverse) {
    Random random(12);
    const Floats values = random_values(64, random);
    const Floats inverse = run_realft(values, -1);
    ASSERT_FALSE(same_values(inverse, run_realft(values, 1)));
    for (const int isign : {0, 2, -2, 1000, std::numeric_limits<int>::min()}) {
        EXPECT_TRUE(same_values(inverse, run_realft(values, isign))) << isign;
    }
}

TEST(Realft, TheInverseYieldsHalfTheLengthTimesTheValues) {
    const Floats back = run_realft(run_realft({1, 2, 3, 5, 8, 13, 21, 34}, 1), -1);
    const Floats expected{4, 8, 12, 20, 32, 52, 84, 136};
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_NEAR(back[i], expected[i], 2e-5) << i;
    }
}

TEST(Realft, TwoValuesAreASumAndADifference) {
    EXPECT_TRUE(same_values({8, -2}, run_realft({3, 5}, 1)));
    EXPECT_TRUE(same_values({3, 5}, run_realft({8, -2}, -1)));
}

TEST(Realft, NoneOrOneValueStaysAsItIs) {
    for (const int isign : {1, -1}) {
        GuardedVector none(1, 0);
        realft(none.handle(), 0, isign);
        EXPECT_TRUE(none.untouched());
        EXPECT_TRUE(same_values({7.5f}, run_realft({7.5f}, isign)));
    }
}

TEST(Realft, OtherLengthsStayInsideTheArray) {
    Random random(13);
    for (std::size_t n = 0; n <= 200; ++n) {
        const Floats values = random_values(n, random);
        for (const int isign : {1, -1}) {
            run_realft(values, isign);
            realft(BareVector(values).handle, n, isign);
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// rlft3

TEST(Rlft3, AgreesWithPlainSumsWithinTheStatedError) {
    Random random(14);
    Measured forward("rlft3 forward");
    Measured back("rlft3 forward and back");
    for (const auto& dims : realGridSizes) {
        const std::size_t half = dims[2] / 2;
        for (int kind = 0; kind < 3; ++kind) {
            const Floats values = typical_values(product(dims), kind, random);
            const Complexes all = exact_transform(real_as_complex(values), dims, 1);
            const RealSpectrum spectrum = run_rlft3(with_sentinel_speq(values, dims), dims, 1);
            Complexes expected;
            Complexes found;
            for (std::size_t row = 0; row < dims[0] * dims[1]; ++row) {
                for (std::size_t k = 0; k <= half; ++k) {
                    expected.push_back(all[row * dims[2] + k]);
                    const float* const at = k < half ? &spectrum.data[row * dims[2] + 2 * k] : &spectrum.speq[2 * row];
                    found.emplace_back(static_cast<double>(at[0]), static_cast<double>(at[1]));
                }
            }
            forward.add(error_norm(expected, found, norm_of(expected)), label(dims, kind, 1));

            RealSpectrum returned = run_rlft3(spectrum, dims, -1);
            for (float& value : returned.data) {
                value *= 2.0f / static_cast<float>(product(dims));
            }
            const Complexes original = real_as_complex(values);
            back.add(error_norm(original, real_as_complex(returned.data), norm_of(original)), label(dims, kind, -1));
        }
    }
    forward.expect_within(1.5e-7);
    back.expect_within(2e-7);
}

TEST(Rlft3, MatchesThePlainStepsBitForBit) {
    Random random(15);
    for (const auto& dims : realGridSizes) {
        RealSpectrum s{random_values(product(dims), random), random_values(2 * dims[0] * dims[1], random)};
        for (const int isign : {1, -1}) {
            const RealSpectrum expected = plain_rlft3(s, dims[0], dims[1], dims[2], isign);
            const RealSpectrum found = run_rlft3(s, dims, isign);
            EXPECT_TRUE(same_values(expected.data, found.data)) << label(dims, 0, isign);
            EXPECT_TRUE(same_values(expected.speq, found.speq)) << label(dims, 0, isign);
        }
    }
}

TEST(Rlft3, OtherSignsScaleTheirShareAndTransformNothingElse) {
    Random random(16);
    for (const auto& dims : realGridSizes) {
        const RealSpectrum s{random_values(product(dims), random), random_values(2 * dims[0] * dims[1], random)};
        for (const int isign : {0, 2, -2, 5}) {
            const RealSpectrum expected = plain_rlft3(s, dims[0], dims[1], dims[2], isign);
            const RealSpectrum found = run_rlft3(s, dims, isign);
            EXPECT_TRUE(same_values(expected.data, found.data)) << label(dims, 0, isign);
            EXPECT_TRUE(same_values(expected.speq, found.speq)) << label(dims, 0, isign);
        }
    }
    // Half of a + conj b, and half of a - conj b times -6 i.
    const RealSpectrum found = run_rlft3({{1.0f, 0.0f}, {0.0f, 0.0f}}, {1, 1, 2}, 6);
    EXPECT_EQ(found.data, (Floats{0.5f, -3.0f}));
    EXPECT_EQ(found.speq, (Floats{0.5f, -3.0f}));
}

TEST(Rlft3, DataThatAreNotContiguousGoUnnoticed) {
    // Rows 8 floats apart: a transform over the wrong elements, but no complaint and no end of the process.
    Floats block(8 * 8, 1.0f);
    std::vector<float*> rows{nullptr};
    for (std::size_t i = 0; i < 4; ++i) {
        rows.push_back(block.data() + 8 * i - 1);
    }
    std::vector<float**> tensor{nullptr, rows.data()};
    float** speq = matrix(1, 1, 1, 8);
    rlft3(tensor.data(), speq, 1, 4, 4, 1);
    EXPECT_EQ(block[0], 16.0f); // the sum of the first 16 floats of the block
    EXPECT_EQ(speq[1][1], 0.0f);
    free_matrix(speq, 1, 1, 1, 8);
}

TEST(Rlft3, EmptyDimensionsChangeNothing) {
    float*** data = f3tensor(1, 2, 1, 2, 1, 2);
    float** speq = matrix(1, 2, 1, 4);
    std::fill_n(&data[1][1][1], 8, 5.0f);
    std::fill_n(&speq[1][1], 8, 6.0f);
    for (const int isign : {1, -1}) {
        rlft3(nullptr, nullptr, 0, 2, 2, isign);
        rlft3(data, speq, 2, 0, 2, isign);
        rlft3(data, speq, 2, 2, 0, isign);
        rlft3(data, speq, 2, 2, 1, isign);
    }
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ((&data[1][1][1])[i], 5.0f);
        EXPECT_EQ((&speq[1][1])[i], 6.0f);
    }
    free_matrix(speq, 1, 2, 1, 4);
    free_f3tensor(data, 1, 2, 1, 2, 1, 2);
}

TEST(Rlft3, OtherLengthsStayInsideTheArrays) {
    Random random(16);
    for (unsigned long n1 = 1; n1 <= 6; ++n1) {
        for (unsigned long n2 = 1; n2 <= 7; ++n2) {
            for (unsigned long n3 = 1; n3 <= 14; ++n3) {
                const std::vector<unsigned long> dims{n1, n2, n3};
                const Floats values = random_values(product(dims), random);
                run_rlft3(run_rlft3(with_sentinel_speq(values, dims), dims, 1), dims, -1); // exact blocks from malloc
            }
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// twofft

namespace {

struct TwoSpectra {
    Floats first;
    Floats second;
};

TwoSpectra run_twofft(const Floats& one, const Floats& two) {
    const std::size_t n = one.size();
    GuardedVector data1(1, one);
    GuardedVector data2(1, two);
    GuardedVector fft1(1, static_cast<int>(2 * n));
    GuardedVector fft2(1, static_cast<int>(2 * n));
    twofft(data1.handle(), data2.handle(), fft1.handle(), fft2.handle(), n);
    EXPECT_TRUE(same_values(one, values_of(data1, n)));
    EXPECT_TRUE(same_values(two, values_of(data2, n)));
    return {values_of(fft1, 2 * n), values_of(fft2, 2 * n)};
}

Floats interleaved(const Floats& re, const Floats& im) {
    Floats result;
    for (std::size_t i = 0; i < re.size(); ++i) {
        result.push_back(re[i]);
        result.push_back(im[i]);
    }
    return result;
}

// From the spectrum H of one + i two: (H_k + conj H_-k) / 2 and (H_k - conj H_-k) / 2i, by the lower half, whose
// mirror images are the upper half.
TwoSpectra plain_twofft(const Floats& one, const Floats& two) {
    const std::size_t n = one.size();
    const Floats h = plain_transform(interleaved(one, two), {n}, 1);
    TwoSpectra result{Floats(2 * n), Floats(2 * n)};
    result.first[0] = h[0];
    result.second[0] = h[1];
    for (std::size_t k = 1; k <= n / 2; ++k) {
        const std::size_t mirror = n - k;
        const float re = h[2 * k], im = h[2 * k + 1], mirrorRe = h[2 * mirror], mirrorIm = h[2 * mirror + 1];
        const Pair first{0.5f * (re + mirrorRe), 0.5f * (im - mirrorIm)};
        const Pair second{0.5f * (im + mirrorIm), -0.5f * (re - mirrorRe)};
        result.first[2 * k] = first.re;
        result.first[2 * k + 1] = first.im;
        result.second[2 * k] = second.re;
        result.second[2 * k + 1] = second.im;
        result.first[2 * mirror] = first.re; // of the half frequency the mirror image stays, with a -0 and a +0
        result.first[2 * mirror + 1] = -first.im;
        result.second[2 * mirror] = second.re;
        result.second[2 * mirror + 1] = -second.im;
    }
    return result;
}

} // namespace

TEST(Twofft, GivesTheSpectraOfTwoSeparateTransforms) {
    Random random(17);
    Measured measured("twofft");
    for (std::size_t n = 1; n <= 4096; n *= 2) {
        for (int kind = 0; kind < 3; ++kind) {
            const Floats one = typical_values(n, kind, random);
            const Floats two = typical_values(n, 0, random);
            const TwoSpectra found = run_twofft(one, two);
            const Complexes first = exact_transform(real_as_complex(one), {n}, 1);
            const Complexes second = exact_transform(real_as_complex(two), {n}, 1);
            const double both = std::hypot(norm_of(first), norm_of(second));
            measured.add(error_norm(first, as_complex(found.first), both), label({n}, kind, 1));
            measured.add(error_norm(second, as_complex(found.second), both), label({n}, kind, 2));

            const Complexes separate = as_complex(run_four1(interleaved(one, Floats(n, 0.0f)), 1));
            EXPECT_LT(error_norm(separate, as_complex(found.first), both), 4e-7) << n;
        }
    }
    measured.expect_within(1.5e-7);
}

TEST(Twofft, MatchesThePlainStepsBitForBit) {
    Random random(18);
    for (std::size_t n = 1; n <= 4096; n *= 2) {
        const Floats one = random_values(n, random);
        const Floats two = random_values(n, random);
        const TwoSpectra expected = plain_twofft(one, two);
        const TwoSpectra found = run_twofft(one, two);
        ASSERT_TRUE(same_values(expected.first, found.first)) << n;
        ASSERT_TRUE(same_values(expected.second, found.second)) << n;
    }
}

TEST(Twofft, OtherLengthsStayInsideTheArrays) {
    Random random(19);
    for (std::size_t n = 0; n <= 130; ++n) {
        const Floats one = random_values(n, random);
        const Floats two = random_values(n, random);
        run_twofft(one, two);
        const Floats room(2 * n);
        twofft(BareVector(one).handle, BareVector(two).handle, BareVector(room).handle, BareVector(room).handle, n);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// convlv

namespace {

struct Convolution {
    Floats result; // ans[1..n]
    Floats respns; // [1..n] afterwards
};

// The response is given in [1..m]; what follows must not matter.
Convolution run_convlv(const Floats& values, const Floats& response, int isign) {
    const std::size_t n = values.size();
    GuardedVector data(1, values);
    GuardedVector respns(1, static_cast<int>(n));
    for (std::size_t i = 0; i < response.size() && i < n; ++i) {
        respns[static_cast<int>(i) + 1] = response[i];
    }
    GuardedVector ans(1, static_cast<int>(2 * n));
    convlv(data.handle(), n, respns.handle(), response.size(), isign, ans.handle());
    EXPECT_TRUE(same_values(values, values_of(data, n)));
    values_of(ans, 2 * n);
    return {Floats(ans.handle() + 1, ans.handle() + 1 + n), values_of(respns, n)};
}

// The definition: the sum over lags of response and data, round and round.
std::vector<double> circular(const Floats& values, const Floats& response) {
    const long n = static_cast<long>(values.size());
    const long side = (static_cast<long>(response.size()) - 1) / 2;
    std::vector<double> result(values.size(), 0.0);
    for (long i = 0; i < n; ++i) {
        for (long lag = -side; lag <= side; ++lag) {
            const long at = lag >= 0 ? lag : static_cast<long>(response.size()) + lag;
            result[static_cast<std::size_t>(i)] +=
                static_cast<double>(response[static_cast<std::size_t>(at)]) *
                static_cast<double>(values[static_cast<std::size_t>((i - lag + n) % n)]);
        }
    }
    return result;
}

double norm_of(const Floats& values) {
    return norm_of(real_as_complex(values));
}

double square(double a) {
    return a * a;
}

} // namespace

TEST(Convlv, AResponseOfOneReturnsTheData) {
    Random random(20);
    const Floats values = random_values(256, random);
    for (const int isign : {1, -1}) {
        const Floats found = run_convlv(values, {1.0f}, isign).result;
        for (std::size_t i = 0; i < values.size(); ++i) {
            EXPECT_NEAR(found[i], values[i], 1e-6) << i;
        }
    }
}

TEST(Convlv, PositiveLagsStandFirstAndNegativeLagsCountDownFromTheEnd) {
    // Lag 0: 1, lag 1: 10, lag 2: 100, lag -2: 1000, lag -1: 10000, on an impulse at the third of eight values.
    const Floats found = run_convlv({0, 0, 1, 0, 0, 0, 0, 0}, {1, 10, 100, 1000, 10000}, 1).result;
    const Floats expected{1000, 10000, 1, 10, 100, 0, 0, 0};
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_NEAR(found[i], expected[i], 5e-3) << i;
    }
}

TEST(Convlv, WrapsRoundAtTheEnds) {
    const Floats found = run_convlv({0, 0, 0, 0, 0, 0, 0, 1}, {0, 1, 2}, 1).result; // lag 1: 1, lag -1: 2
    const Floats expected{1, 0, 0, 0, 0, 0, 2, 0};
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_NEAR(found[i], expected[i], 1e-5) << i;
    }
}

TEST(Convlv, AgreesWithTheDirectCircularSumWithinTheStatedError) {
    Random random(21);
    Measured measured("convlv");
    for (std::size_t n = 2; n <= 4096; n *= 2) {
        for (std::size_t m = 1; m < n && m < 200; m = 2 * m + 1) {
            for (int kind = 0; kind < 3; ++kind) {
                const Floats values = typical_values(n, kind, random);
                const Floats response = random_values(m, random);
                const std::vector<double> expected = circular(values, response);
                const Floats found = run_convlv(values, response, 1).result;
                double worst = 0.0;
                for (std::size_t i = 0; i < n; ++i) {
                    worst = std::max(worst, std::abs(static_cast<double>(found[i]) - expected[i]));
                }
                measured.add(worst / (square(norm_of(values)) + square(norm_of(response))), label({n, m}, kind, 1));
            }
        }
    }
    measured.expect_within(1e-7);
}

TEST(Convlv, PaddedDataDoNotWrap) {
    Random random(22);
    Floats values = random_values(250, random);
    Floats padded(256, 99.0f);
    zeropad(values.data(), 250, padded.data(), 256);
    const Floats response = random_values(13, random); // 6 to each side
    const Floats found = run_convlv(padded, response, 1).result;
    for (long i = 0; i < 250; ++i) {
        double expected = 0.0;
        for (long lag = -6; lag <= 6; ++lag) {
            if (i - lag >= 0 && i - lag < 250) {
                expected += static_cast<double>(response[static_cast<std::size_t>(lag >= 0 ? lag : 13 + lag)]) *
                            static_cast<double>(values[static_cast<std::size_t>(i - lag)]);
            }
        }
        EXPECT_NEAR(found[static_cast<std::size_t>(i)], expected, 1e-5) << i;
    }
}

TEST(Convlv, DeconvolutionUndoesTheConvolution) {
    Random random(23);
    const Floats values = random_values(512, random);
    const Floats response{2.0f, 0.5f, -0.25f, 0.125f, 0.5f}; // no zero in its spectrum
    const Floats back = run_convlv(run_convlv(values, response, 1).result, response, -1).result;
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(back[i], values[i], 3e-6) << i;
    }
}

TEST(Convlv, DeconvolvingByANanGivesNanAndIsNotFatal) {
    // The squared magnitude of the response is NaN then, which is not 0.
    const float notANumber = std::numeric_limits<float>::quiet_NaN();
    for (const Floats& response : {Floats{notANumber}, Floats{2.0f, notANumber, 1.0f}}) {
        for (const float value : run_convlv({1, 2, 3, 4}, response, -1).result) {
            EXPECT_TRUE(std::isnan(value)) << value;
        }
    }
}

TEST(Convlv, MovesTheNegativeLagsToTheEndOfTheResponseInPlace) {
    const Floats values(8, 1.0f);
    EXPECT_TRUE(same_values({1, 2, 3, 0, 0, 0, 4, 5}, run_convlv(values, {1, 2, 3, 4, 5}, 1).respns));
    EXPECT_TRUE(same_values({1, 0, 0, 0, 0, 0, 0, 0}, run_convlv(values, {1}, 1).respns));
    EXPECT_TRUE(same_values({1, 2, 3, 4, 0, 5, 6, 7}, run_convlv(values, {1, 2, 3, 4, 5, 6, 7}, 1).respns));
}

TEST(Convlv, MultipliesTheSpectraInSinglePrecisionBitForBit) {
    Random random(24);
    for (std::size_t n = 2; n <= 1024; n *= 2) {
        for (const int isign : {1, -1}) {
            const Floats values = random_values(n, random);
            const Floats response = random_values(n / 2 + 1 - n / 2 % 2, random);
            Floats wrapped(n, 0.0f);
            const std::size_t side = (response.size() - 1) / 2;
            for (std::size_t i = 0; i <= side; ++i) {
                wrapped[i] = response[i];
                wrapped[i > 0 ? n - i : 0] = response[i > 0 ? response.size() - i : 0];
            }
            const TwoSpectra spectra = plain_twofft(values, wrapped);
            const float half = static_cast<float>(n / 2);
            Floats packed(n);
            for (std::size_t k = 0; k <= n / 2; ++k) {
                const Pair d{spectra.first[2 * k], spectra.first[2 * k + 1]};
                const Pair r{spectra.second[2 * k], spectra.second[2 * k + 1]};
                Pair quotient{(d.re * r.re - d.im * r.im) / half, (d.im * r.re + d.re * r.im) / half};
                if (isign == -1) {
                    const float mag2 = r.re * r.re + r.im * r.im;
                    quotient = {(d.re * r.re + d.im * r.im) / mag2 / half, (d.im * r.re - d.re * r.im) / mag2 / half};
                }
                if (k < n / 2) {
                    packed[2 * k] = quotient.re;
                    packed[2 * k + 1] = quotient.im;
                }
                if (k == n / 2) {
                    packed[1] = quotient.re;
                }
            }
            EXPECT_TRUE(same_values(plain_realft(packed, false), run_convlv(values, response, isign).result))
                << n << " " << isign;
        }
    }
}

TEST(ConvlvDeathTest, OtherSignsAreFatal) {
    for (const int isign : {0, 2, -2}) {
        EXPECT_FATAL(run_convlv({1, 2, 3, 4}, {1}, isign), "No meaning for isign in convlv");
    }
}

namespace {

// In the order of convlv's arguments, at [1..4] and ans at [1..8], for a look while the fatal error ends the process.
float refusedData[5] = {0.0f, 1.0f, 2.0f, 3.0f, 4.0f};
float refusedResponse[5] = {0.0f, 5.0f, 0.5f, 0.25f, 0.0f};
float refusedAns[9] = {};

// What the two spectra leave, and nothing else.
void leave_with_what_stands_in_ans() {
    float work[9] = {};
    float spectrum[9] = {};
    float response[5] = {0.0f, 5.0f, 0.5f, 0.0f, 0.25f}; // the negative lag at the end
    twofft(refusedData, response, work, spectrum, 4);
    _exit(std::equal(spectrum + 1, spectrum + 9, refusedAns + 1) && spectrum[1] == 5.75f ? 17 : 18);
}

} // namespace

TEST(ConvlvDeathTest, OtherSignsAreFatalBeforeAnyProductIsWritten) {
    for (const int isign : {0, 2, -2}) {
        EXPECT_EXIT(
            {
                support::expect_no_release();
                std::atexit(leave_with_what_stands_in_ans);
                convlv(refusedData, 4, refusedResponse, 3, isign, refusedAns);
            },
            testing::ExitedWithCode(17), "No meaning for isign in convlv");
    }
}

TEST(ConvlvDeathTest, DeconvolvingWhereTheResponseIsZeroIsFatal) {
    EXPECT_FATAL(run_convlv({1, 2, 3, 4}, {0}, -1), "Deconvolving at response zero in convlv");
    // 2 at lag 0, 1 on both sides: nothing at the half frequency.
    EXPECT_FATAL(run_convlv({1, 2, 3, 4}, {2, 1, 1}, -1), "Deconvolving at response zero in convlv");
    // The squares are single precision: these underflow.
    EXPECT_FATAL(run_convlv({0, 0, 0, 0}, {1e-23f}, -1), "Deconvolving at response zero in convlv");
}

TEST(ConvlvDeathTest, AWorkVectorThatCannotBeHadIsFatal) {
    EXPECT_FATAL(convlv(nullptr, std::numeric_limits<unsigned long>::max() / 4, nullptr, 1, 1, nullptr),
                 "allocation failure in vector()");
    // Twice this length is 0 in 64 bits.
    EXPECT_FATAL(convlv(nullptr, std::numeric_limits<unsigned long>::max() / 2 + 1, nullptr, 1, 1, nullptr),
                 "allocation failure in vector()");
}

TEST(Convlv, OtherLengthsStayInsideTheArrays) {
    Random random(25);
    for (std::size_t n = 0; n <= 40; ++n) {
        for (std::size_t m = 0; m <= 2 * n + 3; ++m) {
            const Floats values = random_values(n, random);
            const Floats response = random_values(m, random);
            run_convlv(values, response, 1);
            convlv(BareVector(values).handle, n, BareVector(Floats(n, 1.0f)).handle, m, 1,
                   BareVector(Floats(2 * n)).handle);
        }
    }
}

TEST(Convlv, NoResponseCountsAsZeros) {
    const Floats found = run_convlv({1, 2, 3, 4}, {}, 1).result;
    for (const float value : found) {
        EXPECT_EQ(value, 0.0f);
    }
}

TEST(Convlv, NoDataDoNothing) {
    convlv(nullptr, 0, nullptr, 0, 1, nullptr);
}

// ---------------------------------------------------------------------------------------------------------------------
// zeropad

TEST(Zeropad, CopiesAndAppendsZerosFromIndexZero) {
    float in[] = {1.5f, -2.0f, 3.0f};
    GuardedVector out(0, 8);
    zeropad(in, 3, out.handle(), 8);
    EXPECT_TRUE(out.frame_untouched());
    const Floats expected{1.5f, -2.0f, 3.0f, 0, 0, 0, 0, 0};
    EXPECT_TRUE(same_values(expected, Floats(out.handle(), out.handle() + 8)));
}

TEST(Zeropad, CopiesAllValuesWhereThePaddedLengthIsSmaller) {
    float in[] = {1, 2, 3, 4, 5};
    GuardedVector out(0, 5);
    zeropad(in, 5, out.handle(), 3);
    EXPECT_TRUE(out.frame_untouched());
    EXPECT_TRUE(same_values({1, 2, 3, 4, 5}, Floats(out.handle(), out.handle() + 5)));
}

TEST(Zeropad, WritesNoZerosWhereTheLengthsAreEqual) {
    float in[] = {1, 2};
    GuardedVector out(0, 4);
    zeropad(in, 2, out.handle(), 2);
    EXPECT_EQ(out[1], 2.0f);
    EXPECT_EQ(out[2], support::GuardedMatrix::sentinel());
}

TEST(Zeropad, NegativeCountsAreZero) {
    GuardedVector out(0, 3);
    zeropad(nullptr, -2, out.handle(), -1);
    EXPECT_TRUE(out.untouched());
    zeropad(nullptr, -2, out.handle(), 2);
    EXPECT_TRUE(out.frame_untouched());
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(out[1], 0.0f);
    EXPECT_EQ(out[2], support::GuardedMatrix::sentinel());
}
