#include "obs/obs_fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "numerics/eigen.h"
#include "numerics/inverse.h"
#include "plugin/host_binding.h"
#include "stats/moments.h"
#include "tests/support/checkers.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using obs::FitSettings;
using obs::FitWorkspace;
using support::append_stored;
using support::Bytes;
using support::ctc_header_bytes;
using support::CtcHeader;
using support::TemporaryFolder;

// The workbench's product, and what it was asked for.

struct ProductCall {
    std::vector<double> a;
    std::vector<double> b;
    int m, n, k, transA, transB;
};
std::vector<ProductCall> productCalls;

void plain_product(const double* a, const double* b, double* c, int m, int n, int k) {
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            double sum = 0.0;
            for (int l = 0; l < k; ++l) {
                sum += a[i * k + l] * b[j * k + l];
            }
            c[i * n + j] = sum;
        }
    }
}

void recorded_product(const double* a, const double* b, double* c, int m, int n, int k, int transA, int transB) {
    productCalls.push_back(
        {std::vector<double>(a, a + m * k), std::vector<double>(b, b + n * k), m, n, k, transA, transB});
    plain_product(a, b, c, m, n, k);
}

// Not symmetric, so that the place of each element shows.
void lopsided_product(const double* a, const double* b, double* c, int m, int n, int k, int, int) {
    plain_product(a, b, c, m, n, k);
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            c[i * n + j] += j > i ? 1000.0 * (i + 1) + j : 0.0;
        }
    }
}

class ObsFit : public testing::Test {
protected:
    ObsFit() {
        productCalls.clear();
        host::nv_intel_matrix_matrix_mult_d = recorded_product;
    }
    ~ObsFit() override { host::nv_intel_matrix_matrix_mult_d = nullptr; }
};

// Numbers that look random and are the same everywhere.
class Numbers {
public:
    explicit Numbers(std::uint32_t seed) : state(seed * 2654435761u + 12345u) {}

    std::uint32_t next() {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    }
    int below(int limit) { return static_cast<int>(next() % static_cast<std::uint32_t>(limit)); }
    float noise() { return static_cast<float>(below(20001) - 10000) / 10000.0f; }

private:
    std::uint32_t state;
};

// A recording as the bytes of its data section, with the sample access written down once more.
struct Model {
    CtcHeader header;
    bool fileBacked = false;
    std::string data;

    std::size_t size() const { return header.dataType == 3 ? 2 : header.dataType == 4 ? 1 : 4; }
    std::size_t elements() const { return std::size_t{header.nrOfChannels} * header.nrOfSamples; }
    // File-backed scaled floats are addressed byte by byte.
    bool in_bytes() const { return fileBacked && header.dataType == 5; }
    bool shifted() const {
        return fileBacked && header.sampleOrdering == 1 && (header.dataType == 3 || header.dataType == 4);
    }
    std::size_t element(std::size_t channel, std::size_t sample) const {
        return header.sampleOrdering == 1 ? channel * header.nrOfSamples + sample
                                          : sample * header.nrOfChannels + channel;
    }

    float value_at(std::size_t e, std::size_t channel) const {
        if (header.dataType == 1 || header.dataType == 5) {
            float stored = 0.0f;
            std::memcpy(&stored, &data[in_bytes() ? e : 4 * e], in_bytes() ? 1 : 4);
            return header.dataType == 1 ? stored : header.scales[channel] * stored + header.offsets[channel];
        }
        const int low = static_cast<unsigned char>(data[e * size()]);
        int stored = low >= 128 ? low - 256 : low;
        if (header.dataType == 3) {
            stored = static_cast<signed char>(data[e * 2 + 1]) * 256 + low;
        }
        return static_cast<float>(stored) * header.scales[channel] + header.offsets[channel];
    }

    void store(std::size_t e, std::size_t channel, float value) {
        const float unscaled =
            header.dataType == 1 ? value : (value - header.offsets[channel]) / header.scales[channel];
        Bytes bytes;
        append_stored(bytes, header.dataType, static_cast<double>(unscaled));
        if (in_bytes()) {
            data[e] = bytes.str()[0];
        } else {
            data.replace(e * size(), size(), bytes.str());
        }
    }

    void get(float* dest, std::size_t channel, std::size_t first, std::size_t count) const {
        if (first + count > header.nrOfSamples) {
            return;
        }
        if (in_bytes() && header.sampleOrdering == 1) {
            std::memcpy(dest, &data[element(channel, first)], count);
            for (std::size_t i = 0; i < count; ++i) {
                dest[i] = header.scales[channel] * dest[i] + header.offsets[channel];
            }
            return;
        }
        for (std::size_t i = 0; i < count; ++i) {
            dest[i] = value_at(element(channel, first + i), channel);
        }
    }

