#pragma once

#include <filesystem>

#include "workbench/exchange/export_job.h"

namespace workbench::exchange {

/// The three files of a BrainVision recording, by the name of its header.
struct BrainVisionFiles {
    std::filesystem::path header;
    std::filesystem::path markers;
    std::filesystem::path data;
};
BrainVisionFiles brainvision_files(const std::filesystem::path& header);

/// Writes a BrainVision recording: 32-bit floats in microvolts, sample after sample, which keep every value. All three
/// files appear, or none. Throws InputError.
void write_brainvision(ExportJob& job, const std::filesystem::path& header);

} // namespace workbench::exchange
