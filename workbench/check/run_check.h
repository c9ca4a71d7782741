#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "workbench/check/component_spectrum.h"
#include "workbench/check/run_suggestion.h"
#include "workbench/check/trigger_findings.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/run_settings.h"

/// What a removal run would do with a recording, without running it. Nothing is written.
namespace workbench {

struct CheckRequest {
    std::filesystem::path recording;
    std::filesystem::path protocol;
    std::filesystem::path output; ///< of the run; empty for its default, or the next free name
    int condition = 0;            ///< counted from 0
    RunSettings settings;         ///< what is missing is suggested
};

/// A setting of the run.
struct CheckedSetting {
    int value = 0; ///< that the check took: what was given, or the suggestion
    bool given = false;
    int suggestion = 0;
};

struct RunCheck {
    // The recording.
    std::string recording;
    std::uint32_t channels = 0;
    std::uint32_t samples = 0;
    float rate = 0.0f; ///< Hz
    std::uint32_t dataType = 0;
    std::uint32_t ordering = 0;
    std::uint64_t bytes = 0;

    // The run.
    std::string condition;
    CheckedSetting pre; ///< ms
    CheckedSetting post;
    CheckedSetting segment;
    CheckedSetting components;
    WindowReason windowReason = WindowReason::tiles;
    Window window{};
    TriggerFindings triggers;
    std::size_t segments = 0;
    std::size_t borrowed = 0; ///< artifacts that the last segment takes from the one before it
    ComponentSpectrum spectrum;
    int outstanding = 0; ///< components; 0 where none stands out

    // What it needs.
    std::uint64_t memoryBytes = 0;
    std::optional<std::uint64_t> memoryAvailable;
    std::uint64_t diskBytes = 0;
    std::optional<std::uint64_t> diskAvailable;
    double seconds = 0.0;

    bool needsConversion = false;      ///< the module spoils recordings of this data type
    std::vector<std::string> refusals; ///< why a run would not begin; empty when it would
    std::vector<std::string> problems; ///< what speaks against its result
    std::vector<std::string> commands; ///< for a shell, in their order; the module is "$MODULE"
};

/// Throws InputError, with the run's own words, for settings that have no run to look at.
/// @param progress  called now and then with the share of the work that is done, 0 to 1
RunCheck check_run(RecordingReader& recording, const Protocol& protocol, const CheckRequest& request,
                   const std::function<void(double)>& progress = {});

} // namespace workbench
