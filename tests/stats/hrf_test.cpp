#include "stats/hrf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <type_traits>
#include <vector>

#include "stats/gamma.h"
#include "tests/support/table.h"

namespace {

constexpr double untouched = -12345.5;
constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

using Parameters = std::vector<float>;

// Delays, dispersions, ratio, onset, length.
Parameters usual() {
    return {6.0f, 16.0f, 1.0f, 1.0f, 6.0f, 0.0f, 32.0f};
}

// What twogammaHRF writes into `room` values, the sentinels behind it left out.
std::vector<double> kernel(float tr, Parameters p, int nsub, std::size_t room = 64) {
    const Parameters before = p;
    std::vector<double> hrf(room + 1, untouched);
    EXPECT_EQ(twogammaHRF(tr, p.data(), nsub, hrf.data()), 1);
    EXPECT_EQ(std::equal(p.begin(), p.end(), before.begin(), [](float a, float b) { return a == b || a != a; }), true);
    EXPECT_EQ(hrf.back(), untouched) << "room for the kernel in this test";
    while (!hrf.empty() && hrf.back() == untouched) {
        hrf.pop_back();
    }
    EXPECT_EQ(std::count(hrf.begin(), hrf.end(), untouched), 0);
    return hrf;
}

double largest_magnitude(const std::vector<double>& values) {
    double largest = 0.0;
    for (const double value : values) {
        largest = std::max(largest, std::fabs(value));
    }
    return largest;
}

double density(double x, double shape, double rate) {
    double out = untouched;
    EXPECT_EQ(gammapdf(1, &x, shape, rate, &out), 1);
    return out;
}

} // namespace

TEST(Gammapdf, AgreesWithTheTable) {
    support::WorstError worst("gammapdf");
    for (const std::vector<double>& row : support::read_table("hrf_gamma_density.txt", 4)) {
        worst.relative(row[3], density(row[0], row[1], row[2]), row);
    }
    worst.expect_within(5e-10);
}

TEST(Gammapdf, IsZeroUpToZero) {
    double x[4] = {0.0, -0.0, -1.0, -std::numeric_limits<double>::infinity()};
    for (const double shape : {0.5, 1.0, 5.0}) {
        double out[5] = {untouched, untouched, untouched, untouched, untouched};
        EXPECT_EQ(gammapdf(4, x, shape, 2.0, out), 1);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(out[i], 0.0) << i;
        }
        EXPECT_EQ(out[4], untouched);
    }
    EXPECT_EQ(density(std::numeric_limits<double>::quiet_NaN(), 2.0, 1.0), 0.0); // not above 0
}

TEST(Gammapdf, HasTheClosedFormsOfWholeShapes) {
    for (const double rate : {0.1, 1.0, 3.5}) {
        for (const double x : {0.001, 0.7, 2.0, 30.0}) {
            const double decay = rate * std::exp(-rate * x);
            EXPECT_NEAR(density(x, 1.0, rate) / decay, 1.0, 1e-9);
            EXPECT_NEAR(density(x, 2.0, rate) / (decay * rate * x), 1.0, 1e-9);
            EXPECT_NEAR(density(x, 4.0, rate) / (decay * std::pow(rate * x, 3) / 6.0), 1.0, 1e-9);
        }
    }
}

TEST(Gammapdf, AddsTheTermsOfTheExponentInTheirOrder) {
    const auto exponential_of = [](std::initializer_list<double> terms) {
        double sum = 0.0;
        for (const double term : terms) {
            sum += term;
        }
        return std::exp(sum);
    };
    int scaledFirst = 0;
    int gammaFirst = 0;
    for (const double h : {5.0, 16.0}) {
        for (const double l : {0.3, 0.9}) {
            for (double x = 0.1; x < 100.0; x += 0.1) {
                const double power = (h - 1.0) * std::log(x);
                const double rate = h * std::log(l);
                const double found = density(x, h, l);
                ASSERT_EQ(exponential_of({power, rate, -l * x, -gammln(h)}), found) << x << " " << h << " " << l;
                scaledFirst += exponential_of({power, -l * x, rate, -gammln(h)}) != found ? 1 : 0;
                gammaFirst += exponential_of({power, rate, -gammln(h), -l * x}) != found ? 1 : 0;
            }
        }
    }
    EXPECT_GT(scaledFirst, 100);
    EXPECT_GT(gammaFirst, 100);
}

