#include "workbench/batch/result_names.h"

#include <set>
#include <system_error>

#include "workbench/batch/job_record.h"
#include "workbench/batch/resume.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

fs::path whole_path(const fs::path& file) {
    std::error_code error;
    const fs::path whole = fs::weakly_canonical(file, error);
    return error ? file : whole;
}

} // namespace

std::vector<std::string> problems_of_names(const std::string& jobsFile, const std::vector<Job>& jobs,
                                           const fs::path& results, bool overwrite) {
    std::set<fs::path> inputs{whole_path(jobsFile)};
    for (const Job& job : jobs) {
        for (const fs::path& input : {job.recordingFile, job.protocolFile, job.truthFile}) {
            inputs.insert(whole_path(input));
        }
    }
    std::vector<std::string> problems;
    for (const Job& job : jobs) {
        for (const std::string& name : fixed_results(job)) {
            if (inputs.count(whole_path(results / name)) != 0) {
                problems.push_back(jobsFile + ":" + std::to_string(job.line) + ": the result " + name +
                                   " would replace a file that is never changed; give another name in the column "
                                   "output, or another folder with -o");
            }
        }
        for (const std::string& name : foreign_files(job, read_record(results, job), results)) {
            if (!overwrite) {
                problems.push_back(jobsFile + ":" + std::to_string(job.line) + ": " + (results / name).string() +
                                   " exists already, and is not as the batch left it (--overwrite replaces it)");
            }
        }
    }
    for (const char* name : {"summary.csv", "summary.html"}) {
        if (inputs.count(whole_path(results / name)) != 0) {
            problems.push_back("the summary would replace " + (results / name).string() +
                               "; choose another folder with -o");
        }
    }
    return problems;
}

} // namespace workbench