    void set(const float* src, std::size_t channel, std::size_t first, std::size_t count) {
        if (first + count > header.nrOfSamples) {
            return;
        }
        if (in_bytes() && header.sampleOrdering == 1) {
            std::vector<float> converted(count);
            for (std::size_t i = 0; i < count; ++i) {
                converted[i] = (src[i] - header.offsets[channel]) / header.scales[channel];
            }
            std::memcpy(&data[element(channel, first)], converted.data(), count);
            return;
        }
        const std::size_t shift = shifted() ? count : 0;
        if (shifted() && element(channel, first) + 2 * count > elements()) {
            return;
        }
        for (std::size_t i = 0; i < count; ++i) {
            store(element(channel, first + i) + shift, channel, src[i]);
        }
    }
};

// Rows of floats that can also be handed on as a row-pointer array; `base` unused rows and columns in front.
struct Rows {
    std::vector<std::vector<float>> rows;
    std::vector<float*> pointers;

    Rows(int nRows, int nCols, int base = 0)
        : rows(static_cast<std::size_t>(nRows + base), std::vector<float>(static_cast<std::size_t>(nCols + base))) {
        for (std::vector<float>& row : rows) {
            pointers.push_back(row.data());
        }
    }
    float* operator[](int i) { return rows[static_cast<std::size_t>(i)].data(); }
    float** handle() { return pointers.data(); }
};

// The segment fit a second time, in plain loops.
void plain_fit(const FitSettings& s, std::vector<float>& x, Model& recording, std::size_t channel, int segment) {
    const int segStart = segment * s.N;
    const auto valid = [&](long long t) {
        return t - s.preS >= 0 && t + s.postS <= static_cast<long long>(recording.header.nrOfSamples);
    };
    const auto length = static_cast<std::size_t>(s.L);

    Rows E(s.N, s.L);
    for (int k = 0; k < s.N; ++k) {
        const int t = segStart + k < s.nTrials ? s.trig[segStart + k] : s.trig[segStart - s.N + k];
        for (int j = 0; j < s.L; ++j) {
            E[k][j] = 0.0f;
        }
        if (valid(t)) {
            recording.get(x.data(), channel, static_cast<std::size_t>(t - s.preS), length);
            for (int j = 0; j < s.L; ++j) {
                E[k][j] = x[static_cast<std::size_t>(j)];
            }
        }
    }

    std::vector<float> means;
    for (int k = 0; k < s.N; ++k) {
        std::vector<float> fromOne(length + 1);
        for (int j = 0; j < s.L; ++j) {
            fromOne[static_cast<std::size_t>(j) + 1] = E[k][j];
        }
        float ave = 0.0f;
        float var = 0.0f;
        avevar(fromOne.data(), length, &ave, &var);
        means.push_back(ave);
        for (int j = 0; j < s.L; ++j) {
            E[k][j] = E[k][j] - ave;
        }
    }

    std::vector<double> wide;
    for (int k = 0; k < s.N; ++k) {
        for (int j = 0; j < s.L; ++j) {
            wide.push_back(static_cast<double>(E[k][j]));
        }
    }
    std::vector<double> G(static_cast<std::size_t>(s.N) * static_cast<std::size_t>(s.N));
    plain_product(wide.data(), wide.data(), G.data(), s.N, s.N, s.L);

    Rows K(s.N, s.N, 1);
    Rows V(s.N, s.N, 1);
    std::vector<float> d(static_cast<std::size_t>(s.N) + 1);
    for (int a = 0; a < s.N; ++a) {
        for (int b = 0; b < s.N; ++b) {
            K[b + 1][a + 1] = static_cast<float>(G[static_cast<std::size_t>(a * s.N + b)] / static_cast<double>(s.L));
        }
    }
    int nrot = 0;
    jacobi(K.handle(), s.N, d.data(), V.handle(), &nrot);
    eigsrt(d.data(), V.handle(), s.N);

    const int P = std::max(s.P, 0);
    Rows C(P, s.L);
    for (int p = 0; p < P; ++p) {
        for (int t = 0; t < s.L; ++t) {
            float sum = 0.0f;
            for (int k = 0; k < s.N; ++k) {
                sum = sum + V[k + 1][p + 1] * E[k][t];
            }
            C[p][t] = sum;
        }
    }
    Rows S(P, P);
    Rows Sinv(P, P);
    for (int p = 0; p < P; ++p) {
        for (int q = 0; q < P; ++q) {
            float sum = 0.0f;
            for (int t = 0; t < s.L; ++t) {
                sum = sum + C[p][t] * C[q][t];
            }
            S[p][q] = sum;
        }
    }
    if (P > 0) {
        getInverseMatrixUsingSVD(S.handle(), Sinv.handle(), P, true);
    }

    for (int k = 0; k < s.N; ++k) {
        if (segStart + k >= s.nTrials) {
            break;
        }
        const int t = s.trig[segStart + k];
        if (!valid(t)) {
            continue;
        }
        std::vector<float> y;
        std::vector<float> w;
        for (int p = 0; p < P; ++p) {
            float sum = 0.0f;
            for (int j = 0; j < s.L; ++j) {
                sum = sum + C[p][j] * E[k][j];
            }
            y.push_back(sum);
        }
        for (int p = 0; p < P; ++p) {
            float sum = 0.0f;
            for (int q = 0; q < P; ++q) {
                sum = sum + Sinv[p][q] * y[static_cast<std::size_t>(q)];
            }
            w.push_back(sum);
        }
        for (int j = 0; j < s.L; ++j) {
            float value = E[k][j];
            for (int p = 0; p < P; ++p) {
                value = value - w[static_cast<std::size_t>(p)] * C[p][j];
            }
            x[static_cast<std::size_t>(j)] = value + means[static_cast<std::size_t>(k)];
        }
        recording.set(x.data(), channel, static_cast<std::size_t>(t - s.preS), length);
    }
}

