// The module's runs beside a second implementation of the whole run, byte for byte.
//
// ORIDAN_TRUTH_RECORDINGS=10000 takes that many recordings instead of three hundred, ORIDAN_TRUTH_FIRST=1234 begins
// with that one: a recording is made from its number alone.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/run/recording_host.h"
#include "tests/support/temporary_folder.h"
#include "tests/truth/random_recording.h"
#include "tests/truth/second_run.h"

namespace {

using truth::Bytes;

constexpr std::uint64_t usualCount = 300;

std::uint64_t number_from_environment(const char* name, std::uint64_t otherwise) {
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

std::string text_of(const Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

/// Bytes that differ where they are laid down.
testing::AssertionResult same_bytes(const truth::Outcome& expected, const std::string& actual) {
    if (expected.output.size() != actual.size()) {
        return testing::AssertionFailure() << expected.output.size() << " bytes expected, got " << actual.size();
    }
    std::size_t differing = 0;
    std::ostringstream first;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const bool open = !expected.open.empty() && expected.open[i] != 0;
        const unsigned int found = static_cast<unsigned char>(actual[i]);
        if (found != expected.output[i] && !open) {
            if (++differing == 1) {
                first << "byte " << i << " of " << actual.size() << " is 0x" << std::hex << found << ", expected 0x"
                      << static_cast<unsigned int>(expected.output[i]);
            }
        }
    }
    return differing == 0 ? testing::AssertionSuccess()
                          : testing::AssertionFailure() << first.str() << " (" << differing << " bytes differ)";
}

HostScript script_for(const truth::Answers& answers) {
    HostScript script;
    script.dataFile = "recording.ctc";
    script.protocolFile = "triggers.prt";
    script.timeResolution = answers.timeResolution;
    for (const truth::Condition& condition : answers.conditions) {
        script.conditions.push_back({condition.name, condition.intervals});
    }
    script.answers = {answers.selected, answers.pre, answers.post, answers.perSegment, answers.components};
    return script;
}

/// Runs the module where nothing else is. Recordings that it cannot read channel by channel get a line on the error
/// stream for every epoch, which nobody wants to see.
HostRun run_module(const truth::RandomRecording& made) {
    const bool talkative = made.ordering > 2 || made.dataType == 0;
    if (talkative) {
        testing::internal::CaptureStderr();
    }
    const HostRun run = execute_module(script_for(made.answers));
    if (talkative) {
        testing::internal::GetCapturedStderr();
    }
    return run;
}

std::set<std::string> files_here() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

/// What was met on the way, so that recordings of one kind cannot pass for all.
struct Met {
    std::map<std::string, int> kinds;
    truth::Counts counts;
    int completed = 0;
    std::size_t bytes = 0;
    std::size_t notCompared = 0;

    void add(const truth::RandomRecording& made, const truth::Outcome& outcome) {
        const std::string kind =
            "data type " + std::to_string(made.dataType) + ", ordering " + std::to_string(made.ordering);
        ++kinds[kind];
        kinds["cut short"] += made.cutShort ? 1 : 0;
        kinds["ended early"] += outcome.completed ? 0 : 1;
        kinds["one sample"] += outcome.completed && made.answers.pre == 0 && made.answers.post == 0 ? 1 : 0;
        kinds["all components"] += outcome.completed && made.answers.perSegment == made.answers.components ? 1 : 0;
        completed += outcome.completed ? 1 : 0;
        bytes += outcome.output.size();
        notCompared += static_cast<std::size_t>(std::count(outcome.open.begin(), outcome.open.end(), 1));
        counts.segments += outcome.counts.segments;
        counts.written += outcome.counts.written;
        counts.borrowed += outcome.counts.borrowed;
        counts.outside += outcome.counts.outside;
        counts.endingAtTheEnd += outcome.counts.endingAtTheEnd;
        counts.open += outcome.counts.open;
        counts.nonFinite += outcome.counts.nonFinite;
    }

    std::string text() const {
        std::ostringstream out;
        for (const auto& [kind, times] : kinds) {
            out << kind << ": " << times << "\n";
        }
        out << "completed: " << completed << ", epochs written: " << counts.written << ", borrowed: " << counts.borrowed
            << ", outside: " << counts.outside << ", ending at the end: " << counts.endingAtTheEnd
            << ", segments: " << counts.segments << ", not finite: " << counts.nonFinite << ", open: " << counts.open
            << "; bytes not compared: " << notCompared << " of " << bytes << "\n";
        return out.str();
    }
};

void expect_the_same(const truth::RandomRecording& made, const truth::Outcome& expected) {
    const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory);
    support::write_file("recording.ctc", text_of(made.bytes));
    const HostRun run = run_module(made);
    const bool completed = !run.starting_with("log // OridanSuite> Artifact template removal completed!").empty();
    std::set<std::string> names = {"recording.ctc", "recording_OBS.ctc"};
    if (expected.trialFileWritten) {
        names.insert(expected.trialFile);
    }
    EXPECT_EQ(completed, expected.completed);
    EXPECT_EQ(files_here(), names);
    EXPECT_EQ(support::read_file("recording.ctc"), text_of(made.bytes)) << "the input was changed";
    EXPECT_TRUE(same_bytes(expected, support::read_file("recording_OBS.ctc")));
    if (expected.trialFileWritten) {
        EXPECT_EQ(support::read_file(expected.trialFile), expected.trialText);
    }
}

TEST(Truth, RandomRecordingsComeOutAsTheSecondImplementationSays) {
    const std::uint64_t first = number_from_environment("ORIDAN_TRUTH_FIRST", 0);
    const std::uint64_t count = number_from_environment("ORIDAN_TRUTH_RECORDINGS", usualCount);
    Met met;
    for (std::uint64_t number = first; number < first + count && !HasFailure(); ++number) {
        const truth::RandomRecording made = truth::random_recording(number);
        SCOPED_TRACE("recording " + std::to_string(number) + ": " + made.description);
        const truth::Outcome expected = truth::run(made.bytes, made.answers);
        met.add(made, expected);
        expect_the_same(made, expected);
    }
    std::cout << met.text();
}

TEST(Truth, TheUsualOnesMeetEveryKindOfRecording) {
    Met met;
    for (std::uint64_t number = 0; number < usualCount; ++number) {
        const truth::RandomRecording made = truth::random_recording(number);
        met.add(made, truth::run(made.bytes, made.answers));
    }
    for (const char* dataType : {"1", "3", "4", "5"}) {
        for (const char* ordering : {"1", "2"}) {
            const std::string kind = std::string("data type ") + dataType + ", ordering " + ordering;
            EXPECT_GE(met.kinds[kind], 5) << kind;
        }
    }
    for (const char* kind : {"cut short", "ended early", "one sample", "all components"}) {
        EXPECT_GE(met.kinds[kind], 10) << kind;
    }
    EXPECT_GE(met.completed, 200);
    EXPECT_GE(met.counts.written, 3000);
    EXPECT_GE(met.counts.borrowed, 500);
    EXPECT_GE(met.counts.outside, 500);
    EXPECT_GE(met.counts.endingAtTheEnd, 200);
    EXPECT_GE(met.counts.nonFinite, 50);
    EXPECT_LE(met.notCompared * 100, met.bytes);
}

} // namespace
