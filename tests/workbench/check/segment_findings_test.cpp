#include "workbench/check/segment_findings.h"

#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/check/made_recording.h"

namespace {

using workbench::examine_segments;
using workbench::segment_warnings;

constexpr std::size_t nSamples = 1000;

std::vector<float> noise() {
    test::Noise source(9);
    std::vector<float> samples(nSamples);
    for (float& x : samples) {
        x = source.next();
    }
    return samples;
}

void fill(std::vector<float>& samples, std::size_t from, std::size_t to, float value) {
    for (std::size_t i = from; i < to; ++i) {
        samples[i] = value;
    }
}

// Windows [100, 109], [200, 209], ..., [900, 909] in segments of three, and one that does not fit.
const std::vector<std::int64_t> triggers{100, 200, 300, 400, 500, 600, 700, 800, 900, 995};

TEST(SegmentFindings, CountSegmentsWhoseWindowsHoldOneValue) {
    std::vector<float> secondSegment = noise();
    for (const std::size_t t : {400U, 500U, 600U}) {
        fill(secondSegment, t, t + 10, 2.0f);
    }
    std::vector<float> twoValues = secondSegment;
    fill(twoValues, 600, 610, 3.0f);
    std::vector<float> oneSample = secondSegment;
    oneSample[509] = 2.5f;
    const support::TemporaryFolder folder;
    workbench::RecordingReader recording(test::made_recording(
        folder, {secondSegment, twoValues, oneSample, std::vector<float>(nSamples, 0.0f), noise()}));
    const auto found = examine_segments(recording, triggers, {0, 9}, 3);
    ASSERT_EQ(found.size(), 5U);
    const std::size_t expected[] = {1, 0, 0, 3, 0}; // the segment of the window that does not fit has none to look at
    for (std::size_t c = 0; c < 5; ++c) {
        EXPECT_EQ(found[c].channel, c);
        EXPECT_EQ(found[c].flatSegments, expected[c]) << "channel " << c;
        EXPECT_EQ(found[c].spoiledSegments, 0U);
    }
    const auto sentences = segment_warnings(found);
    ASSERT_EQ(sentences.size(), 1U);
    EXPECT_EQ(sentences[0].substr(0, 18), "channels 1, 4 flat");
}

TEST(SegmentFindings, CountSegmentsWithASampleThatIsNotANumber) {
    std::vector<float> inside = noise();
    inside[309] = std::numeric_limits<float>::quiet_NaN();
    inside[700] = std::numeric_limits<float>::infinity();
    std::vector<float> between = noise();
    between[310] = std::numeric_limits<float>::quiet_NaN();
    const support::TemporaryFolder folder;
    workbench::RecordingReader recording(test::made_recording(folder, {between, inside}));
    const auto found = examine_segments(recording, triggers, {0, 9}, 3);
    EXPECT_EQ(found[0].spoiledSegments, 0U);
    EXPECT_EQ(found[1].spoiledSegments, 2U);
    const auto sentences = segment_warnings(found);
    ASSERT_EQ(sentences.size(), 1U);
    EXPECT_EQ(sentences[0].substr(0, 14), "channel 2 with");
}

} // namespace
