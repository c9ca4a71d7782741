// A host process whose own functions and variables have the names of the module's (hostile_names.cpp). Whatever the
// module computes must not reach them: each function ends the process.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "fileio/ctc.h"
#include "fileio/ctc_channel.h"
#include "fileio/ctc_condition.h"
#include "fileio/cvx.h"
#include "fileio/stream_values.h"
#include "fileio/tfd.h"
#include "fileio/transio.h"
#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/dipole.h"
#include "numerics/eigen.h"
#include "numerics/inverse.h"
#include "numerics/svd.h"
#include "numerics/transform4x4.h"
#include "stats/beta.h"
#include "stats/correlation.h"
#include "stats/error_function.h"
#include "stats/filters.h"
#include "stats/fitting.h"
#include "stats/fourier.h"
#include "stats/gamma.h"
#include "stats/hrf.h"
#include "stats/hypothesis.h"
#include "stats/interpolation.h"
#include "stats/minimum.h"
#include "stats/moments.h"
#include "stats/normal.h"
#include "stats/pvalues.h"
#include "stats/random.h"
#include "stats/sorting.h"
#include "stats/text_input.h"
#include "stats/text_output.h"
#include "tests/run/recording_host.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

/// The module's function of the name that the host's own has.
template <class Function>
Function* inside(Function* hostsOwn) {
    Dl_info info = {};
    EXPECT_NE(dladdr(reinterpret_cast<void*>(hostsOwn), &info), 0);
    if (info.dli_sname == nullptr) {
        ADD_FAILURE() << "the host does not export this function";
        std::abort();
    }
    void* const found = dlsym(module_handle(), info.dli_sname);
    EXPECT_NE(found, nullptr) << info.dli_sname;
    EXPECT_NE(found, reinterpret_cast<void*>(hostsOwn)) << info.dli_sname;
    return reinterpret_cast<Function*>(found);
}

template <class Variable>
Variable& variable_inside(Variable& hostsOwn, const char* name) {
    auto* const found = static_cast<Variable*>(dlsym(module_handle(), name));
    EXPECT_NE(found, nullptr) << name;
    EXPECT_NE(found, &hostsOwn) << name;
    return *found;
}

/// A 1-based vector: element 0 is not used.
using Vector = std::vector<float>;

std::vector<float*> rows_of(std::vector<float>& elements, std::size_t columns) {
    std::vector<float*> rows;
    for (std::size_t first = 0; first < elements.size(); first += columns) {
        rows.push_back(&elements[first]);
    }
    return rows;
}

TEST(HostWithTheModulesNames, RunCompletes) {
    const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory);
    support::Bytes bytes;
    bytes.u32(1).u32(0).u32(1).u32(1).u32(1).u32(1000).f32(1000.0f).u32(0);
    for (int i = 0; i < 1000; ++i) {
        bytes.f32(static_cast<float>((i * 37) % 101));
    }
    support::write_file("rec.ctc", bytes.str());
    HostScript script;
    script.dataFile = "rec.ctc";
    script.protocolFile = "p.prt";
    script.conditions = {{"slice", {100, 200, 300, 400, 500, 600, 700, 800, 850, 900}}};
    script.answers = {1, 10, 20, 10, 2};
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.starting_with("log // OridanSuite> Artifact template removal completed!").size(), 1U);
}

