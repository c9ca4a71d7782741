#include "workbench/batch/summary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <system_error>

#include "workbench/batch/resume.h"
#include "workbench/csv_line.h"
#include "workbench/input_error.h"
#include "workbench/input_file.h"
#include "workbench/pending_file.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;
using Status = JobOutcome::Status;

// Tells that the summaries in the folder are a batch's own.
fs::path summary_mark(const fs::path& results) {
    return state_folder(results) / "summary";
}

std::string result_of(const JobOutcome& outcome, const std::string& name) {
    const bool there = outcome.record && std::any_of(outcome.record->files.begin(), outcome.record->files.end(),
                                                     [&](const ResultFile& file) { return file.name == name; });
    return there ? name : "";
}

std::string decimal(const std::optional<double>& value, int digits) {
    if (!value || std::isnan(*value)) {
        return "";
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, *value);
    return text;
}

std::size_t width_of(const std::string& text) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < text.size(); at += std::max<std::size_t>(1, utf8_length(text, at))) {
        ++width;
    }
    return width;
}

std::string padded(const std::string& text, std::size_t width, bool right) {
    const std::string blanks(width - std::min(width, width_of(text)), ' ');
    return right ? blanks + text : text + blanks;
}

std::string number_if_any(std::size_t count, const std::string& word) {
    return count == 0 ? "" : ", " + std::to_string(count) + " " + word;
}

} // namespace

JobOutcome outcome_of(const Job& job, const std::string& moduleDigest, const fs::path& results) {
    JobOutcome outcome;
    outcome.job = job;
    const std::optional<JobRecord> record = read_record(results, job);
    const JobIdentity identity = identity_of(job, moduleDigest);
    const std::optional<std::string> toRun = reason_to_run(job, record, identity, results);
    if (!toRun) {
        outcome.status = Status::done;
        outcome.record = record;
    } else if (record && record->status == JobStatus::failed && record->identity == identity) {
        outcome.status = Status::failed;
        outcome.reason = record->reason;
        outcome.record = record;
    } else {
        outcome.reason = *toRun;
    }
    return outcome;
}

std::string status_word(const JobOutcome& outcome) {
    return outcome.status == Status::done ? "done" : outcome.status == Status::failed ? "failed" : "not run";
}

std::string output_of(const JobOutcome& outcome) {
    return outcome.status == Status::done ? result_of(outcome, outcome.job.output.string()) : "";
}

std::string report_of(const JobOutcome& outcome) {
    return outcome.status == Status::done ? result_of(outcome, report_name(outcome.job)) : "";
}

std::string log_of(const JobOutcome& outcome) {
    return result_of(outcome, log_name(outcome.job));
}

std::string summary_counts(const std::vector<JobOutcome>& outcomes) {
    const auto count = [&](Status status) {
        return static_cast<std::size_t>(std::count_if(
            outcomes.begin(), outcomes.end(), [&](const JobOutcome& outcome) { return outcome.status == status; }));
    };
    const auto before = std::count_if(outcomes.begin(), outcomes.end(), [](const JobOutcome& outcome) {
        return outcome.status == Status::done && outcome.finishedBefore;
    });
    return std::to_string(count(Status::done)) + " done" +
           (before == 0 ? "" : " (" + std::to_string(before) + " of them before)") +
           number_if_any(count(Status::failed), "failed") + number_if_any(count(Status::notRun), "not run");
}

std::string summary_table(const std::vector<JobOutcome>& outcomes) {
    const bool hasTruth = std::any_of(outcomes.begin(), outcomes.end(), [](const JobOutcome& outcome) {
        return outcome.record && outcome.record->artifactDbRemoved;
    });
    std::vector<std::vector<std::string>> rows{{"line", "recording", "condition", "status", "seconds", "dB removed"}};
    if (hasTruth) {
        rows[0].push_back("dB by truth");
    }
    rows[0].push_back("result, or what is wrong");
    for (const JobOutcome& outcome : outcomes) {
        const bool done = outcome.status == Status::done;
        const JobRecord record = outcome.record.value_or(JobRecord{});
        std::vector<std::string> row{std::to_string(outcome.job.line),
                                     outcome.job.recording,
                                     outcome.job.condition,
                                     status_word(outcome),
                                     outcome.record ? decimal(record.seconds, 1) : "",
                                     done ? decimal(record.lockedDbRemoved, 1) : ""};
        if (hasTruth) {
            row.push_back(done ? decimal(record.artifactDbRemoved, 1) : "");
        }
        row.push_back(done ? outcome.job.output.string() : outcome.reason);
        rows.push_back(row);
    }
    std::vector<std::size_t> widths(rows[0].size(), 0);
    for (const std::vector<std::string>& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], width_of(row[i]));
        }
    }
    std::string text;
    for (const std::vector<std::string>& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const bool last = i + 1 == row.size();
            const bool isNumber = i == 0 || (i >= 4 && !last);
            line += (i == 0 ? "" : "  ") + (last ? row[i] : padded(row[i], widths[i], isNumber));
        }
        text += line + "\n";
    }
    return text + summary_counts(outcomes) + "\n";
}

std::string summary_csv(const std::vector<JobOutcome>& outcomes) {
    std::string text = "line,recording,condition,status,seconds,windows,locked_db_removed,artifact_db_removed,output,"
                       "report,log,reason\n";
    for (const JobOutcome& outcome : outcomes) {
        const JobRecord record = outcome.record.value_or(JobRecord{});
        const bool done = outcome.status == Status::done;
        text += std::to_string(outcome.job.line) + "," + csv_field(outcome.job.recording) + "," +
                csv_field(outcome.job.condition) + "," + status_word(outcome) + "," +
                (outcome.record ? decimal(record.seconds, 3) : "") + "," +
                (done ? std::to_string(record.windows) : "") + "," + (done ? decimal(record.lockedDbRemoved, 4) : "") +
                "," + (done ? decimal(record.artifactDbRemoved, 4) : "") + "," + csv_field(output_of(outcome)) + "," +
                csv_field(report_of(outcome)) + "," + csv_field(log_of(outcome)) + "," + csv_field(outcome.reason) +
                "\n";
    }
    return text;
}

void require_own_summary(const fs::path& results, bool overwrite) {
    std::error_code error;
    const bool own = fs::exists(summary_mark(results), error);
    for (const char* name : {"summary.csv", "summary.html"}) {
        require_free_name(results / name, overwrite || own);
    }
}

void write_summary(const fs::path& results, const std::vector<JobOutcome>& outcomes, const std::string& title) {
    PendingFile mark(summary_mark(results), true);
    mark.commit();
    PendingFile csv(results / "summary.csv", true);
    csv.stream() << summary_csv(outcomes);
    csv.commit();
    PendingFile page(results / "summary.html", true);
    page.stream() << summary_page(outcomes, title);
    page.commit();
}

} // namespace workbench
