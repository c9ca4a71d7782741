#include "workbench/batch/overview.h"

#include <gtest/gtest.h>

namespace {

using workbench::Overview;

TEST(Overview, CountsWhatIsDoneFailedAndRunning) {
    Overview overview({"a", "b", "c"}, {10, 20, 30}, 4, 2, false);
    EXPECT_EQ(overview.counts(), "4 of 7 done");
    overview.started(0);
    overview.started(1);
    EXPECT_EQ(overview.counts(), "4 of 7 done, 2 running");
    EXPECT_LT(overview.seconds_left(), 0.0); // nobody knows yet
    overview.ended(0, false);
    EXPECT_EQ(overview.counts(), "4 of 7 done, 1 failed, 1 running");
    EXPECT_LT(overview.seconds_left(), 0.0); // a failure tells nothing of how long others take
    overview.ended(1, true);
    EXPECT_EQ(overview.counts().substr(0, 24), "5 of 7 done, 1 failed, 0");
    EXPECT_GE(overview.seconds_left(), 0.0);
    overview.started(2);
    overview.ended(2, true);
    EXPECT_EQ(overview.seconds_left(), 0.0);
}

} // namespace
