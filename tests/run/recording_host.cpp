#include "tests/run/recording_host.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <dlfcn.h>

#include "plugin/host_records.h"
#include "plugin/nivora_plugin_interface.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

HostScript script;
std::vector<std::string> calls;
std::size_t nextAnswer = 0;
int volumeDocument = 0;

void tell(const std::string& call) {
    if (script.onCall) {
        script.onCall(call);
    }
}

void note(const std::string& call) {
    calls.push_back(call);
    tell(call);
}

} // namespace

std::vector<std::string> HostRun::starting_with(const std::string& prefix) const {
    std::vector<std::string> found;
    for (const std::string& call : calls) {
        if (call.rfind(prefix, 0) == 0) {
            found.push_back(call);
        }
    }
    return found;
}

void* module_handle() {
    static void* handle = dlopen(ORIDAN_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::abort();
    }
    return handle;
}

HostRun execute_module(const HostScript& newScript) {
    script = newScript;
    calls.clear();
    nextAnswer = 0;
    const auto createPlugin = reinterpret_cast<NivoraPluginInterface* (*)()>(dlsym(module_handle(), "createPlugin"));
    const std::unique_ptr<NivoraPluginInterface> plugin(createPlugin());
    const bool initialised = plugin->initPlugin();
    HostRun run{initialised && plugin->execute(), {}};
    run.calls = calls;
    return run;
}

#ifndef HOST_WITHOUT_VERSION
EXPORTED void nvGetVersionOfNivora(int* major, int* minor, int* patch) {
    *major = script.version[0];
    *minor = script.version[1];
    *patch = script.version[2];
}
#endif

#ifndef HOST_WITHOUT_DIALOGS
EXPORTED int nvGetIntegerInput(const char* prompt, int defaultValue, int minValue, int maxValue) {
    const int answer = nextAnswer < script.answers.size() ? script.answers[nextAnswer++] : -1;
    note("ask " + std::string(prompt) + " [" + std::to_string(defaultValue) + " " + std::to_string(minValue) + ".." +
         std::to_string(maxValue) + "] -> " + std::to_string(answer));
    return answer;
}
#endif

EXPORTED void nvShowLogTab() {
    note("tab");
}

EXPORTED void nvLogText(const char* text) {
    note("log " + std::string(text));
    if (script.onLog) {
        script.onLog(text);
    }
}

EXPORTED void nvMessageBox(const char* text) {
    note("box " + std::string(text));
}

EXPORTED void nvShowBusyCursor() {
    note("busy");
}

EXPORTED void nvStopBusyCursor() {
    note("ready");
}

EXPORTED void nvUpdateActiveWindow() {
    note("update");
}

EXPORTED void* nvGetCurrentVMR(int*, int*, int*) {
    return script.hasVolume ? &volumeDocument : nullptr;
}

EXPORTED int nvGetOpenFileName(const char* title, const char* second, const char* filter, char* path) {
    const bool first = path[0] == '\0'; // the module clears the buffer's first byte
    const std::string& answer = std::strcmp(filter, "*.ctc") == 0 ? script.dataFile : script.protocolFile;
    note("open " + std::string(title) + "|" + second + "|" + filter + (first ? "" : " (buffer not cleared)") + " -> " +
         answer);
    if (answer.empty()) {
        return 0;
    }
    std::memset(path, 0x5A, 256); // no NUL behind a path of 256 bytes: the module must end it itself
    std::memcpy(path, answer.data(), answer.size() < 256 ? answer.size() + 1 : 256);
    return 1;
}

EXPORTED void nvClearProtocol() {
    note("clear");
}

EXPORTED void nvLoadProtocol(const char* path) {
    note("load " + std::string(path));
}

EXPORTED int nvGetProtocol(ProtocolStruct* record) {
    if (!script.protocolApplies) {
        return 0;
    }
    std::memset(record, 0x5A, sizeof *record); // the workbench may write all of it
    record->nrOfConditions = static_cast<std::int32_t>(script.conditions.size());
    std::snprintf(record->experimentName, sizeof record->experimentName, "%s", script.experiment.c_str());
    record->timeResolution = script.timeResolution;
    return 1;
}

EXPORTED void nvGetProtocolCondition(int index, ProtocolConditionStruct* record) {
    tell("condition " + std::to_string(index));
    std::memset(record, 0x5A, sizeof *record);
    const HostCondition& condition = script.conditions[static_cast<std::size_t>(index)];
    std::memset(record->name, 0, sizeof record->name);
    std::memcpy(record->name, condition.name.data(), std::min<std::size_t>(condition.name.size(), sizeof record->name));
    record->nrOfIntervals = static_cast<std::int32_t>(condition.intervals.size());
    record->intervals = condition.intervals.data();
}

// The definition of the product, every sum in double and ascending.
EXPORTED void nv_intel_matrix_matrix_mult_d(const double* a, const double* b, double* c, int m, int n, int k,
                                            int transA, int transB) {
    if (transA != 0 || transB != 1) {
        std::abort(); // the module uses no other form
    }
    for (long i = 0; i < m; ++i) {
        for (long j = 0; j < n; ++j) {
            double sum = 0.0;
            for (long l = 0; l < k; ++l) {
                sum += a[i * k + l] * b[j * k + l];
            }
            c[i * n + j] = sum;
        }
    }
}

EXPORTED void nv_intel_matrix_matrix_mult_f() {
    std::abort();
}
EXPORTED void nv_intel_matrix_vector_mult_f() {
    std::abort();
}
#ifndef HOST_WITHOUT_VECTOR_PRODUCT
EXPORTED void nv_intel_matrix_vector_mult_d() {
    std::abort();
}
#endif
