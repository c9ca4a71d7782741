// consumer FILE: a program that links the installed library. Checks what linking must and must not change, and writes a
// recording whose spectrum and t-test are known: channel 2 is a sine of 62.5 Hz and amplitude 5 at 1000 Hz for 20 s,
// its second half 0.2 higher; channel 1 is flat.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

#include <dlfcn.h>

#include <oridan/fileio/ctc.h>
#include <oridan/numerics/arrays.h>
#include <oridan/stats/fitting.h>

namespace {

int failures = 0;

void expect(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "consumer: %s: no\n", what);
        ++failures;
    }
}

/// The second function that fleg3D gives for a voxel: its slice, as a coordinate from -1 to 1 on the grid of now.
float slice_coordinate(int voxel) {
    float functions[11] = {};
    fleg3D(static_cast<float>(voxel), functions, 4);
    return functions[2];
}

void write_sine(const char* file) {
    const double pi = 3.141592653589793;
    std::vector<float> samples(2 * 20000);
    for (std::size_t i = 0; i < 20000; ++i) {
        const double sine = 5 * std::sin(2 * pi * 62.5 * static_cast<double>(i) / 1000);
        samples[20000 + i] = static_cast<float>(sine + (i < 10000 ? 0.0 : 0.2));
    }
    CTCStruct ctc = {};
    ctc.FileVersion = 1;
    ctc.DataType = 1;
    ctc.SampleOrdering = 1;
    ctc.NrOfChannels = 2;
    ctc.NrOfSamples = 20000;
    ctc.SamplingFrequency = 1000;
    ctc.FloatSamples = samples.data();
    expect(WriteEntireCTC(&ctc, file, 0) == 1, "the recording can be written");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    const volatile double nan = std::numeric_limits<double>::quiet_NaN();
    expect(fmin(1.0, nan) == 1.0, "fmin of a linked program is the C library's");

    void* module = dlopen(MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        std::fprintf(stderr, "consumer: %s\n", dlerror());
        return 1;
    }
    const auto itsFmin = reinterpret_cast<double (*)(double, double)>(dlsym(module, "fmin"));
    expect(itsFmin != nullptr && std::isnan(itsFmin(1.0, nan)), "the module has its own fmin");
    expect(dlsym(module, "createPlugin") != nullptr, "the module is the plug-in");

    // The library reads the variables that this program writes: voxel 65537 = 4 * 128 * 128 + 1 is the first of slice 4
    // of 128, coordinate (4 - 64) / 64; of 16 slices, (4 - 8) / 8.
    expect(g_dim == 128 && g_dim_z == 128 && g_nbsfns_dim == 2, "the grid is the default one");
    expect(slice_coordinate(65537) == -60.0f / 64.0f, "fleg3D uses the default grid");
    g_dim_z = 16;
    expect(slice_coordinate(65537) == -0.5f, "fleg3D uses the grid that was set");

    float* const vector = fvector(1, 3);
    vector[3] = 1;
    free_fvector(vector, 1, 3);

    write_sine(argv[1]);
    return failures == 0 ? 0 : 1;
}
