#include "workbench/check/run_check_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "workbench/channel_list.h"
#include "workbench/input_file.h"

namespace workbench {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t textWidth = 100;

std::string number(double value, const char* format = "%.3g") {
    char text[48];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string bytes_text(std::uint64_t bytes) {
    const auto value = static_cast<double>(bytes);
    const auto in = [&](double unit, const char* name) {
        return number(value / unit, value / unit < 9.95 ? "%.1f " : "%.0f ") + name;
    };
    return bytes < 1000  ? std::to_string(bytes) + " bytes"
           : value < 1e6 ? in(1e3, "kB")
           : value < 1e9 ? in(1e6, "MB")
                         : in(1e9, "GB");
}

std::string seconds_text(double seconds) {
    if (seconds < 0.1) {
        return "less than 0.1 s";
    }
    if (seconds < 59.5) {
        return "about " + number(seconds, seconds < 9.95 ? "%.1f s" : "%.0f s");
    }
    return "about " +
           (seconds < 3570.0 ? number(seconds / 60.0, "%.1f minutes") : number(seconds / 3600.0, "%.1f hours"));
}

std::string count_of(std::size_t count, const std::string& singular) {
    return std::to_string(count) + " " + singular + (count == 1 ? "" : "s");
}

const char* data_type_text(std::uint32_t dataType) {
    return dataType == 1   ? "floats"
           : dataType == 3 ? "16-bit integers"
           : dataType == 4 ? "8-bit integers"
                           : "scaled floats";
}

// A paragraph in lines of the terminal's width; all but the first begin with blanks.
std::string wrapped(const std::string& first, const std::string& text) {
    std::string result = first;
    std::size_t column = first.size();
    std::size_t begin = 0;
    bool lineIsEmpty = true;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find(' ', begin), text.size());
        const std::size_t length = end - begin;
        if (!lineIsEmpty && column + 1 + length > textWidth) {
            result += "\n" + std::string(first.size(), ' ');
            column = first.size();
            lineIsEmpty = true;
        }
        result += (lineIsEmpty ? "" : " ") + text.substr(begin, length);
        column += length + (lineIsEmpty ? 0 : 1);
        lineIsEmpty = false;
        begin = end + 1;
    }
    return result + "\n";
}

std::string line(const char* label, const std::string& text) {
    char padded[32];
    std::snprintf(padded, sizeof padded, "  %-12s ", label);
    return wrapped(padded, text);
}

std::string ms(double samples, float rate) {
    const double seconds = samples / static_cast<double>(rate);
    return seconds < 2.0 ? number(1000.0 * seconds, "%.4g") + " ms" : number(seconds, "%.4g") + " s";
}

std::string recording_text(const RunCheck& c) {
    return printable(c.recording) + ": " + count_of(c.channels, "channel") + ", " + count_of(c.samples, "sample") +
           " (" + number(static_cast<double>(c.samples) / static_cast<double>(c.rate), "%.1f") + " s) at " +
           number(static_cast<double>(c.rate), "%g") + " Hz, " + data_type_text(c.dataType) +
           (c.ordering == 1 ? " channel by channel" : " sample by sample") + ", " + bytes_text(c.bytes);
}

std::string triggers_text(const RunCheck& c) {
    const TriggerFindings& t = c.triggers;
    std::string text = "condition " + printable(c.condition) + ": " + count_of(t.triggers, "trigger");
    if (t.distances != 0) {
        text += ", " + ms(t.shortestDistance, c.rate) + " to " + ms(t.longestDistance, c.rate) + " apart (median " +
                ms(t.medianDistance, c.rate) + "), " + (evenly_spaced(t) ? "evenly" : "unevenly") + " spaced";
    }
    return text;
}

std::string problems_text(const RunCheck& c) {
    std::string text;
    for (const std::string& refusal : c.refusals) {
        text += wrapped("  REFUSED  ", refusal);
    }
    for (const std::string& problem : c.problems) {
        text += wrapped("  !  ", problem);
    }
    return text.empty() ? "No problems found.\n" : "Problems\n" + text;
}

std::string origin(const CheckedSetting& setting) {
    if (!setting.given) {
        return "suggested";
    }
    return "given" +
           (setting.suggestion == setting.value ? std::string() : "; suggested " + std::to_string(setting.suggestion));
}

const char* window_reason(WindowReason reason) {
    switch (reason) {
    case WindowReason::tiles:
        return "the suggestion reaches from each trigger to the next";
    case WindowReason::average:
        return "the suggestion is where the average around the triggers stands out";
    case WindowReason::distance:
        break;
    }
    return "nothing stands out around the triggers; the suggestion is half their distance on either side";
}

std::string window_text(const RunCheck& c) {
    return "--pre " + std::to_string(c.pre.value) + " (" + origin(c.pre) + "), --post " + std::to_string(c.post.value) +
           " (" + origin(c.post) + "): " + count_of(static_cast<std::size_t>(c.window.length()), "sample") + ", " +
           ms(static_cast<double>(c.window.length()), c.rate) + "; " + window_reason(c.windowReason);
}

std::string cleaned_text(const RunCheck& c) {
    const TriggerFindings& t = c.triggers;
    std::string text = std::to_string(t.inside) + " of " + count_of(t.triggers, "trigger") + " cleaned, " +
                       std::to_string(t.triggers - t.inside) + " skipped";
    if (t.overlapping != 0) {
        text += "; " + std::to_string(t.overlapping) + " of them share up to " +
                count_of(static_cast<std::size_t>(t.mostShared), "sample") + " with the next";
    }
    return text;
}

