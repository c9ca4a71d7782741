#include "workbench/batch/job_work.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "workbench/batch/durable.h"
#include "workbench/batch/resume.h"
#include "workbench/comparison.h"
#include "workbench/input_error.h"
#include "workbench/pending_file.h"
#include "workbench/protocol_file.h"
#include "workbench/recording.h"
#include "workbench/shell_quoted.h"
#include "workbench/window.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

std::string file_name(const std::string& result) {
    return fs::path(result).filename().string();
}

void log_command(const fs::path& log, const std::vector<std::string>& words) {
    std::ofstream stream(log, std::ios::binary | std::ios::app);
    stream << "$";
    for (const std::string& word : words) {
        stream << " " << shell_quoted(word);
    }
    stream << "\n";
}

void append(const fs::path& log, const std::string& line) {
    std::ofstream(log, std::ios::binary | std::ios::app) << "workbench: " << line << "\n";
}

[[noreturn]] void become_program(const std::vector<std::string>& words, const fs::path& folder, const fs::path& log,
                                 const std::function<void()>& beforeProgram) {
    const int nothing = open("/dev/null", O_RDONLY);
    const int output = open(log.c_str(), O_WRONLY | O_APPEND);
    if (chdir(folder.c_str()) != 0 || nothing < 0 || output < 0) {
        _exit(127);
    }
    dup2(nothing, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    close(nothing);
    close(output);
    beforeProgram();
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execv("/proc/self/exe", arguments.data()); // this program, also when another has taken its place on the disk
    _exit(127);
}

// The wait status of the program.
int run_program(const std::vector<std::string>& words, const fs::path& folder, const fs::path& log,
                const std::function<void()>& beforeProgram) {
    const pid_t child = fork();
    if (child == 0) {
        become_program(words, folder, log, beforeProgram);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child > 0 ? status : 127 << 8;
}

// The last thing that the program said of itself, which is why it ended.
std::string last_words(const fs::path& log) {
    constexpr const char* prefix = "workbench: ";
    constexpr const char* notePrefix = "workbench: note: ";
    constexpr const char* ending = "; nothing was written";
    std::ifstream stream(log, std::ios::binary);
    std::string words;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(prefix) && !line.starts_with(notePrefix)) {
            words = line.substr(std::strlen(prefix));
        }
    }
    return words.ends_with(ending) ? words.substr(0, words.size() - std::strlen(ending)) : words;
}

std::string failure_of(int status, const fs::path& log) {
    if (WIFSIGNALED(status)) {
        return std::string("its process was ended (") + strsignal(WTERMSIG(status)) + ")";
    }
    if (WEXITSTATUS(status) == 0) {
        return "";
    }
    const std::string words = last_words(log);
    return words.empty() ? "its process ended with status " + std::to_string(WEXITSTATUS(status)) : words;
}

void measure(const Job& job, const fs::path& cleaned, JobRecord& record) {
    RecordingReader before(job.recordingFile);
    RecordingReader after(cleaned);
    std::optional<RecordingReader> truth;
    if (!job.truth.empty()) {
        truth.emplace(job.truthFile);
    }
    const Protocol protocol = read_protocol(job.protocolFile);
    const ProtocolCondition& condition =
        protocol.conditions[static_cast<std::size_t>(find_condition(protocol, job.condition))];
    const float rate = before.header().SamplingFrequency;
    const Comparison comparison =
        compare_recordings(before, after, truth ? &*truth : nullptr, trigger_samples(protocol, condition, rate),
                           window_in_samples(job.pre, job.post, rate));
    record.windows = comparison.windows;
    record.lockedDbRemoved = comparison.all.lockedDbRemoved;
    if (comparison.hasTruth) {
        record.artifactDbRemoved = comparison.all.artifactDbRemoved;
    }
}

// Files of the working folder that are results: cleaned recording, trial file, report, log.
std::vector<ResultFile> results_in(const fs::path& work, const Job& job) {
    std::vector<ResultFile> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(work)) {
        const std::string extension = entry.path().extension().string();
        const bool isResult = extension == ".ctc" || extension == ".trl" || extension == ".html" || extension == ".log";
        if (isResult && entry.is_regular_file()) {
            const fs::path name = job.output.parent_path() / entry.path().filename();
            files.push_back({name.string(), entry.file_size()});
        }
    }
    std::sort(files.begin(), files.end(), [](const ResultFile& a, const ResultFile& b) { return a.name < b.name; });
    return files;
}

bool among(const std::vector<ResultFile>& files, const std::string& name) {
    return std::any_of(files.begin(), files.end(), [&](const ResultFile& file) { return file.name == name; });
}

void make_folder_for(const fs::path& file) {
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    if (error) {
        throw InputError(file.parent_path().string() + ": cannot be made (" + error.message() + ")");
    }
}

