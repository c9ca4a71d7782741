#include "stats/fitting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include "numerics/svd.h"
#include "stats/gamma.h"
#include "tests/support/bits.h"
#include "tests/support/checkers.h"
#include "tests/support/child_process.h"
#include "tests/support/fatal.h"

using support::GuardedVector;
using support::Random;
using support::same_bits;

namespace {

using Floats = std::vector<float>;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

struct Line {
    float a, b, siga, sigb, chi2, q;
};

Line run_fit(const Floats& x, const Floats& y, const Floats& sig, int mwt) {
    GuardedVector xs(1, x);
    GuardedVector ys(1, y);
    GuardedVector sigs(1, sig);
    Line line{notANumber, notANumber, notANumber, notANumber, notANumber, notANumber};
    fit(xs.handle(), ys.handle(), static_cast<int>(x.size()), sigs.handle(), mwt, &line.a, &line.b, &line.siga,
        &line.sigb, &line.chi2, &line.q);
    return line;
}

// The steps again, with the precision of each one spelled out.
Line plain_fit(const Floats& x, const Floats& y, const Floats& sig, bool weighted) {
    const std::size_t n = x.size();
    float ss = weighted ? 0.0f : static_cast<float>(n);
    float sx = 0.0f;
    float sy = 0.0f;
    for (std::size_t i = 0; i < n; ++i) {
        const float squared = weighted ? sig[i] * sig[i] : 1.0f;
        const float wt = static_cast<float>(1.0 / static_cast<double>(squared));
        ss = weighted ? ss + wt : ss;
        const float wx = x[i] * wt;
        const float wy = y[i] * wt;
        sx += wx;
        sy += wy;
    }
    const float centre = sx / ss;
    float st2 = 0.0f;
    Line line{0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f};
    for (std::size_t i = 0; i < n; ++i) {
        const float divisor = weighted ? sig[i] : 1.0f;
        const float t = (x[i] - centre) / divisor;
        const float squared = t * t;
        st2 += squared;
        const float ty = t * y[i];
        line.b += ty / divisor;
    }
    line.b /= st2;
    const float intercepted = sx * line.b;
    line.a = (sy - intercepted) / ss;
    const float ratio = (sx * sx) / (ss * st2);
    line.siga = static_cast<float>(std::sqrt((1.0 + static_cast<double>(ratio)) / static_cast<double>(ss)));
    line.sigb = static_cast<float>(std::sqrt(1.0 / static_cast<double>(st2)));
    for (std::size_t i = 0; i < n; ++i) {
        const float slope = line.b * x[i];
        const float above = y[i] - line.a;
        const float residual = (above - slope) / (weighted ? sig[i] : 1.0f);
        const float squared = residual * residual;
        line.chi2 += squared;
    }
    if (weighted) {
        line.q = gammq(0.5f * static_cast<float>(n - 2), 0.5f * line.chi2);
    } else {
        const float sigdat = std::sqrt(line.chi2 / static_cast<float>(n - 2));
        line.siga *= sigdat;
        line.sigb *= sigdat;
    }
    return line;
}

testing::AssertionResult same_line(const Line& expected, const Line& found) {
    const Floats wanted{expected.a, expected.b, expected.siga, expected.sigb, expected.chi2, expected.q};
    const Floats got{found.a, found.b, found.siga, found.sigb, found.chi2, found.q};
    const char* const names[] = {"a", "b", "siga", "sigb", "chi2", "q"};
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (!support::identical(wanted[i], got[i])) {
            return support::first_mismatch(names[i], wanted[i], got[i]);
        }
    }
    return testing::AssertionSuccess();
}

// A basis function's values, with sentinels behind the last one written.
template <class Basis>
Floats run_basis(const Basis& basis, std::size_t room) {
    GuardedVector values(1, static_cast<int>(room));
    basis(values.handle());
    EXPECT_TRUE(values.frame_untouched());
    Floats written(values.handle() + 1, values.handle() + 1 + room);
    while (!written.empty() && written.back() == support::GuardedMatrix::sentinel()) {
        written.pop_back();
    }
    return written;
}

