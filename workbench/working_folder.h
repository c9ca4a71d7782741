#pragma once

#include <filesystem>

namespace workbench {

/// A private folder for one run, hidden beside the output so that finished files can be moved without copying.
/// Removed with everything in it when the object goes.
class WorkingFolder {
public:
    /// Throws InputError when the folder cannot be made.
    explicit WorkingFolder(const std::filesystem::path& parent);
    ~WorkingFolder();
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

    const std::filesystem::path& path() const { return folder_; }

private:
    std::filesystem::path folder_;
};

} // namespace workbench
