// A whole run in a process that is the workbench, with each of its requests for memory refused in turn.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "export.h"
#include "plugin/host_records.h"
#include "plugin/oridan_plugin.h"
#include "tests/allocation/refusals.h"
#include "tests/support/bits.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using failing_heap::Pause;

constexpr std::int32_t triggers[] = {30, 80, 130, 180, 230, 280, 330, 380, 430, 480, 530, 580};

// What the workbench has to say; in storage of its own, for it may be asked where no memory is.
struct Workbench {
    int volume = 0;
    int answered = 0;
    std::string said; // the last line that tells how the run ends
};
Workbench workbench;

} // namespace

extern "C" {
ORIDAN_API void nvGetVersionOfNivora(int* major, int* minor, int* patch);
ORIDAN_API void nvLogText(const char* text);
ORIDAN_API void nvMessageBox(const char* text);
ORIDAN_API void* nvGetCurrentVMR(int*, int*, int*);
ORIDAN_API int nvGetOpenFileName(const char*, const char*, const char* filter, char* path);
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
    const Pause pause;
    if (std::strstr(text, "Exiting plugin.") != nullptr || std::strstr(text, "completed!") != nullptr) {
        workbench.said = text;
    }
}
void nvMessageBox(const char* text) {
    const Pause pause;
    workbench.said = text;
}
void* nvGetCurrentVMR(int*, int*, int*) {
    return &workbench.volume;
}
int nvGetOpenFileName(const char*, const char*, const char* filter, char* path) {
    // Names that need memory wherever they are kept.
    std::strcpy(path, std::strcmp(filter, "*.ctc") == 0 ? "a recording with a long name.ctc" : "its protocol file.prt");
    return 1;
}
int nvGetProtocol(ProtocolStruct* record) {
    record->nrOfConditions = 1;
    record->timeResolution = 2;
    std::strcpy(record->experimentName, "an experiment with a long name");
    return 1;
}
void nvGetProtocolCondition(int, ProtocolConditionStruct* record) {
    std::strcpy(record->name, "a condition with a %10d name");
    record->nrOfIntervals = 12;
    static std::int32_t times[12];
    for (int i = 0; i < 12; ++i) {
        times[i] = triggers[i] * 1000; // microseconds at 1000 Hz
    }
    record->intervals = times;
}
int nvGetIntegerInput(const char*, int, int, int) {
    const int answers[] = {1, 10, 20, 5, 2};
    return answers[workbench.answered++];
}
void nv_intel_matrix_matrix_mult_f() {}
void nv_intel_matrix_matrix_mult_d(const double* a, const double* b, double* c, int m, int n, int k, int, int) {
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

struct Kind {
    unsigned int dataType;
    unsigned int ordering;
};

std::string recording(const Kind& kind) {
    support::CtcHeader header;
    header.dataType = kind.dataType;
    header.sampleOrdering = kind.ordering;
    header.nrOfChannels = 2;
    header.nrOfSamples = 700;
    header.offsets = {0.0f, 0.0f};
    header.scales = {1.0f, 1.0f};
    support::Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    support::Random random(11);
    std::vector<double> values(1400);
    for (double& value : values) {
        value = random.below(40) - 20;
    }
    for (const std::int32_t trigger : triggers) {
        for (int j = 0; j < 20; ++j) {
            const auto first = static_cast<std::size_t>(kind.ordering == 1 ? trigger + j : 2 * (trigger + j));
            values[first] += 30 * (j % 3 - 1);
        }
    }
    for (const double value : values) {
        support::append_stored(bytes, kind.dataType, value);
    }
    return bytes.str();
}

std::string trial_lines() {
    std::string lines;
    for (const std::int32_t trigger : triggers) {
        lines += std::to_string(trigger * 1000) + " a condition with a %10d name\n";
    }
    return lines;
}

class RunWithoutMemory : public testing::TestWithParam<Kind> {};

// Whatever is refused: the input stays as it is, and a run that says it has completed has written what a run with all
// its memory writes.
TEST_P(RunWithoutMemory, CompletesWithTheSameBytesOrSaysWhyNot) {
    if (!refusals::heap_can_fail()) {
        GTEST_SKIP() << "memory cannot be refused here: another heap (valgrind's) stands in for ours";
    }
    const std::string input = recording(GetParam());
    refusals::Case one;
    one.name = "execute";
    one.run = [&input](refusals::Watch& watch) {
        const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory);
        folder.write("a recording with a long name.ctc", input);
        workbench = Workbench{};
        OridanArtifactRemovalPlugin plugin;
        const bool result = watch([&] { return plugin.execute(); });
        std::string told = (result ? "true " : "false ") + workbench.said;
        workbench = Workbench{};
        if (folder.read("a recording with a long name.ctc") != input) {
            told += ", and the input is another";
        }
        if (told.find("completed!") != std::string::npos) {
            const std::string output = folder.read("a recording with a long name_OBS.ctc");
            told += output == input ? " uncleaned" : " " + std::to_string(std::hash<std::string>()(output));
            // A trial file that cannot be opened swallows its lines.
            const std::string trials = "_a condition with a          0 name.trl";
            told += folder.has(trials) && folder.read(trials) != trial_lines() ? " and other trials" : "";
        }
        return told;
    };
    one.refused = {"false // OridanSuite> Not enough memory. Exiting plugin.",
                   "true // OridanSuite> Error reading CTC file. Exiting plugin."};
    one.fatal = {"allocation failure in vector()", "allocation failure in ivector()", "allocation failure in dvector()",
                 "allocation failure 1 in matrix()", "allocation failure 2 in matrix()"};
    const int runs = refusals::expect_refusals(one);
    RecordProperty("refusals", runs);
    EXPECT_GT(runs, 50);
}

INSTANTIATE_TEST_SUITE_P(Recordings, RunWithoutMemory,
                         testing::Values(Kind{1, 1}, Kind{3, 1}, Kind{4, 1}, Kind{5, 1}, Kind{3, 2}),
                         [](const auto& kind) {
                             return "Type" + std::to_string(kind.param.dataType) + "Ordering" +
                                    std::to_string(kind.param.ordering);
                         });

} // namespace
