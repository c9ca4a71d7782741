// Runs that are killed: the recording stays as it was, nothing looks finished that is not, and the run can be repeated.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include "tests/faults/faulty_run.h"

namespace {

using faults::FaultyRun;
using faults::Tally;
using support::CommandResult;
using support::read_file;
using support::write_file;

class KilledRun : public FaultyRun {
protected:
    static void expect_whole_or_absent() {
        if (std::filesystem::exists("rec_OBS.ctc")) {
            expect_right_results();
            std::filesystem::remove("rec_OBS.ctc");
            std::filesystem::remove("rec_slice.trl");
        } else if (std::filesystem::exists("rec_slice.trl")) {
            EXPECT_TRUE(read_file("rec_slice.trl") == rightTrials);
        }
    }
};

TEST_F(KilledRun, AtEveryChangeOfFilesLosesNothing) {
    Tally tally("killed at every call that changes files");
    const long nCalls = count_calls(false);
    ASSERT_GT(nCalls, 30);
    for (long i = 1; i <= nCalls; ++i) {
        SCOPED_TRACE(i);
        tally.trial_begins();
        start_afresh();
        EXPECT_EQ(run_under({"kill", i}).status, 128 + SIGKILL);
        faults::wait_for_the_dead();
        expect_input_unchanged();
        expect_whole_or_absent();
        expect_right_when_repeated();
    }
}

// The old pair, or the new pair, once any later run has looked at the folder.
TEST_F(KilledRun, WhileItReplacesResultsLeavesAPairThatBelongsTogether) {
    Tally tally("killed at every call that changes files, replacing results");
    const long nCalls = count_calls(false, {"--overwrite"});
    for (long i = 1; i <= nCalls; ++i) {
        SCOPED_TRACE(i);
        tally.trial_begins();
        start_afresh();
        write_file("rec_OBS.ctc", "old recording");
        write_file("rec_slice.trl", "old trials");
        EXPECT_EQ(run_under({"kill", i}, {"--overwrite"}).status, 128 + SIGKILL);
        faults::wait_for_the_dead();
        expect_input_unchanged();
        EXPECT_EQ(run({"-o", "other.ctc"}).status, 0);
        if (read_file("rec_OBS.ctc") == "old recording") {
            EXPECT_EQ(read_file("rec_slice.trl"), "old trials");
        } else {
            expect_right_results();
        }
        EXPECT_EQ(files(), (std::vector<std::string>{"other.ctc", "other_slice.trl", "rec.ctc", "rec.prt",
                                                     "rec_OBS.ctc", "rec_slice.trl"}));
    }
}

// Whoever kills it, kills the program: the module's process dies with it. FAULTS_KILLS says how often.
TEST_F(KilledRun, AtRandomMomentsLosesNothing) {
    const char* given = std::getenv("FAULTS_KILLS");
    const int nKills = given == nullptr ? 20 : std::atoi(given);
    Tally tally("killed at random moments");
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(run().status, 0);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::mt19937 random(1);
    int killed = 0;
    for (int i = 0; i < nKills; ++i) {
        SCOPED_TRACE(i);
        tally.trial_begins();
        start_afresh();
        // A stretch of the run for each kill, so that they spread over all of it.
        const double moment = seconds * (i + std::uniform_real_distribution<double>(0.0, 1.0)(random)) / nKills;
        const CommandResult result = support::run_command(command(), [&](pid_t workbench) {
            std::this_thread::sleep_for(std::chrono::duration<double>(moment));
            kill(workbench, SIGKILL);
        });
        killed += result.status == 128 + SIGKILL ? 1 : 0;
        faults::wait_for_the_dead();
        expect_input_unchanged();
        expect_whole_or_absent();
        expect_right_when_repeated();
    }
    EXPECT_GT(killed, 0);
}

TEST_F(KilledRun, ModulesProcessAloneIsToldAndLeavesNothing) {
    Tally tally("the module's process killed");
    const long nCalls = count_calls(false);
    int told = 0;
    for (long i = 1; i <= nCalls; i += 5) {
        SCOPED_TRACE(i);
        tally.trial_begins();
        start_afresh();
        const CommandResult result = run_under({"kill self", i});
        faults::wait_for_the_dead();
        if (result.status != 128 + SIGKILL) {
            ++told;
            expect_one_error(result);
            EXPECT_NE(result.err.find("the module crashed (Killed); nothing was written"), std::string::npos)
                << result.err;
            EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt"}));
        }
        expect_whole_or_absent();
        expect_right_when_repeated();
    }
    EXPECT_GT(told, 0);
}

} // namespace
