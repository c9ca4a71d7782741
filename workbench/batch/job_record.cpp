#include "workbench/batch/job_record.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <system_error>

#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "workbench/batch/durable.h"
#include "workbench/pending_file.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr int recordVersion = 1;
constexpr std::pair<JobStatus, const char*> statusWords[] = {
    {JobStatus::moving, "moving"}, {JobStatus::done, "done"}, {JobStatus::failed, "failed"}};

// FNV-1a, 64 bits: tells files apart that are meant to be the same, which is all that is asked of it.
class Digest {
public:
    void add(const char* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            value_ = (value_ ^ static_cast<unsigned char>(bytes[i])) * 0x100000001B3U;
        }
    }
    std::string text() const {
        char digits[20];
        std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(value_));
        return digits;
    }

private:
    std::uint64_t value_ = 0xCBF29CE484222325U;
};

std::string size_and_time(const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        return "missing";
    }
    char nanoseconds[16];
    std::snprintf(nanoseconds, sizeof nanoseconds, "%09ld", status.st_mtim.tv_nsec);
    return std::to_string(status.st_size) + " bytes, " + std::to_string(status.st_mtim.tv_sec) + "." + nanoseconds;
}

Json optional_number(const std::optional<double>& value) {
    return value ? Json(*value) : Json();
}

std::optional<double> number_or_nothing(const Json& value) {
    return value.is_number() ? std::optional<double>(value.get<double>()) : std::nullopt;
}

// A number with a sign, a fraction or an exponent is none that was written here, and need not fit.
bool has_whole_counts(const Json& object) {
    const Json& files = object.at("files");
    return object.at("windows").is_number_unsigned() && std::all_of(files.begin(), files.end(), [](const Json& file) {
               return file.at("size").is_number_unsigned();
           });
}

} // namespace

JobIdentity identity_of(const Job& job, const std::string& moduleDigest) {
    return {{"recording", job.recording},
            {"recording's size and time", size_and_time(job.recordingFile)},
            {"protocol", job.protocol},
            {"protocol's digest", digest_of_file(job.protocolFile)},
            {"condition", job.condition},
            {"pre", std::to_string(job.pre)},
            {"post", std::to_string(job.post)},
            {"segment", std::to_string(job.segment)},
            {"components", std::to_string(job.components)},
            {"truth", job.truth},
            {"truth's size and time", job.truth.empty() ? "" : size_and_time(job.truthFile)},
            {"product", job.product},
            {"as_is", job.asIs ? "yes" : "no"},
            {"module's digest", moduleDigest}};
}

std::string digest_of_file(const fs::path& file) {
    std::error_code error;
    if (!fs::is_regular_file(file, error)) {
        return "missing";
    }
    std::ifstream stream(file, std::ios::binary);
    Digest digest;
    std::array<char, 1 << 16> block;
    while (stream) {
        stream.read(block.data(), static_cast<std::streamsize>(block.size()));
        digest.add(block.data(), static_cast<std::size_t>(stream.gcount()));
    }
    return stream.eof() ? digest.text() : "missing";
}

std::string digest_of_text(const std::string& text) {
    Digest digest;
    digest.add(text.data(), text.size());
    return digest.text();
}

std::string record_text(const JobRecord& record) {
    Json object;
    object["workbench_batch_record"] = recordVersion;
    for (const auto& [status, word] : statusWords) {
        if (status == record.status) {
            object["status"] = word;
        }
    }
    object["made_of"] = Json::object();
    for (const auto& [name, value] : record.identity) {
        object["made_of"][name] = value;
    }
    object["files"] = Json::array();
    for (const ResultFile& file : record.files) {
        object["files"].push_back({{"name", file.name}, {"size", file.size}});
    }
    object["seconds"] = record.seconds;
    object["windows"] = record.windows;
    object["locked_db_removed"] = optional_number(record.lockedDbRemoved);
    object["artifact_db_removed"] = optional_number(record.artifactDbRemoved);
    object["reason"] = record.reason;
    // File names need not be UTF-8; a record must be written all the same.
    return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::optional<JobRecord> record_from_text(const std::string& text) {
    try {
        const Json object = Json::parse(text);
        if (object.at("workbench_batch_record") != recordVersion || !has_whole_counts(object)) {
            return std::nullopt;
        }
        JobRecord record;
        const std::string statusWord = object.at("status").get<std::string>();
        bool known = false;
        for (const auto& [status, word] : statusWords) {
            if (statusWord == word) {
                record.status = status;
                known = true;
            }
        }
        if (!known) {
            return std::nullopt;
        }
        for (const auto& [name, value] : object.at("made_of").items()) {
            record.identity.emplace_back(name, value.get<std::string>());
        }
        for (const Json& file : object.at("files")) {
            record.files.push_back({file.at("name").get<std::string>(), file.at("size").get<std::uint64_t>()});
        }
        record.seconds = number_or_nothing(object.at("seconds")).value_or(0.0);
        record.windows = object.at("windows").get<std::uint64_t>();
        record.lockedDbRemoved = number_or_nothing(object.at("locked_db_removed"));
        record.artifactDbRemoved = number_or_nothing(object.at("artifact_db_removed"));
        record.reason = object.at("reason").get<std::string>();
        return record;
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

fs::path state_folder(const fs::path& results) {
    return results / ".workbench-batch";
}

fs::path record_file(const fs::path& results, const Job& job) {
    return state_folder(results) / (digest_of_text(job.output.string()) + ".json");
}

fs::path work_folder(const fs::path& results, const Job& job) {
    return state_folder(results) / ("work-" + digest_of_text(job.output.string()));
}

std::optional<JobRecord> read_record(const fs::path& results, const Job& job) {
    std::ifstream file(record_file(results, job), std::ios::binary);
    return record_from_text(std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
}

void write_record(const fs::path& results, const Job& job, const JobRecord& record) {
    PendingFile file(record_file(results, job), true);
    file.stream() << record_text(record);
    file.stream().flush();
    file.check();
    put_on_disk(file.temporary_path());
    file.commit();
}

} // namespace workbench
