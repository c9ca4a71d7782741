#include "workbench/comparison_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "workbench/channel_list.h"

namespace workbench {

namespace {

struct Column {
    const char* key;        // in CSV and JSON
    const char* heading[3]; // in the table: quantity, recording, unit
    const char* format;     // in the table
    int digits;
    double ChannelComparison::*value;
    bool needsTruth;
};

const Column columns[] = {
    {"rms_before", {"RMS", "before", "uV"}, "%.*f", 2, &ChannelComparison::rmsBefore, false},
    {"rms_after", {"RMS", "after", "uV"}, "%.*f", 2, &ChannelComparison::rmsAfter, false},
    {"locked_power_before", {"locked", "before", "uV^2"}, "%.*g", 5, &ChannelComparison::lockedPowerBefore, false},
    {"locked_power_after", {"locked", "after", "uV^2"}, "%.*g", 5, &ChannelComparison::lockedPowerAfter, false},
    {"locked_db_removed", {"locked", "removed", "dB"}, "%.*f", 2, &ChannelComparison::lockedDbRemoved, false},
    {"artifact_rms_before", {"artifact", "before", "uV"}, "%.*f", 2, &ChannelComparison::artifactRmsBefore, true},
    {"artifact_rms_after", {"artifact", "after", "uV"}, "%.*f", 2, &ChannelComparison::artifactRmsAfter, true},
    {"artifact_db_removed", {"artifact", "removed", "dB"}, "%.*f", 2, &ChannelComparison::artifactDbRemoved, true},
    {"correlation_before", {"corr.", "before", ""}, "%.*f", 3, &ChannelComparison::correlationBefore, true},
    {"correlation_after", {"corr.", "after", ""}, "%.*f", 3, &ChannelComparison::correlationAfter, true},
};

std::vector<Column> columns_of(const Comparison& comparison) {
    std::vector<Column> shown;
    for (const Column& column : columns) {
        if (!column.needsTruth || comparison.hasTruth) {
            shown.push_back(column);
        }
    }
    return shown;
}

std::string number(const char* format, int digits, double value) {
    if (std::isnan(value)) {
        return "nan"; // without the sign that printf may show
    }
    if (std::isinf(value)) {
        return value > 0.0 ? "inf" : "-inf";
    }
    char text[400]; // the largest double has 309 digits before its point
    std::snprintf(text, sizeof text, format, digits, value);
    return text;
}

std::string right(const std::string& text, std::size_t width) {
    return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

std::string table_row(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line += (i == 0 ? "" : "  ") + right(cells[i], widths[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

// "not finite in the windows of AFTER: channels 2, 5 (317 samples)", for each recording that has any.
std::string not_finite_lines(const Comparison& comparison) {
    const std::pair<const char*, std::uint64_t ChannelComparison::*> recordings[] = {
        {"before", &ChannelComparison::notFiniteBefore},
        {"after", &ChannelComparison::notFiniteAfter},
        {"truth", &ChannelComparison::notFiniteTruth}};
    std::string lines;
    for (const auto& [name, count] : recordings) {
        std::vector<std::uint32_t> channels;
        for (std::uint32_t channel = 0; channel < comparison.channels.size(); ++channel) {
            if (comparison.channels[channel].*count > 0) {
                channels.push_back(channel);
            }
        }
        if (!channels.empty()) {
            lines += std::string("Not finite numbers in \"") + name + "\": " + std::to_string(comparison.all.*count) +
                     " samples in the windows of channel " + channel_list(channels) + "\n";
        }
    }
    return lines;
}

nlohmann::ordered_json json_value(double value) {
    if (std::isfinite(value)) {
        return value;
    }
    return number("%.*g", 9, value);
}

nlohmann::ordered_json json_channel(const std::vector<Column>& shown, const ChannelComparison& channel, bool hasTruth) {
    nlohmann::ordered_json object;
    for (const Column& column : shown) {
        object[column.key] = json_value(channel.*(column.value));
    }
    object["not_finite_before"] = channel.notFiniteBefore;
    object["not_finite_after"] = channel.notFiniteAfter;
    if (hasTruth) {
        object["not_finite_truth"] = channel.notFiniteTruth;
    }
    return object;
}

} // namespace

std::string comparison_table(const Comparison& comparison, const std::string& condition) {
    const std::vector<Column> shown = columns_of(comparison);
    std::vector<std::vector<std::string>> rows{{""}, {"channel"}, {""}};
    for (const Column& column : shown) {
        for (std::size_t line = 0; line < 3; ++line) {
            rows[line].push_back(column.heading[line]);
        }
    }
    const auto add = [&](const std::string& name, const ChannelComparison& channel) {
        std::vector<std::string> row{name};
        for (const Column& column : shown) {
            row.push_back(number(column.format, column.digits, channel.*(column.value)));
        }
        rows.push_back(row);
    };
    for (std::size_t channel = 0; channel < comparison.channels.size(); ++channel) {
        add(std::to_string(channel + 1), comparison.channels[channel]);
    }
    add("all", comparison.all);

    std::vector<std::size_t> widths(rows[0].size(), 0);
    for (const std::vector<std::string>& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text = "Condition \"" + condition + "\": " + std::to_string(comparison.windows) + " windows of " +
                       std::to_string(comparison.window.length()) + " samples (" +
                       std::to_string(comparison.window.preS) + " before the trigger, " +
                       std::to_string(comparison.window.postS) + " after)";
    if (comparison.windowsOutside > 0) {
        text += ", " + std::to_string(comparison.windowsOutside) + " more reach outside the recording";
    }
    text += "\n\n";
    for (const std::vector<std::string>& row : rows) {
        text += table_row(row, widths);
    }
    const std::string notFinite = not_finite_lines(comparison);
    return notFinite.empty() ? text : text + "\n" + notFinite;
}

std::string comparison_csv(const Comparison& comparison) {
    const std::vector<Column> shown = columns_of(comparison);
    std::string text = "channel";
    for (const Column& column : shown) {
        text += std::string(",") + column.key;
    }
    text += ",not_finite_before,not_finite_after";
    text += comparison.hasTruth ? ",not_finite_truth\n" : "\n";
    const auto add = [&](const std::string& name, const ChannelComparison& channel) {
        text += name;
        for (const Column& column : shown) {
            text += "," + number("%.*g", 9, channel.*(column.value));
        }
        text += "," + std::to_string(channel.notFiniteBefore) + "," + std::to_string(channel.notFiniteAfter);
        text += comparison.hasTruth ? "," + std::to_string(channel.notFiniteTruth) + "\n" : "\n";
    };
    for (std::size_t channel = 0; channel < comparison.channels.size(); ++channel) {
        add(std::to_string(channel + 1), comparison.channels[channel]);
    }
    add("all", comparison.all);
    return text;
}

std::string comparison_json(const Comparison& comparison, const std::string& condition) {
    const std::vector<Column> shown = columns_of(comparison);
    nlohmann::ordered_json object;
    object["condition"] = condition;
    object["windows"] = comparison.windows;
    object["windows_outside"] = comparison.windowsOutside;
    object["samples_before_trigger"] = comparison.window.preS;
    object["samples_after_trigger"] = comparison.window.postS;
    object["samples_per_window"] = comparison.window.length();
    object["channels"] = nlohmann::ordered_json::array();
    for (std::size_t channel = 0; channel < comparison.channels.size(); ++channel) {
        nlohmann::ordered_json entry;
        entry["channel"] = channel + 1;
        entry.update(json_channel(shown, comparison.channels[channel], comparison.hasTruth));
        object["channels"].push_back(entry);
    }
    object["all"] = json_channel(shown, comparison.all, comparison.hasTruth);
    return object.dump(2) + "\n";
}

} // namespace workbench
