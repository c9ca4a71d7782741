// Disks that are really full, and folders that cannot be written.

#include <filesystem>
#include <fstream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "tests/faults/faulty_run.h"

namespace {

namespace fs = std::filesystem;
using faults::FaultyRun;
using faults::Tally;
using support::CommandResult;
using support::read_file;

class SmallDisk : public FaultyRun {
protected:
    void SetUp() override {
        // Mounts of this process are seen by nobody else, and end with it.
        if (geteuid() != 0 || unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            GTEST_SKIP() << "only root can mount a small disk";
        }
        FaultyRun::SetUp();
        fs::create_directory("disk");
    }

    void TearDown() override { umount2("disk", MNT_DETACH); }

    static bool mount_disk(const std::string& options) {
        umount2("disk", MNT_DETACH);
        return mount("tmpfs", "disk", "tmpfs", 0, options.c_str()) == 0;
    }

    // Tells a success, whose results are right, from a refusal that left nothing.
    bool succeeds() const {
        const CommandResult result = run({"-o", "disk/rec_OBS.ctc"});
        expect_input_unchanged();
        if (result.status == 0) {
            EXPECT_TRUE(read_file("disk/rec_OBS.ctc") == rightRecording);
            EXPECT_TRUE(read_file("disk/rec_OBS_slice.trl") == rightTrials);
            return true;
        }
        expect_one_error(result);
        EXPECT_TRUE(fs::is_empty("disk"));
        lastError_ = result.err;
        return false;
    }

    mutable std::string lastError_;
};

TEST_F(SmallDisk, OfAnySizeHoldsRightResultsOrNone) {
    Tally tally("small disk, from no room to enough");
    bool succeeded = false;
    int refused = 0;
    for (int pages = 1; pages <= 12 && !succeeded; ++pages) {
        SCOPED_TRACE(pages);
        tally.trial_begins();
        if (!mount_disk("size=" + std::to_string(4096 * pages))) {
            GTEST_SKIP() << "no small disk can be mounted here";
        }
        succeeded = succeeds();
        refused += succeeded ? 0 : 1;
    }
    EXPECT_TRUE(succeeded);
    EXPECT_GE(refused, 3); // before the run, and at the trial file
}

TEST_F(SmallDisk, WithAnyNumberOfFilesHoldsRightResultsOrNone) {
    Tally tally("disk that takes few files, from none to enough");
    bool succeeded = false;
    int refused = 0;
    for (int files = 1; files <= 16 && !succeeded; ++files) {
        SCOPED_TRACE(files);
        tally.trial_begins();
        if (!mount_disk("size=1m,nr_inodes=" + std::to_string(files))) {
            GTEST_SKIP() << "no small disk can be mounted here";
        }
        succeeded = succeeds();
        refused += succeeded ? 0 : 1;
    }
    EXPECT_TRUE(succeeded);
    EXPECT_GE(refused, 5);
    EXPECT_NE(lastError_.find("the trial file is not whole"), std::string::npos) << lastError_;
}

// Somebody else takes what room is left, at each call of the run.
TEST_F(SmallDisk, FilledDuringTheRunHoldsRightResultsOrNone) {
    Tally tally("small disk filled by another at every call that changes files");
    ASSERT_TRUE(mount_disk("size=1m"));
    const std::vector<std::string> output{"-o", "disk/rec_OBS.ctc"};
    const long nCalls = count_calls(false, output);
    int told = 0;
    for (long i = 1; i <= nCalls; ++i) {
        SCOPED_TRACE(i);
        tally.trial_begins();
        ASSERT_TRUE(mount_disk("size=1m"));
        const CommandResult result = run_under({"fill disk/filler", i}, output);
        expect_input_unchanged();
        fs::remove("disk/filler");
        if (result.status == 0) {
            EXPECT_TRUE(read_file("disk/rec_OBS.ctc") == rightRecording);
            EXPECT_TRUE(read_file("disk/rec_OBS_slice.trl") == rightTrials);
        } else {
            ++told;
            expect_one_error(result);
            EXPECT_TRUE(fs::is_empty("disk"));
            EXPECT_TRUE(succeeds());
        }
    }
    EXPECT_GT(told, 5);
}

TEST_F(SmallDisk, ReadOnlyDiskIsRefused) {
    Tally tally("read-only disk");
    tally.trial_begins();
    ASSERT_TRUE(mount_disk("size=1m"));
    ASSERT_EQ(mount("none", "disk", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const CommandResult result = run({"-o", "disk/out.ctc"});
    EXPECT_EQ(result.status, 2);
    expect_one_error(result);
    EXPECT_NE(result.err.find("Read-only file system"), std::string::npos) << result.err;
}

class ForbiddenFolder : public FaultyRun {
protected:
    void SetUp() override {
        FaultyRun::SetUp();
        if (!become_nobody()) {
            GTEST_SKIP() << "the programs under test are not readable for a user who is not root";
        }
    }

    void TearDown() override { fs::permissions(".", fs::perms::owner_all); }
};

TEST_F(ForbiddenFolder, IsRefusedBeforeTheRun) {
    Tally tally("folder that may not be written");
    tally.trial_begins();
    fs::permissions(".", static_cast<fs::perms>(0555));
    const CommandResult result = run();
    EXPECT_EQ(result.status, 2);
    expect_one_error(result);
    EXPECT_NE(result.err.find("Permission denied"), std::string::npos) << result.err;
    EXPECT_EQ(files(), (std::vector<std::string>{"rec.ctc", "rec.prt"}));
}

// What cannot be removed then, a later run removes.
TEST_F(ForbiddenFolder, WhenForbiddenDuringTheRunIsTold) {
    Tally tally("folder forbidden during the run");
    const long nCalls = count_calls(false);
    int told = 0;
    for (long i = 1; i <= nCalls; ++i) {
        SCOPED_TRACE(i);
        tally.trial_begins();
        fs::permissions(".", static_cast<fs::perms>(0777));
        start_afresh();
        const CommandResult result = run_under({"forbid .", i});
        fs::permissions(".", static_cast<fs::perms>(0777));
        expect_input_unchanged();
        if (result.status == 0) {
            expect_right_results();
            fs::remove("rec_OBS.ctc");
            fs::remove("rec_slice.trl");
        } else {
            ++told;
            expect_one_error(result);
            EXPECT_FALSE(fs::exists("rec_OBS.ctc"));
            if (fs::exists("rec_slice.trl")) { // which could not be taken back
                EXPECT_NE(result.err.find("rec_slice.trl was written; delete it"), std::string::npos) << result.err;
                fs::remove("rec_slice.trl");
            }
        }
        expect_right_when_repeated();
    }
    EXPECT_GT(told, 20);
}

TEST_F(FaultyRun, OutputThatIsAFolderIsRefused) {
    Tally tally("output that is a folder");
    tally.trial_begins();
    fs::create_directory("out.ctc");
    for (const std::vector<std::string>& more :
         {std::vector<std::string>{"-o", "out.ctc"}, {"-o", "out.ctc", "--overwrite"}}) {
        const CommandResult result = run(more);
        EXPECT_EQ(result.status, 2);
        expect_one_error(result);
        EXPECT_NE(result.err.find("is a folder"), std::string::npos) << result.err;
        EXPECT_TRUE(fs::is_empty("out.ctc"));
        EXPECT_EQ(files(), (std::vector<std::string>{"out.ctc", "rec.ctc", "rec.prt"}));
    }
}

} // namespace
