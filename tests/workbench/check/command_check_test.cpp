// The check command, as people use it, and the run that it tells of.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/command.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"
#include "tests/workbench/check/made_recording.h"

namespace {

using Json = nlohmann::json;
using support::CommandResult;
using support::run_command;
using Words = std::vector<std::string>;

// What a shell makes of a command that the check printed.
CommandResult run_printed(const std::string& command) {
    return run_command({"sh", "-c",
                        "MODULE='" ORIDAN_MODULE_PATH "'; workbench() { '" WORKBENCH_PROGRAM
                        "' \"$@\"; }; ctc() { '" CTC_PROGRAM "' \"$@\"; }; " +
                            command});
}

// Names, sizes and times of change of everything in the current directory.
std::vector<std::string> listing() {
    std::vector<std::string> lines;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(".")) {
        lines.push_back(entry.path().string() + " " + std::to_string(entry.file_size()) + " " +
                        std::to_string(entry.last_write_time().time_since_epoch().count()));
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

class CommandCheck : public testing::Test {
protected:
    static void simulate(const Words& more) {
        Words words{WORKBENCH_PROGRAM, "simulate", "-o", "demo.ctc", "--channels", "4", "--overwrite"};
        words.insert(words.end(), more.begin(), more.end());
        ASSERT_EQ(run_command(words).status, 0);
    }

    static CommandResult check(const Words& more = {}, const std::string& condition = "slice") {
        Words words{WORKBENCH_PROGRAM, "check", "demo.ctc", "demo.prt", "--condition", condition};
        words.insert(words.end(), more.begin(), more.end());
        return run_command(words);
    }

    static CommandResult run(const Words& more, const std::string& condition = "slice") {
        Words words{WORKBENCH_PROGRAM, "run",      ORIDAN_MODULE_PATH, "--data", "demo.ctc",
                    "--protocol",      "demo.prt", "--condition",      condition};
        words.insert(words.end(), more.begin(), more.end());
        return run_command(words);
    }

    // The findings, which the check must come to.
    static Json findings(Words more = {}, const std::string& condition = "slice") {
        more.insert(more.end(), {"--json", "-"});
        const CommandResult result = check(more, condition);
        EXPECT_EQ(result.err, "");
        return Json::parse(result.out, nullptr, false);
    }

    static Json compared(const std::string& before, const std::string& after, const Json& found,
                         const std::string& condition) {
        const CommandResult result =
            run_command({WORKBENCH_PROGRAM, "compare", before, after, "--protocol", "demo.prt", "--condition",
                         condition, "--pre", std::to_string(found["settings"]["pre_ms"]["value"].get<int>()), "--post",
                         std::to_string(found["settings"]["post_ms"]["value"].get<int>()), "--truth", "demo.clean.ctc",
                         "--json", "-"});
        EXPECT_EQ(result.status, 0) << result.err;
        return Json::parse(result.out, nullptr, false);
    }

    const support::TemporaryFolder folder{support::TemporaryFolder::Use::asCurrentDirectory};
};

TEST_F(CommandCheck, WritesNothingAndTellsOfAllParts) {
    simulate({"--seconds", "30"});
    const auto before = listing();
    const CommandResult result = check();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(listing(), before);
    for (const char* part :
         {"demo.ctc: 4 channels, 30000 samples (30.0 s) at 1000 Hz", "evenly spaced", "No problems found.", "suggested",
          "segments", "memory", "disk", "time", "Components",
          "workbench run \"$MODULE\" --data demo.ctc --protocol demo.prt --condition slice --pre "}) {
        EXPECT_NE(result.out.find(part), std::string::npos) << part << "\n" << result.out;
    }
}

TEST_F(CommandCheck, SuggestsARunThatRemovesAGradientArtifact) {
    simulate({"--seconds", "60"});
    const Json found = findings();
    ASSERT_TRUE(found["would_run"].get<bool>());
    EXPECT_FALSE(found["settings"]["pre_ms"]["given"].get<bool>());
    ASSERT_EQ(found["commands"].size(), 1U);
    const CommandResult result = run_printed(found["commands"][0].get<std::string>());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "") << "no note of what the check had not told";
    const Json comparison = compared("demo.ctc", "demo_OBS.ctc", found, "slice");
    EXPECT_GT(comparison["all"]["artifact_db_removed"].get<double>(), 30.0) << comparison["all"];
    EXPECT_GT(comparison["all"]["locked_db_removed"].get<double>(), 30.0);
}

TEST_F(CommandCheck, SuggestsARunThatRemovesAHeartbeatArtifact) {
    simulate({"--seconds", "120", "--rate", "250", "--artifact", "heartbeat"});
    const Json found = findings({}, "heartbeat");
    EXPECT_EQ(found["window"]["suggested_from"], "average");
    const CommandResult result = run_printed(found["commands"][0].get<std::string>());
    ASSERT_EQ(result.status, 0) << result.err;
    const Json comparison = compared("demo.ctc", "demo_OBS.ctc", found, "heartbeat");
    EXPECT_GT(comparison["all"]["artifact_db_removed"].get<double>(), 6.0) << comparison["all"];
}

TEST_F(CommandCheck, KeepsWhatIsGivenAndTellsWhatItWouldSuggest) {
    simulate({"--seconds", "30"});
    const Json alone = findings();
    const Json found = findings({"--post", "40", "--segment", "12", "--components", "2"});
    EXPECT_EQ(found["settings"]["post_ms"]["value"], 40);
    EXPECT_TRUE(found["settings"]["post_ms"]["given"].get<bool>());
    EXPECT_EQ(found["settings"]["post_ms"]["suggestion"], alone["settings"]["post_ms"]["value"]);
    EXPECT_EQ(found["window"]["samples"], 41);
    EXPECT_EQ(found["segments"]["count"], (found["triggers"]["count"].get<int>() + 11) / 12);
    const std::string command = found["commands"][0].get<std::string>();
    EXPECT_NE(command.find("--pre 0 --post 40 --segment 12 --components 2"), std::string::npos) << command;
    EXPECT_NE(check({"--post", "40"}).out.find("--post 40 (given; suggested "), std::string::npos);
    EXPECT_GE(findings({"--components", "70"})["settings"]["segment"]["value"].get<int>(), 70);
}

// The check refuses what the run refuses, in the same words.
TEST_F(CommandCheck, RefusesWhatTheRunRefuses) {
    simulate({"--seconds", "30"});
    support::write_file("few.prt", "FileVersion: 1\nExperiment: Test\nTimeResolution: samples\nCondition: slice\n5\n");
    const Words good{"--pre", "0", "--post", "63", "--segment", "50", "--components", "3"};
    for (const auto& [option, value] : std::vector<std::pair<std::string, std::string>>{{"--pre", "5001"},
                                                                                        {"--post", "-1"},
                                                                                        {"--post", "99999"},
                                                                                        {"--segment", "9"},
                                                                                        {"--segment", "100000"},
                                                                                        {"--components", "0"},
                                                                                        {"--components", "51"}}) {
        Words words = good;
        *(std::find(words.begin(), words.end(), option) + 1) = value;
        const CommandResult checked = check(words);
        const CommandResult tried = run(words);
        EXPECT_EQ(checked.status, 2) << option << value;
        EXPECT_EQ(tried.status, 2);
        EXPECT_EQ(checked.err, tried.err);
        EXPECT_EQ(checked.out, "");
    }
    EXPECT_EQ(check(good, "volume").err, run(good, "volume").err);
    support::write_file("demo.prt", support::read_file("few.prt"));
    EXPECT_EQ(check(good).err, run(good).err);
    EXPECT_EQ(check(good).status, 2);
}

TEST_F(CommandCheck, OfARecordingThatTheModuleWouldSpoilShowsTheWayRoundIt) {
    simulate({"--seconds", "30", "--datatype", "3"});
    const auto before = listing();
    const CommandResult refused = check();
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1);
    EXPECT_NE(refused.out.find("REFUSED"), std::string::npos);
    EXPECT_EQ(listing(), before);
    const Json found = Json::parse(check({"--json", "-"}).out, nullptr, false);
    EXPECT_FALSE(found["would_run"].get<bool>());
    EXPECT_EQ(found["problems"], Json::array()) << "nothing besides";
    const auto setting = [&](const char* name) { return std::to_string(found["settings"][name]["value"].get<int>()); };
    const CommandResult tried = run({"--pre", setting("pre_ms"), "--post", setting("post_ms"), "--segment",
                                     setting("segment"), "--components", setting("components")});
    EXPECT_EQ(tried.status, 2);
    ASSERT_EQ(found["commands"].size(), 2U);
    for (const Json& command : found["commands"]) {
        EXPECT_EQ(run_printed(command.get<std::string>()).status, 0) << command;
    }
    const Json comparison = compared("demo.ctc", "demo_float_OBS.ctc", found, "slice");
    EXPECT_GT(comparison["all"]["artifact_db_removed"].get<double>(), 20.0);

