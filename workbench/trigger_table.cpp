#include "workbench/trigger_table.h"

#include <map>
#include <optional>
#include <vector>

#include "workbench/csv_line.h"
#include "workbench/input_error.h"
#include "workbench/line_reader.h"

namespace workbench {

Protocol protocol_from_csv(const std::filesystem::path& file, const std::string& experiment) {
    if (const std::string problem = experiment_problem(experiment); !problem.empty()) {
        throw InputError("the experiment's name: expected " + problem);
    }
    LineReader reader(file);
    std::optional<std::string> line = reader.next();
    if (!line || csv_fields(*line) != std::vector<std::string>{"condition", "sample_number_0based"}) {
        reader.complain_about("the header \"condition,sample_number_0based\"", line);
    }

    Protocol protocol;
    protocol.experiment = experiment;
    std::map<std::string, std::size_t> places;
    for (line = reader.next(); line; line = reader.next()) {
        if (line->empty()) {
            continue;
        }
        const std::optional<std::vector<std::string>> fields = csv_fields(*line);
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
