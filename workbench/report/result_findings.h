#pragma once

#include <string>
#include <vector>

#include "workbench/comparison.h"
#include "workbench/report/measures.h"

namespace workbench {

/// Less than this share of a channel's variance kept outside the windows is told.
constexpr double keptShareThreshold = 0.999;
/// A channel whose artifact fell by less than this is told (dB).
constexpr double removalThreshold = 6.0;

/// One plain sentence per kind of trouble with the cleaned recording itself: values that are no numbers, channels
/// that are little cleaner, changes outside the windows. Empty when all is well.
/// @param nothingDiffers  the two recordings hold the same samples
std::vector<std::string> result_warnings(const Comparison& comparison, const std::vector<OutsideWindows>& outside,
                                         bool nothingDiffers);

} // namespace workbench
