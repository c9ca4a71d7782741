// Whole runs in a process that is the workbench itself: what the records and the product hold at each call, and
// answers that a careful workbench would not give.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <locale>
#include <string>
#include <vector>

#include <malloc.h>

#include "export.h"
#include "fileio/ctc.h"
#include "obs/obs_fit.h"
#include "plugin/host_binding.h"
#include "plugin/host_records.h"
#include "plugin/oridan_plugin.h"
#include "tests/obs/comma_locale.h"
#include "tests/support/allocation_probe.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/fatal.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::Bytes;
using support::ctc_header_bytes;
using support::CtcHeader;
using support::read_file;
using support::TemporaryFolder;
using support::write_file;

struct Product {
    std::vector<double> rows; // m rows of k values
    int m, n, k;
};

// The workbench: what it answers, and what it saw.
struct Workbench {
    std::string dataFile = "rec.ctc";
    std::string protocolFile = "p.prt";
    ProtocolStruct protocol{};
    std::vector<ProtocolConditionStruct> conditions;
    std::vector<int> answers; // 0 when they run out
    std::vector<std::string> calls;
    std::vector<Product> products;
    bool recordsWereZero = true;
    std::string trialFileName; // looked at when the OBS settings are asked
    std::string trialFileAtSettings;
    std::size_t asked = 0;
    const AllocationProbe* probe = nullptr;
    std::vector<int> requestsAtCall; // of C memory, since the probe began
    bool logsToStderr = false;
    bool hadCommaAtEachLine = true;
};
Workbench workbench;

void note(const std::string& call) {
    workbench.calls.push_back(call);
    workbench.requestsAtCall.push_back(workbench.probe != nullptr ? workbench.probe->calls() : 0);
}

template <class Record>
void check_zero(const Record* record) {
    const auto* bytes = reinterpret_cast<const char*>(record);
    workbench.recordsWereZero =
        workbench.recordsWereZero && std::all_of(bytes, bytes + sizeof *record, [](char byte) { return byte == 0; });
}

} // namespace