TEST(HostWithTheModulesNames, LinearAlgebraStaysInside) {
    const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory); // for Covariance.txt
    std::vector<float> data{2, 0, 0, 4};
    std::vector<float> result(4);
    std::vector<float*> rows = rows_of(data, 2);
    std::vector<float*> resultRows = rows_of(result, 2);
    inside (&getInverseMatrixUsingSVD)(rows.data(), resultRows.data(), 2, true);
    EXPECT_EQ(result, (std::vector<float>{0.5f, 0, 0, 0.25f}));
    inside (&getRegInverseMatrixUsingTSVD)(rows.data(), resultRows.data(), 2, -3);
    EXPECT_NEAR(result[3], 0.25f, 1e-6f);
    inside (&getRegTransformedMatrixUsingTSVD)(rows.data(), resultRows.data(), 2, 0, 1, -3);
    EXPECT_NEAR(result[3], 2.0f, 1e-6f);
    std::vector<double> dense{1, 0, 0, 3};
    inside (&SVDregInverse)(dense.data(), 2, 1.0f, 0.0f);
    EXPECT_NEAR(dense[3], 0.25, 1e-6);
    std::vector<double> imaginary(4);
    inside (&CSVDregInverse)(dense.data(), imaginary.data(), 2, 0.0f, 0.0f);
    EXPECT_NEAR(dense[3], 4.0, 1e-4);
    inside (&getSQRTMatrix)(rows.data(), 2);
    EXPECT_NEAR(data[3], 2.0f, 1e-5f);
    EXPECT_TRUE((inside<bool(float**, float**, int)>(&invertMatrix)(rows.data(), resultRows.data(), 2)));
    EXPECT_NEAR(result[3], 0.5f, 1e-5f);

    std::vector<float> observations{1, 2, 3, 5, 4, 1};
    std::vector<float> dewhitening(4);
    int components = 0;
    inside (&whitening)(rows_of(observations, 2).data(), 3, 2, 0.0f, resultRows.data(), rows_of(dewhitening, 2).data(),
                        &components);
    EXPECT_EQ(components, 2);
    EXPECT_TRUE(folder.has("Covariance.txt"));

    // Three points on the line 1 + 2x, by powers of x.
    Vector x{0, 1, 2, 3}, y{0, 3, 5, 7}, sig{0, 1, 1, 1}, a(3), w(3);
    Vector u(12), v(9);
    float chisq = -1;
    inside (&svdfit)(x.data(), y.data(), sig.data(), 3, a.data(), 2, rows_of(u, 3).data(), rows_of(v, 3).data(),
                     w.data(), &chisq, inside(&fpoly));
    EXPECT_NEAR(a[1], 1.0f, 1e-5f);
    EXPECT_NEAR(a[2], 2.0f, 1e-5f);
}

TEST(HostWithTheModulesNames, TransformsOfSpaceStayInside) {
    float m[4][4] = {{2, 0, 0, 2}, {0, 4, 0, 4}, {0, 0, 8, 8}, {0, 0, 0, 1}};
    float inverse[4][4] = {};
    inside<void(float(*)[4], float(*)[4])> (&invertMatrix)(m, inverse);
    EXPECT_NEAR(inverse[2][2], 0.125f, 1e-6f);
    inside (&invertH4x4Matrix)(m, inverse);
    EXPECT_NEAR(inverse[1][3], -1.0f, 1e-6f);
    float shift[4][4] = {{1, 0, 0, 1}, {0, 1, 0, 2}, {0, 0, 1, 3}, {0, 0, 0, 1}};
    inside (&invertRotationTranslationMatrix)(shift, inverse);
    EXPECT_EQ(inverse[2][3], -3.0f);
}

TEST(HostWithTheModulesNames, SpecialFunctionsStayInside) {
    EXPECT_NEAR(inside(&gammq)(2, 1), 2 * std::exp(-1.0), 1e-6);
    EXPECT_NEAR(inside(&gammp)(1, 5), 1 - std::exp(-5.0), 1e-6);
    EXPECT_NEAR(inside(&betai)(2, 2, 0.5f), 0.5f, 1e-6f);
    EXPECT_NEAR(inside(&invbetai)(0.5, 2, 2), 0.5, 1e-6);
    EXPECT_NEAR(inside(&normaldist_invcdf)(0.975, 0, 1), 1.959964, 1e-6);
    EXPECT_NEAR(inside(&normaldist_cdf)(0, 0, 1), 0.5, 1e-12);
    EXPECT_NEAR(inside(&inverf)(inside(&_erf)(0.5)), 0.5, 1e-9);
    long seed = -1;
    EXPECT_TRUE(std::isfinite(inside(&gasdev)(&seed)));
    EXPECT_TRUE(std::isnan(inside(&::fmin)(1, std::nan(""))));
}

