#include "stats/pvalues.h"

#include <cmath>

#include "stats/beta.h"
#include "stats/error_function.h"
#include "stats/gamma.h"

float t_to_p(float t, unsigned long df) {
    if (df <= 1) {
        return 1.0f;
    }
    const float fdf = static_cast<float>(df);
    const float magnitude = std::fabs(t);
    return betai(0.5f * fdf, 0.5f, fdf / (fdf + magnitude * magnitude));
}

float F_to_p(float F, unsigned long df1, unsigned long df2) {
    if (df2 == 0 || F <= 0.0f) {
        return 1.0f;
    }
    const float fdf1 = static_cast<float>(df1);
    const float fdf2 = static_cast<float>(df2);
    return betai(0.5f * fdf2, 0.5f * fdf1, fdf2 / (fdf2 + F * fdf1));
}

float r_to_p(double r, unsigned long df) {
    if (df == 0 || r == 0.0) {
        return 1.0f;
    }
    if (r == 1.0) {
        return 0.0f;
    }
    const double fdf = static_cast<double>(static_cast<float>(df));
    const double t = r * std::sqrt(fdf / ((1.0 - r + 1.0e-20) * (1.0 + r + 1.0e-20)));
    return betai(static_cast<float>(0.5 * fdf), 0.5f, static_cast<float>(fdf / (fdf + t * t)));
}

float X2_to_p(float chi2, unsigned long df) {
    if (df == 0) {
        return 1.0f;
    }
    return gammq(0.5f * static_cast<float>(df), 0.5f * chi2);
}

double z_to_p(double z) {
    return _erfc(std::fabs(z) * 0.7071067811865476);
}

double p_to_z(double p) {
    if (p <= 0.0 || p >= 1.0) {
        return 0.0;
    }
    return inverfc(p) * 1.4142135623730951;
}

double p_to_t(double p, double df) {
    if (p <= 0.0 || p >= 1.0) {
        return 0.0;
    }
    const double x = invbetai(p, 0.5 * df, 0.5);
    return std::sqrt((1.0 - x) * df / x);
}

double p_to_F(double p, double df1, double df2) {
    if (p <= 0.0 || p >= 1.0) {
        return 1.0;
    }
    const double x = invbetai(1.0 - p, 0.5 * df1, 0.5 * df2);
    return df2 * x / ((1.0 - x) * df1);
}

float p_to_r(float p, unsigned long df) {
    float r = 0.4f;
    float step = 0.2f;
    bool wasUp = true;
    for (int trial = 0; trial < 25; ++trial) {
        const bool down = p > r_to_p(static_cast<double>(r), df);
        r += down ? -step : step;
        if (down == wasUp) { // the step shrinks after the move that turned back
            step *= 0.5f;
        }
        wasUp = !down;
    }
    return r;
}