// Puts the files in place and writes the record. Before the first of them moves, a record says that they are the
// batch's: whoever comes after a sudden end may replace them. Results of an earlier run that have no successor go.
void put_in_place(const fs::path& work, const Job& job, const BatchSettings& settings, JobRecord record,
                  bool removeEarlier) {
    const std::optional<JobRecord> earlier = read_record(settings.results, job);
    const JobStatus status = record.status;
    const std::vector<ResultFile> files = record.files;
    for (const ResultFile& file : files) {
        make_folder_for(settings.results / file.name);
        require_free_name(settings.results / file.name,
                          settings.overwrite || is_own(earlier, file.name, settings.results));
        put_on_disk(work / file_name(file.name));
    }
    std::vector<ResultFile> kept;
    if (earlier) {
        for (const ResultFile& file : earlier->files) {
            if (is_own(earlier, file.name, settings.results)) {
                kept.push_back(file);
            }
        }
    }
    record.status = JobStatus::moving;
    record.files.insert(record.files.end(), kept.begin(), kept.end());
    write_record(settings.results, job, record);
    for (const ResultFile& file : files) {
        const fs::path place = settings.results / file.name;
        move_into_place(work / file_name(file.name), place,
                        settings.overwrite || is_own(earlier, file.name, settings.results));
    }
    record.status = status;
    record.files = files;
    for (const ResultFile& file : kept) {
        if (among(files, file.name)) {
            continue;
        }
        if (removeEarlier) {
            std::error_code ignored;
            fs::remove(settings.results / file.name, ignored);
        } else {
            record.files.push_back(file);
        }
    }
    write_record(settings.results, job, record);
}

void fail(const fs::path& work, const Job& job, const BatchSettings& settings, JobRecord record,
          const std::string& reason) {
    const fs::path log = work / file_name(log_name(job));
    record.status = JobStatus::failed;
    record.reason = reason;
    if (is_own(read_record(settings.results, job), job.output.string(), settings.results)) {
        record.reason += "; what an earlier run of it made is still there";
    }
    record.files.clear();
    std::error_code error;
    if (const std::uintmax_t size = fs::file_size(log, error); !error) {
        record.files.push_back({log_name(job), size});
    }
    put_in_place(work, job, settings, record, false);
}

void make_work_folder(const fs::path& work) {
    std::error_code error;
    fs::remove_all(work, error);
    if (!fs::create_directory(work, error)) {
        throw InputError(work.string() + ": cannot be made (" + error.message() + ")");
    }
}

} // namespace

std::vector<std::vector<std::string>> commands_of(const Job& job, const BatchSettings& settings) {
    const std::string cleaned = job.output.filename().string();
    const std::string report = file_name(report_name(job));
    const std::vector<std::string> how{
        "--protocol=" + job.protocolFile.string(),  "--condition=" + job.condition,
        "--pre=" + std::to_string(job.pre),         "--post=" + std::to_string(job.post),
        "--segment=" + std::to_string(job.segment), "--components=" + std::to_string(job.components)};
    std::vector<std::string> run{"workbench", "run", settings.module.string(), "--data=" + job.recordingFile.string()};
    run.insert(run.end(), how.begin(), how.end());
    run.insert(run.end(), {"--output=" + cleaned, "--product=" + job.product, "--quiet"});
    if (job.asIs) {
        run.push_back("--as-is");
    }
    if (!job.report) {
        return {run};
    }
    if (job.truth.empty()) {
        run.push_back("--report=" + report);
        return {run};
    }
    std::vector<std::string> compareWithTruth{"workbench", "report", job.recordingFile.string(), "./" + cleaned};
    compareWithTruth.insert(compareWithTruth.end(), how.begin(), how.end());
    compareWithTruth.insert(compareWithTruth.end(), {"--truth=" + job.truthFile.string(), "--output=" + report});
    return {run, compareWithTruth};
}

bool do_job(const Job& job, const BatchSettings& settings, const std::function<void()>& beforeProgram) {
    const auto start = std::chrono::steady_clock::now();
    const fs::path work = work_folder(settings.results, job);
    const fs::path log = work / file_name(log_name(job));
    JobRecord record;
    record.identity = identity_of(job, settings.moduleDigest); // before anything is read: what comes later is a change
    make_work_folder(work);
    std::string failure;
    for (const std::vector<std::string>& words : commands_of(job, settings)) {
        if (failure.empty()) {
            log_command(log, words);
            failure = failure_of(run_program(words, work, log, beforeProgram), log);
        }
    }
    if (failure.empty()) {
        try {
            measure(job, work / job.output.filename(), record);
        } catch (const InputError& error) {
            failure = error.what();
            append(log, failure);
        }
    }
    record.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (failure.empty()) {
        try {
            record.status = JobStatus::done;
            record.files = results_in(work, job);
            put_in_place(work, job, settings, record, true);
        } catch (const InputError& error) {
            failure = error.what();
            append(log, failure);
        }
    }
    if (!failure.empty()) {
        fail(work, job, settings, record, failure);
    }
    std::error_code ignored;
    fs::remove_all(work, ignored);
    return failure.empty();
}

} // namespace workbench