// A recording in a file of its own, opened in memory or file-backed.
struct Recording {
    TemporaryFolder folder;
    std::string path;
    std::size_t headerSize;
    CTCStruct ctc{};

    explicit Recording(const Model& model) {
        const std::string header = ctc_header_bytes(model.header);
        headerSize = header.size();
        path = folder.write("a.ctc", header + model.data);
        EXPECT_EQ(ReadEntireCTC(&ctc, path.c_str(), model.fileBacked ? 1 : 0), 1);
    }
    ~Recording() { FreeCTCMemory(&ctc); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    // The data section as it now is. Closes a file-backed recording.
    std::string data(const Model& model) {
        const void* holder = ctc.DataType == 3   ? static_cast<void*>(ctc.Int16Samples)
                             : ctc.DataType == 4 ? static_cast<void*>(ctc.Int8Samples)
                                                 : static_cast<void*>(ctc.FloatSamples);
        if (ctc.FileView == nullptr) {
            return std::string(static_cast<const char*>(holder), model.elements() * model.size());
        }
        FreeCTCMemory(&ctc);
        return support::read_file(path).substr(headerSize);
    }
};

struct Workspace {
    FitWorkspace ws;
    Workspace(int N, int L) : ws(obs::make_fit_workspace(N, L)) {}
    ~Workspace() { obs::free_fit_workspace(ws); }
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
};

FitSettings settings_of(int preS, int postS, int N, int P, const std::vector<int>& trig) {
    return {preS, postS, preS + postS + 1, N, P, static_cast<int>(trig.size()), trig.data()};
}

int segments_of(const FitSettings& s) {
    return (s.nTrials + s.N - 1) / s.N;
}

// Noise with a bump of changing height and shape after every trigger.
Model make_recording(unsigned int dataType, unsigned int ordering, bool fileBacked, unsigned int channels,
                     unsigned int samples, const std::vector<int>& trig, std::uint32_t seed) {
    Model model;
    model.fileBacked = fileBacked;
    model.header.dataType = dataType;
    model.header.sampleOrdering = ordering;
    model.header.nrOfChannels = channels;
    model.header.nrOfSamples = samples;
    for (unsigned int c = 0; c < channels; ++c) {
        model.header.offsets.push_back(1.5f - static_cast<float>(c));
        model.header.scales.push_back(c % 2 == 0 ? 0.7f : -0.4f);
    }
    Numbers numbers(seed);
    std::vector<float> values(model.elements());
    for (unsigned int c = 0; c < channels; ++c) {
        for (unsigned int s = 0; s < samples; ++s) {
            values[model.element(c, s)] = 3.0f * numbers.noise();
        }
        for (const int t : trig) {
            const float height = 20.0f + 5.0f * numbers.noise();
            const float shape = numbers.noise();
            for (int j = -4; j < 8; ++j) {
                if (t >= 4 && t + j < static_cast<int>(samples)) {
                    values[model.element(c, static_cast<std::size_t>(t + j))] +=
                        height * (0.2f * static_cast<float>(j) + shape * static_cast<float>(j % 3));
                }
            }
        }
    }
    Bytes bytes;
    for (const float value : values) {
        append_stored(bytes, dataType, static_cast<double>(std::clamp(value, -120.0f, 120.0f)));
    }
    model.data = bytes.str();
    return model;
}

// Cleans all channels with the code under test and with the plain definition: data and epoch buffer must agree in
// every bit. Returns the model, cleaned.
Model expect_same_as_plain(const FitSettings& s, Model model) {
    const std::string before = model.data;
    Recording recording(model);
    Workspace workspace(s.N, s.L);
    std::vector<float> x(static_cast<std::size_t>(s.L));
    std::vector<float> plainX(static_cast<std::size_t>(s.L));
    for (unsigned int channel = 0; channel < model.header.nrOfChannels; ++channel) {
        for (int segment = 0; segment < segments_of(s); ++segment) {
            obs::fit_segment(s, workspace.ws, x.data(), &recording.ctc, channel, segment);
            plain_fit(s, plainX, model, channel, segment);
            EXPECT_EQ(std::memcmp(x.data(), plainX.data(), x.size() * sizeof(float)), 0)
                << "channel " << channel << ", segment " << segment;
        }
    }
    EXPECT_TRUE(recording.data(model) == model.data);
    EXPECT_TRUE(model.data != before) << "a test that cleans nothing tests nothing";
    return model;
}

float float_at(const std::string& data, std::size_t index) {
    float value = 0.0f;
    std::memcpy(&value, data.data() + 4 * index, 4);
    return value;
}

} // namespace

