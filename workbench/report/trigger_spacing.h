#pragma once

#include <cstdint>
#include <vector>

namespace workbench {

/// The median distance of neighbouring triggers, in samples; 0 with fewer than two.
double median_distance(const std::vector<std::int64_t>& triggers);

/// How often per second an artifact recurs whose triggers are even enough for harmonics: at most a fifth of the
/// distances farther than a tenth from the median, the others alike within a fiftieth or the rounding to samples.
/// Their mean counts: it is finer than the median where the true distance is no whole number. 0 for other triggers.
double artifact_frequency(const std::vector<std::int64_t>& triggers, double rate);

} // namespace workbench
