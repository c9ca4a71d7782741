#include "workbench/trigger_table.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "workbench/input_error.h"
#include "workbench/line_reader.h"

namespace workbench {

namespace {

using Fields = std::vector<std::string>;

// Takes one field from the line and leaves `at` behind it, at a comma or the end. False for broken quotes.
bool take_field(const std::string& line, std::size_t& at, std::string& field) {
    field.clear();
    if (at >= line.size() || line[at] != '"') {
        const std::size_t end = std::min(line.find(',', at), line.size());
        field = line.substr(at, end - at);
        at = end;
        return field.find('"') == std::string::npos;
    }
    for (++at; at < line.size(); ++at) {
        if (line[at] != '"') {
            field += line[at];
        } else if (at + 1 < line.size() && line[at + 1] == '"') { // a doubled quote stands for one
            field += '"';
            ++at;
        } else {
            ++at;
            return at == line.size() || line[at] == ',';
        }
    }
    return false;
}

std::optional<Fields> split(const std::string& line) {
    Fields fields;
    std::size_t at = 0;
    while (true) {
        std::string field;
        if (!take_field(line, at, field)) {
            return std::nullopt;
        }
        fields.push_back(field);
        if (at == line.size()) {
            return fields;
        }
        ++at; // the comma
    }
}

} // namespace

Protocol protocol_from_csv(const std::filesystem::path& file, const std::string& experiment) {
    if (const std::string problem = experiment_problem(experiment); !problem.empty()) {
        throw InputError("the experiment's name: expected " + problem);
    }
    LineReader reader(file);
    std::optional<std::string> line = reader.next();
    if (!line || split(*line) != Fields{"condition", "sample_number_0based"}) {
        reader.complain_about("the header \"condition,sample_number_0based\"", line);
    }

    Protocol protocol;
    protocol.experiment = experiment;
    std::map<std::string, std::size_t> places;
    for (line = reader.next(); line; line = reader.next()) {
        if (line->empty()) {
            continue;
        }
        const std::optional<Fields> fields = split(*line);
        if (!fields || fields->size() != 2) {
            reader.complain_about("a condition's name, a comma and a sample number", line);
        }
        const std::string& name = fields->at(0);
        if (const std::string problem = condition_name_problem(name); !problem.empty()) {
            reader.complain_about(problem, name);
        }
        const std::optional<std::int32_t> sample = parse_whole_number(fields->at(1));
        if (!sample) {
            reader.complain_about(wholeNumberExpected, fields->at(1));
        }
        const auto [place, isNew] = places.emplace(name, protocol.conditions.size());
        if (isNew) {
            protocol.conditions.push_back({name, {}});
        }
        protocol.conditions[place->second].intervals.push_back(*sample);
    }
    if (protocol.conditions.empty()) {
        reader.complain_about("at least one trigger", line);
    }
    return protocol;
}

} // namespace workbench
