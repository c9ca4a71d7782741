#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace workbench {

/// Where the two results of a run go.
struct ResultFiles {
    std::filesystem::path recording; ///< R_OBS.ctc, or as the user named it
    std::filesystem::path trials;    ///< R_CONDITION.trl; empty while the condition is not known
};

/// @param output  the user's name for the cleaned recording; empty for the default beside the recording.
ResultFiles result_files(const std::filesystem::path& recording, const std::filesystem::path& output,
                         const std::string& condition);

/// Throws InputError where a result's name is taken (and overwrite is not given), cannot be used, or is an input's.
void check_result_files(const ResultFiles& files, const std::vector<std::filesystem::path>& inputs, bool overwrite);

/// Moves both results to their places, or neither: a file that was replaced is put back when the other cannot be moved.
/// @param folder  where they were made; takes a replaced trial file for the time being.
/// Throws InputError, or RunError where the trial file could be placed but not taken back.
void move_results(const std::filesystem::path& folder, const std::filesystem::path& recording,
                  const std::filesystem::path& trials, const ResultFiles& files, bool overwrite);

} // namespace workbench
