// A recording too large to be addressed, given to the module without the workbench's checks.

#include <string>

#include <gtest/gtest.h>

#include "tests/run/recording_host.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

TEST(ModuleAlone, CopiesARecordingThatCannotBeAddressedAndEndsWithItsLine) {
    const support::TemporaryFolder folder(support::TemporaryFolder::Use::asCurrentDirectory);
    support::CtcHeader header;
    header.sampleOrdering = 2;
    header.nrOfChannels = 65536;
    header.nrOfSamples = 65536;
    const std::string bytes = support::ctc_header_bytes(header) + std::string(5000, 'x');
    folder.write("rec.ctc", bytes);
    HostScript script;
    script.dataFile = "rec.ctc";
    script.protocolFile = "rec.prt";
    const HostRun run = execute_module(script);
    EXPECT_TRUE(run.result);
    ASSERT_FALSE(run.calls.empty());
    EXPECT_EQ(run.calls.back(), "log // OridanSuite> Error reading CTC file. Exiting plugin.");
    EXPECT_EQ(folder.read("rec.ctc"), bytes);
    EXPECT_EQ(folder.read("rec_OBS.ctc"), bytes);
}

} // namespace