extern "C" {
ORIDAN_API void nvGetVersionOfNivora(int* major, int* minor, int* patch);
ORIDAN_API void nvLogText(const char* text);
ORIDAN_API void nvMessageBox(const char* text);
ORIDAN_API void* nvGetCurrentVMR(int*, int*, int*);
ORIDAN_API int nvGetOpenFileName(const char*, const char*, const char* filter, char* path);
ORIDAN_API void nvLoadProtocol(const char* path);
ORIDAN_API int nvGetProtocol(ProtocolStruct* record);
ORIDAN_API void nvGetProtocolCondition(int index, ProtocolConditionStruct* record);
ORIDAN_API int nvGetIntegerInput(const char* prompt, int defaultValue, int minValue, int maxValue);
ORIDAN_API void nv_intel_matrix_matrix_mult_f();
ORIDAN_API void nv_intel_matrix_matrix_mult_d(const double* a, const double* b, double* c, int m, int n, int k,
                                              int transA, int transB);
ORIDAN_API void nv_intel_matrix_vector_mult_f();
ORIDAN_API void nv_intel_matrix_vector_mult_d();

void nvGetVersionOfNivora(int* major, int* minor, int* patch) {
    *major = 1;
    *minor = 8;
    *patch = 3;
}
void nvLogText(const char* text) {
    note("log " + std::string(text));
    workbench.hadCommaAtEachLine = workbench.hadCommaAtEachLine && CommaLocale::is_in_force();
    if (workbench.logsToStderr) {
        std::fprintf(stderr, "%s\n", text);
    }
}
void nvMessageBox(const char* text) {
    note("box " + std::string(text));
}
void* nvGetCurrentVMR(int*, int*, int*) {
    return &workbench;
}
int nvGetOpenFileName(const char*, const char*, const char* filter, char* path) {
    const std::string& chosen = std::strcmp(filter, "*.ctc") == 0 ? workbench.dataFile : workbench.protocolFile;
    std::memcpy(path, chosen.c_str(), chosen.size() + 1);
    return 1;
}
void nvLoadProtocol(const char* path) {
    note("load " + std::string(path));
}
int nvGetProtocol(ProtocolStruct* record) {
    check_zero(record);
    *record = workbench.protocol;
    return 1;
}
void nvGetProtocolCondition(int index, ProtocolConditionStruct* record) {
    check_zero(record);
    note("condition " + std::to_string(index));
    *record = workbench.conditions.at(static_cast<std::size_t>(index));
}
int nvGetIntegerInput(const char* prompt, int defaultValue, int minValue, int maxValue) {
    if (std::string(prompt).rfind("OBS Settings (1)", 0) == 0) {
        workbench.trialFileAtSettings = read_file(workbench.trialFileName);
    }
    const std::size_t i = workbench.asked++;
    note("ask " + std::to_string(defaultValue) + " " + std::to_string(minValue) + ".." + std::to_string(maxValue));
    return i < workbench.answers.size() ? workbench.answers[i] : 0;
}
void nv_intel_matrix_matrix_mult_f() {}
void nv_intel_matrix_matrix_mult_d(const double* a, const double* b, double* c, int m, int n, int k, int, int) {
    workbench.products.push_back({std::vector<double>(a, a + static_cast<std::ptrdiff_t>(m) * k), m, n, k});
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
void nv_intel_matrix_vector_mult_f() {}
void nv_intel_matrix_vector_mult_d() {}
}

namespace {

class ObsRun : public testing::Test {
protected:
    void SetUp() override {
        workbench = Workbench{};
        workbench.protocol.timeResolution = 1;
        use_triggers({100, 200, 300, 400, 500, 600, 700, 800, 850, 900});
        workbench.answers = {1, 0, 7, 10, 2};
    }

    // Makes these the triggers of the one condition, named x.
    void use_triggers(const std::vector<std::int32_t>& values) {
        triggers = values;
        ProtocolConditionStruct condition{};
        condition.name[0] = 'x';
        condition.nrOfIntervals = static_cast<std::int32_t>(triggers.size());
        condition.intervals = triggers.data();
        workbench.conditions = {condition};
        workbench.protocol.nrOfConditions = 1;
        workbench.trialFileName = "_x.trl";
    }

    // Integers whose differences tell every place from every other: sample i is i^2 / 2^k.
    static void write_parabola(float fs, unsigned int samples) {
        CtcHeader header;
        header.nrOfSamples = samples;
        header.samplingFrequency = fs;
        Bytes bytes;
        bytes.raw(ctc_header_bytes(header));
        for (unsigned int i = 0; i < samples; ++i) {
            bytes.f32(static_cast<float>(i) * static_cast<float>(i) / 4096.0f);
        }
        write_file("rec.ctc", bytes.str());
    }

    // First sample of the epoch in a row of the first product: the parabola's first step is (2 i + 1) / 4096.
    static int first_sample_of_row(std::size_t row) {
        const Product& product = workbench.products.at(0);
        const std::size_t at = row * static_cast<std::size_t>(product.k);
        return static_cast<int>(std::lround((4096.0 * (product.rows.at(at + 1) - product.rows.at(at)) - 1.0) / 2.0));
    }

    static std::vector<std::string> calls_with(const std::string& prefix) {
        std::vector<std::string> found;
        for (const std::string& call : workbench.calls) {
            if (call.rfind(prefix, 0) == 0) {
                found.push_back(call);
            }
        }
        return found;
    }

    static bool completed() {
        return calls_with("log // OridanSuite> Artifact template removal completed!").size() == 1;
    }

    TemporaryFolder folder{TemporaryFolder::Use::asCurrentDirectory};
    std::vector<std::int32_t> triggers;
    OridanArtifactRemovalPlugin plugin;
};

} // namespace

TEST_F(ObsRun, EveryRunBindsTheWorkbenchAnew) {
    write_parabola(1000.0f, 1000);
    for (int round = 0; round < 2; ++round) {
        workbench.calls.clear();
        workbench.asked = 0;
        EXPECT_TRUE(plugin.execute());
        EXPECT_TRUE(completed()) << round;
        host::nvLogText = nullptr; // what is left of one run is not used by the next
        host::nvGetIntegerInput = nullptr;
        host::nv_intel_matrix_matrix_mult_d = nullptr;
    }
}

TEST_F(ObsRun, TheRecordsAreZeroedBeforeEachCall) {
    write_parabola(1000.0f, 1000);
    workbench.conditions.insert(workbench.conditions.begin(), 3, workbench.conditions[0]);
    std::memset(workbench.conditions[0].name, 'n', 256);
    workbench.protocol.nrOfConditions = 4;
    workbench.answers[0] = 4;
    EXPECT_TRUE(plugin.execute());
    EXPECT_TRUE(completed());
    EXPECT_TRUE(workbench.recordsWereZero);
    EXPECT_EQ(calls_with("condition"),
              (std::vector<std::string>{"condition 0", "condition 1", "condition 2", "condition 3", "condition 3"}))
        << "all are listed, then the chosen one is asked for again";
}

TEST_F(ObsRun, TextsThatFillTheirFieldsAreLoggedWhole) {
    write_parabola(1000.0f, 1000);
    std::memset(workbench.protocol.experimentName, 'e', sizeof workbench.protocol.experimentName);
    workbench.protocol.timeResolution = 0x41414141; // bytes of letters behind a text without a NUL
    std::memset(workbench.conditions[0].name, 'n', sizeof workbench.conditions[0].name);
    workbench.conditions[0].nrOfIntervals = 0x0A; // 10, not a NUL either
    EXPECT_TRUE(plugin.execute());
    EXPECT_EQ(calls_with("log // OridanSuite> Experiment Name : "),
              std::vector<std::string>{"log // OridanSuite> Experiment Name : " + std::string(303, 'e')});
    EXPECT_EQ(calls_with("log // OridanSuite>>> Condition n.1 : "),
              std::vector<std::string>{"log // OridanSuite>>> Condition n.1 : " + std::string(256, 'n')});
}

TEST_F(ObsRun, PercentSignsInTheListingAreNoConversions) {
    write_parabola(1000.0f, 1000);
    std::strcpy(workbench.protocol.experimentName, "50%d %s %n %%");
    std::strcpy(workbench.conditions[0].name, "R%d%%");
    workbench.trialFileName = "_R0%.trl";
    EXPECT_TRUE(plugin.execute());
    EXPECT_TRUE(completed());
    EXPECT_EQ(calls_with("log // OridanSuite> Experiment Name : ").at(0),
              "log // OridanSuite> Experiment Name : 50%d %s %n %%");
    EXPECT_EQ(calls_with("log // OridanSuite>>> Condition").at(0), "log // OridanSuite>>> Condition n.1 : R%d%%");
    EXPECT_EQ(read_file("_R0%.trl").substr(0, 12), "99000 R%d%%\n");
}

TEST_F(ObsRun, TheTrialFileIsCompleteWhenTheSettingsAreAsked) {
    write_parabola(1000.0f, 1000);
    EXPECT_TRUE(plugin.execute());
    EXPECT_EQ(workbench.trialFileAtSettings, "99000 x\n199000 x\n299000 x\n399000 x\n499000 x\n599000 x\n699000 x\n"
                                             "799000 x\n849000 x\n899000 x\n");
    EXPECT_EQ(read_file("_x.trl"), workbench.trialFileAtSettings);
}

namespace {

// Digits in groups of three and a decimal comma.
class GroupedDigits : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

} // namespace

TEST_F(ObsRun, TheTrialFileDoesNotFollowTheProgramsLocale) {
    write_parabola(1000.0f, 1000);
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
    EXPECT_TRUE(plugin.execute());
    const std::string samples = read_file("_x.trl");
    for (std::int32_t& trigger : triggers) {
        trigger *= 1000; // now in microseconds
    }
    workbench.protocol.timeResolution = 0;
    workbench.asked = 0;
    EXPECT_TRUE(plugin.execute());
    std::locale::global(before);
    EXPECT_EQ(samples.substr(0, 17), "99000 x\n199000 x\n");
    EXPECT_EQ(read_file("_x.trl").substr(0, 18), "100000 x\n200000 x\n");
}

TEST_F(ObsRun, LogLinesAndTheTrialFilesNameDoNotFollowTheCLibrarysLocale) {
    const CommaLocale comma;
    if (!comma.is_there()) {
        GTEST_SKIP() << "no locale with a decimal comma: localedef makes none here";
    }
    write_parabola(250.0f, 1000);
    std::strcpy(workbench.conditions[0].name, "%.1f%e");
    EXPECT_TRUE(plugin.execute());
    EXPECT_TRUE(completed());
    EXPECT_EQ(calls_with("log // OridanSuite> Sampling frequency [Hz]").at(0),
              "log // OridanSuite> Sampling frequency [Hz] : 250.000000");
    EXPECT_EQ(calls_with("log // OridanSuite> Total data segment duration [min]").at(0),
              "log // OridanSuite> Total data segment duration [min] : 0.066667");
    EXPECT_TRUE(folder.has("_0.00.000000e+00.trl"));
    EXPECT_TRUE(workbench.hadCommaAtEachLine) << "the workbench is called in its own locale";
    EXPECT_TRUE(CommaLocale::is_in_force());
}

TEST_F(ObsRun, NegativeAndAbsentIntervalsCountAsNone) {
    write_parabola(1000.0f, 1000);
    for (const bool absent : {false, true}) {
        workbench.calls.clear();
        workbench.asked = 0;
        workbench.conditions[0].nrOfIntervals = absent ? 10 : -3;
        workbench.conditions[0].intervals = absent ? nullptr : triggers.data();
        EXPECT_TRUE(plugin.execute());
        if (!absent) {
            EXPECT_EQ(calls_with("log // OridanSuite>>>>> Nr. of trials : ").at(0),
                      "log // OridanSuite>>>>> Nr. of trials : 0");
        }
        EXPECT_EQ(calls_with("ask 100 ").at(0), "ask 100 10..0");
        EXPECT_EQ(workbench.calls.back().substr(0, 27), "box Too few artifact exampl");
        EXPECT_EQ(read_file("_x.trl"), "");
    }
}

TEST_F(ObsRun, AnEmptyProtocolPathThatWasChosenIsLoaded) {
    write_parabola(1000.0f, 1000);
    workbench.protocolFile = "";
    EXPECT_TRUE(plugin.execute());
    EXPECT_EQ(calls_with("load"), std::vector<std::string>{"load "});
    EXPECT_TRUE(completed());
}

// Window times in single precision, each step rounded: product with the frequency, then the quotient.
TEST_F(ObsRun, WindowTimesBecomeSamplesInSinglePrecision) {
    const struct {
        float fs;
        int pre;
        int post;
        int epochLength;
    } cases[] = {
        {1000.0f, 500, 1200, 1701}, {250.0f, 3, 4, 2}, // 0.75 and 1 sample
        {2048.3f, 0, 3706, 7592},                      // 7590.9999... in double
        {5000.0f, 9, 0, 46},                           // 44.99... when divided first
        {1000.0f, -3, 7, 5},        {1000.0f, 0, 0, 1}, {1000.0f, 5000, 5000, 10001},
    };
    for (const auto& c : cases) {
        workbench.products.clear();
        workbench.calls.clear();
        workbench.asked = 0;
        write_parabola(c.fs, 100);
        workbench.answers = {1, c.pre, c.post, 10, 0};
        EXPECT_TRUE(plugin.execute());
        EXPECT_TRUE(completed());
        ASSERT_EQ(workbench.products.size(), 1U);
        EXPECT_EQ(workbench.products[0].k, c.epochLength) << c.fs << " Hz, " << c.pre << " and " << c.post << " ms";
        EXPECT_EQ(workbench.products[0].m, 10);
        EXPECT_EQ(workbench.products[0].n, 10);
    }
}

TEST_F(ObsRun, TimesInMicrosecondsBecomeSamplesByAFloatProductAndADoubleQuotient) {
    // The float product decides between neighbouring samples, and a float quotient would be rounded up.
    const struct {
        float fs;
        std::int32_t time;
        int sample;
    } cases[] = {
        {1000.0f, 250000, 250},   {1000.0f, 250999, 250},   // cut, not rounded
        {1000.0f, 1493000, 1492}, {1000.0f, 2485000, 2484}, // 1493 and 2485 in double
        {5000.0f, 593000, 2964},  {512.0f, 4751953, 2432},  // 2965 and 2433 by a float quotient
        {1000.1f, 2568743, 2568}, {1000.0f, -500, 0},       // toward zero: a valid window
    };
    for (const auto& c : cases) {
        for (const std::int32_t flag : {0, 2, 3, -1, INT_MIN}) { // all but 1 are times
            workbench.products.clear();
            workbench.asked = 0;
            workbench.protocol.timeResolution = flag;
            write_parabola(c.fs, 3600);
            use_triggers(std::vector<std::int32_t>(10, c.time));
            workbench.answers = {1, 0, 100, 10, 0};
            EXPECT_TRUE(plugin.execute());
            EXPECT_EQ(first_sample_of_row(0), c.sample) << c.fs << " Hz, " << c.time << " us";
            const std::string line = std::to_string(c.time) + " x\n";
            EXPECT_EQ(read_file("_x.trl").substr(0, line.size()), line);
        }
    }
}

TEST_F(ObsRun, TheEpochBufferStartsAsZeros) {
    // 1000 samples; the first window ends at the length: valid, and one sample too many to be read.
    write_parabola(1000.0f, 1000);
    use_triggers({993, 100, 200, 300, 400, 500, 600, 700, 800, 900});
    workbench.answers = {1, 0, 7, 10, 1};
    EXPECT_TRUE(plugin.execute());
    ASSERT_EQ(workbench.products.size(), 1U);
    for (std::size_t j = 0; j < 8; ++j) {
        EXPECT_EQ(workbench.products[0].rows[j], 0.0);
    }
    EXPECT_EQ(first_sample_of_row(1), 100);
}

TEST_F(ObsRun, ARecordingOfVersion0IsAllZerosToTheFit) {
    // Its header can be read and none of its samples. The windows lie so close that they would be read together.
    CtcHeader header;
    header.fileVersion = 0;
    header.nrOfSamples = 1000;
    Bytes bytes;
    bytes.raw(ctc_header_bytes(header));
    for (int i = 0; i < 1000; ++i) {
        bytes.f32(static_cast<float>(i));
    }
    write_file("rec.ctc", bytes.str());
    use_triggers({100, 110, 120, 130, 140, 150, 160, 170, 180, 190});
    mallopt(M_PERTURB, 0x41); // what is had from the heap is not zero
    EXPECT_TRUE(plugin.execute());
    mallopt(M_PERTURB, 0);
    ASSERT_EQ(workbench.products.size(), 1U);
    EXPECT_EQ(workbench.products[0].rows, std::vector<double>(80, 0.0));
    EXPECT_TRUE(read_file("rec_OBS.ctc") == bytes.str());
}

TEST_F(ObsRun, TheWorkingStorageIsAskedForWhenTheSegmentsAreLogged) {
    write_parabola(1000.0f, 1000);
    int requestsBefore = 0;
    {
        const AllocationProbe probe;
        workbench.probe = &probe;
        EXPECT_TRUE(plugin.execute());
        const auto settings = std::find(workbench.calls.begin(), workbench.calls.end(), "ask 3 1..10");
        ASSERT_GE(workbench.calls.end() - settings, 3);
        EXPECT_EQ(settings[1], "log // OridanSuite> Resulting number of segments: 1");
        const auto atSettings = workbench.requestsAtCall.begin() + (settings - workbench.calls.begin());
        requestsBefore = atSettings[1];
        EXPECT_EQ(atSettings[0], requestsBefore) << "nothing is asked for before the line";
        EXPECT_GT(atSettings[2], requestsBefore);
        workbench.probe = nullptr;
    }
    workbench.asked = 0;
    EXPECT_EXIT(
        {
            support::expect_no_release();
            const AllocationProbe probe(requestsBefore);
            workbench.logsToStderr = true;
            plugin.execute();
        },
        testing::ExitedWithCode(1),
        "// OridanSuite> Resulting number of segments: 1\n"
        "Numerical Recipes run-time error...\n[^\n]+\n...now exiting to system...\n$");
}

TEST_F(ObsRun, ALateUnreadableWindowRepeatsTheEpochBeforeIt) {
    write_parabola(1000.0f, 1000);
    use_triggers({100, 993, 300, 400, 500, 600, 700, 800, 900, 993});
    EXPECT_TRUE(plugin.execute());
    EXPECT_EQ(first_sample_of_row(1), 100);
    EXPECT_EQ(first_sample_of_row(2), 300);
    EXPECT_EQ(first_sample_of_row(9), 900);
    EXPECT_EQ(read_file("rec_OBS.ctc").substr(32 + 4 * 993), read_file("rec.ctc").substr(32 + 4 * 993));
}

// A run is the fit of every segment of every channel, in this order, on a file-backed copy with one epoch buffer.
TEST_F(ObsRun, IsTheFitOfEverySegmentOfEveryChannelOnTheCopy) {
    // Overlapping windows, windows outside and at the ends, and a last segment that borrows seven epochs.
    const std::vector<std::int32_t> positions = {15,  43,  -5,  71,   3,   9,   107, 127, 391, 155, 387, 183,
                                                 395, 211, 239, 2000, 267, 295, 299, 303, 323, -1,  351};
    for (const unsigned int dataType : {1U, 3U, 4U, 5U}) {
        for (const unsigned int ordering : {1U, 2U}) {
            SCOPED_TRACE(testing::Message() << "type " << dataType << ", ordering " << ordering);
            CtcHeader header;
            header.dataType = dataType;
            header.sampleOrdering = ordering;
            header.nrOfChannels = 3;
            header.nrOfSamples = 400;
            header.offsets = {1.5f, 0.0f, -2.0f};
            header.scales = {0.7f, -0.4f, 1.0f};
            Bytes bytes;
            bytes.raw(ctc_header_bytes(header));
            std::uint32_t state = 7;
            for (int i = 0; i < 1200; ++i) {
                state = state * 1664525U + 1013904223U;
                support::append_stored(bytes, dataType, static_cast<double>(state >> 24) - 128.0);
            }
            write_file("rec.ctc", bytes.str());
            use_triggers(positions);
            workbench.asked = 0;
            workbench.answers = {1, 3, 8, 10, 3};
            EXPECT_TRUE(plugin.execute());

            write_file("expected.ctc", bytes.str());
            CTCStruct ctc{};
            ASSERT_EQ(ReadEntireCTC(&ctc, "expected.ctc", 1), 1);
            const obs::FitSettings settings{3, 8, 12, 10, 3, 23, triggers.data()};
            obs::FitWorkspace workspace = obs::make_fit_workspace(10, 12);
            std::vector<float> x(12);
            for (unsigned int channel = 0; channel < 3; ++channel) {
                for (int segment = 0; segment < 3; ++segment) {
                    obs::fit_segment(settings, workspace, x.data(), &ctc, channel, segment);
                }
            }
            obs::free_fit_workspace(workspace);
            FreeCTCMemory(&ctc);
            EXPECT_TRUE(read_file("rec_OBS.ctc") == read_file("expected.ctc"));
            EXPECT_TRUE(read_file("rec_OBS.ctc") != bytes.str()) << "a run that cleans nothing tests nothing";
        }
    }
}

TEST_F(ObsRun, TheEpochBufferIsKeptFromChannelToChannel) {
    // The first window of the second channel cannot be read: it repeats the last epoch of the first, as cleaned.
    CtcHeader header;
    header.nrOfChannels = 2;
    header.nrOfSamples = 1000;
    Bytes bytes;
    bytes.raw(ctc_header_bytes(header));
    for (int i = 0; i < 2000; ++i) {
        bytes.f32(static_cast<float>((i * 7919) % 64));
    }
    write_file("rec.ctc", bytes.str());
    use_triggers({993, 100, 200, 300, 400, 500, 600, 700, 800, 900});
    workbench.answers = {1, 0, 7, 10, 1};
    EXPECT_TRUE(plugin.execute());
    ASSERT_EQ(workbench.products.size(), 2U);
    const std::string after = read_file("rec_OBS.ctc");
    float cleaned[8];
    std::memcpy(cleaned, &after[32 + 4 * 900], sizeof cleaned);
    double mean = 0.0;
    for (const float value : cleaned) {
        mean += static_cast<double>(value) / 8;
    }
    double size = 0.0;
    for (std::size_t j = 0; j < 8; ++j) {
        EXPECT_NEAR(workbench.products[1].rows[j], static_cast<double>(cleaned[j]) - mean, 1e-4);
        size += std::fabs(workbench.products[1].rows[j]);
    }
    EXPECT_GT(size, 1.0);
}
