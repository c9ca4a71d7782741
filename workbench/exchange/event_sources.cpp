#include "workbench/exchange/event_sources.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "workbench/exchange/channel_choice.h"
#include "workbench/exchange/decimal_number.h"
#include "workbench/exchange/events_table.h"
#include "workbench/exchange/progress.h"
#include "workbench/exchange/r_peaks.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

namespace {

constexpr std::uint64_t blockSamples = 1 << 18;
constexpr std::int64_t bdfTriggerBits = 0xFFFF; // the other bits of the Status channel tell of the amplifier
constexpr double refineReach = 0.03;            // s around a heartbeat, where its peak is looked for at the full rate

std::string number_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

class Collector {
public:
    Collector(ForeignRecording& recording, const TriggerOptions& options, double rate, InterruptHold& interrupt,
              std::vector<std::string>& notes)
        : recording_(recording), options_(options), rate_(rate), interrupt_(interrupt), notes_(notes) {}

    void collect(const EventSource& source) {
        switch (source.kind) {
        case EventSource::Kind::file:
            take_from_file();
            break;
        case EventSource::Kind::none:
            break;
        case EventSource::Kind::channel:
            take_edges(source);
            break;
        case EventSource::Kind::codes:
            take_codes(channel_of(source), source.condition, -1);
            break;
        case EventSource::Kind::ecg:
            take_heartbeats(source);
            break;
        case EventSource::Kind::table:
            take_from_table(source.argument);
            break;
        }
    }

    std::vector<ForeignEvent> events;

private:
    void take_from_file() {
        const std::vector<ForeignEvent> own = recording_.events();
        events.insert(events.end(), own.begin(), own.end());
        if (const std::optional<std::size_t> channel = recording_.code_channel()) {
            take_codes(*channel, recording_.channels()[*channel].name, bdfTriggerBits);
        }
    }

    void take_from_table(const std::string& file) {
        const TableEvents table = events_from_table(file, rate_);
        events.insert(events.end(), table.events.begin(), table.events.end());
        if (table.withoutTime > 0) {
            notes_.push_back(file + ": " + std::to_string(table.withoutTime) +
                             " rows have n/a for their time or type; they are left out");
        }
    }

    std::size_t channel_of(const EventSource& source) const {
        const std::size_t channel = find_channel(recording_, source.argument);
        const ForeignChannel& foreign = recording_.channels()[channel];
        if (!foreign.unusable.empty()) {
            throw InputError(recording_.path().string() + ": channel " + printable(foreign.name) + " " +
                             foreign.unusable);
        }
        return channel;
    }

    // Calls use(values, count) for one block of a channel after another.
    template <class Use>
    void for_each_block(std::size_t channel, const std::string& title, const Use& use) {
        const std::uint64_t samples = recording_.channels()[channel].samples;
        Progress progress(title, samples, interrupt_);
        std::vector<double> values;
        for (std::uint64_t first = 0; first < samples; first += blockSamples) {
            const auto count = static_cast<std::uint32_t>(std::min(blockSamples, samples - first));
            values.resize(count);
            recording_.read({channel}, first, count, values.data());
            use(values.data(), std::size_t{count});
            progress.advance(count);
        }
    }

    std::uint64_t min_distance(double rate) const {
        return static_cast<std::uint64_t>(std::ceil(options_.minDistance * rate / 1000.0 - 1e-9));
    }

    double midway(std::size_t channel) {
        double lowest = std::numeric_limits<double>::infinity();
        double highest = -lowest;
        for_each_block(channel, "looking for the threshold", [&](const double* values, std::size_t count) {
            for (std::size_t i = 0; i < count; ++i) {
                if (std::isfinite(values[i])) {
                    lowest = std::min(lowest, values[i]);
                    highest = std::max(highest, values[i]);
                }
            }
        });
        const ForeignChannel& foreign = recording_.channels()[channel];
        if (!(lowest < highest)) {
            throw InputError(recording_.path().string() + ": channel " + printable(foreign.name) +
                             " holds one value only; there are no triggers in it");
        }
        notes_.push_back("channel " + printable(foreign.name) + " goes from " + number_text(lowest) + " to " +
                         number_text(highest) + " " + printable(foreign.unit) + "; the threshold is halfway, " +
                         number_text(0.5 * (lowest + highest)) + " (--threshold sets another)");
        return 0.5 * (lowest + highest);
    }

