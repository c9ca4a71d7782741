#include "obs/obs_fit.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/eigen.h"
#include "numerics/inverse.h"
#include "numerics/rows.h"
#include "obs/segment_samples.h"
#include "obs/step_timer.h"
#include "plugin/host_binding.h"

namespace {

using obs::FitSettings;
using obs::FitWorkspace;
using obs::window_is_valid;

// Which of two NaNs a sum hands on depends on the order in which a compiler puts the operands. All are written as the
// one that the processor makes of an invalid operation, so that every build writes the same bytes.
constexpr float invalidOperation = std::bit_cast<float>(0xFFC00000U);

// The triggers of a segment's occurrences. The last segment borrows from the one before it, which exists because there
// are at least N triggers. @return how many are the segment's own.
int gather_triggers(const FitSettings& s, FitWorkspace& ws, std::int64_t segStart) {
    for (int k = 0; k < s.N; ++k) {
        const std::int64_t occurrence = segStart + k < s.nTrials ? segStart + k : segStart - s.N + k;
        ws.triggers[k] = s.trig[occurrence];
    }
    return static_cast<int>(std::min<std::int64_t>(s.N, s.nTrials - segStart));
}

// Takes each epoch's mean off, and widens the epoch for the product while it is at hand.
void remove_means(const FitSettings& s, FitWorkspace& ws) {
    ORIDAN_STEP(mean);
    numerics::row_sums(ws.E, s.N, s.L, ws.means);
    for (int k = 0; k < s.N; ++k) {
        const float mean = ws.means[k] / static_cast<float>(s.L);
        ws.means[k] = mean;
        float* epoch = ws.E[k];
        double* widened = ws.Ed + static_cast<std::size_t>(k) * static_cast<std::size_t>(s.L);
        for (int j = 0; j < s.L; ++j) {
            epoch[j] -= mean;
            widened[j] = static_cast<double>(epoch[j]);
        }
    }
}

// Covariance between epochs, taken over time. The divisor is L, not L - 1: kept, the bits of the result depend on it.
void form_covariance(const FitSettings& s, FitWorkspace& ws) {
    ORIDAN_STEP(Gram);
    const std::size_t n = static_cast<std::size_t>(s.N);
    host::nv_intel_matrix_matrix_mult_d(ws.Ed, ws.Ed, ws.G, s.N, s.N, s.L, 0, 1);
    for (std::size_t a = 0; a < n; ++a) {
        for (std::size_t b = 0; b < n; ++b) {
            ws.K[b + 1][a + 1] = static_cast<float>(ws.G[a * n + b] / static_cast<double>(s.L));
        }
    }
}

// The first P component waveforms in the rows of C, and the inverse of their normal matrix. Whether the
// eigen-decomposition converged is not looked at: the segment goes on with what the last sweep left.
void build_basis(const FitSettings& s, FitWorkspace& ws) {
    ORIDAN_STEP(basis);
    {
        ORIDAN_STEP(eigen);
        int nrot = 0;
        jacobi(ws.K, s.N, ws.d, ws.V, &nrot);
        eigsrt(ws.d, ws.V, s.N);
    }
    for (int p = 0; p < s.P; ++p) {
        for (int k = 0; k < s.N; ++k) {
            ws.Vt[p][k] = ws.V[k + 1][p + 1];
        }
    }
    matrix_matrix_mult(ws.Vt, ws.E, ws.C, s.P, s.N, s.L);
    numerics::row_products(ws.C, s.P, ws.C, s.P, s.L, ws.S);
    ORIDAN_STEP(inverse);
    getInverseMatrixUsingSVD(ws.S, ws.Sinv, s.P, true);
}

// x = e minus the fit, every sample seeing its components in ascending order, plus the mean.
void subtract_fit(const FitSettings& s, const FitWorkspace& ws, const float* e, const float* weights, float mean,
                  float* x) {
    numerics::subtract_combination(e, weights, ws.C, s.P, s.L, x);
    for (int j = 0; j < s.L; ++j) {
        x[j] += mean;
        x[j] = x[j] == x[j] ? x[j] : invalidOperation;
    }
}

void subtract_and_write(const FitSettings& s, FitWorkspace& ws, float* x, CTCStruct* ctc, unsigned int channel,
                        int own) {
    ORIDAN_STEP(fit);
    numerics::row_products(ws.E, own, ws.C, s.P, s.L, ws.Y);
    for (int k = 0; k < own; ++k) {
        if (!window_is_valid(s, *ctc, ws.triggers[k])) {
            continue;
        }
        matrix_vector_mult(ws.Sinv, ws.Y[k], ws.w, s.P, s.P);
        subtract_fit(s, ws, ws.E[k], ws.w, ws.means[k], x);
        ws.samples->put_back(s, ctc, channel, k, ws.triggers[k], x);
    }
    ws.samples->write(ctc, channel);
}

double* zeroed_doubles(long count) {
    double* values = dvector(0, count - 1);
    std::fill_n(values, count, 0.0);
    return values;
}

} // namespace