TEST(Gammapdf, WorksInPlaceAndOnAnyCount) {
    double x[3] = {1.0, -1.0, 2.0};
    const double first = density(1.0, 3.0, 2.0);
    EXPECT_EQ(gammapdf(0, x, 3.0, 2.0, x), 1);
    EXPECT_EQ(gammapdf(-5, x, 3.0, 2.0, x), 1);
    EXPECT_EQ(x[0], 1.0);
    EXPECT_EQ(gammapdf(2, x, 3.0, 2.0, x), 1);
    EXPECT_EQ(x[0], first);
    EXPECT_EQ(x[1], 0.0);
    EXPECT_EQ(x[2], 2.0);
}

TEST(Hemoweight, AgreesWithTheTable) {
    support::WorstError worst("hemoweight");
    for (const std::vector<double>& row : support::read_table("hrf_weight.txt", 2)) {
        worst.absolute(row[1], hemoweight(row[0]), {row[0]});
    }
    worst.expect_within(1e-12);
}

TEST(Hemoweight, IsOneAtFourSecondsAndNothingBeforeZero) {
    EXPECT_EQ(hemoweight(4000.0), 1.0);
    EXPECT_EQ(hemoweight(0.0), 0.0);
    EXPECT_EQ(hemoweight(-1.0), 0.0);
    EXPECT_EQ(hemoweight(-1e-300), 0.0);
    EXPECT_EQ(hemoweight(-std::numeric_limits<double>::infinity()), 0.0);
    EXPECT_EQ(hemoweight(1e10), 0.0);
    EXPECT_TRUE(std::isnan(hemoweight(std::numeric_limits<double>::quiet_NaN())));
    EXPECT_LT(hemoweight(16000.0), 0.0); // the undershoot
}

TEST(Hemoweight, TakesSecondsAsTheProductWithAThousandth) {
    const double gamma5 = std::exp(gammln(5.0));
    const double gamma15 = std::exp(gammln(15.0));
    const auto two_gammas = [&](double s) {
        const double undershoot = std::exp(-s) * std::pow(s, 14.0) / gamma15 / 6.0;
        return std::pow(s, 4.0) * std::exp(-s) / gamma5 - undershoot;
    };
    int mattered = 0;
    for (double t = 0.0; t < 30000.0; t += 7.0) {
        ASSERT_EQ(hemoweight(t), two_gammas(t * 0.001) / two_gammas(4.0)) << t;
        mattered += two_gammas(t * 0.001) != two_gammas(t / 1000.0) ? 1 : 0;
    }
    EXPECT_GT(mattered, 100);
}

TEST(Deltaweight, TheEdgeOfTheBoxIsOutside) {
    EXPECT_EQ(deltaweight(0.5, 0.5), 0.0);
    EXPECT_EQ(deltaweight(-0.5, 0.5), 0.0);
    EXPECT_EQ(deltaweight(0.4, 0.5), 1.0);
    EXPECT_EQ(deltaweight(-0.4, 0.5), 1.0);
    EXPECT_EQ(deltaweight(std::nextafter(0.5, 0.0), 0.5), 1.0);
    EXPECT_EQ(deltaweight(0.0, 0.0), 0.0);
    EXPECT_EQ(deltaweight(0.0, -1.0), 0.0);
    EXPECT_EQ(deltaweight(std::numeric_limits<double>::quiet_NaN(), 1.0), 0.0);
    EXPECT_EQ(deltaweight(1.0, std::numeric_limits<double>::quiet_NaN()), 0.0);
}