    void take_edges(const EventSource& source) {
        const std::size_t channel = channel_of(source);
        const double channelRate = recording_.channels()[channel].rate;
        const double threshold = options_.threshold ? *options_.threshold : midway(channel);
        EdgeDetector edges(threshold, options_.edge, min_distance(channelRate));
        for_each_block(channel, "looking for triggers",
                       [&](const double* values, std::size_t count) { edges.add(values, count); });
        if (edges.found().empty()) {
            notes_.push_back("channel " + printable(recording_.channels()[channel].name) + " never crosses " +
                             number_text(threshold) + " that way; no triggers come from it");
        }
        for (const std::uint64_t sample : edges.found()) {
            events.push_back({static_cast<double>(sample) / channelRate, source.condition});
        }
    }

    void take_codes(std::size_t channel, const std::string& name, std::int64_t mask) {
        const double channelRate = recording_.channels()[channel].rate;
        CodeDetector codes(mask, min_distance(channelRate));
        for_each_block(channel, "looking for trigger codes",
                       [&](const double* values, std::size_t count) { codes.add(values, count); });
        for (const TriggerCode& found : codes.found()) {
            events.push_back(
                {static_cast<double>(found.sample) / channelRate, name + " " + std::to_string(found.code)});
        }
    }

    void take_heartbeats(const EventSource& source) {
        const std::size_t channel = channel_of(source);
        const ForeignChannel& foreign = recording_.channels()[channel];
        if (foreign.rate < lowestEcgRate) {
            throw InputError(recording_.path().string() + ": channel " + printable(foreign.name) + " has " +
                             number_text(foreign.rate) + " Hz; heartbeats need at least 100 Hz");
        }
        EcgReducer reducer(foreign.rate);
        for_each_block(channel, "looking for heartbeats",
                       [&](const double* values, std::size_t count) { reducer.add(values, count); });
        const Heartbeats beats = find_heartbeats(reducer.signal(), reducer.rate());
        for (const std::size_t peak : beats.peaks) {
            events.push_back(
                {static_cast<double>(refined(channel, peak * reducer.group(), reducer.group(), beats.upward)) /
                     foreign.rate,
                 source.condition});
        }
        const double minutes = static_cast<double>(foreign.samples) / foreign.rate / 60.0;
        notes_.push_back("channel " + printable(foreign.name) + ": " + std::to_string(beats.peaks.size()) +
                         " heartbeats, " + number_text(std::round(static_cast<double>(beats.peaks.size()) / minutes)) +
                         " per minute, R peaks point " + (beats.upward ? "up" : "down"));
    }

    // The peak at the full rate near a sample of the reduced signal.
    std::uint64_t refined(std::size_t channel, std::uint64_t sample, std::uint64_t group, bool upward) {
        const ForeignChannel& foreign = recording_.channels()[channel];
        const auto reach = static_cast<std::uint64_t>(std::ceil(refineReach * foreign.rate));
        const std::uint64_t centre = sample + group / 2;
        const std::uint64_t first = centre - std::min(centre, reach);
        const std::uint64_t end = std::min(foreign.samples, centre + reach + 1);
        std::vector<double> stretch(end - first);
        recording_.read({channel}, first, static_cast<std::uint32_t>(stretch.size()), stretch.data());
        interrupt_.throw_if_arrived();
        return first + peak_place(stretch, foreign.rate, upward);
    }

    ForeignRecording& recording_;
    const TriggerOptions& options_;
    double rate_;
    InterruptHold& interrupt_;
    std::vector<std::string>& notes_;
};

} // namespace

EventSource event_source_of(const std::string& text) {
    using Kind = EventSource::Kind;
    if (text == "file" || text == "none") {
        return {text == "file" ? Kind::file : Kind::none, "", ""};
    }
    const struct {
        const char* prefix;
        Kind kind;
    } prefixes[] = {{"channel:", Kind::channel}, {"codes:", Kind::codes}, {"ecg:", Kind::ecg}};
    for (const auto& [prefix, kind] : prefixes) {
        const std::size_t at = text.find(prefix);
        const bool named = at != std::string::npos && at > 1 && text[at - 1] == '=';
        if (at != 0 && !named) {
            continue;
        }
        const std::string channel = text.substr(at + std::string(prefix).size());
        if (channel.empty()) {
            throw InputError("--events " + text + ": name the channel after the colon");
        }
        const std::string standard = kind == Kind::ecg ? "heartbeat" : channel;
        return {kind, named ? text.substr(0, at - 1) : standard, channel};
    }
    return {Kind::table, "", text};
}

std::vector<ForeignEvent> collect_events(ForeignRecording& recording, const std::vector<EventSource>& sources,
                                         const TriggerOptions& options, double rate, InterruptHold& interrupt,
                                         std::vector<std::string>& notes) {
    Collector collector(recording, options, rate, interrupt, notes);
    for (const EventSource& source : sources) {
        collector.collect(source);
    }
    return collector.events;
}

} // namespace workbench::exchange