TEST_F(ObsFit, EveryKindOfRecordingAgreesWithThePlainDefinition) {
    // Windows of 3 + 1 + 8 samples, in any order: before the start, at it, beyond the end, up to it, overlapping. All
    // are 3 modulo 4, so that recordings read byte by byte meet whole numbers.
    const std::vector<int> trig = {15,  43,  -5,  71,  3,   99, 107, 127, 391, 155, 387, 183, 395, 211, 239, 2000,
                                   267, 295, 299, 303, 323, -1, 351, 363, 31,  59,  391, 371, 375, 379, 379};
    for (const unsigned int dataType : {1u, 3u, 4u, 5u}) {
        for (const unsigned int ordering : {1u, 2u}) {
            for (const bool fileBacked : {false, true}) {
                SCOPED_TRACE(testing::Message() << "type " << dataType << ", ordering " << ordering
                                                << (fileBacked ? ", file-backed" : ", in memory"));
                for (const int P : {1, 3}) {
                    const FitSettings s = settings_of(3, 8, 12, P, trig);
                    expect_same_as_plain(s, make_recording(dataType, ordering, fileBacked, 2, 400, trig, dataType));
                }
            }
        }
    }
}

TEST_F(ObsFit, RandomTriggersAndSettingsAgreeWithThePlainDefinition) {
    for (std::uint32_t seed = 1; seed <= 24; ++seed) {
        SCOPED_TRACE(seed);
        Numbers numbers(seed);
        const int N = 2 + numbers.below(12);
        std::vector<int> trig;
        for (int i = N + numbers.below(3 * N); i > 0; --i) {
            trig.push_back(numbers.below(540) - 20);
        }
        trig.push_back(100);
        const int preS = numbers.below(12);
        const int postS = 3 + numbers.below(20);
        const FitSettings s = settings_of(preS, postS, N, 1 + numbers.below(N), trig);
        const unsigned int dataType = seed % 3 == 0 ? 3 : 1;
        expect_same_as_plain(s, make_recording(dataType, 1 + seed % 2, seed % 4 < 2, 1, 500, trig, seed));
    }
}

