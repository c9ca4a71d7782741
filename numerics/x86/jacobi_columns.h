#pragma once

#include "numerics/x86/jacobi_rotations.h"

// Rotations of V and of the rows that are finished in a sweep: at once, or a slice at a time between other work.
namespace kernels {
namespace {

/// Pivots i and i + 1 of a panel on `count` vectors of every following row. Two pivots share loads and stores of the
/// row, and several vectors hide each other's latency: measured 4.6 cycles per vector and row with six vectors, 12 with
/// one, against a bound of 4. `own`: the last vector holds the panel's own finished rows, of which a pivot turns those
/// before it. The last pivot may be without a partner; no bit is set for that one, and row i + 1 exists.
template <int count, bool own>
void apply_pair(const Storage& m, const Panel& panel, int i, int vector) {
    const int p = panel.first + i;
    const int lane = lanes - 1 - i;
    const Bits bitX = same_bit(lane, lanes);
    const Bits bitY = same_bit(larger(lane - 1, 0), lanes);
    const Bits ownX = same_bit(lane, i);
    const Bits ownY = same_bit(larger(lane - 1, 0), i + 1);
    const unsigned both = 3U << larger(lane - 1, 0);
    const long next = m.uVector;
    float* const home = m.u_at(vector, p);
    const float* turn = panel.turns(p + 1) + lane;
    const unsigned* done = panel.done + p + 1;
    Lanes x[count];
    Lanes y[count];
#pragma GCC unroll 8
    for (int c = 0; c < count; ++c) {
        const Mask turned = test(done, own && c == count - 1 ? ownX : bitX);
        x[c] = load(home + c * next);
        y[c] = load(home + c * next + lanes);
        rotate_where(turned, x[c], y[c], all(turn[0]), all(turn[lanes]));
    }
    float* row = home + lanes;
    for (int left = m.n - p - 2; left > 0; --left) {
        row += lanes;
        turn += 2 * lanes;
        ++done;
        const Lanes s0 = all(turn[0]);
        const Lanes tau0 = all(turn[lanes]);
        const Lanes s1 = all(turn[-1]);
        const Lanes tau1 = all(turn[lanes - 1]);
        if (!own && !freeMasks && (*done & both) == both) {
#pragma GCC unroll 8
            for (int c = 0; c < count; ++c) {
                Lanes h = load(row + c * next);
                rotate(x[c], h, s0, tau0);
                rotate(y[c], h, s1, tau1);
                store(row + c * next, h);
            }
        } else {
            const Mask doneX = test(done, bitX);
            const Mask doneY = test(done, bitY);
#pragma GCC unroll 8
            for (int c = 0; c < count; ++c) {
                Lanes h = load(row + c * next);
                rotate_where(own && c == count - 1 ? test(done, ownX) : doneX, x[c], h, s0, tau0);
                rotate_where(own && c == count - 1 ? test(done, ownY) : doneY, y[c], h, s1, tau1);
                store(row + c * next, h);
            }
        }
    }
#pragma GCC unroll 8
    for (int c = 0; c < count; ++c) {
        store(home + c * next, x[c]);
        store(home + c * next + lanes, y[c]);
    }
}

template <int count, bool own>
void apply_pairs(const Storage& m, const Panel& panel, int begin, int end, int vector, int wanted) {
    if constexpr (count > 0) {
        if (wanted != count) {
            apply_pairs<count - 1, own>(m, panel, begin, end, vector, wanted);
            return;
        }
        for (int i = begin; i < end; i += 2) {
            apply_pair<count, own>(m, panel, i, vector);
        }
    }
}

/// Pivots begin..end - 1 of a panel on the vectors from..to - 1, in passes of about equal width.
void apply_panel(const Storage& m, const Panel& panel, int begin, int end, int from, int to) {
    const int own = m.vVectors + panel.first / lanes;
    for (int passes = (to - from + passVectors - 1) / passVectors; passes > 0; --passes) {
        const int width = (to - from + passes - 1) / passes;
        if (from + width > own) {
            apply_pairs<passVectors, true>(m, panel, begin, end, from, width);
        } else {
            apply_pairs<passVectors, false>(m, panel, begin, end, from, width);
        }
        from += width;
    }
}

// The chain of x down the rows waits for its own results (12 cycles per row) and leaves two thirds of the arithmetic
// units idle. So the rotations of earlier panels are applied on the way: while the wave goes down its rows, a pair of
// earlier pivots goes down one vector of U, a row of each at a time. That costs 1.5 cycles (AVX2: 2) per row and vector
// instead of 4.6 (AVX2: 7), for half of the work or more; 12 percent of the whole at n = 50, 17 at n = 100. To do this
// work behind the rotations of a step, which take 160 cycles of latency, was tried and gained nothing.

/// A pair of pivots on its way down one vector.
struct Walk {
    float* home; // of the vector in row p
    float* row;
    const float* turn;
    const unsigned* done;
    long left; // rows
    Bits bitX;
    Bits bitY;
    Lanes x;
    Lanes y;
};

/// A panel's work on the vectors begin..end - 1: left are the pair at `pivot` from `vector` on, and the pairs after it.
struct Task {
    Panel panel;
    int begin;
    int end;
    int pivot;
    int vector;

