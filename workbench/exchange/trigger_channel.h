#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Triggers in the samples of a channel, which may come in blocks of any length.
namespace workbench::exchange {

enum class Edge { rising, falling, both };

/// Moments when a signal crosses a threshold. A rising edge is the first sample at or above it after one below, a
/// falling edge the first sample below it after one at or above. What the signal begins with is no edge.
class EdgeDetector {
public:
    /// @param minDistance  samples; an edge closer than this to the last one found does not count
    EdgeDetector(double threshold, Edge edge, std::uint64_t minDistance);

    void add(const double* values, std::size_t count);
    /// Samples, counted from 0, ascending.
    const std::vector<std::uint64_t>& found() const { return found_; }

private:
    double threshold_;
    Edge edge_;
    std::uint64_t minDistance_;
    std::uint64_t position_ = 0;
    bool above_ = false;
    std::vector<std::uint64_t> found_;
};

struct TriggerCode {
    std::uint64_t sample;
    std::int64_t code;
};

/// Moments when the whole number in a signal changes to another one that is not 0.
class CodeDetector {
public:
    /// @param mask         bits that count; -1 for all
    /// @param minDistance  samples; a code closer than this to the last one found does not count
    CodeDetector(std::int64_t mask, std::uint64_t minDistance);

    void add(const double* values, std::size_t count);
    const std::vector<TriggerCode>& found() const { return found_; }

private:
    std::int64_t mask_;
    std::uint64_t minDistance_;
    std::uint64_t position_ = 0;
    std::int64_t last_ = 0;
    std::vector<TriggerCode> found_;
};

} // namespace workbench::exchange