    const Json asIs = findings({"--as-is"});
    EXPECT_TRUE(asIs["would_run"].get<bool>());
    EXPECT_EQ(asIs["problems"].size(), 1U);
    EXPECT_NE(asIs["commands"][0].get<std::string>().find("--as-is"), std::string::npos);
}

TEST_F(CommandCheck, NamesAFreeResultWhereOneExists) {
    simulate({"--seconds", "30"});
    support::write_file("demo_OBS.ctc", "an earlier result");
    const Json found = findings();
    const std::string command = found["commands"][0].get<std::string>();
    EXPECT_NE(command.find("-o demo_OBS_2.ctc"), std::string::npos) << command;
    EXPECT_EQ(run_printed(command).status, 0);
    EXPECT_EQ(support::read_file("demo_OBS.ctc"), "an earlier result");
    EXPECT_EQ(check({"-o", "demo_OBS.ctc"}).status, 2) << "asked for, as in a run";
    EXPECT_EQ(check({"-o", "nowhere/out.ctc"}).status, 2);
}

TEST_F(CommandCheck, QuotesNamesForTheShell) {
    simulate({"--seconds", "30"});
    std::filesystem::rename("demo.ctc", "it's a demo.ctc");
    std::string protocol = support::read_file("demo.prt");
    protocol.replace(protocol.find("Condition: slice"), 16, "Condition: my slice");
    support::write_file("demo.prt", protocol);
    const CommandResult result =
        run_command({WORKBENCH_PROGRAM, "check", "it's a demo.ctc", "demo.prt", "--condition", "1", "--json", "-"});
    const Json found = Json::parse(result.out, nullptr, false);
    EXPECT_EQ(run_printed(found["commands"][0].get<std::string>()).status, 0) << found["commands"];
    EXPECT_TRUE(std::filesystem::exists("it's a demo_OBS.ctc"));
}

