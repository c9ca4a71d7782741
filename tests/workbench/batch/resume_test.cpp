#include "workbench/batch/resume.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace {

using workbench::Job;
using workbench::JobIdentity;
using workbench::JobRecord;
using workbench::JobStatus;

// A finished job with its results in place.
class Resume : public testing::Test {
protected:
    void SetUp() override {
        job.output = "s/a.ctc";
        std::filesystem::create_directory(folder.path("s"));
        folder.write("s/a.ctc", "12345");
        folder.write("s/a.html", "123");
        folder.write("s/a.log", "1");
        JobRecord done;
        done.status = JobStatus::done;
        done.identity = identity;
        done.files = {{"s/a.ctc", 5}, {"s/a.html", 3}, {"s/a.log", 1}};
        record = done;
    }

    // Why it must be run; "(finished)" when it need not.
    std::string reason() const {
        return workbench::reason_to_run(job, record, identity, folder.path()).value_or("(finished)");
    }

    support::TemporaryFolder folder;
    Job job;
    JobIdentity identity{{"recording", "a.ctc"}, {"recording's size and time", "5 bytes, 1.0"}, {"components", "3"}};
    std::optional<JobRecord> record;
};

TEST_F(Resume, FinishedJobIsNotRun) {
    EXPECT_EQ(reason(), "(finished)");
}

TEST_F(Resume, JobWithoutRecordIsRun) {
    record.reset();
    EXPECT_EQ(reason(), "not run yet");
}

TEST_F(Resume, JobThatDidNotEndOrFailedIsRun) {
    record->status = JobStatus::moving;
    EXPECT_EQ(reason(), "was not finished");
    record->status = JobStatus::failed;
    EXPECT_EQ(reason(), "failed before");
}

TEST_F(Resume, ChangesAreTold) {
    identity[2].second = "4";
    EXPECT_EQ(reason(), "components was \"3\", is \"4\"");
    identity[1].second = "6 bytes, 1.0";
    EXPECT_EQ(reason(), "the recording has changed");
}

TEST_F(Resume, RecordOfAnotherVersionIsNoRecordOfThisJob) {
    const std::string reasonText = "made by another version of the program";
    identity.push_back({"new", "x"});
    EXPECT_EQ(reason(), reasonText);
    identity.resize(2);
    EXPECT_EQ(reason(), reasonText);
}

TEST_F(Resume, MissingOrChangedResultIsMadeAgain) {
    folder.write("s/a.html", "1234");
    EXPECT_EQ(reason(), "s/a.html is missing or was changed");
    folder.write("s/a.html", "123");
    EXPECT_EQ(reason(), "(finished)");
    std::filesystem::remove(folder.path("s/a.ctc"));
    EXPECT_EQ(reason(), "s/a.ctc is missing or was changed");
}

TEST_F(Resume, ReportThatIsWantedNowIsMade) {
    record->files = {{"s/a.ctc", 5}, {"s/a.log", 1}};
    EXPECT_EQ(reason(), "has no report yet");
    job.report = false;
    EXPECT_EQ(reason(), "(finished)");
}

TEST_F(Resume, OwnFilesAreThoseOfTheRecordWithTheirSize) {
    EXPECT_TRUE(workbench::is_own(record, "s/a.ctc", folder.path()));
    EXPECT_TRUE(workbench::foreign_files(job, record, folder.path()).empty());
    EXPECT_FALSE(workbench::is_own(std::nullopt, "s/a.ctc", folder.path()));
    EXPECT_FALSE(workbench::is_own(record, "s/b.ctc", folder.path()));
    folder.write("s/a.ctc", "longer than before");
    EXPECT_FALSE(workbench::is_own(record, "s/a.ctc", folder.path()));
    EXPECT_EQ(workbench::foreign_files(job, record, folder.path()), std::vector<std::string>{"s/a.ctc"});
}

TEST_F(Resume, LinkInPlaceOfAResultIsNotOwn) {
    std::filesystem::rename(folder.path("s/a.ctc"), folder.path("elsewhere"));
    std::filesystem::create_symlink(folder.path("elsewhere"), folder.path("s/a.ctc"));
    EXPECT_FALSE(workbench::is_own(record, "s/a.ctc", folder.path()));
}

TEST_F(Resume, WhileFilesMoveTheOldOnesAndTheNewOnesAreOwn) {
    record->status = JobStatus::moving;
    record->files.push_back({"s/a.ctc", 7});
    EXPECT_TRUE(workbench::is_own(record, "s/a.ctc", folder.path()));
    folder.write("s/a.ctc", "1234567");
    EXPECT_TRUE(workbench::is_own(record, "s/a.ctc", folder.path()));
}

TEST_F(Resume, NothingIsForeignWhereNothingIs) {
    job.output = "other.ctc";
    EXPECT_TRUE(workbench::foreign_files(job, std::nullopt, folder.path()).empty());
}

} // namespace
