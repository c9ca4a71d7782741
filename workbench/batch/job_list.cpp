#include "workbench/batch/job_list.h"

#include <nlohmann/json.hpp>

#include "workbench/batch/resume.h"
#include "workbench/input_error.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

// What a job's results depend on besides its files.
std::vector<std::string> setting_words(const Job& job) {
    return {job.condition,
            std::to_string(job.pre),
            std::to_string(job.post),
            std::to_string(job.segment),
            std::to_string(job.components),
            job.product,
            job.asIs ? "as it is" : ""};
}

} // namespace

std::string job_list(const std::vector<Job>& jobs, const fs::path& results) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Job& job : jobs) {
        nlohmann::ordered_json entry;
        entry["line"] = job.line;
        entry["inputs"] = {job.recordingFile.string(), job.protocolFile.string()};
        if (!job.truth.empty()) {
            entry["inputs"].push_back(job.truthFile.string());
        }
        entry["settings"] = setting_words(job);
        entry["output"] = (results / job.output).string();
        entry["report"] = job.report ? (results / report_name(job)).string() : "";
        entry["log"] = (results / log_name(job)).string();
        list.push_back(entry);
    }
    try {
        return list.dump(2) + "\n";
    } catch (const nlohmann::json::type_error&) {
        throw InputError("the jobs cannot be listed as JSON: the folder of the jobs file or of the results has a name "
                         "that is not UTF-8; give it another");
    }
}

} // namespace workbench
