#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/exchange/foreign_recording.h"

namespace workbench::exchange {

struct ImportedChannel {
    std::size_t index = 0;   ///< in the foreign recording
    double microvolts = 1.0; ///< per unit of the file
};

struct SkippedChannel {
    std::size_t index = 0;
    std::string reason; ///< "unit degC is no voltage"
};

/// Which channels of a recording become a CTC recording: voltages of one rate.
struct ChannelChoice {
    std::vector<ImportedChannel> imported;
    std::vector<SkippedChannel> skipped;
    double rate = 0.0;
    std::uint64_t samples = 0;
};

/// Microvolts in a unit of voltage, however it is commonly written; nothing for anything else.
std::optional<double> microvolts_in(const std::string& unit);

/// @param unstatedUnit  unit of channels that state none; empty where those are skipped
/// @param skip          names of channels to leave out
/// Throws InputError when nothing is left, or a name to skip is not there.
ChannelChoice choose_channels(const ForeignRecording& recording, const std::string& unstatedUnit,
                              const std::vector<std::string>& skip);

/// A channel by its name; where no name fits exactly, letters in upper and lower case are the same.
/// Throws InputError that lists the channels.
std::size_t find_channel(const ForeignRecording& recording, const std::string& name);

/// The kind of a channel as its name tells it: EEG, EOG, ECG, EMG, TRIG or MISC (BIDS). A voltage is EEG otherwise.
std::string channel_type(const ForeignChannel& channel);

} // namespace workbench::exchange
