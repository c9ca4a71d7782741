#include "stats/gamma.h"

#include <cmath>

#include "numerics/arrays.h"

namespace {

constexpr int maxIterations = 100;
constexpr double epsilon = 3.0e-7;
constexpr double tiny = 1.0e-30; // stands for a zero denominator

// x^a e^-x / Gamma(a), in double although ln Gamma(a) comes as a float.
double leading_factor(float a, float x, float gln) {
    return std::exp(static_cast<double>(-x) + static_cast<double>(a) * std::log(static_cast<double>(x)) -
                    static_cast<double>(gln));
}

bool below_tiny(float value) {
    return static_cast<double>(std::fabs(value)) < tiny;
}

bool series_serves(float a, float x) {
    return static_cast<double>(x) < static_cast<double>(a) + 1.0;
}

// Both functions report under the name of gammq.
void check_arguments(float a, float x) {
    if (x < 0.0f || a <= 0.0f) {
        nrerror("Invalid arguments in routine gammq");
    }
}

} // namespace

double gammln(double xx) {
    constexpr double coefficients[6] = {76.18009172947146,  -86.50532032941678,   24.01409824083091,
                                        -1.231739572450155, 0.001208650973866179, -5.395239384953e-06};
    const double tmp = (xx + 5.5) - (xx + 0.5) * std::log(xx + 5.5);
    double ser = 1.000000000190015;
    double y = xx;
    for (const double coefficient : coefficients) {
        y += 1.0;
        ser += coefficient / y;
    }
    return std::log(2.5066282746310007 * ser / xx) - tmp;
}

float gammp(float a, float x) {
    check_arguments(a, x);
    float result = 0.0f;
    float gln = 0.0f;
    if (series_serves(a, x)) {
        gser(&result, a, x, &gln);
        return result;
    }
    gcf(&result, a, x, &gln);
    return 1.0f - result;
}

float gammq(float a, float x) {
    check_arguments(a, x);
    float result = 0.0f;
    float gln = 0.0f;
    if (series_serves(a, x)) {
        gser(&result, a, x, &gln);
        return 1.0f - result;
    }
    gcf(&result, a, x, &gln);
    return result;
}

void gser(float* gamser, float a, float x, float* gln) {
    *gln = static_cast<float>(gammln(static_cast<double>(a)));
    if (x <= 0.0f) {
        if (x < 0.0f) {
            nrerror("x less than 0 in routine gser");
        }
        *gamser = 0.0f;
        return;
    }
    float ap = a;
    float del = 1.0f / a;
    float sum = del;
    for (int n = 1; n <= maxIterations; ++n) {
        ap += 1.0f;
        del *= x / ap;
        sum += del;
        if (static_cast<double>(std::fabs(del)) < static_cast<double>(std::fabs(sum)) * epsilon) {
            *gamser = static_cast<float>(static_cast<double>(sum) * leading_factor(a, x, *gln));
            return;
        }
    }
    nrerror("a too large, ITMAX too small in routine gser");
}

void gcf(float* gammcf, float a, float x, float* gln) {
    *gln = static_cast<float>(gammln(static_cast<double>(a)));
    float b = static_cast<float>(static_cast<double>(x) + 1.0 - static_cast<double>(a));
    float c = static_cast<float>(1.0 / tiny);
    float d = 1.0f / b;
    float h = d;
    for (int i = 1; i <= maxIterations; ++i) {
        const float an = static_cast<float>(-i) * (static_cast<float>(i) - a);
        b += 2.0f;
        d = an * d + b;
        if (below_tiny(d)) {
            d = static_cast<float>(tiny);
        }
        c = b + an / c;
        if (below_tiny(c)) {
            c = static_cast<float>(tiny);
        }
        d = 1.0f / d;
        const float del = d * c;
        h *= del;
        if (std::fabs(static_cast<double>(del) - 1.0) < epsilon) {
            *gammcf = static_cast<float>(leading_factor(a, x, *gln) * static_cast<double>(h));
            return;
        }
    }
    nrerror("a too large, ITMAX too small in gcf");
}
