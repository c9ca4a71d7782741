#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "workbench/exchange/channel_choice.h"

/// R_channels.tsv: what the channels of a recording are (the columns of BIDS, and the number in the CTC recording).
namespace workbench::exchange {

/// The table's text: a row for every channel of the foreign recording, skipped ones with the reason.
std::string channels_table_text(const ForeignRecording& recording, const ChannelChoice& choice);

struct NamedChannel {
    std::string name;
    std::string type; ///< "EEG" where the table does not say
};

/// Names of the channels of a recording from such a table, or from any table of BIDS (*_channels.tsv). Rows that the
/// column ctc_channel says are no channel of the recording are passed over.
/// Throws InputError when they are not as many as the recording's channels.
std::vector<NamedChannel> read_channels_table(const std::filesystem::path& file, std::size_t channels);

/// "Ch1", "Ch2", ... for a recording without a table.
std::vector<NamedChannel> numbered_channels(std::size_t channels);

} // namespace workbench::exchange
