#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// The report on a removal: one HTML file that needs nothing else to be seen.
namespace workbench {

struct ReportRequest {
    std::filesystem::path before; ///< the recording as it was
    std::filesystem::path after;  ///< the cleaned recording
    std::filesystem::path truth;  ///< the recording without artifact; empty where it is not known
    std::filesystem::path protocol;
    std::string condition; ///< name, or number from 1
    // The window in milliseconds, both or neither. Without, it is found from the samples that changed.
    std::optional<int> pre;
    std::optional<int> post;
    // What else is known of the removal; only shown.
    std::optional<int> segment;
    std::optional<int> components;
    std::string module; ///< name and version; empty where it is not known
    std::filesystem::path output;
    bool overwrite = false;
};

/// Throws InputError where the report could not be given its name: it is taken, or is one of the files that are read.
/// What a long job checks before it begins.
void check_report_name(const std::filesystem::path& output, const std::vector<std::filesystem::path>& inputs,
                       bool overwrite);

/// Measures and writes the report. It appears under its name only when it is complete, and has about 8 MB at most,
/// however long the recording is. Memory: tens of megabytes, and channels times the window. Shows progress where
/// standard error is a terminal.
/// Throws InputError for files that do not belong together or cannot be used, RunError when interrupted.
void write_report(const ReportRequest& request);

} // namespace workbench
