#include "stats/beta.h"

#include <cmath>

#include "numerics/arrays.h"
#include "numerics/scalars.h"
#include "stats/gamma.h"
#include "stats/minimum.h"

namespace {

constexpr int maxIterations = 100;
constexpr double epsilon = 3.0e-7;
constexpr double tiny = 1.0e-30; // stands for a zero denominator

constexpr int maxRefinements = 10;
constexpr double stepTolerance = 1.0e-8;

double guarded(double value) {
    return std::fabs(value) < tiny ? tiny : value;
}

// First guess for a, b >= 1: the normal quantile, carried over to the beta distribution.
double guess_from_normal(double p, double a, double b) {
    const double pp = p < 0.5 ? p : 1.0 - p;
    const double t = std::sqrt(-2.0 * std::log(pp));
    double x = (2.30753 + 0.27061 * t) / (1.0 + t * (0.99229 + 0.04481 * t)) - t;
    if (p < 0.5) {
        x = -x;
    }
    const double xSquared = static_cast<double>(numerics::square(static_cast<float>(x)));
    const double al = (xSquared - 3.0) / 6.0;
    const double h = 2.0 / (1.0 / (2.0 * a - 1.0) + 1.0 / (2.0 * b - 1.0));
    const double w = x * std::sqrt(al + h) / h -
                     (1.0 / (2.0 * b - 1.0) - 1.0 / (2.0 * a - 1.0)) * (al + 5.0 / 6.0 - 2.0 / (3.0 * h));
    return a / (a + b * std::exp(2.0 * w));
}

// First guess otherwise: the density as a power of x at the one end and of 1 - x at the other.
double guess_from_powers(double p, double a, double b) {
    const double lna = std::log(a / (a + b));
    const double lnb = std::log(b / (a + b));
    const double t = std::exp(a * lna) / a;
    const double u = std::exp(b * lnb) / b;
    const double w = t + u;
    if (p < t / w) {
        return std::pow(a * w * p, 1.0 / a);
    }
    return 1.0 - std::pow(b * w * (1.0 - p), 1.0 / b);
}

} // namespace

float betai(float a, float b, float x) {
    if (a <= 0.0f || b <= 0.0f) {
        nrerror("Bad a or b in routine betai");
    }
    // No error outside [0, 1]: callers rely on getting a number back.
    if (x < 0.0f || x > 1.0f) {
        return 0.0f;
    }
    if (x == 0.0f) {
        return 0.0f;
    }
    if (x == 1.0f) {
        return 1.0f;
    }
    const double da = static_cast<double>(a);
    const double db = static_cast<double>(b);
    const double dx = static_cast<double>(x);
    const float bt = static_cast<float>(std::exp(gammln(static_cast<double>(a + b)) - gammln(da) - gammln(db) +
                                                 da * std::log(dx) + db * std::log(1.0 - dx)));
    if (dx < (da + 1.0) / (da + db + 2.0)) {
        return betacf(da, db, dx) * bt / a;
    }
    return 1.0f - betacf(db, da, 1.0 - dx) * bt / b;
}

float betacf(double a, double b, double x) {
    const double qab = a + b;
    const double qap = a + 1.0;
    const double qam = a - 1.0;
    double c = 1.0;
    double d = 1.0 / guarded(1.0 - qab * x / qap);
    double h = d;
    // Running out of steps is no error: h as it then stands is the result.
    for (int step = 1; step <= maxIterations; ++step) {
        const double m = step;
        const double m2 = 2.0 * m;
        double aa = m * (b - m) * x / ((qam + m2) * (a + m2));
        d = guarded(1.0 + aa * d);
        c = guarded(1.0 + aa / c);
        d = 1.0 / d;
        h *= d * c;
        aa = -(a + m) * (qab + m) * x / ((a + m2) * (qap + m2));
        d = guarded(1.0 + aa * d);
        c = guarded(1.0 + aa / c);
        d = 1.0 / d;
        const double del = d * c;
        h *= del;
        if (std::fabs(del - 1.0) < epsilon) {
            break;
        }
    }
    return static_cast<float>(h);
}

double invbetai(double p, double a, double b) {
    if (p <= 0.0) {
        return 0.0;
    }
    if (p >= 1.0) {
        return 1.0;
    }
    double x = a >= 1.0 && b >= 1.0 ? guess_from_normal(p, a, b) : guess_from_powers(p, a, b);

    const double a1 = a - 1.0;
    const double b1 = b - 1.0;
    const double afac = gammln(a + b) - gammln(a) - gammln(b);
    for (int j = 0; j < maxRefinements; ++j) {
        if (x == 0.0 || x == 1.0) {
            break;
        }
        const float reached = betai(static_cast<float>(a), static_cast<float>(b), static_cast<float>(x));
        const double err = static_cast<double>(reached) - p;
        const double t = std::exp(a1 * std::log(x) + b1 * std::log(1.0 - x) + afac);
        const double u = err / t;
        const double step = u / (1.0 - 0.5 * fmin(1.0, u * (a1 / x - b1 / (1.0 - x))));
        x -= step;
        if (x <= 0.0) {
            x = 0.5 * (x + step);
        }
        if (x >= 1.0) {
            x = 0.5 * (x + step + 1.0);
        }
        if (j > 0 && std::fabs(step) < stepTolerance * x) {
            break;
        }
    }
    return x;
}
