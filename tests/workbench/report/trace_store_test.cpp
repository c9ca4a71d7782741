#include "workbench/report/trace_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/workbench/report/recordings.h"
#include "tests/workbench/report/series_reader.h"

namespace {

using support::TemporaryFolder;
using test::lines_of;
using test::unpacked;
using workbench::Measures;
using workbench::RecordingReader;
using workbench::Scale;
using workbench::SegmentKind;
using workbench::Span;
using workbench::store_traces;
using workbench::TraceStore;

class TraceStoreTest : public testing::Test {
protected:
    // A large artifact at every 200th sample on top of noise, which stays afterwards. 100 Hz.
    void fill(std::size_t channels, std::size_t samples) {
        std::uint32_t state = 17;
        before.resize(channels);
        after.resize(channels);
        for (std::size_t c = 0; c < channels; ++c) {
            for (std::size_t i = 0; i < samples; ++i) {
                state = state * 1664525U + 1013904223U;
                const float noise = static_cast<float>(state >> 8) / 1e6f;
                after[c].push_back(noise);
                before[c].push_back(noise + (i % 200 < 20 ? 500.0f : 0.0f));
            }
        }
    }

    TraceStore store(std::uint64_t bytes, std::int64_t firstTrigger = 0) {
        RecordingReader first(folder.write("before.ctc", test::recording_bytes(before, 100.0f)));
        RecordingReader second(folder.write("after.ctc", test::recording_bytes(after, 100.0f)));
        Measures measures = workbench::measure_recordings(
            first, second, nullptr, {}, [](std::uint64_t, std::size_t) { return SegmentKind::other; }, 10000000,
            [](double) {});
        return store_traces(first, second, measures, firstTrigger, bytes, [] {});
    }

    static std::uint64_t size(const TraceStore& traces) {
        std::uint64_t sum = 0;
        for (const std::string& text : traces.texts) {
            sum += text.size();
        }
        return sum;
    }

    static void expect_near(const std::vector<std::int16_t>& steps, const Scale& scale,
                            const std::vector<float>& values, std::size_t first) {
        for (std::size_t i = 0; i < steps.size(); ++i) {
            ASSERT_NEAR(scale.offset + scale.step * steps[i], static_cast<double>(values[first + i]),
                        0.5001 * scale.step)
                << i;
        }
    }

    test::Channels before;
    test::Channels after;
    TemporaryFolder folder;
};

TEST_F(TraceStoreTest, WithRoomEverySampleIsThere) {
    fill(2, 5000);
    const TraceStore traces = store(1000000);
    EXPECT_EQ(traces.samplesPerBin, 1U);
    EXPECT_TRUE(traces.stretches.empty());
    ASSERT_EQ(traces.texts.size(), 2U);
    for (std::size_t c = 0; c < 2; ++c) {
        const std::vector<std::string> lines = lines_of(traces.texts[c]);
        ASSERT_EQ(lines.size(), 2U);
        ASSERT_EQ(unpacked(lines[0]).size(), 5000U);
        expect_near(unpacked(lines[0]), traces.before[c], before[c], 0);
        expect_near(unpacked(lines[1]), traces.after[c], after[c], 0);
        EXPECT_LT(traces.after[c].step, 0.5); // of noise up to 16.8
    }
}

TEST_F(TraceStoreTest, WithLittleRoomThereAreExtremesAndStretches) {
    fill(2, 20000);
    const TraceStore traces = store(30000, 4000);
    EXPECT_LE(size(traces), 30000U);
    EXPECT_GE(traces.samplesPerBin, 4U);
    ASSERT_FALSE(traces.stretches.empty());
    EXPECT_LE(traces.stretches[0].first, 4000); // the first stretch shows the first artifact come in
    EXPECT_GT(traces.stretches[0].last, 4000);
    const auto perBin = static_cast<std::ptrdiff_t>(traces.samplesPerBin);
    for (std::size_t c = 0; c < 2; ++c) {
        const std::vector<std::string> lines = lines_of(traces.texts[c]);
        ASSERT_EQ(lines.size(), 4 + 2 * traces.stretches.size());
        const std::vector<std::int16_t> lowest = unpacked(lines[0]);
        const std::vector<std::int16_t> range = unpacked(lines[1]);
        ASSERT_EQ(lowest.size(), traces.bins);
        for (std::size_t bin = 0; bin < traces.bins; ++bin) {
            const auto begin = before[c].begin() + static_cast<std::ptrdiff_t>(bin) * perBin;
            const auto end = std::min(before[c].end(), begin + perBin);
            const Scale& scale = traces.before[c];
            EXPECT_NEAR(scale.offset + scale.step * lowest[bin], static_cast<double>(*std::min_element(begin, end)),
                        0.5001 * scale.step);
            EXPECT_NEAR(scale.offset + scale.step * (lowest[bin] + range[bin]),
                        static_cast<double>(*std::max_element(begin, end)), 0.5001 * scale.step);
        }
        for (std::size_t i = 0; i < traces.stretches.size(); ++i) {
            const Span& stretch = traces.stretches[i];
            const auto first = static_cast<std::size_t>(stretch.first);
            const std::vector<std::int16_t> samples = unpacked(lines[4 + 2 * i]);
            ASSERT_EQ(samples.size(), static_cast<std::size_t>(stretch.last - stretch.first + 1));
            expect_near(samples, traces.stretchBefore[c], before[c], first);
            expect_near(unpacked(lines[5 + 2 * i]), traces.stretchAfter[c], after[c], first);
        }
    }
}

TEST_F(TraceStoreTest, StretchesLieInsideInOrderAndApart) {
    fill(1, 30000);
    for (const std::int64_t firstTrigger : {0, 100, 15000, 29999}) {
        const TraceStore traces = store(20000, firstTrigger);
        std::int64_t last = -1;
        for (const Span& stretch : traces.stretches) {
            EXPECT_GT(stretch.first, last);
            EXPECT_GE(stretch.last, stretch.first);
            last = stretch.last;
        }
        EXPECT_LT(last, 30000);
        EXPECT_GE(last, 0);
    }
}

TEST_F(TraceStoreTest, RoomForNothingStillShowsTheWhole) {
    fill(3, 1000);
    const TraceStore traces = store(1);
    EXPECT_EQ(traces.bins, 1U);
    EXPECT_EQ(traces.texts.size(), 3U);
    EXPECT_TRUE(traces.stretches.empty());
}

} // namespace
