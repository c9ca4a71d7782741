#include "stats/normal.h"

#include <cmath>

#include "numerics/arrays.h"
#include "numerics/scalars.h"
#include "stats/error_function.h"

double normaldist_p(double x, double mu, double sig) {
    if (sig <= 0.0) {
        nrerror("bad sigma in function: normaldist_p");
    }
    const float z = static_cast<float>((x - mu) / sig);
    return (0.3989422804014327 / sig) * std::exp(-0.5 * static_cast<double>(numerics::square(z)));
}

double normaldist_cdf(double x, double mu, double sig) {
    return 0.5 * _erfc(-0.7071067811865476 * (x - mu) / sig);
}

double normaldist_invcdf(double p, double mu, double sig) {
    if (p <= 0.0 || p >= 1.0) {
        nrerror("bad p value in function: normaldist_invcdr"); // spelt so
    }
    return -1.4142135623730951 * sig * inverfc(2.0 * p) + mu;
}
