#include "numerics/dipole.h"

#include <cmath>

namespace {

constexpr double centredScale = 44.2464;
constexpr double scale = 24.114385316954;

// Coefficients of the series: the general terms in n^0 .. n^3, and what the first three orders add to them.
constexpr double general0 = 2.094413085618;
constexpr double general1 = 0.212973206782;
constexpr double general2 = 0.015140880154;
constexpr double general3 = 0.000311147671;
constexpr double order1 = 0.06141320805;
constexpr double order2 = 0.05342974625;
constexpr double order3 = 0.02582167642;

double dot(const double* a, const double* b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// The powers of g = 1 / (distance from dipole to electrode in units of the electrode's radius).
struct Powers {
    double g, g3, g5, g7;
};

Powers powers_of(double b, double c) {
    const double v = 1.0 / (1.0 - 2.0 * (b * c) + b * b);
    const double g = std::sqrt(v);
    const double g3 = g * v;
    const double g5 = g3 * v;
    return {g, g3, g5, g5 * v};
}

double tangential_factor(double b, double c, const Powers& p) {
    const double bc = b * c;
    const double b2 = b * b;
    const double c2 = c * c;
    return 1.5 * bc * order2 - order1 + general0 * p.g * (p.g + 1.0) / (p.g - bc * p.g + 1.0) - general1 * p.g3 +
           general2 * p.g5 * ((1.0 - b2) - b2 + bc) + 0.5 * order3 * b2 * (5.0 * c2 - 1.0) -
           general3 * p.g7 * ((4.0 * b2 - bc + c2 - 10.0) * b2 + 1.0 + 5.0 * bc);
}

double radial_factor(double b, double c, const Powers& p) {
    const double bc = b * c;
    const double b2 = b * b;
    const double c2 = c * c;
    return -order1 * c + order2 * b * (1.5 * c2 - 0.5) + general0 * (p.g - 1.0) / b - general1 * p.g3 * (c - b) +
           general2 * p.g5 * ((c2 + b2 - 2.0) * b + (1.0 - b2) * c) + order3 * b2 * c * (2.5 * c2 - 1.5) -
           general3 * p.g7 * ((5.0 * c2 - 4.0 + ((c2 - 9.0) * c + (10.0 - 2.0 * c2 - bc - b2) * b) * b) * b + c);
}

} // namespace

double potential(double* r0, double* q, double* r) {
    const double radius2 = dot(r, r);
    const double radius = std::sqrt(radius2);
    const double distance2 = dot(r0, r0);
    const double distance = std::sqrt(distance2);
    if (distance == 0.0) {
        return centredScale * dot(r, q) / (radius2 * radius);
    }
    const double s = dot(r, r0);
    const double t[3] = {distance2 * r[0] - s * r0[0], distance2 * r[1] - s * r0[1], distance2 * r[2] - s * r0[2]};
    const double t2 = dot(t, t);
    const double qt = t2 != 0.0 ? dot(t, q) / std::sqrt(t2) : 0.0;
    const double qr = dot(r0, q) / distance;
    const double c = s / (distance * radius);
    const double b = distance / radius;
    const Powers p = powers_of(b, c);
    const double sine2 = 1.0 - c * c;
    const double sine = sine2 < 0.0 ? 0.0 : std::sqrt(sine2); // rounding may take |c| past 1
    const double tangential = sine * tangential_factor(b, c, p) * qt;
    const double radial = qr * radial_factor(b, c, p);
    return scale * (tangential + radial) / radius2;
}