TEST_F(CommandCheck, WritesJsonWhereNothingIsInTheWay) {
    simulate({"--seconds", "30"});
    EXPECT_EQ(check({"--json", "found.json"}).status, 0);
    EXPECT_EQ(Json::parse(support::read_file("found.json"), nullptr, false)["condition"], "slice");
    support::write_file("found.json", "kept");
    EXPECT_EQ(check({"--json", "found.json"}).status, 2);
    EXPECT_EQ(support::read_file("found.json"), "kept");
    const std::string recording = support::read_file("demo.ctc");
    EXPECT_EQ(check({"--json", "demo.ctc", "--overwrite"}).status, 2);
    EXPECT_EQ(support::read_file("demo.ctc"), recording);
    EXPECT_EQ(check({"--json", "found.json", "--overwrite"}).status, 0);
    EXPECT_NE(support::read_file("found.json"), "kept");
}

TEST_F(CommandCheck, RefusesFilesThatAreNone) {
    simulate({"--seconds", "30"});
    const auto one_line = [](const CommandResult& result) {
        return result.status == 2 && std::count(result.err.begin(), result.err.end(), '\n') == 1 && result.out.empty();
    };
    const auto checked = [](const std::string& recording, const std::string& protocol) {
        return run_command({WORKBENCH_PROGRAM, "check", recording, protocol, "--condition", "1"});
    };
    EXPECT_TRUE(one_line(checked("missing.ctc", "demo.prt")));
    EXPECT_TRUE(one_line(checked("demo.ctc", "missing.prt")));
    EXPECT_TRUE(one_line(checked("demo.prt", "demo.prt")));
    EXPECT_TRUE(one_line(checked("demo.ctc", "demo.ctc")));
    EXPECT_TRUE(one_line(checked(".", "demo.prt")));
}

