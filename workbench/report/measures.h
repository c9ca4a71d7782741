#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "workbench/comparison.h"
#include "workbench/recording.h"
#include "workbench/report/spectrum.h"
#include "workbench/report/trace_layer.h"
#include "workbench/window.h"

/// What a report says about whole recordings, gathered in one walk through them.
namespace workbench {

/// The frequency bands of the EEG, in hertz.
struct Band {
    const char* name;
    double from;
    double to;
};
constexpr Band eegBands[] = {
    {"delta", 1.0, 4.0}, {"theta", 4.0, 8.0}, {"alpha", 8.0, 13.0}, {"beta", 13.0, 30.0}, {"gamma", 30.0, 80.0}};
constexpr std::size_t eegBandCount = 5;

/// Samples from `first` up to and with `last`.
struct Span {
    std::int64_t first;
    std::int64_t last;
};

/// The windows that lie inside the recording, joined where they touch or overlap, in time order.
std::vector<Span> covered_spans(const std::vector<std::int64_t>& triggers, const Window& window,
                                std::uint64_t nSamples);

/// How many of the samples from `first` on, `count` of them, lie in the spans.
std::uint64_t covered_samples(const std::vector<Span>& spans, std::uint64_t first, std::uint64_t count);

/// Samples outside the windows, of one channel.
struct OutsideWindows {
    std::uint64_t samples = 0; ///< where both recordings hold finite numbers
    /// 1 - variance(before - after) / variance(before): 1 when nothing was touched. Not a number where there are fewer
    /// than two samples or they do not vary.
    double keptShare = 0.0;
};

struct Measures {
    std::vector<OutsideWindows> outside;
    std::vector<Spectrum> spectra; ///< before, after and, where it is known, the truth
    TraceLayer traceBefore;
    TraceLayer traceAfter;
};

/// @param truth         the recording without artifact, or null.
/// @param spans         where the windows are
/// @param kindOf        what a stretch of the recording (first sample, count) is to the spectra
/// @param mostBins      of each trace layer, all channels together
/// @param betweenBlocks called with the share done, 0 to 1; may throw to end the work
/// Memory: channels times the spectrum's segment, and the trace layers.
Measures measure_recordings(RecordingReader& before, RecordingReader& after, RecordingReader* truth,
                            const std::vector<Span>& spans,
                            const std::function<SegmentKind(std::uint64_t, std::size_t)>& kindOf,
                            std::uint64_t mostBins, const std::function<void(double)>& betweenBlocks);

/// Change of a channel's power in a band, 10 log10(after / before), in dB; not a number where a power is 0 or the band
/// lies beyond half the sampling rate.
double band_change_db(const std::vector<double>& before, const std::vector<double>& after, double binWidth,
                      const Band& band);

} // namespace workbench
