#include "workbench/check/run_cost.h"

#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/check/made_recording.h"

namespace {

using workbench::disk_needed;
using workbench::estimated_seconds;
using workbench::memory_needed;
using workbench::RecordingReader;
using workbench::RunSize;

constexpr std::uint64_t mega = 1000000;

RunSize size_of(std::int64_t postS, std::size_t perSegment) {
    return {{0, postS}, 4 * perSegment, perSegment, 3, static_cast<double>(postS + 1)};
}

TEST(RunSize, CountsTheLastSegmentWhole) {
    RunSize size{{0, 9}, 100, 10, 3, 10.0};
    EXPECT_EQ(size.segments(), 10U);
    size.triggers = 101;
    EXPECT_EQ(size.segments(), 11U);
}

TEST(MemoryNeeded, GrowsWithTheWindowAndTheSquareOfTheSegment) {
    const support::TemporaryFolder folder;
    const RecordingReader recording(test::made_recording(folder, {std::vector<float>(100, 1.0f)}));
    // A window more costs its sample as it is, on its way, and widened: 4 + 4 + 8 bytes; a component little.
    const std::uint64_t shorter = memory_needed(recording, size_of(9999, 100));
    const std::uint64_t longer = memory_needed(recording, size_of(19999, 100));
    EXPECT_NEAR(static_cast<double>(longer - shorter), 16.0 * 100 * 10000, 0.02 * mega * 16);
    const std::uint64_t few = memory_needed(recording, size_of(9, 2000));
    const std::uint64_t many = memory_needed(recording, size_of(9, 4000));
    EXPECT_NEAR(static_cast<double>(many) / static_cast<double>(few), 3.8, 0.3);
    EXPECT_GT(memory_needed(recording, size_of(9, 10)), 5 * mega) << "the program itself";
}

TEST(DiskNeeded, IsTheRecordingAndItsTriggerTimes) {
    const support::TemporaryFolder folder;
    const RecordingReader recording(test::made_recording(folder, {std::vector<float>(1000, 1.0f)}));
    const std::uint64_t needed = disk_needed(recording, {"slice", std::vector<std::int32_t>(50, 1)});
    EXPECT_GE(needed, 32U + 4000 + 50 * 8); // at least "0 slice\n"
    EXPECT_LE(needed, 32U + 4000 + 50 * 40);
}

TEST(EstimatedSeconds, HoldAllFits) {
    for (const std::size_t channels : {1U, 7U}) {
        const support::TemporaryFolder folder;
        RecordingReader recording(
            test::made_recording(folder, test::Channels(channels, std::vector<float>(1000, 1.0f))));
        const double fits = 4.0 * static_cast<double>(channels);
        const double estimate = estimated_seconds(recording, size_of(9, 10), 1000.0);
        EXPECT_GT(estimate, fits * 1000.0);
        EXPECT_LT(estimate, fits * 1000.0 * 1.5);
    }
}

TEST(EstimatedSeconds, AreFoundForEveryKindOfRecording) {
    for (const std::uint32_t dataType : {1U, 3U, 4U, 5U}) {
        for (const std::uint32_t ordering : {1U, 2U}) {
            support::CtcHeader header;
            header.dataType = dataType;
            header.sampleOrdering = ordering;
            header.nrOfChannels = 3;
            header.nrOfSamples = 200;
            header.offsets = header.scales = {1.0f, 1.0f, 1.0f};
            support::Bytes bytes;
            bytes.raw(support::ctc_header_bytes(header));
            for (int i = 0; i < 600; ++i) {
                support::append_stored(bytes, dataType, i % 50);
            }
            const support::TemporaryFolder folder;
            RecordingReader recording(folder.write("r.ctc", bytes.str()));
            const double estimate = estimated_seconds(recording, size_of(9, 10), 0.0);
            EXPECT_GT(estimate, 0.0);
            EXPECT_TRUE(std::isfinite(estimate));
        }
    }
}

} // namespace
