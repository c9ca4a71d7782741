#include "workbench/batch/batch_lock.h"

#include <csignal>
#include <memory>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"

namespace {

using workbench::BatchLock;
using Kind = BatchLock::Kind;

class BatchLockTest : public testing::Test {
protected:
    std::string refused(Kind kind) const {
        return test::refusal([&] { const BatchLock lock(file, kind); });
    }

    support::TemporaryFolder folder;
    const std::string file = folder.path("lock");
};

TEST_F(BatchLockTest, SecondBatchIsRefusedWhileTheFirstWorks) {
    auto first = std::make_unique<BatchLock>(file, Kind::whole);
    EXPECT_NE(refused(Kind::whole).find("another batch is at work there (process " + std::to_string(getpid())),
              std::string::npos)
        << refused(Kind::whole);
    EXPECT_NE(refused(Kind::shared).find("another batch"), std::string::npos);
    first.reset();
    EXPECT_EQ(refused(Kind::whole), "(not refused)");
}

TEST_F(BatchLockTest, SingleJobsWorkSideBySideAndKeepAWholeBatchOut) {
    const BatchLock first(file, Kind::shared);
    EXPECT_EQ(refused(Kind::shared), "(not refused)");
    EXPECT_NE(refused(Kind::whole).find("another batch"), std::string::npos);
}

TEST_F(BatchLockTest, GoesWithAProcessThatIsKilled) {
    const pid_t child = fork();
    if (child == 0) {
        const BatchLock lock(file, Kind::whole);
        raise(SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(refused(Kind::whole), "(not refused)");
}

TEST_F(BatchLockTest, WaitsForTheChildrenOfABatchThatWasKilled) {
    const pid_t child = fork();
    if (child == 0) {
        const BatchLock lock(file, Kind::whole);
        if (fork() == 0) { // holds the lock with its parent, and a moment longer
            usleep(100'000);
            _exit(0);
        }
        raise(SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(refused(Kind::whole), "(not refused)");
}

TEST_F(BatchLockTest, FolderThatCannotBeWrittenIsRefused) {
    EXPECT_NE(test::refusal([&] { const BatchLock lock(folder.path("none/lock"), Kind::whole); }).find("cannot be"),
              std::string::npos);
}

} // namespace
