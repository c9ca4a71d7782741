#pragma once

#include <stdint.h>
#include <string.h>

#include "numerics/x86/jacobi_kernels.h"

// The arrays of the fast Jacobi routine (jacobi_wave.h tells what they are for).
namespace kernels {
namespace {

inline int smaller(int a, int b) {
    return a < b ? a : b;
}
inline int larger(int a, int b) {
    return a > b ? a : b;
}
inline float magnitude(float x) {
    return __builtin_fabsf(x);
}
inline unsigned first_bits(int count) {
    return count <= 0 ? 0U : (2U << (smaller(count, lanes) - 1)) - 1U;
}

/// What a sweep rotates: elements above the threshold; in late sweeps not those negligible beside both diagonal
/// elements, which are set to zero instead.
struct Criterion {
    float threshold;
    bool late;
};

/// The pivots first..first + pivots - 1 and their rotations. Those before `skipped` have been dealt with row by row.
struct Panel {
    int first;
    int pivots;
    int skipped;
    float* table;   // s of all lanes, tau of all lanes, for every row q
    unsigned* done; // for every row q a word, bit l set if the pivot of lane l and row q have been rotated

    float* turns(long row) const { return table + row * 2 * lanes; }
};

/// The arrays of one call. Indices run from 0; rows and vectors that the wave reaches beyond 0..n - 1, by up to `lanes`
/// at either end, are there but mean nothing.
struct Storage {
    int n;
    int panels;
    int vVectors; // vectors per row of V; as many follow for the finished rows
    long sStride;
    long uVector;
    float* s; // rows of the upper triangle
    float* u; // vector by vector, and within a vector row by row: a walk down the rows reads contiguous memory
    float* y; // the new elements S[p][q], for every row q those of all lanes
    float* d;
    float* z;
    float* b;
    float* tables[2]; // of this sweep and the one before
    unsigned* done[2];

    float* s_row(long row) const { return s + row * sStride; }
    float* u_at(long vector, long row) const { return u + vector * uVector + row * lanes; }
    /// Element `column` of all rows of U, at a distance of `lanes` floats.
    float* u_column(int column) const { return u_at(column / lanes, 0) + column % lanes; }
    int finished_column(int row) const { return vVectors * lanes + row; }
    /// Rows of the tables in front of panel k, or of all panels.
    long table_rows(long k) const { return k * (n + 2 * lanes) - lanes * (k * (k - 1) / 2); }

    Panel panel(int buffer, int k) const {
        const int first = k * lanes;
        const long row = table_rows(k) + lanes - first;
        return {first, smaller(n - 1 - first, lanes), 0, tables[buffer] + row * 2 * lanes, done[buffer] + row};
    }
};

/// Deals out aligned pieces of the work storage; without storage, only counts.
class Dealer {
public:
    explicit Dealer(float* storage) : base(storage), used(0) {
        if (storage != nullptr) {
            const long beyond = static_cast<long>(reinterpret_cast<uintptr_t>(storage) / sizeof(float) % line);
            base += beyond == 0 ? 0 : line - beyond;
        }
    }
    float* take(long floats) {
        float* piece = base == nullptr ? nullptr : base + used;
        used += (floats + line - 1) / line * line;
        return piece;
    }
    long total() const { return used + line; }

private:
    static constexpr long line = 16;
    float* base;
    long used;
};

/// Total size if there is no storage yet.
long arrange(Storage& m, int n, float* storage) {
    Dealer dealer(storage);
    m.n = n;
    m.panels = (n - 1 + lanes - 1) / lanes;
    m.vVectors = (n + lanes - 1) / lanes;
    m.sStride = (n + 2 * lanes + 15) / 16 * 16 + 16;
    m.uVector = static_cast<long>(n) * lanes;
    const long spread = n + 2L * lanes;
    m.s = dealer.take(m.sStride * m.vVectors * lanes);
    m.u = dealer.take(2L * m.vVectors * m.uVector + lanes * lanes);
    m.y = dealer.take(spread * lanes);
    m.d = dealer.take(spread);
    m.z = dealer.take(spread);
    m.b = dealer.take(n);
    for (int i = 0; i < 2; ++i) {
        m.tables[i] = dealer.take(m.table_rows(m.panels) * 2 * lanes);
        m.done[i] = reinterpret_cast<unsigned*>(dealer.take(m.table_rows(m.panels)));
    }
    if (storage != nullptr) {
        m.s += lanes;
        m.y += lanes * lanes;
        m.d += lanes;
        m.z += lanes;
    }
    return dealer.total();
}

} // namespace
} // namespace kernels
