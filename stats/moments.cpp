#include "stats/moments.h"

void avevar(float* data, unsigned long n, float* ave, float* var) {
    *ave = 0.0f;
    for (unsigned long j = 1; j <= n; ++j) {
        *ave += data[j];
    }
    *ave /= static_cast<float>(n);

    *var = 0.0f;
    float ep = 0.0f; // sum of the deviations: the round-off left in the mean
    for (unsigned long j = 1; j <= n; ++j) {
        const float s = data[j] - *ave;
        ep += s;
        *var += s * s;
    }
    *var = (*var - ep * ep / static_cast<float>(n)) / static_cast<float>(n - 1);
}
