#include "workbench/protocol_file.h"

#include <algorithm>
#include <optional>
#include <set>

#include "workbench/input_error.h"
#include "workbench/input_file.h"
#include "workbench/line_reader.h"

namespace workbench {

namespace {

constexpr std::size_t longestName = 240;
constexpr std::size_t longestExperiment = 302; // what the record of a protocol has room for

bool has_control_character(const std::string& text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (is_control(text, at)) {
            return true;
        }
    }
    return false;
}

bool is_comment(const std::string& line) {
    return line.starts_with('#') || line.find_first_not_of(" \t") == std::string::npos;
}

std::optional<std::string> next_line(LineReader& reader) {
    std::optional<std::string> line = reader.next();
    while (line && is_comment(*line)) {
        line = reader.next();
    }
    return line;
}

// The text after "Key: ", or nothing for another line. An empty text may go without the blank.
std::optional<std::string> value_of(const std::optional<std::string>& line, const std::string& key) {
    if (!line) {
        return std::nullopt;
    }
    if (*line == key + ":") {
        return "";
    }
    if (line->starts_with(key + ": ")) {
        return line->substr(key.size() + 2);
    }
    return std::nullopt;
}

} // namespace

std::string condition_name_problem(const std::string& name) {
    if (name.empty() || name.size() > longestName) {
        return "a name of 1 to " + std::to_string(longestName) + " bytes";
    }
    if (name.find('/') != std::string::npos) {
        return "a name without '/'";
    }
    if (has_control_character(name)) {
        return "a name without control characters";
    }
    if (name.front() == ' ' || name.back() == ' ') {
        return "a name without blanks around it";
    }
    return "";
}

std::string experiment_problem(const std::string& text) {
    if (text.size() > longestExperiment) {
        return "a text of at most " + std::to_string(longestExperiment) + " bytes";
    }
    if (has_control_character(text)) {
        return "a text without control characters";
    }
    return "";
}

Protocol read_protocol(const std::filesystem::path& file) {
    LineReader reader(file);
    Protocol protocol;

    std::optional<std::string> line = next_line(reader);
    if (value_of(line, "FileVersion") != "1") {
        reader.complain_about("\"FileVersion: 1\"", line);
    }

    line = next_line(reader);
    const std::optional<std::string> experiment = value_of(line, "Experiment");
    if (!experiment) {
        reader.complain_about("\"Experiment: TEXT\"", line);
    }
    if (const std::string problem = experiment_problem(*experiment); !problem.empty()) {
        reader.complain_about(problem, experiment);
    }
    protocol.experiment = *experiment;

    line = next_line(reader);
    const std::optional<std::string> resolution = value_of(line, "TimeResolution");
    if (resolution == "samples") {
        protocol.resolution = TimeResolution::samples;
    } else if (resolution == "microseconds") {
        protocol.resolution = TimeResolution::microseconds;
    } else {
        reader.complain_about("\"TimeResolution: samples\" or \"TimeResolution: microseconds\"", line);
    }

    std::set<std::string> names;
    for (line = next_line(reader); line || protocol.conditions.empty(); line = next_line(reader)) {
        if (const std::optional<std::string> name = value_of(line, "Condition")) {
            if (const std::string problem = condition_name_problem(*name); !problem.empty()) {
                reader.complain_about(problem, name);
            }
            if (!names.insert(*name).second) {
                reader.complain_about("a condition that was not given before", name);
            }
            protocol.conditions.push_back({*name, {}});
            continue;
        }
        if (protocol.conditions.empty()) {
            reader.complain_about("\"Condition: NAME\"", line);
        }
        const std::optional<std::int32_t> value = parse_whole_number(*line);
        if (!value) {
            reader.complain_about(std::string(wholeNumberExpected) + " or \"Condition: NAME\"", line);
        }
        protocol.conditions.back().intervals.push_back(*value);
    }
    return protocol;
}

std::string protocol_text(const Protocol& protocol) {
    std::string text = "FileVersion: 1\n";
    text += protocol.experiment.empty() ? "Experiment:\n" : "Experiment: " + protocol.experiment + "\n";
    text +=
        protocol.resolution == TimeResolution::samples ? "TimeResolution: samples\n" : "TimeResolution: microseconds\n";
    for (const ProtocolCondition& condition : protocol.conditions) {
        text += "\nCondition: " + condition.name + "\n";
        for (const std::int32_t value : condition.intervals) {
            text += std::to_string(value) + "\n";
        }
    }
    return text;
}

int find_condition(const Protocol& protocol, const std::string& nameOrNumber) {
    const std::vector<ProtocolCondition>& conditions = protocol.conditions;
    for (std::size_t i = 0; i < conditions.size(); ++i) {
        if (conditions[i].name == nameOrNumber) {
            return static_cast<int>(i);
        }
    }
    const std::optional<std::int32_t> number = parse_whole_number(nameOrNumber);
    if (number && *number >= 1 && static_cast<std::size_t>(*number) <= conditions.size()) {
        return *number - 1;
    }
    std::string message = "no condition \"" + printable(nameOrNumber) + "\" in the protocol; it has";
    for (std::size_t i = 0; i < conditions.size(); ++i) {
        message += (i == 0 ? " " : ", ") + std::to_string(i + 1) + " \"" + conditions[i].name + "\" (" +
                   std::to_string(conditions[i].intervals.size()) + " intervals)";
    }
    throw InputError(message);
}

} // namespace workbench
