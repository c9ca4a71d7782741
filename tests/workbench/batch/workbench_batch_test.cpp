// The workbench's batch command, as a person or a script uses it.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using support::CommandResult;
using support::read_file;
using support::run_command;
using support::write_file;

const std::string header = "recording,protocol,condition,pre,post,segment,components,report\n";

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

std::size_t files_ending_in(const std::string& folder, const std::string& ending) {
    std::size_t found = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        found += entry.is_regular_file() && entry.path().string().ends_with(ending) ? 1 : 0;
    }
    return found;
}

// Records that say "done", as another program would count them.
std::size_t finished_jobs(const std::string& folder) {
    std::size_t found = 0;
    std::error_code noneYet;
    for (const auto& entry : fs::directory_iterator(folder + "/.workbench-batch", noneYet)) {
        const bool isRecord = entry.path().extension() == ".json";
        found += isRecord && read_file(entry.path().string()).find("\"status\": \"done\"") != std::string::npos ? 1 : 0;
    }
    return found;
}

class WorkbenchBatch : public testing::Test {
protected:
    void SetUp() override {
        simulate("a.ctc", 1);
        simulate("b.ctc", 2);
        write_jobs({"a.ctc,a.prt,slice", "b.ctc,b.prt,slice"});
        fs::create_directory("pause");
        setenv("REAL_MODULE", ORIDAN_MODULE_PATH, 1);
        setenv("PAUSE_FOLDER", folder.path("pause").c_str(), 1);
    }

    static void simulate(const std::string& name, int seed) {
        ASSERT_EQ(run_command({WORKBENCH_PROGRAM, "simulate", "-o", name, "--seconds", "10", "--channels", "4",
                               "--seed", std::to_string(seed)})
                      .status,
                  0);
    }

    // Lines without the numbers, which are the same for all.
    static void write_jobs(const std::vector<std::string>& lines, const std::string& numbers = ",0,63,20,3",
                           const std::string& report = ",no") {
        std::string text = header;
        for (const std::string& line : lines) {
            text += line + numbers + report + "\n";
        }
        write_file("jobs.csv", text);
    }

