#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "workbench/recording.h"

namespace tools {

/// The part of a recording that is wanted, as the options --from, --to and --channels say it.
struct SelectionOptions {
    std::optional<double> from;          ///< s
    std::optional<double> to;            ///< s
    std::optional<std::string> channels; ///< "1,3,5-8"; all where it is not given
};

/// Adds the three options to a command.
template <class Command>
void add_selection_options(Command& command, SelectionOptions& options) {
    command.add_option("--from", options.from, "start in seconds (default: the start of the recording)");
    command.add_option("--to", options.to, "end in seconds, itself not included (default: the end of the recording)");
    command.add_option("--channels", options.channels, "channels in the order wanted, e.g. 1,3,5-8 (default: all)");
}

/// Channels of a list of numbers and ranges from 1, counted from 0, in the order of the list (all without one). Throws
/// InputError for a list that is none, a channel that does not exist, and one that is named twice.
std::vector<std::uint32_t> selected_channels(const workbench::RecordingReader& recording,
                                             const std::optional<std::string>& list);

/// Samples first .. end - 1 of a continuous recording.
struct SampleRange {
    std::uint64_t first;
    std::uint64_t end;
};

/// The samples nearest to the times. Throws InputError for times outside the recording, an empty range, and where the
/// recording has no time axis (a table of conditions, no usable sampling frequency).
SampleRange selected_samples(const workbench::RecordingReader& recording, const SelectionOptions& options);

} // namespace tools
