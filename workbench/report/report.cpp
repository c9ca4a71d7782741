#include "workbench/report/report.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <system_error>
#include <utility>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "workbench/check/channel_findings.h"
#include "workbench/check/trigger_findings.h"
#include "workbench/comparison.h"
#include "workbench/input_error.h"
#include "workbench/interrupt.h"
#include "workbench/pending_file.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/report/changed_window.h"
#include "workbench/report/locked_average.h"
#include "workbench/report/measures.h"
#include "workbench/report/page.h"
#include "workbench/report/report_data.h"
#include "workbench/report/report_text.h"
#include "workbench/report/result_findings.h"
#include "workbench/report/spectral_findings.h"
#include "workbench/report/trace_store.h"
#include "workbench/report/trigger_spacing.h"
#include "workbench/run_settings.h"
#include "workbench/window.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Facts = std::vector<std::pair<std::string, std::string>>;

constexpr std::uint64_t mostBytes = 8'000'000;      // of the whole page
constexpr std::uint64_t fewestTraceBytes = 500'000; // whatever else there is
constexpr std::uint64_t mostTraceBins = 3'000'000;  // in memory, of each recording
constexpr std::uint64_t fewestSegments = 4;         // for a judgement on the power between the harmonics
constexpr std::size_t mostAveragePoints = 160'000;  // of all channels
constexpr std::size_t mostSpectrumBins = 600'000;   // of all channels and recordings

// One line on a terminal that tells how far the work is, and the place where an interrupt ends it.
class Work {
public:
    void step(const char* what, double share) {
        interrupt_.throw_if_arrived();
        const int percent = static_cast<int>(100.0 * share);
        if (onTerminal_ && (what != shown_ || percent != percent_)) {
            std::fprintf(stderr, "\r\033[K%s %d %%", what, percent);
            shown_ = what;
            percent_ = percent;
        }
    }
    ~Work() {
        if (onTerminal_) {
            std::fputs("\r\033[K", stderr);
        }
    }

private:
    InterruptHold interrupt_;
    bool onTerminal_ = isatty(STDERR_FILENO) == 1;
    const char* shown_ = nullptr;
    int percent_ = -1;
};

// What is compared.
struct Subject {
    explicit Subject(const ReportRequest& request)
        : before(request.before), after(request.after), protocol(read_protocol(request.protocol)),
          condition(protocol.conditions[static_cast<std::size_t>(find_condition(protocol, request.condition))]) {
        if (!request.truth.empty()) {
            truth.emplace(request.truth);
        }
        rate = before.header().SamplingFrequency;
        samples = before.header().NrOfSamples;
        triggers = trigger_samples(protocol, condition, rate);
    }

    RecordingReader before;
    RecordingReader after;
    std::optional<RecordingReader> truth;
    Protocol protocol;
    const ProtocolCondition& condition;
    float rate = 0.0f;
    std::uint64_t samples = 0;
    std::vector<std::int64_t> triggers;
};

struct FoundWindow {
    Window window;
    std::string origin; ///< where it comes from, as part of a sentence
    bool nothingDiffers;
};

double milliseconds(std::int64_t samples, float rate) {
    return static_cast<double>(samples) * 1000.0 / static_cast<double>(rate);
}

FoundWindow choose_window(const ReportRequest& request, Subject& subject, Work& work) {
    // A look at the triggers' own samples: the recordings must match before they are walked through side by side.
    compare_recordings(subject.before, subject.after, subject.truth ? &*subject.truth : nullptr, subject.triggers,
                       {0, 0});
    const std::vector<ChangedStretch> changes =
        changed_stretches(subject.before, subject.after, [&] { work.step("Looking for what changed", 0.0); });
    if (request.pre) {
        return {window_in_samples(*request.pre, *request.post, subject.rate), "as given", changes.empty()};
    }
    std::optional<Window> window = window_of_changes(changes, subject.triggers);
    const auto longest =
        static_cast<std::int64_t>(static_cast<double>(longestWindow) * static_cast<double>(subject.rate) / 1000.0);
    if (window && window->preS <= longest && window->postS <= longest) {
        return {*window, "found from the samples that changed", false};
    }
    // Nothing to go by: a window from each trigger to the next one.
    const double distance = median_distance(subject.triggers);
    const std::int64_t length = distance >= 1.0 ? static_cast<std::int64_t>(distance) : std::int64_t{1} + longest / 5;
    const auto whole = static_cast<std::int64_t>(subject.samples);
    return {{0, std::min({length, longest, whole}) - 1},
            changes.empty() ? "the median distance of the triggers, as no sample changed"
                            : "the median distance of the triggers, as samples changed far from any trigger",
            changes.empty()};
}

