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
    bool asIs = false; ///< also where the module misplaces or spoils the cleaned epochs of this kind of recording
};

/// What the module's dialogs take.
constexpr int longestWindow = 5000; ///< ms on either side
constexpr int smallestSegment = 10; ///< artifacts

} // namespace workbench
