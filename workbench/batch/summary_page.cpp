#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>

#include "workbench/batch/summary.h"

namespace workbench {

namespace {

constexpr const char* head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>@TITLE@</title>
<style>
body { font: 15px/1.4 system-ui, sans-serif; margin: 2em auto; max-width: 80em; padding: 0 1em; color: #222; }
table { border-collapse: collapse; width: 100%; }
th, td { padding: .35em .7em; text-align: left; border-bottom: 1px solid #ddd; vertical-align: top; }
th { border-bottom: 2px solid #888; }
.number { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
.links { white-space: nowrap; }
.done { color: #17692f; }
.failed { color: #b00020; font-weight: bold; }
</style>
</head>
<body>
)";

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

// A file's name as a link takes it.
std::string link_to(const std::string& file) {
    const std::string plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~/";
    std::string result;
    for (const char c : file) {
        char code[4] = {c, '\0', '\0', '\0'};
        if (plain.find(c) == std::string::npos) {
            std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned int>(static_cast<unsigned char>(c)));
        }
        result += code;
    }
    return result;
}

std::string link(const std::string& file, const std::string& words) {
    return file.empty() ? "" : "<a href=\"" + link_to(file) + "\">" + words + "</a>";
}

std::string decimal(const std::optional<double>& value) {
    char text[64] = "";
    if (value) {
        std::snprintf(text, sizeof text, "%.1f", *value);
    }
    return text;
}

std::string cell(const std::string& html, const std::string& kind = "") {
    return (kind.empty() ? "<td>" : "<td class=\"" + kind + "\">") + html + "</td>";
}

std::string row(const JobOutcome& outcome, bool hasTruth) {
    const JobRecord record = outcome.record.value_or(JobRecord{});
    const bool done = outcome.status == JobOutcome::Status::done;
    const std::string seconds = outcome.record ? decimal(record.seconds) : "";
    std::string links = link(report_of(outcome), "report");
    const std::string log = link(log_of(outcome), "log");
    links += (links.empty() || log.empty() ? "" : " &middot; ") + log;
    return "<tr>" + cell(std::to_string(outcome.job.line), "number") + cell(escaped(outcome.job.recording)) +
           cell(escaped(outcome.job.condition)) + cell(status_word(outcome), done ? "done" : "failed") +
           cell(seconds, "number") + cell(done ? decimal(record.lockedDbRemoved) : "", "number") +
           (hasTruth ? cell(done ? decimal(record.artifactDbRemoved) : "", "number") : "") +
           cell(escaped(done ? output_of(outcome) : outcome.reason)) + cell(links, "links") + "</tr>\n";
}

} // namespace

std::string summary_page(const std::vector<JobOutcome>& outcomes, const std::string& title) {
    std::string page = head;
    const std::string place = "@TITLE@";
    page.replace(page.find(place), place.size(), escaped(title));
    page += "<h1>" + escaped(title) + "</h1>\n<p>" + summary_counts(outcomes) + "</p>\n";
    const bool hasTruth = std::any_of(outcomes.begin(), outcomes.end(), [](const JobOutcome& outcome) {
        return outcome.record && outcome.record->artifactDbRemoved;
    });
    page += "<table>\n<thead><tr><th class=\"number\">Line</th><th>Recording</th><th>Condition</th><th>Status</th>"
            "<th class=\"number\">Seconds</th><th class=\"number\">dB removed</th>";
    page += hasTruth ? "<th class=\"number\">dB by truth</th>" : "";
    page += "<th>Result, or what is wrong</th><th></th></tr></thead>\n<tbody>\n";
    for (const JobOutcome& outcome : outcomes) {
        page += row(outcome, hasTruth);
    }
    return page + "</tbody>\n</table>\n</body>\n</html>\n";
}

} // namespace workbench
