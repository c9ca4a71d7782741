#include "workbench/check/run_suggestion.h"

#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/check/made_recording.h"

namespace {

using workbench::examine_locked_power;
using workbench::examine_triggers;
using workbench::LockedPower;
using workbench::suggested_segment;
using workbench::tiling_window;
using workbench::Window;
using workbench::window_around_triggers;
using workbench::window_in_samples;
using workbench::WindowReason;
using workbench::WindowSuggestion;
using Triggers = std::vector<std::int64_t>;

constexpr std::uint64_t longRecording = 100000000;

// Every `hundredths` / 100 samples, rounded down.
Triggers train(std::int64_t hundredths, int n = 50) {
    Triggers triggers;
    for (int i = 0; i < n; ++i) {
        triggers.push_back(i * hundredths / 100);
    }
    return triggers;
}

WindowSuggestion tiling(const Triggers& triggers, float rate, int pre = 0, std::uint64_t nSamples = longRecording) {
    return tiling_window(triggers, examine_triggers(triggers, {0, 0}, nSamples), pre, rate, nSamples);
}

std::int64_t samples_of(const WindowSuggestion& window, float rate) {
    return window_in_samples(window.pre, window.post, rate).length();
}

TEST(TilingWindow, ReachesFromTriggerToTrigger) {
    const WindowSuggestion window = tiling(train(5000), 1000.0f);
    EXPECT_EQ(window.pre, 0);
    EXPECT_EQ(window.post, 49);
    EXPECT_EQ(window.reason, WindowReason::tiles);
    EXPECT_EQ(samples_of(tiling(train(6500), 500.0f), 500.0f), 65);
}

TEST(TilingWindow, LeavesNoSampleBetweenWindowsWhereTheDistanceIsNoWholeNumber) {
    EXPECT_EQ(samples_of(tiling(train(6550), 1000.0f), 1000.0f), 66);
    EXPECT_EQ(samples_of(tiling(train(3250), 500.0f), 500.0f), 33);
}

TEST(TilingWindow, SharesLessThanAMillisecondAtHighRates) {
    const std::int64_t length = samples_of(tiling(train(32700), 5000.0f), 5000.0f);
    EXPECT_GE(length, 327);
    EXPECT_LT(length, 327 + 5);
}

TEST(TilingWindow, DoesNotMindPausesAndMissingPulses) {
    Triggers triggers = train(5000);
    triggers.erase(triggers.begin() + 7);
    for (const std::int64_t t : train(5000)) {
        triggers.push_back(t + 10000);
    }
    EXPECT_EQ(samples_of(tiling(triggers, 1000.0f), 1000.0f), 50);
}

TEST(TilingWindow, OfJitteringPulsesIsTheirShortestDistance) {
    Triggers triggers;
    for (int i = 0; i < 60; ++i) {
        triggers.push_back(100 * i + 2 * (i % 2)); // 102 and 98 apart in turns
    }
    EXPECT_EQ(samples_of(tiling(triggers, 1000.0f), 1000.0f), 98);
}

TEST(TilingWindow, CountsWhatIsTakenBefore) {
    const WindowSuggestion window = tiling(train(5000), 1000.0f, 10);
    EXPECT_EQ(window.pre, 10);
    EXPECT_EQ(window.post, 39);
    EXPECT_EQ(tiling(train(5000), 1000.0f, 80).post, 0);
}

TEST(TilingWindow, StaysWithinWhatTheModuleTakesAndTheRecordingHas) {
    EXPECT_EQ(tiling(train(2000000), 1000.0f).post, 5000);
    EXPECT_EQ(samples_of(tiling(train(5000), 1000.0f, 0, 30), 1000.0f), 30);
}

// 300 samples and more on either side; `excess` from `first` to `last`, nothing elsewhere.
LockedPower box(std::int64_t first, std::int64_t last, double excess) {
    LockedPower power{-300, std::vector<double>(601, 0.0)};
    for (std::int64_t lag = first; lag <= last; ++lag) {
        power.excess[static_cast<std::size_t>(lag + 300)] = excess;
    }
    return power;
}

// 180, 200, 220, 240 samples apart in turns.
Triggers beats() {
    Triggers triggers;
    std::int64_t t = 0;
    for (int i = 0; i < 80; ++i) {
        triggers.push_back(t);
        t += 180 + 20 * (i % 4);
    }
    return triggers;
}

TEST(WindowAroundTriggers, IsWhereTheAverageStandsOutAndATenthMoreOnEitherSide) {
    const WindowSuggestion after = window_around_triggers(beats(), box(-10, 89, 10.0), 1000.0f, longRecording);
    EXPECT_EQ(after.reason, WindowReason::average);
    EXPECT_EQ(after.pre, 20);
    EXPECT_EQ(after.post, 99);
    const WindowSuggestion before = window_around_triggers(beats(), box(-90, -41, 10.0), 1000.0f, longRecording);
    EXPECT_EQ(before.pre, 100);
    EXPECT_EQ(before.post, 10) << "the trigger belongs to every window";
}

TEST(WindowAroundTriggers, IsNoLongerThanShortDistancesAllow) {
    const WindowSuggestion window = window_around_triggers(beats(), box(-300, 300, 10.0), 1000.0f, longRecording);
    EXPECT_EQ(samples_of(window, 1000.0f), 180);
}

TEST(WindowAroundTriggers, IsHalfTheDistanceOnEitherSideWhereNothingStandsOut) {
    const WindowSuggestion window = window_around_triggers(beats(), box(0, 50, 0.1), 1000.0f, longRecording);
    EXPECT_EQ(window.reason, WindowReason::distance);
    EXPECT_EQ(window.pre, 90);
    EXPECT_EQ(window.post, 89);
}

TEST(WindowAroundTriggers, TakesTriggersThatAreAllAlike) {
    const WindowSuggestion window = window_around_triggers(Triggers(20, 500), box(0, 0, 0.0), 1000.0f, longRecording);
    EXPECT_GE(window.pre, 0);
    EXPECT_GE(window.post, 0);
}

TEST(LockedPower, StandsOutWhereTheArtifactIs) {
    const support::TemporaryFolder folder;
    test::Noise noise(5);
    std::vector<float> samples(30000);
    for (float& x : samples) {
        x = 500.0f + 10.0f * noise.next();
    }
    Triggers triggers;
    for (std::int64_t t = 5; t < 30000; t += 131) { // the first and the last do not fit
        triggers.push_back(t);
        for (std::int64_t i = t + 20; i < t + 40 && i < 30000; ++i) {
            samples[static_cast<std::size_t>(i)] += 8.0f;
        }
    }
    workbench::RecordingReader recording(test::made_recording(folder, {samples, std::vector<float>(30000, 1.0f)}));
    const LockedPower power = examine_locked_power(recording, triggers, 60, {0});
    ASSERT_EQ(power.firstLag, -60);
    ASSERT_EQ(power.excess.size(), 121U);
    double elsewhere = 0.0;
    for (std::int64_t lag = -60; lag <= 60; ++lag) {
        const double excess = power.excess[static_cast<std::size_t>(lag + 60)];
        if (lag >= 20 && lag < 40) {
            EXPECT_GT(excess, 100.0) << "lag " << lag;
        } else {
            elsewhere += excess / 101.0;
        }
    }
    // The window's mean, 20 of 121 samples of 8, was taken off: 1.3 of noise of 33 / 200.
    EXPECT_NEAR(elsewhere, 1.32 * 1.32 / (100.0 / 3.0 / 200.0), 3.0);
    const LockedPower none = examine_locked_power(recording, {5, 700}, 60, {0});
    EXPECT_EQ(none.excess, std::vector<double>(121, 0.0)) << "an average of one";
}

TEST(SuggestedSegment, SplitsTheTriggersEvenlyIntoAboutFifties) {
    EXPECT_EQ(suggested_segment(900, 1), 50);
    EXPECT_EQ(suggested_segment(293, 1), 49);
    EXPECT_EQ(suggested_segment(129, 1), 43);
    EXPECT_EQ(suggested_segment(41, 1), 41);
    EXPECT_EQ(suggested_segment(75, 1), 38);
    EXPECT_EQ(suggested_segment(10, 1), 10);
    EXPECT_EQ(suggested_segment(900, 60), 60) << "no fewer than the components";
}

} // namespace
