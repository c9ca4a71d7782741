#include "workbench/report/changed_window.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/workbench/report/recordings.h"

namespace {

using support::TemporaryFolder;
using workbench::changed_stretches;
using workbench::ChangedStretch;
using workbench::RecordingReader;
using workbench::Window;
using workbench::window_of_changes;

constexpr float none = std::numeric_limits<float>::quiet_NaN();

std::vector<std::pair<std::int64_t, std::int64_t>> stretches(const test::Channels& before,
                                                             const test::Channels& after) {
    const TemporaryFolder folder;
    RecordingReader first(folder.write("before.ctc", test::recording_bytes(before, 100.0f)));
    RecordingReader second(folder.write("after.ctc", test::recording_bytes(after, 100.0f)));
    std::vector<std::pair<std::int64_t, std::int64_t>> found;
    for (const ChangedStretch& stretch : changed_stretches(first, second, [] {})) {
        found.emplace_back(stretch.first, stretch.last);
    }
    return found;
}

// The samples that a removal with this window touches, as stretches.
std::vector<ChangedStretch> touched(const std::vector<std::int64_t>& triggers, const Window& window,
                                    std::int64_t samples) {
    std::vector<bool> changed(static_cast<std::size_t>(samples));
    for (const std::int64_t trigger : triggers) {
        if (window.fits(trigger, static_cast<std::uint64_t>(samples))) {
            for (std::int64_t s = trigger - window.preS; s <= trigger + window.postS; ++s) {
                changed[static_cast<std::size_t>(s)] = true;
            }
        }
    }
    std::vector<ChangedStretch> found;
    for (std::int64_t s = 0; s < samples; ++s) {
        if (changed[static_cast<std::size_t>(s)] && (found.empty() || s > found.back().last + 1)) {
            found.push_back({s, s});
        } else if (changed[static_cast<std::size_t>(s)]) {
            found.back().last = s;
        }
    }
    return found;
}

void expect_found(const std::vector<std::int64_t>& triggers, const Window& window, std::int64_t samples) {
    const auto found = window_of_changes(touched(triggers, window, samples), triggers);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->preS, window.preS);
    EXPECT_EQ(found->postS, window.postS);
}

TEST(ChangedStretches, AnyChannelCounts) {
    EXPECT_EQ(stretches({{1, 2, 3, 4, 5, 6, 7, 8, 9}, {0, 0, 0, 0, 0, 0, 0, 0, 0}},
                        {{1, 9, 3, 4, 5, 6, 7, 8, 9}, {0, 0, 1, 0, 0, 0, 0, 1, 0}}),
              (std::vector<std::pair<std::int64_t, std::int64_t>>{{1, 2}, {7, 7}}));
}

TEST(ChangedStretches, GapsOfThreeSamplesDoNotDivide) {
    EXPECT_EQ(stretches({{0, 0, 0, 0, 0, 0, 0, 0, 0, 0}}, {{1, 0, 0, 0, 1, 0, 0, 0, 0, 1}}),
              (std::vector<std::pair<std::int64_t, std::int64_t>>{{0, 4}, {9, 9}}));
}

TEST(ChangedStretches, WhatIsNoNumberIsTheSameOnBothSides) {
    EXPECT_TRUE(stretches({{none, 1}}, {{none, 1}}).empty());
    EXPECT_EQ(stretches({{1, 1}}, {{none, 1}}).size(), 1U);
}

TEST(WindowOfChanges, IsFoundForSeparateWindows) {
    expect_found({100, 200, 300}, {10, 25}, 400);
    expect_found({100, 200, 300}, {0, 25}, 400);
    expect_found({100, 200, 300}, {25, 0}, 400);
}

TEST(WindowOfChanges, IsFoundForWindowsThatTouchOrOverlap) {
    expect_found({100, 165, 231, 296}, {0, 64}, 400);
    expect_found({100, 165, 231, 296}, {0, 66}, 400);
    expect_found({100, 165, 231, 296}, {40, 60}, 400);
}

TEST(WindowOfChanges, TriggersWhoseWindowIsCutDoNotMatter) {
    expect_found({3, 100, 200, 395}, {10, 25}, 400);
}

TEST(WindowOfChanges, OrderOfTriggersDoesNotMatter) {
    expect_found({300, 100, 200}, {10, 25}, 400);
}

TEST(WindowOfChanges, AStretchWithoutATriggerBelongsToTheNearest) {
    const auto behind = window_of_changes({{110, 120}}, {100, 200});
    EXPECT_EQ(behind->preS, 0);
    EXPECT_EQ(behind->postS, 20);
    const auto ahead = window_of_changes({{185, 190}}, {100, 200});
    EXPECT_EQ(ahead->preS, 15);
    EXPECT_EQ(ahead->postS, 0);
    EXPECT_EQ(window_of_changes({{5, 8}}, {10})->preS, 5);
    EXPECT_EQ(window_of_changes({{12, 18}}, {10})->postS, 8);
}

TEST(WindowOfChanges, NothingWithoutChangesOrTriggers) {
    EXPECT_FALSE(window_of_changes({}, {1, 2}).has_value());
    EXPECT_FALSE(window_of_changes({{1, 2}}, {}).has_value());
}

} // namespace
