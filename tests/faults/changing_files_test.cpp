// Files that others change while a run is at work.

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "tests/faults/faulty_run.h"

namespace {

namespace fs = std::filesystem;
using faults::FaultyRun;
using faults::Tally;
using support::CommandResult;
using support::read_file;
using support::write_file;

class ChangingFiles : public FaultyRun {
protected:
    // Another recording of the same size and time.
    static void write_other_recording() {
        write_file("other", faults::recording_bytes(7));
        fs::last_write_time("other", fs::last_write_time("rec.ctc"));
    }

    // What a run makes of the other recording, or of the other protocol.
    std::string right_for_other(const std::string& place, const std::string& bytes) {
        start_afresh();
        write_file(place, bytes);
        EXPECT_EQ(run().status, 0);
        const std::string right = read_file("rec_OBS.ctc");
        EXPECT_NE(right, rightRecording);
        start_afresh();
        return right;
    }

    // Lets it happen at each call of a run. What is kept is right for the recording and protocol as they were, or
    // (where it happened before they were read) as they became.
    void at_each_call(const std::string& what, const std::string& action, bool reads, const std::string& otherRight,
                      const std::function<void()>& prepare = {}) {
        Tally tally(what + (reads ? " at every call that reads files" : " at every call that changes files"));
        start_afresh();
        const long nCalls = count_calls(reads);
        // Those that read are many: all of them where scripts/faults.sh asks for it.
        const long step = reads && std::getenv("FAULTS_ALL") == nullptr ? 5 : 1;
        for (long i = 1; i <= nCalls; i += step) {
            SCOPED_TRACE(action + " " + std::to_string(i));
            tally.trial_begins();
            start_afresh();
            if (prepare) {
                prepare();
            }
            const CommandResult result = run_under({action, i, reads});
            if (result.status == 0) {
                ++kept_;
                const std::string cleaned = read_file("rec_OBS.ctc");
                EXPECT_TRUE(cleaned == rightRecording || (!otherRight.empty() && cleaned == otherRight));
                told_ += result.err.find("changed during the run") != std::string::npos ? 1 : 0;
                continue;
            }
            expect_one_error(result);
            expect_nothing_written();
            told_ += result.err.find("changed during the run") != std::string::npos ? 1 : 0;
        }
    }

    int kept_ = 0;
    int told_ = 0;
};

TEST_F(ChangingFiles, ReplacedRecordingNeverGivesAMixture) {
    const std::string otherRight = right_for_other("rec.ctc", faults::recording_bytes(7));
    at_each_call("recording replaced", "rename other rec.ctc", false, "", write_other_recording);
    EXPECT_GT(told_, 20);
    at_each_call("recording replaced", "rename other rec.ctc", true, otherRight, write_other_recording);
    EXPECT_GT(kept_, 0);
}

TEST_F(ChangingFiles, ShrinkingRecordingIsTold) {
    at_each_call("recording cut short", "cut rec.ctc", false, "");
    EXPECT_GT(told_, 20);
    at_each_call("recording cut short", "cut rec.ctc", true, "");
}

TEST_F(ChangingFiles, VanishingRecordingIsTold) {
    at_each_call("recording removed", "remove rec.ctc", false, "");
    EXPECT_GT(told_, 20);
    at_each_call("recording removed", "remove rec.ctc", true, "");
}

// The run keeps to the triggers that were checked, and says so.
TEST_F(ChangingFiles, ReplacedProtocolDoesNotMatter) {
    std::string other = protocol;
    for (std::size_t at = 0; (at = other.find("50\n", at)) != std::string::npos; ++at) {
        other[at + 1] = '7'; // 57, 157, ...
    }
    const std::string otherRight = right_for_other("rec.prt", other);
    const auto write_other = [&] { write_file("other", other); };
    const long nCalls = count_calls(false);
    at_each_call("protocol replaced", "rename other rec.prt", false, "", write_other);
    EXPECT_EQ(kept_, nCalls);
    EXPECT_GT(told_, nCalls / 2);
    at_each_call("protocol replaced", "rename other rec.prt", true, otherRight, write_other);
}

TEST_F(ChangingFiles, VanishingProtocolDoesNotMatter) {
    const long nCalls = count_calls(false);
    at_each_call("protocol removed", "remove rec.prt", false, "");
    EXPECT_EQ(kept_, nCalls);
    EXPECT_GT(told_, nCalls / 2);
}

TEST_F(ChangingFiles, ResultThatAppearsMeanwhileIsNeverReplaced) {
    Tally tally("result of that name appears at every call that changes files");
    const long nCalls = count_calls(false);
    int refused = 0;
    for (long i = 1; i <= nCalls; ++i) {
        SCOPED_TRACE(i);
        tally.trial_begins();
        start_afresh();
        write_file("other", "precious");
        const CommandResult result = run_under({"rename other rec_OBS.ctc", i});
        EXPECT_TRUE(read_file("rec_OBS.ctc") == "precious");
        if (result.status != 0) {
            ++refused;
            expect_one_error(result);
            EXPECT_NE(result.err.find("exists already"), std::string::npos) << result.err;
            EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt", "rec_OBS.ctc"}));
        }
        expect_input_unchanged();
    }
    EXPECT_GT(refused, 20);
}

} // namespace