namespace obs {

FitWorkspace make_fit_workspace(int N, int L) {
    const long n = N;
    const long l = L;
    FitWorkspace ws{};
    ws.samples = new SegmentSamples(N, L); // first: it may throw, and nothing is held yet
    ws.N = N;
    ws.L = L;
    ws.E = matrix(0, n - 1, 0, l - 1);
    ws.C = matrix(0, n - 1, 0, l - 1);
    ws.Ed = zeroed_doubles(n * l);
    ws.G = zeroed_doubles(n * n);
    ws.means = fvector(0, n - 1);
    ws.K = matrix(1, n, 1, n);
    ws.V = matrix(1, n, 1, n);
    ws.d = fvector(1, n);
    ws.Vt = matrix(0, n - 1, 0, n - 1);
    ws.S = matrix(0, n - 1, 0, n - 1);
    ws.Sinv = matrix(0, n - 1, 0, n - 1);
    ws.Y = matrix(0, n - 1, 0, n - 1);
    ws.w = fvector(0, n - 1);
    ws.triggers = ivector(0, n - 1);
    return ws;
}

void free_fit_workspace(FitWorkspace& ws) {
    const long n = ws.N;
    const long l = ws.L;
    delete ws.samples;
    free_ivector(ws.triggers, 0, n - 1);
    free_fvector(ws.w, 0, n - 1);
    free_matrix(ws.Y, 0, n - 1, 0, n - 1);
    free_matrix(ws.Sinv, 0, n - 1, 0, n - 1);
    free_matrix(ws.S, 0, n - 1, 0, n - 1);
    free_matrix(ws.Vt, 0, n - 1, 0, n - 1);
    free_fvector(ws.d, 1, n);
    free_matrix(ws.V, 1, n, 1, n);
    free_matrix(ws.K, 1, n, 1, n);
    free_fvector(ws.means, 0, n - 1);
    free_dvector(ws.G, 0, n * n - 1);
    free_dvector(ws.Ed, 0, n * l - 1);
    free_matrix(ws.C, 0, n - 1, 0, l - 1);
    free_matrix(ws.E, 0, n - 1, 0, l - 1);
    ws = FitWorkspace{};
}

void fit_segment(const FitSettings& s, FitWorkspace& ws, float* x, CTCStruct* ctc, unsigned int channel, int segment) {
    const std::int64_t segStart = std::int64_t{segment} * s.N;
    const int own = gather_triggers(s, ws, segStart);
    ws.samples->read(s, ctc, channel, ws.triggers, own, ws.E, x);
    remove_means(s, ws);
    form_covariance(s, ws);
    build_basis(s, ws);
    subtract_and_write(s, ws, x, ctc, channel, own);
}

} // namespace obs
