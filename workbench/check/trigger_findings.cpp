#include "workbench/check/trigger_findings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "workbench/run_settings.h"

namespace workbench {

namespace {

// With fewer examples the components are as much EEG as artifact.
constexpr std::size_t fewTriggers = 20;
// The share of the median that a distance may differ from it. A slice more or less, or a missed pulse, is far more.
constexpr double evenShare = 0.1;
// Pulses of a machine keep their distance but for rounding to samples; the times between heartbeats vary by 5 % or so.
constexpr double regularShare = 0.02;
constexpr double regularSamples = 2.0;
// Windows that tile a distance which is no whole number of samples and milliseconds share a few samples: no more than
// a millisecond has, and two.
constexpr double harmlessSamples = 2.0;

void examine_distances(const std::vector<std::int64_t>& ascending, TriggerFindings& findings) {
    std::vector<double> distances;
    for (std::size_t i = 1; i < ascending.size(); ++i) {
        if (ascending[i] == ascending[i - 1]) {
            ++findings.repeated;
        } else {
            distances.push_back(static_cast<double>(ascending[i] - ascending[i - 1]));
        }
    }
    findings.distances = distances.size();
    if (distances.empty()) {
        return;
    }
    std::sort(distances.begin(), distances.end());
    const std::size_t half = distances.size() / 2;
    const double median = distances.size() % 2 == 1 ? distances[half] : 0.5 * (distances[half - 1] + distances[half]);
    findings.shortestDistance = distances.front();
    findings.medianDistance = median;
    findings.longestDistance = distances.back();
    const auto farther_than = [&](double limit) {
        return static_cast<std::size_t>(
            std::count_if(distances.begin(), distances.end(), [&](double d) { return std::fabs(d - median) > limit; }));
    };
    findings.unevenDistances = farther_than(evenShare * median);
    findings.irregularDistances = farther_than(std::max(regularShare * median, regularSamples));
}

std::string text(std::size_t count) {
    return std::to_string(count);
}

std::string of(std::size_t count, std::size_t all, const char* what) {
    return text(count) + " of " + text(all) + " " + what;
}

std::string time_text(double samples, float rate) {
    char number[40];
    const double seconds = samples / static_cast<double>(rate);
    std::snprintf(number, sizeof number, seconds < 2.0 ? "%.4g ms" : "%.4g s", seconds < 2.0 ? seconds * 1e3 : seconds);
    return number;
}

std::string distance_sentence(const TriggerFindings& f, float rate) {
    const std::string range = "between " + time_text(f.shortestDistance, rate) + " and " +
                              time_text(f.longestDistance, rate) + ", half of them below " +
                              time_text(f.medianDistance, rate);
    if (evenly_spaced(f)) {
        return of(f.unevenDistances, f.distances, "distances between triggers stand out (all are ") + range +
               "); between pulses of a machine this points to triggers that are missing, doubled or spurious";
    }
    return "the triggers are unevenly spaced: " + range +
           "; that is natural for heartbeats and blinks, not for the pulses of a machine";
}

} // namespace

TriggerFindings examine_triggers(const std::vector<std::int64_t>& triggers, const Window& window,
                                 std::uint64_t nSamples) {
    TriggerFindings findings;
    findings.triggers = triggers.size();
    findings.ascending = std::is_sorted(triggers.begin(), triggers.end());
    std::vector<std::int64_t> ascending = triggers;
    std::sort(ascending.begin(), ascending.end());
    examine_distances(ascending, findings);
    const std::int64_t* previous = nullptr;
    for (const std::int64_t& trigger : ascending) {
        if (trigger - window.preS < 0) {
            ++findings.cutAtStart;
        } else if (!window.fits(trigger, nSamples)) {
            ++findings.cutAtEnd;
            findings.beyondEnd += trigger >= static_cast<std::int64_t>(nSamples) ? 1U : 0U;
        } else {
            ++findings.inside;
            if (previous != nullptr && trigger - *previous < window.length()) {
                ++findings.overlapping;
                findings.mostShared = std::max(findings.mostShared, window.length() - (trigger - *previous));
            }
            previous = &trigger;
        }
    }
    return findings;
}

bool evenly_spaced(const TriggerFindings& findings) {
    return 5 * findings.irregularDistances <= findings.distances;
}

std::vector<std::string> trigger_warnings(const TriggerFindings& f, const Window& window, float rate) {
    std::vector<std::string> sentences;
    if (f.triggers < static_cast<std::size_t>(smallestSegment)) {
        sentences.push_back("there are " + text(f.triggers) + " triggers; a removal needs at least " +
                            std::to_string(smallestSegment));
    } else if (f.triggers < fewTriggers) {
        sentences.push_back("there are only " + text(f.triggers) +
                            " triggers: components of so few artifacts hold much of the EEG itself, and take it away");
    }
    if (f.triggers != 0 && f.inside == 0) {
        sentences.push_back("no trigger has its whole window inside the recording: nothing is cleaned; do the "
                            "protocol and its time unit belong to this recording?");
    } else if (f.beyondEnd != 0) {
        sentences.push_back(of(f.beyondEnd, f.triggers,
                               "triggers lie behind the end of the recording; do the "
                               "protocol and its time unit belong to it?"));
    }
    if (f.inside != 0 && f.cutAtStart != 0) {
        sentences.push_back(of(f.cutAtStart, f.triggers,
                               "windows begin before the recording does; these artifacts "
                               "stay as they are"));
    }
    if (f.inside != 0 && f.cutAtEnd > f.beyondEnd) {
        sentences.push_back(of(f.cutAtEnd - f.beyondEnd, f.triggers,
                               "windows end behind the end of the recording; these artifacts stay as they are"));
    }
    if (window.length() == 1) {
        sentences.push_back("the window has one sample: less its mean nothing is left to fit");
    }
    if (static_cast<double>(f.mostShared) > harmlessSamples + static_cast<double>(rate) / 1000.0) {
        sentences.push_back(of(f.overlapping, f.inside, "windows share up to ") +
                            time_text(static_cast<double>(f.mostShared), rate) +
                            " with the next one: shared samples keep what the later window's fit leaves, and may "
                            "step where it begins");
    }
    if (f.repeated != 0) {
        sentences.push_back(of(f.repeated, f.triggers, "triggers repeat another one's sample; they count twice"));
    }
    if (!f.ascending) {
        sentences.push_back(
            "the triggers are not in order of time: segments are taken in the protocol's order, so that "
            "artifacts that are far apart shape each other's components");
    }
    if (f.unevenDistances != 0 || !evenly_spaced(f)) {
        sentences.push_back(distance_sentence(f, rate));
    }
    return sentences;
}

} // namespace workbench
