#include "workbench/report/measures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <utility>

#include "tests/workbench/report/recordings.h"

namespace {

using support::TemporaryFolder;
using workbench::band_change_db;
using workbench::covered_samples;
using workbench::covered_spans;
using workbench::Measures;
using workbench::RecordingReader;
using workbench::SegmentKind;
using workbench::Span;

std::vector<std::pair<std::int64_t, std::int64_t>> pairs(const std::vector<Span>& spans) {
    std::vector<std::pair<std::int64_t, std::int64_t>> result;
    for (const Span& span : spans) {
        result.emplace_back(span.first, span.last);
    }
    return result;
}

Measures measure(const test::Channels& before, const test::Channels& after, const std::vector<Span>& spans,
                 float rate = 100.0f) {
    const TemporaryFolder folder;
    RecordingReader first(folder.write("before.ctc", test::recording_bytes(before, rate)));
    RecordingReader second(folder.write("after.ctc", test::recording_bytes(after, rate)));
    return workbench::measure_recordings(
        first, second, nullptr, spans, [](std::uint64_t, std::size_t) { return SegmentKind::other; }, 1000000,
        [](double) {});
}

TEST(CoveredSpans, JoinsWhatTouchesAndLeavesOutWhatIsCut) {
    EXPECT_EQ(pairs(covered_spans({50, 10, 14, 20, 1, 99}, {2, 2}, 100)),
              (std::vector<std::pair<std::int64_t, std::int64_t>>{{8, 16}, {18, 22}, {48, 52}}));
    EXPECT_EQ(pairs(covered_spans({10, 15}, {2, 2}, 100)),
              (std::vector<std::pair<std::int64_t, std::int64_t>>{{8, 17}}));
}

TEST(CoveredSamples, CountsWhatLiesInside) {
    const std::vector<Span> spans{{8, 16}, {18, 22}};
    EXPECT_EQ(covered_samples(spans, 0, 100), 14U);
    EXPECT_EQ(covered_samples(spans, 16, 3), 2U);
    EXPECT_EQ(covered_samples(spans, 17, 1), 0U);
    EXPECT_EQ(covered_samples(spans, 10, 2), 2U);
    EXPECT_EQ(covered_samples(spans, 23, 50), 0U);
}

TEST(OutsideWindows, UntouchedKeepsAll) {
    const Measures measures = measure({{1, -1, 50, 60, 1, -1, 3}}, {{1, -1, 0, 0, 1, -1, 3}}, {{2, 3}});
    EXPECT_EQ(measures.outside[0].samples, 5U);
    EXPECT_DOUBLE_EQ(measures.outside[0].keptShare, 1.0);
}

TEST(OutsideWindows, HalvedKeepsThreeQuartersOfTheVariance) {
    const Measures measures = measure({{2, -2, 50, 60, 2, -2}}, {{1, -1, 0, 0, 1, -1}}, {{2, 3}});
    EXPECT_NEAR(measures.outside[0].keptShare, 0.75, 1e-12);
}

TEST(OutsideWindows, OfTheSameVarianceButAnotherCourseIsNotKept) {
    const Measures measures = measure({{2, -2, 2, -2}}, {{-2, 2, -2, 2}}, {});
    EXPECT_NEAR(measures.outside[0].keptShare, -3.0, 1e-12);
}

TEST(OutsideWindows, NothingOutsideIsNoNumber) {
    EXPECT_TRUE(std::isnan(measure({{1, 2}}, {{1, 2}}, {{0, 1}}).outside[0].keptShare));
    EXPECT_TRUE(std::isnan(measure({{3, 3, 3}}, {{3, 3, 3}}, {}).outside[0].keptShare));
}

TEST(OutsideWindows, ManyBlocksAndSpansAgreeWithAPlainSum) {
    const std::size_t channels = 300; // blocks of 873 samples
    const std::size_t samples = 2000;
    test::Channels before(channels);
    test::Channels after(channels);
    std::vector<std::int64_t> triggers;
    for (std::int64_t trigger = 5; trigger < 2000; trigger += 37) {
        triggers.push_back(trigger);
    }
    std::uint32_t state = 5;
    for (std::size_t c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < samples; ++i) {
            state = state * 1664525U + 1013904223U;
            before[c].push_back(static_cast<float>(state >> 24));
            after[c].push_back(before[c][i] + static_cast<float>(state >> 16 & 15U));
        }
    }
    const std::vector<Span> spans = covered_spans(triggers, {3, 11}, samples);
    const Measures measures = measure(before, after, spans);
    for (const std::size_t c : {std::size_t{0}, channels - 1}) {
        std::vector<double> was;
        std::vector<double> lost;
        for (std::size_t i = 0; i < samples; ++i) {
            bool inside = false;
            for (const std::int64_t t : triggers) {
                const auto s = static_cast<std::int64_t>(i);
                inside = inside || (s >= t - 3 && s <= t + 11 && t - 3 >= 0 && t + 11 < 2000);
            }
            if (!inside) {
                was.push_back(static_cast<double>(before[c][i]));
                lost.push_back(static_cast<double>(before[c][i] - after[c][i]));
            }
        }
        const auto squares = [](const std::vector<double>& values) {
            double mean = 0.0;
            for (const double v : values) {
                mean += v / static_cast<double>(values.size());
            }
            double sum = 0.0;
            for (const double v : values) {
                sum += (v - mean) * (v - mean);
            }
            return sum;
        };
        EXPECT_EQ(measures.outside[c].samples, was.size());
        EXPECT_NEAR(measures.outside[c].keptShare, 1.0 - squares(lost) / squares(was), 1e-9);
    }
}

TEST(BandChange, IsTheRatioOfThePowersOfSines) {
    // 10 Hz of amplitude 8 becomes 2 in alpha; 2 Hz stays in delta.
    test::Channels before(1);
    test::Channels after(1);
    for (int i = 0; i < 8000; ++i) {
        const double t = 2.0 * std::numbers::pi * i / 200.0;
        before[0].push_back(static_cast<float>(8.0 * std::sin(10.0 * t) + 5.0 * std::sin(2.0 * t)));
        after[0].push_back(static_cast<float>(2.0 * std::sin(10.0 * t) + 5.0 * std::sin(2.0 * t)));
    }
    const Measures measures = measure(before, after, {}, 200.0f);
    const auto change = [&](std::size_t band) {
        return band_change_db(measures.spectra[0].density(0), measures.spectra[1].density(0),
                              measures.spectra[0].bin_width(), workbench::eegBands[band]);
    };
    EXPECT_NEAR(change(0), 0.0, 1e-3);
    EXPECT_NEAR(change(2), 20.0 * std::log10(0.25), 1e-3);
}

TEST(BandChange, WithoutPowerThereIsNoNumber) {
    const std::vector<double> nothing(101, 0.0);
    const std::vector<double> something(101, 1.0);
    EXPECT_TRUE(std::isnan(band_change_db(nothing, something, 0.25, workbench::eegBands[0])));
    EXPECT_TRUE(std::isnan(band_change_db(something, something, 0.25, workbench::eegBands[4]))); // ends at 25 Hz
}

} // namespace