std::string segments_text(const RunCheck& c) {
    std::string text = "--segment " + std::to_string(c.segment.value) + " (" + origin(c.segment) +
                       "): " + count_of(c.segments, "segment") + " in each channel";
    if (c.borrowed != 0) {
        text += "; the last one lacks " + count_of(c.borrowed, "artifact") + " and borrows " +
                (c.borrowed == 1 ? "it" : "them") + " from the one before it";
    }
    return text;
}

std::string run_text(const RunCheck& c) {
    std::string disk = bytes_text(c.diskBytes) + " for the cleaned recording and its trigger times";
    if (c.diskAvailable) {
        disk += " (" + bytes_text(*c.diskAvailable) + " free)";
    }
    std::string memory = "about " + bytes_text(c.memoryBytes);
    if (c.memoryAvailable) {
        memory += " (" + bytes_text(*c.memoryAvailable) + " free)";
    }
    return "The run\n" + line("window", window_text(c)) + line("triggers", cleaned_text(c)) +
           line("segments", segments_text(c)) +
           line("components",
                "--components " + std::to_string(c.components.value) + " (" + origin(c.components) + ")") +
           line("memory", memory) + line("disk", disk) +
           line("time", seconds_text(c.seconds) + " (estimated from a few fits and transfers on this machine)");
}

std::string components_text(const RunCheck& c) {
    if (c.spectrum.levels.empty()) {
        return "Components: the windows of the channels looked at hold nothing to decompose.\n";
    }
    const std::string where = "share of the artifacts' variance in each component, on a logarithmic scale; # removed, "
                              "- kept; mean of channel" +
                              std::string(c.spectrum.channels.size() == 1 ? " " : "s ") +
                              channel_list(c.spectrum.channels) + " in " + count_of(c.spectrum.segments, "segment") +
                              (c.spectrum.epochs < static_cast<std::size_t>(c.segment.value)
                                   ? " (first " + std::to_string(c.spectrum.epochs) + " artifacts of each)"
                                   : "");
    const std::string rule = c.outstanding == 0
                                 ? "No component is twice as strong as the next: nothing speaks for more than one."
                                 : "Suggested: " + std::to_string(c.outstanding) +
                                       ", the last component that is at least twice as strong as "
                                       "the next one. What follows falls off slowly, as ongoing EEG does. 3 or 4 are "
                                       "common (Niazy et al. 2005); "
                                       "fewer keep more EEG, more take more artifact.";
    return wrapped("Components: ", where) + spectrum_picture(c.spectrum, c.components.value) + wrapped("  ", rule);
}

std::string commands_text(const RunCheck& c) {
    std::string text = std::string(c.needsConversion ? "Convert it first, and clean the result" : "Run it") +
                       " (MODULE stands for the path of OridanArtifactRemoval.so)\n";
    for (const std::string& command : c.commands) {
        text += "  " + command + "\n";
    }
    return text;
}

Json setting_json(const CheckedSetting& setting) {
    return {{"value", setting.value}, {"given", setting.given}, {"suggestion", setting.suggestion}};
}

Json amount(const std::optional<std::uint64_t>& value) {
    return value ? Json(*value) : Json(nullptr);
}

const char* reason_name(WindowReason reason) {
    return reason == WindowReason::tiles ? "tiles" : reason == WindowReason::average ? "average" : "distance";
}

} // namespace

std::string run_check_text(const RunCheck& check) {
    return recording_text(check) + "\n" + triggers_text(check) + "\n\n" + problems_text(check) + "\n" +
           run_text(check) + "\n" + components_text(check) + "\n" + commands_text(check);
}

std::string run_check_json(const RunCheck& c) {
    const TriggerFindings& t = c.triggers;
    std::vector<std::uint32_t> channelsFromOne = c.spectrum.channels;
    std::for_each(channelsFromOne.begin(), channelsFromOne.end(), [](std::uint32_t& channel) { ++channel; });
    Json json;
    json["would_run"] = c.refusals.empty();
    json["refusals"] = c.refusals;
    json["problems"] = c.problems;
    json["recording"] = {{"file", c.recording},     {"channels", c.channels}, {"samples", c.samples}, {"rate", c.rate},
                         {"data_type", c.dataType}, {"ordering", c.ordering}, {"bytes", c.bytes}};
    json["condition"] = c.condition;
    json["settings"] = {{"pre_ms", setting_json(c.pre)},
                        {"post_ms", setting_json(c.post)},
                        {"segment", setting_json(c.segment)},
                        {"components", setting_json(c.components)}};
    json["window"] = {{"samples_before", c.window.preS},
                      {"samples_after", c.window.postS},
                      {"samples", c.window.length()},
                      {"suggested_from", reason_name(c.windowReason)}};
    json["triggers"] = {{"count", t.triggers},
                        {"cleaned", t.inside},
                        {"cut_at_start", t.cutAtStart},
                        {"cut_at_end", t.cutAtEnd},
                        {"overlapping", t.overlapping},
                        {"most_samples_shared", t.mostShared},
                        {"repeated", t.repeated},
                        {"ascending", t.ascending},
                        {"evenly_spaced", evenly_spaced(t)},
                        {"shortest_distance", t.shortestDistance},
                        {"median_distance", t.medianDistance},
                        {"longest_distance", t.longestDistance}};
    json["segments"] = {{"count", c.segments}, {"borrowed", c.borrowed}};
    json["components"] = {{"outstanding", c.outstanding},
                          {"channels", channelsFromOne},
                          {"segments", c.spectrum.segments},
                          {"shares", c.spectrum.shares}};
    json["memory_bytes"] = c.memoryBytes;
    json["memory_available_bytes"] = amount(c.memoryAvailable);
    json["disk_bytes"] = c.diskBytes;
    json["disk_available_bytes"] = amount(c.diskAvailable);
    json["estimated_seconds"] = c.seconds;
    json["commands"] = c.commands;
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace workbench
