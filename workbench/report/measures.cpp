#include "workbench/report/measures.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "workbench/report/blocks.h"

namespace workbench {

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// Mean and sum of squared deviations of a growing set of values (Welford 1962).
struct RunningVariance {
    std::uint64_t count = 0;
    double mean = 0.0;
    double squares = 0.0;

    void add(double value) {
        ++count;
        const double toOldMean = value - mean;
        mean += toOldMean / static_cast<double>(count);
        squares += toOldMean * (value - mean);
    }
};

struct OutsideSums {
    RunningVariance before;
    RunningVariance difference;

    void add(float was, float is) {
        if (std::isfinite(was) && std::isfinite(is)) {
            before.add(static_cast<double>(was));
            difference.add(static_cast<double>(was) - static_cast<double>(is));
        }
    }

    OutsideWindows result() const {
        const bool varies = before.count > 1 && before.squares > 0.0;
        return {before.count, varies ? 1.0 - difference.squares / before.squares : notANumber};
    }
};

// Places in a block that lie in no span. `next` is the first span that may reach into the block or beyond; it advances.
std::vector<std::size_t> places_outside(const std::vector<Span>& spans, std::size_t& next, std::int64_t first,
                                        std::size_t count) {
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < count; ++i) {
        const std::int64_t sample = first + static_cast<std::int64_t>(i);
        while (next < spans.size() && spans[next].last < sample) {
            ++next;
        }
        if (next == spans.size() || sample < spans[next].first) {
            places.push_back(i);
        }
    }
    return places;
}

} // namespace

std::vector<Span> covered_spans(const std::vector<std::int64_t>& triggers, const Window& window,
                                std::uint64_t nSamples) {
    std::vector<Span> spans;
    for (const std::int64_t trigger : triggers) {
        if (window.fits(trigger, nSamples)) {
            spans.push_back({trigger - window.preS, trigger + window.postS});
        }
    }
    std::sort(spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.first < b.first; });
    std::vector<Span> joined;
    for (const Span& span : spans) {
        if (!joined.empty() && span.first <= joined.back().last + 1) {
            joined.back().last = std::max(joined.back().last, span.last);
        } else {
            joined.push_back(span);
        }
    }
    return joined;
}

std::uint64_t covered_samples(const std::vector<Span>& spans, std::uint64_t first, std::uint64_t count) {
    const auto begin = static_cast<std::int64_t>(first);
    const std::int64_t end = begin + static_cast<std::int64_t>(count);
    std::int64_t covered = 0;
    auto span = std::lower_bound(spans.begin(), spans.end(), begin,
                                 [](const Span& s, std::int64_t sample) { return s.last < sample; });
    for (; span != spans.end() && span->first < end; ++span) {
        covered += std::min(end, span->last + 1) - std::max(begin, span->first);
    }
    return static_cast<std::uint64_t>(covered);
}

Measures measure_recordings(RecordingReader& before, RecordingReader& after, RecordingReader* truth,
                            const std::vector<Span>& spans,
                            const std::function<SegmentKind(std::uint64_t, std::size_t)>& kindOf,
                            std::uint64_t mostBins, const std::function<void(double)>& betweenBlocks) {
    const CTCStruct& header = before.header();
    const std::size_t channels = header.NrOfChannels;
    const std::uint64_t samples = header.NrOfSamples;
    const auto rate = static_cast<double>(header.SamplingFrequency);
    const std::uint64_t bin = bin_for(channels, samples, mostBins);
    Measures measures{{}, {}, TraceLayer(channels, samples, bin), TraceLayer(channels, samples, bin)};

    std::vector<RecordingReader*> recordings{&before, &after};
    if (truth != nullptr) {
        recordings.push_back(truth);
    }
    for (std::size_t i = 0; i < recordings.size(); ++i) {
        const std::size_t segment = spectrum_segment(rate, samples);
        measures.spectra.emplace_back(channels, segment, rate);
        measures.spectra.back().gather_logarithms(eegBands[eegBandCount - 1].to,
                                                  [=](std::uint64_t first) { return kindOf(first, segment); });
    }
    std::vector<OutsideSums> outside(channels);
    std::vector<std::vector<float>> blocks(recordings.size());
    std::size_t nextSpan = 0;
    for_each_block(header, [&](std::int64_t first, std::uint32_t count) {
        betweenBlocks(static_cast<double>(first) / static_cast<double>(samples));
        for (std::size_t i = 0; i < recordings.size(); ++i) {
            blocks[i].resize(channels * count);
            recordings[i]->read(first, count, blocks[i].data());
            measures.spectra[i].add(count, blocks[i].data());
        }
        measures.traceBefore.add(count, blocks[0].data());
        measures.traceAfter.add(count, blocks[1].data());
        const std::vector<std::size_t> places = places_outside(spans, nextSpan, first, count);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            for (const std::size_t place : places) {
                outside[channel].add(blocks[0][channel * count + place], blocks[1][channel * count + place]);
            }
        }
    });
    for (const OutsideSums& sums : outside) {
        measures.outside.push_back(sums.result());
    }
    return measures;
}

double band_change_db(const std::vector<double>& before, const std::vector<double>& after, double binWidth,
                      const Band& band) {
    const double was = band_power(before, binWidth, band.from, band.to);
    const double is = band_power(after, binWidth, band.from, band.to);
    return was > 0.0 && is > 0.0 ? 10.0 * std::log10(is / was) : notANumber;
}

} // namespace workbench