TEST_F(ObsFit, TwoHundredAndFiftyTriggersInHundreds) {
    std::vector<int> trig;
    for (int i = 0; i < 250; ++i) {
        trig.push_back(20 + 15 * i);
    }
    const FitSettings s = settings_of(4, 8, 100, 3, trig);
    const Model before = make_recording(1, 1, true, 1, 3800, trig, 77);
    const Model after = expect_same_as_plain(s, before);
    for (const int t : trig) { // every window was cleaned, the borrowed ones once
        EXPECT_NE(float_at(after.data, static_cast<std::size_t>(t)),
                  float_at(before.data, static_cast<std::size_t>(t)));
    }
    ASSERT_EQ(productCalls.size(), 3u);

    // Rows 50 to 99 of the last segment are triggers 150 to 199 as the segment before left them.
    const std::vector<double>& last = productCalls[2].a;
    for (std::size_t k = 50; k < 100; ++k) {
        const std::size_t first = static_cast<std::size_t>(trig[100 + k] - 4);
        double mean = 0.0;
        for (std::size_t j = 0; j < 13; ++j) {
            mean += static_cast<double>(float_at(after.data, first + j)) / 13;
        }
        for (std::size_t j = 0; j < 13; ++j) {
            ASSERT_NEAR(last[k * 13 + j], static_cast<double>(float_at(after.data, first + j)) - mean, 1e-4);
        }
    }
}

TEST_F(ObsFit, BorrowedOccurrencesAreNotWrittenAgain) {
    std::vector<int> trig;
    for (int i = 0; i < 25; ++i) {
        trig.push_back(20 + 15 * i);
    }
    const FitSettings s = settings_of(4, 8, 10, 2, trig);
    const Model model = make_recording(1, 1, false, 1, 500, trig, 5);
    Recording recording(model);
    Workspace workspace(s.N, s.L);
    std::vector<float> x(static_cast<std::size_t>(s.L));
    obs::fit_segment(s, workspace.ws, x.data(), &recording.ctc, 0, 2); // alone: triggers 20..24, 15..19 borrowed
    const std::string after = recording.data(model);
    const std::size_t boundary = static_cast<std::size_t>(trig[20] - 4) * 4;
    EXPECT_TRUE(after.substr(0, boundary) == model.data.substr(0, boundary));
    for (int i = 20; i < 25; ++i) {
        EXPECT_NE(float_at(after, static_cast<std::size_t>(trig[static_cast<std::size_t>(i)])),
                  float_at(model.data, static_cast<std::size_t>(trig[static_cast<std::size_t>(i)])));
    }
}

TEST_F(ObsFit, AnArtifactOfOneShapeIsRemovedByOneComponent) {
    // Constant levels with one waveform of changing height: what remains is each epoch's mean.
    std::vector<int> trig;
    for (int i = 0; i < 10; ++i) {
        trig.push_back(20 + 30 * i);
    }
    Model model = make_recording(1, 1, true, 1, 400, {}, 1);
    Bytes bytes;
    const float shape[12] = {0, 1, 4, 2, -3, -6, -2, 3, 5, 2, 1, -1};
    const auto value = [&](int sample) {
        const int i = (sample - 10) / 30;
        const int j = (sample - 10) % 30 - 7; // windows from 3 before the trigger to 8 after it
        const bool inWindow = sample >= 10 && i < 10 && j >= 0 && j < 12;
        return 5.0f + (inWindow ? shape[j] * (10.0f + static_cast<float>(i)) : 0.0f);
    };
    for (int sample = 0; sample < 400; ++sample) {
        bytes.f32(value(sample));
    }
    model.data = bytes.str();
    const Model after = expect_same_as_plain(settings_of(3, 8, 10, 1, trig), model);
    float mean[10];
    for (int i = 0; i < 10; ++i) {
        mean[i] = 5.0f + 6.0f / 12.0f * (10.0f + static_cast<float>(i)); // the shape sums to 6
        for (int j = -3; j <= 8; ++j) {
            EXPECT_NEAR(float_at(after.data, static_cast<std::size_t>(20 + 30 * i + j)), mean[i], 1e-3);
        }
        EXPECT_EQ(float_at(after.data, static_cast<std::size_t>(20 + 30 * i + 9)), 5.0f) << "outside nothing changes";
        EXPECT_EQ(float_at(after.data, static_cast<std::size_t>(20 + 30 * i - 4)), 5.0f);
    }
}

TEST_F(ObsFit, AllComponentsLeaveTheMeanOfEachEpoch) {
    const std::vector<int> trig = {20, 60, 100, 140, 180, 220};
    const FitSettings s = settings_of(5, 24, 6, 6, trig);
    const Model before = make_recording(1, 2, true, 2, 300, trig, 9);
    const Model after = expect_same_as_plain(s, before);
    for (std::size_t channel = 0; channel < 2; ++channel) {
        for (const int t : trig) {
            double mean = 0.0;
            for (int j = -5; j <= 24; ++j) {
                mean += static_cast<double>(
                            float_at(before.data, before.element(channel, static_cast<std::size_t>(t + j)))) /
                        30;
            }
            for (int j = -5; j <= 24; ++j) {
                EXPECT_NEAR(float_at(after.data, after.element(channel, static_cast<std::size_t>(t + j))), mean, 2e-3);
            }
        }
    }
}

