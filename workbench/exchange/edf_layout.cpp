#include "workbench/exchange/edf_layout.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace workbench::exchange {

namespace {

constexpr double recommendedBytes = 61440.0;
constexpr double longestRecord = 10.0; // s
constexpr std::size_t durationBytes = 8;

// What speaks against a record of so many samples, as a number.
double badness(const EdfLayout& layout, float rate, std::uint64_t samples, double wantedSeconds) {
    const double seconds = static_cast<double>(layout.recordMicroseconds) * 1e-6;
    const double rateError = std::abs(layout.rate() / static_cast<double>(rate) - 1.0);
    return (layout.exactRate ? 0.0 : 1e6 + 1e12 * rateError) + (samples % layout.samplesPerRecord == 0 ? 0.0 : 1000.0) +
           std::abs(std::log(seconds / wantedSeconds));
}

} // namespace

std::string seconds_text(std::uint64_t microseconds) {
    std::string text = std::to_string(microseconds / 1000000);
    std::string decimals = std::to_string(1000000 + microseconds % 1000000).substr(1);
    decimals.erase(decimals.find_last_not_of('0') + 1);
    return decimals.empty() ? text : text + "." + decimals;
}

EdfLayout edf_layout(float rate, std::uint64_t samples, std::uint64_t frameBytes) {
    const double exact = static_cast<double>(rate);
    const double recommended = recommendedBytes / static_cast<double>(frameBytes); // samples
    const double wantedSeconds = std::min(1.0, std::max(1.0, std::floor(recommended)) / exact);
    const double most = std::min(longestRecord * exact, std::max(recommended, 1.0));
    const double least = wantedSeconds * exact / 20.0;
    EdfLayout best;
    double leastBadness = std::numeric_limits<double>::infinity();
    const auto try_samples = [&](std::uint64_t count) {
        EdfLayout layout;
        layout.samplesPerRecord = count;
        const double microseconds = std::round(static_cast<double>(count) / exact * 1e6);
        layout.recordMicroseconds = static_cast<std::uint64_t>(std::max(1.0, microseconds));
        layout.exactRate = static_cast<float>(layout.rate()) == rate;
        if (seconds_text(layout.recordMicroseconds).size() > durationBytes) {
            return;
        }
        const double bad = badness(layout, rate, samples, wantedSeconds);
        if (bad < leastBadness) {
            leastBadness = bad;
            best = layout;
        }
    };
    const auto first = static_cast<std::uint64_t>(std::max(1.0, std::floor(least)));
    const auto last = static_cast<std::uint64_t>(std::max(1.0, std::floor(most)));
    for (std::uint64_t count = std::min(first, last); count <= last; ++count) {
        try_samples(count);
    }
    best.records = (samples + best.samplesPerRecord - 1) / best.samplesPerRecord;
    best.filled = best.records * best.samplesPerRecord - samples;
    return best;
}

} // namespace workbench::exchange
