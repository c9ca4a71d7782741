#include <cstdint>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/run/recording_host.h"
#include "tests/support/temporary_folder.h"

// A function that the workbench does not have answers as a user who cancels.
TEST(HostWithoutNumberDialogs, RunEndsWithoutACondition) {
    const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory);
    const std::uint32_t header[] = {1, 0, 1, 1, 1, 1, 0x447A0000, 0, 0}; // one channel, one sample, 1000 Hz
    std::ofstream("rec.ctc", std::ios::binary).write(reinterpret_cast<const char*>(header), sizeof header);
    HostScript script;
    script.dataFile = "rec.ctc";
    script.protocolFile = "p.prt";
    script.conditions = {{"slice", {1, 2, 3}}};
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.calls.back(), "log // OridanSuite> Protocol condition not selected. Exiting plugin.");
}
