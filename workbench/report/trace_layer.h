#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// The course of all channels in few numbers: the lowest and the highest sample of every bin.
namespace workbench {

class TraceLayer {
public:
    TraceLayer(std::size_t channels, std::uint64_t samples, std::uint64_t samplesPerBin);

    /// Appends samples: src[channel * count + i]. Those that are no finite numbers are left out.
    void add(std::size_t count, const float* src);

    /// Joins `factor` neighbouring bins into one.
    void merge(std::size_t factor);

    std::size_t channels() const { return channels_; }
    std::size_t bins() const { return bins_; }
    std::uint64_t samples_per_bin() const { return samplesPerBin_; }
    /// One value per bin; not a number where the bin holds no finite sample.
    const float* lowest(std::size_t channel) const { return &lowest_[channel * bins_]; }
    /// The same values as lowest() in a layer that holds every sample.
    const float* highest(std::size_t channel) const {
        return samplesPerBin_ == 1 ? lowest(channel) : &highest_[channel * bins_];
    }
    /// Root mean square of the steps from one sample to the next: how coarsely a trace can be stored without its
    /// showing.
    double roughness(std::size_t channel) const;

private:
    std::size_t channels_;
    std::uint64_t samplesPerBin_;
    std::size_t bins_;
    std::uint64_t added_ = 0;
    std::vector<float> lowest_;  // [channel * bins + bin]
    std::vector<float> highest_; // the same; empty while a bin is one sample
    std::vector<float> last_;    // [channel] the sample added last
    std::vector<double> stepSquares_;
    std::vector<std::uint64_t> steps_;
};

/// Samples per bin of the finest layer that holds no more than mostBins bins of all channels: 1, or a power of two from
/// 4 on (a bin of two is no smaller than its two samples).
std::uint64_t bin_for(std::size_t channels, std::uint64_t samples, std::uint64_t mostBins);

} // namespace workbench
