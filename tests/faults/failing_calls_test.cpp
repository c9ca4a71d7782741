// Calls of the operating system that fail: the user is told, and nothing is kept but right results.

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/faults/faulty_run.h"

namespace {

using faults::FaultyRun;
using faults::Tally;
using support::CommandResult;

class FailingCalls : public FaultyRun {
protected:
    // Lets each call of a run fail in turn.
    void fail_each(const std::string& action, bool reads) {
        Tally tally(std::string(reads ? "every call that reads files" : "every call that changes files") + ": " +
                    (action == "full"  ? "disk full from there on"
                     : action == "end" ? "finds the end of the file too early"
                                       : "fails once"));
        const long nCalls = count_calls(reads);
        ASSERT_GT(nCalls, 10);
        for (long i = 1; i <= nCalls; ++i) {
            SCOPED_TRACE(action + " " + std::to_string(i));
            tally.trial_begins();
            start_afresh();
            const CommandResult result = run_under({action, i, reads});
            expect_input_unchanged();
            if (result.status == 0) {
                expect_right_results();
                std::filesystem::remove("rec_OBS.ctc");
                std::filesystem::remove("rec_slice.trl");
            } else {
                ++told_;
                expect_one_error(result);
                expect_nothing_written();
            }
            expect_right_when_repeated();
        }
    }

    int told_ = 0;
};

TEST_F(FailingCalls, DiskFullFromAnyCallOnIsToldAndLeavesNothing) {
    fail_each("full", false);
    EXPECT_GT(told_, 20);
}

TEST_F(FailingCalls, OneFailedChangeIsToldOrDoesNotMatter) {
    fail_each("fail " + std::to_string(EIO), false);
    EXPECT_GT(told_, 20);
}

TEST_F(FailingCalls, OneFailedReadIsToldOrDoesNotMatter) {
    fail_each("fail " + std::to_string(EIO), true);
    EXPECT_GT(told_, 10);
}

// The copy of the recording was lengthened with zeros then, and the run ended well.
TEST_F(FailingCalls, OneReadThatEndsTooEarlyIsToldOrDoesNotMatter) {
    fail_each("end", true);
    EXPECT_GT(told_, 5);
}

// A copy may go wrong without any call that fails.
TEST_F(FailingCalls, CopyThatDiffersOutsideTheWindowsIsFound) {
    Tally tally("copy that differs outside the windows");
    tally.trial_begins();
    std::vector<std::string> arguments = command();
    arguments[2] = MISBEHAVING_MODULE_PATH;
    const CommandResult result = support::run_command(arguments, {}, [] { setenv("MISBEHAVE", "spoil the copy", 1); });
    expect_one_error(result);
    EXPECT_NE(result.err.find("does not hold the recording's samples outside the windows"), std::string::npos)
        << result.err;
    EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt"}));
}

} // namespace