    static std::vector<std::string> command(const std::vector<std::string>& more = {},
                                            const char* module = PAUSING_MODULE_PATH) {
        std::vector<std::string> words{WORKBENCH_PROGRAM, "batch", "jobs.csv", "--module", module};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    static CommandResult batch(const std::vector<std::string>& more = {}) { return run_command(command(more)); }

    // A batch whose runs stay where they are once so many have begun. `act` gets its process then.
    CommandResult paused_batch(int after, int width, const std::function<void(pid_t)>& act) const {
        const auto whenPaused = [&](pid_t process) {
            while (waiting() < width || finished_jobs("jobs_results") < static_cast<std::size_t>(after)) {
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
            act(process);
        };
        return run_command(command({"--jobs", std::to_string(width)}), whenPaused,
                           [&] { setenv("PAUSE_AFTER", std::to_string(after).c_str(), 1); });
    }

    int waiting() const {
        int found = 0;
        for (const auto& entry : fs::directory_iterator(folder.path("pause"))) {
            found += entry.path().filename().string().starts_with("waiting") ? 1 : 0;
        }
        return found;
    }

    // Processes that stayed where they were have gone, or are about to.
    void expect_none_left() const {
        for (const auto& entry : fs::directory_iterator(folder.path("pause"))) {
            const std::string name = entry.path().filename().string();
            if (name.starts_with("waiting")) {
                const std::string status = "/proc/" + name.substr(7) + "/status";
                bool gone = false;
                for (int i = 0; i < 5000 && !gone; ++i) {
                    const std::string text = read_file(status);
                    gone =
                        text.empty() || text.find("State:\tZ") != std::string::npos; // nobody asked after its end yet
                    std::this_thread::sleep_for(std::chrono::milliseconds(gone ? 0 : 2));
                }
                EXPECT_TRUE(gone) << name;
            }
        }
    }

    static std::string cleaned_alone(const std::string& name) {
        EXPECT_EQ(run_command({WORKBENCH_PROGRAM,
                               "run",
                               ORIDAN_MODULE_PATH,
                               "--data",
                               name + ".ctc",
                               "--protocol",
                               name + ".prt",
                               "--condition",
                               "slice",
                               "--pre",
                               "0",
                               "--post",
                               "63",
                               "--segment",
                               "20",
                               "--components",
                               "3",
                               "-o",
                               "alone.ctc",
                               "--overwrite",
                               "--quiet"})
                      .status,
                  0);
        return read_file("alone.ctc");
    }

    static void expect_refused(const CommandResult& result, const std::string& part) {
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
        EXPECT_FALSE(fs::exists("jobs_results/a_OBS.ctc"));
    }

    support::TemporaryFolder folder{support::TemporaryFolder::Use::asCurrentDirectory};
};

TEST_F(WorkbenchBatch, CleansEveryRecordingAsARunWould) {
    const std::string before = read_file("a.ctc");
    const CommandResult result = batch();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("2 done\n"), std::string::npos) << result.out;
    EXPECT_EQ(read_file("jobs_results/a_OBS.ctc"), cleaned_alone("a"));
    EXPECT_EQ(read_file("jobs_results/b_OBS.ctc"), cleaned_alone("b"));
    EXPECT_EQ(read_file("a.ctc"), before);
    EXPECT_TRUE(folder.has("jobs_results/a_OBS_slice.trl"));
    EXPECT_EQ(read_file("jobs_results/a_OBS.log").substr(0, 16), "$ workbench run ");
    EXPECT_TRUE(folder.has("jobs_results/summary.html"));
    EXPECT_EQ(count(read_file("jobs_results/summary.csv"), ",done,"), 2U);
    EXPECT_EQ(files_ending_in("jobs_results/.workbench-batch", ".ctc"), 0U);
}

TEST_F(WorkbenchBatch, DecibelsAreThoseOfCompare) {
    write_file("jobs.csv", "recording,protocol,condition,pre,post,segment,components,report,truth\n"
                           "a.ctc,a.prt,slice,0,63,20,3,no,a.clean.ctc\n");
    ASSERT_EQ(batch().status, 0);
    const CommandResult compare =
        run_command({WORKBENCH_PROGRAM, "compare", "a.ctc", "jobs_results/a_OBS.ctc", "--protocol", "a.prt",
                     "--condition", "slice", "--pre", "0", "--post", "63", "--truth", "a.clean.ctc", "--json", "-"});
    const std::string csv = read_file("jobs_results/summary.csv");
    std::vector<std::string> fields;
    std::string field;
    for (const char c : csv.substr(csv.find('\n') + 1)) {
        if (c == ',' || c == '\n') {
            fields.push_back(field);
            field.clear();
        } else {
            field += c;
        }
    }
    const std::string all = compare.out.substr(compare.out.rfind("\"locked_db_removed\""));
    EXPECT_NEAR(std::stod(fields.at(6)), std::stod(all.substr(all.find(':') + 1)), 1e-3);
    const std::string truth = compare.out.substr(compare.out.rfind("\"artifact_db_removed\""));
    EXPECT_NEAR(std::stod(fields.at(7)), std::stod(truth.substr(truth.find(':') + 1)), 1e-3);
}

TEST_F(WorkbenchBatch, ReportsAreMadeUnlessUnwanted) {
    write_jobs({"a.ctc,a.prt,slice"}, ",0,63,20,3", ",");
    const CommandResult result = batch();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(read_file("jobs_results/a_OBS.html").find("<html"), std::string::npos);
    EXPECT_NE(read_file("jobs_results/summary.html").find("href=\"a_OBS.html\""), std::string::npos);
}

TEST_F(WorkbenchBatch, FailuresStopNobodyAndAreTold) {
    write_file("short.ctc", read_file("a.ctc").substr(0, 20));
    write_jobs({"short.ctc,a.prt,slice", "none.ctc,a.prt,slice", "a.ctc,a.prt,volume", "b.ctc,b.prt,slice"});
    const CommandResult result = batch();
    EXPECT_EQ(result.status, 1);
    for (const char* line :
         {"note: jobs.csv:2: will fail: ", "workbench: jobs.csv:2: short.ctc failed: ",
          "workbench: jobs.csv:3: none.ctc failed: ", "workbench: jobs.csv:4: a.ctc failed: no condition \"volume\"",
          "3 of 4 recordings failed; see ", "none.ctc: no such file (log: "}) {
        EXPECT_EQ(count(result.err, line), 1U) << line << "\n" << result.err;
    }
    EXPECT_EQ(files_ending_in("jobs_results", ".ctc"), 1U);
    EXPECT_NE(read_file("jobs_results/none_OBS.log").find("none.ctc: no such file"), std::string::npos);
    EXPECT_EQ(count(read_file("jobs_results/summary.csv"), ",failed,"), 3U);

    write_jobs({"b.ctc,b.prt,slice", "a.ctc,a.prt,volume"});
    const CommandResult again = batch();
    EXPECT_EQ(again.status, 1);
    EXPECT_NE(again.out.find("1 done (1 of them before), 1 failed"), std::string::npos) << again.out;
}

TEST_F(WorkbenchBatch, FinishedRecordingsAreSkippedUntilSomethingChanges) {
    ASSERT_EQ(batch().status, 0);
    const auto time = fs::last_write_time("jobs_results/a_OBS.ctc");
    const CommandResult again = batch();
    EXPECT_EQ(again.status, 0);
    EXPECT_NE(again.out.find("2 done (2 of them before)"), std::string::npos) << again.out;
    EXPECT_EQ(fs::last_write_time("jobs_results/a_OBS.ctc"), time);

    write_jobs({"a.ctc,a.prt,slice,0,63,20,4,no\nb.ctc,b.prt,slice,0,63,20,3"}, "");
    const std::string before = read_file("jobs_results/a_OBS.ctc");
    EXPECT_NE(batch().out.find("2 done (1 of them before)"), std::string::npos);
    EXPECT_NE(read_file("jobs_results/a_OBS.ctc"), before);

    simulate("c.ctc", 3);
    fs::rename("c.ctc", "b.ctc");
    fs::rename("c.prt", "b.prt");
    EXPECT_NE(batch().out.find("2 done (1 of them before)"), std::string::npos);
    EXPECT_EQ(read_file("jobs_results/b_OBS.ctc"), cleaned_alone("b"));

    fs::remove("jobs_results/b_OBS_slice.trl");
    EXPECT_NE(batch().out.find("2 done (1 of them before)"), std::string::npos);
    EXPECT_TRUE(folder.has("jobs_results/b_OBS_slice.trl"));
    EXPECT_NE(batch({"--redo"}).out.find("2 done\n"), std::string::npos);
}

TEST_F(WorkbenchBatch, AnotherModuleCleansAnew) {
    ASSERT_EQ(batch().status, 0);
    EXPECT_NE(run_command(command({}, ORIDAN_MODULE_PATH)).out.find("2 done\n"), std::string::npos);
}

TEST_F(WorkbenchBatch, ResultsOfEarlierSettingsGo) {
    std::string protocol = read_file("a.prt");
    ASSERT_EQ(batch().status, 0);
    protocol.replace(protocol.find("slice"), 5, "volume");
    write_file("a.prt", protocol);
    write_jobs({"a.ctc,a.prt,volume", "b.ctc,b.prt,slice"});
    ASSERT_EQ(batch().status, 0);
    EXPECT_TRUE(folder.has("jobs_results/a_OBS_volume.trl"));
    EXPECT_FALSE(folder.has("jobs_results/a_OBS_slice.trl"));
}

TEST_F(WorkbenchBatch, FailureKeepsWhatAnEarlierRunMadeAndSaysSo) {
    ASSERT_EQ(batch().status, 0);
    const std::string before = read_file("jobs_results/a_OBS.ctc");
    fs::rename("a.ctc", "elsewhere.ctc");
    const CommandResult result = batch();
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("what an earlier run of it made is still there"), std::string::npos) << result.err;
    EXPECT_EQ(read_file("jobs_results/a_OBS.ctc"), before);
    fs::rename("elsewhere.ctc", "a.ctc");
    EXPECT_EQ(batch().status, 0);
}