TEST_F(ObsFit, WithoutComponentsNothingIsSubtracted) {
    const std::vector<int> trig = {20, 60, 100, 140, 180, 220};
    for (const int P : {0, -1, -1000}) {
        const FitSettings s = settings_of(5, 24, 6, P, trig);
        const Model before = make_recording(1, 1, true, 1, 300, trig, 9);
        const Model after = expect_same_as_plain(s, before); // the mean was taken off and put back, with rounding
        for (std::size_t i = 0; i < before.elements(); ++i) {
            EXPECT_NEAR(float_at(after.data, i), float_at(before.data, i), 1e-4);
        }
    }
}

TEST_F(ObsFit, OverlappingWindowsKeepTheLaterOccurrence) {
    const std::vector<int> trig = {50, 54, 90, 130}; // windows 45..64 and 49..68
    const FitSettings s = settings_of(5, 14, 4, 1, trig);
    const Model model = make_recording(1, 1, false, 1, 200, trig, 3);
    expect_same_as_plain(s, model);

    // The same segment with the later occurrence moved last: its epoch must stand in the overlap either way.
    const std::vector<int> swapped = {54, 50, 90, 130};
    Recording first(model);
    Recording second(model);
    Workspace workspace(4, 20);
    std::vector<float> x(20);
    obs::fit_segment(s, workspace.ws, x.data(), &first.ctc, 0, 0);
    obs::fit_segment(settings_of(5, 14, 4, 1, swapped), workspace.ws, x.data(), &second.ctc, 0, 0);
    const std::string a = first.data(model);
    const std::string b = second.data(model);
    int same = 0;
    for (std::size_t sample = 49; sample <= 64; ++sample) {
        same += float_at(a, sample) == float_at(b, sample);
    }
    EXPECT_LT(same, 8) << "two different epochs of the overlap";
    for (std::size_t sample = 65; sample <= 68; ++sample) { // beyond the overlap both hold the one epoch
        EXPECT_NEAR(float_at(a, sample), float_at(b, sample), 1e-2);
    }
}

TEST_F(ObsFit, AWindowThatEndsAtTheLengthRepeatsTheEpochBeforeAndIsNotWritten) {
    // 100 samples; 3 before and 8 after. 92 + 8 is the length: valid, but one sample too many to be read.
    const std::vector<int> trig = {92, 20, 92, 91, 93, 2, 3, -2147483647 - 1, INT_MAX, 92};
    const FitSettings s = settings_of(3, 8, 10, 1, trig);
    const Model model = make_recording(1, 1, true, 1, 100, {20}, 8);
    Recording recording(model);
    Workspace workspace(s.N, s.L);
    std::vector<float> x = {100, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111};
    obs::fit_segment(s, workspace.ws, x.data(), &recording.ctc, 0, 0);

    ASSERT_EQ(productCalls.size(), 1u);
    const std::vector<double>& rows = productCalls[0].a;
    const auto expect_epoch = [&](std::size_t k, std::size_t first) {
        double mean = 0.0;
        for (std::size_t j = 0; j < 12; ++j) {
            mean += static_cast<double>(float_at(model.data, first + j)) / 12;
        }
        for (std::size_t j = 0; j < 12; ++j) {
            EXPECT_NEAR(rows[k * 12 + j], static_cast<double>(float_at(model.data, first + j)) - mean, 1e-4) << k;
        }
    };
    for (std::size_t j = 0; j < 12; ++j) {
        EXPECT_EQ(rows[j], static_cast<double>(j) - 5.5) << "nothing was read yet: what the buffer held";
        for (const std::size_t k : {4u, 5u, 7u, 8u}) {
            EXPECT_EQ(rows[k * 12 + j], 0.0) << "a window that is not valid";
        }
    }
    expect_epoch(1, 17);
    expect_epoch(2, 17);
    expect_epoch(3, 88); // the last that can be read
    expect_epoch(6, 0);  // the first
    expect_epoch(9, 0);  // repeats the epoch before it

    const std::string after = recording.data(model);
    for (std::size_t sample = 0; sample < 100; ++sample) {
        const bool written = sample < 12 || (sample >= 17 && sample < 29) || sample >= 88;
        if (!written) {
            EXPECT_EQ(float_at(after, sample), float_at(model.data, sample)) << sample;
        }
    }
    EXPECT_NE(float_at(after, 20), float_at(model.data, 20));
    EXPECT_NE(float_at(after, 99), float_at(model.data, 99));

    // With that window alone nothing at all is written.
    const std::vector<int> alone(10, 92);
    Recording untouched(model);
    obs::fit_segment(settings_of(3, 8, 10, 1, alone), workspace.ws, x.data(), &untouched.ctc, 0, 0);
    EXPECT_TRUE(untouched.data(model) == model.data);
}

