#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace workbench {

/// A file that appears under its name only when it is complete. It is written under a temporary name in the same
/// folder, and removed when it is not committed.
class PendingFile {
public:
    /// Throws InputError when the final name is taken (and overwrite is not given), names a folder or anything else
    /// that is not a file, or when the folder cannot be written.
    PendingFile(std::filesystem::path finalPath, bool overwrite);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    /// Binary, open for writing from the start. Errors need not be checked before commit.
    std::ofstream& stream() { return stream_; }
    const std::filesystem::path& temporary_path() const { return temporary_; }
    const std::filesystem::path& final_path() const { return final_; }

    /// Throws InputError when a write has failed so far. For long jobs, which need not go on then.
    void check();

    /// Closes the file and gives it its name. Throws InputError when a write had failed or the name was taken
    /// meanwhile; nothing is left behind then.
    void commit();

private:
    std::string reason_of_failure();
    void discard();

    std::filesystem::path final_;
    std::filesystem::path temporary_; // empty once there is none any more
    std::ofstream stream_;
    bool overwrite_;
};

/// The folder that a file is or would be in; "." for a bare name.
std::filesystem::path folder_of(const std::filesystem::path& file);

/// Throws InputError where a new file could not be given this name: it is taken (and overwrite is not given), or it
/// names something that is not a file, or its folder is missing. What a long job checks before it begins.
void require_free_name(const std::filesystem::path& file, bool overwrite);

/// Renames a file within one file system. Without overwrite a file of that name is never replaced, not even one that
/// appears at the last moment. Throws InputError; the source then stays where it is.
void move_into_place(const std::filesystem::path& from, const std::filesystem::path& to, bool overwrite);

/// What move_into_place does, without overwrite, where the file system has no rename that refuses to replace: it takes
/// the name with an empty file first.
void claim_and_rename(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace workbench