TEST_F(WorkbenchBatch, FilesOfOthersAreNeverReplaced) {
    fs::create_directory("jobs_results");
    for (const char* name : {"a_OBS.ctc", "a_OBS.log", "summary.csv"}) {
        write_file(std::string("jobs_results/") + name, "precious");
        const CommandResult result = batch();
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.err.find(name), std::string::npos) << result.err;
        EXPECT_NE(result.err.find("exists already"), std::string::npos) << result.err;
        EXPECT_EQ(read_file(std::string("jobs_results/") + name), "precious");
        EXPECT_FALSE(folder.has("jobs_results/b_OBS.ctc"));
        fs::remove(std::string("jobs_results/") + name);
    }
    // Known only once the protocol is read: the job fails, the other does not.
    write_file("jobs_results/a_OBS_slice.trl", "precious");
    EXPECT_EQ(batch().status, 1);
    EXPECT_EQ(read_file("jobs_results/a_OBS_slice.trl"), "precious");
    EXPECT_FALSE(folder.has("jobs_results/a_OBS.ctc"));
    EXPECT_TRUE(folder.has("jobs_results/b_OBS.ctc"));
    EXPECT_EQ(batch({"--overwrite"}).status, 0);
    EXPECT_NE(read_file("jobs_results/a_OBS_slice.trl"), "precious");
}

