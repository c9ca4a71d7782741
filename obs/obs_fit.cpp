#include "obs/obs_fit.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "fileio/ctc_channel.h"
#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/eigen.h"
#include "numerics/inverse.h"
#include "plugin/host_binding.h"
#include "stats/moments.h"

namespace {

using obs::FitSettings;
using obs::FitWorkspace;

// Which of two NaNs a sum hands on depends on the order in which a compiler puts the operands. All are written as the
// one that the processor makes of an invalid operation, so that every build writes the same bytes.
constexpr float invalidOperation = std::bit_cast<float>(0xFFC00000U);

// A window that ends exactly at the recording's length is valid here and refused by the sample access, which needs
// one sample more: its row repeats the epoch read before it, and nothing is written. Kept on purpose.
bool window_is_valid(const FitSettings& s, const CTCStruct* ctc, int trigger) {
    const std::int64_t t = trigger;
    return t - s.preS >= 0 && t + s.postS <= static_cast<std::int64_t>(ctc->NrOfSamples);
}

unsigned int first_sample(const FitSettings& s, int trigger) {
    return static_cast<unsigned int>(std::int64_t{trigger} - s.preS);
}

void gather_epochs(const FitSettings& s, FitWorkspace& ws, float* x, CTCStruct* ctc, unsigned int channel,
                   std::int64_t segStart) {
    for (int k = 0; k < s.N; ++k) {
        // The last segment borrows from the one before it, which exists because there are at least N triggers.
        const std::int64_t occurrence = segStart + k < s.nTrials ? segStart + k : segStart - s.N + k;
        const int t = s.trig[occurrence];
        if (window_is_valid(s, ctc, t)) {
            GetChannelSamples(x, ctc, channel, first_sample(s, t), static_cast<unsigned int>(s.L));
            std::copy_n(x, s.L, ws.E[k]);
        } else {
            std::fill_n(ws.E[k], s.L, 0.0f);
        }
    }
}

void remove_means(const FitSettings& s, FitWorkspace& ws) {
    for (int k = 0; k < s.N; ++k) {
        float ave = 0.0f;
        float variance = 0.0f;
        avevar(ws.E[k] - 1, static_cast<unsigned long>(s.L), &ave, &variance);
        for (int j = 0; j < s.L; ++j) {
            ws.E[k][j] -= ave;
        }
        ws.means[k] = ave;
    }
}

// Covariance between epochs, taken over time. The divisor is L, not L - 1: kept, the bits of the result depend on it.
void form_covariance(const FitSettings& s, FitWorkspace& ws) {
    const std::size_t n = static_cast<std::size_t>(s.N);
    const std::size_t l = static_cast<std::size_t>(s.L);
    for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t j = 0; j < l; ++j) {
            ws.Ed[k * l + j] = static_cast<double>(ws.E[k][j]);
        }
    }
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
    int nrot = 0;
    jacobi(ws.K, s.N, ws.d, ws.V, &nrot);
    eigsrt(ws.d, ws.V, s.N);
    copy_matrix(ws.V, ws.V0, s.N, s.N, 3);
    matrix_transpose(ws.V0, ws.Vt, s.N, s.N);
    matrix_matrix_mult(ws.Vt, ws.E, ws.C, s.P, s.N, s.L);
    matrix_transpose(ws.C, ws.Ct, s.P, s.L);
    matrix_matrix_mult(ws.C, ws.Ct, ws.S, s.P, s.L, s.P);
    getInverseMatrixUsingSVD(ws.S, ws.Sinv, s.P, true);
}

void subtract_and_write(const FitSettings& s, FitWorkspace& ws, float* x, CTCStruct* ctc, unsigned int channel,
                        std::int64_t segStart) {
    for (int k = 0; k < s.N && segStart + k < s.nTrials; ++k) {
        const int t = s.trig[segStart + k];
        if (!window_is_valid(s, ctc, t)) {
            continue;
        }
        std::copy_n(ws.E[k], s.L, x);
        matrix_vector_mult(ws.C, x, ws.y, s.P, s.L);
        matrix_vector_mult(ws.Sinv, ws.y, ws.w, s.P, s.P);
        for (int p = 0; p < s.P; ++p) { // every sample sees its components in ascending order
            for (int j = 0; j < s.L; ++j) {
                x[j] -= ws.w[p] * ws.C[p][j];
            }
        }
        for (int j = 0; j < s.L; ++j) {
            x[j] += ws.means[k];
            x[j] = std::isnan(x[j]) ? invalidOperation : x[j];
        }
        SetChannelSamples(x, ctc, channel, first_sample(s, t), static_cast<unsigned int>(s.L));
    }
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
    ws.N = N;
    ws.L = L;
    ws.E = matrix(0, n - 1, 0, l - 1);
    ws.C = matrix(0, n - 1, 0, l - 1);
    ws.Ct = matrix(0, l - 1, 0, n - 1);
    ws.Ed = zeroed_doubles(n * l);
    ws.G = zeroed_doubles(n * n);
    ws.means = fvector(0, n - 1);
    ws.K = matrix(1, n, 1, n);
    ws.V = matrix(1, n, 1, n);
    ws.d = fvector(1, n);
    ws.V0 = matrix(0, n - 1, 0, n - 1);
    ws.Vt = matrix(0, n - 1, 0, n - 1);
    ws.S = matrix(0, n - 1, 0, n - 1);
    ws.Sinv = matrix(0, n - 1, 0, n - 1);
    ws.y = fvector(0, n - 1);
    ws.w = fvector(0, n - 1);
    return ws;
}

void free_fit_workspace(FitWorkspace& ws) {
    const long n = ws.N;
    const long l = ws.L;
    free_fvector(ws.w, 0, n - 1);
    free_fvector(ws.y, 0, n - 1);
    free_matrix(ws.Sinv, 0, n - 1, 0, n - 1);
    free_matrix(ws.S, 0, n - 1, 0, n - 1);
    free_matrix(ws.Vt, 0, n - 1, 0, n - 1);
    free_matrix(ws.V0, 0, n - 1, 0, n - 1);
    free_fvector(ws.d, 1, n);
    free_matrix(ws.V, 1, n, 1, n);
    free_matrix(ws.K, 1, n, 1, n);
    free_fvector(ws.means, 0, n - 1);
    free_dvector(ws.G, 0, n * n - 1);
    free_dvector(ws.Ed, 0, n * l - 1);
    free_matrix(ws.Ct, 0, l - 1, 0, n - 1);
    free_matrix(ws.C, 0, n - 1, 0, l - 1);
    free_matrix(ws.E, 0, n - 1, 0, l - 1);
    ws = FitWorkspace{};
}

void fit_segment(const FitSettings& s, FitWorkspace& ws, float* x, CTCStruct* ctc, unsigned int channel, int segment) {
    const std::int64_t segStart = std::int64_t{segment} * s.N;
    gather_epochs(s, ws, x, ctc, channel, segStart);
    remove_means(s, ws);
    form_covariance(s, ws);
    build_basis(s, ws);
    subtract_and_write(s, ws, x, ctc, channel, segStart);
}

} // namespace obs