TEST(TwogammaHRF, AgreesWithTheTable) {
    support::WorstError worst("twogammaHRF, of the largest magnitude");
    std::vector<double> hrf;
    int kernels = 0;
    for (const std::vector<double>& row : support::read_table("hrf_kernel.txt", 11)) {
        if (row[9] == 0.0) {
            Parameters p;
            for (std::size_t i = 2; i < 9; ++i) {
                p.push_back(static_cast<float>(row[i]));
            }
            hrf = kernel(static_cast<float>(row[0]), p, static_cast<int>(row[1]), 300);
            ++kernels;
        }
        const auto k = static_cast<std::size_t>(row[9]);
        ASSERT_LT(k, hrf.size());
        worst.absolute(row[10], hrf[k], row);
    }
    EXPECT_EQ(kernels, 7);
    worst.expect_within(1e-7);
}

TEST(TwogammaHRF, SamplesBothEndsAndReachesOne) {
    const std::vector<double> hrf = kernel(1.0f, usual(), 16);
    EXPECT_EQ(hrf.size(), 33u);
    EXPECT_NEAR(largest_magnitude(hrf), 1.0, 6e-8);
    EXPECT_EQ(hrf[0], 0.0);
    EXPECT_NEAR(hrf[5], 1.0, 6e-8); // the mode of a gamma density of shape 6 and rate 1
    EXPECT_LT(hrf[16], 0.0);
    EXPECT_EQ(kernel(2.0f, usual(), 16).size(), 17u);
    EXPECT_EQ(kernel(3.0f, usual(), 16).size(), 11u); // 10.67 cut to 10, and one
    EXPECT_EQ(kernel(33.0f, usual(), 16).size(), 1u);
}

// The scale is the peak rounded to float, whatever sign the peak has.
TEST(TwogammaHRF, IsScaledByThePeakRoundedToFloat) {
    const auto unscaled = [](double k, double ratio) { return density(k, 6.0, 1.0) - density(k, 16.0, 1.0) / ratio; };
    std::vector<double> hrf = kernel(1.0f, usual(), 1);
    const double peak = static_cast<double>(static_cast<float>(unscaled(5.0, 6.0)));
    for (std::size_t k = 0; k < hrf.size(); ++k) {
        EXPECT_EQ(hrf[k], unscaled(static_cast<double>(k), 6.0) / peak) << k;
    }
    EXPECT_NE(hrf[5], 1.0) << "the peak is a float: this example would show a double";
    Parameters p = usual();
    p[4] = 0.25f; // the undershoot is the larger one
    hrf = kernel(1.0f, p, 1);
    const double trough = static_cast<double>(static_cast<float>(-unscaled(15.0, 0.25)));
    EXPECT_EQ(hrf[15], unscaled(15.0, 0.25) / trough);
    EXPECT_NEAR(hrf[15], -1.0, 6e-8);
    EXPECT_EQ(hrf[3], unscaled(3.0, 0.25) / trough);
}

TEST(TwogammaHRF, ABelowThresholdResponseIsLeftUnscaled) {
    // The densities count time in bins: with many bins to a second they are small.
    Parameters p = usual();
    std::vector<double> hrf = kernel(1.0f, p, 2000);
    const double peak = density(5.0 * 2000, 6.0, 1.0 / 2000) - density(5.0 * 2000, 16.0, 1.0 / 2000) / 6.0;
    ASSERT_LT(peak, 0.0001);
    EXPECT_NEAR(hrf[5] / peak, 1.0, 1e-12);
    ASSERT_GT(peak * 2000 / 1700, 0.0001);
    EXPECT_NEAR(largest_magnitude(kernel(1.0f, p, 1700)), 1.0, 6e-8);
}

