#include "workbench/batch/summary.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"

namespace {

using workbench::JobOutcome;
using workbench::JobRecord;

JobOutcome done_job() {
    JobOutcome outcome;
    outcome.job.line = 2;
    outcome.job.recording = "s 1/a.ctc";
    outcome.job.condition = "<R,1>";
    outcome.job.output = "s 1/a.ctc";
    outcome.status = JobOutcome::Status::done;
    JobRecord record;
    record.files = {{"s 1/a.ctc", 5}, {"s 1/a.html", 5}, {"s 1/a.log", 5}};
    record.seconds = 12.3456;
    record.windows = 240;
    record.lockedDbRemoved = 21.25;
    outcome.record = record;
    return outcome;
}

JobOutcome failed_job() {
    JobOutcome outcome;
    outcome.job.line = 3;
    outcome.job.recording = "b.ctc";
    outcome.job.condition = "slice";
    outcome.job.output = "b.ctc";
    outcome.status = JobOutcome::Status::failed;
    outcome.reason = "b.ctc: \"no\" such file";
    JobRecord record;
    record.files = {{"b.log", 5}};
    record.seconds = 0.5;
    outcome.record = record;
    return outcome;
}

TEST(Summary, CsvHasALineForEveryJob) {
    EXPECT_EQ(workbench::summary_csv({done_job(), failed_job()}),
              "line,recording,condition,status,seconds,windows,locked_db_removed,artifact_db_removed,output,report,log,"
              "reason\n"
              "2,s 1/a.ctc,\"<R,1>\",done,12.346,240,21.2500,,s 1/a.ctc,s 1/a.html,s 1/a.log,\n"
              "3,b.ctc,slice,failed,0.500,,,,,,b.log,\"b.ctc: \"\"no\"\" such file\"\n");
}

TEST(Summary, TableAlignsAndCounts) {
    JobOutcome before = done_job();
    before.finishedBefore = true;
    JobOutcome notRun;
    notRun.job.line = 14;
    notRun.job.recording = "\xC3\xA9.ctc"; // two bytes, one character wide
    notRun.reason = "not run yet";
    EXPECT_EQ(workbench::summary_table({before, failed_job(), notRun}),
              "line  recording  condition  status   seconds  dB removed  result, or what is wrong\n"
              "   2  s 1/a.ctc  <R,1>      done        12.3        21.2  s 1/a.ctc\n"
              "   3  b.ctc      slice      failed       0.5              b.ctc: \"no\" such file\n"
              "  14  \xC3\xA9.ctc                 not run                       not run yet\n"
              "1 done (1 of them before), 1 failed, 1 not run\n");
}

TEST(Summary, TruthHasItsOwnColumn) {
    JobOutcome outcome = done_job();
    EXPECT_EQ(workbench::summary_table({outcome}).find("truth"), std::string::npos);
    outcome.record->artifactDbRemoved = 30.0;
    EXPECT_NE(workbench::summary_table({outcome}).find("dB by truth"), std::string::npos);
    EXPECT_NE(workbench::summary_table({outcome}).find("  30.0  "), std::string::npos);
}

TEST(SummaryPage, LinksToReportsAndLogsAndEscapesNames) {
    const std::string page = workbench::summary_page({done_job(), failed_job()}, "Batch <x>");
    for (const char* part : {"<title>Batch &lt;x&gt;</title>", "<a href=\"s%201/a.html\">report</a>",
                             "<a href=\"b.log\">log</a>", "&lt;R,1&gt;", "b.ctc: &quot;no&quot; such file"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part << "\n" << page;
    }
    EXPECT_EQ(page.find("<R,1>"), std::string::npos);
    EXPECT_EQ(page.find("http"), std::string::npos); // nothing from elsewhere
}

TEST(WriteSummary, ReplacesItsOwnFilesAndNoOthers) {
    const support::TemporaryFolder folder;
    std::filesystem::create_directory(workbench::state_folder(folder.path()));
    folder.write("summary.csv", "precious");
    EXPECT_NE(test::refusal([&] { workbench::require_own_summary(folder.path(), false); }).find("exists already"),
              std::string::npos);
    workbench::require_own_summary(folder.path(), true);
    std::filesystem::remove(folder.path("summary.csv"));
    workbench::require_own_summary(folder.path(), false);
    workbench::write_summary(folder.path(), {done_job()}, "Batch");
    workbench::require_own_summary(folder.path(), false);
    workbench::write_summary(folder.path(), {failed_job()}, "Batch");
    EXPECT_EQ(folder.read("summary.csv"), workbench::summary_csv({failed_job()}));
}

} // namespace