// Twelve triggers, a window that does not fit, a flat channel, and one with a sample that is not a number: what the
// check says comes true.
TEST_F(CommandCheck, TellsWhatARunOfATroubledRecordingLeaves) {
    test::Noise noise(1);
    test::Channels channels(3, std::vector<float>(2000));
    for (std::size_t i = 0; i < 2000; ++i) {
        channels[0][i] = noise.next();
        channels[1][i] = 4.0f;
        channels[2][i] = noise.next();
    }
    channels[2][250] = std::numeric_limits<float>::quiet_NaN();
    std::filesystem::rename(test::made_recording(folder, channels), "demo.ctc");
    std::string protocol = "FileVersion: 1\nExperiment: Test\nTimeResolution: samples\nCondition: slice\n";
    for (int i = 0; i < 12; ++i) {
        protocol += std::to_string(240 + 100 * i) + "\n";
    }
    support::write_file("demo.prt", protocol + "1990\n");
    const Words settings{"--pre", "0", "--post", "19", "--segment", "10", "--components", "2"};
    const Json found = findings(settings);
    EXPECT_TRUE(found["would_run"].get<bool>());
    EXPECT_EQ(found["triggers"]["cleaned"], 12);
    EXPECT_EQ(found["triggers"]["cut_at_end"], 1);
    EXPECT_EQ(found["segments"]["count"], 2);
    EXPECT_EQ(found["segments"]["borrowed"], 7);
    const std::string problems = found["problems"].dump();
    for (const char* part : {"only 13 triggers", "1 of 13 windows end behind",
                             "channel 2 flat: ", "channel 2 flat in the windows", "channel 3 with windows"}) {
        EXPECT_NE(problems.find(part), std::string::npos) << part << "\n" << found["problems"].dump(1);
    }
    ASSERT_EQ(run(settings).status, 0);
    const std::string before = support::read_file("demo.ctc");
    const std::string after = support::read_file("demo_OBS.ctc");
    ASSERT_EQ(after.size(), before.size());
    const auto value = [](const std::string& bytes, std::size_t channel, std::size_t sample) {
        float x = 0.0f;
        std::memcpy(&x, &bytes[32 + 4 * (2000 * channel + sample)], sizeof x);
        return x;
    };
    for (std::size_t i = 0; i < 10; ++i) { // the first segment: all its windows are lost in both channels
        EXPECT_FALSE(value(after, 1, 245 + 100 * i) == value(after, 1, 245 + 100 * i));
        EXPECT_FALSE(value(after, 2, 245 + 100 * i) == value(after, 2, 245 + 100 * i));
        EXPECT_NE(value(after, 0, 245 + 100 * i), value(before, 0, 245 + 100 * i)) << "cleaned";
    }
    EXPECT_EQ(value(after, 0, 1995), value(before, 0, 1995)) << "its window is skipped";
}

TEST_F(CommandCheck, TellsOfATableCutShort) {
    simulate({"--seconds", "30"});
    std::filesystem::resize_file("demo.ctc", std::filesystem::file_size("demo.ctc") - 4000);
    EXPECT_NE(findings()["problems"].dump().find("1000 sample values are missing"), std::string::npos);
}

// A header that promises three million samples at 1 MHz, of which ten thousand are there: the average around triggers
// that are far apart took memory for hundreds of thousands, and the window that it suggested was refused in the end.
TEST_F(CommandCheck, LooksOnlyAsFarAroundTriggersAsTheFileHoldsSamples) {
    support::CtcHeader header;
    header.nrOfSamples = 3'000'000;
    header.samplingFrequency = 1e6f;
    support::write_file("demo.ctc", support::ctc_header_bytes(header) + std::string(40'000, '\1'));
    std::string protocol = "FileVersion: 1\nExperiment:\nTimeResolution: samples\n\nCondition: slice\n";
    for (int i = 0; i < 12; ++i) {
        protocol += std::to_string(250'000 * i + (i % 2) * 60'000) + "\n";
    }
    support::write_file("demo.prt", protocol);
    const Json found = findings();
    ASSERT_TRUE(found.is_object());
    EXPECT_NE(found["problems"].dump().find("the data section is cut short"), std::string::npos);
    EXPECT_EQ(found["settings"]["post_ms"]["suggestion"], 2);
}

#ifndef ORIDAN_UNDER_ASAN

// The largest resident size among a program and what it started, in bytes.
std::uint64_t peak_memory(const Words& words) {
    const pid_t child = fork();
    if (child == 0) {
        support::command_detail::redirect(1, "/dev/null", O_WRONLY);
        support::command_detail::replace_process(words);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    EXPECT_EQ(status, 0);
    return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

TEST_F(CommandCheck, KnowsTheMemoryOfARun) {
    simulate({"--seconds", "40"});
    for (const char* segment : {"50", "500"}) {
        for (const char* post : {"65", "2000"}) {
            const Words settings{"--pre", "0", "--post", post, "--segment", segment, "--components", "3"};
            const auto told = findings(settings)["memory_bytes"].get<double>();
            Words words{WORKBENCH_PROGRAM, "run",        ORIDAN_MODULE_PATH, "--data",
                        "demo.ctc",        "--protocol", "demo.prt",         "--condition",
                        "slice",           "-o",         "result.ctc",       "--overwrite"};
            words.insert(words.end(), settings.begin(), settings.end());
            const auto measured = static_cast<double>(peak_memory(words));
            EXPECT_GT(told, measured / 1.3) << "segment " << segment << ", post " << post;
            EXPECT_LT(told, measured * 1.6) << "segment " << segment << ", post " << post;
        }
    }
}

#endif

} // namespace
