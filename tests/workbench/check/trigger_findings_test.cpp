#include "workbench/check/trigger_findings.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using workbench::evenly_spaced;
using workbench::examine_triggers;
using workbench::trigger_warnings;
using workbench::TriggerFindings;
using workbench::Window;
using Triggers = std::vector<std::int64_t>;

// n triggers, the first at `first`, `distance` apart.
Triggers train(std::size_t n, std::int64_t first, std::int64_t distance) {
    Triggers triggers;
    for (std::size_t i = 0; i < n; ++i) {
        triggers.push_back(first + static_cast<std::int64_t>(i) * distance);
    }
    return triggers;
}

bool says(const std::vector<std::string>& sentences, const std::string& part) {
    for (const std::string& sentence : sentences) {
        if (sentence.find(part) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> warnings(const Triggers& triggers, const Window& window, std::uint64_t nSamples = 100000) {
    return trigger_warnings(examine_triggers(triggers, window, nSamples), window, 1000.0f);
}

TEST(TriggerFindings, OfAnEvenTrainThatFitsHaveNoWarning) {
    const Window window{10, 39};
    const TriggerFindings found = examine_triggers(train(30, 10, 50), window, 10 + 29 * 50 + 40);
    EXPECT_EQ(found.triggers, 30U);
    EXPECT_EQ(found.inside, 30U);
    EXPECT_EQ(found.cutAtStart + found.cutAtEnd + found.overlapping + found.repeated, 0U);
    EXPECT_TRUE(found.ascending);
    EXPECT_EQ(found.distances, 29U);
    EXPECT_EQ(found.shortestDistance, 50.0);
    EXPECT_EQ(found.medianDistance, 50.0);
    EXPECT_EQ(found.longestDistance, 50.0);
    EXPECT_EQ(found.unevenDistances, 0U);
    EXPECT_TRUE(evenly_spaced(found));
    EXPECT_TRUE(trigger_warnings(found, window, 1000.0f).empty());
}

TEST(TriggerFindings, CountWindowsThatPassTheEnds) {
    const Triggers triggers{9, 10, 500, 960, 961, 999, 1000};
    const TriggerFindings found = examine_triggers(triggers, {10, 39}, 1000);
    EXPECT_EQ(found.cutAtStart, 1U);
    EXPECT_EQ(found.inside, 3U);
    EXPECT_EQ(found.cutAtEnd, 3U);
    EXPECT_EQ(found.beyondEnd, 1U);
    const std::vector<std::string> sentences = trigger_warnings(found, {10, 39}, 1000.0f);
    EXPECT_TRUE(says(sentences, "1 of 7 windows begin before"));
    EXPECT_TRUE(says(sentences, "2 of 7 windows end behind"));
    EXPECT_TRUE(says(sentences, "1 of 7 triggers lie behind the end"));
}

TEST(TriggerFindings, AWindowLongerThanTheRecordingFitsNowhere) {
    const std::vector<std::string> sentences = warnings(train(20, 0, 50), {0, 5000}, 1000);
    EXPECT_TRUE(says(sentences, "nothing is cleaned"));
    EXPECT_FALSE(says(sentences, "end behind"));
}

TEST(TriggerFindings, OverlapCountsTheSharedSamplesOfWindowsInside) {
    // 30, 31 and 20 apart; windows of 31 samples. The last window does not fit and shares nothing.
    const TriggerFindings found = examine_triggers({100, 130, 161, 181}, {0, 30}, 200);
    EXPECT_EQ(found.inside, 3U);
    EXPECT_EQ(found.overlapping, 1U);
    EXPECT_EQ(found.mostShared, 1);
}

TEST(TriggerFindings, WarnOfOverlapBeyondRoundingOnly) {
    EXPECT_TRUE(warnings(train(30, 100, 50), {0, 52}).empty()) << "3 samples of 1 ms";
    EXPECT_TRUE(says(warnings(train(30, 100, 50), {0, 53}), "29 of 30 windows share up to 4 ms"));
}

TEST(TriggerFindings, RepeatedTriggersHaveNoDistance) {
    const TriggerFindings found = examine_triggers({10, 10, 10, 40}, {0, 5}, 100);
    EXPECT_EQ(found.repeated, 2U);
    EXPECT_EQ(found.distances, 1U);
    EXPECT_EQ(found.shortestDistance, 30.0);
    EXPECT_TRUE(says(trigger_warnings(found, {0, 5}, 1000.0f), "2 of 4 triggers repeat"));
    const TriggerFindings alike = examine_triggers({10, 10}, {0, 5}, 100);
    EXPECT_EQ(alike.distances, 0U);
    EXPECT_EQ(alike.medianDistance, 0.0);
}

TEST(TriggerFindings, NoTriggersAreNoError) {
    const TriggerFindings found = examine_triggers({}, {0, 5}, 100);
    EXPECT_EQ(found.triggers, 0U);
    EXPECT_TRUE(says(trigger_warnings(found, {0, 5}, 1000.0f), "there are 0 triggers"));
}

TEST(TriggerFindings, DistancesAreThoseInTimeWhateverTheOrder) {
    const TriggerFindings found = examine_triggers({300, 100, 220}, {0, 5}, 1000);
    EXPECT_FALSE(found.ascending);
    EXPECT_EQ(found.shortestDistance, 80.0);
    EXPECT_EQ(found.medianDistance, 100.0); // of 120 and 80
    EXPECT_EQ(found.longestDistance, 120.0);
    EXPECT_TRUE(says(trigger_warnings(found, {0, 5}, 1000.0f), "not in order of time"));
}

TEST(TriggerFindings, AMissingPulseStandsOutOfAnEvenTrain) {
    Triggers triggers = train(40, 0, 65);
    triggers.erase(triggers.begin() + 20);
    const TriggerFindings found = examine_triggers(triggers, {0, 64}, 10000);
    EXPECT_EQ(found.unevenDistances, 1U);
    EXPECT_EQ(found.longestDistance, 130.0);
    EXPECT_TRUE(evenly_spaced(found));
    EXPECT_TRUE(says(trigger_warnings(found, {0, 64}, 1000.0f), "1 of 38 distances between triggers stand out"));
}

TEST(TriggerFindings, RoundingToSamplesIsEvenAndHeartbeatsAreNot) {
    Triggers rounded; // every 32.5 samples
    Triggers beats;   // 190, 200 and 210 samples apart in turns: 5 % from the median
    std::int64_t beat = 0;
    for (int i = 0; i < 60; ++i) {
        rounded.push_back((65 * i) / 2);
        beats.push_back(beat);
        beat += 190 + 10 * (i % 3);
    }
    EXPECT_TRUE(evenly_spaced(examine_triggers(rounded, {0, 5}, 100000)));
    const TriggerFindings found = examine_triggers(beats, {0, 5}, 100000);
    EXPECT_EQ(found.unevenDistances, 0U);
    EXPECT_EQ(found.irregularDistances, 39U); // of 59: 20 of 190, 20 of 200, 19 of 210
    EXPECT_FALSE(evenly_spaced(found));
    EXPECT_TRUE(says(trigger_warnings(found, {0, 5}, 1000.0f), "unevenly spaced"));
}

TEST(TriggerFindings, FewTriggersAndSingleSamplesAreTold) {
    EXPECT_TRUE(says(warnings(train(9, 100, 50), {0, 9}), "needs at least 10"));
    EXPECT_TRUE(says(warnings(train(10, 100, 50), {0, 9}), "only 10 triggers"));
    EXPECT_TRUE(says(warnings(train(19, 100, 50), {0, 9}), "only 19 triggers"));
    EXPECT_TRUE(warnings(train(20, 100, 50), {0, 9}).empty());
    EXPECT_TRUE(says(warnings(train(20, 100, 50), {0, 0}), "one sample"));
}

} // namespace
