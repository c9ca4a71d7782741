#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace workbench {

/// A private folder for one run, hidden beside the output so that finished files can be moved without copying.
/// Removed with everything in it when the object goes. Its owner is noted in it and holds a lock as long as it lives,
/// so that what a killed run leaves can be told from a run at work (see clear_leftovers).
class WorkingFolder {
public:
    /// @param trials  name of the trial file that the run will put beside the output; for clear_leftovers.
    /// Throws InputError when the folder cannot be made.
    WorkingFolder(const std::filesystem::path& parent, const std::string& trials);
    ~WorkingFolder();
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

    const std::filesystem::path& path() const { return folder_; }

private:
    std::filesystem::path folder_;
    int lock_ = -1;
};

/// Names of files in a working folder that tell how far its run came.
constexpr const char* cleanedName = "recording_OBS.ctc"; ///< gone once both results are in their places
constexpr const char* replacedName = "replaced.trl";     ///< the trial file that had the place before

/// Removes the working folders that killed runs of this user left in `parent`. A trial file that such a run had put in
/// its place already, but not the cleaned recording, is taken back, and one that it replaced put back. Folders of runs
/// at work, on other machines too, stay.
/// @return one line for each that was removed, and for each that nobody can be sure of.
std::vector<std::string> clear_leftovers(const std::filesystem::path& parent);

} // namespace workbench
