#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "workbench/recording.h"
#include "workbench/window.h"

namespace workbench {

/// Whether a cleaned recording holds the bytes of the recording wherever the run had nothing to write: outside the
/// windows of the triggers, or where the module puts what belongs into them. What is missing at the end of a recording
/// that was cut short must be zeros. Throws InputError when a file cannot be read.
bool is_copy_outside_windows(const RecordingReader& recording, const std::filesystem::path& cleaned,
                             const std::vector<std::int64_t>& triggers, const Window& window);

} // namespace workbench