TEST_F(ObsFit, WindowArithmeticDoesNotOverflow) {
    // Far windows in a recording whose length only fits an unsigned number; it holds no samples to read.
    CTCStruct ctc{};
    ctc.FileVersion = 1;
    ctc.DataType = 1;
    ctc.SampleOrdering = 1;
    ctc.NrOfChannels = 1;
    ctc.NrOfSamples = 3000000000u;
    const std::vector<int> trig = {INT_MAX, INT_MIN, INT_MAX - 5, -1, 0};
    const FitSettings s = settings_of(2, 9, 5, 1, trig);
    Workspace workspace(s.N, s.L);
    std::vector<float> x = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    obs::fit_segment(s, workspace.ws, x.data(), &ctc, 0, 0);
    ASSERT_EQ(productCalls.size(), 1u);
    for (std::size_t k = 0; k < 5; ++k) {
        const bool valid = k == 0 || k == 2; // the row is then the buffer, which the reading left as it was
        EXPECT_EQ(productCalls[0].a[k * 12], valid ? -5.5 : 0.0) << k;
    }

    // Bounds that exceed an int in sum.
    ctc.NrOfSamples = 0xFFFFFFFF;
    FitSettings wide = settings_of(0, 11, 5, 1, trig);
    wide.preS = INT_MIN + 100; // t - preS passes 2^31
    productCalls.clear();
    x = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    obs::fit_segment(wide, workspace.ws, x.data(), &ctc, 0, 0);
    for (std::size_t k = 0; k < 5; ++k) {
        EXPECT_EQ(productCalls[0].a[k * 12], k == 1 ? 0.0 : -5.5) << k;
    }
}

TEST_F(ObsFit, TheProductIsAskedForOncePerSegment) {
    const std::vector<int> trig = {20, 60, 100, 140, 180, 220, 250};
    const FitSettings s = settings_of(5, 14, 3, 2, trig);
    expect_same_as_plain(s, make_recording(1, 1, false, 2, 300, trig, 4));
    ASSERT_EQ(productCalls.size(), 2u * 3u);
    for (const ProductCall& call : productCalls) {
        EXPECT_EQ(call.m, 3);
        EXPECT_EQ(call.n, 3);
        EXPECT_EQ(call.k, 20);
        EXPECT_EQ(call.transA, 0);
        EXPECT_EQ(call.transB, 1);
        EXPECT_EQ(call.a, call.b);
    }
}

TEST_F(ObsFit, TheCovarianceIsTheProductTransposedAndDividedByTheEpochLength) {
    host::nv_intel_matrix_matrix_mult_d = lopsided_product;
    const std::vector<int> trig = {20, 60, 100, 140};
    const FitSettings s = settings_of(5, 14, 4, 2, trig);
    const Model model = make_recording(1, 1, false, 1, 200, trig, 4);
    Recording recording(model);
    Workspace workspace(s.N, s.L);
    std::vector<float> x(20);
    obs::fit_segment(s, workspace.ws, x.data(), &recording.ctc, 0, 0);
    const FitWorkspace& ws = workspace.ws;
    for (int a = 0; a < 4; ++a) {
        for (int b = a; b < 4; ++b) { // what the eigenvalues' routine leaves as it was: diagonal and below
            const double g = ws.G[a * 4 + b];
            EXPECT_EQ(ws.K[b + 1][a + 1], static_cast<float>(g / 20.0)) << a << " " << b;
            if (b > a) {
                EXPECT_GT(g, 500.0);
            }
        }
    }
}

