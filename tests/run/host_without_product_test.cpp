#include <gtest/gtest.h>

#include "tests/run/recording_host.h"

TEST(HostWithoutAProduct, RunEndsWithABox) {
    const HostRun run = execute_module({});
    EXPECT_FALSE(run.result);
    EXPECT_EQ(run.calls, std::vector<std::string>{"box Did not get access to MKL CBLAS functions!"});
}