// What a sudden end between two moves leaves: a record that names the files, and some of them.
TEST_F(WorkbenchBatch, ResultsThatWerePartlyPutInPlaceAreMadeAnew) {
    ASSERT_EQ(batch().status, 0);
    const std::string cleaned = read_file("jobs_results/a_OBS.ctc");
    fs::remove("jobs_results/a_OBS.ctc");
    for (const auto& entry : fs::directory_iterator("jobs_results/.workbench-batch")) {
        std::string text = read_file(entry.path().string());
        const std::size_t at = text.find("\"done\"");
        if (at != std::string::npos && text.find("a_OBS.ctc") != std::string::npos) {
            write_file(entry.path().string(), text.replace(at, 6, "\"moving\""));
        }
    }
    const CommandResult result = batch();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("2 done (1 of them before)"), std::string::npos) << result.out;
    EXPECT_EQ(read_file("jobs_results/a_OBS.ctc"), cleaned);
}

TEST_F(WorkbenchBatch, ResultThatWasChangedIsSomebodysOwnNow) {
    ASSERT_EQ(batch().status, 0);
    write_file("jobs_results/a_OBS.ctc", "edited");
    const CommandResult result = batch();
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("is not as the batch left it"), std::string::npos) << result.err;
    EXPECT_EQ(read_file("jobs_results/a_OBS.ctc"), "edited");
    EXPECT_EQ(batch({"--overwrite"}).status, 0);
}

