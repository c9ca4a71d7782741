#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <fftw3.h>

/// Power spectra of all channels, one stretch of samples at a time.
namespace workbench {

/// Samples per segment that suit a recording: four seconds, so that neighbours are a quarter of a hertz apart; an even
/// number, at most 65536 and no more than there are.
std::size_t spectrum_segment(double rate, std::uint64_t samples);

/// What a segment is to a judgement: the artifact goes on throughout, or is nowhere in it.
enum class SegmentKind { other, steady, quiet };

/// Welch's estimate: segments that overlap by half, their mean removed, under a Hann window, their powers averaged.
/// Memory: channels times three segments.
class Spectrum {
public:
    /// @param segment  samples, even, at least 2
    Spectrum(std::size_t channels, std::size_t segment, double rate);

    /// The logarithms of the power are gathered, too, for steady and for quiet segments, up to a frequency in hertz.
    /// Before the first sample is added.
    /// @param kindOf  what the segment is that begins with this sample, counted from 0
    void gather_logarithms(double highest, std::function<SegmentKind(std::uint64_t)> kindOf);

    /// Appends samples: src[channel * count + i].
    void add(std::size_t count, const float* src);

    /// One-sided power density in microvolts squared per hertz at the frequencies bin * bin_width(), bins() of them. A
    /// segment with a sample that is no finite number does not count; without any other the density is all 0.
    std::vector<double> density(std::size_t channel) const;
    std::uint64_t segments(std::size_t channel) const { return segments_[channel]; }
    /// 10 log10 of the power in each bin, averaged over the segments of a kind: a few segments that hold far
    /// more than the others (where an artifact begins or jumps) hardly move it. Only differences mean something.
    std::vector<double> mean_decibels(SegmentKind kind, std::size_t channel) const;
    std::uint64_t segments_of(SegmentKind kind, std::size_t channel) const { return gathered(kind).segments[channel]; }
    std::size_t bins() const { return segment_ / 2 + 1; }
    std::size_t segment() const { return segment_; }
    double bin_width() const { return rate_ / static_cast<double>(segment_); }

private:
    // The logarithms for the segments of one kind.
    struct Gathered {
        std::vector<double> decibels; // [channel * logBins + bin] sums
        std::vector<std::uint64_t> segments;
    };
    const Gathered& gathered(SegmentKind kind) const { return kind == SegmentKind::steady ? steady_ : quiet_; }

    void take_segment();
    void gather(Gathered& sums, std::size_t channel);

    struct PlanEnd {
        void operator()(fftw_plan_s* plan) const { fftw_destroy_plan(plan); }
    };

    std::size_t channels_;
    std::size_t segment_;
    double rate_;
    std::size_t filled_ = 0;
    std::uint64_t firstWaiting_ = 0; // sample at which the waiting ones begin
    std::function<SegmentKind(std::uint64_t)> kindOf_;
    std::size_t logBins_ = 0;
    Gathered steady_;
    Gathered quiet_;
    std::vector<float> waiting_;          // [channel * segment + i]
    std::vector<double> window_;          // [i]
    std::vector<double> powers_;          // [channel * bins + bin]
    std::vector<std::uint64_t> segments_; // [channel]
    std::vector<double> windowed_;
    std::vector<std::complex<double>> transform_;
    std::unique_ptr<fftw_plan_s, PlanEnd> plan_;
};

/// Power (microvolts squared) from `from` up to but not including `to` (Hz).
double band_power(const std::vector<double>& density, double binWidth, double from, double to);

} // namespace workbench