std::string number_text(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

std::string now_text() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[64];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &local));
}

std::string window_text(const FoundWindow& found, float rate) {
    const Window& window = found.window;
    return number_text(milliseconds(window.preS, rate)) + " ms before to " +
           number_text(milliseconds(window.postS, rate)) + " ms after each trigger (" +
           std::to_string(window.length()) + " samples), " + found.origin;
}

std::string duration(double seconds) {
    char text[64];
    const auto minutes = static_cast<long>(seconds / 60.0);
    std::snprintf(text, sizeof text, minutes > 0 ? "%ld min %.0f s" : "%ld min %.1f s", minutes,
                  seconds - 60.0 * static_cast<double>(minutes));
    return minutes > 0 ? text : std::string(text).substr(6);
}

Facts facts(const ReportRequest& request, const Subject& subject, const FoundWindow& found,
            const Comparison& comparison) {
    const CTCStruct& header = subject.before.header();
    Facts all{{"Before", request.before.string()}, {"After", request.after.string()}};
    if (subject.truth) {
        all.emplace_back("Without artifact", request.truth.string());
    }
    all.emplace_back("Recording",
                     std::to_string(header.NrOfChannels) + " channels, " + std::to_string(header.NrOfSamples) +
                         " samples at " + number_text(static_cast<double>(subject.rate)) + " Hz (" +
                         duration(static_cast<double>(header.NrOfSamples) / static_cast<double>(subject.rate)) + ")");
    all.emplace_back("Protocol", request.protocol.string());
    all.emplace_back("Condition", subject.condition.name + ": " + std::to_string(subject.triggers.size()) +
                                      " triggers, " + std::to_string(comparison.windows) +
                                      " with their whole window inside the recording");
    all.emplace_back("Window", window_text(found, subject.rate));
    if (request.segment) {
        all.emplace_back("Artifacts per segment", std::to_string(*request.segment));
    }
    if (request.components) {
        all.emplace_back("Components removed", std::to_string(*request.components));
    }
    if (!request.module.empty()) {
        all.emplace_back("Module", request.module);
    }
    all.emplace_back("Workbench", WORKBENCH_VERSION);
    all.emplace_back("Report made", now_text());
    return all;
}

Densities densities_of(const Spectrum& spectrum, std::size_t channels) {
    Densities densities;
    for (std::size_t channel = 0; channel < channels; ++channel) {
        densities.push_back(spectrum.density(channel));
    }
    return densities;
}

// The share of a stretch that the windows cover, less a little, where an even artifact goes on throughout; 0 for an
// uneven one.
double steady_coverage(const Window& window, double spacing, float rate) {
    const double distance = spacing > 0.0 ? static_cast<double>(rate) / spacing : 0.0;
    return distance > 0.0 ? 0.95 * std::min(1.0, static_cast<double>(window.length()) / distance) : 0.0;
}

// [channel][bin]; empty where a channel has too few segments of the kind.
std::vector<std::vector<double>> powers_of(SegmentKind kind, const Spectrum& spectrum, std::size_t channels) {
    std::vector<std::vector<double>> powers;
    for (std::size_t channel = 0; channel < channels; ++channel) {
        if (spectrum.segments_of(kind, channel) < fewestSegments) {
            return {};
        }
        powers.push_back(spectrum.mean_decibels(kind, channel));
    }
    return powers;
}

// As whole sentences; some of the warnings are told as part of a line elsewhere.
void append(std::vector<std::string>& all, const std::vector<std::string>& more) {
    for (std::string text : more) {
        text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
        const bool ends = text.back() == '.' || text.back() == '?';
        all.push_back(ends ? text : text + ".");
    }
}

void write_data(std::ostream& stream, const json& data, const TraceStore& traces) {
    stream << "<script type=\"application/json\" id=\"report-data\">" << script_json(data) << "</script>\n";
    for (std::size_t channel = 0; channel < traces.texts.size(); ++channel) {
        stream << "<script type=\"text/plain\" id=\"trace-" << channel << "\">\n"
               << traces.texts[channel] << "</script>\n";
    }
}

} // namespace

void check_report_name(const fs::path& output, const std::vector<fs::path>& inputs, bool overwrite) {
    for (const fs::path& input : inputs) {
        std::error_code error;
        if (!input.empty() && fs::equivalent(output, input, error)) {
            throw InputError(output.string() + ": is read for the report; choose another name for the report");
        }
    }
    require_free_name(output, overwrite);
}

