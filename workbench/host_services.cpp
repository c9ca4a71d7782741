#include "workbench/host_services.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "plugin/host_records.h"
#include "workbench/input_error.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

workbench::HostState* state = nullptr;
int volumeDocument = 0; // its address is all that a module ever sees of it

void copy_text(char* field, std::size_t size, const std::string& text) {
    const std::size_t length = std::min(text.size(), size - 1);
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

} // namespace

namespace workbench {

void set_host_state(HostState* newState) {
    state = newState;
}

} // namespace workbench

// The interface that this program offers is that of version 1.8.3.
EXPORTED void nvGetVersionOfNivora(int* major, int* minor, int* patch) {
    *major = 1;
    *minor = 8;
    *patch = 3;
}

EXPORTED void nvShowLogTab() {}

EXPORTED void nvLogText(const char* text) {
    state->log.log(text);
}

EXPORTED void nvMessageBox(const char* text) {
    state->log.message_box(text);
}

EXPORTED void nvShowBusyCursor() {
    state->log.busy(true);
}

EXPORTED void nvStopBusyCursor() {
    state->log.busy(false);
}

// The first chance to end a run whose user cancelled, where the module itself would go on with the answer -1.
EXPORTED void nvUpdateActiveWindow() {
    if (state->dialogCancelled) {
        state->log.close_live_line();
        std::fflush(nullptr);
        _exit(workbench::exitCancelled);
    }
}

EXPORTED void* nvGetCurrentVMR(int* dimX, int* dimY, int* dimZ) {
    *dimX = *dimY = *dimZ = 256;
    return &volumeDocument;
}

EXPORTED int nvGetOpenFileName(const char* title, const char*, const char* filter, char* path) {
    const auto answer = workbench::answer_file(state->answers, filter);
    state->log.detail(std::string(title) + " " + answer.value_or("(none)"));
    if (!answer) {
        return 0;
    }
    copy_text(path, 256, *answer);
    return 1;
}

EXPORTED int nvGetIntegerInput(const char* prompt, int defaultValue, int minValue, int maxValue) {
    state->log.close_live_line();
    const int answer = state->dialogCancelled
                           ? workbench::cancelled
                           : workbench::answer_integer(state->answers, prompt, defaultValue, minValue, maxValue);
    state->dialogCancelled = answer == workbench::cancelled;
    state->log.detail(std::string(prompt) + " " + std::to_string(answer));
    return answer;
}

EXPORTED void nvClearProtocol() {
    state->protocol.reset();
}

EXPORTED void nvLoadProtocol(const char* path) {
    try {
        state->protocol = path == state->answers.protocolFile ? state->checkedProtocol : workbench::read_protocol(path);
    } catch (const workbench::InputError& error) {
        state->log.message_box(std::string("workbench: ") + error.what());
    }
}

EXPORTED int nvGetProtocol(ProtocolStruct* record) {
    if (!state->protocol) {
        return 0;
    }
    record->nrOfConditions = static_cast<std::int32_t>(state->protocol->conditions.size());
    copy_text(record->experimentName, sizeof record->experimentName, state->protocol->experiment);
    record->timeResolution =
        state->protocol->resolution == workbench::TimeResolution::samples ? timeResolutionSamples : 0;
    return 1;
}

EXPORTED void nvGetProtocolCondition(int index, ProtocolConditionStruct* record) {
    if (!state->protocol || index < 0 || static_cast<std::size_t>(index) >= state->protocol->conditions.size()) {
        return;
    }
    const workbench::ProtocolCondition& condition = state->protocol->conditions[static_cast<std::size_t>(index)];
    copy_text(record->name, sizeof record->name, condition.name);
    record->nrOfIntervals = static_cast<std::int32_t>(condition.intervals.size());
    record->intervals = condition.intervals.data();
}
