#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "workbench/exchange/foreign_recording.h"

namespace workbench::exchange {

struct TableEvents {
    std::vector<ForeignEvent> events;
    std::size_t withoutTime = 0; ///< rows whose time or type is n/a; they are no events
};

/// Events from a table between tabs or commas. When: the column onset (seconds after the first sample), or else sample
/// or sample_number_0based (counted from 0). What: trial_type, or else condition or value; "event" without any.
/// @param rate  of the recording, for samples
/// Throws InputError naming file, line and what was expected.
TableEvents events_from_table(const std::filesystem::path& file, double rate);

} // namespace workbench::exchange
