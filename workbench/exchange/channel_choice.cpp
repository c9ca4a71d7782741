#include "workbench/exchange/channel_choice.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <tuple>
#include <utility>

#include "workbench/exchange/text_encoding.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

namespace {

constexpr std::size_t listedNames = 12;

std::string list_of_names(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size() && i < listedNames; ++i) {
        text += (i == 0 ? "" : ", ") + names[i];
    }
    return names.size() > listedNames ? text + " and " + std::to_string(names.size() - listedNames) + " more" : text;
}

std::string number_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

std::string shown_name(const ForeignRecording& recording, std::size_t index) {
    return printable(recording.channels()[index].name);
}

// The rate and length that most of these channels have; the faster where two have as many.
std::pair<double, std::uint64_t> prevailing_grid(const ForeignRecording& recording,
                                                 const std::vector<ImportedChannel>& channels) {
    std::map<std::pair<double, std::uint64_t>, std::size_t> counts;
    for (const ImportedChannel& channel : channels) {
        const ForeignChannel& foreign = recording.channels()[channel.index];
        ++counts[{foreign.rate, foreign.samples}];
    }
    const auto most = std::max_element(counts.begin(), counts.end(),
                                       [](const auto& a, const auto& b) { return a.second <= b.second; });
    return most->first;
}

} // namespace

std::optional<double> microvolts_in(const std::string& unit) {
    static const std::map<std::string, double> known = {
        {"uv", 1.0},    {"\u00B5v", 1.0},   {"\u03BCv", 1.0},    {"microvolt", 1.0}, {"microvolts", 1.0},
        {"mv", 1e3},    {"millivolt", 1e3}, {"millivolts", 1e3}, {"v", 1e6},         {"volt", 1e6},
        {"volts", 1e6}, {"nv", 1e-3},       {"nanovolt", 1e-3},  {"nanovolts", 1e-3}};
    if (unit == "MV") { // a million volts, if anything
        return std::nullopt;
    }
    const auto found = known.find(lower_case(unit));
    return found == known.end() ? std::nullopt : std::optional<double>(found->second);
}

std::size_t find_channel(const ForeignRecording& recording, const std::string& name) {
    const std::vector<ForeignChannel>& channels = recording.channels();
    for (std::size_t i = 0; i < channels.size(); ++i) {
        if (channels[i].name == name) {
            return i;
        }
    }
    for (std::size_t i = 0; i < channels.size(); ++i) {
        if (lower_case(channels[i].name) == lower_case(name)) {
            return i;
        }
    }
    std::vector<std::string> names;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        names.push_back(shown_name(recording, i));
    }
    throw InputError(recording.path().string() + ": has no channel \"" + printable(name) + "\"; it has " +
                     list_of_names(names));
}

ChannelChoice choose_channels(const ForeignRecording& recording, const std::string& unstatedUnit,
                              const std::vector<std::string>& skip) {
    std::map<std::size_t, std::string> reasons; // why a channel is skipped
    for (const std::string& name : skip) {
        reasons[find_channel(recording, name)] = "left out as asked for";
    }
    std::vector<ImportedChannel> voltages;
    const std::vector<ForeignChannel>& channels = recording.channels();
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const std::string& unit = channels[i].unit.empty() ? unstatedUnit : channels[i].unit;
        const std::optional<double> microvolts = microvolts_in(unit);
        if (reasons.contains(i)) {
            continue;
        }
        if (!channels[i].unusable.empty()) {
            reasons[i] = channels[i].unusable;
        } else if (unit.empty()) {
            reasons[i] = "states no unit (--unit says which it is)";
        } else if (!microvolts) {
            reasons[i] = "unit " + printable(unit) + " is no voltage";
        } else {
            voltages.push_back({i, *microvolts});
        }
    }

    ChannelChoice choice;
    if (!voltages.empty()) {
        std::tie(choice.rate, choice.samples) = prevailing_grid(recording, voltages);
    }
    for (const ImportedChannel& channel : voltages) {
        const ForeignChannel& foreign = channels[channel.index];
        if (foreign.rate == choice.rate && foreign.samples == choice.samples) {
            choice.imported.push_back(channel);
        } else {
            const bool otherRate = foreign.rate != choice.rate;
            reasons[channel.index] =
                (otherRate ? number_text(foreign.rate) + " Hz, not the " + number_text(choice.rate) + " Hz"
                           : std::to_string(foreign.samples) + " samples, not the " + std::to_string(choice.samples)) +
                " of most channels";
        }
    }
    for (const auto& [index, reason] : reasons) {
        choice.skipped.push_back({index, reason});
    }
    if (choice.imported.empty()) {
        std::vector<std::string> why;
        for (const SkippedChannel& channel : choice.skipped) {
            why.push_back(shown_name(recording, channel.index) + ": " + channel.reason);
        }
        throw InputError(recording.path().string() + ": no channel can be imported (" + list_of_names(why) + ")");
    }
    return choice;
}

std::string channel_type(const ForeignChannel& channel) {
    const std::string name = lower_case(channel.name);
    const auto has = [&](const char* part) { return name.find(part) != std::string::npos; };
    if (has("ecg") || has("ekg")) {
        return "ECG";
    }
    if (has("eog")) {
        return "EOG";
    }
    if (has("emg")) {
        return "EMG";
    }
    if (name == "status" || has("trig") || name.starts_with("sti ") || name.starts_with("sti0")) {
        return "TRIG";
    }
    return channel.unit.empty() || microvolts_in(channel.unit) ? "EEG" : "MISC";
}

} // namespace workbench::exchange
