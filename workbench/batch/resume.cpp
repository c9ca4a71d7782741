#include "workbench/batch/resume.h"

#include <algorithm>
#include <system_error>

namespace workbench {

namespace {

namespace fs = std::filesystem;

bool names_report(const Job& job, const JobRecord& record) {
    return std::any_of(record.files.begin(), record.files.end(),
                       [&](const ResultFile& file) { return file.name == report_name(job); });
}

// "components was 3, is 4"; digests and times tell people nothing.
std::string difference(const JobIdentity& before, const JobIdentity& now) {
    for (std::size_t i = 0; i < now.size(); ++i) {
        const auto& [name, value] = now[i];
        if (i >= before.size() || before[i].first != name) {
            return "made by another version of the program";
        }
        if (before[i].second == value) {
            continue;
        }
        if (const std::size_t owner = name.find("'s "); owner != std::string::npos) {
            return "the " + name.substr(0, owner) + " has changed";
        }
        return name + " was \"" + before[i].second + "\", is \"" + value + "\"";
    }
    return before.size() == now.size() ? "" : "made by another version of the program";
}

std::string with_extension(const Job& job, const char* extension) {
    return fs::path(job.output).replace_extension(extension).string();
}

} // namespace

std::string report_name(const Job& job) {
    return with_extension(job, ".html");
}

std::string log_name(const Job& job) {
    return with_extension(job, ".log");
}

std::vector<std::string> fixed_results(const Job& job) {
    std::vector<std::string> names{job.output.string(), log_name(job)};
    if (job.report) {
        names.push_back(report_name(job));
    }
    return names;
}

bool is_own(const std::optional<JobRecord>& record, const std::string& name, const fs::path& results) {
    std::error_code error;
    if (!record || !fs::is_regular_file(fs::symlink_status(results / name, error))) {
        return false;
    }
    const std::uintmax_t size = fs::file_size(results / name, error);
    return !error && std::any_of(record->files.begin(), record->files.end(),
                                 [&](const ResultFile& file) { return file.name == name && file.size == size; });
}

std::vector<std::string> foreign_files(const Job& job, const std::optional<JobRecord>& record,
                                       const fs::path& results) {
    std::vector<std::string> names;
    for (const std::string& name : fixed_results(job)) {
        std::error_code error;
        if (fs::exists(fs::symlink_status(results / name, error)) && !is_own(record, name, results)) {
            names.push_back(name);
        }
    }
    return names;
}

std::optional<std::string> reason_to_run(const Job& job, const std::optional<JobRecord>& record,
                                         const JobIdentity& identity, const fs::path& results) {
    if (!record) {
        return "not run yet";
    }
    if (const std::string changed = difference(record->identity, identity); !changed.empty()) {
        return changed;
    }
    if (record->status != JobStatus::done) {
        return record->status == JobStatus::moving ? "was not finished" : "failed before";
    }
    if (job.report && !names_report(job, *record)) {
        return "has no report yet";
    }
    for (const ResultFile& file : record->files) {
        if (!is_own(record, file.name, results)) {
            return file.name + " is missing or was changed";
        }
    }
    return std::nullopt;
}

} // namespace workbench
