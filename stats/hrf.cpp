#include "stats/hrf.h"

#include <cmath>

#include "numerics/truncation.h"
#include "stats/gamma.h"

float** DesignMatrix = nullptr;
int NPRAED_STAT = 0;
int NPT_STAT = 0;

namespace {

double gamma_density(double x, double h, double l, double logGamma) {
    return x > 0.0 ? std::exp((h - 1.0) * std::log(x) + h * std::log(l) - l * x - logGamma) : 0.0;
}

// Samples of an interval from 0 to `length`, both ends included.
long long samples_in(double quotient) {
    return truncate_to_int32(quotient) + 1LL;
}

} // namespace

int twogammaHRF(float TR, float* p, int nsub, double* hrf) {
    const double dt = static_cast<double>(TR) / nsub;
    const long long samples = samples_in(static_cast<double>(p[6] / TR));
    const long long bins = samples_in(static_cast<double>(p[6]) / dt);

    const double onset = static_cast<double>(p[5]) / dt;
    const double shape1 = static_cast<double>(p[0] / p[2]);
    const double shape2 = static_cast<double>(p[1] / p[3]);
    const double rate1 = dt / static_cast<double>(p[2]);
    const double rate2 = dt / static_cast<double>(p[3]);
    const double ratio = static_cast<double>(p[4]);
    const double logGamma1 = gammln(shape1);
    const double logGamma2 = gammln(shape2);

    double largest = 0.0;
    double smallest = 0.0;
    for (long long k = 0; k < samples; ++k) {
        // Only the bins that are kept are computed, so that no number of bins needs memory.
        const long long bin = k * nsub;
        hrf[k] = 0.0;
        if (bin >= 0 && bin < bins) {
            const double u = static_cast<double>(bin) - onset;
            const double undershoot = gamma_density(u, shape2, rate2, logGamma2);
            hrf[k] = ratio >= 0.001 ? gamma_density(u, shape1, rate1, logGamma1) - undershoot / ratio : -undershoot;
        }
        largest = hrf[k] > largest ? hrf[k] : largest;
        smallest = hrf[k] < smallest ? hrf[k] : smallest;
    }
    const float scale = static_cast<float>(largest > -smallest ? largest : -smallest);
    if (static_cast<double>(scale) >= 0.0001) {
        for (long long k = 0; k < samples; ++k) {
            hrf[k] /= static_cast<double>(scale);
        }
    }
    return 1;
}

int gammapdf(int n, double* x, double h, double l, double* out) {
    const double logGamma = gammln(h);
    for (int i = 0; i < n; ++i) {
        out[i] = gamma_density(x[i], h, l, logGamma);
    }
    return 1;
}

double hemoweight(double t) {
    if (t < 0.0) {
        return 0.0;
    }
    const double gamma5 = std::exp(gammln(5.0));
    const double gamma15 = std::exp(gammln(15.0));
    const double s = t * 0.001;
    const double decay = std::exp(-s);
    const double peakDecay = std::exp(-4.0);
    const double weight = std::pow(s, 4.0) * decay / gamma5 - decay * std::pow(s, 14.0) / gamma15 / 6.0;
    const double peak = peakDecay * 256.0 / gamma5 - peakDecay * 268435456.0 / gamma15 / 6.0; // the same at s = 4
    return weight / peak;
}

double deltaweight(double t, double width) {
    return width > std::fabs(t) ? 1.0 : 0.0;
}
