// The report at the end of a run, as a person or a batch job asks for it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "tests/support/command.h"
#include "tests/workbench/report/recordings.h"

namespace {

using support::CommandResult;
using support::read_file;
using support::TemporaryFolder;
using support::write_file;

class RunReport : public testing::Test {
protected:
    void SetUp() override {
        test::Channels channels(2);
        std::string protocol = "FileVersion: 1\nExperiment:\nTimeResolution: samples\nCondition: slice\n";
        std::uint32_t state = 1;
        for (int i = 0; i < 1000; ++i) {
            for (auto& channel : channels) {
                state = state * 1664525U + 1013904223U;
                const int place = i % 50;
                channel.push_back(static_cast<float>(state >> 27) +
                                  (place < 20 ? 100.0f * std::sin(static_cast<float>(place)) : 0.0f));
            }
            if (i % 50 == 0 && i > 0 && i < 900) {
                protocol += std::to_string(i) + "\n";
            }
        }
        write_file("rec.ctc", test::recording_bytes(channels, 1000.0f));
        write_file("rec.prt", protocol);
    }

    static CommandResult run(const std::vector<std::string>& more, const std::function<void()>& inChild = {}) {
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
                                           "0",
                                           "--post",
                                           "20",
                                           "--segment",
                                           "10",
                                           "--components",
                                           "2",
                                           "--quiet"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return support::run_command(arguments, {}, inChild);
    }

    static std::vector<std::string> files() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    static void expect_refused(const CommandResult& result, const std::string& line) {
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err, "workbench: " + line + "\n");
        EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt"}));
    }

    TemporaryFolder folder{TemporaryFolder::Use::asCurrentDirectory};
};

TEST_F(RunReport, HasTheCleanedRecordingsName) {
    const CommandResult result = run({"--report"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(files(),
              (std::vector<std::string>{"rec.ctc", "rec.prt", "rec_OBS.ctc", "rec_OBS.html", "rec_slice.trl"}));
    const std::string page = read_file("rec_OBS.html");
    EXPECT_NE(page.find("<title>rec_OBS.ctc: removal of slice</title>"), std::string::npos);
    EXPECT_NE(page.find("[\"Artifacts per segment\",\"10\"]"), std::string::npos);
    EXPECT_NE(page.find("[\"Components removed\",\"2\"]"), std::string::npos);
    EXPECT_NE(page.find("[\"Module\","), std::string::npos);
}

TEST_F(RunReport, CanBeNamed) {
    std::filesystem::create_directory("to");
    EXPECT_EQ(run({"--report", "to/r.html", "-o", "out.ctc"}).status, 0);
    EXPECT_TRUE(folder.has("to/r.html"));
    EXPECT_TRUE(folder.has("out.ctc"));
    EXPECT_FALSE(folder.has("out.html"));
}

TEST_F(RunReport, IsNotMadeUnasked) {
    EXPECT_EQ(run({}).status, 0);
    EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt", "rec_OBS.ctc", "rec_slice.trl"}));
}

TEST_F(RunReport, NamesThatCannotBeUsedStopTheRunBeforeItBegins) {
    expect_refused(run({"--report", "no/r.html"}), "no/r.html: there is no folder no");
    expect_refused(run({"--report", "rec.prt", "--overwrite"}),
                   "rec.prt: is read for the report; choose another name for the report");
    expect_refused(run({"--report", "./rec_OBS.ctc"}),
                   "--report and the run's results name the same file ./rec_OBS.ctc");
    expect_refused(run({"--report", "rec_slice.trl"}),
                   "--report and the run's results name the same file rec_slice.trl");
    expect_refused(run({"--report", "rec.prt"}), "rec.prt: is read for the report; choose another name for the report");
}

TEST_F(RunReport, AnExistingReportStopsTheRunBeforeItBegins) {
    write_file("rec_OBS.html", "mine");
    const CommandResult result = run({"--report"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "workbench: rec_OBS.html: exists already (--overwrite replaces it)\n");
    EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt", "rec_OBS.html"}));
    EXPECT_EQ(run({"--report", "--overwrite"}).status, 0);
    EXPECT_NE(read_file("rec_OBS.html"), "mine");
}

TEST_F(RunReport, AReportThatFailsLeavesTheResults) {
    // The recording has 8 kB, the page more than 60.
    const CommandResult result = run({"--report"}, [] {
        const rlimit limit{20000, 20000};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.substr(0, 22), "workbench: no report: ");
    EXPECT_NE(result.err.find("; the cleaned recording and its trigger times stay\n"), std::string::npos) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
    EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt", "rec_OBS.ctc", "rec_slice.trl"}));
}

} // namespace
