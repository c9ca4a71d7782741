#include "stats/correlation.h"

#include <cmath>

#include "numerics/arrays.h"
#include "numerics/scalars.h"
#include "stats/beta.h"
#include "stats/error_function.h"
#include "stats/sorting.h"

using numerics::square;

namespace {

struct DeviationSums {
    float sxx = 0.0f;
    float syy = 0.0f;
    float sxy = 0.0f;
};

DeviationSums deviation_sums(const float* x, const float* y, unsigned long n) {
    float ax = 0.0f;
    float ay = 0.0f;
    for (unsigned long j = 1; j <= n; ++j) {
        ax += x[j];
        ay += y[j];
    }
    ax /= static_cast<float>(n);
    ay /= static_cast<float>(n);
    DeviationSums sums;
    for (unsigned long j = 1; j <= n; ++j) {
        const float xt = x[j] - ax;
        const float yt = y[j] - ay;
        sums.sxx += xt * xt;
        sums.syy += yt * yt;
        sums.sxy += xt * yt;
    }
    return sums;
}

float correlation(float sxx, float syy, float sxy) {
    const float norm = std::sqrt(sxx * syy);
    return norm > 0.0f ? sxy / norm : 0.0f;
}

void take_pair(float x, float y, float& n, float& sx, float& sy, float& sxx, float& syy, float& sxy) {
    n += 1.0f;
    sx += x;
    sy += y;
    // Both factors deviate from the new mean. Stored results depend on this.
    const float dx = x - sx / n;
    const float dy = y - sy / n;
    sxx += dx * dx;
    syy += dy * dy;
    sxy += dx * dy;
}

} // namespace

void pearsn(float* x, float* y, unsigned long n, float* r, float* /*prob*/, float* /*z*/) {
    const DeviationSums sums = deviation_sums(x, y, n);
    *r = correlation(sums.sxx, sums.syy, sums.sxy);
}

void pearsn_prob(float* x, float* y, unsigned long n, float* r, float* prob, float* z) {
    if (n <= 2) {
        *r = 0.0f;
        *z = 0.0f;
        *prob = 1.0f;
        return;
    }
    const DeviationSums sums = deviation_sums(x, y, n);
    const float product = sums.sxx * sums.syy;
    float found = 0.0f;
    if (std::sqrt(product) > 0.0f) {
        found = static_cast<float>(static_cast<double>(sums.sxy) / std::sqrt(static_cast<double>(product)));
    }
    *r = found;
    const float df = static_cast<float>(n - 2);
    const double wide = static_cast<double>(found);
    const float t = static_cast<float>(
        wide * std::sqrt(static_cast<double>(df) / ((1.0 - wide + 1.0e-20) * (1.0 + wide + 1.0e-20))));
    *prob = betai(0.5f * df, 0.5f, df / (df + t * t));
}

void pearsn_inc(float x, float y, float& n, float& sx, float& sy, float& sxx, float& syy, float& sxy, float* r) {
    take_pair(x, y, n, sx, sy, sxx, syy, sxy);
    *r = correlation(sxx, syy, sxy);
}

void regr_inc(float x, float y, float& n, float& sx, float& sy, float& sxx, float& syy, float& sxy, float* intercept,
              float* slope, float* meanY) {
    take_pair(x, y, n, sx, sy, sxx, syy, sxy);
    *slope = sxx > 0.0f ? sxy / sxx : 0.0f;
    *meanY = sy / n;
    *intercept = sy / n - *slope * sx / n;
}

void spear(float* data1, float* data2, unsigned long n, float* d, float* zd, float* probd, float* rs, float* probrs) {
    const long last = static_cast<long>(n);
    float* ranks1 = fvector(1, last);
    float* ranks2 = fvector(1, last);
    for (unsigned long j = 1; j <= n; ++j) {
        ranks1[j] = data1[j];
        ranks2[j] = data2[j];
    }
    float sf = 0.0f;
    float sg = 0.0f;
    sort2(n, ranks1, ranks2);
    crank(n, ranks1, &sf);
    sort2(n, ranks2, ranks1);
    crank(n, ranks2, &sg);
    *d = 0.0f;
    for (unsigned long j = 1; j <= n; ++j) {
        *d = static_cast<float>(static_cast<double>(*d) + static_cast<double>(square(ranks1[j] - ranks2[j])));
    }
    free_fvector(ranks2, 1, last);
    free_fvector(ranks1, 1, last);

    const float en = static_cast<float>(n);
    const float en3n = en * en * en - en;
    const double wide = static_cast<double>(en);
    const double cubic = static_cast<double>(en3n);
    const float fac =
        static_cast<float>((1.0 - static_cast<double>(sf) / cubic) * (1.0 - static_cast<double>(sg) / cubic));
    const float vard = static_cast<float>((wide - 1.0) * wide * wide * static_cast<double>(square(en + 1.0f)) / 36.0 *
                                          static_cast<double>(fac));
    if (vard == 0.0f || fac == 0.0f) {
        *rs = 0.0f;
        *probrs = 0.0f;
        return;
    }
    const double ties = static_cast<double>(sf + sg) / 12.0;
    const float aved = static_cast<float>(cubic / 6.0 - ties);
    *zd = static_cast<float>(static_cast<double>(*d - aved) / std::sqrt(static_cast<double>(vard)));
    *probd = erfcc(static_cast<float>(static_cast<double>(std::fabs(*zd)) / 1.4142136));
    *rs = static_cast<float>((1.0 - 6.0 / cubic * (static_cast<double>(*d) + ties)) /
                             std::sqrt(static_cast<double>(fac)));
}

void crank(unsigned long n, float* w, float* s) {
    *s = 0.0f;
    unsigned long j = 1;
    while (j < n) {
        if (w[j + 1] != w[j]) {
            w[j] = static_cast<float>(j);
            ++j;
            continue;
        }
        unsigned long jt = j + 1;
        while (jt <= n && w[jt] == w[j]) {
            ++jt;
        }
        const float rank = static_cast<float>(0.5 * static_cast<double>(j + jt - 1));
        for (unsigned long i = j; i < jt; ++i) {
            w[i] = rank;
        }
        const float t = static_cast<float>(jt - j);
        *s += t * t * t - t;
        j = jt;
    }
    if (j == n) {
        w[n] = static_cast<float>(n);
    }
}
