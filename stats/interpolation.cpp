#include "stats/interpolation.h"

#include "numerics/arrays.h"
#include "numerics/truncation.h"

namespace {

// First derivatives above this ask for a natural end.
constexpr double naturalEnd = 9.9e29;

bool is_natural(float derivative) {
    return static_cast<double>(derivative) > naturalEnd;
}

float slope(const float* x, const float* y, int i) {
    return (y[i + 1] - y[i]) / (x[i + 1] - x[i]);
}

// y2 of a single point; nothing for none. @return whether there are at least two points.
bool has_intervals(int n, float* y2) {
    if (n == 1) {
        y2[0] = 0.0f;
    }
    return n >= 2;
}

void substitute_back(const float* u, int n, float* y2) {
    for (int k = n - 2; k >= 0; --k) {
        y2[k] = y2[k] * y2[k + 1] + u[k];
    }
}

double wide(float value) {
    return static_cast<double>(value);
}

// 3 / (x[i+1] - x[i]) * difference, in double.
float clamped_end_rg(const float* x, int i, float difference) {
    return static_cast<float>(3.0 / (wide(x[i + 1]) - wide(x[i])) * wide(difference));
}

double cubed_less_itself(double a) {
    return a * a * a - a;
}

} // namespace

void spline(float* x, float* y, int n, float yp1, float ypn, float* y2) {
    if (!has_intervals(n, y2)) {
        return;
    }
    float* u = fvector(0, n - 2);
    if (is_natural(yp1)) {
        y2[0] = u[0] = 0.0f;
    } else {
        y2[0] = -0.5f;
        u[0] = (3.0f / (x[1] - x[0])) * (slope(x, y, 0) - yp1);
    }
    for (int i = 1; i <= n - 2; ++i) {
        const float sig = (x[i] - x[i - 1]) / (x[i + 1] - x[i]); // Stored results depend on this denominator.
        const float p = sig * y2[i - 1] + 2.0f;
        y2[i] = (sig - 1.0f) / p;
        u[i] = slope(x, y, i) - slope(x, y, i - 1);
        u[i] = (6.0f * u[i] / (x[i + 1] - x[i - 1]) - sig * u[i - 1]) / p;
    }
    float qn = 0.0f;
    float un = 0.0f;
    if (!is_natural(ypn)) {
        qn = 0.5f;
        un = (3.0f / (x[n - 1] - x[n - 2])) * (ypn - slope(x, y, n - 2));
    }
    y2[n - 1] = (un - qn * u[n - 2]) / (qn * y2[n - 2] + 1.0f);
    substitute_back(u, n, y2);
    free_fvector(u, 0, n - 2);
}

void spline_rg(float* x, float* y, int n, float yp1, float ypn, float* y2) {
    if (!has_intervals(n, y2)) {
        return;
    }
    float* u = fvector(0, n - 2);
    if (is_natural(yp1)) {
        y2[0] = u[0] = 0.0f;
    } else {
        y2[0] = -0.5f;
        u[0] = clamped_end_rg(x, 0, slope(x, y, 0) - yp1);
    }
    for (int i = 1; i <= n - 2; ++i) {
        const float sig = (x[i] - x[i - 1]) / (x[i + 1] - x[i - 1]);
        const float p = static_cast<float>(wide(sig) * wide(y2[i - 1]) + 2.0);
        y2[i] = static_cast<float>((wide(sig) - 1.0) / wide(p));
        u[i] = slope(x, y, i) - slope(x, y, i - 1);
        const double curvature = 6.0 * wide(u[i]) / (wide(x[i + 1]) - wide(x[i - 1]));
        u[i] = static_cast<float>((curvature - wide(sig) * wide(u[i - 1])) / wide(p));
    }
    float qn = 0.0f;
    float un = 0.0f;
    if (!is_natural(ypn)) {
        qn = 0.5f;
        un = clamped_end_rg(x, n - 2, ypn - slope(x, y, n - 2));
    }
    y2[n - 1] = static_cast<float>(wide(un - qn * u[n - 2]) / (wide(qn * y2[n - 2]) + 1.0));
    substitute_back(u, n, y2);
    free_fvector(u, 0, n - 2);
}

void splint(float* xa, float* ya, float* y2a, int n, float x, float* y) {
    if (n < 2) {
        *y = n == 1 ? ya[0] : 0.0f;
        return;
    }
    int klo = n - 1;
    while (klo > 0 && xa[klo] > x) {
        --klo;
    }
    klo = klo > n - 2 ? n - 2 : klo;
    const int khi = klo + 1;
    const float h = xa[khi] - xa[klo];
    const float a = (xa[khi] - x) / h;
    const float b = (x - xa[klo]) / h;
    *y = a * ya[klo] + b * ya[khi] + ((a * a * a - a) * y2a[klo] + (b * b * b - b) * y2a[khi]) * (h * h) / 6.0f;
}

void splint_rg(float* xa, float* ya, float* y2a, int n, float x, float* y) {
    const int klo = truncate_to_int32(wide(x));
    const int khi = klo < 0 ? n : klo + 1;
    if (khi >= n) {
        *y = 0.0f;
        return;
    }
    const float h = xa[khi] - xa[klo];
    const float a = (xa[khi] - x) / h;
    const float b = (x - xa[klo]) / h;
    const double cubic = (cubed_less_itself(wide(a)) * wide(y2a[klo]) + cubed_less_itself(wide(b)) * wide(y2a[khi])) *
                         (wide(h) * wide(h)) / 6.0;
    *y = static_cast<float>(wide(a * ya[klo] + b * ya[khi]) + cubic);
}

void interp(float* x, float* y, int n, float* xnew, int m, float* ynew) {
    if (n < 1 || m < 1) {
        return;
    }
    float* y2 = fvector(0, n - 1);
    spline(x, y, n, 1e30f, 1e30f, y2);
    const int held = m / n;
    for (int i = 0; i < m - held; ++i) {
        splint(x, y, y2, n, xnew[i], &ynew[i]);
    }
    for (int i = m - held; i < m; ++i) {
        ynew[i] = y[n - 1];
    }
    free_fvector(y2, 0, n - 1);
}
