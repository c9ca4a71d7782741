#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// A workbench for tests: this program exports the functions that a module looks up, answers from a script and writes
/// down every call in order.
struct HostCondition {
    std::string name;
    std::vector<std::int32_t> intervals;
};

struct HostScript {
    int version[3] = {1, 8, 3};
    bool hasVolume = true;
    std::string dataFile;     // empty: none chosen
    std::string protocolFile; // empty: none chosen
    bool protocolApplies = true;
    std::string experiment = "Test";
    std::int32_t timeResolution = 1;
    std::vector<HostCondition> conditions;
    std::vector<int> answers;                      // to the number dialogs, in order; -1 when they run out
    std::function<void(const std::string&)> onLog; // called with each log line
    // Called with each entry of HostRun::calls as it is made, and with "condition INDEX", which is no entry.
    std::function<void(const std::string&)> onCall;
};

/// What happened, one entry per call: "log TEXT", "box TEXT", "ask PROMPT [default lo..hi] -> answer",
/// "open TITLE|SECOND|FILTER -> path", "load PATH", "clear", "busy", "ready", "update", "tab".
struct HostRun {
    bool result;
    std::vector<std::string> calls;

    std::vector<std::string> starting_with(const std::string& prefix) const;
};

/// Loads the module as the workbench does and executes it once under the script, in the current directory.
HostRun execute_module(const HostScript& script);

/// The module's handle, loaded once with RTLD_NOW | RTLD_LOCAL.
void* module_handle();