TEST(HostWithTheModulesNames, StatisticsStayInside) {
    Vector low{0, 1, 2, 3}, high{0, 4, 5, 6};
    float t = 0, untouched = -7;
    inside (&ttest)(low.data(), 3, high.data(), 3, &t, &untouched);
    EXPECT_NEAR(t, -3 / std::sqrt(2.0 / 3.0), 1e-5);
    inside (&tutest)(low.data(), 3, high.data(), 3, &t, &untouched);
    EXPECT_NEAR(t, -3 / std::sqrt(2.0 / 3.0), 1e-5);
    float d = 0;
    inside (&kstwo)(low.data(), 3, high.data(), 3, &d, &untouched);
    EXPECT_EQ(d, 1.0f);
    float r = 0, prob = -1, z = -1;
    inside (&pearsn_prob)(low.data(), high.data(), 3, &r, &prob, &z);
    EXPECT_NEAR(r, 1.0f, 1e-6f);
    Vector five{0, 5, 3, 4, 1, 2}, ranks{0, 10, 6, 8, 2, 5};
    float zd = 0, probd = 0, rs = 0;
    inside (&spear)(five.data(), ranks.data(), 5, &d, &zd, &probd, &rs, &untouched);
    EXPECT_NEAR(rs, 1.0f, 1e-6f);
    std::vector<unsigned long> index(4);
    Vector shuffled{0, 3, 1, 2};
    inside (&indexx)(3, shuffled.data(), index.data());
    EXPECT_EQ(index[1], 2UL);
    EXPECT_EQ(untouched, -7.0f);

    EXPECT_NEAR(inside(&X2_to_p)(2, 2), std::exp(-1.0), 1e-6);
    EXPECT_NEAR(inside(&p_to_z)(inside(&z_to_p)(1.5)), 1.5, 1e-6);
    EXPECT_NEAR(inside(&t_to_p)(static_cast<float>(inside(&p_to_t)(0.05, 10)), 10), 0.05, 1e-4);
    EXPECT_NEAR(inside(&F_to_p)(static_cast<float>(inside(&p_to_F)(0.05, 3, 20)), 3, 20), 0.05, 1e-4);
    EXPECT_NEAR(inside(&r_to_p)(static_cast<double>(inside(&p_to_r)(0.05f, 10)), 10), 0.05, 1e-4);
}

TEST(HostWithTheModulesNames, TransformsAndFiltersStayInside) {
    Vector data{0, 1, 2, 3, 4}, response{0, 1, 0, 0, 0}, answer(9);
    inside (&convlv)(data.data(), 4, response.data(), 1, 1, answer.data());
    EXPECT_NEAR(answer[3], 3.0f, 1e-5f);
    Vector block(9, 1.0f), edge(5);
    float* planeRows[3] = {nullptr, block.data(), block.data() + 4};
    float** planes[2] = {nullptr, planeRows};
    float* edges[2] = {nullptr, edge.data()};
    inside (&rlft3)(planes, edges, 1, 2, 4, 1);
    EXPECT_EQ(block[1], 8.0f);

    std::vector<float> x{0, 1, 2, 3}, y{0, 2, 4, 6}, where{0.5f, 1.5f, 2.5f, 2.75f, 3, 3, 3, 3}, values(8);
    inside (&interp)(x.data(), y.data(), 4, where.data(), 8, values.data());
    EXPECT_NEAR(values[1], 3.0f, 1e-6f);
    Vector px{0, 1, 2, 3}, py{0, 1, 2, 3}, sig{0, 1, 1, 1};
    float a = 0, b = 0, siga = 0, sigb = 0, chi2 = 0, q = 0;
    inside (&fit)(px.data(), py.data(), 3, sig.data(), 1, &a, &b, &siga, &sigb, &chi2, &q);
    EXPECT_NEAR(b, 1.0f, 1e-6f);
    EXPECT_NEAR(q, 1.0f, 1e-6f);
    std::vector<double> unchanged{3, 1, 2};
    inside (&lpfilt)(unchanged.data(), 3, 1);
    EXPECT_EQ(unchanged, (std::vector<double>{3, 1, 2}));
    // Of order 1 each sample is predicted from the one before: 2 becomes 2 - (2/1) 2, 4 becomes 4 - (4/2) 4.
    Vector serial{0, 1, 2, 4};
    inside (&remacf)(serial.data(), 0, 3, 1);
    EXPECT_NEAR(serial[2], -2.0f, 1e-5f);
    EXPECT_NEAR(serial[3], -4.0f, 1e-5f);
}

