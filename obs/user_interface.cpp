#include "obs/user_interface.h"

#include <type_traits>

#include "plugin/host_binding.h"

namespace {

template <class Function, class... Arguments>
auto call(Function function, Arguments... arguments) {
    using Result = decltype(function(arguments...));
    if constexpr (std::is_void_v<Result>) {
        if (function != nullptr) {
            function(arguments...);
        }
    } else {
        return function != nullptr ? function(arguments...) : Result{};
    }
}

} // namespace

namespace obs {

void log_line(const char* text) {
    call(host::nvLogText, text);
}
void message_box(const char* text) {
    call(host::nvMessageBox, text);
}
void show_log_tab() {
    call(host::nvShowLogTab);
}
void show_busy_cursor() {
    call(host::nvShowBusyCursor);
}
void stop_busy_cursor() {
    call(host::nvStopBusyCursor);
}
void update_window() {
    call(host::nvUpdateActiveWindow);
}

bool has_volume_document() {
    int unused[3] = {0, 0, 0};
    return call(host::nvGetCurrentVMR, &unused[0], &unused[1], &unused[2]) != nullptr;
}

std::optional<std::string> ask_open_file(const char* title, const char* filter) {
    char path[256] = {};
    if (call(host::nvGetOpenFileName, title, "", filter, path) == 0) {
        return std::nullopt;
    }
    path[sizeof path - 1] = '\0';
    return std::string(path);
}

int ask_integer(const char* prompt, int defaultValue, int minValue, int maxValue) {
    return call(host::nvGetIntegerInput, prompt, defaultValue, minValue, maxValue);
}

void load_protocol(const std::string& path) {
    call(host::nvClearProtocol);
    call(host::nvLoadProtocol, path.c_str());
}

bool get_protocol(ProtocolStruct* protocol) {
    *protocol = ProtocolStruct{};
    return call(host::nvGetProtocol, protocol) != 0;
}

void get_protocol_condition(int index, ProtocolConditionStruct* condition) {
    *condition = ProtocolConditionStruct{};
    call(host::nvGetProtocolCondition, index, condition);
    if (condition->nrOfIntervals < 0) {
        condition->nrOfIntervals = 0;
    }
}

} // namespace obs
