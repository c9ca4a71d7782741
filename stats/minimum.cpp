#include "stats/minimum.h"

extern "C" double fmin(double a, double b) noexcept {
    return a <= b ? a : b;
}
