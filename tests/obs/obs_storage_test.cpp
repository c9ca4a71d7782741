// What the fit of a segment asks of the heap, in a process that counts every request.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "numerics/arrays.h"
#include "numerics/eigen.h"
#include "numerics/inverse.h"
#include "obs/obs_fit.h"
#include "plugin/host_binding.h"
#include "tests/allocation/failing_heap.h"
#include "tests/support/bits.h"
#include "tests/support/checkers.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

constexpr int N = 10;
constexpr int P = 3;
constexpr int L = 12;

void product(const double* a, const double* b, double* c, int m, int n, int k, int, int) {
    for (std::ptrdiff_t i = 0; i < m; ++i) {
        for (std::ptrdiff_t j = 0; j < n; ++j) {
            double sum = 0.0;
            for (std::ptrdiff_t l = 0; l < k; ++l) {
                sum += a[i * k + l] * b[j * k + l];
            }
            c[i * n + j] = sum;
        }
    }
}

template <class Work>
int requests_of(Work work) {
    failing_heap::start({});
    work();
    return failing_heap::stop();
}

// The eigen-decomposition and the inverse have work arrays of their own at each call.
int requests_of_the_decompositions() {
    support::Random random(5);
    float** K = matrix(1, N, 1, N);
    float** V = matrix(1, N, 1, N);
    float* d = fvector(1, N);
    float** S = matrix(0, N - 1, 0, N - 1);
    float** Sinv = matrix(0, N - 1, 0, N - 1);
    for (int a = 1; a <= N; ++a) {
        for (int b = 1; b <= a; ++b) {
            K[a][b] = K[b][a] = static_cast<float>(random.below(100)) + (a == b ? 500.0f : 0.0f);
            S[a - 1][b - 1] = S[b - 1][a - 1] = K[a][b];
        }
    }
    const int requests = requests_of([&] {
        int rotations = 0;
        jacobi(K, N, d, V, &rotations);
        eigsrt(d, V, N);
        getInverseMatrixUsingSVD(S, Sinv, P, true);
    });
    free_matrix(Sinv, 0, N - 1, 0, N - 1);
    free_matrix(S, 0, N - 1, 0, N - 1);
    free_fvector(d, 1, N);
    free_matrix(V, 1, N, 1, N);
    free_matrix(K, 1, N, 1, N);
    return requests;
}

} // namespace

TEST(FitSegment, HasAllItsStorageFromTheRun) {
    if (support::under_valgrind()) {
        GTEST_SKIP() << "requests cannot be counted here: another heap (valgrind's) stands in for ours";
    }
    support::Random random(3);
    support::CtcHeader header;
    header.nrOfChannels = 2;
    header.nrOfSamples = 2000;
    support::Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    for (int i = 0; i < 4000; ++i) {
        bytes.f32(static_cast<float>(random.below(1000)));
    }
    const support::TemporaryFolder folder;
    const std::string path = folder.write("a.ctc", bytes.str());
    host::nv_intel_matrix_matrix_mult_d = product;

    std::vector<int> inOrder; // close to each other: moved together
    std::vector<int> mixed;   // each by itself
    for (int i = 0; i < 3 * N; ++i) {
        inOrder.push_back(20 + 15 * i);
        mixed.push_back(20 + 60 * (i * 7 % (3 * N)));
    }
    inOrder[4] = inOrder[5] = -1; // outside
    for (const std::vector<int>* triggers : {&inOrder, &mixed}) {
        CTCStruct ctc{};
        ASSERT_EQ(ReadEntireCTC(&ctc, path.c_str(), 1), 1);
        const obs::FitSettings settings{3, 8, L, N, P, 3 * N, triggers->data()};
        obs::FitWorkspace workspace = obs::make_fit_workspace(N, L);
        std::vector<float> x(L);
        for (unsigned int channel = 0; channel < 2; ++channel) {
            for (int segment = 0; segment < 3; ++segment) {
                EXPECT_EQ(requests_of([&] { obs::fit_segment(settings, workspace, x.data(), &ctc, channel, segment); }),
                          requests_of_the_decompositions())
                    << "channel " << channel << ", segment " << segment;
            }
        }
        obs::free_fit_workspace(workspace);
        FreeCTCMemory(&ctc);
    }
    EXPECT_GT(requests_of([] { free_fvector(fvector(0, 9), 0, 9); }), 0) << "a heap that counts nothing tests nothing";
}
