#pragma once

#include <memory>

#include "workbench/exchange/foreign_recording.h"
#include "workbench/interrupt.h"

namespace workbench::exchange {

/// Opens a recording in any format that can be read, told from its first bytes.
/// @param interrupt  must outlive the recording.
/// Throws InputError where it cannot be read.
std::unique_ptr<ForeignRecording> open_recording(const std::filesystem::path& file, const OpenOptions& options,
                                                 InterruptHold& interrupt);

} // namespace workbench::exchange