TEST_F(WorkbenchBatch, InputIsNeverReplaced) {
    const std::string before = read_file("a.ctc");
    write_file("jobs.csv", header.substr(0, header.size() - 1) + ",output\nb.ctc,b.prt,slice,0,63,20,3,no,a.ctc\n"
                                                                 "a.ctc,a.prt,slice,0,63,20,3,no,x.ctc\n");
    const CommandResult result = batch({"-o", ".", "--overwrite"});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("jobs.csv:2: the result a.ctc would replace a file that is never changed"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(read_file("a.ctc"), before);
}

TEST_F(WorkbenchBatch, BadInputIsRefusedBeforeAnythingRuns) {
    expect_refused(run_command({WORKBENCH_PROGRAM, "batch", "none.csv", "--module", PAUSING_MODULE_PATH}), "none.csv");
    expect_refused(run_command({WORKBENCH_PROGRAM, "batch", "jobs.csv"}), "--module");
    expect_refused(run_command(command({}, "none.so")), "none.so");
    expect_refused(run_command(command({}, "a.ctc")), "a.ctc");
    expect_refused(batch({"--jobs", "0"}), "--jobs");
    expect_refused(batch({"--only", "9"}), "no recording on that line");
    expect_refused(batch({"-o", "a.ctc/x"}), "a.ctc");
    write_jobs({"a.ctc,a.prt,slice,0,63,20,3,no\nb.ctc,b.prt,slice,0,63,5,3,no\nb.ctc"}, "", "");
    const CommandResult result = batch();
    expect_refused(result, "jobs.csv:3: segment must be");
    expect_refused(result, "jobs.csv:4: the line has 1 fields");
}

TEST_F(WorkbenchBatch, QuietSaysNothingAndJobsRunSideBySide) {
    const CommandResult result = batch({"--quiet", "--jobs", "2"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    // Two runs that wait at the same time are two processes at work at the same time.
    fs::remove_all("jobs_results");
    paused_batch(0, 2, [](pid_t process) { kill(process, SIGKILL); });
    EXPECT_EQ(waiting(), 2);
}

TEST_F(WorkbenchBatch, SecondBatchOnTheFolderIsRefused) {
    CommandResult second{};
    CommandResult single{};
    paused_batch(0, 1, [&](pid_t process) {
        second = batch();
        single = batch({"--only", "2"});
        kill(process, SIGKILL);
    });
    EXPECT_EQ(second.status, 2);
    EXPECT_NE(second.err.find("another batch is at work there (process "), std::string::npos) << second.err;
    EXPECT_EQ(single.status, 2);
    EXPECT_EQ(batch().status, 0);
}

TEST_F(WorkbenchBatch, InterruptStopsTheJobsAndSaysHowToGoOn) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const CommandResult result = paused_batch(0, 2, [&](pid_t process) { kill(process, signal); });
        EXPECT_EQ(result.status, 128 + signal);
        EXPECT_NE(result.err.find("interrupted: 0 done, 2 not run. To go on: workbench batch jobs.csv --module "),
                  std::string::npos)
            << result.err;
        expect_none_left();
        EXPECT_EQ(files_ending_in("jobs_results", ".ctc"), 0U);
        for (const auto& entry : fs::directory_iterator("jobs_results/.workbench-batch")) {
            EXPECT_FALSE(entry.is_directory()) << entry.path();
        }
        fs::remove_all("pause");
        fs::create_directory("pause");
    }
    EXPECT_EQ(batch().status, 0);
}

TEST_F(WorkbenchBatch, RedoThatIsInterruptedIsStillToBeDone) {
    ASSERT_EQ(batch().status, 0);
    run_command(
        command({"--redo", "--jobs", "1"}),
        [&](pid_t process) {
            while (waiting() < 1) {
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
            kill(process, SIGKILL);
        },
        [] { setenv("PAUSE_AFTER", "1", 1); });
    EXPECT_NE(batch().out.find("2 done (1 of them before)"), std::string::npos);
}

TEST_F(WorkbenchBatch, SingleJobsAndTheSummaryComeSeparately) {
    write_jobs({"a.ctc,a.prt,slice", "b.ctc,b.prt,volume"});
    EXPECT_EQ(batch({"--only", "2", "--quiet"}).status, 0);
    EXPECT_EQ(read_file("jobs_results/a_OBS.ctc"), cleaned_alone("a"));
    EXPECT_FALSE(folder.has("jobs_results/summary.csv"));
    const CommandResult before = batch({"--summary"});
    EXPECT_EQ(before.status, 1);
    EXPECT_NE(before.out.find("1 done, 1 not run"), std::string::npos) << before.out;
    const CommandResult failed = batch({"--only", "3", "--quiet"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(count(failed.err, "\n"), 1U) << failed.err;
    EXPECT_NE(failed.err.find("workbench: jobs.csv:3: b.ctc failed: no condition \"volume\""), std::string::npos);
    EXPECT_NE(batch({"--summary"}).out.find("1 done, 1 failed"), std::string::npos);
    EXPECT_EQ(count(read_file("jobs_results/summary.csv"), ",failed,"), 1U);
}

TEST_F(WorkbenchBatch, ListNamesTheFilesAndRunsNothing) {
    const CommandResult result = run_command({WORKBENCH_PROGRAM, "batch", "jobs.csv", "--list", "-o", "out"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("\"output\": \"" + folder.path("out/a_OBS.ctc") + "\""), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("\"line\": 3"), std::string::npos);
    EXPECT_FALSE(folder.has("out"));
}

TEST_F(WorkbenchBatch, ListOfNamesThatJsonCannotHoldIsRefused) {
    const CommandResult result = run_command({WORKBENCH_PROGRAM, "batch", "jobs.csv", "--list", "-o", "o\xE9"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("workbench: the jobs cannot be listed as JSON: "), std::string::npos) << result.err;
}

TEST_F(WorkbenchBatch, TerminalShowsAnOverviewThatGoesAway) {
    if (!support::has_terminals()) {
        GTEST_SKIP() << "this system gives out no pseudo-terminals";
    }
    const CommandResult result = support::run_on_terminal(command({"--jobs", "1"}), "");
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_NE(result.out.find("0 of 2 done, 1 running"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("\033[2A\033[J"), std::string::npos);
    EXPECT_NE(result.out.find("jobs.csv:2: a.ctc done ("), std::string::npos);
}

TEST_F(WorkbenchBatch, NamesWithBlanksQuotesAndLeadingDashesWork) {
    fs::create_directory("it's my data");
    fs::rename("a.ctc", "it's my data/-a, 1.ctc");
    std::string protocol = read_file("a.prt");
    protocol.replace(protocol.find("slice"), 5, "-R, 1");
    write_file("-p.prt", protocol);
    write_jobs({"\"it's my data/-a, 1.ctc\",-p.prt,\"-R, 1\""});
    const CommandResult result = batch();
    EXPECT_EQ(result.status, 0) << result.err << result.out;
    EXPECT_TRUE(folder.has("jobs_results/it's my data/-a, 1_OBS.ctc"));
    EXPECT_TRUE(folder.has("jobs_results/it's my data/-a, 1_OBS_-R, 1.trl"));
}

// Twenty recordings, two of them broken; killed half-way, and taken up again.
TEST_F(WorkbenchBatch, TwentyRecordingsSurviveASuddenEnd) {
    std::vector<std::string> lines;
    for (int i = 1; i <= 20; ++i) {
        const std::string name = "rec" + std::to_string(i);
        simulate(name + ".ctc", i);
        lines.push_back(name + ".ctc," + name + ".prt," + (i == 15 ? "volume" : "slice"));
    }
    write_file("rec4.ctc", read_file("rec4.ctc").substr(0, 20));
    write_jobs(lines, ",0,63,20,3", ",");

    const CommandResult killed = paused_batch(9, 2, [](pid_t process) { kill(process, SIGKILL); });
    EXPECT_EQ(killed.status, 128 + SIGKILL);
    EXPECT_EQ(finished_jobs("jobs_results"), 9U);
    EXPECT_EQ(files_ending_in("jobs_results", "_OBS.ctc"), 9U);

    const CommandResult result = batch({"--jobs", "2"});
    expect_none_left();
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("18 done (9 of them before), 2 failed\n"), std::string::npos) << result.out;
    EXPECT_EQ(count(result.err, " failed: "), 2U) << result.err;
    EXPECT_NE(result.err.find("jobs.csv:5: rec4.ctc failed: "), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("jobs.csv:16: rec15.ctc failed: no condition \"volume\" in the protocol"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(files_ending_in("jobs_results", "_OBS.ctc"), 18U);
    EXPECT_EQ(files_ending_in("jobs_results", "_OBS.html"), 18U);
    EXPECT_EQ(files_ending_in("jobs_results", ".trl"), 18U);
    for (int i = 1; i <= 20; ++i) {
        const std::string name = "rec" + std::to_string(i);
        if (i != 4 && i != 15) {
            EXPECT_EQ(read_file("jobs_results/" + name + "_OBS.ctc"), cleaned_alone(name)) << name;
        }
    }
}

} // namespace
