#include <gtest/gtest.h>

#include "tests/run/recording_host.h"

TEST(HostWithoutVersion, EveryRunEndsAtOnceAndSaysNothing) {
    const HostRun run = execute_module({});
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.calls.empty());
}
