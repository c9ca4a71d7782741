#include "workbench/exchange/channels_table.h"

#include <map>

#include "workbench/exchange/decimal_number.h"
#include "workbench/exchange/table_reader.h"
#include "workbench/exchange/text_encoding.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

namespace {

// A field of a table between tabs; BIDS has n/a for what is not known.
std::string field(const std::string& text) {
    std::string result = replaced(replaced(text, "\t", " "), "\n", " ");
    for (std::size_t at = 0; at < result.size(); ++at) {
        if (is_control(result, at)) {
            result[at] = ' ';
        }
    }
    return trimmed(result).empty() ? "n/a" : trimmed(result);
}

} // namespace

std::string channels_table_text(const ForeignRecording& recording, const ChannelChoice& choice) {
    std::map<std::size_t, std::size_t> numbers; // in the CTC recording, from 1
    for (std::size_t i = 0; i < choice.imported.size(); ++i) {
        numbers[choice.imported[i].index] = i + 1;
    }
    std::map<std::size_t, std::string> reasons;
    for (const SkippedChannel& channel : choice.skipped) {
        reasons[channel.index] = channel.reason;
    }
    std::string text = "name\ttype\tunits\tsampling_frequency\tstatus\tstatus_description\tctc_channel\n";
    for (std::size_t i = 0; i < recording.channels().size(); ++i) {
        const ForeignChannel& channel = recording.channels()[i];
        const bool imported = numbers.contains(i);
        text += field(channel.name) + "\t" + channel_type(channel) + "\t" + (imported ? "uV" : field(channel.unit)) +
                "\t" + shortest_text(channel.rate) + "\t" +
                (imported ? "n/a\tn/a\t" + std::to_string(numbers[i])
                          : "n/a\tnot imported: " + field(reasons[i]) + "\tn/a") +
                "\n";
    }
    return text;
}

std::vector<NamedChannel> read_channels_table(const std::filesystem::path& file, std::size_t channels) {
    TableReader table(file);
    const std::optional<std::size_t> name = table.column({"name"});
    const std::optional<std::size_t> type = table.column({"type"});
    const std::optional<std::size_t> number = table.column({"ctc_channel"});
    if (!name) {
        table.complain("a column \"name\"", "none");
    }
    std::vector<NamedChannel> named;
    while (const std::optional<std::vector<std::string>> row = table.next()) {
        if (number && (*row)[*number] == "n/a") {
            continue;
        }
        if (number && (*row)[*number] != std::to_string(named.size() + 1)) {
            table.complain("ctc_channel " + std::to_string(named.size() + 1), "\"" + printable((*row)[*number]) + "\"");
        }
        named.push_back({(*row)[*name], type ? (*row)[*type] : "EEG"});
    }
    if (named.size() != channels) {
        throw InputError(file.string() + ": names " + std::to_string(named.size()) +
                         " channels, and the recording has " + std::to_string(channels));
    }
    return named;
}

std::vector<NamedChannel> numbered_channels(std::size_t channels) {
    std::vector<NamedChannel> named;
    for (std::size_t i = 1; i <= channels; ++i) {
        named.push_back({"Ch" + std::to_string(i), "EEG"});
    }
    return named;
}

} // namespace workbench::exchange
