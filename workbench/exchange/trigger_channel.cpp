#include "workbench/exchange/trigger_channel.h"

#include <cmath>

namespace workbench::exchange {

namespace {

constexpr double largestCode = 1e15; // whole numbers up to here are exact

std::int64_t code_of(double value, std::int64_t mask) {
    return std::abs(value) <= largestCode ? std::llround(value) & mask : 0; // what is not a number is no code
}

} // namespace

EdgeDetector::EdgeDetector(double threshold, Edge edge, std::uint64_t minDistance)
    : threshold_(threshold), edge_(edge), minDistance_(minDistance) {}

void EdgeDetector::add(const double* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, ++position_) {
        const bool above = values[i] >= threshold_;
        const bool crossed = position_ > 0 && above != above_;
        const bool wanted = edge_ == Edge::both || above == (edge_ == Edge::rising);
        if (crossed && wanted && (found_.empty() || position_ - found_.back() >= minDistance_)) {
            found_.push_back(position_);
        }
        above_ = above;
    }
}

CodeDetector::CodeDetector(std::int64_t mask, std::uint64_t minDistance) : mask_(mask), minDistance_(minDistance) {}

void CodeDetector::add(const double* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, ++position_) {
        const std::int64_t code = code_of(values[i], mask_);
        const bool changed = position_ > 0 && code != last_ && code != 0;
        if (changed && (found_.empty() || position_ - found_.back().sample >= minDistance_)) {
            found_.push_back({position_, code});
        }
        last_ = code;
    }
}

} // namespace workbench::exchange
