#pragma once

#include <filesystem>

#include "workbench/exchange/export_job.h"

namespace workbench::exchange {

/// Writes an EDF+ (16 bits) or BDF+ (24 bits) file. Each channel's physical range is that of its values. What is not a
/// number is written as 0 uV and said. Throws InputError.
void write_edf(ExportJob& job, const std::filesystem::path& file, bool bdf);

} // namespace workbench::exchange
