// A host process whose own functions have the names of the module's routines. Calls inside the module must not reach
// them: each ends the process.

#include <cstdio>
#include <cstdlib>
#include <vector>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "fileio/ctc.h"
#include "fileio/ctc_channel.h"
#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/eigen.h"
#include "numerics/inverse.h"
#include "numerics/svd.h"
#include "stats/moments.h"
#include "stats/text_output.h"
#include "tests/run/recording_host.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

[[noreturn]] void reached(const char* name) {
    std::fprintf(stderr, "the module called the host's %s\n", name);
    std::abort();
}

} // namespace

[[noreturn]] void nrerror(const char*) {
    reached("nrerror");
}
float* fvector(long, long) {
    reached("fvector");
}
int* ivector(long, long) {
    reached("ivector");
}
double* dvector(long, long) {
    reached("dvector");
}
float** matrix(long, long, long, long) {
    reached("matrix");
}
void free_fvector(float*, long, long) {
    reached("free_fvector");
}
void free_ivector(int*, long, long) {
    reached("free_ivector");
}
void free_dvector(double*, long, long) {
    reached("free_dvector");
}
void free_matrix(float**, long, long, long, long) {
    reached("free_matrix");
}
float** create2dArray(int, int) {
    reached("create2dArray");
}
void delete2dArray(float**, int, int) {
    reached("delete2dArray");
}
void matrix_matrix_mult(float**, float**, float**, int, int, int) {
    reached("matrix_matrix_mult");
}
void matrix_vector_mult(float**, float*, float*, int, int) {
    reached("matrix_vector_mult");
}
void transposematrix_matrix_mult(float**, float**, int, int) {
    reached("transposematrix_matrix_mult");
}
void matrix_transpose(float**, float**, int, int) {
    reached("matrix_transpose");
}
void diagmatrix_matrix_mult(float*, float**, int, int) {
    reached("diagmatrix_matrix_mult");
}
void copy_matrix(float**, float**, int, int, int) {
    reached("copy_matrix");
}
int jacobi(float**, int, float*, float**, int*) {
    reached("jacobi");
}
void eigsrt(float*, float**, int) {
    reached("eigsrt");
}
void svdcmp(float**, int, int, float*, float**) {
    reached("svdcmp");
}
int svdcmp_tarn(int, int, float**, float*, float**) {
    reached("svdcmp_tarn");
}
float pythag(float, float) {
    reached("pythag");
}
bool getInverseMatrixUsingSVD(float**, float**, int, bool) {
    reached("getInverseMatrixUsingSVD");
}
void avevar(float*, unsigned long, float*, float*) {
    reached("avevar");
}
void WriteFloatMatrix2Txt(char*, float**, int, int, int) {
    reached("WriteFloatMatrix2Txt");
}
int transio_open(transio_struct*, const char*, unsigned long long, unsigned int, const unsigned int*, unsigned int) {
    reached("transio_open");
}
int transio_close(transio_struct*) {
    reached("transio_close");
}
unsigned int transio_read_buffer(const transio_struct*, unsigned long long, unsigned int, void*) {
    reached("transio_read_buffer");
}
unsigned int transio_write_buffer(const transio_struct*, unsigned long long, unsigned int, const void*) {
    reached("transio_write_buffer");
}
int ReadEntireCTC(CTCStruct*, const char*, unsigned int) {
    reached("ReadEntireCTC");
}
void FreeCTCMemory(CTCStruct*) {
    reached("FreeCTCMemory");
}
unsigned int GetChannelSamples(float*, CTCStruct*, unsigned int, unsigned int, unsigned int) {
    reached("GetChannelSamples");
}
unsigned int SetChannelSamples(const float*, CTCStruct*, unsigned int, unsigned int, unsigned int) {
    reached("SetChannelSamples");
}
bool checkVersionGreaterEqualVersion(int, int, int, int, int, int) {
    reached("checkVersionGreaterEqualVersion");
}

namespace {

template <class Function>
Function find(const char* mangledName) {
    const auto function = reinterpret_cast<Function>(dlsym(module_handle(), mangledName));
    EXPECT_NE(function, nullptr) << mangledName;
    return function;
}

TEST(HostWithTheModulesNames, ReallyExportsThem) {
    void* process = dlopen(nullptr, RTLD_LAZY);
    for (const char* name : {"_Z6matrixllll", "_Z7fvectorll", "_Z6jacobiPPfiS_S0_Pi", "_Z7nrerrorPKc"}) {
        EXPECT_NE(dlsym(process, name), nullptr) << name;
        EXPECT_NE(dlsym(process, name), dlsym(module_handle(), name)) << name;
    }
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

TEST(HostWithTheModulesNames, LibraryRoutinesCallEachOtherInside) {
    const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory); // for Covariance.txt
    std::vector<float> data{2, 0, 0, 4};
    std::vector<float> result(4);
    float* rows[] = {&data[0], &data[2]};
    float* resultRows[] = {&result[0], &result[2]};
    find<bool (*)(float**, float**, int, bool)>("_Z24getInverseMatrixUsingSVDPPfS0_ib")(rows, resultRows, 2, true);
    EXPECT_EQ(result, (std::vector<float>{0.5f, 0, 0, 0.25f}));
    find<void (*)(float**, int)>("_Z13getSQRTMatrixPPfi")(rows, 2);
    EXPECT_NEAR(data[3], 2.0f, 1e-5f);
    EXPECT_TRUE(find<bool (*)(float**, float**, int)>("_Z12invertMatrixPPfS0_i")(rows, resultRows, 2));
    EXPECT_NEAR(result[3], 0.5f, 1e-5f);
    std::vector<float> observations{1, 2, 3, 5, 4, 1};
    float* observationRows[] = {&observations[0], &observations[2], &observations[4]};
    int components = 0;
    std::vector<float> dewhitening(4);
    float* dewhiteningRows[] = {&dewhitening[0], &dewhitening[2]};
    find<void (*)(float**, int, int, float, float**, float**, int*)>("_Z9whiteningPPfiifS0_S0_Pi")(
        observationRows, 3, 2, 0.0f, resultRows, dewhiteningRows, &components);
    EXPECT_EQ(components, 2);
    EXPECT_TRUE(folder.has("Covariance.txt"));
}

} // namespace
