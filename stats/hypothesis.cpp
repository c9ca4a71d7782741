#include "stats/hypothesis.h"

#include <cmath>

#include "stats/moments.h"
#include "stats/sorting.h"

void ttest(float* data1, unsigned long n1, float* data2, unsigned long n2, float* t, float* /*prob*/) {
    float ave1 = 0.0f;
    float var1 = 0.0f;
    float ave2 = 0.0f;
    float var2 = 0.0f;
    avevar(data1, n1, &ave1, &var1);
    avevar(data2, n2, &ave2, &var2);
    const float svar =
        (static_cast<float>(n1 - 1) * var1 + static_cast<float>(n2 - 1) * var2) / static_cast<float>(n1 + n2 - 2);
    if (svar == 0.0f) {
        *t = 0.0f;
        return;
    }
    const double reciprocals =
        1.0 / static_cast<double>(static_cast<float>(n1)) + 1.0 / static_cast<double>(static_cast<float>(n2));
    *t = static_cast<float>(static_cast<double>(ave1 - ave2) / std::sqrt(static_cast<double>(svar) * reciprocals));
}

void tutest(float* data1, unsigned long n1, float* data2, unsigned long n2, float* t, float* /*prob*/) {
    float ave1 = 0.0f;
    float var1 = 0.0f;
    float ave2 = 0.0f;
    float var2 = 0.0f;
    avevar(data1, n1, &ave1, &var1);
    avevar(data2, n2, &ave2, &var2);
    if (var1 == 0.0f && var2 == 0.0f) {
        *t = 0.0f;
        return;
    }
    const float sum = var1 / static_cast<float>(n1) + var2 / static_cast<float>(n2);
    *t = static_cast<float>(static_cast<double>(ave1 - ave2) / std::sqrt(static_cast<double>(sum)));
}

void kstwo(float* data1, unsigned long n1, float* data2, unsigned long n2, float* d, float* /*prob*/) {
    sort(n1, data1);
    sort(n2, data2);
    const float en1 = static_cast<float>(n1);
    const float en2 = static_cast<float>(n2);
    float fn1 = 0.0f;
    float fn2 = 0.0f;
    float largest = 0.0f;
    unsigned long j1 = 1;
    unsigned long j2 = 1;
    while (j1 <= n1 && j2 <= n2) {
        const float d1 = data1[j1];
        const float d2 = data2[j2];
        if (d1 <= d2) {
            fn1 = static_cast<float>(j1) / en1;
            ++j1;
        }
        if (d2 <= d1) {
            fn2 = static_cast<float>(j2) / en2;
            ++j2;
        }
        if (std::isunordered(d1, d2)) { // NaN is neither below nor above: pass both, or the walk would never end
            ++j1;
            ++j2;
        }
        const float dt = std::fabs(fn2 - fn1);
        if (dt > largest) {
            largest = dt;
        }
    }
    *d = largest;
}

float probks(float alam) {
    const float a2 = static_cast<float>(-2.0 * static_cast<double>(alam) * static_cast<double>(alam));
    float fac = 2.0f;
    float sum = 0.0f;
    float termbf = 0.0f;
    for (int j = 1; j <= 100; ++j) {
        const float fj = static_cast<float>(j);
        const float term = static_cast<float>(static_cast<double>(fac) * std::exp(static_cast<double>(a2 * fj * fj)));
        sum += term;
        const float magnitude = std::fabs(term);
        if (static_cast<double>(magnitude) <= 0.001 * static_cast<double>(termbf) ||
            static_cast<double>(magnitude) <= 1.0e-8 * static_cast<double>(sum)) {
            return sum;
        }
        fac = -fac;
        termbf = magnitude;
    }
    return 1.0f;
}
