#pragma once

#include "numerics/x86/jacobi_columns.h"

// Sweeps with few rotations, pivot by pivot in the order of the plain loop.
namespace kernels {
namespace {

// Where few elements are to be rotated, a wave costs more than they do one after the other.

struct Rotation {
    float s;
    float tau;
    float h;
};

inline double square_root(double x) {
    return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(x)));
}

inline Rotation rotation_of(float element, float dp, float dq) {
    const float h = dq - dp;
    const float g = 100.0f * magnitude(element);
    float t = 0.0f;
    if (magnitude(h) + g == magnitude(h)) {
        t = element / h;
    } else {
        const float theta = static_cast<float>(0.5 * static_cast<double>(h) / static_cast<double>(element));
        const double root = square_root(static_cast<double>(theta * theta) + 1.0);
        t = static_cast<float>(1.0 / (static_cast<double>(magnitude(theta)) + root));
        t = theta < 0.0f ? -t : t;
    }
    const float c = static_cast<float>(1.0 / square_root(static_cast<double>(t * t + 1.0f)));
    const float s = t * c;
    return {s, static_cast<float>(static_cast<double>(s) / (1.0 + static_cast<double>(c))), t * element};
}

/// Whole vectors, also at the end: what lies behind the rows means nothing.
inline void rotate_runs(float* x, float* y, int count, const Rotation& r) {
    for (int j = 0; j < count; j += lanes) {
        Lanes g = load(x + j);
        Lanes h = load(y + j);
        rotate(g, h, all(r.s), all(r.tau));
        store(x + j, g);
        store(y + j, h);
    }
}

void rotate_single(const Storage& m, int p, int q) {
    float* row = m.s_row(p);
    const Rotation r = rotation_of(row[q], m.d[p], m.d[q]);
    m.z[p] -= r.h;
    m.z[q] += r.h;
    m.d[p] -= r.h;
    m.d[q] += r.h;
    row[q] = 0.0f;
    for (int j = p + 1; j < q; ++j) {
        float* element = m.s_row(j) + q;
        const float g = row[j];
        const float h = *element;
        row[j] = g - r.s * (h + g * r.tau);
        *element = h + r.s * (g - h * r.tau);
    }
    rotate_runs(row + q + 1, m.s_row(q) + q + 1, m.n - 1 - q, r);
    const int vectors = m.vVectors + (p + lanes - 1) / lanes; // V and the finished rows before p
    for (int vector = 0; vector < vectors; ++vector) {
        rotate_runs(m.u_at(vector, p), m.u_at(vector, q), lanes, r);
    }
}

/// Which of the elements from column q on are to be rotated, and which are negligible, as things stand.
struct Choice {
    unsigned wanted;
    unsigned negligible;
};

inline Choice choose(const Storage& m, int p, int q, const Criterion& criterion) {
    const Lanes size = absolute(load(m.s_row(p) + q));
    const unsigned inside = first_bits(m.n - q);
    Choice choice{greater(size, all(criterion.threshold)) & inside, 0};
    if (criterion.late) {
        const Lanes g = all(100.0f) * size;
        const Lanes ap = absolute(all(m.d[p]));
        const Lanes aq = absolute(load(m.d + q));
        choice.negligible = equal(ap + g, ap) & equal(aq + g, aq) & inside;
        choice.wanted &= ~choice.negligible;
    }
    return choice;
}

long count_wanted(const Storage& m, int from, int to, const Criterion& criterion) {
    long count = 0;
    for (int p = from; p < to; ++p) {
        for (int q = p + 1; q < m.n; q += lanes) {
            count += __builtin_popcount(choose(m, p, q, criterion).wanted);
        }
    }
    return count;
}

/// Row p; a vector's length of columns without a rotation at one blow, else element by element, as every rotation
/// changes what follows. Number of rotations.
int sweep_row(const Storage& m, int p, const Criterion& criterion) {
    float* row = m.s_row(p);
    int count = 0;
    int q = p + 1;
    while (q < m.n) {
        const Choice choice = choose(m, p, q, criterion);
        const int clear = choice.wanted == 0 ? lanes : __builtin_ctz(choice.wanted);
        const Mask negligible = mask_of(choice.negligible & first_bits(clear));
        store(row + q, select(negligible, zeros(), load(row + q)));
        q += clear;
        if (choice.wanted != 0) {
            rotate_single(m, p, q);
            ++q;
            ++count;
        }
    }
    float* column = m.u_column(m.finished_column(p));
    for (long j = p + 1; j < m.n; ++j) {
        column[j * lanes] = row[j];
    }
    return count;
}

} // namespace
} // namespace kernels
