// A workbench that runs the module once and prints what the run took, as one line of JSON:
//   run_obs MODULE RECORDING.ctc PROTOCOL.prt PRE_MS POST_MS SEGMENT COMPONENTS fixed|blas
// The triggers are those of the protocol's first condition. The results are where the module writes them: the cleaned
// copy beside the recording, the trial file in the current folder. A module built with probes (step_report.cpp) adds
// the seconds of each step.

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <cblas.h>
#include <dlfcn.h>

#include "bench/step_report.h"
#include "plugin/host_records.h"
#include "plugin/nivora_plugin_interface.h"
#include "workbench/fixed_order_product.h"
#include "workbench/protocol_file.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

using Clock = std::chrono::steady_clock;

struct Host {
    std::string recording;
    std::string protocolPath;
    workbench::Protocol protocol;
    std::array<int, 5> answers{}; // to the number dialogs, in order
    std::size_t nextAnswer = 0;
    bool useBlas = false;
    bool completed = false;
    long products = 0;
    long lines = 0;
    double productSeconds = 0.0;
    int volumeDocument = 0;
};

Host host;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The number behind a name in one of the system's "name: number" files; -1 where there is none.
long long system_count(const char* file, const std::string& name) {
    std::ifstream in(file);
    std::string word;
    while (in >> word) {
        long long count = -1;
        if (word == name && in >> count) {
            return count;
        }
    }
    return -1;
}

template <class Function>
Function find(void* library, const char* name) {
    return reinterpret_cast<Function>(dlsym(library, name));
}

void print_steps(void* library) {
    const auto steps = find<const obs::StepTime* (*)(std::size_t*)>(library, ORIDAN_STEP_REPORT);
    if (steps == nullptr) {
        return;
    }
    std::size_t count = 0;
    const obs::StepTime* times = steps(&count);
    std::map<std::string, double> seconds; // a step may have probes in several places
    for (std::size_t i = 0; i < count; ++i) {
        seconds[times[i].name] += times[i].seconds;
    }
    const char* separator = "";
    std::printf(", \"steps\": {");
    for (const auto& [name, time] : seconds) {
        std::printf("%s\"%s\": %.6f", separator, name.c_str(), time);
        separator = ", ";
    }
    std::printf("}");
}

void run(char** arguments) {
    host.recording = arguments[2];
    host.protocolPath = arguments[3];
    host.protocol = workbench::read_protocol(host.protocolPath);
    host.answers = {1, std::stoi(arguments[4]), std::stoi(arguments[5]), std::stoi(arguments[6]),
                    std::stoi(arguments[7])};
    host.useBlas = std::strcmp(arguments[8], "blas") == 0;
    openblas_set_num_threads(1);

    void* library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    const std::unique_ptr<NivoraPluginInterface> plugin(find<NivoraPluginInterface* (*)()>(library, "createPlugin")());
    if (!plugin->initPlugin()) {
        throw std::runtime_error("the module cannot be used");
    }
    const long long read = system_count("/proc/self/io", "rchar:");
    const long long written = system_count("/proc/self/io", "wchar:");
    const Clock::time_point start = Clock::now();
    plugin->execute();
    const double seconds = seconds_since(start);
    if (!host.completed) {
        throw std::runtime_error("the run did not complete");
    }
    std::printf("{\"seconds\": %.6f, \"product_seconds\": %.6f, \"products\": %ld, \"log_lines\": %ld, "
                "\"peak_kib\": %lld, \"read_bytes\": %lld, \"written_bytes\": %lld",
                seconds, host.productSeconds, host.products, host.lines, system_count("/proc/self/status", "VmHWM:"),
                system_count("/proc/self/io", "rchar:") - read, system_count("/proc/self/io", "wchar:") - written);
    print_steps(library);
    std::printf("}\n");
}

} // namespace

EXPORTED void nvGetVersionOfNivora(int* major, int* minor, int* patch) {
    *major = 1;
    *minor = 8;
    *patch = 3;
}

EXPORTED int nvGetIntegerInput(const char*, int, int, int) {
    return host.nextAnswer < host.answers.size() ? host.answers[host.nextAnswer++] : -1;
}

EXPORTED void nvShowLogTab() {}

// The lines of the log go nowhere: showing them is the workbench's time, not the run's.
EXPORTED void nvLogText(const char* text) {
    ++host.lines;
    host.completed = host.completed || std::strstr(text, "removal completed") != nullptr;
}

EXPORTED void nvMessageBox(const char* text) {
    std::fprintf(stderr, "%s\n", text);
}

EXPORTED void nvShowBusyCursor() {}

EXPORTED void nvStopBusyCursor() {}

EXPORTED void nvUpdateActiveWindow() {}

EXPORTED void* nvGetCurrentVMR(int*, int*, int*) {
    return &host.volumeDocument;
}

EXPORTED int nvGetOpenFileName(const char*, const char*, const char* filter, char* path) {
    const std::string& answer = std::strcmp(filter, "*.ctc") == 0 ? host.recording : host.protocolPath;
    std::snprintf(path, 256, "%s", answer.c_str());
    return 1;
}

EXPORTED void nvClearProtocol() {}

EXPORTED void nvLoadProtocol(const char*) {}

EXPORTED int nvGetProtocol(ProtocolStruct* record) {
    record->nrOfConditions = 1;
    record->timeResolution = timeResolutionSamples;
    return 1;
}

EXPORTED void nvGetProtocolCondition(int, ProtocolConditionStruct* record) {
    const workbench::ProtocolCondition& condition = host.protocol.conditions.front();
    std::snprintf(record->name, sizeof record->name, "%s", condition.name.c_str());
    record->nrOfIntervals = static_cast<std::int32_t>(condition.intervals.size());
    record->intervals = condition.intervals.data();
}

EXPORTED void nv_intel_matrix_matrix_mult_d(const double* a, const double* b, double* c, int m, int n, int k,
                                            int transA, int transB) {
    const Clock::time_point start = Clock::now();
    if (host.useBlas) {
        cblas_dgemm(CblasRowMajor, transA != 0 ? CblasTrans : CblasNoTrans, transB != 0 ? CblasTrans : CblasNoTrans, m,
                    n, k, 1.0, a, transA != 0 ? m : k, b, transB != 0 ? k : n, 0.0, c, n);
    } else {
        workbench::fixed_order_product(a, b, c, m, n, k, transA != 0, transB != 0);
    }
    host.productSeconds += seconds_since(start);
    ++host.products;
}

// Looked up by the module, never called in a run.
EXPORTED void nv_intel_matrix_matrix_mult_f() {
    std::abort();
}
EXPORTED void nv_intel_matrix_vector_mult_f() {
    std::abort();
}
EXPORTED void nv_intel_matrix_vector_mult_d() {
    std::abort();
}

int main(int count, char** arguments) {
    if (count != 9) {
        std::cerr << "run_obs MODULE RECORDING.ctc PROTOCOL.prt PRE_MS POST_MS SEGMENT COMPONENTS fixed|blas\n";
        return 2;
    }
    try {
        run(arguments);
    } catch (const std::exception& error) {
        std::cerr << "run_obs: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