TEST(TwogammaHRF, TheThresholdIsComparedInDouble) {
    // Two samples of an exponential, whose second one is the peak: about tr / dispersion. The float nearest to 0.0001
    // is below 0.0001, so the next one is the smallest scale.
    const float tr = 1.6f; // the dispersion then stands below a power of 2, where floats are dense enough to meet both
    const float nearest = 0.0001f;
    const float smallestScale = std::nextafter(nearest, 1.0f);
    int unscaled = 0;
    int scaled = 0;
    for (float dispersion = 15998.0f; dispersion < 15999.0f; dispersion = std::nextafter(dispersion, inf)) {
        const double second = density(1.0, 1.0, static_cast<double>(tr) / static_cast<double>(dispersion));
        const float peak = static_cast<float>(second);
        if (peak != nearest && peak != smallestScale) {
            continue;
        }
        const std::vector<double> hrf = kernel(tr, {dispersion, 1.0f, dispersion, 1.0f, 1e30f, 0.0f, tr}, 1);
        ASSERT_EQ(hrf.size(), 2u);
        ASSERT_EQ(hrf[1], peak == nearest ? second : second / static_cast<double>(peak)) << dispersion;
        ++(peak == nearest ? unscaled : scaled);
    }
    EXPECT_GT(unscaled, 0);
    EXPECT_GT(scaled, 0);
}

// Of the parameters' quotients those of two floats are floats; those with the width of a bin are doubles.
TEST(TwogammaHRF, ShapesAreFloatQuotientsAndRatesDoubleOnes) {
    const float tr = 0.7f;
    const float dispersions[2] = {0.9f, 1.1f};
    const Parameters p = {6.0f, 16.0f, dispersions[0], dispersions[1], 3.3f, 0.2f, 21.0f};
    const int nsub = 3001; // so small that nothing is scaled
    const double dt = static_cast<double>(tr) / nsub;
    const std::vector<double> hrf = kernel(tr, p, nsub);
    ASSERT_EQ(hrf.size(), 31u);
    for (std::size_t k = 0; k < hrf.size(); ++k) {
        const double u = static_cast<double>(k) * nsub - static_cast<double>(p[5]) / dt;
        const double response = density(u, static_cast<double>(6.0f / dispersions[0]), dt / dispersions[0]);
        const double undershoot = density(u, static_cast<double>(16.0f / dispersions[1]), dt / dispersions[1]);
        EXPECT_EQ(hrf[k], response - undershoot / static_cast<double>(p[4])) << k;
    }
}

TEST(TwogammaHRF, AVanishingRatioLeavesTheUndershootAloneNegated) {
    for (const float ratio : {0.0f, 0.0009999f, -2.0f, notANumber}) {
        Parameters p = usual();
        p[4] = ratio;
        const std::vector<double> hrf = kernel(1.0f, p, 1);
        ASSERT_EQ(hrf.size(), 33u);
        const double peak = static_cast<double>(static_cast<float>(density(15.0, 16.0, 1.0)));
        for (std::size_t k = 0; k < hrf.size(); ++k) {
            EXPECT_EQ(hrf[k], -density(static_cast<double>(k), 16.0, 1.0) / peak) << k;
        }
    }
    Parameters p = usual();
    p[4] = 0.0010001f; // the response counts again
    EXPECT_GT(kernel(1.0f, p, 1)[1], 0.0);
}

TEST(TwogammaHRF, TheOnsetDelaysTheResponse) {
    Parameters p = usual();
    const std::vector<double> prompt = kernel(1.0f, p, 4);
    p[5] = 3.0f;
    const std::vector<double> late = kernel(1.0f, p, 4);
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(late[k], 0.0);
    }
    for (std::size_t k = 3; k < late.size(); ++k) {
        EXPECT_EQ(late[k], prompt[k - 3]);
    }
}

