#pragma once

#include <filesystem>
#include <string>

#include "workbench/protocol_file.h"

namespace workbench {

/// A protocol in samples from a CSV file with the columns condition,sample_number_0based. The header line is required
/// as it stands here; fields may be quoted. Conditions come in the order in which they first appear, numbers go in
/// unchanged. Throws InputError naming file, line and what was expected.
Protocol protocol_from_csv(const std::filesystem::path& file, const std::string& experiment);

} // namespace workbench
