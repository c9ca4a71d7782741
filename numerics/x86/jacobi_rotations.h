#pragma once

#include "numerics/x86/jacobi_storage.h"

// The parameters of rotations, all lanes at once.
namespace kernels {
namespace {

/// Rotations of all lanes; s, tau and h = t * element count only where executed.
struct Rotations {
    Lanes s;
    Lanes tau;
    Lanes h;
    unsigned executed;
    unsigned zeroed; // executed or negligible
};

/// 0.5 h / element. A float quotient has the bits of the double quotient rounded to float, as 53 >= 2 * 24 + 2; not if
/// halving h in float is inexact, which the bound leaves out generously.
inline Lanes theta_of(Lanes h, Lanes element, unsigned wanted) {
    const unsigned tiny = less(absolute(h), all(0x1p-120f)) & unequal(h, zeros());
    if (__builtin_expect(wanted & tiny, 0)) {
        return rounded(all_wide(0.5) * widened(h) / widened(element));
    }
    return all(0.5f) * h / element;
}

/// Tangent of the rotation angle, for the diagonal difference h and g = 100 |element|. The sign goes into the dividend:
/// one operation less to wait for.
inline Lanes tangent_of(Lanes element, Lanes h, Lanes g, unsigned wanted) {
    const Lanes size = absolute(h);
    const unsigned large = equal(size + g, size);
    const Lanes quotient = element / h;
    if (!(wanted & ~large)) {
        return quotient;
    }
    const Lanes theta = theta_of(h, element, wanted & ~large);
    const Lanes sign = select(mask_of(less(theta, zeros())), all(-1.0f), all(1.0f));
    const Wide root = square_root(widened(theta * theta) + all_wide(1.0));
    return select(mask_of(large), quotient, rounded(widened(sign) / (widened(absolute(theta)) + root)));
}

/// Without a cosine, where t * t + 1 is 1 in all lanes: the division by 1 + c is a product with 0.5, rounded alike.
inline void find_sines(Rotations& r, Lanes t) {
    const Lanes u = t * t + all(1.0f);
    if (r.executed & unequal(u, all(1.0f))) {
        const Wide one = all_wide(1.0);
        const Halves c = halves(one / square_root(widened(u)));
        const Halves s = halves(t) * c;
        r.s = joined(s);
        r.tau = rounded(widened(s) / (one + widened(c)));
    } else {
        r.s = t;
        r.tau = t * all(0.5f);
    }
}

inline Rotations rotations_of(Lanes element, Lanes dp, Lanes dq, unsigned valid, const Criterion& criterion) {
    const Lanes size = absolute(element);
    const Lanes g = all(100.0f) * size;
    unsigned negligible = 0;
    if (criterion.late) {
        const Lanes ap = absolute(dp);
        const Lanes aq = absolute(dq);
        negligible = equal(ap + g, ap) & equal(aq + g, aq) & valid;
    }
    Rotations r{zeros(), zeros(), zeros(), greater(size, all(criterion.threshold)) & ~negligible & valid, 0};
    r.zeroed = negligible | r.executed;
    if (r.executed) {
        const Lanes t = tangent_of(element, dq - dp, g, r.executed);
        r.h = t * element;
        find_sines(r, t);
    }
    return r;
}

inline void rotate(Lanes& x, Lanes& y, Lanes s, Lanes tau) {
    const Lanes g = x;
    const Lanes h = y;
    x = g - s * (h + g * tau);
    y = h + s * (g - h * tau);
}

inline void rotate_where(Mask m, Lanes& x, Lanes& y, Lanes s, Lanes tau) {
    const Lanes g = x;
    const Lanes h = y;
    x = subtract_where(g, m, g, s * (h + g * tau));
    y = add_where(h, m, h, s * (g - h * tau));
}

} // namespace
} // namespace kernels
