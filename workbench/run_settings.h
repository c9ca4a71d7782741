#pragma once

#include <optional>

namespace workbench {

/// Settings of a removal run, as far as they are known.
struct RunSettings {
    std::optional<int> condition; ///< counted from 0
    std::optional<int> pre;       ///< ms before the trigger
    std::optional<int> post;      ///< ms after it
    std::optional<int> segment;   ///< artifacts per segment
    std::optional<int> components;
};

/// What the module's dialogs take.
constexpr int longestWindow = 5000; ///< ms on either side
constexpr int smallestSegment = 10; ///< artifacts

} // namespace workbench
