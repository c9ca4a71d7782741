#include "workbench/exchange/protocol_from_events.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "workbench/exchange/condition_names.h"
#include "workbench/exchange/text_encoding.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

namespace {

constexpr std::size_t longestExperiment = 302;

std::string count_of(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string valid_experiment(const std::string& text) {
    std::string result = as_utf8(text);
    for (std::size_t at = 0; at < result.size(); ++at) {
        if (is_control(result, at)) {
            result[at] = ' ';
        }
    }
    return cut_to(as_utf8(result), longestExperiment);
}

// Sorts and drops what is there twice. @return how many were.
std::size_t drop_repeated(std::vector<std::int32_t>& samples) {
    std::sort(samples.begin(), samples.end());
    const auto last = std::unique(samples.begin(), samples.end());
    const auto repeated = static_cast<std::size_t>(samples.end() - last);
    samples.erase(last, samples.end());
    return repeated;
}

} // namespace

Protocol protocol_from_events(const std::vector<ForeignEvent>& events, double rate, std::uint64_t samples,
                              const std::string& experiment, std::vector<std::string>& notes) {
    Protocol protocol;
    protocol.experiment = valid_experiment(experiment);
    ConditionNames names;
    std::map<std::string, std::size_t> places;
    std::size_t outside = 0;
    const double end = static_cast<double>(
        std::min<std::uint64_t>(samples, std::uint64_t{std::numeric_limits<std::int32_t>::max()} + 1));
    for (const ForeignEvent& event : events) {
        const double sample = std::round(event.seconds * rate);
        if (!(sample >= 0.0 && sample < end)) {
            ++outside;
            continue;
        }
        const std::string& name = names.name_of(event.type);
        const auto [place, isNew] = places.emplace(name, protocol.conditions.size());
        if (isNew) {
            protocol.conditions.push_back({name, {}});
        }
        protocol.conditions[place->second].intervals.push_back(static_cast<std::int32_t>(sample));
    }
    std::size_t repeated = 0;
    for (ProtocolCondition& condition : protocol.conditions) {
        repeated += drop_repeated(condition.intervals);
    }
    for (const std::string& change : names.changes()) {
        notes.push_back(change);
    }
    if (outside > 0) {
        notes.push_back(count_of(outside, "event") + " outside the recording left out");
    }
    if (repeated > 0) {
        notes.push_back(count_of(repeated, "event") + " of the same type at the same sample left out");
    }
    return protocol;
}

} // namespace workbench::exchange