TEST(HostWithTheModulesNames, VariablesAreTheModulesOwn) {
    EXPECT_EQ(variable_inside(g_dim, "g_dim"), 128);
    EXPECT_EQ(variable_inside(g_nbsfns_dim, "g_nbsfns_dim"), 2);
    EXPECT_EQ(variable_inside(NPRAED_STAT, "NPRAED_STAT"), 0);
    EXPECT_EQ(variable_inside(NPT_STAT, "NPT_STAT"), 0);
    EXPECT_EQ(variable_inside(DesignMatrix, "DesignMatrix"), nullptr);
    // The first voxel of slice 4 of 128: constant, slice, line and column as coordinates from -1 to 1.
    Vector functions(11);
    inside (&fleg3D)(65537.0f, functions.data(), 4);
    EXPECT_EQ(functions, (Vector{0, 1, -60.0f / 64.0f, -1, -1, 0, 0, 0, 0, 0, 0}));
    int& slices = variable_inside(g_dim_z, "g_dim_z");
    EXPECT_EQ(slices, 128);
    slices = 16;
    inside (&fleg3D)(65537.0f, functions.data(), 4);
    slices = 128;
    EXPECT_EQ(functions[2], -0.5f);
    inside (&fleg2D)(1.0f, functions.data(), 6);
    EXPECT_EQ(functions, (Vector{0, 1, -1, 1, -1, 1, 1, 0, 0, 0, 0}));
}

TEST(HostWithTheModulesNames, ResponsesAndTextsStayInside) {
    const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory);
    EXPECT_NEAR(inside(&hemoweight)(4000), 1.0, 1e-12);
    float parameters[] = {6, 16, 1, 1, 6, 0, 32};
    std::vector<double> response(33);
    EXPECT_EQ(inside(&twogammaHRF)(1, parameters, 16, response.data()), 1);
    EXPECT_NEAR(*std::max_element(response.begin(), response.end()), 1.0, 1e-6);
    char name[] = "v.txt";
    inside<void(char*, double*, int, int)> (&WriteFloatVector2Txt)(name, response.data(), 3, 0);
    EXPECT_TRUE(folder.has("v.txt"));
    char other[] = "w.txt";
    inside (&WriteDoubleVector2Txt)(other, response.data(), 3, 0);
    EXPECT_TRUE(folder.has("w.txt"));
}

TEST(HostWithTheModulesNames, FilesStayInside) {
    const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory);
    // One condition of one trial, one sample before the trigger and two from it, one channel.
    support::Bytes bytes;
    bytes.u32(1).u32(0).u32(1).u32(4).u32(1).u32(0).f32(1000.0f).u32(1).u32(1).u32(1).u32(2).f32(5).f32(6).f32(7);
    support::write_file("epochs.ctc", bytes.str());
    CTCStruct ctc;
    ASSERT_EQ(inside(&ReadEntireCTC)(&ctc, "epochs.ctc", 1), 1);
    float samples[3] = {};
    EXPECT_EQ(inside(&GetConditionChannelSamples)(samples, &ctc, 0, 0, 0, -1, 3), 3U);
    EXPECT_EQ(samples[2], 7.0f);
    EXPECT_EQ(inside(&SetConditionChannelSamples)(samples, &ctc, 0, 0, 0, -1, 3), 3U);
    EXPECT_EQ(inside(&WriteEntireCTC)(&ctc, "copy.ctc", 0), 1);
    inside (&FreeCTCMemory)(&ctc);

    const unsigned int pairValue = 9;
    const float extentBValue = 1;
    TFDStruct* tfd = inside(&CreateTFD)("t.tfd", "a", "b", 1, &pairValue, 2, 1, &extentBValue, 3, 0, 1, 1, 0, nullptr);
    ASSERT_NE(tfd, nullptr);
    inside (&FreeTFD)(&tfd, 0);
    tfd = inside(&ReadTFD)("t.tfd");
    ASSERT_NE(tfd, nullptr);
    EXPECT_EQ(inside(&WriteTFD)(tfd, "t2.tfd"), 1);
    ASSERT_EQ(inside(&TFDReadTensor)(tfd->Tensors), 1);
    EXPECT_EQ(inside(&TFDWriteTensor)(tfd->Tensors), 1);
    inside (&TFDFreeTensor)(tfd->Tensors);
    inside (&FreeTFD)(&tfd, 0);

    CVXStruct* cvx = inside(&CreateCVX)("a", "b", 0, 0, 0, 0);
    ASSERT_NE(cvx, nullptr);
    EXPECT_EQ(inside(&WriteCVX)(cvx, "c.cvx"), 1);
    inside (&FreeCVX)(&cvx);
    cvx = inside(&ReadCVX)("c.cvx");
    ASSERT_NE(cvx, nullptr);
    inside (&FreeCVX)(&cvx);
}

} // namespace
