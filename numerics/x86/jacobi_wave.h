#pragma once

#include "numerics/x86/jacobi_columns.h"

// Cyclic Jacobi in vectors, with the bits of the plain loop. To be compiled with -ffp-contract=off: every product is
// rounded. Cycles given below were measured on a Zen 5 at 4 GHz.
//
// Include after a vector vocabulary (vector_avx512.h, vector_avx2.h) that defines Lanes, Mask, Bits and what is done
// with them. Nothing here has external linkage, and no inline function of a shared header is called, so that no code
// for one instruction set can stand in for that of another.
//
// The plain routine visits the pivots (p, q), p < q, row by row. A rotation (p, q) turns the pairs of elements that
// rows and columns p and q have in every other row or column. Within one row of pivots, in terms of the rows of the
// upper triangle, an element S[q][c] with p < q < c is turned twice: with S[p][c] by rotation (p, q), and, once S[p][q]
// is zeroed and gathers new values, with this new S[p][q] by rotation (p, c). The row p of the matrix comes out
// finished.
//
// The wave. Rotation (p, c) needs S[p][c] after the turns by (p, p + 1) ... (p, c - 1). Then row p + 1 may take column
// c: one column of distance between successive rows of pivots keeps every order. So the pivots of a panel, `lanes` rows
// of the matrix, are under way at once, one per lane, along an anti-diagonal (here four lanes, pivots 0..3):
//
//     column      4 5 6 7 8            step 7:  lane 3, pivot 0, is at column 7
//     pivot 0     . . . 7 8                     lane 2, pivot 1, is at column 6
//     pivot 1     . . 7 8                       lane 1, pivot 2, is at column 5
//     pivot 2     . 7 8                         lane 0, pivot 3, is at column 4
//     pivot 3     7 8
//     row 9       . . . . .            columns 4..7 of a row lie side by side: one vector
//
// A step goes down the rows once. In every row q the columns that were at work in the step before are turned for the
// second time, by the rotations just found; the vector moves on by one column; and the columns now at work are turned
// for the first time, by the rotations (pivot of the lane, q), which a table keeps. That first turn also changes the
// lane's own element x, so x runs down the rows through a chain of dependent operations; at its end the step finds all
// rotations of the anti-diagonal in vector arithmetic.
//
// Why the bits agree: every lane does the float operations of the plain loop on its elements, in the same order.
// Element S[q][c] sees the turns of pivot p before those of pivot p + 1, (p, q) before (p, c); S[p][c] sees (p, p + 1),
// (p, p + 2), ... as the rows go down; the diagonal d[c] and its correction z[c] see the pivots in order, one step
// apart, and d[p], z[p] the columns in order. Rotations whose pairs have no element in common merely change places. A
// rotation that is skipped is masked: s = 0 would turn -0, infinities and NaN into something else.
//
// V and the finished rows j < p (columns p and q of which rotation (p, q) turns as well) never influence a rotation of
// the same sweep. They are kept transposed, in one row of U for every index, so that a rotation turns two rows of U:
// U[q] holds column q of V, and then S[0][q], S[1][q] ... of the finished rows. A panel's rotations are applied to them
// when all are known, two pivots per pass.
namespace kernels {
namespace {

/// What the steps hand on.
struct Wave {
    Lanes x; // S[pivot of the lane][column of the lane]
    Lanes s; // the rotations of the step before
    Lanes tau;
    Mask executed;
    Lanes zeroed; // and what they left of x, not yet entered into y
    Lanes dp;     // d and z of the pivots
    Lanes zp;
};

/// The rows ahead, as the lanes see them.
struct Cursor {
    float* h; // column of the first lane
    float* y;
    const float* turns;
    const unsigned* done;
};

inline Cursor cursor_at(const Storage& m, const Panel& panel, long row, long column) {
    return {m.s_row(row) + column, m.y + row * lanes, panel.turns(row), panel.done + row};
}

/// One step down `count` rows, with or without a walk beside it.
///
/// No row needs a bound of its own. To the second turns all rows are alike: where a lane's row is not between its pivot
/// and its column, S[q][c] is below the diagonal or has gone into x before, and y[q] is not yet entered; all these are
/// dead. The first turns go by the table, whose bits are set only for rows that the lane has passed.
///
/// S[p0 + i][c], the lane's own element, becomes x in row p0 + i by the table as well: there s = -1, tau = 0 and x = -0
/// give x = -0 + (h + -0 * 0), which is h to the sign of a zero. A blend cost 1.5 cycles a row, in the panel's rows,
/// and a second loop.
template <bool walking>
inline void pass_rows(const Storage& m, Wave& wave, Cursor& cursor, Walk& walk, long count) {
    const Lanes s0 = wave.s;
    const Lanes tau0 = wave.tau;
    const Mask executed = wave.executed;
    const Bits bits = lane_bits();
    const long stride = m.sStride;
    Lanes x = wave.x;
    Cursor c = cursor;
    const Bits bitX = walk.bitX;
    const Bits bitY = walk.bitY;
    float* walkRow = walk.row;
    const float* walkTurn = walk.turn;
    const unsigned* walkDone = walk.done;
    Lanes walkX = walk.x;
    Lanes walkY = walk.y;
    for (long i = 0; i < count; ++i) {
        Lanes h = load(c.h - 1);
        Lanes y = load(c.y);
        rotate_where(executed, y, h, s0, tau0);
        store(c.y, y);
        store_first(c.h - 1, h);
        h = shifted(h, all(c.h[lanes - 1]));
        rotate_where(test(c.done, bits), x, h, load(c.turns), load(c.turns + lanes));
        store(c.h, h);
        c.h += stride;
        c.y += lanes;
        c.turns += 2 * lanes;
        ++c.done;
        if (walking) {
            walk_row(walkRow, walkTurn, walkDone, bitX, bitY, walkX, walkY);
            walkRow += lanes;
            walkTurn += 2 * lanes;
            ++walkDone;
        }
    }
    wave.x = x;
    cursor = c;
    if (walking) {
        walk.x = walkX;
        walk.y = walkY;
        advance(walk, count);
    }
}

inline void pass_rows(const Storage& m, Wave& wave, Cursor cursor, Backlog& backlog, long count) {
    while (backlog.walking && count > 0) {
        const long part = count < backlog.walk.left ? count : backlog.walk.left;
        pass_rows<true>(m, wave, cursor, backlog.walk, part);
        count -= part;
        if (backlog.walk.left == 0) {
            next_walk(m, backlog);
        }
    }
    if (count > 0) {
        pass_rows<false>(m, wave, cursor, backlog.walk, count);
    }
}

/// Lane l to lane l of row l.
inline void scatter(float* to, long stride, Lanes v) {
    float each[lanes];
    store(each, v);
#pragma GCC unroll 16
    for (int l = 0; l < lanes; ++l) {
        to[l * (stride + 1)] = each[l];
    }
}

/// Pivot i joins in: its diagonal, and the entry that makes its own elements x.
inline void begin_pivot(const Storage& m, const Panel& panel, Wave& wave, int i) {
    const int p = panel.first + i;
    const int lane = lanes - 1 - i;
    const Mask own = mask_of(1U << lane);
    wave.dp = select(own, all(m.d[p]), wave.dp);
    wave.zp = select(own, all(m.z[p]), wave.zp);
    panel.turns(p)[lane] = -1.0f;
    panel.turns(p)[lane + lanes] = 0.0f;
    panel.done[p] |= 1U << lane;
}

/// Rotations of the lanes in `valid`, the first lane in `column`.
inline int rotate_front(const Storage& m, const Panel& panel, Wave& wave, long column, unsigned valid,
                        const Criterion& criterion) {
    float* d = m.d + column;
    float* z = m.z + column;
    const Lanes dq = load(d);
    const Rotations r = rotations_of(wave.x, wave.dp, dq, valid, criterion);
    const Mask executed = mask_of(r.executed);
    if (r.executed) {
        const Lanes zq = load(z);
        wave.zp = subtract_where(wave.zp, executed, wave.zp, r.h);
        wave.dp = subtract_where(wave.dp, executed, wave.dp, r.h);
        store(z, add_where(zq, executed, zq, r.h));
        store(d, add_where(dq, executed, dq, r.h));
        mark(panel.done + column, executed, lane_bits());
    }
    scatter(panel.turns(column), 2 * lanes, r.s);
    scatter(panel.turns(column) + lanes, 2 * lanes, r.tau);
    wave.zeroed = select(mask_of(r.zeroed), zeros(), wave.x);
    wave.s = r.s;
    wave.tau = r.tau;
    wave.executed = executed;
    return __builtin_popcount(r.executed);
}

/// The second turns by the last rotation of all.
void end_wave(const Storage& m, const Panel& panel, const Wave& wave, long column) {
    for (int q = panel.first + panel.pivots; q < m.n - 1; ++q) {
        const Cursor c = cursor_at(m, panel, q, column);
        Lanes h = load(c.h);
        Lanes y = load(c.y);
        rotate_where(wave.executed, y, h, wave.s, wave.tau);
        store(c.y, y);
        store(c.h, h);
    }
    scatter(m.y + column * lanes, lanes, wave.zeroed);
}

/// d and z of the pivots into place, and the finished rows into U.
void put_back(const Storage& m, const Panel& panel, const Wave& wave) {
    float d[lanes];
    float z[lanes];
    store(d, reversed(wave.dp));
    store(z, reversed(wave.zp));
    for (int i = panel.skipped; i < panel.pivots; ++i) {
        m.d[panel.first + i] = d[i];
        m.z[panel.first + i] = z[i];
    }
    const Mask old = mask_of(first_bits(panel.skipped));
    float* own = m.u_at(m.vVectors + panel.first / lanes, 0);
    for (long q = panel.first + 1; q < m.n; ++q) {
        store(own + q * lanes, select(old, load(own + q * lanes), reversed(load(m.y + q * lanes))));
    }
}

/// The panel's pivots (those not skipped) on the part of the matrix to the right of them. Number of rotations.
int sweep_panel(const Storage& m, const Panel& panel, Backlog& backlog, const Criterion& criterion) {
    const int first = panel.first;
    const int n = m.n;
    memset(panel.done + first - lanes, 0, sizeof(unsigned) * static_cast<unsigned long>(n - first + 2 * lanes));
    Wave wave{zeros(), zeros(), zeros(), mask_of(0), zeros(), zeros(), zeros()};
    const Mask firstPivot = mask_of(1U << (lanes - 1));
    const unsigned everyLane = first_bits(lanes);
    const int last = n - 1 + panel.pivots - 1;
    int count = 0;
    for (int step = first + 1 + 2 * panel.skipped; step <= last; ++step) {
        const long column = step - (lanes - 1);                              // of the first lane
        const int begun = smaller((step - first - 1) / 2, panel.pivots - 1); // the last pivot at work
        const int gone = larger(step - n + 1, panel.skipped);                // the first one
        if (step == first + 1 + 2 * begun) {
            begin_pivot(m, panel, wave, begun);
        }
        // Rows before the first pivot at work need nothing any more.
        const int from = first + larger(gone, 1);
        wave.x = select(firstPivot, all(m.s_row(first)[step]), all(-0.0f));
        pass_rows(m, wave, cursor_at(m, panel, from, column), backlog, smaller(step, n - 1) - from);
        scatter(m.y + (column - 1) * lanes, lanes, wave.zeroed);
        const unsigned valid = (everyLane << (lanes - 1 - begun)) & (everyLane >> gone);
        count += rotate_front(m, panel, wave, column, valid, criterion);
    }
    end_wave(m, panel, wave, last - (lanes - 1));
    put_back(m, panel, wave);
    return count;
}

} // namespace
} // namespace kernels
