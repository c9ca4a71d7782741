#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace workbench {

/// One line of a jobs file: a recording and how to clean it.
struct Job {
    std::size_t line = 0; ///< in the jobs file, from 1; the header line is the first
    // As the jobs file writes them.
    std::string recording;
    std::string protocol;
    std::string condition;
    int pre = 0;  ///< ms
    int post = 0; ///< ms
    int segment = 0;
    int components = 0;
    std::string truth;             ///< empty for none
    std::string product = "fixed"; ///< or "blas"
    bool report = true;
    bool asIs = false;
    /// The cleaned recording relative to the results folder; ends in .ctc. Other results have names made of it.
    std::filesystem::path output;
    // Where the files are: relative names count from the jobs file's folder.
    std::filesystem::path recordingFile;
    std::filesystem::path protocolFile;
    std::filesystem::path truthFile; ///< empty for none
};

/// What a jobs file holds: jobs, or what is wrong with its lines.
struct JobsFile {
    std::vector<Job> jobs;
    std::vector<std::string> problems; ///< "FILE:LINE: ...", one for each thing that is wrong
};

/// Reads a jobs file (CSV with a header line that names the columns, in any order). Values are checked against what the
/// module's dialogs take, and outputs against each other; the recordings are not looked at.
/// Throws InputError for a file that cannot be read, whose header is wrong, or that holds no job.
JobsFile read_jobs(const std::filesystem::path& file);

/// The cleaned recording of a recording, relative to the results folder: its name with _OBS, in the same subfolder
/// where the jobs file names it relative to its own folder.
std::filesystem::path default_output(const std::filesystem::path& recording);

} // namespace workbench
