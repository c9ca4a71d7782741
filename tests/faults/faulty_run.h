#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"

/// Whole runs of the workbench to which something happens.
namespace faults {

/// What happens at which call; see fault_injection.cpp.
struct Fault {
    std::string action;
    long at = 0; ///< from 1; 0 for none
    bool reads = false;
};

/// Counts trials and those that lost something, and adds a row "fault|trials|losses" to the file that the environment
/// variable FAULTS_TABLE names.
class Tally {
public:
    explicit Tally(std::string fault);
    ~Tally();
    Tally(const Tally&) = delete;
    Tally& operator=(const Tally&) = delete;

    void trial_begins();

private:
    void trial_ends();

    std::string fault_;
    int trials_ = 0;
    int losses_ = 0;
    int failedBefore_ = 0;
};

/// A folder with a recording and its protocol, and what a run without faults makes of them.
class FaultyRun : public testing::Test {
protected:
    void SetUp() override;

    /// Arguments of the run that cleans rec.ctc into rec_OBS.ctc and rec_slice.trl, and more.
    static std::vector<std::string> command(const std::vector<std::string>& more = {});
    support::CommandResult run(const std::vector<std::string>& more = {}) const;
    /// The run under a fault, in a process group of its own.
    support::CommandResult run_under(const Fault& fault, const std::vector<std::string>& more = {},
                                     const std::function<void(pid_t)>& whileRunning = {});
    /// Calls that a run without faults makes.
    long count_calls(bool reads, const std::vector<std::string>& more = {});

    /// Runs from now on are those of a user who is not root, where root tests. False where that cannot be.
    bool become_nobody();

    /// Removes everything but the recording and its protocol, which are written anew.
    void start_afresh();
    /// Names in the current folder, hidden ones included, sorted.
    static std::vector<std::string> files();
    static void expect_input_unchanged();
    static void expect_right_results();
    static void expect_nothing_written();
    /// One line of an error, and notes at most.
    static void expect_one_error(const support::CommandResult& result);
    /// The run again, without a fault: its results are right, and whatever a killed run had left is gone.
    void expect_right_when_repeated() const;

    support::TemporaryFolder folder{support::TemporaryFolder::Use::asCurrentDirectory};
    inline static std::string input;
    inline static std::string protocol;
    inline static std::string rightRecording;
    inline static std::string rightTrials;

private:
    long calls() const;

    support::TemporaryFolder outside_;
    bool asNobody_ = false;
};

/// Two channels of noise with a shape of 20 samples at 50, 100, ..., 600; floats, 1000 samples at 1000 Hz. `seed`
/// changes the noise.
std::string recording_bytes(unsigned int seed = 99);

/// Waits until no process holds the lock of a working folder here: those that were killed are gone then.
void wait_for_the_dead();

} // namespace faults