TEST(TwogammaHRF, WithoutSamplesNothingIsWritten) {
    const auto length = [](float tr, float seconds) {
        Parameters p = usual();
        p[6] = seconds;
        return kernel(tr, p, 16).size();
    };
    EXPECT_EQ(length(1.0f, -1.0f), 0u);
    EXPECT_EQ(length(1.0f, -0.5f), 1u); // cut toward zero
    EXPECT_EQ(length(1.0f, 0.0f), 1u);
    EXPECT_EQ(length(-1.0f, 32.0f), 0u);
    EXPECT_EQ(length(0.0f, 32.0f), 0u);
    EXPECT_EQ(length(-0.0f, 32.0f), 0u);
    EXPECT_EQ(length(0.0f, 0.0f), 0u);
    EXPECT_EQ(length(1.0f, inf), 0u);
    EXPECT_EQ(length(1.0f, notANumber), 0u);
    EXPECT_EQ(length(notANumber, 32.0f), 0u);
    EXPECT_EQ(length(1e-9f, 32.0f), 0u); // more samples than an int counts
    EXPECT_EQ(length(inf, 32.0f), 1u);
    // A negative interval and a negative length count forward, into rates that have no logarithm.
    EXPECT_EQ(length(-1.0f, -3.0f), 4u);
}

TEST(TwogammaHRF, WithoutBinsTheSamplesAreZero) {
    for (const int nsub : {0, -1, -16, INT_MIN}) {
        for (const float onset : {0.0f, 1000.0f, -1000.0f}) {
            Parameters p = usual();
            p[5] = onset;
            const std::vector<double> hrf = kernel(1.0f, p, nsub);
            ASSERT_EQ(hrf.size(), 33u) << nsub;
            for (std::size_t k = 0; k < hrf.size(); ++k) {
                EXPECT_EQ(hrf[k], 0.0) << nsub << " " << onset << " " << k;
            }
        }
    }
    // More bins than an int counts: none.
    EXPECT_EQ(largest_magnitude(kernel(1.0f, usual(), 1 << 27)), 0.0);
}

TEST(TwogammaHRF, BinsNeedNoMemory) {
    Parameters p = usual();
    std::vector<double> hrf = kernel(1.0f, p, 1 << 25); // 2^30 bins and one
    ASSERT_EQ(hrf.size(), 33u);
    EXPECT_GT(hrf[5], 0.0);
    EXPECT_LT(hrf[5], 0.0001);
}

// The samples are counted with a float quotient, the bins with a double one: where the two disagree, the last sample
// has no bin and is 0.
TEST(TwogammaHRF, ASampleBehindTheLastBinIsZero) {
    Parameters p = usual();
    p[6] = 20.0f;
    const float tr = 0.1f; // a little more than a tenth: 199.999997 bins
    ASSERT_EQ(p[6] / tr, 200.0f);
    ASSERT_LT(static_cast<double>(p[6]) / static_cast<double>(tr), 200.0);
    const std::vector<double> hrf = kernel(tr, p, 1, 300);
    ASSERT_EQ(hrf.size(), 201u);
    EXPECT_EQ(hrf[200], 0.0);
    EXPECT_NE(hrf[199], 0.0);
}

TEST(TwogammaHRF, WildParametersGiveDefinedResults) {
    for (const float wild : {0.0f, -1.0f, inf, -inf, notANumber, 1e38f, 1e-38f}) {
        for (std::size_t i = 0; i < 6; ++i) {
            Parameters p = usual();
            p[i] = wild;
            EXPECT_EQ(kernel(1.0f, p, 16).size(), 33u) << i << " " << wild;
        }
    }
    Parameters p = usual();
    p[2] = 0.0f; // no dispersion
    EXPECT_TRUE(std::isnan(kernel(1.0f, p, 16)[5]));
}

TEST(StatisticsGlobals, AreNothing) {
    EXPECT_EQ(DesignMatrix, nullptr);
    EXPECT_EQ(NPRAED_STAT, 0);
    EXPECT_EQ(NPT_STAT, 0);
    static_assert(std::is_same_v<decltype(DesignMatrix), float**>);
    static_assert(std::is_same_v<decltype(NPRAED_STAT), int>);
    static_assert(std::is_same_v<decltype(NPT_STAT), int>);
}
