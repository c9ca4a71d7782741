#pragma once

#include <string>

#include "workbench/comparison.h"

/// A comparison as text. Values that are not finite are written nan, inf and -inf, and the channels they come from are
/// named.
namespace workbench {

/// For people: an aligned table with a line about the windows above it, channels counted from 1.
std::string comparison_table(const Comparison& comparison, const std::string& condition);

/// A header line and one line per channel, then one for all. Numbers with 9 significant digits.
std::string comparison_csv(const Comparison& comparison);

/// The same and the windows; values that are not finite are texts.
std::string comparison_json(const Comparison& comparison, const std::string& condition);

} // namespace workbench
