#pragma once

#include <string>
#include <vector>

#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/run_settings.h"

namespace workbench {

/// Throws InputError for a setting that the module's dialogs would not take, or with which nothing can be cleaned, and
/// for a recording whose cleaned epochs the module would misplace or spoil, unless settings.asIs.
void check_settings(const RecordingReader& recording, const Protocol& protocol, const RunSettings& settings);

/// What a run will do that the user might not expect, one line each: samples that the module misplaces in this kind
/// of recording, a data section cut short, triggers whose window does not fit, channels that are flat.
std::vector<std::string> announcements(RecordingReader& recording, const Protocol& protocol,
                                       const RunSettings& settings);

} // namespace workbench
