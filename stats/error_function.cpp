#include "stats/error_function.h"

#include <cmath>

#include "numerics/arrays.h"
#include "numerics/scalars.h"

namespace {

constexpr int terms = 28;

// Chebyshev coefficients of ln(erfc(z) / t) + z^2 over the variable 4 t - 2.
constexpr double chebyshev[terms] = {-1.3026537197817094,
                                     0.6419697923564902,
                                     0.019476473204185836,
                                     -0.00956151478680863,
                                     -0.000946595344482036,
                                     0.000366839497852761,
                                     4.2523324806907e-05,
                                     -2.0278578112534e-05,
                                     -1.624290004647e-06,
                                     1.30365583558e-06,
                                     1.5626441722e-08,
                                     -8.5238095915e-08,
                                     6.529054439e-09,
                                     5.059343495e-09,
                                     -9.91364156e-10,
                                     -2.27365122e-10,
                                     9.6467911e-11,
                                     2.394038e-12,
                                     -6.886027e-12,
                                     8.94487e-13,
                                     3.13092e-13,
                                     -1.12708e-13,
                                     3.81e-16,
                                     7.106e-15,
                                     -1.523e-15,
                                     -9.4e-17,
                                     1.21e-16,
                                     -2.8e-17};

constexpr double beyond = 100.0; // inverfc's stand-in for infinity

} // namespace

float erfcc(float x) {
    const float z = std::fabs(x);
    const float t = static_cast<float>(1.0 / (1.0 + 0.5 * static_cast<double>(z)));
    const double dt = static_cast<double>(t);
    const double series =
        dt * (1.00002368 +
              dt * (0.37409196 +
                    dt * (0.09678418 +
                          dt * (-0.18628806 +
                                dt * (0.27886807 + dt * (-1.13520398 +
                                                         dt * (1.48851587 + dt * (-0.82215223 + dt * 0.17087277))))))));
    const float ans =
        static_cast<float>(dt * std::exp(-static_cast<double>(numerics::square(z)) - 1.26551223 + series));
    return x >= 0.0f ? ans : 2.0f - ans;
}

double erfccheb(double z) {
    if (z < 0.0) {
        nrerror("function erfccheb requires nonnegative argument");
    }
    const double t = 2.0 / (2.0 + z);
    const double ty = 4.0 * t - 2.0;
    double d = 0.0;
    double dd = 0.0;
    for (int j = terms - 1; j > 0; --j) {
        const double tmp = d;
        d = ty * d - dd + chebyshev[j];
        dd = tmp;
    }
    return t * std::exp(-z * z + 0.5 * (chebyshev[0] + ty * d) - dd);
}

double _erfc(double x) {
    return x >= 0.0 ? erfccheb(x) : 2.0 - erfccheb(-x);
}

double _erf(double x) {
    return x >= 0.0 ? 1.0 - erfccheb(x) : erfccheb(-x) - 1.0;
}

double inverfc(double p) {
    if (p >= 2.0) {
        return -beyond;
    }
    if (p <= 0.0) {
        return beyond;
    }
    const double pp = p < 1.0 ? p : 2.0 - p;
    const double t = std::sqrt(-2.0 * std::log(pp / 2.0));
    double x = -0.70711 * ((2.30753 + 0.27061 * t) / (1.0 + t * (0.99229 + 0.04481 * t)) - t);
    for (int step = 0; step < 2; ++step) {
        const double err = _erfc(x) - pp;
        const double xSquared = static_cast<double>(numerics::square(static_cast<float>(x)));
        x += err / (1.1283791670955126 * std::exp(-xSquared) - x * err);
    }
    return p < 1.0 ? x : -x;
}

double inverf(double p) {
    return inverfc(1.0 - p);
}