    bool pending() const { return pivot < panel.pivots; }
    void advance() {
        if (++vector == end) {
            vector = begin;
            pivot += 2;
        }
    }
};

/// The finished rows come first: they are due when the next panel is done, V when the next sweep is.
struct Backlog {
    Walk walk;
    bool walking;
    Task finished; // finished rows, by the panel before
    Task v;        // V, by a panel of the sweep before
    int buffer;    // where that sweep's rotations are
    int nextPanel; // of that sweep
};

inline void begin_walk(const Storage& m, Backlog& backlog, Task& task) {
    Walk& w = backlog.walk;
    const int i = task.pivot;
    const int p = task.panel.first + i;
    const int lane = lanes - 1 - i;
    // Of the vector's elements the pivots turn V and the finished rows before them.
    const int reach = (m.vVectors - task.vector) * lanes + p;
    w.home = m.u_at(task.vector, p);
    w.row = w.home + 2 * lanes;
    w.turn = task.panel.turns(p + 2) + lane;
    w.done = task.panel.done + p + 2;
    w.left = m.n - p - 2;
    w.bitX = same_bit(lane, reach);
    w.bitY = same_bit(larger(lane - 1, 0), reach + 1);
    w.x = load(w.home);
    w.y = load(w.home + lanes);
    rotate_where(test(w.done - 1, w.bitX), w.x, w.y, all(w.turn[-2 * lanes]), all(w.turn[-lanes]));
    backlog.walking = true;
    task.advance();
}

inline void end_walk(Backlog& backlog) {
    store(backlog.walk.home, backlog.walk.x);
    store(backlog.walk.home + lanes, backlog.walk.y);
    backlog.walking = false;
}

inline bool next_panel(const Storage& m, Backlog& backlog) {
    if (backlog.nextPanel == m.panels) {
        return false;
    }
    backlog.v = Task{m.panel(backlog.buffer, backlog.nextPanel++), 0, m.vVectors, 0, 0};
    return true;
}

/// Ends the walk at its end, if any, and begins another that has rows to go, if any.
inline void next_walk(const Storage& m, Backlog& backlog) {
    do {
        if (backlog.walking) {
            end_walk(backlog);
        }
        if (backlog.finished.pending()) {
            begin_walk(m, backlog, backlog.finished);
        } else if (backlog.v.pending() || next_panel(m, backlog)) {
            begin_walk(m, backlog, backlog.v);
        }
    } while (backlog.walking && backlog.walk.left == 0);
}

/// The pivots on one row. (Its own arguments: as members of one structure, g++ keeps them in memory.)
inline void walk_row(float* row, const float* turn, const unsigned* done, Bits bitX, Bits bitY, Lanes& x, Lanes& y) {
    Lanes h = load(row);
    rotate_where(test(done, bitX), x, h, all(turn[0]), all(turn[lanes]));
    rotate_where(test(done, bitY), y, h, all(turn[-1]), all(turn[lanes - 1]));
    store(row, h);
}

inline void advance(Walk& w, long rows) {
    w.row += rows * lanes;
    w.turn += rows * 2 * lanes;
    w.done += rows;
    w.left -= rows;
}

inline void finish_walk(Backlog& backlog) {
    if (backlog.walking) {
        Walk& w = backlog.walk;
        for (; w.left > 0; advance(w, 1)) {
            walk_row(w.row, w.turn, w.done, w.bitX, w.bitY, w.x, w.y);
        }
        end_walk(backlog);
    }
}

/// Brings a task to its end in wide passes, after the walk under way, which may belong to it.
void finish_task(const Storage& m, Backlog& backlog, Task& task) {
    finish_walk(backlog);
    if (task.vector != task.begin) {
        apply_panel(m, task.panel, task.pivot, task.pivot + 1, task.vector, task.end);
        task.vector = task.begin;
        task.pivot += 2;
    }
    apply_panel(m, task.panel, task.pivot, task.panel.pivots, task.begin, task.end);
    task.pivot = task.panel.pivots;
}

void finish_v(const Storage& m, Backlog& backlog) {
    do {
        finish_task(m, backlog, backlog.v);
    } while (next_panel(m, backlog));
}

} // namespace
} // namespace kernels