Floats run_fleg(float x, int nl, std::size_t room) {
    return run_basis([&](float* pl) { fleg(x, pl, nl); }, room);
}

Floats run_fleg2D(float x, int ma = 6) {
    return run_basis([&](float* afunc) { fleg2D(x, afunc, ma); }, 60);
}

Floats run_fleg3D(float x, int ma = 4) {
    return run_basis([&](float* afunc) { fleg3D(x, afunc, ma); }, 60);
}

// Sets the grid for one test.
class Grid {
public:
    Grid(int dim, int dimZ, int degree) {
        g_dim = dim;
        g_dim_z = dimZ;
        g_nbsfns_dim = degree;
    }
    ~Grid() {
        g_dim = 128;
        g_dim_z = 128;
        g_nbsfns_dim = 2;
    }
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;
};

// P_2
float second(float x) {
    return 1.5f * x * x - 0.5f;
}

void expect_near(const Floats& expected, const Floats& found, double tolerance) {
    ASSERT_EQ(expected.size(), found.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(expected[i], found[i], tolerance) << i;
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// fit

TEST(Fit, PointsOnALineLeaveNoResiduals) {
    const Line line = run_fit({1, 2, 3}, {1, 2, 3}, {}, 0);
    EXPECT_EQ(line.a, 0.0f);
    EXPECT_EQ(line.b, 1.0f);
    EXPECT_EQ(line.chi2, 0.0f);
    EXPECT_EQ(line.q, 1.0f);
    EXPECT_EQ(line.siga, 0.0f);
    EXPECT_EQ(line.sigb, 0.0f);
}

TEST(Fit, WithoutWeightsTheScatterScalesTheErrors) {
    // By hand: slope 1/2 through (2, 2); residuals -1/2, 1, -1/2; errors sqrt(7/3) and sqrt(1/2) times sqrt(3/2).
    const Line line = run_fit({1, 2, 3}, {1, 3, 2}, {}, 0);
    EXPECT_FLOAT_EQ(line.a, 1.0f);
    EXPECT_FLOAT_EQ(line.b, 0.5f);
    EXPECT_FLOAT_EQ(line.chi2, 1.5f);
    EXPECT_FLOAT_EQ(line.siga, std::sqrt(3.5f));
    EXPECT_FLOAT_EQ(line.sigb, std::sqrt(0.75f));
    EXPECT_EQ(line.q, 1.0f);
}

TEST(Fit, WithWeightsTheStandardDeviationsGiveErrorsAndProbability) {
    const Line line = run_fit({1, 2, 3}, {1, 3, 2}, {2, 2, 2}, 1);
    EXPECT_FLOAT_EQ(line.a, 1.0f);
    EXPECT_FLOAT_EQ(line.b, 0.5f);
    EXPECT_FLOAT_EQ(line.chi2, 0.375f);
    EXPECT_FLOAT_EQ(line.siga, 2.0f * std::sqrt(7.0f / 3.0f));
    EXPECT_FLOAT_EQ(line.sigb, std::sqrt(2.0f));
    EXPECT_NEAR(line.q, std::erfc(std::sqrt(0.1875)), 1e-6); // one degree of freedom
}

TEST(Fit, TheProbabilityCountsTwoFewerDegreesOfFreedomThanPoints) {
    // Four points: chi2 with two degrees of freedom, q = exp(-chi2 / 2).
    const Line line = run_fit({1, 2, 3, 4}, {1, 3, 2, 5}, {1, 1, 1, 1}, -7); // any mwt but 0
    EXPECT_NEAR(line.chi2, 2.7f, 1e-5);
    EXPECT_NEAR(line.q, std::exp(-1.35), 1e-5);
}

TEST(Fit, WeightsAreInverseSquares) {
    // Two points at x = 0 count as one between them, nearer to the one with half the deviation: (4*0 + 1*5) / 5 = 1.
    const Line line = run_fit({0, 0, 2}, {0, 5, 7}, {1, 2, 1}, 1);
    EXPECT_FLOAT_EQ(line.a, 1.0f);
    EXPECT_FLOAT_EQ(line.b, 3.0f);
    EXPECT_FLOAT_EQ(line.chi2, 5.0f); // 1 and (4/2)^2
}

TEST(Fit, MatchesThePlainStepsBitForBit) {
    Random random(1);
    for (int run = 0; run < 300; ++run) {
        const std::size_t n = static_cast<std::size_t>(3 + random.below(200));
        Floats x, y, sig;
        for (std::size_t i = 0; i < n; ++i) {
            x.push_back(random.between(-20.0f, 50.0f));
            sig.push_back(random.between(0.5f, 3.0f));
            y.push_back(3.0f + 0.7f * x.back() + random.between(-2.0f, 2.0f));
        }
        ASSERT_TRUE(same_line(plain_fit(x, y, sig, true), run_fit(x, y, sig, 1))) << run;
        ASSERT_TRUE(same_line(plain_fit(x, y, sig, false), run_fit(x, y, sig, 0))) << run;
    }
}

TEST(Fit, WithoutWeightsTheDeviationsAreNotRead) {
    float x[] = {0, 1, 2, 3};
    Line line{};
    fit(x, x, 3, nullptr, 0, &line.a, &line.b, &line.siga, &line.sigb, &line.chi2, &line.q);
    EXPECT_EQ(line.b, 1.0f);
}

TEST(Fit, TwoPointsHaveNoScatterToScaleTheErrors) {
    const Line line = run_fit({1, 2}, {1, 3}, {}, 0);
    EXPECT_EQ(line.a, -1.0f);
    EXPECT_EQ(line.b, 2.0f);
    EXPECT_TRUE(std::isnan(line.siga));
    EXPECT_TRUE(std::isnan(line.sigb));
}

TEST(Fit, NoPointsGiveNoLine) {
    const Line line = run_fit({}, {}, {}, 0);
    EXPECT_TRUE(std::isnan(line.a));
    EXPECT_TRUE(std::isnan(line.b));
    EXPECT_EQ(line.chi2, 0.0f);
}

TEST(FitDeathTest, WithWeightsTwoPointsAreFatal) {
    EXPECT_FATAL(run_fit({1, 2}, {1, 3}, {1, 1}, 1), "Invalid arguments in routine gammq");
}

TEST(FitDeathTest, ADeviationOfZeroEndsInTheProbability) {
    // An infinite weight makes everything NaN.
    EXPECT_FATAL(run_fit({1, 2, 3}, {1, 3, 2}, {1, 0, 1}, 1), "a too large, ITMAX too small in gcf");
}

// ---------------------------------------------------------------------------------------------------------------------
// fgauss

namespace {

struct Gaussians {
    float y;
    Floats dyda;
};

Gaussians run_fgauss(float x, const Floats& parameters, int na) {
    GuardedVector a(1, parameters);
    GuardedVector dyda(1, static_cast<int>(parameters.size()));
    Gaussians result{notANumber, {}};
    fgauss(x, a.handle(), &result.y, dyda.handle(), na);
    EXPECT_TRUE(dyda.frame_untouched());
    result.dyda.assign(dyda.handle() + 1, dyda.handle() + 1 + parameters.size());
    return result;
}

// The sum in double.
double gaussians(double x, const std::vector<double>& a) {
    double y = 0.0;
    for (std::size_t i = 0; i + 2 < a.size(); i += 3) {
        const double arg = (x - a[i + 1]) / a[i + 2];
        y += a[i] * std::exp(-arg * arg);
    }
    return y;
}

} // namespace

TEST(Fgauss, AtTheCentreOnlyTheAmplitudeMatters) {
    const Gaussians found = run_fgauss(2.0f, {5.0f, 2.0f, 3.0f}, 3);
    EXPECT_EQ(found.y, 5.0f);
    EXPECT_EQ(found.dyda, (Floats{1.0f, 0.0f, 0.0f}));
}

TEST(Fgauss, ValueAndDerivativesAgreeWithDifferencesInDouble) {
    Random random(2);
    for (int run = 0; run < 200; ++run) {
        Floats a;
        for (int i = 0; i < 3; ++i) {
            a.push_back(random.between(-4.0f, 4.0f));
            a.push_back(random.between(-3.0f, 3.0f));
            a.push_back(random.between(0.5f, 3.0f));
        }
        const float x = random.between(-5.0f, 5.0f);
        const Gaussians found = run_fgauss(x, a, 9);
        const std::vector<double> wide(a.begin(), a.end());
        EXPECT_NEAR(found.y, gaussians(x, wide), 5e-6);
        for (std::size_t i = 0; i < 9; ++i) {
            std::vector<double> up = wide;
            std::vector<double> down = wide;
            up[i] += 1e-5;
            down[i] -= 1e-5;
            EXPECT_NEAR(found.dyda[i], (gaussians(x, up) - gaussians(x, down)) / 2e-5, 2e-5) << i;
        }
    }
}

TEST(Fgauss, MatchesThePlainStepsBitForBit) {
    Random random(3);
    for (int run = 0; run < 500; ++run) {
        const Floats a{random.between(-4.0f, 4.0f), random.between(-3.0f, 3.0f), random.between(0.5f, 3.0f)};
        const float x = random.between(-5.0f, 5.0f);
        const float arg = (x - a[1]) / a[2];
        const float negative = -(arg * arg);
        const float ex = std::exp(negative);
        const float fac = static_cast<float>((2.0 * a[0]) * static_cast<double>(ex) * static_cast<double>(arg));
        const float width = (fac * arg) / a[2];
        const Gaussians found = run_fgauss(x, a, 3);
        EXPECT_TRUE(same_bits(0.0f + a[0] * ex, found.y));
        EXPECT_TRUE(same_bits(ex, found.dyda[0]));
        EXPECT_TRUE(same_bits(fac / a[2], found.dyda[1]));
        EXPECT_TRUE(same_bits(width, found.dyda[2]));
    }
}

TEST(Fgauss, AddsFloatProductsInOrderOfTheTriples) {
    Random random(5);
    int wideProducts = 0;
    int backwards = 0;
    for (int run = 0; run < 1000; ++run) {
        Floats a;
        for (int triple = 0; triple < 4; ++triple) {
            a.push_back(random.between(-4.0f, 4.0f));
            a.push_back(random.between(-3.0f, 3.0f));
            a.push_back(random.between(0.5f, 3.0f));
        }
        const float x = random.between(-5.0f, 5.0f);
        const Gaussians found = run_fgauss(x, a, 12);
        float y = 0.0f;
        float wide = 0.0f;
        float reversed = 0.0f;
        for (std::size_t i = 0; i < 12; i += 3) {
            const float arg = (x - a[i + 1]) / a[i + 2];
            const float negative = -(arg * arg);
            const float product = a[i] * std::exp(negative);
            y += product;
            wide = static_cast<float>(static_cast<double>(wide) +
                                      static_cast<double>(a[i]) * static_cast<double>(std::exp(negative)));
            reversed += a[9 - i] * found.dyda[9 - i];
        }
        ASSERT_TRUE(same_bits(y, found.y)) << run;
        wideProducts += wide != y ? 1 : 0;
        backwards += reversed != y ? 1 : 0;
    }
    EXPECT_GT(wideProducts, 100);
    EXPECT_GT(backwards, 100);
}

TEST(Fgauss, WhatIsLeftOverAfterTheLastTripleIsIgnored) {
    const float untouched = support::GuardedMatrix::sentinel();
    for (const int na : {3, 4, 5}) {
        const Gaussians found = run_fgauss(2.0f, {5.0f, 2.0f, 3.0f, notANumber, notANumber, notANumber}, na);
        EXPECT_EQ(found.y, 5.0f) << na;
        EXPECT_EQ(found.dyda, (Floats{1.0f, 0.0f, 0.0f, untouched, untouched, untouched})) << na;
    }
    for (const int na : {2, 1, 0, -1, std::numeric_limits<int>::min() + 2}) {
        EXPECT_EQ(run_fgauss(2.0f, {5.0f, 2.0f}, na).y, 0.0f) << na;
    }
}

TEST(Fgauss, TheSmallestCountsHaveNoTriple) {
    for (const int above : {0, 1, 2}) {
        const int na = std::numeric_limits<int>::min() + above;
        float y = notANumber;
        fgauss(2.0f, nullptr, &y, nullptr, na); // nothing there to be read or written
        EXPECT_TRUE(same_bits(0.0f, y)) << na;
    }
}

TEST(Fgauss, AWidthOfZeroGivesNonFiniteValues) {
    EXPECT_TRUE(std::isnan(run_fgauss(2.0f, {5.0f, 2.0f, 0.0f}, 3).y));
}

// ---------------------------------------------------------------------------------------------------------------------
// fpoly, fleg

TEST(Fpoly, PowersFromTheZeroth) {
    EXPECT_EQ(run_basis([](float* p) { fpoly(-2.0f, p, 5); }, 5), (Floats{1, -2, 4, -8, 16}));
    EXPECT_EQ(run_basis([](float* p) { fpoly(3.0f, p, 1); }, 2), Floats{1});
    EXPECT_EQ(run_basis([](float* p) { fpoly(3.0f, p, 0); }, 2), Floats{});
}

TEST(Fpoly, EachPowerIsTheOneBeforeTimesX) {
    const float x = 1.1f;
    const Floats found = run_basis([&](float* p) { fpoly(x, p, 30); }, 30);
    for (std::size_t j = 1; j < 30; ++j) {
        const float expected = found[j - 1] * x;
        EXPECT_TRUE(same_bits(expected, found[j])) << j;
    }
}

TEST(Fpoly, FitsAPolynomialThroughSvdfit) {
    GuardedVector x(1, 8), y(1, 8), sig(1, 8), a(1, 3), w(1, 3);
    support::GuardedMatrix u(1, 8, 3), v(1, 3, 3);
    for (int i = 1; i <= 8; ++i) {
        x[i] = 0.25f * static_cast<float>(i);
        y[i] = 2.0f - 3.0f * x[i] + 0.5f * x[i] * x[i];
        sig[i] = 1.0f;
    }
    float chisq = 0.0f;
    svdfit(x.handle(), y.handle(), sig.handle(), 8, a.handle(), 3, u.handle(), v.handle(), w.handle(), &chisq, fpoly);
    EXPECT_NEAR(a[1], 2.0f, 1e-4);
    EXPECT_NEAR(a[2], -3.0f, 1e-4);
    EXPECT_NEAR(a[3], 0.5f, 1e-4);
}

TEST(Fleg, ThreePolynomialsAtOneHalf) {
    EXPECT_EQ(run_fleg(0.5f, 3, 4), (Floats{1.0f, 0.5f, -0.125f}));
}

TEST(Fleg, TheFirstTwoAreAlwaysWritten) {
    for (const int nl : {2, 1, 0, -5}) {
        EXPECT_EQ(run_fleg(0.25f, nl, 4), (Floats{1.0f, 0.25f})) << nl;
    }
}

TEST(Fleg, AtTheEndsAllAreOneInMagnitude) {
    const Floats right = run_fleg(1.0f, 12, 12);
    const Floats left = run_fleg(-1.0f, 12, 12);
    for (std::size_t j = 0; j < 12; ++j) {
        EXPECT_EQ(right[j], 1.0f) << j;
        EXPECT_EQ(left[j], j % 2 == 0 ? 1.0f : -1.0f) << j;
    }
}

TEST(Fleg, AgreesWithTheStandardLibraryWithinTheStatedErrors) {
    double low = 0.0;
    double all = 0.0;
    for (int i = -1000; i <= 1000; ++i) {
        const float x = static_cast<float>(i) / 1000.0f;
        const Floats found = run_fleg(x, 21, 21);
        for (unsigned int degree = 0; degree <= 20; ++degree) {
            const double expected = std::legendre(degree, static_cast<double>(x));
            const double error = std::abs(static_cast<double>(found[degree]) - expected);
            low = degree <= 5 ? std::max(low, error) : low;
            all = std::max(all, error);
        }
    }
    std::cout << "[ measured ] fleg: largest error " << low << " (stated 7e-07) to degree 5, " << all
              << " (stated 2e-05) to degree 20" << std::endl;
    EXPECT_LE(low, 7e-7);
    EXPECT_LE(all, 2e-5);
}

TEST(Fleg, MatchesTheRecurrenceBitForBit) {
    // The factor (2 j - 1) x grows by adding 2 x, rounded each time.
    Random random(4);
    for (int run = 0; run < 100; ++run) {
        const float x = random.between(-1.0f, 1.0f);
        const Floats found = run_fleg(x, 40, 40);
        float factor = x;
        for (int j = 3; j <= 40; ++j) {
            factor = factor + (x + x);
            const float first = factor * found[static_cast<std::size_t>(j - 2)];
            const float other = static_cast<float>(j - 2) * found[static_cast<std::size_t>(j - 3)];
            const float expected = (first - other) / static_cast<float>(j - 1);
            ASSERT_TRUE(same_bits(expected, found[static_cast<std::size_t>(j - 1)])) << j;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// fleg2D, fleg3D

TEST(Fleg2D, TheGridSettingsAtLoad) {
    EXPECT_EQ(g_dim, 128);
    EXPECT_EQ(g_dim_z, 128);
    EXPECT_EQ(g_nbsfns_dim, 2);
}

TEST(Fleg2D, WritesSixProductsOrderedByColumnThenRow) {
    // Voxel (column 192, row 32): coordinates 1/2 and -3/4.
    const float x = 0.5f;
    const float y = -0.75f;
    const Floats found = run_fleg2D(32 * 256 + 192 + 1);
    EXPECT_EQ(found, (Floats{1.0f, y, second(y), x, x * y, second(x)}));
}

TEST(Fleg2D, TheFirstVoxelIsOneAndRowsHave256) {
    const auto coordinates = [](float voxel) {
        const Floats found = run_fleg2D(voxel);
        return Floats{found[3], found[1]};
    };
    EXPECT_EQ(coordinates(1), (Floats{-1.0f, -1.0f}));
    EXPECT_EQ(coordinates(2), (Floats{-127.0f / 128.0f, -1.0f}));
    EXPECT_EQ(coordinates(256), (Floats{127.0f / 128.0f, -1.0f}));
    EXPECT_EQ(coordinates(257), (Floats{-1.0f, -127.0f / 128.0f}));
    EXPECT_EQ(coordinates(65536), (Floats{127.0f / 128.0f, 127.0f / 128.0f}));
    EXPECT_EQ(coordinates(2.9f), coordinates(2));                           // truncated
    EXPECT_EQ(coordinates(0), (Floats{127.0f / 128.0f, -129.0f / 128.0f})); // the division rounds down
    EXPECT_EQ(coordinates(-255), (Floats{-1.0f, -129.0f / 128.0f}));
}

TEST(Fleg2D, TheImageIsFixedWhateverTheGrid) {
    const Floats expected = run_fleg2D(1234);
    const Grid grid(16, 8, 2);
    EXPECT_EQ(run_fleg2D(1234), expected);
}

TEST(Fleg2D, ReachesTheFullDegreeAndFleg3DOneLess) {
    // 10 products up to degree 3 in two coordinates; 10 up to degree 2 in three.
    const Grid grid(128, 128, 3);
    EXPECT_EQ(run_fleg2D(77).size(), 10u);
    EXPECT_EQ(run_fleg3D(77).size(), 10u);
}

TEST(Fleg2D, FewOrNoPolynomials) {
    {
        const Grid grid(128, 128, 0);
        EXPECT_EQ(run_fleg2D(77), Floats{1.0f});
        EXPECT_EQ(run_fleg3D(77), Floats{});
    }
    {
        const Grid grid(128, 128, 1);
        EXPECT_EQ(run_fleg2D(77).size(), 3u);
        EXPECT_EQ(run_fleg3D(77), Floats{1.0f});
    }
    for (const int degree : {-1, -100}) {
        const Grid grid(128, 128, degree);
        EXPECT_EQ(run_fleg2D(77), Floats{});
        EXPECT_EQ(run_fleg3D(77), Floats{});
    }
}

TEST(Fleg2DFleg3DDeathTest, MorePolynomialsThanMemoryHoldsAreFatal) {
    if (support::withAddressSanitizer || support::under_valgrind()) {
        GTEST_SKIP() << "a limit on the address space ends the checker";
    }
    const Grid grid(128, 128, std::numeric_limits<int>::max()); // one more than that is no int
    float afunc[2] = {};
    const auto limited = [&](void (*basis)(float, float*, int)) {
        if (support::limit(RLIMIT_AS, 1UL << 32)) {
            basis(1.0f, afunc, 0);
        }
    };
    EXPECT_FATAL(limited(fleg2D), "allocation failure in vector()");
    EXPECT_FATAL(limited(fleg3D), "allocation failure in vector()");
}

TEST(Fleg2D, TheThirdArgumentIsNotUsed) {
    for (const int ma : {0, 1, 1000, -1}) {
        EXPECT_EQ(run_fleg2D(4711, ma), run_fleg2D(4711, 6));
        EXPECT_EQ(run_fleg3D(4711, ma), run_fleg3D(4711, 4));
    }
}

TEST(Fleg3D, WritesFourProductsOrderedByColumnRowSlice) {
    // Column 96, row 32, slice 16: coordinates 1/2, -1/2, -3/4. Constant, slice, row, column.
    EXPECT_EQ(run_fleg3D((16 * 128 + 32) * 128 + 96 + 1), (Floats{1.0f, -0.75f, -0.5f, 0.5f}));
}

TEST(Fleg3D, MultipliesThePolynomialsOfAllThreeCoordinates) {
    const Grid grid(8, 4, 3);
    // Column 5, row 3, slice 1 of 8 x 8 x 4: coordinates 1/4, -1/4, -1/2.
    const float x = 0.25f;
    const float y = -0.25f;
    const float z = -0.5f;
    expect_near({1.0f, z, second(z), y, y * z, second(y), x, x * z, x * y, second(x)},
                run_fleg3D((1 * 8 + 3) * 8 + 5 + 1), 1e-7);
}

TEST(Fleg3D, MultipliesFromLeftToRightAtFloatQuotients) {
    // Half the grid is no power of two: a coordinate is not the same as a product with a reciprocal.
    const Grid grid(12, 14, 5);
    const auto polynomials = [](int position, int half) {
        return run_fleg(static_cast<float>(position - half) / static_cast<float>(half), 6, 6);
    };
    int otherProducts = 0;
    int otherCoordinates = 0;
    for (int voxel = 0; voxel < 12 * 12 * 14; ++voxel) {
        const int column = voxel % 12;
        const Floats p = polynomials(column, 6);
        const Floats q = polynomials(voxel / 12 % 12, 6);
        const Floats r = polynomials(voxel / 144, 7);
        Floats expected;
        for (std::size_t i = 0; i < 5; ++i) {
            for (std::size_t j = 0; j < 5 - i; ++j) {
                for (std::size_t l = 0; l < 5 - i - j; ++l) {
                    const float pq = p[i] * q[j];
                    const float qr = q[j] * r[l];
                    expected.push_back(pq * r[l]);
                    otherProducts += p[i] * qr != expected.back() ? 1 : 0;
                }
            }
        }
        const float reciprocal = 1.0f / 6.0f;
        otherCoordinates += static_cast<float>(column - 6) * reciprocal != p[1] ? 1 : 0;
        const Floats found = run_fleg3D(static_cast<float>(voxel + 1));
        ASSERT_EQ(expected.size(), found.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            ASSERT_TRUE(same_bits(expected[i], found[i])) << "function " << i << " at voxel " << voxel;
        }
    }
    EXPECT_GT(otherProducts, 100);
    EXPECT_GT(otherCoordinates, 100);
}

TEST(Fleg3D, TheFirstVoxelIsOneAndTheGridSetsTheStrides) {
    const Grid grid(6, 10, 2);
    const auto coordinates = [](int voxel) {
        const Floats found = run_fleg3D(static_cast<float>(voxel) + 0.75f); // truncated
        return Floats{found[3], found[2], found[1]};
    };
    EXPECT_EQ(coordinates(1), (Floats{-1.0f, -1.0f, -1.0f}));
    EXPECT_EQ(coordinates(6), (Floats{2.0f / 3.0f, -1.0f, -1.0f}));
    EXPECT_EQ(coordinates(7), (Floats{-1.0f, -2.0f / 3.0f, -1.0f}));
    EXPECT_EQ(coordinates(36), (Floats{2.0f / 3.0f, 2.0f / 3.0f, -1.0f}));
    EXPECT_EQ(coordinates(37), (Floats{-1.0f, -1.0f, -0.8f}));
    EXPECT_EQ(coordinates(360), (Floats{2.0f / 3.0f, 2.0f / 3.0f, 0.8f}));
}

TEST(Fleg3D, VoxelNumbersBelowOneAreDividedTowardsZero) {
    const Grid grid(6, 10, 2);
    const auto coordinates = [](float voxel) {
        const Floats found = run_fleg3D(voxel);
        return Floats{found[3], found[2], found[1]};
    };
    const float before = -4.0f / 3.0f; // position -1 of 6
    EXPECT_EQ(coordinates(0.0f), (Floats{before, -1.0f, -1.0f}));
    EXPECT_EQ(coordinates(0.9f), coordinates(0.0f));
    EXPECT_EQ(coordinates(-0.9f), coordinates(0.0f));
    EXPECT_EQ(coordinates(-5.0f), (Floats{-1.0f, before, -1.0f})); // one whole row before the first voxel
    EXPECT_EQ(coordinates(-6.0f), (Floats{before, before, -1.0f}));
    EXPECT_EQ(coordinates(-35.0f), (Floats{-1.0f, -1.0f, -1.2f})); // one whole slice
    EXPECT_EQ(coordinates(-36.0f), (Floats{before, -1.0f, -1.2f}));
}

TEST(Fleg3D, AnOddGridIsHalvedAsAnInteger) {
    const Grid grid(5, 3, 2);
    // Column 4 of 5: (4 - 2) / 2; row 0; slice 2 of 3: (2 - 1) / 1.
    EXPECT_EQ(run_fleg3D(2 * 25 + 4 + 1), (Floats{1.0f, 1.0f, -1.0f, 1.0f}));
}

TEST(Fleg3D, AGridBelowTwoCountsAsTwo) {
    for (const int size : {1, 0, -8, std::numeric_limits<int>::min()}) {
        const Grid grid(size, size, 2);
        EXPECT_EQ(run_fleg3D(1), (Floats{1.0f, -1.0f, -1.0f, -1.0f})) << size;
        EXPECT_EQ(run_fleg3D(8), (Floats{1.0f, 0.0f, 0.0f, 0.0f})) << size;
    }
}

TEST(Fleg3D, VoxelNumbersBeyondAllIntegersAreDefined) {
    const Grid grid(std::numeric_limits<int>::max(), 128, 2);
    for (const float voxel : {1e30f, -1e30f, notANumber, 3e9f}) {
        EXPECT_EQ(run_fleg2D(voxel).size(), 6u);
        EXPECT_EQ(run_fleg3D(voxel).size(), 4u);
    }
}
