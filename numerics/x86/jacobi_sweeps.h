#pragma once

#include "numerics/x86/jacobi_rows.h"
#include "numerics/x86/jacobi_wave.h"

// The routine as a whole: sweep after sweep until nothing is left off the diagonal.
namespace kernels {
namespace {

/// Whether a wave costs less than `wanted` of `all` elements one by one. Measured: a rotation by itself takes 170 to
/// 600 cycles (n = 50 to 250), in a full wave 60 to 130.
inline bool worth_a_wave(long wanted, long all) {
    return wanted * 5 > all;
}

/// A sweep with little to do, or that may turn out so: panel by panel the cheaper way. In the first two sweeps the
/// first rotations often put most of what was above the threshold below it; so as long as there have been no more than
/// `trial` rotations, it goes on row by row.
int sweep_mixed(const Storage& m, Backlog& backlog, const Criterion& criterion, long trial) {
    int count = 0;
    for (int k = 0; k < m.panels; ++k) {
        Panel panel = m.panel(0, k);
        const int end = panel.first + panel.pivots;
        int rotated = 1;
        for (int p = panel.first; p < end; ++p) {
            if (rotated > 0 && count > trial) {
                const long wanted = count_wanted(m, p, end, criterion);
                if (worth_a_wave(wanted, static_cast<long>(end - p) * (m.n - p))) {
                    break;
                }
            }
            rotated = sweep_row(m, p, criterion);
            count += rotated;
            ++panel.skipped;
        }
        if (panel.skipped < panel.pivots) {
            count += sweep_panel(m, panel, backlog, criterion);
            apply_panel(m, panel, 0, panel.pivots, 0, m.vVectors + k + 1);
        }
    }
    return count;
}

int sweep_full(const Storage& m, Backlog& backlog, const Criterion& criterion, int buffer) {
    int count = 0;
    for (int k = 0; k < m.panels; ++k) {
        const Panel panel = m.panel(buffer, k);
        count += sweep_panel(m, panel, backlog, criterion);
        finish_task(m, backlog, backlog.finished);
        backlog.finished = Task{panel, m.vVectors, m.vVectors + k + 1, 0, m.vVectors};
        if (!backlog.walking) {
            next_walk(m, backlog);
        }
    }
    finish_task(m, backlog, backlog.finished);
    finish_v(m, backlog);
    backlog.buffer = buffer;
    backlog.nextPanel = 0;
    next_walk(m, backlog);
    return count;
}

/// The finished rows back into the matrix, tile by tile; whatever lies on and below the diagonal comes along.
void restore_rows(const Storage& m) {
    for (int p = 0; p < m.n - 1; p += lanes) {
        for (int q = p; q < m.n; q += lanes) {
            Lanes tile[lanes];
            const float* from = m.u_at(m.vVectors + p / lanes, q);
            float* to = m.s_row(p) + q;
#pragma GCC unroll 16
            for (int i = 0; i < lanes; ++i) {
                tile[i] = load(from + i * lanes);
            }
            transpose(tile);
#pragma GCC unroll 16
            for (int i = 0; i < lanes; ++i) {
                store(to + i * m.sStride, tile[i]);
            }
        }
    }
}

/// Sum of the sizes of all elements above the diagonal, in the order of the rows.
float sum_of_sizes(const Storage& m) {
    float sum = 0.0f;
    for (int p = 0; p < m.n - 1; ++p) {
        const float* row = m.s_row(p);
        for (int q = p + 1; q < m.n; ++q) {
            sum += magnitude(row[q]);
        }
    }
    return sum;
}

/// Whether that sum is zero, without waiting for one addition after the other.
bool is_diagonal(const Storage& m) {
    for (int p = 0; p < m.n - 1; ++p) {
        for (int q = p + 1; q < m.n; q += lanes) {
            if ((unequal(load(m.s_row(p) + q), zeros()) & first_bits(m.n - q)) != 0) {
                return false;
            }
        }
    }
    return true;
}

void take_matrix(const Storage& m, float** a) {
    for (int p = 0; p < m.n; ++p) {
        m.u_column(p)[p * lanes] = 1.0f;
        m.b[p] = m.d[p] = a[p + 1][p + 1];
        memcpy(m.s_row(p) + p + 1, a[p + 1] + p + 2, sizeof(float) * static_cast<unsigned long>(m.n - 1 - p));
    }
}

void give_results(const Storage& m, float** a, float* d, float** v) {
    for (int p = 0; p < m.n; ++p) {
        d[p + 1] = m.d[p];
        memcpy(a[p + 1] + p + 2, m.s_row(p) + p + 1, sizeof(float) * static_cast<unsigned long>(m.n - 1 - p));
        const float* column = m.u_column(p);
        for (long q = 0; q < m.n; ++q) {
            v[p + 1][q + 1] = column[q * lanes];
        }
    }
}

void correct_diagonal(const Storage& m) {
    for (int p = 0; p < m.n; ++p) {
        m.b[p] += m.z[p];
        m.d[p] = m.b[p];
        m.z[p] = 0.0f;
    }
}

/// The sweeps until the matrix is diagonal; whether it is.
bool diagonalize(const Storage& m, int* nrot) {
    const long elements = static_cast<long>(m.n) * (m.n - 1) / 2;
    Backlog backlog{};
    backlog.nextPanel = m.panels;
    bool converged = false;
    int buffer = 0;
    int before = 0; // rotations of the sweep before
    for (int sweep = 1; sweep <= maxSweeps && !converged; ++sweep) {
        // Sweeps 1 to 3 skip small elements; from sweep 5 on negligible ones are zeroed; sweep 4 does neither.
        Criterion criterion{0.0f, sweep > 4};
        if (sweep < 4) {
            const float sum = sum_of_sizes(m);
            const double nSquared = static_cast<double>(static_cast<long>(m.n) * m.n);
            criterion.threshold = static_cast<float>(0.2 * static_cast<double>(sum) / nSquared);
        }
        if (is_diagonal(m)) {
            converged = true;
            break;
        }
        const long wanted = count_wanted(m, 0, m.n - 1, criterion);
        const bool probing = sweep == 1 || (sweep == 2 && before * 4L < elements);
        if (!probing && worth_a_wave(wanted, elements)) {
            before = sweep_full(m, backlog, criterion, buffer);
            buffer = 1 - buffer;
        } else {
            finish_v(m, backlog);
            const long trial = sweep == 1 ? m.n / 2 : elements / 16 + 2L * m.n;
            before = sweep_mixed(m, backlog, criterion, probing ? trial : -1);
        }
        *nrot += before;
        correct_diagonal(m);
        restore_rows(m);
    }
    finish_v(m, backlog);
    return converged;
}

int jacobi_wave(float** a, int n, float* d, float** v, int* nrot) {
    Storage m{};
    const long size = arrange(m, n, nullptr);
    float* storage = workspace(size);
    if (storage == nullptr) {
        return noStorage;
    }
    memset(storage, 0, sizeof(float) * static_cast<unsigned long>(size));
    arrange(m, n, storage);
    take_matrix(m, a);
    *nrot = 0;
    const bool converged = diagonalize(m, nrot);
    give_results(m, a, d, v);
    free_workspace(storage);
    return converged ? 1 : 0;
}

} // namespace
} // namespace kernels
