#include "workbench/batch/job_record.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace {

using workbench::Job;
using workbench::JobRecord;
using workbench::JobStatus;

JobRecord example() {
    JobRecord record;
    record.status = JobStatus::done;
    record.identity = {{"recording", "a \"b\".ctc"}, {"pre", "0"}};
    record.files = {{"s/a.ctc", 5'000'000'000}, {"s/a.log", 0}};
    record.seconds = 1.5;
    record.windows = 7;
    record.lockedDbRemoved = 20.25;
    record.reason = "two\nlines";
    return record;
}

TEST(JobRecord, ComesBackAsItWasWritten) {
    const std::optional<JobRecord> back = workbench::record_from_text(workbench::record_text(example()));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->status, JobStatus::done);
    EXPECT_EQ(back->identity, example().identity);
    ASSERT_EQ(back->files.size(), 2U);
    EXPECT_EQ(back->files[0].name, "s/a.ctc");
    EXPECT_EQ(back->files[0].size, 5'000'000'000U);
    EXPECT_EQ(back->seconds, 1.5);
    EXPECT_EQ(back->windows, 7U);
    EXPECT_EQ(back->lockedDbRemoved, 20.25);
    EXPECT_FALSE(back->artifactDbRemoved);
    EXPECT_EQ(back->reason, "two\nlines");
}

TEST(JobRecord, TextThatIsNoneIsNone) {
    const std::string text = workbench::record_text(example());
    EXPECT_FALSE(workbench::record_from_text(""));
    EXPECT_FALSE(workbench::record_from_text("[]"));
    EXPECT_FALSE(workbench::record_from_text("{\"workbench_batch_record\": 1}"));
    std::string other = text;
    other.replace(other.find("\"done\""), 6, "\"dine\"");
    EXPECT_FALSE(workbench::record_from_text(other));
    for (const char* number : {"-7", "7.5", "1e300", "18446744073709551616"}) {
        other = text;
        other.replace(other.find("\"windows\": 7"), 12, std::string("\"windows\": ") + number);
        EXPECT_FALSE(workbench::record_from_text(other)) << number;
        other = text;
        other.replace(other.find("5000000000"), 10, number);
        EXPECT_FALSE(workbench::record_from_text(other)) << number;
    }
    for (std::size_t length = 0; length + 2 < text.size(); ++length) {
        EXPECT_FALSE(workbench::record_from_text(text.substr(0, length))) << length;
    }
}

TEST(JobRecord, DigestIsTheKnownOne) {
    // Published values of FNV-1a with 64 bits.
    EXPECT_EQ(workbench::digest_of_text(""), "cbf29ce484222325");
    EXPECT_EQ(workbench::digest_of_text("a"), "af63dc4c8601ec8c");
    EXPECT_EQ(workbench::digest_of_text("foobar"), "85944171f73967e8");
    const support::TemporaryFolder folder;
    EXPECT_EQ(workbench::digest_of_file(folder.write("f", "foobar")), "85944171f73967e8");
    EXPECT_EQ(workbench::digest_of_file(folder.path("none")), "missing");
    EXPECT_EQ(workbench::digest_of_file(folder.path()), "missing");
}

class JobIdentityTest : public testing::Test {
protected:
    void SetUp() override {
        job.recording = "r.ctc";
        job.recordingFile = folder.write("r.ctc", "recording");
        job.protocolFile = folder.write("p.prt", "protocol");
        job.truth = "t.ctc";
        job.truthFile = folder.write("t.ctc", "truth");
        job.condition = "slice";
    }
    workbench::JobIdentity identity(const Job& of) const { return workbench::identity_of(of, "module"); }

    support::TemporaryFolder folder;
    Job job;
};

TEST_F(JobIdentityTest, StaysWhileNothingChanges) {
    EXPECT_EQ(identity(job), identity(job));
}

TEST_F(JobIdentityTest, ChangesWithEverySetting) {
    const std::vector<void (*)(Job&)> changes{[](Job& j) { j.recording = "x"; },  [](Job& j) { j.protocol = "x"; },
                                              [](Job& j) { j.condition = "x"; },  [](Job& j) { j.pre = 1; },
                                              [](Job& j) { j.post = 1; },         [](Job& j) { j.segment = 11; },
                                              [](Job& j) { j.components = 1; },   [](Job& j) { j.truth = "x"; },
                                              [](Job& j) { j.product = "blas"; }, [](Job& j) { j.asIs = true; }};
    for (std::size_t i = 0; i < changes.size(); ++i) {
        Job other = job;
        changes[i](other);
        EXPECT_NE(identity(other), identity(job)) << i;
    }
    EXPECT_NE(workbench::identity_of(job, "another module"), identity(job));
}

TEST_F(JobIdentityTest, ChangesWithEveryFile) {
    const workbench::JobIdentity before = identity(job);
    folder.write("r.ctc", "recording, longer");
    const workbench::JobIdentity longer = identity(job);
    EXPECT_NE(longer, before);
    const auto time = std::filesystem::last_write_time(job.recordingFile);
    std::filesystem::last_write_time(job.recordingFile, time + std::chrono::milliseconds(1));
    const workbench::JobIdentity later = identity(job);
    EXPECT_NE(later, longer);
    folder.write("p.prt", "protocoL");
    const workbench::JobIdentity otherProtocol = identity(job);
    EXPECT_NE(otherProtocol, later);
    std::filesystem::remove(job.truthFile);
    EXPECT_NE(identity(job), otherProtocol);
}

TEST(WriteRecord, CanBeReadAgainAndIsReplaced) {
    const support::TemporaryFolder folder;
    std::filesystem::create_directory(workbench::state_folder(folder.path()));
    Job job;
    job.output = "a.ctc";
    EXPECT_FALSE(workbench::read_record(folder.path(), job));
    workbench::write_record(folder.path(), job, example());
    JobRecord failed = example();
    failed.status = JobStatus::failed;
    workbench::write_record(folder.path(), job, failed);
    EXPECT_EQ(workbench::read_record(folder.path(), job)->status, JobStatus::failed);
    job.output = "b.ctc";
    EXPECT_FALSE(workbench::read_record(folder.path(), job));
}

} // namespace
