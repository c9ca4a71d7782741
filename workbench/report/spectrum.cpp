#include "workbench/report/spectrum.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace workbench {

namespace {

constexpr double smallest = 1e-30; // keeps the logarithm of nothing finite

} // namespace

std::size_t spectrum_segment(double rate, std::uint64_t samples) {
    const double wanted = std::clamp(4.0 * rate, 2.0, 65536.0);
    const auto segment = static_cast<std::size_t>(std::min(wanted, static_cast<double>(samples)));
    return std::max<std::size_t>(2, segment / 2 * 2);
}

Spectrum::Spectrum(std::size_t channels, std::size_t segment, double rate)
    : channels_(channels), segment_(segment), rate_(rate), waiting_(channels * segment), window_(segment),
      powers_(channels * (segment / 2 + 1)), segments_(channels), windowed_(segment), transform_(segment / 2 + 1),
      plan_(fftw_plan_dft_r2c_1d(static_cast<int>(segment), windowed_.data(),
                                 reinterpret_cast<fftw_complex*>(transform_.data()), FFTW_ESTIMATE)) {
    for (std::size_t i = 0; i < segment; ++i) {
        const double turn = 2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(segment);
        window_[i] = 0.5 - 0.5 * std::cos(turn);
    }
}

void Spectrum::gather_logarithms(double highest, std::function<SegmentKind(std::uint64_t)> kindOf) {
    kindOf_ = std::move(kindOf);
    logBins_ = std::min(bins(), static_cast<std::size_t>(highest / bin_width()) + 1);
    steady_ = {std::vector<double>(channels_ * logBins_), std::vector<std::uint64_t>(channels_)};
    quiet_ = steady_;
}

void Spectrum::gather(Gathered& sums, std::size_t channel) {
    ++sums.segments[channel];
    for (std::size_t bin = 0; bin < logBins_; ++bin) {
        sums.decibels[channel * logBins_ + bin] += 10.0 * std::log10(std::norm(transform_[bin]) + smallest);
    }
}

void Spectrum::add(std::size_t count, const float* src) {
    for (std::size_t done = 0; done < count;) {
        const std::size_t part = std::min(count - done, segment_ - filled_);
        for (std::size_t channel = 0; channel < channels_; ++channel) {
            std::copy_n(src + channel * count + done, part, &waiting_[channel * segment_ + filled_]);
        }
        filled_ += part;
        done += part;
        if (filled_ == segment_) {
            take_segment();
            filled_ = segment_ / 2;
            firstWaiting_ += segment_ - segment_ / 2;
        }
    }
}

void Spectrum::take_segment() {
    const SegmentKind kind = kindOf_ ? kindOf_(firstWaiting_) : SegmentKind::other;
    for (std::size_t channel = 0; channel < channels_; ++channel) {
        float* samples = &waiting_[channel * segment_];
        double mean = 0.0;
        for (std::size_t i = 0; i < segment_; ++i) {
            mean += static_cast<double>(samples[i]);
        }
        mean /= static_cast<double>(segment_);
        if (std::isfinite(mean)) {
            for (std::size_t i = 0; i < segment_; ++i) {
                windowed_[i] = window_[i] * (static_cast<double>(samples[i]) - mean);
            }
            fftw_execute(plan_.get());
            double* powers = &powers_[channel * bins()];
            for (std::size_t bin = 0; bin < bins(); ++bin) {
                powers[bin] += std::norm(transform_[bin]);
            }
            ++segments_[channel];
            if (kind != SegmentKind::other) {
                gather(kind == SegmentKind::steady ? steady_ : quiet_, channel);
            }
        }
        std::copy_n(samples + segment_ - segment_ / 2, segment_ / 2, samples);
    }
}

std::vector<double> Spectrum::density(std::size_t channel) const {
    double windowPower = 0.0;
    for (const double w : window_) {
        windowPower += w * w;
    }
    const auto begin = powers_.begin() + static_cast<std::ptrdiff_t>(channel * bins());
    std::vector<double> density(begin, begin + static_cast<std::ptrdiff_t>(bins()));
    const auto counted = static_cast<double>(std::max<std::uint64_t>(1, segments_[channel]));
    for (std::size_t bin = 0; bin < density.size(); ++bin) {
        const bool single = bin == 0 || bin + 1 == density.size(); // the others stand for two frequencies, + and -
        density[bin] *= (single ? 1.0 : 2.0) / (rate_ * windowPower * counted);
    }
    return density;
}

std::vector<double> Spectrum::mean_decibels(SegmentKind kind, std::size_t channel) const {
    const Gathered& sums = gathered(kind);
    const auto begin = sums.decibels.begin() + static_cast<std::ptrdiff_t>(channel * logBins_);
    std::vector<double> decibels(begin, begin + static_cast<std::ptrdiff_t>(logBins_));
    for (double& value : decibels) {
        value /= static_cast<double>(std::max<std::uint64_t>(1, sums.segments[channel]));
    }
    return decibels;
}

double band_power(const std::vector<double>& density, double binWidth, double from, double to) {
    double power = 0.0;
    for (std::size_t bin = 0; bin < density.size(); ++bin) {
        const double frequency = static_cast<double>(bin) * binWidth;
        power += frequency >= from && frequency < to ? density[bin] * binWidth : 0.0;
    }
    return power;
}

} // namespace workbench