TEST_F(ObsFit, AConstantChannelIsWrittenAsTheArithmeticLeavesIt) {
    const std::vector<int> trig = {20, 40, 60, 80};
    const FitSettings s = settings_of(3, 4, 4, 2, trig); // 8 samples: the mean is exact
    Model model = make_recording(1, 1, true, 1, 100, {}, 1);
    Bytes bytes;
    for (int sample = 0; sample < 100; ++sample) {
        bytes.f32(2.0f);
    }
    model.data = bytes.str();
    Recording recording(model);
    Workspace workspace(s.N, s.L);
    std::vector<float> x(8);
    obs::fit_segment(s, workspace.ws, x.data(), &recording.ctc, 0, 0);
    const std::string after = recording.data(model);
    for (int sample = 0; sample < 100; ++sample) {
        bool inWindow = false;
        for (const int t : trig) {
            inWindow = inWindow || (sample >= t - 3 && sample <= t + 4);
        }
        const float value = float_at(after, static_cast<std::size_t>(sample));
        if (inWindow) {
            std::uint32_t bits = 0;
            std::memcpy(&bits, &value, sizeof bits);
            EXPECT_EQ(bits, 0xFFC00000u) << sample; // not a number, and the same one in every build
        } else {
            EXPECT_EQ(value, 2.0f) << sample;
        }
    }
}

TEST_F(ObsFit, NanInAWindowMakesAllWindowsTheOneNan) {
    // A NaN of the recording's own with another sign and payload: what is written does not depend on it.
    const std::vector<int> trig = {20, 40, 60, 80};
    const FitSettings s = settings_of(3, 4, 4, 2, trig);
    Model model = make_recording(1, 1, true, 1, 100, trig, 1);
    const std::uint32_t ownNan = 0x7FC12345;
    std::memcpy(&model.data[4 * 41], &ownNan, 4);
    std::memcpy(&model.data[4 * 90], &ownNan, 4); // outside the windows
    Recording recording(model);
    Workspace workspace(s.N, s.L);
    std::vector<float> x(8);
    obs::fit_segment(s, workspace.ws, x.data(), &recording.ctc, 0, 0);
    const std::string after = recording.data(model);
    for (int sample = 0; sample < 100; ++sample) {
        std::uint32_t bits = 0;
        std::uint32_t bitsBefore = 0;
        std::memcpy(&bits, &after[4 * static_cast<std::size_t>(sample)], 4);
        std::memcpy(&bitsBefore, &model.data[4 * static_cast<std::size_t>(sample)], 4);
        const bool inWindow =
            std::any_of(trig.begin(), trig.end(), [&](int t) { return sample >= t - 3 && sample <= t + 4; });
        EXPECT_EQ(bits, inWindow ? 0xFFC00000u : bitsBefore) << sample;
    }
}

TEST_F(ObsFit, ShiftedRecordingsHoldTheCleanedEpochOneEpochFurtherOn) {
    const std::vector<int> trig = {20, 60, 100, 140};
    const FitSettings s = settings_of(3, 8, 4, 1, trig);
    for (const unsigned int dataType : {3u, 4u}) {
        const Model before = make_recording(dataType, 1, true, 1, 200, trig, 6);
        const Model after = expect_same_as_plain(s, before);
        const std::size_t size = before.size();
        for (const int t : trig) {
            const auto first = static_cast<std::size_t>(t - 3);
            EXPECT_EQ(after.data.substr(first * size, 12 * size), before.data.substr(first * size, 12 * size));
            EXPECT_NE(after.data.substr((first + 12) * size, 12 * size),
                      before.data.substr((first + 12) * size, 12 * size));
        }
    }
}

TEST(FitWorkspaceStorage, IsReleasedAndForgotten) {
    FitWorkspace ws = obs::make_fit_workspace(3, 7);
    EXPECT_EQ(ws.N, 3);
    EXPECT_EQ(ws.L, 7);
    for (int i = 0; i < 3 * 7; ++i) {
        EXPECT_EQ(ws.Ed[i], 0.0);
    }
    for (int i = 0; i < 3 * 3; ++i) {
        EXPECT_EQ(ws.G[i], 0.0);
    }
    ws.E[2][6] = ws.C[2][6] = ws.Y[2][2] = ws.Vt[2][2] = ws.S[2][2] = ws.Sinv[2][2] = 1.0f;
    ws.K[3][3] = ws.V[3][3] = ws.K[1][1] = ws.V[1][1] = ws.d[1] = ws.d[3] = 1.0f;
    ws.means[2] = ws.w[2] = 1.0f;
    ws.triggers[2] = 1;
    obs::free_fit_workspace(ws);
    EXPECT_EQ(ws.E, nullptr);
    EXPECT_EQ(ws.N, 0);
}

#ifndef ORIDAN_UNDER_ASAN // it ends the process itself on a request of this size
TEST(FitWorkspaceStorage, AnEpochLengthThatCannotBeHeldEndsTheProcess) {
    EXPECT_EXIT(obs::make_fit_workspace(65536, INT_MAX), testing::ExitedWithCode(1), "allocation failure");
}
#endif
