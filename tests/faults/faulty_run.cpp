#include "tests/faults/faulty_run.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <unistd.h>

#include "tests/support/ctc_bytes.h"

namespace faults {

namespace fs = std::filesystem;
using support::CommandResult;
using support::read_file;
using support::write_file;

namespace {

int failures_so_far() {
    const testing::TestResult* result = testing::UnitTest::GetInstance()->current_test_info()->result();
    int failed = 0;
    for (int i = 0; i < result->total_part_count(); ++i) {
        failed += result->GetTestPartResult(i).failed() ? 1 : 0;
    }
    return failed;
}

void drop_rights(bool wanted) {
    constexpr uid_t nobody = 65534;
    if (wanted && (setgroups(0, nullptr) != 0 || setresgid(nobody, nobody, nobody) != 0 ||
                   setresuid(nobody, nobody, nobody) != 0)) {
        _exit(126);
    }
}

bool is_working_folder(const fs::path& path) {
    return path.filename().string().starts_with(".workbench-");
}

} // namespace

Tally::Tally(std::string fault) : fault_(std::move(fault)), failedBefore_(failures_so_far()) {}

Tally::~Tally() {
    trial_ends();
    const char* table = std::getenv("FAULTS_TABLE");
    if (table != nullptr) {
        std::ofstream(table, std::ios::app) << fault_ << "|" << trials_ << "|" << losses_ << "\n";
    }
}

void Tally::trial_begins() {
    trial_ends();
    ++trials_;
}

void Tally::trial_ends() {
    const int failed = failures_so_far();
    losses_ += failed > failedBefore_ ? 1 : 0;
    failedBefore_ = failed;
}

std::string recording_bytes(unsigned int seed) {
    support::CtcHeader header;
    header.nrOfChannels = 2;
    header.nrOfSamples = 1000;
    support::Bytes bytes;
    bytes.raw(support::ctc_header_bytes(header));
    std::uint32_t state = seed;
    for (int i = 0; i < 2000; ++i) {
        const int sample = i % 1000;
        state = state * 1664525U + 1013904223U;
        const bool inShape = sample >= 50 && sample < 620 && sample % 50 < 20;
        bytes.f32(static_cast<float>(state >> 28) + (inShape ? static_cast<float>((sample % 5 - 2) * 40) : 0.0f));
    }
    return bytes.str();
}

void wait_for_the_dead() {
    for (const fs::directory_entry& entry : fs::directory_iterator(".")) {
        const int owner = is_working_folder(entry.path()) ? open((entry.path() / "owner").c_str(), O_RDWR) : -1;
        if (owner >= 0) {
            flock(owner, LOCK_EX); // the kernel lets go of it when the last process is gone
            close(owner);
        }
    }
}

void FaultyRun::SetUp() {
    protocol = "FileVersion: 1\nExperiment: Test\nTimeResolution: samples\nCondition: slice\n";
    for (int i = 1; i <= 12; ++i) {
        protocol += std::to_string(50 * i) + "\n";
    }
    input = recording_bytes();
    start_afresh();
    ASSERT_EQ(run().status, 0);
    rightRecording = read_file("rec_OBS.ctc");
    rightTrials = read_file("rec_slice.trl");
    ASSERT_EQ(rightRecording.size(), input.size());
    ASSERT_NE(rightRecording, input);
    ASSERT_EQ(std::count(rightTrials.begin(), rightTrials.end(), '\n'), 12);
    start_afresh();
}

std::vector<std::string> FaultyRun::command(const std::vector<std::string>& more) {
    std::vector<std::string> arguments{WORKBENCH_PROGRAM,
                                       "run",
                                       ORIDAN_MODULE_PATH,
                                       "--data",
                                       "rec.ctc",
                                       "--protocol",
                                       "rec.prt",
                                       "--condition",
                                       "slice",
                                       "--pre",
                                       "10",
                                       "--post",
                                       "20",
                                       "--segment",
                                       "10",
                                       "--components",
                                       "2",
                                       "--quiet"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

CommandResult FaultyRun::run(const std::vector<std::string>& more) const {
    return support::run_command(command(more), {}, [this] { drop_rights(asNobody_); });
}

bool FaultyRun::become_nobody() {
    if (geteuid() != 0) {
        return true;
    }
    asNobody_ = true;
    constexpr uid_t nobody = 65534;
    if (chown(".", nobody, nobody) != 0) {
        return false;
    }
    fs::permissions(outside_.path(), fs::perms::all);
    fs::permissions(".", fs::perms::all);
    return support::run_command({WORKBENCH_PROGRAM, "info", ORIDAN_MODULE_PATH}, {}, [] {
               drop_rights(true);
           }).status == 0;
}

CommandResult FaultyRun::run_under(const Fault& fault, const std::vector<std::string>& more,
                                   const std::function<void(pid_t)>& whileRunning) {
    const std::string counter = outside_.write("counter", std::string(sizeof(long), '\0'));
    fs::permissions(counter,
                    fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read | fs::perms::others_write);
    return support::run_command(command(more), whileRunning, [&] {
        drop_rights(asNobody_);
        setpgid(0, 0);
        setenv("LD_PRELOAD", FAULT_INJECTION_PATH, 1);
        const char* options = std::getenv("ASAN_OPTIONS");
        setenv("ASAN_OPTIONS", (std::string(options == nullptr ? "" : options) + ":verify_asan_link_order=0").c_str(),
               1);
        setenv("FAULT_COUNTER", counter.c_str(), 1);
        setenv("FAULT_CALLS", fault.reads ? "reads" : "changes", 1);
        setenv("FAULT_AT", std::to_string(fault.at).c_str(), 1);
        setenv("FAULT_ACTION", fault.action.c_str(), 1);
    });
}

long FaultyRun::calls() const {
    const std::string bytes = outside_.read("counter");
    long count = 0;
    std::memcpy(&count, bytes.data(), sizeof count);
    return count;
}

long FaultyRun::count_calls(bool reads, const std::vector<std::string>& more) {
    EXPECT_EQ(run_under({"", 0, reads}, more).status, 0);
    return calls();
}

void FaultyRun::start_afresh() {
    for (const std::string& name : files()) {
        fs::remove_all(name);
    }
    write_file("rec.ctc", input);
    write_file("rec.prt", protocol);
}

std::vector<std::string> FaultyRun::files() {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(".")) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void FaultyRun::expect_input_unchanged() {
    EXPECT_TRUE(read_file("rec.ctc") == input) << "the recording was changed";
    EXPECT_TRUE(read_file("rec.prt") == protocol) << "the protocol was changed";
}

void FaultyRun::expect_right_results() {
    EXPECT_TRUE(read_file("rec_OBS.ctc") == rightRecording) << "the cleaned recording is not the right one";
    EXPECT_TRUE(read_file("rec_slice.trl") == rightTrials) << "the trial file is not the right one";
}

void FaultyRun::expect_nothing_written() {
    EXPECT_FALSE(fs::exists("rec_OBS.ctc"));
    EXPECT_FALSE(fs::exists("rec_slice.trl"));
}

void FaultyRun::expect_one_error(const CommandResult& result) {
    EXPECT_TRUE(result.status == 1 || result.status == 2) << result.status;
    std::string errors = result.err;
    while (errors.starts_with("workbench: note: ")) {
        errors.erase(0, errors.find('\n') + 1);
    }
    EXPECT_TRUE(errors.starts_with("workbench: ")) << result.err;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << result.err;
}

void FaultyRun::expect_right_when_repeated() const {
    const CommandResult result = run();
    EXPECT_EQ(result.status, 0) << result.err;
    expect_right_results();
    expect_input_unchanged();
    EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt", "rec_OBS.ctc", "rec_slice.trl"}));
}

} // namespace faults