void write_report(const ReportRequest& request) {
    if (request.pre.has_value() != request.post.has_value()) {
        throw InputError("--pre and --post belong together; give both, or neither to find the window from the samples "
                         "that changed");
    }
    check_report_name(request.output, {request.before, request.after, request.truth, request.protocol},
                      request.overwrite);
    Work work;
    Subject subject(request);
    const FoundWindow found = choose_window(request, subject, work);
    RecordingReader* truth = subject.truth ? &*subject.truth : nullptr;
    const std::size_t channels = subject.before.header().NrOfChannels;

    work.step("Comparing the windows", 0.0);
    const Comparison comparison =
        compare_recordings(subject.before, subject.after, truth, subject.triggers, found.window);
    const auto averaging = [&] { work.step("Averaging", 0.0); };
    const LockedAverage averageBefore = locked_average(subject.before, subject.triggers, found.window, averaging);
    const LockedAverage averageAfter = locked_average(subject.after, subject.triggers, found.window, averaging);
    const std::vector<Span> spans = covered_spans(subject.triggers, found.window, subject.samples);
    const double spacing = artifact_frequency(subject.triggers, static_cast<double>(subject.rate));
    const double coverage = steady_coverage(found.window, spacing, subject.rate);
    const auto kindOf = [&](std::uint64_t first, std::size_t count) {
        const std::uint64_t covered = covered_samples(spans, first, count);
        const bool steady = coverage > 0.0 && static_cast<double>(covered) > coverage * static_cast<double>(count);
        return covered == 0 ? SegmentKind::quiet : steady ? SegmentKind::steady : SegmentKind::other;
    };
    Measures measures = measure_recordings(subject.before, subject.after, truth, spans, kindOf, mostTraceBins,
                                           [&](double share) { work.step("Measuring", share); });

    const TriggerFindings triggers = examine_triggers(subject.triggers, found.window, subject.samples);
    const std::vector<ChannelFindings> channelFindings = examine_channels(subject.before, [&](std::uint64_t done) {
        work.step("Looking at the channels", static_cast<double>(done) / static_cast<double>(subject.samples));
    });
    std::vector<Densities> densities;
    for (const Spectrum& spectrum : measures.spectra) {
        densities.push_back(densities_of(spectrum, channels));
    }
    const double binWidth = measures.spectra[0].bin_width();
    const SteadyPowers steady{powers_of(SegmentKind::steady, measures.spectra[0], channels),
                              powers_of(SegmentKind::steady, measures.spectra[1], channels),
                              powers_of(SegmentKind::quiet, measures.spectra[1], channels)};
    const SpectralFindings spectral = examine_spectra(
        densities[0], densities[1], truth == nullptr ? Densities{} : densities[2], steady, binWidth, spacing);
    std::vector<std::string> warnings = result_warnings(comparison, measures.outside, found.nothingDiffers);
    append(warnings, trigger_warnings(triggers, found.window, subject.rate));
    append(warnings, channel_warnings(channelFindings, subject.samples));
    if (!found.nothingDiffers) {
        append(warnings, spectral_warnings(spectral));
    }

    const std::string title = request.after.filename().string() + ": removal of " + subject.condition.name;
    json data{{"title", title},
              {"facts", facts(request, subject, found, comparison)},
              {"warnings", warnings},
              {"spectralNote", spectral.notJudged},
              {"rate", subject.rate},
              {"samples", subject.samples},
              {"channelCount", channels},
              {"hasTruth", truth != nullptr},
              {"window", {found.window.preS, found.window.postS}},
              {"triggers", positions_json(subject.triggers)},
              {"channels", channels_json(comparison, measures.outside, densities, binWidth)},
              {"bands", bands_json(spectral, truth != nullptr)},
              {"average",
               average_json(averageBefore, averageAfter, channels, found.window.preS, static_cast<double>(subject.rate),
                            std::clamp<std::size_t>(mostAveragePoints / channels, 50, 700))},
              {"spectrum", spectrum_json(densities, measures.spectra[0], spacing, mostSpectrumBins)}};
    const std::uint64_t used = page_size() + script_json(data).size() + 300 * channels;
    const std::uint64_t left = mostBytes > used ? mostBytes - used : 0;
    const std::int64_t firstTrigger =
        subject.triggers.empty() ? 0 : *std::min_element(subject.triggers.begin(), subject.triggers.end());
    const TraceStore traces =
        store_traces(subject.before, subject.after, measures, firstTrigger, std::max(left, fewestTraceBytes),
                     [&] { work.step("Packing the traces", 0.0); });
    data["traces"] = traces_json(traces);

    PendingFile file(request.output, request.overwrite);
    write_page(file.stream(), title, [&](std::ostream& stream) { write_data(stream, data, traces); });
    work.step("Writing", 1.0);
    file.commit();
}

} // namespace workbench
