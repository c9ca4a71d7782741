#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"
#include "workbench/exchange/open_recording.h"

namespace test {

using workbench::exchange::ForeignEvent;
using workbench::exchange::ForeignRecording;
using workbench::exchange::OpenOptions;

/// A recording that a test opens, with what it needs.
struct Opened {
    explicit Opened(const std::string& path, const OpenOptions& options = {})
        : recording(workbench::exchange::open_recording(path, options, interrupt)) {}

    ForeignRecording* operator->() const { return recording.get(); }

    std::vector<double> read(std::size_t channel, std::uint64_t first, std::uint32_t count) const {
        std::vector<double> values(count);
        recording->read({channel}, first, count, values.data());
        return values;
    }

    workbench::InterruptHold interrupt;
    std::unique_ptr<ForeignRecording> recording;
};

/// Why a recording cannot be opened.
inline std::string open_refusal(const std::string& path, const OpenOptions& options = {}) {
    return refusal([&] { Opened opened(path, options); });
}

/// "0.5 Stim A|1 B": times and types.
inline std::string events_text(const std::vector<ForeignEvent>& events) {
    std::string text;
    for (const ForeignEvent& event : events) {
        char time[40];
        std::snprintf(time, sizeof time, "%g", event.seconds);
        text += (text.empty() ? "" : "|") + std::string(time) + " " + event.type;
    }
    return text;
}

} // namespace test
