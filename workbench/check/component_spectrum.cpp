#include "workbench/check/component_spectrum.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "workbench/check/segment_fit.h"

namespace workbench {

namespace {

constexpr std::size_t mostChannels = 4;
constexpr std::size_t mostSegments = 3;
constexpr std::size_t mostEpochs = 400;     // the decomposition's time grows with their third power
constexpr std::size_t mostValues = 1 << 25; // samples in memory
constexpr double secondsToSpend = 1.0;

constexpr std::size_t mostComponents = 10;
constexpr double standsOut = 0.30103; // in powers of ten: twice the next one

std::size_t spread(std::size_t i, std::size_t count, std::size_t all) {
    return i * all / count;
}

// The first triggers of a segment, as a run gathers them: the last one borrows from the one before it.
std::vector<std::int64_t> triggers_of(const std::vector<std::int64_t>& triggers, std::size_t segment,
                                      std::size_t perSegment, std::size_t count) {
    const std::size_t first = std::min(segment * perSegment, triggers.size() - perSegment);
    const auto begin = triggers.begin() + static_cast<std::ptrdiff_t>(first);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

// epochs[c][k * length + i]; rows of windows that do not fit are zero, as in a run.
std::vector<std::vector<float>> read_epochs(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                                            const Window& window, const std::vector<std::uint32_t>& channels) {
    const auto length = static_cast<std::size_t>(window.length());
    std::vector<float> samples(recording.header().NrOfChannels * length);
    std::vector<std::vector<float>> epochs(channels.size(), std::vector<float>(triggers.size() * length));
    for (std::size_t k = 0; k < triggers.size(); ++k) {
        if (!window.fits(triggers[k], recording.header().NrOfSamples)) {
            continue;
        }
        recording.read(triggers[k] - window.preS, static_cast<std::uint32_t>(length), samples.data());
        for (std::size_t c = 0; c < channels.size(); ++c) {
            std::copy_n(&samples[channels[c] * length], length, &epochs[c][k * length]);
        }
    }
    return epochs;
}

// Sums shares and levels of one fit; false where the epochs held nothing, or values that are not numbers.
bool add(const std::vector<double>& eigenvalues, ComponentSpectrum& spectrum) {
    double total = 0.0;
    for (const double value : eigenvalues) {
        total += value;
    }
    if (!(total > 0.0) || !std::isfinite(total)) {
        return false;
    }
    spectrum.shares.resize(eigenvalues.size());
    spectrum.levels.resize(eigenvalues.size());
    const double mean = total / static_cast<double>(eigenvalues.size());
    for (std::size_t p = 0; p < eigenvalues.size(); ++p) {
        spectrum.shares[p] += std::max(0.0, eigenvalues[p] / total);
        spectrum.levels[p] += std::log10(std::max(1e-12, eigenvalues[p] / mean)); // rounding leaves some below 0
    }
    return true;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0.0 : values[values.size() / 2];
}

std::size_t most_components(std::size_t perSegment, const Window& window) {
    const auto eighth = static_cast<std::size_t>(window.length() / 8);
    return std::max<std::size_t>(1, std::min({mostComponents, perSegment / 3, eighth}));
}

} // namespace

ComponentSpectrum examine_components(RecordingReader& recording, const std::vector<std::int64_t>& triggers,
                                     const Window& window, int perSegment, int components,
                                     const std::vector<std::uint32_t>& candidates) {
    const auto n = static_cast<std::size_t>(perSegment);
    const std::size_t all = (triggers.size() + n - 1) / n;
    ComponentSpectrum spectrum;
    spectrum.epochs = std::min(n, mostEpochs);
    const std::size_t fitting = mostValues / (spectrum.epochs * static_cast<std::size_t>(window.length()));
    const std::size_t nChannels = std::min(std::clamp<std::size_t>(fitting, 1, mostChannels), candidates.size());
    const double growth = static_cast<double>(n) / static_cast<double>(spectrum.epochs);
    for (std::size_t i = 0; i < nChannels; ++i) {
        spectrum.channels.push_back(candidates[spread(i, nChannels, candidates.size())]);
    }
    const std::size_t nSegments = std::min(mostSegments, all);
    std::vector<double> seconds;
    std::size_t summed = 0;
    const auto start = std::chrono::steady_clock::now();
    const auto spent = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() > secondsToSpend;
    };
    for (std::size_t i = 0; i < nSegments && !(i > 0 && spent()); ++i) {
        const std::size_t segment = spread(i, nSegments, all);
        auto epochs =
            read_epochs(recording, triggers_of(triggers, segment, n, spectrum.epochs), window, spectrum.channels);
        ++spectrum.segments;
        for (std::vector<float>& ofChannel : epochs) {
            const int nEpochs = static_cast<int>(spectrum.epochs);
            const SegmentFit fit = fit_segment_in_memory(ofChannel, nEpochs, static_cast<int>(window.length()),
                                                         std::min(components, nEpochs));
            seconds.push_back(fit.eigenSeconds * growth * growth * growth + fit.otherSeconds * growth * growth);
            summed += add(fit.eigenvalues, spectrum) ? 1U : 0U;
        }
    }
    for (std::size_t p = 0; p < spectrum.shares.size(); ++p) {
        spectrum.shares[p] /= static_cast<double>(summed);
        spectrum.levels[p] /= static_cast<double>(summed);
    }
    spectrum.fitSeconds = median(std::move(seconds));
    return spectrum;
}

int outstanding_components(const ComponentSpectrum& spectrum, const Window& window) {
    const std::size_t most = most_components(spectrum.levels.size(), window);
    int components = 0;
    for (std::size_t p = 0; p < most && p + 1 < spectrum.levels.size(); ++p) {
        if (spectrum.levels[p] - spectrum.levels[p + 1] >= standsOut) {
            components = static_cast<int>(p) + 1;
        }
    }
    return components;
}

std::string spectrum_picture(const ComponentSpectrum& spectrum, int removed) {
    constexpr double charactersPerPower = 10.0; // of ten
    const std::size_t shown =
        std::min<std::size_t>(spectrum.levels.size(), static_cast<std::size_t>(std::max(8, std::min(removed + 4, 20))));
    std::string text;
    for (std::size_t p = 0; p < shown; ++p) {
        const double above = std::max(0.0, spectrum.levels[p] - spectrum.levels[shown - 1]);
        const auto length = static_cast<std::size_t>(std::min(60.0, 1.0 + charactersPerPower * above));
        char label[48];
        std::snprintf(label, sizeof label, "  %3zu %8.3g %%  ", p + 1, 100.0 * spectrum.shares[p]);
        text += label + std::string(length, p < static_cast<std::size_t>(removed) ? '#' : '-') + "\n";
    }
    return text;
}

} // namespace workbench
